#include "models/Cardiac_HutchinsI_Model.h"

Cardiac_HutchinsI_Model::Cardiac_HutchinsI_Model() : Cardiac_HutchinsI_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0) {}

Cardiac_HutchinsI_Model::Cardiac_HutchinsI_Model(const Unit& unit, double k1, double k2, double tbv)
    : CardiacModel("Cardiac_HutchinsI", unit, MODEL_ORIGIN(Cardiac_HutchinsI_Model), true) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("k2", Unit("1/min"), k2);
    addParameter("tbv", Unit(), tbv);
}

double Cardiac_HutchinsI_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, true);
    const double k1 = cache_.p[K1], tbv = cache_.p[TBV], conv = cache_.conv;
    double d = 0.0;
    switch (index) {
        case K1: d = (1.0 - tbv) * conv; break;
        // d conv(k)/dk = convT(k) - t conv(k)
        case K2: d = (1.0 - tbv) * k1 * (cache_.convT - t * conv); break;
        case TBV: d = cache_.ca - k1 * conv; break;
        default: return 0.0;
    }
    return d * unitFactor(index);
}
