#include "models/Casciari_Model.h"

#include <cmath>

#include "InputFunction.h"
#include "models/ConvolutionDifferences.h"
#include "models/RateConvolution.h"
#include "util/Message.h"

Casciari_Model::Casciari_Model() : Casciari_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0) {}

Casciari_Model::Casciari_Model(const Unit& unit, double F, double ka, double kb, double alpha, double beta1,
                               double beta2, double eta, double V)
    : Model("Casciari", 5, unit) {
    addParameter("F", Unit("1/min"), F);
    addParameter("ka", Unit("1/min"), ka);
    addParameter("kb", Unit("1/min"), kb);
    addParameter("alpha", Unit(), alpha);
    addParameter("beta1", Unit(), beta1);
    addParameter("beta2", Unit(), beta2);
    addParameter("eta", Unit(), eta);
    addParameter("V", Unit("ml"), V);
}

bool Casciari_Model::refreshSet(unsigned x, unsigned y, unsigned z) {
    if (!(changed_ || x != x_ || y != y_ || z != z_)) return true;
    Cache& c = cache_;
    double p[8];
    for (unsigned i = 0; i < 8; ++i) p[i] = normalValue(i, x, y, z);
    if (input_.empty() || input_[0] == nullptr) return false;
    bool differ = false;
    for (unsigned i = 0; i < 8; ++i) differ = differ || !(p[i] == c.p[i]);
    if (differ) {
        MESSAGE(6, "re-setting model parameters: %.3f,%.4f,%.4f,%.3f,%.4f,%.4f,%.3f,%.2f\n", p[0], p[1], p[2], p[3],
                p[4], p[5], p[6], p[7]);
        for (unsigned i = 0; i < 8; ++i) c.p[i] = p[i];
        c.kappa = (1.0 - p[ETA]) * p[KA] + p[F] / p[V];
        c.m = p[F] / (p[ETA] * p[V]);
    }
    x_ = x;
    y_ = y;
    z_ = z;
    changed_ = false;
    // A new voxel asks for the input anew too, even with the same
    // parameters: the input's curve may differ from voxel to voxel.
    t_ = kNaN;
    return true;
}

bool Casciari_Model::precompute(double t, unsigned x, unsigned y, unsigned z) {
    if (inPass_) return true;
    Cache& c = cache_;
    InputFunction* input = firstInput();
    int status = 0;
    if (changed_ || x != x_ || y != y_ || z != z_) {
        if (!refreshSet(x, y, z)) {
            ERROR("no input function");
            return false;
        }
        status = 1;
    }
    if (input == nullptr) {
        ERROR("no input function");
        return false;
    }
    if (t != t_ || scale_ != c.scale) {
        ++status;
        MESSAGE(6, "new t=%.2f (%.2f) => status =%d\n", t, t_, status);
        c.ca = (*input)(t, x, y, z) * scale_;
        t_ = t;
        c.scale = scale_;
    }
    if (status > 0) {
        const double* p = c.p;
        const double rate[5] = {0.0, p[KA], c.kappa, p[KB], c.m};
        for (unsigned i = 0; i < 5; ++i) c.conv[i] = convExpAt(*input, rate[i], t, x, y, z) * scale_;
        curves(*input, t, x, y, z);
    }
    return true;
}

void Casciari_Model::curves(InputFunction& input, double t, unsigned x, unsigned y, unsigned z) {
    Cache& c = cache_;
    const double* p = c.p;
    const ConvolutionDifferences f{&input, t, x, y, z, scale_};
    const double flow = p[F] / p[V], e = 1.0 - p[ETA], a = p[ALPHA];
    const double D0 = -f.first(0.0, c.conv[0], c.kappa, c.conv[2]);
    const double E = -f.first(p[KB], c.conv[3], c.kappa, c.conv[2]);
    c.C1 = flow * c.conv[2];
    c.C2 = a * p[KA] * flow * D0;
    c.C3 = (1.0 - a) * p[KA] * flow * E;
    // C4 = (1 - alpha) e m ka kb f[kappa, kb, m]. eta = 0 sends m to
    // infinity, where m f[kappa, kb, m] tends to -f[kappa, kb] = E and
    // eta C4 to 0: the limit, not a NaN.
    if (std::isfinite(c.m)) {
        const double f3 = f.second(c.kappa, c.conv[2], p[KB], c.conv[3], c.m, c.conv[4]);
        c.C4 = (1.0 - a) * e * c.m * p[KA] * p[KB] * f3;
        c.etaC4 = (1.0 - a) * e * flow * p[KA] * p[KB] * f3;
    } else {
        c.C4 = (1.0 - a) * e * p[KA] * p[KB] * E;
        c.etaC4 = 0.0;
    }
}

bool Casciari_Model::evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z,
                                  const unsigned* index, unsigned P, double* values, double* derivatives) {
    InputFunction* input = firstInput();
    if (P > 0 || !onePass(T, P, 5) || !refreshSet(x, y, z)) return false;
    Cache& c = cache_;
    const double rate[5] = {0.0, c.p[KA], c.kappa, c.p[KB], c.m};
    for (unsigned r = 0; r < 4; ++r)
        if (!std::isfinite(rate[r])) return false;
    // m is infinite at eta = 0: its convolution is then NaN, as the calls
    // have it (and the curves take the limit).
    const unsigned n = std::isfinite(c.m) ? 5 : 4;
    const RatePass pass = convolveRates(*input, rate, n, t, T, x, y, z);
    evaluateFromCache(t, T, x, y, z, index, P, values, derivatives, [&](unsigned i) {
        c.ca = pass.value[i] * scale_;
        c.scale = scale_;
        for (unsigned r = 0; r < 5; ++r)
            c.conv[r] = r < n ? pass.conv[r][i] * scale_ : kNaN;
        curves(*input, t[i], x, y, z);
    });
    return true;
}

double Casciari_Model::operator()(double t, unsigned x, unsigned y, unsigned z) {
    if (!precompute(t, x, y, z)) return 0.0;
    const Cache& c = cache_;
    const double* p = c.p;
    const double tissue = c.C1 + (1.0 - p[ETA]) * (c.C2 + c.C3) + c.etaC4;
    return p[BETA1] * c.ca + p[BETA2] * p[V] * tissue + furtherInputsInModelUnits(t, x, y, z);
}

std::vector<double> Casciari_Model::computeAll(double t, unsigned x, unsigned y, unsigned z) {
    const double total = (*this)(t, x, y, z);
    return {total, cache_.C1, cache_.C2, cache_.C3, cache_.C4};
}
