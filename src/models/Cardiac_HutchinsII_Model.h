// Hutchins' two-tissue model of the myocardium: no efflux from the bound
// compartment (k4 = 0); the tissue fills the fraction 1 - tbv of the voxel:
//   y(t) = tbv Ca(t) + (1 - tbv)(C1 + C2) + sum of the further inputs,
// the further inputs scaled like the first (by scale_). Parameters are read
// on a change of parameters or voxel; the input is asked at (0, 0, 0).
#ifndef KINETRA_MODELS_CARDIAC_HUTCHINSII_MODEL_H
#define KINETRA_MODELS_CARDIAC_HUTCHINSII_MODEL_H

#include "models/TwoTissueModel.h"

class Cardiac_HutchinsII_Model : public TwoTissueModel {
public:
    Cardiac_HutchinsII_Model();
    Cardiac_HutchinsII_Model(const Unit& unit, double k1, double k2, double k3, double tbv);

    // Myocardial blood flow at a voxel: stored k1 / density, no unit factor.
    double getMBF(unsigned x, unsigned y, unsigned z) const;
    // The k1 map divided by the density; owned by the caller.
    Dataset3D<double>* getMBF() const;

    enum { K1 = 0, K2 = 1, K3 = 2, TBV = 3 };

private:
    void readParameters(unsigned x, unsigned y, unsigned z) override;
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;
};

#endif
