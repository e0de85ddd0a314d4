// Dataset2D<T>: a slice of X by Y elements, X fastest: (x, y) lies at y*X + x.
//
// The member bodies live in Dataset2D.cpp, instantiated for the six element
// types; only the element accessors are inline here.
#ifndef KINETRA_DATASET2D_H
#define KINETRA_DATASET2D_H

#include "Dataset.h"

template <class T>
class Dataset2D : public Dataset {
public:
    explicit Dataset2D(unsigned x = 1, unsigned y = 1, T value = T(0));
    Dataset2D(const Dataset2D& other);
    Dataset2D& operator=(const Dataset2D& other);
    Dataset2D& operator=(const T& value);
    ~Dataset2D() override;

    // The virtual interface.
    void setTime(unsigned t, double value) override;
    void setFrameLength(unsigned t, double value) override;
    void setTimeUnit(const Unit& unit) override;
    void changeUnit(const Unit& unit) override;  // does nothing at all
    void setValue(double value) override;
    void setValue2D(unsigned x, unsigned y, double value) override;
    void setValue3D(unsigned x, unsigned y, unsigned z, double value) override;
    void setValue4D(unsigned t, unsigned x, unsigned y, unsigned z, double value) override;
    void setPixelSize(const std::vector<double>& size) override;
    void setOrigin(const std::vector<double>& origin) override;
    double getTime(unsigned t) const override;
    double getFrameLength(unsigned t) const override;
    const Unit& getTimeUnit() const override;
    unsigned getDimensionT() const override { return 0; }
    unsigned getDimensionX() const override { return X_; }
    unsigned getDimensionY() const override { return Y_; }
    unsigned getDimensionZ() const override { return 0; }
    unsigned getImageSize() const override { return X_ * Y_; }
    unsigned getVolumeSize() const override { return 0; }
    size_t getSize() const override { return size_t(X_) * Y_ * sizeof(T); }
    // Reads (x, y) = (b, c): the first coordinate is ignored.
    double getValue4D(unsigned t, unsigned x, unsigned y, unsigned z) const override;
    // Reads (x, y); the third coordinate is ignored.
    double getValue3D(unsigned x, unsigned y, unsigned z) const override;
    double getValue2D(unsigned x, unsigned y) const override { return double(data_[y * X_ + x]); }
    std::vector<double> getPixelSize() const override;
    std::vector<double> getOrigin() const override;
    bool read(const std::string& fileName) override;
    bool read(std::istream& in) override;    // 4-byte X, 4-byte Y, X*Y elements
    bool write(const std::string& fileName) override;
    bool write(std::ostream& out) override;  // the same layout
    void writeImages(const std::string& name) override;  // writeImage(name)
    Dataset& operator+=(double value) override;
    Dataset& operator-=(double value) override;
    Dataset& operator*=(double value) override;
    Dataset& operator/=(double value) override;
    void scale(double omin, double omax, double imin, double imax) override;
    Dataset* clone() const override;
    Dataset* cloneEmpty() const override;
    unsigned resize(unsigned x, unsigned y) override;
    unsigned resize(unsigned x, unsigned y, unsigned z) override;
    unsigned resize(unsigned t, unsigned x, unsigned y, unsigned z) override;
    void info(std::ostream& out) const override;

    // Arithmetic with another dataset is not defined for slices: the base
    // operators report it.
    using Dataset::operator+=;
    using Dataset::operator-=;
    using Dataset::operator*=;
    using Dataset::operator/=;

    // Element access, unchecked.
    T& operator()(unsigned x, unsigned y) { return data_[y * X_ + x]; }
    const T& operator()(unsigned x, unsigned y) const { return data_[y * X_ + x]; }
    T& operator()(unsigned i) { return data_[i]; }
    const T& operator()(unsigned i) const { return data_[i]; }
    unsigned index(unsigned x, unsigned y) const { return y * X_ + x; }
    // The flat array of X*Y elements.
    T* getData() { return data_; }
    const T* getData() const { return data_; }

    // Frees the data and zeroes dimensions, pixel size and origin.
    void clear();
    // Smallest and largest element; 0 for an empty slice.
    T min() const;
    T max() const;

    // Binary PGM picture of the slice, name + ".pgm": integer types scaled by
    // their full range, float and double taken to lie in [0, 1].
    void writeImage(const std::string& name) const;

private:
    unsigned X_ = 0;
    unsigned Y_ = 0;
    T* data_ = nullptr;  // never null: at least one element, even when empty
    float pixelSizeX_ = 0, pixelSizeY_ = 0;
    float originX_ = 0, originY_ = 0;
};

template <class T>
std::ostream& operator<<(std::ostream& out, const Dataset2D<T>& data);

#endif
