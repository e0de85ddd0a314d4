// The generic one-tissue compartment model.
//
// One tissue compartment exchanges with the input C at the rates k1 (in) and
// k2 (out): dC1/dt = k1 C(t) - k2 C1(t), so C1(t) = k1 (C (*) exp(-k2 t))(t).
// The measured value weighs tissue and blood freely:
//   y(t) = alpha C1(t) + beta Ca(t) + sum of the further inputs,
// the further inputs converted to the model's unit by their unit factors.
#ifndef KINETRA_MODELS_GENERIC_1TC_MODEL_H
#define KINETRA_MODELS_GENERIC_1TC_MODEL_H

#include <limits>
#include <vector>

#include "Model.h"

class Generic_1TC_Model : public Model {
public:
    Generic_1TC_Model();
    Generic_1TC_Model(const Unit& unit, double k1, double k2, double alpha, double beta);

    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) override;

    // Parameter indices, in the order of addition.
    enum { K1 = 0, K2 = 1, ALPHA = 2, BETA = 3 };

private:
    // The one pass (verbosity under 5); it writes the calls' arithmetic out.
    bool evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                      unsigned P, double* values, double* derivatives) override;
    // Value comparison: new parameters or a new (t, x, y, z) recompute the
    // input value and both convolutions; otherwise the cache stands.
    void precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime);
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;

    // Cache, in normal units. The parameters start as NaN, which equals
    // nothing, so the first evaluation always reads parameters and input.
    struct Cache {
        double p[4] = {kNaN, kNaN, kNaN, kNaN};  // by parameter index
        double ca = 0.0;                         // C(t) * scale_
        double conv = 0.0;                       // convExp(k2, t) * scale_
        double convT = 0.0;                      // convTimeExp(k2, t) * scale_
        static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    } cache_;
};

#endif
