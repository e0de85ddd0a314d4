// Bounds by penalty, and parameter errors from the covariance checked against
// the spread of repeated noisy fits.
#include <gtest/gtest.h>

#include <cmath>

#include "FitFixture.h"
#include "models/Generic_1TC_Model.h"

namespace {

using fit::Scene;

// Noiseless data of one Generic_1TC voxel per (x) with k1 from truth, k2 0.15.
void oneTissue(Scene& scene, unsigned X, double k1Truth) {
    scene.setModel(new Generic_1TC_Model(Unit("kBq/ml"), k1Truth, 0.15, 1.0, 0.05), X, 1, 1);
    scene.model->setParameterState("alpha", Parameter::FIXED);
    scene.model->setParameterState("beta", Parameter::FIXED);
    scene.makeData();
}

// A start outside the box is put on the bound; the penalty then sends the
// trial step back across the bound by the excess (a reflection), so from a
// start less than a box width outside the fit goes on inside to the truth.
TEST(LevenbergMarquardtBounds, StartOutsideReachesTruthInside) {
    for (double start : {1.3, 0.25}) {
        Scene scene;
        oneTissue(scene, 1, 0.4);
        scene.model->setParameterMin("k1", 0.3);
        scene.model->setParameterMax("k1", 1.0);
        scene.model->setParameterInitValue("k1", start);
        scene.model->setParameterInitValue("k2", 0.1);
        scene.lm.abs_chisquare = 0.0;
        scene.lm.delta_chisquare = 0.0;
        scene.run();
        EXPECT_NEAR(scene.model->getParameterValue("k1", 0, 0, 0), 0.4, 4e-7) << "start " << start;
        EXPECT_NEAR(scene.model->getParameterValue("k2", 0, 0, 0), 0.15, 1.5e-7) << "start " << start;
    }
}

// One pass from outside: the first evaluation moves the start onto the bound
// and pays the penalty there, so no step leaves the box.
TEST(LevenbergMarquardtBounds, FirstPassClipsTheStart) {
    Scene scene;
    oneTissue(scene, 1, 0.4);
    scene.model->setParameterMin("k1", 0.1);
    scene.model->setParameterMax("k1", 1.0);
    scene.model->setParameterInitValue("k1", 5.0);
    scene.model->setParameterInitValue("k2", 0.15);
    scene.lm.maxiter = 0;
    scene.run();
    const double k1 = scene.model->getParameterValue("k1", 0, 0, 0);
    EXPECT_GE(k1, 0.1);
    EXPECT_LE(k1, 1.0);
    EXPECT_GT(scene.lm.getParameters()[0].chisquare_, 1e20);  // the penalty of excess 4: 1.6e21
}

// A truth outside the box: the result sits on the bound nearest to it.
TEST(LevenbergMarquardtBounds, ResultRespectsTheBox) {
    Scene scene;
    oneTissue(scene, 2, 0.9);
    scene.setValues("k1", [](unsigned x, unsigned, unsigned) { return x == 0 ? 0.9 : 0.05; });
    scene.makeData();
    scene.model->setParameterMin("k1", 0.2);
    scene.model->setParameterMax("k1", 0.6);
    scene.model->setParameterInitValue("k1", 0.4);
    scene.model->setParameterInitValue("k2", 0.15);
    scene.run();
    const double high = scene.model->getParameterValue("k1", 0, 0, 0);
    const double low = scene.model->getParameterValue("k1", 1, 0, 0);
    EXPECT_LE(high, 0.6);
    EXPECT_NEAR(high, 0.6, 1e-3);
    EXPECT_GE(low, 0.2);
    EXPECT_NEAR(low, 0.2, 1e-3);
}

// The same truth in every voxel with independent noise: the voxels are
// repeated experiments. The errors that the covariance gives must match the
// spread of the fitted values, and the weighted chi-square per degree of
// freedom must be about 1.
TEST(LevenbergMarquardtCovariance, ErrorsMatchMonteCarloSpread) {
    Scene scene;
    scene.setModel(new Generic_1TC_Model(Unit("kBq/ml"), 0.4, 0.15, 1.0, 0.05), 20, 20, 1);
    scene.model->setParameterState("alpha", Parameter::FIXED);
    scene.model->setParameterState("beta", Parameter::FIXED);
    scene.makeData();
    scene.addNoise(0.2, 2024);
    scene.model->setParameterInitValue("k1", 0.3);
    scene.model->setParameterInitValue("k2", 0.1);
    scene.lm.delta_chisquare = 1e-6;
    scene.run(true);

    const unsigned N = 400;
    const unsigned T = static_cast<unsigned>(scene.times.size());
    for (const char* name : {"k1", "k2"}) {
        double sum = 0.0, sum2 = 0.0, errors = 0.0;
        for (unsigned x = 0; x < 20; ++x)
            for (unsigned y = 0; y < 20; ++y) {
                const double v = scene.model->getParameterValue(name, x, y, 0);
                sum += v;
                sum2 += v * v;
                errors += scene.model->getParameterError(name, x, y, 0);
            }
        const double mean = sum / N;
        const double spread = std::sqrt((sum2 - N * mean * mean) / (N - 1));
        const double reported = errors / N;
        EXPECT_NEAR(reported / spread, 1.0, 0.15) << name << ": reported " << reported << " spread " << spread;
        EXPECT_NEAR(mean, std::string(name) == "k1" ? 0.4 : 0.15, 3.0 * spread / std::sqrt(N)) << name;
    }
    double dof = 0.0;
    for (const OptimizerParameters& r : scene.lm.getParameters()) dof += r.chisquare_ / (T - 2);
    EXPECT_NEAR(dof / N, 1.0, 0.1);
}

// The covariance of a voxel against an independent computation: the
// numerical derivatives of the model, the 2 x 2 normal matrix inverted in
// closed form, times the reduced chi-square.
TEST(LevenbergMarquardtCovariance, VoxelCovarianceMatchesClosedForm) {
    Scene scene;
    scene.setModel(new Generic_1TC_Model(Unit("kBq/ml"), 0.4, 0.15, 1.0, 0.05), 1, 1, 1);
    scene.model->setParameterState("alpha", Parameter::FIXED);
    scene.model->setParameterState("beta", Parameter::FIXED);
    scene.makeData();
    scene.addNoise(0.2, 5);
    scene.model->setParameterInitValue("k1", 0.3);
    scene.model->setParameterInitValue("k2", 0.1);
    scene.run(true);
    const Dataset2D<double> cov = scene.lm.computeCovariance(0, 0, 0);
    ASSERT_EQ(cov.getDimensionX(), 2u);

    Model& m = *scene.model;
    m.setNumDer(true);
    const double um = m.getUnit().getFactor(), ue = scene.error->getUnit().getFactor();
    double a11 = 0, a12 = 0, a22 = 0, chi = 0;
    for (unsigned t = 0; t < scene.times.size(); ++t) {
        const double tm = scene.times[t];
        const double e = (*scene.error)(t, 0, 0, 0) * ue;
        const double r = (m(tm, 0, 0, 0) - (*scene.data)(t, 0, 0, 0)) * um / e;
        chi += r * r;
        const double d1 = m.der("k1", tm, 0, 0, 0) * um, d2 = m.der("k2", tm, 0, 0, 0) * um;
        a11 += d1 * d1 / (e * e);
        a12 += d1 * d2 / (e * e);
        a22 += d2 * d2 / (e * e);
    }
    const double c = chi / (scene.times.size() - 2.0);
    const double det = a11 * a22 - a12 * a12;
    EXPECT_NEAR(cov(0, 0), c * a22 / det, 1e-4 * c * a22 / det);
    EXPECT_NEAR(cov(1, 1), c * a11 / det, 1e-4 * c * a11 / det);
    EXPECT_NEAR(cov(0, 1), -c * a12 / det, 1e-4 * std::fabs(c * a12 / det));
    EXPECT_NEAR(cov(0, 1), cov(1, 0), 1e-12 * std::fabs(cov(0, 1)));
    EXPECT_DOUBLE_EQ(m.getParameterError("k1", 0, 0, 0), std::sqrt(cov(0, 0)));
    EXPECT_DOUBLE_EQ(m.getParameterError("k2", 0, 0, 0), std::sqrt(cov(1, 1)));
}

}  // namespace
