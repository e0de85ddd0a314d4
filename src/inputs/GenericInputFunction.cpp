#include "inputs/GenericInputFunction.h"

#include <cmath>

#include "Dataset.h"
#include "util/Message.h"
#include "util/NumUtil.h"

GenericInputFunction::GenericInputFunction() : GenericInputFunction("") {}

GenericInputFunction::GenericInputFunction(const std::string& name) : GenericInputFunction(name, Unit()) {}

GenericInputFunction::GenericInputFunction(const std::string& name, const Unit& unit)
    : ParametricInputFunction(name, unit, "GenericInputFunction") {}

GenericInputFunction::GenericInputFunction(const std::string& name, const Unit& unit, double tau, double t0, double A1,
                                           double B1, double C1)
    : GenericInputFunction(name, unit) {
    init({tau, t0, A1, B1, C1});
}

GenericInputFunction::GenericInputFunction(const std::string& name, const Unit& unit, double tau, double t0, double A1,
                                           double B1, double C1, double A2, double B2, double C2)
    : GenericInputFunction(name, unit) {
    init({tau, t0, A1, B1, C1, A2, B2, C2});
}

void GenericInputFunction::init(const std::vector<double>& values) {
    // tau, t0 and whole terms of three; a list of another length gives
    // 3 floor((n - 2) / 3) + 6 parameters, of which the whole terms are made.
    const long n = static_cast<long>(values.size());
    const long below = n - 2 >= 0 ? (n - 2) / 3 : -((4 - n) / 3);  // floor((n - 2) / 3)
    const long count = (n - 2) % 3 == 0 && n >= 2 ? n : 3 * below + 6;
    std::vector<std::string> names = {"tau", "t0"};
    std::vector<Unit> units = {Unit("s"), Unit("s")};
    for (long j = 1; 2 + 3 * j <= count; ++j) {
        const std::string i = std::to_string(j);
        names.insert(names.end(), {"A" + i, "B" + i, "C" + i});
        units.insert(units.end(), {unit_, Unit(), Unit()});
    }
    clearParameters();
    defineParameters(names, units, values);
}

bool GenericInputFunction::checkSize(long n) const {
    if (n >= 5 && (n - 2) % 3 == 0) return true;
    MESSAGE(1,
            "KINETRA: invalid size %ld for %s, expected tau, t0 and A, B, C for each term (5, 8, 11, ... "
            "parameters)\n",
            n, type_.c_str());
    return false;
}

// The analytic convolutions hold for t0 = 0 only: a delay switches this
// function to the numerical ones, for good.
void GenericInputFunction::loaded() {
    if (!numconv_ && p_.size() > 1 && p_[1] != 0.0) {
        WARNING("analytical convolution not implemented for t0!=0, using numerical...\n ");
        numconv_ = true;
    }
}

double GenericInputFunction::operator()(double t, unsigned x, unsigned y, unsigned z) {
    precompute(x, y, z);
    return cached(valueCache_, 0.0, t, [&] {
        const double u = t - p_[1];
        if (u < 0.0) return 0.0;
        const double xs = u / p_[0];
        double sum = 0.0;
        for (std::size_t j = 2; j + 2 < p_.size(); j += 3) sum += p_[j] * std::pow(xs, p_[j + 1]) * std::exp(-p_[j + 2] * xs);
        return scale_ * sum;
    });
}

// int_0^t e^(-k s) (t - s)^e C(t - s) ds for t0 = 0: each term
// A (u / tau)^B e^(-C u / tau) gives e^(-k t) A / tau^B G(C / tau - k, B + 1 + e, t).
double GenericInputFunction::gammaSum(double k, double t, double extra) const {
    const double tau = p_[0];
    double sum = 0.0;
    for (std::size_t j = 2; j + 2 < p_.size(); j += 3) {
        const double A = p_[j], B = p_[j + 1], C = p_[j + 2];
        sum += A / std::pow(tau, B) * decayedGeneralGamma(k, C / tau - k, B + 1.0 + extra, t);
    }
    return sum;
}

// The result is scaled by scale_ also on the numerical way, whose integrand
// operator() is scaled already: with a unit of factor other than 1 the
// numerical convolution comes out scaled twice. Kept as the toolbox has it.
double GenericInputFunction::convExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    precompute(x, y, z);
    return cached(convExpCache_, k, t, [&] {
        return (numconv_ ? InputFunction::convExp(k, t, x, y, z) : gammaSum(k, t, 0.0)) * scale_;
    });
}

double GenericInputFunction::convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    precompute(x, y, z);
    return cached(convTimeExpCache_, k, t, [&] {
        return (numconv_ ? InputFunction::convTimeExp(k, t, x, y, z) : gammaSum(k, t, 1.0)) * scale_;
    });
}

// d/dp of sum_j A x^B e^(-C x), x = (t - t0) / tau, in normal units; 0 before t0.
// The t0 row is the toolbox's own, sum_j A ((C / tau) x^B - e^(-C x) B x^(B-1)):
// not the true derivative (A / tau) e^(-C x) (C x^B - B x^(B-1)), so a
// gradient fit of t0 moves it by a wrong slope (the delay is better fixed or
// fitted with numder).
double GenericInputFunction::partial(unsigned index, double t) {
    const double tau = p_[0], t0 = p_[1];
    if (t < t0) return 0.0;
    const double x = (t - t0) / tau;
    if (index < 2) {
        double sum = 0.0;
        for (std::size_t j = 2; j + 2 < p_.size(); j += 3) {
            const double A = p_[j], B = p_[j + 1], C = p_[j + 2];
            const double xB = std::pow(x, B), e = std::exp(-C * x);
            // B x^(B-1) is 0 for B = 0 (at x = 0 the power alone is inf).
            const double slope = B == 0.0 ? 0.0 : B * std::pow(x, B - 1.0);
            sum += index == 0 ? A / tau * xB * e * (C * x - B) : A * (C / tau * xB - e * slope);
        }
        return sum;
    }
    const std::size_t j = 2 + 3 * ((index - 2) / 3);
    const double A = p_[j], B = p_[j + 1], C = p_[j + 2];
    const double term = std::pow(x, B) * std::exp(-C * x);
    switch ((index - 2) % 3) {
        case 0:
            return term;
        case 1:
            return x > 0.0 ? A * std::log(x) * term : 0.0;
        default:
            return -A * x * term;
    }
}

namespace {
const double kLn2 = 0.69314718055994530942;
}  // namespace

// Starting values from the peak of a measured curve. A term A x^B e^(-C x)
// peaks at x = B / C with the value A (B / C)^B e^-B; the forms below place
// that peak at a frame's time and value.
void GenericInputFunction::initParameters(const Dataset* data, const VOI* voi) {
    // The stored values as they stand now, whatever was loaded before.
    changed_ = true;
    precompute(0, 0, 0);
    std::vector<double> times, curve;
    unsigned imax = 0;
    if (p_.size() < 2 || !measuredPeak(data, voi, times, curve, imax)) return;
    // A VOI carries no name of its own.
    MESSAGE(5, "%s (%s) initial parameters from data '%s' and VOI '%s'\n", name_.c_str(), type_.c_str(),
            data->getName().c_str(), "");
    _MessageHelper::indent(2);
    bool anyZero = false;
    for (std::size_t j = 3; j < p_.size(); j += 3) {
        const int term = static_cast<int>(j / 3);
        if (parameter_[j].getState() != Parameter::CONST)
            WARNING("B%d should be constant, using its value anyway!\n", term);
        if (p_[j] == 0.0) anyZero = true;
    }
    const bool done = anyZero ? pairForm(times, curve, imax) : (plainForm(times, curve, imax), true);
    _MessageHelper::outdent(2);
    if (done) storeInitialValues();
}

bool GenericInputFunction::allConst(std::size_t first, std::size_t count) const {
    for (std::size_t i = first; i < first + count && i < parameter_.size(); ++i)
        if (parameter_[i].getState() != Parameter::CONST) return false;
    return true;
}

// Term 1 at the peak with its stored B; then pairs of plain exponentials
// A (e^(-C x) - e^(-f C x)), f = 0.1, 0.01, ..., each pair rising to about
// the value of a later frame.
bool GenericInputFunction::pairForm(const std::vector<double>& times, const std::vector<double>& curve,
                                    unsigned imax) {
    const long n = static_cast<long>(p_.size());
    if ((n - 5) % 6 != 0) {
        ERROR("invalid number of parameters (%d) for this parametrization", static_cast<int>(n));
        // Pairs of six would run past the parameters: stop, nothing changed.
        return false;
    }
    const unsigned T = static_cast<unsigned>(times.size());
    const unsigned m = static_cast<unsigned>((n - 5) / 6 + 1);
    const unsigned step = (T - imax) / m;
    const double tau = p_[0];
    unsigned frame = imax;
    double tmax = times[frame], ymax = curve[frame];
    const double B = p_[3];
    p_[4] = B * tau / tmax;
    p_[2] = ymax * std::pow(tau / tmax, B) * std::exp(B);
    MESSAGE(5, "t_max,1 = %lg, y_max,1 = %lg\n", tmax, ymax);
    MESSAGE(5, "A1 = +/-%lg, B1 = %lg, C1 = %lg\n", p_[2], B, p_[4]);
    frame += step;
    double f = 0.1;
    for (long j = 5; j + 5 < n; j += 6) {
        if (!allConst(j, 6)) {
            const unsigned i = frame < T ? frame : T - 1;
            const int term = static_cast<int>((j - 2) / 3 + 1);
            tmax = times[i];
            ymax = curve[i];
            MESSAGE(5, "t_max,%d = %lg, y_max,%d = %lg\n", term, tmax, term, ymax);
            const double A = ymax / kLn2, C = (tau / tmax) * (f - 1.0) * std::log(f);
            p_[j] = A;
            p_[j + 1] = 0.0;
            p_[j + 2] = C;
            p_[j + 3] = -A;
            p_[j + 4] = 0.0;
            p_[j + 5] = f * C;
            MESSAGE(5, "A%d,%d = +/-%lg, C%d = %lg, C%d = %lg\n", term, term + 1, A, term, C, term + 1, f * C);
        }
        frame += step;
        f *= 0.1;
    }
    return true;
}

// Each term with its stored B, peaking at successive frames from the maximum on.
void GenericInputFunction::plainForm(const std::vector<double>& times, const std::vector<double>& curve,
                                     unsigned imax) {
    const unsigned T = static_cast<unsigned>(times.size());
    const unsigned m = static_cast<unsigned>((p_.size() - 2) / 3);
    if (m == 0) return;  // no term
    const unsigned step = (T - imax) / m;
    const double tau = p_[0];
    unsigned frame = imax;
    for (int term = 1; term <= static_cast<int>(m); ++term, frame += step) {
        const std::size_t j = 2 + 3 * (term - 1);
        if (allConst(j, 3)) continue;
        const unsigned i = frame < T ? frame : T - 1;
        const double tmax = times[i], ymax = curve[i], B = p_[j + 1];
        p_[j] = ymax * std::pow(tau / tmax, B) * std::exp(B);
        p_[j + 2] = B * tau / tmax;
        MESSAGE(5, "t_max,%d = %lg, y_max,%d = %lg\n", term, tmax, term, ymax);
        MESSAGE(5, "A%d = %lg, B%d = %lg, C%d = %lg\n", term, p_[j], term, B, term, p_[j + 2]);
    }
}

void GenericInputFunction::reportUnknown(const std::string& name) const {
    ERROR("GenericInputFunction::der() unknown parameter '%s'", name.c_str());
}
