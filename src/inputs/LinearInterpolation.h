// The measured input function: a piecewise linear curve through the frames of
// a dataset, usually a blood curve or a reference region.
//
// Sample i is the frame's model time T[i] and the parameter "y<i>" (state
// const), so a dataset with one curve per voxel gives a per-voxel input.
// Before T[0] the curve is the line from (0, 0) to the first sample; after
// T[n-1] it continues with the slope of the last segment.
//
// The convolutions with exp(-k t) are summed in closed form interval by
// interval. A fit walks the frames in order with one k, so each call reuses
// the sum of the previous one and adds a single interval (the incremental
// chain); any other call sums from 0, over partial sums kept for its k (see
// Prefix), which a walk that the chain does not serve extends by one
// interval per call. Nothing here allocates, builds strings or looks names
// up per call.
#ifndef KINETRA_INPUTS_LINEARINTERPOLATION_H
#define KINETRA_INPUTS_LINEARINTERPOLATION_H

#include <cstdint>
#include <string>
#include <vector>

#include "InputFunction.h"

class LinearInterpolation : public InputFunction {
public:
    LinearInterpolation();
    explicit LinearInterpolation(const std::string& name);
    LinearInterpolation(const std::string& name, const Unit& unit);

    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    // A measured curve has no derivative by its samples: reports and gives 0.0.
    double der(const std::string& name, double t, unsigned x, unsigned y, unsigned z) override;
    double derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;
    double convExp(double k, double t, unsigned x, unsigned y, unsigned z) override;
    double convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) override;
    // The frames in one walk on the calls' chains (numerical convolutions:
    // the calls one by one).
    void convolveFrames(double k, const double* t, unsigned T, unsigned x, unsigned y, unsigned z, double* value,
                        double* conv, double* convT) override;
    // The frames of the 4D dataset become the samples (VOI ignored).
    void initParameters(const Dataset* data, const VOI* voi) override;

    // Loads the sample values of voxel (x, y, z) unless they are loaded
    // already. The base caches are not used here, so only the voxel step of
    // refresh applies.
    void precompute(unsigned x, unsigned y, unsigned z) {
        if (parameter_.empty() || parameter_.size() != time_.size()) assertSizes();
        if (takeVoxel(x, y, z)) load(x, y, z);
    }

    // int_a^b (y0 + m (s - x0)) exp(k s) ds
    static double integrateInterval(double k, double a, double b, double x0, double y0, double m);
    // int_a^b s (y0 + m (s - x0)) exp(k s) ds
    static double integrateTimeInterval(double k, double a, double b, double x0, double y0, double m);

    // The sample times T[0..n-1], in the dataset's time unit.
    const std::vector<double>& getTimes() const { return time_; }
    // The sample values of the voxel last loaded.
    const std::vector<double>& getValues() const { return value_; }

private:
    // The partial sums of a full sum's loop over the grid: entry i is the
    // sum after interval i. They depend only on k and the loaded samples, so
    // the full sums of one frame walk share them and each adds the same
    // terms in the same order as a sum from 0 would: the results are the
    // same to the bit. Valid for `count` entries while k equals `k` and the
    // samples stay loaded.
    struct Prefix {
        double k = 0.0;
        std::size_t count = 0;
        std::vector<double> sum;
    };
    // The transcendental part of the interval [a, a + w] at rate k, which
    // both forms of an interval need: phi_1..3(k w) and exp(k a). A frame walk
    // meets each interval twice (as the remainder of one frame and as a grid
    // step of the next) and each frame twice (convExp and convTimeExp), so
    // the last two are kept. Keys compare bit for bit: a hit gives exactly
    // the numbers a new computation would.
    struct Terms {
        double k, a, w;
        double p1, p2, p3, ea;
    };
    // The interval's integral (Timed: with the factor s) by the closed forms
    // of integrateInterval and integrateTimeInterval, with the terms kept.
    template <bool Timed>
    double interval(double k, double a, double b, double x0, double y0, double m);
    const Terms& terms(double k, double a, double w);
    // interval<false> and interval<true> of one interval together.
    void intervalPair(double k, double a, double b, double x0, double y0, double m, double& I, double& IT);
    // exp(-k t), kept for the last (k, t): the two convolutions of a frame share it.
    double decay(double k, double t);
    // The first grid index i with t <= T[i] (n if there is none), searched
    // from where the last search ended when the times increase, as they do
    // along a frame walk.
    std::size_t gridIndex(double t);

    // The incremental chain of one convolution: where the last call ended.
    struct Chain {
        std::uint32_t& lastIndex;
        double& lastTime;
        double& lastK;
        double& lastSum;
        Prefix& prefix;
    };
    struct ChainState {
        std::uint32_t lastIndex;
        double lastTime, lastK, lastSum;
        Prefix prefix;
    };
    // Two chains per convolution, one per rate, for the models that walk the
    // frames with two rates at once: a rate takes the chain that last served
    // it, else the one used less recently. Each chain checks its own key, so
    // the choice never changes a result.
    struct ChainPair {
        ChainState slot[2];
        unsigned lastUsed;
        Chain select(double k) {
            const unsigned s = slot[0].lastK == k ? 0u : (slot[1].lastK == k ? 1u : lastUsed ^ 1u);
            lastUsed = s;
            ChainState& c = slot[s];
            return Chain{c.lastIndex, c.lastTime, c.lastK, c.lastSum, c.prefix};
        }
    };

    // Prints the assertion report: one parameter per sample is required.
    void assertSizes() const;
    void load(unsigned x, unsigned y, unsigned z);
    void resetChains();
    // The closed-form convolution; Timed selects convTimeExp.
    template <bool Timed>
    double convolve(double k, double t, unsigned x, unsigned y, unsigned z, Chain chain);
    // The same convolution with exp(-k t) taken into every interval,
    // exp(k (s - t)) in place of exp(k s): finite where the running sum
    // overflows (k t beyond ~709), at the price of a full sum.
    template <bool Timed>
    double foldedConvolve(double k, double t) const;

    std::vector<double> time_;
    std::vector<double> value_;
    // What convolveFrames keeps of the frames of its last walk, which do
    // not depend on the rate: their times, the curve's values there and the
    // grid index of each (gridIndex). Dropped whenever samples are loaded.
    std::vector<double> frameTime_, frameValue_;
    std::vector<std::size_t> frameStep_;
    ChainPair chainsConvExp_;
    ChainPair chainsConvTimeExp_;
    Terms terms_[2];
    unsigned termsNext_;
    double decayK_, decayT_, decay_;
    std::size_t gridHint_;
    bool increasing_;  // strictly increasing sample times: the hint may be used
};

#endif
