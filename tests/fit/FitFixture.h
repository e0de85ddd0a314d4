// A small fitting scene for the optimizer tests: a measured plasma input, a
// one-tissue model on it with per-voxel parameter maps, data made by the
// model itself, a VOI, and the optimizer wired the way a protocol wires it.
#ifndef KINETRA_TESTS_FIT_FITFIXTURE_H
#define KINETRA_TESTS_FIT_FITFIXTURE_H

#include <cctype>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Dataset4D.h"
#include "Model.h"
#include "VOI.h"
#include "inputs/LinearInterpolation.h"
#include "mexhost.h"
#include "optimizers/LevenbergMarquardt.h"
#include "util/Message.h"

namespace fit {

// Frame starts in s: 6x10 s, 6x30 s, 6x60 s, 6x300 s.
inline std::vector<double> frameTimes() {
    std::vector<double> t;
    double s = 0.0;
    for (double d : {10.0, 30.0, 60.0, 300.0})
        for (int i = 0; i < 6; ++i) {
            t.push_back(s);
            s += d;
        }
    return t;
}

// A plasma curve with a sharp peak 15 s after injection and a slow washout
// (kBq/ml, t in s).
inline double plasma(double t) {
    const double u = (t - 15.0) / 60.0;
    if (u <= 0.0) return 0.0;
    return (85.0 * u - 2.2 - 2.1) * std::exp(-4.1 * u) + 2.2 * std::exp(-0.0104 * u) + 2.1 * std::exp(-0.119 * u);
}

// The input function sampled at the frame starts.
inline std::unique_ptr<LinearInterpolation> makeInput(const std::vector<double>& times) {
    const unsigned n = static_cast<unsigned>(times.size());
    Dataset4D<double> curve(n, 1, 1, 1, 0.0);
    curve.setUnit(Unit("kBq/ml"));
    for (unsigned i = 0; i < n; ++i) {
        curve.setTime(i, times[i]);
        curve.setFrameLength(i, i + 1 < n ? times[i + 1] - times[i] : times[i] - times[i - 1]);
        curve(i, 0, 0, 0) = plasma(times[i]);
    }
    std::unique_ptr<LinearInterpolation> input(new LinearInterpolation("plasma", Unit("kBq/ml")));
    input->initParameters(&curve, nullptr);
    return input;
}

// The scene: owns everything a protocol would hold by reference.
struct Scene {
    std::vector<double> times = frameTimes();
    std::unique_ptr<LinearInterpolation> input = makeInput(times);
    std::unique_ptr<Model> model;
    std::unique_ptr<Dataset4D<double>> data;
    std::unique_ptr<Dataset4D<double>> error;
    std::unique_ptr<VOI> voi;
    LevenbergMarquardt lm;
    unsigned X = 1, Y = 1, Z = 1;

    // Takes the model, gives it the input and a grid of X x Y x Z voxels.
    void setModel(Model* m, unsigned x, unsigned y, unsigned z) {
        model.reset(m);
        model->addInput(input.get());
        X = x;
        Y = y;
        Z = z;
        model->resizeParameters(X, Y, Z);
    }
    // value(name, x, y, z) for every voxel.
    void setValues(const std::string& name, const std::function<double(unsigned, unsigned, unsigned)>& value) {
        for (unsigned x = 0; x < X; ++x)
            for (unsigned y = 0; y < Y; ++y)
                for (unsigned z = 0; z < Z; ++z) model->setParameterValue(name, x, y, z, value(x, y, z));
    }
    void setInitValues(const std::string& name, const std::function<double(unsigned, unsigned, unsigned)>& value) {
        for (unsigned x = 0; x < X; ++x)
            for (unsigned y = 0; y < Y; ++y)
                for (unsigned z = 0; z < Z; ++z) model->setParameterInitValue(name, x, y, z, value(x, y, z));
    }
    // The data: the model at its present values, one curve per voxel.
    void makeData() {
        data.reset(model->createData(times));
        data->setName("data");
    }
    // Gaussian noise of standard deviation sd on every value, and the
    // matching error dataset.
    void addNoise(double sd, unsigned seed) {
        std::mt19937 generator(seed);
        std::normal_distribution<double> normal(0.0, sd);
        error.reset(new Dataset4D<double>(*data));
        error->setName("error");
        *error = sd;
        for (unsigned t = 0; t < data->getDimensionT(); ++t)
            for (unsigned i = 0; i < X * Y * Z; ++i) (*data)(t, i) += normal(generator);
    }
    // A VOI of the grid with the voxels for which active(x, y, z) holds.
    void setVOI(const std::function<bool(unsigned, unsigned, unsigned)>& active) {
        voi.reset(new VOI(X, Y, Z, 0));
        voi->setName("voi");
        for (unsigned x = 0; x < X; ++x)
            for (unsigned y = 0; y < Y; ++y)
                for (unsigned z = 0; z < Z; ++z) (*voi)(x, y, z) = active(x, y, z) ? 1 : 0;
    }
    // Hands the working set to the optimizer (as Protocol::prepare does)
    // and runs it; returns what it printed.
    std::string run(bool weighted = false) {
        lm.setData(data.get());
        lm.setError(weighted ? error.get() : nullptr);
        lm.setVOI(voi.get());
        lm.setOptimizable(model.get());
        mexhost::clearOutput();
        lm.run();
        return mexhost::takeOutput();
    }
};

// The printed text with what varies between builds and runs masked: the
// line numbers of error and assertion heads ("ERROR Optimizer(123): " becomes
// "ERROR Optimizer(#): ") and CPU seconds ("(0.012s)" becomes "(#.###s)").
inline std::string masked(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size();) {
        if (text[i] == '(') {
            size_t j = i + 1;
            while (j < text.size() && text[j] >= '0' && text[j] <= '9') ++j;
            // A line number stands before "): " (errors) or ")\n" (assertions).
            if (j > i + 1 && j + 1 < text.size() && text[j] == ')' && (text[j + 1] == ':' || text[j + 1] == '\n')) {
                out += "(#)";
                i = j + 1;
                continue;
            }
            if (j > i + 1 && j + 5 < text.size() && text[j] == '.' && text.compare(j + 4, 2, "s)") == 0 &&
                std::isdigit(static_cast<unsigned char>(text[j + 1])) &&
                std::isdigit(static_cast<unsigned char>(text[j + 2])) &&
                std::isdigit(static_cast<unsigned char>(text[j + 3]))) {
                out += "(#.###s)";
                i = j + 6;
                continue;
            }
        }
        out += text[i++];
    }
    return out;
}

inline bool endsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// Messages at a given verbosity for the lifetime of the object.
struct Verbosity {
    explicit Verbosity(unsigned level) : saved(_MessageHelper::verbosity_) {
        _MessageHelper::verbosity_ = level;
        _MessageHelper::indent_.clear();
    }
    ~Verbosity() {
        _MessageHelper::verbosity_ = saved;
        _MessageHelper::indent_.clear();
    }
    unsigned saved;
};

}  // namespace fit

#endif
