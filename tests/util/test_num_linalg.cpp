// Numerical library: solvers, eigen analysis, Savitzky-Golay coefficients and
// the FFT family, against known inverses, eigenvalues, tables and direct sums.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <regex>
#include <string>
#include <vector>

#include "mexhost.h"
#include "util/NumUtil.h"

namespace {

std::string printed() { return std::regex_replace(mexhost::takeOutput(), std::regex("\\(\\d+\\): "), "(L): "); }

// An n x n index-1-based matrix that frees itself.
struct Matrix {
    int n;
    double** m;
    explicit Matrix(int size, std::vector<double> rows = {}) : n(size), m(dmatrix(1, size, 1, size)) {
        for (int i = 1; i <= n; ++i)
            for (int j = 1; j <= n; ++j) m[i][j] = rows.empty() ? 0.0 : rows[(i - 1) * n + (j - 1)];
    }
    ~Matrix() { free_dmatrix(m, 1, n, 1, n); }
    double* operator[](int i) { return m[i]; }
};

// The second-difference matrix tridiag(-1, 2, -1): eigenvalues
// 2 - 2 cos(k pi / (n + 1)), inverse (min(i,j) (n + 1 - max(i,j))) / (n + 1).
void fillSecondDifference(Matrix& a) {
    for (int i = 1; i <= a.n; ++i)
        for (int j = 1; j <= a.n; ++j) a[i][j] = i == j ? 2.0 : (std::abs(i - j) == 1 ? -1.0 : 0.0);
}

double secondDifferenceInverse(int n, int i, int j) {
    return std::min(i, j) * (n + 1.0 - std::max(i, j)) / (n + 1.0);
}

using Complex = std::vector<std::complex<double>>;

// Direct DFT with exp(+2 pi i jk / n), the sign of four1's forward transform.
Complex dft(const Complex& x) {
    size_t n = x.size();
    Complex y(n);
    for (size_t k = 0; k < n; ++k)
        for (size_t j = 0; j < n; ++j) y[k] += x[j] * std::polar(1.0, 2.0 * M_PI * double(j * k % n) / double(n));
    return y;
}

// Interleaved index-1-based (re, im) pairs against y[from .. to).
void expectTransform(const std::vector<double>& w, const Complex& y, size_t from, size_t to) {
    for (size_t k = from; k < to; ++k) {
        EXPECT_NEAR(w[2 * k + 1], y[k].real(), 1e-12) << k;
        EXPECT_NEAR(w[2 * k + 2], y[k].imag(), 1e-12) << k;
    }
}

}  // namespace

TEST(NumLinalg, GaussJordanInvertsAndSolves) {
    mexhost::clearOutput();
    const int n = 5;
    Matrix a(n), b(n);
    fillSecondDifference(a);
    for (int i = 1; i <= n; ++i) b[i][1] = 1.0;  // A x = 1: x_i = i (n + 1 - i) / 2
    ASSERT_EQ(gaussj(a.m, n, b.m, 1), 0);
    for (int i = 1; i <= n; ++i) {
        EXPECT_NEAR(b[i][1], i * (n + 1.0 - i) / 2.0, 1e-12);
        for (int j = 1; j <= n; ++j) EXPECT_NEAR(a[i][j], secondDifferenceInverse(n, i, j), 1e-12);
    }
    // Larger than the solver's stack scratch, with a zero diagonal that
    // needs the full pivoting: A A^-1 = I.
    const int big = 40;
    Matrix r(big), inv(big), rhs(big);
    for (int i = 1; i <= big; ++i)
        for (int j = 1; j <= big; ++j) r[i][j] = inv[i][j] = i == j ? 0.0 : std::sin(i * 1.3 + j * j * 0.7);
    ASSERT_EQ(gaussj(inv.m, big, rhs.m, 1), 0);
    double worst = 0;
    for (int i = 1; i <= big; ++i)
        for (int j = 1; j <= big; ++j) {
            double s = 0;
            for (int k = 1; k <= big; ++k) s += r[i][k] * inv[k][j];
            worst = std::max(worst, std::fabs(s - (i == j ? 1.0 : 0.0)));
        }
    EXPECT_LT(worst, 1e-10);
    // A zero row is singular: code 2, and nothing printed.
    Matrix z(3, {1, 2, 3, 0, 0, 0, 4, 5, 7}), zb(3);
    EXPECT_EQ(gaussj(z.m, 3, zb.m, 1), 2);
    EXPECT_EQ(printed(), "");
}

TEST(NumLinalg, LuDecompositionSolves) {
    mexhost::clearOutput();
    const int n = 6;
    Matrix a(n);
    fillSecondDifference(a);
    std::swap(a.m[1], a.m[n]);  // rows out of order, so pivoting is needed
    int indx[n + 1];
    double d, x[n + 1];
    ludcmp(a.m, n, indx, &d);
    EXPECT_EQ(std::fabs(d), 1.0);
    for (int col = 1; col <= n; ++col) {
        for (int i = 1; i <= n; ++i) x[i] = i == (col == 1 ? n : col == n ? 1 : col) ? 1.0 : 0.0;
        lubksb(a.m, n, indx, x);
        for (int i = 1; i <= n; ++i) EXPECT_NEAR(x[i], secondDifferenceInverse(n, i, col), 1e-12);
    }
    std::swap(a.m[1], a.m[n]);
    EXPECT_EQ(printed(), "");
    Matrix s(2, {1, 2, 0, 0});
    ludcmp(s.m, 2, indx, &d);
    EXPECT_EQ(printed(), "ERROR util/NumUtil(L): ludcmp(): Singular matrix in routine \n");
}

TEST(NumLinalg, JacobiFindsKnownEigenvalues) {
    mexhost::clearOutput();
    const int n = 7;
    Matrix a(n), original(n), v(n);
    fillSecondDifference(a);
    fillSecondDifference(original);
    double d[n + 1];
    int nrot = 0;
    jacobi(a.m, n, d, v.m, &nrot);
    eigsrt(d, v.m, n);
    EXPECT_GT(nrot, 0);
    for (int k = 1; k <= n; ++k) {
        // Descending: k = n, n-1, ... of 2 - 2 cos(k pi / (n + 1)).
        EXPECT_NEAR(d[k], 2.0 - 2.0 * std::cos((n + 1 - k) * M_PI / (n + 1)), 1e-12);
        for (int i = 1; i <= n; ++i) {  // A v_k = d_k v_k, |v_k| = 1
            double av = 0, norm = 0;
            for (int j = 1; j <= n; ++j) av += original[i][j] * v[j][k];
            for (int j = 1; j <= n; ++j) norm += v[j][k] * v[j][k];
            EXPECT_NEAR(av, d[k] * v[i][k], 1e-12);
            EXPECT_NEAR(norm, 1.0, 1e-12);
        }
    }
    EXPECT_EQ(printed(), "");
    // NaN never converges.
    Matrix bad(2, {1, NAN, NAN, 1});
    jacobi(bad.m, 2, d, v.m, &nrot);
    EXPECT_EQ(printed(), "ERROR util/NumUtil(L): jacobi(): too many iterations \n");
}

TEST(NumLinalg, SavitzkyGolayCoefficients) {
    mexhost::clearOutput();
    // Quadratic smoothing over 5 points: (-3, 12, 17, 12, -3) / 35, wrapped over 8 places.
    double c[9];
    savgol(c, 8, 2, 2, 0, 2);
    const double expected[9] = {0, 17, 12, -3, 0, 0, 0, -3, 12};
    for (int i = 1; i <= 8; ++i) EXPECT_NEAR(c[i] * 35.0, expected[i], 1e-10) << i;
    // First derivative, linear, 2 left 1 right: least-squares slope weights
    // (k - mean k) / sum (k - mean k)^2 for k = -2..1.
    savgol(c, 4, 2, 1, 1, 1);
    const double slope[5] = {0, 0.5, -0.5, -1.5, 1.5};  // k = 0, -1, -2, 1
    for (int i = 1; i <= 4; ++i) EXPECT_NEAR(c[i], slope[i] / 5.0, 1e-12) << i;
    EXPECT_EQ(printed(), "");
    savgol(c, 2, 2, 2, 0, 2);  // np too small: reported, and the writes stay in c[1..2]
    EXPECT_EQ(printed(), "ERROR util/NumUtil(L): savgol(): bad arguments \n");
}

TEST(NumLinalg, FourierTransformsMatchTheDirectSum) {
    const unsigned long n = 16;
    Complex x(n);
    std::vector<double> data(2 * n + 1), real(n + 1);
    for (unsigned long j = 0; j < n; ++j) {
        x[j] = {std::cos(0.9 * j) + 0.1 * j, std::sin(j * j * 0.37)};
        data[2 * j + 1] = x[j].real();
        data[2 * j + 2] = x[j].imag();
        real[j + 1] = x[j].real();
    }
    std::vector<double> work = data;
    four1(work.data(), n, 1);
    expectTransform(work, dft(x), 0, n);
    four1(work.data(), n, -1);
    for (unsigned long i = 1; i <= 2 * n; ++i) EXPECT_NEAR(work[i] / n, data[i], 1e-12);

    // realft: the positive-frequency half, data[2] = real part at n/2.
    const Complex yr = dft(Complex(real.begin() + 1, real.end()));
    work = real;
    realft(work.data(), n, 1);
    EXPECT_NEAR(work[1], yr[0].real(), 1e-12);
    EXPECT_NEAR(work[2], yr[n / 2].real(), 1e-12);
    expectTransform(work, yr, 1, n / 2);
    realft(work.data(), n, -1);
    for (unsigned long i = 1; i <= n; ++i) EXPECT_NEAR(work[i] * 2.0 / n, real[i], 1e-12);

    // twofft: both real series at once, full transforms.
    std::vector<double> second(n + 1), fft1(2 * n + 1), fft2(2 * n + 1);
    for (unsigned long j = 0; j < n; ++j) second[j + 1] = std::exp(-0.2 * j);
    twofft(real.data(), second.data(), fft1.data(), fft2.data(), n);
    expectTransform(fft1, yr, 0, n);
    expectTransform(fft2, dft(Complex(second.begin() + 1, second.end())), 0, n);
}

TEST(NumLinalg, ConvolutionAndDeconvolution) {
    mexhost::clearOutput();
    const unsigned long n = 16, m = 5;
    // Response r_0 .. r_2, r_-2, r_-1 in wrap-around order.
    const double r[6] = {0, 0.6, 0.2, 0.05, 0.1, 0.15};
    std::vector<double> data(n + 1), respns(n + 1), ans(2 * n + 1);
    for (unsigned long j = 1; j <= n; ++j) data[j] = std::sin(0.7 * j) + 0.05 * j;
    for (unsigned long j = 1; j <= m; ++j) respns[j] = r[j];
    convlv(data.data(), n, respns.data(), m, 1, ans.data());
    // Circular convolution: (r * s)_j = sum_k r_k s_(j-k).
    auto lag = [&r](int k) { return k >= 0 ? r[1 + k] : r[m + 1 + k]; };
    for (int j = 0; j < static_cast<int>(n); ++j) {
        double expected = 0;
        for (int k = -2; k <= 2; ++k) expected += lag(k) * data[1 + (j - k + n) % n];
        EXPECT_NEAR(ans[j + 1], expected, 1e-12) << j;
    }
    // Deconvolution undoes it; convlv spread the response in place, so it is given afresh.
    std::vector<double> convolved(ans.begin(), ans.begin() + n + 1), back(2 * n + 1);
    std::fill(respns.begin(), respns.end(), 0.0);
    for (unsigned long j = 1; j <= m; ++j) respns[j] = r[j];
    convlv(convolved.data(), n, respns.data(), m, -1, back.data());
    for (unsigned long j = 1; j <= n; ++j) EXPECT_NEAR(back[j], data[j], 1e-10);
    EXPECT_EQ(printed(), "");

    convlv(data.data(), n, respns.data(), m, 0, ans.data());
    EXPECT_EQ(printed(), "ERROR util/NumUtil(L): convlv(): no meaning for isign \n");
    std::vector<double> zero(n + 1, 0.0);
    convlv(data.data(), n, zero.data(), 1, -1, ans.data());
    EXPECT_EQ(printed(), "ERROR util/NumUtil(L): convlv(): deconvolving at response zero \n");
}
