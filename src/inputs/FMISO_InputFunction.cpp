#include "inputs/FMISO_InputFunction.h"

#include "util/Message.h"

FMISO_InputFunction::FMISO_InputFunction() : FMISO_InputFunction("") {}

FMISO_InputFunction::FMISO_InputFunction(const std::string& name) : FMISO_InputFunction(name, Unit()) {}

FMISO_InputFunction::FMISO_InputFunction(const std::string& name, const Unit& unit)
    : ParametricInputFunction(name, unit, "FMISO_InputFunction") {}

FMISO_InputFunction::FMISO_InputFunction(const std::string& name, const Unit& unit, double tau, double A0, double c0,
                                         double A1, double c11, double c21)
    : FMISO_InputFunction(name, unit) {
    init({tau, A0, c0, A1, c11, c21});
}

FMISO_InputFunction::FMISO_InputFunction(const std::string& name, const Unit& unit, double tau, double A0, double c0,
                                         double A1, double c11, double c21, double A2, double c12, double c22)
    : FMISO_InputFunction(name, unit) {
    init({tau, A0, c0, A1, c11, c21, A2, c12, c22});
}

void FMISO_InputFunction::init(const std::vector<double>& values) {
    // tau, A0, c0 and whole terms of three.
    std::vector<std::string> names = {"tau", "A0", "c0"};
    std::vector<Unit> units = {Unit("s"), unit_, Unit()};
    for (std::size_t j = 1; 3 + 3 * j <= values.size(); ++j) {
        const std::string i = std::to_string(j);
        names.insert(names.end(), {"A" + i, "c1" + i, "c2" + i});
        units.insert(units.end(), {unit_, Unit(), Unit()});
    }
    clearParameters();
    defineParameters(names, units, values);
}

// Placeholders until the closed forms arrive.
double FMISO_InputFunction::operator()(double, unsigned, unsigned, unsigned) { return 0.0; }
double FMISO_InputFunction::convExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    return InputFunction::convExp(k, t, x, y, z);
}
double FMISO_InputFunction::convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    return InputFunction::convTimeExp(k, t, x, y, z);
}
void FMISO_InputFunction::initParameters(const Dataset*, const VOI*) {}
double FMISO_InputFunction::partial(unsigned, double) { return 0.0; }

void FMISO_InputFunction::reportUnknown(const std::string& name) const {
    ERROR("FMISO_InputFunction::der() unknown parameter '%s'", name.c_str());
}
