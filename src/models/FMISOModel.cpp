#include "models/FMISOModel.h"

#include <cmath>

#include "InputFunction.h"
#include "models/ConvolutionDifferences.h"
#include "models/RateConvolution.h"
#include "util/Message.h"

FMISOModel::FMISOModel(const std::string& name, unsigned components, const Unit& unit, const ModelOrigin& origin)
    : Model(name, components, unit, origin), threeTissue_(components == 4), home_(origin) {}

void FMISOModel::readRates(unsigned x, unsigned y, unsigned z, bool withK4) {
    Cache& c = cache_;
    unsigned i = 0;
    c.k1 = normalValue(i++, x, y, z);
    c.k2 = normalValue(i++, x, y, z);
    c.k3 = normalValue(i++, x, y, z);
    c.k4 = withK4 ? normalValue(i++, x, y, z) : 0.0;
    c.alpha = normalValue(i++, x, y, z);
    c.beta = normalValue(i++, x, y, z);
    c.eta = normalValue(i++, x, y, z);
    c.V = normalValue(i, x, y, z);
}

void FMISOModel::refreshSet(unsigned x, unsigned y, unsigned z) {
    if (!(changed_ || x != x_ || y != y_ || z != z_)) return;
    readParameters(x, y, z);
    settle(x, y, z);
}

void FMISOModel::settle(unsigned x, unsigned y, unsigned z) {
    x_ = x;
    y_ = y;
    z_ = z;
    changed_ = false;
    t_ = kNaN;  // new parameters or voxel: new numbers
}

bool FMISOModel::precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime) {
    if (inPass_) return true;
    InputFunction* input = firstInput();
    const bool moved = changed_ || x != x_ || y != y_ || z != z_;
    if (moved) readParameters(x, y, z);
    if (input == nullptr) {
        // From the concrete class's module: nothing to evaluate.
        _ErrorHelper(home_.file, home_.line)("no input function");
        cache_.C1 = cache_.C2 = cache_.C3 = cache_.ca = 0.0;
        return false;
    }
    if (moved) settle(x, y, z);
    // The value and the derivatives at one time ask for the same numbers:
    // the last fetch answers while time, scale_ and the voxel stand.
    if (t == t_ && scale_ == cache_.scale && (cache_.withTime || !withTime)) return true;
    t_ = t;
    cache_.scale = scale_;
    cache_.withTime = withTime;
    Cache& c = cache_;
    const double rate[4] = {0.0, c.k3, c.kappa, c.k4};
    c.ca = (*input)(t, x, y, z) * scale_;
    const unsigned n = threeTissue_ ? 4 : 3;
    for (unsigned i = 0; i < n; ++i) c.conv[i] = convExpAt(*input, rate[i], t, x, y, z) * scale_;
    if (withTime)
        for (unsigned i = 0; i < n; ++i) c.convT[i] = convTimeExpAt(*input, rate[i], t, x, y, z) * scale_;
    curves(*input, t, x, y, z, withTime);
    return true;
}

void FMISOModel::curves(InputFunction& input, double t, unsigned x, unsigned y, unsigned z, bool withTime) {
    Cache& c = cache_;
    const ConvolutionDifferences f{&input, t, x, y, z, scale_};
    const double e = 1.0 - c.eta;
    c.D0 = -f.first(0.0, c.conv[0], c.kappa, c.conv[2]);
    c.C1 = c.k1 * c.conv[2];
    c.C2 = c.k1 * c.alpha * c.k3 * c.D0;
    c.E = threeTissue_ ? -f.first(c.k4, c.conv[3], c.kappa, c.conv[2]) : 0.0;
    c.C3 = threeTissue_ ? e * (1.0 - c.alpha) * c.k1 * c.k3 * c.E : 0.0;
    if (withTime) {
        c.T = c.convT[2] - t * c.conv[2];
        c.Q = f.confluent(0.0, c.conv[0], c.kappa, c.conv[2], c.T);
        if (threeTissue_) {
            const double dk4 = c.convT[3] - t * c.conv[3];
            c.R = f.confluent(c.k4, c.conv[3], c.kappa, c.conv[2], c.T);
            c.S = f.confluent(c.kappa, c.conv[2], c.k4, c.conv[3], dk4);
        }
    }
}

bool FMISOModel::evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                              unsigned P, double* values, double* derivatives) {
    InputFunction* input = firstInput();
    if (!onePass(T, P, 5)) return false;
    // The set as the first call of the frame loop reads it.
    refreshSet(x, y, z);
    const Cache& c = cache_;
    const double rate[4] = {0.0, c.k3, c.kappa, c.k4};
    const unsigned n = threeTissue_ ? 4 : 3;
    bool finite = true;
    for (unsigned r = 0; r < n; ++r) finite = finite && std::isfinite(rate[r]);
    if (!finite) return false;
    const RatePass pass = convolveRates(*input, rate, n, t, T, x, y, z);
    evaluateFromCache(t, T, x, y, z, index, P, values, derivatives, [&](unsigned i) {
        cache_.ca = pass.value[i] * scale_;
        for (unsigned r = 0; r < n; ++r) {
            cache_.conv[r] = pass.conv[r][i] * scale_;
            cache_.convT[r] = pass.convT[r][i] * scale_;
        }
        curves(*input, t[i], x, y, z, true);
    });
    return true;
}

double FMISOModel::operator()(double t, unsigned x, unsigned y, unsigned z) {
    if (!precompute(t, x, y, z, false)) return 0.0;
    const Cache& c = cache_;
    const double tissue = c.C1 + (1.0 - c.eta) * c.C2 + c.C3;
    return c.V * (c.beta * c.ca + (1.0 - c.beta) * tissue) + furtherInputsInModelUnits(t, x, y, z);
}

std::vector<double> FMISOModel::computeAll(double t, unsigned x, unsigned y, unsigned z) {
    const double total = (*this)(t, x, y, z);
    if (threeTissue_) return {total, cache_.C1, cache_.C2, cache_.C3};
    return {total, cache_.C1, cache_.C2};
}

double FMISOModel::finish(unsigned index, double t, double d) {
    MESSAGE(6, "der(%s, t=%.1f) = %.6f \n", parameter_[index].getName().c_str(), t, d);
    return d * unitFactor(index);
}
