// The small dense linear algebra of the box search: vectors, square
// matrices and a handful of routines in the manner of the basic linear
// algebra subroutines. Double precision, indexes from 0. A routine writes
// its result into the last vector or matrix it is given.
#ifndef KINETRA_BOXSEARCH_MDGS_LINALG_H
#define KINETRA_BOXSEARCH_MDGS_LINALG_H

#include <ostream>
#include <vector>

// An owned array of doubles and its length.
class RVector {
public:
    RVector() = default;
    // n elements, all 0 (an unset element is never read as garbage).
    explicit RVector(int n) : v_(static_cast<size_t>(n > 0 ? n : 0), 0.0) {}
    RVector(const RVector&) = default;
    RVector& operator=(const RVector&) = default;
    // Every element takes the value.
    RVector& operator=(double value);

    int size() const { return static_cast<int>(v_.size()); }
    double& operator[](int i) { return v_[static_cast<size_t>(i)]; }
    double operator[](int i) const { return v_[static_cast<size_t>(i)]; }
    double nrm2() const;

private:
    std::vector<double> v_;
};

// A square matrix of order n, row by row, addressed A(i, j).
class RMatrix {
public:
    RMatrix() = default;
    explicit RMatrix(int n) : n_(n > 0 ? n : 0), a_(static_cast<size_t>(n_) * n_, 0.0) {}
    RMatrix(const RMatrix&) = default;
    RMatrix& operator=(const RMatrix&) = default;
    RMatrix& operator=(double value);

    int order() const { return n_; }
    double& operator()(int i, int j) { return a_[static_cast<size_t>(i) * n_ + j]; }
    double operator()(int i, int j) const { return a_[static_cast<size_t>(i) * n_ + j]; }
    // The identity of this order.
    void identity();

private:
    int n_ = 0;
    std::vector<double> a_;
};

// x = a x
void scal(double a, RVector& x);
// |x|, the Euclidean norm
double norm2(const RVector& x);
// max |x_i|
double normInf(const RVector& x);
// x . y
double dot(const RVector& x, const RVector& y);
// y = x
void copy(const RVector& x, RVector& y);
// y = y + a x
void axpy(double a, const RVector& x, RVector& y);
// y = a op(A) x + b y, op(A) = A for trans 'N', its transpose otherwise.
// With b = 0, y is not read (it may hold anything).
void gemv(char trans, double a, const RMatrix& A, const RVector& x, double b, RVector& y);
// A = A + a x y^T
void ger(double a, const RVector& x, const RVector& y, RMatrix& A);
// The machine precision: 1 halved until 1 plus the half equals 1.
double eps();

std::ostream& operator<<(std::ostream& out, const RVector& x);
std::ostream& operator<<(std::ostream& out, const RMatrix& A);

#endif
