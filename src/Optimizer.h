// Optimizer: the base of the fitting methods.
//
// It owns what every method shares: the stop settings and the table by which
// the set, get and show commands reach them, the working set of a run
// (dataset, error dataset, VOI and the optimizable being fitted), the table
// of fitted parameters, one result record per voxel, the walk over the
// voxels, the chi-square and covariance arithmetic, the goodness-of-fit maps,
// the CPU timers, the status files and the progress hook.
//
// A method is its `run(Voxel&)` alone. The public `run()` walks the voxels:
//
//   prepare();
//   for each active voxel (x outermost, z innermost):
//       "VOXEL x,y,z (n of N)", indent,
//       run(voxel): the method, which calls beginVoxel (curves, start values,
//           bounds; false for a voxel that cannot be fitted), its iterations,
//           and finishVoxel (the record and the errors), then prints its own
//           closing lines,
//       the final parameters, outdent, update(UpdateAction(1))
//       (a false answer stops the run: stopByUser());
//   finish();
//
// Units: a dataset value v with unit factor u_d is compared with the model in
// the model's unit, v * u_d / u_m (getData); the statistics work in normal
// units, d = v * u_d and m = model * u_m.
#ifndef KINETRA_OPTIMIZER_H
#define KINETRA_OPTIMIZER_H

#include <map>
#include <memory>
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

class Optimizer;

// One setting of an optimizer as the user reaches it: the key of the set, get
// and show commands and the field that holds it. Each optimizer has a table
// of them, the base's rows followed by the method's own.
struct OptimizerSetting {
    enum Kind {
        INTEGER,     // an int field; set stores the integer part
        REAL,        // a double field
        PATH,        // a text field, stored with checked directory separators
        RECIPROCAL,  // a double field that keeps 1 / (integer part of the value),
                     // for integer parts from 1 to INT_MAX only
        SECONDS,     // a double field holding a time limit: finite, not negative
    };
    const char* key;
    Kind kind;
    // The field in an optimizer of the row's class.
    void* (*field)(Optimizer&);
    bool readable;           // `get optimizer <key>` answers it
    const char* showFormat;  // its column in `show optimizer`; null: not shown
};

class Optimizer : public StopSettings {
public:
    explicit Optimizer(const std::string& name);
    Optimizer(const Optimizer&) = delete;
    Optimizer& operator=(const Optimizer&) = delete;
    virtual ~Optimizer();

    // The working set of one voxel's fit. A run makes one and reuses it for
    // every voxel, so the walk allocates nothing per voxel; whatever a
    // voxel's fit changes lives here or in the method's own working set.
    struct Voxel {
        Voxel(unsigned frames, unsigned fitted, bool weighted);
        const unsigned T;      // frames
        const unsigned P;      // fitted parameters
        const bool weighted;   // an error dataset is in play
        unsigned x = 0, y = 0, z = 0;
        unsigned number = 0;   // the record's number, from 0
        // Where this optimizer keeps the record: at `number`, or in the one
        // slot of a worker's copy.
        unsigned slot = 0;
        unsigned count = 0;    // active voxels of the run
        StopSettings settings;  // the record's stop settings
        std::vector<double> times;  // the frames' model times [T]
        // The curves in the model's unit [T]; the errors are 0 without an
        // error dataset.
        std::vector<double> data, error;
        // Start values (in the form the optimizers see, log10 for a
        // logarithmic parameter) and bounds of the fitted parameters [P].
        std::vector<double> start, lower, upper;
        // What the method leaves for the record.
        int iterations = 0;
        int exitFlag = 0;
        int signChanges = 0;
        double chisquare = 0.0;
        double unweightedChisquare = 0.0;
        bool skipped = false;  // the data could not be fitted (see beginVoxel)

        // The method's own working set, made from the voxel at the first
        // voxel of a run and kept, with its allocations, for the rest of it.
        struct State {
            virtual ~State() {}
        };
        template <class W>
        W& state() {
            if (!state_) state_.reset(new W(*this));
            return static_cast<W&>(*state_);
        }

    private:
        std::unique_ptr<State> state_;
    };

    // Fits every active voxel: prepare, the walk, finish. Nothing happens
    // after a failed prepare.
    void run();

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
    // getData of frames 0 .. T-1 into out[T], the curve read in one pass.
    void getCurve(Dataset* dataset, double* out, unsigned T) const;
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

    // ---- Settings: the stop settings (inherited) and the status files ----
    std::string statusfile;  // base name of the status files; empty: none

    // The table of the settings that set, get and show reach.
    const std::vector<OptimizerSetting>& getSettings() const { return settings_; }
    // The row of a key; null for a key this optimizer does not have.
    const OptimizerSetting* findSetting(const std::string& key) const;
    // Writers and readers of a row's field, by its kind: numbers for the
    // numeric kinds, text for PATH. A value that its kind refuses leaves the
    // field as it is, after a warning.
    void setSetting(const OptimizerSetting& setting, double value);
    void setSetting(const OptimizerSetting& setting, const std::string& text);
    double getNumber(const OptimizerSetting& setting) const;
    std::string getText(const OptimizerSetting& setting) const;

    // The working set, public for the protocol that fills it.
    Dataset* data_;
    Dataset* error_;
    VOI* voi_;
    Optimizable* model_;

private:
    // The working set of the last run that passed prepare: a refused run
    // goes back to it, so that the statistics keep reading the data, VOI
    // and optimizable that the records and maps came from.
    struct WorkingSet {
        Dataset* data = nullptr;
        Dataset* error = nullptr;
        VOI* voi = nullptr;
        Optimizable* model = nullptr;
    };
    WorkingSet lastRun_;
    // The mask of the last run, kept as a copy: the statistics place the
    // records on its active voxels even after the VOI itself is gone (the
    // command layer replaces temporary VOIs). Null: the run had no VOI.
    std::unique_ptr<VOI> runMask_;
    // True if voxel (x, y, z) took a record in the last run.
    bool inRunMask(unsigned x, unsigned y, unsigned z) const;

public:

protected:
    // One fitted parameter: its name, its index in the optimizable's own
    // list (for the index-based calls of the inner loops) and its fit index.
    struct Fitted {
        std::string name;
        unsigned index;
    };

    // The method: fits the voxel in `voxel` (see the walk above). The base
    // has no method and fits nothing.
    virtual void run(Voxel& voxel);
    // Called once after prepare, before the first voxel, for what a method
    // sets up or checks per run. False ends the run there: no voxel is
    // fitted and finish is not called.
    virtual bool beginRun(Voxel& /*voxel*/) { return true; }
    // Called once after the last voxel, before finish; the records of the
    // voxels walked are parameters_[0 .. voxelsWalked_).
    virtual void endRun(Voxel& /*voxel*/) {}

    // The first step of a method's voxel: loads the voxel's curves, starts
    // the fitted parameters from their initial values (printed at verbosity
    // 3), and loads start values and bounds. Data or errors that are not
    // finite would make every step meaningless: such a voxel is reported,
    // keeps its start values, gets errors and chi-square that are not a
    // number and a record that says no rule ended it; the answer is false
    // and the method ends the voxel at once.
    bool beginVoxel(Voxel& voxel);
    // The last step of a method's voxel: fills the voxel's record from what
    // the method left in `voxel` and computes the errors (finishParameters
    // with the model's values and derivatives at the final parameters, when
    // the method holds them).
    void finishVoxel(const Voxel& voxel, const double* values = nullptr, const double* derivatives = nullptr);
    // Adds a method's own row to the settings table.
    void addSetting(const OptimizerSetting& setting) { settings_.push_back(setting); }

    // A copy of this optimizer for a worker thread of the voxel walk, fitting
    // `model` (a faithful copy of the optimizable, owned by the walk): the
    // base's part comes from the constructor below, the method adds its own
    // settings. Null (the base): the method walks on the calling thread only.
    virtual Optimizer* makeWorker(Optimizable* model) const;
    // The base's part of a worker: settings, the run's data, error, VOI,
    // parameter table, records and frame times, with `model` to fit.
    Optimizer(const Optimizer& master, Optimizable* model);

    // The voxel walk: x outermost, z innermost, only voxels active in the
    // VOI (all without one).
    bool isActive(unsigned x, unsigned y, unsigned z) const;
    // Ends the voxel loops after a hook said stop: the warning, and x_, y_,
    // z_ at the data's dimensions.
    void stopByUser();
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
    unsigned voxelsWalked_ = 0;  // voxels of the run taken through the walk so far
    Dataset2D<double> covariance_;
    SubUpdate* update_;

private:
    // The voxel in work through the method and the closing report.
    void fitVoxel(Voxel& voxel);
    // The walk over `voxels` (x, y, z in walk order, one record each) on
    // the calling thread, or on `threads` threads: the calling one, with
    // its working set `voxel` (prepared by beginRun), and workers whose
    // texts, maps and records it takes over voxel by voxel, in order (false,
    // with nothing done, if the optimizable cannot be copied).
    struct WalkVoxel {
        unsigned x, y, z;
    };
    void walkSerial(const std::vector<WalkVoxel>& voxels, Voxel& voxel);
    bool walkParallel(const std::vector<WalkVoxel>& voxels, unsigned threads, Voxel& voxel);
    struct Worker;
    struct VoxelResult;
    // A voxel whose data cannot be fitted keeps its start values.
    void skipVoxel(Voxel& voxel);
    // The voxel's record from what the method left in it.
    void fillRecord(const Voxel& voxel);

    std::vector<OptimizerSetting> settings_;

    // A goodness-of-fit map: f(record, n, k) at every active voxel.
    template <class T, class F>
    Dataset3D<T> fitMap(F f) const;
    // The map's grid: the VOI's, or the data's without a VOI.
    void mapGrid(unsigned& X, unsigned& Y, unsigned& Z) const;
    // Chi-square of the constant model of a voxel (the F-test's reference).
    double constantChiSquare(unsigned x, unsigned y, unsigned z) const;

    struct RegionFit;
    bool regionFit(VOI* voi, RegionFit& fit) const;
    // False (after the error line) if an input of the model has a parameter
    // map that is neither one value nor on the data's X x Y x Z grid.
    bool inputsOnGrid(unsigned X, unsigned Y, unsigned Z) const;
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
    // Scratch of the per-voxel covariance: one voxel's data and error curve
    // in normal units, the derivatives of every frame, the matrix.
    mutable std::vector<double> curveData_;
    mutable std::vector<double> curveError_;
    mutable std::vector<double> derivatives_;
    mutable Matrix1 voxelCovariance_;
    // getCurve leaves the curves it read in curveData_ / curveError_ for the
    // covariance of the same voxel, which then need not read them again (a
    // voxel's frames lie a volume apart: every frame is a cache miss). The
    // covariance takes them once; a run starts and ends with none held.
    struct HeldCurve {
        bool held = false;
        unsigned x = 0, y = 0, z = 0;
        bool holds(unsigned x_, unsigned y_, unsigned z_) const { return held && x == x_ && y == y_ && z == z_; }
    };
    mutable HeldCurve heldData_, heldError_;
};

#endif
