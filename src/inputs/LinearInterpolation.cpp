// The measured input function: value and the closed-form convolutions.
#include "inputs/LinearInterpolation.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "util/Message.h"

namespace {
const double kNoTime = std::numeric_limits<double>::quiet_NaN();

// Causes of the assertions below, each reported once (Optimizable::reportOnce):
// they come from the data and would otherwise repeat at every evaluation of
// a fit, thousands of lines for one fault.
enum Cause : unsigned { kFewSamples, kTimeBeforeZero, kSizes };
}  // namespace

#define ASSERT_ONCE(cause, condition)                                                                                  \
    do {                                                                                                               \
        if (!(condition)) reportOnce(cause, [&] { ASSERT(condition); });                                               \
    } while (0)

LinearInterpolation::LinearInterpolation() : LinearInterpolation("", Unit()) {}

LinearInterpolation::LinearInterpolation(const std::string& name) : LinearInterpolation(name, Unit()) {}

LinearInterpolation::LinearInterpolation(const std::string& name, const Unit& unit) : InputFunction(name, unit) {
    setType("LinearInterpolation");
    resetChains();
}

// No call has ended anywhere yet: a NaN time and rate never compare equal,
// so the first call of each convolution sums in full.
void LinearInterpolation::resetChains() {
    frameTime_.clear();
    for (ChainPair* chains : {&chainsConvExp_, &chainsConvTimeExp_}) {
        for (ChainState& c : chains->slot) {
            c.lastIndex = 0;
            c.lastTime = c.lastK = kNoTime;
            c.lastSum = 0.0;
            c.prefix.count = 0;
        }
        chains->lastUsed = 1;
    }
    for (Terms& e : terms_) e.k = kNoTime;  // a NaN key matches nothing
    termsNext_ = 0;
    decayK_ = decayT_ = decay_ = kNoTime;
    gridHint_ = 0;
    increasing_ = true;
    for (std::size_t i = 1; i < time_.size(); ++i)
        if (!(time_[i - 1] < time_[i])) increasing_ = false;
}

std::size_t LinearInterpolation::gridIndex(double t) {
    const double* T = time_.data();
    const std::size_t n = time_.size();
    std::size_t i = increasing_ && gridHint_ <= n ? gridHint_ : 0;
    if (i > 0 && !(t > T[i - 1])) i = 0;  // before the hint: search from the start
    while (i < n && t > T[i]) ++i;
    gridHint_ = i;
    return i;
}

void LinearInterpolation::assertSizes() const {
    ASSERT_ONCE(kSizes, !parameter_.empty() && parameter_.size() == time_.size());
}

// Y[i] is the stored value of sample parameter i at the voxel, in the
// function's own unit (no unit factor, no scale_). Samples without a
// parameter (after a mismatch that assertSizes reported) read as 0.0.
void LinearInterpolation::load(unsigned x, unsigned y, unsigned z) {
    frameTime_.clear();
    const std::size_t n = time_.size();
    value_.resize(n);
    for (std::size_t i = 0; i < n; ++i) value_[i] = i < parameter_.size() ? parameter_[i].valueAt(x, y, z) : 0.0;
    for (ChainPair* chains : {&chainsConvExp_, &chainsConvTimeExp_})  // new samples
        for (ChainState& c : chains->slot) c.prefix.count = 0;
}

double LinearInterpolation::operator()(double t, unsigned x, unsigned y, unsigned z) {
    const std::size_t n = time_.size();
    ASSERT_ONCE(kFewSamples, n >= 2);
    ASSERT_ONCE(kTimeBeforeZero, t >= 0);
    if (n < 2) return 0.0;  // no segment to interpolate on (reported above)
    precompute(x, y, z);
    const double* T = time_.data();
    const double* Y = value_.data();
    double result;
    if (t >= T[n - 1]) {
        // Beyond the last sample the last segment goes on, without a cut.
        result = Y[n - 1] + (t - T[n - 1]) * (Y[n - 1] - Y[n - 2]) / (T[n - 1] - T[n - 2]);
    } else {
        const std::size_t i = gridIndex(t);  // n-1 at the latest, since t < T[n-1]
        if (t == T[i]) result = Y[i];
        else if (i > 0) result = Y[i] + (t - T[i]) * (Y[i] - Y[i - 1]) / (T[i] - T[i - 1]);
        else result = t * Y[0] / T[0];  // the line from (0, 0) to the first sample
    }
    result_ = result;
    MESSAGE(5, "LinearInterpolation(t=%lg) = %lg\n", t, result);
    return result;
}

double LinearInterpolation::der(const std::string&, double, unsigned, unsigned, unsigned) {
    ERROR("LinearInterpolation::der() should never be called!");
    return 0.0;
}

double LinearInterpolation::derByIndex(unsigned, double, unsigned, unsigned, unsigned) {
    ERROR("LinearInterpolation::der() should never be called!");
    return 0.0;
}

namespace {

// phi_n(z) = int_0^1 v^(n-1) exp(z v) dv for n = 1, 2 (and 3 if Timed), so
// that int_0^w u^(n-1) exp(k u) du = w^n phi_n(k w).
//
// Near z = 0 the closed forms (phi_1 = (e^z - 1) / z, phi_(n+1) =
// (e^z - n phi_n) / z) cancel catastrophically, so there the Taylor series
// phi_n(z) = sum_j z^j / (j! (j + n)) is summed by Horner's rule, with as
// many terms as |z| needs for full double precision (|z|^N / N! < 1e-17).
// From |z| = 0.5 on the recurrence loses at most a few bits.
constexpr int kSeriesTerms = 15;

struct SeriesCoefficients {
    double c[3][kSeriesTerms];  // c[n-1][j] = 1 / (j! (j + n))
    constexpr SeriesCoefficients() : c() {
        double factorial = 1.0;
        for (int j = 0; j < kSeriesTerms; ++j) {
            if (j > 0) factorial *= j;
            for (int n = 1; n <= 3; ++n) c[n - 1][j] = 1.0 / (factorial * (j + n));
        }
    }
};
constexpr SeriesCoefficients kSeries;

template <bool Timed, int N>
inline void phiSeries(double z, double& p1, double& p2, double& p3) {
    p1 = kSeries.c[0][N - 1];
    p2 = kSeries.c[1][N - 1];
    p3 = Timed ? kSeries.c[2][N - 1] : 0.0;
    for (int j = N - 2; j >= 0; --j) {
        p1 = p1 * z + kSeries.c[0][j];
        p2 = p2 * z + kSeries.c[1][j];
        if (Timed) p3 = p3 * z + kSeries.c[2][j];
    }
}

template <bool Timed>
inline void phi(double z, double& p1, double& p2, double& p3) {
    const double az = std::fabs(z);
    if (az < 0.004) {
        phiSeries<Timed, 6>(z, p1, p2, p3);
    } else if (az < 0.0625) {
        phiSeries<Timed, 9>(z, p1, p2, p3);
    } else if (az < 0.5) {
        phiSeries<Timed, kSeriesTerms>(z, p1, p2, p3);
    } else {
        const double em1 = std::expm1(z);
        const double ez = em1 + 1.0;
        p1 = em1 / z;
        p2 = (ez - p1) / z;
        p3 = Timed ? (ez - 2.0 * p2) / z : 0.0;
    }
}

}  // namespace

// The integral of the line y0 + m (s - x0) times exp(k s) over [a, b]. With
// w = b - a, u = s - a and p = y0 + m (a - x0), the line's value at a, it is
//
//   exp(k a) int_0^w (p + m u) exp(k u) du = exp(k a) (p w phi_1(k w) + m w^2 phi_2(k w)),
//
// the same closed form as (y0 - m x0) (Eb - Ea) / k + m ((b Eb - a Ea) k -
// (Eb - Ea)) / k^2 with Ea = exp(k a), Eb = exp(k b), but free of the
// cancellation of that form when k (b - a) is small (at k = 1e-6 1/s over a
// 5 s frame the expanded form is off by some percent). For k = 0 it is the
// plain area under the line.
namespace {

// The two closed forms on given terms; integrateInterval,
// integrateTimeInterval and the kept terms of a convolution all go through
// these, so the arithmetic is one and the same.
inline double intervalOnTerms(double ea, double p1, double p2, double w, double p, double m) {
    return ea * w * (p * p1 + m * w * p2);
}

inline double timeIntervalOnTerms(double ea, double p1, double p2, double p3, double a, double w, double p, double m) {
    return ea * w * (a * p * p1 + (a * m + p) * w * p2 + m * w * w * p3);
}

}  // namespace

double LinearInterpolation::integrateInterval(double k, double a, double b, double x0, double y0, double m) {
    if (k != 0.0) {
        const double w = b - a;
        const double p = y0 + m * (a - x0);
        double p1, p2, p3;
        phi<false>(k * w, p1, p2, p3);
        return intervalOnTerms(std::exp(k * a), p1, p2, w, p, m);
    }
    const double db = b - x0;
    const double da = a - x0;
    return (b - a) * y0 + m * 0.5 * (db * db - da * da);
}

// The integral of s (y0 + m (s - x0)) exp(k s) over [a, b]. With s = a + u,
// (a + u)(p + m u) = a p + (a m + p) u + m u^2, so it is
//
//   exp(k a) w (a p phi_1 + (a m + p) w phi_2 + m w^2 phi_3),   phi_n at k w,
//
// which equals (m / k^3)(k^2 (b^2 Eb - a^2 Ea) - 2 k (b Eb - a Ea) + 2 (Eb - Ea))
// + (c / k^2)(k (b Eb - a Ea) - (Eb - Ea)), c = y0 - m x0, without its
// cancellation for small k. For k = 0 the moments of the line.
double LinearInterpolation::integrateTimeInterval(double k, double a, double b, double x0, double y0, double m) {
    if (k != 0.0) {
        const double w = b - a;
        const double p = y0 + m * (a - x0);
        double p1, p2, p3;
        phi<true>(k * w, p1, p2, p3);
        return timeIntervalOnTerms(std::exp(k * a), p1, p2, p3, a, w, p, m);
    }
    const double b2a2 = b * b - a * a;
    return 0.5 * y0 * b2a2 + ((b * b * b - a * a * a) / 3.0 - 0.5 * b2a2 * x0) * m;
}

double LinearInterpolation::convExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    if (numconv_) return InputFunction::convExp(k, t, x, y, z);
    return convolve<false>(k, t, x, y, z, chainsConvExp_.select(k));
}

double LinearInterpolation::convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    if (numconv_) return InputFunction::convTimeExp(k, t, x, y, z);
    return convolve<true>(k, t, x, y, z, chainsConvTimeExp_.select(k));
}

namespace {

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

// phi_1 and phi_2 come out the same whether phi_3 is computed beside them or
// not, so one set of terms serves both convolutions.
const LinearInterpolation::Terms& LinearInterpolation::terms(double k, double a, double w) {
    for (const Terms& e : terms_)
        if (sameBits(e.k, k) && sameBits(e.a, a) && sameBits(e.w, w)) return e;
    Terms& e = terms_[termsNext_];
    termsNext_ ^= 1u;
    e.k = k;
    e.a = a;
    e.w = w;
    phi<true>(k * w, e.p1, e.p2, e.p3);
    e.ea = std::exp(k * a);
    return e;
}

template <bool Timed>
double LinearInterpolation::interval(double k, double a, double b, double x0, double y0, double m) {
    if (k == 0.0 || k != k)
        return Timed ? integrateTimeInterval(k, a, b, x0, y0, m) : integrateInterval(k, a, b, x0, y0, m);
    const double w = b - a;
    const double p = y0 + m * (a - x0);
    const Terms& e = terms(k, a, w);
    return Timed ? timeIntervalOnTerms(e.ea, e.p1, e.p2, e.p3, a, w, p, m) : intervalOnTerms(e.ea, e.p1, e.p2, w, p, m);
}

// The interval [a, b] of the line y0 + m (s - x0) against exp(k (s - t)):
// as integrateInterval (and with the factor s, integrateTimeInterval) times
// exp(-k t), with ea phi_n(k w) formed from exp(k (a - t)) and exp(k (b - t)),
// which stay below 1 for k > 0 and a, b <= t, by the recurrences
// phi_1 = (e^z - 1) / z, phi_2 = (e^z - phi_1) / z, phi_3 = (e^z - 2 phi_2) / z.
namespace {

template <bool Timed>
double foldedInterval(double k, double a, double b, double t, double x0, double y0, double m) {
    const double w = b - a, p = y0 + m * (a - x0), z = k * w;
    const double ea = std::exp(k * (a - t));
    double p1, p2, p3;
    if (std::fabs(z) < 0.5) {
        phi<Timed>(z, p1, p2, p3);
        p1 *= ea;
        p2 *= ea;
        p3 *= ea;
    } else {
        const double eb = std::exp(k * (b - t));
        p1 = (eb - ea) / z;
        p2 = (eb - p1) / z;
        p3 = Timed ? (eb - 2.0 * p2) / z : 0.0;
    }
    return Timed ? timeIntervalOnTerms(1.0, p1, p2, p3, a, w, p, m) : intervalOnTerms(1.0, p1, p2, w, p, m);
}

}  // namespace

// The segments of the full sum of convolve, in its order and with its lines.
template <bool Timed>
double LinearInterpolation::foldedConvolve(double k, double t) const {
    const std::size_t n = time_.size();
    const double* T = time_.data();
    const double* Y = value_.data();
    double S = 0.0, yl = 0.0, m = 0.0;
    std::size_t i = 0;
    for (; i < n && t > T[i]; ++i) {
        if (i == 0) {
            if (T[0] > 0) {
                yl = Y[0];
                m = Y[0] / T[0];
                S = foldedInterval<Timed>(k, 0.0, T[0], t, T[0], Y[0], m);
            }
        } else {
            yl = Y[i];
            m = (Y[i] - Y[i - 1]) / (T[i] - T[i - 1]);
            S += foldedInterval<Timed>(k, T[i - 1], T[i], t, T[i], Y[i], m);
        }
    }
    const std::size_t last = i > 0 ? i - 1 : 0;
    if (t > T[n - 1]) return S + foldedInterval<Timed>(k, T[n - 1], t, t, T[n - 1], yl, m);
    if (t <= T[0]) return S + foldedInterval<Timed>(k, 0.0, t, t, T[0], Y[0], Y[0] / T[0]);
    return S + foldedInterval<Timed>(k, T[last], t, t, T[last], yl, (Y[last + 1] - yl) / (T[last + 1] - T[last]));
}

double LinearInterpolation::decay(double k, double t) {
    if (!sameBits(k, decayK_) || !sameBits(t, decayT_)) {
        decayK_ = k;
        decayT_ = t;
        decay_ = std::exp(-k * t);
    }
    return decay_;
}

// convExp(k, t) = exp(-k t) int_0^t exp(k u) C(u) du (and with u C(u) for
// the timed form). S is the integral before the factor exp(-k t), summed over
// the segments of the curve up to t.
template <bool Timed>
double LinearInterpolation::convolve(double k, double t, unsigned x, unsigned y, unsigned z, Chain chain) {
    const std::size_t n = time_.size();
    ASSERT_ONCE(kFewSamples, n >= 2);
    ASSERT_ONCE(kTimeBeforeZero, t >= 0);
    if (n < 2) return 0.0;  // no segment (reported above)
    precompute(x, y, z);
    const double* T = time_.data();
    const double* Y = value_.data();

    double S = 0.0;   // running sum
    double yl = 0.0;  // value at the last grid point passed
    double m = 0.0;   // slope of the segment at hand
    std::size_t last = 0;
    const std::size_t j = chain.lastIndex;

    if (t == T[0]) {
        // The first sample: only the line from (0, 0) to it. This also
        // (re)starts the chain, as a fit does at every voxel.
        if (T[0] > 0) {
            m = Y[0] / T[0];
            S = interval<Timed>(k, 0.0, T[0], T[0], Y[0], m);
        }
    } else if (k == chain.lastK && j + 1 < n && chain.lastTime == T[j] && t == T[j + 1]) {
        // The last call ended on T[j] and this one on T[j+1]: one more segment.
        S = chain.lastSum;
        if (Timed) MESSAGE(5, "LinearInterpolation: using convTExp() cache...\n");
        else MESSAGE(5, "LinearInterpolation: using convExp() cache...\n");
        m = (Y[j + 1] - Y[j]) / (T[j + 1] - T[j]);
        S += interval<Timed>(k, T[j], T[j + 1], T[j + 1], Y[j + 1], m);
        last = j + 1;
    } else {
        // Full sum over the grid points below t: the loop for i from 0 while
        // t > T[i] adds interval i at step i. Its partial sums are kept for
        // this k (see Prefix), so only the steps not taken before are done.
        Prefix& prefix = chain.prefix;
        if (!(prefix.k == k)) {
            prefix.k = k;
            prefix.count = 0;
        }
        if (prefix.sum.size() != n) {
            prefix.sum.assign(n, 0.0);
            prefix.count = 0;
        }
        const std::size_t steps = gridIndex(t);  // the loop's steps: T[i] < t for i < steps
        for (std::size_t i = prefix.count; i < steps; ++i) {
            if (i == 0) {
                prefix.sum[0] = T[0] > 0 ? interval<Timed>(k, 0.0, T[0], T[0], Y[0], Y[0] / T[0]) : 0.0;
            } else {
                const double slope = (Y[i] - Y[i - 1]) / (T[i] - T[i - 1]);
                prefix.sum[i] = prefix.sum[i - 1] + interval<Timed>(k, T[i - 1], T[i], T[i], Y[i], slope);
            }
        }
        if (steps > prefix.count) prefix.count = steps;
        if (steps > 0) {
            // The state of the loop after its last step.
            last = steps - 1;
            S = prefix.sum[last];
            if (last > 0) {
                yl = Y[last];
                m = (Y[last] - Y[last - 1]) / (T[last] - T[last - 1]);
            } else if (T[0] > 0) {
                yl = Y[0];
                m = Y[0] / T[0];
            }  // curve starting at t = 0: nothing before it, yl and m stay 0.0
        }
        // The remainder from the last point passed to t.
        if (t > T[n - 1]) {
            S += interval<Timed>(k, T[n - 1], t, T[n - 1], yl, m);  // last slope goes on
        } else if (t <= T[0]) {
            yl = Y[0];
            m = Y[0] / T[0];
            S += interval<Timed>(k, 0.0, t, T[0], Y[0], m);
        } else {
            // T[last] < t <= T[last+1]: the loop stopped at last+1 < n.
            m = (Y[last + 1] - yl) / (T[last + 1] - T[last]);
            S += interval<Timed>(k, T[last], t, T[last], yl, m);
        }
    }

    chain.lastSum = S;
    chain.lastK = k;
    chain.lastIndex = static_cast<std::uint32_t>(last);
    chain.lastTime = t;
    double result = S * decay(k, t);
    // The sum carries exp(k s): for large k t it overflows while exp(-k t)
    // underflows (inf * 0 = NaN), or the factor is subnormal and the product
    // inexact. Then the exponential goes into the terms instead; any result
    // that was finite with a normal factor stays as it was.
    if (k != 0.0 && (!(std::fabs(result) <= std::numeric_limits<double>::max()) ||
                     decay(k, t) < std::numeric_limits<double>::min()))
        result = foldedConvolve<Timed>(k, t);
    if (Timed) MESSAGE(5, "LinearInterpolation:convTimeExp(k=%lg,t=%lg) = %lg\n", k, t, result);
    else MESSAGE(5, "LinearInterpolation:convExp(k=%lg,t=%lg) = %lg\n", k, t, result);
    return result;
}

// The one-pass convolutions (LinearInterpolation.frames.cpp) use the same forms.
template double LinearInterpolation::interval<false>(double, double, double, double, double, double);
template double LinearInterpolation::interval<true>(double, double, double, double, double, double);
template double LinearInterpolation::foldedConvolve<false>(double, double) const;
template double LinearInterpolation::foldedConvolve<true>(double, double) const;
