// The input function base: construction, the numerical convolutions, resizing,
// region averaging and the report.
#include "InputFunction.h"

#include <algorithm>
#include <cmath>

#include "util/Message.h"
#include "util/NumUtil.h"

InputFunction::InputFunction(const std::string& name, const Unit& unit)
    : Optimizable("InputFunction"), numconv_(false), result_(0.0), scale_(1.0), cacheCount_(0), cacheLimit_(1000) {
    name_ = name;
    unit_ = unit;
    changed_ = true;  // nothing loaded yet: the first refresh loads at any voxel
}

InputFunction::InputFunction(const InputFunction& other)
    : Optimizable(other),
      numconv_(other.numconv_),
      result_(other.result_),
      scale_(other.scale_),
      valueCache_(other.valueCache_),
      convExpCache_(other.convExpCache_),
      convTimeExpCache_(other.convTimeExpCache_),
      cacheCount_(other.cacheCount_),
      cacheLimit_(other.cacheLimit_) {
    // The copy's voxel key is (0, 0, 0), the caches are of the source's last
    // voxel: the copy's first refresh clears them rather than answer from them.
    changed_ = true;
}

InputFunction::~InputFunction() { cacheClear(); }

void InputFunction::init(const std::vector<double>&) {}

// convExp(k, t) = int_0^t exp(-k s) C(t - s) ds, s the time back from t.
double InputFunction::convExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    const double result = qromb([&](double s) { return std::exp(-k * s) * (*this)(t - s, x, y, z); }, 0.0, t);
    MESSAGE(5, "numerical convolution: convExp(k=%lg,t=%lg) = %lg\n", k, t, result);
    return result;
}

// convTimeExp(k, t) = int_0^t exp(-k s) (t - s) C(t - s) ds.
double InputFunction::convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    const double result = qromb(
        [&](double s) {
            const double u = t - s;
            return std::exp(-k * s) * u * (*this)(u, x, y, z);
        },
        0.0, t);
    MESSAGE(5, "numerical convolution: convTimeExp(k=%lg,t=%lg) = %lg\n", k, t, result);
    return result;
}

// The number of parameters of a concrete input is set here: all parameters
// go (link_ and linkType_ keep their entries, the new ones append), and init()
// builds the new set from n zeros.
void InputFunction::convolveFrames(double k, const double* t, unsigned T, unsigned x, unsigned y, unsigned z,
                                   double* value, double* conv, double* convT) {
    for (unsigned i = 0; i < T; ++i) {
        value[i] = (*this)(t[i], x, y, z);
        conv[i] = convExp(k, t[i], x, y, z);
        convT[i] = convTimeExp(k, t[i], x, y, z);
    }
}

void InputFunction::resize(unsigned n) {
    std::vector<double> values(n, 0.0);
    parameter_.clear();
    index_.clear();
    MESSAGE(5, "%s resize to %d\n", name_.c_str(), static_cast<int>(n));
    init(values);
}

InputFunction* InputFunction::createAverage(const VOI* voi) {
    InputFunction* average = clone();
    if (average == nullptr) return nullptr;
    average->resizeParameters(1, 1, 1);
    // The clone has no log flags, so the region mean is stored as it is; a
    // link carries it on. Without a region, element (0, 0, 0) stands in.
    const unsigned n = std::min(getNumParameters(), average->getNumParameters());
    for (unsigned i = 0; i < n; ++i) {
        const Parameter& p = parameter_[i];
        const double v = voi != nullptr ? p.getValue(*voi) : p.valueAt(0, 0, 0);
        average->setParameterValueByIndex(i, 0, 0, 0, v);
    }
    return average;
}

std::ostream& operator<<(std::ostream& out, const InputFunction& input) {
    out << "InputFunction: " << input.getName() << " (" << input.getType() << ")\n";
    out << "  " << input.getUnit();
    for (unsigned i = 0; i < input.getNumParameters(); ++i) out << input.getParameterByIndex(i);
    return out;
}
