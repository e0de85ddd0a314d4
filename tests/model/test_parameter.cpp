// Parameter: three owned volumes, recorded sizes, copies, units and reports.
#include <gtest/gtest.h>

#include <sstream>

#include "Dataset3D.h"
#include "Dataset4D.h"
#include "Parameter.h"
#include "VOI.h"
#include "mexhost.h"

namespace {

Parameter makeParameter(double value = 0.4, double init = 0.2) {
    return Parameter("k1", Unit("1/min"), value, init, 0.0, 0.0, Parameter::FREE);
}

}  // namespace

// A single value is spread over a new grid; a map keeps its leading elements,
// the new voxels are 0, and says so once; shrinking is quiet.
TEST(Parameter, VolumesAndResize) {
    Parameter p = makeParameter();
    EXPECT_EQ(p.getValueVolume()->getName() + p.getInitValueVolume()->getName() + p.getErrorVolume()->getName(),
              "k1_valuek1_initk1_error");
    EXPECT_EQ(p.getValueVolume()->getUnit().getName(), "1/min");
    p.resize(4, 4, 2);
    for (unsigned size : {p.getValueSize(), p.getInitSize(), p.getErrorSize()}) EXPECT_EQ(size, 32u);
    for (unsigned i = 0; i < 32; ++i) EXPECT_EQ((*p.getInitValueVolume())(i), 0.2);
    VOI voi(4, 4, 2, 1);
    EXPECT_DOUBLE_EQ(p.getValue(voi), 0.4);
    EXPECT_DOUBLE_EQ(p.getInitValue(voi), 0.2);

    Parameter q = makeParameter();
    q.resize(2, 2, 1);
    for (unsigned i = 0; i < 4; ++i) (*q.getValueVolume())(i) = 1.0 + i;
    mexhost::clearOutput();
    q.resize(4, 4, 2);
    for (unsigned i = 0; i < 32; ++i) EXPECT_DOUBLE_EQ((*q.getValueVolume())(i), i < 4 ? 1.0 + i : 0.0) << i;
    EXPECT_EQ(mexhost::takeOutput(),
              "WARNING: parameter 'k1': its map of 4 voxels grows to 32, the voxels added are 0; set it again\n");
    q.resize(4, 4, 2);
    q.resize(2, 2, 2);
    EXPECT_EQ(mexhost::takeOutput(), "");
}

// A map written from a dataset keeps the recorded size 1 (a region value is
// element (0, 0, 0)) until resize records the grid.
TEST(Parameter, SetValueFromDatasetKeepsTheRecordedSize) {
    Parameter p = makeParameter();
    Dataset3D<float> map(2, 3, 1, 0.0f);
    for (unsigned x = 0; x < 2; ++x)
        for (unsigned y = 0; y < 3; ++y) map(x, y, 0) = static_cast<float>(10 * x + y);
    p.setValue(&map);
    EXPECT_EQ(p.getValueVolume()->getDimensions(), (std::vector<unsigned>{2, 3, 1}));
    EXPECT_DOUBLE_EQ(p.valueAt(1, 2, 0), 12.0);
    EXPECT_EQ(p.getInitValueVolume()->getVolumeSize(), 1u);
    EXPECT_EQ(p.getValueSize(), 1u);
    VOI voi(2, 3, 1, 1);
    EXPECT_DOUBLE_EQ(p.getValue(voi), 0.0);
    p.resize(2, 3, 1);
    EXPECT_DOUBLE_EQ(p.getValue(voi), (0 + 1 + 2 + 10 + 11 + 12) / 6.0);
}

// Maps of the same voxel count but another shape: each writer ends on exactly
// the new grid, with every voxel where the source has it (resize: Optimizable).
TEST(Parameter, MapsOfAnEqualCountTakeTheNewShape) {
    using Writer = void (Parameter::*)(const Dataset*);
    using Volume = const Dataset3D<double>* (Parameter::*)() const;
    const std::pair<Writer, Volume> writers[] = {{&Parameter::setValue, &Parameter::getValueVolume},
                                                 {&Parameter::setError, &Parameter::getErrorVolume},
                                                 {&Parameter::setInitValue, &Parameter::getInitValueVolume}};
    for (const auto& w : writers) {
        Parameter p = makeParameter();
        for (const std::vector<unsigned>& g : {std::vector<unsigned>{1, 2, 3}, {3, 1, 2}, {2, 3, 1}}) {
            Dataset3D<int> map(g[0], g[1], g[2], 0);
            for (unsigned i = 0; i < 6; ++i) map(i % g[0], i / g[0] % g[1], i / (g[0] * g[1])) = static_cast<int>(i);
            (p.*w.first)(&map);
            const Dataset3D<double>* v = (p.*w.second)();
            ASSERT_EQ(v->getDimensions(), g);
            for (unsigned i = 0; i < 6; ++i) EXPECT_EQ(v->getValue3D(i % g[0], i / g[0] % g[1], i / (g[0] * g[1])), i);
        }
    }
    // Only a voxel of the grid can be read; a single value answers every one.
    Parameter p = makeParameter();
    p.resize(2, 4, 4);
    EXPECT_TRUE(p.covers(1, 3, 3));
    p.resize(4, 4, 2);
    EXPECT_TRUE(p.covers(3, 3, 1));
    EXPECT_FALSE(p.covers(1, 3, 3));
    EXPECT_TRUE(makeParameter().covers(7, 7, 7));
}

TEST(Parameter, DatasetWritersRefuseOtherDimensions) {
    Parameter p = makeParameter();
    Dataset4D<double> curve(3, 1, 1, 1, 5.0);
    mexhost::clearOutput();
    p.setValue(&curve);
    p.setError(&curve);
    p.setInitValue(&curve);
    const std::string out = mexhost::takeOutput();
    for (const char* text : {"ERROR Parameter(", "): parameter values must be 3D! \n",
                             "): parameter error values must be 3D! \n", "): parameter initial values must be 3D! \n"})
        EXPECT_NE(out.find(text), std::string::npos) << out;
    EXPECT_DOUBLE_EQ(p.valueAt(0, 0, 0) + p.initValueAt(0, 0, 0) + p.errorAt(0, 0, 0), 0.6);
}

// Copies are linear with their own volumes; both stay usable after the source dies.
TEST(Parameter, CopiesComeOutLinearWithTheirOwnVolumes) {
    Parameter p = makeParameter();
    p.setLog(true);
    EXPECT_EQ(p.getsState(), "free(log)");
    p.resize(2, 1, 1);
    Parameter copy(p);
    EXPECT_EQ(copy.getsState(), "free");
    EXPECT_EQ(copy.getValueSize(), 2u);
    copy.setValue(7.0);
    EXPECT_DOUBLE_EQ(p.valueAt(0, 0, 0), 0.4);
    Parameter other = makeParameter(1.0, 1.0);
    {
        Parameter source = makeParameter(3.0, 2.0);
        other = source;
    }
    EXPECT_DOUBLE_EQ(other.valueAt(0, 0, 0), 3.0);
}

// changeUnit converts the bounds only with a named unit, the volumes by their
// own rule (with its +0.5); setUnit only relabels.
TEST(Parameter, ChangeUnitConvertsBoundsOnlyWithANamedUnit) {
    Parameter p("k", Unit("s"), 2.0, 2.0, 60.0, 120.0, Parameter::FREE);
    Parameter q("q", Unit(), 2.0, 2.0, 60.0, 120.0, Parameter::FREE), r = p;
    p.changeUnit(Unit("min"));
    q.changeUnit(Unit("min"));
    r.setUnit(Unit("min"));
    EXPECT_EQ(std::vector<double>({p.getMin(), p.getMax(), q.getMin(), q.getMax(), r.getMin(), r.valueAt(0, 0, 0)}),
              std::vector<double>({1.0, 2.0, 60.0, 120.0, 60.0, 2.0}));
    EXPECT_DOUBLE_EQ(p.valueAt(0, 0, 0), 2.0 / 60.0 + 0.5);
    EXPECT_EQ(p.getUnit().getName(), "min");
    EXPECT_EQ(r.getErrorVolume()->getUnit().getName(), "min");
}

TEST(Parameter, ReportAndStateWords) {
    std::ostringstream bound, unbound;
    bound << Parameter("k1", Unit("1/min"), 0.5, 0.5, 0.0, 2.0, Parameter::FREE);
    unbound << Parameter("k1", Unit("1/min"), 0.5, 0.5, 1.0, 1.0, Parameter::FIXED);
    EXPECT_EQ(bound.str().rfind("Parameter k1:\n  Unit 1/min", 0), 0u) << bound.str();
    EXPECT_NE(bound.str().find("  State=free  Min=0 Max=2 \n  Initial value="), std::string::npos) << bound.str();
    EXPECT_NE(unbound.str().find("  State=fixed unbound\n  Initial value="), std::string::npos) << unbound.str();
    Parameter p = makeParameter();
    const std::pair<Parameter::State, const char*> words[] = {{Parameter::LINKED, "linked"}, {Parameter::CONST, "const"},
                                                              {static_cast<Parameter::State>(7), "unknown"}};
    for (const auto& w : words) EXPECT_EQ((p.setState(w.first), p.getsState()), w.second);
}
