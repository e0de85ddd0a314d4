// Cost of one model evaluation with its two analytic rate derivatives, as a
// fit sees it: a Generic_1TC_Model on a measured (linearly interpolated)
// 30-frame blood curve, evaluated at a voxel of 4x4x2 parameter maps.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "BloodCurve.h"
#include "inputs/LinearInterpolation.h"
#include "models/Generic_1TC_Model.h"

namespace {

struct Setup {
    LinearInterpolation input{"blood", Unit("kBq/ml")};
    Generic_1TC_Model model{Unit("kBq/ml"), 0.6, 0.3, 0.9, 0.05};
    std::vector<double> times;

    Setup() {
        times = loadBloodCurve(input);
        model.addInput(&input);
        model.resizeParameters(4, 4, 2);
    }
};

// The optimizer's inner loop at one voxel: frames in order, value and the two
// derivatives by index. Parameters stay, the time moves on each call.
void BM_Generic1TC_ValueAndDer_FrameWalk(benchmark::State& state) {
    Setup s;
    const unsigned n = static_cast<unsigned>(s.times.size());
    unsigned i = 0;
    for (auto _ : state) {
        const double t = s.times[i];
        double v = s.model(t, 2, 1, 1);
        v += s.model.derByIndex(Generic_1TC_Model::K1, t, 2, 1, 1);
        v += s.model.derByIndex(Generic_1TC_Model::K2, t, 2, 1, 1);
        benchmark::DoNotOptimize(v);
        if (++i == n) i = 0;
    }
}
BENCHMARK(BM_Generic1TC_ValueAndDer_FrameWalk);

// The same with a new trial k2 written (by index) before every evaluation:
// the convolutions are summed in full each time.
void BM_Generic1TC_ValueAndDer_NewTrial(benchmark::State& state) {
    Setup s;
    const unsigned n = static_cast<unsigned>(s.times.size());
    unsigned i = 0;
    double k2 = 0.3;
    for (auto _ : state) {
        k2 = k2 < 0.5 ? k2 + 1e-4 : 0.3;
        s.model.setParameterValueByIndex(Generic_1TC_Model::K2, 2, 1, 1, k2);
        const double t = s.times[i];
        double v = s.model(t, 2, 1, 1);
        v += s.model.derByIndex(Generic_1TC_Model::K1, t, 2, 1, 1);
        v += s.model.derByIndex(Generic_1TC_Model::K2, t, 2, 1, 1);
        benchmark::DoNotOptimize(v);
        if (++i == n) i = 0;
    }
}
BENCHMARK(BM_Generic1TC_ValueAndDer_NewTrial);

// The frame walk through the name-based der (one name lookup per call).
void BM_Generic1TC_ValueAndDer_ByName(benchmark::State& state) {
    Setup s;
    const std::string k1 = "k1", k2 = "k2";
    const unsigned n = static_cast<unsigned>(s.times.size());
    unsigned i = 0;
    for (auto _ : state) {
        const double t = s.times[i];
        double v = s.model(t, 2, 1, 1);
        v += s.model.der(k1, t, 2, 1, 1);
        v += s.model.der(k2, t, 2, 1, 1);
        benchmark::DoNotOptimize(v);
        if (++i == n) i = 0;
    }
}
BENCHMARK(BM_Generic1TC_ValueAndDer_ByName);

}  // namespace
