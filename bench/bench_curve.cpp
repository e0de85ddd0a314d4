// One voxel's curve with its derivatives, as a fit asks for it at each trial:
// model classes on a measured (linearly interpolated) 30-frame blood curve,
// through Model::evaluate (the class's one pass, or for Casciari, which has
// no analytic derivatives, the numerical pass set by set) and through the
// calls one by one (the default of Optimizable::evaluate). A trial writes a new set before each curve, so
// that no fetch is reused from the last one.
#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

#include "BloodCurve.h"
#include "inputs/LinearInterpolation.h"
#include "models/Cardiac_HutchinsI_Model.h"
#include "models/Casciari_Model.h"
#include "models/FMISO_2TC_Model.h"
#include "models/FMISO_3TC_Model.h"
#include "models/Generic_1TC_Model.h"
#include "models/Generic_2TC_Model.h"
#include "models/Neuro_Lammertsma_Model.h"
#include "models/Neuro_SLAM_Model.h"

namespace {

using Set = std::vector<std::pair<const char*, double>>;

template <class M>
struct Curve {
    LinearInterpolation input{"blood", Unit("kBq/ml")};
    M model;
    std::vector<double> times, values, derivatives;
    std::vector<unsigned> index;

    Curve(const Set& set, const char* trial) {
        times = loadBloodCurve(input);
        model.addInput(&input);
        for (const auto& p : set) {
            model.setParameterValue(p.first, p.second);
            index.push_back(indexOf(p.first));
        }
        trial_ = indexOf(trial);
        start_ = model.getParameterValueByIndex(trial_, 0, 0, 0);
        values.resize(times.size());
        derivatives.resize(times.size() * index.size());
    }

    // A new trial value, then the curve.
    template <bool OnePass>
    void run() {
        step_ = step_ < 100 ? step_ + 1 : 0;
        model.setParameterValueByIndex(trial_, 0, 0, 0, start_ * (1.0 + 1e-3 * step_));
        const unsigned T = static_cast<unsigned>(times.size()), P = static_cast<unsigned>(index.size());
        if (OnePass)
            model.evaluate(times.data(), T, 0, 0, 0, index.data(), P, values.data(), derivatives.data());
        else
            model.Optimizable::evaluate(times.data(), T, 0, 0, 0, index.data(), P, values.data(), derivatives.data());
        benchmark::DoNotOptimize(values.data());
        benchmark::DoNotOptimize(derivatives.data());
    }

private:
    unsigned indexOf(const std::string& name) const {
        unsigned i = 0;
        while (i + 1 < model.getNumParameters() && model.getParameterByIndex(i).getName() != name) ++i;
        return i;
    }

    unsigned trial_ = 0, step_ = 0;
    double start_ = 0.0;
};

template <class M, bool OnePass>
void curve(benchmark::State& state, const Set& set, const char* trial) {
    Curve<M> c(set, trial);
    for (auto _ : state) c.template run<OnePass>();
}

const Set kOneTissue = {{"k1", 0.3}, {"k2", 0.1}};
const Set kTwoTissue = {{"k1", 0.3}, {"k2", 0.2}, {"k3", 0.1}, {"k4", 0.02}};
const Set kHutchins = {{"k1", 0.5}, {"k2", 0.2}, {"tbv", 0.4}};
const Set kSlam = {{"R1", 1.1}, {"k2", 0.3}, {"BPstar", 1.5}};
const Set kLammertsma = {{"R1", 1.1}, {"k2", 0.3}, {"k3", 0.1}, {"BPstar", 2.0}};
const Set kFmiso2 = {{"k1", 0.3}, {"k2", 0.2}, {"k3", 0.05}, {"alpha", 0.5}, {"V", 0.9}};
const Set kCasciari = {{"F", 0.4}, {"ka", 0.1}, {"kb", 0.05}, {"alpha", 0.5}, {"beta1", 0.1}, {"beta2", 0.8},
                       {"eta", 0.3}, {"V", 0.9}};
const Set kFmiso3 = {{"k1", 0.3}, {"k2", 0.2}, {"k3", 0.05}, {"k4", 0.1}, {"alpha", 0.5}, {"V", 0.9}};

#define CURVE(name, M, set, trial)                                                           \
    void BM_##name##_OnePass(benchmark::State& s) { curve<M, true>(s, set, trial); }         \
    BENCHMARK(BM_##name##_OnePass);                                                          \
    void BM_##name##_CallsOneByOne(benchmark::State& s) { curve<M, false>(s, set, trial); }  \
    BENCHMARK(BM_##name##_CallsOneByOne)

CURVE(Generic_1TC, Generic_1TC_Model, kOneTissue, "k2");
CURVE(Generic_2TC, Generic_2TC_Model, kTwoTissue, "k3");
CURVE(Cardiac_HutchinsI, Cardiac_HutchinsI_Model, kHutchins, "k2");
CURVE(Neuro_SLAM, Neuro_SLAM_Model, kSlam, "BPstar");
CURVE(Neuro_Lammertsma, Neuro_Lammertsma_Model, kLammertsma, "BPstar");
CURVE(FMISO_2TC, FMISO_2TC_Model, kFmiso2, "k3");
CURVE(FMISO_3TC, FMISO_3TC_Model, kFmiso3, "k4");
CURVE(Casciari, Casciari_Model, kCasciari, "ka");

}  // namespace
