// The base of everything that has named parameters and can be evaluated at a
// time and a voxel: the models and the input functions.
//
// It owns the ordered parameter list (the order is the parameter index and
// the order of every report), resolves the one-hop links between parameters,
// reads and writes logarithmic parameters in log10 form on the optimizers'
// behalf, keeps the `changed_` flag by which evaluation caches learn that a
// parameter was written, and supplies a numerical partial derivative.
//
// Name-based operations are the interface of the commands; the optimizers'
// inner loops use the index forms (`setParameterValueByIndex`,
// `getParameterValueByIndex`, `derByIndex`), which do no string work.
#ifndef KINETRA_OPTIMIZABLE_H
#define KINETRA_OPTIMIZABLE_H

#include <map>
#include <atomic>
#include <string>
#include <vector>

#include "Parameter.h"
#include "Unit.h"
#include "util/Message.h"

class Dataset;
class VOI;

class Optimizable {
public:
    explicit Optimizable(const std::string& type);
    // Copies name, unit, type, the parameters (which come out linear), their
    // links and link types; a copy starts with analytic derivatives and with
    // the voxel key (0, 0, 0).
    Optimizable(const Optimizable& other);
    Optimizable& operator=(const Optimizable&) = delete;
    virtual ~Optimizable();

    // The function value at time t for voxel (x, y, z).
    virtual double operator()(double t, unsigned x, unsigned y, unsigned z) = 0;
    // Partial derivative by the named parameter; numerical here.
    virtual double der(const std::string& name, double t, unsigned x, unsigned y, unsigned z);
    // The same by parameter index, without any name lookup. Subclasses with
    // analytic derivatives override it; numerical here. An index out of range
    // gives 0.0.
    virtual double derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z);
    // A whole curve at one voxel in one call: values[i] = f(t[i]) and
    // derivatives[i * P + j] = d f(t[i]) / d parameter index[j], for i < T
    // and j < P (derivatives unused when P is 0). The numbers are those of
    // the calls one by one, which this default makes in frame order (the
    // value, then the derivatives); a class overrides it to read its
    // parameters once and share work between frames and derivatives.
    virtual void evaluate(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                          unsigned P, double* values, double* derivatives);
    // A copy whose parameters are the region means over `voi`; owned by the caller.
    virtual Optimizable* createAverage(const VOI* voi) = 0;

    const std::string& getName() const { return name_; }
    void setName(const std::string& name) { name_ = name; }
    const Unit& getUnit() const { return unit_; }
    // A new unit changes every value, so caches keyed on the parameters start anew.
    void setUnit(const Unit& unit) {
        unit_ = unit;
        changed_ = true;
    }
    const std::string& getType() const { return type_; }

    bool getChanged() const { return changed_; }
    void setChanged(bool changed) { changed_ = changed; }
    bool getNumDer() const { return numder_; }
    void setNumDer(bool numder) { numder_ = numder; }
    unsigned getSize() const { return size_; }

    // Lookups.
    int hasParameter(const std::string& name) const;
    std::vector<std::string> getParameterNames() const;
    unsigned getNumParameters() const { return static_cast<unsigned>(parameter_.size()); }
    // For an unknown name: reports and answers the first parameter.
    Parameter& getParameter(const std::string& name);
    const Parameter& getParameter(const std::string& name) const;
    Parameter& getParameterByIndex(unsigned index) { return parameter_[index]; }
    const Parameter& getParameterByIndex(unsigned index) const { return parameter_[index]; }
    // The first parameter whose maps cannot be read at voxel (x, y, z)
    // (Parameter::covers), or null when every one can.
    const Parameter* parameterOutside(unsigned x, unsigned y, unsigned z) const;
    unsigned getParameterDimensionX() const;
    unsigned getParameterDimensionY() const;
    unsigned getParameterDimensionZ() const;

    // Single attributes.
    void setParameterMin(const std::string& name, double value);
    void setParameterMax(const std::string& name, double value);
    void setParameterLog(const std::string& name, bool log);
    void setParameterUnit(const std::string& name, const Unit& unit);
    // Any state but linked also cuts the link that this parameter drives.
    void setParameterState(const std::string& name, const Parameter::State& state);

    Unit getParameterUnit(const std::string& name) const;
    bool getParameterLog(const std::string& name) const;
    double getParameterMin(const std::string& name) const;
    double getParameterMax(const std::string& name) const;
    int getParameterLink(const std::string& name) const;
    std::string getParameterLinkType(const std::string& name) const;
    // True when the parameter is free (not the state number).
    bool getParameterState(const std::string& name) const;
    bool isParameterConst(const std::string& name) const;
    bool isParameterLinked(const std::string& name) const;
    bool isParameterFree(const std::string& name) const;

    // Value writers: a logarithmic parameter takes 10^v (not the volume form);
    // the driven parameter of a link receives the transformed linear value;
    // `changed_` is set in every case.
    void setParameterValue(const std::string& name, unsigned x, unsigned y, unsigned z, double value);
    void setParameterValue(const std::string& name, double value);
    void setParameterValue(const std::string& name, const Dataset* data);
    // The voxel form by index, for the optimizers' inner loops. An index out
    // of range is ignored.
    void setParameterValueByIndex(unsigned index, unsigned x, unsigned y, unsigned z, double value);

    // Error writers: the driven parameter of a link gets the same error.
    void setParameterError(const std::string& name, unsigned x, unsigned y, unsigned z, double value);
    void setParameterErrorByIndex(unsigned index, unsigned x, unsigned y, unsigned z, double value);
    void setParameterError(const std::string& name, double value);
    void setParameterError(const std::string& name, const Dataset* data);

    // Initial value writers: no link, no log scale, no `changed_`.
    void setParameterInitValue(const std::string& name, unsigned x, unsigned y, unsigned z, double value);
    void setParameterInitValue(const std::string& name, double value);
    void setParameterInitValue(const std::string& name, const Dataset* data);

    // Readers at a voxel; the value reader answers log10 of a logarithmic
    // parameter, so that an optimizer reads the scale that it writes.
    double getParameterValue(const std::string& name, unsigned x, unsigned y, unsigned z) const;
    double getParameterValueByIndex(unsigned index, unsigned x, unsigned y, unsigned z) const;
    double getParameterInitValue(const std::string& name, unsigned x, unsigned y, unsigned z) const;
    double getParameterError(const std::string& name, unsigned x, unsigned y, unsigned z) const;

    // Every parameter but the const and linked ones becomes free / fixed.
    void freeParameters();
    void fixParameters();
    void resizeParameters(unsigned x, unsigned y, unsigned z);
    // What a copy does not take over: numerical derivatives, each
    // parameter's logarithmic scale and the causes reported so far, from
    // `other` (the same parameters), whose reports this copy's stand for.
    void adoptFlags(const Optimizable& other);

    // A write to `a` also writes `b` with the transform `type` ("", "-", "1-", "/").
    void setParameterLink(const std::string& a, const std::string& b, const std::string& type);

    // Objects alive (atomic: worker threads make copies side by side).
    static std::atomic<int> count_;

    // Assertions that would fail again at every evaluation (a time before 0,
    // a sample table out of step) are reported once per cause: print() runs
    // the first time for `cause` (0 to 31) since the last rearmReports, and
    // not after. On a worker thread of a fit the report is marked as such,
    // so that the run prints it once, where the calling thread alone would.
    template <class F>
    void reportOnce(unsigned cause, F print) const {
        const unsigned bit = 1u << cause;
        if (reported_ & bit) return;
        reported_ |= bit;
        MessageCapture* capture = MessageCapture::active();
        if (capture != nullptr) capture->beginOnce(reportOwner_, bit);
        print();
        if (capture != nullptr) capture->endOnce();
    }
    // A new run or a new curve reports again.
    void rearmReports() { reported_ = 0; }
    // While the calling thread of a walk fits voxels on this object, the
    // causes the run has printed are kept in `*owner` (starting as this
    // object's), which copies made meanwhile take over (adoptFlags); this
    // object's own bits then say only what it met itself. Returns the
    // previous owner, for takeReports.
    unsigned* lendReports(unsigned* owner) {
        unsigned* previous = reportOwner_;
        *owner = *previous;
        reportOwner_ = owner;
        return previous;
    }
    // After the walk: the causes the run printed are this object's again.
    void takeReports(unsigned* previous) {
        const unsigned printed = *reportOwner_;
        reportOwner_ = previous;
        *previous = reported_ = printed;
    }

protected:
    // For subclass constructors: a free, unbound parameter whose value and
    // initial value agree. A name already present is refused.
    void addParameter(const std::string& name, const Unit& unit, double value);

    // The numerical central difference at an index (see der).
    double numericalDer(unsigned index, double t, unsigned x, unsigned y, unsigned z);
    // Its step for a stored value v: one hundredth of v's decade, at least 1e-6.
    static double numericalStep(double v);

    // Stored linear value times the parameter unit's factor: the "normal"
    // value a model computes with.
    double normalValue(unsigned index, unsigned x, unsigned y, unsigned z) const {
        return parameter_[index].valueAt(x, y, z) * parameter_[index].getUnit().getFactor();
    }
    double unitFactor(unsigned index) const { return parameter_[index].getUnit().getFactor(); }

    std::string name_;
    Unit unit_;
    std::vector<Parameter> parameter_;
    std::map<std::string, unsigned> index_;
    std::vector<int> link_;
    std::vector<std::string> linkType_;
    std::string type_;
    bool changed_;
    bool numder_;
    unsigned size_;
    unsigned x_;
    unsigned y_;
    unsigned z_;
    mutable unsigned reported_ = 0;  // causes reported since rearmReports, one bit each
    // Where a worker thread's copy marks its reports: the original's bits.
    unsigned* reportOwner_ = &reported_;

private:
    // True if the named parameter is in the given state; an unknown name is reported.
    bool hasState(const std::string& name, int state) const;
    // Carries the linear value just stored at parameter `index` on to the
    // parameter it drives, if any.
    void propagateValue(unsigned index, unsigned x, unsigned y, unsigned z, double value);
    void propagateValue(unsigned index, double value);
    void propagateValue(unsigned index, const Dataset* data);
};

#endif
