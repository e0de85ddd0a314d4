#include "Parameter.h"

#include <utility>

#include "Dataset.h"
#include "Dataset3D.h"
#include "VOI.h"
#include "util/Message.h"

std::atomic<int> Parameter::count_{0};

namespace {

// One value of a volume for a region: its single element while the recorded
// size is 1, the region mean otherwise.
double regionValue(const Dataset3D<double>* volume, unsigned recordedSize, const VOI& voi) {
    if (volume == nullptr) return 0.0;
    if (recordedSize == 1) return volume->getValue3D(0, 0, 0);
    return voi.mean<double>(*volume);
}

// Without a region every voxel counts.
double regionValue(const Dataset3D<double>* volume, unsigned recordedSize, const VOI* voi) {
    if (voi) return regionValue(volume, recordedSize, *voi);
    if (volume == nullptr) return 0.0;
    if (recordedSize == 1) return volume->getValue3D(0, 0, 0);
    const unsigned n = volume->getVolumeSize();
    double sum = 0.0;
    for (unsigned i = 0; i < n; ++i) sum += (*volume)(i);
    return n ? sum / n : 0.0;
}

// Copies a 3D dataset of any element type into `target`, which takes the
// source's grid exactly when the extents differ (also at an equal count, or
// the loop below would index the target's storage with the source's shape).
// x is the outer loop and z the inner one.
void copyVolume(Dataset3D<double>* target, const Dataset* source) {
    if (!target->checkDimensions(source))
        target->resizeExactly(source->getDimensionX(), source->getDimensionY(), source->getDimensionZ());
    const unsigned nx = source->getDimensionX(), ny = source->getDimensionY(), nz = source->getDimensionZ();
    for (unsigned x = 0; x < nx; ++x)
        for (unsigned y = 0; y < ny; ++y)
            for (unsigned z = 0; z < nz; ++z) target->setValue3D(x, y, z, source->getValue3D(x, y, z));
}

// Resizes one volume to exactly x, y, z (the maps are indexed with that grid
// afterwards); a single value spreads to every voxel. Returns the new voxel
// count.
unsigned resizeVolume(Dataset3D<double>* volume, unsigned x, unsigned y, unsigned z) {
    if (volume == nullptr) return 0;
    const unsigned old = volume->getVolumeSize();
    volume->resizeExactly(x, y, z);
    if (old == 1) {
        const double single = (*volume)(0);
        volume->setValue(single);
    }
    return volume->getVolumeSize();
}

Dataset3D<double>* copyOf(const Dataset3D<double>* volume) {
    return volume ? new Dataset3D<double>(*volume) : nullptr;
}

}  // namespace

Parameter::Parameter(const std::string& name, const Unit& unit, double value, double initValue, double min,
                     double max, State state)
    : name_(name),
      unit_(unit),
      min_(min),
      max_(max),
      initValue_(new Dataset3D<double>(1, 1, 1, initValue)),
      value_(new Dataset3D<double>(1, 1, 1, value)),
      error_(new Dataset3D<double>(1, 1, 1, 0.0)),
      state_(state),
      log_(false),
      errorSize_(1),
      initSize_(1),
      valueSize_(1) {
    setUnit(unit);
    if (!name.empty()) {
        initValue_->setName(name + "_init");
        value_->setName(name + "_value");
        error_->setName(name + "_error");
    }
    ++count_;
}

Parameter::Parameter(const Parameter& other)
    : name_(other.name_),
      unit_(other.unit_),
      min_(other.min_),
      max_(other.max_),
      initValue_(copyOf(other.initValue_)),
      value_(copyOf(other.value_)),
      error_(copyOf(other.error_)),
      state_(other.state_),
      log_(false),  // a copy always comes out linear
      errorSize_(error_ ? error_->getVolumeSize() : 0),
      initSize_(initValue_ ? initValue_->getVolumeSize() : 0),
      valueSize_(value_ ? value_->getVolumeSize() : 0) {
    setUnit(other.unit_);
    ++count_;
}

Parameter::Parameter(Parameter&& other) noexcept
    : name_(std::move(other.name_)),
      unit_(other.unit_),
      min_(other.min_),
      max_(other.max_),
      initValue_(other.initValue_),
      value_(other.value_),
      error_(other.error_),
      state_(other.state_),
      log_(other.log_),
      errorSize_(other.errorSize_),
      initSize_(other.initSize_),
      valueSize_(other.valueSize_) {
    other.initValue_ = nullptr;
    other.value_ = nullptr;
    other.error_ = nullptr;
    ++count_;
}

Parameter& Parameter::operator=(const Parameter& other) {
    if (this == &other) return *this;
    Dataset3D<double>* initValue = copyOf(other.initValue_);
    Dataset3D<double>* value = copyOf(other.value_);
    Dataset3D<double>* error = copyOf(other.error_);
    destroyVolumes();
    name_ = other.name_;
    unit_ = other.unit_;
    min_ = other.min_;
    max_ = other.max_;
    initValue_ = initValue;
    value_ = value;
    error_ = error;
    state_ = other.state_;
    log_ = other.log_;
    errorSize_ = other.errorSize_;
    initSize_ = other.initSize_;
    valueSize_ = other.valueSize_;
    return *this;
}

Parameter& Parameter::operator=(Parameter&& other) noexcept {
    if (this == &other) return *this;
    destroyVolumes();
    name_ = std::move(other.name_);
    unit_ = other.unit_;
    min_ = other.min_;
    max_ = other.max_;
    initValue_ = other.initValue_;
    value_ = other.value_;
    error_ = other.error_;
    other.initValue_ = nullptr;
    other.value_ = nullptr;
    other.error_ = nullptr;
    state_ = other.state_;
    log_ = other.log_;
    errorSize_ = other.errorSize_;
    initSize_ = other.initSize_;
    valueSize_ = other.valueSize_;
    return *this;
}

Parameter::~Parameter() {
    destroyVolumes();
    --count_;
}

void Parameter::destroyVolumes() {
    delete initValue_;
    delete value_;
    delete error_;
    initValue_ = value_ = error_ = nullptr;
}

std::string Parameter::getsState() const {
    std::string word;
    switch (state_) {
        case FREE: word = "free"; break;
        case FIXED: word = "fixed"; break;
        case LINKED: word = "linked"; break;
        case CONST: word = "const"; break;
        default: word = "unknown"; break;
    }
    if (log_) word += "(log)";
    return word;
}

double Parameter::getValue(const VOI& voi) const { return regionValue(value_, valueSize_, voi); }
double Parameter::getValue(const VOI* voi) const { return regionValue(value_, valueSize_, voi); }
double Parameter::getInitValue(const VOI& voi) const { return regionValue(initValue_, initSize_, voi); }
double Parameter::getInitValue(const VOI* voi) const { return regionValue(initValue_, initSize_, voi); }
double Parameter::getError(const VOI& voi) const { return regionValue(error_, errorSize_, voi); }
double Parameter::getError(const VOI* voi) const { return regionValue(error_, errorSize_, voi); }

void Parameter::setValue(double value) { value_->setValue(value); }
void Parameter::setError(double value) { error_->setValue(value); }
void Parameter::setInitValue(double value) { initValue_->setValue(value); }

void Parameter::setValue(const Dataset* data) {
    if (data->getNumDimensions() != 3) {
        ERROR("parameter values must be 3D!");
        return;
    }
    copyVolume(value_, data);
}

void Parameter::setError(const Dataset* data) {
    if (data->getNumDimensions() != 3) {
        ERROR("parameter error values must be 3D!");
        return;
    }
    copyVolume(error_, data);
}

void Parameter::setInitValue(const Dataset* data) {
    if (data->getNumDimensions() != 3) {
        ERROR("parameter initial values must be 3D!");
        return;
    }
    copyVolume(initValue_, data);
}

void Parameter::setUnit(const Unit& unit) {
    initValue_->setUnit(unit);
    value_->setUnit(unit);
    error_->setUnit(unit);
    unit_ = unit;
}

void Parameter::changeUnit(const Unit& unit) {
    if (!unit_.getName().empty()) {
        const double f = unit_.getFactor() / unit.getFactor();
        min_ *= f;
        max_ *= f;
    }
    initValue_->changeUnit(unit);
    value_->changeUnit(unit);
    error_->changeUnit(unit);
    unit_ = unit;
}

void Parameter::resize(unsigned x, unsigned y, unsigned z) {
    // A map of several voxels keeps its leading elements on a larger grid and
    // the voxels added are 0: after a fit of a smaller image, a constant
    // parameter would be 0 there. The user is told to set it again.
    const uint64_t voxels = uint64_t(x) * y * z;
    for (const Dataset3D<double>* map : {value_, initValue_}) {
        if (map == nullptr || map->getVolumeSize() <= 1 || voxels <= map->getVolumeSize()) continue;
        WARNING("parameter '%s': its map of %u voxels grows to %llu, the voxels added are 0; set it again\n",
                messageLiteral(name_).c_str(), map->getVolumeSize(), static_cast<unsigned long long>(voxels));
        break;
    }
    initSize_ = resizeVolume(initValue_, x, y, z);
    valueSize_ = resizeVolume(value_, x, y, z);
    errorSize_ = resizeVolume(error_, x, y, z);
}

bool Parameter::covers(unsigned x, unsigned y, unsigned z) const {
    for (const Dataset3D<double>* volume : {initValue_, value_, error_}) {
        if (volume == nullptr || volume->getVolumeSize() <= 1) continue;
        if (x >= volume->getDimensionX() || y >= volume->getDimensionY() || z >= volume->getDimensionZ()) return false;
    }
    return true;
}

std::ostream& operator<<(std::ostream& out, const Parameter& parameter) {
    out << "Parameter " << parameter.getName() << ":\n";
    out << "  " << parameter.getUnit();
    out << "  State=" << parameter.getsState();
    if (parameter.getMax() > parameter.getMin())
        out << "  Min=" << parameter.getMin() << " Max=" << parameter.getMax() << " \n";
    else
        out << " unbound\n";
    out << "  Initial value=";
    if (parameter.getInitValueVolume()) out << *static_cast<const Dataset*>(parameter.getInitValueVolume());
    out << "  Value=";
    if (parameter.getValueVolume()) out << *static_cast<const Dataset*>(parameter.getValueVolume());
    return out;
}
