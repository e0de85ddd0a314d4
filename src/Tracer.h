// A radioactive tracer: its half-life tau in seconds (the decay factor is
// exp(-t ln 2 / tau)) and a few nuclide figures.
#ifndef KINETRA_TRACER_H
#define KINETRA_TRACER_H

#include <string>

class Tracer {
public:
    explicit Tracer(const std::string& name);
    virtual ~Tracer() {}

    const std::string& getName() const { return name_; }
    double getTau() const { return tau_; }
    double getEMax() const { return eMax_; }
    double getEMean() const { return eMean_; }
    double getRange() const { return range_; }

private:
    std::string name_;
    double tau_ = 0.0;
    double eMax_ = 0.0;
    double eMean_ = 0.0;  // stored with the nuclide, read by nothing
    double range_ = 0.0;  // stored with the nuclide, read by nothing
};

#endif
