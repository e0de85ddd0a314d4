// Numerical library: allocation, random numbers with the seed file, gamma
// functions and integration, each against an independent oracle.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "mexhost.h"
#include "support/Quadrature.h"
#include "util/NumUtil.h"

namespace {

std::string printed() { return std::regex_replace(mexhost::takeOutput(), std::regex("\\(\\d+\\): "), "(L): "); }

std::string seedFile() { return std::string(std::getenv("HOME")) + "/.seed"; }

void writeSeedFile(const std::string& text) { std::ofstream(seedFile()) << text; }

std::vector<double> draws(int n) {
    std::vector<double> v;
    for (int i = 0; i < n; ++i) v.push_back(random(0.0, 1.0));
    return v;
}

std::vector<double> drawsAfterSeed(int seed, int n) {
    random_init(seed);
    return draws(n);
}

// Seeded from the clock: the stream of the time before or just after.
void expectClocked(int before, const std::vector<double>& clocked) {
    EXPECT_TRUE(clocked == drawsAfterSeed(before, 3) || clocked == drawsAfterSeed(before + 1, 3));
}

// Sample mean and variance of n draws, how many meet a condition, how many are not whole.
struct Sample {
    double mean = 0, var = 0;
    int hits = 0, fractional = 0;
};
template <typename Draw, typename Hit>
Sample sample(Draw draw, Hit hit, int n) {
    Sample s;
    double s2 = 0;
    for (int i = 0; i < n; ++i) {
        const double x = draw();
        s.mean += x;
        s2 += x * x;
        s.hits += hit(x);
        s.fractional += x != std::floor(x);
    }
    s.mean /= n;
    s.var = s2 / n - s.mean * s.mean;
    return s;
}

// Deterministic noise: Romberg extrapolation never settles on it.
double noise(double x) {
    double v = std::sin(x * 12345.678) * 43758.5453;
    return v - std::floor(v);
}

}  // namespace

TEST(NumUtil, IndexOneBasedAllocation) {
    mexhost::clearOutput();
    double* v = dvector(1, 5);
    for (long i = 0; i <= 5; ++i) v[i] = static_cast<double>(i);  // v[nl - 1] is part of the block
    free_dvector(v, 1, 5);
    int* iv = ivector(-3, 3);
    for (long i = -3; i <= 3; ++i) iv[i] = static_cast<int>(i);
    free_ivector(iv, -3, 3);

    double** m = dmatrix(0, 2, -1, 2);
    for (long r = 0; r <= 2; ++r)
        for (long c = -1; c <= 2; ++c) m[r][c] = 10.0 * r + c;
    EXPECT_EQ(m[1], m[0] + 4);  // one contiguous block, rows of 4
    EXPECT_EQ(m[2][-1], 19.0);
    free_dmatrix(m, 0, 2, -1, 2);
    free_dmatrix(dmatrix(1, 0, 1, 0), 1, 0, 1, 0);  // empty
    EXPECT_EQ(printed(), "");

    EXPECT_EQ(dvector(1, LONG_MAX / 2), nullptr);
    EXPECT_EQ(ivector(1, LONG_MAX / 2), nullptr);
    EXPECT_EQ(dmatrix(1, LONG_MAX / 4, 1, 2), nullptr);
    EXPECT_EQ(dmatrix(1, 2, 1, LONG_MAX / 2), nullptr);
    EXPECT_EQ(printed(),
              "ERROR util/NumUtil(L): allocation failure in dvector() \n"
              "ERROR util/NumUtil(L): allocation failure in ivector() \n"
              "ERROR util/NumUtil(L): allocation failure 1 in dmatrix() \n"
              "ERROR util/NumUtil(L): allocation failure 2 in dmatrix() \n");
}

TEST(NumUtil, SeedFileCarriesTheStreamOver) {
    // A seed reproduces its stream, and equal limits reseed from the file.
    std::vector<double> first = drawsAfterSeed(777, 5);
    EXPECT_EQ(drawsAfterSeed(777, 5), first);
    writeSeedFile("777\n");
    random(0.0, 1.0);
    EXPECT_EQ(random(2.0, 2.0), 0.0);
    EXPECT_EQ(draws(5), first);
    random(0.0, 1.0);
    EXPECT_EQ(random(3.0, 2.0), 0.0);
    EXPECT_EQ(draws(5), first);

    // random_finish leaves the next seed, and random_init(0) continues there.
    random_finish();
    std::string text;
    std::getline(std::ifstream(seedFile()), text);
    ASSERT_TRUE(std::regex_match(text, std::regex("\\d+ ")));
    const std::vector<double> continued = drawsAfterSeed(0, 5);
    EXPECT_EQ(drawsAfterSeed(std::atoi(text.c_str()), 5), continued);

    // A seed of 0, text that is no number, a missing file or a missing HOME
    // all leave the clock.
    for (const char* content : std::initializer_list<const char*>{"0\n", "seed\n", nullptr}) {
        content ? writeSeedFile(content) : void(std::remove(seedFile().c_str()));
        const int before = static_cast<int>(std::time(nullptr));
        expectClocked(before, drawsAfterSeed(0, 3));
    }
    const std::string home = std::getenv("HOME");
    unsetenv("HOME");
    random_finish();
    const int before = static_cast<int>(std::time(nullptr));
    const std::vector<double> clocked = drawsAfterSeed(0, 3);
    setenv("HOME", home.c_str(), 1);
    expectClocked(before, clocked);
    EXPECT_FALSE(std::ifstream(seedFile()).good());
}

// A FIFO or a directory where the seed file belongs is passed over like a
// missing file: nothing blocks (the child is killed if it waits), the clock
// seeds, and the object is left as it was.
TEST(NumUtilDeathTest, SeedFileThatIsNoRegularFileNeverBlocks) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    std::remove(seedFile().c_str());
    for (const bool fifo : {true, false}) {
        SCOPED_TRACE(fifo ? "fifo" : "directory");
        ASSERT_EQ(fifo ? mkfifo(seedFile().c_str(), 0600) : mkdir(seedFile().c_str(), 0700), 0);
        EXPECT_EXIT(
            {
                alarm(5);
                const int before = static_cast<int>(std::time(nullptr));
                const std::vector<double> clocked = drawsAfterSeed(0, 3);
                random_finish();
                const bool ok = clocked == drawsAfterSeed(before, 3) || clocked == drawsAfterSeed(before + 1, 3);
                std::exit(ok ? 0 : 1);
            },
            ::testing::ExitedWithCode(0), "");
        struct stat info;
        ASSERT_EQ(stat(seedFile().c_str(), &info), 0);
        EXPECT_TRUE(fifo ? S_ISFIFO(info.st_mode) : S_ISDIR(info.st_mode));
        fifo ? std::remove(seedFile().c_str()) : rmdir(seedFile().c_str());
    }
}

TEST(NumUtil, DeviatesHaveTheirDistributions) {
    random_init(4242);
    const int n = 200000;
    // Uniform within its limits; normal with the mass within one sd (0.6827).
    Sample u = sample([] { return random(2.0, 5.0); }, [](double x) { return x < 2.0 || x >= 5.0; }, n);
    EXPECT_NEAR(u.mean, 3.5, 0.01);
    EXPECT_EQ(u.hits, 0);
    Sample g = sample([] { return random_normal(10.0, 2.0); }, [](double x) { return std::fabs(x - 10.0) < 2.0; }, n);
    EXPECT_NEAR(g.mean, 10.0, 0.02);
    EXPECT_NEAR(std::sqrt(g.var), 2.0, 0.02);
    EXPECT_NEAR(static_cast<double>(g.hits) / n, 0.6827, 0.005);
    // Poisson on both sides of the method switch at 12: whole numbers, mean,
    // variance and the frequency of 0 against exp(-mean).
    for (double mean : {3.5, 40.0}) {
        Sample p = sample([mean] { return random_poisson(mean); }, [](double k) { return k == 0.0; }, n);
        EXPECT_EQ(p.fractional, 0);
        EXPECT_NEAR(p.mean, mean, 0.02 * std::sqrt(mean));
        EXPECT_NEAR(p.var, mean, 0.03 * mean);
        EXPECT_NEAR(static_cast<double>(p.hits) / n, std::exp(-mean), 0.003);
    }
}

TEST(NumUtil, FactorialAndGammaFunction) {
    mexhost::clearOutput();
    double f = 1;
    for (int n = 0; n <= 32; ++n) {
        if (n > 0) f *= n;
        EXPECT_EQ(factrl(n), f) << n;
    }
    EXPECT_NEAR(factrl(40) / std::exp(std::lgamma(41.0)), 1.0, 1e-9);
    for (double x : {0.1, 0.5, 2.5, 171.3})
        EXPECT_NEAR(gammln(x), std::lgamma(x), 1e-9 * std::max(1.0, std::fabs(std::lgamma(x)))) << x;
    EXPECT_NEAR(gamm(0.5), std::sqrt(M_PI), 1e-9);
    EXPECT_EQ(printed(), "");
    factrl(-1);
    EXPECT_EQ(printed(), "ERROR util/NumUtil(L): factrl(): n = -1 negative\n \n");
}

TEST(NumUtil, IncompleteGammaAgainstClosedForms) {
    mexhost::clearOutput();
    // P(1/2, z) = erf(sqrt z), P(3/2, z) = erf(sqrt z) - 2 sqrt(z/pi) e^-z;
    // z on both sides of a + 1 exercises series and continued fraction.
    for (double z : {0.01, 0.3, 1.0, 1.6, 4.0, 12.0, 30.0}) {
        double r = std::sqrt(z);
        double p05 = std::erf(r), p15 = std::erf(r) - 2.0 * std::sqrt(z / M_PI) * std::exp(-z);
        EXPECT_NEAR(gammp(0.5, z), p05, 2e-6) << z;
        EXPECT_NEAR(gammq(0.5, z), 1.0 - p05, 2e-6) << z;
        EXPECT_NEAR(gammp(1.5, z), p15, 2e-6) << z;
        EXPECT_NEAR(gammq(1.5, z), 1.0 - p15, 2e-6) << z;
        EXPECT_NEAR(gamm(0.5, z), std::sqrt(M_PI) * std::erfc(r), 2e-6) << z;
    }
    // Whole a takes the closed form: exact, and without argument test.
    EXPECT_NEAR(gammp(3.0, 2.0), 1.0 - 5.0 * std::exp(-2.0), 1e-15);
    EXPECT_NEAR(gammp(2.0, -1.0), 1.0, 1e-15);  // 1 - e (1 - 1)
    EXPECT_NEAR(gammp(60.0, 50.0), 1.0 - gammq(60.0, 50.0), 2e-6);
    EXPECT_EQ(printed(), "");

    gammp(2.5, -1.0);
    EXPECT_EQ(printed(),
              "ERROR util/NumUtil(L): gammp(): invalid arguments a=2.5, z=-1 \n"
              "ERROR util/NumUtil(L): gser(): z = -1 less than 0\n \n");
    gammq(-1.0, 0.5);  // goes on into the continued fraction
    EXPECT_EQ(printed().find("ERROR util/NumUtil(L): gammq(): invalid arguments a=-1, z=0.5 \n"), 0u);
    gammp(10000.5, 10000.0);
    EXPECT_EQ(printed(), "ERROR util/NumUtil(L): gser(): a = 10000.5 too large (ITMAX too small)\n \n");
    gammq(10000.5, 10002.0);
    EXPECT_EQ(printed(), "ERROR util/NumUtil(L): gcf(): a = 10000.5 too large (ITMAX too small)\n \n");
}

// The 1F1 series is cut after min(2z, 20) terms: exactly 1 below z = 0.5;
// 1F1(a; a+1; z) = a int_0^1 t^(a-1) e^(z t) dt, which at z = 10 the 20 terms
// miss by about 0.1 %.
TEST(NumUtil, HypergeometricSeriesIsCut) {
    EXPECT_EQ(HyperGeometric1F1(2.0, 0.4), 1.0);
    EXPECT_EQ(HyperGeometric1F1(2.0, -7.0), 1.0);
    const double exact = double(quadrature::integrate(
        [](long double s) { return std::exp(10.0L * s * s); }, 0.0L, 1.0L, 1e-15L));  // t = s^2
    EXPECT_NEAR(HyperGeometric1F1(0.5, 10.0), exact, 2e-3 * exact);
    // a = 0 with non-whole b takes the series at argument 0.
    EXPECT_DOUBLE_EQ(GeneralGamma(0.0, 2.5, 3.0), std::pow(3.0, 2.5) / 2.5);
}

TEST(NumUtil, RombergIntegration) {
    mexhost::clearOutput();
    EXPECT_NEAR(qromb([](double x) { return std::sin(x); }, 0.0, M_PI), 2.0, 2e-6);
    EXPECT_EQ(qromb([](double) { return 1.0; }, 1.0, 1.0), 0.0);
    // Trapezoid stages on x^2 over [0, 1]: 1/3 + 1/(6 N^2) with N = 2^(n-1).
    auto square = [](double x) { return x * x; };
    for (int n = 1; n <= 5; ++n) {
        double N = std::pow(2.0, n - 1);
        EXPECT_NEAR(trapzd(square, 0.0, 1.0, n), 1.0 / 3.0 + 1.0 / (6.0 * N * N), 1e-14);
    }
    EXPECT_EQ(printed(), "");
    double last = qromb(noise, 0.0, 1.0);
    EXPECT_EQ(printed(), "ERROR util/NumUtil(L): qromb(): too many steps \n");
    EXPECT_NEAR(last, 0.5, 0.05);
}

TEST(NumUtil, NevilleInterpolation) {
    mexhost::clearOutput();
    // A cubic through four points is reproduced exactly.
    double xa[] = {0, -1.0, 0.5, 2.0, 3.0};
    double ya[5];
    for (int i = 1; i <= 4; ++i) ya[i] = 2.0 * std::pow(xa[i], 3) - xa[i] + 1.0;
    double y, dy;
    polint(xa, ya, 4, 1.5, &y, &dy);
    EXPECT_NEAR(y, 2.0 * 3.375 - 1.5 + 1.0, 1e-12);
    EXPECT_EQ(printed(), "");
    xa[3] = xa[2];
    polint(xa, ya, 4, 1.5, &y, &dy);
    EXPECT_EQ(printed(), "ERROR util/NumUtil(L): Error in routine POLINT \n");
}
