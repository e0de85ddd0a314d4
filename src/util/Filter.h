// Filter: a named operation or a convolution kernel applied to a dataset.
//
// The name chooses the operation and carries its numbers ("tmean5",
// "crop10:20,10:20,0:5", "savgol4,4,2"). Names are matched by prefix, in the
// order of the table in Filter.cpp:
//
//     name                       3D data            4D data
//     crop x0:x1,y0:y1,z0:z1      crop3              one zero per frame
//     down n                      down3              one zero per frame
//     pad n                       pad3 (n, n, n)     one zero per frame
//     savgol nl,nr,m              kernel path        savgol
//     tmean n                     kernel path        tmean
//     tmedian n                   kernel path        tmedian
//     tpca n                      kernel path        tpca
//     anything else ("block2")    kernel path        kernel path
//
// The time filters (Filter.time.cpp) work on each voxel's curve; voxels
// outside a VOI keep their values. Results of compute(in, voi) are new
// datasets of the input's class made by cloneEmpty: no name, no unit and zero
// frame times, except for tpca, whose result is a copy of the input's.
//
// Median is the sliding-window median of tmedian: an even window averages
// its middle pair (VOI::median takes the upper one).
#ifndef KINETRA_UTIL_FILTER_H
#define KINETRA_UTIL_FILTER_H

#include <deque>
#include <string>
#include <vector>

#include "Dataset4D.h"

class VOI;

class Filter {
public:
    explicit Filter(const std::string& name);
    Filter(const std::string& name, const Dataset* kernel);
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;
    virtual ~Filter();

    // Stores the name; a kernel is cloned and centred at (X/2, Y/2, Z/2).
    // Without one, the name "block2" makes the 2x2x2 kernel of 0.125 with
    // its centre at the origin.
    void init(const std::string& name, const Dataset* kernel);

    // The result as a new dataset of the input's class; the caller owns it.
    Dataset* compute(Dataset* in, VOI* voi);
    // Into out, a dataset of the input's class; a null out replaces in by
    // the result.
    void compute(Dataset* in, Dataset* out, VOI* voi);

    template <class T>
    void compute2(Dataset2D<T>* in, Dataset2D<T>* out);
    template <class T>
    void compute3(Dataset3D<T>* in, Dataset3D<T>* out, VOI* voi);
    template <class T>
    void compute4(Dataset4D<T>* in, Dataset4D<T>* out, VOI* voi);

    // The operations. Each checks its numbers against the data and warns
    // instead of reading or allocating beyond reason.
    template <class T>
    void crop3(Dataset3D<T>* in, Dataset3D<T>* out, unsigned x0, unsigned x1, unsigned y0, unsigned y1, unsigned z0,
               unsigned z1);
    template <class T>
    void down3(Dataset3D<T>* in, Dataset3D<T>* out, unsigned n);
    template <class T>
    void pad3(Dataset3D<T>* in, Dataset3D<T>* out, unsigned px, unsigned py, unsigned pz);
    template <class T>
    void savgol(Dataset4D<T>* in, Dataset4D<T>* out, unsigned nl, unsigned nr, unsigned m, VOI* voi);
    template <class T>
    void tmean(Dataset4D<T>* in, Dataset4D<T>* out, unsigned n, VOI* voi);
    template <class T>
    void tmedian(Dataset4D<T>* in, Dataset4D<T>* out, unsigned n, VOI* voi);
    template <class T>
    void tpca(Dataset4D<T>* in, Dataset4D<T>* out, unsigned n, VOI* voi);

    // The least-squares smoothing coefficients of a window of nl past and
    // nr future frames and a polynomial of order m: c[nl + k] weighs frame
    // t + k in the value at t, k from -nl to nr. Empty if nl + nr < m.
    static std::vector<double> savgolCoefficients(unsigned nl, unsigned nr, unsigned m);

    const std::string& getName() const { return name_; }
    const Dataset* getKernel() const { return kernel_; }
    const std::vector<unsigned>& getKernelCentre() const { return centre_; }

    // The largest dataset, in elements, that an operation makes: 1e8
    // doubles are 800 MB, beyond any image this toolbox is meant for.
    static constexpr double kMaxElements = 1e8;

private:
    template <class T>
    void convolve3(const Dataset3D<T>& in, Dataset3D<T>& out, const VOI* voi);
    bool kernelFits(const Dataset& image) const;

    std::string name_;
    Dataset* kernel_ = nullptr;
    std::vector<unsigned> centre_{0, 0, 0};
};

// The sliding-window median: push at the back, pop at the front.
class Median {
public:
    virtual ~Median() = default;
    void push(double v) { window_.push_back(v); }
    void pop() {
        if (!window_.empty()) window_.pop_front();
    }
    size_t size() const { return window_.size(); }
    // 0 for an empty window, the element for one; otherwise the middle of the
    // sorted window, the mean of the middle pair for an even size.
    double compute();
    // The same over values[0..n-1], sorting a copy in scratch (n entries).
    static double of(const double* values, size_t n, double* scratch);

private:
    std::deque<double> window_;
    std::vector<double> scratch_;
};

// Each voxel's curve (all voxels, or those active in voi) becomes its
// deviation from its own mean, divided by its population standard deviation
// if scale is set; a curve of zero deviation becomes 0.
template <class T>
void normalizeT(Dataset4D<T>& data, const VOI* voi, bool scale);

// The T-by-T lag correlation over the voxels (in voi, or all):
// C(i, j) = sum over voxels and t of v(t) v(t + |i - j|), divided by the
// voxel count.
template <class T>
Dataset2D<double>* corr(const Dataset4D<T>& data, const VOI* voi);

// Eigenvalues of a symmetric matrix in descending order and, if vectors is
// given, the eigenvectors as its columns: vectors(i, j) is entry i of the
// vector of values[j]. False, after a report, for a matrix that is not square.
bool eigen(const Dataset2D<double>& matrix, std::vector<double>* values, Dataset2D<double>* vectors);

// result[i] = sum over j of M(i, j) * v[j], X(M) entries.
std::vector<double> operator*(const std::vector<double>& v, const Dataset2D<double>& M);

#endif
