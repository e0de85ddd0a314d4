// The shared part of the reference-region models Neuro_SLAM_Model and
// Neuro_Lammertsma_Model.
//
// Their input is the tissue curve Cr of a reference region, taken in its own
// unit's factor f alone; the whole sum is converted at the end by scale_ =
// 1 / (factor of the model's unit), and inputs after the first are added
// unconverted. The models expect exactly one input. Reports name the
// concrete class's module.
#ifndef KINETRA_MODELS_REFERENCEREGIONMODEL_H
#define KINETRA_MODELS_REFERENCEREGIONMODEL_H

#include "Model.h"
#include "util/Message.h"

class ReferenceRegionModel : public Model {
protected:
    ReferenceRegionModel(const std::string& name, const Unit& unit, const ModelOrigin& origin)
        : Model(name, 2, unit, origin), home_(origin) {}

    // The reference input with scale_ set; null (after the report) without
    // one. A second input is reported once per run, not at every evaluation.
    InputFunction* referenceInput() {
        if (input_.empty()) {
            _ErrorHelper(home_.file, home_.line)("no input function");
            return nullptr;
        }
        if (input_.size() != 1)
            reportOnce(kOneInput, [this] { _AssertFailed(home_.file, static_cast<unsigned>(home_.line)); });
        scale_ = 1.0 / unit_.getFactor();
        return input_[0];
    }
    // The inputs after the first, as they stand.
    double furtherInputSum(double t, unsigned x, unsigned y, unsigned z) const {
        return furtherInputs(t, x, y, z, 1.0);
    }

private:
    enum : unsigned { kOneInput = 0 };
    ModelOrigin home_;  // the concrete class's module, for its reports
};

#endif
