// The data and VOI arguments of the filter and cluster commands: a name of
// the workspace, or an array made into a temporary that the command owns.
// Temporary records which of the two it holds, so that the end of the command
// frees exactly what it made, whatever the object's name.
#ifndef KINETRA_INTERFACES_MATLABINTERFACE_OBJECTS_H
#define KINETRA_INTERFACES_MATLABINTERFACE_OBJECTS_H

#include <memory>

#include "interfaces/MatlabInterface.h"

class VOI;

template <class T>
class Temporary {
public:
    // An object of the workspace: used, never freed here.
    void borrow(T* object) {
        owned_.reset();
        object_ = object;
    }
    // An object made for this command: freed with this holder.
    void own(T* object) {
        owned_.reset(object);
        object_ = object;
    }
    T* get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }

private:
    T* object_ = nullptr;
    std::unique_ptr<T> owned_;
};

namespace mxobjects {

// prhs[1]: a dataset name, or a 3D or 4D array made into a temporary of the
// given name. False after the message if there is none.
bool findData(MatlabInterface& w, int nrhs, const mxArray** prhs, const char* temporaryName, Temporary<Dataset>& data);

// A VOI name, or a logical 3D array made into a temporary of the given name.
// The messages of the filter command; false if there is none.
bool findFilterVOI(MatlabInterface& w, const mxArray* a, const char* temporaryName, Temporary<VOI>& voi);

// The VOI made from a logical array (a VOI, or any 3D mask), or null.
VOI* arrayVOI(MatlabInterface& w, const mxArray* a);

// True if the VOI lies on the data's grid; otherwise false after a message:
// a statistic or a mask on another grid would pair voxels that do not belong
// together.
bool sameGrid(const Dataset& data, const VOI& voi);

}  // namespace mxobjects

#endif
