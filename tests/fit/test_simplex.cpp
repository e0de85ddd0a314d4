// Simplex: the one-tissue optimum against Levenberg-Marquardt, bounds, the
// step budget, objective values that are not numbers, stop codes and the
// printed run.
#include <gtest/gtest.h>

#include <cmath>

#include "RunOn.h"
#include "optimizers/Simplex.h"

namespace {

using fit::runOn;
using fit::Scene;

double value(const Scene& scene, const std::string& name, unsigned x = 0) {
    return scene.model->getParameterValue(name, x, 0, 0);
}

// The sum of squared residuals of the stored parameters at voxel x.
double residualSum(Scene& scene, unsigned x = 0) {
    double sum = 0.0;
    for (unsigned t = 0; t < scene.times.size(); ++t) {
        const double r = (*scene.data)(t, x, 0, 0) - (*scene.model)(scene.data->getModelTime(t), x, 0, 0);
        sum += r * r;
    }
    return sum;
}

// f(t) = a t + b while a <= 1; beyond, not a number.
class BrokenLine : public Optimizable {
public:
    BrokenLine() : Optimizable("Test") {
        addParameter("a", Unit(), 0.5);
        addParameter("b", Unit(), 1.0);
    }
    double operator()(double t, unsigned x, unsigned y, unsigned z) override {
        const double a = parameter_[0].valueAt(x, y, z);
        return a > 1.0 ? std::nan("") : a * t + parameter_[1].valueAt(x, y, z);
    }
    Optimizable* createAverage(const VOI*) override { return nullptr; }
};

}  // namespace

// Noisy one-tissue voxels: Simplex reaches the least-squares optimum that
// Levenberg-Marquardt finds, writes it into the maps, and reports the
// chi-square of that very point. An error dataset changes nothing.
TEST(Simplex, OneTissueOptimumOfLevenbergMarquardt) {
    Scene scene;
    scene.oneTissue(3);
    scene.addNoise(0.05, 11);
    scene.start(0.3, 0.1);
    scene.lm.delta_chisquare = 1e-12;
    scene.run();
    double k1[3], k2[3];
    for (unsigned x = 0; x < 3; ++x) k1[x] = value(scene, "k1", x), k2[x] = value(scene, "k2", x);

    Simplex simplex;
    simplex.delta_chisquare = 1e-13;
    simplex.maxiter = 1000;
    runOn(simplex, scene);
    for (unsigned x = 0; x < 3; ++x) {
        const OptimizerParameters& record = simplex.getParameters()[x];
        EXPECT_NEAR(value(scene, "k1", x), k1[x], 1e-5 * k1[x]) << x;
        EXPECT_NEAR(value(scene, "k2", x), k2[x], 1e-5 * k2[x]) << x;
        EXPECT_NEAR(record.chisquare_, residualSum(scene, x), 1e-12 * record.chisquare_) << x;
        EXPECT_EQ(record.unweightedChisquare_, record.chisquare_) << x;
        EXPECT_EQ(record.exitFlag_, Simplex::RELATIVE_CHISQUARE) << x;
        EXPECT_GT(record.rsc_, 0) << x;
        EXPECT_GT(scene.model->getParameterError("k1", x, 0, 0), 0.0) << x;
        k1[x] = value(scene, "k1", x), k2[x] = value(scene, "k2", x);
    }
    runOn(simplex, scene, true);
    for (unsigned x = 0; x < 3; ++x) {
        EXPECT_EQ(value(scene, "k1", x), k1[x]) << x;
        EXPECT_EQ(value(scene, "k2", x), k2[x]) << x;
    }
}

// A start outside the bounds begins on them; no vertex, and so no result,
// ever leaves them, even when the optimum lies outside (k1 is 0.4). maxiter
// 0 takes no step: the start moved into the bounds stands, and as the spread
// is then 0 the relative rule names the reason unless it is off.
TEST(Simplex, BoundsHoldTheStartAndTheResult) {
    struct Case {
        double start, min, max, expected;
        int maxiter;
        double delta;
        int flag;  // -1: any
    } cases[] = {
        {3.0, 0.0, 2.0, 0.4, 500, 1e-10, -1},     // start above the box, optimum inside
        {-1.0, 0.1, 2.0, 0.4, 500, 1e-10, -1},    // start below the box
        {0.5, 0.0, 0.3, 0.3, 500, 1e-10, -1},     // optimum above the box: the result on the bound
        {0.3, 0.0, 0.3, 0.3, 500, 1e-10, -1},     // start on the bound the first step would leave
        {0.2, 0.45, 0.46, 0.45, 500, 1e-10, -1},  // a box narrower than the first step
        {3.0, 0.0, 2.0, 2.0, 0, 0.001, Simplex::RELATIVE_CHISQUARE},
        {3.0, 0.0, 2.0, 2.0, 0, 0.0, Simplex::ITERATIONS},
    };
    for (const Case& c : cases) {
        Scene scene;
        scene.oneTissue(1);
        scene.start(c.start, 0.1);
        scene.model->setParameterMin("k1", c.min);
        scene.model->setParameterMax("k1", c.max);
        Simplex simplex;
        simplex.delta_chisquare = c.delta;
        simplex.maxiter = c.maxiter;
        runOn(simplex, scene);
        const OptimizerParameters& record = simplex.getParameters()[0];
        const double k1 = value(scene, "k1");
        EXPECT_GE(k1, c.min) << c.start;
        EXPECT_LE(k1, c.max) << c.start;
        EXPECT_NEAR(k1, c.expected, c.maxiter ? 1e-4 : 0.0) << c.start;
        EXPECT_NEAR(record.chisquare_, residualSum(scene), 1e-9 * record.chisquare_) << c.start;
        if (c.flag >= 0) {
            EXPECT_EQ(record.exitFlag_, c.flag);
        }
        if (c.maxiter == 0) {
            EXPECT_EQ(record.numiter, 0);
            EXPECT_EQ(value(scene, "k2"), 0.1);
        }
    }
}

// Every voxel has its own P * maxiter steps: identical voxels, in one run or
// the next, get identical fits and counts.
TEST(Simplex, StepBudgetIsPerVoxel) {
    Scene scene;
    scene.oneTissue(3);
    scene.start(0.3, 0.1);
    Simplex simplex;
    simplex.maxiter = 6;
    simplex.delta_chisquare = -1.0;  // only the budget ends a voxel
    simplex.abs_chisquare = -1.0;
    for (int run = 0; run < 2; ++run) {
        runOn(simplex, scene);
        for (unsigned x = 0; x < 3; ++x) {
            const OptimizerParameters& record = simplex.getParameters()[x];
            EXPECT_GE(record.numiter, 12) << x;
            EXPECT_LE(record.numiter, 12 + 2) << x;  // a shrink may pass the budget by P
            EXPECT_EQ(record.numiter, simplex.getParameters()[0].numiter) << x;
            EXPECT_EQ(value(scene, "k1", x), value(scene, "k1", 0)) << x;
            EXPECT_NE(value(scene, "k1", x), 0.3) << x;
            // The budget is P * maxiter but the rule tests maxiter: no reason.
            EXPECT_EQ(record.exitFlag_, Simplex::RUNNING) << x;
        }
    }
}

// The reasons, on a line fit. A vertex whose objective is not a number
// loses to every other: from a = 0.99 the first step leaves the domain of
// the model (a > 1), and the fit still ends at the optimum.
TEST(Simplex, StopCodesAndObjectiveNotANumber) {
    struct Case {
        bool exact;
        double delta, abs, a;
        int code;
    } cases[] = {
        {false, 1e-10, 1e-9, 0.3, Simplex::RELATIVE_CHISQUARE},
        {true, -1.0, 1e-8, 0.3, Simplex::ABSOLUTE_CHISQUARE},
        {false, 1e-10, 1e-9, 0.99, Simplex::RELATIVE_CHISQUARE},
    };
    for (const Case& c : cases) {
        // 10 frames of y = 0.5 t + 1, with a small ripple unless exact.
        BrokenLine line;
        Dataset4D<double> data(10, 1, 1, 1, 0.0);
        for (unsigned t = 0; t < 10; ++t) {
            data.setTime(t, t), data.setFrameLength(t, 1.0);
            data(t, 0, 0, 0) = 0.5 * data.getModelTime(t) + 1.0 + (c.exact ? 0.0 : 0.01 * ((t % 3) - 1.0));
        }
        line.setParameterInitValue("a", c.a);
        line.setParameterInitValue("b", 2.0);
        Simplex simplex;
        simplex.delta_chisquare = c.delta;
        simplex.abs_chisquare = c.abs;
        simplex.maxiter = 1000;
        simplex.setData(&data);
        simplex.setOptimizable(&line);
        simplex.run();
        const OptimizerParameters& record = simplex.getParameters()[0];
        EXPECT_EQ(record.exitFlag_, c.code) << c.a;
        EXPECT_NEAR(line.getParameterValue("a", 0, 0, 0), 0.5, 1e-3) << c.a;
        EXPECT_LT(record.chisquare_, c.exact ? c.abs : 1e-3) << c.a;
    }
}

// The printed run at verbosity 3 (CPU seconds masked): two voxels from a
// start above the truth, k2 bounded, without an error dataset.
TEST(Simplex, PrintedRunAtVerbosity3) {
    fit::Verbosity verbosity(3);
    Scene scene;
    scene.oneTissue(2, 1, 0.25);
    scene.addNoise(0.02, 3);
    scene.start(0.5, 0.2);
    scene.model->setParameterMin("k2", 0.05);
    scene.model->setParameterMax("k2", 1.0);
    Simplex simplex;
    EXPECT_EQ(fit::masked(runOn(simplex, scene)), fit::stored("simplex_verbosity3.txt"));
}
