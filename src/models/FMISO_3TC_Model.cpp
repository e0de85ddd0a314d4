#include "models/FMISO_3TC_Model.h"

FMISO_3TC_Model::FMISO_3TC_Model() : FMISO_3TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0) {}

FMISO_3TC_Model::FMISO_3TC_Model(const Unit& unit, double k1, double k2, double k3, double k4, double alpha,
                                 double beta, double eta, double V)
    : Model("FMISO_3TC", 4, unit, MODEL_ORIGIN(FMISO_3TC_Model)) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("k2", Unit("1/min"), k2);
    addParameter("k3", Unit("1/min"), k3);
    addParameter("k4", Unit("1/min"), k4);
    addParameter("alpha", Unit(), alpha);
    addParameter("beta", Unit(), beta);
    addParameter("eta", Unit(), eta);
    addParameter("V", Unit("ml"), V);
}

// Placeholders until the closed forms arrive.
double FMISO_3TC_Model::operator()(double, unsigned, unsigned, unsigned) { return 0.0; }

std::vector<double> FMISO_3TC_Model::computeAll(double, unsigned, unsigned, unsigned) {
    return std::vector<double>(4, 0.0);
}

double FMISO_3TC_Model::analyticDer(unsigned, double, unsigned, unsigned, unsigned) { return 0.0; }
