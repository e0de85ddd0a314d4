// The factory of the input functions: cloning by type name.
//
// Each cloneable class has one row in the table below (and its header above
// it): the type name it writes into type_, and the copy maker. A measured
// input (LinearInterpolation) is deliberately absent: it cannot be cloned, so
// createAverage on it fails too.
#include "InputFunction.h"

#include "util/Message.h"
// #include "inputs/FMISO_InputFunction.h"
// #include "inputs/GenericInputFunction.h"
// #include "inputs/McN_ReferenceFunction.h"

namespace {

// A copy of the concrete class T through its copy constructor; null if the
// object is not of that class after all (a type_ that does not match).
template <class T>
InputFunction* cloneAs(const InputFunction& source) {
    const T* typed = dynamic_cast<const T*>(&source);
    return typed != nullptr ? new T(*typed) : nullptr;
}

struct CloneEntry {
    const char* type;
    InputFunction* (*make)(const InputFunction&);
};

const CloneEntry kCloneTable[] = {
    // {"GenericInputFunction", &cloneAs<GenericInputFunction>},
    // {"FMISO_InputFunction", &cloneAs<FMISO_InputFunction>},
    // {"McN_ReferenceFunction", &cloneAs<McN_ReferenceFunction>},
    {nullptr, nullptr},  // end of table
};

}  // namespace

InputFunction* InputFunction::clone() const {
    for (const CloneEntry* entry = kCloneTable; entry->type != nullptr; ++entry) {
        if (type_ == entry->type) {
            if (InputFunction* copy = entry->make(*this)) return copy;
            break;
        }
    }
    ERROR("unknown input function type '%s'", type_.c_str());
    return nullptr;
}
