#include "models/Casciari_Model.h"

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

// Placeholders until the closed forms arrive.
double Casciari_Model::operator()(double, unsigned, unsigned, unsigned) { return 0.0; }

std::vector<double> Casciari_Model::computeAll(double, unsigned, unsigned, unsigned) {
    return std::vector<double>(5, 0.0);
}
