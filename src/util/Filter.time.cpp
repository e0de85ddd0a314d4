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
#include "util/Threads.h"

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

// The curves of up to kBlock voxels at a time, frame-major (value t of voxel
// j at t * kBlock + j), so that the lag sums and the projection of the
// components run over contiguous values, which the compiler vectorises.
constexpr unsigned kBlock = 64;

namespace {

// The two block kernels below are built twice on x86-64, for AVX2 and for
// the baseline, and the loader picks the one the processor runs. Products
// and sums stay separate operations in the same order (no fused multiply-add
// is enabled), so both builds give the same bits.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define KINETRA_BLOCK_KERNEL __attribute__((target_clones("avx2", "default")))
#else
#define KINETRA_BLOCK_KERNEL
#endif

// p[j] += a[j] * b[j] over a whole block: a fixed length and unaliased
// arguments, so that the compiler vectorises it.
KINETRA_BLOCK_KERNEL
void addProducts(double* __restrict p, const double* __restrict a, const double* __restrict b) {
    for (unsigned j = 0; j < kBlock; ++j) p[j] += a[j] * b[j];
}

// y(i, j) = sum over t ascending of E(t, i) x(t, j) for the block's voxels j,
// x and y frame-major, E(t, i) at e[i * frames + t].
KINETRA_BLOCK_KERNEL
void project(const double* __restrict e, unsigned frames, const double* __restrict x, double* __restrict y) {
    for (unsigned i = 0; i < frames; ++i) {
        double sum[kBlock] = {};
        const double* column = e + size_t(i) * frames;
        for (unsigned t = 0; t < frames; ++t) {
            const double et = column[t];
            const double* xt = x + size_t(t) * kBlock;
            for (unsigned j = 0; j < kBlock; ++j) sum[j] += et * xt[j];
        }
        std::copy(sum, sum + kBlock, y + size_t(i) * kBlock);
    }
}

}  // namespace

// The lag sums of curves given one at a time, kBlock curves at once:
// lag(d) = sum over curves and t of v(t) v(t + d), and the matrix
// C(i, j) = lag(|i - j|) / count.
class LagSums {
public:
    explicit LagSums(unsigned frames)
        : frames_(frames), lag_(frames, 0.0), block_(size_t(frames) * kBlock), partial_(kBlock) {}
    // Value t of the next curve.
    double& value(unsigned t) { return block_[size_t(t) * kBlock + filled_]; }
    // The next curve is complete.
    void next() {
        ++count_;
        if (++filled_ == kBlock) flush();
    }
    Dataset2D<double>* matrix() {
        if (filled_ > 0) flush();
        auto* C = new Dataset2D<double>(frames_, frames_, 0.0);
        for (unsigned i = 0; i < frames_; ++i)
            for (unsigned j = 0; j < frames_; ++j) (*C)(i, j) = lag_[i > j ? i - j : j - i];
        // No curve: the sums stay 0 rather than become 0/0.
        if (count_ > 0) *C /= double(count_);
        return C;
    }

private:
    // One partial sum per curve slot; slots past the last curve hold 0 and
    // add nothing, and whole blocks keep the loops of a fixed length.
    void flush() {
        for (unsigned t = 0; t < frames_; ++t)
            std::fill(block_.begin() + size_t(t) * kBlock + filled_, block_.begin() + size_t(t + 1) * kBlock, 0.0);
        for (unsigned d = 0; d < frames_; ++d) {
            double* p = partial_.data();
            std::fill(p, p + kBlock, 0.0);
            for (unsigned t = 0; t + d < frames_; ++t)
                addProducts(p, &block_[size_t(t) * kBlock], &block_[size_t(t + d) * kBlock]);
            double sum = 0;
            for (unsigned j = 0; j < filled_; ++j) sum += p[j];
            lag_[d] += sum;
        }
        filled_ = 0;
    }

    unsigned frames_, filled_ = 0, count_ = 0;
    std::vector<double> lag_, block_, partial_;
};

template <class T>
Dataset2D<double>* corr(const Dataset4D<T>& data, const VOI* voi) {
    const unsigned frames = data.getDimensionT(), voxels = data.getVolumeSize();
    LagSums sums(frames);
    const unsigned char* mask = voi != nullptr ? voi->getData() : nullptr;
    for (unsigned i = 0; i < voxels && frames > 0; ++i) {
        if (mask != nullptr && mask[i] == 0) continue;
        for (unsigned t = 0; t < frames; ++t) sums.value(t) = double(data(t, i));
        sums.next();
    }
    return sums.matrix();
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
    // Every value of the result is written by the projection below; with the
    // report on, the normalised curves are stored in it first to be shown.
    out->copyLayout(*in);
    MESSAGE(1, "  time normalization\n");
    // normalizeT(voi, false) and the lag sums of corr(voi) in one pass: each
    // curve in the VOI loses its mean and its stored values are summed. The
    // means are kept, so that the projection reads the input once more
    // instead of a normalised copy. The curves are read a block of voxels at
    // a time, each frame's part of the block in one run.
    const unsigned frames = out->getDimensionT(), voxels = out->getVolumeSize();
    std::vector<const T*> source(frames);
    std::vector<T*> frame(frames);
    for (unsigned t = 0; t < frames; ++t) {
        source[t] = (*in)(t).getData();
        frame[t] = (*out)(t).getData();
    }
    std::vector<double> x(size_t(frames) * kBlock);
    std::vector<double> mean(voxels, 0.0);
    LagSums sums(frames);
    const unsigned char* mask = voi != nullptr ? voi->getData() : nullptr;
    // The block's curves of the input, with the mean removed inside the VOI
    // and each value taken as the element type stores it.
    auto load = [&](double* x, unsigned first, unsigned filled, bool centred) {
        for (unsigned t = 0; t < frames; ++t)
            for (unsigned j = 0; j < filled; ++j) x[size_t(t) * kBlock + j] = double(source[t][first + j]);
        for (unsigned j = 0; j < filled; ++j) {
            if (mask != nullptr && mask[first + j] == 0) continue;
            if (!centred) {
                double sum = 0;
                for (unsigned t = 0; t < frames; ++t) sum += x[size_t(t) * kBlock + j];
                mean[first + j] = sum / frames;
            }
            const double m = mean[first + j];
            for (unsigned t = 0; t < frames; ++t) {
                double& v = x[size_t(t) * kBlock + j];
                v = double(fromDouble<T>(v - m));  // the value as stored
            }
        }
    };
    for (unsigned first = 0; first < voxels && frames > 0; first += kBlock) {
        const unsigned filled = std::min(kBlock, voxels - first);
        load(x.data(), first, filled, false);
        for (unsigned j = 0; j < filled; ++j) {
            if (mask != nullptr && mask[first + j] == 0) continue;
            for (unsigned t = 0; t < frames; ++t) sums.value(t) = x[size_t(t) * kBlock + j];
            sums.next();
        }
        if (dump)
            for (unsigned t = 0; t < frames; ++t)
                for (unsigned j = 0; j < filled; ++j) frame[t][first + j] = fromDouble<T>(x[size_t(t) * kBlock + j]);
    }
    if (dump) std::cout << *out;
    MESSAGE(1, "  correlation\n");
    std::unique_ptr<Dataset2D<double>> C(sums.matrix());
    C->setName(out->getName() + "_corr");
    if (dump) std::cout << *C;
    MESSAGE(1, "  eigen analysis\n");
    std::vector<double> values;
    Dataset2D<double> E;
    eigen(*C, &values, &E);
    E.setName("eigenVector");
    if (dump) std::cout << E;
    if (E.getDimensionX() != frames) {
        *out = *in;  // no projection: the input as it came
        return;
    }
    // y(i) = sum over t of E(t, i) x(t) for every voxel, a block at a time,
    // the blocks shared among threads: each writes only its own voxels, from
    // buffers of its own made here, so the result is the same for any count.
    const unsigned blocks = (voxels + kBlock - 1) / kBlock;
    const unsigned threads = std::max(1u, std::min(threadCount(), blocks));
    std::vector<std::vector<double>> xs(threads, std::vector<double>(size_t(frames) * kBlock));
    std::vector<std::vector<double>> ys(threads, std::vector<double>(size_t(frames) * kBlock));
    const double* e = frames > 0 ? &E(0, 0) : nullptr;
    parallelFor(blocks, threads, 64, [&](unsigned part, unsigned begin, unsigned end) {
        double* xb = xs[part].data();
        double* yb = ys[part].data();
        for (unsigned b = begin; b < end; ++b) {
            const unsigned first = b * kBlock, filled = std::min(kBlock, voxels - first);
            load(xb, first, filled, true);
            // Slots past the block's last voxel are computed and not used.
            project(e, frames, xb, yb);
            for (unsigned t = 0; t < frames; ++t)
                for (unsigned j = 0; j < filled; ++j) frame[t][first + j] = fromDouble<T>(yb[size_t(t) * kBlock + j]);
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
