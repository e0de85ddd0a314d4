#include "models/Generic_2TC_Model.h"

Generic_2TC_Model::Generic_2TC_Model() : Generic_2TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 0.0, 0.0, 0.0) {}

Generic_2TC_Model::Generic_2TC_Model(const Unit& unit, double k1, double k2, double k3, double k4, double alpha,
                                     double beta)
    : TwoTissueModel("Generic_2TC", unit, MODEL_ORIGIN(Generic_2TC_Model), GENERIC) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("k2", Unit("1/min"), k2);
    addParameter("k3", Unit("1/min"), k3);
    addParameter("k4", Unit("1/min"), k4);
    addParameter("alpha", Unit(), alpha);
    addParameter("beta", Unit(), beta);
}

void Generic_2TC_Model::readParameters(unsigned x, unsigned y, unsigned z) {
    double* p = cache_.p;
    for (unsigned i = 0; i < 6; ++i) p[i] = normalValue(i, x, y, z);
    for (unsigned i = 0; i < 4; ++i) cache_.rate[i] = p[i];
    cache_.wBlood = p[BETA];
    cache_.wTissue = p[ALPHA];
}

double Generic_2TC_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, true);
    const double* k = cache_.c.k;
    double d = 0.0;
    switch (index) {
        case K1: d = byK1(); break;
        case K2: d = cache_.wTissue * effluxTerm(k[1] + k[2] + k[3], t); break;
        case K3: d = byK3(t); break;
        case K4: d = byK4(t); break;
        case ALPHA: d = tissue(); break;
        case BETA: d = cache_.ca; break;
        default: return 0.0;
    }
    return d * unitFactor(index);
}
