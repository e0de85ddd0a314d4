#include "Dataset.h"

#include "util/Message.h"

int Dataset::count_ = 0;

Dataset::Dataset(const std::string& name, const Unit& unit)
    : unit_(unit), spaceUnit_("mm"), name_(name) {
    ++count_;
}

Dataset::Dataset(const Dataset& other)
    : dimension_(other.dimension_),
      unit_(other.unit_),
      spaceUnit_(other.spaceUnit_),
      name_(other.name_),
      type_(other.type_) {
    ++count_;
}

Dataset::~Dataset() { --count_; }

std::vector<unsigned> Dataset::getDimensions() const {
    std::vector<unsigned> dims;
    if (dimension_ >= 1) dims.push_back(getDimensionX());
    if (dimension_ >= 2) dims.push_back(getDimensionY());
    if (dimension_ >= 3) dims.push_back(getDimensionZ());
    if (dimension_ >= 4) dims.push_back(getDimensionT());
    return dims;
}

unsigned Dataset::getNumElements() const {
    unsigned n = 1;
    for (unsigned d : getDimensions()) n *= d;
    return n;
}

double Dataset::getValue(unsigned t, unsigned x, unsigned y, unsigned z) const {
    switch (dimension_) {
    case 2:
        return getValue2D(x, y);
    case 3:
        return getValue3D(x, y, z);
    case 4:
        return getValue4D(t, x, y, z);
    default:
        ERROR("invalid dimension '%u'", dimension_);
        return 0;
    }
}
