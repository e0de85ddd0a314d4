#include "models/Generic_1TC_Model.h"

#include <limits>

#include "InputFunction.h"
#include "util/Message.h"

Generic_1TC_Model::Generic_1TC_Model() : Generic_1TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 0.0) {}

Generic_1TC_Model::Generic_1TC_Model(const Unit& unit, double k1, double k2, double alpha, double beta)
    : Model("Generic_1TC", 2, unit, MODEL_ORIGIN(Generic_1TC_Model)) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("k2", Unit("1/min"), k2);
    addParameter("alpha", Unit(), alpha);
    addParameter("beta", Unit(), beta);
}

void Generic_1TC_Model::precompute(double t, unsigned x, unsigned y, unsigned z, bool /*withTime*/) {
    bool change = false;
    double p[4];
    for (unsigned i = 0; i < 4; ++i) p[i] = normalValue(i, x, y, z);
    if (p[K1] != cache_.p[K1] || p[K2] != cache_.p[K2] || p[ALPHA] != cache_.p[ALPHA] || p[BETA] != cache_.p[BETA]) {
        MESSAGE(6, "re-setting model parameters: %lg,%lg,%lg,%lg\n", p[K1], p[K2], p[ALPHA], p[BETA]);
        for (unsigned i = 0; i < 4; ++i) cache_.p[i] = p[i];
        change = true;
    }
    InputFunction* input = firstInput();
    if (input == nullptr) {
        cache_.ca = cache_.conv = cache_.convT = 0.0;
        return;
    }
    if (t != t_ || x != x_ || y != y_ || z != z_) {
        change = true;
        MESSAGE(6, "new (t,x,y,z)=(%lg,%u,%u,%u) (%lg,%u,%u,%u) \n", t_, x_, y_, z_, t, x, y, z);
        MESSAGE(6, "scale_ = %lg \n", scale_);
        t_ = t;
        x_ = x;
        y_ = y;
        z_ = z;
        cache_.ca = (*input)(t, x, y, z) * scale_;
    }
    if (change) {
        cache_.conv = input->convExp(cache_.p[K2], t, x_, y_, z_) * scale_;
        cache_.convT = input->convTimeExp(cache_.p[K2], t, x_, y_, z_) * scale_;
    }
}

double Generic_1TC_Model::operator()(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    const double* p = cache_.p;
    return p[ALPHA] * p[K1] * cache_.conv + p[BETA] * cache_.ca + furtherInputsInModelUnits(t, x, y, z);
}

std::vector<double> Generic_1TC_Model::computeAll(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    const double* p = cache_.p;
    const double c1 = p[K1] * cache_.conv;
    return {p[ALPHA] * c1 + p[BETA] * cache_.ca + furtherInputsInModelUnits(t, x, y, z), c1};
}

double Generic_1TC_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, true);
    const double* p = cache_.p;
    double d = 0.0;
    switch (index) {
    case K1:
        d = p[ALPHA] * cache_.conv;
        break;
    // d conv(k)/dk = -int s exp(-k s) C(t - s) ds = convT(k) - t conv(k)
    case K2:
        d = p[ALPHA] * p[K1] * (cache_.convT - t * cache_.conv);
        break;
    case ALPHA:
        d = p[K1] * cache_.conv;
        break;
    case BETA:
        d = cache_.ca;
        break;
    default:
        return 0.0;
    }
    return d * unitFactor(index);
}

bool Generic_1TC_Model::evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z,
                                     const unsigned* index, unsigned P, double* values, double* derivatives) {
    bool known = true;
    for (unsigned j = 0; j < P; ++j) known = known && index[j] <= BETA;
    InputFunction* input = firstInput();
    if (!onePass(T, P, 5) || !known) return false;
    double p[4];
    for (unsigned i = 0; i < 4; ++i) p[i] = normalValue(i, x, y, z);
    const RatePass pass = convolveRates(*input, &p[K2], 1, t, T, x, y, z);
    const double *ca = pass.value, *conv = pass.conv[0], *convT = pass.convT[0];
    // The arithmetic of operator() and analyticDer, term for term, so that
    // every number is the one the calls one by one give (the further inputs
    // add 0.0 there).
    for (unsigned i = 0; i < T; ++i) {
        const double a = ca[i] * scale_, c = conv[i] * scale_, cT = convT[i] * scale_;
        values[i] = p[ALPHA] * p[K1] * c + p[BETA] * a + 0.0;
        double* d = derivatives + static_cast<size_t>(i) * P;
        for (unsigned j = 0; j < P; ++j) {
            double v = 0.0;
            switch (index[j]) {
            case K1:
                v = p[ALPHA] * c;
                break;
            case K2:
                v = p[ALPHA] * p[K1] * (cT - t[i] * c);
                break;
            case ALPHA:
                v = p[K1] * c;
                break;
            default:
                v = a;
                break;
            }
            d[j] = v * unitFactor(index[j]);
        }
    }
    // The per-call cache holds no time of this pass: the next call reads anew.
    for (unsigned i = 0; i < 4; ++i) cache_.p[i] = p[i];
    t_ = std::numeric_limits<double>::quiet_NaN();
    return true;
}
