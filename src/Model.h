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

#include <ostream>
#include <string>
#include <vector>

#include "Optimizable.h"

class InputFunction;
template <class T>
class Dataset4D;

class Model : public Optimizable {
public:
    Model(const std::string& name, unsigned components, const Unit& unit);
    // Copies the Optimizable part, the input pointers (shared, not owned),
    // scale_, components_ and t_.
    Model(const Model& other);
    ~Model() override;

    // The model's total tissue value.
    double operator()(double t, unsigned x, unsigned y, unsigned z) override = 0;
    // A clone whose parameters are the region means over `voi` (1x1x1 maps);
    // null if the model cannot be cloned.
    Model* createAverage(const VOI* voi) override;
    virtual void addInput(InputFunction* input);
    // All component curves at time t; component 0 is the total.
    virtual std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) = 0;
    virtual std::vector<double> derAll(const std::string& name, double t, unsigned x, unsigned y, unsigned z);

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

    // Copies value, initial value and error volumes of every parameter that
    // `other` has too; returns how many were copied.
    int copyFrom(Model* other);

protected:
    double t_;
    std::vector<InputFunction*> input_;
    double scale_;
    unsigned components_;

private:
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
