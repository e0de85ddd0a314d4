// Vectors, matrices and the routines of the box search.
#include "boxsearch/MDGS_linalg.h"

#include <cmath>

RVector& RVector::operator=(double value) {
    for (double& e : v_) e = value;
    return *this;
}

double RVector::nrm2() const { return norm2(*this); }

RMatrix& RMatrix::operator=(double value) {
    for (double& e : a_) e = value;
    return *this;
}

void RMatrix::identity() {
    *this = 0.0;
    for (int i = 0; i < n_; ++i) (*this)(i, i) = 1.0;
}

void scal(double a, RVector& x) {
    for (int i = 0; i < x.size(); ++i) x[i] *= a;
}

// Scaled by the largest element, so that squares of very large or very
// small elements neither overflow nor vanish.
double norm2(const RVector& x) {
    const double scale = normInf(x);
    if (scale == 0.0 || !std::isfinite(scale)) return scale;
    double sum = 0.0;
    for (int i = 0; i < x.size(); ++i) {
        const double r = x[i] / scale;
        sum += r * r;
    }
    return scale * std::sqrt(sum);
}

double normInf(const RVector& x) {
    double m = 0.0;
    for (int i = 0; i < x.size(); ++i) {
        const double a = std::fabs(x[i]);
        if (a > m || std::isnan(a)) m = a;
        if (std::isnan(m)) break;
    }
    return m;
}

double dot(const RVector& x, const RVector& y) {
    double sum = 0.0;
    for (int i = 0; i < x.size(); ++i) sum += x[i] * y[i];
    return sum;
}

void copy(const RVector& x, RVector& y) { y = x; }

void axpy(double a, const RVector& x, RVector& y) {
    for (int i = 0; i < x.size(); ++i) y[i] += a * x[i];
}

void gemv(char trans, double a, const RMatrix& A, const RVector& x, double b, RVector& y) {
    const int n = A.order();
    const bool plain = trans == 'N' || trans == 'n';
    for (int i = 0; i < n; ++i) {
        double sum = 0.0;
        for (int j = 0; j < n; ++j) sum += (plain ? A(i, j) : A(j, i)) * x[j];
        y[i] = b == 0.0 ? a * sum : a * sum + b * y[i];
    }
}

void ger(double a, const RVector& x, const RVector& y, RMatrix& A) {
    const int n = A.order();
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) A(i, j) += a * x[i] * y[j];
}

double eps() {
    // volatile keeps the sum in double precision on every platform.
    volatile double half = 0.5;
    volatile double sum = 1.0 + half;
    double e = 1.0;
    while (sum != 1.0) {
        e = half;
        half = half / 2.0;
        sum = 1.0 + half;
    }
    return e;
}

std::ostream& operator<<(std::ostream& out, const RVector& x) {
    out << "[";
    for (int i = 0; i < x.size(); ++i) out << (i ? " " : "") << x[i];
    return out << "]";
}

std::ostream& operator<<(std::ostream& out, const RMatrix& A) {
    for (int i = 0; i < A.order(); ++i) {
        out << (i ? "\n" : "") << "[";
        for (int j = 0; j < A.order(); ++j) out << (j ? " " : "") << A(i, j);
        out << "]";
    }
    return out;
}
