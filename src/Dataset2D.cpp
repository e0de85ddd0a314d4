#include "Dataset2D.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>

#include "util/Message.h"
#include "util/StringUtil.h"

template <class T>
Dataset2D<T>::Dataset2D(unsigned x, unsigned y, T value) : Dataset("", Unit("")) {
    dimension_ = 2;
    data_ = new T[1]();
    resize(x, y);
    if (value != T(0)) *this = value;  // resize has zero-filled already
    setType(value);
}

template <class T>
Dataset2D<T>::Dataset2D(const Dataset2D& other)
    : Dataset(other),
      X_(other.X_),
      Y_(other.Y_),
      pixelSizeX_(other.pixelSizeX_),
      pixelSizeY_(other.pixelSizeY_),
      originX_(other.originX_),
      originY_(other.originY_) {
    const size_t n = size_t(X_) * Y_;
    data_ = new T[std::max<size_t>(n, 1)]();
    std::copy(other.data_, other.data_ + n, data_);
}

template <class T>
Dataset2D<T>& Dataset2D<T>::operator=(const Dataset2D& other) {
    if (this == &other) return *this;
    // A copy takes the other's grid exactly, also where an equal element count
    // alone would let resize keep this one's.
    if (resize(other.X_, other.Y_) != other.X_ * other.Y_) return *this;
    X_ = other.X_;
    Y_ = other.Y_;
    std::copy(other.data_, other.data_ + size_t(other.X_) * other.Y_, data_);
    unit_ = other.unit_;
    spaceUnit_ = other.spaceUnit_;
    setPixelSize(other.getPixelSize());
    setOrigin(other.getOrigin());
    return *this;
}

template <class T>
Dataset2D<T>& Dataset2D<T>::operator=(const T& value) {
    std::fill(data_, data_ + size_t(X_) * Y_, value);
    return *this;
}

template <class T>
Dataset2D<T>::~Dataset2D() {
    delete[] data_;
}

// ---- Operations without meaning for a slice: reported, nothing changes ----

template <class T>
void Dataset2D<T>::setTime(unsigned, double) {
    ERROR("setTime on 2D dataset '%s'", name_.c_str());
}

template <class T>
void Dataset2D<T>::setFrameLength(unsigned, double) {
    ERROR("setFrameLength on 2D dataset '%s'", name_.c_str());
}

template <class T>
void Dataset2D<T>::setTimeUnit(const Unit&) {
    ERROR("setTimeUnit on 2D dataset '%s'", name_.c_str());
}

template <class T>
double Dataset2D<T>::getTime(unsigned) const {
    ERROR("getTime on 2D dataset '%s'", name_.c_str());
    return 0;
}

template <class T>
double Dataset2D<T>::getFrameLength(unsigned) const {
    ERROR("getFrameLength on 2D dataset '%s'", name_.c_str());
    return 0;
}

template <class T>
const Unit& Dataset2D<T>::getTimeUnit() const {
    ERROR("getTimeUnit on 2D dataset '%s'", name_.c_str());
    return unit_;
}

template <class T>
void Dataset2D<T>::setValue3D(unsigned, unsigned, unsigned, double) {
    ERROR("setValue3D on 2D dataset '%s'", name_.c_str());
}

template <class T>
void Dataset2D<T>::setValue4D(unsigned, unsigned, unsigned, unsigned, double) {
    ERROR("setValue4D on 2D dataset '%s'", name_.c_str());
}

template <class T>
unsigned Dataset2D<T>::resize(unsigned, unsigned, unsigned) {
    ERROR("3D resize on 2D dataset '%s'", name_.c_str());
    return 0;
}

template <class T>
unsigned Dataset2D<T>::resize(unsigned, unsigned, unsigned, unsigned) {
    ERROR("4D resize on 2D dataset '%s'", name_.c_str());
    return 0;
}

// A slice carries no unit conversion: the call is ignored, the unit kept.
template <class T>
void Dataset2D<T>::changeUnit(const Unit&) {}

// ---- Values ----

template <class T>
void Dataset2D<T>::setValue(double value) {
    *this = fromDouble<T>(value);
}

template <class T>
void Dataset2D<T>::setValue2D(unsigned x, unsigned y, double value) {
    data_[y * X_ + x] = fromDouble<T>(value);
}

template <class T>
double Dataset2D<T>::getValue4D(unsigned, unsigned x, unsigned y, unsigned) const {
    return double(data_[y * X_ + x]);
}

template <class T>
double Dataset2D<T>::getValue3D(unsigned x, unsigned y, unsigned) const {
    return double(data_[y * X_ + x]);
}

template <class T>
void Dataset2D<T>::setPixelSize(const std::vector<double>& size) {
    if (size.size() != 2) {
        ERROR("setPixelSize (2D) invalid argument");
        return;
    }
    pixelSizeX_ = float(size[0]);
    pixelSizeY_ = float(size[1]);
}

template <class T>
void Dataset2D<T>::setOrigin(const std::vector<double>& origin) {
    if (origin.size() != 2) {
        ERROR("setOrigin (2D) invalid argument");
        return;
    }
    originX_ = float(origin[0]);
    originY_ = float(origin[1]);
}

template <class T>
std::vector<double> Dataset2D<T>::getPixelSize() const {
    return {pixelSizeX_, pixelSizeY_};
}

template <class T>
std::vector<double> Dataset2D<T>::getOrigin() const {
    return {originX_, originY_};
}

// ---- Size ----

// The dimensions change only with the element count; the leading elements
// keep their flat order, new ones are 0. The array always has at least one
// element, so that element 0 of an empty slice can be read.
template <class T>
unsigned Dataset2D<T>::resize(unsigned x, unsigned y) {
    const unsigned oldCount = X_ * Y_;
    if (!allowedSize({x, y}, sizeof(T), name_)) return oldCount;  // refused: nothing changes
    const unsigned newCount = x * y;
    if (newCount == oldCount) return newCount;
    T* data = new T[std::max(newCount, 1u)]();
    std::copy(data_, data_ + std::min(oldCount, newCount), data);
    delete[] data_;
    data_ = data;
    X_ = x;
    Y_ = y;
    return newCount;
}

template <class T>
void Dataset2D<T>::clear() {
    delete[] data_;
    data_ = new T[1]();
    X_ = Y_ = 0;
    pixelSizeX_ = pixelSizeY_ = 0;
    originX_ = originY_ = 0;
}

template <class T>
T Dataset2D<T>::min() const {
    const size_t n = size_t(X_) * Y_;
    if (n == 0) return T(0);
    return *std::min_element(data_, data_ + n);
}

template <class T>
T Dataset2D<T>::max() const {
    const size_t n = size_t(X_) * Y_;
    if (n == 0) return T(0);
    return *std::max_element(data_, data_ + n);
}

// ---- Arithmetic with scalars, in T's arithmetic ----

template <class T>
Dataset& Dataset2D<T>::operator+=(double value) {
    for (size_t i = 0, n = size_t(X_) * Y_; i < n; ++i) data_[i] = fromDouble<T>(data_[i] + value);
    return *this;
}

template <class T>
Dataset& Dataset2D<T>::operator-=(double value) {
    for (size_t i = 0, n = size_t(X_) * Y_; i < n; ++i) data_[i] = fromDouble<T>(data_[i] - value);
    return *this;
}

template <class T>
Dataset& Dataset2D<T>::operator*=(double value) {
    for (size_t i = 0, n = size_t(X_) * Y_; i < n; ++i) data_[i] = fromDouble<T>(data_[i] * value);
    return *this;
}

template <class T>
Dataset& Dataset2D<T>::operator/=(double value) {
    for (size_t i = 0, n = size_t(X_) * Y_; i < n; ++i) data_[i] = fromDouble<T>(data_[i] / value);
    return *this;
}

// Linear map of [imin, imax] onto [omin, omax]: v' = v*f + o with
// f = (omax - omin) / (imax - imin) and o = omin - imin*f.
template <class T>
void Dataset2D<T>::scale(double omin, double omax, double imin, double imax) {
    if (!(imin < imax)) {
        imin = double(min());
        imax = double(max());
    }
    const double f = (omax - omin) / (imax - imin);
    const double o = omin - imin * f;
    *this *= f;
    *this += o;
}

template <class T>
Dataset* Dataset2D<T>::clone() const {
    return new Dataset2D<T>(*this);
}

template <class T>
Dataset* Dataset2D<T>::cloneEmpty() const {
    return new Dataset2D<T>(X_, Y_, T(0));
}

// ---- Raw streams ----

template <class T>
bool Dataset2D<T>::read(const std::string& fileName) {
    std::ifstream in(fileName.c_str(), std::ios::binary);
    return in ? read(in) : false;
}

template <class T>
bool Dataset2D<T>::read(std::istream& in) {
    uint32_t x = 0, y = 0;
    in.read(reinterpret_cast<char*>(&x), 4);
    in.read(reinterpret_cast<char*>(&y), 4);
    if (!in || !allowedSize({x, y}, sizeof(T), name_)) return false;
    resize(x, y);
    in.read(reinterpret_cast<char*>(data_), std::streamsize(size_t(X_) * Y_ * sizeof(T)));
    return bool(in);
}

template <class T>
bool Dataset2D<T>::write(const std::string& fileName) {
    std::ofstream out(fileName.c_str(), std::ios::binary);
    return out ? write(out) : false;
}

template <class T>
bool Dataset2D<T>::write(std::ostream& out) {
    const uint32_t x = X_, y = Y_;
    out.write(reinterpret_cast<const char*>(&x), 4);
    out.write(reinterpret_cast<const char*>(&y), 4);
    out.write(reinterpret_cast<const char*>(data_), std::streamsize(size_t(X_) * Y_ * sizeof(T)));
    return bool(out);
}

// ---- PGM pictures ----

// Grey value p = value * 255 for float and double, pixelValue(value) * 255
// for integers; p is truncated and its low byte written, without clamping.
template <class T>
void Dataset2D<T>::writeImage(const std::string& name) const {
    std::ofstream out((name + ".pgm").c_str(), std::ios::binary);
    if (!out) return;
    out << "P5\n" << X_ << " " << Y_ << " \n" << "255" << " \n";
    std::string bytes(size_t(X_) * Y_, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) {
        double p;
        if constexpr (std::is_floating_point<T>::value)
            p = double(data_[i]) * 255.0;
        else
            p = pixelValue(data_[i]) * 255.0;
        // Wrap modulo 2^64 like the integer conversion would; values beyond
        // that range (and NaN) have no defined byte and give 0.
        const long long whole = std::fabs(p) < 9.2e18 ? static_cast<long long>(p) : 0;
        bytes[i] = static_cast<char>(static_cast<unsigned char>(whole & 0xff));
    }
    out.write(bytes.data(), std::streamsize(bytes.size()));
}

template <class T>
void Dataset2D<T>::writeImages(const std::string& name) {
    writeImage(name);
}

// ---- Reports ----

template <class T>
void Dataset2D<T>::info(std::ostream& out) const {
    out << "Dataset2D: " << name_ << " (" << type_ << ")\n";
    out << "  Dimension   : " << Y_ << "x" << X_ << " (YxX)\n";
    out << "  Size[Origin]: "
        << stringPrintf(1024, "%.2fx%.2f [%.2f,%.2f]%s\n", pixelSizeY_, pixelSizeX_, originY_, originX_,
                        spaceUnit_.getName().c_str());
    out << "  Unit        : " << unit_;
    out << "  MemorySize  : " << getSize() << " \n";
    out << "  Min         : " << +min() << " \n";
    out << "  Max         : " << +max() << " \n";
}

template <class T>
std::ostream& operator<<(std::ostream& out, const Dataset2D<T>& data) {
    const unsigned X = data.getDimensionX(), Y = data.getDimensionY();
    out << "Dataset2D('" << data.getName() << "'," << X << "x" << Y << ")\n";
    for (unsigned y = 0; y < Y; ++y) {
        for (unsigned x = 0; x < X; ++x) out << " " << num2string(data(x, y));
        out << " \n";
    }
    return out;
}

#define KINETRA_INSTANTIATE_2D(T) \
    template class Dataset2D<T>;  \
    template std::ostream& operator<<(std::ostream&, const Dataset2D<T>&);
KINETRA_INSTANTIATE_2D(double)
KINETRA_INSTANTIATE_2D(float)
KINETRA_INSTANTIATE_2D(int)
KINETRA_INSTANTIATE_2D(unsigned short)
KINETRA_INSTANTIATE_2D(short)
KINETRA_INSTANTIATE_2D(unsigned char)
