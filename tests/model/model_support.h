// Helpers of the model tests: test inputs, a measured blood curve and an
// independent reference for convolutions of a piecewise linear curve.
#ifndef KINETRA_TESTS_MODEL_SUPPORT_H
#define KINETRA_TESTS_MODEL_SUPPORT_H

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "Dataset4D.h"
#include "InputFunction.h"
#include "inputs/LinearInterpolation.h"
#include "util/Message.h"

namespace model_test {

// Restores the verbosity at the end of a scope.
struct Verbosity {
    explicit Verbosity(unsigned level) : saved(_MessageHelper::verbosity_) { _MessageHelper::verbosity_ = level; }
    ~Verbosity() { _MessageHelper::verbosity_ = saved; }
    unsigned saved;
};

// C(t) = a t, with its two convolutions in closed form; counts the calls.
//   int_0^t exp(-k s) a (t - s) ds   = a (t/k - (1 - e)/k^2)
//   int_0^t exp(-k s) a (t - s)^2 ds = a (t^2/k - 2t/k^2 + 2(1 - e)/k^3),  e = exp(-k t)
class RampInput : public InputFunction {
public:
    explicit RampInput(double a = 2.0, const std::string& name = "ramp", const Unit& unit = Unit("kBq/ml"))
        : InputFunction(name, unit), a_(a) {}
    double operator()(double t, unsigned, unsigned, unsigned) override {
        ++values;
        return a_ * t;
    }
    double convExp(double k, double t, unsigned, unsigned, unsigned) override {
        ++convs;
        const double e = std::exp(-k * t);
        return a_ * (t / k - (1 - e) / (k * k));
    }
    double convTimeExp(double k, double t, unsigned, unsigned, unsigned) override {
        ++convTs;
        const double e = std::exp(-k * t);
        return a_ * (t * t / k - 2 * t / (k * k) + 2 * (1 - e) / (k * k * k));
    }
    void initParameters(const Dataset*, const VOI*) override {}
    // resize(n) gives it the parameters p0 .. p<n-1>, which nothing reads.
    void init(const std::vector<double>& v) override {
        for (size_t i = 0; i < v.size(); ++i) addParameter("p" + std::to_string(i), Unit(), v[i]);
    }
    int values = 0, convs = 0, convTs = 0;

private:
    double a_;
};

// A blood curve sampled at n frame times (seconds): a fast bolus on a slow tail.
inline double blood(double t) { return 40.0 * (t / 20) * (t / 20) * std::exp(-t / 15) + 5 * std::exp(-t / 900) * (t > 8); }

inline std::vector<double> frameTimes(unsigned n) {
    std::vector<double> times;
    double t = 2.0;
    for (unsigned i = 0; i < n; ++i) {
        times.push_back(t);
        t += i < 12 ? 5.0 : (i < 22 ? 15.0 : 60.0);
    }
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

// The piecewise linear curve itself: (0, 0) to the first sample, the samples,
// then on with the last slope.
struct Polyline {
    std::vector<double> T, Y;
    double operator()(double t) const {
        const size_t n = T.size();
        if (t >= T[n - 1]) return Y[n - 1] + (t - T[n - 1]) * (Y[n - 1] - Y[n - 2]) / (T[n - 1] - T[n - 2]);
        if (t <= T[0]) return t * Y[0] / T[0];
        size_t i = 1;
        while (t > T[i]) ++i;
        return Y[i - 1] + (t - T[i - 1]) * (Y[i] - Y[i - 1]) / (T[i] - T[i - 1]);
    }
};

// Gauss-Legendre nodes and weights on [-1, 1] by Newton's method on P_n.
struct GaussLegendre {
    std::vector<double> x, w;
    explicit GaussLegendre(int n) : x(n), w(n) {
        const double pi = std::acos(-1.0);
        for (int i = 0; i < n; ++i) {
            double z = std::cos(pi * (i + 0.75) / (n + 0.5)), dp = 0.0;
            for (int it = 0; it < 100; ++it) {
                double p0 = 1.0, p1 = 0.0;
                for (int j = 0; j < n; ++j) {
                    const double p2 = p1;
                    p1 = p0;
                    p0 = ((2.0 * j + 1.0) * z * p1 - j * p2) / (j + 1.0);
                }
                dp = n * (z * p0 - p1) / (z * z - 1.0);
                const double dz = p0 / dp;
                z -= dz;
                if (std::fabs(dz) < 1e-16) break;
            }
            x[i] = z;
            w[i] = 2.0 / ((1.0 - z * z) * dp * dp);
        }
    }
    template <class F>
    double integrate(F f, double a, double b) const {
        double sum = 0.0;
        for (size_t i = 0; i < x.size(); ++i) sum += w[i] * f(0.5 * (a + b) + 0.5 * (b - a) * x[i]);
        return 0.5 * (b - a) * sum;
    }
};

// int_0^t exp(-k (t - s)) C(s) ds, piece by piece with 24-point Gauss-Legendre:
// on each linear piece the integrand is smooth, so the rule is exact to
// rounding for the rates and spans used here.
inline double referenceConv(const Polyline& c, double k, double t) {
    static const GaussLegendre rule(24);
    std::vector<double> knots{0.0};
    for (double T : c.T)
        if (T > 0.0 && T < t) knots.push_back(T);
    knots.push_back(t);
    double sum = 0.0;
    for (size_t i = 0; i + 1 < knots.size(); ++i)
        sum += rule.integrate([&](double s) { return std::exp(-k * (t - s)) * c(s); }, knots[i], knots[i + 1]);
    return sum;
}

}  // namespace model_test

#endif
