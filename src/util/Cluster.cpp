// Cluster: k-means and the one-pass assignment of samples to means, and the
// label images of volumes and series.
#include "util/Cluster.h"

#include <cmath>
#include <cstdio>
#include <iostream>
#include <limits>
#include <utility>

#include "Dataset.visit.h"
#include "VOI.h"
#include "util/Message.h"

namespace {

// Looks a name up in a table of {name, member} rows: stores the name and the
// member, or clears both and answers false.
template <class Member, size_t N>
bool choose(const std::pair<const char*, Member> (&rows)[N], const std::string& name, std::string* chosen,
            Member* member) {
    for (const auto& row : rows)
        if (name == row.first) {
            *chosen = name;
            *member = row.second;
            return true;
        }
    chosen->clear();
    *member = nullptr;
    return false;
}

}  // namespace

Cluster::Cluster(unsigned k) {
    setNumCluster(k);
    setMethod("k-means");
    setDistance("L2");
}

void Cluster::setMethod(const std::string& name) {
    using Run = int (Cluster::*)();
    const std::pair<const char*, Run> rows[] = {
        {"k-means", &Cluster::kmeans}, {"threshold", &Cluster::threshold}, {"mean", &Cluster::threshold}};
    if (!choose(rows, name, &method_, &run_)) ERROR("unknown cluster method '%s", name.c_str());
}

void Cluster::setDistance(const std::string& name) {
    using Distance = double (Cluster::*)(const double*, const double*) const;
    const std::pair<const char*, Distance> rows[] = {{"L1", &Cluster::distanceL1},
                                                     {"L2", &Cluster::distanceL2},
                                                     {"WL1", &Cluster::distanceWL1},
                                                     {"WL2", &Cluster::distanceWL2}};
    if (!choose(rows, name, &distanceName_, &distance_)) ERROR("unknown distance function '%s'", name.c_str());
}

void Cluster::setNumCluster(unsigned k) {
    // A label is one byte and the image adds 1.
    if (k > 255) {
        ERROR("more than 255 clusters not supported!");
        return;
    }
    K_ = k;
    thresholds_.resize(k);
    for (unsigned i = 0; i < k; ++i) thresholds_[i] = (i + 0.5) / k;
}

void Cluster::setThreshold(const std::vector<double>& thresholds) {
    if (thresholds.size() != K_) {
        ERROR("threshold size (%d) != number of clusters (%d)", int(thresholds.size()), int(K_));
        return;
    }
    for (unsigned i = 0; i < K_; ++i) {
        if (thresholds[i] >= 0 && thresholds[i] <= 1)
            thresholds_[i] = thresholds[i];
        else
            WARNING("invalid threshold value thresh[%d] = %g", int(i), thresholds[i]);
    }
}

void Cluster::setMean(unsigned k, const std::vector<double>& mean) {
    if (k >= K_) {
        ERROR("Cluster::setMean() invalid cluster index %d", int(k));
        return;
    }
    if (mean.size() != D_) {
        ERROR("Cluster::setMean() invalid mean vector size %d", int(mean.size()));
        return;
    }
    if (means_.size() != size_t(K_) * D_) means_.assign(size_t(K_) * D_, 0.0);
    std::copy(mean.begin(), mean.end(), means_.begin() + size_t(k) * D_);
}

std::vector<double> Cluster::getMean(unsigned k) const {
    if (k >= K_) {
        ERROR("Cluster::getMean () invalid cluster index %d", int(k));
        return {};
    }
    if (means_.size() != size_t(K_) * D_) return std::vector<double>(D_, 0.0);
    return std::vector<double>(means_.begin() + size_t(k) * D_, means_.begin() + size_t(k + 1) * D_);
}

// ---- Distances ----

double Cluster::distanceL1(const double* a, const double* b) const {
    double sum = 0;
    for (unsigned i = 0; i < D_; ++i) sum += std::fabs(a[i] - b[i]);
    return sum;
}

double Cluster::distanceL2(const double* a, const double* b) const {
    double sum = 0;
    for (unsigned i = 0; i < D_; ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum;
}

double Cluster::distanceWL1(const double* a, const double* b) const {
    double sum = 0;
    for (unsigned i = 0; i < D_; ++i) sum += weights_[i] * std::fabs(a[i] - b[i]);
    return sum;
}

double Cluster::distanceWL2(const double* a, const double* b) const {
    double sum = 0;
    for (unsigned i = 0; i < D_; ++i) sum += weights_[i] * (a[i] - b[i]) * (a[i] - b[i]);
    return sum;
}

// ---- The methods ----

int Cluster::compute(const double* samples, int n, int d) {
    if (samples == nullptr || n < 0 || d < 0) return -1;
    samples_ = samples;
    N_ = unsigned(n);
    D_ = unsigned(d);
    if (!init()) return -1;
    return (this->*run_)();
}

bool Cluster::ready() const {
    if (K_ == 0) {
        ERROR("no clusters to compute");
        return false;
    }
    if (run_ == nullptr) {
        ERROR("no cluster method");
        return false;
    }
    return true;
}

bool Cluster::init() {
    if (!ready()) return false;
    if (method_ != "mean") {
        // mean(k, d) = min[d] + (max[d] - min[d]) * thresholds[k]
        means_.assign(size_t(K_) * D_, 0.0);
        for (unsigned d = 0; d < D_ && N_ > 0; ++d) {
            double lo = samples_[d], hi = samples_[d];
            for (unsigned s = 1; s < N_; ++s) {
                const double v = samples_[size_t(s) * D_ + d];
                if (v < lo) lo = v;
                if (v > hi) hi = v;
            }
            for (unsigned k = 0; k < K_; ++k) means_[size_t(k) * D_ + d] = lo + (hi - lo) * thresholds_[k];
        }
    } else if (means_.size() != size_t(K_) * D_) {
        ERROR("Cluster::init () no means set for %d clusters of %d values", int(K_), int(D_));
        return false;
    }
    labels_.assign(N_, 0);
    counts_.assign(K_, 0);
    setDistance(distanceName_);
    if (distance_ == nullptr) return false;
    if (distanceName_[0] == 'W' && weights_.size() != D_) weights_.assign(D_, 1.0);
    return true;
}

unsigned Cluster::classify(std::vector<double>& scratch) {
    unsigned changes = 0;
    // The nearest cluster so far; kept from sample to sample, so a sample at
    // no distance below 1e15 (or NaN) takes the previous one's, the first
    // sample cluster 0.
    unsigned nearest = 0;
    for (unsigned s = 0; s < N_; ++s) {
        const double* sample = samples_ + size_t(s) * D_;
        double best = 1e15;
        for (unsigned k = 0; k < K_; ++k) {
            scratch[k] = (this->*distance_)(sample, means_.data() + size_t(k) * D_);
            if (scratch[k] < best) {  // strictly: ties go to the lowest index
                best = scratch[k];
                nearest = k;
            }
        }
        if (labels_[s] != nearest) {
            labels_[s] = static_cast<unsigned char>(nearest);
            ++changes;
        }
    }
    return changes;
}

int Cluster::threshold() {
    std::vector<double> scratch(K_);
    classify(scratch);
    count();
    return 0;
}

int Cluster::kmeans() {
    std::vector<double> scratch(K_), sums(size_t(K_) * D_);
    unsigned changes = classify(scratch);
    iterations_ = 0;
    while (maxIterations_ != 0) {
        std::fill(sums.begin(), sums.end(), 0.0);
        std::fill(counts_.begin(), counts_.end(), 0u);
        for (unsigned s = 0; s < N_; ++s) {
            const double* sample = samples_ + size_t(s) * D_;
            double* sum = sums.data() + size_t(labels_[s]) * D_;
            for (unsigned d = 0; d < D_; ++d) sum[d] += sample[d];
            ++counts_[labels_[s]];
        }
        for (unsigned k = 0; k < K_; ++k)
            for (unsigned d = 0; d < D_; ++d) {
                const size_t at = size_t(k) * D_ + d;
                means_[at] = counts_[k] > 0 ? sums[at] / counts_[k] : 0.0;  // an emptied cluster goes to 0
            }
        changes = classify(scratch);
        ++iterations_;
        if (iterations_ >= maxIterations_ || changes == 0) break;
    }
    int result = 0;
    if (iterations_ == maxIterations_ && changes != 0) {
        WARNING("kmeans did not converge after maximum iterations");
        result = -2;
    }
    count();
    return result;
}

void Cluster::count() {
    counts_.assign(K_, 0);
    for (unsigned s = 0; s < N_; ++s) ++counts_[labels_[s]];
}

void Cluster::status(std::ostream& out) const {
    const std::string rule(78, '=');
    char buffer[64];
    out << "Cluster iteration " << iterations_ << " \n" << "CLUSTER SAMPLES MEAN\n" << rule << "\n";
    for (unsigned k = 0; k < K_; ++k) {
        std::snprintf(buffer, sizeof buffer, "  %3d  ", int(k));
        out << buffer;
        std::snprintf(buffer, sizeof buffer, "%8d", int(k < counts_.size() ? counts_[k] : 0));
        out << buffer;
        for (unsigned d = 0; d < D_ && size_t(k + 1) * D_ <= means_.size(); ++d) {
            std::snprintf(buffer, sizeof buffer, " %g", means_[size_t(k) * D_ + d]);
            out << buffer;
        }
        out << " \n";
    }
    std::snprintf(buffer, sizeof buffer, "%8d", int(N_));
    out << rule << "\n" << "  ALL  " << buffer << " \n";
}

// ---- Label images ----

Dataset3D<unsigned char>* Cluster::compute(const Dataset* data, const VOI* voi) {
    if (data == nullptr) return nullptr;
    voi_ = voi;
    MESSAGE(1, "%dD %s clustering with %s-distance", int(data->getNumDimensions()), method_.c_str(),
            distanceName_.c_str());
    if (voi != nullptr) MESSAGE(1, " on VOI '%s' (%d)", voi->getName().c_str(), int(voi->numActive()));
    MESSAGE(1, " \n");
    if (voi != nullptr && (voi->getDimensionX() != data->getDimensionX() ||
                           voi->getDimensionY() != data->getDimensionY() ||
                           voi->getDimensionZ() != data->getDimensionZ())) {
        ERROR("VOI grid %ux%ux%u differs from the data's %ux%ux%u", voi->getDimensionX(), voi->getDimensionY(),
              voi->getDimensionZ(), data->getDimensionX(), data->getDimensionY(), data->getDimensionZ());
        return nullptr;
    }
    Dataset3D<unsigned char>* labels = nullptr;
    visitDataset(*data, [&](const auto& d) {
        using D = std::remove_const_t<std::remove_reference_t<decltype(d)>>;
        if constexpr (DatasetClass<D>::dimensions != 2) labels = compute(&d);
    });
    return labels;
}

template <class T>
Dataset3D<unsigned char>* Cluster::compute(const Dataset3D<T>* data) {
    return computeImage(*data, 1, [data](unsigned i, unsigned) { return double((*data)(i)); });
}

template <class T>
Dataset3D<unsigned char>* Cluster::compute(const Dataset4D<T>* data) {
    return computeImage(*data, data->getDimensionT(), [data](unsigned i, unsigned t) { return double((*data)(t, i)); });
}

template <class Data, class Value>
Dataset3D<unsigned char>* Cluster::computeImage(const Data& data, unsigned D, Value value) {
    if (!ready()) return nullptr;
    const unsigned n = data.getVolumeSize();
    const unsigned char* mask = voi_ != nullptr ? voi_->getData() : nullptr;
    // A voxel is a sample if it is active and all its values are finite: a
    // NaN would make every distance NaN and its cluster's mean NaN.
    auto isSample = [&](unsigned i) {
        if (mask != nullptr && mask[i] == 0) return false;
        for (unsigned d = 0; d < D; ++d)
            if (!std::isfinite(value(i, d))) return false;
        return true;
    };
    std::vector<double> samples;
    unsigned skipped = 0;
    unsigned N = mask != nullptr ? voi_->numActive() : n;
    samples.reserve(size_t(N) * D);
    for (unsigned i = 0; i < n; ++i) {
        if (mask != nullptr && mask[i] == 0) continue;
        if (!isSample(i)) {
            ++skipped;
            continue;
        }
        for (unsigned d = 0; d < D; ++d) samples.push_back(value(i, d));
    }
    if (skipped > 0) WARNING("%d voxels with NaN or infinite values are not clustered\n", int(skipped));
    N -= skipped;

    samples_ = samples.data();
    N_ = N;
    D_ = D;
    if (!init()) return nullptr;
    if (_MessageHelper::enabled(2)) status(std::cout);
    if ((this->*run_)() != 0) return nullptr;

    auto* labels = new Dataset3D<unsigned char>(data.getDimensionX(), data.getDimensionY(), data.getDimensionZ(), 0);
    unsigned s = 0;
    for (unsigned i = 0; i < n; ++i)
        if (isSample(i)) (*labels)(i) = static_cast<unsigned char>(labels_[s++] + 1);
    samples_ = nullptr;  // the gathered samples end with this call
    return labels;
}

#define KINETRA_CLUSTER_INSTANCES(T, NAME, CLASS_ID)                                 \
    template Dataset3D<unsigned char>* Cluster::compute<T>(const Dataset3D<T>*);    \
    template Dataset3D<unsigned char>* Cluster::compute<T>(const Dataset4D<T>*);
KINETRA_ELEMENT_TYPES(KINETRA_CLUSTER_INSTANCES)
#undef KINETRA_CLUSTER_INSTANCES
