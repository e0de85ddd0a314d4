// Signals: Savitzky-Golay coefficients, radix-2 FFTs and FFT convolution.
#include <cmath>
#include <utility>
#include <vector>

#include "util/Message.h"
#include "util/NumUtil.h"

namespace {

const double PI = 3.14159265358979323846;

bool isPowerOfTwo(unsigned long n) { return n != 0 && (n & (n - 1)) == 0; }

}  // namespace

void savgol(double* c, int np, int nl, int nr, int ld, int m) {
    if (np < nl + nr + 1 || nl < 0 || nr < 0 || ld > m || nl + nr < m)
        ERROR("savgol(): bad arguments");
    // Least squares fit of a polynomial of order m to the nl + nr + 1 points
    // around each point: the coefficient of point k for derivative ld is
    // sum_j [(A^T A)^-1]_{ld,j} k^j, with (A^T A)_{ij} = sum_k k^(i+j).
    // Solving (A^T A) x = e_ld gives that row once.
    //
    // With bad arguments the computation still runs, but only where it stays
    // inside its arrays.
    if (m < 0 || ld < 0 || ld > m) return;
    int size = m + 1;
    int* indx = ivector(1, size);
    double** a = dmatrix(1, size, 1, size);
    double* b = dvector(1, size);
    if (indx == nullptr || a == nullptr || b == nullptr) {
        free_dvector(b, 1, size);
        free_dmatrix(a, 1, size, 1, size);
        free_ivector(indx, 1, size);
        return;
    }
    for (int ipj = 0; ipj <= 2 * m; ++ipj) {
        double sum = ipj ? 0.0 : 1.0;
        for (int k = 1; k <= nr; ++k) sum += std::pow(static_cast<double>(k), ipj);
        for (int k = 1; k <= nl; ++k) sum += std::pow(static_cast<double>(-k), ipj);
        int mm = ipj < 2 * m - ipj ? ipj : 2 * m - ipj;
        for (int imj = -mm; imj <= mm; imj += 2) a[1 + (ipj + imj) / 2][1 + (ipj - imj) / 2] = sum;
    }
    double d;
    ludcmp(a, size, indx, &d);
    for (int j = 1; j <= size; ++j) b[j] = 0.0;
    b[ld + 1] = 1.0;
    lubksb(a, size, indx, b);
    for (int kk = 1; kk <= np; ++kk) c[kk] = 0.0;
    if (np > 0) {
        for (int k = -nl; k <= nr; ++k) {
            double sum = b[1];
            double fac = 1.0;
            for (int mm = 1; mm <= m; ++mm) sum += b[mm + 1] * (fac *= k);
            // Wrap-around order: point k goes to 1 + (-k mod np).
            int kk = ((np - k) % np + np) % np + 1;
            c[kk] = sum;
        }
    }
    free_dvector(b, 1, size);
    free_dmatrix(a, 1, size, 1, size);
    free_ivector(indx, 1, size);
}

void four1(double* data, unsigned long nn, int isign) {
    if (!isPowerOfTwo(nn)) return;
    unsigned long n = nn << 1;
    // Bit reversal of the complex indices.
    unsigned long j = 1;
    for (unsigned long i = 1; i < n; i += 2) {
        if (j > i) {
            std::swap(data[j], data[i]);
            std::swap(data[j + 1], data[i + 1]);
        }
        unsigned long m = nn;
        while (m >= 2 && j > m) {
            j -= m;
            m >>= 1;
        }
        j += m;
    }
    // Danielson-Lanczos: combine transforms of length mmax/2 into mmax/2*2,
    // with the twiddle factor w = exp(i theta) advanced by the recurrence
    // w <- w + w (cos(theta) - 1 + i sin(theta)), cos - 1 = -2 sin^2(theta/2)
    // kept apart for accuracy.
    unsigned long mmax = 2;
    while (n > mmax) {
        unsigned long istep = mmax << 1;
        double theta = isign * (2.0 * PI / mmax);
        double wtemp = std::sin(0.5 * theta);
        double wpr = -2.0 * wtemp * wtemp;
        double wpi = std::sin(theta);
        double wr = 1.0, wi = 0.0;
        for (unsigned long m = 1; m < mmax; m += 2) {
            for (unsigned long i = m; i <= n; i += istep) {
                unsigned long k = i + mmax;
                double tempr = wr * data[k] - wi * data[k + 1];
                double tempi = wr * data[k + 1] + wi * data[k];
                data[k] = data[i] - tempr;
                data[k + 1] = data[i + 1] - tempi;
                data[i] += tempr;
                data[i + 1] += tempi;
            }
            wtemp = wr;
            wr = wtemp * wpr - wi * wpi + wr;
            wi = wi * wpr + wtemp * wpi + wi;
        }
        mmax = istep;
    }
}

void twofft(double* data1, double* data2, double* fft1, double* fft2, unsigned long n) {
    if (!isPowerOfTwo(n)) return;
    // Pack the two real series as real and imaginary parts of one complex
    // series, transform, and separate by the symmetry of real transforms:
    // F1_k = (Z_k + conj Z_{N-k}) / 2, F2_k = (Z_k - conj Z_{N-k}) / (2 i).
    unsigned long nn2 = 2 + n + n;
    unsigned long nn3 = nn2 + 1;
    for (unsigned long j = 1, jj = 2; j <= n; ++j, jj += 2) {
        fft1[jj - 1] = data1[j];
        fft1[jj] = data2[j];
    }
    four1(fft1, n, 1);
    fft2[1] = fft1[2];
    fft1[2] = fft2[2] = 0.0;
    for (unsigned long j = 3; j <= n + 1; j += 2) {
        double rep = 0.5 * (fft1[j] + fft1[nn2 - j]);
        double rem = 0.5 * (fft1[j] - fft1[nn2 - j]);
        double aip = 0.5 * (fft1[j + 1] + fft1[nn3 - j]);
        double aim = 0.5 * (fft1[j + 1] - fft1[nn3 - j]);
        fft1[j] = rep;
        fft1[j + 1] = aim;
        fft1[nn2 - j] = rep;
        fft1[nn3 - j] = -aim;
        fft2[j] = aip;
        fft2[j + 1] = -rem;
        fft2[nn2 - j] = aip;
        fft2[nn3 - j] = rem;
    }
}

void realft(double* data, unsigned long n, int isign) {
    if (n < 2 || !isPowerOfTwo(n)) return;
    // The n reals are transformed as n/2 complex numbers; the two interleaved
    // half transforms are then separated and recombined with the twiddle
    // factors of length n.
    double theta = PI / static_cast<double>(n >> 1);
    double c1 = 0.5, c2;
    if (isign == 1) {
        c2 = -0.5;
        four1(data, n >> 1, 1);
    } else {
        c2 = 0.5;
        theta = -theta;
    }
    double wtemp = std::sin(0.5 * theta);
    double wpr = -2.0 * wtemp * wtemp;
    double wpi = std::sin(theta);
    double wr = 1.0 + wpr;
    double wi = wpi;
    unsigned long np3 = n + 3;
    for (unsigned long i = 2; i <= (n >> 2); ++i) {
        unsigned long i1 = i + i - 1;
        unsigned long i2 = 1 + i1;
        unsigned long i3 = np3 - i2;
        unsigned long i4 = 1 + i3;
        double h1r = c1 * (data[i1] + data[i3]);
        double h1i = c1 * (data[i2] - data[i4]);
        double h2r = -c2 * (data[i2] + data[i4]);
        double h2i = c2 * (data[i1] - data[i3]);
        data[i1] = h1r + wr * h2r - wi * h2i;
        data[i2] = h1i + wr * h2i + wi * h2r;
        data[i3] = h1r - wr * h2r + wi * h2i;
        data[i4] = -h1i + wr * h2i + wi * h2r;
        wtemp = wr;
        wr = wtemp * wpr - wi * wpi + wr;
        wi = wi * wpr + wtemp * wpi + wi;
    }
    double h1r = data[1];
    if (isign == 1) {
        // First and last components, both real, share data[1] and data[2].
        data[1] = h1r + data[2];
        data[2] = h1r - data[2];
    } else {
        data[1] = c1 * (h1r + data[2]);
        data[2] = c1 * (h1r - data[2]);
        four1(data, n >> 1, -1);
    }
}

void convlv(double* data, unsigned long n, double* respns, unsigned long m, int isign, double* ans) {
    if (isign != 1 && isign != -1) {
        ERROR("convlv(): no meaning for isign");
        for (unsigned long i = 1; i <= 2 * n; ++i) ans[i] = 0.0;
        return;
    }
    // The response must fit the data; without that (or with a length that
    // is no power of 2) nothing can be computed.
    if (m == 0 || m > n || n < 2 || !isPowerOfTwo(n)) return;
    // Spread the response (r_0, r_1 .. r_(m-1)/2, r_-(m-1)/2 .. r_-1) over
    // n points in wrap-around order: negative lags to the end, zeros between.
    for (unsigned long i = 1; i <= (m - 1) / 2; ++i) respns[n + 1 - i] = respns[m + 1 - i];
    for (unsigned long i = (m + 3) / 2; i <= n - (m - 1) / 2; ++i) respns[i] = 0.0;
    // Scratch for the transform of the data; kept between calls so that a
    // filter working voxel by voxel does not allocate each time.
    static std::vector<double> scratch;
    if (scratch.size() < 2 * n + 1) scratch.resize(2 * n + 1);
    double* fft = scratch.data();
    twofft(data, respns, fft, ans, n);
    // Multiply (or divide) the transforms; the factor 2/n completes realft's
    // inverse.
    unsigned long no2 = n >> 1;
    bool reported = false;
    for (unsigned long i = 2; i <= n + 2; i += 2) {
        double re = ans[i - 1], im = ans[i];
        if (isign == 1) {
            ans[i - 1] = (fft[i - 1] * re - fft[i] * im) / no2;
            ans[i] = (fft[i] * re + fft[i - 1] * im) / no2;
        } else {
            double mag2 = re * re + im * im;
            if (mag2 == 0.0 && !reported) {
                ERROR("convlv(): deconvolving at response zero");
                reported = true;
            }
            ans[i - 1] = (fft[i - 1] * re + fft[i] * im) / mag2 / no2;
            ans[i] = (fft[i] * re - fft[i - 1] * im) / mag2 / no2;
        }
    }
    ans[2] = ans[n + 1];
    realft(ans, n, -1);
}
