// Optimizer: the base of the fitting methods.
//
// It owns what every method shares: the stop settings, the working set of a
// run (dataset, error dataset, VOI and the optimizable being fitted), the
// table of fitted parameters, one result record per voxel, the chi-square
// and covariance arithmetic, the goodness-of-fit maps, the CPU timers, the
// status files and the progress hook. A concrete method overrides `run`,
// which calls the base in a fixed order:
//
//   prepare();
//   for each active voxel (x outermost, z innermost):
//       load the record's settings, initParameters(), startTimer(),
//       the method's iterations, incrementTimer(1), fill the record,
//       finishParameters(), print the report, update(UpdateAction(1))
//       (a false answer stops the run: stopByUser());
//   finish();
//
// Units: a dataset value v with unit factor u_d is compared with the model in
// the model's unit, v * u_d / u_m (getData); the statistics work in normal
// units, d = v * u_d and m = model * u_m.
#ifndef KINETRA_OPTIMIZER_H
#define KINETRA_OPTIMIZER_H

#include <map>
#include <string>
#include <vector>

#include "Dataset2D.h"
#include "Dataset3D.h"
#include "OptimizerParameters.h"

class Dataset;
class VOI;
class Optimizable;
class InputFunction;

// What the progress hook is told: 1 after each voxel, 0 when the run ends.
struct UpdateAction {
    explicit UpdateAction(int action = 0) : action_(action) {}
    int action_;
};

// A progress hook: answers true to go on, false to stop the run.
class SubUpdate {
public:
    virtual ~SubUpdate() {}
    virtual bool operator()(const UpdateAction& action) = 0;
};

// A matrix addressed from 1 in both indices, m[1..rows][1..cols], as the
// classic numerical routines (gaussj) expect: one block and row pointers
// into it. Row and column 0 exist and are unused.
class Matrix1 {
public:
    Matrix1() {}
    Matrix1(const Matrix1&) = delete;
    Matrix1& operator=(const Matrix1&) = delete;
    // All elements become 0.
    void resize(unsigned rows, unsigned cols);
    void zero();
    double** rows() { return rows_.data(); }
    double* operator[](unsigned i) { return rows_[i]; }
    const double* operator[](unsigned i) const { return rows_[i]; }

private:
    std::vector<double> block_;
    std::vector<double*> rows_;
};

// Inverts the n x n matrix a[1..n][1..n] in place (gaussj). A singular or
// non-finite matrix gives false and leaves NaN in every element.
bool invertMatrix(Matrix1& a, unsigned n);

class Optimizer {
public:
    explicit Optimizer(const std::string& name);
    Optimizer(const Optimizer&) = delete;
    Optimizer& operator=(const Optimizer&) = delete;
    virtual ~Optimizer();

    // Fits every active voxel; the base does nothing.
    virtual void run();

    const std::string& getName() const { return name_; }
    void setName(const std::string& name) { name_ = name; }

    // Clears the working set and the parameter table, cuts the records down
    // to one default record and resets the timers.
    void reset();

    void setStatusFile(const std::string& name);
    const std::string& getStatusFile() const { return statusfile; }
    // Takes ownership of the hook (null removes it).
    void setUpdate(SubUpdate* update);
    // True without a hook, else the hook's answer.
    bool update(const UpdateAction& action) const;

    // The working set; nothing here is owned.
    void setData(Dataset* data) { data_ = data; }
    void setError(Dataset* error) { error_ = error; }
    void setVOI(VOI* voi) { voi_ = voi; }
    void setOptimizable(Optimizable* model) { model_ = model; }
    // Drops every reference of the working set to an object that is about
    // to be destroyed (a dataset, VOI, model or input function), so that no
    // later statistic reads it.
    void forget(const void* object);
    Dataset* getDataset() const { return data_; }
    Dataset* getErrorDataset() const { return error_; }
    VOI* getVOI() const { return voi_; }
    Optimizable* getOptimizable() const { return model_; }

    // ---- The steps of a run ----
    // Prints the run's head, fills the parameter table, sizes the parameter
    // maps and the records. False (after an error line) when the run cannot
    // go on: no data, no model, a model without input, mismatching
    // dimensions, a dataset that is not a series of volumes, or a VOI
    // without active voxels.
    bool prepare();
    // The fitted values (and the parameters that drive links) at the voxel
    // in work start from their initial values.
    void initParameters();
    // The dataset's value at the voxel in work and frame t, in the model's unit.
    double getData(Dataset* dataset, unsigned t) const;
    // Errors of the voxel in work from its covariance; called per voxel.
    void finishParameters();
    // The same when the caller holds the model's values and derivatives at
    // the voxel's final parameters for every frame (values[t], and
    // derivatives[t * P + i] by fit index i): the very numbers an evaluation
    // would give, so they are used instead of evaluating again. Null
    // pointers evaluate.
    void finishParameters(const double* values, const double* derivatives);
    void printParameters(const std::string& title) const;
    // Chi-square and covariance of the VOI mean curve, the closing hook call.
    void finish();

    // ---- Statistics ----
    // Weighted chi-square of the voxel, in normal units.
    double computeChiSquare(unsigned x, unsigned y, unsigned z) const;
    // Chi-square of the VOI mean curve against the average model, into chisquare_.
    void computeChiSquare(VOI* voi);
    // c times the inverse of the weighted normal matrix, c the reduced
    // chi-square: P x P, indexed by the fit index of getParameterIndex().
    Dataset2D<double> computeCovariance(unsigned x, unsigned y, unsigned z) const;
    // The same for the VOI mean curve, into covariance_.
    void computeCovariance(VOI* voi);
    double getChiSquare() const { return chisquare_; }
    const Dataset2D<double>& getCovariance() const { return covariance_; }
    // The covariance of the VOI-level fit scaled to correlations.
    Dataset2D<double> getCorr() const;

    // Parameter volumes (not owned; null for an unknown name) and values at
    // a voxel, read through the optimizable.
    Dataset3D<double>* getResult(const std::string& name) const;
    Dataset3D<double>* getError(const std::string& name) const;
    double getResult(const std::string& name, unsigned x, unsigned y, unsigned z) const;
    double getError(const std::string& name, unsigned x, unsigned y, unsigned z) const;
    void getResult(const std::string& name, unsigned x, unsigned y, unsigned z, double* value, double* error) const;

    // Goodness-of-fit maps over the VOI's grid; inactive voxels are 0.
    Dataset3D<double> getChiSquareDOF() const;
    Dataset3D<double> getBIC() const;
    Dataset3D<double> getAIC() const;
    Dataset3D<double> getAICc() const;
    Dataset3D<double> getFPE() const;
    Dataset3D<double> getHannanQuinn() const;
    Dataset3D<double> getFTest() const;
    Dataset3D<int> getNumIter() const;
    Dataset3D<int> getExitFlag() const;
    Dataset3D<int> getRSC() const;

    // ---- CPU timers (user time of the process) ----
    void resetTimer();
    void startTimer();
    void incrementTimer(int n);
    double getTotalTime() const { return totalTime_; }
    int getTimerCount() const { return timerCount_; }

    // ---- Read access for reports and tests ----
    // Fitted parameter name -> fit index, in name order.
    const std::map<std::string, unsigned>& getParameterIndex() const { return parameterIndex_; }
    unsigned getNumFitted() const { return static_cast<unsigned>(fitted_.size()); }
    const std::vector<OptimizerParameters>& getParameters() const { return parameters_; }
    const std::vector<std::string>& getReasons() const { return reasons_; }
    // The reason's text; "unknown" for a code outside the table.
    std::string getReason(int code) const;
    unsigned getX() const { return x_; }
    unsigned getY() const { return y_; }
    unsigned getZ() const { return z_; }

    // ---- Settings (the set and get commands reach them by these names) ----
    double abs_chisquare;       // stop when chi-square falls under this
    double delta_chisquare;     // stop when its relative change falls to this
    double abs_delta_argument;  // stop when the largest parameter change falls under this
    double rel_delta_argument;  // stop when the largest relative change falls under this
    int maxiter;                // iteration limit per voxel
    std::string statusfile;     // base name of the status files; empty: none

    // The working set, public for the protocol that fills it.
    Dataset* data_;
    Dataset* error_;
    VOI* voi_;
    Optimizable* model_;

protected:
    // One fitted parameter: its name, its index in the optimizable's own
    // list (for the index-based calls of the inner loops) and its fit index.
    struct Fitted {
        std::string name;
        unsigned index;
    };

    // The voxel walk shared by the methods: x outermost, z innermost, only
    // voxels active in the VOI (all without one).
    bool isActive(unsigned x, unsigned y, unsigned z) const;
    // Ends the voxel loops after a hook said stop: the warning, and x_, y_,
    // z_ at the data's dimensions.
    void stopByUser();
    // Loads the record's settings into the optimizer's fields.
    void loadSettings(const OptimizerParameters& record);
    // The input function in play: the model's first input, or the optimizable.
    InputFunction* inputInPlay() const;
    // The frames' model times of the data (any element type).
    const std::vector<double>& modelTimes() const { return times_; }
    // Writes the status file of the voxel in work for one iteration: time,
    // data value and the optimizable's value per frame (arrays from 0).
    void writeStatus(int iteration, const double* t, const double* y, unsigned T) const;
    // The covariance of voxel (x, y, z) into voxelCovariance_[1..P][1..P]
    // (fit index + 1), without allocating: the per-voxel path behind
    // computeCovariance and finishParameters. The model times must be
    // current. False (after the error line) without a dataset.
    bool voxelCovariance(unsigned x, unsigned y, unsigned z, const double* values = nullptr,
                         const double* derivatives = nullptr) const;

    std::map<std::string, unsigned> parameterIndex_;
    std::vector<Fitted> fitted_;       // by fit index
    std::vector<unsigned> linkDrivers_;  // optimizable indices of parameters that drive a link
    std::vector<OptimizerParameters> parameters_;
    double chisquare_;
    unsigned x_, y_, z_;
    std::vector<std::string> reasons_;
    std::string name_;
    double totalTime_;
    double startTime_;
    int timerCount_;
    Dataset2D<double> covariance_;
    SubUpdate* update_;

private:
    // A goodness-of-fit map: f(record, n, k) at every active voxel.
    template <class T, class F>
    Dataset3D<T> fitMap(F f) const;
    // The map's grid: the VOI's, or the data's without a VOI.
    void mapGrid(unsigned& X, unsigned& Y, unsigned& Z) const;
    // Chi-square of the constant model of a voxel (the F-test's reference).
    double constantChiSquare(unsigned x, unsigned y, unsigned z) const;

    // Model times of the data's frames, refreshed by prepare and by the
    // statistics that may run outside a run.
    void refreshTimes() const;
    // Chi-square of `model` at voxel (x, y, z) against the curves d and e
    // (normal units, e null for ones), and the weighted normal matrix of the
    // fitted parameters summed into A[1..P][1..P], both halves. The model's
    // values and derivatives come from `values` and `derivatives` (see
    // finishParameters) if given.
    double normalEquations(Optimizable* model, unsigned x, unsigned y, unsigned z, const double* d,
                           const double* e, Matrix1& A, const double* values = nullptr,
                           const double* derivatives = nullptr) const;
    // A divided by c, then inverted in place.
    void scaleAndInvert(Matrix1& A, double c) const;

    mutable std::vector<double> times_;
    // Scratch of the per-voxel covariance: one voxel's data and error curve,
    // the derivatives of one frame, the matrix.
    mutable std::vector<double> curveData_;
    mutable std::vector<double> curveError_;
    mutable std::vector<double> derivatives_;
    mutable Matrix1 voxelCovariance_;
};

#endif
