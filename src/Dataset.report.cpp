// The full dump of a dataset of any dimension and element type.
#include "Dataset4D.h"

std::ostream& operator<<(std::ostream& out, const Dataset& data) {
    dispatchType(data.getType(), [&](auto tag) {
        using T = typename decltype(tag)::type;
        switch (data.getNumDimensions()) {
        case 2:
            out << static_cast<const Dataset2D<T>&>(data);
            break;
        case 3:
            out << static_cast<const Dataset3D<T>&>(data);
            break;
        case 4:
            out << static_cast<const Dataset4D<T>&>(data);
            break;
        default:
            break;
        }
    });
    return out;
}
