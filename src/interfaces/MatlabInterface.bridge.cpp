// The bridge between Matlab arrays and the toolbox's datasets.
//
// Every transfer is a full copy: a dataset never points into a Matlab array
// and a Matlab array never aliases a dataset. The orders of dimensions differ
// and are fixed: a Matlab array of sizes s1 x s2 x s3 x s4 is the dataset with
// Z = s1, Y = s2, X = s3, T = s4, and A(z+1, y+1, x+1, t+1) is element
// (t, x, y, z); a 2D array s1 x s2 is the slice with Y = s1, X = s2. Matlab
// keeps z fastest, the dataset x fastest, so a copy is a transposition of
// each volume, done here in tiles that keep both sides in cache.
//
// Element classes and types: logical -> unsigned char (2D and 3D input only),
// double, single -> float, uint8 -> unsigned char, int16 -> short,
// uint16 -> unsigned short, int32 -> int. Output is always real; "uchar" data
// leave as uint8. Input is read only in full storage and only when it is real
// (FullArray): sparse arrays are expanded, complex ones refused.
#include "interfaces/MatlabInterface.h"

#include <algorithm>
#include <cstdint>
#include <climits>
#include <cmath>
#include <memory>
#include <vector>

#include "Dataset.visit.h"
#include "VOI.h"
#include "interfaces/MatlabInterface.args.h"
#include "util/Message.h"

namespace {

// ---- Element classes ----

// The array class of an element type, from the element table (Dataset.h),
// whose class ids must be this host's.
template <class T>
mxClassID classOf() {
    return static_cast<mxClassID>(ElementTraits<T>::classId);
}
static_assert(ElementTraits<double>::classId == mxDOUBLE_CLASS && ElementTraits<float>::classId == mxSINGLE_CLASS &&
                  ElementTraits<int>::classId == mxINT32_CLASS &&
                  ElementTraits<unsigned short>::classId == mxUINT16_CLASS &&
                  ElementTraits<short>::classId == mxINT16_CLASS &&
                  ElementTraits<unsigned char>::classId == mxUINT8_CLASS,
              "the element table's class ids are those of mex.h");

// Calls f(TypeTag<T>()) for the element type of a numeric class that datasets
// hold; false for every other class (logical included).
template <class F>
bool dispatchClass(mxClassID id, F&& f) {
    return firstElementType([&](auto tag) {
        if (id != classOf<typename decltype(tag)::type>()) return false;
        f(tag);
        return true;
    });
}

// Element i of a numeric or logical array as a double, by its class.
double elementAsDouble(const mxArray* a, size_t i) {
    const void* data = mxGetData(a);
    switch (mxGetClassID(a)) {
    case mxDOUBLE_CLASS: return static_cast<const double*>(data)[i];
    case mxSINGLE_CLASS: return static_cast<const float*>(data)[i];
    case mxLOGICAL_CLASS: return static_cast<const mxLogical*>(data)[i] ? 1.0 : 0.0;
    case mxINT8_CLASS: return static_cast<const signed char*>(data)[i];
    case mxUINT8_CLASS: return static_cast<const unsigned char*>(data)[i];
    case mxINT16_CLASS: return static_cast<const short*>(data)[i];
    case mxUINT16_CLASS: return static_cast<const unsigned short*>(data)[i];
    case mxINT32_CLASS: return static_cast<const int*>(data)[i];
    case mxUINT32_CLASS: return static_cast<const unsigned int*>(data)[i];
    case mxINT64_CLASS: return double(static_cast<const long long*>(data)[i]);
    case mxUINT64_CLASS: return double(static_cast<const unsigned long long*>(data)[i]);
    default: return 0.0;
    }
}

// Whether a dataset of elementSize bytes per element may be made from the
// array: its sizes are read in 64 bits, before they are cut to the dataset's
// unsigned sizes, and checked as any dataset's (the error names the array).
bool allowedArray(const mxArray* a, size_t elementSize) {
    const mwSize n = mxGetNumberOfDimensions(a);
    std::vector<uint64_t> sizes(mxGetDimensions(a), mxGetDimensions(a) + n);
    return Dataset::allowedSize(sizes.data(), sizes.size(), elementSize, "array");
}

// The element size of the dataset made from an array of this class (logical
// arrays become uchar; other classes are refused later).
size_t datasetElementSize(mxClassID id) {
    size_t size = 1;
    dispatchClass(id, [&](auto tag) { size = sizeof(typename decltype(tag)::type); });
    return size;
}

// Element (row, column) of a sparse array as a double: the stored nonzero of
// that row in the column, or 0. Rows within a column are searched in order.
double sparseElement(const mxArray* a, size_t row, size_t column) {
    const mwIndex* ir = mxGetIr(a);
    const mwIndex* jc = mxGetJc(a);
    for (size_t k = size_t(jc[column]); k < size_t(jc[column + 1]); ++k)
        if (size_t(ir[k]) == row) return elementAsDouble(a, k);
    return 0.0;
}

// The shape check of datasetFits for an array of 2 to 4 dimensions: the
// first three make the volume, the fourth counts the frames.
bool arrayFitsDataset(const mxArray* a) {
    const mwSize* dims = mxGetDimensions(a);
    const size_t n = mxGetNumberOfDimensions(a);
    double voxels = 1.0;
    for (size_t k = 0; k < std::min<size_t>(n, 3); ++k) voxels *= std::max(double(dims[k]), 1.0);
    return mxargs::datasetFits(n > 3 ? double(dims[3]) : 1.0, voxels);
}

// ---- Transposition of one volume ----

// Matlab order: z + Z*(y + Y*x). Dataset order: (z*Y + y)*X + x. A slice is
// the volume with Y = 1 and its Y in the place of Z.
//
// For each y the copy walks (x, z) tiles. Both strides are large powers of
// two in typical images (X*Y elements on the dataset side, Y*Z on Matlab's),
// so the rows of a tile fall into the same cache sets: tiles of 8 to 16 keep
// them resident, and ran about three times faster on a 128x128x64 volume than
// tiles of 32 or 64.
constexpr unsigned TILE = 16;

template <class To, class From>
void toDatasetOrder(To* dataset, const From* matlab, unsigned X, unsigned Y, unsigned Z) {
    const size_t plane = size_t(X) * Y;
    for (unsigned y = 0; y < Y; ++y)
        for (unsigned x0 = 0; x0 < X; x0 += TILE)
            for (unsigned z0 = 0; z0 < Z; z0 += TILE) {
                const unsigned x1 = std::min(X, x0 + TILE), z1 = std::min(Z, z0 + TILE);
                for (unsigned x = x0; x < x1; ++x) {
                    const From* in = matlab + size_t(Z) * (y + size_t(Y) * x);
                    To* out = dataset + size_t(y) * X + x;
                    for (unsigned z = z0; z < z1; ++z) out[z * plane] = static_cast<To>(in[z]);
                }
            }
}

template <class T>
void toMatlabOrder(T* matlab, const T* dataset, unsigned X, unsigned Y, unsigned Z) {
    const size_t plane = size_t(X) * Y;
    for (unsigned y = 0; y < Y; ++y)
        for (unsigned x0 = 0; x0 < X; x0 += TILE)
            for (unsigned z0 = 0; z0 < Z; z0 += TILE) {
                const unsigned x1 = std::min(X, x0 + TILE), z1 = std::min(Z, z0 + TILE);
                for (unsigned x = x0; x < x1; ++x) {
                    T* out = matlab + size_t(Z) * (y + size_t(Y) * x);
                    const T* in = dataset + size_t(y) * X + x;
                    for (unsigned z = z0; z < z1; ++z) out[z] = in[z * plane];
                }
            }
}

// A volume whose own element count differs from the grid it is copied on
// (possible after a resize that kept the count of another grid) is copied
// element by element as far as its memory goes.
template <class T>
bool fits(const Dataset3D<T>& volume, unsigned X, unsigned Y, unsigned Z) {
    return volume.getVolumeSize() == X * Y * Z;
}

}  // namespace

// ---- Array to dataset and back, one template per class and direction ----
//
// The dataset has the sizes of the array already (see createDataset2D/3D/4D
// and createDataArray2D/3D/4D); values are copied without conversion.

template <class T>
void copy(Dataset2D<T>* d, const mxArray* a) {
    const T* in = static_cast<const T*>(mxGetData(a));
    if (in) toDatasetOrder(d->getData(), in, d->getDimensionX(), 1, d->getDimensionY());
}

template <class T>
void copy(Dataset3D<T>* d, const mxArray* a) {
    const T* in = static_cast<const T*>(mxGetData(a));
    if (in) toDatasetOrder(d->getData(), in, d->getDimensionX(), d->getDimensionY(), d->getDimensionZ());
}

template <class T>
void copy(Dataset4D<T>* d, const mxArray* a) {
    const T* in = static_cast<const T*>(mxGetData(a));
    if (!in) return;
    const unsigned X = d->getDimensionX(), Y = d->getDimensionY(), Z = d->getDimensionZ();
    for (unsigned t = 0; t < d->getDimensionT(); ++t)
        toDatasetOrder((*d)(t).getData(), in + size_t(t) * X * Y * Z, X, Y, Z);
}

template <class T>
void copy(mxArray* a, Dataset2D<T>* d) {
    T* out = static_cast<T*>(mxGetData(a));
    if (out) toMatlabOrder(out, d->getData(), d->getDimensionX(), 1, d->getDimensionY());
}

template <class T>
void copy(mxArray* a, Dataset3D<T>* d) {
    T* out = static_cast<T*>(mxGetData(a));
    const unsigned X = d->getDimensionX(), Y = d->getDimensionY(), Z = d->getDimensionZ();
    if (out) toMatlabOrder(out, d->getData(), X, Y, Z);
}

template <class T>
void copy(mxArray* a, Dataset4D<T>* d) {
    T* out = static_cast<T*>(mxGetData(a));
    if (!out) return;
    const unsigned X = d->getDimensionX(), Y = d->getDimensionY(), Z = d->getDimensionZ();
    for (unsigned t = 0; t < d->getDimensionT(); ++t) {
        T* frame = out + size_t(t) * X * Y * Z;
        const Dataset3D<T>& volume = (*d)(t);
        if (fits(volume, X, Y, Z)) {
            toMatlabOrder(frame, volume.getData(), X, Y, Z);
            continue;
        }
        const unsigned n = volume.getVolumeSize();
        size_t k = 0;
        for (unsigned x = 0; x < X; ++x)
            for (unsigned y = 0; y < Y; ++y)
                for (unsigned z = 0; z < Z; ++z, ++k) {
                    const unsigned i = (z * Y + y) * X + x;
                    frame[k] = i < n ? volume(i) : T(0);
                }
    }
}

// ---- Reading arguments: real arrays in full storage ----

bool mxargs::isReal(const mxArray* a) {
    if (!mxIsComplex(a)) return true;
    MESSAGE(1, "KINETRA: complex arrays are not supported, pass the real part\n");
    return false;
}

double mxargs::scalar(const mxArray* a) {
    if (mxIsSparse(a)) return sparseElement(a, 0, 0);
    return mxGetScalar(a);
}

bool mxargs::count(double v, double max, unsigned* n) {
    if (!(v >= 0.0 && v <= max && v == std::floor(v))) {
        MESSAGE(1, "KINETRA: invalid size %g, expected a whole number from 0 to %.0f\n", v, max);
        return false;
    }
    *n = unsigned(v);
    return true;
}

bool mxargs::datasetFits(double frames, double voxels) {
    frames = std::max(frames, 1.0);
    voxels = std::max(voxels, 1.0);
    if (frames <= kMaxSamples && voxels <= double(INT_MAX)) return true;
    MESSAGE(1, "KINETRA: %.0f frames of %.0f voxels are too many for a dataset\n", frames, voxels);
    return false;
}

mxargs::FullArray::FullArray(const mxArray* a) {
    if (a == nullptr || !isReal(a)) return;
    if (!mxIsSparse(a)) {
        full_ = a;
        return;
    }
    // Sparse arrays are two-dimensional, of class double or logical.
    const size_t m = mxGetDimensions(a)[0], n = mxGetDimensions(a)[1];
    if (double(m) * double(n) > kMaxElements) {
        MESSAGE(1, "KINETRA: sparse array of %.0fx%.0f is too large to convert to full\n", double(m), double(n));
        return;
    }
    const bool logical = mxGetClassID(a) == mxLOGICAL_CLASS;
    owned_ = logical ? mxCreateLogicalMatrix(m, n) : mxCreateDoubleMatrix(m, n, mxREAL);
    const mwIndex* ir = mxGetIr(a);
    const mwIndex* jc = mxGetJc(a);
    void* out = mxGetData(owned_);
    for (size_t column = 0; column < n; ++column)
        for (size_t k = size_t(jc[column]); k < size_t(jc[column + 1]); ++k) {
            const size_t i = size_t(ir[k]) + column * m;
            if (logical)
                static_cast<mxLogical*>(out)[i] = elementAsDouble(a, k) != 0.0;
            else
                static_cast<double*>(out)[i] = elementAsDouble(a, k);
        }
    full_ = owned_;
}

mxargs::FullArray::~FullArray() {
    if (owned_ != nullptr) mxDestroyArray(owned_);
}

// ---- Shapes ----

bool MatlabInterface::isScalar(const mxArray* a) {
    return mxGetNumberOfDimensions(a) == 2 && mxGetDimensions(a)[0] == 1 && mxGetDimensions(a)[1] == 1;
}

bool MatlabInterface::is2D(const mxArray* a) { return mxGetNumberOfDimensions(a) == 2; }
bool MatlabInterface::is3D(const mxArray* a) { return mxGetNumberOfDimensions(a) == 3; }
bool MatlabInterface::is4D(const mxArray* a) { return mxGetNumberOfDimensions(a) == 4; }

bool MatlabInterface::isVOI(const mxArray* a) {
    return mxGetNumberOfDimensions(a) == 3 && mxGetClassID(a) == mxLOGICAL_CLASS;
}

// A 1x3 or 3x1 numeric array; each value is converted from its class and
// truncated toward zero. Coordinates are taken as given, counted from 0.
bool MatlabInterface::getPoint(const mxArray* a, int* x, int* y, int* z) {
    if (!mxIsNumeric(a) || mxGetNumberOfDimensions(a) != 2) return false;
    const mwSize m = mxGetDimensions(a)[0], n = mxGetDimensions(a)[1];
    if ((m != 1 && n != 1) || (m != 3 && n != 3)) return false;
    const mxargs::FullArray full(a);
    if (!full) return false;
    *x = fromDouble<int>(elementAsDouble(full.get(), 0));
    *y = fromDouble<int>(elementAsDouble(full.get(), 1));
    *z = fromDouble<int>(elementAsDouble(full.get(), 2));
    return true;
}

// A numeric row or column (a 0x1 array gives an empty vector).
bool MatlabInterface::getVector(const mxArray* a, std::vector<double>& v) {
    if (!mxIsNumeric(a) || mxGetNumberOfDimensions(a) != 2) return false;
    const mwSize m = mxGetDimensions(a)[0], n = mxGetDimensions(a)[1];
    if (m != 1 && n != 1) return false;
    const mxargs::FullArray full(a);
    if (!full) return false;
    v.resize(m * n);  // the longer size, or 0 for an empty row or column
    for (size_t i = 0; i < v.size(); ++i) v[i] = elementAsDouble(full.get(), i);
    return true;
}

// ---- Arrays to datasets ----

Dataset* MatlabInterface::createDataset(int nrhs, const mxArray** prhs, int index, const std::string& name,
                                        bool withTime) {
    if (index < 0 || index >= nrhs || !prhs[index]) return nullptr;
    const mxArray* a = prhs[index];
    const mwSize dims = mxGetNumberOfDimensions(a);
    Dataset* data = nullptr;
    switch (dims) {
    case 2:
        data = createDataset2D(a);
        break;
    case 3:
        data = createDataset3D(a);
        break;
    case 4:
        data = createDataset4D(a);
        break;
    default:
        MESSAGE(1, "KINETRA: %dD data not supported\n", int(dims));
        return nullptr;
    }
    if (!data) return nullptr;  // the maker has said why
    data->setName(name);
    if (dims != 4 || !withTime || nrhs <= index + 1) return data;

    // The T-by-2 time array: frame starts in column 1, lengths in column 2.
    const mxargs::FullArray full(prhs[index + 1]);
    const mxArray* times = full.get();
    const int frames = int(mxGetDimensions(a)[3]);
    if (times == nullptr) {  // complex, or too large to expand: said why
        delete data;
        return nullptr;
    }
    if (mxGetClassID(times) != mxDOUBLE_CLASS) {
        MESSAGE(1, "KINETRA: time array should be of type double\n");
        delete data;
        return nullptr;
    }
    if (mxGetNumberOfDimensions(times) != 2) {
        MESSAGE(1, "KINETRA: time array should be a %dx2 matrix\n", frames);
        delete data;
        return nullptr;
    }
    const int rows = int(mxGetDimensions(times)[0]), columns = int(mxGetDimensions(times)[1]);
    if (rows != frames || columns != 2) {
        MESSAGE(1, "KINETRA: invalid time array size %dx%d, should be %dx2\n", rows, columns, frames);
        delete data;
        return nullptr;
    }
    const double* table = mxGetPr(times);
    for (int i = 0; i < frames; ++i) {
        data->setTime(unsigned(i), table[i]);
        data->setFrameLength(unsigned(i), table[i + frames]);
    }
    return data;
}

Dataset* MatlabInterface::createDataset2D(const mxArray* array) {
    const mxargs::FullArray full(array);
    if (!full || !arrayFitsDataset(full.get())) return nullptr;
    const mxArray* a = full.get();
    if (!allowedArray(a, datasetElementSize(mxGetClassID(a)))) return nullptr;
    const unsigned Y = unsigned(mxGetDimensions(a)[0]), X = unsigned(mxGetDimensions(a)[1]);
    Dataset* result = nullptr;
    if (mxGetClassID(a) == mxLOGICAL_CLASS) {
        auto* d = new Dataset2D<unsigned char>(X, Y, 0);
        const auto* in = static_cast<const mxLogical*>(mxGetData(a));
        if (in) toDatasetOrder(d->getData(), in, X, 1, Y);
        return d;
    }
    if (!dispatchClass(mxGetClassID(a), [&](auto tag) {
            using T = typename decltype(tag)::type;
            auto* d = new Dataset2D<T>(X, Y, T(0));
            copy(d, a);
            result = d;
        }))
        MESSAGE(1, "KINETRA: unsupported 2D data type");
    return result;
}

Dataset* MatlabInterface::createDataset3D(const mxArray* array) {
    const mxargs::FullArray full(array);
    if (!full || !arrayFitsDataset(full.get())) return nullptr;
    const mxArray* a = full.get();
    if (!allowedArray(a, datasetElementSize(mxGetClassID(a)))) return nullptr;
    const mwSize* dims = mxGetDimensions(a);
    const unsigned Z = unsigned(dims[0]), Y = unsigned(dims[1]), X = unsigned(dims[2]);
    Dataset* result = nullptr;
    if (mxGetClassID(a) == mxLOGICAL_CLASS) {
        auto* d = new Dataset3D<unsigned char>(X, Y, Z, 0);
        const auto* in = static_cast<const mxLogical*>(mxGetData(a));
        if (in) toDatasetOrder(d->getData(), in, X, Y, Z);
        return d;
    }
    if (!dispatchClass(mxGetClassID(a), [&](auto tag) {
            using T = typename decltype(tag)::type;
            auto* d = new Dataset3D<T>(X, Y, Z, T(0));
            copy(d, a);
            result = d;
        }))
        MESSAGE(1, "KINETRA: unsupported 3D data type");
    return result;
}

Dataset* MatlabInterface::createDataset4D(const mxArray* array) {
    const mxargs::FullArray full(array);
    if (!full || !arrayFitsDataset(full.get())) return nullptr;
    const mxArray* a = full.get();
    if (!allowedArray(a, datasetElementSize(mxGetClassID(a)))) return nullptr;
    const mwSize* dims = mxGetDimensions(a);
    const unsigned Z = unsigned(dims[0]), Y = unsigned(dims[1]), X = unsigned(dims[2]), T_ = unsigned(dims[3]);
    Dataset* result = nullptr;
    if (!dispatchClass(mxGetClassID(a), [&](auto tag) {
            using T = typename decltype(tag)::type;
            auto* d = new Dataset4D<T>(T_, X, Y, Z, T(0));
            copy(d, a);
            result = d;
        }))
        MESSAGE(1, "KINETRA: unsupported 4D data type");
    return result;
}

// Always a VOI, also for a 3D logical array, so that callers may use the
// result as a VOI (numActive, statistics) whichever branch made it.
Dataset3D<unsigned char>* MatlabInterface::createVOI(const mxArray* array) {
    if (mxGetClassID(array) != mxLOGICAL_CLASS) {
        MESSAGE(1, "KINETRA: voi must be of type logical\n");
        return nullptr;
    }
    const mxargs::FullArray full(array);  // logical arrays are never complex
    if (!full || !arrayFitsDataset(full.get())) return nullptr;
    const mxArray* a = full.get();
    const auto* in = static_cast<const mxLogical*>(mxGetData(a));
    if (isScalar(a)) return new VOI(1, 1, 1, static_cast<unsigned char>(in[0]));
    if (!is3D(a)) {
        MESSAGE(1, "KINETRA: voi is not 3D\n");
        return nullptr;
    }
    if (!allowedArray(a, 1)) return nullptr;
    const mwSize* dims = mxGetDimensions(a);
    const unsigned Z = unsigned(dims[0]), Y = unsigned(dims[1]), X = unsigned(dims[2]);
    VOI* voi = new VOI(X, Y, Z, 0);
    if (in) toDatasetOrder(voi->getData(), in, X, Y, Z);
    return voi;
}

// ---- Datasets to arrays ----

namespace {

// A new array of the dataset's class and of the given sizes (Z, Y, X, T
// order), filled by copy<T> from the dataset of class Data<T>. The dimension
// count is checked here too, so that a dataset of another class is never
// read as this one.
template <template <class> class Data>
mxArray* createArray(const Dataset* d, unsigned dimensions, std::vector<mwSize> sizes) {
    if (!d) return nullptr;
    if (d->getNumDimensions() != dimensions) {
        MESSAGE(1, "KINETRA: %uD data expected, data '%s' is %uD\n", dimensions, d->getName().c_str(),
                d->getNumDimensions());
        return nullptr;
    }
    mxArray* array = nullptr;
    if (!dispatchType(d->getType(), [&](auto tag) {
            using T = typename decltype(tag)::type;
            array = mxCreateNumericArray(sizes.size(), sizes.data(), classOf<T>(), mxREAL);
            copy(array, const_cast<Data<T>*>(datasetAs<Data<T>>(*d)));
        }))
        MESSAGE(1, "KINETRA: unsupported data format '%s'", d->getType().c_str());
    return array;
}

}  // namespace

mxArray* MatlabInterface::createDataArray1D(const std::vector<double>& v) {
    mxArray* array = mxCreateDoubleMatrix(v.size(), 1, mxREAL);
    if (!v.empty()) std::copy(v.begin(), v.end(), mxGetPr(array));
    return array;
}

mxArray* MatlabInterface::createDataArray2D(const Dataset* d) {
    if (!d) return nullptr;
    return createArray<Dataset2D>(d, 2, {d->getDimensionY(), d->getDimensionX()});
}

mxArray* MatlabInterface::createDataArray3D(const Dataset* d) {
    if (!d) return nullptr;
    return createArray<Dataset3D>(d, 3, {d->getDimensionZ(), d->getDimensionY(), d->getDimensionX()});
}

mxArray* MatlabInterface::createDataArray4D(const Dataset* d) {
    if (!d) return nullptr;
    return createArray<Dataset4D>(
        d, 4, {d->getDimensionZ(), d->getDimensionY(), d->getDimensionX(), d->getDimensionT()});
}

// T-by-2: frame starts, frame lengths. Not a series: 0-by-2.
mxArray* MatlabInterface::createTimeArray(const Dataset* d) {
    const unsigned frames = d ? d->getDimensionT() : 0;
    mxArray* array = mxCreateDoubleMatrix(frames, 2, mxREAL);
    double* table = mxGetPr(array);
    for (unsigned i = 0; i < frames; ++i) {
        table[i] = d->getTime(i);
        table[i + frames] = d->getFrameLength(i);
    }
    return array;
}

mxArray* MatlabInterface::createTacArray(const Dataset* d) {
    const bool series = d != nullptr && d->getNumDimensions() == 4;
    const unsigned T = series ? d->getDimensionT() : 0, columns = series ? d->getDimensionZ() + 1 : 1;
    mxArray* table = mxCreateDoubleMatrix(static_cast<mwSize>(T), static_cast<mwSize>(columns), mxREAL);
    double* values = mxGetPr(table);
    for (unsigned t = 0; t < T; ++t) {
        values[t] = d->getTime(t);
        for (unsigned j = 0; j + 1 < columns; ++j) values[t + size_t(j + 1) * T] = d->getValue4D(t, 0, 0, j);
    }
    return table;
}

mxArray* MatlabInterface::createMaskArray(const Dataset* d) {
    const bool volume = d != nullptr && d->getNumDimensions() == 3;
    const unsigned X = volume ? d->getDimensionX() : 0, Y = volume ? d->getDimensionY() : 0,
                   Z = volume ? d->getDimensionZ() : 0;
    const mwSize dims[3] = {static_cast<mwSize>(Z), static_cast<mwSize>(Y), static_cast<mwSize>(X)};
    mxArray* mask = mxCreateLogicalArray(3, dims);
    // Logical elements are one byte in every host. The running index goes
    // with z fastest, then y, then x: A(z+1, y+1, x+1) is voxel (x, y, z).
    unsigned char* bytes = static_cast<unsigned char*>(mxGetData(mask));
    size_t i = 0;
    for (unsigned x = 0; x < X; ++x)
        for (unsigned y = 0; y < Y; ++y)
            for (unsigned z = 0; z < Z; ++z) bytes[i++] = d->getValue3D(x, y, z) != 0 ? 1 : 0;
    return mask;
}

// The unit cell: {name; type; factor}.
void MatlabInterface::addOutputUnit(mxArray** slot, const Unit* unit) {
    if (!slot || !unit) return;
    mxArray* cell = mxCreateCellMatrix(3, 1);
    mxSetCell(cell, 0, mxCreateString(unit->getName().c_str()));
    mxSetCell(cell, 1, mxCreateString(unit->getTypeString().c_str()));
    mxSetCell(cell, 2, mxCreateDoubleScalar(unit->getFactor()));
    *slot = cell;
}

#define KINETRA_INSTANTIATE_COPY(T)                            \
    template void copy<T>(Dataset2D<T>*, const mxArray*);      \
    template void copy<T>(Dataset3D<T>*, const mxArray*);      \
    template void copy<T>(Dataset4D<T>*, const mxArray*);      \
    template void copy<T>(mxArray*, Dataset2D<T>*);            \
    template void copy<T>(mxArray*, Dataset3D<T>*);            \
    template void copy<T>(mxArray*, Dataset4D<T>*);
KINETRA_INSTANTIATE_COPY(double)
KINETRA_INSTANTIATE_COPY(float)
KINETRA_INSTANTIATE_COPY(int)
KINETRA_INSTANTIATE_COPY(unsigned short)
KINETRA_INSTANTIATE_COPY(short)
KINETRA_INSTANTIATE_COPY(unsigned char)
