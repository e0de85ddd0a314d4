// The set command: how a user brings data into the workspace and configures
// datasets, input functions, models, the selected optimizer and protocol, the
// random seed, the log file and the verbosity.
//
// kinetra('set', topic, ...): the topic selects one function below (the
// input function and model topics live in MatlabInterface.set_model.cpp).
// Nothing is written to plhs, so Matlab always gets the logical false of the
// dispatcher. A missing argument is never read: a form that lacks one is
// refused (false), and so is a value of the wrong kind where a number or a
// name belongs.
#include <algorithm>

#include "Dataset4D.h"
#include "Optimizer.h"
#include "Protocol.h"
#include "Unit.h"
#include "VOI.h"
#include "interfaces/MatlabInterface.args.h"
#include "interfaces/MatlabInterface.set.h"
#include "util/Message.h"
#include "util/NumUtil.h"
#include "util/StringUtil.h"

using namespace mxargs;

bool MatlabInterface::commandSet(int, mxArray**, int nrhs, const mxArray** prhs) {
    if (nrhs < 3) {
        MESSAGE(1, "KINETRA: set needs at least 3 arguments\n");
        return false;
    }
    const std::string topic = getString(prhs[1]);
    if (topic == "data") return setcommand::data(*this, nrhs, prhs);
    if (topic == "input") return setcommand::input(*this, nrhs, prhs);
    if (topic == "model") return setcommand::model(*this, nrhs, prhs);
    if (topic == "logfile") return setcommand::logfile(*this, nrhs, prhs);
    if (topic == "optimizer") return setcommand::optimizer(*this, nrhs, prhs);
    if (topic == "protocol") return setcommand::protocol(*this, nrhs, prhs);
    if (topic == "seed") return setcommand::seed(*this, nrhs, prhs);
    if (topic == "tac") return setcommand::tac(*this, nrhs, prhs);
    if (topic == "verbosity") return setcommand::verbosity(*this, nrhs, prhs);
    if (topic == "voi") return setcommand::voi(*this, nrhs, prhs);
    return false;
}

namespace setcommand {

namespace {

// The midframe flag lives in Dataset4D<T>; the type name tells which T.
void setMidframeApprox(Dataset* d, bool on) {
    if (FrameSeries* series = d->series()) series->setMidframeApprox(on);
}

// ('set','data',name,array[,time[,unit]]): a new dataset from the array.
bool dataFromArray(MatlabInterface& w, const std::string& name, int nrhs, const mxArray** prhs) {
    if (w.getData(name) != nullptr) {
        MESSAGE(1, "KINETRA: data '%s' exists\n", name.c_str());
        return true;
    }
    Dataset* d = w.createDataset(nrhs, prhs, 3, name, true);
    if (d == nullptr) {
        MESSAGE(1, "KINETRA: cannot set data '%s'\n", name.c_str());
        return false;
    }
    if (nrhs == 6) {
        // The unit is a relabelling: the values stay as they came.
        const std::string unitName = w.getString(prhs[5]);
        const Unit* unit = w.getUnit(unitName);
        if (unit == nullptr) {
            MESSAGE(1, "KINETRA: unit '%s' not found\n", unitName.c_str());
            delete d;
            return true;
        }
        d->setUnit(*unit);
    }
    w.addData(d);
    return true;
}

}  // namespace

bool data(MatlabInterface& w, int nrhs, const mxArray** prhs) {
    if (nrhs < 4) {
        MESSAGE(1, "KINETRA: set data needs at least 4 arguments\n");
        return false;
    }
    if (nrhs > 6) {
        MESSAGE(1, "KINETRA: set data can have at most 6 arguments\n");
        return false;
    }
    // A dataset is only ever named by text: a number there would make a
    // dataset of empty name.
    if (!isText(prhs[2])) return false;
    const std::string name = text(prhs[2]);
    if (!isText(prhs[3])) return dataFromArray(w, name, nrhs, prhs);

    Dataset* d = w.getData(name);
    if (d == nullptr) {
        MESSAGE(1, "KINETRA: data '%s' not found\n", name.c_str());
        return true;
    }
    const std::string key = text(prhs[3]);
    const mxArray* value = arg(nrhs, prhs, 4);
    // Units and names are words; a missing or non-text value is refused.
    if ((key == "unit" || key == "timeunit" || key == "name") && !isText(value)) return false;
    if (key == "unit") {
        const std::string unitName = text(value);
        const Unit* unit = w.getUnit(unitName);
        if (unit == nullptr)
            MESSAGE(1, "KINETRA: unknown unit '%s'\n", unitName.c_str());
        else
            d->setUnit(*unit);
    } else if (key == "timeunit") {
        const std::string unitName = text(value);
        const Unit* unit = w.getUnit(unitName);
        if (d->getNumDimensions() != 4)
            MESSAGE(1, "KINETRA: data set '%s' is not 4D\n", name.c_str());
        else if (unit == nullptr)
            MESSAGE(1, "KINETRA: unknown unit '%s'\n", unitName.c_str());
        else
            d->setTimeUnit(*unit);
    } else if (key == "midframe_approx") {
        if (!isNumber(value)) return false;
        if (d->getNumDimensions() != 4)
            WARNING("data '%s' is not 4D\n", name.c_str());
        else
            setMidframeApprox(d, toInt(scalar(value)) != 0);
    } else if (key == "name") {
        // Only the object's own name changes; the list keeps its old key.
        const std::string newName = text(value);
        if (w.existData(newName))
            MESSAGE(1, "KINETRA: data '%s' exists\n", newName.c_str());
        else
            d->setName(newName);
    }
    return true;
}

bool logfile(MatlabInterface&, int nrhs, const mxArray** prhs) {
    const mxArray* name = arg(nrhs, prhs, 2);
    if (!isText(name)) return false;
    SetMessageLogfile(text(name));
    return true;
}

bool optimizer(MatlabInterface& w, int nrhs, const mxArray** prhs) {
    Optimizer* p = w.currentOptimizer_;
    if (p == nullptr) {
        WARNING("no optimizer selected\n");
        return false;
    }
    const std::string key = w.getString(prhs[2]);
    const mxArray* value = arg(nrhs, prhs, 3);
    const OptimizerSetting* setting = p->findSetting(key);
    if (setting == nullptr) {
        WARNING("unknown optimizer parameter '%s'\n", key.c_str());
    } else if (setting->kind == OptimizerSetting::PATH) {
        if (!isText(value)) return false;
        p->setSetting(*setting, text(value));
    } else {
        if (!isNumber(value)) return false;
        p->setSetting(*setting, scalar(value));
    }
    return true;
}

bool protocol(MatlabInterface& w, int nrhs, const mxArray** prhs) {
    Protocol* q = w.currentProtocol_;
    if (q == nullptr) {
        WARNING("no protocol selected\n");
        return true;
    }
    const std::string what = w.getString(prhs[2]);
    if (what == "model" && nrhs == 4) {
        const std::string name = w.getString(prhs[3]);
        Model* m = w.getModel(name);
        if (m == nullptr)
            WARNING("model '%s' not found\n", name.c_str());
        else
            q->setModel(m);  // refuses, with its own warning, a model without inputs
        return true;
    }
    if (what == "optimizer" && nrhs == 4) {
        const std::string name = w.getString(prhs[3]);
        Optimizer* p = w.getOptimizer(name);
        if (p == nullptr)
            WARNING("optimizer '%s' not found\n", name.c_str());
        else
            q->setOptimizer(p);
        return true;
    }
    if (what == "reset" && nrhs != 4) {
        q->reset();
        return true;
    }
    return false;
}

bool seed(MatlabInterface&, int nrhs, const mxArray** prhs) {
    const mxArray* n = arg(nrhs, prhs, 2);
    if (!isNumber(n)) return false;
    random_init(toInt(scalar(n)));
    return true;
}

// ('set','tac',name,table): a time-activity table of doubles, first column the
// frame times, then one column per curve, becomes a Dataset4D<double> of T =
// rows frames of X = curves voxels, Y = Z = 1.
bool tac(MatlabInterface& w, int nrhs, const mxArray** prhs) {
    if (!isText(prhs[2]) || numericDimensions(arg(nrhs, prhs, 3)) != 2) return false;
    if (mxGetClassID(prhs[3]) != mxDOUBLE_CLASS) return false;
    const FullArray full(prhs[3]);
    const mxArray* table = full.get();
    if (table == nullptr) return false;  // complex, or too large to expand: said why
    const std::string name = text(prhs[2]);
    if (w.getData(name) != nullptr) {
        WARNING("KINETRA: data '%s' exists\n", name.c_str());
        return true;
    }
    const mwSize* size = mxGetDimensions(table);
    const unsigned rows = static_cast<unsigned>(size[0]);
    const unsigned columns = static_cast<unsigned>(size[1]);
    if (columns < 2) {
        WARNING("KINETRA: TAC data must have at least 2 columns\n");
        return true;
    }
    if (!datasetFits(double(size[0]), double(size[1]) - 1)) return true;  // said why; nothing added
    MESSAGE(1, "KINETRA: adding %dx%d TAC as '%s'\n", static_cast<int>(rows), static_cast<int>(columns - 1),
            name.c_str());
    Dataset4D<double>* d = new Dataset4D<double>(rows, columns - 1, 1, 1, 0.0);
    // Column-major: row i of column c is element i + c * rows.
    const double* values = static_cast<const double*>(mxGetData(table));
    for (unsigned i = 0; i < rows; ++i) {
        d->setTime(i, values[i]);
        for (unsigned j = 0; j + 1 < columns; ++j) (*d)(i, j, 0, 0) = values[i + size_t(j + 1) * rows];
    }
    d->setName(name);
    w.addData(d);
    return true;
}

// The verbosity is capped at 4; the comparison is unsigned, so a negative
// level becomes 4 as well.
bool verbosity(MatlabInterface&, int nrhs, const mxArray** prhs) {
    const mxArray* level = arg(nrhs, prhs, 2);
    int v;
    if (isText(level))
        v = string2num<int>(text(level));
    else if (isNumber(level))
        v = toInt(scalar(level));
    else
        return false;
    _MessageHelper::verbosity_ = std::min(static_cast<unsigned>(v), 4u);
    return true;
}

bool voi(MatlabInterface& w, int nrhs, const mxArray** prhs) {
    if (nrhs < 4 || !isText(prhs[2])) return false;
    const std::string name = text(prhs[2]);
    if (w.getVOI(name) != nullptr) {
        WARNING("KINETRA: voi '%s' exists\n", name.c_str());
        return true;
    }
    Dataset3D<unsigned char>* mask = w.createVOI(prhs[3]);
    if (mask == nullptr) return false;
    // A 3D logical array arrives as a plain volume of bytes; the list holds
    // VOI objects, so the mask is copied into one.
    VOI* v = dynamic_cast<VOI*>(mask);
    if (v == nullptr) {
        v = new VOI(mask->getDimensionX(), mask->getDimensionY(), mask->getDimensionZ(), 0);
        Dataset3D<unsigned char>& voxels = *v;  // the VOI's mask part
        voxels = *mask;
        delete mask;
    }
    v->setName(name);
    w.addVOI(v);
    return true;
}

}  // namespace setcommand
