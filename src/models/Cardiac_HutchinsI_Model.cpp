#include "models/Cardiac_HutchinsI_Model.h"

#include "InputFunction.h"
#include "util/Message.h"

namespace {
// Tissue density of the myocardium, g/ml.
const double kDensity = 1.042;
}

Cardiac_HutchinsI_Model::Cardiac_HutchinsI_Model() : Cardiac_HutchinsI_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0) {}

Cardiac_HutchinsI_Model::Cardiac_HutchinsI_Model(const Unit& unit, double k1, double k2, double tbv)
    : Model("Cardiac_HutchinsI", 2, unit),
      k1_(0.0),
      k2_(0.0),
      tbv_(0.0),
      ca_(0.0),
      density_(kDensity),
      conv_(0.0),
      convT_(0.0) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("k2", Unit("1/min"), k2);
    addParameter("tbv", Unit(), tbv);
    changed_ = true;  // nothing read into the cache yet
}

Cardiac_HutchinsI_Model::Cardiac_HutchinsI_Model(const Cardiac_HutchinsI_Model& other)
    : Model(other),
      k1_(other.k1_),
      k2_(other.k2_),
      tbv_(other.tbv_),
      ca_(other.ca_),
      density_(kDensity),
      conv_(other.conv_),
      convT_(other.convT_) {
    changed_ = true;  // the copied cache belongs to the source's last voxel
}

void Cardiac_HutchinsI_Model::precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime) {
    if (changed_ || x != x_ || y != y_ || z != z_) {
        k1_ = normalValue(K1, x, y, z);
        k2_ = normalValue(K2, x, y, z);
        tbv_ = normalValue(TBV, x, y, z);
        x_ = x;
        y_ = y;
        z_ = z;
        changed_ = false;
    }
    t_ = t;
    if (input_.empty()) {  // nothing to convolve; createData and friends refuse this case
        ca_ = conv_ = convT_ = 0.0;
        return;
    }
    InputFunction& input = *input_[0];
    scale_ = input.getUnit().getFactor() / unit_.getFactor();
    ca_ = input(t, 0, 0, 0) * scale_;
    conv_ = input.convExp(k2_, t, 0, 0, 0) * scale_;
    if (withTime) convT_ = input.convTimeExp(k2_, t, 0, 0, 0) * scale_;
}

double Cardiac_HutchinsI_Model::furtherInputs(double t, unsigned x, unsigned y, unsigned z) const {
    double sum = 0.0;
    for (size_t i = 1; i < input_.size(); ++i) sum += (*input_[i])(t, x, y, z) * scale_;
    return sum;
}

double Cardiac_HutchinsI_Model::operator()(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    return tbv_ * ca_ + (1.0 - tbv_) * k1_ * conv_ + furtherInputs(t, x, y, z);
}

std::vector<double> Cardiac_HutchinsI_Model::computeAll(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    const double c1 = k1_ * conv_;
    return {tbv_ * ca_ + (1.0 - tbv_) * c1 + furtherInputs(t, x, y, z), c1};
}

double Cardiac_HutchinsI_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, true);
    double d = 0.0;
    switch (index) {
        case K1: d = (1.0 - tbv_) * conv_; break;
        // d conv(k)/dk = convT(k) - t conv(k)
        case K2: d = (1.0 - tbv_) * k1_ * (convT_ - t * conv_); break;
        case TBV: d = ca_ - k1_ * conv_; break;
        default: return 0.0;
    }
    return d * unitFactor(index);
}

double Cardiac_HutchinsI_Model::der(const std::string& name, double t, unsigned x, unsigned y, unsigned z) {
    if (numder_) return Optimizable::der(name, t, x, y, z);
    const auto it = index_.find(name);
    if (it == index_.end()) {
        ERROR("Cardiac_HutchinsI_Model::der() unknown parameter '%s'", name.c_str());
        return 0.0;
    }
    return analyticDer(it->second, t, x, y, z);
}

double Cardiac_HutchinsI_Model::derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    if (numder_) return Optimizable::derByIndex(index, t, x, y, z);
    return analyticDer(index, t, x, y, z);
}

double Cardiac_HutchinsI_Model::getMBF(unsigned x, unsigned y, unsigned z) const {
    return parameter_[K1].valueAt(x, y, z) / density_;
}

Dataset3D<double>* Cardiac_HutchinsI_Model::getMBF() const {
    Dataset3D<double>* mbf = new Dataset3D<double>(*parameter_[K1].getValueVolume());
    *mbf /= density_;
    return mbf;
}
