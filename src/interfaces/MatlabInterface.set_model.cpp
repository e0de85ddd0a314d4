// The set command on the selected input function and model, and the
// parameter rows that both share:
//
//   kinetra('set', 'input', 'cache'|'unit'|'numconv'|'numder'|'size', v)
//   kinetra('set', 'input', 'init', data[, voi])
//   kinetra('set', 'model', 'input'|'numder'|'unit', v)
//   kinetra('set', 'input'|'model', 'initvalue', 'value')   init := value, all parameters
//   kinetra('set', 'input'|'model', 'value', 'initvalue')   value := init, all parameters
//   kinetra('set', 'input'|'model', par, key, value)        one parameter
//
// Every write goes through the Optimizable operations by parameter name, so
// links, log scales and the changed flag of the evaluation caches behave as
// they do for the optimizers.
#include <string>
#include <vector>

#include "Dataset.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizable.h"
#include "Parameter.h"
#include "Unit.h"
#include "VOI.h"
#include "interfaces/MatlabInterface.args.h"
#include "interfaces/MatlabInterface.set.h"
#include "util/Message.h"

using namespace mxargs;

namespace setcommand {

namespace {

// Whole-object copies between the value and the initial-value volumes.
void initValuesFromValues(Optimizable* o) {
    for (const std::string& name : o->getParameterNames())
        o->setParameterInitValue(name, o->getParameter(name).getValueVolume());
}

void valuesFromInitValues(Optimizable* o) {
    for (const std::string& name : o->getParameterNames())
        o->setParameterValue(name, o->getParameter(name).getInitValueVolume());
}

// ('set', topic, 'initvalue', 'value') and ('set', topic, 'value', 'initvalue'):
// true if the call was one of them.
bool copyAllValues(Optimizable* o, const std::string& word, const mxArray* key) {
    if (word == "initvalue" && textIs(key, "value")) {
        initValuesFromValues(o);
        return true;
    }
    if (word == "value" && textIs(key, "initvalue")) {
        valuesFromInitValues(o);
        return true;
    }
    return false;
}

// The unit of an input function or a model, a plain copy of a workspace unit.
void assignUnit(MatlabInterface& w, Optimizable* o, const mxArray* name) {
    const std::string unitName = text(name);
    const Unit* unit = w.getUnit(unitName);
    if (unit == nullptr)
        WARNING("unknown unit '%s'\n", unitName.c_str());
    else
        o->setUnit(*unit);
}

// ('set','input','init',data[,voi]): the input function takes its parameters
// from a 4D dataset; only the measured input looks at a VOI. False if a name
// is no text.
bool initInput(MatlabInterface& w, InputFunction* f, int nrhs, const mxArray** prhs) {
    const bool withVOI = nrhs == 5 && f->getName() == "LinearInterpolation";
    if (!isText(prhs[3]) || (withVOI && !isText(prhs[4]))) return false;
    const std::string dataName = text(prhs[3]);
    const Dataset* d = w.getData(dataName);
    if (d == nullptr) {
        WARNING("data '%s' not found\n", dataName.c_str());
        return true;
    }
    if (d->getNumDimensions() != 4) {
        WARNING("data '%s' is not 4D\n", dataName.c_str());
        return true;
    }
    const VOI* v = nullptr;
    if (withVOI) {
        const std::string voiName = text(prhs[4]);
        v = w.getVOI(voiName);
        if (v == nullptr) {
            WARNING("VOI '%s' not found\n", voiName.c_str());
            return true;
        }
    }
    f->initParameters(d, v);
    return true;
}

// The "value" and "initvalue" rows: the string naming the other volume of the
// same parameter, a 3D array (a map, one value per voxel) or a number.
bool setValueRow(MatlabInterface& w, Optimizable* o, const std::string& par, bool init, int nrhs,
                 const mxArray** prhs) {
    const mxArray* value = prhs[4];
    Parameter& p = o->getParameter(par);
    if (isText(value)) {
        if (init && text(value) == "value") {
            o->setParameterInitValue(par, p.getValueVolume());
            return true;
        }
        if (!init && text(value) == "initvalue") {
            o->setParameterValue(par, p.getInitValueVolume());
            return true;
        }
        return false;
    }
    if (numericDimensions(value) == 3) {
        Dataset* map = w.createDataset(nrhs, prhs, 4, "_tmp_", false);
        if (map == nullptr) return true;  // the array layer has said why
        if (init)
            o->setParameterInitValue(par, map);
        else
            o->setParameterValue(par, map);
        delete map;
        return true;
    }
    if (isNumber(value)) {
        if (init)
            o->setParameterInitValue(par, scalar(value));
        else
            o->setParameterValue(par, scalar(value));
        return true;
    }
    return false;
}

}  // namespace

bool parameter(MatlabInterface& w, Optimizable* o, const std::string& par, int nrhs, const mxArray** prhs) {
    const std::string key = w.getString(prhs[3]);
    const mxArray* value = prhs[4];
    if (key == "value") return setValueRow(w, o, par, false, nrhs, prhs);
    if (key == "initvalue") return setValueRow(w, o, par, true, nrhs, prhs);
    // A link carries every write of par on to the other parameter, with the
    // transform of its type: "" the value, "-" minus it, "1-" one minus it,
    // "/" its reciprocal.
    const char* linkType = nullptr;
    if (key == "link" || key == "link+")
        linkType = "";
    else if (key == "link-")
        linkType = "-";
    else if (key == "link1-")
        linkType = "1-";
    else if (key == "link/")
        linkType = "/";
    // Links, states and units are named by a word.
    if ((linkType != nullptr || key == "state" || key == "unit") && !isText(value)) return false;
    if (linkType != nullptr) {
        o->setParameterLink(par, text(value), linkType);
        return true;
    }
    if (key == "state") {
        const std::string state = text(value);
        if (state == "free")
            o->setParameterState(par, Parameter::FREE);
        else if (state == "fixed")
            o->setParameterState(par, Parameter::FIXED);
        else if (state == "const")
            o->setParameterState(par, Parameter::CONST);
        else
            WARNING("invalid parameter state '%s'\n", state.c_str());
        return true;
    }
    if (key == "log" || key == "max" || key == "min") {
        if (!isNumber(value)) return false;
        const double v = scalar(value);
        if (key == "log")
            o->setParameterLog(par, toInt(v) != 0);
        else if (key == "max")
            o->setParameterMax(par, v);
        else
            o->setParameterMin(par, v);
        return true;
    }
    if (key == "unit") {
        const std::string unitName = text(value);
        const Unit* unit = w.getUnit(unitName);
        if (unit == nullptr)
            WARNING("unknown unit '%s'\n", unitName.c_str());
        else
            o->setParameterUnit(par, *unit);
        return true;
    }
    WARNING("parameters have no '%s' component\n", key.c_str());
    return true;
}

bool input(MatlabInterface& w, int nrhs, const mxArray** prhs) {
    InputFunction* f = w.currentInput_;
    if (f == nullptr) {
        WARNING("KINETRA: no input function selected\n");
        return true;
    }
    if (nrhs < 4) return false;
    const std::string word = w.getString(prhs[2]);
    const mxArray* value = prhs[3];
    // The rows in their order; a row whose shape fits takes the call.
    if (word == "cache" && nrhs == 4) {
        if (!isNumber(value)) return false;
        const int n = toInt(scalar(value));
        f->setCacheLimit(n < 0 ? 0u : static_cast<unsigned>(n));
        return true;
    }
    if (copyAllValues(f, word, value)) return true;
    if (word == "unit" && nrhs == 4) {
        if (!isText(value)) return false;
        assignUnit(w, f, value);
        return true;
    }
    if (word == "init") return initInput(w, f, nrhs, prhs);
    if ((word == "numconv" || word == "numder" || word == "size") && nrhs == 4) {
        if (!isNumber(value)) return false;
        const double v = scalar(value);
        if (word == "numconv") {
            f->setNumConv(v != 0.0);
        } else if (word == "numder") {
            f->setNumDer(v != 0.0);
        } else {
            // One parameter per sample: a count that cannot be meant is
            // refused with a message and the input stays as it was.
            unsigned n = 0;
            if (count(v, kMaxSamples, &n) && f->checkSize(static_cast<long>(n))) f->resize(n);
        }
        return true;
    }
    if (nrhs == 5) {
        if (f->hasParameter(word) < 0) {
            WARNING("InputFunction '%s' has no parameter '%s'\n", f->getName().c_str(), word.c_str());
            return true;
        }
        return parameter(w, f, word, nrhs, prhs);
    }
    return false;
}

bool model(MatlabInterface& w, int nrhs, const mxArray** prhs) {
    Model* m = w.currentModel_;
    if (m == nullptr) {
        WARNING("KINETRA: no model selected\n");
        return true;
    }
    if (nrhs < 4) return false;
    const std::string word = w.getString(prhs[2]);
    const mxArray* value = prhs[3];
    if (copyAllValues(m, word, value)) return true;
    if (word == "input" && nrhs == 4) {
        if (!isText(value)) return false;
        const std::string name = text(value);
        InputFunction* in = w.getInput(name);
        if (in == nullptr) {
            WARNING("unknown input function '%s'\n", name.c_str());
            return true;
        }
        // The model is driven by this one input from now on.
        m->clearInputs();
        m->setChanged(true);
        m->addInput(in);
        return true;
    }
    if (word == "numder" && nrhs == 4) {
        if (!isNumber(value)) return false;
        m->setNumDer(scalar(value) != 0.0);
        return true;
    }
    if (word == "unit" && nrhs == 4) {
        if (!isText(value)) return false;
        assignUnit(w, m, value);
        return true;
    }
    if (nrhs == 5) {
        if (m->hasParameter(word) < 0) {
            WARNING("Model '%s' has no parameter '%s'\n", m->getName().c_str(), word.c_str());
            return true;
        }
        return parameter(w, m, word, nrhs, prhs);
    }
    return false;
}

}  // namespace setcommand
