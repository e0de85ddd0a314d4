// The convolutions of the measured input function, the inner loop of every
// fit, over the 30 frames of a typical dynamic scan (frame starts 6x10 s,
// 8x30 s, 6x60 s, 5x300 s, 5x600 s, sampled at the frame middles).
//
// Counters: "per_call" is the time of one convolution (seconds, with SI
// suffix: 25n = 25 ns); "allocs" counts heap allocations per call, which must
// stay 0 on these paths.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>
#include <random>
#include <vector>

#include "Dataset4D.h"
#include "inputs/LinearInterpolation.h"
#include "util/Message.h"

// Every heap allocation of the program is counted. The release goes through
// a function the compiler does not inline, so that it does not pair the
// library's allocations with free() and warn.
namespace {
long allocations = 0;
__attribute__((noinline)) void release(void* p) noexcept { std::free(p); }
}  // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }

namespace {

constexpr int kFrames = 30;

std::unique_ptr<LinearInterpolation> makeInput() {
    _MessageHelper::verbosity_ = 1;
    auto data = std::make_unique<Dataset4D<double>>(kFrames, 1, 1, 1, 0.0);
    double start = 0;
    int i = 0;
    for (auto [count, length] : {std::pair{6, 10.0}, {8, 30.0}, {6, 60.0}, {5, 300.0}, {5, 600.0}})
        for (int j = 0; j < count; ++j, ++i) {
            data->setTime(i, start);
            data->setFrameLength(i, length);
            const double t = start + 0.5 * length;
            data->setValue4D(i, 0, 0, 0, 50 * (t / 30) * (t / 30) * std::exp(-t / 25) + 3 * std::exp(-t / 2000) + 1);
            start += length;
        }
    data->setMidframeApprox(true);
    auto input = std::make_unique<LinearInterpolation>("blood", Unit("kBq/ml"));
    input->initParameters(data.get(), nullptr);
    return input;
}

void report(benchmark::State& state, long allocs) {
    const double calls = static_cast<double>(state.iterations()) * kFrames;
    state.counters["per_call"] =
        benchmark::Counter(kFrames, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["allocs"] = benchmark::Counter(static_cast<double>(allocs) / calls);
}

// Frames in order with one k: the incremental chain, one interval per call.
template <bool Timed>
void BM_ChainInFrameOrder(benchmark::State& state) {
    auto input = makeInput();
    const std::vector<double> T = input->getTimes();
    const double k = state.range(0) * 1e-4;
    const long before = allocations;
    for (auto _ : state) {
        double sum = 0;
        for (double t : T) sum += Timed ? input->convTimeExp(k, t, 0, 0, 0) : input->convExp(k, t, 0, 0, 0);
        benchmark::DoNotOptimize(sum);
    }
    report(state, allocations - before);
}
BENCHMARK_TEMPLATE(BM_ChainInFrameOrder, false)->Arg(0)->Arg(20)->ArgName("k_1e-4");
BENCHMARK_TEMPLATE(BM_ChainInFrameOrder, true)->Arg(20)->ArgName("k_1e-4");

// The same frames in random order: every call sums from 0 (for comparison).
void BM_FullSumRandomOrder(benchmark::State& state) {
    auto input = makeInput();
    std::vector<double> T = input->getTimes();
    std::shuffle(T.begin(), T.end(), std::mt19937(1));
    const long before = allocations;
    for (auto _ : state) {
        double sum = 0;
        for (double t : T) sum += input->convExp(0.002, t, 0, 0, 0);
        benchmark::DoNotOptimize(sum);
    }
    report(state, allocations - before);
}
BENCHMARK(BM_FullSumRandomOrder);

// A hit in the (k, t) cache of the parametric inputs, keyed by exact doubles.
void BM_CacheProbe(benchmark::State& state) {
    auto input = makeInput();
    const std::vector<double> T = input->getTimes();
    for (int r = 0; r < 8; ++r)
        for (double t : T) input->cacheConvExpInsert(0.001 * r, t, t);
    const long before = allocations;
    for (auto _ : state) {
        double sum = 0, v = 0;
        for (double t : T)
            if (input->cacheConvExpCheck(0.003, t, &v)) sum += v;
        benchmark::DoNotOptimize(sum);
    }
    report(state, allocations - before);
}
BENCHMARK(BM_CacheProbe);

}  // namespace
