#include "Tracer.h"

namespace {

struct Nuclide {
    const char* names[3];
    double tau, eMax, eMean, range;
};

const Nuclide kNuclides[] = {
    {{"McN", "Carbon-11", "C-11"}, 1224.0, 0.97, 0.3, 3.8},
    {{"Ammonia", "N-13", nullptr}, 594.0, 1.19, 2.1, 5.0},
    {{"Oxygen", "O-15", "Water"}, 123.0, 1.72, 0.7, 8.0},
    {{"FDG", "FMISO", "F-18"}, 6588.0, 0.64, 0.2, 2.2},
    {{"Rubidium-Chloride", "Rb-82", nullptr}, 75.0, 3.15, 0.0, 15.5},
    // The one contrast agent: not radioactive.
    {{"Gd-DPTA", "Gadolinium", nullptr}, 0.0, 0.0, 0.0, 0.0},
};

}  // namespace

Tracer::Tracer(const std::string& name) : name_(name) {
    for (const Nuclide& n : kNuclides) {
        for (const char* known : n.names) {
            if (known != nullptr && name == known) {
                tau_ = n.tau;
                eMax_ = n.eMax;
                eMean_ = n.eMean;
                range_ = n.range;
                return;
            }
        }
    }
}
