#include "inputs/GenericInputFunction.h"

#include "util/Message.h"

GenericInputFunction::GenericInputFunction() : GenericInputFunction("") {}

GenericInputFunction::GenericInputFunction(const std::string& name) : GenericInputFunction(name, Unit()) {}

GenericInputFunction::GenericInputFunction(const std::string& name, const Unit& unit)
    : ParametricInputFunction(name, unit, "GenericInputFunction") {}

GenericInputFunction::GenericInputFunction(const std::string& name, const Unit& unit, double tau, double t0, double A1,
                                           double B1, double C1)
    : GenericInputFunction(name, unit) {
    init({tau, t0, A1, B1, C1});
}

GenericInputFunction::GenericInputFunction(const std::string& name, const Unit& unit, double tau, double t0, double A1,
                                           double B1, double C1, double A2, double B2, double C2)
    : GenericInputFunction(name, unit) {
    init({tau, t0, A1, B1, C1, A2, B2, C2});
}

void GenericInputFunction::init(const std::vector<double>& values) {
    // tau, t0 and whole terms of three.
    const long n = static_cast<long>(values.size());
    const long count = (n - 2) % 3 == 0 && n >= 2 ? n : 3 * ((n - 2) / 3) + 6;
    std::vector<std::string> names = {"tau", "t0"};
    std::vector<Unit> units = {Unit("s"), Unit("s")};
    for (long j = 1; 2 + 3 * j <= count; ++j) {
        const std::string i = std::to_string(j);
        names.insert(names.end(), {"A" + i, "B" + i, "C" + i});
        units.insert(units.end(), {unit_, Unit(), Unit()});
    }
    clearParameters();
    defineParameters(names, units, values);
}

// Placeholders until the closed forms arrive.
double GenericInputFunction::operator()(double, unsigned, unsigned, unsigned) { return 0.0; }
double GenericInputFunction::convExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    return InputFunction::convExp(k, t, x, y, z);
}
double GenericInputFunction::convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    return InputFunction::convTimeExp(k, t, x, y, z);
}
void GenericInputFunction::initParameters(const Dataset*, const VOI*) {}
double GenericInputFunction::partial(unsigned, double) { return 0.0; }

void GenericInputFunction::reportUnknown(const std::string& name) const {
    ERROR("GenericInputFunction::der() unknown parameter '%s'", name.c_str());
}
