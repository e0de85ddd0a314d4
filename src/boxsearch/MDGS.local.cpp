// The local search of the box search: a dogleg trust-region method with a
// BFGS pair, B approximating the Hessian and H its inverse.
#include <algorithm>
#include <cmath>

#include "boxsearch/MDGS.h"
#include "util/Message.h"

// From x with value f and gradient g, within the trust radius Delta:
//   pN = -H g (the quasi-Newton step); if |pN| < Delta, p = pN;
//   else pC = (|g|^2 / g'Bg) (-g) (the Cauchy point); if |pC| >= Delta, p is
//   pC cut to length Delta; else p = lambda pN + (1 - lambda) pC, the point
//   of the dogleg path at distance Delta, lambda the root of
//   |pC + lambda (pN - pC)| = Delta in its cancellation-free form.
// rho = (f(x + p) - f) / (g'p + p'Bp / 2) compares the actual with the
// predicted change: over 0.75 the radius doubles, under 0.25 it shrinks
// threefold, over 0 the step is taken and B, H take the BFGS update of
// s = g(x + p) - g and p when the curvature s'p is clearly positive.
int MDGS::localSearch(Trial& t, const TBox& box, const TBox& domain, double closeTol, double* slope) {
    RVector& x = x_;
    RVector& y = y_;
    RVector& g = g_x_;
    RVector& gy = g_y_;
    x = t.x_;
    if (box.OutsideBox(x, domain) != IN_BOX) {
        MESSAGE(5, "Starting point is not inside the boundary. Exiting...\n");
        return LEFT_BOX;
    }
    double f;
    if (box.CloseToMin(x, &f, closeTol)) {
        MESSAGE(5, "Close to a previously located stationary point, exiting\n");
        t.f_ = f;
        return KNOWN_POINT;
    }
    f = evaluate(x);
    gradient(x, g);
    double Delta = box.ShortestSide(nullptr) / 7.0;
    if (component_ < 0) {
        const double closest = box.ClosestSide(x) * delta_;
        if (!(closest < eps_)) Delta = closest;
    }
    B_.identity();
    H_.identity();

    double localSlope = *slope;
    int result = CONVERGED;
    int outside = 0;
    bool leftBox = false;
    bool finished = false;
    const long steps = static_cast<long>(n_) * maxiter_;
    long k = 0;
    for (; k < steps && !finished; ++k) {
        localSlope = std::max(localSlope, normInf(g));
        copy(g, sd_);
        scal(-1.0, sd_);
        const double nsd = norm2(sd_);
        if (nsd < tol_) {
            MESSAGE(5, "Gradient small enough\n");
            break;
        }
        // A local search counts as one phase of the search: it ends with the clock too.
        if (!InTime()) {
            result = ITERATION_LIMIT;
            break;
        }
        gemv('N', -1.0, H_, g, 0.0, pN_);
        const double npN = norm2(pN_);
        if (npN >= Delta) {
            gemv('N', 1.0, B_, g, 0.0, Bp_);
            const double gBg = dot(g, Bp_);
            if (!(gBg > 0.0)) {
                result = UNSTABLE;
                break;
            }
            copy(sd_, pC_);
            scal(nsd * nsd / gBg, pC_);
            const double npC = norm2(pC_);
            if (npC >= Delta) {
                copy(pC_, p_);
                scal(Delta / npC, p_);
            } else {
                const double a = Delta * Delta, b = npC * npC, c = a - b, d = npN * npN, e = dot(pC_, pN_);
                const double den = std::sqrt((d - a) * c + (e - a) * (e - a)) + e - b;
                // A zero (or, from rounding, not a number) denominator has no dogleg point.
                if (!(den != 0.0 && std::isfinite(den))) {
                    result = UNSTABLE;
                    break;
                }
                const double lambda = c / den;
                copy(pC_, p_);
                scal(1.0 - lambda, p_);
                axpy(lambda, pN_, p_);
            }
        } else {
            copy(pN_, p_);
        }

        copy(x, y);
        axpy(1.0, p_, y);
        const int place = box.OutsideBox(y, domain);
        if (place == OUT_OF_BOX) {
            leftBox = true;
            if (++outside > maxOutside_) break;
        } else if (place == OUT_OF_DOMAIN) {
            result = LEFT_BOX;
            break;
        }
        const double fy = evaluate(y);
        gemv('N', 0.5, B_, p_, 0.0, Bp_);
        const double rho = (fy - f) / (dot(g, p_) + dot(p_, Bp_));
        if (rho > 0.75) Delta *= 2.0;
        if (rho < 0.25) Delta /= 3.0;
        if (!(rho > 0.0)) continue;

        gradient(y, gy);
        copy(gy, s_);
        axpy(-1.0, g, s_);
        const double sy = dot(s_, p_);
        const double np = norm2(p_);
        if (sy > std::sqrt(eps_) * np * norm2(s_)) {
            // B += s s'/sy - Bp (Bp)'/(p'Bp)
            gemv('N', 1.0, B_, p_, 0.0, Bp_);
            const double pBp = dot(p_, Bp_);
            ger(1.0 / sy, s_, s_, B_);
            if (pBp > 0.0) ger(-1.0 / pBp, Bp_, Bp_, B_);
            // H += c p p' - (Hs p' + p (H's)')/sy, c = (s'Hs/sy + 1)/sy
            gemv('N', 1.0, H_, s_, 0.0, Hs_);
            gemv('T', 1.0, H_, s_, 0.0, Hts_);
            const double cH = (dot(s_, Hs_) / sy + 1.0) / sy;
            ger(cH, p_, p_, H_);
            ger(-1.0 / sy, Hs_, p_, H_);
            ger(-1.0 / sy, p_, Hts_, H_);
        }
        if (np < tol_ * norm2(x)) finished = true;
        double known;
        if (box.CloseToMin(y, &known, closeTol)) {
            result = KNOWN_POINT;
            finished = true;
        }
        copy(y, x);
        copy(gy, g);
        f = fy;
    }
    if (k >= steps && !finished && result == CONVERGED) {
        MESSAGE(5, "Maximum number of iterations reached\n");
        result = ITERATION_LIMIT;
    }

    if (!box.InsideBox(x)) {
        result = LEFT_BOX;
        f = DBL_MAX;
    }
    if (result == UNSTABLE) {
        MESSAGE(1, "Local search became unstable. No big deal but exiting anyway\n");
        return result;
    }
    t.x_ = x;
    t.f_ = f;
    *slope = localSlope;
    if (leftBox) result = LEFT_BOX;
    return result;
}
