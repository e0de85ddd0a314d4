// The shared part of the two-tissue models Generic_2TC_Model,
// Cardiac_2TC_Model and Cardiac_HutchinsII_Model.
//
// A free compartment C1 and a bound compartment C2 exchange with the input C:
//   dC1/dt = k1 C - (k2 + k3) C1 + k4 C2,   dC2/dt = k3 C1 - k4 C2.
// The matrix [[-(k2 + k3), k4], [k3, -k4]] has the eigenvalues
//   lambda1,2 = -S/2 +- r,   S = k2 + k3 + k4,   r^2 = D = u^2/4 + k3 k4,
// with u = k4 - k2 - k3, lambda1 the slow (least negative) one, and
//   C1 = c11 conv(-lambda1) + c12 conv(-lambda2),
//   C2 = c21 conv(-lambda1) + c22 conv(-lambda2),   c22 = -c21.
// The measured value weighs blood and tissue:
//   y = wBlood Ca + wTissue (C1 + C2) + the further inputs.
#ifndef KINETRA_MODELS_TWOTISSUEMODEL_H
#define KINETRA_MODELS_TWOTISSUEMODEL_H

#include <limits>
#include <vector>

#include "Model.h"

// The coefficients of one parameter set, computed once per set.
struct TwoTissueCoefficients {
    static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

    // Sets everything from the rates in normal units. A negative D (reachable
    // only with negative rates) leaves every coefficient NaN and answers false.
    bool compute(double k1, double k2, double k3, double k4);

    double k[4] = {kNaN, kNaN, kNaN, kNaN};  // the rates k1..k4 they belong to
    bool computed = false;                   // false: no set yet
    double c11 = kNaN, c12 = kNaN, c21 = kNaN, c22 = kNaN;
    // cij / k1, so that the derivatives need no division by k1 (0 at k1 = 0).
    double a11 = kNaN, a12 = kNaN, a21 = kNaN;
    // Derivative terms.
    double A = kNaN, B = kNaN, E = kNaN, F = kNaN, G = kNaN;
    double lambda1 = kNaN, lambda2 = kNaN;
    double D = kNaN, r = kNaN;
};

class TwoTissueModel : public Model {
public:
    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    // (y, C1, C2).
    std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) override;

    // The coefficients of the last parameter set, for inspection.
    const TwoTissueCoefficients& coefficients() const { return cache_.c; }

protected:
    enum Kind {
        GENERIC,  // parameters read on every call; input at (x, y, z); further
                  // inputs by their own unit factors; a k4
        CARDIAC,  // parameters read on a change; input at (0, 0, 0); further
                  // inputs by scale_; a k4
        NO_EFFLUX_FROM_BOUND  // as CARDIAC, with k4 = 0
    };
    TwoTissueModel(const std::string& name, const Unit& unit, const ModelOrigin& origin, Kind kind);

    // The one pass (verbosity under 5, rates that are numbers).
    bool evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                      unsigned P, double* values, double* derivatives) override;
    // A new set may print a warning (verbosity 1 on).
    unsigned setReportsFrom() const override { return 1; }

    // Reads the stored parameters at the voxel into cache_.p (normal units)
    // and sets cache_.rate (k1..k4) and the two weights from them.
    virtual void readParameters(unsigned x, unsigned y, unsigned z) = 0;

    // Flag pattern: coefficients anew when the rates differ from those of the
    // last set (on a change of parameters or voxel); then Ca, conv1, conv2
    // and, withTime, convT1 and convT2, unless the last fetch has them.
    void precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime);
    // The set part of precompute: coefficients anew for new rates.
    void refreshSet(unsigned x, unsigned y, unsigned z);

    // Derivative pieces, after precompute(.., true), in normal units:
    // C1 + C2, and d(C1 + C2)/dk1 = (C1 + C2) / k1 without the division.
    double tissue() const;
    double tissuePerK1() const;
    // (-A S' - P1 t) conv1 + P1 convT1 + (S' A - t P2) conv2 + P2 convT2,
    // P1 = (c11 + c21) c11 / k1, P2 = (c12 + c22) c12 / k1: the k2 form.
    double effluxTerm(double sPrime, double t) const;
    // W(h, e) = (Q1 t + e) conv1 - Q1 convT1 + (t Q2 - e) conv2 - Q2 convT2,
    // Q1 = (c11 + c21)(h - 1/2), Q2 = (c12 + c22)(-1/2 - h): the k3 and k4 forms.
    double W(double h, double e, double t) const;
    // The rows the classes share, times the tissue weight w: by k1 w (C1 +
    // C2) / k1, 0.0 at k1 = 0; by k3 w W(B, E); by k4 w W(G, F).
    double byK1() const { return cache_.c.k[0] == 0.0 ? 0.0 : cache_.wTissue * tissuePerK1(); }
    double byK3(double t) const { return cache_.wTissue * W(cache_.c.B, cache_.c.E, t); }
    double byK4(double t) const { return cache_.wTissue * W(cache_.c.G, cache_.c.F, t); }

    // The key of the input's numbers in the cache, beside the time t_.
    struct Fetch {
        unsigned x, y, z;  // the voxel given to the input
        double scale;      // scale_ they were multiplied by
        bool withTime;     // convT1 and convT2 among them
    };
    struct Cache {
        double p[6] = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0};  // normal parameters by index
        double rate[4] = {0.0, 0.0, 0.0, 0.0};         // k1..k4 of the parameters read
        double wBlood = 0.0, wTissue = 0.0;            // weights of Ca and C1 + C2
        double ca = 0.0;                               // C(t) * scale_
        double density = 1.042;                        // myocardium, g/ml (cardiac classes)
        TwoTissueCoefficients c;
        double conv1 = 0.0, conv2 = 0.0, convT1 = 0.0, convT2 = 0.0;  // times scale_
        Fetch fetched = {0, 0, 0, 0.0, false};
    } cache_;

private:
    double furtherInputSum(double t, unsigned x, unsigned y, unsigned z) const;
    void reportRates() const;

    Kind kind_;
    ModelOrigin home_;  // the concrete class's module, for its error heads
};

#endif
