#include "models/CardiacModel.h"

#include <cmath>

#include "Dataset3D.h"
#include "InputFunction.h"

CardiacModel::CardiacModel(const std::string& name, const Unit& unit, const ModelOrigin& origin, bool furtherInputs)
    : Model(name, 2, unit, origin), furtherInputs_(furtherInputs) {}

double CardiacModel::withFurtherInputs(double value, double t, unsigned x, unsigned y, unsigned z) const {
    return furtherInputs_ ? value + furtherInputs(t, x, y, z, scale_) : value;
}

double CardiacModel::operator()(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    const double tbv = cache_.p[TBV];
    return withFurtherInputs(tbv * cache_.ca + (1.0 - tbv) * cache_.p[K1] * cache_.conv, t, x, y, z);
}

std::vector<double> CardiacModel::computeAll(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    const double tbv = cache_.p[TBV], c1 = cache_.p[K1] * cache_.conv;
    return {withFurtherInputs(tbv * cache_.ca + (1.0 - tbv) * c1, t, x, y, z), c1};
}

void CardiacModel::readParameters(unsigned x, unsigned y, unsigned z) {
    if (changed_ || x != x_ || y != y_ || z != z_) {
        for (unsigned i = 0; i < 3; ++i) cache_.p[i] = normalValue(i, x, y, z);
        x_ = x;
        y_ = y;
        z_ = z;
        changed_ = false;
    }
}

void CardiacModel::precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime) {
    if (inPass_) return;
    readParameters(x, y, z);
    t_ = t;
    InputFunction* input = firstInput();
    if (input == nullptr) {
        cache_.ca = cache_.conv = cache_.convT = 0.0;
        return;
    }
    cache_.ca = (*input)(t, 0, 0, 0) * scale_;
    const double k2 = efflux();
    cache_.conv = input->convExp(k2, t, 0, 0, 0) * scale_;
    if (withTime) cache_.convT = input->convTimeExp(k2, t, 0, 0, 0) * scale_;
}

bool CardiacModel::evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                                unsigned P, double* values, double* derivatives) {
    InputFunction* input = firstInput();
    readParameters(x, y, z);
    const double k2 = efflux();
    if (!onePass(T, P, 5) || !std::isfinite(k2)) return false;
    const RatePass pass = convolveRates(*input, &k2, 1, t, T, 0, 0, 0);
    evaluateFromCache(t, T, x, y, z, index, P, values, derivatives, [&](unsigned i) {
        cache_.ca = pass.value[i] * scale_;
        cache_.conv = pass.conv[0][i] * scale_;
        cache_.convT = pass.convT[0][i] * scale_;
    });
    return true;
}

double CardiacModel::getMBF(unsigned x, unsigned y, unsigned z) const {
    return parameter_[K1].valueAt(x, y, z) / cache_.density;
}

Dataset3D<double>* CardiacModel::getMBF() const {
    Dataset3D<double>* mbf = new Dataset3D<double>(*parameter_[K1].getValueVolume());
    *mbf /= cache_.density;
    return mbf;
}
