// The get command: how names, datasets, parameter maps, fit statistics and
// the curves of a fit come back to Matlab.
//
//   kinetra('get', list)                    names of a list, a 1-by-n cell
//   kinetra('get', 'unit'|'voi', name)      a unit cell, a VOI mask
//   kinetra('get', 'data', name[, ...])     a dataset, its size, a volume or a slice
//   kinetra('get', 'input'|'model', par[, 'der', times])
//   kinetra('get', 'optimizer', key)        a setting of the selected optimizer
//   kinetra('get', statistic)               a goodness-of-fit map of the last fit
//   kinetra('get', 'tac', data, error, voi|point)
//   kinetra('get', 'current', list), kinetra('get', 'verbosity')
//
// Results go to plhs; where no array can be made plhs[0] keeps the logical
// false of the dispatcher. Temporaries made here are destroyed here, and
// nothing in the workspace changes.
#include <string>
#include <vector>

#include "Dataset2D.h"
#include "Dataset.visit.h"
#include "ErrorModel.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizer.h"
#include "Protocol.h"
#include "Tracer.h"
#include "Unit.h"
#include "VOI.h"
#include "interfaces/MatlabInterface.args.h"
#include "util/Message.h"

using namespace mxargs;

namespace {

// The element class of the arrays that carry a dataset of this type name.
mxClassID classOfType(const std::string& type) {
    if (type == "double") return mxDOUBLE_CLASS;
    if (type == "float") return mxSINGLE_CLASS;
    if (type == "int") return mxINT32_CLASS;
    if (type == "ushort") return mxUINT16_CLASS;
    if (type == "short") return mxINT16_CLASS;
    if (type == "uchar") return mxUINT8_CLASS;
    return mxUNKNOWN_CLASS;
}

// The 3-by-1 cell of a unit (name, type, factor).
mxArray* unitCell(MatlabInterface& w, const Unit& unit) {
    mxArray* cell = nullptr;
    w.addOutputUnit(&cell, &unit);
    return cell;
}

// A 1-by-n cell of strings.
mxArray* nameList(const std::vector<std::string>& names) {
    mxArray* cell = mxCreateCellMatrix(1, static_cast<mwSize>(names.size()));
    for (size_t i = 0; i < names.size(); ++i) mxSetCell(cell, static_cast<mwIndex>(i), mxCreateString(names[i].c_str()));
    return cell;
}

// The statistics of an optimizer come back as volumes, by value or as new
// objects owned by the caller; both become an array and the latter is freed.
template <class T>
mxArray* volumeArray(MatlabInterface& w, const Dataset3D<T>& volume) {
    return w.createDataArray3D(&volume);
}
template <class T>
mxArray* volumeArray(MatlabInterface& w, Dataset3D<T>* volume) {
    mxArray* a = volume != nullptr ? w.createDataArray3D(volume) : nullptr;
    delete volume;
    return a;
}

// True if frame t (and, with withSlice, slice z) exists in the 4D dataset d;
// otherwise a message. Frames and slices count from 0.
bool checkFrame(const Dataset* d, int t, bool withSlice, int z) {
    if (d->getNumDimensions() != 4) {
        MESSAGE(1, "KINETRA: data '%s' is not 4D\n", d->getName().c_str());
        return false;
    }
    if (t < 0 || t >= static_cast<int>(d->getDimensionT())) {
        MESSAGE(1, "KINETRA: frame %d is outside data '%s' with %u frames\n", t, d->getName().c_str(),
                d->getDimensionT());
        return false;
    }
    if (withSlice && (z < 0 || z >= static_cast<int>(d->getDimensionZ()))) {
        MESSAGE(1, "KINETRA: slice %d is outside data '%s' with %u slices\n", z, d->getName().c_str(),
                d->getDimensionZ());
        return false;
    }
    return true;
}

// A new copy of volume t of a 4D dataset, owned by the caller; null after a
// message if d is no 4D dataset or has no frame t.
Dataset* getVolume(const Dataset* d, int t) {
    if (!checkFrame(d, t, false, 0)) return nullptr;
    Dataset* volume = nullptr;
    if (!visitDataset4D(*d, [&](const auto& series) {
            using Volume = typename std::decay<decltype(series(0u))>::type;
            volume = new Volume(series(static_cast<unsigned>(t)));
        }))
        MESSAGE(1, "KINETRA: unsupported data format '%s'\n", d->getType().c_str());
    return volume;
}

// A new copy of slice z of frame t of a 4D dataset, owned by the caller.
Dataset* getSlice(const Dataset* d, int t, int z) {
    if (!checkFrame(d, t, true, z)) return nullptr;
    Dataset* slice = nullptr;
    if (!visitDataset4D(*d, [&](const auto& series) {
            slice = series.getSlice(static_cast<unsigned>(t), static_cast<unsigned>(z));
        }))
        MESSAGE(1, "KINETRA: unsupported data format '%s'\n", d->getType().c_str());
    return slice;
}

// ('get','data',name[,'size'|'volume',t|'slice',t,z]).
bool dataForms(MatlabInterface& w, int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) {
    const std::string name = w.getString(prhs[2]);
    const Dataset* d = w.getData(name);
    if (d == nullptr) {
        MESSAGE(1, "KINETRA: data '%s' not found\n", name.c_str());
        return false;
    }
    if (nrhs == 4 && textIs(prhs[3], "size")) {
        const std::vector<unsigned> size = d->getDimensions();  // X, Y, Z, T as far as there are
        setOutput(plhs, 0, w.createDataArray1D(std::vector<double>(size.begin(), size.end())));
        return true;
    }
    if (nrhs == 5 && textIs(prhs[3], "volume")) {
        if (!isNumber(prhs[4])) return false;
        Dataset* volume = getVolume(d, toInt(scalar(prhs[4])));
        if (volume != nullptr) setOutput(plhs, 0, w.createDataArray3D(volume));
        delete volume;
        return true;
    }
    if (nrhs == 6 && textIs(prhs[3], "slice")) {
        if (!isNumber(prhs[4]) || !isNumber(prhs[5])) return false;
        Dataset* slice = getSlice(d, toInt(scalar(prhs[4])), toInt(scalar(prhs[5])));
        if (slice != nullptr) setOutput(plhs, 0, w.createDataArray2D(slice));
        delete slice;
        return true;
    }
    const bool is4D = d->getNumDimensions() == 4;
    if (is4D) {
        setOutput(plhs, 0, w.createDataArray4D(d));
    } else {
        // A 2D or 3D dataset comes back in the 4D layout with no frames:
        // Z x Y x X x 0, no elements.
        const mwSize dims[4] = {static_cast<mwSize>(d->getDimensionZ()), static_cast<mwSize>(d->getDimensionY()),
                                static_cast<mwSize>(d->getDimensionX()), 0};
        const mxClassID classid = classOfType(d->getType());
        if (classid == mxUNKNOWN_CLASS)
            MESSAGE(1, "KINETRA: unsupported data format '%s'", d->getType().c_str());
        else
            setOutput(plhs, 0, mxCreateNumericArray(4, dims, classid, mxREAL));
    }
    if (nlhs >= 2) plhs[1] = w.createTimeArray(d);
    if (nlhs >= 3) plhs[2] = unitCell(w, d->getUnit());
    if (nlhs >= 4 && is4D) plhs[3] = unitCell(w, d->getTimeUnit());
    return true;
}

// ('get','input'|'model',par[,'der',times]) and ('get',topic,'unit').
bool parameterForms(MatlabInterface& w, const std::string& topic, int nlhs, mxArray** plhs, int nrhs,
                  const mxArray** prhs) {
    Optimizable* o;
    if (topic == "input") {
        o = w.currentInput_;
        if (o == nullptr) {
            WARNING("KINETRA: no input function selected\n");
            return true;
        }
    } else {
        o = w.currentModel_;
        if (o == nullptr) {
            WARNING("KINETRA: no model selected\n");
            return true;
        }
    }
    const std::string par = w.getString(prhs[2]);
    if (o->hasParameter(par) >= 0) {
        std::vector<double> times;
        const bool derForm = nrhs == 5 && textIs(prhs[3], "der") && numericDimensions(prhs[4]) == 2;
        if (derForm && !isReal(prhs[4])) return true;  // refused with a message; no map in its place
        if (derForm && w.getVector(prhs[4], times)) {
            // A model without an input has nothing to evaluate.
            if (topic == "model" && static_cast<Model*>(o)->getNumInputs() == 0) {
                WARNING("no input function set for model '%s'\n", o->getName().c_str());
                return true;
            }
            std::vector<double> der(times.size());
            for (size_t i = 0; i < times.size(); ++i) der[i] = o->der(par, times[i], 0, 0, 0);
            setOutput(plhs, 0, w.createDataArray1D(der));
            return true;
        }
        const Parameter& p = o->getParameter(par);
        setOutput(plhs, 0, w.createDataArray3D(p.getValueVolume()));
        if (nlhs >= 2) plhs[1] = w.createDataArray3D(p.getErrorVolume());
        if (nlhs >= 3) plhs[2] = w.createDataArray3D(p.getInitValueVolume());
        if (nlhs >= 4) plhs[3] = mxCreateString(p.getsState().c_str());
        if (nlhs >= 5) plhs[4] = unitCell(w, p.getUnit());
        return true;
    }
    if (par == "unit") {
        setOutput(plhs, 0, unitCell(w, o->getUnit()));
        return true;
    }
    WARNING("%s '%s' has no parameter '%s'\n", topic.c_str(), o->getName().c_str(), par.c_str());
    return true;
}

// ('get','optimizer',key): the settings that can be read back.
bool optimizerForms(MatlabInterface& w, mxArray** plhs, const mxArray** prhs) {
    const Optimizer* p = w.currentOptimizer_;
    if (p == nullptr) {
        WARNING("no optimizer selected\n");
        return false;
    }
    const std::string key = w.getString(prhs[2]);
    const OptimizerSetting* setting = p->findSetting(key);
    if (setting == nullptr || !setting->readable) {
        WARNING("unknown optimizer parameter '%s'\n", key.c_str());
        return false;
    }
    if (setting->kind == OptimizerSetting::PATH)
        setOutput(plhs, 0, mxCreateString(p->getText(*setting).c_str()));
    else
        setOutput(plhs, 0, mxCreateDoubleScalar(p->getNumber(*setting)));
    return true;
}

// The goodness-of-fit maps of the selected optimizer, by topic.
const char* const kStatistics[] = {"chisquare", "exit", "aic", "aicc", "bic",
                                   "fpe", "ftest", "hannan-quinn", "rsc", "numiter"};
const int kNumStatistics = sizeof kStatistics / sizeof kStatistics[0];

int statisticIndex(const std::string& topic) {
    for (int i = 0; i < kNumStatistics; ++i)
        if (topic == kStatistics[i]) return i;
    return -1;
}

bool statisticMap(MatlabInterface& w, int which, mxArray** plhs) {
    const Optimizer* p = w.currentOptimizer_;
    if (p == nullptr) {
        WARNING("no optimizer selected\n");
        return true;
    }
    mxArray* a = nullptr;
    switch (which) {
        case 0: a = volumeArray(w, p->getChiSquareDOF()); break;
        case 1: a = volumeArray(w, p->getExitFlag()); break;
        case 2: a = volumeArray(w, p->getAIC()); break;
        case 3: a = volumeArray(w, p->getAICc()); break;
        case 4: a = volumeArray(w, p->getBIC()); break;
        case 5: a = volumeArray(w, p->getFPE()); break;
        case 6: a = volumeArray(w, p->getFTest()); break;
        case 7: a = volumeArray(w, p->getHannanQuinn()); break;
        case 8: a = volumeArray(w, p->getRSC()); break;
        default: a = volumeArray(w, p->getNumIter()); break;
    }
    setOutput(plhs, 0, a);
    return true;
}

// ('get','tac',data,error,voi|point): the curves of a fit (model, data,
// error, input) as a T-by-5 table with the frame times in column 1.
bool tacTable(MatlabInterface& w, mxArray** plhs, int nrhs, const mxArray** prhs) {
    if (nrhs < 5) {
        WARNING("get tac needs at least 3 arguments: dataname errorname ...\n");
        return true;
    }
    const std::string dataName = w.getString(prhs[2]);
    const std::string errorName = w.getString(prhs[3]);
    const Dataset* d = w.getData(dataName);
    if (d == nullptr) {
        WARNING("Data '%s' not found\n", dataName.c_str());
        return true;
    }
    Protocol* q = w.currentProtocol_;
    Dataset4D<double>* c = nullptr;
    if (isText(prhs[4])) {
        const std::string voiName = text(prhs[4]);
        const VOI* v = w.getVOI(voiName);
        if (v == nullptr) {
            WARNING("VOI '%s' not found\n", voiName.c_str());
            return true;
        }
        if (q == nullptr) {
            WARNING("no protocol selected\n");
            return true;
        }
        c = q->getTac(dataName, errorName, *v);
    } else {
        int x = 0, y = 0, z = 0;
        if (!w.getPoint(prhs[4], &x, &y, &z)) {
            WARNING("invalid point argument\n");
            return true;
        }
        const int X = static_cast<int>(d->getDimensionX()), Y = static_cast<int>(d->getDimensionY()),
                  Z = static_cast<int>(d->getDimensionZ());
        if (x < 0 || x >= X || y < 0 || y >= Y || z < 0 || z >= Z) {
            ERROR("point (%d,%d,%d) is outside data '%s' (%dx%dx%d)", x, y, z, dataName.c_str(), Z, Y, X);
            return true;
        }
        if (q == nullptr) {
            WARNING("no protocol selected\n");
            return true;
        }
        c = q->getTac(dataName, errorName, x, y, z);
    }
    if (c == nullptr) return true;
    setOutput(plhs, 0, w.createTacArray(c));
    delete c;
    return true;
}

// ('get','voi',name): the mask as a Z x Y x X logical array.
bool voiMask(MatlabInterface& w, mxArray** plhs, const mxArray** prhs) {
    const std::string name = w.getString(prhs[2]);
    const VOI* v = w.getVOI(name);
    if (v == nullptr) {
        WARNING("VOI '%s' not found\n", name.c_str());
        return true;
    }
    setOutput(plhs, 0, w.createMaskArray(v));
    return true;
}

// The name of the selected item of a list, "" if nothing is selected.
bool currentName(MatlabInterface& w, mxArray** plhs, const mxArray** prhs) {
    const std::string list = w.getString(prhs[2]);
    std::string name;
    if (list == "error") {
        if (w.currentErrorModel_ != nullptr) name = w.currentErrorModel_->getName();
    } else if (list == "input") {
        if (w.currentInput_ != nullptr) name = w.currentInput_->getName();
    } else if (list == "model") {
        if (w.currentModel_ != nullptr) name = w.currentModel_->getName();
    } else if (list == "optimizer") {
        if (w.currentOptimizer_ != nullptr) name = w.currentOptimizer_->getName();
    } else if (list == "protocol") {
        if (w.currentProtocol_ != nullptr) name = w.currentProtocol_->getName();
    } else if (list == "tracer") {
        if (w.currentTracer_ != nullptr) name = w.currentTracer_->getName();
    } else {
        WARNING("KINETRA: unknown topic '%s'", list.c_str());
        return true;
    }
    setOutput(plhs, 0, mxCreateString(name.c_str()));
    return true;
}

// The keys of the list that a topic names; false for other topics.
bool nameListOf(const Interface& w, const std::string& topic, std::vector<std::string>* names) {
    if (topic == "data") *names = w.getData();
    else if (topic == "error") *names = w.getErrorModel();
    else if (topic == "input") *names = w.getInput();
    else if (topic == "model") *names = w.getModel();
    else if (topic == "optimizer") *names = w.getOptimizer();
    else if (topic == "protocol") *names = w.getProtocol();
    else if (topic == "tracer") *names = w.getTracer();
    else if (topic == "unit") *names = w.getUnit();
    else if (topic == "voi") *names = w.getVOI();
    else return false;
    return true;
}

}  // namespace

bool MatlabInterface::commandGet(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) {
    if (nrhs < 2) return false;
    const std::string topic = getString(prhs[1]);

    if (nrhs == 2) {
        std::vector<std::string> names;
        if (nameListOf(*this, topic, &names)) {
            mxargs::setOutput(plhs, 0, nameList(names));
            return true;
        }
    }
    const int statistic = statisticIndex(topic);
    if (statistic >= 0) return statisticMap(*this, statistic, plhs);

    if (topic == "current" && nrhs >= 3) return currentName(*this, plhs, prhs);
    if (topic == "verbosity") {
        mxargs::setOutput(plhs, 0, mxCreateDoubleScalar(_MessageHelper::verbosity_));
        return true;
    }
    if (nrhs >= 3) {
        if (topic == "unit") {
            const std::string name = getString(prhs[2]);
            const Unit* unit = getUnit(name);
            if (unit == nullptr) {
                MESSAGE(1, "KINETRA: unit '%s' not found\n", name.c_str());
                return false;
            }
            mxargs::setOutput(plhs, 0, unitCell(*this, *unit));
            return true;
        }
        if (topic == "data") return dataForms(*this, nlhs, plhs, nrhs, prhs);
        if (topic == "input" || topic == "model") return parameterForms(*this, topic, nlhs, plhs, nrhs, prhs);
        if (topic == "optimizer") return optimizerForms(*this, plhs, prhs);
        if (topic == "voi") return voiMask(*this, plhs, prhs);
    }
    if (topic == "tac") return tacTable(*this, plhs, nrhs, prhs);

    MESSAGE(1, "KINETRA: unknown set option '%s'\n", topic.c_str());
    return false;
}
