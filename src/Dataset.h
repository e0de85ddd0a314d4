// Dataset: the abstract image of the toolbox.
//
// A dataset is a named, typed image (2D slice, 3D volume or 4D series of
// volumes) with a unit for its values and a unit for its grid. This base class
// gives every dimension and element type one virtual interface, so that the
// command layer, the models and the optimizers can work on a `Dataset*`
// without knowing what it holds. The templates Dataset2D<T>, Dataset3D<T>
// and Dataset4D<T> hold the data for the six element types
//
//     unsigned char "uchar", short "short", unsigned short "ushort",
//     int "int", float "float", double "double".
//
// The type name is the run-time tag by which code picks a template instance;
// the table KINETRA_ELEMENT_TYPES below is the one place that maps a name to
// its type, and visitDataset (Dataset.visit.h) the one place that turns a
// Dataset into the template instance it is.
//
// Operations that make no sense for a dimension (setTime on a volume, ...)
// report an error, change nothing and carry on; getters then answer 0.
#ifndef KINETRA_DATASET_H
#define KINETRA_DATASET_H

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <istream>
#include <limits>
#include <ostream>
#include <atomic>
#include <string>
#include <type_traits>
#include <vector>

#include "Unit.h"

class VOI;
class FrameSeries;

// ---------------------------------------------------------------------------
// Element types.
//
// The one table of the six element types, in dispatch order: the type, its
// type name, and the class id of the Matlab array that carries it
// (mxDOUBLE_CLASS, ...; a plain number here, since the core knows no host:
// the array bridge checks it against the host's mex.h). Everything that maps
// a type to a name or a class, and back, is built from this table.
#define KINETRA_ELEMENT_TYPES(X)      \
    X(double, "double", 6)            \
    X(float, "float", 7)              \
    X(int, "int", 12)                 \
    X(unsigned short, "ushort", 11)   \
    X(short, "short", 10)             \
    X(unsigned char, "uchar", 9)

template <class T>
struct ElementTraits;  // only the six types of the table

#define KINETRA_ELEMENT_TRAITS(T, NAME, CLASS_ID)    \
    template <>                                      \
    struct ElementTraits<T> {                        \
        static constexpr const char* name = NAME;    \
        static constexpr int classId = CLASS_ID;     \
    };
KINETRA_ELEMENT_TYPES(KINETRA_ELEMENT_TRAITS)
#undef KINETRA_ELEMENT_TRAITS

// TypeTag<T> carries an element type as a value, so that a generic lambda can
// receive it.
template <class T>
struct TypeTag {
    using type = T;
};

// Calls f(TypeTag<T>()) for the element types in table order until one call
// returns true; returns whether one did.
template <class F>
bool firstElementType(F&& f) {
#define KINETRA_ELEMENT_TRY(T, NAME, CLASS_ID) \
    if (f(TypeTag<T>())) return true;
    KINETRA_ELEMENT_TYPES(KINETRA_ELEMENT_TRY)
#undef KINETRA_ELEMENT_TRY
    return false;
}

// The type name of an element type ("double", ..., "uchar").
template <class T>
const char* typeName() {
    return ElementTraits<T>::name;
}

// Calls f(TypeTag<T>()) for the element type named typeName, comparing with
// the names in table order ("double", "float", "int", "ushort", "short",
// "uchar"), and returns true; an unknown name calls nothing and returns false.
// Any result of f is dropped: capture what you need by reference. To reach
// the dataset of that type use visitDataset (Dataset.visit.h).
template <class F>
bool dispatchType(const std::string& typeName, F&& f) {
    return firstElementType([&](auto tag) {
        if (typeName != ElementTraits<typename decltype(tag)::type>::name) return false;
        f(tag);
        return true;
    });
}

// Converts a double into an element type. Floating types take the value as it
// is; integer types truncate toward zero, as the language's conversion does,
// but values beyond the type's range saturate and NaN becomes 0 (the plain
// conversion would be undefined there).
template <class T>
inline T fromDouble(double v) {
    if constexpr (std::is_floating_point<T>::value) {
        return static_cast<T>(v);
    } else {
        if (!(v == v)) return T(0);
        if (v <= static_cast<double>(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
        if (v >= static_cast<double>(std::numeric_limits<T>::max())) return std::numeric_limits<T>::max();
        return static_cast<T>(v);
    }
}

// ---------------------------------------------------------------------------
class Dataset {
public:
    Dataset(const std::string& name, const Unit& unit);
    Dataset(const Dataset& other);
    // Assignment copies the data, never the identity: see the concrete classes.
    Dataset& operator=(const Dataset&) = delete;

    // The virtual interface, in slot order.
    virtual ~Dataset();
    virtual void setTime(unsigned t, double value) = 0;
    virtual void setFrameLength(unsigned t, double value) = 0;
    virtual void setTimeUnit(const Unit& unit) = 0;
    virtual void changeUnit(const Unit& unit) = 0;
    virtual void setValue(double value) = 0;
    virtual void setValue2D(unsigned x, unsigned y, double value) = 0;
    virtual void setValue3D(unsigned x, unsigned y, unsigned z, double value) = 0;
    virtual void setValue4D(unsigned t, unsigned x, unsigned y, unsigned z, double value) = 0;
    virtual void setPixelSize(const std::vector<double>& size) = 0;
    virtual void setOrigin(const std::vector<double>& origin) = 0;
    virtual double getTime(unsigned t) const = 0;
    virtual double getFrameLength(unsigned t) const = 0;
    virtual const Unit& getTimeUnit() const = 0;
    virtual unsigned getDimensionT() const = 0;
    virtual unsigned getDimensionX() const = 0;
    virtual unsigned getDimensionY() const = 0;
    virtual unsigned getDimensionZ() const = 0;
    virtual unsigned getImageSize() const = 0;   // X*Y
    virtual unsigned getVolumeSize() const = 0;  // X*Y*Z, 0 for 2D
    virtual size_t getSize() const = 0;          // bytes of all elements
    virtual double getValue4D(unsigned t, unsigned x, unsigned y, unsigned z) const = 0;
    virtual double getValue3D(unsigned x, unsigned y, unsigned z) const = 0;
    virtual double getValue2D(unsigned x, unsigned y) const = 0;
    virtual std::vector<double> getPixelSize() const = 0;
    virtual std::vector<double> getOrigin() const = 0;
    // Raw native-byte-order dumps; no command reaches them.
    virtual bool read(const std::string& fileName) = 0;
    virtual bool read(std::istream& in) = 0;
    virtual bool write(const std::string& fileName) = 0;
    virtual bool write(std::ostream& out) = 0;
    // PGM pictures of every slice.
    virtual void writeImages(const std::string& name) = 0;
    virtual Dataset& operator+=(double value) = 0;
    virtual Dataset& operator-=(double value) = 0;
    virtual Dataset& operator*=(double value) = 0;
    virtual Dataset& operator/=(double value) = 0;
    // Maps [imin, imax] linearly onto [omin, omax]; imin >= imax takes the
    // dataset's own range.
    virtual void scale(double omin, double omax, double imin, double imax) = 0;
    virtual Dataset* clone() const = 0;
    virtual Dataset* cloneEmpty() const = 0;
    virtual unsigned resize(unsigned x, unsigned y) = 0;
    virtual unsigned resize(unsigned x, unsigned y, unsigned z) = 0;
    virtual unsigned resize(unsigned t, unsigned x, unsigned y, unsigned z) = 0;
    virtual void info(std::ostream& out) const = 0;

    // Identity and units.
    const std::string& getName() const { return name_; }
    void setName(const std::string& name) { name_ = name; }
    // The type name: "double", "float", "int", "ushort", "short" or "uchar".
    const std::string& getType() const { return type_; }
    // The unit of the values; an empty name means that no unit is set.
    // setUnit relabels without converting; changeUnit converts.
    const Unit& getUnit() const { return unit_; }
    void setUnit(const Unit& unit) { unit_ = unit; }
    // The unit of pixel size and origin, "mm" unless set.
    const Unit& getSpaceUnit() const { return spaceUnit_; }
    void setSpaceUnit(const Unit& unit) { spaceUnit_ = unit; }

    // Dimension count: 2, 3 or 4.
    unsigned getNumDimensions() const { return dimension_; }
    // The sizes in the order X, Y, Z, T, as many as there are dimensions.
    std::vector<unsigned> getDimensions() const;
    // Product of getDimensions().
    unsigned getNumElements() const;
    // getValue2D, getValue3D or getValue4D by the dimension count.
    double getValue(unsigned t, unsigned x, unsigned y, unsigned z) const;

    // Store the type name of the argument's type; the value is not used.
    template <class T>
    void setType(const T&) {
        type_ = typeName<T>();
    }

    // The frame times of a series (4D), whatever its element type; null for
    // 2D and 3D data.
    virtual FrameSeries* series() { return nullptr; }
    virtual const FrameSeries* series() const { return nullptr; }

    // An integer value relative to its type's largest value (full range = 1).
    static double pixelValue(unsigned char v) { return v / 255.0; }
    static double pixelValue(short v) { return v / 32767.0; }
    static double pixelValue(unsigned short v) { return v / 65535.0; }
    static double pixelValue(int v) { return v / 2147483647.0; }

    // Whether a dataset of sizes[0] * sizes[1] * ... elements of elementSize
    // bytes may be allocated. The count is formed in 64 bits; it must fit the
    // unsigned indices of the accessors, and the bytes must stay below
    // MAX_BYTES. Otherwise the error is reported and nothing may be allocated.
    static bool allowedSize(const uint64_t* sizes, size_t count, size_t elementSize, const std::string& name);
    static bool allowedSize(std::initializer_list<uint64_t> sizes, size_t elementSize, const std::string& name) {
        return allowedSize(sizes.begin(), sizes.size(), elementSize, name);
    }
    static constexpr uint64_t MAX_BYTES = uint64_t(1) << 40;

    // Compatibility checks.
    bool checkDimensions(const Dataset* other) const;
    bool checkUnit(const Dataset* other) const;  // equal value unit names
    bool checkVOI(const VOI* voi) const;         // equal X, Y, Z (3D and 4D)

    // Element-wise arithmetic with a dataset of the same class; 3D and 4D only.
    // Mismatches are reported and the operation goes on (see Dataset.arith.cpp).
    Dataset& operator+=(const Dataset& other);
    Dataset& operator-=(const Dataset& other);
    Dataset& operator*=(const Dataset& other);
    Dataset& operator/=(const Dataset& other);

    // Number of dataset objects alive; only reported. Atomic: the worker
    // threads of a voxel walk make their copies side by side.
    static std::atomic<int> count_;

protected:
    unsigned dimension_ = 0;
    Unit unit_;
    Unit spaceUnit_;
    std::string name_;
    std::string type_;
};

// The new dataset of the element type typeName holding the source's values
// (truncated toward zero for integer types), or the source itself if it is
// already of that type. The caller owns a result that differs from the source.
// Null for an unknown type name or dimension count.
Dataset* convertType(Dataset* source, const std::string& typeName);

// Copy values, units, pixel size and origin (4D: frame times and lengths too,
// but not midframe_approx) element by element through the virtual accessors.
void copy2D(Dataset* destination, Dataset* source);
void copy3D(Dataset* destination, Dataset* source);
void copy4D(Dataset* destination, Dataset* source);

// The full dump of a dataset (see Dataset.report.cpp).
std::ostream& operator<<(std::ostream& out, const Dataset& data);

#endif
