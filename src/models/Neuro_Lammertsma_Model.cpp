#include "models/Neuro_Lammertsma_Model.h"

#include <cmath>

#include "InputFunction.h"
#include "models/RateConvolution.h"

Neuro_Lammertsma_Model::Neuro_Lammertsma_Model() : Neuro_Lammertsma_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 0.0) {}

Neuro_Lammertsma_Model::Neuro_Lammertsma_Model(const Unit& unit, double R1, double k2, double k3, double BPstar)
    : ReferenceRegionModel("Neuro_Lammertsma", unit, MODEL_ORIGIN(Neuro_Lammertsma_Model)) {
    addParameter("R1", Unit("1"), R1);
    addParameter("k2", Unit("1/min"), k2);
    addParameter("k3", Unit("1/min"), k3);
    addParameter("BPstar", Unit("1"), BPstar);
}

void Neuro_Lammertsma_Model::precompute(double t, unsigned x, unsigned y, unsigned z, bool /*withTime*/) {
    if (inPass_) return;
    double p[4];
    for (unsigned i = 0; i < 4; ++i) p[i] = normalValue(i, x, y, z);
    InputFunction* input = referenceInput();
    if (input == nullptr) {
        cache_.cr = cache_.conv1 = cache_.conv2 = cache_.convT1 = cache_.convT2 = 0.0;
        return;
    }
    int status = refreshSet(p) ? 1 : 0;
    const double f = input->getUnit().getFactor();
    if (t != t_) {
        ++status;
        MESSAGE(5, "new t=%.2f (%.2f) => status =%d\n", t, t_, status);
        t_ = t;
        cache_.cr = (*input)(t, 0, 0, 0) * f;
    }
    if (status > 0) {
        // The rates are positive here and go to the input as they are.
        cache_.conv1 = convExpAt(*input, cache_.l1, t, 0, 0, 0) * f;
        cache_.conv2 = convExpAt(*input, cache_.l2, t, 0, 0, 0) * f;
        cache_.convT1 = convTimeExpAt(*input, cache_.l1, t, 0, 0, 0) * f;
        cache_.convT2 = convTimeExpAt(*input, cache_.l2, t, 0, 0, 0) * f;
    }
}

bool Neuro_Lammertsma_Model::evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z,
                                          const unsigned* index, unsigned P, double* values, double* derivatives) {
    if (!onePass(T, P, 4)) return false;
    // The set as the first call of the frame loop reads it (and reports it).
    double p[4];
    for (unsigned i = 0; i < 4; ++i) p[i] = normalValue(i, x, y, z);
    InputFunction* input = referenceInput();
    refreshSet(p);
    const double rate[2] = {cache_.l1, cache_.l2};
    if (!std::isfinite(rate[0]) || !std::isfinite(rate[1])) return false;
    const double f = input->getUnit().getFactor();
    const RatePass pass = convolveRates(*input, rate, 2, t, T, 0, 0, 0);
    evaluateFromCache(t, T, x, y, z, index, P, values, derivatives, [&](unsigned i) {
        cache_.cr = pass.value[i] * f;
        cache_.conv1 = pass.conv[0][i] * f;
        cache_.conv2 = pass.conv[1][i] * f;
        cache_.convT1 = pass.convT[0][i] * f;
        cache_.convT2 = pass.convT[1][i] * f;
    });
    return true;
}

bool Neuro_Lammertsma_Model::refreshSet(const double* p) {
    if (p[R1] != cache_.p[R1] || p[K2] != cache_.p[K2] || p[K3] != cache_.p[K3] || p[BPSTAR] != cache_.p[BPSTAR]) {
        MESSAGE(5, "re-setting model parameters: %.3f,%.6f,%.4f,%.4f\n", p[R1], p[K2], p[K3], p[BPSTAR]);
        for (unsigned i = 0; i < 4; ++i) cache_.p[i] = p[i];
        const double k2 = p[K2], k3 = p[K3], k4 = k3 / p[BPSTAR];
        cache_.k4 = k4;
        cache_.K = k2 / p[R1];
        const double S = k2 + k3 + k4;
        // S^2 - 4 k2 k4 regrouped: a sum of squares and products of the rates,
        // with no cancellation when k2 k4 is near S^2 / 4.
        const double d = (k2 - k4) * (k2 - k4) + k3 * (k3 + 2.0 * k2 + 2.0 * k4);
        if (d > 0.0) {
            cache_.Delta = std::sqrt(d);
            // l1 l2 = k2 k4: the rate of the larger size directly, the other
            // as the quotient (S - Delta loses every digit when k2 k4 << S^2).
            if (S >= 0.0) {
                cache_.l2 = 0.5 * (S + cache_.Delta);
                cache_.l1 = k2 * k4 / cache_.l2;
            } else {
                cache_.l1 = 0.5 * (S - cache_.Delta);
                cache_.l2 = k2 * k4 / cache_.l1;
            }
        } else if (d == 0.0) {
            cache_.Delta = 0.0;
            cache_.l1 = cache_.l2 = 0.5 * S;
            WARNING("Delta == 0.0 in Neuro_Lammertsma_Model!");
        } else if (d < 0.0) {
            cache_.Delta = cache_.l1 = cache_.l2 = 0.0;
            WARNING("Delta < 0.0 in Neuro_Lammertsma_Model: %.6f!", cache_.Delta);
        } else {
            // Not a number (BPstar = 0 with k3 = 0): no rates rather than
            // those of the previous set.
            cache_.Delta = cache_.l1 = cache_.l2 = std::nan("");
        }
        return true;
    }
    return false;
}

double Neuro_Lammertsma_Model::value(double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, false);
    const Cache& c = cache_;
    const double q = (c.k4 - c.p[K2] + c.p[K3]) / c.Delta;
    const double specific = 0.5 * ((1.0 + q) * (c.K - c.l1) * c.conv1 + (1.0 - q) * (c.K - c.l2) * c.conv2);
    return (c.p[R1] * (c.cr + specific) + furtherInputSum(t, x, y, z)) * scale_;
}

double Neuro_Lammertsma_Model::operator()(double t, unsigned x, unsigned y, unsigned z) {
    const double v = value(t, x, y, z);
    MESSAGE(6, "Neuro_Lammertsma (t=%.2f) = %.6f\n", t, v);
    return v;
}

std::vector<double> Neuro_Lammertsma_Model::computeAll(double t, unsigned x, unsigned y, unsigned z) {
    const double v = value(t, x, y, z);
    return {v, cache_.cr * scale_};
}

double Neuro_Lammertsma_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, true);
    const Cache& c = cache_;
    const double r1 = c.p[R1], k2 = c.p[K2], k3 = c.p[K3], bp = c.p[BPSTAR], k4 = c.k4;
    const double Delta = c.Delta, l1 = c.l1, l2 = c.l2, D3 = Delta * Delta * Delta;
    const double q = (k4 - k2 + k3) / Delta;
    const double a1 = 0.5 * (1.0 + q), a2 = 0.5 * (1.0 - q);
    const double m1 = k2 - r1 * l1, m2 = k2 - r1 * l2;
    // d conv(l)/dl = convT - t conv = -T
    const double T1 = t * c.conv1 - c.convT1, T2 = t * c.conv2 - c.convT2;
    // The derivative by k4, of which BPstar's and k3's are chain-rule multiples
    // (dk4/dBPstar = -k3 / BPstar^2, dk4/dk3 = 1 / BPstar): taken once and
    // multiplied, so that k3 = 0 gives no 0/0.
    const double e = (k4 - k2 + k3) / (2.0 * Delta);
    const double byK4 = ((0.5 - e) * (-r1 * a1) + 2.0 * k2 * k3 / D3 * m1) * c.conv1 + m1 * a1 * (e - 0.5) * T1 +
                        ((0.5 + e) * (-r1 * a2) - 2.0 * k2 * k3 / D3 * m2) * c.conv2 + m2 * a2 * (-0.5 - e) * T2;
    double d = 0.0;
    switch (index) {
        case R1: d = c.cr - 0.5 * l1 * (1.0 + q) * c.conv1 - 0.5 * l2 * (1.0 - q) * c.conv2; break;
        case K2: {
            const double b = (k2 + k3 - k4) / (2.0 * Delta), s = k3 / D3 * (k2 + k3 + k4);
            d = (-s * m1 + (1.0 - (0.5 - b) * r1) * a1) * c.conv1 + m1 * a1 * (b - 0.5) * T1 +
                (s * m2 + (1.0 - (0.5 + b) * r1) * a2) * c.conv2 + m2 * a2 * (-0.5 - b) * T2;
            break;
        }
        case K3: {
            const double cc = (k2 + k3 + k4) / (2.0 * Delta), s = k2 / D3 * (k2 + k3 - k4);
            d = ((0.5 - cc) * (-r1 * a1) + s * m1) * c.conv1 + m1 * a1 * (cc - 0.5) * T1 +
                ((0.5 + cc) * (-r1 * a2) - s * m2) * c.conv2 + m2 * a2 * (-0.5 - cc) * T2 + byK4 / bp;
            break;
        }
        case BPSTAR: d = byK4 * (-k3 / (bp * bp)); break;
        default: return 0.0;
    }
    const std::string& name = parameter_[index].getName();
    MESSAGE(4, "der(%s,t=%.1f) = %.6f (in normUnits)\n", name.c_str(), t, d);
    d *= unitFactor(index) * scale_;
    MESSAGE(4, "der(%s,t=%.1f) = %.6f \n", name.c_str(), t, d);
    return d;
}
