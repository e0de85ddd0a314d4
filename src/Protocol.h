// A protocol: the recipe of one analysis. It holds a model, an optimizer and
// the datasets and VOIs the analysis may draw on, all by reference under the
// names they bore when they were added; it owns nothing but its name and its
// two tables.
//
// Processing fits in two stages on one dataset and one error dataset: first
// the parameters of the model's (first) input function on the input VOI,
// with the model's own parameters fixed; then the model's parameters on the
// output VOI, with the input's parameters fixed. An empty name or "none"
// means absent: no error dataset gives an unweighted fit, no VOI skips its
// stage. Each stage fits every active voxel by itself; the fitted values and
// errors stay in the parameter maps of the model and the input function.
#ifndef KINETRA_PROTOCOL_H
#define KINETRA_PROTOCOL_H

#include <map>
#include <ostream>
#include <string>
#include <vector>

class Dataset;
class VOI;
class Model;
class Optimizer;
template <class T>
class Dataset4D;

class Protocol {
public:
    explicit Protocol(const std::string& name);
    virtual ~Protocol();

    // Takes the model if it has at least one input; otherwise warns and
    // keeps the model it has. A null model is ignored.
    virtual void setModel(Model* model);
    // The two-stage fit (see above). Nothing is fitted in a stage whose
    // preparation failed; its error lines say why.
    virtual void process(const std::string& data, const std::string& error, const std::string& voiIn,
                         const std::string& voiOut);

    const std::string& getName() const { return name_; }
    void setName(const std::string& name) { name_ = name; }
    Model* getModel() const { return model_; }
    Optimizer* getOptimizer() const { return optimizer_; }
    void setOptimizer(Optimizer* optimizer) { optimizer_ = optimizer; }

    // Tables of datasets and VOIs, keyed by the object's name when added; an
    // entry of the same name is replaced.
    void addData(Dataset* data);
    void addVOI(VOI* voi);
    // Removal by pointer forgets every entry that holds the object, whatever
    // its key, so that no table keeps a pointer to a destroyed object.
    void removeData(Dataset* data);
    void removeData(const std::string& name);
    void removeVOI(VOI* voi);
    void removeVOI(const std::string& name);
    // The entry, or null after a warning.
    Dataset* getData(const std::string& name) const;
    VOI* getVOI(const std::string& name) const;
    // Empties both tables; model and optimizer stay.
    void reset();

    // Hands dataset, error dataset and VOI to the optimizer. False (after an
    // error line) if anything is missing or the grids do not agree; nothing
    // is handed over then, and the optimizer keeps its last working set.
    bool prepare(const std::string& data, const std::string& error, const std::string& voi);

    // The VOI means of the named parameters of the optimizer's optimizable,
    // with their errors; parameters that were not free are marked.
    void printResults(const std::string& title, const std::string& voi, const std::vector<std::string>& names);

    // The curves of a fit for display, in the model's unit, T frames of four
    // channels (z = 0..3): model, data, error (0 without error dataset) and
    // the first input, averaged over the VOI's active voxels or at one
    // voxel. Owned by the caller; null after a report.
    Dataset4D<double>* getTac(const std::string& data, const std::string& error, const VOI& voi);
    Dataset4D<double>* getTac(const std::string& data, const std::string& error, int x, int y, int z);

    std::map<std::string, Dataset*> data_;
    std::map<std::string, VOI*> voi_;
    Model* model_ = nullptr;
    Optimizer* optimizer_ = nullptr;
    std::string name_;

private:
    // Whether the parameter maps of the model's inputs can be read at every
    // voxel of the named dataset; false after a report.
    bool inputsCover(const std::string& data) const;
    // The data and error datasets for getTac, checked against each other;
    // false after a report.
    bool tacDatasets(const std::string& data, const std::string& error, Dataset*& d, Dataset*& e) const;
    // The four channels of one voxel into a new dataset (null on failure).
    Dataset4D<double>* voxelTac(const Dataset* d, const Dataset* e, const std::vector<double>& times, unsigned x,
                                unsigned y, unsigned z);
};

// "Protocol: <name> \n", the model's report and " \n", then the address of
// each dataset of the table in name order, one per line.
std::ostream& operator<<(std::ostream& out, const Protocol& protocol);

#endif
