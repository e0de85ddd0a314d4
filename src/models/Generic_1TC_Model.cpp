#include "models/Generic_1TC_Model.h"

#include <limits>

#include "InputFunction.h"
#include "util/Message.h"

namespace {
const double kNaN = std::numeric_limits<double>::quiet_NaN();
}

// The cache starts with values that equal nothing (NaN), so the first
// evaluation always reads parameters and input.
Generic_1TC_Model::Generic_1TC_Model() : Generic_1TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 0.0) {}

Generic_1TC_Model::Generic_1TC_Model(const Unit& unit, double k1, double k2, double alpha, double beta)
    : Model("Generic_1TC", 2, unit),
      k1_(kNaN),
      k2_(kNaN),
      alpha_(kNaN),
      beta_(kNaN),
      ca_(0.0),
      conv_(0.0),
      convT_(0.0) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("k2", Unit("1/min"), k2);
    addParameter("alpha", Unit(), alpha);
    addParameter("beta", Unit(), beta);
}

// A copy starts at voxel (0, 0, 0) while its cache came from the source's
// last voxel, and this model hands the voxel to its input: the time key is
// dropped so that the copy fetches its own input values.
Generic_1TC_Model::Generic_1TC_Model(const Generic_1TC_Model& other)
    : Model(other),
      k1_(other.k1_),
      k2_(other.k2_),
      alpha_(other.alpha_),
      beta_(other.beta_),
      ca_(other.ca_),
      conv_(other.conv_),
      convT_(other.convT_) {
    t_ = kNaN;
}

void Generic_1TC_Model::precompute(double t, unsigned x, unsigned y, unsigned z, bool /*withTime*/) {
    bool change = false;
    const double k1 = normalValue(K1, x, y, z);
    const double k2 = normalValue(K2, x, y, z);
    const double alpha = normalValue(ALPHA, x, y, z);
    const double beta = normalValue(BETA, x, y, z);
    if (k1 != k1_ || k2 != k2_ || alpha != alpha_ || beta != beta_) {
        MESSAGE(6, "re-setting model parameters: %lg,%lg,%lg,%lg\n", k1, k2, alpha, beta);
        k1_ = k1;
        k2_ = k2;
        alpha_ = alpha;
        beta_ = beta;
        change = true;
    }
    if (input_.empty()) {  // nothing to convolve; createData and friends refuse this case
        ca_ = conv_ = convT_ = 0.0;
        return;
    }
    InputFunction& input = *input_[0];
    scale_ = input.getUnit().getFactor() / unit_.getFactor();
    if (t != t_ || x != x_ || y != y_ || z != z_) {
        change = true;
        MESSAGE(6, "new (t,x,y,z)=(%lg,%u,%u,%u) (%lg,%u,%u,%u) \n", t_, x_, y_, z_, t, x, y, z);
        MESSAGE(6, "scale_ = %lg \n", scale_);
        t_ = t;
        x_ = x;
        y_ = y;
        z_ = z;
        ca_ = input(t, x, y, z) * scale_;
    }
    if (change) {
        conv_ = input.convExp(k2_, t, x_, y_, z_) * scale_;
        convT_ = input.convTimeExp(k2_, t, x_, y_, z_) * scale_;
    }
}

double Generic_1TC_Model::furtherInputs(double t, unsigned x, unsigned y, unsigned z) const {
    double sum = 0.0;
    for (size_t i = 1; i < input_.size(); ++i)
        sum += (*input_[i])(t, x, y, z) * (input_[i]->getUnit().getFactor() / unit_.getFactor());
    return sum;
}

double Generic_1TC_Model::operator()(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    return alpha_ * k1_ * conv_ + beta_ * ca_ + furtherInputs(t, x, y, z);
}

std::vector<double> Generic_1TC_Model::computeAll(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    const double c1 = k1_ * conv_;
    return {alpha_ * c1 + beta_ * ca_ + furtherInputs(t, x, y, z), c1};
}

double Generic_1TC_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, true);
    double d = 0.0;
    switch (index) {
        case K1: d = alpha_ * conv_; break;
        // d conv(k)/dk = -int s exp(-k s) C(t - s) ds = convT(k) - t conv(k)
        case K2: d = alpha_ * k1_ * (convT_ - t * conv_); break;
        case ALPHA: d = k1_ * conv_; break;
        case BETA: d = ca_; break;
        default: return 0.0;
    }
    return d * unitFactor(index);
}

double Generic_1TC_Model::der(const std::string& name, double t, unsigned x, unsigned y, unsigned z) {
    if (numder_) return Optimizable::der(name, t, x, y, z);
    const auto it = index_.find(name);
    if (it == index_.end()) {
        ERROR("Generic_1TC_Model::der() unknown parameter '%s'", name.c_str());
        return 0.0;
    }
    return analyticDer(it->second, t, x, y, z);
}

double Generic_1TC_Model::derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    if (numder_) return Optimizable::derByIndex(index, t, x, y, z);
    return analyticDer(index, t, x, y, z);
}
