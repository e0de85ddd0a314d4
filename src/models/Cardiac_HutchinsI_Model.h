// Hutchins' one-tissue model of the myocardium.
//
// The tissue compartment C1(t) = k1 (C (*) exp(-k2 t))(t) fills the fraction
// 1 - tbv of the voxel and blood the fraction tbv:
//   y(t) = tbv Ca(t) + (1 - tbv) C1(t) + sum of the further inputs,
// the further inputs scaled like the first (by scale_). The myocardial blood
// flow is k1 over the tissue density 1.042 g/ml.
#ifndef KINETRA_MODELS_CARDIAC_HUTCHINSI_MODEL_H
#define KINETRA_MODELS_CARDIAC_HUTCHINSI_MODEL_H

#include <string>
#include <vector>

#include "Model.h"

class Cardiac_HutchinsI_Model : public Model {
public:
    Cardiac_HutchinsI_Model();
    Cardiac_HutchinsI_Model(const Unit& unit, double k1, double k2, double tbv);
    Cardiac_HutchinsI_Model(const Cardiac_HutchinsI_Model& other);

    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) override;
    double der(const std::string& name, double t, unsigned x, unsigned y, unsigned z) override;
    double derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;

    // Myocardial blood flow at a voxel: stored k1 / density, no unit factor.
    double getMBF(unsigned x, unsigned y, unsigned z) const;
    // The k1 map divided by the density; owned by the caller.
    Dataset3D<double>* getMBF() const;

    enum { K1 = 0, K2 = 1, TBV = 2 };

private:
    // Flag pattern, like Water_1TC_Model.
    void precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime);
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z);
    double furtherInputs(double t, unsigned x, unsigned y, unsigned z) const;

    // Cache, in normal units.
    double k1_;
    double k2_;
    double tbv_;
    double ca_;
    double density_;
    double conv_;   // convExp(k2, t) * scale_
    double convT_;  // convTimeExp(k2, t) * scale_
};

#endif
