// kinetra('filter', data, type)                        a named filter
// kinetra('filter', data, 'voi', voi, method)          a VOI statistic per frame
// kinetra('filter', data, 'norm', method, voi1, voi2)  data inside voi2 divided
//                                                      by a statistic over voi1
//
// Data and VOIs are workspace names or arrays. Arrays become temporaries that
// this command owns and frees at its end, on every path: they never enter the
// workspace, so a workspace object of a temporary's name is never touched.
#include <memory>
#include <string>

#include "Dataset.visit.h"
#include "VOI.h"
#include "interfaces/MatlabInterface.args.h"
#include "interfaces/MatlabInterface.h"
#include "interfaces/MatlabInterface.objects.h"
#include "util/Filter.h"
#include "util/Message.h"

using namespace mxobjects;

namespace {

using Statistic = Dataset4D<double> (VOI::*)(const Dataset*) const;

struct StatisticRow {
    const char* name;
    Statistic statistic;
    bool forNorm;  // "sum" does not normalise
};

const StatisticRow kStatistics[] = {
    {"mean", &VOI::mean, true}, {"median", &VOI::median, true}, {"min", &VOI::min, true},
    {"max", &VOI::max, true},   {"sdev", &VOI::sdev, true},     {"sum", &VOI::sum, false},
};

Statistic findStatistic(const std::string& name, bool forNorm) {
    for (const StatisticRow& row : kStatistics)
        if (name == row.name && (row.forNorm || !forNorm)) return row.statistic;
    return nullptr;
}

// value(t, x, y, z) /= m(t) inside the mask, m(0) for a volume.
void divideInside(Dataset& data, const VOI& mask, const Dataset4D<double>& m) {
    const unsigned voxels = data.getNumDimensions() == 2 ? 0 : data.getVolumeSize();
    visitDataset(data, [&](auto& d) {
        using D = std::remove_reference_t<decltype(d)>;
        using T = typename DatasetClass<D>::element;
        if constexpr (DatasetClass<D>::dimensions == 3) {
            for (unsigned i = 0; i < voxels; ++i)
                if (mask(i) != 0) d(i) = fromDouble<T>(double(d(i)) / m(0, 0u));
        } else if constexpr (DatasetClass<D>::dimensions == 4) {
            for (unsigned t = 0; t < d.getDimensionT(); ++t)
                for (unsigned i = 0; i < voxels; ++i)
                    if (mask(i) != 0) d(t, i) = fromDouble<T>(double(d(t, i)) / m(t, 0u));
        }
    });
}

}  // namespace

bool MatlabInterface::commandFilter(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) {
    if (nrhs < 3) return false;
    const std::string type = getString(prhs[2]);
    // The forms with a VOI need all their arguments.
    if ((type == "voi" && nrhs < 5) || (type == "norm" && nrhs < 6)) return false;

    Temporary<Dataset> data;
    if (!findData(*this, nrhs, prhs, "_filter_data_", data)) return true;

    std::unique_ptr<Dataset> result;
    if (type == "voi") {
        Temporary<VOI> voi;
        if (!findFilterVOI(*this, prhs[3], "_filter_voi_", voi)) return true;
        if (data->getNumDimensions() != 4) {
            MESSAGE(1, "KINETRA: data '%s' is not 4D\n", data->getName().c_str());
            return true;
        }
        if (!sameGrid(*data, *voi)) return true;
        const std::string method = getString(prhs[4]);
        if (Statistic statistic = findStatistic(method, false))
            result.reset(new Dataset4D<double>((voi.get()->*statistic)(data.get())));
        else
            WARNING("unknown VOI method '%s'", method.c_str());
    } else if (type == "norm") {
        const std::string method = getString(prhs[3]);
        Temporary<VOI> voi1, voi2;
        if (!findFilterVOI(*this, prhs[4], "_filter_voi1_", voi1) || !findFilterVOI(*this, prhs[5], "_filter_voi2_", voi2) ||
            !sameGrid(*data, *voi1) || !sameGrid(*data, *voi2))
            return true;
        const Statistic statistic = findStatistic(method, true);
        if (statistic == nullptr) {
            // No statistic, no divisor: the command ends after the report.
            ERROR("%s", "");
            return true;
        }
        const Dataset4D<double> m = (voi1.get()->*statistic)(data.get());
        result.reset(data->clone());
        result->setName("_filter_result_");
        if (m.getDimensionT() > 0) divideInside(*result, *voi2, m);
    } else if (nrhs == 3) {
        Filter filter(type);
        result.reset(filter.compute(data.get(), nullptr));
    } else {
        WARNING("unknown filter type '%s'", type.c_str());
    }

    // Outputs; an unknown type or method has none.
    if (nlhs == 0 || !result) return true;
    if (result->getNumDimensions() == 3) {
        mxargs::setOutput(plhs, 0, createDataArray3D(result.get()));
        if (nlhs >= 2) addOutputUnit(&plhs[1], &result->getUnit());
    } else if (result->getNumDimensions() == 4) {
        mxargs::setOutput(plhs, 0, createDataArray4D(result.get()));
        if (nlhs >= 2) plhs[1] = createTimeArray(result.get());
        if (nlhs >= 3) addOutputUnit(&plhs[2], &result->getUnit());
    }
    return true;
}
