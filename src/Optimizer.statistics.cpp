// The optimizer's statistics: chi-square and covariance of a voxel and of the
// VOI mean curve, the goodness-of-fit maps and the correlation matrix.
//
// All of it compares in normal units: data d = v * u_d, error e = v_e * u_e
// (1 without an error dataset), model m = f * u_m, and
//     chi-square = sum over frames of ((m - d) / e)^2.
// The covariance is c * inverse(A), with the weighted normal matrix
//     A(i, j) = sum over frames of (df/dp_i u_m) (df/dp_j u_m) / e^2
// and c = chi-square / (T - P), the reduced chi-square: the errors scale
// with the quality of the fit.
#include <cmath>
#include <limits>
#include <memory>

#include "Dataset.visit.h"
#include "Dataset4D.h"
#include "Optimizable.h"
#include "Optimizer.h"
#include "VOI.h"
#include "util/Message.h"
#include "util/NumUtil.h"

// ---------------------------------------------------------------------------
// Matrix helpers

void Matrix1::resize(unsigned rows, unsigned cols) {
    block_.assign(static_cast<size_t>(rows + 1) * (cols + 1), 0.0);
    rows_.resize(rows + 1);
    for (unsigned i = 0; i <= rows; ++i) rows_[i] = block_.data() + static_cast<size_t>(i) * (cols + 1);
}

void Matrix1::zero() {
    for (double& v : block_) v = 0.0;
}

bool invertMatrix(Matrix1& a, unsigned n) {
    if (gaussj(a.rows(), static_cast<int>(n), nullptr, 0) == 0) return true;
    for (unsigned i = 1; i <= n; ++i)
        for (unsigned j = 1; j <= n; ++j) a[i][j] = std::numeric_limits<double>::quiet_NaN();
    return false;
}

// ---------------------------------------------------------------------------
// Chi-square and covariance

namespace {

// One frame's term of A(i, j): the frame's derivatives row[i] row[j], over
// e^2 when there are errors (without, the division by 1 is left out: it
// changes no bit).
inline double normalTerm(const double* row, unsigned i, unsigned j, const double* e, unsigned t) {
    return e != nullptr ? row[i] * row[j] / (e[t] * e[t]) : row[i] * row[j];
}

// The lower triangle of A[1..P][1..P] plus the sums over the frames of the
// terms, every sum taken in frame order; P known here, so that the sums sit
// in registers and their additions overlap instead of waiting on each other.
template <unsigned P>
void normalSums(const double* dv, const double* e, unsigned T, Matrix1& A) {
    double sum[P * (P + 1) / 2];
    unsigned k = 0;
    for (unsigned i = 0; i < P; ++i)
        for (unsigned j = 0; j <= i; ++j) sum[k++] = A[i + 1][j + 1];
    for (unsigned t = 0; t < T; ++t, dv += P) {
        k = 0;
        for (unsigned i = 0; i < P; ++i)
            for (unsigned j = 0; j <= i; ++j) sum[k++] += normalTerm(dv, i, j, e, t);
    }
    k = 0;
    for (unsigned i = 0; i < P; ++i)
        for (unsigned j = 0; j <= i; ++j) A[i + 1][j + 1] = sum[k++];
}

}  // namespace

double Optimizer::normalEquations(Optimizable* model, unsigned x, unsigned y, unsigned z, const double* d,
                                  const double* e, Matrix1& A, const double* values,
                                  const double* derivatives) const {
    const unsigned P = static_cast<unsigned>(fitted_.size());
    const unsigned T = static_cast<unsigned>(times_.size());
    const double um = model_->getUnit().getFactor();
    // First every frame's residual and derivatives (dv[t P + i] = df/dp_i
    // u_m), then the sums of the normal matrix over the frames.
    derivatives_.resize(static_cast<size_t>(T) * P);
    double* dv = derivatives_.data();
    double chi = 0.0;
    for (unsigned t = 0; t < T; ++t) {
        const double tm = times_[t];
        const double f = values != nullptr ? values[t] : (*model)(tm, x, y, z);
        // Without errors the divisions by e = 1 are left out: they change no bit.
        double r = f * um - d[t];
        if (e != nullptr) r /= e[t];
        chi += r * r;
        for (unsigned i = 0; i < P; ++i) {
            const double df = derivatives != nullptr ? derivatives[static_cast<size_t>(t) * P + i]
                                                     : model->derByIndex(fitted_[i].index, tm, x, y, z);
            dv[static_cast<size_t>(t) * P + i] = df * um;
        }
    }
    switch (P) {
        case 1: normalSums<1>(dv, e, T, A); break;
        case 2: normalSums<2>(dv, e, T, A); break;
        case 3: normalSums<3>(dv, e, T, A); break;
        case 4: normalSums<4>(dv, e, T, A); break;
        case 5: normalSums<5>(dv, e, T, A); break;
        case 6: normalSums<6>(dv, e, T, A); break;
        default:
            for (unsigned i = 0; i < P; ++i)
                for (unsigned j = 0; j <= i; ++j) {
                    double sum = A[i + 1][j + 1];
                    for (unsigned t = 0; t < T; ++t) sum += normalTerm(dv + static_cast<size_t>(t) * P, i, j, e, t);
                    A[i + 1][j + 1] = sum;
                }
            break;
    }
    for (unsigned i = 1; i <= P; ++i)
        for (unsigned j = 1; j < i; ++j) A[j][i] = A[i][j];
    return chi;
}

void Optimizer::scaleAndInvert(Matrix1& A, double c) const {
    const unsigned P = static_cast<unsigned>(fitted_.size());
    for (unsigned i = 1; i <= P; ++i)
        for (unsigned j = 1; j <= P; ++j) A[i][j] /= c;
    invertMatrix(A, P);
}

double Optimizer::computeChiSquare(unsigned x, unsigned y, unsigned z) const {
    if (data_ == nullptr) {
        ERROR("no data set");
        return 0.0;
    }
    if (model_ == nullptr) return 0.0;
    refreshTimes();
    const double ud = data_->getUnit().getFactor();
    const double ue = error_ != nullptr ? error_->getUnit().getFactor() : 1.0;
    const double um = model_->getUnit().getFactor();
    double chi = 0.0;
    for (unsigned t = 0; t < times_.size(); ++t) {
        const double d = data_->getValue4D(t, x, y, z) * ud;
        const double e = error_ != nullptr ? error_->getValue4D(t, x, y, z) * ue : 1.0;
        const double m = (*model_)(times_[t], x, y, z) * um;
        chi += ((m - d) / e) * ((m - d) / e);
    }
    return chi;
}

bool Optimizer::voxelCovariance(unsigned x, unsigned y, unsigned z, const double* values,
                                const double* derivatives) const {
    const unsigned P = static_cast<unsigned>(fitted_.size());
    voxelCovariance_.resize(P, P);
    if (data_ == nullptr) {
        // Once for the chi-square and once for the matrix, as the two steps
        // of the covariance report it.
        ERROR("no data set");
        ERROR("no data set");
        return false;
    }
    if (model_ == nullptr) return false;
    const unsigned T = static_cast<unsigned>(times_.size());
    const double ud = data_->getUnit().getFactor();
    const double ue = error_ != nullptr ? error_->getUnit().getFactor() : 1.0;
    // The curves getCurve read for this voxel, or read here.
    if (!heldData_.holds(x, y, z) || curveData_.size() != T) {
        curveData_.resize(T);
        readCurve(*data_, x, y, z, curveData_.data(), T);
        for (unsigned t = 0; t < T; ++t) curveData_[t] *= ud;
    }
    if (error_ != nullptr && (!heldError_.holds(x, y, z) || curveError_.size() != T)) {
        curveError_.resize(T);
        readCurve(*error_, x, y, z, curveError_.data(), T);
        for (unsigned t = 0; t < T; ++t) curveError_[t] *= ue;
    }
    heldData_ = heldError_ = HeldCurve();
    const double chi = normalEquations(model_, x, y, z, curveData_.data(),
                                       error_ != nullptr ? curveError_.data() : nullptr, voxelCovariance_, values,
                                       derivatives);
    scaleAndInvert(voxelCovariance_, chi / (static_cast<double>(T) - P));
    return true;
}

Dataset2D<double> Optimizer::computeCovariance(unsigned x, unsigned y, unsigned z) const {
    const unsigned P = static_cast<unsigned>(fitted_.size());
    Dataset2D<double> result(P, P, 0.0);
    refreshTimes();
    if (!voxelCovariance(x, y, z)) return result;
    for (unsigned i = 0; i < P; ++i)
        for (unsigned j = 0; j < P; ++j) result(i, j) = voxelCovariance_[i + 1][j + 1];
    return result;
}

namespace {

// The region of a VOI-level figure: the VOI, or all voxels of the data.
const VOI* regionOf(const VOI* voi, const Dataset* data, std::unique_ptr<VOI>& whole) {
    if (voi != nullptr) return voi;
    whole.reset(new VOI(data->getDimensionX(), data->getDimensionY(), data->getDimensionZ(), 1));
    return whole.get();
}

// The mean curve of a dataset over the region, times its unit factor.
std::vector<double> meanCurve(const VOI& region, const Dataset* data, unsigned T) {
    std::vector<double> curve(T, 1.0);
    if (data == nullptr) return curve;
    const Dataset4D<double> mean = region.mean(data);
    const double factor = data->getUnit().getFactor();
    for (unsigned t = 0; t < T && t < mean.getDimensionT(); ++t) curve[t] = mean(t, 0, 0, 0) * factor;
    return curve;
}

}  // namespace

// The VOI-level curves: the mean data and error curves over the region (the
// VOI, or all voxels) in normal units, and the average model. The model is
// null without data (after the error line), without a model, or when it
// cannot be averaged.
struct Optimizer::RegionFit {
    std::vector<double> d, e;
    std::unique_ptr<Optimizable> average;
};

bool Optimizer::regionFit(VOI* voi, RegionFit& fit) const {
    if (data_ == nullptr) {
        ERROR("no data set");
        return false;
    }
    if (model_ == nullptr) return false;
    refreshTimes();
    const unsigned T = static_cast<unsigned>(times_.size());
    std::unique_ptr<VOI> whole;
    const VOI* region = regionOf(voi, data_, whole);
    fit.d = meanCurve(*region, data_, T);
    fit.e = meanCurve(*region, error_, T);
    fit.average.reset(model_->createAverage(region));
    return true;
}

void Optimizer::computeChiSquare(VOI* voi) {
    RegionFit fit;
    if (!regionFit(voi, fit)) return;
    chisquare_ = 0.0;
    if (!fit.average) return;
    const double um = model_->getUnit().getFactor();
    for (unsigned t = 0; t < times_.size(); ++t) {
        const double m = (*fit.average)(times_[t], 0, 0, 0) * um;
        chisquare_ += ((m - fit.d[t]) / fit.e[t]) * ((m - fit.d[t]) / fit.e[t]);
    }
}

void Optimizer::computeCovariance(VOI* voi) {
    const unsigned P = static_cast<unsigned>(fitted_.size());
    covariance_.resize(P, P);
    covariance_ = 0.0;
    RegionFit fit;
    if (!regionFit(voi, fit) || !fit.average) return;
    Matrix1 A;
    A.resize(P, P);
    normalEquations(fit.average.get(), 0, 0, 0, fit.d.data(), fit.e.data(), A);
    scaleAndInvert(A, chisquare_ / (static_cast<double>(times_.size()) - P));
    for (unsigned i = 0; i < P; ++i)
        for (unsigned j = 0; j < P; ++j) covariance_(i, j) = A[i + 1][j + 1];
}

Dataset2D<double> Optimizer::getCorr() const {
    Dataset2D<double> corr(covariance_);
    const unsigned P = covariance_.getDimensionX();
    for (unsigned i = 0; i < P; ++i)
        for (unsigned j = 0; j < P; ++j) corr(i, j) = covariance_(i, j) / std::sqrt(covariance_(i, i) * covariance_(j, j));
    return corr;
}

// ---------------------------------------------------------------------------
// Goodness of fit

void Optimizer::mapGrid(unsigned& X, unsigned& Y, unsigned& Z) const {
    const Dataset* grid = runMask_ != nullptr ? static_cast<const Dataset*>(runMask_.get())
                          : voi_ != nullptr  ? static_cast<const Dataset*>(voi_)
                                             : data_;
    X = grid != nullptr ? grid->getDimensionX() : 0;
    Y = grid != nullptr ? grid->getDimensionY() : 0;
    Z = grid != nullptr ? grid->getDimensionZ() : 0;
}

// Walks the grid x outermost, z innermost; the i-th active voxel takes record
// i (the order in which the methods fill them). Inactive voxels, and active
// ones beyond the records of the last run, stay 0.
template <class T, class F>
Dataset3D<T> Optimizer::fitMap(F f) const {
    unsigned X, Y, Z;
    mapGrid(X, Y, Z);
    Dataset3D<T> map(X, Y, Z, T(0));
    const double n = data_ != nullptr ? data_->getDimensionT() : 0.0;
    const double k = static_cast<double>(parameterIndex_.size());
    size_t record = 0;
    for (unsigned x = 0; x < X; ++x)
        for (unsigned y = 0; y < Y; ++y)
            for (unsigned z = 0; z < Z; ++z) {
                if (runMask_ != nullptr ? !inRunMask(x, y, z) : !isActive(x, y, z)) continue;
                if (record >= parameters_.size()) return map;
                map(x, y, z) = f(parameters_[record++], n, k, x, y, z);
            }
    return map;
}

Dataset3D<double> Optimizer::getChiSquareDOF() const {
    ASSERT((data_ != nullptr ? data_->getDimensionT() : 0) > parameterIndex_.size());
    return fitMap<double>([](const OptimizerParameters& r, double n, double k, unsigned, unsigned, unsigned) {
        return r.chisquare_ / (n - k);
    });
}

Dataset3D<double> Optimizer::getBIC() const {
    ASSERT((data_ != nullptr ? data_->getDimensionT() : 0) > parameterIndex_.size());
    return fitMap<double>([](const OptimizerParameters& r, double n, double k, unsigned, unsigned, unsigned) {
        return n * std::log(r.chisquare_ / n) + k * std::log(n);
    });
}

Dataset3D<double> Optimizer::getAIC() const {
    ASSERT((data_ != nullptr ? data_->getDimensionT() : 0) > parameterIndex_.size());
    return fitMap<double>([](const OptimizerParameters& r, double n, double k, unsigned, unsigned, unsigned) {
        return n * std::log(r.chisquare_ / n) + 2.0 * k;
    });
}

Dataset3D<double> Optimizer::getAICc() const {
    ASSERT((data_ != nullptr ? data_->getDimensionT() : 0) > parameterIndex_.size());
    return fitMap<double>([](const OptimizerParameters& r, double n, double k, unsigned, unsigned, unsigned) {
        return n * std::log(r.chisquare_ / n) + 2.0 * k + 2.0 * k * (k + 1.0) / (n - k - 1.0);
    });
}

// Deliberately the logarithm of chi / n, not chi / n itself.
Dataset3D<double> Optimizer::getFPE() const {
    ASSERT((data_ != nullptr ? data_->getDimensionT() : 0) > parameterIndex_.size());
    return fitMap<double>([](const OptimizerParameters& r, double n, double k, unsigned, unsigned, unsigned) {
        return std::log(r.chisquare_ / n) * (n + k + 1.0) / (n - k - 1.0);
    });
}

Dataset3D<double> Optimizer::getHannanQuinn() const {
    ASSERT((data_ != nullptr ? data_->getDimensionT() : 0) > parameterIndex_.size());
    return fitMap<double>([](const OptimizerParameters& r, double n, double k, unsigned, unsigned, unsigned) {
        return n * std::log(r.chisquare_ / n) + 2.0 * k * std::log(std::log(n));
    });
}

// S, the chi-square of the constant model: the voxel's mean data value
// against its data, weighted like the fit, in the model's unit.
double Optimizer::constantChiSquare(unsigned x, unsigned y, unsigned z) const {
    if (data_ == nullptr || model_ == nullptr) return 0.0;
    const unsigned T = data_->getDimensionT();
    const double um = model_->getUnit().getFactor();
    const double sd = data_->getUnit().getFactor() / um;
    const double se = error_ != nullptr ? error_->getUnit().getFactor() / um : 1.0;
    double mean = 0.0;
    for (unsigned t = 0; t < T; ++t) mean += data_->getValue4D(t, x, y, z) * sd;
    mean /= T;
    double S = 0.0;
    for (unsigned t = 0; t < T; ++t) {
        const double d = data_->getValue4D(t, x, y, z) * sd;
        const double e = error_ != nullptr ? error_->getValue4D(t, x, y, z) * se : 1.0;
        S += ((d - mean) / e) * ((d - mean) / e);
    }
    return S;
}

Dataset3D<double> Optimizer::getFTest() const {
    ASSERT((data_ != nullptr ? data_->getDimensionT() : 0) > parameterIndex_.size());
    ASSERT(parameterIndex_.size() > 1);
    return fitMap<double>([this](const OptimizerParameters& r, double n, double k, unsigned x, unsigned y, unsigned z) {
        const double S = constantChiSquare(x, y, z);
        return (S - r.chisquare_) * (n - k) / (k - 1.0) / r.chisquare_;
    });
}

Dataset3D<int> Optimizer::getNumIter() const {
    ASSERT((data_ != nullptr ? data_->getDimensionT() : 0) > parameterIndex_.size());
    return fitMap<int>(
        [](const OptimizerParameters& r, double, double, unsigned, unsigned, unsigned) { return r.numiter; });
}

Dataset3D<int> Optimizer::getExitFlag() const {
    ASSERT((data_ != nullptr ? data_->getDimensionT() : 0) > parameterIndex_.size());
    return fitMap<int>(
        [](const OptimizerParameters& r, double, double, unsigned, unsigned, unsigned) { return r.exitFlag_; });
}

Dataset3D<int> Optimizer::getRSC() const {
    ASSERT((data_ != nullptr ? data_->getDimensionT() : 0) > parameterIndex_.size());
    return fitMap<int>(
        [](const OptimizerParameters& r, double, double, unsigned, unsigned, unsigned) { return r.rsc_; });
}
