// Argument readers and output helpers shared by the set and get handlers.
//
// A handler never reads past nrhs: `arg` answers null for a missing argument,
// and every test below answers false for null. Numbers are read only from
// real 1x1 numeric or logical arrays, never from text, cells or empty arrays,
// so that a string where a number belongs is refused instead of being read
// as a character code.
#ifndef KINETRA_INTERFACES_MATLABINTERFACE_ARGS_H
#define KINETRA_INTERFACES_MATLABINTERFACE_ARGS_H

#include <climits>
#include <string>

#include "interfaces/MatlabInterface.h"

namespace mxargs {

// Argument i of the call, or null if the call has no such argument.
inline const mxArray* arg(int nrhs, const mxArray** prhs, int i) {
    return i >= 0 && i < nrhs ? prhs[i] : nullptr;
}

inline bool isText(const mxArray* a) { return a != nullptr && mxIsChar(a); }

// The text of a character array; the empty text for anything else, without
// the message of MatlabInterface::getString.
inline std::string text(const mxArray* a) { return isText(a) ? MatlabInterface::getString(a) : std::string(); }

// True if a is the character array holding exactly `word`.
inline bool textIs(const mxArray* a, const char* word) { return isText(a) && text(a) == word; }

// A number: a real 1x1 array of a numeric or the logical class.
inline bool isNumber(const mxArray* a) {
    if (a == nullptr || mxIsChar(a)) return false;
    if (!mxIsNumeric(a) && mxGetClassID(a) != mxLOGICAL_CLASS) return false;
    return mxGetNumberOfDimensions(a) == 2 && mxGetNumberOfElements(a) == 1;
}

// Number of dimensions of a numeric or logical array, 0 for anything else
// (text, cells, structures, a missing argument).
inline int numericDimensions(const mxArray* a) {
    if (a == nullptr || mxIsChar(a)) return 0;
    if (!mxIsNumeric(a) && mxGetClassID(a) != mxLOGICAL_CLASS) return 0;
    return static_cast<int>(mxGetNumberOfDimensions(a));
}

// A double truncated toward zero into an int. Values beyond the range of int
// saturate and NaN gives 0, where the plain conversion would be undefined.
inline int toInt(double v) {
    if (!(v == v)) return 0;
    if (v >= static_cast<double>(INT_MAX)) return INT_MAX;
    if (v <= static_cast<double>(INT_MIN)) return INT_MIN;
    return static_cast<int>(v);
}

// Stores a result array in output slot i. Slot 0 holds the logical false that
// the dispatcher put there; it is destroyed so that it does not leak. A null
// array leaves the slot as it is, so a failed conversion keeps that false.
inline void setOutput(mxArray** plhs, int i, mxArray* a) {
    if (a == nullptr) return;
    if (i == 0 && plhs[0] != nullptr) mxDestroyArray(plhs[0]);
    plhs[i] = a;
}

}  // namespace mxargs

#endif
