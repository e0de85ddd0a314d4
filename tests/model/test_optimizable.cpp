// Optimizable: links of one hop, log scale, the numerical derivative, shapes,
// copies and the failure texts of unknown names.
#include <gtest/gtest.h>

#include <cmath>
#include <regex>

#include "Dataset3D.h"
#include "Optimizable.h"
#include "mexhost.h"
#include "util/Message.h"

namespace {

// f(t) = a^3 t + b + c, enough to see the step of the numerical derivative.
class Cubic : public Optimizable {
public:
    Cubic() : Optimizable("Test") {
        for (auto [name, value] : {std::pair{"a", 1.0}, {"b", 2.0}, {"c", 3.0}}) addParameter(name, Unit(), value);
    }
    double operator()(double t, unsigned x, unsigned y, unsigned z) override {
        const double a = parameter_[0].valueAt(x, y, z);
        return a * a * a * t + parameter_[1].valueAt(x, y, z) + parameter_[2].valueAt(x, y, z);
    }
    Optimizable* createAverage(const VOI*) override { return nullptr; }
    void add(const std::string& name) { addParameter(name, Unit(), 0.0); }
};

bool printedHas(const std::string& text) { return mexhost::takeOutput().find(text) != std::string::npos; }

double stored(const Optimizable& o, const std::string& name, unsigned x = 0) {
    return o.getParameter(name).valueAt(x, 0, 0);
}

}  // namespace

// A write reaches the linked target through its transform ("1-", "-", "/",
// plain) but no further; volumes, errors and initial values follow too.
TEST(Optimizable, LinkTransformsReachExactlyOneHop) {
    Cubic f;
    f.setParameterLink("a", "b", "1-");
    EXPECT_TRUE(f.isParameterLinked("b") && !f.isParameterLinked("a"));
    f.setChanged(false);
    f.setParameterValue("a", 0.3);
    EXPECT_DOUBLE_EQ(stored(f, "b"), 0.7);
    EXPECT_TRUE(f.getChanged());
    f.setParameterLink("b", "c", "-");  // b drives c, but a write to a stops at b
    f.setParameterValue("a", 0.25);
    EXPECT_DOUBLE_EQ(stored(f, "b"), 0.75);
    EXPECT_DOUBLE_EQ(stored(f, "c"), 3.0);
    f.setParameterValue("b", 0.5);
    EXPECT_DOUBLE_EQ(stored(f, "c"), -0.5);
    Cubic g;
    g.setParameterLink("a", "b", "/");
    g.setParameterValue("a", 0.0);
    EXPECT_TRUE(std::isinf(stored(g, "b")));
    g.resizeParameters(2, 1, 1);
    g.setParameterLink("a", "c", "");  // the voxel form writes the same voxel
    g.setParameterValue("a", 1, 0, 0, 5.0);
    EXPECT_DOUBLE_EQ(stored(g, "c", 1), 5.0);
    EXPECT_DOUBLE_EQ(stored(g, "c", 0), 3.0);
    EXPECT_EQ(g.getParameterLinkType("b"), "/");  // the earlier target stays linked

    Cubic h;  // a volume write transforms a clone; errors follow untransformed
    h.setParameterLink("a", "b", "1-");
    Dataset3D<double> map(2, 1, 1, 0.25);
    map(1, 0, 0) = 0.5;
    h.setParameterValue("a", &map);
    EXPECT_DOUBLE_EQ(stored(h, "b", 0), 0.75);
    EXPECT_DOUBLE_EQ(stored(h, "b", 1), 0.5);
    EXPECT_DOUBLE_EQ(map(0, 0, 0), 0.25);
    h.setParameterError("a", 0.1);
    EXPECT_DOUBLE_EQ(h.getParameter("b").errorAt(0, 0, 0), 0.1);
    h.setParameterInitValue("a", 0.9);
    EXPECT_DOUBLE_EQ(h.getParameter("b").initValueAt(0, 0, 0), 2.0);
}

// Freeing the target keeps the link, freeing the driver ends it; fix and free
// leave linked and const parameters alone.
TEST(Optimizable, StateCutsOnlyTheLinkThatTheParameterDrives) {
    Cubic f;
    f.setParameterLink("a", "b", "-");
    f.setParameterState("b", Parameter::FREE);
    f.setParameterValue("a", 2.0);
    EXPECT_DOUBLE_EQ(stored(f, "b"), -2.0);
    f.setParameterState("a", Parameter::FREE);
    f.setParameterValue("a", 5.0);
    EXPECT_DOUBLE_EQ(stored(f, "b"), -2.0);
    Cubic g;
    g.setParameterLink("a", "b", "");
    g.setParameterState("c", Parameter::CONST);
    for (bool fix : {true, false}) {
        fix ? g.fixParameters() : g.freeParameters();
        EXPECT_EQ(g.isParameterFree("a"), !fix);
        EXPECT_TRUE(g.isParameterLinked("b") && g.isParameterConst("c"));
    }
}

// The optimizer reads and writes log10 of a log parameter; links see the
// linear value; a volume is always linear.
TEST(Optimizable, LogScaleIsReadAndWrittenForTheOptimizer) {
    Cubic f;
    f.setParameterLog("a", true);
    f.setParameterLink("a", "b", "-");
    f.setParameterValue("a", -2.0);
    EXPECT_DOUBLE_EQ(stored(f, "a"), 0.01);
    EXPECT_DOUBLE_EQ(stored(f, "b"), -0.01);
    EXPECT_DOUBLE_EQ(f.getParameterValueByIndex(0, 0, 0, 0), -2.0);
    f.setParameterValueByIndex(0, 0, 0, 0, 1.0);
    EXPECT_DOUBLE_EQ(stored(f, "a"), 10.0);
    f.setParameterInitValue("a", -2.0);
    EXPECT_DOUBLE_EQ(f.getParameterInitValue("a", 0, 0, 0), -2.0);
    Dataset3D<double> map(1, 1, 1, 3.0);
    f.setParameterValue("a", &map);
    EXPECT_DOUBLE_EQ(stored(f, "b"), -3.0);
}

// The central difference of a^3 t with step h is 3 a^2 t + h^2 t / 4: the
// excess over the exact derivative shows the step taken. The value is restored
// exactly, links are not followed, the stored value is read linearly.
TEST(Optimizable, NumericalDerivativeStepAndRestore) {
    const double cases[][2] = {{0.0, 1e-6}, {0.25, 1e-3}, {1234.0, 10.0}, {-0.25, 1e-3}, {3e-7, 1e-6}};
    for (const auto& c : cases) {
        Cubic f;
        f.setParameterValue("b", 0.0);  // no offset to round the difference away
        f.setParameterLink("a", "c", "-");
        f.setParameterValue("a", c[0]);
        const double before = stored(f, "c"), t = 2.0;
        f.setChanged(false);
        const double d = f.der("a", t, 0, 0, 0), expected = 3.0 * c[0] * c[0] * t + c[1] * c[1] * t / 4.0;
        EXPECT_NEAR(d, expected, 1e-9 * std::fabs(expected) + 1e-15) << c[0];
        EXPECT_EQ(stored(f, "a"), c[0]);
        EXPECT_EQ(stored(f, "c"), before);
        EXPECT_TRUE(f.getChanged());
        EXPECT_DOUBLE_EQ(f.derByIndex(0, t, 0, 0, 0), d);
    }
    Cubic g;
    g.setParameterValue("a", 0.25);
    g.setParameterLog("a", true);
    EXPECT_NEAR(g.der("a", 1.0, 0, 0, 0), 3 * 0.0625 + 1e-6 / 4, 1e-11);
}

TEST(Optimizable, LinkMessageAndCopiesKeepParametersAndLinksButNotFlags) {
    Cubic f;
    f.setName("cubic");
    const unsigned old = _MessageHelper::verbosity_;
    _MessageHelper::verbosity_ = 3;
    mexhost::clearOutput();
    f.setParameterLink("a", "b", "1-");
    EXPECT_EQ(mexhost::takeOutput(), "linked cubic parameter '1-a' to 'b'\n");
    _MessageHelper::verbosity_ = old;
    f.setParameterLog("c", true);
    f.setNumDer(true);
    f.resizeParameters(3, 2, 1);
    Cubic copy(f);
    EXPECT_EQ(copy.getName(), "cubic");
    EXPECT_EQ(copy.getParameterLinkType("b"), "1-");
    EXPECT_FALSE(copy.getParameterLog("c") || copy.getNumDer() || copy.getChanged());
    copy.setParameterValue("a", 0.5);
    EXPECT_DOUBLE_EQ(copy.getParameter("b").valueAt(2, 1, 0), 0.5);
    EXPECT_DOUBLE_EQ(stored(f, "a"), 1.0);
}

// Fitting a 2x4x4 dataset and then a 4x4x2 one: every map of every
// parameter ends on the second grid, and each of its voxels is its own.
TEST(Optimizable, ResizeParametersToAnotherShapeOfTheSameCount) {
    Cubic f;
    f.resizeParameters(2, 4, 4);
    f.setParameterValue("a", 1, 3, 3, 7.0);
    EXPECT_EQ(f.parameterOutside(1, 3, 3), nullptr);
    f.resizeParameters(4, 4, 2);
    EXPECT_EQ(f.getSize(), 32u);
    for (const std::string& name : f.getParameterNames()) {
        const Parameter& p = f.getParameter(name);
        for (const Dataset3D<double>* v : {p.getValueVolume(), p.getInitValueVolume(), p.getErrorVolume()})
            EXPECT_EQ(v->getDimensions(), (std::vector<unsigned>{4, 4, 2})) << name;
    }
    for (unsigned i = 0; i < 32; ++i) f.setParameterValue("a", i % 4, i / 4 % 4, i / 16, 100.0 + i);
    for (unsigned i = 0; i < 32; ++i) {
        EXPECT_DOUBLE_EQ(f.getParameterValue("a", i % 4, i / 4 % 4, i / 16), 100.0 + i);
        EXPECT_DOUBLE_EQ(f.getParameterValue("c", i % 4, i / 4 % 4, i / 16), 3.0);  // a single value spread
    }
    EXPECT_EQ(f.parameterOutside(3, 3, 1), nullptr);
    EXPECT_EQ(f.parameterOutside(1, 3, 3), &f.getParameter("a"));
}

// Lookups by the name index among thousands; unknown names report and answer
// defaults; a name added twice is refused.
TEST(Optimizable, UnknownNamesReportAndAnswerDefaults) {
    Cubic f;
    for (unsigned i = 0; i < 3000; ++i) f.add("y" + std::to_string(i));
    for (unsigned i = 0; i < 3000; i += 7) EXPECT_EQ(f.hasParameter("y" + std::to_string(i)), int(i) + 3);
    EXPECT_EQ(f.hasParameter("y3000"), -1);
    mexhost::clearOutput();
    f.add("y17");
    EXPECT_TRUE(printedHas("Optimizable::addParameter(): parameter 'y17' exists already \n"));
    EXPECT_EQ(f.getNumParameters(), 3003u);

    f.setParameterMax("zz", 1.0);
    EXPECT_TRUE(std::regex_match(mexhost::takeOutput(),
                                 std::regex("ERROR Optimizable\\(\\d+\\): Optimizable::setParameterMax\\(\\) unknown parameter 'zz'")));
    f.setParameterValue("zz", 1.0);
    EXPECT_TRUE(printedHas("Optimizable::setParameterValue() unknown parameter 'zz'"));
    EXPECT_DOUBLE_EQ(f.getParameterInitValue("zz", 0, 0, 0), 0.0);
    EXPECT_TRUE(printedHas("Optimizable::getParameterValue() unknown parameter 'zz'"));
    EXPECT_DOUBLE_EQ(f.getParameterMin("zz"), 0.0);
    EXPECT_TRUE(std::regex_match(mexhost::takeOutput(), std::regex("ERROR Optimizable\\(\\d+\\): unknown parameter 'zz'")));
    EXPECT_EQ(f.getParameterLink("zz"), -1);
    EXPECT_EQ(f.getParameterLinkType("zz"), "");
    EXPECT_EQ(&f.getParameter("zz"), &f.getParameter("a"));
    mexhost::clearOutput();
    f.setParameterLink("a", "zz", "-");
    EXPECT_TRUE(printedHas("Optimizable::setParameterLink() unknown parameter 'a' or 'zz'"));
    EXPECT_EQ(f.getParameterLink("a"), -1);
    EXPECT_DOUBLE_EQ(f.der("zz", 1.0, 0, 0, 0), 0.0);
    EXPECT_TRUE(printedHas("Optimizable::der() unknown parameter 'zz' \n"));
}
