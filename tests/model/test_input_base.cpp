// The input function base: result caches kept per voxel and parameter set,
// the numerical convolutions, resizing, cloning by type name.
#include <gtest/gtest.h>

#include <array>

#include "mexhost.h"
#include "model_support.h"
#include "util/NumUtil.h"

using namespace model_test;

namespace {

// int_0^t exp(-k s) (t - s)^timed (a + b (t - s)) ds from the moments i0, i1, i2.
double lineConv(double a, double b, double k, double t, bool timed) {
    const double e = std::exp(-k * t), i0 = (1 - e) / k, i1 = (1 - e * (1 + k * t)) / (k * k);
    if (!timed) return (a + b * t) * i0 - b * i1;
    const double i2 = (2 - e * (k * t * (k * t + 2) + 2)) / (k * k * k);
    return (a * t + b * t * t) * i0 - (a + 2 * b * t) * i1 + b * i2;
}

// C(t) = a + b t, convolved by the base's numerical integration.
class LineInput : public InputFunction {
public:
    explicit LineInput(double a = 2.0, double b = 0.0) : InputFunction("line", Unit()), a_(a), b_(b) {}
    double operator()(double t, unsigned, unsigned, unsigned) override { return a_ + b_ * t; }
    void initParameters(const Dataset*, const VOI*) override {}
    void init(const std::vector<double>& values) override {
        initValues = values;
        for (size_t i = 0; i < values.size(); ++i) addParameter("p" + std::to_string(i), Unit(), values[i]);
    }
    void pretendType(const std::string& type) { setType(type); }
    std::vector<double> initValues;

private:
    double a_, b_;
};

// C(t) = a t with "a" a parameter map, answered from the base's caches: the
// closed forms, or the numerical ones with numconv. Counts what it computes
// and how often it loads its parameter.
class SlopeInput : public InputFunction {
public:
    SlopeInput() : InputFunction("slope", Unit()) {
        setType("SlopeInput");
        addParameter("a", Unit(), 1.0);
    }
    double operator()(double t, unsigned x, unsigned y, unsigned z) override {
        load(x, y, z);
        return cached(valueCache_, 0.0, t, [&] { return ++computed, a_ * t; });
    }
    double convExp(double k, double t, unsigned x, unsigned y, unsigned z) override {
        if (numconv_) return InputFunction::convExp(k, t, x, y, z);
        load(x, y, z);
        return cached(convExpCache_, k, t, [&] { return ++computed, lineConv(0.0, a_, k, t, false); });
    }
    double convTimeExp(double k, double t, unsigned x, unsigned y, unsigned z) override {
        if (numconv_) return InputFunction::convTimeExp(k, t, x, y, z);
        load(x, y, z);
        return cached(convTimeExpCache_, k, t, [&] { return ++computed, lineConv(0.0, a_, k, t, true); });
    }
    void initParameters(const Dataset*, const VOI*) override {}
    int computed = 0, loads = 0;

private:
    void load(unsigned x, unsigned y, unsigned z) {
        if (refresh(x, y, z)) a_ = parameter_[0].valueAt(x, y, z), ++loads;
    }
    double a_ = 0.0;
};

// The integrand of the ramp's convExp for the plain-function form of qromb.
double gK, gT;
double rampIntegrand(double s) { return std::exp(-gK * s) * (gT - s); }

}  // namespace

TEST(InputFunctionCache, AnswersPerVoxelAndParameterSet) {
    SlopeInput f;
    f.resizeParameters(2, 1, 1);
    f.setParameterValue("a", 1, 0, 0, 3.0);  // a = 1 at voxel 0, 3 at voxel 1
    const double k = 0.05, t = 20.0, c = lineConv(0.0, 1.0, k, t, false), ct = lineConv(0.0, 1.0, k, t, true);
    // Alternating voxels: each answer is that voxel's, never the other's.
    for (int round = 0; round < 2; ++round)
        for (unsigned x : {0u, 1u}) {
            const double a = x == 0 ? 1.0 : 3.0;
            EXPECT_NEAR(f.convExp(k, t, x, 0, 0), a * c, 1e-12 * a * c) << x;
            EXPECT_NEAR(f.convTimeExp(k, t, x, 0, 0), a * ct, 1e-12 * a * ct) << x;
            EXPECT_EQ(f(t, x, 0, 0), a * t);
        }
    EXPECT_EQ(f.loads, 4);
    EXPECT_EQ(f.computed, 12);
    f.convExp(k, t, 1, 0, 0);  // the same voxel again: from the caches
    f(t, 1, 0, 0);
    EXPECT_EQ(f.computed, 12);
    EXPECT_EQ(f.getCacheCount(), 3u);
    // A parameter written at the voxel in use: the next answer is the new one.
    f.setParameterValue("a", 1, 0, 0, 5.0);
    {
        Verbosity verbose(4);
        mexhost::clearOutput();
        EXPECT_NEAR(f.convExp(k, t, 1, 0, 0), 5.0 * c, 1e-12 * 5.0 * c);
        EXPECT_EQ(mexhost::takeOutput(), "slope(SlopeInput) CACHE OF SIZE 3 CLEARED\n");
    }
    EXPECT_EQ(f(t, 1, 0, 0), 5.0 * t);
    EXPECT_EQ(f.loads, 5);
    EXPECT_EQ(f.getCacheCount(), 2u);
    // The numerical fallback integrates the curve of the voxel asked for,
    // with the arithmetic of qromb on a plain function, to the bit.
    f.setNumConv(true);
    for (unsigned x : {0u, 1u}) {
        const double a = x == 0 ? 1.0 : 5.0;
        EXPECT_NEAR(f.convExp(k, t, x, 0, 0), a * c, 1e-6 * a * c) << x;
        EXPECT_NEAR(f.convTimeExp(k, t, x, 0, 0), a * ct, 1e-6 * a * ct) << x;
    }
    gK = k, gT = t;
    EXPECT_EQ(f.convExp(k, t, 0, 0, 0), qromb(rampIntegrand, 0.0, t));
}

// Keys by exact bit pattern (0.0 and -0.0 differ, NaN is found), k then t, in
// three separate caches; an insert of a present key keeps the old value but
// counts; growth keeps every entry and revives no old generation; the limit
// (the sum of the three counts) clears between voxels.
TEST(InputFunctionCache, ExactKeysCountsAndLimit) {
    LineInput f;
    double v = -1.0;
    f.cacheInsert(1.0, 10.0);
    f.cacheInsert(1.0, 99.0);
    ASSERT_TRUE(f.cacheCheck(1.0, &v));
    EXPECT_EQ(v, 10.0);
    EXPECT_FALSE(f.cacheCheck(std::nextafter(1.0, 2.0), &v));
    f.cacheConvExpInsert(0.5, 3.0, 1.5);
    f.cacheConvExpInsert(0.0, 3.0, 2.5);
    f.cacheConvTimeExpInsert(0.5, 3.0, 7.5);
    f.cacheConvExpInsert(NAN, 4.0, 4.5);
    for (const auto& h : {std::array<double, 3>{0.5, 3.0, 1.5}, {0.0, 3.0, 2.5}, {NAN, 4.0, 4.5}}) {
        ASSERT_TRUE(f.cacheConvExpCheck(h[0], h[1], &v)) << h[0];
        EXPECT_EQ(v, h[2]);
    }
    EXPECT_FALSE(f.cacheConvExpCheck(-0.0, 3.0, &v));
    ASSERT_TRUE(f.cacheConvTimeExpCheck(0.5, 3.0, &v));
    EXPECT_EQ(v, 7.5);
    EXPECT_FALSE(f.cacheConvTimeExpCheck(0.0, 3.0, &v));
    EXPECT_FALSE(f.cacheConvExpCheck(0.5, 4.0, &v));
    EXPECT_EQ(f.getCacheCount(), 6u);
    f.cacheClear();
    EXPECT_EQ(f.getCacheCount(), 0u);
    EXPECT_FALSE(f.cacheCheck(1.0, &v) || f.cacheConvExpCheck(0.5, 3.0, &v) || f.cacheConvTimeExpCheck(0.5, 3.0, &v));
    f.cacheInsert(1.0, 11.0);  // refilled, a key takes its new value
    ASSERT_TRUE(f.cacheCheck(1.0, &v));
    EXPECT_EQ(v, 11.0);
    for (int i = 0; i < 5000; ++i) f.cacheConvExpInsert(0.001 * (i % 7), 0.5 * i, i);
    for (int i = 0; i < 5000; ++i) {
        ASSERT_TRUE(f.cacheConvExpCheck(0.001 * (i % 7), 0.5 * i, &v)) << i;
        EXPECT_EQ(v, i);
        EXPECT_FALSE(f.cacheConvExpCheck(0.001 * ((i + 1) % 7), 0.5 * i, &v));
    }
    f.cacheClear();
    for (int i = 0; i < 200; ++i) f.cacheConvExpInsert(1.0, -i, i);
    EXPECT_FALSE(f.cacheConvExpCheck(0.0, 0.5, &v));
    EXPECT_TRUE(f.cacheConvExpCheck(1.0, -199.0, &v));

    LineInput g;
    EXPECT_EQ(g.getCacheLimit(), 1000u);
    for (int i = 0; i < 999; ++i) i % 2 ? g.cacheConvExpInsert(0.1, i, i) : g.cacheConvTimeExpInsert(0.1, i, i);
    g.cacheInsert(999.0, 0.0);
    g.checkCacheSize();
    EXPECT_EQ(g.getCacheCount(), 1000u);
    g.cacheInsert(999.0, 1.0);  // an existing key counts as well
    g.checkCacheSize();
    EXPECT_EQ(g.getCacheCount(), 0u);
    EXPECT_FALSE(g.cacheCheck(999.0, &v));
}

TEST(InputFunctionNumerical, ConvolutionsOfSmoothCurves) {
    Verbosity quiet(1);
    for (auto [a, b] : {std::pair{2.0, 0.0}, {0.0, 0.3}}) {
        LineInput f(a, b);
        for (double k : {0.1, 0.01, -0.02})
            for (double t : {1.0, 10.0, 60.0}) {
                const double c = lineConv(a, b, k, t, false), ct = lineConv(a, b, k, t, true);
                EXPECT_NEAR(f.convExp(k, t, 0, 0, 0), c, 1e-5 * std::fabs(c)) << k << " " << t;
                EXPECT_NEAR(f.convTimeExp(k, t, 0, 0, 0), ct, 1e-5 * std::fabs(ct)) << k << " " << t;
            }
        EXPECT_NEAR(f.convExp(0.0, 10.0, 0, 0, 0), a * 10 + b * 50, 1e-6);  // k = 0: the area
        EXPECT_EQ(f.convExp(0.3, 0.0, 0, 0, 0), 0.0);
        EXPECT_EQ(f.convTimeExp(0.3, 0.0, 0, 0, 0), 0.0);
    }
    Verbosity verbose(5);
    LineInput f;
    mexhost::clearOutput();
    f.convExp(0.1, 0.0, 0, 0, 0);
    f.convTimeExp(0.1, 0.0, 0, 0, 0);
    EXPECT_EQ(mexhost::takeOutput(),
              "numerical convolution: convExp(k=0.1,t=0) = 0\n"
              "numerical convolution: convTimeExp(k=0.1,t=0) = 0\n");
}

TEST(InputFunctionBase, ResizeAndCloneByTypeName) {
    LineInput f;
    f.init({1.0, 2.0});
    {
        Verbosity verbose(5);
        mexhost::clearOutput();
        f.resize(3);
        EXPECT_EQ(mexhost::takeOutput(), "line resize to 3\n");
    }
    EXPECT_EQ(f.initValues, std::vector<double>(3, 0.0));
    EXPECT_EQ(f.getParameterNames(), (std::vector<std::string>{"p0", "p1", "p2"}));
    // Its own type, or the name of a cloneable class on another class: no
    // copy, no bad cast.
    Verbosity quiet(1);
    for (const char* type : {"InputFunction", "GenericInputFunction", "FMISO_InputFunction", "McN_ReferenceFunction"}) {
        f.pretendType(type);
        mexhost::clearOutput();
        EXPECT_EQ(f.clone(), nullptr);
        EXPECT_NE(mexhost::takeOutput().find(std::string("unknown input function type '") + type + "' \n"),
                  std::string::npos);
        EXPECT_EQ(f.createAverage(nullptr), nullptr);
    }
}
