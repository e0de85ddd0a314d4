#include "Dataset.h"

#include <limits>

#include "util/Message.h"

std::atomic<int> Dataset::count_{0};

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

bool Dataset::allowedSize(const uint64_t* sizes, size_t n, size_t elementSize, const std::string& name) {
    // A wrapped 32-bit product would allocate a small buffer that the indices
    // then run past; an absurd one would take the host's memory.
    uint64_t count = 1;
    bool fits = true;
    for (size_t i = 0; i < n; ++i) fits = fits && !__builtin_mul_overflow(count, sizes[i], &count);
    uint64_t bytes = 0;
    fits = fits && count <= std::numeric_limits<unsigned>::max() &&
           !__builtin_mul_overflow(count, uint64_t(elementSize), &bytes) && bytes <= MAX_BYTES;
    if (fits) return true;
    std::string shape;
    for (size_t i = 0; i < n; ++i) shape += (i == 0 ? "" : "x") + std::to_string(sizes[i]);
    ERROR("dataset '%s' of size %s is too large", name.c_str(), shape.c_str());
    return false;
}
