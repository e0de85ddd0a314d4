#include "inputs/McN_ReferenceFunction.h"

#include <cmath>
#include <initializer_list>

#include "inputs/ExpConvolution.h"
#include "util/Message.h"

McN_ReferenceFunction::McN_ReferenceFunction() : McN_ReferenceFunction("") {}

McN_ReferenceFunction::McN_ReferenceFunction(const std::string& name) : McN_ReferenceFunction(name, Unit()) {}

McN_ReferenceFunction::McN_ReferenceFunction(const std::string& name, const Unit& unit)
    : ParametricInputFunction(name, unit, "McN_ReferenceFunction") {}

McN_ReferenceFunction::McN_ReferenceFunction(const std::string& name, const Unit& unit,
                                             const std::vector<double>& values)
    : McN_ReferenceFunction(name, unit) {
    init(values);
}

void McN_ReferenceFunction::init(const std::vector<double>& values) {
    // lambda, a1, a2 and whole triples.
    std::vector<std::string> names = {"lambda", "a1", "a2"};
    std::vector<Unit> units = {Unit("1/min"), Unit("kBq/ml/min"), Unit("min")};
    for (std::size_t j = 1; 3 + 3 * j <= values.size(); ++j) {
        const std::string i = std::to_string(j + 2);
        names.insert(names.end(), {"a" + i, "b" + i, "c" + i});
        units.insert(units.end(), {Unit("kBq/ml/min"), Unit("min"), Unit("min")});
    }
    clearParameters();
    defineParameters(names, units, values);
}

bool McN_ReferenceFunction::checkSize(long n) const {
    // init builds lambda, a1, a2 and whole triples only.
    if (n >= 3 && n % 3 == 0) return true;
    ERROR("McN_ReferenceFunction: %ld parameters are not lambda, a1, a2 and whole triples a<i>, b<i>, c<i>", n);
    return false;
}

template <class F>
void McN_ReferenceFunction::forEachTerm(F f) const {
    const double lambda = p_[0], a1 = p_[1], r = 1.0 / p_[2];
    // (a1/a2) t e^(-t/a2) convolved with e^(-lambda t).
    f(Term{a1 * r, {r, r, lambda}, 3});
    for (std::size_t j = 3; j + 2 < p_.size(); j += 3) {
        const double a = p_[j], r1 = 1.0 / p_[j + 1], r2 = r1 + 1.0 / p_[j + 2];
        f(Term{a, {r1, lambda, 0.0}, 2});
        f(Term{-a, {r2, lambda, 0.0}, 2});
    }
}

double McN_ReferenceFunction::operator()(double t, unsigned x, unsigned y, unsigned z) {
    precompute(x, y, z);
    MESSAGE(6, "calling McN_refFct at t=%.2f with parameters: %.4f,%.3f,%.3f,%.3f,%.3f,%.3f,\n", t, shown(0), shown(1),
            shown(2), shown(3), shown(4), shown(5));
    // No value cache: each term is one small closed form.
    double sum = 0.0;
    forEachTerm([&](const Term& term) { sum += term.weight * expConvolution(term.rates, term.n, t); });
    result_ = scale_ * sum;
    MESSAGE(6, "returned value = %.4f,\n", result_);
    return result_;
}

double McN_ReferenceFunction::convolve(double k, double t, bool timed) const {
    double sum = 0.0;
    forEachTerm([&](const Term& term) {
        // rates, then k (taken equal to a rate that lies within tolerance_).
        double rates[kMaxExpRates];
        double kk = k;
        for (int i = 0; i < term.n; ++i) {
            rates[i] = term.rates[i];
            if (std::fabs(rates[i] - k) <= tolerance_) kk = rates[i];
        }
        rates[term.n] = kk;
        if (!timed) {
            sum += term.weight * expConvolution(rates, term.n + 1, t);
            return;
        }
        // The convolution of s y(s) with e^(-k s): s G(r; s) = sum_i G(r, r_i; s),
        // all terms of one sign, so no cancellation.
        double part = 0.0;
        for (int i = 0; i < term.n; ++i) {
            rates[term.n + 1] = term.rates[i];
            part += expConvolution(rates, term.n + 2, t);
        }
        sum += term.weight * part;
    });
    return sum * scale_;
}

double McN_ReferenceFunction::convExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    if (numconv_) return InputFunction::convExp(k, t, x, y, z);
    precompute(x, y, z);
    return cached(convExpCache_, k, t, [&] { return convolve(k, t, false); });
}

double McN_ReferenceFunction::convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    if (numconv_) return InputFunction::convTimeExp(k, t, x, y, z);
    precompute(x, y, z);
    return cached(convTimeExpCache_, k, t, [&] { return convolve(k, t, true); });
}

void McN_ReferenceFunction::initParameters(const Dataset*, const VOI*) { ERROR("not implemented yet"); }

double McN_ReferenceFunction::partial(unsigned index, double t) {
    const char* name = index < parameter_.size() ? parameter_[index].getName().c_str() : "";
    MESSAGE(6, "calling der() at t=%.2f with parameters: %.4f,%.3f,%.3f,%.3f,%.3f,%.3f,\n", t, shown(0), shown(1),
            shown(2), shown(3), shown(4), shown(5));
    // G of the given rates at t.
    auto G = [t](std::initializer_list<double> rates) {
        return expConvolution(rates.begin(), static_cast<int>(rates.size()), t);
    };
    const double lambda = p_[0];
    double d = 0.0;
    if (index == 0) {
        // dG/dr_i = -G(r, r_i): lambda is one rate of every term.
        forEachTerm([&](const Term& term) {
            double rates[kMaxExpRates] = {term.rates[0], term.rates[1], term.rates[2]};
            rates[term.n] = lambda;
            d -= term.weight * expConvolution(rates, term.n + 1, t);
        });
    } else if (index <= 2) {
        const double a1 = p_[1], a2 = p_[2], r = 1.0 / a2;
        const double g = G({r, r, lambda});
        // w = a1 r, the rate r twice, dr/da2 = -1/a2^2.
        d = index == 1 ? g / a2 : -a1 * g / (a2 * a2) + 2.0 * a1 * G({r, r, r, lambda}) / (a2 * a2 * a2);
    } else if (index < p_.size()) {
        const unsigned j = 3 + 3 * ((index - 3) / 3);
        const double a = p_[j], b = p_[j + 1], c = p_[j + 2], r1 = 1.0 / b, r2 = r1 + 1.0 / c;
        switch ((index - 3) % 3) {
        case 0:  // a (G(r1, l) - G(r2, l))
            d = G({r1, lambda}) - G({r2, lambda});
            break;
        case 1:  // dr1/db = dr2/db = -1/b^2
            d = a / (b * b) * (G({r1, r1, lambda}) - G({r2, r2, lambda}));
            break;
        default:  // dr2/dc = -1/c^2
            d = -a / (c * c) * G({r2, r2, lambda});
            break;
        }
    } else {
        ERROR("McN_ReferenceFunction: invalid parameter '%s'", name);
        return 0.0;
    }
    MESSAGE(6, "der(%s, t=%.2f) = %.6f,\n", name, t, d * unitFactor(index) * scale_);
    return d;
}

void McN_ReferenceFunction::reportUnknown(const std::string& name) const {
    ERROR("McN_ReferenceFunction::der() unknown parameter '%s'", name.c_str());
}
