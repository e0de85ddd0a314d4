#include "Optimizable.h"

#include <algorithm>
#include <cmath>

#include "Dataset.h"
#include "Dataset3D.h"
#include "Optimizable.detail.h"
#include "util/Message.h"


std::atomic<int> Optimizable::count_{0};

Optimizable::Optimizable(const std::string& type)
    : name_(), unit_(), type_(type), changed_(false), numder_(false), size_(0), x_(0), y_(0), z_(0) {
    ++count_;
}

Optimizable::Optimizable(const Optimizable& other)
    : name_(other.name_), unit_(other.unit_), type_(other.type_), changed_(false), numder_(false), size_(0),
      x_(0), y_(0), z_(0) {
    const std::vector<std::string> names = other.getParameterNames();
    parameter_.reserve(names.size());
    for (const std::string& name : names) {
        parameter_.emplace_back(other.getParameter(name));
        index_[name] = static_cast<unsigned>(parameter_.size() - 1);
        link_.push_back(other.getParameterLink(name));
        linkType_.push_back(other.getParameterLinkType(name));
        const Dataset3D<double>* volume = parameter_.back().getValueVolume();
        if (volume) size_ = std::max(size_, volume->getVolumeSize());
    }
    ++count_;
}

Optimizable::~Optimizable() { --count_; }

// ---------------------------------------------------------------- lookups

// Names are unique (addParameter refuses a second one) and parameters are
// never renamed, so the name index answers what a scan of the list would, in
// logarithmic rather than linear time: an input function of thousands of
// samples adds and looks up its parameters without quadratic cost. An entry
// counts only while it points at a parameter of that name.
int Optimizable::hasParameter(const std::string& name) const {
    const auto it = index_.find(name);
    if (it == index_.end() || it->second >= parameter_.size() || parameter_[it->second].getName() != name) return -1;
    return static_cast<int>(it->second);
}

std::vector<std::string> Optimizable::getParameterNames() const {
    std::vector<std::string> names;
    names.reserve(parameter_.size());
    for (const Parameter& p : parameter_) names.push_back(p.getName());
    return names;
}

namespace {
// What an unknown name answers on an object without any parameter: a harmless
// parameter of its own rather than a reference past the end of the list.
Parameter& placeholderParameter() {
    static Parameter placeholder("", Unit(), 0.0, 0.0, 0.0, 0.0, Parameter::CONST);
    return placeholder;
}
}  // namespace

Parameter& Optimizable::getParameter(const std::string& name) {
    int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::getParameter() unknown parameter '", name);
        if (parameter_.empty()) return placeholderParameter();
        i = 0;
    }
    return parameter_[static_cast<size_t>(i)];
}

const Parameter& Optimizable::getParameter(const std::string& name) const {
    int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::getParameter() unknown parameter '", name);
        if (parameter_.empty()) return placeholderParameter();
        i = 0;
    }
    return parameter_[static_cast<size_t>(i)];
}

const Parameter* Optimizable::parameterOutside(unsigned x, unsigned y, unsigned z) const {
    for (const Parameter& p : parameter_)
        if (!p.covers(x, y, z)) return &p;
    return nullptr;
}

unsigned Optimizable::getParameterDimensionX() const {
    unsigned n = 0;
    for (const Parameter& p : parameter_)
        if (p.getValueVolume()) n = std::max(n, p.getValueVolume()->getDimensionX());
    return n;
}

unsigned Optimizable::getParameterDimensionY() const {
    unsigned n = 0;
    for (const Parameter& p : parameter_)
        if (p.getValueVolume()) n = std::max(n, p.getValueVolume()->getDimensionY());
    return n;
}

unsigned Optimizable::getParameterDimensionZ() const {
    unsigned n = 0;
    for (const Parameter& p : parameter_)
        if (p.getValueVolume()) n = std::max(n, p.getValueVolume()->getDimensionZ());
    return n;
}

// ---------------------------------------------------------------- single attributes

void Optimizable::setParameterMin(const std::string& name, double value) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterMin() unknown parameter '", name);
        return;
    }
    parameter_[static_cast<size_t>(i)].setMin(value);
}

void Optimizable::setParameterMax(const std::string& name, double value) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterMax() unknown parameter '", name);
        return;
    }
    parameter_[static_cast<size_t>(i)].setMax(value);
}

void Optimizable::setParameterLog(const std::string& name, bool log) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterLog() unknown parameter '", name);
        return;
    }
    parameter_[static_cast<size_t>(i)].setLog(log);
}

void Optimizable::setParameterUnit(const std::string& name, const Unit& unit) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterUnit() unknown parameter '", name);
        return;
    }
    parameter_[static_cast<size_t>(i)].setUnit(unit);
    changed_ = true;  // the normal values change with the unit
}

void Optimizable::setParameterState(const std::string& name, const Parameter::State& state) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterState() unknown parameter '", name);
        return;
    }
    parameter_[static_cast<size_t>(i)].setState(state);
    // Cuts the link this parameter drives, not the one that drives it.
    if (state != Parameter::LINKED && static_cast<size_t>(i) < link_.size()) link_[static_cast<size_t>(i)] = -1;
}

Unit Optimizable::getParameterUnit(const std::string& name) const {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("unknown parameter '", name);
        return Unit();
    }
    return parameter_[static_cast<size_t>(i)].getUnit();
}

bool Optimizable::getParameterLog(const std::string& name) const {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("unknown parameter '", name);
        return false;
    }
    return parameter_[static_cast<size_t>(i)].getLog();
}

double Optimizable::getParameterMin(const std::string& name) const {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("unknown parameter '", name);
        return 0.0;
    }
    return parameter_[static_cast<size_t>(i)].getMin();
}

double Optimizable::getParameterMax(const std::string& name) const {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("unknown parameter '", name);
        return 0.0;
    }
    return parameter_[static_cast<size_t>(i)].getMax();
}

int Optimizable::getParameterLink(const std::string& name) const {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("unknown parameter '", name);
        return -1;
    }
    return static_cast<size_t>(i) < link_.size() ? link_[static_cast<size_t>(i)] : -1;
}

std::string Optimizable::getParameterLinkType(const std::string& name) const {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("unknown parameter '", name);
        return "";
    }
    return static_cast<size_t>(i) < linkType_.size() ? linkType_[static_cast<size_t>(i)] : std::string();
}

bool Optimizable::hasState(const std::string& name, int state) const {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("unknown parameter '", name);
        return false;
    }
    return parameter_[static_cast<size_t>(i)].getState() == state;
}

bool Optimizable::getParameterState(const std::string& name) const { return hasState(name, Parameter::FREE); }

bool Optimizable::isParameterConst(const std::string& name) const { return hasState(name, Parameter::CONST); }

bool Optimizable::isParameterLinked(const std::string& name) const { return hasState(name, Parameter::LINKED); }

bool Optimizable::isParameterFree(const std::string& name) const { return hasState(name, Parameter::FREE); }

// ---------------------------------------------------------------- errors and initial values

void Optimizable::setParameterError(const std::string& name, unsigned x, unsigned y, unsigned z, double value) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterError() unknown parameter '", name);
        return;
    }
    setParameterErrorByIndex(static_cast<unsigned>(i), x, y, z, value);
}

void Optimizable::setParameterErrorByIndex(unsigned index, unsigned x, unsigned y, unsigned z, double value) {
    if (index >= parameter_.size()) return;
    (*parameter_[index].getErrorVolume())(x, y, z) = value;
    const int l = index < link_.size() ? link_[index] : -1;
    if (l >= 0 && static_cast<size_t>(l) < parameter_.size())
        (*parameter_[static_cast<size_t>(l)].getErrorVolume())(x, y, z) = value;
}

void Optimizable::setParameterError(const std::string& name, double value) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterError() unknown parameter '", name);
        return;
    }
    const size_t idx = static_cast<size_t>(i);
    parameter_[idx].setError(value);
    const int l = idx < link_.size() ? link_[idx] : -1;
    if (l >= 0 && static_cast<size_t>(l) < parameter_.size()) parameter_[static_cast<size_t>(l)].setError(value);
}

void Optimizable::setParameterError(const std::string& name, const Dataset* data) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterError() unknown parameter '", name);
        return;
    }
    const size_t idx = static_cast<size_t>(i);
    parameter_[idx].setError(data);
    const int l = idx < link_.size() ? link_[idx] : -1;
    if (l >= 0 && static_cast<size_t>(l) < parameter_.size()) parameter_[static_cast<size_t>(l)].setError(data);
}

void Optimizable::setParameterInitValue(const std::string& name, unsigned x, unsigned y, unsigned z,
                                        double value) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterInitValue() unknown parameter '", name);
        return;
    }
    parameter_[static_cast<size_t>(i)].getInitValueVolume()->setValue3D(x, y, z, value);
}

void Optimizable::setParameterInitValue(const std::string& name, double value) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterInitValue() unknown parameter '", name);
        return;
    }
    parameter_[static_cast<size_t>(i)].setInitValue(value);
}

void Optimizable::setParameterInitValue(const std::string& name, const Dataset* data) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterInitValue() unknown parameter '", name);
        return;
    }
    parameter_[static_cast<size_t>(i)].setInitValue(data);
}

// ---------------------------------------------------------------- readers

double Optimizable::getParameterValue(const std::string& name, unsigned x, unsigned y, unsigned z) const {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::getParameterValue() unknown parameter '", name);
        return 0.0;
    }
    return getParameterValueByIndex(static_cast<unsigned>(i), x, y, z);
}

double Optimizable::getParameterValueByIndex(unsigned index, unsigned x, unsigned y, unsigned z) const {
    if (index >= parameter_.size()) return 0.0;
    const Parameter& p = parameter_[index];
    const double v = p.valueAt(x, y, z);
    return p.getLog() ? std::log10(v) : v;
}

double Optimizable::getParameterInitValue(const std::string& name, unsigned x, unsigned y, unsigned z) const {
    const int i = hasParameter(name);
    if (i < 0) {
        // The same words as the value reader.
        UNKNOWN_PARAMETER("Optimizable::getParameterValue() unknown parameter '", name);
        return 0.0;
    }
    return parameter_[static_cast<size_t>(i)].initValueAt(x, y, z);
}

double Optimizable::getParameterError(const std::string& name, unsigned x, unsigned y, unsigned z) const {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::getParameterError() unknown parameter '", name);
        return 0.0;
    }
    return parameter_[static_cast<size_t>(i)].errorAt(x, y, z);
}

// ---------------------------------------------------------------- bulk

void Optimizable::freeParameters() {
    for (Parameter& p : parameter_)
        if (p.getState() != Parameter::CONST && p.getState() != Parameter::LINKED) p.setState(Parameter::FREE);
}

void Optimizable::fixParameters() {
    for (Parameter& p : parameter_)
        if (p.getState() != Parameter::CONST && p.getState() != Parameter::LINKED) p.setState(Parameter::FIXED);
}

void Optimizable::resizeParameters(unsigned x, unsigned y, unsigned z) {
    for (Parameter& p : parameter_) p.resize(x, y, z);
    size_ = x * y * z;
}

void Optimizable::addParameter(const std::string& name, const Unit& unit, double value) {
    if (hasParameter(name) >= 0) {
        ERROR("Optimizable::addParameter(): parameter '%s' exists already", name.c_str());
        return;
    }
    parameter_.emplace_back(name, unit, value, value, 0.0, 0.0, Parameter::FREE);
    index_[name] = static_cast<unsigned>(parameter_.size() - 1);
    link_.push_back(-1);
    linkType_.push_back("");
}
