// What every model owes, one row per model: its curve against an independent
// solution, analytic derivatives against central differences (also at a voxel
// of a map and with rates in 1/s), further inputs and unit scales, copies and
// region averages (or the refusal), the unknown-parameter report from its own
// module and its row in the model table.
#include <gtest/gtest.h>

#include <functional>
#include <typeinfo>

#include "VOI.h"
#include "compartments.h"
#include "mexhost.h"
#include "models/Cardiac_2TC_Model.h"
#include "models/Cardiac_HutchinsII_Model.h"
#include "models/Cardiac_HutchinsI_Model.h"
#include "models/Casciari_Model.h"
#include "models/FMISO_3TC_Model.h"
#include "models/Generic_1TC_Model.h"
#include "models/Generic_2TC_Model.h"
#include "models/Neuro_Lammertsma_Model.h"
#include "models/Neuro_SLAM_Model.h"
#include "models/Water_1TC_Model.h"

using namespace model_test;

namespace {

using Values = std::vector<double>;

struct ModelRow {
    const char* className;  // heads the unknown-parameter text and names the module
    const char* name;
    std::function<Model*(const Values&)> make;  // unit kBq/ml, parameters in order
    // y(t) on the blood curve from the parameters in their default units.
    std::function<double(const Values&, double, const Blood&)> oracle;
    std::vector<Values> sets;
    bool cloneable;
    double further;  // the factor of a second input in MBq/ml
    std::vector<std::string> notDerivative = {};  // rows pinned where the model is tested
};

// The default model (kBq/ml) with the parameters set in order.
template <class M>
std::function<Model*(const Values&)> maker() {
    return [](const Values& p) -> Model* {
        Model* m = new M;
        for (unsigned i = 0; i < p.size(); ++i) m->setParameterValueByIndex(i, 0, 0, 0, p[i]);
        return m;
    };
}

const std::vector<ModelRow>& rows() {
    using P = const Values&;
    static const std::vector<ModelRow> table = {
        {"Generic_1TC_Model", "Generic_1TC", maker<Generic_1TC_Model>(),  // alpha k1 conv(k2) + beta Ca
         [](P p, double t, const Blood& b) { return p[2] * b.c1(p[0], p[1], t) + p[3] * b.line(t); },
         {{0.6, 0.3, 0.9, 0.1}, {1.5, 0.05, 0.5, 0.4}, {0.2, 3.0, 1.2, -0.2}, {0.3, 0.0, 1.0, 0.1}}, true, 1e3},
        {"Cardiac_HutchinsI_Model", "Cardiac_HutchinsI", maker<Cardiac_HutchinsI_Model>(),
         [](P p, double t, const Blood& b) { return p[2] * b.line(t) + (1 - p[2]) * b.c1(p[0], p[1], t); },
         {{0.9, 0.2, 0.3}, {2.0, 2.4, 0.05}, {0.3, 0.02, 0.7}, {0.6, 0.3, 0.0}, {0.6, 0.3, 1.0}}, true, 1e-3},
        {"Water_1TC_Model", "Water_1TC", maker<Water_1TC_Model>(),  // k2 = k1 / Vd
         [](P p, double t, const Blood& b) { return p[2] * b.line(t) + (1 - p[2]) * b.c1(p[0], p[0] / p[1], t); },
         {{0.9, 4.5, 0.3}, {2.0, 0.8, 0.05}, {0.3, 15.0, 0.7}}, false, 0.0},
        {"Generic_2TC_Model", "Generic_2TC", maker<Generic_2TC_Model>(),  // beta Ca + alpha (C1 + C2)
         [](P p, double t, const Blood& b) {
             return p[5] * b.line(t) + p[4] * TwoTissue(p[1], p[2], p[3]).tissue(b.line, p[0], t);
         },
         // k4 above and below k2 + k3; k4 = 0; k3 = k4 = 0 (one tissue)
         {{0.6, 0.3, 0.1, 0.05, 0.9, 0.1}, {1.5, 0.2, 0.4, 0.02, 0.5, 0.4}, {0.5, 0.05, 0.3, 0.6, 0.8, 0.1},
          {0.2, 0.1, 0.05, 0.0, 1.0, 0.0}, {0.3, 0.5, 0.0, 0.0, 1.0, 0.05}},
         true, 1e3},
        {"Cardiac_2TC_Model", "Cardiac_2TC", maker<Cardiac_2TC_Model>(),  // k2 = k1 / V
         [](P p, double t, const Blood& b) {
             return p[5] * b.line(t) + p[4] * TwoTissue(p[0] / p[3], p[1], p[2]).tissue(b.line, p[0], t);
         },
         {{0.6, 0.1, 0.05, 1.0, 0.9, 0.1}, {1.2, 0.4, 0.02, 1.0, 0.7, 0.3}}, true, 1e-3, {"V"}},  // k1 row exact at V = 1
        {"Cardiac_HutchinsII_Model", "Cardiac_HutchinsII", maker<Cardiac_HutchinsII_Model>(),  // k4 = 0
         [](P p, double t, const Blood& b) {
             return p[3] * b.line(t) + (1 - p[3]) * TwoTissue(p[1], p[2], 0.0).tissue(b.line, p[0], t);
         },
         {{0.7, 0.3, 0.05, 0.2}, {1.5, 0.9, 0.3, 0.05}, {0.4, 0.2, 0.0, 0.4}}, true, 1e-3},
        {"Neuro_SLAM_Model", "Neuro_SLAM", maker<Neuro_SLAM_Model>(),  // efflux k2 / (1 + BPstar)
         [](P p, double t, const Blood& b) {
             return TwoTissue(p[1] / (1 + p[2]), 0.0, 0.0).reference(b.line, p[0], p[1], t);
         },
         {{1.1, 0.3, 1.5}, {0.8, 0.05, 0.4}, {1.3, 0.0, 2.0}}, true, 1e-3},
        {"Neuro_Lammertsma_Model", "Neuro_Lammertsma", maker<Neuro_Lammertsma_Model>(),  // k4 = k3 / BPstar
         [](P p, double t, const Blood& b) {
             return TwoTissue(p[1], p[2], p[2] / p[3]).reference(b.line, p[0], p[1], t);
         },
         // k3 = 0; k4 = k2 with a small k3, where S^2 - 4 k2 k4 is small
         {{1.1, 0.3, 0.1, 1.5}, {0.8, 0.15, 0.05, 0.5}, {1.2, 0.5, 0.0, 1.0}, {1.0, 0.3, 1e-4, 1e-4 / 0.3}}, true,
         1e-3},
    };
    return table;
}

// Between and on the samples, before the first and past the last.
const double kTimes[] = {1.0, 2.0, 7.0, 13.5, 40.0, 95.0, 300.0, 1200.0, 1500.0};

// Every parameter at every time: der against a central difference, and the
// index form equal to the named one (to rounding: the input may sum otherwise).
void checkDerivatives(Model& m, unsigned x, unsigned y, unsigned z, const std::string& label,
                      const std::vector<std::string>& skip) {
    for (const std::string& name : m.getParameterNames()) {
        if (std::find(skip.begin(), skip.end(), name) != skip.end()) continue;
        for (double t : kTimes) {
            const double analytic = m.der(name, t, x, y, z), v = m.getParameter(name).valueAt(x, y, z);
            const double numeric = centralDifference(
                [&](double w) { return m.setParameterValue(name, x, y, z, w), m(t, x, y, z); }, v,
                1e-5 * std::max(std::fabs(v), 1e-2));
            m.setParameterValue(name, x, y, z, v);
            const double scale = std::fabs(analytic) + std::fabs(m(t, x, y, z));
            EXPECT_NEAR(analytic, numeric, 1e-6 * scale + 1e-12) << label << " d/d" << name << " t=" << t;
            EXPECT_NEAR(m.derByIndex(static_cast<unsigned>(m.hasParameter(name)), t, x, y, z), analytic, 1e-12 * scale)
                << label << " " << name;
        }
    }
}

std::string label(const ModelRow& row, const Values& p) {
    std::string s = row.name;
    for (double v : p) s += " " + std::to_string(v);
    return s;
}

}  // namespace

TEST(ModelContract, CurvesMatchTheOracleAndComponentZeroIsTheValue) {
    Blood b;
    for (const ModelRow& row : rows())
        for (const Values& p : row.sets) {
            std::unique_ptr<Model> m(row.make(p));
            m->addInput(b.input.get());
            for (double t : kTimes) {
                const double y = (*m)(t, 0, 0, 0);
                expectRelative(y, row.oracle(p, t, b), 1e-9, label(row, p) + " t=" + std::to_string(t));
                const std::vector<double> all = m->computeAll(t, 0, 0, 0);
                ASSERT_EQ(all.size(), m->getComponents()) << row.name;
                expectRelative(all[0], y, 1e-14, label(row, p));  // the same terms, grouped otherwise
            }
        }
}

TEST(ModelContract, AnalyticDerivativesMatchFiniteDifferences) {
    Blood b;
    for (const ModelRow& row : rows()) {
        for (const Values& p : row.sets) {
            std::unique_ptr<Model> m(row.make(p));
            m->addInput(b.input.get());
            checkDerivatives(*m, 0, 0, 0, label(row, p), row.notDerivative);
        }
        // At a voxel of a map, which reads that voxel's parameters.
        std::unique_ptr<Model> map(row.make(row.sets[0]));
        map->addInput(b.input.get());
        map->resizeParameters(3, 2, 1);
        map->setParameterValue(map->getParameterNames()[0], 2, 1, 0, 1.7);
        checkDerivatives(*map, 2, 1, 0, std::string(row.name) + " at (2,1,0)", row.notDerivative);
        EXPECT_NE((*map)(100.0, 2, 1, 0), (*map)(100.0, 0, 0, 0));
        // Rates in 1/s: the same curve, derivatives through the unit factor.
        std::unique_ptr<Model> perSecond(row.make(row.sets[0]));
        perSecond->addInput(b.input.get());
        for (const std::string& name : perSecond->getParameterNames())
            if (perSecond->getParameterUnit(name).getName() == "1/min") {
                perSecond->setParameterUnit(name, Unit("1/s"));
                perSecond->setParameterValue(name, perSecond->getParameter(name).valueAt(0, 0, 0) / 60);
            }
        expectRelative((*perSecond)(95.0, 0, 0, 0), row.oracle(row.sets[0], 95.0, b), 1e-9, row.name);
        checkDerivatives(*perSecond, 0, 0, 0, std::string(row.name) + " in 1/s", row.notDerivative);
    }
}

// The first input in Bq/ml scales the curve; a second one in MBq/ml is added
// by the row's factor (its own unit, the first input's scale, or not at all).
TEST(ModelContract, FurtherInputsAndUnitScales) {
    Blood b;
    const std::vector<double> slow = [&] {
        std::vector<double> v;
        for (double t : b.times) v.push_back(0.5 + 0.001 * t);
        return v;
    }();
    const Polyline secondLine{b.times, slow};
    auto first = measuredInput(b.times, b.values, Unit("Bq/ml"), "first");
    auto second = measuredInput(b.times, slow, Unit("MBq/ml"), "second");
    Verbosity quiet(0);  // the reference models assert on a second input
    for (const ModelRow& row : rows()) {
        std::unique_ptr<Model> m(row.make(row.sets[0]));
        m->addInput(first.get());
        m->addInput(second.get());
        for (double t : {5.0, 60.0, 400.0})
            expectRelative((*m)(t, 0, 0, 0), row.oracle(row.sets[0], t, b) / 1000 + row.further * secondLine(t), 1e-9,
                           row.name);
    }
}

TEST(ModelContract, NumericalSwitchAndUnknownParameterReport) {
    Blood b;
    for (const ModelRow& row : rows()) {
        std::unique_ptr<Model> m(row.make(row.sets[0]));
        m->addInput(b.input.get());
        const std::string second = m->getParameterNames()[1];
        const double analytic = m->der(second, 200.0, 0, 0, 0), stored = m->getParameter(second).valueAt(0, 0, 0);
        m->setNumDer(true);
        const double numeric = m->der(second, 200.0, 0, 0, 0);
        EXPECT_NE(numeric, analytic) << row.name;
        EXPECT_NEAR(numeric, analytic, 1e-4 * std::fabs(analytic)) << row.name;
        EXPECT_EQ(m->getParameter(second).valueAt(0, 0, 0), stored) << row.name;
        mexhost::clearOutput();
        EXPECT_EQ(m->der("zz", 1.0, 0, 0, 0), 0.0);
        EXPECT_NE(mexhost::takeOutput().find("Optimizable::der() unknown parameter 'zz'"), std::string::npos);
        m->setNumDer(false);
        EXPECT_EQ(m->der("zz", 1.0, 0, 0, 0), 0.0);
        const std::string out = mexhost::takeOutput();
        EXPECT_EQ(out.rfind(std::string("ERROR models/") + row.className + "(", 0), 0u) << out;
        EXPECT_NE(out.find(std::string("): ") + row.className + "::der() unknown parameter 'zz' \n"), std::string::npos)
            << out;
    }
}

TEST(ModelContract, ClonesAndAveragesOrTheRefusal) {
    RampInput ramp;
    VOI voi(2, 2, 1, 1);
    voi(1, 1, 0) = 0;  // three voxels of four
    for (const ModelRow& row : rows()) {
        std::unique_ptr<Model> m(row.make(row.sets[0]));
        m->addInput(&ramp);
        m->resizeParameters(2, 2, 1);
        const std::string first = m->getParameterNames()[0];
        const double k1[] = {0.2, 0.4, 0.6, 5.0};
        for (unsigned i = 0; i < 4; ++i) m->setParameterValue(first, i % 2, i / 2, 0, k1[i]);
        m->setParameterLog(first, true);
        const double at1 = (*m)(45.0, 1, 0, 0);
        (*m)(45.0, 0, 1, 0);  // the source's caches hold another voxel than the copy's key
        mexhost::clearOutput();
        std::unique_ptr<Model> copy(m->clone());
        std::unique_ptr<Model> average(m->createAverage(&voi));
        if (!row.cloneable) {
            EXPECT_EQ(copy, nullptr) << row.name;
            EXPECT_EQ(average, nullptr) << row.name;
            EXPECT_NE(mexhost::takeOutput().find(std::string("): unknown model type '") + row.name + "' \n"),
                      std::string::npos);
            continue;
        }
        ASSERT_NE(copy, nullptr) << row.name;
        EXPECT_EQ(typeid(*copy), typeid(*m));
        EXPECT_EQ(copy->getName(), row.name);
        EXPECT_EQ(copy->getType(), "Model");
        EXPECT_EQ(copy->getInput(0u), &ramp);  // shared, not copied
        EXPECT_FALSE(copy->getParameterLog(first));
        EXPECT_EQ((*copy)(45.0, 0, 0, 0), (*m)(45.0, 0, 0, 0)) << row.name;
        EXPECT_EQ((*copy)(45.0, 1, 0, 0), at1) << row.name;
        ASSERT_NE(average, nullptr) << row.name;
        EXPECT_EQ(average->getParameter(first).getValueVolume()->getVolumeSize(), 1u);
        EXPECT_NEAR(average->getParameterValue(first, 0, 0, 0), 0.4, 1e-15) << row.name;
        const std::string last = m->getParameterNames().back();
        EXPECT_DOUBLE_EQ(average->getParameterValue(last, 0, 0, 0), m->getParameter(last).valueAt(0, 0, 0));
    }
}

TEST(ModelContract, EveryModelHasItsRowInTheModelTable) {
    std::vector<Model*> defaults = Model::createDefaults();
    for (const ModelRow& row : rows()) {
        std::unique_ptr<Model> m(row.make(row.sets[0]));
        int found = 0;
        for (Model* d : defaults)
            if (d->getName() == row.name) {
                ++found;
                EXPECT_EQ(typeid(*d), typeid(*m)) << row.name;
                EXPECT_EQ(d->getParameterNames(), m->getParameterNames());
                EXPECT_EQ(d->getUnit().getName(), "kBq/ml");
            }
        EXPECT_EQ(found, 1) << row.name;
    }
    for (Model* d : defaults) delete d;
}

// Without an input the compartment models report from their own module at
// every evaluation and read nothing.
TEST(ModelContract, WithoutAnInputReportsFromTheModelsModule) {
    Generic_2TC_Model generic;
    Cardiac_2TC_Model cardiac;
    Cardiac_HutchinsII_Model hutchins;
    Neuro_SLAM_Model slam;
    Neuro_Lammertsma_Model frtm;
    FMISO_3TC_Model fmiso;
    Casciari_Model casciari;
    for (Model* m : std::vector<Model*>{&generic, &cardiac, &hutchins, &slam, &frtm, &fmiso, &casciari}) {
        auto expectReport = [m] {
            const std::string out = mexhost::takeOutput();
            EXPECT_GE(occurrences(out, "): no input function \n"), 1u) << m->getName();
            EXPECT_EQ(occurrences(out, "): no input function \n"), occurrences(out, "ERROR models/" + m->getName() + "_Model("))
                << out;
        };
        mexhost::clearOutput();
        (*m)(10.0, 0, 0, 0);
        expectReport();
        m->der(m->getParameterNames()[1], 10.0, 0, 0, 0);
        expectReport();
        EXPECT_EQ(m->computeAll(10.0, 0, 0, 0).size(), m->getComponents());
        expectReport();
        EXPECT_EQ(m->createData(0.0, 60.0, 5), nullptr);
    }
}
