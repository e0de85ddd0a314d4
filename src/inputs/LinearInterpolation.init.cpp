// The measured input function: samples from the frames of a dataset.
#include <string>

#include "Dataset4D.h"
#include "inputs/LinearInterpolation.h"
#include "util/Message.h"

namespace {

// Model times (frame start, or middle with the midframe approximation) and
// the midframe flag of a 4D dataset of any element type.
bool readFrames(const Dataset* data, std::vector<double>& times, bool& midframe) {
    const FrameSeries* series = data->series();
    if (series == nullptr) return false;
    midframe = series->getMidframeApprox();
    times.resize(series->getDimensionT());
    for (unsigned i = 0; i < times.size(); ++i) times[i] = series->getModelTime(i);
    return true;
}

}  // namespace

void LinearInterpolation::initParameters(const Dataset* data, const VOI* voi) {
    ASSERT(data != nullptr && data->getNumDimensions() == 4);
    if (data == nullptr || data->getNumDimensions() != 4) return;  // no frames to read (reported above)

    std::vector<double> modelTimes;
    bool midframe = false;
    if (!readFrames(data, modelTimes, midframe)) return;  // not one of the six element types
    const unsigned n = data->getDimensionT();

    if (!midframe) WARNING("Linear Interpolation only tested for MidFrameApprox!\n");
    if (voi != nullptr) WARNING("Linear Interpolation called with VOI, VOI is ignored!\n");

    unit_ = data->getUnit();
    scale_ = 1.0 / unit_.getFactor();

    time_.assign(n, 0.0);
    value_.assign(n, 0.0);
    const unsigned X = data->getDimensionX();
    const unsigned Y = data->getDimensionY();
    const unsigned Z = data->getDimensionZ();
    // Each fault below is reported once per initialisation, not once per
    // sample: one line says all there is, and a curve may have thousands.
    bool disordered = false, present = false;
    for (unsigned i = 0; i < n; ++i) {
        time_[i] = modelTimes[i];
        if (i == 0) ASSERT(time_[0] >= 0);
        if (i > 0 && time_[i - 1] >= time_[i] && !disordered) {
            ERROR("LinearInterpolation needs increasing times! Found t(%u)=%.4f >= t(%u)=%.4f\n", i - 1, time_[i - 1],
                  i, time_[i]);
            disordered = true;
        }

        // Sample i is the const parameter "y<i>". A second initialisation
        // finds the name present (addParameter reports it, for the first
        // such name) and writes the new values into the old parameter.
        const std::string name = "y" + std::to_string(i);
        int index = hasParameter(name);
        if (index < 0 || !present) {
            present = present || index >= 0;
            addParameter(name, unit_, data->getValue4D(i, 0, 0, 0));
            index = hasParameter(name);
        }
        if (index < 0) continue;
        const unsigned p = static_cast<unsigned>(index);
        setParameterState(name, Parameter::CONST);
        parameter_[p].resize(X, Y, Z);
        for (unsigned x = 0; x < X; ++x)
            for (unsigned y = 0; y < Y; ++y)
                for (unsigned z = 0; z < Z; ++z) setParameterValueByIndex(p, x, y, z, data->getValue4D(i, x, y, z));
        const double value = parameter_[p].valueAt(0, 0, 0);
        MESSAGE(5, "LinearInterpolation: added par %s = %lg for t = %lg\n", name.c_str(), value, time_[i]);

        // A curve through (0, 0) at its first sample would divide by
        // T[0] = 0 in the segment before it (slope Y[0] / T[0]); a tiny time
        // keeps that segment finite. The test looks at the sample just added.
        if (time_[0] == 0.0 && value == 0.0) {
            WARNING("LinearInterpolation: data(t=0)=0.0, setting t=eps to avoid division by zero!\n");
            time_[0] = 1e-10;
        }
    }
    changed_ = true;
    // New sample times: a sum of the old curve must not be continued, and
    // faults of the new curve are reported afresh.
    resetChains();
    rearmReports();
}
