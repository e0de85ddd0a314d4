// The bridge between the box search and a voxel's least-squares problem:
// the search sees a vector of the searched coordinates, the bridge writes
// it into the fitted parameters of the optimizable at one voxel and returns
//     chi^2(p) = sum_t (model(t) - y_t)^2                (unweighted)
//     dchi^2/dp_j = sum_t 2 (model(t) - y_t) dmodel(t)/dp_j,
// p_j being log10 of the value for a logarithmic parameter.
// Each search coordinate is one fitted parameter (by fit index); fitted
// parameters that are not searched keep the values given to setPoint.
// Everything it needs is its own, so that each voxel's search can have one.
#ifndef KINETRA_OPTIMIZERS_MULTIDIMGLOBAL_BRIDGE_H
#define KINETRA_OPTIMIZERS_MULTIDIMGLOBAL_BRIDGE_H

#include <string>
#include <vector>

#include "boxsearch/MDGS_linalg.h"

class Optimizable;

class GlobalBridge {
public:
    // indices[i] and names[i]: the optimizable's index and the name of fit
    // index i; times and data: the voxel's curve, in the model's unit.
    GlobalBridge(Optimizable& model, const std::vector<unsigned>& indices, const std::vector<std::string>& names,
                 const std::vector<double>& times, const std::vector<double>& data);

    void setVoxel(unsigned x, unsigned y, unsigned z) { x_ = x, y_ = y, z_ = z; }
    // The searched fit indices, in search order.
    void setCoordinates(const std::vector<unsigned>& searched) { searched_ = searched; }
    // All fitted values [P]: those of the parameters not searched stay.
    void setPoint(const std::vector<double>& values) { point_ = values; }

    double objective(const RVector& p);
    void gradient(const RVector& p, RVector& g);
    // Writes p into the fitted parameters at the voxel (at verbosity 5 each
    // value is traced).
    void write(const RVector& p);

private:
    // Writes p and fills the residuals model(t) - y_t.
    void residuals(const RVector& p);

    Optimizable& model_;
    std::vector<unsigned> indices_;
    std::vector<std::string> names_;
    std::vector<bool> logScale_;  // by fit index: searched as log10 of the value
    const std::vector<double>& times_;
    const std::vector<double>& data_;
    unsigned x_ = 0, y_ = 0, z_ = 0;
    std::vector<unsigned> searched_;
    std::vector<double> point_;
    std::vector<double> residual_;
    // The model's values [T], derivatives [T x searched] and the searched
    // parameters' indices of one evaluation.
    std::vector<double> values_, derivatives_;
    std::vector<unsigned> searchedIndices_;
};

#endif
