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
// `dispatchType` below is the one place that maps a name to its type.
//
// Operations that make no sense for a dimension (setTime on a volume, ...)
// report an error, change nothing and carry on; getters then answer 0.
#ifndef KINETRA_DATASET_H
#define KINETRA_DATASET_H

#include <cmath>
#include <istream>
#include <limits>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "Unit.h"

class VOI;

// ---------------------------------------------------------------------------
// Element-type dispatch.
//
// TypeTag<T> carries an element type as a value, so that a generic lambda can
// receive it:
//
//     bool known = dispatchType(data->getType(), [&](auto tag) {
//         using T = typename decltype(tag)::type;
//         Dataset3D<T>& volume = static_cast<Dataset3D<T>&>(*data);
//         ...
//     });
//
// dispatchType compares the name with "double", "float", "int", "ushort",
// "short", "uchar" in this order, calls f(TypeTag<T>()) for the first match
// and returns true; an unknown name calls nothing and returns false. Any
// result of f is dropped: capture what you need by reference.
template <class T>
struct TypeTag {
    using type = T;
};

template <class F>
bool dispatchType(const std::string& typeName, F&& f) {
    if (typeName == "double") {
        f(TypeTag<double>());
    } else if (typeName == "float") {
        f(TypeTag<float>());
    } else if (typeName == "int") {
        f(TypeTag<int>());
    } else if (typeName == "ushort") {
        f(TypeTag<unsigned short>());
    } else if (typeName == "short") {
        f(TypeTag<short>());
    } else if (typeName == "uchar") {
        f(TypeTag<unsigned char>());
    } else {
        return false;
    }
    return true;
}

// The type name of an element type ("double", ..., "uchar").
template <class T>
const char* typeName();
template <>
inline const char* typeName<double>() { return "double"; }
template <>
inline const char* typeName<float>() { return "float"; }
template <>
inline const char* typeName<int>() { return "int"; }
template <>
inline const char* typeName<unsigned short>() { return "ushort"; }
template <>
inline const char* typeName<short>() { return "short"; }
template <>
inline const char* typeName<unsigned char>() { return "uchar"; }

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
    void setType(const unsigned char&) { type_ = "uchar"; }
    void setType(const short&) { type_ = "short"; }
    void setType(const unsigned short&) { type_ = "ushort"; }
    void setType(const int&) { type_ = "int"; }
    void setType(const float&) { type_ = "float"; }
    void setType(const double&) { type_ = "double"; }

    // An integer value relative to its type's largest value (full range = 1).
    static double pixelValue(unsigned char v) { return v / 255.0; }
    static double pixelValue(short v) { return v / 32767.0; }
    static double pixelValue(unsigned short v) { return v / 65535.0; }
    static double pixelValue(int v) { return v / 2147483647.0; }

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

    // Number of dataset objects alive; only reported.
    static int count_;

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
