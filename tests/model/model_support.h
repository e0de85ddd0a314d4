// Helpers of the model and input tests: a ramp input with closed-form
// convolutions, a measured blood curve and the quadrature oracles.
#ifndef KINETRA_TESTS_MODEL_SUPPORT_H
#define KINETRA_TESTS_MODEL_SUPPORT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "inputs/LinearInterpolation.h"
#include "util/Message.h"

namespace model_test {

// Restores the verbosity at the end of a scope.
struct Verbosity {
    explicit Verbosity(unsigned level) : saved(_MessageHelper::verbosity_) { _MessageHelper::verbosity_ = level; }
    ~Verbosity() { _MessageHelper::verbosity_ = saved; }
    unsigned saved;
};

// C(t) = a t, with its two convolutions in closed form; counts the calls and
// keeps the voxel of the last one.
class RampInput : public InputFunction {
public:
    explicit RampInput(double a = 2.0, const std::string& name = "ramp", const Unit& unit = Unit("kBq/ml"))
        : InputFunction(name, unit), a_(a) {}
    double operator()(double t, unsigned x, unsigned y, unsigned z) override {
        voxel = {x, y, z};
        return ++values, a_ * t;
    }
    double convExp(double k, double t, unsigned x, unsigned y, unsigned z) override {
        ++convs;
        voxel = {x, y, z};
        return k == 0.0 ? a_ * t * t / 2 : a_ * (t / k - (1 - std::exp(-k * t)) / (k * k));
    }
    double convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) override {
        ++convTs;
        voxel = {x, y, z};
        if (k == 0.0) return a_ * t * t * t / 3;
        return a_ * (t * t / k - 2 * t / (k * k) + 2 * (1 - std::exp(-k * t)) / (k * k * k));
    }
    void initParameters(const Dataset*, const VOI*) override {}
    void init(const std::vector<double>& v) override {  // parameters p0 .. p<n-1>
        for (size_t i = 0; i < v.size(); ++i) addParameter("p" + std::to_string(i), Unit(), v[i]);
    }
    int values = 0, convs = 0, convTs = 0;
    std::vector<unsigned> voxel;

private:
    double a_;
};

// A blood curve sampled at n frame times (seconds): a fast bolus on a slow tail.
inline double blood(double t) { return 40.0 * (t / 20) * (t / 20) * std::exp(-t / 15) + 5 * std::exp(-t / 900) * (t > 8); }

inline std::vector<double> frameTimes(unsigned n) {
    std::vector<double> times;
    for (unsigned i = 0, t = 2; i < n; ++i, t += i <= 12 ? 5 : (i <= 22 ? 15 : 60)) times.push_back(t);
    return times;
}

// The measured input through the sample points (times[i], values[i]).
inline std::unique_ptr<LinearInterpolation> measuredInput(const std::vector<double>& times,
                                                          const std::vector<double>& values,
                                                          const Unit& unit = Unit("kBq/ml"),
                                                          const std::string& name = "blood") {
    Dataset4D<double> data(static_cast<unsigned>(times.size()), 1, 1, 1, 0.0);
    for (unsigned i = 0; i < times.size(); ++i) {
        data.setTime(i, times[i]);
        data.setFrameLength(i, 1.0);
        data(i, 0, 0, 0) = values[i];
    }
    data.setUnit(unit);
    std::unique_ptr<LinearInterpolation> input(new LinearInterpolation(name, unit));
    Verbosity quiet(0);
    input->initParameters(&data, nullptr);
    return input;
}

// The piecewise linear curve, written independently: (0, 0) to the first
// sample, the samples, then on with the last slope.
struct Polyline {
    std::vector<double> T, Y;
    double operator()(double u) const {
        const size_t n = T.size();
        if (u <= T[0]) return T[0] > 0 ? u * Y[0] / T[0] : Y[0];
        size_t i = std::min<size_t>(std::upper_bound(T.begin(), T.end(), u) - T.begin(), n - 1);
        return Y[i - 1] + (u - T[i - 1]) * (Y[i] - Y[i - 1]) / (T[i] - T[i - 1]);
    }
};

// int_a^b f by 10-point Gauss-Legendre on `panels` equal panels: exact to
// round-off for smooth integrands on short panels.
template <class F>
double integrate(F f, double a, double b, int panels = 64) {
    static const double x[5] = {0.1488743389816312, 0.4333953941292472, 0.6794095682990244, 0.8650633666889845,
                                0.9739065285171717};
    static const double w[5] = {0.2955242247147529, 0.2692667193099963, 0.2190863625159820, 0.1494513491505806,
                                0.0666713443086881};
    const double h = (b - a) / panels;
    double sum = 0.0;
    for (int p = 0; p < panels; ++p) {
        const double m = a + (p + 0.5) * h, r = 0.5 * h;
        for (int i = 0; i < 5; ++i) sum += w[i] * r * (f(m - r * x[i]) + f(m + r * x[i]));
    }
    return sum;
}

// int_0^t f(u) du for an integrand built on the curve: split at the samples
// so that every piece is smooth, panels of at most 10 s.
template <class F>
double referenceIntegral(const Polyline& c, double t, F f) {
    double sum = 0.0, a = 0.0;
    for (size_t i = 0; i <= c.T.size() && a < t; ++i) {
        const double b = i < c.T.size() ? std::min(c.T[i], t) : t;
        if (b > a) sum += integrate(f, a, b, std::max(1, static_cast<int>(std::ceil((b - a) / 10.0))));
        a = std::max(a, b);
    }
    return sum;
}

// int_0^t exp(-k (t - u)) [u] C(u) du.
inline double referenceConv(const Polyline& c, double k, double t, bool timed = false) {
    return referenceIntegral(c, t, [&](double u) { return std::exp(-k * (t - u)) * (timed ? u : 1.0) * c(u); });
}

// (f(v + h) - f(v - h)) / 2h.
template <class F>
double centralDifference(F f, double v, double h) {
    return (f(v + h) - f(v - h)) / (2 * h);
}

// The measured blood curve of 30 frames as an input, with its polyline and
// the independent tissue curve k1 * conv(k2).
struct Blood {
    std::vector<double> times = frameTimes(30), values;
    Polyline line;
    std::unique_ptr<LinearInterpolation> input;
    Blood() {
        for (double t : times) values.push_back(blood(t));
        line = Polyline{times, values};
        input = measuredInput(times, values);
    }
    // k1/min * conv with k2/min; the curve's time is in seconds.
    double c1(double k1, double k2, double t) const { return k1 / 60 * referenceConv(line, k2 / 60, t); }
};

inline void expectRelative(double actual, double expected, double tolerance, const std::string& what) {
    EXPECT_NEAR(actual, expected, tolerance * std::max(std::fabs(expected), 1e-300)) << what;
}

inline size_t occurrences(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

}  // namespace model_test

#endif
