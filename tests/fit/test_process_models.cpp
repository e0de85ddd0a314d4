// Every two-tissue and reference-region model fitted through the process
// command, voxel by voxel by Levenberg-Marquardt: noiseless data made by the
// workspace's own model object with other parameters in every voxel, fitted
// back from a start 20% away.
#include <gtest/gtest.h>

#include <cmath>

#include "Dataset4D.h"
#include "InputFunction.h"
#include "Model.h"
#include "Protocol.h"
#include "support/Session.h"

namespace {

struct Free {
    const char* name;
    double base;  // voxel x has base * (1 + 0.15 x)
};
struct Row {
    const char* model;
    std::vector<Free> free;
    std::vector<std::pair<const char*, double>> held;  // const
};

}  // namespace

TEST(Process, TwoTissueAndReferenceRegionModelsRecoverTheirParameters) {
    const Row rows[] = {
        {"Generic_2TC", {{"k1", 0.4}, {"k2", 0.25}, {"k3", 0.1}, {"k4", 0.04}}, {{"alpha", 0.95}, {"beta", 0.05}}},
        // V held at 1, where the k1 row is the derivative.
        {"Cardiac_2TC", {{"k1", 0.7}, {"k3", 0.15}, {"k4", 0.05}}, {{"V", 1.0}, {"alpha", 0.9}, {"beta", 0.1}}},
        {"Cardiac_HutchinsII", {{"k1", 0.8}, {"k2", 0.3}, {"k3", 0.06}, {"tbv", 0.2}}, {}},
        {"Neuro_SLAM", {{"R1", 1.1}, {"k2", 0.3}, {"BPstar", 1.5}}, {}},
        {"Neuro_Lammertsma", {{"R1", 1.2}, {"k2", 0.25}, {"k3", 0.12}, {"BPstar", 1.8}}, {}},
    };
    const unsigned T = 30, X = 3;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.model);
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
        Model* model = s.workspace->getModel(row.model);
        ASSERT_NE(model, nullptr);
        model->addInput(input);
        for (const auto& h : row.held) {
            model->setParameterValue(h.first, h.second);
            model->setParameterState(h.first, Parameter::CONST);
        }
        model->resizeParameters(X, 1, 1);
        for (const Free& f : row.free)
            for (unsigned x = 0; x < X; ++x) model->setParameterValue(f.name, x, 0, 0, f.base * (1 + 0.15 * x));
        std::unique_ptr<Dataset4D<double>> curve(model->createData(*blood));
        ASSERT_NE(curve, nullptr);
        tissue->setUnit(curve->getUnit());
        for (unsigned t = 0; t < T; ++t)
            for (unsigned x = 0; x < X; ++x) (*tissue)(t, x, 0, 0) = (*curve)(t, x, 0, 0);
        s.workspace->addData(tissue);
        for (size_t i = 0; i < row.free.size(); ++i)
            for (unsigned x = 0; x < X; ++x)
                model->setParameterInitValue(row.free[i].name, x, 0, 0,
                                             row.free[i].base * (1 + 0.15 * x) * (i % 2 ? 0.8 : 1.2));
        s.call({"select", "protocol", "Generic"});
        Protocol* p = s.workspace->getProtocol("Generic");
        p->setOptimizer(s.workspace->getOptimizer("Levenberg-Marquardt"));
        p->setModel(model);
        const test::Result r =
            s.call({"process", "tissue", "none", "none", mexhost::makeArray(mxLOGICAL_CLASS, {1, 1, X}, {1, 1, 1})});
        EXPECT_NE(r.text.find(std::string(row.model) + " parameters on VOI '_output_voi_'\n"), std::string::npos)
            << r.text;
        for (const Free& f : row.free)
            for (unsigned x = 0; x < X; ++x) {
                const double truth = f.base * (1 + 0.15 * x);
                EXPECT_NEAR(model->getParameterValue(f.name, x, 0, 0), truth, 1e-4 * truth) << f.name << " at " << x;
            }
    }
}
