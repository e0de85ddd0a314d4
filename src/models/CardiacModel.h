// The shared part of the two cardiac one-tissue models, Water_1TC_Model and
// Cardiac_HutchinsI_Model.
//
// Both have three parameters, k1 (index 0), a second one that sets the
// efflux rate (index 1) and the tissue blood volume tbv (index 2), and the
// same caching: parameters are read anew when changed_ is set or the voxel
// changes; input value and convolutions are fetched on every call, from the
// input at voxel (0, 0, 0), whose own caches make that cheap. The myocardial
// blood flow is k1 over the tissue density 1.042 g/ml.
#ifndef KINETRA_MODELS_CARDIACMODEL_H
#define KINETRA_MODELS_CARDIACMODEL_H

#include <string>
#include <vector>

#include "Model.h"

class CardiacModel : public Model {
public:
    // y(t) = tbv Ca(t) + (1 - tbv) C1(t) [+ the further inputs, scaled like
    // the first, where the model takes them]; components: y and C1.
    double operator()(double t, unsigned x, unsigned y, unsigned z) override;
    std::vector<double> computeAll(double t, unsigned x, unsigned y, unsigned z) override;
    // Myocardial blood flow at a voxel: stored k1 / density, no unit factor.
    double getMBF(unsigned x, unsigned y, unsigned z) const;
    // The k1 map divided by the density; owned by the caller.
    Dataset3D<double>* getMBF() const;

    enum { K1 = 0, TBV = 2 };

protected:
    // furtherInputs: whether inputs after the first add to the value.
    CardiacModel(const std::string& name, const Unit& unit, const ModelOrigin& origin, bool furtherInputs);

    // The efflux rate k2 of the tissue compartment, from the cached normal
    // parameters.
    virtual double efflux() const = 0;
    // Flag pattern: the three normal parameters on a change of parameters or
    // voxel; then always scale_, Ca, conv(k2) and, withTime, convT(k2).
    void precompute(double t, unsigned x, unsigned y, unsigned z, bool withTime);
    // Its parameter part.
    void readParameters(unsigned x, unsigned y, unsigned z);
    // The one pass (verbosity under 5, an efflux that is a number).
    bool evaluatePass(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                      unsigned P, double* values, double* derivatives) override;

    // Cache, in normal units.
    struct Cache {
        double p[3] = {0.0, 0.0, 0.0};  // by parameter index
        double ca = 0.0;                // C(t) * scale_
        double density = 1.042;         // tissue density of the myocardium, g/ml
        double conv = 0.0;              // convExp(k2, t) * scale_
        double convT = 0.0;             // convTimeExp(k2, t) * scale_
    } cache_;

private:
    // The value plus the further inputs, where the model takes them.
    double withFurtherInputs(double value, double t, unsigned x, unsigned y, unsigned z) const;

    bool furtherInputs_;
};

#endif
