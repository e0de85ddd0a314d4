// The workspace: nine named lists of objects, one selected item per list, and
// the table of commands. Every list owns its objects; keys are the objects'
// own names, ordered by plain (case-sensitive) string comparison. Removing an
// object first detaches it from whatever refers to it (protocols, models) and
// clears a selection that points at it, so no command can reach a freed object.
#ifndef KINETRA_INTERFACE_H
#define KINETRA_INTERFACE_H

#include <map>
#include <string>
#include <vector>

#include "Command.h"

class Dataset;
class VOI;
class InputFunction;
class Model;
class Protocol;
class Tracer;
class Unit;
class ErrorModel;
class Optimizer;
class Optimizable;

class Interface {
public:
    template <class T>
    using List = std::map<std::string, T*>;

    explicit Interface(const std::string& name);
    virtual ~Interface();

    // Generic list operations.
    template <class T>
    T* get(const std::string& name, List<T>& list) {
        typename List<T>::iterator it = list.find(name);
        return it == list.end() ? nullptr : it->second;
    }
    template <class T>
    bool exist(const std::string& name, List<T>& list) {
        return get<T>(name, list) != nullptr;
    }
    template <class T>
    void add(const std::string& kind, T* item, List<T>& list);
    template <class T>
    void remove(const std::string& kind, T* item, List<T>& list);
    template <class T>
    void rename(const std::string& oldName, const std::string& newName, List<T>& list);
    template <class T>
    void clear(List<T>& list);
    template <class T>
    std::vector<std::string> keys(const List<T>& list) const {
        std::vector<std::string> names;
        for (const auto& entry : list) names.push_back(entry.first);
        return names;
    }

    // Datasets.
    Dataset* getData(const std::string& name) { return get(name, data_); }
    bool existData(const std::string& name) { return exist(name, data_); }
    std::vector<std::string> getData() const { return keys(data_); }
    void addData(Dataset* data);
    void removeData(Dataset* data);
    void removeData(const std::string& name);

    // Volumes of interest.
    VOI* getVOI(const std::string& name) { return get(name, voi_); }
    bool existVOI(const std::string& name) { return exist(name, voi_); }
    std::vector<std::string> getVOI() const { return keys(voi_); }
    void addVOI(VOI* voi);
    void removeVOI(VOI* voi);
    void removeVOI(const std::string& name);

    // Input functions.
    InputFunction* getInput(const std::string& name) { return get(name, input_); }
    bool existInput(const std::string& name) { return exist(name, input_); }
    std::vector<std::string> getInput() const { return keys(input_); }
    void addInput(InputFunction* input);
    void removeInput(InputFunction* input);
    void removeInput(const std::string& name);

    // Models.
    Model* getModel(const std::string& name) { return get(name, model_); }
    bool existModel(const std::string& name) { return exist(name, model_); }
    std::vector<std::string> getModel() const { return keys(model_); }
    void addModel(Model* model);
    void removeModel(Model* model);

    // Protocols.
    Protocol* getProtocol(const std::string& name) { return get(name, protocol_); }
    std::vector<std::string> getProtocol() const { return keys(protocol_); }
    void addProtocol(Protocol* protocol);
    void removeProtocol(Protocol* protocol);
    void removeProtocol(const std::string& name);
    void renameProtocol(const std::string& oldName, const std::string& newName);

    // Tracers, units, error models and optimizers: filled by init only.
    Tracer* getTracer(const std::string& name) { return get(name, tracer_); }
    std::vector<std::string> getTracer() const { return keys(tracer_); }
    void addTracer(Tracer* tracer);
    void removeTracer(Tracer* tracer);

    Unit* getUnit(const std::string& name) { return get(name, unit_); }
    std::vector<std::string> getUnit() const { return keys(unit_); }
    void addUnit(Unit* unit);
    void removeUnit(Unit* unit);

    ErrorModel* getErrorModel(const std::string& name) { return get(name, errorModel_); }
    std::vector<std::string> getErrorModel() const { return keys(errorModel_); }
    void addErrorModel(ErrorModel* errorModel);
    void removeErrorModel(ErrorModel* errorModel);

    Optimizer* getOptimizer(const std::string& name) { return get(name, optimizer_); }
    std::vector<std::string> getOptimizer() const { return keys(optimizer_); }
    void addOptimizer(Optimizer* optimizer);
    void removeOptimizer(Optimizer* optimizer);

    // Moves the selection of a list; an item that is not found clears it.
    bool select(const std::string& list, const std::string& item);

    void clear();
    void init();

    // The text route: one line of words, the first the command word.
    bool processCommand(const std::string& line);

    // Handlers of the workspace's own commands.
    bool commandExit(const std::vector<std::string>& args);
    bool commandHelp(const std::vector<std::string>& topics);
    bool commandReset();
    bool commandStatus();

    // Listing: tables of the lists and reports of single objects.
    void show(const std::string& topic, const std::string& name);
    void showData();
    void showVOI();
    void showInput();
    void showModel();
    void showProtocol();
    void showOptimizer();
    void showTracer();
    void showUnit();
    void showErrorModel();
    void showParameter(Optimizable* o);

    // Files: a dataset written as an Analyze image, as it stands (scale is the
    // factor stored in the header) or converted to an element type with the
    // scale that maps its largest absolute value to the type's largest value.
    void writeData(Dataset* data, const std::string& name, double scale);
    void writeTypeData(Dataset* data, const std::string& name, const std::string& typeName);

    // Voxel-wise comparison of two datasets and the union of named VOIs.
    bool logicalOp3D(Dataset* a, Dataset* b, unsigned int x, unsigned int y, unsigned int z,
                     const std::string& op);
    Dataset* jointVOI(const std::vector<std::string>& names);

    static void getResources(double& userSeconds, double& systemSeconds, unsigned int& realKB,
                             unsigned int& virtualKB, bool children);

    bool exit_;
    List<Dataset> data_;
    List<VOI> voi_;
    List<InputFunction> input_;
    List<Model> model_;
    List<Protocol> protocol_;
    List<Tracer> tracer_;
    List<Unit> unit_;
    List<ErrorModel> errorModel_;
    List<Optimizer> optimizer_;
    List<SubCommand> commands_;

    Dataset* currentData_ = nullptr;
    VOI* currentVOI_ = nullptr;
    InputFunction* currentInput_ = nullptr;
    Model* currentModel_ = nullptr;
    Protocol* currentProtocol_ = nullptr;
    Tracer* currentTracer_ = nullptr;
    Unit* currentUnit_ = nullptr;
    ErrorModel* currentErrorModel_ = nullptr;
    Optimizer* currentOptimizer_ = nullptr;

    std::string name_;

private:
    void forgetSelection(const void* item);
    void forgetInOptimizers(const void* item);
};

// The banner line and attribution printed when the module loads.
std::string versionString(double version);

#endif
