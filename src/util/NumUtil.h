// Numerical library.
//
// Flat free functions after the classic numerical-recipes formulations:
// index-1-based vectors and matrices, random deviates with a seed that
// persists in $HOME/.seed, the gamma function family, Romberg
// integration, Gauss-Jordan and LU solvers, Jacobi eigen analysis,
// Savitzky-Golay coefficients and FFT convolution. All arithmetic is double.
// A failure prints an error line and never stops the program.
//
// Array convention: a routine given a vector v of n elements addresses
// v[1] .. v[n]; a matrix m of n x n addresses m[1][1] .. m[n][n]. The
// allocators hand out pointers offset accordingly; a vector from
// dvector(nl, nh) may also be read at v[nl - 1], the first element of its
// block.
//
// The random generators, factrl's table, trapzd's refinement and qromb of a
// plain function keep process-wide state: none of them may be used from two
// threads.
#ifndef KINETRA_UTIL_NUMUTIL_H
#define KINETRA_UTIL_NUMUTIL_H

// ---------------------------------------------------------------------------
// Index-1-based allocation. On failure an error is printed and null returned.

int* ivector(long nl, long nh);
double* dvector(long nl, long nh);
double** dmatrix(long nrl, long nrh, long ncl, long nch);
void free_ivector(int* v, long nl, long nh);
void free_dvector(double* v, long nl, long nh);
void free_dmatrix(double** m, long nrl, long nrh, long ncl, long nch);

// ---------------------------------------------------------------------------
// Random numbers

// Seeds the generator: a positive seed as given, otherwise the integer in
// $HOME/.seed, otherwise the clock.
void random_init(int seed);
// Writes the next seed to $HOME/.seed, so that the next session continues
// the stream instead of repeating it.
void random_finish();
// Uniform deviate in [a, b). With a >= b: reseeds by random_init(0), returns 0.
double random(double a, double b);
double random_normal(double mean, double sd);
double random_poisson(double mean);

// Knuth's subtractive generator, uniform in [0, 1). A negative *idum (or the
// first call) seeds it and sets *idum to 1; idum may be null once seeded.
double ran3(int* idum);
// Standard normal deviate, polar Box-Muller on ran3.
double gasdev(int* idum);
// Poisson deviate of the given mean.
double poidev(double mean, int* idum);

// ---------------------------------------------------------------------------
// Gamma function family

double factrl(int n);       // n!
double gammln(double x);    // ln Gamma(x), x > 0
double gamm(double x);      // Gamma(x)
double gamm(double a, double z);   // upper incomplete gamma Gamma(a, z)
double gammp(double a, double z);  // regularized lower incomplete gamma P(a, z)
double gammq(double a, double z);  // Q(a, z) = 1 - P(a, z)
void gser(double* result, double a, double z, double* gln);  // P by its series
void gcf(double* result, double a, double z, double* gln);   // Q by continued fraction
// h of Gamma(a, z) = e^-z z^a h: the continued fraction 1/(z+1-a- 1(1-a)/(z+3-a- ...)) by the
// modified Lentz method (tiny stands in for zero), until a factor is within eps of 1 or after
// maxTerms steps; *converged tells which. Converges fast for z >= a + 1.
double upperGammaFraction(double a, double z, int maxTerms, double eps, double tiny, bool* converged);
// 1F1(a; a + 1; z), truncated after min(2z, 20) terms.
double HyperGeometric1F1(double a, double z);
// Integral from 0 to c of t^(b-1) exp(-a t) dt, for any real a.
double GeneralGamma(double a, double b, double c);
// exp(-k c) GeneralGamma(a, b, c), the form in which a convolution with exp(-k t) needs it
// (a = rate of the curve - k): the exponential is folded into the terms, so that the product
// stays finite where the two factors alone overflow, and accurate for any real a.
double decayedGeneralGamma(double k, double a, double b, double c);

// ---------------------------------------------------------------------------
// Integration and interpolation

// A reference to any callable double(double) that outlives the call it is
// passed to: what the integrators take besides plain functions. Calling
// through it is one indirect call, as through a function pointer.
class RealFunction {
public:
    template <class F>
    RealFunction(F& f) : object_(&f), call_([](void* o, double x) { return (*static_cast<F*>(o))(x); }) {}
    double operator()(double x) const { return call_(object_, x); }

private:
    void* object_;
    double (*call_)(void*, double);
};

// n-th refinement of the extended trapezoid rule on [a, b]; call with
// n = 1, 2, 3, ... in turn.
double trapzd(double (*f)(double), double a, double b, int n);
// Romberg integration of f over [a, b] to a relative accuracy of 1e-6.
double qromb(double (*f)(double), double a, double b);
// The same for any callable, with the same arithmetic; the refinement's
// state lives in the call, so these may run side by side.
double qromb(RealFunction f, double a, double b);
template <class F>
double qromb(F&& f, double a, double b) {
    return qromb(RealFunction(f), a, b);
}
// Neville interpolation through (xa[1..n], ya[1..n]) at x; *dy estimates the error.
void polint(double* xa, double* ya, int n, double x, double* y, double* dy);

// ---------------------------------------------------------------------------
// Linear algebra

// Gauss-Jordan elimination with full pivoting: a[1..n][1..n] is replaced by
// its inverse, b[1..n][1..m] by the solutions. Returns 0, or 1 if a pivot
// column came up twice, or 2 if the pivot is zero (singular matrix). Prints
// nothing; the caller reports.
int gaussj(double** a, int n, double** b, int m);
// Crout LU decomposition with implicit partial pivoting, in place; indx
// records the row permutation, *d its parity (+1 or -1).
void ludcmp(double** a, int n, int* indx, double* d);
// Solves A x = b with the output of ludcmp; b[1..n] becomes x.
void lubksb(double** a, int n, int* indx, double* b);
// Eigenvalues d[1..n] and eigenvectors (columns of v) of the symmetric
// a[1..n][1..n] by cyclic Jacobi rotations. The upper triangle of a is
// destroyed. *nrot counts the rotations.
void jacobi(double** a, int n, double* d, double** v, int* nrot);
// Sorts eigenvalues into descending order, moving the columns of v along.
void eigsrt(double* d, double** v, int n);

// ---------------------------------------------------------------------------
// Signals

// Savitzky-Golay filter coefficients c[1..np] in wrap-around order (c[1] for
// the point itself, c[2], c[3], ... for the points to its left, c[np],
// c[np-1], ... to its right), for nl points left, nr right, polynomial order
// m and derivative ld.
void savgol(double* c, int np, int nl, int nr, int ld, int m);
// Complex FFT in place of data[1..2nn] (nn complex numbers, real and
// imaginary parts interleaved); isign 1 forward (exp(+2 pi i jk/nn)), -1
// inverse without the 1/nn factor. nn must be a power of 2.
void four1(double* data, unsigned long nn, int isign);
// The transforms of two real data1[1..n], data2[1..n] by one complex FFT,
// into fft1[1..2n], fft2[1..2n]. n must be a power of 2.
void twofft(double* data1, double* data2, double* fft1, double* fft2, unsigned long n);
// Transform of real data[1..n]: forward (isign 1) gives the positive
// frequency half with data[2] holding the last real component; inverse
// (isign -1) returns the data times n/2. n must be a power of 2.
void realft(double* data, unsigned long n, int isign);
// Convolution (isign 1) or deconvolution (isign -1) of data[1..n] with a
// response respns[1..m] (m odd, in wrap-around order; the array must have
// room for n elements, it is rearranged in place). The result lands in
// ans[1..n]; ans must have room for 2n elements. n must be a power of 2.
void convlv(double* data, unsigned long n, double* respns, unsigned long m, int isign, double* ans);

#endif
