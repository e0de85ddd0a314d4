// The three-compartment hypoxia model: FMISO_2TC with a third compartment
// C3 fed by the part (1 - eta)(1 - alpha) of the trapping path and emptied
// at k4:
//   kappa = k2 + (1 - eta) k3,
//   C3 = (1 - eta)(1 - alpha) k1 k3 / (kappa - k4) (conv(k4) - conv(kappa)),
//   y = V (beta Ca + (1 - beta) (C1 + (1 - eta) C2 + C3)) + the further inputs.
#ifndef KINETRA_MODELS_FMISO_3TC_MODEL_H
#define KINETRA_MODELS_FMISO_3TC_MODEL_H

#include <vector>

#include "models/FMISOModel.h"

class FMISO_3TC_Model : public FMISOModel {
public:
    FMISO_3TC_Model();
    FMISO_3TC_Model(const Unit& unit, double k1, double k2, double k3, double k4, double alpha, double beta, double eta,
                    double V);

    enum { K1 = 0, K2, K3, K4, ALPHA, BETA, ETA, V };

private:
    void readParameters(unsigned x, unsigned y, unsigned z) override;
    double analyticDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) override;
};

#endif
