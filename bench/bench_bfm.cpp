// The reference-region parametric map: GunnBFM with N = 50, 100 and 200
// basis functions against Levenberg-Marquardt with R1, k2 and BPstar free and
// bounded, on one noisy Neuro_SLAM data set of 32 x 32 x 16 voxels and 30
// frames that this program makes itself. Both run on the calling thread
// (KINETRA_THREADS=1 is set here), at verbosity 0; each time is the best of
// REPEAT runs (5 by default). With THREADS=n (n > 1), GunnBFM's map is then
// made again on n threads.
//
// The reference curve is a gamma-variate bolus with a slow tail, sampled at
// the frame starts; the tissue curves come from the model itself (so that the
// truth is the model's own) with Gaussian noise of 2% of the curve's peak.
// R1 in [0.6, 1.4], k2 in [0.1, 0.4] /min and BPstar in [0.2, 3], drawn per
// voxel (seed 1); the fit bounds are R1 [0, 3], k2 [0.05, 0.6], BPstar [0, 5].
//
// GunnBFM's time is split into the basis build (beginRun), the grid solve and
// the error estimate. GunnBFM hands the fit's values and derivatives (from
// its basis) to the covariance; the error estimate is timed as that step
// (normal equations, inverse, errors stored) once per voxel after the run,
// and the grid solve is the rest of the voxels' time (with the walk and the
// record).
//
// $OUT (optional) names a file that receives the data for bench/bfm_numpy.py:
// the header "nt nvox" as two float64, the frame starts (s), the reference
// samples, the tissue curves (voxel-major, nvox x nt), then the truths R1,
// k2 (/min), BPstar [nvox each].
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "Dataset4D.h"
#include "inputs/LinearInterpolation.h"
#include "models/Neuro_SLAM_Model.h"
#include "optimizers/GunnBFM.h"
#include "optimizers/LevenbergMarquardt.h"
#include "util/Message.h"

namespace {

using Clock = std::chrono::steady_clock;


double since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// GunnBFM with its basis build and voxel time clocked.
struct ClockedBFM : GunnBFM {
    double basis = 0.0, voxels = 0.0;
    bool beginRun(Voxel& v) override {
        const Clock::time_point s = Clock::now();
        const bool ok = GunnBFM::beginRun(v);
        basis += since(s);
        return ok;
    }
    void run(Voxel& v) override {
        const Clock::time_point s = Clock::now();
        GunnBFM::run(v);
        voxels += since(s);
    }
    using GunnBFM::run;
};

const unsigned NX = 32, NY = 32, NZ = 16, NV = NX * NY * NZ;

// 30 frames: 6 x 10 s, 6 x 30 s, 6 x 60 s, 6 x 180 s, 6 x 300 s (starts).
std::vector<double> frameStarts() {
    std::vector<double> t;
    double s = 0.0;
    for (double d : {10.0, 30.0, 60.0, 180.0, 300.0})
        for (int i = 0; i < 6; ++i, s += d) t.push_back(s);
    return t;
}

// The reference region: a gamma variate (peak near 60 s) and a slow tail, kBq/ml.
double reference(double t) {
    const double u = t / 60.0;
    return 25.0 * u * u * std::exp(-2.0 * u) + 2.0 * (1.0 - std::exp(-u)) * std::exp(-u / 60.0);
}

struct Study {
    std::vector<double> times = frameStarts();
    std::unique_ptr<Dataset4D<double>> ref, data;
    std::unique_ptr<LinearInterpolation> input;
    std::vector<double> r1, k2, bp;  // truths, k2 in /min
};

void setBounds(Model& m) {
    m.setParameterMin("R1", 0.0);
    m.setParameterMax("R1", 3.0);
    m.setParameterMin("k2", 0.05);
    m.setParameterMax("k2", 0.6);
    m.setParameterMin("BPstar", 0.0);
    m.setParameterMax("BPstar", 5.0);
}

std::unique_ptr<Neuro_SLAM_Model> makeModel(Study& s) {
    std::unique_ptr<Neuro_SLAM_Model> m(new Neuro_SLAM_Model(Unit("kBq/ml"), 1.0, 0.2, 1.0));
    m->addInput(s.input.get());
    m->resizeParameters(NX, NY, NZ);
    setBounds(*m);
    return m;
}

void makeStudy(Study& s) {
    const unsigned T = static_cast<unsigned>(s.times.size());
    s.ref.reset(new Dataset4D<double>(T, 1, 1, 1, 0.0));
    s.ref->setUnit(Unit("kBq/ml"));
    for (unsigned i = 0; i < T; ++i) {
        s.ref->setTime(i, s.times[i]);
        s.ref->setFrameLength(i, i + 1 < T ? s.times[i + 1] - s.times[i] : 300.0);
        (*s.ref)(i, 0, 0, 0) = reference(s.times[i]);
    }
    s.input.reset(new LinearInterpolation("reference", Unit("kBq/ml")));
    s.input->initParameters(s.ref.get(), nullptr);
    std::unique_ptr<Neuro_SLAM_Model> m = makeModel(s);
    std::mt19937 gen(1);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    for (unsigned i = 0; i < NV; ++i) {
        s.r1.push_back(0.6 + 0.8 * u(gen));
        s.k2.push_back(0.1 + 0.3 * u(gen));
        s.bp.push_back(0.2 + 2.8 * u(gen));
        const unsigned x = i % NX, y = (i / NX) % NY, z = i / (NX * NY);
        m->setParameterValue("R1", x, y, z, s.r1[i]);
        m->setParameterValue("k2", x, y, z, s.k2[i]);
        m->setParameterValue("BPstar", x, y, z, s.bp[i]);
    }
    s.data.reset(m->createData(s.times));
    std::normal_distribution<double> normal(0.0, 1.0);
    for (unsigned i = 0; i < NV; ++i) {
        double peak = 0.0;
        for (unsigned t = 0; t < T; ++t) peak = std::max(peak, (*s.data)(t, i));
        for (unsigned t = 0; t < T; ++t) (*s.data)(t, i) += 0.02 * peak * normal(gen);
    }
}

void writeStudy(const Study& s, const char* name) {
    FILE* f = std::fopen(name, "wb");
    if (f == nullptr) return;
    const unsigned T = static_cast<unsigned>(s.times.size());
    std::vector<double> out = {static_cast<double>(T), static_cast<double>(NV)};
    out.insert(out.end(), s.times.begin(), s.times.end());
    for (unsigned t = 0; t < T; ++t) out.push_back(reference(s.times[t]));
    for (unsigned i = 0; i < NV; ++i)
        for (unsigned t = 0; t < T; ++t) out.push_back((*s.data)(t, i));
    for (const std::vector<double>* v : {&s.r1, &s.k2, &s.bp}) out.insert(out.end(), v->begin(), v->end());
    std::fwrite(out.data(), sizeof(double), out.size(), f);
    std::fclose(f);
}

double median(std::vector<double> v) {
    std::nth_element(v.begin(), v.begin() + static_cast<long>(v.size() / 2), v.end());
    return v[v.size() / 2];
}

// Median |fitted - truth| / truth of each parameter over all voxels.
void errors(const Study& s, Model& m, double out[3]) {
    const char* names[3] = {"R1", "k2", "BPstar"};
    const std::vector<double>* truths[3] = {&s.r1, &s.k2, &s.bp};
    for (int p = 0; p < 3; ++p) {
        std::vector<double> e(NV);
        for (unsigned i = 0; i < NV; ++i) {
            const double v = m.getParameterValue(names[p], i % NX, (i / NX) % NY, i / (NX * NY));
            e[i] = std::fabs(v - (*truths[p])[i]) / (*truths[p])[i];
        }
        out[p] = median(e);
    }
}

// The error estimate of every voxel as the run makes it: the fit's values
// and derivatives handed to the covariance (normal equations, inverse, the
// errors stored), here at voxel 0,0,0 once per voxel of the map.
double timeErrors(Optimizer& o, Model& m, const std::vector<double>& times) {
    const unsigned T = static_cast<unsigned>(times.size()), P = o.getNumFitted();
    std::vector<unsigned> index(P);
    for (const auto& entry : o.getParameterIndex())
        index[entry.second] = entry.first == "R1" ? Neuro_SLAM_Model::R1
                              : entry.first == "k2" ? Neuro_SLAM_Model::K2
                                                    : Neuro_SLAM_Model::BPSTAR;
    std::vector<double> values(T), derivatives(static_cast<size_t>(T) * P);
    m.evaluate(times.data(), T, 0, 0, 0, index.data(), P, values.data(), derivatives.data());
    const Clock::time_point start = Clock::now();
    for (unsigned i = 0; i < NV; ++i) o.finishParameters(values.data(), derivatives.data());
    return since(start);
}

void row(const char* method, double seconds, const double err[3], const std::string& split) {
    std::printf("| %-26s | %8.3f | %9.0f | %7.4f | %7.4f | %7.4f | %s\n", method, seconds, NV / seconds, err[0],
                err[1], err[2], split.c_str());
}

}  // namespace

int main() {
    setenv("KINETRA_THREADS", "1", 1);
    const int repeat = std::getenv("REPEAT") != nullptr ? std::max(1, std::atoi(std::getenv("REPEAT"))) : 5;
    _MessageHelper::verbosity_ = 0;
    Study s;
    makeStudy(s);
    if (const char* out = std::getenv("OUT")) writeStudy(s, out);
    std::printf("%u voxels, %u frames, one thread\n", NV, static_cast<unsigned>(s.times.size()));
    std::printf("| %-26s | %8s | %9s | %7s | %7s | %7s | %s\n", "method", "seconds", "voxels/s", "R1", "k2", "BPstar",
                "basis / solve / errors (s)");
    double err[3];
    // The best time of `repeat` runs of `o` (made by make) on fresh models;
    // `each` sees every run's optimizer and model.
    auto best = [&](auto make, auto each) {
        double seconds = HUGE_VAL;
        for (int r = 0; r < repeat; ++r) {
            std::unique_ptr<Neuro_SLAM_Model> m = makeModel(s);
            auto o = make();
            o->setData(s.data.get());
            o->setOptimizable(m.get());
            const Clock::time_point start = Clock::now();
            o->run();
            seconds = std::min(seconds, since(start));
            errors(s, *m, err);
            each(*o, *m);
        }
        return seconds;
    };
    for (int n : {50, 100, 200}) {
        double basis = HUGE_VAL, voxels = HUGE_VAL, errorEstimate = HUGE_VAL;
        const double seconds = best(
            [n] {
                std::unique_ptr<ClockedBFM> o(new ClockedBFM);
                o->maxiter = n;
                return o;
            },
            [&](ClockedBFM& o, Model& m) {
                basis = std::min(basis, o.basis);
                voxels = std::min(voxels, o.voxels);
                errorEstimate = std::min(errorEstimate, timeErrors(o, m, s.times));
            });
        char split[128];
        std::snprintf(split, sizeof split, "%.3f / %.3f / %.3f", basis, voxels - errorEstimate, errorEstimate);
        row(("GunnBFM N=" + std::to_string(n)).c_str(), seconds, err, split);
    }
    auto nothing = [](Optimizer&, Model&) {};
    if (const char* lm = std::getenv("LM"); lm == nullptr || std::string(lm) != "0") {
        const double seconds =
            best([] { return std::unique_ptr<LevenbergMarquardt>(new LevenbergMarquardt); }, nothing);
        row("Levenberg-Marquardt", seconds, err, "");
    }
    const int threads = std::getenv("THREADS") != nullptr ? std::atoi(std::getenv("THREADS")) : 0;
    if (threads < 2) return 0;
    setenv("KINETRA_THREADS", std::to_string(threads).c_str(), 1);
    for (int n : {50, 100, 200}) {
        const double seconds = best(
            [n] {
                std::unique_ptr<GunnBFM> o(new GunnBFM);
                o->maxiter = n;
                return o;
            },
            nothing);
        row(("GunnBFM N=" + std::to_string(n) + ", " + std::to_string(threads) + " threads").c_str(), seconds, err, "");
    }
    return 0;
}
