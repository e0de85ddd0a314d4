#include "Dataset3D.h"

#include <algorithm>
#include <cstdint>
#include <fstream>

#include "Dataset.elements.h"
#include "util/Message.h"
#include "util/StringUtil.h"

template <class T>
Dataset3D<T>::Dataset3D(unsigned x, unsigned y, unsigned z, T value) : Dataset("", Unit("")) {
    dimension_ = 3;
    data_ = new T[1]();
    resize(x, y, z);
    if (value != T(0)) *this = value;  // resize has zero-filled already
    setType(value);
}

template <class T>
Dataset3D<T>::Dataset3D(const Dataset3D& other)
    : Dataset(other),
      elements_(other.elements_),
      X_(other.X_),
      Y_(other.Y_),
      Z_(other.Z_),
      pixelSizeX_(other.pixelSizeX_),
      pixelSizeY_(other.pixelSizeY_),
      pixelSizeZ_(other.pixelSizeZ_),
      originX_(other.originX_),
      originY_(other.originY_),
      originZ_(other.originZ_) {
    data_ = new T[std::max(elements_, 1u)]();
    std::copy(other.data_, other.data_ + elements_, data_);
}

template <class T>
Dataset3D<T>& Dataset3D<T>::operator=(const Dataset3D& other) {
    if (this == &other) return *this;
    resizeExactly(other.X_, other.Y_, other.Z_);
    std::copy(other.data_, other.data_ + std::min(elements_, other.elements_), data_);
    unit_ = other.unit_;
    spaceUnit_ = other.spaceUnit_;
    setPixelSize(other.getPixelSize());
    setOrigin(other.getOrigin());
    return *this;
}

template <class T>
Dataset3D<T>& Dataset3D<T>::operator=(const T& value) {
    std::fill(data_, data_ + elements_, value);
    return *this;
}

template <class T>
Dataset3D<T>::~Dataset3D() {
    delete[] data_;
}

// ---- Operations without meaning for a volume: reported, nothing changes ----

template <class T>
void Dataset3D<T>::setTime(unsigned, double) {
    ERROR("setTime on 3D dataset '%s'", name_.c_str());
}

template <class T>
void Dataset3D<T>::setFrameLength(unsigned, double) {
    ERROR("setFrameLength on 3D dataset '%s'", name_.c_str());
}

template <class T>
void Dataset3D<T>::setTimeUnit(const Unit&) {
    ERROR("setTimeUnit on 3D dataset '%s'", name_.c_str());
}

template <class T>
double Dataset3D<T>::getTime(unsigned) const {
    ERROR("getTime on 3D dataset '%s'", name_.c_str());
    return 0;
}

template <class T>
double Dataset3D<T>::getFrameLength(unsigned) const {
    ERROR("getFrameLength on 3D dataset '%s'", name_.c_str());
    return 0;
}

template <class T>
const Unit& Dataset3D<T>::getTimeUnit() const {
    ERROR("getTimeUnit on 3D dataset '%s'", name_.c_str());
    return unit_;
}

template <class T>
void Dataset3D<T>::setValue2D(unsigned, unsigned, double) {
    ERROR("setValue2D on 3D dataset '%s'", name_.c_str());
}

template <class T>
double Dataset3D<T>::getValue2D(unsigned, unsigned) const {
    ERROR("getValue2D on 3D dataset '%s'", name_.c_str());
    return 0;
}

template <class T>
unsigned Dataset3D<T>::resize(unsigned, unsigned) {
    ERROR("2D resize on 3D dataset '%s'", name_.c_str());
    return 0;
}

template <class T>
unsigned Dataset3D<T>::resize(unsigned, unsigned, unsigned, unsigned) {
    ERROR("4D resize on 3D dataset '%s'", name_.c_str());
    return 0;
}

// ---- Values and units ----

// new value = value * factor(old) / factor(new) + 0.5; the half rounds
// integers to the nearest (for non-negative values) and is added for every
// element type. Without a unit the values stay and the unit is just set.
template <class T>
void Dataset3D<T>::changeUnit(const Unit& unit) {
    if (!unit_.getName().empty()) {
        const double ratio = unit_.getFactor() / unit.getFactor();
        for (unsigned i = 0; i < elements_; ++i) data_[i] = fromDouble<T>(data_[i] * ratio + 0.5);
    }
    unit_ = unit;
}

template <class T>
void Dataset3D<T>::setValue(double value) {
    *this = fromDouble<T>(value);
}

template <class T>
void Dataset3D<T>::setValue3D(unsigned x, unsigned y, unsigned z, double value) {
    data_[index(x, y, z)] = fromDouble<T>(value);
}

template <class T>
void Dataset3D<T>::setValue4D(unsigned, unsigned x, unsigned y, unsigned z, double value) {
    data_[index(x, y, z)] = fromDouble<T>(value);
}

template <class T>
double Dataset3D<T>::getValue4D(unsigned, unsigned x, unsigned y, unsigned z) const {
    return double(data_[index(x, y, z)]);
}

template <class T>
void Dataset3D<T>::setPixelSize(const std::vector<double>& size) {
    if (size.size() != 3) {
        ERROR("setPixelSize (3D) invalid argument");
        return;
    }
    pixelSizeX_ = float(size[0]);
    pixelSizeY_ = float(size[1]);
    pixelSizeZ_ = float(size[2]);
}

template <class T>
void Dataset3D<T>::setOrigin(const std::vector<double>& origin) {
    if (origin.size() != 3) {
        ERROR("setOrigin (3D) invalid argument");
        return;
    }
    originX_ = float(origin[0]);
    originY_ = float(origin[1]);
    originZ_ = float(origin[2]);
}

template <class T>
std::vector<double> Dataset3D<T>::getPixelSize() const {
    return {pixelSizeX_, pixelSizeY_, pixelSizeZ_};
}

template <class T>
std::vector<double> Dataset3D<T>::getOrigin() const {
    return {originX_, originY_, originZ_};
}

template <class T>
void Dataset3D<T>::setData(const T* data) {
    std::copy(data, data + elements_, data_);
}

// ---- Size ----

// The dimensions change only with the element count: 2x3x4 resized to 4x3x2
// stays 2x3x4. Otherwise the first min(old, new) elements are kept as a flat
// run and the rest is 0; geometry is not preserved. The array always has at
// least one element, so that element 0 of an empty volume can be read.
template <class T>
unsigned Dataset3D<T>::resize(unsigned x, unsigned y, unsigned z) {
    if (!allowedSize({x, y, z}, sizeof(T), name_)) return elements_;  // refused: nothing changes
    const unsigned newCount = x * y * z;
    if (newCount == X_ * Y_ * Z_) return elements_ = newCount;
    T* data = new T[std::max(newCount, 1u)]();
    std::copy(data_, data_ + std::min(elements_, newCount), data);
    delete[] data_;
    data_ = data;
    X_ = x;
    Y_ = y;
    Z_ = z;
    return elements_ = newCount;
}

template <class T>
unsigned Dataset3D<T>::resizeExactly(unsigned x, unsigned y, unsigned z) {
    // A refused size keeps the old grid with its own storage.
    if (resize(x, y, z) != static_cast<unsigned long long>(x) * y * z) return elements_;
    X_ = x;
    Y_ = y;
    Z_ = z;
    return elements_;
}

template <class T>
void Dataset3D<T>::clear() {
    delete[] data_;
    data_ = new T[1]();
    elements_ = 0;
    X_ = Y_ = Z_ = 0;
    pixelSizeX_ = pixelSizeY_ = pixelSizeZ_ = 0;
    originX_ = originY_ = originZ_ = 0;
}

template <class T>
T Dataset3D<T>::min() const {
    if (elements_ == 0) return T(0);
    return *std::min_element(data_, data_ + elements_);
}

template <class T>
T Dataset3D<T>::max() const {
    if (elements_ == 0) return T(0);
    return *std::max_element(data_, data_ + elements_);
}

// ---- Slices ----

template <class T>
Dataset2D<T>* Dataset3D<T>::getSlice(unsigned z) const {
    Dataset2D<T>* slice = new Dataset2D<T>(X_, Y_, T(0));
    if (elements_ == 0) return slice;
    for (unsigned j = 0; j < Y_; ++j)
        for (unsigned i = 0; i < X_; ++i) (*slice)(i, j) = data_[index(i, j, z)];
    return slice;
}

template <class T>
void Dataset3D<T>::setSlice(unsigned z, const Dataset2D<T>* slice) {
    if (!slice) return;
    const unsigned sx = slice->getDimensionX(), sy = slice->getDimensionY();
    for (unsigned i = 0; i < X_ && i < sx; ++i)
        for (unsigned j = 0; j < Y_ && j < sy; ++j) {
            // element (x, y, z) = (z, i, j)
            const unsigned at = index(z, i, j);
            if (at < elements_) data_[at] = (*slice)(i, j);
        }
}

// ---- Arithmetic ----

template <class T>
Dataset& Dataset3D<T>::operator+=(double value) {
    for (unsigned i = 0; i < elements_; ++i) data_[i] = fromDouble<T>(data_[i] + value);
    return *this;
}

template <class T>
Dataset& Dataset3D<T>::operator-=(double value) {
    for (unsigned i = 0; i < elements_; ++i) data_[i] = fromDouble<T>(data_[i] - value);
    return *this;
}

template <class T>
Dataset& Dataset3D<T>::operator*=(double value) {
    for (unsigned i = 0; i < elements_; ++i) data_[i] = fromDouble<T>(data_[i] * value);
    return *this;
}

template <class T>
Dataset& Dataset3D<T>::operator/=(double value) {
    for (unsigned i = 0; i < elements_; ++i) data_[i] = fromDouble<T>(data_[i] / value);
    return *this;
}

// Linear map of [imin, imax] onto [omin, omax]: v' = v*f + o with
// f = (omax - omin) / (imax - imin) and o = omin - imin*f. A constant volume
// with imin = imax = 0 divides by zero; nothing guards this.
template <class T>
void Dataset3D<T>::scale(double omin, double omax, double imin, double imax) {
    if (!(imin < imax)) {
        imin = double(min());
        imax = double(max());
    }
    const double f = (omax - omin) / (imax - imin);
    const double o = omin - imin * f;
    *this *= f;
    *this += o;
}

namespace {

// left[i] = op(left[i], right[i]) over the left volume. A right volume of one
// element is a scalar; a larger or smaller one is read as far as it goes.
template <class T, class Op>
void combine(T* left, unsigned nLeft, const T* right, unsigned nRight, Op op) {
    if (nRight <= 1) {
        const T r = right[0];
        for (unsigned i = 0; i < nLeft; ++i) left[i] = op(left[i], r);
        return;
    }
    const unsigned n = std::min(nLeft, nRight);
    for (unsigned i = 0; i < n; ++i) left[i] = op(left[i], right[i]);
}

}  // namespace

#define KINETRA_VOLUME_OPERATOR(OP, FUNCTOR)                                          \
    template <class T>                                                                \
    Dataset3D<T>& Dataset3D<T>::operator OP(const Dataset3D& other) {                 \
        if (X_ != other.X_ || Y_ != other.Y_ || Z_ != other.Z_) ERROR("invalid dimensions"); \
        combine(data_, elements_, other.data_, other.elements_, elements::FUNCTOR());   \
        return *this;                                                                 \
    }
KINETRA_VOLUME_OPERATOR(+=, Add)
KINETRA_VOLUME_OPERATOR(-=, Subtract)
KINETRA_VOLUME_OPERATOR(*=, Multiply)
KINETRA_VOLUME_OPERATOR(/=, Divide)
#undef KINETRA_VOLUME_OPERATOR

template <class T>
Dataset* Dataset3D<T>::clone() const {
    return new Dataset3D<T>(*this);
}

template <class T>
Dataset* Dataset3D<T>::cloneEmpty() const {
    return new Dataset3D<T>(X_, Y_, Z_, T(0));
}

// ---- Raw streams ----

template <class T>
bool Dataset3D<T>::read(const std::string& fileName) {
    std::ifstream in(fileName.c_str(), std::ios::binary);
    return in ? read(in) : false;
}

template <class T>
bool Dataset3D<T>::read(std::istream& in) {
    uint32_t x = 0, y = 0, z = 0;
    in.read(reinterpret_cast<char*>(&x), 4);
    in.read(reinterpret_cast<char*>(&y), 4);
    in.read(reinterpret_cast<char*>(&z), 4);
    if (!in || !allowedSize({x, y, z}, sizeof(T), name_)) return false;
    resizeExactly(x, y, z);
    in.read(reinterpret_cast<char*>(data_), std::streamsize(size_t(elements_) * sizeof(T)));
    return bool(in);
}

template <class T>
bool Dataset3D<T>::write(const std::string& fileName) {
    std::ofstream out(fileName.c_str(), std::ios::binary);
    return out ? write(out) : false;
}

// Writes the elements only, so what it writes cannot be read back by read().
template <class T>
bool Dataset3D<T>::write(std::ostream& out) {
    out.write(reinterpret_cast<const char*>(data_), std::streamsize(size_t(elements_) * sizeof(T)));
    return bool(out);
}

// ---- PGM pictures ----

// One picture per plane: "out/a.pgm" gives out/a_000.pgm, out/a_001.pgm, ...
template <class T>
void Dataset3D<T>::writeImages(const std::string& name) {
    std::string stem;
    for (char c : dirname(name) + "/" + basename(name, false)) stem += c == '%' ? "%%" : std::string(1, c);
    stem += "_%03u";
    for (unsigned z = 0; z < Z_; ++z) {
        Dataset2D<T>* slice = getSlice(z);
        slice->writeImage(stringPrintf(1024, stem.c_str(), z));
        delete slice;
    }
}

// ---- Reports ----

template <class T>
void Dataset3D<T>::info(std::ostream& out) const {
    out << "Dataset3D: " << name_ << " (" << type_ << ")\n";
    out << "  Dimension   : " << Z_ << "x" << Y_ << "x" << X_ << " (ZxYxX)\n";
    out << "  Size[Origin]: "
        << stringPrintf(1024, "%.2fx%.2fx%.2f [%.2f,%.2f,%.2f]%s\n", pixelSizeZ_, pixelSizeY_, pixelSizeX_,
                        originZ_, originY_, originX_, spaceUnit_.getName().c_str());
    out << "  Unit        : " << unit_;
    out << "  MemorySize  : " << getSize() << " \n";
    out << "  Min         : " << +min() << " \n";
    out << "  Max         : " << +max() << " \n";
}

// One value alone is written in the head line; a larger volume is listed
// plane by plane only at verbosity above 1.
template <class T>
std::ostream& operator<<(std::ostream& out, const Dataset3D<T>& data) {
    const unsigned X = data.getDimensionX(), Y = data.getDimensionY(), Z = data.getDimensionZ();
    out << "Dataset3D('" << data.getName() << "'," << X << "x" << Y << "x" << Z << ")";
    if (data.getVolumeSize() == 1) {
        out << " = " << num2string(data(0u)) << " \n";
        return out;
    }
    if (_MessageHelper::verbosity_ <= 1) return out;
    out << " \n";
    for (unsigned z = 0; z < Z; ++z) {
        out << "# z=" << z << " \n";
        for (unsigned y = 0; y < Y; ++y) {
            for (unsigned x = 0; x < X; ++x) out << " " << num2string(data(x, y, z));
            out << " \n";
        }
        out << " \n";
    }
    return out;
}

#define KINETRA_INSTANTIATE_3D(T) \
    template class Dataset3D<T>;  \
    template std::ostream& operator<<(std::ostream&, const Dataset3D<T>&);
KINETRA_INSTANTIATE_3D(double)
KINETRA_INSTANTIATE_3D(float)
KINETRA_INSTANTIATE_3D(int)
KINETRA_INSTANTIATE_3D(unsigned short)
KINETRA_INSTANTIATE_3D(short)
KINETRA_INSTANTIATE_3D(unsigned char)
