#include "Interface.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "Dataset.h"
#include "ErrorModel.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizer.h"
#include "Protocol.h"
#include "Tracer.h"
#include "Unit.h"
#include "VOI.h"
#include "util/Message.h"
#include "util/NumUtil.h"
#include "util/StringUtil.h"

namespace {

const char* const helpText = "KINETRA Pharmacokinetic Modeling Toolbox\nThe following commands are available:\n";
const char* const helpTextExit[2] = {
    "  EXIT                          stop processing file or stop program\n",
    "EXIT\nin combination with file: stop processing file\notherwise exit program\n"};
const char* const helpTextHelp =
    "  HELP [topic]                  this help, an additional argument provides\n"
    "                                more detailed information on that topic\n";
const char* const helpTextQuit[2] = {
    "  QUIT                          stop processing file or stop program\n",
    "QUIT\nin combination with file: stop processing file\notherwise exit program\n"};
const char* const helpTextReset[2] = {
    "  RESET                         reset everything to the initial state\n",
    "RESET\nreset everything to the initial state (clears all data sets, VOIs)\n"};
const char* const helpTextStatus[2] = {
    "  STATUS                        show a brief status message\n",
    "STATUS\nshows a status message on memory and cpu usage\n"};

}  // namespace

std::string versionString(double version) {
    char line[128];
    std::snprintf(line, sizeof line, "Kinetra %.1f, The MORVANE Pharmacokinetic Modeling Toolbox\n", version);
    return std::string(line) +
           "  pharmacokinetic modelling of dynamic images, voxel by voxel\n"
           "  type kinetra('help') for the list of commands\n";
}

Interface::Interface(const std::string& name) : exit_(false), name_(name) {
    init();
    exit_ = false;
    commands_["exit"] = new Command<Interface>(helpTextExit[0], helpTextExit[1], this, &Interface::commandExit);
    commands_["help"] = new Command<Interface>(helpTextHelp, helpText, this, &Interface::commandHelp);
    commands_["quit"] = new Command<Interface>(helpTextQuit[0], helpTextQuit[1], this, &Interface::commandExit);
    commands_["reset"] = new Command<Interface>(helpTextReset[0], helpTextReset[1], this, &Interface::commandReset);
    commands_["status"] =
        new Command<Interface>(helpTextStatus[0], helpTextStatus[1], this, &Interface::commandStatus);
}

Interface::~Interface() {
    clear();
    clear(commands_);
    random_finish();
}

// ---------------------------------------------------------------------------
// Generic list operations

template <class T>
void Interface::add(const std::string& kind, T* item, List<T>& list) {
    const std::string& name = item->getName();
    typename List<T>::iterator it = list.find(name);
    if (it != list.end()) {
        // The older object goes and the new one stays.
        WARNING("Removing %s\n", name.c_str());
        if (it->second != item) remove(kind, it->second, list);
        else list.erase(it);
    }
    list.insert(std::make_pair(name, item));
}

// The entry is found by the object, not by its name: an object renamed after
// it was added stays under its old key, and a lookup by the new name would
// miss it (and leave it, or a successor, leaked).
template <class T>
void Interface::remove(const std::string& kind, T* item, List<T>& list) {
    if (item == nullptr) return;
    typename List<T>::iterator it = list.find(item->getName());
    if (it == list.end() || it->second != item)
        it = std::find_if(list.begin(), list.end(),
                          [item](const typename List<T>::value_type& entry) { return entry.second == item; });
    if (it == list.end()) {
        ERROR("%s '%s' not existing", kind.c_str(), item->getName().c_str());
        return;
    }
    list.erase(it);
    forgetSelection(item);
    delete item;
}

template <class T>
void Interface::rename(const std::string& oldName, const std::string& newName, List<T>& list) {
    typename List<T>::iterator it = list.find(oldName);
    if (it == list.end()) return;
    T* item = it->second;
    // Insertion does not replace: if newName is taken, the moved object
    // leaves the list; destroy it then rather than leak it.
    bool inserted = list.insert(std::make_pair(newName, item)).second;
    list.erase(oldName);
    if (!inserted && list[newName] != item) {
        forgetSelection(item);
        delete item;
    }
}

template <class T>
void Interface::clear(List<T>& list) {
    for (auto& entry : list) {
        if (entry.second != nullptr) {
            forgetSelection(entry.second);
            delete entry.second;
        }
    }
    list.clear();
}

void Interface::forgetInOptimizers(const void* item) {
    // An optimizer keeps the dataset, error dataset, VOI and optimizable of its
    // last run for the statistics that get reads later; none may outlive its object.
    // The records of that run are read against its data and weighed by its
    // error dataset: without one of them they would mean something else, so
    // they go with it. The optimizer keeps its own copy of the run's mask.
    for (auto& entry : optimizer_) {
        Optimizer* o = entry.second;
        if (item != nullptr && (item == static_cast<const void*>(o->getDataset()) ||
                                item == static_cast<const void*>(o->getErrorDataset())))
            o->reset();
        else
            o->forget(item);
    }
}

void Interface::forgetSelection(const void* item) {
    if (currentData_ == item) currentData_ = nullptr;
    if (currentVOI_ == item) currentVOI_ = nullptr;
    if (currentInput_ == item) currentInput_ = nullptr;
    if (currentModel_ == item) currentModel_ = nullptr;
    if (currentProtocol_ == item) currentProtocol_ = nullptr;
    if (currentTracer_ == item) currentTracer_ = nullptr;
    if (currentUnit_ == item) currentUnit_ = nullptr;
    if (currentErrorModel_ == item) currentErrorModel_ = nullptr;
    if (currentOptimizer_ == item) currentOptimizer_ = nullptr;
}

// ---------------------------------------------------------------------------
// Wrappers with their warnings and cascades

void Interface::addData(Dataset* data) {
    Dataset* old = getData(data->getName());
    if (old == data) return;
    if (old != nullptr) {
        WARNING("overwriting dataset '%s'\n", data->getName().c_str());
        removeData(data->getName());
    }
    add<Dataset>("Dataset", data, data_);
}

void Interface::addVOI(VOI* voi) {
    VOI* old = getVOI(voi->getName());
    if (old == voi) return;
    if (old != nullptr) {
        WARNING("overwriting VOI '%s'\n", voi->getName().c_str());
        removeVOI(voi->getName());
    }
    add<VOI>("VOI", voi, voi_);
}

void Interface::addInput(InputFunction* input) {
    InputFunction* old = getInput(input->getName());
    if (old == input) return;
    if (old != nullptr) {
        WARNING("overwriting input function '%s'\n", input->getName().c_str());
        removeInput(old);
    }
    add<InputFunction>("Input function", input, input_);
}

void Interface::addModel(Model* model) {
    Model* old = getModel(model->getName());
    if (old == model) return;
    if (old != nullptr) {
        WARNING("overwriting model '%s'\n", model->getName().c_str());
        removeModel(old);
    }
    add<Model>("Model", model, model_);
}

void Interface::addProtocol(Protocol* protocol) {
    Protocol* old = getProtocol(protocol->getName());
    if (old == protocol) return;
    if (old != nullptr) {
        WARNING("overwriting protocol '%s'\n", protocol->getName().c_str());
        removeProtocol(protocol->getName());
    }
    add<Protocol>("Protocol", protocol, protocol_);
}

void Interface::addTracer(Tracer* tracer) { add<Tracer>("Tracer", tracer, tracer_); }
void Interface::addUnit(Unit* unit) { add<Unit>("Unit", unit, unit_); }
void Interface::addErrorModel(ErrorModel* errorModel) { add<ErrorModel>("ErrorModel", errorModel, errorModel_); }
void Interface::addOptimizer(Optimizer* optimizer) { add<Optimizer>("Optimizer", optimizer, optimizer_); }

void Interface::removeData(Dataset* data) {
    if (data == nullptr) return;
    // By pointer: a renamed dataset still leaves every protocol.
    for (auto& entry : protocol_) entry.second->removeData(data);
    forgetInOptimizers(data);
    remove<Dataset>("Dataset", data, data_);
}

void Interface::removeData(const std::string& name) {
    Dataset* data = getData(name);
    if (data == nullptr) {
        ERROR("data '%s' not found\n", name.c_str());
        return;
    }
    removeData(data);
}

void Interface::removeVOI(VOI* voi) {
    if (voi == nullptr) return;
    for (auto& entry : protocol_) entry.second->removeVOI(voi);
    forgetInOptimizers(voi);
    remove<VOI>("VOI", voi, voi_);
}

void Interface::removeVOI(const std::string& name) {
    VOI* voi = getVOI(name);
    if (voi == nullptr) {
        ERROR("VOI '%s' not found\n", name.c_str());
        return;
    }
    removeVOI(voi);
}

void Interface::removeInput(InputFunction* input) {
    if (input == nullptr) return;
    // By pointer, as everywhere: a model drops this very object, whatever its name.
    for (auto& entry : model_) entry.second->removeInput(input);
    forgetInOptimizers(static_cast<Optimizable*>(input));
    remove<InputFunction>("Input function", input, input_);
}

void Interface::removeInput(const std::string& name) {
    InputFunction* input = getInput(name);
    if (input == nullptr) {
        ERROR("input function '%s' not found\n", name.c_str());
        return;
    }
    removeInput(input);
}

void Interface::removeModel(Model* model) {
    if (model == nullptr) return;
    std::vector<Protocol*> users;
    for (auto& entry : protocol_)
        if (entry.second->getModel() == model) users.push_back(entry.second);
    for (Protocol* protocol : users) removeProtocol(protocol);
    forgetInOptimizers(static_cast<Optimizable*>(model));
    remove<Model>("Model", model, model_);
}

void Interface::removeProtocol(Protocol* protocol) { remove<Protocol>("Protocol", protocol, protocol_); }

void Interface::removeProtocol(const std::string& name) {
    Protocol* protocol = getProtocol(name);
    if (protocol == nullptr) {
        ERROR("protocol '%s' not found\n", name.c_str());
        return;
    }
    removeProtocol(protocol);
}

void Interface::renameProtocol(const std::string& oldName, const std::string& newName) {
    Protocol* protocol = getProtocol(oldName);
    if (protocol == nullptr) return;
    rename<Protocol>(oldName, newName, protocol_);
    if (getProtocol(newName) == protocol) protocol->setName(newName);
}

void Interface::removeTracer(Tracer* tracer) { remove<Tracer>("Tracer", tracer, tracer_); }
void Interface::removeUnit(Unit* unit) { remove<Unit>("Unit", unit, unit_); }
void Interface::removeErrorModel(ErrorModel* errorModel) { remove<ErrorModel>("ErrorModel", errorModel, errorModel_); }
void Interface::removeOptimizer(Optimizer* optimizer) { remove<Optimizer>("Optimizer", optimizer, optimizer_); }

// ---------------------------------------------------------------------------
// Selection, clearing and the defaults

bool Interface::select(const std::string& list, const std::string& item) {
    if (list == "data") return (currentData_ = getData(item)) != nullptr;
    if (list == "voi") return (currentVOI_ = getVOI(item)) != nullptr;
    if (list == "input") return (currentInput_ = getInput(item)) != nullptr;
    if (list == "model") return (currentModel_ = getModel(item)) != nullptr;
    if (list == "protocol") return (currentProtocol_ = getProtocol(item)) != nullptr;
    if (list == "tracer") return (currentTracer_ = getTracer(item)) != nullptr;
    if (list == "unit") return (currentUnit_ = getUnit(item)) != nullptr;
    if (list == "error") return (currentErrorModel_ = getErrorModel(item)) != nullptr;
    if (list == "optimizer") return (currentOptimizer_ = getOptimizer(item)) != nullptr;
    WARNING("unknown list name '%s'\n", list.c_str());
    return false;
}

void Interface::clear() {
    clear(data_);
    clear(voi_);
    clear(input_);
    clear(model_);
    clear(protocol_);
    clear(tracer_);
    clear(unit_);
    clear(errorModel_);
    clear(optimizer_);
    random_finish();
}

// ---------------------------------------------------------------------------
// The workspace's own commands

bool Interface::commandExit(const std::vector<std::string>&) {
    exit_ = true;
    return true;
}

bool Interface::commandHelp(const std::vector<std::string>& topics) {
    if (topics.empty()) {
        MESSAGE(1, "%s", helpText);
        for (const auto& entry : commands_) MESSAGE(1, "%s", entry.second->shortHelp_.c_str());
        return true;
    }
    for (const std::string& topic : topics) {
        SubCommand* command = get(topic, commands_);
        if (command != nullptr)
            MESSAGE(1, "%s", command->longHelp_.c_str());
        else
            MESSAGE(1, "no help for '%s'\n", topic.c_str());
    }
    return true;
}

bool Interface::commandReset() {
    clear();
    init();
    return true;
}

void Interface::getResources(double& userSeconds, double& systemSeconds, unsigned int& realKB,
                             unsigned int& virtualKB, bool children) {
    userSeconds = systemSeconds = 0.0;
    realKB = virtualKB = 0;
    struct rusage usage;
    if (getrusage(children ? RUSAGE_CHILDREN : RUSAGE_SELF, &usage) == 0) {
        userSeconds = usage.ru_utime.tv_usec * 1e-6 + usage.ru_utime.tv_sec;
        systemSeconds = usage.ru_stime.tv_usec * 1e-6 + usage.ru_stime.tv_sec;
    }
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/status", static_cast<int>(getpid()));
    std::ifstream status(path);
    std::string line;
    while (std::getline(status, line)) {
        bool isVirtual = line.compare(0, 7, "VmSize:") == 0;
        bool isReal = line.compare(0, 6, "VmRSS:") == 0;
        if (!isVirtual && !isReal) continue;
        size_t digit = line.find_first_of("1234567890");
        unsigned int value = digit == std::string::npos ? 0u : static_cast<unsigned int>(std::strtoul(line.c_str() + digit, nullptr, 10));
        (isVirtual ? virtualKB : realKB) = value;
    }
}

bool Interface::commandStatus() {
    double user, sys;
    unsigned int realKB, virtualKB;
    getResources(user, sys, realKB, virtualKB, false);
    MESSAGE(1, "STATUS: mem");
    if (realKB > 102400)
        MESSAGE(1, " %.1fM real", realKB * 0.0009765625);
    else
        MESSAGE(1, " %uK real", realKB);
    if (virtualKB > 102400)
        MESSAGE(1, " %.1fM virtual,", virtualKB * 0.0009765625);
    else
        MESSAGE(1, " %uK virtual,", virtualKB);
    MESSAGE(1, " time %.1fs user %.1fs sys\n", user, sys);
    return true;
}

// ---------------------------------------------------------------------------
// The text route

bool Interface::processCommand(const std::string& line) {
    std::vector<std::string> words;
    stringSplit(" " + line, words);
    if (words.empty()) return false;
    for (std::string& word : words) resolveEnvironmentVariables(word);
    std::string command = words.front();
    words.erase(words.begin());
    SubCommand* handler = get(command, commands_);
    if (handler != nullptr) return handler->process(words);
    WARNING("unknown command or invalid parameters\n");
    return false;
}
