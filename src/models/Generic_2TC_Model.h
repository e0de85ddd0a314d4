// The generic two-tissue compartment model.
//
// Free (C1) and bound (C2) tissue compartments with the rates k1 (in), k2
// (out), k3 (binding) and k4 (release); the measured value weighs tissue and
// blood freely:
//   y(t) = alpha (C1 + C2) + beta Ca(t) + sum of the further inputs,
// the further inputs converted to the model's unit by their unit factors.
// Parameters are read on every call; the input is asked at the voxel.
#ifndef KINETRA_MODELS_GENERIC_2TC_MODEL_H
#define KINETRA_MODELS_GENERIC_2TC_MODEL_H

#include "models/TwoTissueModel.h"

class Generic_2TC_Model : public TwoTissueModel {
public:
    Generic_2TC_Model();
    Generic_2TC_Model(const Unit& unit, double k1, double k2, double k3, double k4, double alpha, double beta);

    enum { K1 = 0, K2 = 1, K3 = 2, K4 = 3, ALPHA = 4, BETA = 5 };

private:
    void readParameters(unsigned x, unsigned y, unsigned z) override;
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;
};

#endif
