// kinetra('create', what, ...): objects made from the selected model, error
// model, tracer and optimizer.
//
//   ('create','data',name)                   the model's values on a dataset's frames
//   ('create','data',[t1 t2],n)              ... on n even frames from t1 to t2
//   ('create','delta',[t1 t2],n[,point])     sensitivities to the free parameters
//   ('create','error',data,tracer|sigma[,floor])   an error dataset of the error model
//   ('create','input',name,source,size)      a copy of an input function
//   ('create','protocol',name,model)         a new protocol, then selected
//   ('create','tac',data[,z|point])          component curves at one voxel
//   ('create','tac',[t1 t2],n[,component[,z|point]])
//
// Everything made for an output is destroyed once it is an array; nothing
// but the input and the protocol enters the workspace.
#include <memory>
#include <string>
#include <vector>

#include "Dataset.visit.h"
#include "Dataset4D.h"
#include "ErrorModel.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizer.h"
#include "Protocol.h"
#include "interfaces/MatlabInterface.args.h"
#include "util/Message.h"

using namespace mxargs;

namespace {

typedef std::unique_ptr<Dataset4D<double>> Series;

// The even grid [t1 t2] and n frames of prhs[2] and prhs[3].
bool interval(MatlabInterface& w, int nrhs, const mxArray** prhs, double* t1, double* t2, unsigned* n) {
    std::vector<double> ends;
    const mxArray* a = arg(nrhs, prhs, 2);
    const mxArray* frames = arg(nrhs, prhs, 3);
    if (a == nullptr || !w.getVector(a, ends) || ends.size() != 2 || !isNumber(frames)) {
        WARNING("KINETRA: invalid time interval argument\n");
        return false;
    }
    *t1 = ends[0];
    *t2 = ends[1];
    return count(scalar(frames), kMaxSamples, n);
}

// A voxel of the model's parameter maps: a scalar is z (x = y = 0), else a
// vector of three. Anything else, or a voxel outside the maps, is refused.
bool point(MatlabInterface& w, const Model& model, const mxArray* a, unsigned* x, unsigned* y, unsigned* z) {
    int px = 0, py = 0, pz = 0;
    bool ok;
    if (isNumber(a)) {
        pz = toInt(scalar(a));
        ok = true;
    } else {
        ok = a != nullptr && w.getPoint(a, &px, &py, &pz);
    }
    // A voxel outside the maps would be read past their end.
    ok = ok && px >= 0 && py >= 0 && pz >= 0 && unsigned(px) < model.getParameterDimensionX() &&
         unsigned(py) < model.getParameterDimensionY() && unsigned(pz) < model.getParameterDimensionZ();
    if (!ok) {
        WARNING("KINETRA: invalid point argument\n");
        return false;
    }
    *x = unsigned(px);
    *y = unsigned(py);
    *z = unsigned(pz);
    return true;
}

// The workspace dataset of this name as a 4D double series: the dataset
// itself, or (other element types) a converted copy held in `converted`.
const Dataset4D<double>* series(MatlabInterface& w, const mxArray* a, std::unique_ptr<Dataset>& converted) {
    const std::string name = isText(a) ? text(a) : std::string();
    Dataset* d = w.getData(name);
    if (d == nullptr) {
        WARNING("KINETRA: cannot find dataset '%s'\n", messageLiteral(name).c_str());
        return nullptr;
    }
    if (d->getNumDimensions() != 4) {
        WARNING("KINETRA: dataset '%s' is not 4D\n", messageLiteral(name).c_str());
        return nullptr;
    }
    Dataset* doubles = convertType(d, "double");
    if (doubles != d) converted.reset(doubles);
    return doubles != nullptr ? datasetAs<Dataset4D<double>>(*doubles) : nullptr;
}

// The model that every model form reads.
Model* selectedModel(MatlabInterface& w) {
    if (w.currentModel_ == nullptr) WARNING("KINETRA: no model selected\n");
    return w.currentModel_;
}

// A new series as the data array and, with a second output, its times.
void seriesOutputs(MatlabInterface& w, int nlhs, mxArray** plhs, const Dataset4D<double>* d) {
    if (d == nullptr) return;
    setOutput(plhs, 0, w.createDataArray4D(d));
    if (nlhs >= 2) setOutput(plhs, 1, w.createTimeArray(d));
}

bool createData(MatlabInterface& w, int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) {
    Model* model = selectedModel(w);
    if (model == nullptr) return true;
    Series made;
    if (isText(prhs[2])) {
        std::unique_ptr<Dataset> converted;
        const Dataset4D<double>* d = series(w, prhs[2], converted);
        if (d == nullptr) return true;
        made.reset(model->createData(*d));
    } else {
        double t1 = 0, t2 = 0;
        unsigned n = 0;
        if (!interval(w, nrhs, prhs, &t1, &t2, &n)) return true;
        if (!datasetFits(n, double(model->getParameterDimensionX()) * model->getParameterDimensionY() *
                                model->getParameterDimensionZ()))
            return true;
        made.reset(model->createData(t1, t2, n));
    }
    seriesOutputs(w, nlhs, plhs, made.get());
    return true;
}

bool createDelta(MatlabInterface& w, int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) {
    Model* model = selectedModel(w);
    if (model == nullptr) return true;
    double t1 = 0, t2 = 0;
    unsigned n = 0, x = 0, y = 0, z = 0;
    if (!interval(w, nrhs, prhs, &t1, &t2, &n)) return true;
    if (nrhs > 4 && !point(w, *model, prhs[4], &x, &y, &z)) return true;
    Series made(model->createDelta(t1, t2, n, x, y, z));
    if (made == nullptr) return true;
    setOutput(plhs, 0, w.createTacArray(made.get()));
    if (nlhs >= 2) {
        std::vector<std::string> free;
        for (const std::string& name : model->getParameterNames())
            if (model->isParameterFree(name)) free.push_back(name);
        mxArray* names = mxCreateCellMatrix(1, static_cast<mwSize>(free.size()));
        for (size_t i = 0; i < free.size(); ++i)
            mxSetCell(names, static_cast<mwIndex>(i), mxCreateString(free[i].c_str()));
        setOutput(plhs, 1, names);
    }
    return true;
}

bool createTAC(MatlabInterface& w, mxArray** plhs, int nrhs, const mxArray** prhs) {
    Model* model = selectedModel(w);
    if (model == nullptr) return true;
    unsigned x = 0, y = 0, z = 0;
    Series made;
    if (isText(prhs[2])) {
        std::unique_ptr<Dataset> converted;
        const Dataset4D<double>* d = series(w, prhs[2], converted);
        if (d == nullptr) return true;
        if (nrhs > 3 && !point(w, *model, prhs[3], &x, &y, &z)) return true;
        made.reset(model->createTAC(*d, x, y, z, -1));
    } else {
        double t1 = 0, t2 = 0;
        unsigned n = 0;
        if (!interval(w, nrhs, prhs, &t1, &t2, &n)) return true;
        int component = -1;  // all components, then the inputs
        if (nrhs > 4) {
            if (!isNumber(prhs[4])) {
                WARNING("KINETRA: invalid point argument\n");
                return true;
            }
            component = toInt(scalar(prhs[4]));
        }
        if (nrhs > 5 && !point(w, *model, prhs[5], &x, &y, &z)) return true;
        made.reset(model->createTAC(t1, t2, n, x, y, z, component));
    }
    if (made != nullptr) setOutput(plhs, 0, w.createTacArray(made.get()));
    return true;
}

// The error form, in its steps: the error model, the tracer of the Poisson
// models, the data, sigma and floor, then the error dataset.
bool createError(MatlabInterface& w, int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) {
    if (nrhs < 4) return true;
    ErrorModel* errorModel = w.currentErrorModel_;
    if (errorModel == nullptr) {
        WARNING("KINETRA: no error model selected\n");
        return true;
    }
    const std::string& kind = errorModel->getName();
    const bool poisson = kind == "Poisson" || kind == "PoissonRandom";
    // Without a tracer the Poisson models have no half-life to read.
    if (poisson && w.currentTracer_ == nullptr) {
        WARNING("KINETRA: no tracer selected\n");
        return true;
    }
    std::unique_ptr<Dataset> temporary;
    const Dataset* data = nullptr;
    if (isText(prhs[2])) {
        data = w.getData(text(prhs[2]));
        if (data == nullptr) {
            WARNING("data '%s' not found\n", messageLiteral(text(prhs[2])).c_str());
            return true;
        }
    } else if (numericDimensions(prhs[2]) == 4) {
        // The argument after the data is the sigma of the other models, so
        // only the Poisson models may take it as the time table.
        temporary.reset(w.createDataset(nrhs, prhs, 2, "_data_", poisson));
        data = temporary.get();
        if (data == nullptr) return true;  // said why
    } else {
        WARNING("invalid data argument\n");
        return true;
    }
    if (poisson) {
        errorModel->setTracer(*w.currentTracer_);
    } else {
        if (!isNumber(prhs[3])) {
            WARNING("invalid sigma argument\n");
            return true;
        }
        errorModel->setSigma(scalar(prhs[3]));
        if (w.currentTracer_ != nullptr) errorModel->setTracer(*w.currentTracer_);
    }
    if (nrhs > 4) {
        if (!isNumber(prhs[4])) {
            WARNING("invalid floor argument\n");
            return true;
        }
        errorModel->setFloor(scalar(prhs[4]));
    }
    Series errors(errorModel->create(data, nullptr));
    if (errors == nullptr) return true;
    seriesOutputs(w, nlhs, plhs, errors.get());
    if (nlhs >= 3) w.addOutputUnit(&plhs[2], &errors->getUnit());
    return true;
}

bool createInput(MatlabInterface& w, int nrhs, const mxArray** prhs) {
    if (nrhs != 5) {
        WARNING("KINETRA: create input has 3 arguments: name source size\n");
        return true;
    }
    const std::string name = w.getString(prhs[2]);
    const std::string source = w.getString(prhs[3]);
    if (w.existInput(name)) {
        WARNING("input function '%s' exists already\n", messageLiteral(name).c_str());
        return true;
    }
    const InputFunction* original = w.getInput(source);
    if (original == nullptr) {
        WARNING("input function '%s' not found\n", messageLiteral(source).c_str());
        return true;
    }
    unsigned size = 0;
    if (!isNumber(prhs[4])) {
        WARNING("KINETRA: invalid size argument\n");
        return true;
    }
    if (!count(scalar(prhs[4]), kMaxSamples, &size)) return true;
    InputFunction* copy = original->clone();
    if (copy == nullptr) return true;  // a class that cannot be copied: reported
    copy->setName(name);
    copy->resize(size);
    w.addInput(copy);
    return true;
}

bool createProtocol(MatlabInterface& w, int nrhs, const mxArray** prhs) {
    if (nrhs < 4) {
        WARNING("KINETRA: create protocol has 2 arguments: name model\n");
        return true;
    }
    const std::string name = w.getString(prhs[2]);
    const std::string modelName = w.getString(prhs[3]);
    if (w.getProtocol(name) != nullptr) {
        WARNING("protocol '%s' exists already\n", messageLiteral(name).c_str());
        return true;
    }
    Model* model = w.getModel(modelName);
    if (model == nullptr) {
        WARNING("model '%s' not found\n", messageLiteral(modelName).c_str());
        return true;
    }
    std::unique_ptr<Protocol> protocol(new Protocol(name));
    protocol->setModel(model);
    // A model without an input is refused by the protocol, which then has
    // nothing to fit.
    if (protocol->getModel() == nullptr) {
        WARNING("cannot create protocol '%s'\n", messageLiteral(name).c_str());
        return true;
    }
    if (w.currentOptimizer_ != nullptr) protocol->setOptimizer(w.currentOptimizer_);
    w.addProtocol(protocol.release());
    w.select("protocol", name);
    return true;
}

}  // namespace

bool MatlabInterface::commandCreate(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) {
    if (nrhs < 3) return false;
    const std::string what = getString(prhs[1]);
    if (what == "data") return createData(*this, nlhs, plhs, nrhs, prhs);
    if (what == "delta") return createDelta(*this, nlhs, plhs, nrhs, prhs);
    if (what == "error") return createError(*this, nlhs, plhs, nrhs, prhs);
    if (what == "input") return createInput(*this, nrhs, prhs);
    if (what == "protocol") return createProtocol(*this, nrhs, prhs);
    if (what == "tac") return createTAC(*this, plhs, nrhs, prhs);
    return false;
}
