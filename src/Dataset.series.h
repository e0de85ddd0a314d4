// FrameSeries: what a series of volumes (a 4D dataset) knows about time,
// whatever its element type: the start time and length of every frame, the
// time unit and the model-time switch midframe_approx.
//
// Model time: what a model compares with frame t is getModelTime(t), the
// frame start, or with midframe_approx the frame middle
//     time(t) + 0.5 * length(t).
// Nothing integrates over a frame.
//
// Dataset4D<T> derives from it; Dataset::series() reaches it from any
// dataset (null for 2D and 3D).
#ifndef KINETRA_DATASET_SERIES_H
#define KINETRA_DATASET_SERIES_H

#include <string>
#include <vector>

#include "Dataset.h"

class FrameSeries : public Dataset {
public:
    FrameSeries* series() override { return this; }
    const FrameSeries* series() const override { return this; }

    // The frame part of the virtual interface. Frame times are kept in the
    // time unit (initially "s") and are not converted when it changes.
    void setTime(unsigned t, double value) override { times_[t] = value; }
    void setFrameLength(unsigned t, double value) override { lengths_[t] = value; }
    void setTimeUnit(const Unit& unit) override { timeUnit_ = unit; }  // no conversion
    double getTime(unsigned t) const override { return times_[t]; }
    double getFrameLength(unsigned t) const override { return lengths_[t]; }
    const Unit& getTimeUnit() const override { return timeUnit_; }
    unsigned getDimensionT() const override { return T_; }

    // Frame tables.
    std::vector<double> getTime() const { return times_; }
    const std::vector<double>& getFrameLength() const { return lengths_; }
    // Replace the tables; a vector of another length than T is refused.
    bool setTime(const std::vector<double>& times);
    bool setFrameLength(const std::vector<double>& lengths);

    // Model time of frame t: its start, or its middle with midframe_approx.
    double getModelTime(unsigned t) const { return midframe_approx ? 0.5 * lengths_[t] + times_[t] : times_[t]; }
    // Model times of all frames.
    std::vector<double> getModelTime() const;
    bool getMidframeApprox() const { return midframe_approx; }
    void setMidframeApprox(bool on) { midframe_approx = on; }

protected:
    FrameSeries() : Dataset("", Unit("")), timeUnit_("s") {}
    FrameSeries(const FrameSeries& other) = default;

    unsigned T_ = 0;
    std::vector<double> times_;
    std::vector<double> lengths_;

public:
    // Whether a frame's model time is its middle; set by the user and copied.
    bool midframe_approx = false;

protected:
    Unit timeUnit_;
};

#endif
