// Filter: the operations on time curves (Savitzky-Golay smoothing, moving
// mean and median, principal components), the sliding median, and the
// normalisation, lag correlation and eigen analysis behind the principal
// components.
#include <algorithm>
#include <cmath>
#include <iostream>
#include <memory>

#include "VOI.h"
#include "util/Filter.h"
#include "util/Message.h"
#include "util/NumUtil.h"

namespace {

// Calls f(x, y) for the curve x of every voxel (all, or those active in voi)
// and stores y, T values, into out through the element conversion; voxels
// outside the VOI are copied. out has the grid of in and may be in itself:
// each curve is read whole before its result is written. The two curve
// buffers are allocated once per call.
template <class T, class F>
void forEachCurve(const Dataset4D<T>& in, Dataset4D<T>& out, const VOI* voi, F&& f) {
    const unsigned frames = in.getDimensionT(), voxels = in.getVolumeSize();
    if (frames == 0 || out.getDimensionT() != frames || out.getVolumeSize() != voxels) return;
    std::vector<const T*> source(frames);
    std::vector<T*> target(frames);
    for (unsigned t = 0; t < frames; ++t) {
        source[t] = in(t).getData();
        target[t] = out(t).getData();
    }
    std::vector<double> x(frames), y(frames);
    const unsigned char* mask = voi != nullptr ? voi->getData() : nullptr;
    for (unsigned i = 0; i < voxels; ++i) {
        if (mask != nullptr && mask[i] == 0) {
            for (unsigned t = 0; t < frames; ++t) target[t][i] = source[t][i];
            continue;
        }
        for (unsigned t = 0; t < frames; ++t) x[t] = double(source[t][i]);
        f(x.data(), y.data());
        for (unsigned t = 0; t < frames; ++t) target[t][i] = fromDouble<T>(y[t]);
    }
}

// The largest Savitzky-Golay window; a larger one is no smoothing of any
// series this toolbox reads, and its side counts could overflow.
constexpr unsigned kMaxSavgolWindow = 100000;

}  // namespace

// ---- Savitzky-Golay ----

// The least-squares polynomial of order m through the window's nl + nr + 1
// points, evaluated at the window's centre, is a fixed weighting of the
// points: the routine of the numerical library gives it in wrap-around order
// (point k at index 1 + (-k mod np)); with np equal to the window every point
// has an index of its own, and the weights are unwrapped here in window
// order, so that uneven windows keep their future side.
std::vector<double> Filter::savgolCoefficients(unsigned nl, unsigned nr, unsigned m) {
    if (nl + nr < m || nl + nr + 1 > kMaxSavgolWindow) return {};
    const int np = int(nl + nr + 1);
    std::vector<double> c(size_t(np) + 1, 0.0);
    ::savgol(c.data(), np, int(nl), int(nr), 0, int(m));
    std::vector<double> weights(static_cast<size_t>(np));
    for (int k = -int(nl); k <= int(nr); ++k) weights[size_t(k + int(nl))] = c[size_t((np - k) % np + 1)];
    return weights;
}

// y(t) = sum over k from -nl to nr of c(k) x(t + k), frames outside the
// series counted as 0, as a convolution of the zero-padded series does.
template <class T>
void Filter::savgol(Dataset4D<T>* in, Dataset4D<T>* out, unsigned nl, unsigned nr, unsigned m, VOI* voi) {
    const std::vector<double> c = savgolCoefficients(nl, nr, m);
    if (c.empty()) {
        WARNING("invalid Savitzky-Golay window %u,%u of order %u\n", nl, nr, m);
        return;
    }
    const long frames = long(in->getDimensionT());
    const long left = long(nl), right = long(nr);
    forEachCurve(*in, *out, voi, [&](const double* x, double* y) {
        for (long t = 0; t < frames; ++t) {
            const long k0 = std::max(-left, -t), k1 = std::min(right, frames - 1 - t);
            double sum = 0;
            for (long k = k0; k <= k1; ++k) sum += c[size_t(k + left)] * x[t + k];
            y[t] = sum;
        }
    });
}

// ---- Moving mean and median ----

// y(t) = mean of x over lo..hi, lo = max(t - n/2, 0), hi = min(lo + n, T - 1):
// n + 1 frames inside the series, not centred for even n.
template <class T>
void Filter::tmean(Dataset4D<T>* in, Dataset4D<T>* out, unsigned n, VOI* voi) {
    const long long frames = in->getDimensionT(), width = n;
    forEachCurve(*in, *out, voi, [&](const double* x, double* y) {
        for (long long t = 0; t < frames; ++t) {
            const long long lo = std::max(t - width / 2, 0LL), hi = std::min(lo + width, frames - 1);
            double sum = 0;
            for (long long i = lo; i <= hi; ++i) sum += x[i];
            y[t] = sum / double(hi - lo + 1);
        }
    });
}

// y(t) = median of x over the frames t - h to t + h inside the series,
// h = n/2.
template <class T>
void Filter::tmedian(Dataset4D<T>* in, Dataset4D<T>* out, unsigned n, VOI* voi) {
    const unsigned frames = in->getDimensionT(), h = n / 2;
    std::vector<double> scratch(frames);
    forEachCurve(*in, *out, voi, [&](const double* x, double* y) {
        for (unsigned t = 0; t < frames; ++t) {
            const unsigned lo = t >= h ? t - h : 0, hi = h >= frames - t ? frames - 1 : t + h;
            y[t] = Median::of(x + lo, hi - lo + 1, scratch.data());
        }
    });
}

double Median::of(const double* values, size_t n, double* scratch) {
    if (n == 0) return 0;
    if (n == 1) return values[0];
    std::copy(values, values + n, scratch);
    const size_t k = n / 2;
    std::nth_element(scratch, scratch + k, scratch + n);
    if (n % 2 == 1) return scratch[k];
    // Below the k-th all are at most it: the (k-1)-th is their largest.
    return 0.5 * (scratch[k] + *std::max_element(scratch, scratch + k));
}

double Median::compute() {
    scratch_.assign(window_.begin(), window_.end());
    std::vector<double> sorted(scratch_.size());
    return of(scratch_.data(), scratch_.size(), sorted.data());
}

// ---- Principal components ----

template <class T>
void normalizeT(Dataset4D<T>& data, const VOI* voi, bool scale) {
    const unsigned frames = data.getDimensionT();
    forEachCurve(data, data, voi, [&](const double* x, double* y) {
        double sum = 0;
        for (unsigned t = 0; t < frames; ++t) sum += x[t];
        const double m = sum / frames;
        double s = 1;
        if (scale) {
            double squares = 0;
            for (unsigned t = 0; t < frames; ++t) squares += (x[t] - m) * (x[t] - m);
            s = std::sqrt(squares / frames);
        }
        for (unsigned t = 0; t < frames; ++t) y[t] = s > 0 ? (x[t] - m) / s : 0;
    });
}

template <class T>
Dataset2D<double>* corr(const Dataset4D<T>& data, const VOI* voi) {
    const unsigned frames = data.getDimensionT(), voxels = data.getVolumeSize();
    auto* C = new Dataset2D<double>(frames, frames, 0.0);
    if (frames == 0) return C;
    std::vector<double> lag(frames, 0.0), v(frames);
    const unsigned char* mask = voi != nullptr ? voi->getData() : nullptr;
    unsigned count = 0;
    for (unsigned i = 0; i < voxels; ++i) {
        if (mask != nullptr && mask[i] == 0) continue;
        ++count;
        for (unsigned t = 0; t < frames; ++t) v[t] = double(data(t, i));
        for (unsigned d = 0; d < frames; ++d) {
            double sum = 0;
            for (unsigned t = 0; t + d < frames; ++t) sum += v[t] * v[t + d];
            lag[d] += sum;
        }
    }
    for (unsigned i = 0; i < frames; ++i)
        for (unsigned j = 0; j < frames; ++j) (*C)(i, j) = lag[i > j ? i - j : j - i];
    // No voxel: the sums stay 0 rather than become 0/0.
    if (count > 0) *C /= double(count);
    return C;
}

bool eigen(const Dataset2D<double>& matrix, std::vector<double>* values, Dataset2D<double>* vectors) {
    const unsigned n = matrix.getDimensionX();
    if (n != matrix.getDimensionY()) {
        ERROR("EigenvaluesAndVectors (): input data matrix not square");
        return false;
    }
    if (values != nullptr) values->clear();
    if (n == 0) return true;
    double** a = dmatrix(1, n, 1, n);
    double** v = dmatrix(1, n, 1, n);
    double* d = dvector(1, n);
    if (a != nullptr && v != nullptr && d != nullptr) {
        for (unsigned i = 0; i < n; ++i)
            for (unsigned j = 0; j < n; ++j) a[i + 1][j + 1] = matrix(i, j);
        int rotations = 0;
        jacobi(a, int(n), d, v, &rotations);
        eigsrt(d, v, int(n));
        if (values != nullptr) values->assign(d + 1, d + n + 1);
        if (vectors != nullptr) {
            vectors->resize(n, n);
            for (unsigned i = 0; i < n; ++i)
                for (unsigned j = 0; j < n; ++j) (*vectors)(i, j) = v[i + 1][j + 1];
        }
    }
    free_dvector(d, 1, n);
    free_dmatrix(v, 1, n, 1, n);
    free_dmatrix(a, 1, n, 1, n);
    return true;
}

std::vector<double> operator*(const std::vector<double>& v, const Dataset2D<double>& M) {
    const unsigned rows = M.getDimensionX(), columns = M.getDimensionY();
    std::vector<double> result(rows, 0.0);
    for (unsigned i = 0; i < rows; ++i)
        for (unsigned j = 0; j < columns && j < v.size(); ++j) result[i] += M(i, j) * v[j];
    return result;
}

// The curves, their means removed, expressed on the eigenvectors of their lag
// correlation in descending eigenvalue order: frame i of a voxel becomes the
// scalar product of eigenvector i with its curve, that is E^T times the
// curve, E holding the eigenvectors as columns. n is not used.
template <class T>
void Filter::tpca(Dataset4D<T>* in, Dataset4D<T>* out, unsigned, VOI* voi) {
    const bool dump = _MessageHelper::enabled(1);
    MESSAGE(1, "Filter::tpca()\n");
    *out = *in;
    MESSAGE(1, "  time normalization\n");
    normalizeT(*out, voi, false);
    if (dump) std::cout << *out;
    MESSAGE(1, "  correlation\n");
    std::unique_ptr<Dataset2D<double>> C(corr(*out, voi));
    C->setName(out->getName() + "_corr");
    if (dump) std::cout << *C;
    MESSAGE(1, "  eigen analysis\n");
    std::vector<double> values;
    Dataset2D<double> E;
    eigen(*C, &values, &E);
    E.setName("eigenVector");
    if (dump) std::cout << E;
    const unsigned frames = out->getDimensionT();
    if (E.getDimensionX() != frames) return;
    forEachCurve(*out, *out, nullptr, [&](const double* x, double* y) {
        for (unsigned i = 0; i < frames; ++i) {
            double sum = 0;
            for (unsigned j = 0; j < frames; ++j) sum += E(j, i) * x[j];
            y[i] = sum;
        }
    });
}

#define KINETRA_FILTER_TIME(T, NAME, CLASS_ID)                                                           \
    template void Filter::savgol<T>(Dataset4D<T>*, Dataset4D<T>*, unsigned, unsigned, unsigned, VOI*);   \
    template void Filter::tmean<T>(Dataset4D<T>*, Dataset4D<T>*, unsigned, VOI*);                        \
    template void Filter::tmedian<T>(Dataset4D<T>*, Dataset4D<T>*, unsigned, VOI*);                      \
    template void Filter::tpca<T>(Dataset4D<T>*, Dataset4D<T>*, unsigned, VOI*);                         \
    template void normalizeT<T>(Dataset4D<T>&, const VOI*, bool);                                        \
    template Dataset2D<double>* corr<T>(const Dataset4D<T>&, const VOI*);
KINETRA_ELEMENT_TYPES(KINETRA_FILTER_TIME)
#undef KINETRA_FILTER_TIME
