#include "ErrorModel.h"

#include <cmath>
#include <cstdlib>

#include "Dataset.visit.h"
#include "VOI.h"
#include "util/Message.h"
#include "util/NumUtil.h"

namespace {

// The formula behind a name, resolved once per dataset so that the voxel loop
// compares no strings.
enum class Formula {
    Uniform,
    Simple,
    SimpleRandom,
    GaussRandom,
    Poisson,
    PoissonRandom,
    WeightedPoisson,
    WeightedPoissonRandom,
    Unknown
};

Formula formulaOf(const std::string& name) {
    if (name == "Uniform") return Formula::Uniform;
    if (name == "Simple") return Formula::Simple;
    if (name == "SimpleRandom") return Formula::SimpleRandom;
    if (name == "GaussRandom") return Formula::GaussRandom;
    if (name == "Poisson") return Formula::Poisson;
    if (name == "PoissonRandom") return Formula::PoissonRandom;
    if (name == "WeightedPoisson") return Formula::WeightedPoisson;
    if (name == "WeightedPoissonRandom") return Formula::WeightedPoissonRandom;
    return Formula::Unknown;
}

// Standard error of a Poisson count: a value d stands for n = d c counts with
// sd(n) = sqrt(n), so sd(d) = sqrt(|d| / c), carried with the sign of d.
inline double poissonError(double d, double c) {
    double e = std::sqrt(std::fabs(d) / c);
    return d < 0.0 ? -e : e;
}

// A Poisson draw around the counts of d, turned back into a deviation of the
// value. The counts are formed as d*f*decay*len, the factor as f*decay*len.
inline double poissonDeviation(double d, double f, double decay, double len) {
    return random_poisson(d * f * decay * len) / (f * decay * len) - d;
}

}  // namespace

ErrorModel::ErrorModel(const std::string& name) : tracer_("") { init(name); }

ErrorModel::~ErrorModel() {}

void ErrorModel::init(const std::string& name) {
    floor_ = 0.0;
    minimum_ = 0.001;
    sigma_ = 0.0;
    if (name == "WeightedPoisson" || name == "WeightedPoissonRandom") sigma_ = 1.0;
    name_ = name;
}

Dataset4D<double>* ErrorModel::create(const Dataset* data, const VOI* voi) const {
    if (data == nullptr) return nullptr;
    if (data->getNumDimensions() != 4) {
        ERROR("data '%s' has %d instead of 4 dimensions", data->getName().c_str(),
              static_cast<int>(data->getNumDimensions()));
        return nullptr;
    }
    Dataset4D<double>* result = nullptr;
    bool known = visitDataset4D(*data, [&](const auto& series) { result = compute(&series, voi); });
    if (!known) {
        ERROR("data '%s' has unsupported type '%s'", data->getName().c_str(), data->getType().c_str());
        return nullptr;
    }
    return result;
}

template <class T>
Dataset4D<double>* ErrorModel::compute(const Dataset4D<T>* data, const VOI* voi) const {
    if (data == nullptr) return nullptr;
    const unsigned nT = data->getDimensionT(), X = data->getDimensionX(), Y = data->getDimensionY(),
                   Z = data->getDimensionZ();
    // A mask of another grid would be read past its end.
    if (voi != nullptr && (voi->getDimensionX() != X || voi->getDimensionY() != Y || voi->getDimensionZ() != Z)) {
        ERROR("VOI '%s' has invalid dimensions %dx%dx%d (XxYxZ) for data '%s' with %dx%dx%dx%d (TxXxYxZ)",
              voi->getName().c_str(), voi->getDimensionX(), voi->getDimensionY(), voi->getDimensionZ(),
              data->getName().c_str(), nT, X, Y, Z);
        return nullptr;
    }

    const double f = data->getUnit().getFactor();
    const unsigned n = data->getVolumeSize();
    const Formula formula = formulaOf(name_);
    const double ln2 = std::log(2.0);
    const double tau = tracer_.getTau();

    Dataset4D<double>* result = new Dataset4D<double>(nT, X, Y, Z, 0.0);
    result->setTime(data->getTime());
    result->setFrameLength(data->getFrameLength());
    result->midframe_approx = data->midframe_approx;
    result->setUnit(data->getUnit());
    result->setTimeUnit(data->getTimeUnit());

    const unsigned char* mask = voi != nullptr ? voi->getData() : nullptr;
    unsigned floored = 0;
    for (unsigned t = 0; t < nT; ++t) {
        const double decay = std::exp(-data->getModelTime(t) * ln2 / tau);
        const double len = data->getFrameLength(t);
        const double c = f * decay * len;
        for (unsigned i = 0; i < n; ++i) {
            if (mask != nullptr && mask[i] == 0) continue;
            const double d = static_cast<double>((*data)(t, i));
            double e = 0.0;
            switch (formula) {
            case Formula::Uniform: e = 1.0; break;
            case Formula::Simple: e = d * sigma_; break;
            case Formula::SimpleRandom: e = d * sigma_ * random(-1.0, 1.0); break;
            case Formula::GaussRandom: e = d * sigma_ * random_normal(0.0, 1.0); break;
            case Formula::Poisson: e = poissonError(d, c); break;
            case Formula::PoissonRandom: e = poissonDeviation(d, f, decay, len); break;
            case Formula::WeightedPoisson: e = sigma_ * poissonError(d, c); break;
            case Formula::WeightedPoissonRandom: e = sigma_ * poissonDeviation(d, f, decay, len); break;
            case Formula::Unknown: ERROR("unknown error model name: %s\n", name_.c_str()); break;
            }
            // The floor keeps the sign of the error; an error of 0 is raised
            // to +floor.
            if (floor_ > 0.0 && std::fabs(e) < floor_) {
                const double s = e < 0.0 ? -1.0 : 1.0;
                MESSAGE(4, "flooring error %3.5f to %3.5f at t=%u \n", e, s * floor_, t);
                e = s * floor_;
                ++floored;
            }
            if (std::fabs(e) < minimum_ && _MessageHelper::enabled(2))
                WARNING("|e(%d,%d)| = %g < %g!\n", static_cast<int>(t), static_cast<int>(i), e, minimum_);
            (*result)(t, i) = e;
        }
        if (_MessageHelper::enabled(3)) {
            const Dataset3D<double>& frame = (*result)(t);
            MESSAGE(3, "  frame %d: len=%g decay=%g min=%g max=%g\n", static_cast<int>(t), len, decay, frame.min(),
                    frame.max());
        }
    }
    result->setName(data->getName() + "_error");
    if (floor_ > 0.0) {
        const unsigned total = nT * (voi != nullptr ? voi->numActive() : n);
        MESSAGE(1, "%d of %d error values floored\n", static_cast<int>(floored), static_cast<int>(total));
    }
    return result;
}

template Dataset4D<double>* ErrorModel::compute(const Dataset4D<unsigned char>*, const VOI*) const;
template Dataset4D<double>* ErrorModel::compute(const Dataset4D<short>*, const VOI*) const;
template Dataset4D<double>* ErrorModel::compute(const Dataset4D<unsigned short>*, const VOI*) const;
template Dataset4D<double>* ErrorModel::compute(const Dataset4D<int>*, const VOI*) const;
template Dataset4D<double>* ErrorModel::compute(const Dataset4D<float>*, const VOI*) const;
template Dataset4D<double>* ErrorModel::compute(const Dataset4D<double>*, const VOI*) const;
