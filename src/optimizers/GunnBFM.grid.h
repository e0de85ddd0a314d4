// The grid of the basis function method: what a run builds once (the grid,
// the basis, its sums) and the voxel's solve on it.
//
// For grid point i, with the voxel's sums Sry = sum ref y and Sby = sum b_i y
// in model units, the 2 x 2 normal equations give
//   R1 = (Sbb Sry - Srb Sby) / delta,  theta = (Srr Sby - Srb Sry) / delta,
// delta = Srr Sbb - Srb^2; then k2 = theta + k2a R1 and BPstar = k2 / k2a - 1
// (before clamping); R1 and k2 are clamped, th = k2 - k2a R1, and the
// residual sum of squares of y - s (R1 ref + th b) comes from the sums,
//   Syy - 2 s^2 (R1 Sry + th Sby) + s^2 (R1^2 Srr + 2 R1 th Srb + th^2 Sbb),
// with no pass over the frames.
//
// The arithmetic runs on "lanes": two grid points to a vector where the
// compiler has vectors (GCC, Clang), one otherwise. A lane does exactly the
// arithmetic of one point, so the numbers are the same either way.
#ifndef KINETRA_OPTIMIZERS_GUNNBFM_GRID_H
#define KINETRA_OPTIMIZERS_GUNNBFM_GRID_H

#include <cstring>
#include <type_traits>
#include <vector>

namespace bfm {

#if defined(__GNUC__)
typedef double Lane __attribute__((vector_size(16)));
#else
typedef double Lane;
#endif
constexpr unsigned L = sizeof(Lane) / sizeof(double);  // points a lane
constexpr unsigned G = 8;                              // points a block of the basis

template <class V>
inline V splat(double v) {
    if constexpr (std::is_same<V, double>::value) {
        return v;
    } else {
        V r;
        for (unsigned k = 0; k < L; ++k) r[k] = v;
        return r;
    }
}
inline Lane load(const double* p) {
    Lane v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
inline void store(double* p, Lane v) { std::memcpy(p, &v, sizeof v); }

// x clamped to [lo, hi] when the bounds are set (hi > lo); as it is otherwise.
template <class V>
inline V clampSet(V x, double lo, double hi) {
    if (!(hi > lo)) return x;
    const V l = splat<V>(lo), h = splat<V>(hi);
    return x < l ? l : (x > h ? h : x);
}

// out[b G + k] = sum over t (in order) of blocked[(b T + t) G + k] y[t] for
// every block b: the sums of G grid points gather in registers.
inline void blockSums(const double* blocked, const double* y, unsigned T, unsigned blocks, double* out) {
    for (unsigned block = 0; block < blocks; ++block, out += G) {
        Lane sum[G / L];
        for (Lane& v : sum) v = splat<Lane>(0.0);
        for (unsigned t = 0; t < T; ++t, blocked += G) {
            const Lane yt = splat<Lane>(y[t]);
            for (unsigned k = 0; k < G / L; ++k) sum[k] += load(blocked + L * k) * yt;
        }
        for (unsigned k = 0; k < G / L; ++k) store(out + L * k, sum[k]);
    }
}

template <class V>
struct Solved {
    V R1, k2, BP, th, chi;  // R1, k2 clamped; BP before clamping
};

struct Grid {
    unsigned N = 0;       // grid points
    unsigned padded = 0;  // N rounded up to whole blocks; the extra points repeat the last
    double r1Min = 0, r1Max = 0, bpMin = 0, bpMax = 0, k2Min = 0, k2Max = 0;  // k2 in normal units
    double modelScale = 1.0;  // s = 1 / factor of the model's unit
    double Srr = 0.0;
    // Per grid point [padded]: k2a, 1 / k2a, Sbb, Srb, delta and 1 / delta
    // (the voxel's solve multiplies instead of dividing).
    std::vector<double> k2a, invK2a, Sbb, Srb, delta, invDelta;

    // The solve at point i (and the next L - 1 for a Lane) from sby, the
    // data's sums with the basis there in model units.
    template <class V>
    Solved<V> solve(unsigned i, V sby, double Sry, double Syy) const {
        const auto at = [i](const std::vector<double>& a) -> V {
            if constexpr (std::is_same<V, double>::value) return a[i];
            else return load(&a[i]);
        };
        const double s = modelScale;
        const V Sbb_ = at(Sbb), Srb_ = at(Srb), k2a_ = at(k2a), inv = at(invDelta);
        Solved<V> p;
        p.R1 = (Sbb_ * Sry - Srb_ * sby) * inv;
        const V theta = (Srr * sby - Srb_ * Sry) * inv;
        p.k2 = theta + k2a_ * p.R1;
        p.BP = p.k2 * at(invK2a) - 1.0;
        p.R1 = clampSet(p.R1, r1Min, r1Max);
        p.k2 = clampSet(p.k2, k2Min, k2Max);
        p.th = p.k2 - k2a_ * p.R1;
        p.chi = Syy - 2.0 * s * s * (p.R1 * Sry + p.th * sby) +
                s * s * (p.R1 * p.R1 * Srr + 2.0 * p.R1 * p.th * Srb_ + p.th * p.th * Sbb_);
        return p;
    }

    // BPstar within its bounds; not a number is not, and unset bounds
    // (max <= min) bound nothing.
    bool inBounds(double BP) const { return !(bpMax > bpMin) || (BP >= bpMin && BP <= bpMax); }
};

}  // namespace bfm

#endif
