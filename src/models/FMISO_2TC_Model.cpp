#include "models/FMISO_2TC_Model.h"

FMISO_2TC_Model::FMISO_2TC_Model() : FMISO_2TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0) {}

FMISO_2TC_Model::FMISO_2TC_Model(const Unit& unit, double k1, double k2, double k3, double alpha, double beta,
                                 double eta, double V)
    : FMISOModel("FMISO_2TC", 3, unit, MODEL_ORIGIN(FMISO_2TC_Model)) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("k2", Unit("1/min"), k2);
    addParameter("k3", Unit("1/min"), k3);
    addParameter("alpha", Unit(), alpha);
    addParameter("beta", Unit(), beta);
    addParameter("eta", Unit(), eta);
    addParameter("V", Unit("ml"), V);
}

void FMISO_2TC_Model::readParameters(unsigned x, unsigned y, unsigned z) {
    readRates(x, y, z, false);
    Cache& c = cache_;
    c.kappa = c.k2 + (1.0 - c.eta) * c.alpha * c.k3;
}

// With W = (1 - beta) V, e = 1 - eta, T = f'(kappa), D0 and Q = f[0, kappa,
// kappa] (dD0/dkappa = -Q) the rows are written without dividing by k1, k3,
// alpha or kappa; the k1 and V rows leave the further inputs out.
double FMISO_2TC_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    computeAll(t, x, y, z);
    if (!precompute(t, x, y, z, true)) return 0.0;
    const Cache& c = cache_;
    const double W = (1.0 - c.beta) * c.V, e = 1.0 - c.eta;
    // d/dk3 and d/dalpha share T + D0 - e alpha k3 Q (= k2 Q).
    const double trap = c.T + c.D0 - e * c.alpha * c.k3 * c.Q;
    double d = 0.0;
    switch (index) {
    case K1:
        d = W * (c.conv[2] + e * c.alpha * c.k3 * c.D0);
        break;
    case K2:
        d = W * c.k1 * (c.T - e * c.alpha * c.k3 * c.Q);
        break;
    case K3:
        d = W * e * c.alpha * c.k1 * trap;
        break;
    case ALPHA:
        d = W * e * c.k3 * c.k1 * trap;
        break;
    case BETA:
        d = c.V * (c.ca - (e * c.C2 + c.C1));
        break;
    case ETA: {
        // Kept as the model has always given it: not the derivative by eta.
        // A fit must hold eta fixed, or use numerical derivatives (numder).
        // Its ratio e alpha k3 / kappa is taken as 0 at kappa = 0.
        const double r = c.kappa != 0.0 ? e * c.alpha * c.k3 / c.kappa : 0.0;
        d = ((r + 1.0) * c.alpha * c.k1 * c.k3 * (t * c.conv[2] - c.convT[2]) + (r - 1.0) * c.C2) * W;
        break;
    }
    case V:
        d = c.beta * c.ca + (1.0 - c.beta) * (c.C1 + e * c.C2);
        break;
    default:
        return 0.0;
    }
    return finish(index, t, d);
}
