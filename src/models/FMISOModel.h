// The shared part of FMISO_2TC_Model and FMISO_3TC_Model: parameter reading,
// the input's numbers, the curves and the derivative pieces.
//
// With f(k) = conv(k), e = 1 - eta and the divided differences of f
// (models/ConvolutionDifferences.h):
//   D0 = (conv(0) - conv(kappa)) / kappa = -f[0, kappa],
//   E  = (conv(k4) - conv(kappa)) / (kappa - k4) = -f[k4, kappa],
//   C1 = k1 conv(kappa),  C2 = k1 alpha k3 D0,  C3 = e (1 - alpha) k1 k3 E,
// so that no curve divides by kappa or kappa - k4. The two-tissue class has
// no C3 (its k4 and 1 - alpha weight are 0).
#ifndef KINETRA_MODELS_FMISOMODEL_H
#define KINETRA_MODELS_FMISOMODEL_H

#include <limits>
#include <string>
#include <vector>

#include "Model.h"

class FMISOModel : public Model {
public:
    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) override;

protected:
    FMISOModel(const std::string& name, unsigned components, const Unit& unit, const ModelOrigin& origin);

    // The one pass (verbosity under 5, rates that are numbers).
    bool evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                      unsigned P, double* values, double* derivatives) override;
    // Reads the normal parameters at the voxel into cache_ (k1..k4, alpha,
    // beta, eta, V, kappa).
    virtual void readParameters(unsigned x, unsigned y, unsigned z) = 0;
    // The part both classes share: k1, k2, k3, k4 (0 without one), alpha,
    // beta, eta and V, the parameters in that order.
    void readRates(unsigned x, unsigned y, unsigned z, bool withK4);
    // Parameters, the input's numbers and the curves; with `withTime` also
    // the derivative pieces T, Q, R, S. False without an input.
    bool precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime);
    // Its set part: the parameters on a change of parameters or voxel.
    void refreshSet(unsigned x, unsigned y, unsigned z);
    // The set read at the voxel stands: the key moves there, and the input's
    // numbers are fetched anew.
    void settle(unsigned x, unsigned y, unsigned z);
    // Its last part: the curves (and withTime the derivative pieces) at t
    // from the input's numbers in the cache.
    void curves(InputFunction& input, double t, unsigned x, unsigned y, unsigned z, bool withTime);
    // The last number of a der call, reported and in the user's units.
    double finish(unsigned index, double t, double d);

    static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    struct Cache {
        double k1 = kNaN, k2 = kNaN, k3 = kNaN, k4 = 0.0, alpha = kNaN, beta = kNaN, eta = kNaN, V = kNaN;
        double kappa = kNaN;
        double ca = 0.0;
        // conv and convT at 0, k3, kappa, k4, times scale_.
        double conv[4] = {0.0, 0.0, 0.0, 0.0}, convT[4] = {0.0, 0.0, 0.0, 0.0};
        double D0 = 0.0, E = 0.0;        // curve differences (above)
        double C1 = 0.0, C2 = 0.0, C3 = 0.0;
        double T = 0.0;                  // f'(kappa) = convT(kappa) - t conv(kappa)
        double Q = 0.0, R = 0.0, S = 0.0;  // f[0, kappa, kappa], f[k4, kappa, kappa], f[kappa, k4, k4]
        bool withTime = false;
        double scale = kNaN;
    } cache_;
    bool threeTissue_;
    ModelOrigin home_;  // the concrete class's module, for its error heads
};

#endif
