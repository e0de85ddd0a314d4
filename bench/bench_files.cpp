// Analyze files of a typical dynamic scan, 30 frames of 128x128x64 floats
// (126 MB of voxels), written and read through writeAnalyze and readAnalyze,
// beside a plain fwrite / fread of the same bytes in one file.
//
// Counters: "MB" is the voxel bytes moved per second of wall time (10^6
// bytes, shown as a rate: 1.2k/s is 1200 MB/s); the
// files live in a temporary folder under /tmp, so the page cache usually
// holds them and the numbers measure the code rather than the disk.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Dataset.files.h"
#include "util/Message.h"

namespace {

constexpr unsigned kT = 30, kX = 128, kY = 128, kZ = 64;
constexpr double kBytes = double(kT) * kX * kY * kZ * sizeof(float);

// One folder and one series for the whole program.
struct Fixture {
    std::string dir;
    Dataset4D<float> series;
    Fixture() : series(kT, kX, kY, kZ) {
        char pattern[] = "/tmp/kinetra-bench-files-XXXXXX";
        const char* made = mkdtemp(pattern);
        dir = made ? made : "/tmp";
        for (unsigned t = 0; t < kT; ++t) {
            series.setTime(t, 60.0 * t);
            series.setFrameLength(t, 60.0);
            float* v = series(t).getData();
            for (unsigned i = 0; i < kX * kY * kZ; ++i) v[i] = float(i % 1000) * 0.5f + float(t);
        }
        _MessageHelper::verbosity_ = 0;
    }
    ~Fixture() {
        if (dir != "/tmp") std::system(("rm -rf '" + dir + "'").c_str());
    }
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

void rate(benchmark::State& state) {
    state.counters["MB"] =
        benchmark::Counter(kBytes * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
}

void BM_WriteAnalyze(benchmark::State& state) {
    Fixture& f = fixture();
    for (auto _ : state) writeAnalyze(f.dir + "/series", &f.series, 1.0);
    rate(state);
}

void BM_WritePlain(benchmark::State& state) {
    Fixture& f = fixture();
    const std::string name = f.dir + "/plain.raw";
    for (auto _ : state) {
        FILE* out = std::fopen(name.c_str(), "wb");
        for (unsigned t = 0; t < kT; ++t) std::fwrite(f.series(t).getData(), sizeof(float), kX * kY * kZ, out);
        std::fclose(out);
    }
    rate(state);
}

void BM_ReadAnalyze(benchmark::State& state) {
    Fixture& f = fixture();
    writeAnalyze(f.dir + "/series", &f.series, 1.0);
    for (auto _ : state) {
        std::unique_ptr<Dataset> d(readAnalyze(f.dir + "/series"));
        benchmark::DoNotOptimize(d.get());
        if (!d) state.SkipWithError("readAnalyze failed");
    }
    rate(state);
}

// fread into a new buffer of the whole size, as readAnalyze hands out new
// storage too.
void BM_ReadPlain(benchmark::State& state) {
    Fixture& f = fixture();
    const std::string name = f.dir + "/plain.raw";
    {
        FILE* out = std::fopen(name.c_str(), "wb");
        for (unsigned t = 0; t < kT; ++t) std::fwrite(f.series(t).getData(), sizeof(float), kX * kY * kZ, out);
        std::fclose(out);
    }
    const size_t count = size_t(kT) * kX * kY * kZ;
    for (auto _ : state) {
        std::unique_ptr<float[]> data(new float[count]);
        FILE* in = std::fopen(name.c_str(), "rb");
        const size_t got = std::fread(data.get(), sizeof(float), count, in);
        std::fclose(in);
        benchmark::DoNotOptimize(data.get());
        if (got != count) state.SkipWithError("short read");
    }
    rate(state);
}

}  // namespace

BENCHMARK(BM_WriteAnalyze)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
BENCHMARK(BM_WritePlain)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
BENCHMARK(BM_ReadAnalyze)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
BENCHMARK(BM_ReadPlain)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
