// Bounds by penalty, and parameter errors from the covariance checked against
// the spread of repeated noisy fits and a closed-form inverse.
#include <gtest/gtest.h>

#include <cmath>

#include "FitFixture.h"

namespace {

using fit::Scene;

// A start outside the box is put on the bound (one pass: it pays the penalty
// of its excess there, 1.6e21 for 4); from less than a box width outside the
// fit goes on to the truth; a truth outside the box gives the nearest bound.
TEST(LevenbergMarquardtBounds, StartAndResultStayInTheBox) {
    const struct { double truth, start, min, max; int maxiter; double expected, tol; } cases[] = {
        {0.4, 1.3, 0.3, 1.0, 100, 0.4, 4e-7}, {0.4, 0.25, 0.3, 1.0, 100, 0.4, 4e-7},
        {0.4, 5.0, 0.1, 1.0, 0, NAN, 0},      {0.9, 0.4, 0.2, 0.6, 100, 0.6, 1e-3},
        {0.05, 0.4, 0.2, 0.6, 100, 0.2, 1e-3},
    };
    for (const auto& c : cases) {
        Scene scene;
        scene.oneTissue(1, 1, c.truth);
        scene.model->setParameterMin("k1", c.min);
        scene.model->setParameterMax("k1", c.max);
        scene.start(c.start, 0.1);
        scene.lm.abs_chisquare = 0.0;
        scene.lm.delta_chisquare = 0.0;
        scene.lm.maxiter = c.maxiter;
        scene.run();
        const double k1 = scene.model->getParameterValue("k1", 0, 0, 0);
        EXPECT_GE(k1, c.min) << c.start;
        EXPECT_LE(k1, c.max) << c.start;
        if (std::isnan(c.expected)) EXPECT_GT(scene.lm.getParameters()[0].chisquare_, 1e20);
        else EXPECT_NEAR(k1, c.expected, c.tol) << c.truth << " from " << c.start;
        if (c.expected == c.truth) {
            EXPECT_NEAR(scene.model->getParameterValue("k2", 0, 0, 0), 0.15, 1.5e-7);
        }
    }
}

// The voxels are repeated experiments: the reported errors must match the
// spread of the fitted values, and chi-square per degree of freedom be ~1.
TEST(LevenbergMarquardtCovariance, ErrorsMatchMonteCarloSpread) {
    Scene scene;
    scene.oneTissue(20, 20);
    scene.addNoise(0.2, 2024);
    scene.start(0.3, 0.1);
    scene.lm.delta_chisquare = 1e-6;
    scene.run(true);
    const unsigned N = 400, T = static_cast<unsigned>(scene.times.size());
    for (const char* name : {"k1", "k2"}) {
        double sum = 0.0, sum2 = 0.0, errors = 0.0;
        scene.forEach([&](unsigned x, unsigned y, unsigned) {
            const double v = scene.model->getParameterValue(name, x, y, 0);
            sum += v, sum2 += v * v, errors += scene.model->getParameterError(name, x, y, 0);
        });
        const double mean = sum / N, spread = std::sqrt((sum2 - N * mean * mean) / (N - 1));
        EXPECT_NEAR(errors / N / spread, 1.0, 0.15) << name;
        EXPECT_NEAR(mean, std::string(name) == "k1" ? 0.4 : 0.15, 3.0 * spread / std::sqrt(N)) << name;
    }
    double dof = 0.0;
    for (const OptimizerParameters& r : scene.lm.getParameters()) dof += r.chisquare_ / (T - 2);
    EXPECT_NEAR(dof / N, 1.0, 0.1);
}

// Against numerical derivatives of the model and the 2 x 2 normal matrix
// inverted in closed form, times the reduced chi-square.
TEST(LevenbergMarquardtCovariance, VoxelCovarianceMatchesClosedForm) {
    Scene scene;
    scene.oneTissue(1);
    scene.addNoise(0.2, 5);
    scene.start(0.3, 0.1);
    scene.run(true);
    const Dataset2D<double> cov = scene.lm.computeCovariance(0, 0, 0);
    ASSERT_EQ(cov.getDimensionX(), 2u);

    Model& m = *scene.model;
    m.setNumDer(true);
    const double um = m.getUnit().getFactor(), ue = scene.error->getUnit().getFactor();
    double a11 = 0, a12 = 0, a22 = 0, chi = 0;
    for (unsigned t = 0; t < scene.times.size(); ++t) {
        const double tm = scene.times[t], e = (*scene.error)(t, 0, 0, 0) * ue;
        const double r = (m(tm, 0, 0, 0) - (*scene.data)(t, 0, 0, 0)) * um / e;
        const double d1 = m.der("k1", tm, 0, 0, 0) * um / e, d2 = m.der("k2", tm, 0, 0, 0) * um / e;
        chi += r * r, a11 += d1 * d1, a12 += d1 * d2, a22 += d2 * d2;
    }
    const double c = chi / (scene.times.size() - 2.0), det = a11 * a22 - a12 * a12;
    EXPECT_NEAR(cov(0, 0), c * a22 / det, 1e-4 * c * a22 / det);
    EXPECT_NEAR(cov(1, 1), c * a11 / det, 1e-4 * c * a11 / det);
    EXPECT_NEAR(cov(0, 1), -c * a12 / det, 1e-4 * std::fabs(c * a12 / det));
    EXPECT_NEAR(cov(0, 1), cov(1, 0), 1e-12 * std::fabs(cov(0, 1)));
    EXPECT_DOUBLE_EQ(m.getParameterError("k1", 0, 0, 0), std::sqrt(cov(0, 0)));
    EXPECT_DOUBLE_EQ(m.getParameterError("k2", 0, 0, 0), std::sqrt(cov(1, 1)));
}

}  // namespace
