// Linear algebra: Gauss-Jordan elimination, LU decomposition with back
// substitution, and Jacobi eigen analysis of symmetric matrices.
#include <cmath>
#include <memory>

#include "util/Message.h"
#include "util/NumUtil.h"

namespace {

// Scratch of n + 1 elements (index 1..n) on the stack for the small
// systems of a fit, so that the solvers do not allocate per call; larger
// ones go to the heap.
template <typename T, int LOCAL>
class Scratch {
public:
    explicit Scratch(int n) : data_(local_) {
        if (n > LOCAL) {
            heap_.reset(new T[static_cast<size_t>(n) + 1]);
            data_ = heap_.get();
        }
    }
    T& operator[](int i) { return data_[i]; }

private:
    T local_[LOCAL + 1];
    std::unique_ptr<T[]> heap_;
    T* data_;
};

const int LOCAL_SIZE = 32;

// Replaces a tiny pivot of a singular matrix so that ludcmp can finish.
const double TINY = 1.0e-20;

void swap(double& a, double& b) {
    double t = a;
    a = b;
    b = t;
}

}  // namespace

int gaussj(double** a, int n, double** b, int m) {
    // indxr[i], indxc[i]: row and column of the i-th pivot; ipiv[j] counts
    // how often column j served as pivot column.
    Scratch<int, LOCAL_SIZE> indxc(n), indxr(n), ipiv(n);
    for (int j = 1; j <= n; ++j) ipiv[j] = 0;
    for (int i = 1; i <= n; ++i) {
        // Full pivoting: the largest element among rows and columns not yet
        // reduced.
        double big = 0.0;
        int irow = 0, icol = 0;
        for (int j = 1; j <= n; ++j) {
            if (ipiv[j] == 1) continue;
            for (int k = 1; k <= n; ++k) {
                if (ipiv[k] == 0) {
                    if (std::fabs(a[j][k]) >= big) {
                        big = std::fabs(a[j][k]);
                        irow = j;
                        icol = k;
                    }
                } else if (ipiv[k] > 1) {
                    return 1;
                }
            }
        }
        if (icol == 0) return 2;  // only NaN left: no usable pivot
        ++ipiv[icol];
        // Move the pivot onto the diagonal by a row swap; the columns are
        // put back in order at the end.
        if (irow != icol) {
            for (int l = 1; l <= n; ++l) swap(a[irow][l], a[icol][l]);
            for (int l = 1; l <= m; ++l) swap(b[irow][l], b[icol][l]);
        }
        indxr[i] = irow;
        indxc[i] = icol;
        if (a[icol][icol] == 0.0) return 2;
        double pivinv = 1.0 / a[icol][icol];
        a[icol][icol] = 1.0;
        for (int l = 1; l <= n; ++l) a[icol][l] *= pivinv;
        for (int l = 1; l <= m; ++l) b[icol][l] *= pivinv;
        for (int ll = 1; ll <= n; ++ll) {
            if (ll == icol) continue;
            double dum = a[ll][icol];
            a[ll][icol] = 0.0;
            for (int l = 1; l <= n; ++l) a[ll][l] -= a[icol][l] * dum;
            for (int l = 1; l <= m; ++l) b[ll][l] -= b[icol][l] * dum;
        }
    }
    // Undo the row swaps as column swaps of the inverse, in reverse order.
    for (int l = n; l >= 1; --l) {
        if (indxr[l] == indxc[l]) continue;
        for (int k = 1; k <= n; ++k) swap(a[k][indxr[l]], a[k][indxc[l]]);
    }
    return 0;
}

void ludcmp(double** a, int n, int* indx, double* d) {
    Scratch<double, LOCAL_SIZE> vv(n);  // implicit scaling: 1 / largest element of each row
    *d = 1.0;
    for (int i = 1; i <= n; ++i) {
        double big = 0.0;
        for (int j = 1; j <= n; ++j) {
            double temp = std::fabs(a[i][j]);
            if (temp > big) big = temp;
        }
        if (big == 0.0) ERROR("ludcmp(): Singular matrix in routine");
        vv[i] = 1.0 / big;
    }
    // Crout's method, column by column: first the upper part beta_ij, then
    // the lower part alpha_ij with the pivot chosen by scaled size.
    for (int j = 1; j <= n; ++j) {
        for (int i = 1; i < j; ++i) {
            double sum = a[i][j];
            for (int k = 1; k < i; ++k) sum -= a[i][k] * a[k][j];
            a[i][j] = sum;
        }
        double big = 0.0;
        int imax = j;
        for (int i = j; i <= n; ++i) {
            double sum = a[i][j];
            for (int k = 1; k < j; ++k) sum -= a[i][k] * a[k][j];
            a[i][j] = sum;
            double dum = vv[i] * std::fabs(sum);
            if (dum >= big) {
                big = dum;
                imax = i;
            }
        }
        if (j != imax) {
            for (int k = 1; k <= n; ++k) swap(a[imax][k], a[j][k]);
            *d = -*d;
            vv[imax] = vv[j];
        }
        indx[j] = imax;
        if (a[j][j] == 0.0) a[j][j] = TINY;
        if (j != n) {
            double dum = 1.0 / a[j][j];
            for (int i = j + 1; i <= n; ++i) a[i][j] *= dum;
        }
    }
}

void lubksb(double** a, int n, int* indx, double* b) {
    // Forward substitution, unscrambling the permutation on the way; ii is
    // the first non-zero element of b, so leading zeros cost nothing.
    int ii = 0;
    for (int i = 1; i <= n; ++i) {
        int ip = indx[i];
        double sum = b[ip];
        b[ip] = b[i];
        if (ii != 0) {
            for (int j = ii; j <= i - 1; ++j) sum -= a[i][j] * b[j];
        } else if (sum != 0.0) {
            ii = i;
        }
        b[i] = sum;
    }
    for (int i = n; i >= 1; --i) {
        double sum = b[i];
        for (int j = i + 1; j <= n; ++j) sum -= a[i][j] * b[j];
        b[i] = sum / a[i][i];
    }
}

void jacobi(double** a, int n, double* d, double** v, int* nrot) {
    // b accumulates the diagonal over a sweep, z the change of this sweep
    // (tiny changes would be lost if added to d at once).
    Scratch<double, LOCAL_SIZE> b(n), z(n);
    for (int ip = 1; ip <= n; ++ip) {
        for (int iq = 1; iq <= n; ++iq) v[ip][iq] = 0.0;
        v[ip][ip] = 1.0;
    }
    for (int ip = 1; ip <= n; ++ip) {
        b[ip] = d[ip] = a[ip][ip];
        z[ip] = 0.0;
    }
    *nrot = 0;
    for (int sweep = 1; sweep <= 50; ++sweep) {
        double sm = 0.0;
        for (int ip = 1; ip <= n - 1; ++ip)
            for (int iq = ip + 1; iq <= n; ++iq) sm += std::fabs(a[ip][iq]);
        // Converged to machine underflow: the off-diagonal part is zero.
        if (sm == 0.0) return;
        // Early sweeps rotate only the larger elements.
        double tresh = sweep < 4 ? 0.2 * sm / (static_cast<double>(n) * n) : 0.0;
        for (int ip = 1; ip <= n - 1; ++ip) {
            for (int iq = ip + 1; iq <= n; ++iq) {
                double g = 100.0 * std::fabs(a[ip][iq]);
                // After four sweeps, an element too small to change either
                // diagonal element is dropped without a rotation.
                if (sweep > 4 && std::fabs(d[ip]) + g == std::fabs(d[ip]) &&
                    std::fabs(d[iq]) + g == std::fabs(d[iq])) {
                    a[ip][iq] = 0.0;
                } else if (std::fabs(a[ip][iq]) > tresh) {
                    // Rotation angle: t = tan(phi) from theta = cot(2 phi),
                    // the smaller root of t^2 + 2 t theta - 1 = 0.
                    double h = d[iq] - d[ip];
                    double t;
                    if (std::fabs(h) + g == std::fabs(h)) {
                        t = a[ip][iq] / h;  // theta^2 would overflow: t = 1 / (2 theta)
                    } else {
                        double theta = 0.5 * h / a[ip][iq];
                        t = 1.0 / (std::fabs(theta) + std::sqrt(1.0 + theta * theta));
                        if (theta < 0.0) t = -t;
                    }
                    double c = 1.0 / std::sqrt(1.0 + t * t);
                    double s = t * c;
                    double tau = s / (1.0 + c);
                    h = t * a[ip][iq];
                    z[ip] -= h;
                    z[iq] += h;
                    d[ip] -= h;
                    d[iq] += h;
                    a[ip][iq] = 0.0;
                    // a'_kl = a_kl - s (a_kl' + tau a_kl), written for the
                    // upper triangle only.
                    auto rotate = [s, tau](double& x, double& y) {
                        double gx = x, hy = y;
                        x = gx - s * (hy + gx * tau);
                        y = hy + s * (gx - hy * tau);
                    };
                    for (int j = 1; j <= ip - 1; ++j) rotate(a[j][ip], a[j][iq]);
                    for (int j = ip + 1; j <= iq - 1; ++j) rotate(a[ip][j], a[j][iq]);
                    for (int j = iq + 1; j <= n; ++j) rotate(a[ip][j], a[iq][j]);
                    for (int j = 1; j <= n; ++j) rotate(v[j][ip], v[j][iq]);
                    ++*nrot;
                }
            }
        }
        for (int ip = 1; ip <= n; ++ip) {
            b[ip] += z[ip];
            d[ip] = b[ip];
            z[ip] = 0.0;
        }
    }
    ERROR("jacobi(): too many iterations");
}

void eigsrt(double* d, double** v, int n) {
    // Straight selection sort, descending; n is small.
    for (int i = 1; i < n; ++i) {
        int k = i;
        double p = d[i];
        for (int j = i + 1; j <= n; ++j) {
            if (d[j] >= p) {
                k = j;
                p = d[j];
            }
        }
        if (k != i) {
            d[k] = d[i];
            d[i] = p;
            for (int j = 1; j <= n; ++j) swap(v[j][i], v[j][k]);
        }
    }
}
