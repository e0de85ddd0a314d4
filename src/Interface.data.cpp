// Voxel-wise comparison of datasets and the union of VOIs.
#include <memory>

#include "Dataset.h"
#include "Interface.h"
#include "VOI.h"

namespace {

// Whether voxel (x, y, z) lies inside a 3D or 4D dataset's grid.
bool holds(const Dataset* d, unsigned x, unsigned y, unsigned z) {
    return d != nullptr && (d->getNumDimensions() == 3 || d->getNumDimensions() == 4) && x < d->getDimensionX() &&
           y < d->getDimensionY() && z < d->getDimensionZ();
}

}  // namespace

bool Interface::logicalOp3D(Dataset* a, Dataset* b, unsigned int x, unsigned int y, unsigned int z,
                            const std::string& op) {
    // A voxel outside either grid would be read past its end: no comparison.
    if (!holds(a, x, y, z) || !holds(b, x, y, z)) return false;
    const double u = a->getValue3D(x, y, z), v = b->getValue3D(x, y, z);
    if (op == "<") return u < v;
    if (op == ">") return u > v;
    if (op == "<=") return u <= v;
    if (op == ">=") return u >= v;
    if (op == "==") return u == v;
    return false;
}

Dataset* Interface::jointVOI(const std::vector<std::string>& names) {
    if (names.empty()) return nullptr;
    const VOI* first = getVOI(names[0]);
    if (first == nullptr) return nullptr;
    std::unique_ptr<Dataset> joint(first->clone());
    if (!joint) return nullptr;
    for (size_t i = 1; i < names.size(); ++i)
        if (const VOI* voi = getVOI(names[i])) *joint += *voi;
    return joint.release();
}
