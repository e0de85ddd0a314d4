// The voxel-wise one-tissue fit the way a user runs it: a MatlabInterface
// workspace, a 4D double dataset, a LinearInterpolation plasma input, the
// Generic_1TC model with k1 and k2 free (alpha and beta held), and the
// Levenberg-Marquardt optimizer at its default settings, driven through the
// 'process' command at verbosity 1.
//
// Reads the files of the benchmark generator from the folder in $DATA
// (default "data"): meta.txt, frames.txt, input.txt, tac.f64, truth.f64.
// $VOXELS limits the fit to the first N voxels in file order (0: all).
// $OUT names a file that receives, as float64, the fitted k1, k2 and their
// errors of every fitted voxel, then the printed text: a run that changes no
// result writes the same file. $VERBOSITY sets the verbosity of the fits
// (default 1); from 3 on every voxel's report carries its CPU time, which
// varies from run to run.
//
// With $TWO_TISSUE=1 the same voxels are fitted a second time, in a workspace
// of their own, by Generic_2TC with k1..k4 free (alpha and beta held): on the
// generator's frames and plasma input, with curves that this program makes
// by the model from rates drawn per voxel (seed 1) and the generator's noise
// of 5% of each value. It prints, before the last line,
//   two_tissue voxels=N seconds=S voxels_per_s=V median_abs_rel_err_k1=E1 ... printed_lines=L
// The one-tissue fit, its text and $OUT are the same with and without it.
//
// With $GAMMA_INPUT=1 the one-tissue fit is run again in workspaces of their
// own, driven by a GenericInputFunction instead of the measured input: the
// generator's plasma curve is a sum of gamma-variate terms (tau 60 s, delay
// 15 s, B = 1, 0, 0, 0), whose A and C the input stage of 'process' fits to
// the plasma samples from a start 10% off. A delay sends the convolutions the
// numerical way, so the same fit is also timed with the delay set to 0 after
// the input stage (analytic convolutions; its errors are those of an input
// 15 s early, the timing is what counts); the delayed run only with
// $GAMMA_INPUT=2, as it takes minutes for 20 voxels. Before the last line it prints
//   gamma_input delay=D input_seconds=I voxels=N seconds=S voxels_per_s=V median_abs_rel_err_k1=E1 ...
//
// The last line printed is
//   voxels=N seconds=S voxels_per_s=V median_abs_rel_err_k1=E1 median_abs_rel_err_k2=E2
// with S the wall time of the 'process' call alone.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizer.h"
#include "Protocol.h"
#include "inputs/LinearInterpolation.h"
#include "interfaces/MatlabInterface.h"
#include "mexhost.h"
#include "models/Generic_2TC_Model.h"
#include "util/Message.h"

namespace {

struct BenchData {
    unsigned nx = 0, ny = 0, nz = 0, nt = 0;
    double alpha = 1.0, beta = 0.0;
    std::vector<double> start, duration;   // frames, s
    std::vector<double> inputT, inputY;    // plasma samples
    std::vector<double> tac;               // x fastest, then y, z, frame
    std::vector<double> truthK1, truthK2;  // 1/min
};

bool fail(const std::string& what) {
    std::fprintf(stderr, "fit: %s\n", what.c_str());
    return false;
}

std::vector<double> readBinary(const std::string& name, size_t count) {
    std::vector<double> values(count);
    std::ifstream in(name.c_str(), std::ios::binary);
    in.read(reinterpret_cast<char*>(values.data()), static_cast<std::streamsize>(count * sizeof(double)));
    if (!in) values.clear();
    return values;
}

bool readColumns(const std::string& name, std::vector<double>& a, std::vector<double>& b) {
    std::ifstream in(name.c_str());
    double x, y;
    while (in >> x >> y) {
        a.push_back(x);
        b.push_back(y);
    }
    return !a.empty();
}

bool load(const std::string& dir, BenchData& d) {
    std::ifstream meta((dir + "/meta.txt").c_str());
    if (!meta) return fail("cannot read " + dir + "/meta.txt");
    std::map<std::string, std::string> keys;
    std::string key, value;
    while (meta >> key >> value) keys[key] = value;
    d.nx = static_cast<unsigned>(std::stoul(keys["nx"]));
    d.ny = static_cast<unsigned>(std::stoul(keys["ny"]));
    d.nz = static_cast<unsigned>(std::stoul(keys["nz"]));
    d.nt = static_cast<unsigned>(std::stoul(keys["nt"]));
    d.alpha = std::stod(keys["alpha"]);
    d.beta = std::stod(keys["beta"]);
    if (!readColumns(dir + "/frames.txt", d.start, d.duration) || d.start.size() != d.nt)
        return fail("bad frames.txt");
    if (!readColumns(dir + "/input.txt", d.inputT, d.inputY)) return fail("bad input.txt");
    const size_t n = static_cast<size_t>(d.nx) * d.ny * d.nz;
    d.tac = readBinary(dir + "/tac.f64", n * d.nt);
    if (d.tac.empty()) return fail("bad tac.f64");
    std::vector<double> truth = readBinary(dir + "/truth.f64", 2 * n);
    if (truth.empty()) return fail("bad truth.f64");
    d.truthK1.assign(truth.begin(), truth.begin() + static_cast<long>(n));
    d.truthK2.assign(truth.begin() + static_cast<long>(n), truth.end());
    return true;
}

// One kinetra(...) call; the arguments are taken over and destroyed.
void command(MatlabInterface& workspace, std::vector<mxArray*> args) {
    std::vector<const mxArray*> prhs(args.begin(), args.end());
    mxArray* plhs[4] = {nullptr, nullptr, nullptr, nullptr};
    workspace.processCommand(1, plhs, static_cast<int>(prhs.size()), prhs.data());
    for (mxArray* a : plhs)
        if (a != nullptr) mxDestroyArray(a);
    for (mxArray* a : args) mxDestroyArray(a);
}

mxArray* text(const char* s) { return mxCreateString(s); }

// A series of volumes as the Matlab array Z x Y x X x T, A(z, y, x, t).
mxArray* seriesArray(const std::vector<double>& values, unsigned nx, unsigned ny, unsigned nz, unsigned nt) {
    std::vector<double> columnMajor(values.size());
    for (unsigned t = 0; t < nt; ++t)
        for (unsigned z = 0; z < nz; ++z)
            for (unsigned y = 0; y < ny; ++y)
                for (unsigned x = 0; x < nx; ++x)
                    columnMajor[z + nz * (y + ny * (x + static_cast<size_t>(nx) * t))] =
                        values[x + nx * (y + static_cast<size_t>(ny) * (z + static_cast<size_t>(nz) * t))];
    return mexhost::makeArray(mxDOUBLE_CLASS, {nz, ny, nx, nt}, columnMajor);
}

// The T-by-2 time array of frame starts and lengths.
mxArray* timeArray(const std::vector<double>& start, const std::vector<double>& duration) {
    std::vector<double> values(start);
    values.insert(values.end(), duration.begin(), duration.end());
    return mexhost::makeArray(mxDOUBLE_CLASS, {start.size(), 2}, values);
}

double median(std::vector<double> v) {
    if (v.empty()) return 0.0;
    std::nth_element(v.begin(), v.begin() + static_cast<long>(v.size() / 2), v.end());
    return v[v.size() / 2];
}

// The plasma samples with their frame lengths (the last as long as the last
// frame).
std::vector<double> inputDurations(const BenchData& d) {
    std::vector<double> duration(d.inputT.size());
    for (size_t i = 0; i < d.inputT.size(); ++i)
        duration[i] = i + 1 < d.inputT.size() ? d.inputT[i + 1] - d.inputT[i] : d.duration.back();
    return duration;
}

struct FitSetup {
    const char* model;
    std::vector<const char*> names;  // parameters, in the order they are set
    std::vector<double> values;      // value and initial value of each
    std::vector<const char*> held;   // const in the fit
    // Selects and sets up the model's input; the measured plasma curve
    // (LinearInterpolation) when empty.
    const char* input = "LinearInterpolation";
    std::function<void(MatlabInterface&)> configureInput;
};

struct FitRun {
    Model* model = nullptr;
    double seconds = 0.0;
    std::string printed;  // the text of the 'process' call
};

// One voxel-wise fit of `tac` (nx*ny*nz*nt, x fastest) over the first
// `voxels` voxels, configured and run through the commands a user types.
bool fitThrough(MatlabInterface& workspace, const BenchData& d, const std::vector<double>& tac, const FitSetup& setup,
                unsigned voxels, FitRun& run) {
    // The data and the plasma curve (sampled at the frame starts) as series
    // with their frame times, then input, model and protocol.
    const unsigned ni = static_cast<unsigned>(d.inputY.size());
    command(workspace, {text("set"), text("data"), text("tac"), seriesArray(tac, d.nx, d.ny, d.nz, d.nt),
                        timeArray(d.start, d.duration), text("kBq/ml")});
    command(workspace, {text("set"), text("data"), text("plasma"), seriesArray(d.inputY, 1, 1, 1, ni),
                        timeArray(d.inputT, inputDurations(d)), text("kBq/ml")});
    if (setup.configureInput) {
        setup.configureInput(workspace);
    } else {
        command(workspace, {text("select"), text("input"), text("LinearInterpolation")});
        command(workspace, {text("set"), text("input"), text("init"), text("plasma")});
    }
    command(workspace, {text("select"), text("model"), text(setup.model)});
    command(workspace, {text("set"), text("model"), text("input"), text(setup.input)});
    for (size_t i = 0; i < setup.names.size(); ++i) {
        const char* name = setup.names[i];
        const double value = setup.values[i];
        command(workspace, {text("set"), text("model"), text(name), text("value"), mxCreateDoubleScalar(value)});
        command(workspace, {text("set"), text("model"), text(name), text("initvalue"), mxCreateDoubleScalar(value)});
    }
    // Held parameters are const: the model stage frees every fixed one.
    for (const char* name : setup.held)
        command(workspace, {text("set"), text("model"), text(name), text("state"), text("const")});
    command(workspace, {text("select"), text("protocol"), text("Generic")});
    command(workspace, {text("set"), text("protocol"), text("model"), text(setup.model)});
    command(workspace, {text("set"), text("protocol"), text("optimizer"), text("Levenberg-Marquardt")});
    run.model = workspace.getModel(setup.model);
    if (workspace.getData("tac") == nullptr || run.model == nullptr || run.model->getNumInputs() != 1)
        return fail("cannot configure the workspace:\n" + mexhost::takeOutput());

    // The output VOI: the first `voxels` voxels in file order.
    std::vector<double> mask(static_cast<size_t>(d.nx) * d.ny * d.nz, 0.0);
    for (unsigned v = 0; v < voxels; ++v) {
        const unsigned x = v % d.nx, y = (v / d.nx) % d.ny, z = v / (d.nx * d.ny);
        mask[z + d.nz * (y + static_cast<size_t>(d.ny) * x)] = 1.0;
    }
    mxArray* voi = mexhost::makeArray(mxLOGICAL_CLASS, {d.nz, d.ny, d.nx}, mask);

    mexhost::clearOutput();
    const auto begin = std::chrono::steady_clock::now();
    command(workspace, {text("process"), text("tac"), text("none"), text("none"), voi});
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    run.printed = mexhost::takeOutput();
    return true;
}

// Median relative error of a fitted parameter over the first voxels.
double medianError(const BenchData& d, Model* model, const char* name, const std::vector<double>& truth,
                   unsigned voxels) {
    std::vector<double> e;
    for (unsigned v = 0; v < voxels; ++v) {
        const unsigned x = v % d.nx, y = (v / d.nx) % d.ny, z = v / (d.nx * d.ny);
        e.push_back(std::fabs(model->getParameterValue(name, x, y, z) / truth[v] - 1.0));
    }
    return median(e);
}

// Two-tissue curves on the generator's frames and plasma input: rates drawn
// per voxel, the model's values at the frame starts, Gaussian noise of 5% of
// each value. truth receives k1..k4 of all voxels, one vector each.
std::vector<double> twoTissueCurves(const BenchData& d, std::vector<std::vector<double>>& truth) {
    const unsigned ni = static_cast<unsigned>(d.inputT.size());
    const std::vector<double> duration = inputDurations(d);
    Dataset4D<double> curve(ni, 1, 1, 1, 0.0);
    curve.setUnit(Unit("kBq/ml"));
    for (unsigned i = 0; i < ni; ++i) {
        curve.setTime(i, d.inputT[i]);
        curve.setFrameLength(i, duration[i]);
        curve(i, 0, 0, 0) = d.inputY[i];
    }
    LinearInterpolation input("plasma", Unit("kBq/ml"));
    input.initParameters(&curve, nullptr);
    Generic_2TC_Model model(Unit("kBq/ml"), 0.0, 0.0, 0.0, 0.0, d.alpha, d.beta);
    model.addInput(&input);

    std::mt19937 generator(1);
    const double low[] = {0.05, 0.02, 0.01, 0.005}, high[] = {0.8, 0.5, 0.15, 0.05};
    const char* names[] = {"k1", "k2", "k3", "k4"};
    std::normal_distribution<double> normal(0.0, 1.0);
    const size_t n = static_cast<size_t>(d.nx) * d.ny * d.nz;
    truth.assign(4, std::vector<double>(n));
    std::vector<double> tac(n * d.nt);
    for (size_t v = 0; v < n; ++v) {
        for (int i = 0; i < 4; ++i) {
            truth[i][v] = std::uniform_real_distribution<double>(low[i], high[i])(generator);
            model.setParameterValue(names[i], truth[i][v]);
        }
        for (unsigned f = 0; f < d.nt; ++f) {
            const double y = model(d.start[f], 0, 0, 0);
            tac[v + n * f] = y + 0.05 * std::fabs(y) * normal(generator);
        }
    }
    return tac;
}

// The generator's plasma curve, ((a1 x - a2 - a3) e^(-l1 x) + a2 e^(-l2 x) + a3 e^(-l3 x)),
// x = (t - 15 s) / 60 s, as gamma-variate terms A x^B e^(-C x): tau, t0, then
// A, B, C of each term.
const std::vector<double> kPlasmaTerms = {60.0, 15.0, 851.1225, 1.0, 4.133859, -42.6911, 0.0, 4.133859,
                                          21.8798, 0.0, 0.01043449, 20.8113, 0.0, 0.1190996};

// The gamma input fitted to the plasma samples by the input stage of
// 'process' (A and C free, from 10% off), then given the delay `t0`.
void configureGammaInput(MatlabInterface& workspace, double t0, double& seconds) {
    command(workspace, {text("select"), text("input"), text("GenericInputFunction")});
    command(workspace, {text("set"), text("input"), text("unit"), text("kBq/ml")});
    command(workspace, {text("set"), text("input"), text("size"), mxCreateDoubleScalar(14)});
    const char* names[] = {"tau", "t0", "A1", "B1", "C1", "A2", "B2", "C2", "A3", "B3", "C3", "A4", "B4", "C4"};
    for (size_t i = 0; i < kPlasmaTerms.size(); ++i) {
        const bool fitted = i >= 2 && (i - 2) % 3 != 1;
        const double start = kPlasmaTerms[i] * (fitted ? 1.1 : 1.0);
        command(workspace, {text("set"), text("input"), text(names[i]), text("value"), mxCreateDoubleScalar(start)});
        command(workspace, {text("set"), text("input"), text(names[i]), text("initvalue"), mxCreateDoubleScalar(start)});
        if (!fitted) command(workspace, {text("set"), text("input"), text(names[i]), text("state"), text("const")});
    }
    command(workspace, {text("select"), text("model"), text("Generic_1TC")});
    command(workspace, {text("set"), text("model"), text("input"), text("GenericInputFunction")});
    command(workspace, {text("select"), text("protocol"), text("Generic")});
    command(workspace, {text("set"), text("protocol"), text("model"), text("Generic_1TC")});
    command(workspace, {text("set"), text("protocol"), text("optimizer"), text("Levenberg-Marquardt")});
    command(workspace, {text("set"), text("voi"), text("plasma_voxel"), mexhost::makeArray(mxLOGICAL_CLASS, {1, 1}, {1.0})});
    const auto begin = std::chrono::steady_clock::now();
    command(workspace, {text("process"), text("plasma"), text("none"), text("plasma_voxel"), text("none")});
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    command(workspace, {text("set"), text("input"), text("t0"), text("value"), mxCreateDoubleScalar(t0)});
    // The delay switched the convolutions to the numerical way for good.
    if (t0 == 0.0) command(workspace, {text("set"), text("input"), text("numconv"), mxCreateDoubleScalar(0)});
}

}  // namespace

int main() {
    const char* dir = std::getenv("DATA");
    BenchData d;
    if (!load(dir != nullptr ? dir : "data", d)) return 1;
    unsigned voxels = d.nx * d.ny * d.nz;
    if (const char* limit = std::getenv("VOXELS"))
        if (std::atoi(limit) > 0) voxels = std::min(voxels, static_cast<unsigned>(std::atoi(limit)));

    _MessageHelper::verbosity_ = 1;
    if (const char* verbosity = std::getenv("VERBOSITY")) _MessageHelper::verbosity_ = std::atoi(verbosity);
    MatlabInterface workspace;
    mexhost::clearOutput();
    const FitSetup oneTissue{"Generic_1TC", {"k1", "k2", "alpha", "beta"}, {0.3, 0.1, d.alpha, d.beta}, {"alpha", "beta"}, "LinearInterpolation", {}};
    FitRun run;
    if (!fitThrough(workspace, d, d.tac, oneTissue, voxels, run)) return 1;
    Model* model = run.model;
    std::fputs(run.printed.c_str(), stdout);

    if (const char* out = std::getenv("OUT")) {
        std::vector<double> results;
        for (const char* name : {"k1", "k2"})
            for (unsigned v = 0; v < voxels; ++v) {
                const unsigned x = v % d.nx, y = (v / d.nx) % d.ny, z = v / (d.nx * d.ny);
                results.push_back(model->getParameterValue(name, x, y, z));
                results.push_back(model->getParameterError(name, x, y, z));
            }
        std::ofstream file(out, std::ios::binary);
        file.write(reinterpret_cast<const char*>(results.data()),
                   static_cast<std::streamsize>(results.size() * sizeof(double)));
        file << run.printed;
    }

    const char* twoTissue = std::getenv("TWO_TISSUE");
    if (twoTissue != nullptr && std::atoi(twoTissue) != 0) {
        std::vector<std::vector<double>> truth;
        const std::vector<double> tac = twoTissueCurves(d, truth);
        MatlabInterface second;
        const FitSetup setup{"Generic_2TC",
                             {"k1", "k2", "k3", "k4", "alpha", "beta"},
                             {0.3, 0.1, 0.05, 0.02, d.alpha, d.beta},
                             {"alpha", "beta"}, "LinearInterpolation", {}};
        FitRun fit2;
        if (!fitThrough(second, d, tac, setup, voxels, fit2)) return 1;
        std::printf("two_tissue voxels=%u seconds=%.4f voxels_per_s=%.0f", voxels, fit2.seconds, voxels / fit2.seconds);
        const char* names[] = {"k1", "k2", "k3", "k4"};
        for (int i = 0; i < 4; ++i)
            std::printf(" median_abs_rel_err_%s=%.4f", names[i], medianError(d, fit2.model, names[i], truth[i], voxels));
        std::printf(" printed_lines=%ld\n", static_cast<long>(std::count(fit2.printed.begin(), fit2.printed.end(), '\n')));
    }
    const char* gamma = std::getenv("GAMMA_INPUT");
    if (gamma != nullptr && std::atoi(gamma) != 0) {
        // The delayed (numerical) run only with GAMMA_INPUT=2: Romberg per frame
        // and trial makes it minutes for a few voxels.
        for (double t0 : {15.0, 0.0}) {
            if (t0 != 0.0 && std::atoi(gamma) < 2) continue;
            MatlabInterface third;
            double inputSeconds = 0.0;
            FitSetup setup = oneTissue;
            setup.input = "GenericInputFunction";
            setup.configureInput = [&](MatlabInterface& w) { configureGammaInput(w, t0, inputSeconds); };
            FitRun fit3;
            if (!fitThrough(third, d, d.tac, setup, voxels, fit3)) return 1;
            std::printf("gamma_input delay=%g input_seconds=%.4f voxels=%u seconds=%.4f voxels_per_s=%.0f "
                        "median_abs_rel_err_k1=%.4f median_abs_rel_err_k2=%.4f\n",
                        t0, inputSeconds, voxels, fit3.seconds, voxels / fit3.seconds,
                        medianError(d, fit3.model, "k1", d.truthK1, voxels),
                        medianError(d, fit3.model, "k2", d.truthK2, voxels));
        }
    }
    std::printf("voxels=%u seconds=%.4f voxels_per_s=%.0f median_abs_rel_err_k1=%.4f median_abs_rel_err_k2=%.4f\n",
                voxels, run.seconds, voxels / run.seconds, medianError(d, model, "k1", d.truthK1, voxels),
                medianError(d, model, "k2", d.truthK2, voxels));
    return 0;
}
