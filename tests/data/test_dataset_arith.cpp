// Arithmetic between datasets, type conversion and the text reports.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "Dataset4D.h"
#include "VOI.h"
#include "data_support.h"

using datatest::takeText;
using datatest::Verbosity;

TEST(DatasetArithmetic, InTheElementType) {
    Dataset3D<int> n(2, 1, 1, 7);  // each scalar step truncates: 3, then 3.6
    n *= 0.5;
    n += 0.6;
    EXPECT_EQ(n(0), 3);
    Dataset3D<int> a(2, 1, 1, 0), b(2, 1, 1, 2);
    a(0) = 7;
    a(1) = -7;
    a /= b;  // integer division truncates toward zero
    EXPECT_EQ(a(0), 3);
    EXPECT_EQ(a(1), -3);
    b = 0;
    a /= b;  // a zero divisor gives 0 instead of stopping the program
    EXPECT_EQ(a(0), 0);

    Dataset3D<unsigned char> c(1, 1, 1, 250), d(1, 1, 1, 10);
    c += d;  // wraps as the language's conversion of the int sum does
    EXPECT_EQ(c(0), 4);
    Dataset3D<double> x(2, 2, 1, 1.0), y(2, 2, 1, 2.0);
    EXPECT_EQ(takeText(), "");
    // A 1x1x1 operand acts as a scalar (the grids still differ).
    Dataset3D<double> s(1, 1, 1, 4.0);
    x += s;
    EXPECT_EQ(x(0, 1, 0), 5.0);
    EXPECT_EQ(takeText(), "ERROR Dataset3D: invalid dimensions \n");

    // Through the base class, with the class picked by type name.
    Dataset& base = x;
    base += y;
    EXPECT_EQ(x(1, 0, 0), 7.0);
    Dataset4D<short> p(2, 1, 1, 2, 5), q(2, 1, 1, 2, 3);
    static_cast<Dataset&>(p) -= q;
    EXPECT_EQ(p(1, 0, 0, 1), 2);
    EXPECT_EQ(takeText(), "");
}

TEST(DatasetArithmetic, MismatchesAreReportedAndTheOperationGoesOn) {
    Dataset3D<double> a(2, 1, 1, 1.0);
    Dataset3D<float> f(2, 1, 1, 2.5f);
    a += f;
    EXPECT_EQ(takeText(), "ERROR Dataset: invalid types double += float \n");
    // The operation went on; here the other side is read through its values.
    EXPECT_EQ(a(1), 3.5);

    Dataset4D<double> s(1, 2, 1, 1, 1.0);
    a *= s;
    EXPECT_EQ(takeText(), "ERROR Dataset: invalid dimensions 3 *= 4 \n");
    Dataset2D<double> p(2, 1, 1.0), q(2, 1, 1.0);
    p /= q;
    EXPECT_EQ(takeText(), "ERROR Dataset: invalid dimension '2' \n");
    // Through the base, both levels report; the volume operator reads the
    // shorter operand as far as it goes.
    Dataset3D<double> big(3, 1, 1, 1.0);
    static_cast<Dataset&>(a) -= big;
    EXPECT_EQ(takeText(),
              "ERROR Dataset: invalid dimensions 3 -= 3 \n"
              "ERROR Dataset3D: invalid dimensions \n");
    EXPECT_EQ(a(1), 2.5);

    Dataset4D<double> u(1, 2, 1, 1, 1.0), v(1, 2, 1, 1, 1.0);
    u.setUnit(Unit("kBq/ml"));
    u += v;
    EXPECT_EQ(takeText(), "ERROR Dataset4D: invalid units \n");
    EXPECT_EQ(u(0, 1, 0, 0), 2.0);
    Dataset4D<double> longer(3, 2, 1, 1, 1.0);
    longer.setUnit(Unit("kBq/ml"));
    u += longer;
    EXPECT_EQ(takeText(), "ERROR Dataset4D: invalid dimensions \n");
}

TEST(DatasetChecks, DimensionsUnitsAndVOIs) {
    Dataset4D<double> a(2, 3, 4, 5), c(3, 3, 4, 5);
    Dataset3D<double> v(3, 4, 5);
    EXPECT_FALSE(a.checkDimensions(&c));
    EXPECT_TRUE(a.checkUnit(&v));
    v.setUnit(Unit("Bq/ml"));
    EXPECT_FALSE(a.checkUnit(&v));
    VOI mask(3, 4, 5, 1), other(3, 4, 4, 1);
    EXPECT_TRUE(a.checkVOI(&mask));
    EXPECT_FALSE(v.checkVOI(&other));
    EXPECT_FALSE(Dataset2D<int>().checkVOI(&mask));  // reports as p /= q below
    takeText();
}

TEST(DatasetConversion, TruncatesAndCarriesUnitsButNotMidframe) {
    Dataset3D<short> s(1, 1, 1, 3);
    EXPECT_EQ(convertType(&s, "short"), &s);  // the same object, not a copy

    Dataset4D<double> d(2, 2, 1, 1, 0.0);
    d(0, 0, 0, 0) = 2.9;
    d(1, 1, 0, 0) = -2.9;
    d.setFrameLength(1, 30);
    d.setTimeUnit(Unit("min"));
    d.setPixelSize({1, 2, 3});
    d.midframe_approx = true;
    std::unique_ptr<Dataset> n(convertType(&d, "int"));
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(n->getType(), "int");
    auto& ints = static_cast<Dataset4D<int>&>(*n);
    EXPECT_EQ(ints(0, 0, 0, 0), 2);
    EXPECT_EQ(ints(1, 1, 0, 0), -2);
    EXPECT_EQ(ints.getFrameLength(1), 30.0);
    EXPECT_EQ(ints.getTimeUnit().getName(), "min");
    EXPECT_EQ(ints.getPixelSize(), (std::vector<double>{1, 2, 3}));
    EXPECT_FALSE(ints.midframe_approx);

    Dataset2D<float> f(2, 1, 0.5f);
    std::unique_ptr<Dataset> g(convertType(&f, "double"));
    EXPECT_EQ(g->getNumDimensions(), 2u);
    EXPECT_EQ(g->getValue2D(1, 0), 0.5);
    EXPECT_EQ(convertType(&f, "long"), nullptr);

    // At verbosity 8 every non-zero element is traced.
    Verbosity loud(8);
    Dataset3D<double> one(2, 1, 1, 0.0);
    one(1) = 1.75;
    std::unique_ptr<Dataset> u(convertType(&one, "uchar"));
    EXPECT_EQ(takeText(), "src(double): 1.75, dest: 1.\n");
}

namespace {
std::string infoOf(const Dataset& d) {
    std::ostringstream out;
    d.info(out);
    return out.str();
}
std::string dumpOf(const Dataset& d) {
    std::ostringstream out;
    out << d;
    return out.str();
}
}  // namespace

TEST(DatasetReports, InfoOfEachDimension) {
    Dataset3D<double> d(4, 3, 2, 0.0);
    d.setName("vol");
    d(3) = 2.5;
    d(4) = -1;
    d.setUnit(Unit("kBq/ml"));
    d.setPixelSize({1, 2, 3});
    d.setOrigin({-1, 0.5, 0.125});
    EXPECT_EQ(infoOf(d),
              "Dataset3D: vol (double)\n  Dimension   : 2x3x4 (ZxYxX)\n"
              "  Size[Origin]: 3.00x2.00x1.00 [0.12,0.50,-1.00]mm\n"
              "  Unit        : Unit kBq/ml: type=ACTIVITY factor=1000 \n"
              "  MemorySize  : 192 \n  Min         : -1 \n  Max         : 2.5 \n");
    Dataset2D<unsigned char> s(2, 1, 7);
    s.setName("s");
    EXPECT_EQ(infoOf(s),
              "Dataset2D: s (uchar)\n  Dimension   : 1x2 (YxX)\n  Size[Origin]: 0.00x0.00 [0.00,0.00]mm\n"
              "  Unit        : Unit : type=UNKNOWN factor=1 \n  MemorySize  : 2 \n  Min         : 7 \n"
              "  Max         : 7 \n");
    Dataset4D<float> t(2, 1, 1, 1, 1.5f);
    t.setName("tac");
    t.setTime(1, 12.5);
    t.setFrameLength(0, 12.5);
    t.setFrameLength(1, 30);
    t.setPixelSize({1, 1, 2});
    t.midframe_approx = true;
    EXPECT_EQ(infoOf(t),
              "Dataset4D: tac (float)\n  Dimension 2x1x1x1 (TxZxYxX)\n"
              "  Size        : 2.00x1.00x1.00 [0.00,0.00,0.00] mm (ZxYxX)\n"
              "  Unit        : Unit : type=UNKNOWN factor=1 \n  TimeUnit    : Unit s: type=TIME factor=1 \n"
              "  MemorySize  : 8 \n  midFrames   : true \n  Min         : 1.5 \n  Max         : 1.5 \n"
              "  Frame  0 : start 0s len 12.5s\n  Frame  1 : start 12.5s len 30s\n");
    EXPECT_EQ(infoOf(Dataset4D<int>()),
              "Dataset4D:  (int)\n  Dimension 0x0x0x0 (TxZxYxX)\n  Unit        : Unit : type=UNKNOWN factor=1 \n"
              "  TimeUnit    : Unit s: type=TIME factor=1 \n  MemorySize  : 0 \n  midFrames   : false \n"
              "  Min         : 0 \n  Max         : 0 \n");
}

TEST(DatasetReports, DumpsFollowVerbosity) {
    Dataset2D<float> s(2, 2, 0.0f);
    s.setName("s");
    s(1, 0) = 0.1f;
    s(0, 1) = 3;
    EXPECT_EQ(dumpOf(s), "Dataset2D('s',2x2)\n 0 0.1 \n 3 0 \n");
    Dataset3D<double> v(2, 1, 2, 0.0);
    v.setName("v");
    v(1, 0, 1) = 1.0 / 3;
    EXPECT_EQ(dumpOf(v), "Dataset3D('v',2x1x2)");
    {
        Verbosity detailed(2);
        EXPECT_EQ(dumpOf(v), "Dataset3D('v',2x1x2) \n# z=0 \n 0 0 \n \n# z=1 \n 0 0.33333333333333 \n \n");
    }
    Dataset3D<short> one(1, 1, 1, -4);
    one.setName("one");
    EXPECT_EQ(dumpOf(one), "Dataset3D('one',1x1x1) = -4 \n");
    Dataset4D<unsigned char> t(1, 2, 1, 1, 200);
    EXPECT_EQ(dumpOf(t), infoOf(t) + "# t = 0 z=0 \n 200 200 \n \n");
}
