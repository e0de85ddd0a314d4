#include "models/Water_1TC_Model.h"

Water_1TC_Model::Water_1TC_Model() : Water_1TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0) {}

Water_1TC_Model::Water_1TC_Model(const Unit& unit, double k1, double Vd, double tbv)
    : CardiacModel("Water_1TC", unit, MODEL_ORIGIN(Water_1TC_Model), false) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("Vd", Unit(), Vd);
    addParameter("tbv", Unit(), tbv);
}

double Water_1TC_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, true);
    // With r = k1 / Vd and d conv(r)/dr = convT(r) - t conv(r):
    const double k1 = cache_.p[K1], tbv = cache_.p[TBV], conv = cache_.conv, convT = cache_.convT;
    const double r = efflux();
    double d = 0.0;
    switch (index) {
        // d/dk1 [k1 conv(r)] = conv(r) + k1 (convT - t conv) / Vd
        case K1: d = (1.0 - tbv) * (conv * (1.0 - t * r) + r * convT); break;
        // d/dVd [k1 conv(r)] = k1 (convT - t conv) (-k1 / Vd^2)
        case VD: d = (1.0 - tbv) * r * r * (t * conv - convT); break;
        case TBV: d = cache_.ca - k1 * conv; break;
        default: return 0.0;
    }
    return d * unitFactor(index);
}
