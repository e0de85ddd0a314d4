// Optimizable: links of one hop, log scale, the numerical derivative and the
// failure texts of unknown names.
#include <gtest/gtest.h>

#include <cmath>

#include "Dataset3D.h"
#include "Optimizable.h"
#include "mexhost.h"
#include "util/Message.h"

namespace {

// f(t) = a^3 t + b + c, enough to see the step of the numerical derivative.
class Cubic : public Optimizable {
public:
    Cubic() : Optimizable("Test") {
        addParameter("a", Unit(), 1.0);
        addParameter("b", Unit(), 2.0);
        addParameter("c", Unit(), 3.0);
    }
    double operator()(double t, unsigned x, unsigned y, unsigned z) override {
        const double a = parameter_[0].valueAt(x, y, z);
        return a * a * a * t + parameter_[1].valueAt(x, y, z) + parameter_[2].valueAt(x, y, z);
    }
    Optimizable* createAverage(const VOI*) override { return nullptr; }
    void add(const std::string& name) { addParameter(name, Unit(), 0.0); }
};

// "ERROR Optimizable(<line>): " + text, with no closing " \n".
bool isReport(const std::string& out, const std::string& text) {
    const std::string head = "ERROR Optimizable(";
    if (out.compare(0, head.size(), head) != 0) return false;
    const size_t close = out.find("): ", head.size());
    if (close == std::string::npos || close == head.size()) return false;
    for (size_t i = head.size(); i < close; ++i)
        if (out[i] < '0' || out[i] > '9') return false;
    return out.substr(close + 3) == text;
}

double stored(const Optimizable& o, const std::string& name) { return o.getParameter(name).valueAt(0, 0, 0); }

}  // namespace

TEST(Optimizable, LinkTransformsReachExactlyOneHop) {
    Cubic f;
    f.setParameterLink("a", "b", "1-");
    EXPECT_TRUE(f.isParameterLinked("b"));
    EXPECT_FALSE(f.isParameterLinked("a"));
    EXPECT_EQ(f.getParameterLink("a"), 1);
    EXPECT_EQ(f.getParameterLinkType("b"), "1-");
    f.setChanged(false);
    f.setParameterValue("a", 0.3);
    EXPECT_DOUBLE_EQ(stored(f, "a"), 0.3);
    EXPECT_DOUBLE_EQ(stored(f, "b"), 0.7);
    EXPECT_TRUE(f.getChanged());

    // b drives c, but a write to a stops at b.
    f.setParameterLink("b", "c", "-");
    f.setParameterValue("a", 0.25);
    EXPECT_DOUBLE_EQ(stored(f, "b"), 0.75);
    EXPECT_DOUBLE_EQ(stored(f, "c"), 3.0);
    f.setParameterValue("b", 0.5);
    EXPECT_DOUBLE_EQ(stored(f, "c"), -0.5);

    // "/" and the plain link; the voxel form writes the same voxel.
    Cubic g;
    g.setParameterLink("a", "b", "/");
    g.setParameterValue("a", 4.0);
    EXPECT_DOUBLE_EQ(stored(g, "b"), 0.25);
    g.setParameterValue("a", 0.0);
    EXPECT_TRUE(std::isinf(stored(g, "b")));
    g.resizeParameters(2, 1, 1);
    g.setParameterLink("a", "c", "");
    g.setParameterValue("a", 1, 0, 0, 5.0);
    EXPECT_DOUBLE_EQ(g.getParameter("c").valueAt(1, 0, 0), 5.0);
    EXPECT_DOUBLE_EQ(g.getParameter("c").valueAt(0, 0, 0), 3.0);
    // The earlier target stays linked with its type.
    EXPECT_TRUE(g.isParameterLinked("b"));
    EXPECT_EQ(g.getParameterLinkType("b"), "/");
}

TEST(Optimizable, VolumeWritesTransformACloneAndErrorsFollowUntransformed) {
    Cubic f;
    f.setParameterLink("a", "b", "1-");
    Dataset3D<double> map(2, 1, 1, 0.0);
    map(0, 0, 0) = 0.25;
    map(1, 0, 0) = 0.5;
    f.setParameterValue("a", &map);
    EXPECT_DOUBLE_EQ(f.getParameter("b").valueAt(0, 0, 0), 0.75);
    EXPECT_DOUBLE_EQ(f.getParameter("b").valueAt(1, 0, 0), 0.5);
    EXPECT_DOUBLE_EQ(map(0, 0, 0), 0.25);  // the source is untouched

    f.setParameterError("a", 0.1);
    EXPECT_DOUBLE_EQ(f.getParameter("b").errorAt(0, 0, 0), 0.1);
    f.setParameterInitValue("a", 0.9);
    EXPECT_DOUBLE_EQ(f.getParameter("b").initValueAt(0, 0, 0), 2.0);
}

TEST(Optimizable, StateCutsOnlyTheLinkThatTheParameterDrives) {
    Cubic f;
    f.setParameterLink("a", "b", "-");
    f.setParameterState("b", Parameter::FREE);  // the target: a still drives b
    f.setParameterValue("a", 2.0);
    EXPECT_DOUBLE_EQ(stored(f, "b"), -2.0);
    f.setParameterState("a", Parameter::FREE);  // the driver: the link ends
    f.setParameterValue("a", 5.0);
    EXPECT_DOUBLE_EQ(stored(f, "b"), -2.0);

    Cubic g;
    g.setParameterLink("a", "b", "");
    g.setParameterState("c", Parameter::CONST);
    g.fixParameters();
    EXPECT_FALSE(g.getParameterState("a"));
    EXPECT_TRUE(g.isParameterLinked("b"));
    EXPECT_TRUE(g.isParameterConst("c"));
    g.freeParameters();
    EXPECT_TRUE(g.isParameterFree("a"));
    EXPECT_TRUE(g.getParameterState("a"));
    EXPECT_TRUE(g.isParameterLinked("b"));
    EXPECT_TRUE(g.isParameterConst("c"));
}

TEST(Optimizable, LogScaleIsReadAndWrittenForTheOptimizer) {
    Cubic f;
    f.setParameterLog("a", true);
    f.setParameterLink("a", "b", "-");
    f.setParameterValue("a", -2.0);
    EXPECT_DOUBLE_EQ(stored(f, "a"), 0.01);
    EXPECT_DOUBLE_EQ(stored(f, "b"), -0.01);
    EXPECT_DOUBLE_EQ(f.getParameterValue("a", 0, 0, 0), -2.0);
    EXPECT_DOUBLE_EQ(f.getParameterValueByIndex(0, 0, 0, 0), -2.0);
    f.setParameterValueByIndex(0, 0, 0, 0, 1.0);
    EXPECT_DOUBLE_EQ(stored(f, "a"), 10.0);
    f.setParameterInitValue("a", -2.0);
    EXPECT_DOUBLE_EQ(f.getParameterInitValue("a", 0, 0, 0), -2.0);
    // A volume is always linear.
    Dataset3D<double> map(1, 1, 1, 3.0);
    f.setParameterValue("a", &map);
    EXPECT_DOUBLE_EQ(stored(f, "a"), 3.0);
    EXPECT_DOUBLE_EQ(stored(f, "b"), -3.0);
}

TEST(Optimizable, NumericalDerivativeStepAndRestore) {
    // d/da of a^3 t by the central difference with step h is 3 a^2 t + h^2 t / 4,
    // so the excess over the exact derivative shows the step taken.
    struct Case {
        double v, h;
    } cases[] = {{0.0, 1e-6}, {0.25, 1e-3}, {1234.0, 10.0}, {-0.25, 1e-3}, {3e-7, 1e-6}};
    for (const Case& c : cases) {
        Cubic f;
        f.setParameterValue("b", 0.0);
        f.setParameterLink("a", "c", "-");
        f.setParameterValue("a", c.v);
        const double before = stored(f, "c");
        const double t = 2.0;
        f.setChanged(false);
        const double d = f.der("a", t, 0, 0, 0);
        const double expected = 3.0 * c.v * c.v * t + c.h * c.h * t / 4.0;
        EXPECT_NEAR(d, expected, 1e-9 * std::fabs(expected) + 1e-15) << c.v;
        EXPECT_EQ(stored(f, "a"), c.v);     // exactly
        EXPECT_EQ(stored(f, "c"), before);  // links are not followed
        EXPECT_TRUE(f.getChanged());
        EXPECT_DOUBLE_EQ(f.derByIndex(0, t, 0, 0, 0), d);
    }
    // The stored value is read linearly, whatever the log flag.
    Cubic g;
    g.setParameterValue("a", 0.25);
    g.setParameterLog("a", true);
    EXPECT_NEAR(g.der("a", 1.0, 0, 0, 0), 3 * 0.0625 + 1e-6 / 4, 1e-11);
}

TEST(Optimizable, CopyKeepsParametersAndLinksButNotFlags) {
    Cubic f;
    f.setName("cubic");
    f.setParameterLink("a", "b", "1-");
    f.setParameterLog("c", true);
    f.setNumDer(true);
    f.resizeParameters(3, 2, 1);
    EXPECT_EQ(f.getSize(), 6u);
    Cubic copy(f);
    EXPECT_EQ(copy.getName(), "cubic");
    EXPECT_EQ(copy.getType(), "Test");
    EXPECT_EQ(copy.getParameterNames(), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(copy.getParameterLink("a"), 1);
    EXPECT_EQ(copy.getParameterLinkType("b"), "1-");
    EXPECT_FALSE(copy.getParameterLog("c"));
    EXPECT_FALSE(copy.getNumDer());
    EXPECT_FALSE(copy.getChanged());
    EXPECT_EQ(copy.getSize(), 6u);
    EXPECT_EQ(copy.getParameterDimensionX(), 3u);
    EXPECT_EQ(copy.getParameterDimensionY(), 2u);
    copy.setParameterValue("a", 0.5);
    EXPECT_DOUBLE_EQ(copy.getParameter("b").valueAt(2, 1, 0), 0.5);
    EXPECT_DOUBLE_EQ(f.getParameter("a").valueAt(0, 0, 0), 1.0);
}

TEST(Optimizable, UnknownNamesReportAndAnswerDefaults) {
    Cubic f;
    mexhost::clearOutput();
    f.setParameterMax("zz", 1.0);
    EXPECT_TRUE(isReport(mexhost::takeOutput(), "Optimizable::setParameterMax() unknown parameter 'zz'"));
    f.setParameterValue("zz", 1.0);
    EXPECT_NE(mexhost::takeOutput().find("Optimizable::setParameterValue() unknown parameter 'zz'"), std::string::npos);
    EXPECT_DOUBLE_EQ(f.getParameterInitValue("zz", 0, 0, 0), 0.0);
    EXPECT_NE(mexhost::takeOutput().find("Optimizable::getParameterValue() unknown parameter 'zz'"), std::string::npos);
    EXPECT_DOUBLE_EQ(f.getParameterMin("zz"), 0.0);
    EXPECT_TRUE(isReport(mexhost::takeOutput(), "unknown parameter 'zz'"));
    EXPECT_EQ(f.getParameterLink("zz"), -1);
    EXPECT_EQ(f.getParameterLinkType("zz"), "");
    EXPECT_EQ(f.getParameterUnit("zz").getName(), "");
    EXPECT_EQ(&f.getParameter("zz"), &f.getParameter("a"));
    mexhost::clearOutput();

    f.setParameterLink("a", "zz", "-");
    EXPECT_NE(mexhost::takeOutput().find("Optimizable::setParameterLink() unknown parameter 'a' or 'zz'"),
              std::string::npos);
    EXPECT_EQ(f.getParameterLink("a"), -1);
    EXPECT_DOUBLE_EQ(f.der("zz", 1.0, 0, 0, 0), 0.0);
    const std::string der = mexhost::takeOutput();
    EXPECT_NE(der.find("Optimizable::der() unknown parameter 'zz' \n"), std::string::npos) << der;
    f.add("a");
    EXPECT_NE(mexhost::takeOutput().find("Optimizable::addParameter(): parameter 'a' exists already \n"),
              std::string::npos);
    EXPECT_EQ(f.getNumParameters(), 3u);
}

TEST(Optimizable, LinkMessageAtVerbosityThree) {
    Cubic f;
    f.setName("cubic");
    const unsigned old = _MessageHelper::verbosity_;
    _MessageHelper::verbosity_ = 3;
    mexhost::clearOutput();
    f.setParameterLink("a", "b", "1-");
    EXPECT_EQ(mexhost::takeOutput(), "linked cubic parameter '1-a' to 'b'\n");
    _MessageHelper::verbosity_ = old;
}
