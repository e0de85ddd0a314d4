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

protected:
    double partial(unsigned index, double t) override;
    void reportUnknown(const std::string& name) const override;

private:
    double tolerance_ = 0.0;  // a rate difference at or below it counts as zero
};

#endif
