// The four-compartment hypoxia model of flow F, binding ka and kb, with
//   kappa = (1 - eta) ka + F / V,   m = F / (eta V),
//   y = beta1 Ca + beta2 V (C1 + (1 - eta)(C2 + C3) + eta C4) + the further inputs.
// It has no analytic derivatives.
#ifndef KINETRA_MODELS_CASCIARI_MODEL_H
#define KINETRA_MODELS_CASCIARI_MODEL_H

#include <limits>
#include <vector>

#include "Model.h"

class Casciari_Model : public Model {
public:
    Casciari_Model();
    Casciari_Model(const Unit& unit, double F, double ka, double kb, double alpha, double beta1, double beta2,
                   double eta, double V);

    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) override;

    enum { F = 0, KA, KB, ALPHA, BETA1, BETA2, ETA, V };

private:
    // Parameters on a change of parameters or voxel, Ca on a new time, and
    // the five convolutions and the curves whenever either happened. False
    // without an input.
    bool precompute(double t, unsigned x, unsigned y, unsigned z);
    // Its set part, on a change of parameters or voxel: the parameters and
    // the rates kappa and m, and the input's numbers to be fetched anew.
    // False without an input (the caller reports it).
    bool refreshSet(unsigned x, unsigned y, unsigned z);
    // Its last part: the curves at t from the convolutions in the cache.
    void curves(InputFunction& input, double t, unsigned x, unsigned y, unsigned z);
    // The one pass of values (verbosity under 5); the derivatives are
    // numerical, the base's pass set by set.
    bool evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                      unsigned P, double* values, double* derivatives) override;

    static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    struct Cache {
        double p[8] = {kNaN, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN};  // normal, by index
        double ca = 0.0, scale = kNaN;
        double kappa = kNaN, m = kNaN;
        double conv[5] = {0.0, 0.0, 0.0, 0.0, 0.0};  // at 0, ka, kappa, kb, m; times scale_
        double C1 = 0.0, C2 = 0.0, C3 = 0.0, C4 = 0.0, etaC4 = 0.0;
    } cache_;
};

#endif
