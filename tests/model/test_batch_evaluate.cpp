// A voxel's curve in one call (Optimizable::evaluate and the input's
// convolveFrames) gives, bit for bit, the numbers of the calls one by one,
// over the call sequences of a fit: changing parameters at one voxel, frames
// on the input's samples or between them, past the last sample, out of
// order, and rates for which the convolutions overflow; for every model
// class with analytic derivatives.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <random>

#include "mexhost.h"
#include "model_support.h"
#include "models/Cardiac_2TC_Model.h"
#include "models/Cardiac_HutchinsII_Model.h"
#include "models/Cardiac_HutchinsI_Model.h"
#include "models/Casciari_Model.h"
#include "models/FMISO_2TC_Model.h"
#include "models/FMISO_3TC_Model.h"
#include "models/Generic_1TC_Model.h"
#include "models/Generic_2TC_Model.h"
#include "models/Neuro_Lammertsma_Model.h"
#include "models/Neuro_SLAM_Model.h"
#include "models/Water_1TC_Model.h"

using namespace model_test;

namespace {

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

size_t countOf(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

// A measured input on the given sample times with a bolus-like curve, and a
// model of class M driven by it; two such pairs start in the same state.
template <class M>
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
    M model;
};

// A parameter set by name, as a fit writes it.
using Set = std::vector<std::pair<const char*, double>>;

// For every set in turn: the batch's values and derivatives by `index`
// against the calls one by one, bit for bit.
template <class M>
void expectSameCurves(const std::vector<double>& samples, const std::vector<double>& frames,
                      const std::vector<Set>& sets, const std::vector<unsigned>& index, bool numder = false) {
    Pair<M> batch(samples), calls(samples);
    batch.model.setNumDer(numder);
    calls.model.setNumDer(numder);
    const unsigned T = static_cast<unsigned>(frames.size()), P = static_cast<unsigned>(index.size());
    std::vector<double> values(T), derivatives(P * T);
    for (const Set& set : sets) {
        for (const auto& p : set) {
            batch.model.setParameterValue(p.first, p.second);
            calls.model.setParameterValue(p.first, p.second);
        }
        batch.model.evaluate(frames.data(), T, 0, 0, 0, index.data(), P, values.data(), derivatives.data());
        for (unsigned i = 0; i < T; ++i) {
            const double v = calls.model(frames[i], 0, 0, 0);
            EXPECT_TRUE(sameBits(values[i], v)) << set[1].second << " frame " << i << ": " << values[i] << " " << v;
            for (unsigned j = 0; j < P; ++j) {
                const double d = calls.model.derByIndex(index[j], frames[i], 0, 0, 0);
                EXPECT_TRUE(sameBits(derivatives[i * P + j], d)) << set[1].second << " frame " << i << " der " << j;
            }
        }
    }
}

// The one-tissue sets of a fit: k2 (1/min) walked, repeated, zero, and one
// whose exponentials overflow at the late frames.
std::vector<Set> oneTissueSets() {
    std::vector<Set> sets;
    for (double k2 : {0.1, 0.12, 0.12, 0.0, 0.5, 0.05, 30.0, 0.2})
        sets.push_back({{"k1", 0.3}, {"k2", k2}, {"alpha", 1.0}, {"beta", 0.05}});
    return sets;
}

void expectSameOneTissueCurves(const std::vector<double>& samples, const std::vector<double>& frames) {
    expectSameCurves<Generic_1TC_Model>(samples, frames, oneTissueSets(),
                                        {Generic_1TC_Model::K1, Generic_1TC_Model::K2, Generic_1TC_Model::BETA});
}

std::vector<double> grid(double first, double step, unsigned n) {
    std::vector<double> t(n);
    for (unsigned i = 0; i < n; ++i) t[i] = first + step * i;
    return t;
}

}  // namespace

TEST(BatchEvaluate, SameBitsAsTheCallsOneByOne) {
    Verbosity quiet(1);
    const std::vector<double> samples = grid(10.0, 10.0, 30);
    expectSameOneTissueCurves(samples, samples);                          // frames on the samples
    expectSameOneTissueCurves(grid(0.0, 10.0, 30), grid(0.0, 10.0, 30));  // first sample at 0 (moved off it)
    expectSameOneTissueCurves(samples, grid(5.0, 10.0, 30));              // between the samples
    expectSameOneTissueCurves(samples, grid(0.0, 17.0, 40));              // another grid, past the last sample
    expectSameOneTissueCurves(samples, grid(0.0, 120.0, 31));             // up to an hour: exp(k t) overflows
    std::vector<double> shuffled = samples;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
    expectSameOneTissueCurves(samples, shuffled);  // out of order
}

// The two-tissue classes share one pass (and the reference model has its own): sets with k4 = 0 (a slow rate of
// exactly 0), nearly equal rates, a repeat and a voxel change; the report of
// a new set printed once, as by the calls one by one.
TEST(BatchEvaluate, TwoTissueAndReferenceModelsSameBitsAndText) {
    Verbosity talk(4);
    const std::vector<double> samples = grid(10.0, 10.0, 30), frames = grid(5.0, 37.0, 25);
    std::vector<Set> sets;
    for (double k4 : {0.02, 0.0, 0.02, 0.3})
        sets.push_back({{"k1", 0.3}, {"k2", 0.2}, {"k3", 0.1}, {"k4", k4}, {"alpha", 1.0}, {"beta", 0.05}});
    sets.push_back({{"k1", 0.3}, {"k2", 0.2}, {"k3", 1e-9}, {"k4", 0.2}, {"alpha", 1.0}, {"beta", 0.05}});
    mexhost::clearOutput();
    expectSameCurves<Generic_2TC_Model>(samples, frames, sets,
                                        {Generic_2TC_Model::K1, Generic_2TC_Model::K2, Generic_2TC_Model::K3,
                                         Generic_2TC_Model::K4, Generic_2TC_Model::BETA});
    const std::string text = mexhost::takeOutput();
    EXPECT_NE(text.find("lambda1=0,"), std::string::npos) << text;
    // Each report twice: once from the batch, once from the calls.
    EXPECT_EQ(countOf(text, "k4=0.005,"), 2u) << text;
    std::vector<Set> cardiac;
    for (double V : {0.6, 0.8}) cardiac.push_back({{"k1", 0.5}, {"k3", 0.1}, {"k4", 0.02}, {"V", V}, {"beta", 0.3}});
    expectSameCurves<Cardiac_2TC_Model>(samples, frames, cardiac,
                                        {Cardiac_2TC_Model::K1, Cardiac_2TC_Model::K4, Cardiac_2TC_Model::V});
    std::vector<Set> slam;  // BPstar = -1: k2a is not a number, the calls one by one
    for (double bp : {1.5, 1.5, 0.0, -1.0, 3.0}) slam.push_back({{"R1", 1.1}, {"k2", 0.3}, {"BPstar", bp}});
    expectSameCurves<Neuro_SLAM_Model>(samples, frames, slam,
                                       {Neuro_SLAM_Model::R1, Neuro_SLAM_Model::K2, Neuro_SLAM_Model::BPSTAR});
    std::vector<Set> hutchins;
    for (double k3 : {0.05, 0.0}) hutchins.push_back({{"k1", 0.5}, {"k2", 0.2}, {"k3", k3}, {"tbv", 0.4}});
    expectSameCurves<Cardiac_HutchinsII_Model>(samples, frames, hutchins,
                                               {Cardiac_HutchinsII_Model::K2, Cardiac_HutchinsII_Model::TBV});
}

// The cardiac one-tissue classes, the full reference tissue model and the
// hypoxia models: a repeat, zero rates, rates that meet (where the divided
// differences take their series) and sets whose rates are not numbers; the
// report of a degenerate reference set printed once by each side.
TEST(BatchEvaluate, CardiacReferenceAndHypoxiaModelsSameBitsAndText) {
    Verbosity talk(3);
    const std::vector<double> samples = grid(10.0, 10.0, 30), frames = grid(5.0, 37.0, 25);
    std::vector<Set> water;
    for (double Vd : {0.9, 0.9, 0.0}) water.push_back({{"k1", 0.8}, {"Vd", Vd}, {"tbv", 0.3}});
    expectSameCurves<Water_1TC_Model>(samples, frames, water,
                                      {Water_1TC_Model::K1, Water_1TC_Model::VD, Water_1TC_Model::TBV});
    std::vector<Set> hutchins;
    for (double k2 : {0.2, 0.0}) hutchins.push_back({{"k1", 0.5}, {"k2", k2}, {"tbv", 0.4}});
    expectSameCurves<Cardiac_HutchinsI_Model>(samples, frames, hutchins,
                                              {Cardiac_HutchinsI_Model::K1, Cardiac_HutchinsI_Model::K2});

    // (k2, k3, BPstar): a set, its repeat, no binding, Delta = 0, and 0/0 for k4.
    std::vector<Set> lammertsma;
    for (const auto& k : std::vector<std::vector<double>>{
             {0.3, 0.1, 2.0}, {0.3, 0.1, 2.0}, {0.3, 0.0, 2.0}, {0.0, 0.0, 1.0}, {0.3, 0.0, 0.0}, {0.2, 0.05, 1.5}})
        lammertsma.push_back({{"R1", 1.1}, {"k2", k[0]}, {"k3", k[1]}, {"BPstar", k[2]}});
    mexhost::clearOutput();
    expectSameCurves<Neuro_Lammertsma_Model>(samples, frames, lammertsma,
                                             {Neuro_Lammertsma_Model::R1, Neuro_Lammertsma_Model::K2,
                                              Neuro_Lammertsma_Model::K3, Neuro_Lammertsma_Model::BPSTAR});
    EXPECT_EQ(countOf(mexhost::takeOutput(), "Delta == 0.0"), 2u);

    // (k2, k3): a set, k3 = 0, and kappa near 0, where f[0, kappa] is a series.
    std::vector<Set> fmiso2;
    for (const auto& k : std::vector<std::vector<double>>{{0.2, 0.05}, {0.2, 0.0}, {1e-9, 0.0}})
        fmiso2.push_back({{"k1", 0.3}, {"k2", k[0]}, {"k3", k[1]}, {"alpha", 0.5}, {"beta", 0.1}, {"eta", 0.2},
                          {"V", 0.9}});
    expectSameCurves<FMISO_2TC_Model>(samples, frames, fmiso2,
                                      {FMISO_2TC_Model::K1, FMISO_2TC_Model::K2, FMISO_2TC_Model::K3,
                                       FMISO_2TC_Model::ALPHA, FMISO_2TC_Model::V});
    // k4: apart from kappa = 0.24, on it (the confluent differences), and
    // a V of 0 with k1 / V rates... k4 not a number.
    std::vector<Set> fmiso3;
    for (double k4 : {0.1, 0.2 + 0.8 * 0.05, std::numeric_limits<double>::quiet_NaN()})
        fmiso3.push_back({{"k1", 0.3}, {"k2", 0.2}, {"k3", 0.05}, {"k4", k4}, {"alpha", 0.5}, {"beta", 0.1},
                          {"eta", 0.2}, {"V", 0.9}});
    expectSameCurves<FMISO_3TC_Model>(samples, frames, fmiso3,
                                      {FMISO_3TC_Model::K2, FMISO_3TC_Model::K3, FMISO_3TC_Model::K4,
                                       FMISO_3TC_Model::ALPHA, FMISO_3TC_Model::BETA});
}

// Numerical derivatives (a class without analytic ones, or numder set): the
// trial curves set by set give numericalDer's numbers.
TEST(BatchEvaluate, NumericalDerivativesSameBits) {
    Verbosity quiet(0);
    const std::vector<double> samples = grid(10.0, 10.0, 30), frames = grid(5.0, 37.0, 25);
    std::vector<Set> casciari;
    for (double eta : {0.3, 0.3, 0.0})
        casciari.push_back({{"F", 0.4}, {"ka", 0.1}, {"kb", 0.05}, {"alpha", 0.5}, {"beta1", 0.1}, {"beta2", 0.8},
                            {"eta", eta}, {"V", 0.9}});
    expectSameCurves<Casciari_Model>(samples, frames, casciari,
                                     {Casciari_Model::F, Casciari_Model::KA, Casciari_Model::ETA, 99});
    std::vector<Set> twoTissue;
    for (double k4 : {0.02, 0.0})
        twoTissue.push_back({{"k1", 0.3}, {"k2", 0.2}, {"k3", 0.1}, {"k4", k4}, {"alpha", 1.0}, {"beta", 0.05}});
    expectSameCurves<Generic_2TC_Model>(samples, frames, twoTissue, {Generic_2TC_Model::K2, Generic_2TC_Model::K4},
                                        true);
}

TEST(BatchEvaluate, PrintingAndNumericalPathsAreTheCalls) {
    const std::vector<double> samples = grid(10.0, 10.0, 6);
    {
        // At verbosity 6 the model and the input print per call: the batch
        // prints the same lines.
        Pair<Generic_1TC_Model> batch(samples), calls(samples);
        Verbosity loud(6);
        const unsigned index[1] = {Generic_1TC_Model::K2};
        double values[6], derivatives[6];
        const Set set = oneTissueSets()[0];
        for (Generic_1TC_Model* m : {&batch.model, &calls.model})
            for (const auto& p : set) m->setParameterValue(p.first, p.second);
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
