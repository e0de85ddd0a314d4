// mex.cpp: the stand-alone array layer behind host/mex.h and host/mexhost.h.
//
// Arrays behave as Matlab's: column-major elements with the first dimension
// fastest, at least two dimensions with trailing singletons beyond the second
// dropped, zero-filled on creation, text as UTF-16 code units. Complex arrays
// keep the imaginary parts in a block of their own; sparse arrays keep only
// their nonzeros in compressed column form, so that a reader that takes their
// values for the whole array runs past the block, as it would in Octave. The layer also
// stands in for the host program: it collects console output, remembers the
// exit function and keeps a registry of live arrays, against which every
// array argument is checked so that use after destruction, double destruction
// and double ownership show up as an immediate fault instead of memory damage.

#include "mex.h"
#include "mexhost.h"

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

static_assert(sizeof(mxLogical) == 1, "logical elements are one byte wide");
static_assert(sizeof(mxChar) == 2, "char elements are UTF-16 code units");

struct mxArray_tag {
    mxClassID classid = mxUNKNOWN_CLASS;
    std::vector<mwSize> dims;
    size_t count = 0;
    std::vector<unsigned char> bytes;  // elements of every class but cell (sparse: the nonzeros)
    bool complex = false;
    std::vector<unsigned char> imag;   // imaginary parts of a complex array, as many as bytes
    bool sparse = false;
    std::vector<mwIndex> ir, jc;       // sparse: row of each nonzero, start of each column
    std::vector<mxArray*> cells;       // elements of a cell, owned
    mxArray* parent = nullptr;         // the cell that owns this array
    mwIndex slot = 0;                  // index in the parent cell
};

namespace {

struct HostState {
    std::string output;
    bool echo = false;
    void (*exitFunction)() = nullptr;
    std::unordered_set<const mxArray*> live;
};

// Created on first use and never destroyed: the module may print during static
// construction and may release arrays during static destruction.
HostState& state() {
    static HostState* s = new HostState;
    return *s;
}

[[noreturn]] void fault(const char* where, const char* what) {
    std::fprintf(stderr, "mex host: %s: %s\n", where, what);
    std::fflush(stderr);
    std::abort();
}

bool isLive(const mxArray* a) { return a != nullptr && state().live.count(a) != 0; }

const mxArray* use(const mxArray* a, const char* where) {
    if (a == nullptr) fault(where, "null array");
    if (!isLive(a)) fault(where, "array was destroyed or never created by this host");
    return a;
}

mxArray* use(mxArray* a, const char* where) {
    use(static_cast<const mxArray*>(a), where);
    return a;
}

bool isNumericClass(mxClassID c) { return c >= mxDOUBLE_CLASS && c <= mxUINT64_CLASS; }

size_t elementSize(mxClassID c) {
    switch (c) {
        case mxCELL_CLASS: return sizeof(mxArray*);
        case mxLOGICAL_CLASS: return sizeof(mxLogical);
        case mxCHAR_CLASS: return sizeof(mxChar);
        case mxDOUBLE_CLASS: return sizeof(double);
        case mxSINGLE_CLASS: return sizeof(float);
        case mxINT8_CLASS:
        case mxUINT8_CLASS: return 1;
        case mxINT16_CLASS:
        case mxUINT16_CLASS: return 2;
        case mxINT32_CLASS:
        case mxUINT32_CLASS: return 4;
        case mxINT64_CLASS:
        case mxUINT64_CLASS: return 8;
        default: return 0;
    }
}

// Matlab's shape rules: fewer than two sizes are padded (no sizes give 0x0,
// one size n gives n x 1), trailing ones beyond the second are dropped.
std::vector<mwSize> normalizeDims(mwSize ndim, const mwSize* dims, const char* where) {
    if (ndim > 0 && dims == nullptr) fault(where, "null dimension array");
    std::vector<mwSize> d(dims, dims + ndim);
    if (d.empty()) d = {0, 0};
    if (d.size() == 1) d.push_back(1);
    while (d.size() > 2 && d.back() == 1) d.pop_back();
    return d;
}

mxArray* newArray(mxClassID classid, std::vector<mwSize> dims, const char* where) {
    size_t count = 1;
    for (mwSize n : dims) {
        if (n != 0 && count > std::numeric_limits<size_t>::max() / n) fault(where, "array too large");
        count *= n;
    }
    auto* a = new mxArray;
    a->classid = classid;
    a->dims = std::move(dims);
    a->count = count;
    if (classid == mxCELL_CLASS)
        a->cells.assign(count, nullptr);
    else
        a->bytes.assign(count * elementSize(classid), 0);
    state().live.insert(a);
    return a;
}

template <class T>
T load(const mxArray* a, size_t i) {
    T v;
    std::memcpy(&v, a->bytes.data() + i * sizeof(T), sizeof(T));
    return v;
}

template <class T>
void store(mxArray* a, size_t i, T v) {
    std::memcpy(a->bytes.data() + i * sizeof(T), &v, sizeof(T));
}

// Matlab's conversion of a double to an integer class: round half away from
// zero, saturate at the limits, NaN gives zero.
template <class T>
T saturate(double v) {
    if (std::isnan(v)) return 0;
    const double r = std::round(v);
    if (r <= static_cast<double>(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
    if (r >= static_cast<double>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
    return static_cast<T>(r);
}

float toSingle(double v) {
    const double m = std::numeric_limits<float>::max();
    if (v > m) return std::numeric_limits<float>::infinity();
    if (v < -m) return -std::numeric_limits<float>::infinity();
    return static_cast<float>(v);
}

// Element i of any class but cell, as a double.
double readDouble(const mxArray* a, size_t i) {
    switch (a->classid) {
        case mxLOGICAL_CLASS: return load<unsigned char>(a, i) != 0 ? 1.0 : 0.0;
        case mxCHAR_CLASS: return load<char16_t>(a, i);
        case mxDOUBLE_CLASS: return load<double>(a, i);
        case mxSINGLE_CLASS: return load<float>(a, i);
        case mxINT8_CLASS: return load<int8_t>(a, i);
        case mxUINT8_CLASS: return load<uint8_t>(a, i);
        case mxINT16_CLASS: return load<int16_t>(a, i);
        case mxUINT16_CLASS: return load<uint16_t>(a, i);
        case mxINT32_CLASS: return load<int32_t>(a, i);
        case mxUINT32_CLASS: return load<uint32_t>(a, i);
        case mxINT64_CLASS: return static_cast<double>(load<int64_t>(a, i));
        case mxUINT64_CLASS: return static_cast<double>(load<uint64_t>(a, i));
        default: return 0.0;
    }
}

// Element i of the whole array as a double, also for sparse storage, where
// an element that is no stored nonzero is 0.
double elementValue(const mxArray* a, size_t i) {
    if (!a->sparse) return readDouble(a, i);
    const size_t m = a->dims[0], column = i / m, row = i % m;
    for (mwIndex k = a->jc[column]; k < a->jc[column + 1]; ++k)
        if (a->ir[k] == row) return readDouble(a, k);
    return 0.0;
}

void writeDouble(mxArray* a, size_t i, double v) {
    switch (a->classid) {
        case mxLOGICAL_CLASS: store<unsigned char>(a, i, v != 0 ? 1 : 0); break;
        case mxCHAR_CLASS: store<char16_t>(a, i, saturate<char16_t>(v)); break;
        case mxDOUBLE_CLASS: store<double>(a, i, v); break;
        case mxSINGLE_CLASS: store<float>(a, i, toSingle(v)); break;
        case mxINT8_CLASS: store<int8_t>(a, i, saturate<int8_t>(v)); break;
        case mxUINT8_CLASS: store<uint8_t>(a, i, saturate<uint8_t>(v)); break;
        case mxINT16_CLASS: store<int16_t>(a, i, saturate<int16_t>(v)); break;
        case mxUINT16_CLASS: store<uint16_t>(a, i, saturate<uint16_t>(v)); break;
        case mxINT32_CLASS: store<int32_t>(a, i, saturate<int32_t>(v)); break;
        case mxUINT32_CLASS: store<uint32_t>(a, i, saturate<uint32_t>(v)); break;
        case mxINT64_CLASS: store<int64_t>(a, i, saturate<int64_t>(v)); break;
        case mxUINT64_CLASS: store<uint64_t>(a, i, saturate<uint64_t>(v)); break;
        default: break;
    }
}

// Text crosses the API as UTF-8 and is kept as UTF-16, as in Matlab with a
// UTF-8 locale. Bytes that are no valid UTF-8 are taken as Latin-1 so that any
// input survives; unpaired surrogates are encoded as three bytes on the way back.
std::u16string decodeUtf8(const char* s) {
    std::u16string out;
    const auto* p = reinterpret_cast<const unsigned char*>(s);
    while (*p) {
        const unsigned b = *p;
        size_t len = 0;
        char32_t cp = 0, least = 0;
        if (b >= 0xC2 && b <= 0xDF) len = 2, cp = b & 0x1F, least = 0x80;
        else if (b >= 0xE0 && b <= 0xEF) len = 3, cp = b & 0x0F, least = 0x800;
        else if (b >= 0xF0 && b <= 0xF4) len = 4, cp = b & 0x07, least = 0x10000;
        bool ok = len > 0;
        for (size_t k = 1; ok && k < len; ++k) {
            if ((p[k] & 0xC0) != 0x80) ok = false;
            else cp = (cp << 6) | (p[k] & 0x3F);
        }
        if (ok && (cp < least || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))) ok = false;
        if (!ok) len = 1, cp = b;
        if (cp < 0x10000) {
            out.push_back(static_cast<char16_t>(cp));
        } else {
            cp -= 0x10000;
            out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
            out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
        }
        p += len;
    }
    return out;
}

// Encodes the character that starts at unit i and advances i past it.
std::string encodeNext(const mxArray* a, size_t& i) {
    char32_t cp = load<char16_t>(a, i++);
    if (cp >= 0xD800 && cp <= 0xDBFF && i < a->count) {
        const char32_t low = load<char16_t>(a, i);
        if (low >= 0xDC00 && low <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
            ++i;
        }
    }
    std::string out;
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
    return out;
}

std::string encodeAll(const mxArray* a) {
    std::string out;
    for (size_t i = 0; i < a->count;) out += encodeNext(a, i);
    return out;
}

// Destroys an array together with every element it owns.
void destroyTree(mxArray* a) {
    for (mxArray* child : a->cells) {
        if (child != nullptr) destroyTree(child);
    }
    state().live.erase(a);
    delete a;
}

// A copy of everything but the place in a parent cell; elements are copied too.
mxArray* duplicateTree(const mxArray* in) {
    auto* a = new mxArray(*in);
    a->parent = nullptr;
    a->slot = 0;
    state().live.insert(a);
    for (size_t i = 0; i < in->cells.size(); ++i) {
        if (in->cells[i] == nullptr) continue;
        mxArray* child = duplicateTree(in->cells[i]);
        child->parent = a;
        child->slot = i;
        a->cells[i] = child;
    }
    return a;
}

const mxArray* helperArgument(const mxArray* a, const char* where) {
    if (!isLive(a)) throw std::invalid_argument(std::string(where) + ": not a live array");
    return a;
}

}  // namespace

// ---------------------------------------------------------------- host services

int mexAtExit(void (*exitFcn)(void)) {
    state().exitFunction = exitFcn;
    return 0;
}

int mexPrintf(const char* format, ...) {
    if (format == nullptr) fault("mexPrintf", "null format");
    char small[512];
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int n = std::vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (n < 0) {
        va_end(again);
        return n;
    }
    std::string text;
    if (static_cast<size_t>(n) < sizeof small) {
        text.assign(small, static_cast<size_t>(n));
    } else {
        std::vector<char> big(static_cast<size_t>(n) + 1);
        std::vsnprintf(big.data(), big.size(), format, again);
        text.assign(big.data(), static_cast<size_t>(n));
    }
    va_end(again);
    HostState& s = state();
    s.output += text;
    if (s.echo) {
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
    }
    return n;
}

void* mxCalloc(size_t n, size_t size) { return std::calloc(n, size); }
void* mxMalloc(size_t n) { return std::malloc(n); }
void mxFree(void* ptr) { std::free(ptr); }

// ---------------------------------------------------------------- class and shape

bool mxIsChar(const mxArray* pa) { return use(pa, "mxIsChar")->classid == mxCHAR_CLASS; }
bool mxIsNumeric(const mxArray* pa) { return isNumericClass(use(pa, "mxIsNumeric")->classid); }
bool mxIsLogical(const mxArray* pa) { return use(pa, "mxIsLogical")->classid == mxLOGICAL_CLASS; }
bool mxIsDouble(const mxArray* pa) { return use(pa, "mxIsDouble")->classid == mxDOUBLE_CLASS; }
bool mxIsCell(const mxArray* pa) { return use(pa, "mxIsCell")->classid == mxCELL_CLASS; }
bool mxIsEmpty(const mxArray* pa) { return use(pa, "mxIsEmpty")->count == 0; }
bool mxIsSparse(const mxArray* pa) { return use(pa, "mxIsSparse")->sparse; }
bool mxIsComplex(const mxArray* pa) { return use(pa, "mxIsComplex")->complex; }
mxClassID mxGetClassID(const mxArray* pa) { return use(pa, "mxGetClassID")->classid; }

mwSize mxGetNumberOfDimensions(const mxArray* pa) {
    return use(pa, "mxGetNumberOfDimensions")->dims.size();
}

const mwSize* mxGetDimensions(const mxArray* pa) { return use(pa, "mxGetDimensions")->dims.data(); }

size_t mxGetM(const mxArray* pa) { return use(pa, "mxGetM")->dims[0]; }

size_t mxGetN(const mxArray* pa) {
    const mxArray* a = use(pa, "mxGetN");
    size_t n = 1;
    for (size_t k = 1; k < a->dims.size(); ++k) n *= a->dims[k];
    return n;
}

size_t mxGetNumberOfElements(const mxArray* pa) { return use(pa, "mxGetNumberOfElements")->count; }
size_t mxGetElementSize(const mxArray* pa) { return elementSize(use(pa, "mxGetElementSize")->classid); }

// ---------------------------------------------------------------- element access

// Empty arrays have no data pointer, as in Matlab; sparse arrays always have
// their block of nonzeros, at least one element long.
void* mxGetData(const mxArray* pa) {
    mxArray* a = const_cast<mxArray*>(use(pa, "mxGetData"));
    if (a->sparse) return a->bytes.data();
    if (a->count == 0) return nullptr;
    if (a->classid == mxCELL_CLASS) return a->cells.data();
    return a->bytes.data();
}

// Null for every class but double, so that reading another class through a
// double pointer fails at once.
double* mxGetPr(const mxArray* pa) {
    const mxArray* a = use(pa, "mxGetPr");
    if (a->classid != mxDOUBLE_CLASS) return nullptr;
    return static_cast<double*>(mxGetData(a));
}

void* mxGetImagData(const mxArray* pa) {
    mxArray* a = const_cast<mxArray*>(use(pa, "mxGetImagData"));
    return a->imag.empty() ? nullptr : a->imag.data();
}

double* mxGetPi(const mxArray* pa) {
    const mxArray* a = use(pa, "mxGetPi");
    if (a->classid != mxDOUBLE_CLASS) return nullptr;
    return static_cast<double*>(mxGetImagData(a));
}

static const mxArray* useSparse(const mxArray* pa, const char* where) {
    const mxArray* a = use(pa, where);
    if (!a->sparse) fault(where, "array is not sparse");
    return a;
}

mwIndex* mxGetIr(const mxArray* pa) {
    return const_cast<mwIndex*>(useSparse(pa, "mxGetIr")->ir.data());
}

mwIndex* mxGetJc(const mxArray* pa) {
    return const_cast<mwIndex*>(useSparse(pa, "mxGetJc")->jc.data());
}

mwSize mxGetNzmax(const mxArray* pa) { return useSparse(pa, "mxGetNzmax")->ir.size(); }

// The real part of element (1,1); an empty array gives 0 and is not read.
double mxGetScalar(const mxArray* pa) {
    const mxArray* a = use(pa, "mxGetScalar");
    if (a->count == 0 || a->classid == mxCELL_CLASS) return 0.0;
    return elementValue(a, 0);
}

int mxGetString(const mxArray* pa, char* buf, mwSize buflen) {
    const mxArray* a = use(pa, "mxGetString");
    if (buflen == 0) return 1;
    if (buf == nullptr) fault("mxGetString", "null buffer");
    buf[0] = '\0';
    if (a->classid != mxCHAR_CLASS) return 1;
    size_t used = 0;
    for (size_t i = 0; i < a->count;) {
        const std::string piece = encodeNext(a, i);
        if (used + piece.size() > buflen - 1) {
            buf[used] = '\0';
            return 1;
        }
        std::memcpy(buf + used, piece.data(), piece.size());
        used += piece.size();
    }
    buf[used] = '\0';
    return 0;
}

char* mxArrayToString(const mxArray* pa) {
    const mxArray* a = use(pa, "mxArrayToString");
    if (a->classid != mxCHAR_CLASS) return nullptr;
    const std::string text = encodeAll(a);
    auto* out = static_cast<char*>(mxMalloc(text.size() + 1));
    if (out != nullptr) std::memcpy(out, text.c_str(), text.size() + 1);
    return out;
}

// ---------------------------------------------------------------- creation

mxArray* mxCreateLogicalScalar(mxLogical value) {
    mxArray* a = newArray(mxLOGICAL_CLASS, {1, 1}, "mxCreateLogicalScalar");
    store<unsigned char>(a, 0, value ? 1 : 0);
    return a;
}

mxArray* mxCreateLogicalMatrix(mwSize m, mwSize n) {
    return newArray(mxLOGICAL_CLASS, {m, n}, "mxCreateLogicalMatrix");
}

mxArray* mxCreateLogicalArray(mwSize ndim, const mwSize* dims) {
    return newArray(mxLOGICAL_CLASS, normalizeDims(ndim, dims, "mxCreateLogicalArray"),
                    "mxCreateLogicalArray");
}

mxArray* mxCreateDoubleScalar(double value) {
    mxArray* a = newArray(mxDOUBLE_CLASS, {1, 1}, "mxCreateDoubleScalar");
    store<double>(a, 0, value);
    return a;
}

mxArray* mxCreateDoubleMatrix(mwSize m, mwSize n, mxComplexity flag) {
    return mxCreateNumericMatrix(m, n, mxDOUBLE_CLASS, flag);
}

mxArray* mxCreateNumericMatrix(mwSize m, mwSize n, mxClassID classid, mxComplexity flag) {
    const mwSize dims[2] = {m, n};
    return mxCreateNumericArray(2, dims, classid, flag);
}

mxArray* mxCreateNumericArray(mwSize ndim, const mwSize* dims, mxClassID classid,
                              mxComplexity flag) {
    const char* where = "mxCreateNumericArray";
    if (!isNumericClass(classid)) fault(where, "class is not numeric");
    mxArray* a = newArray(classid, normalizeDims(ndim, dims, where), where);
    if (flag == mxCOMPLEX) a->complex = true, a->imag.assign(a->bytes.size(), 0);
    return a;
}

// An m-by-n sparse array with room for nzmax nonzeros (at least one) and none
// stored yet: every column start is 0.
static mxArray* newSparse(mxClassID classid, mwSize m, mwSize n, mwSize nzmax, const char* where) {
    if (nzmax == 0) nzmax = 1;
    if (nzmax > std::numeric_limits<size_t>::max() / sizeof(double)) fault(where, "array too large");
    auto* a = new mxArray;
    a->classid = classid;
    a->dims = {m, n};
    a->count = m * n;
    if (m != 0 && a->count / m != n) fault(where, "array too large");
    a->sparse = true;
    a->bytes.assign(nzmax * elementSize(classid), 0);
    a->ir.assign(nzmax, 0);
    a->jc.assign(n + 1, 0);
    state().live.insert(a);
    return a;
}

mxArray* mxCreateSparse(mwSize m, mwSize n, mwSize nzmax, mxComplexity flag) {
    mxArray* a = newSparse(mxDOUBLE_CLASS, m, n, nzmax, "mxCreateSparse");
    if (flag == mxCOMPLEX) a->complex = true, a->imag.assign(a->bytes.size(), 0);
    return a;
}

mxArray* mxCreateSparseLogicalMatrix(mwSize m, mwSize n, mwSize nzmax) {
    return newSparse(mxLOGICAL_CLASS, m, n, nzmax, "mxCreateSparseLogicalMatrix");
}

mxArray* mxCreateString(const char* str) {
    if (str == nullptr) fault("mxCreateString", "null string");
    const std::u16string units = decodeUtf8(str);
    std::vector<mwSize> dims = {1, units.size()};
    if (units.empty()) dims = {0, 0};
    mxArray* a = newArray(mxCHAR_CLASS, dims, "mxCreateString");
    if (!units.empty()) std::memcpy(a->bytes.data(), units.data(), a->bytes.size());
    return a;
}

mxArray* mxCreateCellMatrix(mwSize m, mwSize n) {
    return newArray(mxCELL_CLASS, {m, n}, "mxCreateCellMatrix");
}

// ---------------------------------------------------------------- cells

// Takes ownership of value. Whatever stood in the slot before is neither
// destroyed nor owned any more: as in Matlab, the caller destroys it first.
void mxSetCell(mxArray* pa, mwIndex i, mxArray* value) {
    const char* where = "mxSetCell";
    mxArray* cell = use(pa, where);
    if (cell->classid != mxCELL_CLASS) fault(where, "array is not a cell");
    if (i >= cell->count) fault(where, "index out of range");
    if (value != nullptr && value == cell->cells[i]) return;
    if (value != nullptr) {
        use(value, where);
        if (value->parent != nullptr) fault(where, "value is already an element of a cell");
        for (const mxArray* up = cell; up != nullptr; up = up->parent) {
            if (up == value) fault(where, "a cell cannot contain itself");
        }
        value->parent = cell;
        value->slot = i;
    }
    if (cell->cells[i] != nullptr) cell->cells[i]->parent = nullptr;
    cell->cells[i] = value;
}

mxArray* mxGetCell(const mxArray* pa, mwIndex i) {
    const mxArray* cell = use(pa, "mxGetCell");
    if (cell->classid != mxCELL_CLASS) fault("mxGetCell", "array is not a cell");
    if (i >= cell->count) fault("mxGetCell", "index out of range");
    return cell->cells[i];
}

// ---------------------------------------------------------------- life cycle

mxArray* mxDuplicateArray(const mxArray* in) { return duplicateTree(use(in, "mxDuplicateArray")); }

// An element destroyed on its own leaves an empty slot in its cell.
void mxDestroyArray(mxArray* pa) {
    if (pa == nullptr) return;
    mxArray* a = use(pa, "mxDestroyArray");
    if (a->parent != nullptr) a->parent->cells[a->slot] = nullptr;
    destroyTree(a);
}

// ---------------------------------------------------------------- test hooks

namespace mexhost {

const std::string& output() { return state().output; }

std::string takeOutput() {
    std::string text;
    text.swap(state().output);
    return text;
}

void clearOutput() { state().output.clear(); }

void setEcho(bool on) { state().echo = on; }

bool runAtExit() {
    void (*f)() = state().exitFunction;
    state().exitFunction = nullptr;
    if (f == nullptr) return false;
    f();
    return true;
}

int liveArrays() { return static_cast<int>(state().live.size()); }

mxArray* makeArray(mxClassID classid, std::vector<mwSize> dims, std::vector<double> values) {
    if (classid == mxCELL_CLASS || elementSize(classid) == 0)
        throw std::invalid_argument("makeArray: class has no elements of its own");
    if (dims.size() < 2) throw std::invalid_argument("makeArray: at least two sizes are needed");
    size_t count = 1;
    for (mwSize n : dims) count *= n;
    if (!values.empty() && values.size() != count)
        throw std::invalid_argument("makeArray: " + std::to_string(values.size()) +
                                    " values for " + std::to_string(count) + " elements");
    mxArray* a = newArray(classid, normalizeDims(dims.size(), dims.data(), "makeArray"), "makeArray");
    for (size_t i = 0; i < values.size(); ++i) writeDouble(a, i, values[i]);
    return a;
}

mxArray* makeSparse(mxClassID classid, mwSize m, mwSize n, std::vector<double> values) {
    if (classid != mxDOUBLE_CLASS && classid != mxLOGICAL_CLASS)
        throw std::invalid_argument("makeSparse: only double and logical arrays are sparse");
    if (!values.empty() && values.size() != m * n)
        throw std::invalid_argument("makeSparse: " + std::to_string(values.size()) + " values for " +
                                    std::to_string(m * n) + " elements");
    size_t nonzeros = 0;
    for (double v : values) nonzeros += v != 0;
    mxArray* a = newSparse(classid, m, n, nonzeros, "makeSparse");
    size_t k = 0;
    for (size_t column = 0; column < n; ++column) {
        for (size_t row = 0; row < m && !values.empty(); ++row) {
            const double v = values[row + column * m];
            if (v == 0) continue;
            writeDouble(a, k, v);
            a->ir[k++] = row;
        }
        a->jc[column + 1] = k;
    }
    return a;
}

mxArray* makeComplex(mxClassID classid, std::vector<mwSize> dims, std::vector<double> real,
                     std::vector<double> imaginary) {
    if (!isNumericClass(classid)) throw std::invalid_argument("makeComplex: class is not numeric");
    if (imaginary.size() != real.size())
        throw std::invalid_argument("makeComplex: real and imaginary parts differ in count");
    mxArray* a = makeArray(classid, std::move(dims), std::move(real));
    mxArray parts;  // the imaginary parts, converted as the real ones are
    parts.classid = classid;
    parts.bytes.assign(a->bytes.size(), 0);
    for (size_t i = 0; i < imaginary.size(); ++i) writeDouble(&parts, i, imaginary[i]);
    a->complex = true;
    a->imag = std::move(parts.bytes);
    return a;
}

std::vector<double> values(const mxArray* a) {
    helperArgument(a, "values");
    if (a->classid == mxCELL_CLASS) throw std::invalid_argument("values: array is a cell");
    std::vector<double> out(a->count);
    for (size_t i = 0; i < a->count; ++i) out[i] = elementValue(a, i);
    return out;
}

std::vector<double> imaginaryValues(const mxArray* a) {
    helperArgument(a, "imaginaryValues");
    if (!a->complex || a->sparse) throw std::invalid_argument("imaginaryValues: array is not complex and full");
    mxArray parts;
    parts.classid = a->classid;
    parts.bytes = a->imag;
    std::vector<double> out(a->count);
    for (size_t i = 0; i < a->count; ++i) out[i] = readDouble(&parts, i);
    return out;
}

std::vector<mwSize> dims(const mxArray* a) { return helperArgument(a, "dims")->dims; }

std::string str(const mxArray* a) {
    helperArgument(a, "str");
    if (a->classid != mxCHAR_CLASS) throw std::invalid_argument("str: array is not char");
    return encodeAll(a);
}

}  // namespace mexhost
