// visitDataset: the one place where a Dataset becomes the template instance
// it is.
//
//     visitDataset(data, [&](auto& d) { ... });   // d: Dataset2D<T>&, Dataset3D<T>& or Dataset4D<T>&
//     visitDataset4D(data, [&](auto& series) { ... });   // Dataset4D<T>& only
//
// The element type comes from the type name (in the order of the element
// table, Dataset.h), the class from the dimension count. A const dataset
// gives const references. The call returns true if f was called; false for
// an unknown type name, an unknown dimension count, or a dimension that the
// variant does not take (visitDataset3D, visitDataset4D). Any result of f is
// dropped: capture what you need by reference. datasetAs<D> is the checked
// form for one known class.
#ifndef KINETRA_DATASET_VISIT_H
#define KINETRA_DATASET_VISIT_H

#include <type_traits>

#include "Dataset4D.h"

namespace datasetvisit {

// Data<T> with the constness of Base.
template <class Base, template <class> class Data, class T>
using As = typename std::conditional<std::is_const<Base>::value, const Data<T>, Data<T>>::type;

constexpr unsigned dims(unsigned n) { return 1u << n; }
constexpr unsigned ALL = dims(2) | dims(3) | dims(4);

template <unsigned Accepted, class Base, class F>
bool visit(Base& d, F& f) {
    static_assert(std::is_base_of<Dataset, typename std::remove_const<Base>::type>::value, "a dataset");
    bool called = false;
    dispatchType(d.getType(), [&](auto tag) {
        using T = typename decltype(tag)::type;
        switch (d.getNumDimensions()) {
        case 2:
            if constexpr ((Accepted & dims(2)) != 0) {
                f(static_cast<As<Base, Dataset2D, T>&>(d));
                called = true;
            }
            break;
        case 3:
            if constexpr ((Accepted & dims(3)) != 0) {
                f(static_cast<As<Base, Dataset3D, T>&>(d));
                called = true;
            }
            break;
        case 4:
            if constexpr ((Accepted & dims(4)) != 0) {
                f(static_cast<As<Base, Dataset4D, T>&>(d));
                called = true;
            }
            break;
        default:
            break;
        }
    });
    return called;
}

}  // namespace datasetvisit

// The dimension count and element type of a dataset class.
template <class D>
struct DatasetClass;
template <class T>
struct DatasetClass<Dataset2D<T>> {
    static constexpr unsigned dimensions = 2;
    using element = T;
};
template <class T>
struct DatasetClass<Dataset3D<T>> {
    static constexpr unsigned dimensions = 3;
    using element = T;
};
template <class T>
struct DatasetClass<Dataset4D<T>> {
    static constexpr unsigned dimensions = 4;
    using element = T;
};

// The dataset as class D (Dataset3D<float>, ...) if it is one, else null.
template <class D>
D* datasetAs(Dataset& d) {
    using Class = DatasetClass<D>;
    if (d.getNumDimensions() != Class::dimensions || d.getType() != typeName<typename Class::element>())
        return nullptr;
    return static_cast<D*>(&d);
}
template <class D>
const D* datasetAs(const Dataset& d) {
    return datasetAs<D>(const_cast<Dataset&>(d));
}

template <class F>
bool visitDataset(Dataset& d, F&& f) {
    return datasetvisit::visit<datasetvisit::ALL>(d, f);
}
template <class F>
bool visitDataset(const Dataset& d, F&& f) {
    return datasetvisit::visit<datasetvisit::ALL>(d, f);
}

template <class F>
bool visitDataset3D(Dataset& d, F&& f) {
    return datasetvisit::visit<datasetvisit::dims(3)>(d, f);
}
template <class F>
bool visitDataset3D(const Dataset& d, F&& f) {
    return datasetvisit::visit<datasetvisit::dims(3)>(d, f);
}

template <class F>
bool visitDataset4D(Dataset& d, F&& f) {
    return datasetvisit::visit<datasetvisit::dims(4)>(d, f);
}
template <class F>
bool visitDataset4D(const Dataset& d, F&& f) {
    return datasetvisit::visit<datasetvisit::dims(4)>(d, f);
}

// The values of voxel (x, y, z) in frames 0 .. T-1 into out[T], as
// getValue4D gives them, with the element type found once instead of a
// virtual call a frame (a voxel curve is read once or twice per fit). Frames
// past the dataset's read 0.
void readCurve(const Dataset& d, unsigned x, unsigned y, unsigned z, double* out, unsigned T);

#endif
