// The parametric plasma curve of the hypoxia tracer: one gamma-like rise and
// a sum of differences of exponentials, without a delay,
//   C(t) = scale_ * (A0 x exp(-c0 x) + sum_i A_i (exp(-c1_i x) - exp(-c2_i x))),
// x = t / tau. Each term has a closed-form convolution with exp(-k t)
// through the truncated gamma integral.
//
// Parameters: tau (s), A0 (the function's unit), c0, then A<i>, c1<i>, c2<i>.
//
// The analytic derivative by tau is 0 on purpose: a fit with tau free must
// hold tau or switch on numder.
#ifndef KINETRA_INPUTS_FMISO_INPUTFUNCTION_H
#define KINETRA_INPUTS_FMISO_INPUTFUNCTION_H

#include <string>
#include <vector>

#include "inputs/ParametricInputFunction.h"

class FMISO_InputFunction : public ParametricInputFunction {
public:
    FMISO_InputFunction();
    explicit FMISO_InputFunction(const std::string& name);
    FMISO_InputFunction(const std::string& name, const Unit& unit);
    FMISO_InputFunction(const std::string& name, const Unit& unit, double tau, double A0, double c0, double A1,
                        double c11, double c21);
    FMISO_InputFunction(const std::string& name, const Unit& unit, double tau, double A0, double c0, double A1,
                        double c11, double c21, double A2, double c12, double c22);
    FMISO_InputFunction(const FMISO_InputFunction& other) = default;

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
    // The closed-form convolution of the voxel loaded: b = 1 for convExp,
    // 2 for convTimeExp (the G order of the exponential terms).
    double convolve(double k, double t, double b) const;
};

#endif
