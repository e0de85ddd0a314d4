#include "models/TwoTissueModel.h"

#include <cmath>
#include <limits>

#include "InputFunction.h"
#include "models/RateConvolution.h"
#include "util/Message.h"

namespace {
const double kNoFetch = std::numeric_limits<double>::quiet_NaN();  // equals no time

// Equal, or both NaN: a set whose rates are not numbers (k1 / V at V = 0) is
// still the same set, computed and reported once.
bool same(double a, double b) { return a == b || (a != a && b != b); }
}  // namespace

bool TwoTissueCoefficients::compute(double k1, double k2, double k3, double k4) {
    *this = TwoTissueCoefficients();
    k[0] = k1, k[1] = k2, k[2] = k3, k[3] = k4;
    computed = true;
    const double S = k2 + k3 + k4, u = k4 - k2 - k3;
    D = 0.25 * u * u + k3 * k4;
    if (D < 0.0) return false;
    r = std::sqrt(D);
    // lambda1 = r - S/2 and lambda2 = -S/2 - r, with lambda1 lambda2 = k2 k4:
    // the root of the larger size directly, the other as k2 k4 over it, since
    // r - S/2 loses every digit when k2 k4 << S^2. A zero k2 k4 gives a slow
    // rate of exactly +0, which the input integrates by its k = 0 branch.
    if (S >= 0.0) {
        const double q = 0.5 * S + r;
        lambda2 = -q;
        lambda1 = q > 0.0 ? 0.0 - k2 * k4 / q : r - 0.5 * S;
    } else {
        lambda1 = r - 0.5 * S;
        lambda2 = k2 * k4 / lambda1;
    }
    // u/2 + r and r - u/2 multiply to k3 k4: the sum of like signs directly,
    // the other as the quotient (u/2 + r cancels when u < 0 and k3 k4 << u^2).
    const double hu = 0.5 * u;
    double p, m;
    if (hu >= 0.0) {
        p = hu + r;
        m = p > 0.0 ? k3 * k4 / p : r - hu;
    } else {
        m = r - hu;
        p = k3 * k4 / m;
    }
    a11 = p / (2.0 * r);
    a12 = m / (2.0 * r);
    a21 = k3 / (2.0 * r);
    c11 = k1 * a11;
    c12 = k1 * a12;
    c21 = k1 * a21;
    c22 = -c21;
    const double r3 = 8.0 * r * r * r;
    A = k1 * k3 / r3;
    B = S / (4.0 * r);
    // A k2 (k2 + k3 - k4) / k3 with A's factor k3 cancelled: finite at k3 = 0.
    E = k1 * k2 * (k2 + k3 - k4) / r3;
    F = 2.0 * k2 * A;
    G = (k3 + k4 - k2) / (4.0 * r);
    return true;
}

TwoTissueModel::TwoTissueModel(const std::string& name, const Unit& unit, const ModelOrigin& origin, Kind kind)
    : Model(name, 3, unit, origin), kind_(kind), home_(origin) {}

void TwoTissueModel::reportRates() const {
    const TwoTissueCoefficients& c = cache_.c;
    const double k2 = c.k[1], k3 = c.k[2], k4 = c.k[3];
    // WARNING prints nothing at verbosity 0.
    if (c.lambda1 > 0.0) {
        if (kind_ == NO_EFFLUX_FROM_BOUND)
            WARNING("  k2=%g, k3=%g, lambda1=%g, lambda2=%g\n", k2, k3, c.lambda1, c.lambda2);
        else
            WARNING("  k2=%g, k3=%g, k4=%g, lambda1=%g, lambda2=%g\n", k2, k3, k4, c.lambda1, c.lambda2);
    } else if (kind_ == NO_EFFLUX_FROM_BOUND) {
        MESSAGE(4, "  k2=%g, k3=%g, lambda1=%g, lambda2=%g\n", k2, k3, c.lambda1, c.lambda2);
    } else {
        MESSAGE(4, "  k2=%g, k3=%g, k4=%g, lambda1=%g, lambda2=%g\n", k2, k3, k4, c.lambda1, c.lambda2);
    }
}

void TwoTissueModel::precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime) {
    // Within evaluate's pass the set is read and the numbers are fetched.
    if (inPass_) return;
    if (kind_ == GENERIC) readParameters(x, y, z);
    InputFunction* input = firstInput();
    if (input == nullptr) {
        // Reported on every call, in all three classes, from the class's own
        // module: nothing to evaluate, nothing dereferenced.
        _ErrorHelper(home_.file, home_.line)("no input function");
        cache_.ca = cache_.conv1 = cache_.conv2 = cache_.convT1 = cache_.convT2 = 0.0;
        return;
    }
    refreshSet(x, y, z);
    const bool atVoxel = kind_ == GENERIC;
    const unsigned ix = atVoxel ? x : 0, iy = atVoxel ? y : 0, iz = atVoxel ? z : 0;
    // The value and the derivatives at one frame ask for the same numbers up
    // to five times; the last fetch answers them. Its key is the time t_
    // (dropped by the base when an input is added or removed, and below
    // when the rates change), the input's voxel and scale_.
    Fetch& last = cache_.fetched;
    if (t == t_ && ix == last.x && iy == last.y && iz == last.z && scale_ == last.scale && (last.withTime || !withTime))
        return;
    t_ = t;
    last = Fetch{ix, iy, iz, scale_, withTime};
    // The input takes the rates as positive numbers; 0.0 - lambda keeps a zero +0.
    const double mu1 = 0.0 - cache_.c.lambda1, mu2 = 0.0 - cache_.c.lambda2;
    cache_.ca = (*input)(t, ix, iy, iz) * scale_;
    cache_.conv1 = convExpAt(*input, mu1, t, ix, iy, iz) * scale_;
    cache_.conv2 = convExpAt(*input, mu2, t, ix, iy, iz) * scale_;
    if (withTime) {
        cache_.convT1 = convTimeExpAt(*input, mu1, t, ix, iy, iz) * scale_;
        cache_.convT2 = convTimeExpAt(*input, mu2, t, ix, iy, iz) * scale_;
    }
}

bool TwoTissueModel::evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z,
                                  const unsigned* index, unsigned P, double* values, double* derivatives) {
    InputFunction* input = firstInput();
    if (!onePass(T, P, 5)) return false;
    // The set as the first call of the frame loop reads it (and reports it).
    if (kind_ == GENERIC) readParameters(x, y, z);
    refreshSet(x, y, z);
    // The input takes the rates as positive numbers; 0.0 - lambda keeps a zero +0.
    const double mu[2] = {0.0 - cache_.c.lambda1, 0.0 - cache_.c.lambda2};
    if (!std::isfinite(mu[0]) || !std::isfinite(mu[1])) return false;
    const bool atVoxel = kind_ == GENERIC;
    const RatePass pass = convolveRates(*input, mu, 2, t, T, atVoxel ? x : 0, atVoxel ? y : 0, atVoxel ? z : 0);
    evaluateFromCache(t, T, x, y, z, index, P, values, derivatives, [&](unsigned i) {
        cache_.ca = pass.value[i] * scale_;
        cache_.conv1 = pass.conv[0][i] * scale_;
        cache_.conv2 = pass.conv[1][i] * scale_;
        cache_.convT1 = pass.convT[0][i] * scale_;
        cache_.convT2 = pass.convT[1][i] * scale_;
    });
    return true;
}

void TwoTissueModel::refreshSet(unsigned x, unsigned y, unsigned z) {
    if (changed_ || x != x_ || y != y_ || z != z_) {
        if (kind_ != GENERIC) readParameters(x, y, z);
        TwoTissueCoefficients& c = cache_.c;
        const double* k = cache_.rate;
        bool valid = true;
        if (!c.computed || !same(k[0], c.k[0]) || !same(k[1], c.k[1]) || !same(k[2], c.k[2]) || !same(k[3], c.k[3])) {
            // A negative D leaves NaN coefficients (not those of the previous
            // set) and changed_ set, so that the next call looks again.
            valid = c.compute(k[0], k[1], k[2], k[3]);
            t_ = kNoFetch;  // new rates: new convolutions
            if (valid) reportRates();
        }
        if (valid) {
            x_ = x;
            y_ = y;
            z_ = z;
            changed_ = false;
        }
    }
}

double TwoTissueModel::furtherInputSum(double t, unsigned x, unsigned y, unsigned z) const {
    return kind_ == GENERIC ? furtherInputsInModelUnits(t, x, y, z) : furtherInputs(t, x, y, z, scale_);
}

double TwoTissueModel::tissue() const {
    const TwoTissueCoefficients& c = cache_.c;
    const double c1 = c.c11 * cache_.conv1 + c.c12 * cache_.conv2;
    const double c2 = c.c21 * cache_.conv1 + c.c22 * cache_.conv2;
    return c1 + c2;
}

double TwoTissueModel::tissuePerK1() const {
    const TwoTissueCoefficients& c = cache_.c;
    return (c.a11 + c.a21) * cache_.conv1 + (c.a12 - c.a21) * cache_.conv2;
}

double TwoTissueModel::effluxTerm(double sPrime, double t) const {
    const TwoTissueCoefficients& c = cache_.c;
    const double P1 = (c.c11 + c.c21) * c.a11, P2 = (c.c12 + c.c22) * c.a12;
    return (-c.A * sPrime - P1 * t) * cache_.conv1 + P1 * cache_.convT1 + (sPrime * c.A - t * P2) * cache_.conv2 +
           P2 * cache_.convT2;
}

double TwoTissueModel::W(double h, double e, double t) const {
    const TwoTissueCoefficients& c = cache_.c;
    const double Q1 = (c.c11 + c.c21) * (h - 0.5), Q2 = (c.c12 + c.c22) * (-0.5 - h);
    return (Q1 * t + e) * cache_.conv1 - Q1 * cache_.convT1 + (t * Q2 - e) * cache_.conv2 - Q2 * cache_.convT2;
}

double TwoTissueModel::operator()(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    return cache_.wBlood * cache_.ca + cache_.wTissue * tissue() + furtherInputSum(t, x, y, z);
}

std::vector<double> TwoTissueModel::computeAll(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    const TwoTissueCoefficients& c = cache_.c;
    const double c1 = c.c11 * cache_.conv1 + c.c12 * cache_.conv2;
    const double c2 = c.c21 * cache_.conv1 + c.c22 * cache_.conv2;
    return {cache_.wBlood * cache_.ca + cache_.wTissue * (c1 + c2) + furtherInputSum(t, x, y, z), c1, c2};
}
