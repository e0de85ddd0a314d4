// The two-compartment hypoxia model: a free compartment C1 and a trapped
// compartment C2, a fraction eta of the tissue that does not trap, a weight
// alpha of the trapping path, and tissue and blood weighted by beta and the
// volume V:
//   kappa = k2 + (1 - eta) alpha k3,
//   C1 = k1 conv(kappa),   C2 = k1 alpha (k3 / kappa) (conv(0) - conv(kappa)),
//   y = V (beta Ca + (1 - beta) (C1 + (1 - eta) C2)) + the further inputs.
#ifndef KINETRA_MODELS_FMISO_2TC_MODEL_H
#define KINETRA_MODELS_FMISO_2TC_MODEL_H

#include <vector>

#include "models/FMISOModel.h"

class FMISO_2TC_Model : public FMISOModel {
public:
    FMISO_2TC_Model();
    FMISO_2TC_Model(const Unit& unit, double k1, double k2, double k3, double alpha, double beta, double eta, double V);

    enum { K1 = 0, K2, K3, ALPHA, BETA, ETA, V };

private:
    void readParameters(unsigned x, unsigned y, unsigned z) override;
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;
};

#endif
