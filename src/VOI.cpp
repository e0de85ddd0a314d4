#include "VOI.h"

#include <algorithm>
#include <cmath>

#include "Dataset.visit.h"
#include "util/Message.h"

VOI::VOI() : Dataset3D<unsigned char>(1, 1, 1, 0) {}

VOI::VOI(unsigned x, unsigned y, unsigned z, unsigned char value)
    : Dataset3D<unsigned char>(x, y, z, value), initialActive_(value != 0 ? x * y * z : 0) {}

VOI& VOI::operator=(const VOI& other) {
    Dataset3D<unsigned char>::operator=(other);
    return *this;
}

VOI::~VOI() {}

unsigned VOI::numActive() const {
    const unsigned char* mask = getData();
    unsigned active = 0;
    for (unsigned i = 0, n = getVolumeSize(); i < n; ++i) active += mask[i] != 0;
    return active;
}

bool VOI::contains(const VOI& other) const {
    if (getDimensionX() != other.getDimensionX() || getDimensionY() != other.getDimensionY() ||
        getDimensionZ() != other.getDimensionZ()) {
        ERROR("VOI::contains() dimension mismatch '%s' (%dx%dx%d) versus '%s' (%dx%dx%d)", getName().c_str(),
              int(getDimensionX()), int(getDimensionY()), int(getDimensionZ()), other.getName().c_str(),
              int(other.getDimensionX()), int(other.getDimensionY()), int(other.getDimensionZ()));
        return false;
    }
    const unsigned char* mine = getData();
    const unsigned char* theirs = other.getData();
    for (unsigned i = 0, n = getVolumeSize(); i < n; ++i)
        if (theirs[i] != 0 && mine[i] == 0) return false;
    return true;
}

void VOI::checkGrid(const Dataset& data) const {
    if (getDimensionX() != data.getDimensionX() || getDimensionY() != data.getDimensionY() ||
        getDimensionZ() != data.getDimensionZ())
        ERROR("invalid data dimensions (%d,%d,%d) ", int(data.getDimensionX()), int(data.getDimensionY()),
              int(data.getDimensionZ()));
}

namespace {

// Runs f(value) for every active voxel in flat order. The loop covers the
// mask's elements as far as the data reach; data of one element count as
// that value everywhere.
template <class T, class F>
inline void forActive(const unsigned char* mask, unsigned maskCount, const T* data, unsigned dataCount, F f) {
    if (dataCount <= 1) {
        const double value = double(data[0]);
        for (unsigned i = 0; i < maskCount; ++i)
            if (mask[i]) f(value);
        return;
    }
    const unsigned n = std::min(maskCount, dataCount);
    for (unsigned i = 0; i < n; ++i)
        if (mask[i]) f(double(data[i]));
}

}  // namespace

// One statistic of one volume. scratch holds the median's values; it is
// reused between frames so that a series allocates once.
template <class T>
double VOI::compute(Statistic statistic, const Dataset3D<T>& data, std::vector<double>& scratch) const {
    const unsigned char* mask = getData();
    const unsigned maskCount = getVolumeSize();
    const T* values = data.getData();
    const unsigned dataCount = data.getVolumeSize();
    switch (statistic) {
    case Statistic::Sum: {
        double sum = 0;
        forActive(mask, maskCount, values, dataCount, [&](double v) { sum += v; });
        return sum;
    }
    case Statistic::Mean: {
        double sum = 0;
        unsigned n = 0;
        forActive(mask, maskCount, values, dataCount, [&](double v) { sum += v, ++n; });
        return sum / n;
    }
    case Statistic::Sdev: {
        // Population form: sqrt(E[v^2] - E[v]^2).
        double sum = 0, sum2 = 0;
        unsigned n = 0;
        forActive(mask, maskCount, values, dataCount, [&](double v) { sum += v, sum2 += v * v, ++n; });
        const double mean = sum / n;
        return std::sqrt(sum2 / n - mean * mean);
    }
    case Statistic::Min:
    case Statistic::Max: {
        const bool wantMin = statistic == Statistic::Min;
        double result = 0;
        bool first = true;
        forActive(mask, maskCount, values, dataCount, [&](double v) {
            if (first || (wantMin ? v < result : v > result)) result = v;
            first = false;
        });
        return result;
    }
    case Statistic::Median: {
        scratch.clear();
        forActive(mask, maskCount, values, dataCount, [&](double v) { scratch.push_back(v); });
        if (scratch.empty()) return 0;
        // Element n/2 of the sorted values, found without sorting them all.
        std::nth_element(scratch.begin(), scratch.begin() + scratch.size() / 2, scratch.end());
        return scratch[scratch.size() / 2];
    }
    }
    return 0;
}

// The statistic frame by frame, as a curve of T 1x1x1 frames that carries the
// data's frame times, lengths, midframe_approx and value unit.
template <class T>
Dataset4D<double> VOI::compute(Statistic statistic, const Dataset4D<T>& data) const {
    const unsigned frames = data.getDimensionT();
    Dataset4D<double> result(frames, 1, 1, 1, 0.0);
    checkGrid(data);
    for (unsigned t = 0; t < frames; ++t) {
        result.setTime(t, data.getTime(t));
        result.setFrameLength(t, data.getFrameLength(t));
    }
    result.midframe_approx = data.midframe_approx;
    result.setUnit(data.getUnit());
    std::vector<double> scratch;
    if (statistic == Statistic::Median) scratch.reserve(numActive());
    for (unsigned t = 0; t < frames; ++t) result(t, 0u, 0u, 0u) = compute(statistic, data(t), scratch);
    return result;
}

Dataset4D<double> VOI::compute(Statistic statistic, const Dataset* data) const {
    Dataset4D<double> result;
    if (!data) return result;
    if (data->getNumDimensions() == 3) {
        result.resize(1, 1, 1, 1);
        visitDataset3D(*data, [&](const auto& volume) {
            checkGrid(volume);
            std::vector<double> scratch;
            result(0, 0, 0, 0) = compute(statistic, volume, scratch);
        });
    } else {
        visitDataset4D(*data, [&](const auto& series) { result = compute(statistic, series); });
    }
    return result;
}

Dataset4D<double> VOI::max(const Dataset* data) const { return compute(Statistic::Max, data); }
Dataset4D<double> VOI::mean(const Dataset* data) const { return compute(Statistic::Mean, data); }
Dataset4D<double> VOI::median(const Dataset* data) const { return compute(Statistic::Median, data); }
Dataset4D<double> VOI::min(const Dataset* data) const { return compute(Statistic::Min, data); }
Dataset4D<double> VOI::sdev(const Dataset* data) const { return compute(Statistic::Sdev, data); }
Dataset4D<double> VOI::sum(const Dataset* data) const { return compute(Statistic::Sum, data); }

// The typed statistics, for every element type.
#define KINETRA_VOI_STATISTIC(NAME, STATISTIC)                                 \
    template <class T>                                                         \
    double VOI::NAME(const Dataset3D<T>& data) const {                         \
        checkGrid(data);                                                       \
        std::vector<double> scratch;                                           \
        return compute(Statistic::STATISTIC, data, scratch);                   \
    }                                                                          \
    template <class T>                                                         \
    Dataset4D<double> VOI::NAME(const Dataset4D<T>& data) const {              \
        return compute(Statistic::STATISTIC, data);                            \
    }
KINETRA_VOI_STATISTIC(max, Max)
KINETRA_VOI_STATISTIC(mean, Mean)
KINETRA_VOI_STATISTIC(median, Median)
KINETRA_VOI_STATISTIC(min, Min)
KINETRA_VOI_STATISTIC(sdev, Sdev)
KINETRA_VOI_STATISTIC(sum, Sum)
#undef KINETRA_VOI_STATISTIC

#define KINETRA_VOI_INSTANTIATE_ONE(NAME, T)                                   \
    template double VOI::NAME<T>(const Dataset3D<T>&) const;                   \
    template Dataset4D<double> VOI::NAME<T>(const Dataset4D<T>&) const;
#define KINETRA_VOI_INSTANTIATE(T)          \
    KINETRA_VOI_INSTANTIATE_ONE(max, T)     \
    KINETRA_VOI_INSTANTIATE_ONE(mean, T)    \
    KINETRA_VOI_INSTANTIATE_ONE(median, T)  \
    KINETRA_VOI_INSTANTIATE_ONE(min, T)     \
    KINETRA_VOI_INSTANTIATE_ONE(sdev, T)    \
    KINETRA_VOI_INSTANTIATE_ONE(sum, T)
KINETRA_VOI_INSTANTIATE(double)
KINETRA_VOI_INSTANTIATE(float)
KINETRA_VOI_INSTANTIATE(int)
KINETRA_VOI_INSTANTIATE(unsigned short)
KINETRA_VOI_INSTANTIATE(short)
KINETRA_VOI_INSTANTIATE(unsigned char)
