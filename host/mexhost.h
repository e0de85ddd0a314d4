// mexhost.h: test hooks of the stand-alone array layer.
//
// Tests play the part of the host program: they build input arrays, call the
// module's mexFunction, read the console text that mexPrintf produced and the
// arrays left in the output slots, and finally unload the module.
//
// Misuse of the MEX API itself (an unknown or destroyed array, a cell index
// out of range, the sparse indices of a full array) is a programming fault: the layer prints a
// line starting with "mex host:" to stderr and aborts, since a real host would
// crash or raise an error there. The helpers below throw
// std::invalid_argument instead, so that a wrong result fails one test only.
#ifndef KINETRA_HOST_MEXHOST_H
#define KINETRA_HOST_MEXHOST_H

#include "mex.h"

#include <string>
#include <vector>

namespace mexhost {

// Everything mexPrintf has printed since the last clear.
const std::string& output();
// Returns the printed text and clears it.
std::string takeOutput();
void clearOutput();
// When on, mexPrintf also writes to stdout. Off by default.
void setEcho(bool on);

// Simulates unloading the module: runs the function last registered with
// mexAtExit, once, and forgets it. Returns whether a function ran.
bool runAtExit();

// Number of arrays created and not yet destroyed, elements of cells included.
int liveArrays();

// New array of the given class and sizes (at least two) with the values in
// column-major order, converted as Matlab converts doubles: integers are
// rounded and saturated (NaN gives 0), logical is value != 0, char takes the
// value as a UTF-16 code unit. Empty values give a zero-filled array;
// otherwise their count must equal the number of elements. Cells are refused.
mxArray* makeArray(mxClassID classid, std::vector<mwSize> dims, std::vector<double> values = {});

// A sparse m-by-n array of class double or logical holding the nonzeros of
// the full column-major values (none if values is empty), with room for
// exactly as many: reading it as full storage runs past its block.
mxArray* makeSparse(mxClassID classid, mwSize m, mwSize n, std::vector<double> values);

// A complex numeric array; the imaginary parts convert as the real ones.
mxArray* makeComplex(mxClassID classid, std::vector<mwSize> dims, std::vector<double> real,
                     std::vector<double> imaginary);

// All elements as doubles, in column-major order, the real parts of a complex
// array, every element of a sparse one. Cells are refused.
std::vector<double> values(const mxArray* a);
// The imaginary parts of a full complex array.
std::vector<double> imaginaryValues(const mxArray* a);
// The sizes, first dimension first.
std::vector<mwSize> dims(const mxArray* a);
// The text of a char array as UTF-8, characters in column-major order.
std::string str(const mxArray* a);

}  // namespace mexhost

#endif  // KINETRA_HOST_MEXHOST_H
