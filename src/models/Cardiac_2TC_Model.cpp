#include "models/Cardiac_2TC_Model.h"

Cardiac_2TC_Model::Cardiac_2TC_Model() : Cardiac_2TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 1.0, 0.0, 0.0) {}

Cardiac_2TC_Model::Cardiac_2TC_Model(const Unit& unit, double k1, double k3, double k4, double V, double alpha,
                                     double beta)
    : TwoTissueModel("Cardiac_2TC", unit, MODEL_ORIGIN(Cardiac_2TC_Model), CARDIAC) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("k3", Unit("1/min"), k3);
    addParameter("k4", Unit("1/min"), k4);
    addParameter("V", Unit(), V);
    addParameter("alpha", Unit(), alpha);
    addParameter("beta", Unit(), beta);
}

void Cardiac_2TC_Model::readParameters(unsigned x, unsigned y, unsigned z) {
    double* p = cache_.p;
    for (unsigned i = 0; i < 6; ++i) p[i] = normalValue(i, x, y, z);
    cache_.rate[0] = p[K1];
    cache_.rate[1] = p[K1] / p[V];
    cache_.rate[2] = p[K3];
    cache_.rate[3] = p[K4];
    cache_.wBlood = p[BETA];
    cache_.wTissue = p[ALPHA];
}

double Cardiac_2TC_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, true);
    const TwoTissueCoefficients& c = cache_.c;
    const double w = cache_.wTissue, k1 = c.k[0];
    double d = 0.0;
    switch (index) {
        // d/dk1 + d/dk2 at V = 1 (S' = k1 + k3 + k4 whatever V is); 0.0 at k1 = 0
        case K1: d = k1 == 0.0 ? 0.0 : w * (tissuePerK1() + effluxTerm(k1 + c.k[2] + c.k[3], t)); break;
        case K3: d = byK3(t); break;
        case K4: d = byK4(t); break;
        // No derivative by V: V must be held const in a fit.
        case V: d = 0.0; break;
        case ALPHA: d = tissue(); break;
        case BETA: d = cache_.ca; break;
        default: return 0.0;
    }
    return d * unitFactor(index);
}

double Cardiac_2TC_Model::getMBF(unsigned x, unsigned y, unsigned z) const {
    return parameter_[K1].valueAt(x, y, z) * unitFactor(K1) / cache_.density;
}
