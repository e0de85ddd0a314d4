#include "models/Neuro_SLAM_Model.h"

#include <cmath>

#include "InputFunction.h"
#include "models/RateConvolution.h"

Neuro_SLAM_Model::Neuro_SLAM_Model() : Neuro_SLAM_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0) {}

Neuro_SLAM_Model::Neuro_SLAM_Model(const Unit& unit, double R1, double k2, double BPstar)
    : ReferenceRegionModel("Neuro_SLAM", unit, MODEL_ORIGIN(Neuro_SLAM_Model)) {
    addParameter("R1", Unit("1"), R1);
    addParameter("k2", Unit("1/min"), k2);
    addParameter("BPstar", Unit("1"), BPstar);
}

void Neuro_SLAM_Model::precompute(double t, unsigned x, unsigned y, unsigned z, bool /*withTime*/) {
    if (inPass_) return;
    int status = 0;
    double p[3];
    for (unsigned i = 0; i < 3; ++i) p[i] = normalValue(i, x, y, z);
    InputFunction* input = referenceInput();
    if (input == nullptr) {
        cache_.cr = cache_.conv = cache_.convT = 0.0;
        return;
    }
    if (p[R1] != cache_.p[R1] || p[K2] != cache_.p[K2] || p[BPSTAR] != cache_.p[BPSTAR]) {
        MESSAGE(5, "re-setting model parameters: %lg,%lg,%lg\n", p[R1], p[K2], p[BPSTAR]);
        for (unsigned i = 0; i < 3; ++i) cache_.p[i] = p[i];
        // Infinite at BPstar = -1: the convolutions are then NaN.
        cache_.k2a = p[K2] / (1.0 + p[BPSTAR]);
        status = 1;
    }
    const double f = input->getUnit().getFactor();
    if (t != t_ || x != x_ || y != y_ || z != z_) {
        ++status;
        MESSAGE(5, "new (t,x,y,z)=(%lg,%u,%u,%u) (%lg,%u,%u,%u) => status =%d\n", t_, x_, y_, z_, t, x, y, z, status);
        t_ = t;
        x_ = x;
        y_ = y;
        z_ = z;
        cache_.cr = (*input)(t, x, y, z) * f;
    }
    if (status > 0) {
        cache_.conv = convExpAt(*input, cache_.k2a, t, x_, y_, z_) * f;
        cache_.convT = convTimeExpAt(*input, cache_.k2a, t, x_, y_, z_) * f;
    }
}

bool Neuro_SLAM_Model::evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z,
                                    const unsigned* index, unsigned P, double* values, double* derivatives) {
    double p[3];
    for (unsigned i = 0; i < 3; ++i) p[i] = normalValue(i, x, y, z);
    const double k2a = p[K2] / (1.0 + p[BPSTAR]);
    if (!onePass(T, P, 5) || !std::isfinite(k2a)) return false;
    InputFunction* input = referenceInput();
    for (unsigned i = 0; i < 3; ++i) cache_.p[i] = p[i];
    cache_.k2a = k2a;
    const double f = input->getUnit().getFactor();
    const RatePass pass = convolveRates(*input, &k2a, 1, t, T, x, y, z);
    evaluateFromCache(t, T, x, y, z, index, P, values, derivatives, [&](unsigned i) {
        cache_.cr = pass.value[i] * f;
        cache_.conv = pass.conv[0][i] * f;
        cache_.convT = pass.convT[0][i] * f;
    });
    return true;
}

double Neuro_SLAM_Model::value(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    const double* p = cache_.p;
    return (p[R1] * cache_.cr + p[K2] * (1.0 - p[R1] / (1.0 + p[BPSTAR])) * cache_.conv +
            furtherInputSum(t, x, y, z)) *
           scale_;
}

double Neuro_SLAM_Model::operator()(double t, unsigned x, unsigned y, unsigned z) {
    const double v = value(t, x, y, z);
    MESSAGE(6, "Neuro_SLAM (t=%lg) = %lg\n", t, v);
    return v;
}

std::vector<double> Neuro_SLAM_Model::computeAll(double t, unsigned x, unsigned y, unsigned z) {
    ASSERT(components_ == 2);
    const double v = value(t, x, y, z);
    return {v, cache_.cr * scale_};
}

double Neuro_SLAM_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, true);
    const double r1 = cache_.p[R1], k2 = cache_.p[K2], bp1 = 1.0 + cache_.p[BPSTAR];
    const double k2a = cache_.k2a, conv = cache_.conv;
    // d conv(k)/dk = convT - t conv = -D
    const double D = t * conv - cache_.convT;
    double d = 0.0;
    switch (index) {
        case R1: d = cache_.cr - k2a * conv; break;
        case K2: d = (1.0 - r1 / bp1) * (conv - D * k2a); break;
        // dk2a/dBPstar = -k2 / (1 + BPstar)^2
        case BPSTAR: d = (r1 * conv + (k2 - r1 * k2a) * D) * k2 / (bp1 * bp1); break;
        default: return 0.0;
    }
    d *= unitFactor(index) * scale_;
    MESSAGE(6, "der(%s,t=%lg) = %lg \n", parameter_[index].getName().c_str(), t, d);
    return d;
}
