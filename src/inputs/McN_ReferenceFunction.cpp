#include "inputs/McN_ReferenceFunction.h"

#include "util/Message.h"

McN_ReferenceFunction::McN_ReferenceFunction() : McN_ReferenceFunction("") {}

McN_ReferenceFunction::McN_ReferenceFunction(const std::string& name) : McN_ReferenceFunction(name, Unit()) {}

McN_ReferenceFunction::McN_ReferenceFunction(const std::string& name, const Unit& unit)
    : ParametricInputFunction(name, unit, "McN_ReferenceFunction") {}

McN_ReferenceFunction::McN_ReferenceFunction(const std::string& name, const Unit& unit,
                                             const std::vector<double>& values)
    : McN_ReferenceFunction(name, unit) {
    init(values);
}

void McN_ReferenceFunction::init(const std::vector<double>& values) {
    // lambda, a1, a2 and whole triples.
    std::vector<std::string> names = {"lambda", "a1", "a2"};
    std::vector<Unit> units = {Unit("1/min"), Unit("kBq/ml/min"), Unit("min")};
    for (std::size_t j = 1; 3 + 3 * j <= values.size(); ++j) {
        const std::string i = std::to_string(j + 2);
        names.insert(names.end(), {"a" + i, "b" + i, "c" + i});
        units.insert(units.end(), {Unit("kBq/ml/min"), Unit("min"), Unit("min")});
    }
    clearParameters();
    defineParameters(names, units, values);
}

// Placeholders until the closed forms arrive.
double McN_ReferenceFunction::operator()(double, unsigned, unsigned, unsigned) { return 0.0; }
double McN_ReferenceFunction::convExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    return InputFunction::convExp(k, t, x, y, z);
}
double McN_ReferenceFunction::convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    return InputFunction::convTimeExp(k, t, x, y, z);
}
void McN_ReferenceFunction::initParameters(const Dataset*, const VOI*) {}
double McN_ReferenceFunction::partial(unsigned, double) { return 0.0; }

void McN_ReferenceFunction::reportUnknown(const std::string& name) const {
    ERROR("McN_ReferenceFunction::der() unknown parameter '%s'", name.c_str());
}
