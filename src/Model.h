// The abstract kinetic model: a function of time and voxel with named
// parameters, driven by one or more input functions that it does not own.
//
// Conventions shared by the concrete models:
// - a parameter value is read at the voxel (x, y, z) of its value volume;
// - models compute in normal units: stored value times the parameter unit's
//   factor, input values times `scale_` (first input's unit factor / model's
//   unit factor); an analytic derivative is multiplied by the parameter's
//   factor at the end (chain rule from the user's units);
// - a frame is compared at its single model time (start, or middle with the
//   midframe approximation); nothing integrates over a frame.
#ifndef KINETRA_MODEL_H
#define KINETRA_MODEL_H

#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "InputFunction.h"
#include "Optimizable.h"

template <class T>
class Dataset4D;

// Where a concrete model with analytic derivatives reports from: its class
// name heads the text of der's unknown-parameter failure, and its source file
// and line make the error head, so that the failure names the model's module.
struct ModelOrigin {
    const char* className;
    const char* file;
    int line;
};
#define MODEL_ORIGIN(className) (ModelOrigin{#className, __FILE__, __LINE__})

class Model : public Optimizable {
public:
    // A model whose derivatives are all numerical (Optimizable::der).
    Model(const std::string& name, unsigned components, const Unit& unit);
    // A model with analytic derivatives (analyticDer), from the class `origin`.
    Model(const std::string& name, unsigned components, const Unit& unit, const ModelOrigin& origin);
    // Copies the Optimizable part, the input pointers (shared, not owned),
    // scale_, components_ and t_. A copy's voxel key is (0, 0, 0) while the
    // cache fields of the concrete class are the source's: the copy drops its
    // time key and sets changed_, so that either kind of cache starts anew.
    Model(const Model& other);
    ~Model() override;

    // The model's total tissue value.
    double operator()(double t, unsigned x, unsigned y, unsigned z) override = 0;
    // Analytic unless numder_ is set or the class has no analytic forms; an
    // unknown name reports "<class>::der() unknown parameter '<name>'" and gives 0.0.
    double der(const std::string& name, double t, unsigned x, unsigned y, unsigned z) override;
    double derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;
    // A clone whose parameters are the region means over `voi` (1x1x1 maps);
    // null if the model cannot be cloned.
    Model* createAverage(const VOI* voi) override;
    virtual void addInput(InputFunction* input);
    // All component curves at time t; component 0 is the total.
    virtual std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) = 0;
    virtual std::vector<double> derAll(const std::string& name, double t, unsigned x, unsigned y, unsigned z);
    // A whole curve at one voxel (see Optimizable): the class's one pass
    // where it has one that applies, the calls one by one otherwise.
    void evaluate(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index, unsigned P,
                  double* values, double* derivatives) final;

    // Removal sets changed_. The inputs themselves are not deleted.
    void removeInput(InputFunction* input);
    void removeInput(const std::string& name);
    void clearInputs();

    std::vector<std::string> getInputNames() const;
    unsigned getNumInputs() const { return static_cast<unsigned>(input_.size()); }
    // The first input of that name, or the first input (null if none).
    InputFunction* getInput(const std::string& name) const;
    bool existInput(const std::string& name) const;
    // The input at i; out of range: reports and answers the first (null if none).
    InputFunction* getInput(unsigned i) const;
    // Input value at t and voxel (0,0,0) in the model's units.
    double getInput(const std::string& name, double t) const;
    double getInput(unsigned i, double t) const;

    int hasInputParameter(const std::string& name) const;
    Parameter& getInputParameter(const std::string& name);
    const Parameter& getInputParameter(const std::string& name) const;
    void freeInputParameters();
    void fixInputParameters();

    unsigned getComponents() const { return components_; }
    double getScale() const { return scale_; }

    // Synthetic data: n frames of the parameter maps' extent. Owned by the caller.
    Dataset4D<double>* createData(double t0, double t1, unsigned n);
    Dataset4D<double>* createData(const std::vector<double>& times);
    Dataset4D<double>* createData(const Dataset4D<double>& data);

    // Component curves (and input curves) at one voxel, one z plane each;
    // component -1 gives all components followed by all inputs.
    Dataset4D<double>* createTAC(double t0, double t1, unsigned n, unsigned x, unsigned y, unsigned z,
                                 int component);
    Dataset4D<double>* createTAC(const std::vector<double>& times, unsigned x, unsigned y, unsigned z,
                                 int component);
    Dataset4D<double>* createTAC(const Dataset4D<double>& data, unsigned x, unsigned y, unsigned z, int component);

    // Sensitivities of the model to its free parameters, one z plane each.
    Dataset4D<double>* createDelta(double t0, double t1, unsigned n, unsigned x, unsigned y, unsigned z);

    // The factory of the models: a copy of the concrete class chosen by name_.
    Model* clone() const;
    // A faithful copy for a worker thread of a fit: the concrete class of
    // this object whatever its name, flags included, driven by duplicates
    // of the inputs, which go to `inputs`; everything is owned by the
    // caller. Null, without a report, if the model or an input cannot be
    // copied.
    Model* duplicate(std::vector<InputFunction*>& inputs) const;
    // One default-constructed object of every model class, in the
    // workspace's order; owned by the caller.
    static std::vector<Model*> createDefaults();

    // Copies value, initial value and error volumes of every parameter that
    // `other` has too; returns how many were copied.
    int copyFrom(Model* other);

protected:
    // The derivative by the parameter at `index`, in the user's units (the
    // normal-unit formula times the parameter's unit factor). Called only for
    // a class constructed with an origin.
    virtual double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z);

    // The first input, with scale_ set to its unit factor / the model's; null
    // without inputs (createData and friends refuse that case beforehand).
    InputFunction* firstInput() {
        if (input_.empty()) return nullptr;
        scale_ = input_[0]->getUnit().getFactor() / unit_.getFactor();
        return input_[0];
    }
    // Sums over the inputs after the first at (t, x, y, z): each input by its
    // own unit factor / the model's, or each by the one `factor` (scale_).
    double furtherInputsInModelUnits(double t, unsigned x, unsigned y, unsigned z) const;
    double furtherInputs(double t, unsigned x, unsigned y, unsigned z, double factor) const;

    // A class's one pass over the frames: the parameters read once and the
    // input's convolutions of all frames in one pass per rate, every number
    // that of the calls one by one. False where it does not apply (printing
    // per call, numerical derivatives, further inputs, rates that are not
    // numbers): the calls one by one then run, and a set it has read stands
    // and is not reported again. None in the base.
    virtual bool evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                              unsigned P, double* values, double* derivatives);
    // The lowest verbosity at which a new parameter set prints a report of
    // it (5 in the base: none below the per-call messages). The numerical
    // pass (below) meets the sets in another order than the calls one by
    // one, so it runs only where neither prints.
    virtual unsigned setReportsFrom() const { return 5; }

    // The frame loop of a one-pass evaluate: load(i) puts frame i's numbers
    // of the pass into the class's cache, then the calls one by one give the
    // value and the derivatives from it, with inPass_ set so that the
    // class's precompute leaves the cache alone; so every number is the
    // calls'. Afterwards the cache holds no time: the next call fetches anew.
    template <class Load>
    void evaluateFromCache(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                           unsigned P, double* values, double* derivatives, Load load) {
        struct Pass {
            bool& flag;
            explicit Pass(bool& b) : flag(b) { flag = true; }
            ~Pass() { flag = false; }
        } pass(inPass_);
        for (unsigned i = 0; i < T; ++i) {
            load(i);
            values[i] = (*this)(t[i], x, y, z);
            for (unsigned j = 0; j < P; ++j)
                derivatives[static_cast<size_t>(i) * P + j] = derByIndex(index[j], t[i], x, y, z);
        }
        t_ = std::numeric_limits<double>::quiet_NaN();
    }

    // Whether a one-pass evaluate can stand in for the calls one by one: one
    // input, analytic derivatives (or P = 0, values only), frames, and
    // nothing printed per call (verbosity under `printsFrom`).
    bool onePass(unsigned T, unsigned P, unsigned printsFrom) const {
        return input_.size() == 1 && input_[0] != nullptr && (P == 0 || !numder_) && T > 0 &&
               !_MessageHelper::enabled(printsFrom);
    }
    // The input's numbers of a pass at n (up to 5) rates, for the
    // times t[0..T-1], asked of the input at voxel (x, y, z): its values and
    // per rate the two convolutions (InputFunction::convolveFrames). They
    // stand until the next pass.
    struct RatePass {
        const double* value;
        const double* conv[5];
        const double* convT[5];
    };
    RatePass convolveRates(InputFunction& input, const double* rate, unsigned n, const double* t, unsigned T,
                           unsigned x, unsigned y, unsigned z);

    // Within evaluateFromCache's pass: the class's precompute leaves the
    // cache, which the pass fills, alone.
    bool inPass_ = false;
    double t_;
    std::vector<InputFunction*> input_;
    double scale_;
    unsigned components_;

private:
    ModelOrigin origin_;  // className null: no analytic derivatives

    // Numerical derivatives of all frames: the curve at the set, then per
    // derivative the curves at numericalDer's two trial values, each set
    // once with its frames in order (so the input's running sums carry from
    // frame to frame), every number numericalDer's.
    void numericalPass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                       unsigned P, double* values, double* derivatives);
    std::vector<double> frames_;  // the input's numbers of a pass (convolveRates)
    std::vector<double> trials_;  // the curves at the two trial values (numericalPass)

    bool checkInput() const;
    bool checkComponent(int component) const;
    // One TAC row at time t into frame i of a TAC dataset.
    void fillTAC(Dataset4D<double>* tac, unsigned i, double t, unsigned x, unsigned y, unsigned z, int component);
    Dataset4D<double>* makeTAC(const std::vector<double>& times, const std::vector<double>& lengths,
                               const std::vector<double>& modelTimes, unsigned x, unsigned y, unsigned z,
                               int component);
    Dataset4D<double>* makeData(const std::vector<double>& times, const std::vector<double>& lengths,
                                const std::vector<double>& modelTimes);
};

std::ostream& operator<<(std::ostream& out, const Model& model);

#endif
