// The default objects of a fresh workspace, in the order in which they are
// made. Each class that a list holds brings its rows here.
#include "Interface.h"

#include "ErrorModel.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizer.h"
#include "Protocol.h"
#include "Tracer.h"
#include "Unit.h"
#include "optimizers/GunnBFM.h"
#include "optimizers/LevenbergMarquardt.h"
#include "optimizers/MultiDimGlobal.h"
#include "optimizers/Simplex.h"
#include "util/NumUtil.h"

namespace {

const char* const kDefaultUnits[] = {"1",           "s",          "min",        "1/s",       "1/min",
                                     "ml",          "Bq/ml",      "daBq/ml",    "hBq/ml",    "kBq/ml",
                                     "MBq/ml",      "nCi/ml",     "uCi/ml",     "mCi/ml",    "Ci/ml",
                                     "Bq/ml/min",   "daBq/ml/min", "hBq/ml/min", "kBq/ml/min", "MBq/ml/min"};

const char* const kDefaultTracers[] = {"Ammonia", "C-11", "F-18",  "FDG",   "FMISO",             "McN",
                                       "N-13",    "Oxygen", "O-15", "Rb-82", "Rubidium-Chloride", "Water"};

const char* const kDefaultErrorModels[] = {"Uniform", "Simple",        "SimpleRandom",    "GaussRandom",
                                           "Poisson", "PoissonRandom", "WeightedPoisson", "WeightedPoissonRandom"};

}  // namespace

void Interface::init() {
    for (const char* name : kDefaultUnits) addUnit(new Unit(name));
    for (const char* name : kDefaultTracers) addTracer(new Tracer(name));
    // Input functions, each named by its class, with its unit and size.
    for (const InputFunction::Type& type : InputFunction::types()) {
        InputFunction* input = type.make(type.type, *getUnit(type.unit));
        if (type.size > 0) input->resize(type.size);
        addInput(input);
    }

    // Models, each carrying its own name, in the order of the model table.
    for (Model* model : Model::createDefaults()) addModel(model);

    addProtocol(new Protocol("Generic"));
    for (const char* name : kDefaultErrorModels) addErrorModel(new ErrorModel(name));
    // Optimizers arrive with their classes.
    addOptimizer(new LevenbergMarquardt());
    addOptimizer(new Simplex());
    addOptimizer(new MultiDimGlobal());
    addOptimizer(new GunnBFM());
    random_init(0);

    currentData_ = nullptr;
    currentVOI_ = nullptr;
    currentInput_ = nullptr;
    currentModel_ = nullptr;
    currentProtocol_ = nullptr;
    currentTracer_ = nullptr;
    currentUnit_ = nullptr;
    currentErrorModel_ = nullptr;
    currentOptimizer_ = nullptr;
}

