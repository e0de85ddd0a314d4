// The full reference tissue model: a free and a specifically bound
// compartment in the target, one compartment in the reference region.
//
// With k4 = k3 / BPstar, K = k2 / R1 (the reference region's efflux) and
// l1,2 = (S -+ Delta) / 2 the two rates, S = k2 + k3 + k4,
// Delta^2 = S^2 - 4 k2 k4, q = (k4 - k2 + k3) / Delta:
//   y(t) = (R1 (Cr(t) + ((1 + q)(K - l1) conv(l1) + (1 - q)(K - l2) conv(l2)) / 2)
//           + sum of the further inputs) * scale_.
// Components: y and the reference curve Cr * scale_. The input is asked at
// (0, 0, 0), so two voxels with the same parameters at the same time share
// every input value.
#ifndef KINETRA_MODELS_NEURO_LAMMERTSMA_MODEL_H
#define KINETRA_MODELS_NEURO_LAMMERTSMA_MODEL_H

#include <limits>
#include <vector>

#include "models/ReferenceRegionModel.h"

class Neuro_Lammertsma_Model : public ReferenceRegionModel {
public:
    Neuro_Lammertsma_Model();
    Neuro_Lammertsma_Model(const Unit& unit, double R1, double k2, double k3, double BPstar);

    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) override;

    enum { R1 = 0, K2 = 1, K3 = 2, BPSTAR = 3 };

private:
    // The one pass (verbosity under 4, rates that are numbers).
    bool evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                      unsigned P, double* values, double* derivatives) override;
    // A new set may print a warning (verbosity 1 on).
    unsigned setReportsFrom() const override { return 1; }
    // Value comparison: new parameters recompute the rates and the
    // convolutions, a new time the input value and the convolutions (all
    // four, whatever withTime says).
    void precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime);
    // Its set part: the rates anew (and reported) for parameters p that
    // differ from the cached ones; true if they did.
    bool refreshSet(const double* p);
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;
    double value(double t, unsigned x, unsigned y, unsigned z);

    // Cache, in normal units; the input's results times f. The time key is
    // t_ alone (the voxel shows itself in the parameters); t_ is dropped when
    // an input is added or removed.
    struct Cache {
        static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
        double p[4] = {kNaN, kNaN, kNaN, kNaN};  // R1, k2, k3, BPstar
        double cr = 0.0;                         // Cr(t) * f
        double k4 = kNaN, K = kNaN;              // k3 / BPstar, k2 / R1
        double Delta = kNaN, l1 = kNaN, l2 = kNaN;
        double conv1 = 0.0, conv2 = 0.0, convT1 = 0.0, convT2 = 0.0;  // with l1, l2, times f
    } cache_;
};

#endif
