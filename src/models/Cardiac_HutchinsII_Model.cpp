#include "models/Cardiac_HutchinsII_Model.h"

#include "Dataset3D.h"

Cardiac_HutchinsII_Model::Cardiac_HutchinsII_Model() : Cardiac_HutchinsII_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 0.0) {}

Cardiac_HutchinsII_Model::Cardiac_HutchinsII_Model(const Unit& unit, double k1, double k2, double k3, double tbv)
    : TwoTissueModel("Cardiac_HutchinsII", unit, MODEL_ORIGIN(Cardiac_HutchinsII_Model), NO_EFFLUX_FROM_BOUND) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("k2", Unit("1/min"), k2);
    addParameter("k3", Unit("1/min"), k3);
    addParameter("tbv", Unit(), tbv);
}

void Cardiac_HutchinsII_Model::readParameters(unsigned x, unsigned y, unsigned z) {
    double* p = cache_.p;
    for (unsigned i = 0; i < 4; ++i) p[i] = normalValue(i, x, y, z);
    cache_.rate[0] = p[K1];
    cache_.rate[1] = p[K2];
    cache_.rate[2] = p[K3];
    cache_.rate[3] = 0.0;
    cache_.wBlood = p[TBV];
    cache_.wTissue = 1.0 - p[TBV];
}

double Cardiac_HutchinsII_Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    precompute(t, x, y, z, true);
    const double* k = cache_.c.k;
    double d = 0.0;
    switch (index) {
        case K1: d = byK1(); break;
        case K2: d = cache_.wTissue * effluxTerm(k[1] + k[2], t); break;
        case K3: d = byK3(t); break;
        case TBV: d = cache_.ca - tissue(); break;
        default: return 0.0;
    }
    return d * unitFactor(index);
}

double Cardiac_HutchinsII_Model::getMBF(unsigned x, unsigned y, unsigned z) const {
    return parameter_[K1].valueAt(x, y, z) / cache_.density;
}

Dataset3D<double>* Cardiac_HutchinsII_Model::getMBF() const {
    Dataset3D<double>* mbf = new Dataset3D<double>(*parameter_[K1].getValueVolume());
    *mbf /= cache_.density;
    return mbf;
}
