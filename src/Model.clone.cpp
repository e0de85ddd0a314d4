// The model classes: the one table that the workspace's defaults and the
// factory of copies read.
//
// A model's name_ is its type name, the same text for all objects of a
// class. A new model is one include and one row.
#include "Model.h"
#include "models/Cardiac_2TC_Model.h"
#include "models/Cardiac_HutchinsII_Model.h"
#include "models/Cardiac_HutchinsI_Model.h"
#include "models/Casciari_Model.h"
#include "models/FMISO_2TC_Model.h"
#include "models/FMISO_3TC_Model.h"
#include "models/Generic_1TC_Model.h"
#include "models/Generic_2TC_Model.h"
#include "models/Neuro_Lammertsma_Model.h"
#include "models/Neuro_SLAM_Model.h"
#include "models/Water_1TC_Model.h"
#include "util/Message.h"

namespace {

template <class M>
Model* make() {
    return new M();
}

// The copy, if the object really is of that class (a model renamed to another
// type's name is not copied into the wrong class).
template <class M>
Model* copyAs(const Model& model) {
    const M* concrete = dynamic_cast<const M*>(&model);
    return concrete ? new M(*concrete) : nullptr;
}

struct ModelType {
    const char* cloneName;  // the name_ that clone() copies as this class
    Model* (*make)();
    Model* (*copy)(const Model&);
};

template <class M>
constexpr ModelType row(const char* cloneName) {
    return ModelType{cloneName, make<M>, copyAs<M>};
}

// In the workspace's order. "Water_1TC_Model" is deliberately not the name
// that a Water_1TC_Model carries ("Water_1TC"): such a model cannot be
// cloned, and so neither averaged.
const ModelType kModelTypes[] = {
    row<Generic_1TC_Model>("Generic_1TC"),
    row<Generic_2TC_Model>("Generic_2TC"),
    row<Cardiac_2TC_Model>("Cardiac_2TC"),
    row<Cardiac_HutchinsI_Model>("Cardiac_HutchinsI"),
    row<Cardiac_HutchinsII_Model>("Cardiac_HutchinsII"),
    row<FMISO_2TC_Model>("FMISO_2TC"),
    row<FMISO_3TC_Model>("FMISO_3TC"),
    row<Casciari_Model>("Casciari"),
    row<Neuro_SLAM_Model>("Neuro_SLAM"),
    row<Neuro_Lammertsma_Model>("Neuro_Lammertsma"),
    row<Water_1TC_Model>("Water_1TC_Model"),
};

}  // namespace

std::vector<Model*> Model::createDefaults() {
    std::vector<Model*> models;
    for (const ModelType& type : kModelTypes) models.push_back(type.make());
    return models;
}

// The names are distinct, so the table's order is also the order of comparison.
Model* Model::clone() const {
    for (const ModelType& type : kModelTypes) {
        if (name_ != type.cloneName) continue;
        if (Model* copy = type.copy(*this)) return copy;
        break;
    }
    ERROR("unknown model type '%s'", name_.c_str());
    return nullptr;
}

Model* Model::duplicate(std::vector<InputFunction*>& inputs) const {
    Model* copy = nullptr;
    for (const ModelType& type : kModelTypes)
        if ((copy = type.copy(*this)) != nullptr) break;
    if (copy == nullptr) return nullptr;
    copy->adoptFlags(*this);
    copy->clearInputs();
    for (const InputFunction* input : input_) {
        InputFunction* twin = input != nullptr ? input->duplicate() : nullptr;
        if (twin == nullptr) {
            for (InputFunction* made : inputs) delete made;
            inputs.clear();
            delete copy;
            return nullptr;
        }
        inputs.push_back(twin);
        copy->addInput(twin);
    }
    return copy;
}
