// The voxel walk on worker threads leaves what the walk on the calling
// thread leaves: the same printed text at every verbosity, the same maps of
// values and errors and the same records, bit for bit, whatever the number
// of threads; a progress hook that stops the run stops it after the same
// voxel.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "FitFixture.h"
#include "models/Neuro_SLAM_Model.h"
#include "optimizers/GunnBFM.h"
#include "optimizers/Simplex.h"

using namespace fit;

namespace {

struct Threads {
    explicit Threads(const char* n) { setenv("KINETRA_THREADS", n, 1); }
    ~Threads() { unsetenv("KINETRA_THREADS"); }
};

// Every value and error of every parameter, and every record, as bytes.
std::string snapshot(const Scene& s, const Optimizer& o) {
    std::string bytes;
    auto add = [&bytes](double v) { bytes.append(reinterpret_cast<const char*>(&v), sizeof v); };
    for (unsigned i = 0; i < s.model->getNumParameters(); ++i) {
        const Parameter& p = s.model->getParameterByIndex(i);
        s.forEach([&](unsigned x, unsigned y, unsigned z) {
            add(p.valueAt(x, y, z));
            add(p.errorAt(x, y, z));
        });
    }
    for (const OptimizerParameters& r : o.getParameters()) {
        add(r.chisquare_);
        add(r.unweightedChisquare_);
        add(r.x_ * 1e6 + r.y_ * 1e3 + r.z_);
        add(r.numiter * 1e3 + r.exitFlag_ * 10 + r.rsc_);
    }
    return bytes;
}

// A noisy one-tissue image of 6 x 5 x 1 voxels with per-voxel start values,
// k2 on a logarithmic scale, bounds, a VOI with holes and one voxel whose
// data are not finite.
void noisyScene(Scene& s) {
    s.oneTissue(6, 5);
    s.setValues("k1", [](unsigned x, unsigned y, unsigned) { return 0.2 + 0.05 * x + 0.01 * y; });
    s.makeData();
    s.addNoise(0.3, 11);
    (*s.data)(3, 1, 1, 0) = std::nan("");  // frame 3 of voxel (1, 1, 0)
    s.setInitValues("k1", [](unsigned x, unsigned, unsigned) { return 0.3 + 0.01 * x; });
    s.model->setParameterInitValue("k2", 0.1);
    s.model->setParameterLog("k2", true);
    s.model->setParameterMin("k1", 0.0);
    s.model->setParameterMax("k1", 1.0);
    s.setVOI([](unsigned x, unsigned y, unsigned) { return (x + y) % 7 != 3; });
}

// Stops the run after `limit` voxels.
struct StopAfter : SubUpdate {
    explicit StopAfter(int limit) : left(limit) {}
    bool operator()(const UpdateAction& a) override { return a.action_ != 1 || --left > 0; }
    int left;
};

// "" if equal, else the two texts around their first difference.
std::string difference(const std::string& a, const std::string& b) {
    if (a == b) return "";
    size_t i = 0;
    while (i < a.size() && i < b.size() && a[i] == b[i]) ++i;
    const size_t from = i > 200 ? i - 200 : 0;
    return "at " + std::to_string(i) + ":\n" + a.substr(from, 400) + "\n---- against ----\n" + b.substr(from, 400);
}

}  // namespace

TEST(ParallelWalk, SameTextMapsAndRecordsForAnyThreadCount) {
    for (unsigned verbosity : {1u, 3u, 4u}) {
        for (bool weighted : {false, true}) {
            std::string text[3], bytes[3];
            const char* counts[3] = {"1", "2", "5"};
            for (int c = 0; c < 3; ++c) {
                Threads threads(counts[c]);
                Verbosity v(verbosity);
                Scene s;
                noisyScene(s);
                text[c] = masked(s.run(weighted));
                bytes[c] = snapshot(s, s.lm);
            }
            for (int c = 1; c < 3; ++c) {
                EXPECT_EQ(difference(text[c], text[0]), "") << "verbosity " << verbosity << " threads " << counts[c];
                EXPECT_TRUE(bytes[c] == bytes[0]) << "verbosity " << verbosity << " threads " << counts[c];
            }
            EXPECT_NE(text[0].find("not finite"), std::string::npos);
        }
    }
}

// The text and snapshot of `fit` on a fresh noisy scene with `threads` threads.
template <class F>
std::pair<std::string, std::string> threadedRun(const char* threads, F fit) {
    Threads t(threads);
    Verbosity v(3);
    Scene s;
    noisyScene(s);
    return fit(s);
}

TEST(ParallelWalk, AHookThatStopsEndsAfterTheSameVoxel) {
    auto fit = [](Scene& s) {
        s.lm.setUpdate(new StopAfter(7));
        const std::string text = masked(s.run());
        return std::make_pair(text, snapshot(s, s.lm));
    };
    const auto one = threadedRun("1", fit), three = threadedRun("3", fit);
    EXPECT_EQ(difference(three.first, one.first), "");
    EXPECT_TRUE(three.second == one.second);
    EXPECT_NE(one.first.find("Optimization stopped by user"), std::string::npos);
}

// Every method with workers walks the same way: the simplex here.
TEST(ParallelWalk, SimplexSameTextAndMaps) {
    auto fit = [](Scene& s) {
        Simplex simplex;
        simplex.setData(s.data.get());
        simplex.setVOI(s.voi.get());
        simplex.setOptimizable(s.model.get());
        mexhost::clearOutput();
        simplex.run();
        const std::string text = masked(mexhost::takeOutput());
        return std::make_pair(text, snapshot(s, simplex));
    };
    const auto one = threadedRun("1", fit), three = threadedRun("3", fit);
    EXPECT_EQ(difference(three.first, one.first), "");
    EXPECT_TRUE(three.second == one.second);
    EXPECT_NE(one.first.find("VOXEL 5,4,0"), std::string::npos);
}

// The basis function method: the same maps and records on one thread and on
// three, and on its quiet path (verbosity 0, grid points solved two at a
// time) as on its talkative one; the count of voxels out of bounds is the
// same whatever the threads.
TEST(ParallelWalk, GunnBFMSameMapsOnEveryPathAndThreadCount) {
    auto fit = [](unsigned verbosity, const char* threads) {
        Threads t(threads);
        Verbosity v(verbosity);
        Scene s;
        s.setModel(new Neuro_SLAM_Model(Unit("kBq/ml"), 1.0, 0.2, 1.0), 5, 4, 2);
        s.setValues("BPstar", [](unsigned x, unsigned y, unsigned z) { return 0.3 + 1.5 * x + 0.1 * y + 0.05 * z; });
        s.makeData();
        s.addNoise(0.05, 3);
        s.model->setParameterMin("k2", 0.05);
        s.model->setParameterMax("k2", 0.5);
        s.model->setParameterMin("BPstar", 0.0);
        s.model->setParameterMax("BPstar", 1.2);
        GunnBFM bfm;
        bfm.maxiter = 37;  // not a whole number of blocks
        bfm.setData(s.data.get());
        bfm.setOptimizable(s.model.get());
        mexhost::clearOutput();
        bfm.run();
        return std::make_pair(masked(mexhost::takeOutput()), snapshot(s, bfm));
    };
    const auto quiet = fit(0, "1"), quiet3 = fit(0, "3"), talk = fit(2, "1"), talk3 = fit(2, "3");
    EXPECT_TRUE(quiet.second == talk.second);
    EXPECT_TRUE(quiet3.second == quiet.second);
    EXPECT_TRUE(talk3.second == talk.second);
    EXPECT_EQ(difference(talk3.first, talk.first), "");
    EXPECT_NE(talk.first.find("all estimates out of bounds"), std::string::npos) << talk.first;
    EXPECT_EQ(talk.first.find(" 0 final estimates out of bounds"), std::string::npos) << talk.first;
}
