// Copy of a Matlab array into a dataset and back: a 128x128x64x30 double
// array (Z = 128, Y = 128, X = 64, T = 30; 31.5 million elements, 252 MB),
// the size of a dynamic PET study.
#include <benchmark/benchmark.h>

#include <memory>

#include "Dataset4D.h"
#include "interfaces/MatlabInterface.h"
#include "mexhost.h"
#include "util/Message.h"

namespace {

struct Study {
    Study() {
        _MessageHelper::verbosity_ = 0;
        bridge.reset(new MatlabInterface());
        const mwSize dims[4] = {128, 128, 64, 30};
        array = mxCreateNumericArray(4, dims, mxDOUBLE_CLASS, mxREAL);
        double* values = mxGetPr(array);
        for (size_t i = 0, n = mxGetNumberOfElements(array); i < n; ++i) values[i] = double(i % 1000);
    }
    ~Study() {
        mxDestroyArray(array);
        bridge.reset();
        mexhost::clearOutput();
    }
    std::unique_ptr<MatlabInterface> bridge;
    mxArray* array = nullptr;
};

Study& study() {
    static Study s;
    return s;
}

void BM_ArrayToDataset4D(benchmark::State& state) {
    Study& s = study();
    for (auto _ : state) {
        std::unique_ptr<Dataset> data(s.bridge->createDataset4D(s.array));
        benchmark::DoNotOptimize(data.get());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(mxGetNumberOfElements(s.array)) * 8);
}
BENCHMARK(BM_ArrayToDataset4D)->Unit(benchmark::kMillisecond);

// The floor under the copy: making and freeing an empty dataset of that size
// (first touch of 252 MB of fresh memory).
void BM_EmptyDataset4D(benchmark::State& state) {
    for (auto _ : state) {
        std::unique_ptr<Dataset> data(new Dataset4D<double>(30, 64, 128, 128, 0.0));
        benchmark::DoNotOptimize(data.get());
    }
}
BENCHMARK(BM_EmptyDataset4D)->Unit(benchmark::kMillisecond);

void BM_Dataset4DToArray(benchmark::State& state) {
    Study& s = study();
    std::unique_ptr<Dataset> data(s.bridge->createDataset4D(s.array));
    for (auto _ : state) {
        mxArray* out = s.bridge->createDataArray4D(data.get());
        benchmark::DoNotOptimize(out);
        mxDestroyArray(out);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(mxGetNumberOfElements(s.array)) * 8);
}
BENCHMARK(BM_Dataset4DToArray)->Unit(benchmark::kMillisecond);

}  // namespace
