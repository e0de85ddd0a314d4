// Cluster: sorts the voxels of a dataset into up to 255 classes, by value for
// a volume and by time curve for a series, and returns the label image
// (1 to K for clustered voxels, 0 for voxels outside the VOI).
//
// Methods: "k-means" iterates from means spaced over each dimension's range;
// "threshold" assigns once to those spaced means; "mean" assigns once to the
// means given by setMean. Distances between samples a and b of D values, no
// square roots, so they compare but are not lengths:
//
//     L1   sum |a - b|          WL1  sum w |a - b|
//     L2   sum (a - b)^2        WL2  sum w (a - b)^2
//
// The weights w (one per dimension) default to 1; the cluster command sets
// them to the frame lengths. Everything is deterministic: start means follow
// from the range, ties go to the lowest cluster index, an emptied cluster's
// mean goes to 0. Voxels with a NaN or infinite value are left out of the
// clustering (label 0), with a message.
#ifndef KINETRA_UTIL_CLUSTER_H
#define KINETRA_UTIL_CLUSTER_H

#include <ostream>
#include <string>
#include <vector>

#include "Dataset4D.h"

class VOI;

class Cluster {
public:
    explicit Cluster(unsigned k);
    virtual ~Cluster() = default;

    // "k-means", or "threshold" and "mean" (one assignment); another name
    // is reported and leaves no method.
    void setMethod(const std::string& name);
    // "L1", "L2", "WL1" or "WL2"; another name is reported and leaves none.
    void setDistance(const std::string& name);
    // At most 255; sets the thresholds to (i + 0.5) / k.
    void setNumCluster(unsigned k);
    // K fractions of the data range, each in [0, 1].
    void setThreshold(const std::vector<double>& thresholds);
    // Row k of the means (D values), for the method "mean".
    void setMean(unsigned k, const std::vector<double>& mean);
    std::vector<double> getMean(unsigned k) const;
    void setWeights(const std::vector<double>& weights) { weights_ = weights; }
    void setMaxIterations(unsigned n) { maxIterations_ = n; }

    // Clusters n samples of d values (row s at samples[s*d]); the data stay
    // the caller's. 0 on success, -2 if k-means did not converge, -1 if
    // nothing could be computed.
    int compute(const double* samples, int n, int d);
    // The label image of a 3D or 4D dataset, inside voi if given; the caller
    // owns it. Null if nothing could be computed.
    Dataset3D<unsigned char>* compute(const Dataset* data, const VOI* voi);
    template <class T>
    Dataset3D<unsigned char>* compute(const Dataset3D<T>* data);
    template <class T>
    Dataset3D<unsigned char>* compute(const Dataset4D<T>* data);

    // The report: iterations, then per cluster its count and mean.
    void status(std::ostream& out) const;

    unsigned getNumCluster() const { return K_; }
    unsigned getIterations() const { return iterations_; }
    unsigned getDimension() const { return D_; }
    const std::vector<unsigned char>& getLabels() const { return labels_; }
    const std::vector<unsigned>& getCounts() const { return counts_; }
    const std::vector<double>& getWeights() const { return weights_; }

    double distanceL1(const double* a, const double* b) const;
    double distanceL2(const double* a, const double* b) const;
    double distanceWL1(const double* a, const double* b) const;
    double distanceWL2(const double* a, const double* b) const;

private:
    // A cluster count and a method are set; otherwise false after a report.
    bool ready() const;
    bool init();
    int kmeans();
    int threshold();
    // Assigns every sample to its nearest mean; the number of changed labels.
    unsigned classify(std::vector<double>& scratch);
    void count();
    // Gathers the samples of a dataset: for each voxel (active in the VOI and
    // with finite values) its D values, then runs the method and writes the
    // labels + 1 into a new label image.
    template <class Data, class Value>
    Dataset3D<unsigned char>* computeImage(const Data& data, unsigned D, Value value);

    std::string method_;
    int (Cluster::*run_)() = nullptr;
    std::string distanceName_;
    double (Cluster::*distance_)(const double*, const double*) const = nullptr;
    std::vector<double> thresholds_;
    const VOI* voi_ = nullptr;
    const double* samples_ = nullptr;
    std::vector<double> means_;  // K rows of D values
    std::vector<double> weights_;
    std::vector<unsigned char> labels_;
    std::vector<unsigned> counts_;
    unsigned K_ = 0, N_ = 0, D_ = 0;
    unsigned iterations_ = 0;
    unsigned maxIterations_ = 100;
};

#endif
