// The input function classes: the one table that the workspace's defaults
// and the factory of copies read.
//
// Each class has one row below (and its header above it): its type name as
// it writes it into type_, the unit and size of the workspace's default
// object, and the makers. A measured input (LinearInterpolation) has no copy
// maker: it cannot be cloned, so createAverage on it fails too.
#include "InputFunction.h"
#include "inputs/LinearInterpolation.h"
#include "inputs/FMISO_InputFunction.h"
#include "inputs/GenericInputFunction.h"
#include "inputs/McN_ReferenceFunction.h"
#include "util/Message.h"

namespace {

template <class T>
InputFunction* make(const std::string& name, const Unit& unit) {
    return new T(name, unit);
}

// A copy of the concrete class T through its copy constructor; null if the
// object is not of that class after all (a type_ that does not match).
template <class T>
InputFunction* cloneAs(const InputFunction& source) {
    const T* typed = dynamic_cast<const T*>(&source);
    return typed != nullptr ? new T(*typed) : nullptr;
}

}  // namespace

const std::vector<InputFunction::Type>& InputFunction::types() {
    static const std::vector<Type> table = {
        {"GenericInputFunction", "Bq/ml", 8, make<GenericInputFunction>, cloneAs<GenericInputFunction>, cloneAs<GenericInputFunction>},
        {"FMISO_InputFunction", "Bq/ml", 9, make<FMISO_InputFunction>, cloneAs<FMISO_InputFunction>, cloneAs<FMISO_InputFunction>},
        {"McN_ReferenceFunction", "kBq/ml", 6, make<McN_ReferenceFunction>, cloneAs<McN_ReferenceFunction>, cloneAs<McN_ReferenceFunction>},
        {"LinearInterpolation", "kBq/ml", 0, make<LinearInterpolation>, nullptr, cloneAs<LinearInterpolation>},
    };
    return table;
}

InputFunction* InputFunction::clone() const {
    for (const Type& entry : types()) {
        if (type_ != entry.type) continue;
        if (entry.copy != nullptr)
            if (InputFunction* copy = entry.copy(*this)) return copy;
        break;
    }
    ERROR("unknown input function type '%s'", type_.c_str());
    return nullptr;
}

InputFunction* InputFunction::duplicate() const {
    for (const Type& entry : types()) {
        if (type_ != entry.type) continue;
        InputFunction* copy = entry.duplicate(*this);
        if (copy != nullptr) copy->adoptFlags(*this);
        return copy;
    }
    return nullptr;
}
