// The optimizer base: settings, the working set of a run, the per-voxel steps
// that every method calls (prepare, initParameters, finishParameters,
// finish), reports, timers, status files and the progress hook. The
// statistics live in Optimizer.statistics.cpp.
#include "Optimizer.h"

#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "Dataset.visit.h"
#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizable.h"
#include "VOI.h"
#include "util/Message.h"
#include "util/StringUtil.h"

namespace {

// The settings of every optimizer, in the order of the columns of `show`.
const OptimizerSetting kBaseSettings[] = {
    {"maxiter", OptimizerSetting::INTEGER, [](Optimizer& o) -> void* { return &o.maxiter; }, true, " %7d"},
    {"abs_chisquare", OptimizerSetting::REAL, [](Optimizer& o) -> void* { return &o.abs_chisquare; }, true, " %8.2g"},
    {"delta_chisquare", OptimizerSetting::REAL, [](Optimizer& o) -> void* { return &o.delta_chisquare; }, true,
     " %8.2g"},
    {"abs_delta_argument", OptimizerSetting::REAL, [](Optimizer& o) -> void* { return &o.abs_delta_argument; }, false,
     nullptr},
    {"rel_delta_argument", OptimizerSetting::REAL, [](Optimizer& o) -> void* { return &o.rel_delta_argument; }, false,
     nullptr},
    {"statusfile", OptimizerSetting::PATH, [](Optimizer& o) -> void* { return &o.statusfile; }, true, nullptr},
};

}  // namespace

Optimizer::Voxel::Voxel(unsigned frames, unsigned fitted, bool withErrors)
    : T(frames),
      P(fitted),
      weighted(withErrors),
      times(frames, 0.0),
      data(frames, 0.0),
      error(frames, 0.0),
      start(fitted, 0.0),
      lower(fitted, 0.0),
      upper(fitted, 0.0) {}

Optimizer::Optimizer(const std::string& name)
    : data_(nullptr),
      error_(nullptr),
      voi_(nullptr),
      model_(nullptr),
      chisquare_(0.0),
      x_(0),
      y_(0),
      z_(0),
      name_(name),
      totalTime_(0.0),
      startTime_(0.0),
      timerCount_(0),
      covariance_(0, 0),
      update_(nullptr),
      settings_(std::begin(kBaseSettings), std::end(kBaseSettings)) {
    reset();
}

Optimizer::~Optimizer() { delete update_; }

void Optimizer::run(Voxel&) {}

// ---------------------------------------------------------------------------
// Settings

const OptimizerSetting* Optimizer::findSetting(const std::string& key) const {
    for (const OptimizerSetting& setting : settings_)
        if (key == setting.key) return &setting;
    return nullptr;
}

void Optimizer::setSetting(const OptimizerSetting& setting, double value) {
    void* field = setting.field(*this);
    switch (setting.kind) {
        case OptimizerSetting::INTEGER: *static_cast<int*>(field) = fromDouble<int>(value); break;
        case OptimizerSetting::REAL: *static_cast<double*>(field) = value; break;
        case OptimizerSetting::RECIPROCAL:
            // A count below 1 would make the step infinite or negative.
            if (!(value >= 1.0 && value < 2147483648.0)) {
                WARNING("invalid value %g for optimizer parameter '%s': a count from 1 to 2147483647 is needed\n",
                        value, setting.key);
                break;
            }
            *static_cast<double*>(field) = 1.0 / fromDouble<int>(value);
            break;
        case OptimizerSetting::SECONDS:
            if (!(std::isfinite(value) && value >= 0.0)) {
                WARNING("invalid value %g for optimizer parameter '%s': a finite number of seconds, not negative, "
                        "is needed\n",
                        value, setting.key);
                break;
            }
            *static_cast<double*>(field) = value;
            break;
        case OptimizerSetting::PATH: break;
    }
}

void Optimizer::setSetting(const OptimizerSetting& setting, const std::string& text) {
    if (setting.kind == OptimizerSetting::PATH) *static_cast<std::string*>(setting.field(*this)) =
        checkDirectorySeparators(text);
}

double Optimizer::getNumber(const OptimizerSetting& setting) const {
    void* field = setting.field(const_cast<Optimizer&>(*this));
    switch (setting.kind) {
        case OptimizerSetting::INTEGER: return *static_cast<const int*>(field);
        case OptimizerSetting::REAL:
        case OptimizerSetting::RECIPROCAL:
        case OptimizerSetting::SECONDS: return *static_cast<const double*>(field);
        case OptimizerSetting::PATH: break;
    }
    return 0.0;
}

std::string Optimizer::getText(const OptimizerSetting& setting) const {
    if (setting.kind != OptimizerSetting::PATH) return std::string();
    return *static_cast<const std::string*>(setting.field(const_cast<Optimizer&>(*this)));
}

void Optimizer::reset() {
    data_ = nullptr;
    error_ = nullptr;
    voi_ = nullptr;
    model_ = nullptr;
    lastRun_ = WorkingSet();
    runMask_.reset();
    parameterIndex_.clear();
    fitted_.clear();
    linkDrivers_.clear();
    parameters_.resize(1);
    parameters_[0] = OptimizerParameters();
    resetTimer();
}

void Optimizer::forget(const void* object) {
    if (object == nullptr) return;
    if (lastRun_.data == object) lastRun_.data = nullptr;
    if (lastRun_.error == object) lastRun_.error = nullptr;
    if (static_cast<const void*>(lastRun_.voi) == object) lastRun_.voi = nullptr;
    if (static_cast<const void*>(lastRun_.model) == object) lastRun_.model = nullptr;
    if (data_ == object) data_ = nullptr;
    if (error_ == object) error_ = nullptr;
    if (static_cast<const void*>(voi_) == object) voi_ = nullptr;
    if (static_cast<const void*>(model_) == object) model_ = nullptr;
}

void Optimizer::setStatusFile(const std::string& name) { statusfile = checkDirectorySeparators(name); }

void Optimizer::setUpdate(SubUpdate* update) {
    if (update == update_) return;
    delete update_;
    update_ = update;
}

bool Optimizer::update(const UpdateAction& action) const { return update_ == nullptr || (*update_)(action); }

std::string Optimizer::getReason(int code) const {
    if (code >= 0 && static_cast<size_t>(code) < reasons_.size()) return reasons_[static_cast<size_t>(code)];
    return "unknown";
}

// ---------------------------------------------------------------------------
// prepare

namespace {

// A dataset that holds a series of volumes of any element type.
bool isSeries(const Dataset* data) { return data != nullptr && data->getNumDimensions() == 4; }

}  // namespace

void Optimizer::refreshTimes() const {
    times_.clear();
    if (!isSeries(data_)) return;
    const FrameSeries& series = *data_->series();
    for (unsigned t = 0; t < series.getDimensionT(); ++t) times_.push_back(series.getModelTime(t));
}

// A model reads its inputs' parameter maps at the voxel in work: a map must
// hold one value for every voxel or lie on the data's grid, or the fit would
// read past it.
bool Optimizer::inputsOnGrid(unsigned X, unsigned Y, unsigned Z) const {
    const Model* model = model_->getType() == "Model" ? dynamic_cast<const Model*>(model_) : nullptr;
    if (model == nullptr) return true;
    for (unsigned i = 0; i < model->getNumInputs(); ++i) {
        const InputFunction* input = model->getInput(i);
        for (unsigned j = 0; j < input->getNumParameters(); ++j) {
            const Dataset3D<double>* map = input->getParameterByIndex(j).getValueVolume();
            if (map->getVolumeSize() <= 1 ||
                (map->getDimensionX() == X && map->getDimensionY() == Y && map->getDimensionZ() == Z))
                continue;
            ERROR("input function '%s' has parameter '%s' on a %dx%dx%d grid, not on the grid of data set '%s' "
                  "(%dx%dx%d)",
                  input->getName().c_str(), input->getParameterByIndex(j).getName().c_str(), map->getDimensionX(),
                  map->getDimensionY(), map->getDimensionZ(), data_->getName().c_str(), X, Y, Z);
            return false;
        }
    }
    return true;
}

bool Optimizer::prepare() {
    MESSAGE(1, "%s optimizer\n", name_.c_str());
    if (data_ == nullptr) {
        ERROR("Optimizer::prepare() no dataset");
        return false;
    }
    const unsigned X = data_->getDimensionX(), Y = data_->getDimensionY(), Z = data_->getDimensionZ();
    const unsigned T = data_->getDimensionT();
    MESSAGE(1, "DATASET  : %s (%dx%dx%dx%d)\n", data_->getName().c_str(), T, X, Y, Z);
    MESSAGE(1, "ERROR    : %s\n", error_ != nullptr ? error_->getName().c_str() : "-");
    if (!isSeries(data_)) {
        ERROR("Optimizer::prepare() dataset '%s' has no frames", data_->getName().c_str());
        return false;
    }
    if (error_ != nullptr &&
        (!isSeries(error_) || error_->getDimensionT() != T || error_->getDimensionX() != X ||
         error_->getDimensionY() != Y || error_->getDimensionZ() != Z)) {
        ERROR("dimension mismatch between data set (%dx%dx%dx%d) and error (%dx%dx%dx%d)", T, X, Y, Z,
              error_->getDimensionT(), error_->getDimensionX(), error_->getDimensionY(), error_->getDimensionZ());
        return false;
    }
    if (voi_ == nullptr) {
        MESSAGE(1, "VOI     : -\n");
    } else {
        MESSAGE(1, "VOI     : %s (%dx%dx%d) with %d of %d active\n", voi_->getName().c_str(), voi_->getDimensionX(),
                voi_->getDimensionY(), voi_->getDimensionZ(), voi_->numActive(), voi_->getVolumeSize());
    }
    if (model_ == nullptr) {
        ERROR("Optimizer::prepare() no model");
        return false;
    }
    if (model_->getType() == "Model") {
        const Model* model = dynamic_cast<const Model*>(model_);
        MESSAGE(1, "MODEL   : %s \n", model_->getName().c_str());
        if (model == nullptr || model->getNumInputs() == 0) {
            ERROR("no input function set for model '%s'", model_->getName().c_str());
            return false;
        }
        MESSAGE(1, "INPUT   : %s \n", model->getInput(0u)->getName().c_str());
    } else {
        MESSAGE(1, "INPUTFCT: %s \n", model_->getName().c_str());
    }
    MESSAGE(1, "PARAMETERS: \n");
    _MessageHelper::indent(2);
    if (voi_ != nullptr && (voi_->getDimensionX() != X || voi_->getDimensionY() != Y || voi_->getDimensionZ() != Z)) {
        ERROR("dimension mismatch between data set (%dx%dx%d) and VOI (%dx%dx%d)", X, Y, Z, voi_->getDimensionX(),
              voi_->getDimensionY(), voi_->getDimensionZ());
        _MessageHelper::outdent(2);
        return false;
    }
    if (!inputsOnGrid(X, Y, Z)) {
        _MessageHelper::outdent(2);
        return false;
    }

    // The free parameters, in the optimizable's order, are the fitted ones.
    // The tables are built aside: a refused run leaves the last run's
    // tables, maps and records together, so its statistics still line up.
    std::map<std::string, unsigned> parameterIndex;
    std::vector<Fitted> fitted;
    std::vector<unsigned> linkDrivers;
    for (unsigned i = 0; i < model_->getNumParameters(); ++i) {
        const Parameter& p = model_->getParameterByIndex(i);
        if (p.getState() == Parameter::FREE) {
            const unsigned counter = static_cast<unsigned>(fitted.size());
            if (_MessageHelper::enabled(1)) {
                const std::string line = p.getName() + " (" + num2string(counter) +
                                         ") = " + num2string(p.getValueVolume()->getValue3D(0, 0, 0)) + " " +
                                         p.getUnit().getName() + " \n";
                MESSAGE(1, "%s", line.c_str());
            }
            parameterIndex[p.getName()] = counter;
            fitted.push_back(Fitted{p.getName(), i});
        }
        if (model_->getParameterLink(p.getName()) >= 0) linkDrivers.push_back(i);
    }
    _MessageHelper::outdent(2);
    const unsigned numActive = voi_ != nullptr ? voi_->numActive() : X * Y * Z;
    if (voi_ != nullptr && numActive == 0) {
        ERROR("VOI '%s' has 0 active voxels", voi_->getName().c_str());
        return false;
    }

    // Every check has passed: the run takes over. Every parameter map takes
    // the data's grid and geometry.
    parameterIndex_.swap(parameterIndex);
    fitted_.swap(fitted);
    linkDrivers_.swap(linkDrivers);
    const Unit& spaceUnit = data_->getSpaceUnit();
    const std::vector<double> pixelSize = data_->getPixelSize();
    const std::vector<double> origin = data_->getOrigin();
    for (unsigned i = 0; i < model_->getNumParameters(); ++i) {
        Parameter& p = model_->getParameterByIndex(i);
        for (Dataset3D<double>* volume : {p.getInitValueVolume(), p.getValueVolume(), p.getErrorVolume()}) {
            volume->setSpaceUnit(spaceUnit);
            volume->setPixelSize(pixelSize);
            volume->setOrigin(origin);
        }
    }
    model_->resizeParameters(X, Y, Z);
    parameters_.resize(numActive);
    for (OptimizerParameters& record : parameters_) static_cast<StopSettings&>(record) = *this;
    refreshTimes();
    resetTimer();
    return true;
}

// ---------------------------------------------------------------------------
// Per-voxel steps

bool Optimizer::inRunMask(unsigned x, unsigned y, unsigned z) const {
    return runMask_ == nullptr || (*runMask_)(x, y, z) != 0;
}

bool Optimizer::isActive(unsigned x, unsigned y, unsigned z) const {
    return voi_ == nullptr || (*voi_)(x, y, z) != 0;
}

// ---------------------------------------------------------------------------
// The walk

void Optimizer::fitVoxel(Voxel& voxel) {
    const OptimizerParameters& record = parameters_[voxel.slot];
    voxel.settings = record;
    voxel.iterations = record.numiter;
    voxel.exitFlag = 0;
    voxel.signChanges = 0;
    voxel.chisquare = 0.0;
    voxel.unweightedChisquare = 0.0;
    voxel.skipped = false;
    MESSAGE(3, "VOXEL %d,%d,%d (%d of %d)\n", static_cast<int>(voxel.x), static_cast<int>(voxel.y),
            static_cast<int>(voxel.z), static_cast<int>(voxel.number + 1), static_cast<int>(voxel.count));
    _MessageHelper::indent(2);
    run(voxel);
    if (!voxel.skipped && _MessageHelper::enabled(3)) printParameters("FINAL ");
    _MessageHelper::outdent(2);
}

bool Optimizer::beginVoxel(Voxel& voxel) {
    getCurve(data_, voxel.data.data(), voxel.T);
    getCurve(error_, voxel.error.data(), voxel.T);
    bool finite = true;
    for (unsigned t = 0; t < voxel.T; ++t)
        finite = finite && std::isfinite(voxel.data[t]) && std::isfinite(voxel.error[t]);
    initParameters();
    if (_MessageHelper::enabled(3)) printParameters("INITIAL: ");
    if (!finite) {
        skipVoxel(voxel);
        return false;
    }
    for (unsigned i = 0; i < voxel.P; ++i) {
        const unsigned index = fitted_[i].index;
        const Parameter& p = model_->getParameterByIndex(index);
        voxel.start[i] = model_->getParameterValueByIndex(index, x_, y_, z_);
        voxel.lower[i] = p.getMin();
        voxel.upper[i] = p.getMax();
    }
    return true;
}

void Optimizer::skipVoxel(Voxel& voxel) {
    WARNING("voxel %d,%d,%d has data or errors that are not finite: not fitted\n", static_cast<int>(voxel.x),
            static_cast<int>(voxel.y), static_cast<int>(voxel.z));
    const double nan = std::nan("");
    for (const Fitted& f : fitted_) model_->setParameterError(f.name, voxel.x, voxel.y, voxel.z, nan);
    voxel.skipped = true;
    voxel.iterations = 0;
    voxel.exitFlag = 0;
    voxel.signChanges = 0;
    voxel.chisquare = nan;
    voxel.unweightedChisquare = nan;
    fillRecord(voxel);
}

void Optimizer::fillRecord(const Voxel& voxel) {
    OptimizerParameters& record = parameters_[voxel.slot];
    record.x_ = voxel.x;
    record.y_ = voxel.y;
    record.z_ = voxel.z;
    record.numiter = voxel.iterations;
    record.chisquare_ = voxel.chisquare;
    record.unweightedChisquare_ = voxel.unweightedChisquare;
    record.exitFlag_ = voxel.exitFlag;
    record.rsc_ = voxel.signChanges;
    record.time_ = totalTime_;
}

void Optimizer::finishVoxel(const Voxel& voxel, const double* values, const double* derivatives) {
    fillRecord(voxel);
    finishParameters(values, derivatives);
}

void Optimizer::stopByUser() {
    WARNING("Optimization stopped by user!!!\n");
    x_ = data_->getDimensionX();
    y_ = data_->getDimensionY();
    z_ = data_->getDimensionZ();
}

// The stored value of a parameter takes its initial value. The writer reads a
// logarithmic parameter in log10 form, so the initial value is handed over in
// that form; the writer also carries the value across the parameter's link.
void Optimizer::initParameters() {
    auto start = [this](unsigned index) {
        const Parameter& p = model_->getParameterByIndex(index);
        const double v = p.initValueAt(x_, y_, z_);
        model_->setParameterValueByIndex(index, x_, y_, z_, p.getLog() ? std::log10(v) : v);
    };
    for (const Fitted& f : fitted_) start(f.index);
    for (unsigned index : linkDrivers_) start(index);
}

double Optimizer::getData(Dataset* dataset, unsigned t) const {
    if (dataset == nullptr) return 0.0;
    return dataset->getValue4D(t, x_, y_, z_) * dataset->getUnit().getFactor() / model_->getUnit().getFactor();
}

void Optimizer::getCurve(Dataset* dataset, double* out, unsigned T) const {
    if (dataset == nullptr) {
        std::fill(out, out + T, 0.0);
        return;
    }
    // The curve in normal units, v u_d, kept for the voxel's covariance when
    // it is the data's or the errors', then in the model's unit.
    const bool data = dataset == data_, held = data || dataset == error_;
    std::vector<double>& normal = data ? curveData_ : curveError_;
    double* curve = out;
    if (held) {
        normal.resize(T);
        curve = normal.data();
    }
    readCurve(*dataset, x_, y_, z_, curve, T);
    const double ud = dataset->getUnit().getFactor(), um = model_->getUnit().getFactor();
    for (unsigned t = 0; t < T; ++t) {
        curve[t] *= ud;
        out[t] = curve[t] / um;
    }
    if (held) (data ? heldData_ : heldError_) = HeldCurve{true, x_, y_, z_};
}

InputFunction* Optimizer::inputInPlay() const {
    if (model_ == nullptr) return nullptr;
    if (model_->getType() == "Model") {
        // Only Model's constructor names the type "Model" (called per voxel:
        // no dynamic_cast needed).
        const Model* model = static_cast<const Model*>(model_);
        return model->getNumInputs() > 0 ? model->getInput(0u) : nullptr;
    }
    return dynamic_cast<InputFunction*>(model_);
}

void Optimizer::finishParameters() { finishParameters(nullptr, nullptr); }

void Optimizer::finishParameters(const double* values, const double* derivatives) {
    const bool computed = voxelCovariance(x_, y_, z_, values, derivatives);
    for (const auto& entry : parameterIndex_) {
        const unsigned i = entry.second + 1;
        double v = computed ? voxelCovariance_[i][i] : 0.0;
        if (v < 0.0) {
            WARNING("INVALID covariance matrix entry %g for parameter '%s'\n", v, entry.first.c_str());
            v = 0.0;
        }
        model_->setParameterErrorByIndex(fitted_[entry.second].index, x_, y_, z_, std::sqrt(v));
    }
    if (InputFunction* input = inputInPlay()) input->checkCacheSize();
}

void Optimizer::printParameters(const std::string& title) const {
    if (_MessageHelper::verbosity_ == 0) return;
    MESSAGE(1, "%sPARAMETER VALUES:\n", title.c_str());
    _MessageHelper::indent(2);
    for (const auto& entry : parameterIndex_) {
        const Parameter& p = model_->getParameterByIndex(fitted_[entry.second].index);
        std::string line = stringPrintf(1024, "%s = %lg +/- %lg %s", entry.first.c_str(),
                                        model_->getParameterValueByIndex(fitted_[entry.second].index, x_, y_, z_),
                                        p.errorAt(x_, y_, z_), p.getUnit().getName().c_str());
        if (p.getMax() > p.getMin()) line += stringPrintf(1024, " [ %lg, %lg ]", p.getMin(), p.getMax());
        line += " \n";
        MESSAGE(1, "%s", line.c_str());
    }
    _MessageHelper::outdent(2);
}

void Optimizer::finish() {
    computeChiSquare(voi_);
    computeCovariance(voi_);
    update(UpdateAction(0));
    x_ = y_ = z_ = 0;
}

// ---------------------------------------------------------------------------
// Results

Dataset3D<double>* Optimizer::getResult(const std::string& name) const {
    if (model_ == nullptr || model_->hasParameter(name) < 0) {
        ERROR("unknown parameter '%s'", name.c_str());
        return nullptr;
    }
    return model_->getParameter(name).getValueVolume();
}

Dataset3D<double>* Optimizer::getError(const std::string& name) const {
    if (model_ == nullptr || model_->hasParameter(name) < 0) {
        ERROR("unknown parameter '%s'", name.c_str());
        return nullptr;
    }
    return model_->getParameter(name).getErrorVolume();
}

namespace {

// The error head and the name, with no closing newline of its own.
void unknownParameter(const char* file, int line, const std::string& name) {
    (void)_ErrorHelper(file, line);
    messagePrintf("%s", ("unknown parameter '" + name + "'").c_str());
}

}  // namespace

double Optimizer::getResult(const std::string& name, unsigned x, unsigned y, unsigned z) const {
    if (model_ == nullptr || model_->hasParameter(name) < 0) {
        unknownParameter(__FILE__, __LINE__, name);
        return 0.0;
    }
    return model_->getParameterValue(name, x, y, z);
}

double Optimizer::getError(const std::string& name, unsigned x, unsigned y, unsigned z) const {
    if (model_ == nullptr || model_->hasParameter(name) < 0) {
        unknownParameter(__FILE__, __LINE__, name);
        return 0.0;
    }
    return model_->getParameterError(name, x, y, z);
}

void Optimizer::getResult(const std::string& name, unsigned x, unsigned y, unsigned z, double* value,
                          double* error) const {
    if (value != nullptr) *value = getResult(name, x, y, z);
    if (error != nullptr) *error = getError(name, x, y, z);
}

// ---------------------------------------------------------------------------
// Timers: user CPU time of the process.

namespace {

bool userSeconds(double* seconds) {
    struct rusage usage;
#ifdef RUSAGE_THREAD
    // The calling thread's time: voxels fitted on other threads at the same
    // time do not count into this one's.
    if (getrusage(RUSAGE_THREAD, &usage) != 0) return false;
#else
    if (getrusage(RUSAGE_SELF, &usage) != 0) return false;
#endif
    *seconds = static_cast<double>(usage.ru_utime.tv_sec) + 1e-6 * static_cast<double>(usage.ru_utime.tv_usec);
    return true;
}

}  // namespace

void Optimizer::resetTimer() {
    totalTime_ = 0.0;
    startTime_ = 0.0;
    timerCount_ = 0;
}

// The clock is read only where its time can be seen: the methods print the
// run's time at verbosity 3 and up, and nothing else shows it. The read is a
// system call that costs as much as a small voxel's whole fit, so below
// verbosity 3 the timers only count and the run's time stays 0.
void Optimizer::startTimer() {
    double now;
    if (_MessageHelper::enabled(3) && userSeconds(&now)) startTime_ = now;
}

void Optimizer::incrementTimer(int n) {
    if (_MessageHelper::enabled(3)) {
        double now;
        if (!userSeconds(&now)) return;
        totalTime_ += now - startTime_;
    }
    timerCount_ += n;
}

// ---------------------------------------------------------------------------
// Status files: <statusfile>_<name>_<x>,<y>,<z>_<iteration>, blanks as '_'.

void Optimizer::writeStatus(int iteration, const double* t, const double* y, unsigned T) const {
    if (statusfile.empty() || model_ == nullptr) return;
    char buffer[1024];
    std::snprintf(buffer, sizeof buffer, "%s_%s_%d,%d,%d_%03d", statusfile.c_str(), model_->getName().c_str(),
                  static_cast<int>(x_), static_cast<int>(y_), static_cast<int>(z_), iteration);
    std::string fileName(buffer);
    for (char& c : fileName)
        if (c == ' ') c = '_';
    std::ofstream out(fileName.c_str(), std::ios::out | std::ios::trunc);
    if (!out) return;
    out << "# Iteration: " << iteration << " \n";
    out << "# t y fit\n";
    for (unsigned i = 0; i < T; ++i) out << t[i] << " " << y[i] << " " << (*model_)(t[i], x_, y_, z_) << " \n";
}
