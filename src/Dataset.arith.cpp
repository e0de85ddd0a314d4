// Compatibility checks and element-wise arithmetic between datasets.
#include "Dataset.elements.h"
#include "Dataset.visit.h"
#include "VOI.h"
#include "util/Message.h"

bool Dataset::checkDimensions(const Dataset* other) const {
    if (!other || dimension_ != other->dimension_) return false;
    switch (dimension_) {
    case 1:
        return true;
    case 2:
        return getDimensionX() == other->getDimensionX() && getDimensionY() == other->getDimensionY();
    case 3:
        return getDimensionX() == other->getDimensionX() && getDimensionY() == other->getDimensionY() &&
               getDimensionZ() == other->getDimensionZ();
    case 4:
        return getDimensionT() == other->getDimensionT() && getDimensionX() == other->getDimensionX() &&
               getDimensionY() == other->getDimensionY() && getDimensionZ() == other->getDimensionZ();
    default:
        ERROR("invalid dimension '%u'", dimension_);
        return false;
    }
}

bool Dataset::checkUnit(const Dataset* other) const {
    return other && unit_.getName() == other->unit_.getName();
}

bool Dataset::checkVOI(const VOI* voi) const {
    if (dimension_ != 3 && dimension_ != 4) {
        ERROR("invalid dimension '%u'", dimension_);
        return false;
    }
    return voi && getDimensionX() == voi->getDimensionX() && getDimensionY() == voi->getDimensionY() &&
           getDimensionZ() == voi->getDimensionZ();
}

namespace {

// Whether element (t, x, y, z) of the left side has a counterpart in data.
bool covers(const Dataset& data, unsigned t, unsigned x, unsigned y, unsigned z) {
    const unsigned n = data.getNumDimensions();
    if (n < 2 || n > 4) return false;
    if (x >= data.getDimensionX() || y >= data.getDimensionY()) return false;
    if (n >= 3 && z >= data.getDimensionZ()) return false;
    return n < 4 || t < data.getDimensionT();
}

// Element (t, x, y, z) of a volume (t ignored) or of a series.
template <class T>
T& at(Dataset3D<T>& d, unsigned, unsigned x, unsigned y, unsigned z) {
    return d(x, y, z);
}
template <class T>
T& at(Dataset4D<T>& d, unsigned t, unsigned x, unsigned y, unsigned z) {
    return d(t, x, y, z);
}

// left op= right for a left dataset of class Dataset3D<T> or Dataset4D<T>.
// A right side of the same class goes through the class's own operator
// (apply), in T's arithmetic. A right side of another class (the caller has
// reported the mismatch) is read element by element through its virtual
// accessors, as far as its grid reaches, and converted to T: the operation
// goes on without reading past the other dataset's memory.
template <class Op, class Apply>
void combine(Dataset& left, const Dataset& right, Op op, Apply apply) {
    visitDataset(left, [&](auto& l) {
        using D = typename std::decay<decltype(l)>::type;
        using T = typename DatasetClass<D>::element;
        if constexpr (DatasetClass<D>::dimensions >= 3) {
            if (const D* r = datasetAs<D>(right)) {
                apply(l, *r);
                return;
            }
            const unsigned frames = DatasetClass<D>::dimensions == 4 ? l.getDimensionT() : 1;
            for (unsigned t = 0; t < frames; ++t)
                for (unsigned z = 0; z < l.getDimensionZ(); ++z)
                    for (unsigned y = 0; y < l.getDimensionY(); ++y)
                        for (unsigned x = 0; x < l.getDimensionX(); ++x)
                            if (covers(right, t, x, y, z)) {
                                T& e = at(l, t, x, y, z);
                                e = op(e, fromDouble<T>(right.getValue(t, x, y, z)));
                            }
        }
    });
}

}  // namespace

// The four operators differ only in the sign of their messages and in the
// element operation. Mismatches are reported and the computation goes on.
#define KINETRA_DATASET_OPERATOR(OP, SIGN, FUNCTOR)                                                   \
    Dataset& Dataset::operator OP(const Dataset& other) {                                             \
        if (!checkDimensions(&other))                                                                 \
            ERROR("invalid dimensions %d " SIGN " %d", int(dimension_), int(other.dimension_));       \
        if (type_ != other.type_) ERROR("invalid types %s " SIGN " %s", type_.c_str(), other.type_.c_str()); \
        if (dimension_ == 3 || dimension_ == 4) {                                                     \
            combine(*this, other, elements::FUNCTOR(), [](auto& l, const auto& r) { l OP r; });       \
        } else {                                                                                      \
            ERROR("invalid dimension '%u'", dimension_);                                              \
        }                                                                                             \
        return *this;                                                                                 \
    }
KINETRA_DATASET_OPERATOR(+=, "+=", Add)
KINETRA_DATASET_OPERATOR(-=, "-=", Subtract)
KINETRA_DATASET_OPERATOR(*=, "*=", Multiply)
KINETRA_DATASET_OPERATOR(/=, "/=", Divide)
#undef KINETRA_DATASET_OPERATOR
