// The data life-cycle commands delete, read and write (create has a file of
// its own).
//
//   kinetra('delete', kind, name)        data | input | protocol | voi
//   kinetra('read', kind, filename)      data | scaled | tac | voi
//   kinetra('write', kind, filename, source[, times])   data | tac | voi
//
// `read` hands a file's contents to Octave only; nothing enters the
// workspace. `write` takes a workspace name or an array; a dataset it made
// from an array is its own temporary and is destroyed, one of the workspace
// never is.
#include <memory>
#include <string>

#include "Dataset.files.h"
#include "VOI.h"
#include "interfaces/MatlabInterface.args.h"
#include "util/Message.h"
#include "util/StringUtil.h"

using namespace mxargs;

bool MatlabInterface::commandDelete(int, mxArray**, int nrhs, const mxArray** prhs) {
    if (nrhs < 3) return false;
    const std::string kind = getString(prhs[1]);
    const std::string name = getString(prhs[2]);
    // Each removal detaches the object from protocols and models and clears a
    // selection that points at it before the object is freed.
    if (kind == "data") {
        removeData(name);
    } else if (kind == "input") {
        removeInput(name);
    } else if (kind == "protocol") {
        removeProtocol(name);
    } else if (kind == "voi") {
        removeVOI(name);
    } else {
        return false;
    }
    return true;
}

namespace {

// A dataset read from a file as arrays: 3D as one volume, 4D as the series
// and, with a second output, its T-by-2 time table.
void dataOutputs(MatlabInterface& w, int nlhs, mxArray** plhs, const Dataset* d) {
    const unsigned dims = d->getNumDimensions();
    if (dims == 3) {
        if (nlhs != 0) setOutput(plhs, 0, w.createDataArray3D(d));
    } else if (dims == 4) {
        if (nlhs != 0) setOutput(plhs, 0, w.createDataArray4D(d));
        if (nlhs >= 2) setOutput(plhs, 1, w.createTimeArray(d));
    } else {
        WARNING("%dD data not supported (yet)\n", int(dims));
    }
}

}  // namespace

bool MatlabInterface::commandRead(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) {
    if (nrhs < 3) return false;
    const std::string kind = getString(prhs[1]);
    const std::string file = getString(prhs[2]);
    std::unique_ptr<Dataset> d;
    if (kind == "data") {
        d.reset(readAnalyze(file));
        if (d) dataOutputs(*this, nlhs, plhs, d.get());
    } else if (kind == "scaled") {
        d.reset(readScaledAnalyze(file));
        if (d) dataOutputs(*this, nlhs, plhs, d.get());
    } else if (kind == "tac") {
        d.reset(readTAC(file));
        if (d) setOutput(plhs, 0, createTacArray(d.get()));
    } else if (kind == "voi") {
        d.reset(readAnalyze(file));
        if (!d) return true;
        if (d->getNumDimensions() != 3 || d->getType() != "uchar") {
            WARNING("'%s' is %dD %s and hence no VOI!\n", messageLiteral(file).c_str(), int(d->getNumDimensions()),
                    d->getType().c_str());
            return true;
        }
        setOutput(plhs, 0, createMaskArray(d.get()));
    } else {
        return false;
    }
    return true;
}

bool MatlabInterface::commandWrite(int, mxArray**, int nrhs, const mxArray** prhs) {
    if (nrhs < 4) return false;
    const std::string kind = getString(prhs[1]);
    // The file name comes before the source, whatever the order in the help text.
    const std::string file = getString(prhs[2]);
    const mxArray* source = prhs[3];
    // A dataset made here from an array; a workspace object is only borrowed.
    std::unique_ptr<Dataset> made;
    Dataset* d = nullptr;
    if (kind == "data") {
        if (isText(source)) {
            d = getData(text(source));
        } else {
            made.reset(createDataset(nrhs, prhs, 3, basename(file, false), true));
            d = made.get();
        }
        if (d == nullptr) {
            MESSAGE(1, "KINETRA: cannot get or create dataset\n");
            return false;
        }
    } else if (kind == "tac") {
        WARNING("not implemented (yet)\n");
        return true;
    } else if (kind == "voi") {
        if (isText(source)) {
            d = getVOI(text(source));
        } else {
            made.reset(createVOI(source));
            if (made) made->setName(basename(file, false));
            d = made.get();
        }
        if (d == nullptr) return false;
    } else {
        return false;
    }
    writeData(d, file, 1.0);
    return true;
}
