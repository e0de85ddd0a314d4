// Adaptive Simpson quadrature in long double: the independent oracle of the
// closed-form integrals (gamma integral, convolutions). Slow and careful: a
// panel is accepted when its two halves agree with it to `tolerance` times
// the whole integral's scale, or at depth 50.
#ifndef KINETRA_TESTS_SUPPORT_QUADRATURE_H
#define KINETRA_TESTS_SUPPORT_QUADRATURE_H

#include <cmath>

namespace quadrature {

template <class F>
long double simpsonPanel(F& f, long double a, long double b, long double fa, long double fm, long double fb,
                         long double whole, long double tolerance, int depth) {
    const long double m = 0.5L * (a + b), lm = 0.5L * (a + m), rm = 0.5L * (m + b);
    const long double flm = f(lm), frm = f(rm);
    const long double left = (m - a) / 6.0L * (fa + 4.0L * flm + fm);
    const long double right = (b - m) / 6.0L * (fm + 4.0L * frm + fb);
    const long double delta = left + right - whole;
    if (depth >= 50 || std::fabs(delta) <= 15.0L * tolerance) return left + right + delta / 15.0L;
    return simpsonPanel(f, a, m, fa, flm, fm, left, tolerance / 2, depth + 1) +
           simpsonPanel(f, m, b, fm, frm, fb, right, tolerance / 2, depth + 1);
}

// int_a^b f, to an absolute accuracy of about `tolerance`; 16 starting panels
// so that a narrow peak is not missed.
template <class F>
long double integrate(F f, long double a, long double b, long double tolerance) {
    const int panels = 16;
    long double sum = 0.0L;
    for (int i = 0; i < panels; ++i) {
        const long double x0 = a + (b - a) * i / panels, x1 = a + (b - a) * (i + 1) / panels;
        const long double f0 = f(x0), f1 = f(x1), fm = f(0.5L * (x0 + x1));
        sum += simpsonPanel(f, x0, x1, f0, fm, f1, (x1 - x0) / 6.0L * (f0 + 4.0L * fm + f1), tolerance / panels, 0);
    }
    return sum;
}

}  // namespace quadrature

#endif
