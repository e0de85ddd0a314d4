#include "Dataset.series.h"

bool FrameSeries::setTime(const std::vector<double>& times) {
    if (times.size() != T_) return false;
    times_ = times;
    return true;
}

bool FrameSeries::setFrameLength(const std::vector<double>& lengths) {
    if (lengths.size() != T_) return false;
    lengths_ = lengths;
    return true;
}

std::vector<double> FrameSeries::getModelTime() const {
    std::vector<double> times = times_;
    if (midframe_approx)
        for (unsigned t = 0; t < T_; ++t) times[t] += 0.5 * lengths_[t];
    return times;
}
