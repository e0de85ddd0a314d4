// The curves of a fit for display: model, data, error and input, at one
// voxel or averaged over a VOI, all in the model's unit.
#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "Protocol.h"
#include "VOI.h"
#include "util/Message.h"

namespace {

bool given(const std::string& name) { return !name.empty() && name != "none"; }

// The frames' model times of a 4D dataset of any element type.
std::vector<double> modelTimes(const Dataset* data) {
    const FrameSeries* series = data->series();
    return series != nullptr ? series->getModelTime() : std::vector<double>();
}

// The model and its inputs are evaluated at the voxel; their maps, sized by
// the last fit, may be smaller than the data asked about. False after a
// report when one of them does not hold the voxel.
bool mapsHold(const Model& model, unsigned x, unsigned y, unsigned z) {
    const Optimizable* owner = &model;
    bool holds = model.parameterOutside(x, y, z) == nullptr;
    for (unsigned i = 0; holds && i < model.getNumInputs(); ++i) {
        owner = model.getInput(i);
        holds = owner == nullptr || owner->parameterOutside(x, y, z) == nullptr;
    }
    if (holds) return true;
    ERROR("point (%d,%d,%d) is outside the parameter maps of '%s' (%dx%dx%d)", static_cast<int>(x),
          static_cast<int>(y), static_cast<int>(z), owner->getName().c_str(),
          static_cast<int>(owner->getParameterDimensionZ()), static_cast<int>(owner->getParameterDimensionY()),
          static_cast<int>(owner->getParameterDimensionX()));
    return false;
}

}  // namespace

bool Protocol::tacDatasets(const std::string& data, const std::string& error, Dataset*& d, Dataset*& e) const {
    d = getData(data);
    e = given(error) ? getData(error) : nullptr;
    if (d == nullptr) {
        ERROR("data '%s' not found", data.c_str());
        return false;
    }
    if (d->getNumDimensions() != 4) {
        ERROR("data '%s' has %d instead of 4 dimensions", data.c_str(), static_cast<int>(d->getNumDimensions()));
        return false;
    }
    if (e != nullptr && !d->checkDimensions(e)) {
        ERROR("data '%s' and error '%s' have dimension mismatch", data.c_str(), error.c_str());
        return false;
    }
    if (model_ == nullptr) {
        ERROR("no model in protocol '%s'", name_.c_str());
        return false;
    }
    return true;
}

Dataset4D<double>* Protocol::voxelTac(const Dataset* d, const Dataset* e, const std::vector<double>& times,
                                      unsigned x, unsigned y, unsigned z) {
    if (!mapsHold(*model_, x, y, z)) return nullptr;
    // Channel 0: the model curve at the frames' model times.
    Dataset4D<double>* tac = model_->createTAC(times, x, y, z, 0);
    if (tac == nullptr) return nullptr;
    const unsigned T = d->getDimensionT();
    tac->resize(T, 1, 1, 4);
    // Data and error are compared in the model's unit: v * u_d / u_m.
    const double um = model_->getUnit().getFactor();
    const double sd = d->getUnit().getFactor() / um;
    const double se = e != nullptr ? e->getUnit().getFactor() / um : 1.0;
    for (unsigned t = 0; t < T; ++t) {
        (*tac)(t, 0, 0, 1) = d->getValue4D(t, x, y, z) * sd;
        (*tac)(t, 0, 0, 2) = e != nullptr ? e->getValue4D(t, x, y, z) * se : 0.0;
        (*tac)(t, 0, 0, 3) = model_->getInput(0u, times[t]);
    }
    return tac;
}

Dataset4D<double>* Protocol::getTac(const std::string& data, const std::string& error, const VOI& voi) {
    Dataset *d, *e;
    if (!tacDatasets(data, error, d, e)) return nullptr;
    if (!d->checkVOI(&voi)) {
        ERROR("VOI '%s' has invalid dimensions %dx%dx%d (XxYxZ) for data '%s' with %dx%dx%dx%d (TxXxYxZ)",
              voi.getName().c_str(), static_cast<int>(voi.getDimensionX()), static_cast<int>(voi.getDimensionY()),
              static_cast<int>(voi.getDimensionZ()), data.c_str(), static_cast<int>(d->getDimensionT()),
              static_cast<int>(d->getDimensionX()), static_cast<int>(d->getDimensionY()),
              static_cast<int>(d->getDimensionZ()));
        return nullptr;
    }
    const unsigned active = voi.numActive();
    if (active == 0) {
        WARNING("VOI '%s' has no active voxels\n", messageLiteral(voi.getName()).c_str());
        return nullptr;
    }

    const std::vector<double> times = modelTimes(d);
    Dataset4D<double>* result = nullptr;
    const unsigned X = d->getDimensionX(), Y = d->getDimensionY(), Z = d->getDimensionZ();
    for (unsigned x = 0; x < X; ++x) {
        for (unsigned y = 0; y < Y; ++y) {
            for (unsigned z = 0; z < Z; ++z) {
                if (voi(x, y, z) == 0) continue;
                Dataset4D<double>* tac = voxelTac(d, e, times, x, y, z);
                if (tac == nullptr) {
                    delete result;
                    return nullptr;
                }
                if (result == nullptr) {
                    result = tac;
                } else {
                    *result += *tac;
                    delete tac;
                }
            }
        }
    }
    *result /= static_cast<double>(active);
    result->setUnit(model_->getUnit());
    return result;
}

Dataset4D<double>* Protocol::getTac(const std::string& data, const std::string& error, int x, int y, int z) {
    Dataset *d, *e;
    if (!tacDatasets(data, error, d, e)) return nullptr;
    const int X = static_cast<int>(d->getDimensionX()), Y = static_cast<int>(d->getDimensionY()),
              Z = static_cast<int>(d->getDimensionZ());
    if (x < 0 || x >= X || y < 0 || y >= Y || z < 0 || z >= Z) {
        ERROR("point (%d,%d,%d) is outside data '%s' (%dx%dx%d)", x, y, z, data.c_str(), Z, Y, X);
        return nullptr;
    }
    Dataset4D<double>* result =
        voxelTac(d, e, modelTimes(d), static_cast<unsigned>(x), static_cast<unsigned>(y), static_cast<unsigned>(z));
    if (result != nullptr) result->setUnit(model_->getUnit());
    return result;
}
