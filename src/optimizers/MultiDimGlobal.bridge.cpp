// The least-squares objective and gradient of one voxel for the box search.
#include "optimizers/MultiDimGlobal.bridge.h"

#include <cmath>

#include "Optimizable.h"
#include "util/Message.h"

GlobalBridge::GlobalBridge(Optimizable& model, const std::vector<unsigned>& indices,
                           const std::vector<std::string>& names, const std::vector<double>& times,
                           const std::vector<double>& data)
    : model_(model),
      indices_(indices),
      names_(names),
      times_(times),
      data_(data),
      point_(indices.size(), 0.0),
      residual_(times.size(), 0.0) {
    for (unsigned index : indices_) logScale_.push_back(model_.getParameterByIndex(index).getLog());
    for (unsigned i = 0; i < indices_.size(); ++i) searched_.push_back(i);
}

void GlobalBridge::write(const RVector& p) {
    for (size_t j = 0; j < searched_.size(); ++j) point_[searched_[j]] = p[static_cast<int>(j)];
    for (size_t i = 0; i < indices_.size(); ++i) {
        model_.setParameterValueByIndex(indices_[i], x_, y_, z_, point_[i]);
        MESSAGE(5, "  %s = %lg\n", names_[i].c_str(), point_[i]);
    }
}

void GlobalBridge::residuals(const RVector& p) {
    write(p);
    const unsigned T = static_cast<unsigned>(times_.size());
    values_.resize(T);
    model_.evaluate(times_.data(), T, x_, y_, z_, nullptr, 0, values_.data(), nullptr);
    for (size_t t = 0; t < T; ++t) residual_[t] = values_[t] - data_[t];
}

double GlobalBridge::objective(const RVector& p) {
    residuals(p);
    double sum = 0.0;
    for (double r : residual_) sum += r * r;
    return sum;
}

// The residuals are computed once for all derivatives: the model gives the
// same value for the same parameters and time. The model's derivative is by
// the stored value v; a logarithmic parameter is searched as p = log10(v),
// so its derivative takes the factor dv/dp = v ln(10).
void GlobalBridge::gradient(const RVector& p, RVector& g) {
    const unsigned T = static_cast<unsigned>(times_.size()), S = static_cast<unsigned>(searched_.size());
    // The model's values and derivatives of all frames in one call; from
    // verbosity 5 on, where the model prints per call, in the order of the
    // calls one by one: all values, then each derivative over the frames.
    derivatives_.resize(static_cast<size_t>(T) * S);
    if (_MessageHelper::enabled(5)) {
        residuals(p);
        for (unsigned j = 0; j < S; ++j)
            for (unsigned t = 0; t < T; ++t)
                derivatives_[static_cast<size_t>(t) * S + j] =
                    model_.derByIndex(indices_[searched_[j]], times_[t], x_, y_, z_);
    } else {
        write(p);
        values_.resize(T);
        searchedIndices_.resize(S);
        for (unsigned j = 0; j < S; ++j) searchedIndices_[j] = indices_[searched_[j]];
        model_.evaluate(times_.data(), T, x_, y_, z_, searchedIndices_.data(), S, values_.data(), derivatives_.data());
        for (unsigned t = 0; t < T; ++t) residual_[t] = values_[t] - data_[t];
    }
    for (unsigned j = 0; j < S; ++j) {
        double sum = 0.0;
        for (unsigned t = 0; t < T; ++t) sum += 2.0 * residual_[t] * derivatives_[static_cast<size_t>(t) * S + j];
        if (logScale_[searched_[j]]) sum *= std::pow(10.0, point_[searched_[j]]) * std::log(10.0);
        g[static_cast<int>(j)] = sum;
    }
}
