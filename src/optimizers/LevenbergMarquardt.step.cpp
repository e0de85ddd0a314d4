// One Levenberg-Marquardt step, after the published formulation of the
// method: mrqcof evaluates chi-square and the normal equations, mrqmin takes
// a damped step, covsrt spreads a covariance over all parameters.
#include <cmath>
#include <utility>

#include "Optimizable.h"
#include "optimizers/LevenbergMarquardt.h"
#include "optimizers/LevenbergMarquardt.work.h"
#include "util/Message.h"
#include "util/NumUtil.h"

namespace {

// The weight of the bound penalty: large enough that no data term competes.
const double kBoundWeight = 1e20;

}  // namespace

void LevenbergMarquardt::setParameters(const double* a, int n) {
    for (int i = 0; i < n; ++i) {
        const Fitted& f = fitted_[static_cast<size_t>(i)];
        model_->setParameterValueByIndex(f.index, x_, y_, z_, a[i + 1]);
        MESSAGE(5, "  %s = %lg\n", f.name.c_str(), a[i + 1]);
    }
}

// chi-square = sum_i w_i (y_i - f(t_i))^2 with w_i = 1 / sig_i^2 (1 without
// errors or for a zero error), alpha = J^T W J, beta = J^T W (y - f), plus the
// bound penalty: a parameter outside its box is moved onto the bound (in the
// caller's array), and with its excess bd pays W bd^2 in chi-square, W on the
// diagonal of alpha and -W bd in beta, which pulls it back inside.
void LevenbergMarquardt::mrqcof(Work& w, double* a, double** alpha, double* beta) {
    const int ma = static_cast<int>(w.P);
    const int* ia = w.ia.data();
    double* bd = w.bd.data();
    for (int j = 1; j <= ma; ++j) {
        if (!ia[j]) continue;
        MESSAGE(8, "mrqcoef() j=%d a=%lg\n", j, a[j]);
        bd[j] = 0.0;
        if (w.upper[j] > w.lower[j]) {
            if (a[j] < w.lower[j]) {
                bd[j] = a[j] - w.lower[j];
                a[j] = w.lower[j];
                MESSAGE(8, "BOUNDS MIN a=%lg bd=%lg\n", a[j], bd[j]);
            }
            if (a[j] > w.upper[j]) {
                bd[j] = a[j] - w.upper[j];
                a[j] = w.upper[j];
                MESSAGE(8, "BOUNDS MAX a=%lg bd=%lg\n", a[j], bd[j]);
            }
        }
    }
    int mfit = 0;
    for (int j = 1; j <= ma; ++j)
        if (ia[j]) ++mfit;
    for (int j = 1; j <= mfit; ++j) {
        for (int k = 1; k <= j; ++k) alpha[j][k] = 0.0;
        beta[j] = 0.0;
    }
    double chisquare = 0.0, unweightedChisquare = 0.0;
    int signChanges = 0;
    setParameters(a, ma);
    for (int j = 1; j <= ma; ++j) w.evaluated[static_cast<size_t>(j)] = a[j];

    const double* sig = w.sigma();
    // The whole curve and its derivatives at once: values[i - 1] and
    // derivatives[(i - 1) P + l - 1] are frame i's value and derivative by a[l].
    model_->evaluate(w.t.data() + 1, w.T, x_, y_, z_, w.index.data(), w.P, w.values.data(), w.derivatives.data());
    bool lastNonNegative = true;
    for (unsigned i = 1; i <= w.T; ++i) {
        const double ymod = w.values[i - 1];
        const double* slopes = w.derivatives.data() + static_cast<size_t>(i - 1) * w.P;  // d f / d a[l] = slopes[l - 1]
        const double sig2i = sig != nullptr && sig[i] != 0.0 ? 1.0 / (sig[i] * sig[i]) : 1.0;
        const double dy = w.y[i] - ymod;
        for (int j = 0, l = 1; l <= ma; ++l) {
            if (!ia[l]) continue;
            const double wt = slopes[l - 1] * sig2i;
            ++j;
            for (int k = 0, m = 1; m <= l; ++m)
                if (ia[m]) alpha[j][++k] += wt * slopes[m - 1];
            beta[j] += dy * wt;
        }
        chisquare += dy * dy * sig2i;
        unweightedChisquare += dy * dy;
        const bool nonNegative = dy >= 0.0;
        if (i > 1 && nonNegative != lastNonNegative) ++signChanges;
        lastNonNegative = nonNegative;
    }
    MESSAGE(4, "new chiSquare = %.4g, chiSquare/d.o.f = %.4g, numSignChanges = %u\n", chisquare,
            chisquare / (static_cast<double>(w.T) - ma), static_cast<unsigned>(signChanges));

    for (int j = 0, l = 1; l <= ma; ++l) {
        if (!ia[l]) continue;
        ++j;
        if (bd[l] == 0.0) continue;
        alpha[j][j] += kBoundWeight;
        chisquare += kBoundWeight * bd[l] * bd[l];
        beta[j] -= kBoundWeight * bd[l];
    }
    MESSAGE(4, "chiSquare after bounds = %.4g\n", chisquare);
    w.chisquare = chisquare;
    w.unweightedChisquare = unweightedChisquare;
    w.signChanges = signChanges;

    for (int j = 2; j <= mfit; ++j)
        for (int k = 1; k < j; ++k) alpha[k][j] = alpha[j][k];
}

int LevenbergMarquardt::mrqmin(Work& w, double& lambda) {
    const int ma = static_cast<int>(w.P);
    const int* ia = w.ia.data();
    double* a = w.a.data();
    double* atry = w.atry.data();
    double* beta = w.beta.data();
    double* da = w.da.data();
    double** covar = w.covar.rows();
    double** alpha = w.alpha.rows();
    double** oneda = w.oneda.rows();

    if (lambda < 0.0) {  // the first call for a voxel
        w.mfit = 0;
        for (int j = 1; j <= ma; ++j)
            if (ia[j]) ++w.mfit;
        lambda = 0.001;
        mrqcof(w, a, alpha, beta);
        w.ochisq = w.chisquare;
        for (int j = 1; j <= ma; ++j) atry[j] = a[j];
    }
    const int mfit = w.mfit;
    // The damped system (alpha + lambda diag(alpha)) da = beta.
    for (int j = 1; j <= mfit; ++j) {
        for (int k = 1; k <= mfit; ++k) covar[j][k] = alpha[j][k];
        covar[j][j] = alpha[j][j] * (1.0 + lambda);
        oneda[j][1] = beta[j];
    }
    const int singular = gaussj(covar, mfit, oneda, 1);
    if (singular != 0) {
        WARNING("LevenbergMarquardt::mrqmin() singular matrix %d\n", singular);
        return singular;
    }
    for (int j = 1; j <= mfit; ++j) da[j] = oneda[j][1];
    if (lambda == 0.0) {  // the closing call
        if (w.stopCode > ITERATIONS) {
            covsrt(covar, ma, ia, mfit);
            covsrt(alpha, ma, ia, mfit);
        }
        return 0;
    }
    for (int j = 0, l = 1; l <= ma; ++l)
        if (ia[l]) atry[l] = a[l] + da[++j];
    mrqcof(w, atry, covar, da);
    if (w.chisquare < w.ochisq) {  // success: take the step, trust the linear model more
        lambda *= 0.1;
        w.ochisq = w.chisquare;
        for (int j = 1; j <= mfit; ++j) {
            for (int k = 1; k <= mfit; ++k) alpha[j][k] = covar[j][k];
            beta[j] = da[j];
        }
        for (int l = 1; l <= ma; ++l) a[l] = atry[l];
    } else {  // failure (also at equality): keep a, damp harder
        lambda *= 10.0;
        w.chisquare = w.ochisq;
        setParameters(a, ma);
    }
    return 0;
}

void LevenbergMarquardt::covsrt(double** covar, int ma, const int* ia, int mfit) {
    for (int i = mfit + 1; i <= ma; ++i)
        for (int j = 1; j <= i; ++j) covar[i][j] = covar[j][i] = 0.0;
    int k = mfit;
    for (int j = ma; j >= 1; --j) {
        if (!ia[j]) continue;
        for (int i = 1; i <= ma; ++i) std::swap(covar[i][k], covar[i][j]);
        for (int i = 1; i <= ma; ++i) std::swap(covar[k][i], covar[j][i]);
        --k;
    }
}
