// The parametric plasma curve: a time scale tau, a delay t0 and a sum of
// gamma-variate terms,
//   C(t) = scale_ * sum_j A_j x^B_j exp(-C_j x),   x = (t - t0) / tau,
// 0 before t0. Each term has a closed-form convolution with exp(-k t)
// through the truncated gamma integral, so a model driven by it needs no
// numerical integration.
//
// Parameters: tau (s), t0 (s), then A<i> (the function's unit), B<i> and C<i>.
#ifndef KINETRA_INPUTS_GENERICINPUTFUNCTION_H
#define KINETRA_INPUTS_GENERICINPUTFUNCTION_H

#include <string>
#include <vector>

#include "inputs/ParametricInputFunction.h"

class GenericInputFunction : public ParametricInputFunction {
public:
    GenericInputFunction();
    explicit GenericInputFunction(const std::string& name);
    GenericInputFunction(const std::string& name, const Unit& unit);
    GenericInputFunction(const std::string& name, const Unit& unit, double tau, double t0, double A1, double B1,
                         double C1);
    GenericInputFunction(const std::string& name, const Unit& unit, double tau, double t0, double A1, double B1,
                         double C1, double A2, double B2, double C2);
    GenericInputFunction(const GenericInputFunction& other) = default;

    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    double convExp(double k, double t, unsigned x, unsigned y, unsigned z) override;
    double convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) override;
    void initParameters(const Dataset* data, const VOI* voi) override;
    void init(const std::vector<double>& values) override;
    // tau, t0 and whole terms: 2 + 3 m parameters, m >= 1.
    bool checkSize(long n) const override;

protected:
    double partial(unsigned index, double t) override;
    void reportUnknown(const std::string& name) const override;
    void loaded() override;

private:
    // sum_j A_j / tau^B_j exp(-k t) G(C_j / tau - k, B_j + 1 + extra, t): the
    // convolution (extra 0) or the timed one (extra 1) for t0 = 0, unscaled.
    double gammaSum(double k, double t, double extra) const;
    // The starting values of initParameters from the peak of the measured
    // curve: the pair form (some B is 0) or the plain form.
    bool pairForm(const std::vector<double>& times, const std::vector<double>& curve, unsigned imax);
    void plainForm(const std::vector<double>& times, const std::vector<double>& curve, unsigned imax);
    // Whether the `count` parameters from `first` on are all const.
    bool allConst(std::size_t first, std::size_t count) const;
};

#endif
