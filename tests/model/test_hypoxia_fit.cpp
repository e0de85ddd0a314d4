// A noiseless FMISO_2TC curve in two voxels fitted back through the process
// command by Levenberg-Marquardt, eta held (its derivative row is not the true
// one) and alpha too (it enters with k3 only as their product where k2 is large).
#include <gtest/gtest.h>

#include <memory>

#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "Protocol.h"
#include "support/Session.h"

TEST(HypoxiaFit, Fmiso2TCRecoveredThroughProcess) {
    const unsigned T = 30, X = 2;
    test::Session s;
    Dataset4D<double>* blood = new Dataset4D<double>(T, 1, 1, 1, 0.0);
    Dataset4D<double>* tissue = new Dataset4D<double>(T, X, 1, 1, 0.0);
    blood->setName("blood");
    blood->setUnit(Unit("kBq/ml"));
    tissue->setName("tissue");
    double start = 0.0;
    for (unsigned t = 0; t < T; ++t) {
        const double length = t < 10 ? 10.0 : (t < 20 ? 60.0 : 300.0);
        for (Dataset4D<double>* d : {blood, tissue}) d->setTime(t, start), d->setFrameLength(t, length);
        (*blood)(t, 0, 0, 0) = 60.0 * (start / 40.0) * std::exp(1.0 - start / 40.0) + 4.0 * (start > 20.0);
        start += length;
    }
    s.workspace->addData(blood);
    InputFunction* input = s.workspace->getInput("LinearInterpolation");
    input->initParameters(blood, nullptr);
    Model* model = s.workspace->getModel("FMISO_2TC");
    ASSERT_NE(model, nullptr);
    model->addInput(input);
    for (auto [name, value] : {std::pair{"eta", 0.3}, {"beta", 0.05}, {"V", 1.0}, {"alpha", 0.6}}) {
        model->setParameterValue(name, value);
        model->setParameterState(name, Parameter::CONST);
    }
    const std::pair<const char*, double> free[] = {{"k1", 0.3}, {"k2", 0.2}, {"k3", 0.05}};
    model->resizeParameters(X, 1, 1);
    for (const auto& f : free)
        for (unsigned x = 0; x < X; ++x) model->setParameterValue(f.first, x, 0, 0, f.second * (1 + 0.2 * x));
    std::unique_ptr<Dataset4D<double>> curve(model->createData(*blood));
    ASSERT_NE(curve, nullptr);
    tissue->setUnit(curve->getUnit());
    for (unsigned t = 0; t < T; ++t)
        for (unsigned x = 0; x < X; ++x) (*tissue)(t, x, 0, 0) = (*curve)(t, x, 0, 0);
    s.workspace->addData(tissue);
    for (const auto& f : free)
        for (unsigned x = 0; x < X; ++x) model->setParameterInitValue(f.first, x, 0, 0, f.second * (1 + 0.2 * x) * 1.2);
    s.call({"select", "protocol", "Generic"});
    Protocol* p = s.workspace->getProtocol("Generic");
    p->setOptimizer(s.workspace->getOptimizer("Levenberg-Marquardt"));
    p->setModel(model);
    const test::Result r =
        s.call({"process", "tissue", "none", "none", mexhost::makeArray(mxLOGICAL_CLASS, {1, 1, X}, {1, 1})});
    EXPECT_NE(r.text.find("FMISO_2TC parameters on VOI '_output_voi_'\n"), std::string::npos) << r.text;
    for (const auto& f : free)
        for (unsigned x = 0; x < X; ++x) {
            const double truth = f.second * (1 + 0.2 * x);
            EXPECT_NEAR(model->getParameterValue(f.first, x, 0, 0), truth, 1e-4 * truth) << f.first << " at " << x;
        }
}
