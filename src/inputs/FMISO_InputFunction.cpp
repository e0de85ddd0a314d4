#include "inputs/FMISO_InputFunction.h"

#include <cmath>

#include "Dataset.h"
#include "VOI.h"
#include "util/Message.h"
#include "util/NumUtil.h"

FMISO_InputFunction::FMISO_InputFunction() : FMISO_InputFunction("") {}

FMISO_InputFunction::FMISO_InputFunction(const std::string& name) : FMISO_InputFunction(name, Unit()) {}

FMISO_InputFunction::FMISO_InputFunction(const std::string& name, const Unit& unit)
    : ParametricInputFunction(name, unit, "FMISO_InputFunction") {}

FMISO_InputFunction::FMISO_InputFunction(const std::string& name, const Unit& unit, double tau, double A0, double c0,
                                         double A1, double c11, double c21)
    : FMISO_InputFunction(name, unit) {
    init({tau, A0, c0, A1, c11, c21});
}

FMISO_InputFunction::FMISO_InputFunction(const std::string& name, const Unit& unit, double tau, double A0, double c0,
                                         double A1, double c11, double c21, double A2, double c12, double c22)
    : FMISO_InputFunction(name, unit) {
    init({tau, A0, c0, A1, c11, c21, A2, c12, c22});
}

void FMISO_InputFunction::init(const std::vector<double>& values) {
    // tau, A0, c0 and whole terms of three.
    std::vector<std::string> names = {"tau", "A0", "c0"};
    std::vector<Unit> units = {Unit("s"), unit_, Unit()};
    for (std::size_t j = 1; 3 + 3 * j <= values.size(); ++j) {
        const std::string i = std::to_string(j);
        names.insert(names.end(), {"A" + i, "c1" + i, "c2" + i});
        units.insert(units.end(), {unit_, Unit(), Unit()});
    }
    clearParameters();
    defineParameters(names, units, values);
}

bool FMISO_InputFunction::checkSize(long n) const {
    // init builds tau, A0, c0 and whole terms of three only.
    if (n >= 3 && n % 3 == 0) return true;
    ERROR("FMISO_InputFunction: %ld parameters are not tau, A0, c0 and whole terms A<i>, c1<i>, c2<i>", n);
    return false;
}

double FMISO_InputFunction::operator()(double t, unsigned x, unsigned y, unsigned z) {
    precompute(x, y, z);
    return cached(valueCache_, 0.0, t, [&] {
        // x = t / tau; no test of t below 0.
        const double u = t / p_[0];
        double v = p_[1] * u * std::exp(-p_[2] * u);
        for (std::size_t j = 3; j + 2 < p_.size(); j += 3)
            v += p_[j] * (std::exp(-p_[j + 1] * u) - std::exp(-p_[j + 2] * u));
        return scale_ * v;
    });
}

double FMISO_InputFunction::convolve(double k, double t, double b) const {
    // int_0^t e^(-k (t - s)) C(s) ds term by term: A0 (s/tau) e^(-c0 s/tau)
    // gives (A0/tau) e^(-k t) G(c0/tau - k, 2, t), an exponential gives
    // e^(-k t) G(c/tau - k, 1, t); the timed form raises b by one.
    const double tau = p_[0];
    double v = p_[1] / tau * decayedGeneralGamma(k, p_[2] / tau - k, b + 1.0, t);
    for (std::size_t j = 3; j + 2 < p_.size(); j += 3)
        v += p_[j] *
             (decayedGeneralGamma(k, p_[j + 1] / tau - k, b, t) - decayedGeneralGamma(k, p_[j + 2] / tau - k, b, t));
    return scale_ * v;
}

double FMISO_InputFunction::convExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    precompute(x, y, z);
    return cached(convExpCache_, k, t,
                  [&] { return numconv_ ? InputFunction::convExp(k, t, x, y, z) : convolve(k, t, 1.0); });
}

double FMISO_InputFunction::convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    precompute(x, y, z);
    return cached(convTimeExpCache_, k, t,
                  [&] { return numconv_ ? InputFunction::convTimeExp(k, t, x, y, z) : convolve(k, t, 2.0); });
}

void FMISO_InputFunction::initParameters(const Dataset* data, const VOI* voi) {
    std::vector<double> times, curve;
    unsigned imax = 0;
    if (!measuredPeak(data, voi, times, curve, imax)) return;
    MESSAGE(5, "FMISO_InputFunction initial parameters from data '%s' and VOI '%s'\n", data->getName().c_str(),
            voi != nullptr ? voi->getName().c_str() : "");
    _MessageHelper::indent(2);
    precompute(0, 0, 0);  // the values at (0, 0, 0) stand for the parameters left as they are
    const double tau = p_[0];
    const unsigned terms = static_cast<unsigned>(p_.size() / 3);  // the rise and the further terms
    const unsigned step = (static_cast<unsigned>(times.size()) - imax) / terms;
    auto allConst = [&](unsigned first) {
        for (unsigned i = first; i < first + 3; ++i)
            if (parameter_[i].getState() != Parameter::CONST) return false;
        return true;
    };
    // The rise A0 x e^(-c0 x) peaks at x = 1/c0 with A0 / (c0 e): put it at the maximum.
    if (!allConst(0)) {
        const double tmax = times[imax], ymax = curve[imax];
        MESSAGE(5, "t_max,0 = %lg, y_max,0 = %lg\n", tmax, ymax);
        p_[2] = tau / tmax;
        p_[1] = ymax * p_[2] * std::exp(1.0);
        MESSAGE(5, "A0 = %lg, c0 = %lg\n", p_[1], p_[2]);
    }
    unsigned frame = imax;
    double f = 0.1;
    for (unsigned i = 1; i < terms; ++i, f *= 0.1) {
        frame += step;
        const unsigned j = 3 * i;
        if (allConst(j)) continue;
        const double tmax = times[frame], ymax = curve[frame];
        MESSAGE(5, "t_max,%d = %lg, y_max,%d = %lg\n", static_cast<int>(i), tmax, static_cast<int>(i), ymax);
        p_[j] = ymax / std::log(2.0);
        p_[j + 1] = (tau / tmax) * (f - 1.0) * std::log(f);
        p_[j + 2] = f * p_[j + 1];
        MESSAGE(5, "A%d = %lg, c1%d = %lg, c2%d = %lg\n", static_cast<int>(i), p_[j], static_cast<int>(i), p_[j + 1],
                static_cast<int>(i), p_[j + 2]);
    }
    _MessageHelper::outdent(2);
    storeInitialValues();
    changed_ = true;  // p_ holds the estimates now: reload from the parameters before the next use
}

double FMISO_InputFunction::partial(unsigned index, double t) {
    const double u = t / p_[0];
    switch (index) {
    case 0:
        return 0.0;  // deliberately: no derivative by the time scale (hold tau or use numder)
    case 1:
        return u * std::exp(-p_[2] * u);
    case 2:
        return -p_[1] * u * u * std::exp(-p_[2] * u);
    default:
        break;
    }
    const unsigned j = 3 + 3 * ((index - 3) / 3);
    const double A = p_[j], c1 = p_[j + 1], c2 = p_[j + 2];
    switch ((index - 3) % 3) {
    case 0:
        return std::exp(-c1 * u) - std::exp(-c2 * u);
    case 1:
        return -A * u * std::exp(-c1 * u);
    default:
        return A * u * std::exp(-c2 * u);
    }
}

void FMISO_InputFunction::reportUnknown(const std::string& name) const {
    ERROR("FMISO_InputFunction::der() unknown parameter '%s'", name.c_str());
}
