// The simplified reference tissue model.
//
// The target tissue exchanges like the reference region, with the relative
// delivery R1 and the apparent efflux k2a = k2 / (1 + BPstar):
//   y(t) = (R1 Cr(t) + k2 (1 - R1 / (1 + BPstar)) (Cr (*) exp(-k2a t))(t)
//           + sum of the further inputs) * scale_.
// Components: y and the reference curve Cr * scale_. The input is asked at
// the voxel.
#ifndef KINETRA_MODELS_NEURO_SLAM_MODEL_H
#define KINETRA_MODELS_NEURO_SLAM_MODEL_H

#include <limits>
#include <vector>

#include "models/ReferenceRegionModel.h"

class Neuro_SLAM_Model : public ReferenceRegionModel {
public:
    Neuro_SLAM_Model();
    Neuro_SLAM_Model(const Unit& unit, double R1, double k2, double BPstar);

    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) override;

    enum { R1 = 0, K2 = 1, BPSTAR = 2 };

private:
    // The one pass (verbosity under 5, a k2a that is a number).
    bool evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                      unsigned P, double* values, double* derivatives) override;
    // Value comparison: new parameters recompute k2a and the convolutions, a
    // new (t, x, y, z) the input value and the convolutions.
    void precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime);
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;
    double value(double t, unsigned x, unsigned y, unsigned z);

    // Cache, in normal units; the input's results times f. NaN parameters
    // equal nothing, so the first call reads everything.
    struct Cache {
        static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
        double p[3] = {kNaN, kNaN, kNaN};  // R1, k2, BPstar
        double cr = 0.0;                   // Cr(t) * f
        double k2a = kNaN;                 // k2 / (1 + BPstar)
        double conv = 0.0, convT = 0.0;    // with k2a, times f
    } cache_;
};

#endif
