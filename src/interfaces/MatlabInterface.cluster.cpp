// kinetra('cluster', data, [voi,] n, [thresholds,] dist): the label image of
// k-means (without thresholds) or of one assignment to the means at the given
// fractions of the data range (with them), inside the VOI if one is given.
//
// Data and VOI are workspace names or arrays; arrays become temporaries that
// this command frees at its end and that never enter the workspace.
#include <iostream>
#include <string>
#include <vector>

#include "VOI.h"
#include "interfaces/MatlabInterface.args.h"
#include "interfaces/MatlabInterface.h"
#include "interfaces/MatlabInterface.objects.h"
#include "util/Cluster.h"
#include "util/Message.h"

using namespace mxobjects;

namespace {

// The first element of a numeric, logical or text array (text gives its
// character code), 0 for an empty array or anything else.
double firstValue(const mxArray* a) {
    if (a == nullptr || mxGetNumberOfElements(a) == 0) return 0;
    if (!mxIsChar(a) && mxargs::numericDimensions(a) == 0) return 0;
    const mxargs::FullArray full(a);
    return full ? mxGetScalar(full.get()) : 0;
}

}  // namespace

bool MatlabInterface::commandCluster(int, mxArray** plhs, int nrhs, const mxArray** prhs) {
    if (nrhs < 4) {
        WARNING("cluster needs at least 2 arguments: data n dist\n");
        return true;
    }
    Temporary<Dataset> data;
    if (!findData(*this, nrhs, prhs, "_cluster_data_", data)) return true;

    // An optional VOI: a name or a logical 3D array.
    Temporary<VOI> voi;
    int index = 2;
    if (isString(prhs[2]) || isVOI(prhs[2])) {
        if (isString(prhs[2])) {
            const std::string name = getString(prhs[2]);
            voi.borrow(getVOI(name));
            if (!voi) {
                ERROR("VOI '%s' not found\n", name.c_str());
                return true;
            }
        } else {
            voi.own(arrayVOI(*this, prhs[2]));
            if (!voi) return true;  // the bridge has said why
        }
        index = 3;
    }

    // The count: at least 1; a negative or NaN count would wrap round in
    // the unsigned conversion, and one beyond 255 is the cluster's to refuse.
    const double count = firstValue(prhs[index]);
    ++index;
    if (!(count >= 1)) {
        ERROR("number of clusters must be > 0");
        return true;
    }
    const unsigned n = count > 256 ? 256u : unsigned(count);

    if (!isString(prhs[nrhs - 1])) {
        ERROR("distance must be a string of 'L1', 'L2', 'WL1', 'WL2'");
        return true;
    }
    const std::string distance = getString(prhs[nrhs - 1]);
    if (nrhs != index + 1 && nrhs != index + 2) return false;

    std::vector<double> thresholds;
    if (nrhs == index + 2 && (!getVector(prhs[index], thresholds) || double(thresholds.size()) != count))
        return true;  // thresholds that don't fit: nothing computed, nothing said

    Cluster cluster(n);
    if (cluster.getNumCluster() == 0) return true;  // reported
    if (nrhs == index + 1) {
        cluster.setMethod("k-means");
    } else {
        cluster.setMethod("threshold");
        cluster.setThreshold(thresholds);
    }
    cluster.setDistance(distance);
    if (!distance.empty() && distance[0] == 'W' && data->series() != nullptr)
        cluster.setWeights(data->series()->getFrameLength());

    Dataset3D<unsigned char>* labels = cluster.compute(data.get(), voi.get());
    // The report goes to the process's standard output, not to the console.
    cluster.status(std::cout);
    if (labels != nullptr) {
        mxargs::setOutput(plhs, 0, createDataArray3D(labels));
        delete labels;
    }
    return true;
}
