#include "Unit.h"

namespace {

struct KnownUnit {
    const char* name;
    Unit::Type type;
    double factor;
};

// Every name the constructor knows, tested in this order; anything else is a
// unit of unknown kind with factor 1.
const KnownUnit kKnownUnits[] = {
    {"s", Unit::TIME, 1.0},
    {"ms", Unit::TIME, 0.001},
    {"min", Unit::TIME, 60.0},
    {"Hz", Unit::FREQUENCY, 1.0},
    {"1/s", Unit::FREQUENCY, 1.0},
    {"1/min", Unit::FREQUENCY, 1.0 / 60.0},
    {"kHz", Unit::FREQUENCY, 1000.0},
    {"1/ms", Unit::FREQUENCY, 1000.0},
    {"mm", Unit::LENGTH, 1.0},
    {"cm", Unit::LENGTH, 10.0},
    {"in", Unit::LENGTH, 25.4},
    {"m", Unit::LENGTH, 1000.0},
    {"ml", Unit::VOLUME, 1.0},
    {"cl", Unit::VOLUME, 10.0},
    {"dl", Unit::VOLUME, 100.0},
    {"l", Unit::VOLUME, 1000.0},
    {"Bq/ml", Unit::ACTIVITY, 1.0},
    {"daBq/ml", Unit::ACTIVITY, 10.0},
    {"hBq/ml", Unit::ACTIVITY, 100.0},
    {"kBq/ml", Unit::ACTIVITY, 1000.0},
    {"MBq/ml", Unit::ACTIVITY, 1000000.0},
    {"nCi/ml", Unit::ACTIVITY, 37.0},
    {"uCi/ml", Unit::ACTIVITY, 37000.0},
    {"mCi/ml", Unit::ACTIVITY, 37000000.0},
    {"Ci/ml", Unit::ACTIVITY, 37000000000.0},
    {"Bq/ml/min", Unit::ACTIVITYRATE, 1.0 / 60.0},
    {"daBq/ml/min", Unit::ACTIVITYRATE, 10.0 / 60.0},
    {"hBq/ml/min", Unit::ACTIVITYRATE, 100.0 / 60.0},
    {"kBq/ml/min", Unit::ACTIVITYRATE, 1000.0 / 60.0},
    {"MBq/ml/min", Unit::ACTIVITYRATE, 1000000.0 / 60.0},
};

const char* const kTypeText[] = {"UNKNOWN", "ACTIVITY", "TIME", "FREQUENCY", "LENGTH", "VOLUME", "ACTIVITYRATE"};
// The reference unit of each kind. "Bq/ml/s" is not in the table above, so the
// reference of a rate is a unit of unknown kind: that is how the table stands.
const char* const kNormName[] = {"1", "Bq/ml", "s", "1/s", "mm", "ml", "Bq/ml/s"};

}  // namespace

Unit::Unit(const std::string& name) : name_(name), type_(UNKNOWN), factor_(1.0) {
    for (const KnownUnit& known : kKnownUnits) {
        if (name == known.name) {
            type_ = known.type;
            factor_ = known.factor;
            return;
        }
    }
}

std::string Unit::getTypeString() const {
    unsigned t = static_cast<unsigned>(type_);
    return t <= 6 ? kTypeText[t] : "";
}

Unit Unit::getNormUnit() const {
    unsigned t = static_cast<unsigned>(type_);
    return Unit(t <= 6 ? kNormName[t] : "1");
}

std::ostream& operator<<(std::ostream& out, const Unit& unit) {
    out << "Unit " << unit.getName() << ": type=" << unit.getTypeString() << " factor=" << unit.getFactor() << " \n";
    return out;
}
