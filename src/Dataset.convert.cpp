// Conversion between element types.
#include "Dataset4D.h"
#include "util/Message.h"

namespace {

// One element through double into the destination's type; at verbosity 8
// every non-zero value is shown with what became of it.
inline void traceCopy(bool trace, double value, double stored) {
    if (trace && value != 0) MESSAGE(8, "src(double): %lg, dest: %lg.\n", value, stored);
}

// Value unit, then space unit, pixel size and origin.
void copyGeometry(Dataset* destination, const Dataset* source) {
    destination->setSpaceUnit(source->getSpaceUnit());
    destination->setPixelSize(source->getPixelSize());
    destination->setOrigin(source->getOrigin());
}

}  // namespace

void copy2D(Dataset* destination, Dataset* source) {
    if (!destination || !source) return;
    const bool trace = _MessageHelper::enabled(8);
    const unsigned X = source->getDimensionX(), Y = source->getDimensionY();
    for (unsigned x = 0; x < X; ++x)
        for (unsigned y = 0; y < Y; ++y) {
            const double value = source->getValue2D(x, y);
            destination->setValue2D(x, y, value);
            traceCopy(trace, value, destination->getValue2D(x, y));
        }
    destination->setUnit(source->getUnit());
    copyGeometry(destination, source);
}

void copy3D(Dataset* destination, Dataset* source) {
    if (!destination || !source) return;
    const bool trace = _MessageHelper::enabled(8);
    const unsigned X = source->getDimensionX(), Y = source->getDimensionY(), Z = source->getDimensionZ();
    for (unsigned x = 0; x < X; ++x)
        for (unsigned y = 0; y < Y; ++y)
            for (unsigned z = 0; z < Z; ++z) {
                const double value = source->getValue3D(x, y, z);
                destination->setValue3D(x, y, z, value);
                traceCopy(trace, value, destination->getValue3D(x, y, z));
            }
    destination->setUnit(source->getUnit());
    copyGeometry(destination, source);
}

// Frame times and lengths go along; midframe_approx does not, so a converted
// series starts with it off.
void copy4D(Dataset* destination, Dataset* source) {
    if (!destination || !source) return;
    const bool trace = _MessageHelper::enabled(8);
    const unsigned T = source->getDimensionT(), X = source->getDimensionX(), Y = source->getDimensionY(),
                   Z = source->getDimensionZ();
    for (unsigned t = 0; t < T; ++t) {
        destination->setTime(t, source->getTime(t));
        destination->setFrameLength(t, source->getFrameLength(t));
        for (unsigned x = 0; x < X; ++x)
            for (unsigned y = 0; y < Y; ++y)
                for (unsigned z = 0; z < Z; ++z) {
                    const double value = source->getValue4D(t, x, y, z);
                    destination->setValue4D(t, x, y, z, value);
                    traceCopy(trace, value, destination->getValue4D(t, x, y, z));
                }
    }
    destination->setUnit(source->getUnit());
    destination->setTimeUnit(source->getTimeUnit());
    copyGeometry(destination, source);
}

Dataset* convertType(Dataset* source, const std::string& typeName) {
    if (!source) return nullptr;
    const unsigned X = source->getDimensionX(), Y = source->getDimensionY(), Z = source->getDimensionZ(),
                   T = source->getDimensionT();
    if (source->getType() == typeName) return source;
    Dataset* result = nullptr;
    dispatchType(typeName, [&](auto tag) {
        using E = typename decltype(tag)::type;
        switch (source->getNumDimensions()) {
        case 2:
            result = new Dataset2D<E>(X, Y, E(0));
            copy2D(result, source);
            break;
        case 3:
            result = new Dataset3D<E>(X, Y, Z, E(0));
            copy3D(result, source);
            break;
        case 4:
            result = new Dataset4D<E>(T, X, Y, Z, E(0));
            copy4D(result, source);
            break;
        default:
            break;
        }
    });
    // An unknown type name or dimension count makes nothing.
    if (result) result->setUnit(source->getUnit());
    return result;
}
