// VOI: a volume of interest, a mask on the grid of a dataset.
//
// A voxel is active when its element is not 0, whatever the value. Besides
// being a Dataset3D<unsigned char> (read, written, filtered like any volume)
// a VOI computes statistics of a dataset over its active voxels: a single
// number for a volume, a curve through the frames for a series. The region's
// time-activity curve of the fitting machinery is mean() of a 4D dataset.
//
// Statistics walk the elements in flat order and count an element when the
// mask element at the same flat index is active. A data grid that differs from
// the mask's is reported ("invalid data dimensions (X,Y,Z) ") and read by flat
// index as far as both reach (a 1x1x1 volume counts as the same value
// everywhere).
#ifndef KINETRA_VOI_H
#define KINETRA_VOI_H

#include "Dataset4D.h"

class VOI : public Dataset3D<unsigned char> {
public:
    // A 1x1x1 mask of value 0.
    VOI();
    VOI(unsigned x, unsigned y, unsigned z, unsigned char value);
    VOI(const VOI& other) = default;
    VOI& operator=(const VOI& other);
    // Fills every element with a value.
    using Dataset3D<unsigned char>::operator=;
    ~VOI() override;

    // Number of non-zero elements, by a full pass (not cached).
    unsigned numActive() const;
    unsigned numInactive() const { return getVolumeSize() - numActive(); }
    // True if every active voxel of other is active here. A grid mismatch is
    // reported and answers false.
    bool contains(const VOI& other) const;

    // The mask's own smallest and largest element.
    using Dataset3D<unsigned char>::min;
    using Dataset3D<unsigned char>::max;

    // Statistics of a 3D or 4D dataset of any element type, as a curve: one
    // 1x1x1 frame for a volume, one frame per frame for a series (with its
    // times, lengths, midframe_approx and unit). Any other dataset gives an
    // empty series without a report.
    Dataset4D<double> max(const Dataset* data) const;
    Dataset4D<double> mean(const Dataset* data) const;
    Dataset4D<double> median(const Dataset* data) const;
    Dataset4D<double> min(const Dataset* data) const;
    Dataset4D<double> sdev(const Dataset* data) const;
    Dataset4D<double> sum(const Dataset* data) const;

    // Over one volume, n the number of active voxels:
    //   sum;  mean = sum / n (0/0 for an empty mask);
    //   sdev = sqrt(sum(v*v)/n - (sum(v)/n)^2), the population form;
    //   min, max: first active value, replaced by strictly smaller/larger
    //   ones (0 for an empty mask);
    //   median: element n/2 of the sorted values, the upper middle for even
    //   n, without averaging (0 for an empty mask).
    template <class T>
    double max(const Dataset3D<T>& data) const;
    template <class T>
    double mean(const Dataset3D<T>& data) const;
    template <class T>
    double median(const Dataset3D<T>& data) const;
    template <class T>
    double min(const Dataset3D<T>& data) const;
    template <class T>
    double sdev(const Dataset3D<T>& data) const;
    template <class T>
    double sum(const Dataset3D<T>& data) const;

    // The same statistic frame by frame: a series of T 1x1x1 volumes.
    template <class T>
    Dataset4D<double> max(const Dataset4D<T>& data) const;
    template <class T>
    Dataset4D<double> mean(const Dataset4D<T>& data) const;
    template <class T>
    Dataset4D<double> median(const Dataset4D<T>& data) const;
    template <class T>
    Dataset4D<double> min(const Dataset4D<T>& data) const;
    template <class T>
    Dataset4D<double> sdev(const Dataset4D<T>& data) const;
    template <class T>
    Dataset4D<double> sum(const Dataset4D<T>& data) const;

    enum class Statistic { Max, Mean, Median, Min, Sdev, Sum };

private:
    template <class T>
    double compute(Statistic statistic, const Dataset3D<T>& data, std::vector<double>& scratch) const;
    template <class T>
    Dataset4D<double> compute(Statistic statistic, const Dataset4D<T>& data) const;
    Dataset4D<double> compute(Statistic statistic, const Dataset* data) const;
    void checkGrid(const Dataset& data) const;

    // Active count at construction with a fill value; nothing reads it again.
    unsigned initialActive_ = 0;
};

#endif
