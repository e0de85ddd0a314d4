// A unit of measure: a name, a physical kind and the factor to the reference
// unit of that kind (Bq/ml, s, 1/s, mm, ml, Bq/ml/s). A value in unit B is the
// value in unit A times factor(A) / factor(B); units compare by name.
#ifndef KINETRA_UNIT_H
#define KINETRA_UNIT_H

#include <ostream>
#include <string>

class Unit {
public:
    enum Type { UNKNOWN = 0, ACTIVITY = 1, TIME = 2, FREQUENCY = 3, LENGTH = 4, VOLUME = 5, ACTIVITYRATE = 6 };

    explicit Unit(const std::string& name = "");
    virtual ~Unit() {}

    const std::string& getName() const { return name_; }
    Type getType() const { return type_; }
    double getFactor() const { return factor_; }
    std::string getTypeString() const;
    Unit getNormUnit() const;

private:
    std::string name_;
    Type type_;
    double factor_;
};

std::ostream& operator<<(std::ostream& out, const Unit& unit);

#endif
