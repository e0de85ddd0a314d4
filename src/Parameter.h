// One named quantity of a model or an input function.
//
// A parameter does not hold one number but three volumes (initial value,
// current value, error), so the same object serves a region fit (one voxel)
// and a parametric map (one value per voxel). A 1x1x1 volume answers every
// coordinate with its single element, so a model can always read "the value
// at (x, y, z)". Besides the volumes a parameter carries its unit, its bounds,
// its fit state and whether it is fitted on a base-10 logarithmic scale.
#ifndef KINETRA_PARAMETER_H
#define KINETRA_PARAMETER_H

#include <ostream>
#include <atomic>
#include <string>

#include "Dataset3D.h"
#include "Unit.h"

class Dataset;
class VOI;

class Parameter {
public:
    // Fit state; the numbers are part of the interface (reports, Matlab).
    enum State : int { FREE = 0, FIXED = 1, LINKED = 2, CONST = 3 };

    // Note the order: the current value comes before the initial value.
    Parameter(const std::string& name, const Unit& unit, double value, double initValue, double min, double max,
              State state);
    // Deep copy; the copy always comes out on a linear scale (log flag off).
    Parameter(const Parameter& other);
    // Takes over the three volumes of `other`, which is left without volumes
    // and may only be destroyed or assigned to. Used when the parameter list
    // of an object grows.
    Parameter(Parameter&& other) noexcept;
    // Member-wise assignment. The volumes are copied, never shared, so both
    // objects own their own volumes afterwards.
    Parameter& operator=(const Parameter& other);
    Parameter& operator=(Parameter&& other) noexcept;
    virtual ~Parameter();

    const std::string& getName() const { return name_; }
    void setName(const std::string& name) { name_ = name; }
    const Unit& getUnit() const { return unit_; }
    double getMin() const { return min_; }
    double getMax() const { return max_; }
    void setMin(double min) { min_ = min; }
    void setMax(double max) { max_ = max; }
    // Bounds count only when max > min.
    bool isBound() const { return max_ > min_; }
    State getState() const { return state_; }
    void setState(State state) { state_ = state; }
    bool getLog() const { return log_; }
    void setLog(bool log) { log_ = log; }

    // The state's word ("free", "fixed", "linked", "const", "unknown"), with
    // "(log)" appended when the parameter is on a logarithmic scale.
    std::string getsState() const;

    // One value for a region: element (0,0,0) while the recorded size is 1,
    // the VOI mean of the volume otherwise. No logarithm is applied.
    double getValue(const VOI& voi) const;
    double getValue(const VOI* voi) const;
    double getInitValue(const VOI& voi) const;
    double getInitValue(const VOI* voi) const;
    double getError(const VOI& voi) const;
    double getError(const VOI* voi) const;

    // The stored (linear) number at a voxel; the models' lookup, inline
    // because it runs once per parameter and evaluation.
    double valueAt(unsigned x, unsigned y, unsigned z) const { return (*value_)(x, y, z); }
    double initValueAt(unsigned x, unsigned y, unsigned z) const { return (*initValue_)(x, y, z); }
    double errorAt(unsigned x, unsigned y, unsigned z) const { return (*error_)(x, y, z); }

    // The three owned volumes.
    Dataset3D<double>* getValueVolume() { return value_; }
    const Dataset3D<double>* getValueVolume() const { return value_; }
    Dataset3D<double>* getInitValueVolume() { return initValue_; }
    const Dataset3D<double>* getInitValueVolume() const { return initValue_; }
    Dataset3D<double>* getErrorVolume() { return error_; }
    const Dataset3D<double>* getErrorVolume() const { return error_; }

    // Fill the whole volume with one number.
    void setValue(double value);
    void setError(double value);
    void setInitValue(double value);

    // Copy a 3D dataset of any element type in; the target takes exactly the
    // source's grid when the extents differ. The recorded size stays as it is
    // until `resize` records a new one.
    void setValue(const Dataset* data);
    void setError(const Dataset* data);
    void setInitValue(const Dataset* data);

    // Relabel (no number changes).
    void setUnit(const Unit& unit);
    // Convert bounds and volumes to another unit.
    void changeUnit(const Unit& unit);

    // Resize the three volumes to exactly x, y, z; a single value spreads to
    // every voxel.
    void resize(unsigned x, unsigned y, unsigned z);

    // Whether all three volumes can be read at (x, y, z): a volume of one
    // element answers every voxel, a larger one only the voxels of its grid.
    bool covers(unsigned x, unsigned y, unsigned z) const;

    unsigned getValueSize() const { return valueSize_; }
    unsigned getInitSize() const { return initSize_; }
    unsigned getErrorSize() const { return errorSize_; }

    // Objects alive (atomic: worker threads make copies side by side).
    static std::atomic<int> count_;

private:
    void destroyVolumes();

    std::string name_;
    Unit unit_;
    double min_;
    double max_;
    Dataset3D<double>* initValue_;
    Dataset3D<double>* value_;
    Dataset3D<double>* error_;
    State state_;
    bool log_;
    unsigned errorSize_;
    unsigned initSize_;
    unsigned valueSize_;
};

std::ostream& operator<<(std::ostream& out, const Parameter& parameter);

#endif
