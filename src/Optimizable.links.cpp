// Value writers with their log scale and one-hop links, and the numerical
// partial derivative.
#include <cmath>

#include "Dataset.h"
#include "Dataset3D.h"
#include "Optimizable.detail.h"
#include "Optimizable.h"
#include "util/Message.h"

namespace {

// The transform of a link, read off the type stored at the driven parameter.
enum class Transform { NONE, NEGATE, ONE_MINUS, INVERT };

Transform transformOf(const std::string& type) {
    if (type == "-") return Transform::NEGATE;
    if (type == "1-") return Transform::ONE_MINUS;
    if (type == "/") return Transform::INVERT;
    return Transform::NONE;
}

double apply(Transform transform, double v) {
    switch (transform) {
    case Transform::NEGATE:
        return -v;
    case Transform::ONE_MINUS:
        return 1.0 - v;
    case Transform::INVERT:
        return 1.0 / v;
    default:
        return v;
    }
}

}  // namespace

// The driven parameter of `index`, or -1. Stale entries that point past the
// parameter list (possible after an input function rebuilt its parameters)
// count as no link.
static int drivenOf(const std::vector<int>& link, size_t count, unsigned index) {
    if (index >= link.size()) return -1;
    const int l = link[index];
    return (l >= 0 && static_cast<size_t>(l) < count) ? l : -1;
}

void Optimizable::propagateValue(unsigned index, unsigned x, unsigned y, unsigned z, double value) {
    const int l = drivenOf(link_, parameter_.size(), index);
    if (l < 0) return;
    const size_t target = static_cast<size_t>(l);
    const Transform transform = target < linkType_.size() ? transformOf(linkType_[target]) : Transform::NONE;
    (*parameter_[target].getValueVolume())(x, y, z) = apply(transform, value);
}

void Optimizable::propagateValue(unsigned index, double value) {
    const int l = drivenOf(link_, parameter_.size(), index);
    if (l < 0) return;
    const size_t target = static_cast<size_t>(l);
    const Transform transform = target < linkType_.size() ? transformOf(linkType_[target]) : Transform::NONE;
    parameter_[target].setValue(apply(transform, value));
}

void Optimizable::propagateValue(unsigned index, const Dataset* data) {
    const int l = drivenOf(link_, parameter_.size(), index);
    if (l < 0) return;
    const size_t target = static_cast<size_t>(l);
    const Transform transform = target < linkType_.size() ? transformOf(linkType_[target]) : Transform::NONE;
    // The transform works on a clone of the source: 0 - d, 1 - d or 1 / d.
    Dataset* clone = data->clone();
    switch (transform) {
    case Transform::NEGATE:
        clone->setValue(0.0);
        *clone -= *data;
        break;
    case Transform::ONE_MINUS:
        clone->setValue(1.0);
        *clone -= *data;
        break;
    case Transform::INVERT:
        clone->setValue(1.0);
        *clone /= *data;
        break;
    default:
        break;
    }
    parameter_[target].setValue(clone);
    delete clone;
}

void Optimizable::setParameterValueByIndex(unsigned index, unsigned x, unsigned y, unsigned z, double value) {
    if (index >= parameter_.size()) return;
    Parameter& p = parameter_[index];
    if (p.getLog()) value = std::pow(10.0, value);
    (*p.getValueVolume())(x, y, z) = value;
    propagateValue(index, x, y, z, value);
    changed_ = true;
}

void Optimizable::setParameterValue(const std::string& name, unsigned x, unsigned y, unsigned z, double value) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterValue() unknown parameter '", name);
        return;
    }
    setParameterValueByIndex(static_cast<unsigned>(i), x, y, z, value);
}

void Optimizable::setParameterValue(const std::string& name, double value) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterValue() unknown parameter '", name);
        return;
    }
    const unsigned index = static_cast<unsigned>(i);
    Parameter& p = parameter_[index];
    if (p.getLog()) value = std::pow(10.0, value);
    p.setValue(value);
    propagateValue(index, value);
    changed_ = true;
}

void Optimizable::setParameterValue(const std::string& name, const Dataset* data) {
    const int i = hasParameter(name);
    if (i < 0) {
        UNKNOWN_PARAMETER("Optimizable::setParameterValue() unknown parameter '", name);
        return;
    }
    // A volume is always taken as linear values.
    const unsigned index = static_cast<unsigned>(i);
    parameter_[index].setValue(data);
    propagateValue(index, data);
    changed_ = true;
}

void Optimizable::setParameterLink(const std::string& a, const std::string& b, const std::string& type) {
    const int ia = hasParameter(a);
    const int ib = hasParameter(b);
    if (ia < 0 || ib < 0) {
        (void)_ErrorHelper(__FILE__, __LINE__);
        messagePrintf("%s%s%s%s'", "Optimizable::setParameterLink() unknown parameter '", a.c_str(), "' or '",
                      b.c_str());
        return;
    }
    const size_t da = static_cast<size_t>(ia), db = static_cast<size_t>(ib);
    // Both vectors hold an entry for every parameter added; guard all the same.
    if (da >= link_.size()) link_.resize(da + 1, -1);
    if (db >= linkType_.size()) linkType_.resize(db + 1);
    link_[da] = ib;
    linkType_[db] = type;
    parameter_[db].setState(Parameter::LINKED);
    MESSAGE(3, "linked %s parameter '%s%s' to '%s'\n", name_.c_str(), type.c_str(), a.c_str(), b.c_str());
}

double Optimizable::der(const std::string& name, double t, unsigned x, unsigned y, unsigned z) {
    const int i = hasParameter(name);
    if (i < 0) {
        ERROR("Optimizable::der() unknown parameter '%s'", name.c_str());
        return 0.0;
    }
    return numericalDer(static_cast<unsigned>(i), t, x, y, z);
}

double Optimizable::derByIndex(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    if (index >= parameter_.size()) return 0.0;
    return numericalDer(index, t, x, y, z);
}

double Optimizable::numericalStep(double v) {
    // At least 1e-6, which also covers v = 0 (log10(0) = -inf gives h = 0).
    const double h = std::pow(10.0, std::floor(std::log10(std::fabs(v))) - 2.0);
    return h >= 1e-6 ? h : 1e-6;
}

double Optimizable::numericalDer(unsigned index, double t, unsigned x, unsigned y, unsigned z) {
    if (index >= parameter_.size()) return 0.0;
    // The stored linear value, whatever the log flag. The slot is looked up
    // anew for every write: the evaluation in between must not be trusted to
    // leave the volume where it was.
    auto slot = [&]() -> double& { return (*parameter_[index].getValueVolume())(x, y, z); };
    const double v = slot();
    const double h = numericalStep(v);

    // The trial values go straight into the volume: links are not followed.
    slot() = v - 0.5 * h;
    changed_ = true;
    const double y1 = (*this)(t, x, y, z);
    slot() = v + 0.5 * h;
    changed_ = true;
    const double y2 = (*this)(t, x, y, z);
    const double d = (y2 - y1) / h;
    MESSAGE(6, "der(%s, t=%.1f) = %.6f \n", parameter_[index].getName().c_str(), t, d);
    slot() = v;
    changed_ = true;
    return d;
}

void Optimizable::evaluate(const double* t, unsigned T, unsigned x, unsigned y, unsigned z, const unsigned* index,
                           unsigned P, double* values, double* derivatives) {
    for (unsigned i = 0; i < T; ++i) {
        values[i] = (*this)(t[i], x, y, z);
        for (unsigned j = 0; j < P; ++j)
            derivatives[static_cast<size_t>(i) * P + j] = derByIndex(index[j], t[i], x, y, z);
    }
}

void Optimizable::adoptFlags(const Optimizable& other) {
    numder_ = other.numder_;
    reported_ = other.reported_;
    reportOwner_ = other.reportOwner_;
    for (unsigned i = 0; i < parameter_.size() && i < other.parameter_.size(); ++i)
        parameter_[i].setLog(other.parameter_[i].getLog());
}
