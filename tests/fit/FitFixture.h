// A fitting scene: plasma input, a model on it, data made by the model, a
// VOI, and the optimizer wired the way a protocol wires it.
#ifndef KINETRA_TESTS_FIT_FITFIXTURE_H
#define KINETRA_TESTS_FIT_FITFIXTURE_H

#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "Dataset4D.h"
#include "Model.h"
#include "VOI.h"
#include "inputs/LinearInterpolation.h"
#include "mexhost.h"
#include "models/Generic_1TC_Model.h"
#include "optimizers/LevenbergMarquardt.h"
#include "util/Message.h"

namespace fit {

using VoxelFn = std::function<double(unsigned, unsigned, unsigned)>;

// Frame starts in s: 6x10 s, 6x30 s, 6x60 s, 6x300 s.
inline std::vector<double> frameTimes() {
    std::vector<double> t;
    double s = 0.0;
    for (double d : {10.0, 30.0, 60.0, 300.0})
        for (int i = 0; i < 6; ++i, s += d) t.push_back(s);
    return t;
}

// A plasma curve (kBq/ml) peaking 15 s after injection, slow washout.
inline double plasma(double t) {
    const double u = (t - 15.0) / 60.0;
    if (u <= 0.0) return 0.0;
    return (85.0 * u - 2.2 - 2.1) * std::exp(-4.1 * u) + 2.2 * std::exp(-0.0104 * u) + 2.1 * std::exp(-0.119 * u);
}

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

struct Scene {
    std::vector<double> times = frameTimes();
    std::unique_ptr<LinearInterpolation> input = makeInput(times);
    std::unique_ptr<Model> model;
    std::unique_ptr<Dataset4D<double>> data, error;
    std::unique_ptr<VOI> voi;
    LevenbergMarquardt lm;
    unsigned X = 1, Y = 1, Z = 1;

    void setModel(Model* m, unsigned x, unsigned y, unsigned z) {
        model.reset(m);
        model->addInput(input.get());
        X = x, Y = y, Z = z;
        model->resizeParameters(X, Y, Z);
    }
    // Generic_1TC (k1, k2 0.15, beta 0.05) on X x Y voxels, alpha and beta
    // fixed, noiseless data made.
    void oneTissue(unsigned x, unsigned y = 1, double k1 = 0.4, double alpha = 1.0) {
        setModel(new Generic_1TC_Model(Unit("kBq/ml"), k1, 0.15, alpha, 0.05), x, y, 1);
        model->setParameterState("alpha", Parameter::FIXED);
        model->setParameterState("beta", Parameter::FIXED);
        makeData();
    }
    void start(double k1, double k2) {
        model->setParameterInitValue("k1", k1);
        model->setParameterInitValue("k2", k2);
    }
    void forEach(const std::function<void(unsigned, unsigned, unsigned)>& f) const {
        for (unsigned x = 0; x < X; ++x)
            for (unsigned y = 0; y < Y; ++y)
                for (unsigned z = 0; z < Z; ++z) f(x, y, z);
    }
    void setValues(const std::string& name, const VoxelFn& v) {
        forEach([&](unsigned x, unsigned y, unsigned z) { model->setParameterValue(name, x, y, z, v(x, y, z)); });
    }
    void setInitValues(const std::string& name, const VoxelFn& v) {
        forEach([&](unsigned x, unsigned y, unsigned z) { model->setParameterInitValue(name, x, y, z, v(x, y, z)); });
    }
    void makeData() {
        data.reset(model->createData(times));
        data->setName("data");
    }
    // Gaussian noise of standard deviation sd, and the matching error dataset.
    void addNoise(double sd, unsigned seed) {
        std::mt19937 generator(seed);
        std::normal_distribution<double> normal(0.0, sd);
        error.reset(new Dataset4D<double>(*data));
        error->setName("error");
        *error = sd;
        for (unsigned t = 0; t < data->getDimensionT(); ++t)
            for (unsigned i = 0; i < X * Y * Z; ++i) (*data)(t, i) += normal(generator);
    }
    void setVOI(const std::function<bool(unsigned, unsigned, unsigned)>& active) {
        voi.reset(new VOI(X, Y, Z, 0));
        voi->setName("voi");
        forEach([&](unsigned x, unsigned y, unsigned z) { (*voi)(x, y, z) = active(x, y, z) ? 1 : 0; });
    }
    // Hands the working set over as Protocol::prepare does, runs, and
    // returns what was printed.
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

// Masks line numbers of error and assertion heads ("(123): " or "(123)\n"
// become "(#)") and CPU seconds ("(0.012s)" becomes "(#.###s)").
inline std::string masked(const std::string& text) {
    return std::regex_replace(std::regex_replace(text, std::regex("\\(\\d+\\)(?=[:\\n])"), "(#)"),
                              std::regex("\\(\\d+\\.\\d{3}s\\)"), "(#.###s)");
}

inline bool endsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}
inline bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// Messages at a given verbosity for the lifetime of the object.
struct Verbosity {
    explicit Verbosity(unsigned level) : saved(_MessageHelper::verbosity_) { set(level); }
    ~Verbosity() { set(saved); }
    static void set(unsigned level) { _MessageHelper::verbosity_ = level, _MessageHelper::indent_.clear(); }
    unsigned saved;
};

}  // namespace fit

#endif
