// The shared part of the parametric input functions (GenericInputFunction,
// FMISO_InputFunction, McN_ReferenceFunction): a closed-form curve whose
// parameters may be fitted like a model's.
//
// It holds p_, the parameters of the voxel in work in normal units (stored
// value times the unit's factor), loads them when a parameter was written or
// the voxel changed, and answers the analytic derivatives through one formula
// per class (partial), multiplied by the parameter's unit factor and scale_.
// It also finds the peak of a measured curve, from which the classes take
// their starting values.
#ifndef KINETRA_INPUTS_PARAMETRICINPUTFUNCTION_H
#define KINETRA_INPUTS_PARAMETRICINPUTFUNCTION_H

#include <string>
#include <vector>

#include "InputFunction.h"

class ParametricInputFunction : public InputFunction {
public:
    // numder_: the numerical difference; an unknown name: reportUnknown and
    // 0.0; otherwise derByIndex.
    double der(const std::string& name, double t, unsigned x, unsigned y, unsigned z) override;
    // partial(index, t) times the parameter's unit factor and scale_, after
    // loading the voxel; numerical with numder_. Out of range: 0.0.
    double derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;

    // The parameters of the voxel last loaded, in normal units.
    const std::vector<double>& values() const { return p_; }

protected:
    ParametricInputFunction(const std::string& name, const Unit& unit, const char* type);
    ParametricInputFunction(const ParametricInputFunction& other) = default;

    // Loads p_ and scale_ (1 / the function's unit factor) for voxel (x, y, z)
    // and clears the caches, unless nothing was written since the last load
    // and either the voxel is the same or no parameter has a map of several
    // voxels (such a function is not reloaded for a new voxel). True if loaded.
    bool precompute(unsigned x, unsigned y, unsigned z);

    // d value / d parameter `index` in normal units at time t, for the voxel
    // loaded, before the unit factor and scale_.
    virtual double partial(unsigned index, double t) = 0;
    // Called by precompute after it loaded p_ and scale_ (before the caches
    // are cleared): a class's own reaction to new values. Nothing here.
    virtual void loaded() {}
    // The failure of der for a name the function does not have.
    virtual void reportUnknown(const std::string& name) const = 0;

    // Drops every parameter, so that init can build the set anew.
    void clearParameters();
    // Adds the parameters in order from the names and units, taking values
    // from `values` (a missing value is 0.0), and sizes p_.
    void defineParameters(const std::vector<std::string>& names, const std::vector<Unit>& units,
                          const std::vector<double>& values);

    // The measured curve of initParameters: the mean over `voi` of `data` (a
    // missing VOI: the curve of voxel (0, 0, 0)), in normal units, with the
    // frames' model times, and imax, the frame of its first strict maximum
    // (0.0 the starting maximum). A maximum in the first or last frame, or a
    // curve that cannot be read, prints the error and answers false.
    bool measuredPeak(const Dataset* data, const VOI* voi, std::vector<double>& times, std::vector<double>& curve,
                      unsigned& imax) const;
    // Every parameter that is not const takes p_[i] / its unit's factor as
    // initial value at (0, 0, 0).
    void storeInitialValues();

    std::vector<double> p_;

private:
    // The stored value of parameter i at the voxel; a one-value map is read
    // at its one element whatever the voxel, a map that does not cover the
    // voxel gives 0.0 (reported once).
    double storedValue(unsigned i, unsigned x, unsigned y, unsigned z) const;
};

#endif
