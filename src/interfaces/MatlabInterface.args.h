// Argument readers and output helpers shared by the set and get handlers.
//
// A handler never reads past nrhs: `arg` answers null for a missing argument,
// and every test below answers false for null. Numbers are read only from
// real 1x1 numeric or logical arrays, never from text, cells or empty arrays,
// so that a string where a number belongs is refused instead of being read
// as a character code.
//
// Arrays are read only through FullArray and `scalar`: a sparse array keeps
// only its nonzeros, so it is expanded to full storage first (a sparse TAC or
// mask then works as the full one would), and a complex array is refused with
// one message, since every reader here would drop its imaginary part.
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

// False, after a message, for a complex array; true for every other array.
bool isReal(const mxArray* a);

// A number: a real 1x1 array of a numeric or the logical class. A complex
// number is refused with the message of isReal.
inline bool isNumber(const mxArray* a) {
    if (a == nullptr || mxIsChar(a)) return false;
    if (!mxIsNumeric(a) && mxGetClassID(a) != mxLOGICAL_CLASS) return false;
    return mxGetNumberOfDimensions(a) == 2 && mxGetNumberOfElements(a) == 1 && isReal(a);
}

// The value of a number (isNumber holds), sparse or full.
double scalar(const mxArray* a);

// An argument in full storage, for the readers that take the elements from
// mxGetData. A full real array is used as it is; a sparse one is expanded
// into a full temporary that this object owns and destroys. Null, after a
// message, for a complex array, and for a sparse one whose full form would
// exceed kMaxElements.
class FullArray {
public:
    explicit FullArray(const mxArray* a);
    ~FullArray();
    FullArray(const FullArray&) = delete;
    FullArray& operator=(const FullArray&) = delete;

    const mxArray* get() const { return full_; }
    explicit operator bool() const { return full_ != nullptr; }

private:
    const mxArray* full_ = nullptr;
    mxArray* owned_ = nullptr;
};

// A count from the user: a whole number from 0 to max. NaN, Inf,
// negative numbers, fractions and counts beyond max are refused with a
// message, so that nothing is allocated for a size that cannot be meant.
bool count(double v, double max, unsigned* n);

// True if a dataset of this many frames of this many voxels can be made: at
// most kMaxSamples frames and INT_MAX voxels, a size of 0 counted as 1
// since every frame and every slice is an object of its own (an empty array
// may have a size of a billion). Otherwise false after a message.
bool datasetFits(double frames, double voxels);

// The most samples an input function may be given: each is a parameter with
// volumes of its own, so a million of them already take gigabytes.
constexpr double kMaxSamples = 1e6;

// The most elements a count from the user may ask for: 1e8 doubles are
// 800 MB, beyond what any input, dataset or sparse expansion here is meant
// to hold, and far below where a size_t product or an int could overflow.
constexpr double kMaxElements = 1e8;

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
