// The model base: synthetic data, curves and sensitivities against the closed
// form on a ramp input, inputs, input parameters, copying and reports.
#include <gtest/gtest.h>

#include <sstream>

#include "mexhost.h"
#include "model_support.h"
#include "models/Cardiac_HutchinsI_Model.h"
#include "models/Generic_1TC_Model.h"

using namespace model_test;

namespace {

// k1 0.6/min, k2 0.3/min, alpha 0.9, beta 0.1 on the ramp 2 t.
double rampModel(double t) {
    const double k = 0.3 / 60, e = std::exp(-k * t);
    return 0.9 * (0.6 / 60) * 2.0 * (t / k - (1 - e) / (k * k)) + 0.1 * 2.0 * t;
}

std::unique_ptr<Generic_1TC_Model> rampGeneric(RampInput& ramp) {
    std::unique_ptr<Generic_1TC_Model> m(new Generic_1TC_Model(Unit("kBq/ml"), 0.6, 0.3, 0.9, 0.1));
    m->addInput(&ramp);
    return m;
}

// Midframe frames (start, length).
Dataset4D<double> frames(std::vector<std::pair<double, double>> startLength, const Unit& unit) {
    Dataset4D<double> d(static_cast<unsigned>(startLength.size()), 1, 1, 1, 0.0);
    for (unsigned i = 0; i < startLength.size(); ++i) {
        d.setTime(i, startLength[i].first);
        d.setFrameLength(i, startLength[i].second);
    }
    d.setMidframeApprox(true);
    d.setUnit(unit);
    return d;
}

}  // namespace

TEST(ModelBase, CreateDataOnAGridFromTimesAndFromADataset) {
    RampInput ramp;
    auto m = rampGeneric(ramp);
    m->resizeParameters(2, 1, 1);
    m->setParameterValue("beta", 1, 0, 0, 0.0);
    std::unique_ptr<Dataset4D<double>> d(m->createData(0.0, 60.0, 61));
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->getDimensions(), (std::vector<unsigned>{2, 1, 1, 61}));
    EXPECT_EQ(d->getUnit().getName(), "kBq/ml");
    for (unsigned i = 0; i < 61; ++i) {
        EXPECT_DOUBLE_EQ(d->getTime(i), i);
        EXPECT_DOUBLE_EQ(d->getFrameLength(i), 1.0);
        EXPECT_NEAR((*d)(i, 0, 0, 0), rampModel(i), 1e-12 * (1 + rampModel(i)));
        EXPECT_NEAR((*d)(i, 1, 0, 0), rampModel(i) - 0.2 * i, 1e-12 * (1 + rampModel(i)));
    }
    d.reset(m->createData(0.0, 60.0, 1));  // step 0/0, unguarded
    ASSERT_NE(d, nullptr);
    EXPECT_TRUE(std::isnan(d->getTime(0)));

    auto s = rampGeneric(ramp);
    d.reset(s->createData(std::vector<double>{0.0, 10.0, 30.0, 35.0}));
    ASSERT_NE(d, nullptr);
    for (auto [i, length] : {std::pair{0u, 10.0}, {1u, 20.0}, {2u, 5.0}, {3u, 5.0}})
        EXPECT_DOUBLE_EQ(d->getFrameLength(i), length);
    EXPECT_NEAR((*d)(2, 0, 0, 0), rampModel(30.0), 1e-12 * rampModel(30.0));
    // Midframe approximation: frame (10, 4) is compared at 12.
    Dataset4D<double> measured = frames({{0.0, 10.0}, {10.0, 4.0}}, Unit("Bq/ml"));
    mexhost::clearOutput();
    d.reset(s->createData(measured));
    EXPECT_EQ(mexhost::takeOutput(), "WARNING: unit of dataset (Bq/ml) != model unit (kBq/ml)!\n");
    ASSERT_NE(d, nullptr);
    EXPECT_TRUE(d->getMidframeApprox());
    EXPECT_DOUBLE_EQ(d->getTime(1), 10.0);
    EXPECT_NEAR((*d)(1, 0, 0, 0), rampModel(12.0), 1e-12 * rampModel(12.0));
    EXPECT_NEAR((*d)(0, 0, 0, 0), rampModel(5.0), 1e-12 * rampModel(5.0));
    EXPECT_EQ(d->getUnit().getName(), "kBq/ml");
}

// Components, then the inputs in their own units (-1) or singly in the model's;
// sensitivities: one plane per free parameter.
TEST(ModelBase, CreateTACAndDelta) {
    RampInput first(2.0, "first", Unit("kBq/ml")), second(3.0, "second", Unit("Bq/ml"));
    auto m = rampGeneric(first);
    m->addInput(&second);
    std::unique_ptr<Dataset4D<double>> all(m->createTAC(0.0, 40.0, 5, 0, 0, 0, -1));
    ASSERT_NE(all, nullptr);
    EXPECT_EQ(all->getDimensions(), (std::vector<unsigned>{1, 1, 4, 5}));
    const double t = 30.0;
    const std::vector<double> components = m->computeAll(t, 0, 0, 0);
    const double expected[] = {components[0], components[1], 2.0 * t, 3.0 * t};
    for (unsigned z = 0; z < 4; ++z) EXPECT_DOUBLE_EQ((*all)(3, 0, 0, z), expected[z]) << z;
    std::unique_ptr<Dataset4D<double>> single(m->createTAC(std::vector<double>{t}, 0, 0, 0, 3));
    ASSERT_NE(single, nullptr);
    EXPECT_EQ(single->getDimensionZ(), 1u);
    EXPECT_DOUBLE_EQ((*single)(0, 0, 0, 0), 3.0 * t / 1000);
    mexhost::clearOutput();
    EXPECT_EQ(m->createTAC(0.0, 40.0, 5, 0, 0, 0, 4), nullptr);
    EXPECT_EQ(m->createTAC(0.0, 40.0, 5, 0, 0, 0, -2), nullptr);
    const std::string out = mexhost::takeOutput();
    for (const char* text : {"): component index '4' out of range\n \n", "): component index '-2' out of range\n \n"})
        EXPECT_NE(out.find(text), std::string::npos) << out;
    Dataset4D<double> measured = frames({{10.0, 4.0}}, Unit());
    std::unique_ptr<Dataset4D<double>> tac(m->createTAC(measured, 0, 0, 0, 2));
    EXPECT_EQ(mexhost::takeOutput(), "WARNING: unit of TAC dataset () != model unit (kBq/ml)!\n");
    EXPECT_DOUBLE_EQ((*tac)(0, 0, 0, 0), 24.0);

    m->setParameterState("alpha", Parameter::FIXED);
    std::unique_ptr<Dataset4D<double>> delta(m->createDelta(0.0, 40.0, 5, 0, 0, 0));
    ASSERT_NE(delta, nullptr);
    EXPECT_EQ(delta->getDimensionZ(), 3u);
    EXPECT_DOUBLE_EQ((*delta)(4, 0, 0, 0), m->der("k1", 40.0, 0, 0, 0));
    EXPECT_DOUBLE_EQ((*delta)(4, 0, 0, 1), m->der("k2", 40.0, 0, 0, 0));
    EXPECT_DOUBLE_EQ((*delta)(4, 0, 0, 2), 80.0);  // d/dbeta = Ca
    m->fixParameters();
    delta.reset(m->createDelta(0.0, 40.0, 5, 0, 0, 0));
    ASSERT_NE(delta, nullptr);
    EXPECT_EQ(delta->getDimensionZ(), 0u);
}

// Inputs by name and number, their parameters by name across the inputs: an
// unknown input parameter reports, then the first input's failure for the
// empty name answers its first parameter.
TEST(ModelBase, InputsAndTheirParameters) {
    RampInput a(1.0, "a"), b(1.0, "b");
    a.resize(2);
    b.resize(3);
    Generic_1TC_Model m;
    mexhost::clearOutput();
    EXPECT_EQ(m.createData(0.0, 10.0, 3), nullptr);
    EXPECT_EQ(m.createTAC(0.0, 10.0, 3, 0, 0, 0, -1), nullptr);
    EXPECT_EQ(m.createDelta(0.0, 10.0, 3, 0, 0, 0), nullptr);
    EXPECT_EQ(occurrences(mexhost::takeOutput(), "): no input function set for model 'Generic_1TC' \n"), 3u);
    EXPECT_EQ(m.getInputParameter("q").getName(), "");  // no input: a placeholder
    mexhost::clearOutput();
    for (RampInput* input : {&a, &b, &a}) m.addInput(input);
    EXPECT_EQ(m.getInputNames(), (std::vector<std::string>{"a", "b", "a"}));
    EXPECT_EQ(m.getInput("b"), &b);
    EXPECT_EQ(m.getInput("c"), &a);  // the first, without a message
    EXPECT_EQ(mexhost::takeOutput(), "");
    EXPECT_DOUBLE_EQ(m.getInput("b", 4.0), 4.0);
    EXPECT_DOUBLE_EQ(m.getInput(1u, 5.0), 5.0);
    EXPECT_EQ(m.getInput("c", 4.0), 0.0);
    EXPECT_EQ(m.getInput(7u), &a);
    EXPECT_EQ(m.getInput(7u, 1.0), 0.0);
    std::string out = mexhost::takeOutput();
    for (const char* text : {"): Model::getInput() unknown input 'c' \n", "): Model::getInput() unknown input 7 \n"})
        EXPECT_NE(out.find(text), std::string::npos) << out;

    EXPECT_EQ(m.hasInputParameter("p1"), 0);
    EXPECT_EQ(m.hasInputParameter("p2"), 1);
    EXPECT_EQ(m.hasInputParameter("k1"), -1);
    EXPECT_EQ(&m.getInputParameter("p2"), &b.getParameter("p2"));
    EXPECT_EQ(&m.getInputParameter("q"), &a.getParameter("p0"));
    out = mexhost::takeOutput();
    EXPECT_NE(out.find("Model::sgtInputParameter() unknown input parameter 'q'ERROR Optimizable("), std::string::npos)
        << out;
    EXPECT_NE(out.find("Optimizable::getParameter() unknown parameter ''"), std::string::npos) << out;
    m.fixInputParameters();
    EXPECT_FALSE(b.isParameterFree("p0"));
    m.freeInputParameters();
    EXPECT_TRUE(b.isParameterFree("p0"));

    m.setChanged(false);
    m.removeInput(&a);
    EXPECT_TRUE(m.getChanged());
    EXPECT_EQ(m.getInputNames(), (std::vector<std::string>{"b"}));
    m.removeInput("b");
    EXPECT_EQ(m.getNumInputs(), 0u);
}

TEST(ModelBase, CopyFromDerAllAndReport) {
    Generic_1TC_Model g(Unit("kBq/ml"), 0.6, 0.3, 0.9, 0.1);
    Cardiac_HutchinsI_Model h(Unit("kBq/ml"), 1.0, 2.0, 0.5);
    h.resizeParameters(2, 1, 1);
    h.setParameterValue("k2", 1, 0, 0, 3.0);
    h.setParameterError("k1", 0.25);
    h.setParameterInitValue("k2", 0.7);
    EXPECT_EQ(g.copyFrom(&h), 2);  // the shared parameters, with their maps
    EXPECT_EQ(std::vector<double>({g.getParameterValue("k1", 0, 0, 0), g.getParameterValue("k2", 1, 0, 0),
                                   g.getParameterError("k1", 1, 0, 0), g.getParameterInitValue("k2", 0, 0, 0),
                                   g.getParameterValue("alpha", 0, 0, 0)}),
              std::vector<double>({1.0, 3.0, 0.25, 0.7, 0.9}));
    {
        Verbosity verbose(3);
        mexhost::clearOutput();
        h.copyFrom(&g);
        EXPECT_NE(mexhost::takeOutput().find("copying 'k1' from model Generic_1TC to Cardiac_HutchinsI\n"),
                  std::string::npos);
    }
    RampInput ramp;
    g.addInput(&ramp);
    EXPECT_TRUE(g.derAll("k1", 1.0, 0, 0, 0).empty());
    EXPECT_NE(mexhost::takeOutput().find("): Model::derAll() not implemented yet \n"), std::string::npos);
    std::ostringstream out;
    out << g;
    EXPECT_EQ(out.str().rfind("Model: Generic_1TC \n  Unit kBq/ml", 0), 0u) << out.str();
    EXPECT_NE(out.str().find("Parameter beta:"), std::string::npos);
    EXPECT_NE(out.str().find("InputFunction: ramp"), std::string::npos);
}
