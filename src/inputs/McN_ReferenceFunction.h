// A parametric reference-tissue curve: the response of a tissue compartment
// with decay constant lambda to an input made of a time-weighted exponential
// and further exponential pairs,
//   y = scale_ * ( -(a1/q) t e^(-t/a2) - (a1 a2/q^2) (e^(-t/a2) - E)
//                  + sum over triples (a, b, c) of
//                    -(a/(1/b - lambda)) (e^(-t/b) - E)
//                    + (a/(1/b - lambda + 1/c)) (e^(-(1/b + 1/c) t) - E) ),
// E = e^(-lambda t), q = 1 - a2 lambda. All terms are exponentials, so value
// and convolutions have closed forms.
//
// The curve is the convolution of the input-like curve
//   u(t) = (a1/a2) t e^(-t/a2) + sum of a e^(-t/b) (1 - e^(-t/c))
// with e^(-lambda t): every term is a convolution of exponentials
// G(rates; t) (inputs/ExpConvolution.h), y = scale_ * sum_j w_j G(rates_j; t):
//   w = a1/a2, rates (1/a2, 1/a2, lambda);
//   w = a,     rates (1/b, lambda);   w = -a, rates (1/b + 1/c, lambda).
// In this form value, convolutions and derivatives are continuous across
// q = 0 and across 1/b = lambda, 1/b + 1/c = lambda and every rate equal to
// k, where the expanded form divides 0 by 0. A time constant a2, b or c of
// exactly 0 has no limit (the rate is infinite; from below the term grows
// without bound): the value is NaN there.
//
// Parameters: lambda (1/min), a1 (kBq/ml/min), a2 (min), then triples
// a<i> (kBq/ml/min), b<i> (min), c<i> (min) for i = 3, 4, ...
#ifndef KINETRA_INPUTS_MCN_REFERENCEFUNCTION_H
#define KINETRA_INPUTS_MCN_REFERENCEFUNCTION_H

#include <string>
#include <vector>

#include "inputs/ParametricInputFunction.h"

class McN_ReferenceFunction : public ParametricInputFunction {
public:
    McN_ReferenceFunction();
    explicit McN_ReferenceFunction(const std::string& name);
    McN_ReferenceFunction(const std::string& name, const Unit& unit);
    // Three, six or nine values in parameter order.
    McN_ReferenceFunction(const std::string& name, const Unit& unit, const std::vector<double>& values);
    McN_ReferenceFunction(const McN_ReferenceFunction& other) = default;

    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    double convExp(double k, double t, unsigned x, unsigned y, unsigned z) override;
    double convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) override;
    void initParameters(const Dataset* data, const VOI* voi) override;
    void init(const std::vector<double>& values) override;

    bool checkSize(long n) const override;

protected:
    double partial(unsigned index, double t) override;
    void reportUnknown(const std::string& name) const override;

private:
    // One exponential term w G(rates; t) of the curve.
    struct Term {
        double weight;
        double rates[3];
        int n;
    };
    // Calls f(term) for each term of the voxel loaded.
    template <class F>
    void forEachTerm(F f) const;
    // sum_j w_j G(rates_j, extra...; t) over the terms, with k snapped to a
    // rate within tolerance_; timed: the convolution of t y(t), by
    // t G(r) = sum_i G(r, r_i).
    double convolve(double k, double t, bool timed) const;
    // The first six normal parameters for the verbose messages (0 beyond).
    double shown(unsigned i) const { return i < p_.size() ? p_[i] : 0.0; }

    double tolerance_ = 0.0;  // a rate difference at or below it counts as zero
};

#endif
