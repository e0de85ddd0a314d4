// Filters, VOI statistics and clustering on a study of the size of a real
// dynamic scan: 128x128x64 voxels, 30 frames of double (252 MB). The sizes can
// be made smaller with FILTER_SIZE="X Y Z T" (e.g. "64 64 32 30").
//
// Filters and statistics run through the filter command on workspace names,
// as a user calls them (no array copies: nlhs is 0), except down2, which
// works on a volume (frame 0). k-means runs on the Cluster class: counters
// give the iterations and the time per iteration. "peak_MB" is the process's
// peak resident size so far.
#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "VOI.h"
#include "interfaces/MatlabInterface.h"
#include "mexhost.h"
#include "util/Cluster.h"
#include "util/Filter.h"
#include "util/Message.h"

namespace {

struct Study {
    unsigned X = 128, Y = 128, Z = 64, T = 30;
    std::unique_ptr<MatlabInterface> workspace;
    Dataset4D<double>* data = nullptr;  // owned by the workspace
    VOI* voi = nullptr;                 // owned by the workspace
};

// Curves 1 - exp(-k t) in a few tissue classes, with deterministic noise.
Study& study() {
    static Study s;
    if (s.workspace) return s;
    if (const char* size = std::getenv("FILTER_SIZE")) std::istringstream(size) >> s.X >> s.Y >> s.Z >> s.T;
    _MessageHelper::verbosity_ = 0;
    s.workspace.reset(new MatlabInterface());
    mexhost::clearOutput();
    s.data = new Dataset4D<double>(s.T, s.X, s.Y, s.Z);
    s.data->setName("study");
    for (unsigned t = 0; t < s.T; ++t) {
        s.data->setTime(t, 60.0 * t);
        s.data->setFrameLength(t, 60.0);
    }
    const unsigned n = s.X * s.Y * s.Z;
    unsigned seed = 12345;
    for (unsigned i = 0; i < n; ++i) {
        const double k = 0.02 + 0.03 * (i % 5);
        for (unsigned t = 0; t < s.T; ++t) {
            seed = seed * 1664525u + 1013904223u;
            (*s.data)(t, i) = 100 * (1 - std::exp(-k * t)) + (seed >> 8) * (10.0 / (1u << 24));
        }
    }
    s.workspace->addData(s.data);
    s.voi = new VOI(s.X, s.Y, s.Z, 0);
    s.voi->setName("region");
    for (unsigned i = 0; i < n; ++i) (*s.voi)(i) = (i / s.X) % 3 == 0;
    s.workspace->addVOI(s.voi);
    return s;
}

double peakMB() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024.0;
}

void command(std::vector<std::string> words) {
    std::vector<mxArray*> args;
    for (const std::string& w : words) args.push_back(mxCreateString(w.c_str()));
    mxArray* out[4] = {nullptr, nullptr, nullptr, nullptr};
    study().workspace->processCommand(0, out, int(args.size()), const_cast<const mxArray**>(args.data()));
    for (mxArray* a : args) mxDestroyArray(a);
    if (out[0]) mxDestroyArray(out[0]);
    mexhost::clearOutput();
}

void filterCommand(benchmark::State& state, std::vector<std::string> words) {
    study();
    for (auto _ : state) command(words);
    state.counters["peak_MB"] = peakMB();
}

BENCHMARK_CAPTURE(filterCommand, tmean5, {"filter", "study", "tmean5"})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(filterCommand, tmedian5, {"filter", "study", "tmedian5"})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(filterCommand, savgol442, {"filter", "study", "savgol4,4,2"})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(filterCommand, tpca0, {"filter", "study", "tpca0"})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(filterCommand, voi_mean, {"filter", "study", "voi", "region", "mean"})->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(filterCommand, voi_median, {"filter", "study", "voi", "region", "median"})
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(filterCommand, norm_mean, {"filter", "study", "norm", "mean", "region", "region"})
    ->Unit(benchmark::kMillisecond);

void down2(benchmark::State& state) {
    Dataset3D<double> volume = (*study().data)(0);
    for (auto _ : state) {
        Filter filter("down2");
        std::unique_ptr<Dataset> out(filter.compute(&volume, nullptr));
        benchmark::DoNotOptimize(out.get());
    }
    state.counters["peak_MB"] = peakMB();
}
BENCHMARK(down2)->Unit(benchmark::kMillisecond);

// k-means with K clusters of the study's curves (4D) or of frame T-1 (3D).
void kmeans(benchmark::State& state, unsigned K, const char* distance, bool volume) {
    Study& s = study();
    Dataset3D<double> last = (*s.data)(s.T - 1);
    const Dataset* data = volume ? static_cast<const Dataset*>(&last) : s.data;
    unsigned iterations = 0;
    for (auto _ : state) {
        Cluster cluster(K);
        cluster.setDistance(distance);
        if (distance[0] == 'W') cluster.setWeights(s.data->getFrameLength());
        std::unique_ptr<Dataset3D<unsigned char>> labels(cluster.compute(data, nullptr));
        benchmark::DoNotOptimize(labels.get());
        iterations = cluster.getIterations();
    }
    state.counters["iterations"] = iterations;
    state.counters["per_iteration_s"] =
        benchmark::Counter(double(state.iterations()) * std::max(1u, iterations),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["peak_MB"] = peakMB();
}
BENCHMARK_CAPTURE(kmeans, K5_L2, 5, "L2", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(kmeans, K5_WL2, 5, "WL2", false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(kmeans, K8_3D, 8, "L2", true)->Unit(benchmark::kMillisecond);

}  // namespace
