#include "Dataset4D.h"

#include <algorithm>
#include <cstdint>
#include <fstream>

#include "Dataset.visit.h"
#include "util/Message.h"
#include "util/StringUtil.h"

template <class T>
Dataset4D<T>::Dataset4D() {
    dimension_ = 4;
    setType(T(0));
}

template <class T>
Dataset4D<T>::Dataset4D(unsigned t, unsigned x, unsigned y, unsigned z, T value) {
    dimension_ = 4;
    resize(t, x, y, z);
    if (value != T(0)) *this = value;  // new volumes are zero-filled already
    setType(value);
}

template <class T>
Dataset4D<T>::Dataset4D(const Dataset4D& other)
    : FrameSeries(other), X_(other.X_), Y_(other.Y_), Z_(other.Z_) {
    if (T_ == 0) return;
    volumes_ = new Dataset3D<T>[T_];
    for (unsigned t = 0; t < T_; ++t) {
        volumes_[t] = other.volumes_[t];
        volumes_[t].setName(other.volumes_[t].getName());
    }
}

template <class T>
Dataset4D<T>& Dataset4D<T>::operator=(const Dataset4D& other) {
    if (this == &other) return *this;
    copyLayout(other);
    for (unsigned t = 0; t < T_ && t < other.T_; ++t) {
        const Dataset3D<T>& from = other.volumes_[t];
        const unsigned n = std::min(volumes_[t].getVolumeSize(), from.getVolumeSize());
        std::copy(from.getData(), from.getData() + n, volumes_[t].getData());
    }
    return *this;
}

template <class T>
void Dataset4D<T>::copyLayout(const Dataset4D& other) {
    if (this == &other) return;
    resize(other.T_, other.X_, other.Y_, other.Z_);
    times_ = other.times_;
    lengths_ = other.lengths_;
    times_.resize(T_, 0.0);
    lengths_.resize(T_, 0.0);
    midframe_approx = other.midframe_approx;
    unit_ = other.unit_;
    timeUnit_ = other.timeUnit_;
    spaceUnit_ = other.spaceUnit_;
    for (unsigned t = 0; t < T_ && t < other.T_; ++t) {
        Dataset3D<T>& to = volumes_[t];
        const Dataset3D<T>& from = other.volumes_[t];
        to.setSpaceUnit(from.getSpaceUnit());
        to.setPixelSize(from.getPixelSize());
        to.setOrigin(from.getOrigin());
    }
}

template <class T>
Dataset4D<T>& Dataset4D<T>::operator=(const T& value) {
    for (unsigned t = 0; t < T_; ++t) volumes_[t] = value;
    return *this;
}

template <class T>
Dataset4D<T>::~Dataset4D() {
    delete[] volumes_;
}

// ---- Operations without meaning for a series: reported, nothing changes.
// Two texts say 3D where 4D is meant; they are kept as users know them. ----

template <class T>
void Dataset4D<T>::setValue2D(unsigned, unsigned, double) {
    ERROR("setValue2D on 4D dataset '%s'", name_.c_str());
}

template <class T>
void Dataset4D<T>::setValue3D(unsigned, unsigned, unsigned, double) {
    ERROR("setValue3D on 4D dataset '%s'", name_.c_str());
}

template <class T>
double Dataset4D<T>::getValue2D(unsigned, unsigned) const {
    ERROR("getValue2D on 3D dataset '%s'", name_.c_str());
    return 0;
}

template <class T>
double Dataset4D<T>::getValue3D(unsigned, unsigned, unsigned) const {
    ERROR("getValue3D on 4D dataset '%s'", name_.c_str());
    return 0;
}

template <class T>
unsigned Dataset4D<T>::resize(unsigned, unsigned) {
    ERROR("2D resize on 4D dataset '%s'", name_.c_str());
    return 0;
}

template <class T>
unsigned Dataset4D<T>::resize(unsigned, unsigned, unsigned) {
    ERROR("3D resize on 3D dataset '%s'", name_.c_str());
    return 0;
}

// ---- Values, units, geometry ----

// Each volume converts by its own unit (see Dataset3D::changeUnit); the
// series then takes the new unit.
template <class T>
void Dataset4D<T>::changeUnit(const Unit& unit) {
    for (unsigned t = 0; t < T_; ++t) volumes_[t].changeUnit(unit);
    unit_ = unit;
}

template <class T>
void Dataset4D<T>::setValue(double value) {
    *this = fromDouble<T>(value);
}

template <class T>
void Dataset4D<T>::setPixelSize(const std::vector<double>& size) {
    if (size.size() != 3) {
        ERROR("setPixelSize (4D) invalid argument");
        return;
    }
    if (!volumes_) {
        ERROR("setPixelSize (4D) no datasets");
        return;
    }
    for (unsigned t = 0; t < T_; ++t) volumes_[t].setPixelSize(size);
}

template <class T>
void Dataset4D<T>::setOrigin(const std::vector<double>& origin) {
    if (origin.size() != 3) {
        ERROR("setOrigin (4D) invalid argument");
        return;
    }
    if (!volumes_) {
        ERROR("setOrigin (4D) no datasets");
        return;
    }
    for (unsigned t = 0; t < T_; ++t) volumes_[t].setOrigin(origin);
}

template <class T>
std::vector<double> Dataset4D<T>::getPixelSize() const {
    return volumes_ ? volumes_[0].getPixelSize() : std::vector<double>();
}

template <class T>
std::vector<double> Dataset4D<T>::getOrigin() const {
    return volumes_ ? volumes_[0].getOrigin() : std::vector<double>();
}

template <class T>
void Dataset4D<T>::setData(unsigned t, const T* data) {
    if (volumes_) volumes_[t].setData(data);
}

// ---- Size ----

// A new frame count replaces the volumes (their values are lost) and grows or
// shrinks the frame tables, keeping their leading entries. Then every volume
// is resized (first elements kept in flat order, the rest 0) to exactly
// x, y, z, and the cache takes them.
template <class T>
unsigned Dataset4D<T>::resize(unsigned t, unsigned x, unsigned y, unsigned z) {
    if (!allowedSize({t, x, y, z}, sizeof(T), name_)) return X_ * Y_ * Z_ * T_;  // refused: nothing changes
    if (t != T_) {
        Dataset3D<T>* volumes = t > 0 ? new Dataset3D<T>[t] : nullptr;
        delete[] volumes_;
        volumes_ = volumes;
        times_.resize(t, 0.0);
        lengths_.resize(t, 0.0);
        T_ = t;
    }
    // Exactly: the 3D rule would keep a volume's old shape at an equal count,
    // while every 4D accessor indexes with the cached X, Y, Z.
    for (unsigned i = 0; i < T_; ++i) volumes_[i].resizeExactly(x, y, z);
    X_ = x;
    Y_ = y;
    Z_ = z;
    return X_ * Y_ * Z_ * T_;
}

template <class T>
void Dataset4D<T>::clear() {
    delete[] volumes_;
    volumes_ = nullptr;
    T_ = X_ = Y_ = Z_ = 0;
    times_.clear();
    lengths_.clear();
}

template <class T>
T Dataset4D<T>::min() const {
    if (!volumes_) return T(0);
    T result = volumes_[0].min();
    for (unsigned t = 1; t < T_; ++t) result = std::min(result, volumes_[t].min());
    return result;
}

template <class T>
T Dataset4D<T>::max() const {
    if (!volumes_) return T(0);
    T result = volumes_[0].max();
    for (unsigned t = 1; t < T_; ++t) result = std::max(result, volumes_[t].max());
    return result;
}

template <class T>
std::vector<double> Dataset4D<T>::getTAC(unsigned x, unsigned y, unsigned z) const {
    std::vector<double> tac(T_);
    for (unsigned t = 0; t < T_; ++t) tac[t] = double(volumes_[t](x, y, z));
    return tac;
}

template <class T>
void Dataset4D<T>::setTAC(unsigned x, unsigned y, unsigned z, const std::vector<double>& values) {
    const size_t n = std::min<size_t>(T_, values.size());
    for (size_t t = 0; t < n; ++t) volumes_[t](x, y, z) = fromDouble<T>(values[t]);
}

// ---- Slices ----

template <class T>
Dataset2D<T>* Dataset4D<T>::getSlice(unsigned t, unsigned z) const {
    if (!volumes_) return new Dataset2D<T>(X_, Y_, T(0));
    return volumes_[t].getSlice(z);
}

template <class T>
void Dataset4D<T>::setSlice(unsigned t, unsigned z, const Dataset2D<T>* slice) {
    if (volumes_) volumes_[t].setSlice(z, slice);
}

// ---- Arithmetic ----

template <class T>
Dataset& Dataset4D<T>::operator+=(double value) {
    for (unsigned t = 0; t < T_; ++t) volumes_[t] += value;
    return *this;
}

template <class T>
Dataset& Dataset4D<T>::operator-=(double value) {
    for (unsigned t = 0; t < T_; ++t) volumes_[t] -= value;
    return *this;
}

template <class T>
Dataset& Dataset4D<T>::operator*=(double value) {
    for (unsigned t = 0; t < T_; ++t) volumes_[t] *= value;
    return *this;
}

template <class T>
Dataset& Dataset4D<T>::operator/=(double value) {
    for (unsigned t = 0; t < T_; ++t) volumes_[t] /= value;
    return *this;
}

// Linear map of [imin, imax] onto [omin, omax], see Dataset3D::scale.
template <class T>
void Dataset4D<T>::scale(double omin, double omax, double imin, double imax) {
    if (!(imin < imax)) {
        imin = double(min());
        imax = double(max());
    }
    const double f = (omax - omin) / (imax - imin);
    const double o = omin - imin * f;
    *this *= f;
    *this += o;
}

// Frame by frame with the volume operator; a frame the right side lacks is
// left as it is.
#define KINETRA_SERIES_OPERATOR(OP)                                                                     \
    template <class T>                                                                                  \
    Dataset4D<T>& Dataset4D<T>::operator OP(const Dataset4D& other) {                                   \
        if (X_ != other.X_ || Y_ != other.Y_ || Z_ != other.Z_ || T_ != other.T_) ERROR("invalid dimensions"); \
        if (!checkUnit(&other)) ERROR("invalid units");                                                 \
        for (unsigned t = 0; t < T_ && t < other.T_; ++t) volumes_[t] OP other.volumes_[t];            \
        return *this;                                                                                   \
    }
KINETRA_SERIES_OPERATOR(+=)
KINETRA_SERIES_OPERATOR(-=)
KINETRA_SERIES_OPERATOR(*=)
KINETRA_SERIES_OPERATOR(/=)
#undef KINETRA_SERIES_OPERATOR

template <class T>
Dataset* Dataset4D<T>::clone() const {
    return new Dataset4D<T>(*this);
}

template <class T>
Dataset* Dataset4D<T>::cloneEmpty() const {
    return new Dataset4D<T>(T_, X_, Y_, Z_, T(0));
}

// ---- Raw streams: frame count, all (time, length) pairs, then the volumes ----

template <class T>
bool Dataset4D<T>::read(const std::string& fileName) {
    std::ifstream in(fileName.c_str(), std::ios::binary);
    return in ? read(in) : false;
}

template <class T>
bool Dataset4D<T>::read(std::istream& in) {
    uint32_t frames = 0;
    in.read(reinterpret_cast<char*>(&frames), 4);
    if (!in || !allowedSize({frames}, sizeof(Dataset3D<T>), name_)) return false;
    resize(frames, 1, 1, 1);
    for (unsigned t = 0; t < T_; ++t) {
        in.read(reinterpret_cast<char*>(&times_[t]), 8);
        in.read(reinterpret_cast<char*>(&lengths_[t]), 8);
    }
    for (unsigned t = 0; t < T_ && in; ++t) volumes_[t].read(in);
    // Every volume must hold the first one's grid, or the series' accessors
    // would index past a smaller volume: a stream that disagrees leaves an
    // empty series.
    bool sameGrid = bool(in);
    for (unsigned t = 1; t < T_ && sameGrid; ++t)
        sameGrid = volumes_[t].getDimensionX() == volumes_[0].getDimensionX() &&
                   volumes_[t].getDimensionY() == volumes_[0].getDimensionY() &&
                   volumes_[t].getDimensionZ() == volumes_[0].getDimensionZ();
    if (!sameGrid) {
        clear();
        return false;
    }
    // Keep the cached dimensions true to what the volumes now hold.
    if (volumes_ && T_ > 0) {
        X_ = volumes_[0].getDimensionX();
        Y_ = volumes_[0].getDimensionY();
        Z_ = volumes_[0].getDimensionZ();
    }
    return true;
}

template <class T>
bool Dataset4D<T>::write(const std::string& fileName) {
    std::ofstream out(fileName.c_str(), std::ios::binary);
    return out ? write(out) : false;
}

template <class T>
bool Dataset4D<T>::write(std::ostream& out) {
    const uint32_t frames = T_;
    out.write(reinterpret_cast<const char*>(&frames), 4);
    for (unsigned t = 0; t < T_; ++t) {
        out.write(reinterpret_cast<const char*>(&times_[t]), 8);
        out.write(reinterpret_cast<const char*>(&lengths_[t]), 8);
    }
    for (unsigned t = 0; t < T_; ++t) volumes_[t].write(out);
    return bool(out);
}

// ---- PGM pictures: "out/a.pgm" gives out/a_000,000.pgm, ... per (t, z) ----

template <class T>
void Dataset4D<T>::writeImages(const std::string& name) {
    std::string stem;
    for (char c : dirname(name) + "/" + basename(name, false)) stem += c == '%' ? "%%" : std::string(1, c);
    stem += "_%03u,%03u";
    for (unsigned t = 0; t < T_; ++t)
        for (unsigned z = 0; z < Z_; ++z) {
            Dataset2D<T>* slice = getSlice(t, z);
            slice->writeImage(stringPrintf(1024, stem.c_str(), t, z));
            delete slice;
        }
}

// ---- Reports ----

template <class T>
void Dataset4D<T>::info(std::ostream& out) const {
    out << "Dataset4D: " << name_ << " (" << type_ << ")\n";
    out << "  Dimension " << T_ << "x" << Z_ << "x" << Y_ << "x" << X_ << " (TxZxYxX)\n";
    if (volumes_) {
        const std::vector<double> size = getPixelSize(), origin = getOrigin();
        out << "  Size        : " << stringPrintf(1024, "%.2lfx%.2lfx%.2lf", size[2], size[1], size[0])
            << stringPrintf(1024, " [%.2lf,%.2lf,%.2lf] %s (ZxYxX)\n", origin[2], origin[1], origin[0],
                            spaceUnit_.getName().c_str());
    }
    out << "  Unit        : " << unit_;
    out << "  TimeUnit    : " << timeUnit_;
    out << "  MemorySize  : " << getSize() << " \n";
    out << "  midFrames   : " << (midframe_approx ? "true" : "false") << " \n";
    out << "  Min         : " << +min() << " \n";
    out << "  Max         : " << +max() << " \n";
    for (unsigned t = 0; t < T_; ++t)
        out << "  Frame " << stringPrintf(1024, "%2d : start %lgs len %lgs\n", int(t), times_[t], lengths_[t]);
}

template <class T>
std::ostream& operator<<(std::ostream& out, const Dataset4D<T>& data) {
    data.info(out);
    const unsigned T_ = data.getDimensionT(), X = data.getDimensionX(), Y = data.getDimensionY(),
                   Z = data.getDimensionZ();
    for (unsigned t = 0; t < T_; ++t)
        for (unsigned z = 0; z < Z; ++z) {
            out << "# t = " << t << " z=" << z << " \n";
            for (unsigned y = 0; y < Y; ++y) {
                for (unsigned x = 0; x < X; ++x) out << " " << num2string(data(t, x, y, z));
                out << " \n";
            }
            out << " \n";
        }
    return out;
}

#define KINETRA_INSTANTIATE_4D(T) \
    template class Dataset4D<T>;  \
    template std::ostream& operator<<(std::ostream&, const Dataset4D<T>&);
KINETRA_INSTANTIATE_4D(double)
KINETRA_INSTANTIATE_4D(float)
KINETRA_INSTANTIATE_4D(int)
KINETRA_INSTANTIATE_4D(unsigned short)
KINETRA_INSTANTIATE_4D(short)
KINETRA_INSTANTIATE_4D(unsigned char)

void readCurve(const Dataset& d, unsigned x, unsigned y, unsigned z, double* out, unsigned T) {
    const unsigned n = std::min(T, d.getDimensionT());
    const bool series = visitDataset4D(d, [&](const auto& series) {
        const unsigned i = series.index(x, y, z);
        for (unsigned t = 0; t < n; ++t) out[t] = double(series(t, i));
    });
    if (!series)
        for (unsigned t = 0; t < n; ++t) out[t] = d.getValue4D(t, x, y, z);
    for (unsigned t = n; t < T; ++t) out[t] = 0.0;
}
