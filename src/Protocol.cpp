#include "Protocol.h"

#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizer.h"
#include "VOI.h"
#include "util/Message.h"

namespace {

// An empty name and "none" both mean that there is no such object.
bool given(const std::string& name) { return !name.empty() && name != "none"; }

// Erases every entry of a table whose value is `item`.
template <class T>
void eraseValue(std::map<std::string, T*>& table, const T* item) {
    for (auto it = table.begin(); it != table.end();) {
        if (it->second == item)
            it = table.erase(it);
        else
            ++it;
    }
}

}  // namespace

Protocol::Protocol(const std::string& name) : name_(name) {}

Protocol::~Protocol() {}

void Protocol::setModel(Model* model) {
    if (model == nullptr) return;
    if (model->getNumInputs() == 0) {
        WARNING("model '%s' has no input(s)\n", model->getName().c_str());
        return;
    }
    model_ = model;
}

// ---------------------------------------------------------------------------
// Tables

void Protocol::addData(Dataset* data) {
    if (data == nullptr) return;
    const std::string name = data->getName();
    data_.erase(name);
    if (!data_.insert(std::make_pair(name, data)).second)
        WARNING("Could not add dataset '%s' to protocol '%s'\n", messageLiteral(name).c_str(), messageLiteral(name_).c_str());
}

void Protocol::addVOI(VOI* voi) {
    if (voi == nullptr) return;
    const std::string name = voi->getName();
    voi_.erase(name);
    if (!voi_.insert(std::make_pair(name, voi)).second)
        WARNING("Could not add VOI '%s' to protocol '%s'\n", messageLiteral(name).c_str(), messageLiteral(name_).c_str());
}

void Protocol::removeData(Dataset* data) {
    if (data == nullptr) return;
    data_.erase(data->getName());
    eraseValue(data_, data);
}

void Protocol::removeData(const std::string& name) { data_.erase(name); }

void Protocol::removeVOI(VOI* voi) {
    if (voi == nullptr) return;
    voi_.erase(voi->getName());
    eraseValue(voi_, voi);
}

void Protocol::removeVOI(const std::string& name) { voi_.erase(name); }

Dataset* Protocol::getData(const std::string& name) const {
    auto it = data_.find(name);
    if (it != data_.end()) return it->second;
    WARNING("no dataset '%s' in protocol '%s'\n", messageLiteral(name).c_str(), messageLiteral(name_).c_str());
    return nullptr;
}

VOI* Protocol::getVOI(const std::string& name) const {
    auto it = voi_.find(name);
    if (it != voi_.end()) return it->second;
    WARNING("no VOI '%s' in protocol '%s'\n", messageLiteral(name).c_str(), messageLiteral(name_).c_str());
    return nullptr;
}

void Protocol::reset() {
    data_.clear();
    voi_.clear();
}

// ---------------------------------------------------------------------------
// The fit

// Everything is checked before anything is handed over: a refused stage
// leaves the optimizer with the working set of its last run, so that the
// statistics read from it still line up with the parameter maps.
bool Protocol::prepare(const std::string& data, const std::string& error, const std::string& voi) {
    if (optimizer_ == nullptr) {
        ERROR("no optimizer in protocol '%s'", name_.c_str());
        return false;
    }

    auto d = data_.find(data);
    if (d == data_.end() || d->second == nullptr) {
        ERROR("dataset '%s' not known in protocol '%s'", data.c_str(), name_.c_str());
        return false;
    }
    Dataset* dataset = d->second;
    // The optimizers walk frames of volumes: anything else cannot be fitted.
    if (dataset->getNumDimensions() != 4) {
        ERROR("data '%s' has %d instead of 4 dimensions", data.c_str(),
              static_cast<int>(dataset->getNumDimensions()));
        return false;
    }

    Dataset* errorSet = nullptr;
    if (given(error)) {
        auto e = data_.find(error);
        if (e == data_.end() || e->second == nullptr) {
            ERROR("error dataset '%s' not known in protocol '%s'", error.c_str(), name_.c_str());
            return false;
        }
        // An error dataset of another shape would be read out of range.
        if (!dataset->checkDimensions(e->second)) {
            ERROR("data '%s' and error '%s' have dimension mismatch", data.c_str(), error.c_str());
            return false;
        }
        errorSet = e->second;
    } else {
        WARNING("no error dataset\n");
    }

    // Without a VOI name the optimizer keeps its VOI, which must then fit the
    // new data as well.
    VOI* mask = optimizer_->getVOI();
    if (given(voi)) {
        auto v = voi_.find(voi);
        if (v == voi_.end() || v->second == nullptr) {
            // This one text carries its own newline.
            ERROR("VOI '%s' not known in protocol '%s'\n", voi.c_str(), name_.c_str());
            return false;
        }
        mask = v->second;
        if (mask->numActive() == 0) {
            ERROR("VOI '%s' has 0 active voxels", voi.c_str());
            return false;
        }
    }
    if (mask != nullptr && !dataset->checkVOI(mask)) {
        ERROR("VOI '%s' has invalid dimensions %dx%dx%d (XxYxZ) for data '%s' with %dx%dx%dx%d (TxXxYxZ)",
              (given(voi) ? voi : mask->getName()).c_str(), static_cast<int>(mask->getDimensionX()),
              static_cast<int>(mask->getDimensionY()), static_cast<int>(mask->getDimensionZ()), data.c_str(),
              static_cast<int>(dataset->getDimensionT()), static_cast<int>(dataset->getDimensionX()),
              static_cast<int>(dataset->getDimensionY()), static_cast<int>(dataset->getDimensionZ()));
        return false;
    }

    optimizer_->setData(dataset);
    optimizer_->setError(errorSet);
    optimizer_->setVOI(mask);
    return true;
}

// The model stage reads its inputs' maps at every voxel of the data: a map
// of one value serves them all, a larger one must hold the whole grid.
bool Protocol::inputsCover(const std::string& data) const {
    auto d = data_.find(data);
    if (d == data_.end() || d->second == nullptr) return true;  // prepare reports it
    const Dataset* dataset = d->second;
    const unsigned X = dataset->getDimensionX(), Y = dataset->getDimensionY(), Z = dataset->getDimensionZ();
    if (X == 0 || Y == 0 || Z == 0) return true;
    for (unsigned i = 0; i < model_->getNumInputs(); ++i) {
        const InputFunction* input = model_->getInput(i);
        if (input == nullptr || input->parameterOutside(X - 1, Y - 1, Z - 1) == nullptr) continue;
        ERROR("input function '%s' has parameter maps of %dx%dx%d (XxYxZ) that do not cover data '%s' with "
              "%dx%dx%d (XxYxZ)",
              input->getName().c_str(), static_cast<int>(input->getParameterDimensionX()),
              static_cast<int>(input->getParameterDimensionY()), static_cast<int>(input->getParameterDimensionZ()),
              data.c_str(), static_cast<int>(X), static_cast<int>(Y), static_cast<int>(Z));
        return false;
    }
    return true;
}

void Protocol::process(const std::string& data, const std::string& error, const std::string& voiIn,
                       const std::string& voiOut) {
    if (optimizer_ == nullptr) {
        ERROR("no optimizer");
        return;
    }
    const bool inputStage = given(voiIn);
    const bool modelStage = given(voiOut);
    if (!inputStage && !modelStage) return;

    // Both stages evaluate the model through its first input.
    if (model_ == nullptr) {
        ERROR("no model in protocol '%s'", name_.c_str());
        return;
    }
    if (model_->getNumInputs() == 0) {
        ERROR("no input function set for model '%s'", model_->getName().c_str());
        return;
    }
    // Faults that repeat at every evaluation are reported once per process.
    model_->rearmReports();
    for (unsigned i = 0; i < model_->getNumInputs(); ++i)
        if (model_->getInput(i) != nullptr) model_->getInput(i)->rearmReports();

    // Stage 1: the input function's parameters on the input VOI, the model
    // held fixed.
    if (inputStage && prepare(data, error, voiIn)) {
        InputFunction* input = model_->getInput(0u);
        model_->fixParameters();
        input->freeParameters();
        optimizer_->setOptimizable(input);
        optimizer_->run();
        printResults(input->getName(), voiIn, input->getParameterNames());
    }

    // Stage 2: the model's parameters on the output VOI, its input frozen at
    // what stage 1 found.
    if (modelStage && inputsCover(data) && prepare(data, error, voiOut)) {
        model_->fixInputParameters();
        model_->freeParameters();
        optimizer_->setOptimizable(model_);
        optimizer_->run();
        printResults(model_->getName(), voiOut, model_->getParameterNames());
    }
}

void Protocol::printResults(const std::string& title, const std::string& voi, const std::vector<std::string>& names) {
    MESSAGE(1, "%s parameters on VOI '%s'\n", messageLiteral(title).c_str(), messageLiteral(voi).c_str());
    MESSAGE(1, "=============================================================================\n");
    _MessageHelper::indent(2);
    const Optimizable* o = optimizer_ != nullptr ? optimizer_->getOptimizable() : nullptr;
    const VOI* mask = o != nullptr ? getVOI(voi) : nullptr;
    if (mask != nullptr) {
        for (const std::string& name : names) {
            if (o->hasParameter(name) < 0) continue;
            const Parameter& p = o->getParameter(name);
            const char* suffix = p.getState() != Parameter::FREE ? " NOT OPTIMIZED" : "";
            MESSAGE(1, "%s = %lg +/- %lg %s%s\n", name.c_str(), p.getValue(mask), p.getError(mask),
                    p.getUnit().getName().c_str(), suffix);
        }
    }
    _MessageHelper::outdent(2);
}

std::ostream& operator<<(std::ostream& out, const Protocol& protocol) {
    out << "Protocol: " << protocol.getName() << " \n";
    if (protocol.getModel() != nullptr) out << *protocol.getModel() << " \n";
    for (const auto& entry : protocol.data_) out << static_cast<const void*>(entry.second) << " \n";
    return out;
}
