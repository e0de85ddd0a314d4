// A voxel's curve in one call (Optimizable::evaluate and the input's
// convolveFrames) gives, bit for bit, the numbers of the calls one by one,
// over the call sequences of a fit: changing parameters at one voxel, frames
// on the input's samples or between them, past the last sample, out of
// order, and rates for which the convolutions overflow.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>

#include "mexhost.h"
#include "model_support.h"
#include "models/Generic_1TC_Model.h"

using namespace model_test;

namespace {

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// A measured input on the given sample times with a bolus-like curve, and a
// one-tissue model driven by it; two such pairs start in the same state.
struct Pair {
    explicit Pair(const std::vector<double>& samples) : input("plasma", Unit("kBq/ml")) {
        Dataset4D<double> curve(static_cast<unsigned>(samples.size()), 1, 1, 1, 0.0);
        for (unsigned i = 0; i < samples.size(); ++i) {
            curve.setTime(i, samples[i]);
            curve.setFrameLength(i, 10.0);
            const double s = samples[i] / 60.0;
            curve(i, 0, 0, 0) = 100.0 * s * std::exp(-s) + 5.0;
        }
        Verbosity quiet(0);
        input.initParameters(&curve, nullptr);
        model.addInput(&input);
    }
    LinearInterpolation input;
    Generic_1TC_Model model;
};

// The fit's view of a parameter set: values and derivatives by k1, k2, beta.
void setParameters(Generic_1TC_Model& m, double k1, double k2, double beta) {
    m.setParameterValue("k1", k1);
    m.setParameterValue("k2", k2);
    m.setParameterValue("alpha", 1.0);
    m.setParameterValue("beta", beta);
}

void expectSameCurves(const std::vector<double>& samples, const std::vector<double>& frames,
                      const std::vector<double>& k2s) {
    Pair batch(samples), calls(samples);
    const unsigned T = static_cast<unsigned>(frames.size());
    const unsigned index[3] = {Generic_1TC_Model::K1, Generic_1TC_Model::K2, Generic_1TC_Model::BETA};
    std::vector<double> values(T), derivatives(3 * T);
    for (double k2 : k2s) {
        setParameters(batch.model, 0.3, k2, 0.05);
        setParameters(calls.model, 0.3, k2, 0.05);
        batch.model.evaluate(frames.data(), T, 0, 0, 0, index, 3, values.data(), derivatives.data());
        for (unsigned i = 0; i < T; ++i) {
            const double v = calls.model(frames[i], 0, 0, 0);
            EXPECT_TRUE(sameBits(values[i], v)) << "k2 " << k2 << " frame " << i << ": " << values[i] << " " << v;
            for (unsigned j = 0; j < 3; ++j) {
                const double d = calls.model.derByIndex(index[j], frames[i], 0, 0, 0);
                EXPECT_TRUE(sameBits(derivatives[i * 3 + j], d)) << "k2 " << k2 << " frame " << i << " der " << j;
            }
        }
    }
}

std::vector<double> grid(double first, double step, unsigned n) {
    std::vector<double> t(n);
    for (unsigned i = 0; i < n; ++i) t[i] = first + step * i;
    return t;
}

}  // namespace

TEST(BatchEvaluate, SameBitsAsTheCallsOneByOne) {
    Verbosity quiet(1);
    // Rates (1/min) as a fit walks them, a repeat, zero, and one whose
    // exponentials overflow at the late frames.
    const std::vector<double> k2s = {0.1, 0.12, 0.12, 0.0, 0.5, 0.05, 30.0, 0.2};
    const std::vector<double> samples = grid(10.0, 10.0, 30);
    expectSameCurves(samples, samples, k2s);                          // frames on the samples
    expectSameCurves(grid(0.0, 10.0, 30), grid(0.0, 10.0, 30), k2s);  // first sample at 0 (moved off it)
    expectSameCurves(samples, grid(5.0, 10.0, 30), k2s);              // between the samples
    expectSameCurves(samples, grid(0.0, 17.0, 40), k2s);              // another grid, past the last sample
    expectSameCurves(samples, grid(0.0, 120.0, 31), k2s);             // up to an hour: exp(k t) overflows
    std::vector<double> shuffled = samples;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
    expectSameCurves(samples, shuffled, k2s);  // out of order
}

TEST(BatchEvaluate, PrintingAndNumericalPathsAreTheCalls) {
    const std::vector<double> samples = grid(10.0, 10.0, 6);
    {
        // At verbosity 6 the model and the input print per call: the batch
        // prints the same lines.
        Pair batch(samples), calls(samples);
        Verbosity loud(6);
        const unsigned index[1] = {Generic_1TC_Model::K2};
        double values[6], derivatives[6];
        setParameters(batch.model, 0.3, 0.1, 0.05);
        setParameters(calls.model, 0.3, 0.1, 0.05);
        mexhost::clearOutput();
        batch.model.evaluate(samples.data(), 6, 0, 0, 0, index, 1, values, derivatives);
        const std::string batchText = mexhost::takeOutput();
        for (unsigned i = 0; i < 6; ++i) {
            calls.model(samples[i], 0, 0, 0);
            calls.model.derByIndex(index[0], samples[i], 0, 0, 0);
        }
        EXPECT_EQ(batchText, mexhost::takeOutput());
        EXPECT_FALSE(batchText.empty());
    }
    // The input's default walk asks value, convExp and convTimeExp per frame.
    RampInput ramp;
    double value[3], conv[3], convT[3];
    const double t[3] = {1.0, 2.0, 3.0};
    ramp.convolveFrames(0.5, t, 3, 0, 0, 0, value, conv, convT);
    EXPECT_EQ(ramp.values, 3);
    EXPECT_EQ(ramp.convs, 3);
    EXPECT_EQ(ramp.convTs, 3);
    EXPECT_DOUBLE_EQ(conv[2], ramp.convExp(0.5, 3.0, 0, 0, 0));
}
