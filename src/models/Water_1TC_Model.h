// One-tissue model of a freely diffusible tracer (water) in the myocardium.
//
// The tissue takes up the tracer at k1 and washes it out at k2 = k1 / Vd,
// with Vd the distribution volume; a fraction tbv of the voxel is blood:
//   y(t) = tbv Ca(t) + (1 - tbv) k1 (C (*) exp(-k2 t))(t).
// Inputs after the first are ignored.
#ifndef KINETRA_MODELS_WATER_1TC_MODEL_H
#define KINETRA_MODELS_WATER_1TC_MODEL_H

#include "models/CardiacModel.h"

class Water_1TC_Model : public CardiacModel {
public:
    Water_1TC_Model();
    Water_1TC_Model(const Unit& unit, double k1, double Vd, double tbv);

    enum { K1 = 0, VD = 1, TBV = 2 };

private:
    double efflux() const override { return cache_.p[K1] / cache_.p[VD]; }
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;
};

#endif
