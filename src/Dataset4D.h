// Dataset4D<T>: a series of T volumes over time, each a complete Dataset3D<T>,
// with the start time and length of every frame.
//
// Constructors, resize and operator() take T first. The frame tables, the
// time unit and the model time live in the base FrameSeries (Dataset.series.h),
// which needs no element type. Pixel size and origin live in the volumes only.
//
// The member bodies live in Dataset4D.cpp, instantiated for the six element
// types; the element accessors are inline here.
#ifndef KINETRA_DATASET4D_H
#define KINETRA_DATASET4D_H

#include "Dataset.series.h"
#include "Dataset3D.h"

template <class T>
class Dataset4D : public FrameSeries {
public:
    // No frames.
    Dataset4D();
    Dataset4D(unsigned t, unsigned x, unsigned y, unsigned z, T value = T(0));
    Dataset4D(const Dataset4D& other);
    // Resizes (T, X, Y, Z), copies times, lengths, midframe_approx, value,
    // time and space unit, and each volume's data, space unit, pixel size and
    // origin. The name stays.
    Dataset4D& operator=(const Dataset4D& other);
    Dataset4D& operator=(const T& value);
    // All that assignment copies but the values: sizes, frames, units and each
    // volume's geometry. For results that overwrite every value anyway.
    void copyLayout(const Dataset4D& other);
    ~Dataset4D() override;

    // The virtual interface.
    // Converts every volume (each by its own unit), then stores the unit.
    void changeUnit(const Unit& unit) override;
    void setValue(double value) override;
    void setValue2D(unsigned x, unsigned y, double value) override;
    void setValue3D(unsigned x, unsigned y, unsigned z, double value) override;
    void setValue4D(unsigned t, unsigned x, unsigned y, unsigned z, double value) override {
        volumes_[t](x, y, z) = fromDouble<T>(value);
    }
    void setPixelSize(const std::vector<double>& size) override;  // into every volume
    void setOrigin(const std::vector<double>& origin) override;    // into every volume
    unsigned getDimensionX() const override { return X_; }
    unsigned getDimensionY() const override { return Y_; }
    unsigned getDimensionZ() const override { return Z_; }
    unsigned getImageSize() const override { return X_ * Y_; }
    unsigned getVolumeSize() const override { return X_ * Y_ * Z_; }
    size_t getSize() const override { return size_t(getNumElements()) * sizeof(T); }
    double getValue4D(unsigned t, unsigned x, unsigned y, unsigned z) const override {
        return double(volumes_[t](x, y, z));
    }
    double getValue3D(unsigned x, unsigned y, unsigned z) const override;
    double getValue2D(unsigned x, unsigned y) const override;
    std::vector<double> getPixelSize() const override;  // of volume 0, empty without volumes
    std::vector<double> getOrigin() const override;     // of volume 0, empty without volumes
    bool read(const std::string& fileName) override;
    bool read(std::istream& in) override;
    bool write(const std::string& fileName) override;
    bool write(std::ostream& out) override;
    void writeImages(const std::string& name) override;  // name_%03u,%03u.pgm per t, z
    Dataset& operator+=(double value) override;
    Dataset& operator-=(double value) override;
    Dataset& operator*=(double value) override;
    Dataset& operator/=(double value) override;
    void scale(double omin, double omax, double imin, double imax) override;
    Dataset* clone() const override;
    Dataset* cloneEmpty() const override;
    unsigned resize(unsigned x, unsigned y) override;
    unsigned resize(unsigned x, unsigned y, unsigned z) override;
    // A new frame count replaces all volumes (values are lost) and keeps the
    // leading frame times and lengths; then every volume gets exactly x, y, z.
    unsigned resize(unsigned t, unsigned x, unsigned y, unsigned z) override;
    void info(std::ostream& out) const override;

    // Element-wise arithmetic, volume by volume.
    using Dataset::operator+=;
    using Dataset::operator-=;
    using Dataset::operator*=;
    using Dataset::operator/=;
    Dataset4D& operator+=(const Dataset4D& other);
    Dataset4D& operator-=(const Dataset4D& other);
    Dataset4D& operator*=(const Dataset4D& other);
    Dataset4D& operator/=(const Dataset4D& other);

    // Element and volume access, unchecked.
    T& operator()(unsigned t, unsigned x, unsigned y, unsigned z) { return volumes_[t](x, y, z); }
    const T& operator()(unsigned t, unsigned x, unsigned y, unsigned z) const { return volumes_[t](x, y, z); }
    Dataset3D<T>& operator()(unsigned t) { return volumes_[t]; }
    const Dataset3D<T>& operator()(unsigned t) const { return volumes_[t]; }
    T& operator()(unsigned t, unsigned i) { return volumes_[t](i); }
    const T& operator()(unsigned t, unsigned i) const { return volumes_[t](i); }
    unsigned index(unsigned x, unsigned y, unsigned z) const { return (z * Y_ + y) * X_ + x; }
    // Copies a volume's elements into volume t, if there are volumes.
    void setData(unsigned t, const T* data);

    // Frees the volumes and zeroes frame count, dimensions and frame tables.
    void clear();
    // Smallest and largest element over all volumes; 0 without volumes.
    T min() const;
    T max() const;

    // New X-by-Y slice of plane z of volume t (zero without volumes).
    Dataset2D<T>* getSlice(unsigned t, unsigned z) const;
    // Dataset3D::setSlice on volume t, with its first-coordinate rule.
    void setSlice(unsigned t, unsigned z, const Dataset2D<T>* slice);
    void setSlice(unsigned t, unsigned z, const Dataset2D<T>& slice) { setSlice(t, z, &slice); }

    // The T values of one voxel, and back (values beyond T are ignored,
    // missing ones leave the frames unchanged).
    std::vector<double> getTAC(unsigned x, unsigned y, unsigned z) const;
    void setTAC(unsigned x, unsigned y, unsigned z, const std::vector<double>& values);

private:
    unsigned X_ = 0, Y_ = 0, Z_ = 0;  // cached copy of what every volume holds
    Dataset3D<T>* volumes_ = nullptr;  // T volumes, null when T is 0
};

template <class T>
std::ostream& operator<<(std::ostream& out, const Dataset4D<T>& data);

#endif
