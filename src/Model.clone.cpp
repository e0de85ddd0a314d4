// The factory of the models: a copy of the concrete class named by name_.
//
// A model's name_ is its type name, the same text for all objects of a
// class. The table below is the only place that maps names to classes; a new
// model is one include and one row.
#include "Model.h"
#include "models/Cardiac_HutchinsI_Model.h"
#include "models/Generic_1TC_Model.h"
#include "models/Water_1TC_Model.h"
#include "util/Message.h"

namespace {

// The copy, if the object really is of that class (a model renamed to another
// type's name is not copied into the wrong class).
template <class M>
Model* copyAs(const Model& model) {
    const M* concrete = dynamic_cast<const M*>(&model);
    return concrete ? new M(*concrete) : nullptr;
}

struct ModelType {
    const char* name;
    Model* (*copy)(const Model&);
};

// Compared in this order. "Water_1TC_Model" is deliberately not the name that
// a Water_1TC_Model carries ("Water_1TC"): such a model cannot be cloned, and
// so neither averaged.
const ModelType kModelTypes[] = {
    {"Generic_1TC", copyAs<Generic_1TC_Model>},
    // {"Generic_2TC", copyAs<Generic_2TC_Model>},
    // {"Cardiac_2TC", copyAs<Cardiac_2TC_Model>},
    {"Cardiac_HutchinsI", copyAs<Cardiac_HutchinsI_Model>},
    // {"Cardiac_HutchinsII", copyAs<Cardiac_HutchinsII_Model>},
    // {"Casciari", copyAs<Casciari_Model>},
    // {"FMISO_3TC", copyAs<FMISO_3TC_Model>},
    // {"FMISO_2TC", copyAs<FMISO_2TC_Model>},
    // {"Neuro_SLAM", copyAs<Neuro_SLAM_Model>},
    // {"Neuro_Lammertsma", copyAs<Neuro_Lammertsma_Model>},
    {"Water_1TC_Model", copyAs<Water_1TC_Model>},
};

}  // namespace

Model* Model::clone() const {
    for (const ModelType& type : kModelTypes) {
        if (name_ != type.name) continue;
        if (Model* copy = type.copy(*this)) return copy;
        break;
    }
    ERROR("unknown model type '%s'", name_.c_str());
    return nullptr;
}
