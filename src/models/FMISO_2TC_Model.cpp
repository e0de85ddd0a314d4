#include "models/FMISO_2TC_Model.h"

FMISO_2TC_Model::FMISO_2TC_Model() : FMISO_2TC_Model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0) {}

FMISO_2TC_Model::FMISO_2TC_Model(const Unit& unit, double k1, double k2, double k3, double alpha, double beta,
                                 double eta, double V)
    : Model("FMISO_2TC", 3, unit, MODEL_ORIGIN(FMISO_2TC_Model)) {
    addParameter("k1", Unit("1/min"), k1);
    addParameter("k2", Unit("1/min"), k2);
    addParameter("k3", Unit("1/min"), k3);
    addParameter("alpha", Unit(), alpha);
    addParameter("beta", Unit(), beta);
    addParameter("eta", Unit(), eta);
    addParameter("V", Unit("ml"), V);
}

// Placeholders until the closed forms arrive.
double FMISO_2TC_Model::operator()(double, unsigned, unsigned, unsigned) { return 0.0; }

std::vector<double> FMISO_2TC_Model::computeAll(double, unsigned, unsigned, unsigned) {
    return std::vector<double>(3, 0.0);
}

double FMISO_2TC_Model::analyticDer(unsigned, double, unsigned, unsigned, unsigned) { return 0.0; }
