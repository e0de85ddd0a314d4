// Two-tissue model of the myocardium with the efflux tied to a distribution
// volume: k2 = k1 / V. Free and bound compartments as in Generic_2TC_Model:
//   y(t) = alpha (C1 + C2) + beta Ca(t) + sum of the further inputs,
// the further inputs scaled like the first (by scale_). Parameters are read
// on a change of parameters or voxel; the input is asked at (0, 0, 0).
//
// Two derivative rows are not the true derivatives, and a fit must hold V
// const: the derivative by V is 0.0 (V gets none), and the one by k1 takes
// the k2 form with S' = k1 + k3 + k4, exact only at V = 1.
#ifndef KINETRA_MODELS_CARDIAC_2TC_MODEL_H
#define KINETRA_MODELS_CARDIAC_2TC_MODEL_H

#include "models/TwoTissueModel.h"

class Cardiac_2TC_Model : public TwoTissueModel {
public:
    Cardiac_2TC_Model();
    Cardiac_2TC_Model(const Unit& unit, double k1, double k3, double k4, double V, double alpha, double beta);

    // Myocardial blood flow at a voxel: stored k1 times its unit factor over
    // the density.
    double getMBF(unsigned x, unsigned y, unsigned z) const;

    enum { K1 = 0, K3 = 1, K4 = 2, V = 3, ALPHA = 4, BETA = 5 };

private:
    void readParameters(unsigned x, unsigned y, unsigned z) override;
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;
};

#endif
