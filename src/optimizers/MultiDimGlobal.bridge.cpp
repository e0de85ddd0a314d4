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
    for (size_t t = 0; t < times_.size(); ++t) residual_[t] = model_(times_[t], x_, y_, z_) - data_[t];
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
    residuals(p);
    for (size_t j = 0; j < searched_.size(); ++j) {
        const unsigned index = indices_[searched_[j]];
        double sum = 0.0;
        for (size_t t = 0; t < times_.size(); ++t)
            sum += 2.0 * residual_[t] * model_.derByIndex(index, times_[t], x_, y_, z_);
        if (logScale_[searched_[j]]) sum *= std::pow(10.0, point_[searched_[j]]) * std::log(10.0);
        g[static_cast<int>(j)] = sum;
    }
}
