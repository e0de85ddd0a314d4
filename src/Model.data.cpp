// Synthetic data from a model: whole datasets, time-activity curves of the
// components and inputs at one voxel, and sensitivity tables.
//
// Each maker has three sources of time: an even grid t0..t1 of n frames, a
// list of times, or the frames of a measured dataset (compared at its model
// times). They all reduce to three vectors: frame starts, frame lengths and
// the model times at which the model is evaluated.
#include <vector>

#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "util/Message.h"

namespace {

// An even grid: t_i = t0 + i (t1 - t0) / (n - 1), every frame as long as one
// step. With n = 1 the step is 0/0 and the single time is not a number.
void evenGrid(double t0, double t1, unsigned n, std::vector<double>& times, std::vector<double>& lengths) {
    times.assign(n, 0.0);
    lengths.assign(n, 0.0);
    if (n == 0) return;
    const double step = (t1 - t0) / static_cast<double>(n - 1);
    for (unsigned i = 0; i < n; ++i) {
        times[i] = t0 + i * step;
        lengths[i] = step;
    }
}

// Frame i lasts until time i+1; the last frame as long as the one before.
// A single time has no neighbour to measure against and gets length 0.
std::vector<double> lengthsOf(const std::vector<double>& times) {
    const size_t n = times.size();
    std::vector<double> lengths(n, 0.0);
    for (size_t i = 0; i + 1 < n; ++i) lengths[i] = times[i + 1] - times[i];
    if (n >= 2) lengths[n - 1] = times[n - 1] - times[n - 2];
    return lengths;
}

}  // namespace

bool Model::checkInput() const {
    if (input_.empty()) {
        ERROR("no input function set for model '%s'", name_.c_str());
        return false;
    }
    return true;
}

bool Model::checkComponent(int component) const {
    const long long columns = static_cast<long long>(components_) + static_cast<long long>(input_.size());
    if (component < -1 || component >= columns) {
        ERROR("component index '%d' out of range\n", component);
        return false;
    }
    return true;
}

// ---------------------------------------------------------------- createData

Dataset4D<double>* Model::makeData(const std::vector<double>& times, const std::vector<double>& lengths,
                                   const std::vector<double>& modelTimes) {
    const unsigned n = static_cast<unsigned>(times.size());
    const unsigned nx = getParameterDimensionX(), ny = getParameterDimensionY(), nz = getParameterDimensionZ();
    Dataset4D<double>* data = new Dataset4D<double>(n, nx, ny, nz, 0.0);
    for (unsigned i = 0; i < n; ++i) {
        data->setTime(i, times[i]);
        data->setFrameLength(i, lengths[i]);
        const double t = modelTimes[i];
        for (unsigned x = 0; x < nx; ++x)
            for (unsigned y = 0; y < ny; ++y)
                for (unsigned z = 0; z < nz; ++z) (*data)(i, x, y, z) = (*this)(t, x, y, z);
    }
    data->setUnit(unit_);
    return data;
}

Dataset4D<double>* Model::createData(double t0, double t1, unsigned n) {
    if (!checkInput()) return nullptr;
    std::vector<double> times, lengths;
    evenGrid(t0, t1, n, times, lengths);
    return makeData(times, lengths, times);
}

Dataset4D<double>* Model::createData(const std::vector<double>& times) {
    if (!checkInput()) return nullptr;
    return makeData(times, lengthsOf(times), times);
}

Dataset4D<double>* Model::createData(const Dataset4D<double>& source) {
    if (!checkInput()) return nullptr;
    if (source.getUnit().getName() != unit_.getName())
        WARNING("unit of dataset (%s) != model unit (%s)!\n", source.getUnit().getName().c_str(),
                unit_.getName().c_str());
    const unsigned n = source.getDimensionT();
    std::vector<double> times(n), lengths(n);
    for (unsigned i = 0; i < n; ++i) {
        times[i] = source.getTime(i);
        lengths[i] = source.getFrameLength(i);
    }
    Dataset4D<double>* data = makeData(times, lengths, source.getModelTime());
    data->setMidframeApprox(source.getMidframeApprox());
    return data;
}

// ---------------------------------------------------------------- createTAC

void Model::fillTAC(Dataset4D<double>* tac, unsigned i, double t, unsigned x, unsigned y, unsigned z,
                    int component) {
    const unsigned inputs = static_cast<unsigned>(input_.size());
    if (component == -1) {
        // All components, then every input in its own units.
        const std::vector<double> all = computeAll(t, x, y, z);
        for (unsigned j = 0; j < components_; ++j) (*tac)(i, 0, 0, j) = j < all.size() ? all[j] : 0.0;
        for (unsigned k = 0; k < inputs; ++k)
            (*tac)(i, 0, 0, components_ + k) = getInput(k, t) * (unit_.getFactor() / input_[k]->getUnit().getFactor());
        return;
    }
    const unsigned c = static_cast<unsigned>(component);
    if (c < components_) {
        const std::vector<double> all = computeAll(t, x, y, z);
        (*tac)(i, 0, 0, 0) = c < all.size() ? all[c] : 0.0;
    } else {
        // A single input curve stays in the model's units.
        (*tac)(i, 0, 0, 0) = getInput(c - components_, t);
    }
}

Dataset4D<double>* Model::makeTAC(const std::vector<double>& times, const std::vector<double>& lengths,
                                  const std::vector<double>& modelTimes, unsigned x, unsigned y, unsigned z,
                                  int component) {
    const unsigned n = static_cast<unsigned>(times.size());
    const unsigned columns = component == -1 ? components_ + static_cast<unsigned>(input_.size()) : 1;
    Dataset4D<double>* tac = new Dataset4D<double>(n, 1, 1, columns, 0.0);
    for (unsigned i = 0; i < n; ++i) {
        tac->setTime(i, times[i]);
        tac->setFrameLength(i, lengths[i]);
        fillTAC(tac, i, modelTimes[i], x, y, z, component);
    }
    tac->setUnit(unit_);
    return tac;
}

Dataset4D<double>* Model::createTAC(double t0, double t1, unsigned n, unsigned x, unsigned y, unsigned z,
                                    int component) {
    if (!checkInput() || !checkComponent(component)) return nullptr;
    std::vector<double> times, lengths;
    evenGrid(t0, t1, n, times, lengths);
    return makeTAC(times, lengths, times, x, y, z, component);
}

Dataset4D<double>* Model::createTAC(const std::vector<double>& times, unsigned x, unsigned y, unsigned z,
                                    int component) {
    if (!checkInput() || !checkComponent(component)) return nullptr;
    return makeTAC(times, lengthsOf(times), times, x, y, z, component);
}

Dataset4D<double>* Model::createTAC(const Dataset4D<double>& source, unsigned x, unsigned y, unsigned z,
                                    int component) {
    if (!checkInput() || !checkComponent(component)) return nullptr;
    if (source.getUnit().getName() != unit_.getName())
        WARNING("unit of TAC dataset (%s) != model unit (%s)!\n", source.getUnit().getName().c_str(),
                unit_.getName().c_str());
    const unsigned n = source.getDimensionT();
    std::vector<double> times(n), lengths(n);
    for (unsigned i = 0; i < n; ++i) {
        times[i] = source.getTime(i);
        lengths[i] = source.getFrameLength(i);
    }
    Dataset4D<double>* tac = makeTAC(times, lengths, source.getModelTime(), x, y, z, component);
    tac->setMidframeApprox(source.getMidframeApprox());
    return tac;
}

// ---------------------------------------------------------------- createDelta

Dataset4D<double>* Model::createDelta(double t0, double t1, unsigned n, unsigned x, unsigned y, unsigned z) {
    if (!checkInput()) return nullptr;
    std::vector<std::string> free;
    for (const Parameter& p : parameter_)
        if (p.getState() == Parameter::FREE) free.push_back(p.getName());
    std::vector<double> times, lengths;
    evenGrid(t0, t1, n, times, lengths);
    Dataset4D<double>* delta = new Dataset4D<double>(n, 1, 1, static_cast<unsigned>(free.size()), 0.0);
    for (unsigned i = 0; i < n; ++i) {
        const double t = times[i];
        delta->setTime(i, t);  // the frame length stays as it is
        for (unsigned j = 0; j < free.size(); ++j) (*delta)(i, 0, 0, j) = der(free[j], t, x, y, z);
    }
    delta->setUnit(unit_);
    return delta;
}
