// One-tissue model of a freely diffusible tracer (water) in the myocardium.
//
// The tissue takes up the tracer at k1 and washes it out at k2 = k1 / Vd,
// with Vd the distribution volume; a fraction tbv of the voxel is blood:
//   y(t) = tbv Ca(t) + (1 - tbv) k1 (C (*) exp(-k2 t))(t).
// Inputs after the first are ignored. The myocardial blood flow is k1 over
// the tissue density 1.042 g/ml.
#ifndef KINETRA_MODELS_WATER_1TC_MODEL_H
#define KINETRA_MODELS_WATER_1TC_MODEL_H

#include <string>
#include <vector>

#include "Model.h"

class Water_1TC_Model : public Model {
public:
    Water_1TC_Model();
    Water_1TC_Model(const Unit& unit, double k1, double Vd, double tbv);
    Water_1TC_Model(const Water_1TC_Model& other);

    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) override;
    double der(const std::string& name, double t, unsigned x, unsigned y, unsigned z) override;
    double derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;

    // Myocardial blood flow at a voxel: stored k1 / density, no unit factor.
    double getMBF(unsigned x, unsigned y, unsigned z) const;
    // The k1 map divided by the density; owned by the caller.
    Dataset3D<double>* getMBF() const;

    enum { K1 = 0, VD = 1, TBV = 2 };

private:
    // Flag pattern: parameters are read anew when changed_ is set or the voxel
    // changes; input value and convolutions are fetched on every call (the
    // input's own caches make that cheap), at voxel (0, 0, 0).
    void precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime);
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z);

    // Cache, in normal units.
    double k1_;
    double vd_;
    double tbv_;
    double ca_;
    double density_;
    double conv_;   // convExp(k1/Vd, t) * scale_
    double convT_;  // convTimeExp(k1/Vd, t) * scale_
};

#endif
