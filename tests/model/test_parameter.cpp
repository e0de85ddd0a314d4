// Parameter: three owned volumes, recorded sizes, copies, units and reports.
#include <gtest/gtest.h>

#include <sstream>

#include "Dataset3D.h"
#include "Dataset4D.h"
#include "Parameter.h"
#include "VOI.h"
#include "mexhost.h"
#include "util/Message.h"

namespace {

Parameter makeParameter(double value, double init) {
    return Parameter("k1", Unit("1/min"), value, init, 0.0, 0.0, Parameter::FREE);
}

}  // namespace

TEST(Parameter, ValueComesBeforeInitialValueAndVolumesAreNamed) {
    Parameter p = makeParameter(0.4, 0.2);
    VOI voi(1, 1, 1, 1);
    EXPECT_DOUBLE_EQ(p.getValue(voi), 0.4);
    EXPECT_DOUBLE_EQ(p.getInitValue(voi), 0.2);
    EXPECT_DOUBLE_EQ(p.getError(voi), 0.0);
    EXPECT_EQ(p.getValueVolume()->getName(), "k1_value");
    EXPECT_EQ(p.getInitValueVolume()->getName(), "k1_init");
    EXPECT_EQ(p.getErrorVolume()->getName(), "k1_error");
    EXPECT_EQ(p.getValueVolume()->getUnit().getName(), "1/min");
    Parameter unnamed("", Unit(), 1.0, 1.0, 0.0, 0.0, Parameter::FREE);
    for (const Dataset3D<double>* v : {unnamed.getValueVolume(), unnamed.getInitValueVolume(), unnamed.getErrorVolume()})
        EXPECT_EQ(v->getName(), "");
}

TEST(Parameter, ResizeSpreadsASingleValueButNotAMap) {
    Parameter p = makeParameter(0.4, 0.2);
    p.resize(4, 4, 2);
    for (unsigned size : {p.getValueSize(), p.getInitSize(), p.getErrorSize()}) EXPECT_EQ(size, 32u);
    for (unsigned i = 0; i < 32; ++i) {
        EXPECT_DOUBLE_EQ((*p.getValueVolume())(i), 0.4);
        EXPECT_DOUBLE_EQ((*p.getInitValueVolume())(i), 0.2);
    }
    VOI voi(4, 4, 2, 1);
    EXPECT_DOUBLE_EQ(p.getValue(voi), 0.4);
    // A map is not spread: it keeps its leading elements, new voxels are 0.
    Parameter q = makeParameter(0.4, 0.2);
    q.resize(2, 2, 1);
    for (unsigned i = 0; i < 4; ++i) (*q.getValueVolume())(i) = 1.0 + i;
    mexhost::clearOutput();
    q.resize(4, 4, 2);
    for (unsigned i = 0; i < 32; ++i) EXPECT_DOUBLE_EQ((*q.getValueVolume())(i), i < 4 ? 1.0 + i : 0.0) << i;
    // ... and says so, once; a map that shrinks or keeps its size is quiet.
    EXPECT_EQ(mexhost::takeOutput(),
              "WARNING: parameter 'k1': its map of 4 voxels grows to 32, the voxels added are 0; set it again\n");
    q.resize(4, 4, 2);
    q.resize(2, 2, 2);
    EXPECT_EQ(mexhost::takeOutput(), "");
}

TEST(Parameter, SetValueFromDatasetKeepsTheRecordedSize) {
    Parameter p = makeParameter(0.4, 0.2);
    Dataset3D<float> map(2, 3, 1, 0.0f);
    for (unsigned x = 0; x < 2; ++x)
        for (unsigned y = 0; y < 3; ++y) map(x, y, 0) = static_cast<float>(10 * x + y);
    p.setValue(&map);
    EXPECT_EQ(p.getValueVolume()->getDimensionX(), 2u);
    EXPECT_EQ(p.getValueVolume()->getDimensionY(), 3u);
    EXPECT_DOUBLE_EQ(p.valueAt(1, 2, 0), 12.0);
    EXPECT_EQ(p.getInitValueVolume()->getVolumeSize(), 1u);
    EXPECT_EQ(p.getErrorVolume()->getVolumeSize(), 1u);
    EXPECT_EQ(p.getValueSize(), 1u);  // still recorded 1: a region value is element (0, 0, 0)
    VOI voi(2, 3, 1, 1);
    EXPECT_DOUBLE_EQ(p.getValue(voi), 0.0);
    // Once resize records the size, the region mean is used.
    p.resize(2, 3, 1);
    EXPECT_DOUBLE_EQ(p.getValue(voi), (0 + 1 + 2 + 10 + 11 + 12) / 6.0);
}

// Maps of the same voxel count but another shape: each writer and resize
// ends on exactly the new grid, with every voxel where the source has it.
TEST(Parameter, MapsOfAnEqualCountTakeTheNewShape) {
    using Writer = void (Parameter::*)(const Dataset*);
    using Volume = const Dataset3D<double>* (Parameter::*)() const;
    const struct { Writer write; Volume volume; } writers[] = {
        {&Parameter::setValue, &Parameter::getValueVolume},
        {&Parameter::setError, &Parameter::getErrorVolume},
        {&Parameter::setInitValue, &Parameter::getInitValueVolume},
    };
    const unsigned shapes[][3] = {{1, 2, 3}, {3, 1, 2}, {2, 3, 1}};
    for (const auto& w : writers) {
        Parameter p = makeParameter(0.4, 0.2);
        for (const auto& g : shapes) {
            Dataset3D<int> map(g[0], g[1], g[2], 0);
            for (unsigned x = 0; x < g[0]; ++x)
                for (unsigned y = 0; y < g[1]; ++y)
                    for (unsigned z = 0; z < g[2]; ++z) map(x, y, z) = static_cast<int>(100 * x + 10 * y + z);
            (p.*w.write)(&map);
            const Dataset3D<double>* v = (p.*w.volume)();
            ASSERT_EQ(v->getDimensions(), (std::vector<unsigned>{g[0], g[1], g[2]}));
            for (unsigned x = 0; x < g[0]; ++x)
                for (unsigned y = 0; y < g[1]; ++y)
                    for (unsigned z = 0; z < g[2]; ++z) EXPECT_EQ(v->getValue3D(x, y, z), 100 * x + 10 * y + z);
        }
    }
    Parameter p = makeParameter(0.4, 0.2);
    p.resize(2, 4, 4);
    EXPECT_TRUE(p.covers(1, 3, 3));
    p.resize(4, 4, 2);
    for (const Dataset3D<double>* v : {p.getValueVolume(), p.getInitValueVolume(), p.getErrorVolume()})
        EXPECT_EQ(v->getDimensions(), (std::vector<unsigned>{4, 4, 2}));
    EXPECT_EQ(p.getValueSize(), 32u);
    EXPECT_DOUBLE_EQ(p.valueAt(3, 3, 1), 0.4);
    // Only a voxel of the grid can be read; a single value answers every one.
    EXPECT_TRUE(p.covers(3, 3, 1));
    EXPECT_FALSE(p.covers(1, 3, 3));
    EXPECT_TRUE(makeParameter(1.0, 1.0).covers(7, 7, 7));
}

TEST(Parameter, DatasetWritersRefuseOtherDimensions) {
    Parameter p = makeParameter(0.4, 0.2);
    Dataset4D<double> curve(3, 1, 1, 1, 5.0);
    mexhost::clearOutput();
    p.setValue(&curve);
    p.setError(&curve);
    p.setInitValue(&curve);
    const std::string out = mexhost::takeOutput();
    for (const char* text : {"ERROR Parameter(", "): parameter values must be 3D! \n",
                             "): parameter error values must be 3D! \n", "): parameter initial values must be 3D! \n"})
        EXPECT_NE(out.find(text), std::string::npos) << out;
    EXPECT_DOUBLE_EQ(p.valueAt(0, 0, 0), 0.4);
    EXPECT_DOUBLE_EQ(p.initValueAt(0, 0, 0), 0.2);
    EXPECT_DOUBLE_EQ(p.errorAt(0, 0, 0), 0.0);
}

TEST(Parameter, CopiesComeOutLinearWithTheirOwnVolumes) {
    Parameter p = makeParameter(0.4, 0.2);
    p.setLog(true);
    EXPECT_EQ(p.getsState(), "free(log)");
    p.resize(2, 1, 1);
    Parameter copy(p);
    EXPECT_FALSE(copy.getLog());
    EXPECT_EQ(copy.getsState(), "free");
    EXPECT_EQ(copy.getValueSize(), 2u);
    EXPECT_NE(copy.getValueVolume(), p.getValueVolume());
    copy.setValue(7.0);
    EXPECT_DOUBLE_EQ(p.valueAt(0, 0, 0), 0.4);

    // Assignment copies too; both objects stay usable after the source dies.
    Parameter other = makeParameter(1.0, 1.0);
    {
        Parameter source = makeParameter(3.0, 2.0);
        other = source;
    }
    EXPECT_DOUBLE_EQ(other.valueAt(0, 0, 0), 3.0);
}

TEST(Parameter, StateWords) {
    Parameter p = makeParameter(1.0, 1.0);
    const std::pair<Parameter::State, const char*> words[] = {{Parameter::FREE, "free"},     {Parameter::FIXED, "fixed"},
                                                              {Parameter::LINKED, "linked"}, {Parameter::CONST, "const"},
                                                              {static_cast<Parameter::State>(7), "unknown"}};
    for (const auto& w : words) {
        p.setState(w.first);
        EXPECT_EQ(p.getsState(), w.second);
    }
}

TEST(Parameter, ChangeUnitConvertsBoundsOnlyWithANamedUnit) {
    Parameter p("k", Unit("s"), 2.0, 2.0, 60.0, 120.0, Parameter::FREE);
    p.changeUnit(Unit("min"));
    EXPECT_DOUBLE_EQ(p.getMin(), 1.0);
    EXPECT_DOUBLE_EQ(p.getMax(), 2.0);
    EXPECT_EQ(p.getUnit().getName(), "min");
    // The volumes convert by their own rule (with its +0.5).
    EXPECT_DOUBLE_EQ(p.valueAt(0, 0, 0), 2.0 / 60.0 + 0.5);

    Parameter q("q", Unit(), 2.0, 2.0, 60.0, 120.0, Parameter::FREE);
    q.changeUnit(Unit("min"));
    EXPECT_DOUBLE_EQ(q.getMin(), 60.0);
    EXPECT_DOUBLE_EQ(q.getMax(), 120.0);

    // setUnit only relabels.
    Parameter r("r", Unit("s"), 2.0, 2.0, 60.0, 120.0, Parameter::FREE);
    r.setUnit(Unit("min"));
    EXPECT_DOUBLE_EQ(r.getMin(), 60.0);
    EXPECT_DOUBLE_EQ(r.valueAt(0, 0, 0), 2.0);
    EXPECT_EQ(r.getErrorVolume()->getUnit().getName(), "min");
}

TEST(Parameter, ReportShowsBoundsOrUnbound) {
    std::ostringstream bound, unbound;
    bound << Parameter("k1", Unit("1/min"), 0.5, 0.5, 0.0, 2.0, Parameter::FREE);
    unbound << Parameter("k1", Unit("1/min"), 0.5, 0.5, 1.0, 1.0, Parameter::FIXED);
    EXPECT_EQ(bound.str().rfind("Parameter k1:\n  Unit 1/min", 0), 0u) << bound.str();
    EXPECT_NE(bound.str().find("  State=free  Min=0 Max=2 \n  Initial value="), std::string::npos) << bound.str();
    EXPECT_NE(unbound.str().find("  State=fixed unbound\n  Initial value="), std::string::npos) << unbound.str();
    EXPECT_NE(unbound.str().find("  Value="), std::string::npos);
}
