// The four-compartment hypoxia model of flow F, binding ka and kb, with
//   kappa = (1 - eta) ka + F / V,   m = F / (eta V),
//   y = beta1 Ca + beta2 V (C1 + (1 - eta)(C2 + C3) + eta C4) + the further inputs.
// It has no analytic derivatives.
#ifndef KINETRA_MODELS_CASCIARI_MODEL_H
#define KINETRA_MODELS_CASCIARI_MODEL_H

#include <vector>

#include "Model.h"

class Casciari_Model : public Model {
public:
    Casciari_Model();
    Casciari_Model(const Unit& unit, double F, double ka, double kb, double alpha, double beta1, double beta2,
                   double eta, double V);

    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) override;
};

#endif
