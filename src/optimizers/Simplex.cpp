#include "optimizers/Simplex.h"

Simplex::Simplex() : Optimizer("Simplex") {
    reasons_ = {"", "", "", "number of iterations", "relative fitting error", "absolute fitting error"};
}

Simplex::~Simplex() {}

// Placeholder until the method arrives.
void Simplex::run(Voxel&) {}
