// Dataset3D<T>: a volume of X by Y by Z elements in one flat array, X fastest:
// (x, y, z) lies at (z*Y + y)*X + x.
//
// A volume of 0 or 1 elements answers every index with element 0, whatever
// the coordinates: a 1x1x1 volume stands for a scalar everywhere a volume is
// read voxel by voxel (parameter maps after averaging, scalar operands).
//
// The member bodies live in Dataset3D.cpp, instantiated for the six element
// types; the element accessors are inline here.
#ifndef KINETRA_DATASET3D_H
#define KINETRA_DATASET3D_H

#include "Dataset2D.h"

template <class T>
class Dataset3D : public Dataset {
public:
    explicit Dataset3D(unsigned x = 1, unsigned y = 1, unsigned z = 1, T value = T(0));
    Dataset3D(const Dataset3D& other);
    // Takes the source's grid (see resizeExactly), copies elements, value
    // unit, space unit, pixel size and origin. The name stays.
    Dataset3D& operator=(const Dataset3D& other);
    Dataset3D& operator=(const T& value);
    ~Dataset3D() override;

    // The virtual interface.
    void setTime(unsigned t, double value) override;
    void setFrameLength(unsigned t, double value) override;
    void setTimeUnit(const Unit& unit) override;
    // With a unit set: element = element * (old factor / new factor) + 0.5, the
    // 0.5 rounding integers and kept for float and double alike.
    void changeUnit(const Unit& unit) override;
    void setValue(double value) override;
    void setValue2D(unsigned x, unsigned y, double value) override;
    void setValue3D(unsigned x, unsigned y, unsigned z, double value) override;
    void setValue4D(unsigned t, unsigned x, unsigned y, unsigned z, double value) override;  // t ignored
    void setPixelSize(const std::vector<double>& size) override;
    void setOrigin(const std::vector<double>& origin) override;
    double getTime(unsigned t) const override;
    double getFrameLength(unsigned t) const override;
    const Unit& getTimeUnit() const override;
    unsigned getDimensionT() const override { return 0; }
    unsigned getDimensionX() const override { return X_; }
    unsigned getDimensionY() const override { return Y_; }
    unsigned getDimensionZ() const override { return Z_; }
    unsigned getImageSize() const override { return X_ * Y_; }
    unsigned getVolumeSize() const override { return X_ * Y_ * Z_; }
    size_t getSize() const override { return size_t(elements_) * sizeof(T); }
    double getValue4D(unsigned t, unsigned x, unsigned y, unsigned z) const override;  // t ignored
    double getValue3D(unsigned x, unsigned y, unsigned z) const override {
        return double(data_[index(x, y, z)]);
    }
    double getValue2D(unsigned x, unsigned y) const override;
    std::vector<double> getPixelSize() const override;  // X, Y, Z
    std::vector<double> getOrigin() const override;     // X, Y, Z
    bool read(const std::string& fileName) override;
    bool read(std::istream& in) override;    // 4-byte X, Y, Z, then the elements
    bool write(const std::string& fileName) override;
    bool write(std::ostream& out) override;  // the elements only, no dimensions
    void writeImages(const std::string& name) override;  // name_%03u.pgm per z
    Dataset& operator+=(double value) override;
    Dataset& operator-=(double value) override;
    Dataset& operator*=(double value) override;
    Dataset& operator/=(double value) override;
    void scale(double omin, double omax, double imin, double imax) override;
    Dataset* clone() const override;
    Dataset* cloneEmpty() const override;
    unsigned resize(unsigned x, unsigned y) override;
    // Changes the dimensions only when the element count changes; the first
    // min(old, new) elements keep their flat order, the rest become 0.
    unsigned resize(unsigned x, unsigned y, unsigned z) override;
    unsigned resize(unsigned t, unsigned x, unsigned y, unsigned z) override;
    // resize that always ends on the grid x by y by z: with an unchanged
    // element count the flat data stay and only the dimensions are set. For
    // every caller that then indexes with (x, y, z), which must never meet
    // storage laid out for another shape.
    unsigned resizeExactly(unsigned x, unsigned y, unsigned z);
    void info(std::ostream& out) const override;

    // Element-wise arithmetic in T's own arithmetic, over this volume's
    // elements (a 1x1x1 operand acts as a scalar).
    using Dataset::operator+=;
    using Dataset::operator-=;
    using Dataset::operator*=;
    using Dataset::operator/=;
    Dataset3D& operator+=(const Dataset3D& other);
    Dataset3D& operator-=(const Dataset3D& other);
    Dataset3D& operator*=(const Dataset3D& other);
    Dataset3D& operator/=(const Dataset3D& other);

    // Element access, unchecked.
    unsigned index(unsigned x, unsigned y, unsigned z) const {
        return elements_ > 1 ? (z * Y_ + y) * X_ + x : 0;
    }
    T& operator()(unsigned x, unsigned y, unsigned z) { return data_[index(x, y, z)]; }
    const T& operator()(unsigned x, unsigned y, unsigned z) const { return data_[index(x, y, z)]; }
    T& operator()(unsigned i) { return data_[elements_ > 1 ? i : 0]; }
    const T& operator()(unsigned i) const { return data_[elements_ > 1 ? i : 0]; }
    // The flat array of getVolumeSize() elements.
    T* getData() { return data_; }
    const T* getData() const { return data_; }
    // Copies getVolumeSize() elements in.
    void setData(const T* data);

    // Frees the data and zeroes dimensions, pixel size and origin.
    void clear();
    // Smallest and largest element, scanning from element 0; 0 when empty.
    T min() const;
    T max() const;

    // New X-by-Y slice holding plane z; the caller owns it.
    Dataset2D<T>* getSlice(unsigned z) const;
    // Stores slice(i, j) into element (z, i, j) for i < X, j < Y: z is taken
    // as the first coordinate, so this is not the inverse of getSlice. The
    // filters rely on this order. Elements outside either grid are skipped.
    void setSlice(unsigned z, const Dataset2D<T>* slice);
    void setSlice(unsigned z, const Dataset2D<T>& slice) { setSlice(z, &slice); }

private:
    unsigned elements_ = 0;  // X*Y*Z
    unsigned X_ = 0, Y_ = 0, Z_ = 0;
    T* data_ = nullptr;  // never null: at least one element, even when empty
    float pixelSizeX_ = 0, pixelSizeY_ = 0, pixelSizeZ_ = 0;
    float originX_ = 0, originY_ = 0, originZ_ = 0;
};

template <class T>
std::ostream& operator<<(std::ostream& out, const Dataset3D<T>& data);

#endif
