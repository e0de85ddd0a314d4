// Listing: one fixed-width table per workspace list, and the text reports of
// single objects. Everything is printed as level-1 messages, so verbosity 0
// silences it.
//
// Each table is a blank line " \n", the header, a rule of '=', one row per
// key in key order and a closing " \n". The input, model, protocol,
// optimizer, tracer, unit and error model tables mark the selected item with
// a '*' in front of its name (datasets and VOIs are not marked). A row is
// formatted completely before it is printed, so the message indent appears
// once per line.
#include <cstdarg>
#include <cstdio>
#include <sstream>
#include <vector>

#include "Dataset4D.h"
#include "ErrorModel.h"
#include "InputFunction.h"
#include "Interface.h"
#include "Model.h"
#include "Optimizer.h"
#include "Protocol.h"
#include "Tracer.h"
#include "Unit.h"
#include "VOI.h"
#include "util/Message.h"

namespace {

// printf into a string of any length.
std::string format(const char* fmt, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

std::string format(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    va_list again;
    va_copy(again, args);
    char small[256];
    int n = std::vsnprintf(small, sizeof small, fmt, args);
    va_end(args);
    std::string text;
    if (n >= 0 && static_cast<size_t>(n) < sizeof small) {
        text.assign(small, static_cast<size_t>(n));
    } else if (n >= 0) {
        std::vector<char> big(static_cast<size_t>(n) + 1);
        std::vsnprintf(big.data(), big.size(), fmt, again);
        text.assign(big.data(), static_cast<size_t>(n));
    }
    va_end(again);
    return text;
}

// The printed text becomes the format of the console's printf once more, so
// a '%' (in a user's dataset name, say) is doubled to come out as itself.
std::string escapePercent(const std::string& text) {
    if (text.find('%') == std::string::npos) return text;
    std::string out;
    out.reserve(text.size() + 8);
    for (char c : text) {
        out += c;
        if (c == '%') out += '%';
    }
    return out;
}

void print(const std::string& text) { MESSAGE(1, "%s", escapePercent(text).c_str()); }

void printHead(const char* header, unsigned ruleLength) {
    print(" \n");
    print(header);
    print(std::string(ruleLength, '=') + "\n");
}

// The name cell: a '*' in front of the selected item, then the cell format.
std::string nameCell(const char* fmt, const std::string& name, bool selected) {
    return format(fmt, ((selected ? "*" : "") + name).c_str());
}

const char* const kNotFound = " not found???";

// Whether a dataset is 4D with its frames compared at their middles.
bool midframeApprox(const Dataset* data) {
    if (data->getNumDimensions() != 4) return false;
    return data->series() != nullptr && data->series()->getMidframeApprox();
}

// A text report as one message.
void printReport(const std::ostringstream& report) { print(report.str()); }

}  // namespace

void Interface::show(const std::string& topic, const std::string& name) {
    const bool all = topic == "all";
    const bool named = !name.empty();

    if (all || topic == "data") {
        if (!named) {
            showData();
        } else if (Dataset* data = getData(name)) {
            // Small datasets are listed value by value, larger ones summarised.
            std::ostringstream report;
            if (data->getNumElements() <= 999)
                report << *data;
            else
                data->info(report);
            printReport(report);
        } else {
            WARNING("data '%s' not found\n", escapePercent(name).c_str());
        }
    }
    if (all || topic == "voi") {
        if (!named) {
            showVOI();
        } else if (VOI* voi = getVOI(name)) {
            std::ostringstream report;
            report << *voi;
            printReport(report);
        } else {
            WARNING("VOI '%s' not found\n", escapePercent(name).c_str());
        }
    }
    if (all || topic == "input") {
        if (!named) {
            showInput();
        } else if (InputFunction* input = getInput(name)) {
            std::ostringstream report;
            report << *input;
            printReport(report);
        } else {
            WARNING("input function '%s' not found\n", escapePercent(name).c_str());
        }
    }
    if (all || topic == "error") showErrorModel();
    if (all || topic == "model") {
        if (!named) {
            showModel();
        } else if (Model* model = getModel(name)) {
            std::ostringstream report;
            report << *model;
            printReport(report);
        } else {
            WARNING("model '%s' not found\n", escapePercent(name).c_str());
        }
    }
    if (all || topic == "protocol") showProtocol();
    if ((all || topic == "parameter") && currentProtocol_ != nullptr) {
        Model* model = currentProtocol_->getModel();
        if (model != nullptr) {
            if (model->getNumInputs() > 0) showParameter(model->getInput(0u));
            showParameter(model);
        }
    }
    if (all || topic == "optimizer") showOptimizer();
    if (all || topic == "unit") showUnit();
    if (all || topic == "tracer") showTracer();
    if (topic == "verbosity") MESSAGE(1, "verbosity level is %d", static_cast<int>(_MessageHelper::verbosity_));
}

void Interface::showData() {
    printHead("DATASET           D   nT  nZ  nY  nX     UNIT     TYPE      SIZE FLAGS\n", 70);
    for (const auto& entry : data_) {
        std::string row = format("%-16s", entry.first.c_str());
        const Dataset* d = entry.second;
        if (d == nullptr) {
            row += kNotFound;
        } else {
            row += format(" %dD %4d %3d %3d %3d %8s %8s %9u", static_cast<int>(d->getNumDimensions()),
                          static_cast<int>(d->getDimensionT()), static_cast<int>(d->getDimensionZ()),
                          static_cast<int>(d->getDimensionY()), static_cast<int>(d->getDimensionX()),
                          d->getUnit().getName().c_str(), d->getType().c_str(), static_cast<unsigned>(d->getSize()));
            if (midframeApprox(d)) row += " MA";
        }
        print(row + "\n");
    }
    print(" \n");
}

void Interface::showVOI() {
    printHead("VOI                      nZ  nY  nX   ACTIVE\n", 44);
    for (const auto& entry : voi_) {
        std::string row = format("%-23s", entry.first.c_str());
        const VOI* v = entry.second;
        if (v == nullptr)
            row += kNotFound;
        else
            row += format(" %3d %3d %3d %8d", static_cast<int>(v->getDimensionZ()), static_cast<int>(v->getDimensionY()),
                          static_cast<int>(v->getDimensionX()), static_cast<int>(v->numActive()));
        print(row + "\n");
    }
    print(" \n");
}

void Interface::showInput() {
    printHead("Input                        NP D C     UNIT\n", 44);
    for (const auto& entry : input_) {
        const InputFunction* f = entry.second;
        std::string row = nameCell("%-28s", entry.first, f != nullptr && f == currentInput_);
        if (f == nullptr)
            row += kNotFound;
        else
            row += format(" %2d %1d %1d %8s", static_cast<int>(f->getNumParameters()), f->getNumDer() ? 1 : 0,
                          f->getNumConv() ? 1 : 0, f->getUnit().getName().c_str());
        print(row + "\n");
    }
    print(" \n");
}

void Interface::showModel() {
    printHead("MODEL                        NC NI NP D     UNIT\n", 48);
    for (const auto& entry : model_) {
        const Model* m = entry.second;
        std::string row = nameCell("%-28s", entry.first, m != nullptr && m == currentModel_);
        if (m == nullptr)
            row += kNotFound;
        else
            row += format(" %2d %2d %2d %1d %8s", static_cast<int>(m->getComponents()),
                          static_cast<int>(m->getNumInputs()), static_cast<int>(m->getNumParameters()),
                          m->getNumDer() ? 1 : 0, m->getUnit().getName().c_str());
        print(row + "\n");
    }
    print(" \n");
}

void Interface::showProtocol() {
    printHead("PROTOCOL                MODEL                   OPTIMIZER\n", 57);
    for (const auto& entry : protocol_) {
        const Protocol* p = entry.second;
        std::string row = nameCell("%-24s", entry.first, p != nullptr && p == currentProtocol_);
        if (p == nullptr) {
            row += kNotFound;
        } else {
            const Model* model = p->getModel();
            const Optimizer* optimizer = p->getOptimizer();
            row += format("%15s%15s", model != nullptr ? model->getName().c_str() : "",
                          optimizer != nullptr ? optimizer->getName().c_str() : "");
        }
        print(row + "\n");
    }
    print(" \n");
}

void Interface::showOptimizer() {
    printHead("OPTIMIZER                MAXITER ABSCHI^2   DCHI^2\n", 50);
    for (const auto& entry : optimizer_) {
        const Optimizer* o = entry.second;
        std::string row = nameCell("%-24s", entry.first, o != nullptr && o == currentOptimizer_);
        if (o == nullptr)
            row += kNotFound;
        else
            for (const OptimizerSetting& setting : o->getSettings()) {
                if (setting.showFormat == nullptr) continue;
                if (setting.kind == OptimizerSetting::INTEGER)
                    row += format(setting.showFormat, static_cast<int>(o->getNumber(setting)));
                else
                    row += format(setting.showFormat, o->getNumber(setting));
            }
        print(row + "\n");
    }
    print(" \n");
}

void Interface::showTracer() {
    printHead("TRACER                    TAU/s   eMax\n", 38);
    for (const auto& entry : tracer_) {
        const Tracer* t = entry.second;
        std::string row = nameCell("%-24s", entry.first, t != nullptr && t == currentTracer_);
        if (t == nullptr)
            row += kNotFound;
        else
            row += format(" %6.1f %6.2f", t->getTau(), t->getEMax());
        print(row + "\n");
    }
    print(" \n");
}

void Interface::showUnit() {
    printHead("UNIT             TYPE       FACTOR\n", 34);
    for (const auto& entry : unit_) {
        const Unit* u = entry.second;
        // The selected unit's name cell is twice as wide: its row stands out
        // of line, as it always has.
        const bool selected = u != nullptr && u == currentUnit_;
        std::string row = nameCell(selected ? "%-24s" : "%-12s", entry.first, selected);
        if (u == nullptr)
            row += kNotFound;
        else
            row += format(" %-14s %.2g", u->getTypeString().c_str(), u->getFactor());
        print(row + "\n");
    }
    print(" \n");
}

void Interface::showErrorModel() {
    printHead("ERROR MODEL                  TRACER  SIGMA FLOOR\n", 48);
    for (const auto& entry : errorModel_) {
        const ErrorModel* e = entry.second;
        std::string row = nameCell("%-24s", entry.first, e != nullptr && e == currentErrorModel_);
        if (e == nullptr)
            row += kNotFound;
        else
            row += format(" %10s %5.2f %6.3f", e->getTracer().getName().c_str(), e->getSigma(), e->getFloor());
        print(row + "\n");
    }
    print(" \n");
}

void Interface::showParameter(Optimizable* o) {
    if (o == nullptr) return;
    // The header's second conversion, "%      U", is no valid conversion; the
    // C library prints it as "% U", and so does this table.
    print(format("PARAMETER %-20s", o->getName().c_str()) + "% UNIT    STATE   INITVALUE VALUE  BOUNDARIES\n");
    print(std::string(76, '=') + "\n");
    for (unsigned i = 0; i < o->getNumParameters(); ++i) {
        const Parameter& p = o->getParameterByIndex(i);
        std::string row = format("%-30s %-8s %-8s", p.getName().c_str(), p.getUnit().getName().c_str(),
                                 p.getsState().c_str());
        // A single value is shown; a map has no one number to show.
        const Dataset3D<double>* init = p.getInitValueVolume();
        const Dataset3D<double>* value = p.getValueVolume();
        if (init != nullptr && init->getNumElements() == 1) row += format(" %-8.2g", (*init)(0u));
        if (value != nullptr && value->getNumElements() == 1) row += format(" %-8.2g", (*value)(0u));
        if (p.isBound())
            row += format(" %-8.2g %-8.2g", p.getMin(), p.getMax());
        else
            row += "unbound";
        print(row + "\n");
    }
    print(" \n");
}
