#include "models/Water_1TC_Model.h"

#include "InputFunction.h"
#include "util/Message.h"

namespace {
// Tissue density of the myocardium, g/ml.
const double kDensity = 1.042;
}

Water_1TC_Model::Water_1TC_Model() : Water_1TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0) {}

Water_1TC_Model::Water_1TC_Model(const Unit& unit, double k1, double Vd, double tbv)
    : Model("Water_1TC", 2, unit),
      k1_(0.0),
      vd_(0.0),
      tbv_(0.0),
      ca_(0.0),
      density_(kDensity),
      conv_(0.0),
      convT_(0.0) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("Vd", Unit(), Vd);
    addParameter("tbv", Unit(), tbv);
    changed_ = true;  // nothing read into the cache yet
}

Water_1TC_Model::Water_1TC_Model(const Water_1TC_Model& other)
    : Model(other),
      k1_(other.k1_),
      vd_(other.vd_),
      tbv_(other.tbv_),
      ca_(other.ca_),
      density_(kDensity),
      conv_(other.conv_),
      convT_(other.convT_) {
    changed_ = true;  // the copied cache belongs to the source's last voxel
}

void Water_1TC_Model::precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime) {
    if (changed_ || x != x_ || y != y_ || z != z_) {
        k1_ = normalValue(K1, x, y, z);
        vd_ = normalValue(VD, x, y, z);
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
    const double k2 = k1_ / vd_;
    conv_ = input.convExp(k2, t, 0, 0, 0) * scale_;
    if (withTime) convT_ = input.convTimeExp(k2, t, 0, 0, 0) * scale_;
}

double Water_1TC_Model::operator()(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    return tbv_ * ca_ + (1.0 - tbv_) * k1_ * conv_;
}

std::vector<double> Water_1TC_Model::computeAll(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    const double c1 = k1_ * conv_;
    return {tbv_ * ca_ + (1.0 - tbv_) * c1, c1};
}

double Water_1TC_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, true);
    // With r = k1 / Vd and d conv(r)/dr = convT(r) - t conv(r):
    const double r = k1_ / vd_;
    double d = 0.0;
    switch (index) {
        // d/dk1 [k1 conv(r)] = conv(r) + k1 (convT - t conv) / Vd
        case K1: d = (1.0 - tbv_) * (conv_ * (1.0 - t * r) + r * convT_); break;
        // d/dVd [k1 conv(r)] = k1 (convT - t conv) (-k1 / Vd^2)
        case VD: d = (1.0 - tbv_) * r * r * (t * conv_ - convT_); break;
        case TBV: d = ca_ - k1_ * conv_; break;
        default: return 0.0;
    }
    return d * unitFactor(index);
}

double Water_1TC_Model::der(const std::string& name, double t, unsigned x, unsigned y, unsigned z) {
    if (numder_) return Optimizable::der(name, t, x, y, z);
    const auto it = index_.find(name);
    if (it == index_.end()) {
        ERROR("Water_1TC_Model::der() unknown parameter '%s'", name.c_str());
        return 0.0;
    }
    return analyticDer(it->second, t, x, y, z);
}

double Water_1TC_Model::derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    if (numder_) return Optimizable::derByIndex(index, t, x, y, z);
    return analyticDer(index, t, x, y, z);
}

double Water_1TC_Model::getMBF(unsigned x, unsigned y, unsigned z) const {
    return parameter_[K1].valueAt(x, y, z) / density_;
}

Dataset3D<double>* Water_1TC_Model::getMBF() const {
    Dataset3D<double>* mbf = new Dataset3D<double>(*parameter_[K1].getValueVolume());
    *mbf /= density_;
    return mbf;
}
