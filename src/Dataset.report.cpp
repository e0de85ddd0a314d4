// The full dump of a dataset of any dimension and element type.
#include "Dataset.visit.h"

std::ostream& operator<<(std::ostream& out, const Dataset& data) {
    visitDataset(data, [&](const auto& d) { out << d; });
    return out;
}
