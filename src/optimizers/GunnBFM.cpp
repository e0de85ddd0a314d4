#include "optimizers/GunnBFM.h"

GunnBFM::GunnBFM() : Optimizer("GunnBFM") {}

GunnBFM::~GunnBFM() {}

// Placeholder until the method arrives.
void GunnBFM::run(Voxel&) {}
