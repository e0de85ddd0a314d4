#include "inputs/ParametricInputFunction.h"

#include "Dataset.h"
#include "Dataset4D.h"
#include "VOI.h"
#include "util/Message.h"

namespace {
const unsigned kMapOutside = 0;  // report cause: a map that does not cover the voxel
}

ParametricInputFunction::ParametricInputFunction(const std::string& name, const Unit& unit, const char* type)
    : InputFunction(name, unit) {
    setType(type);
}

double ParametricInputFunction::storedValue(unsigned i, unsigned x, unsigned y, unsigned z) const {
    const Parameter& p = parameter_[i];
    const Dataset3D<double>* volume = p.getValueVolume();
    if (volume == nullptr) return 0.0;
    if (volume->getVolumeSize() <= 1) return (*volume)(0u);
    // A map on another grid would be read out of range.
    if (!p.covers(x, y, z)) {
        reportOnce(kMapOutside, [&] {
            ERROR("%s: parameter '%s' has no value at voxel %u,%u,%u", type_.c_str(), p.getName().c_str(), x, y, z);
        });
        return 0.0;
    }
    return p.valueAt(x, y, z);
}

bool ParametricInputFunction::precompute(unsigned x, unsigned y, unsigned z) {
    if (!changed_ && (size_ < 2 || (x == x_ && y == y_ && z == z_))) return false;
    p_.resize(parameter_.size());
    for (unsigned i = 0; i < p_.size(); ++i) p_[i] = storedValue(i, x, y, z) * unitFactor(i);
    scale_ = 1.0 / unit_.getFactor();
    x_ = x;
    y_ = y;
    z_ = z;
    cacheClear();
    changed_ = false;
    return true;
}

double ParametricInputFunction::der(const std::string& name, double t, unsigned x, unsigned y, unsigned z) {
    if (numder_) return Optimizable::der(name, t, x, y, z);
    const int index = hasParameter(name);
    if (index < 0) {
        reportUnknown(name);
        return 0.0;
    }
    return derByIndex(static_cast<unsigned>(index), t, x, y, z);
}

double ParametricInputFunction::derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    if (numder_) return numericalDer(index, t, x, y, z);
    if (index >= parameter_.size()) return 0.0;
    precompute(x, y, z);
    return partial(index, t) * unitFactor(index) * scale_;
}

void ParametricInputFunction::clearParameters() {
    parameter_.clear();
    index_.clear();
    link_.clear();
    linkType_.clear();
    changed_ = true;
}

void ParametricInputFunction::defineParameters(const std::vector<std::string>& names, const std::vector<Unit>& units,
                                               const std::vector<double>& values) {
    for (std::size_t i = 0; i < names.size(); ++i)
        addParameter(names[i], units[i], i < values.size() ? values[i] : 0.0);
    p_.assign(parameter_.size(), 0.0);
    changed_ = true;
}

bool ParametricInputFunction::measuredPeak(const Dataset* data, const VOI* voi, std::vector<double>& times,
                                           std::vector<double>& curve, unsigned& imax) const {
    imax = 0;
    const FrameSeries* series = data != nullptr ? data->series() : nullptr;
    if (series == nullptr || data->getNumDimensions() != 4) {
        ERROR("%s: data for parameter initialization must be 4D", type_.c_str());
        return false;
    }
    // A missing VOI: the curve of voxel (0, 0, 0).
    VOI first(data->getDimensionX(), data->getDimensionY(), data->getDimensionZ(), 0);
    first(0, 0, 0) = 1;
    const Dataset4D<double> mean = (voi != nullptr ? *voi : first).mean(data);
    const unsigned T = data->getDimensionT();
    const double factor = data->getUnit().getFactor();
    times.resize(T);
    curve.resize(T);
    double max = 0.0;
    for (unsigned t = 0; t < T; ++t) {
        times[t] = series->getModelTime(t);
        curve[t] = t < mean.getDimensionT() ? mean(t, 0, 0, 0) * factor : 0.0;  // frame t of the 1x1x1 series
        if (curve[t] > max) {
            max = curve[t];
            imax = t;
        }
    }
    if (imax == 0 || imax + 1 >= T) {
        ERROR(" tmax=%d, invalid data for input function parameter initialization\n", static_cast<int>(imax));
        return false;
    }
    return true;
}

void ParametricInputFunction::storeInitialValues() {
    for (unsigned i = 0; i < parameter_.size() && i < p_.size(); ++i)
        if (parameter_[i].getState() != Parameter::CONST)
            setParameterInitValue(parameter_[i].getName(), 0, 0, 0, p_[i] / unitFactor(i));
}
