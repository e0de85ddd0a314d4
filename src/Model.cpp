// The model base: its input list, questions about the inputs, averaging,
// copying parameters between models and the report.
#include "Model.h"

#include <algorithm>
#include <limits>

#include "Dataset3D.h"
#include "InputFunction.h"
#include "VOI.h"
#include "util/Message.h"

namespace {
const double kNoTime = std::numeric_limits<double>::quiet_NaN();
}

Model::Model(const std::string& name, unsigned components, const Unit& unit)
    : Model(name, components, unit, ModelOrigin{nullptr, nullptr, 0}) {}

Model::Model(const std::string& name, unsigned components, const Unit& unit, const ModelOrigin& origin)
    : Optimizable("Model"),
      // No evaluation yet: a key that equals no time forces the first one.
      t_(kNoTime),
      scale_(1.0),
      components_(components),
      origin_(origin) {
    name_ = name;
    unit_ = unit;
    changed_ = true;  // nothing read into a cache yet
}

Model::Model(const Model& other)
    : Optimizable(other),
      t_(kNoTime),
      input_(other.input_),
      scale_(other.scale_),
      components_(other.components_),
      origin_(other.origin_) {
    changed_ = true;
}

double Model::der(const std::string& name, double t, unsigned x, unsigned y, unsigned z) {
    if (numder_ || origin_.className == nullptr) return Optimizable::der(name, t, x, y, z);
    const auto it = index_.find(name);
    if (it == index_.end()) {
        _ErrorHelper(origin_.file, origin_.line)("%s::der() unknown parameter '%s'", origin_.className, name.c_str());
        return 0.0;
    }
    return analyticDer(it->second, t, x, y, z);
}

double Model::derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    if (numder_ || origin_.className == nullptr) return Optimizable::derByIndex(index, t, x, y, z);
    return analyticDer(index, t, x, y, z);
}

double Model::analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    return Optimizable::derByIndex(index, t, x, y, z);
}

double Model::furtherInputsInModelUnits(double t, unsigned x, unsigned y, unsigned z) const {
    double sum = 0.0;
    for (size_t i = 1; i < input_.size(); ++i)
        sum += (*input_[i])(t, x, y, z) * (input_[i]->getUnit().getFactor() / unit_.getFactor());
    return sum;
}

double Model::furtherInputs(double t, unsigned x, unsigned y, unsigned z, double factor) const {
    double sum = 0.0;
    for (size_t i = 1; i < input_.size(); ++i) sum += (*input_[i])(t, x, y, z) * factor;
    return sum;
}

// The inputs belong to the workspace: only the list goes.
Model::~Model() {}

void Model::addInput(InputFunction* input) {
    input_.push_back(input);
    changed_ = true;
    // A model that compares values (rather than reading changed_) must not
    // answer from convolutions of another input: drop the time key.
    t_ = kNoTime;
}

void Model::removeInput(InputFunction* input) {
    const size_t before = input_.size();
    input_.erase(std::remove(input_.begin(), input_.end(), input), input_.end());
    if (input_.size() != before) {
        changed_ = true;
        t_ = kNoTime;
    }
}

void Model::removeInput(const std::string& name) {
    const size_t before = input_.size();
    input_.erase(std::remove_if(input_.begin(), input_.end(),
                                [&name](const InputFunction* f) { return f->getName() == name; }),
                 input_.end());
    if (input_.size() != before) {
        changed_ = true;
        t_ = kNoTime;
    }
}

void Model::clearInputs() {
    input_.clear();
    changed_ = true;
    t_ = kNoTime;
}

std::vector<std::string> Model::getInputNames() const {
    std::vector<std::string> names;
    names.reserve(input_.size());
    for (const InputFunction* f : input_) names.push_back(f->getName());
    return names;
}

InputFunction* Model::getInput(const std::string& name) const {
    for (InputFunction* f : input_)
        if (f->getName() == name) return f;
    return input_.empty() ? nullptr : input_[0];
}

bool Model::existInput(const std::string& name) const {
    for (const InputFunction* f : input_)
        if (f->getName() == name) return true;
    return false;
}

InputFunction* Model::getInput(unsigned i) const {
    if (i >= input_.size()) {
        ERROR("Model::getInput() unknown input %d", static_cast<int>(i));
        return input_.empty() ? nullptr : input_[0];
    }
    return input_[i];
}

double Model::getInput(const std::string& name, double t) const {
    for (InputFunction* f : input_)
        if (f->getName() == name) return (*f)(t, 0, 0, 0) * (f->getUnit().getFactor() / unit_.getFactor());
    ERROR("Model::getInput() unknown input '%s'", name.c_str());
    return 0.0;
}

double Model::getInput(unsigned i, double t) const {
    if (i >= input_.size()) {
        ERROR("Model::getInput() unknown input %d", static_cast<int>(i));
        return 0.0;
    }
    InputFunction* f = input_[i];
    return (*f)(t, 0, 0, 0) * (f->getUnit().getFactor() / unit_.getFactor());
}

int Model::hasInputParameter(const std::string& name) const {
    for (size_t i = 0; i < input_.size(); ++i)
        if (input_[i]->hasParameter(name) >= 0) return static_cast<int>(i);
    return -1;
}

namespace {
// What a parameter lookup answers when there is nothing to answer with (a
// model without inputs): a harmless parameter of its own.
Parameter& placeholderParameter() {
    static Parameter placeholder("", Unit(), 0.0, 0.0, 0.0, 0.0, Parameter::CONST);
    return placeholder;
}
}  // namespace

Parameter& Model::getInputParameter(const std::string& name) {
    const int i = hasInputParameter(name);
    if (i >= 0) return input_[static_cast<size_t>(i)]->getParameter(name);
    (void)_ErrorHelper(__FILE__, __LINE__);
    messagePrintf("%s%s'", "Model::sgtInputParameter() unknown input parameter '", name.c_str());
    if (input_.empty()) return placeholderParameter();
    return input_[0]->getParameter("");
}

const Parameter& Model::getInputParameter(const std::string& name) const {
    const int i = hasInputParameter(name);
    if (i >= 0) return static_cast<const InputFunction*>(input_[static_cast<size_t>(i)])->getParameter(name);
    (void)_ErrorHelper(__FILE__, __LINE__);
    messagePrintf("%s%s'", "Model::sgtInputParameter() unknown input parameter '", name.c_str());
    if (input_.empty()) return placeholderParameter();
    return static_cast<const InputFunction*>(input_[0])->getParameter("");
}

void Model::freeInputParameters() {
    for (InputFunction* f : input_) f->freeParameters();
}

void Model::fixInputParameters() {
    for (InputFunction* f : input_) f->fixParameters();
}

void Model::evaluate(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index, unsigned P,
                     double* values, double* derivatives) {
    if (evaluatePass(t, T, x, y, z, index, P, values, derivatives)) return;
    const bool numerical = P > 0 && (numder_ || origin_.className == nullptr);
    if (numerical && !_MessageHelper::enabled(std::min(5u, setReportsFrom())))
        numericalPass(t, T, x, y, z, index, P, values, derivatives);
    else
        Optimizable::evaluate(t, T, x, y, z, index, P, values, derivatives);
}

void Model::numericalPass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                          unsigned P, double* values, double* derivatives) {
    // The curve of the set in place: the class's pass of values, or the calls.
    auto curve = [&](double* out) {
        if (evaluatePass(t, T, x, y, z, nullptr, 0, out, nullptr)) return;
        for (unsigned i = 0; i < T; ++i) out[i] = (*this)(t[i], x, y, z);
    };
    curve(values);
    if (trials_.size() < 2u * T) trials_.resize(2u * T);
    double* low = trials_.data();
    double* high = low + T;
    for (unsigned j = 0; j < P; ++j) {
        if (index[j] >= parameter_.size()) {
            for (unsigned i = 0; i < T; ++i) derivatives[static_cast<size_t>(i) * P + j] = 0.0;
            continue;
        }
        // As numericalDer: the stored linear value, links not followed, the
        // slot looked up anew for every write.
        auto slot = [&]() -> double& { return (*parameter_[index[j]].getValueVolume())(x, y, z); };
        const double v = slot();
        const double h = numericalStep(v);
        slot() = v - 0.5 * h;
        changed_ = true;
        curve(low);
        slot() = v + 0.5 * h;
        changed_ = true;
        curve(high);
        for (unsigned i = 0; i < T; ++i) derivatives[static_cast<size_t>(i) * P + j] = (high[i] - low[i]) / h;
        slot() = v;
        changed_ = true;
    }
}

bool Model::evaluatePass(const double*, unsigned, unsigned, unsigned, unsigned, const unsigned*, unsigned, double*,
                         double*) {
    return false;
}

Model::RatePass Model::convolveRates(InputFunction& input, const double* rate, unsigned n, const double* t, unsigned T,
                                     unsigned x, unsigned y, unsigned z) {
    n = n < 5 ? n : 5;
    const size_t TT = T;
    if (frames_.size() < (2 + 2 * n) * TT) frames_.resize((2 + 2 * n) * TT);
    double* frames = frames_.data();
    RatePass pass{frames, {}, {}};
    double* again = frames + TT;  // the values once more, at the later rates
    for (unsigned r = 0; r < n; ++r) {
        double* conv = frames + (2 + 2 * r) * TT;
        input.convolveFrames(rate[r], t, T, x, y, z, r == 0 ? frames : again, conv, conv + TT);
        pass.conv[r] = conv;
        pass.convT[r] = conv + TT;
    }
    return pass;
}

std::vector<double> Model::derAll(const std::string&, double, unsigned, unsigned, unsigned) {
    ERROR("Model::derAll() not implemented yet");
    return std::vector<double>();
}

Model* Model::createAverage(const VOI* voi) {
    Model* average = clone();
    if (average == nullptr) return nullptr;
    average->resizeParameters(1, 1, 1);
    for (const Parameter& p : parameter_) average->setParameterValue(p.getName(), 0, 0, 0, p.getValue(voi));
    return average;
}

int Model::copyFrom(Model* other) {
    if (other == nullptr) return 0;
    int copied = 0;
    for (const Parameter& p : parameter_) {
        const int j = other->hasParameter(p.getName());
        if (j < 0) continue;
        const Parameter& source = other->getParameterByIndex(static_cast<unsigned>(j));
        MESSAGE(3, "copying '%s' from model %s to %s\n", p.getName().c_str(), other->getName().c_str(),
                name_.c_str());
        const std::string name = p.getName();
        setParameterValue(name, source.getValueVolume());
        setParameterInitValue(name, source.getInitValueVolume());
        setParameterError(name, source.getErrorVolume());
        ++copied;
    }
    return copied;
}

std::ostream& operator<<(std::ostream& out, const Model& model) {
    out << "Model: " << model.getName() << " \n";
    out << "  " << model.getUnit();
    for (unsigned i = 0; i < model.getNumParameters(); ++i) out << model.getParameterByIndex(i) << " \n";
    for (unsigned i = 0; i < model.getNumInputs(); ++i) {
        const InputFunction* f = model.getInput(i);
        if (f) out << *f << " \n";
    }
    return out;
}
