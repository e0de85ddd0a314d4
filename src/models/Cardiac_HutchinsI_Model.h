// Hutchins' one-tissue model of the myocardium.
//
// The tissue compartment C1(t) = k1 (C (*) exp(-k2 t))(t) fills the fraction
// 1 - tbv of the voxel and blood the fraction tbv:
//   y(t) = tbv Ca(t) + (1 - tbv) C1(t) + sum of the further inputs,
// the further inputs scaled like the first (by scale_).
#ifndef KINETRA_MODELS_CARDIAC_HUTCHINSI_MODEL_H
#define KINETRA_MODELS_CARDIAC_HUTCHINSI_MODEL_H

#include "models/CardiacModel.h"

class Cardiac_HutchinsI_Model : public CardiacModel {
public:
    Cardiac_HutchinsI_Model();
    Cardiac_HutchinsI_Model(const Unit& unit, double k1, double k2, double tbv);

    enum { K1 = 0, K2 = 1, TBV = 2 };

private:
    double efflux() const override { return cache_.p[K2]; }
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;
};

#endif
