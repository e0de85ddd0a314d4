// A named noise model: turns a 4D dataset into a second 4D dataset of the
// same shape that holds one standard error (or one random deviation) per
// voxel and frame.
//
// With d a data value, f the factor of the data's value unit, decay =
// exp(-t ln 2 / tau) at the frame's model time t (tau the tracer's half-life,
// times taken as seconds) and len the frame length, c = f * decay * len turns
// a value into the counts it stands for. The formulas, selected by name:
//
//   "Uniform"                1
//   "Simple"                 d * sigma
//   "SimpleRandom"           d * sigma * random(-1, 1)
//   "GaussRandom"            d * sigma * random_normal(0, 1)
//   "Poisson"                sign(d) sqrt(|d| / c)
//   "PoissonRandom"          random_poisson(d c) / c - d
//   "WeightedPoisson"        sigma * sign(d) sqrt(|d| / c)
//   "WeightedPoissonRandom"  sigma * (random_poisson(d c) / c - d)
//
// An error whose magnitude is below a positive floor is raised to the floor
// with the error's sign (0 counts as positive).
#ifndef KINETRA_ERRORMODEL_H
#define KINETRA_ERRORMODEL_H

#include <string>

#include "Tracer.h"

class Dataset;
class VOI;
template <class T>
class Dataset4D;

class ErrorModel {
public:
    explicit ErrorModel(const std::string& name);
    virtual ~ErrorModel();

    // Back to the defaults of the named model: floor 0, minimum 0.001, sigma
    // 1 for the two weighted models and 0 for the others.
    void init(const std::string& name);

    const std::string& getName() const { return name_; }
    void setName(const std::string& name) { name_ = name; }

    const Tracer& getTracer() const { return tracer_; }
    void setTracer(const Tracer& tracer) { tracer_ = tracer; }
    double getFloor() const { return floor_; }
    void setFloor(double floor) { floor_ = floor; }
    double getMinimum() const { return minimum_; }
    void setMinimum(double minimum) { minimum_ = minimum; }
    double getSigma() const { return sigma_; }
    void setSigma(double sigma) { sigma_ = sigma; }

    // The error dataset of a 4D dataset of any element type, named after the
    // data with "_error" appended; owned by the caller. A null voi means all
    // voxels; outside the voi the errors are 0. Null after a report for data
    // that is not 4D, of an unknown element type, or with a voi of another
    // grid.
    Dataset4D<double>* create(const Dataset* data, const VOI* voi) const;

    // The same for one element type (instantiated for the six types).
    template <class T>
    Dataset4D<double>* compute(const Dataset4D<T>* data, const VOI* voi) const;

private:
    std::string name_;
    Tracer tracer_;
    double floor_ = 0.0;
    double minimum_ = 0.001;
    double sigma_ = 0.0;
};

#endif
