// The input function base: construction, the numerical convolutions, resizing,
// region averaging and the report.
#include "InputFunction.h"

#include <algorithm>
#include <cmath>

#include "util/Message.h"
#include "util/NumUtil.h"

// State of the numerical convolution under way. It lives at file level
// because qromb integrates a plain function of one double: the input being
// integrated, the rate constant lambda, the end time t and the voxel. One
// numerical convolution at a time; they cannot nest or run concurrently.
namespace {
InputFunction* inputFct = nullptr;
double parameterLambda = 0.0;
double parameterTime = 0.0;
unsigned voxelX = 0;
unsigned voxelY = 0;
unsigned voxelZ = 0;

void startConvolution(InputFunction* input, double k, double t, unsigned x, unsigned y, unsigned z) {
    inputFct = input;
    parameterLambda = k;
    parameterTime = t;
    voxelX = x;
    voxelY = y;
    voxelZ = z;
}
}  // namespace

InputFunction::InputFunction(const std::string& name, const Unit& unit)
    : Optimizable("InputFunction"),
      numconv_(false),
      result_(0.0),
      scale_(1.0),
      cacheCount_(0),
      cacheLimit_(1000) {
    name_ = name;
    unit_ = unit;
}

InputFunction::InputFunction(const InputFunction& other)
    : Optimizable(other),
      numconv_(other.numconv_),
      result_(other.result_),
      scale_(other.scale_),
      valueCache_(other.valueCache_),
      convExpCache_(other.convExpCache_),
      convTimeExpCache_(other.convTimeExpCache_),
      cacheCount_(other.cacheCount_),
      cacheLimit_(other.cacheLimit_) {}

InputFunction::~InputFunction() {
    cacheClear();
    if (inputFct == this) inputFct = nullptr;
}

void InputFunction::init(const std::vector<double>&) {}

// exp(-lambda s) C(t - s): the integrand of convExp in the variable s, the
// time back from t.
double InputFunction::integrateConvExp(double s) {
    if (inputFct == nullptr) return 0.0;
    return std::exp(-parameterLambda * s) * (*inputFct)(parameterTime - s, voxelX, voxelY, voxelZ);
}

// exp(-lambda s) (t - s) C(t - s): the integrand of convTimeExp.
double InputFunction::integrateConvTimeExp(double s) {
    if (inputFct == nullptr) return 0.0;
    const double u = parameterTime - s;
    return std::exp(-parameterLambda * s) * u * (*inputFct)(u, voxelX, voxelY, voxelZ);
}

double InputFunction::convExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    startConvolution(this, k, t, x, y, z);
    const double result = qromb(integrateConvExp, 0.0, t);
    inputFct = nullptr;
    MESSAGE(5, "numerical convolution: convExp(k=%lg,t=%lg) = %lg\n", k, t, result);
    return result;
}

double InputFunction::convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) {
    startConvolution(this, k, t, x, y, z);
    const double result = qromb(integrateConvTimeExp, 0.0, t);
    inputFct = nullptr;
    MESSAGE(5, "numerical convolution: convTimeExp(k=%lg,t=%lg) = %lg\n", k, t, result);
    return result;
}

// The number of parameters of a concrete input is set here: all parameters
// go (link_ and linkType_ keep their entries, the new ones append), and init()
// builds the new set from n zeros.
void InputFunction::resize(unsigned n) {
    std::vector<double> values(n, 0.0);
    parameter_.clear();
    index_.clear();
    MESSAGE(5, "%s resize to %d\n", name_.c_str(), static_cast<int>(n));
    init(values);
}

InputFunction* InputFunction::createAverage(const VOI* voi) {
    InputFunction* average = clone();
    if (average == nullptr) return nullptr;
    average->resizeParameters(1, 1, 1);
    // The clone has no log flags, so the region mean is stored as it is; a
    // link carries it on. Without a region, element (0, 0, 0) stands in.
    const unsigned n = std::min(getNumParameters(), average->getNumParameters());
    for (unsigned i = 0; i < n; ++i) {
        const Parameter& p = parameter_[i];
        const double v = voi != nullptr ? p.getValue(*voi) : p.valueAt(0, 0, 0);
        average->setParameterValueByIndex(i, 0, 0, 0, v);
    }
    return average;
}

std::ostream& operator<<(std::ostream& out, const InputFunction& input) {
    out << "InputFunction: " << input.getName() << " (" << input.getType() << ")\n";
    out << "  " << input.getUnit();
    for (unsigned i = 0; i < input.getNumParameters(); ++i) out << input.getParameterByIndex(i);
    return out;
}
