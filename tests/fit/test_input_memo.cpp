// The measured input keeps partial sums and transcendental terms between the
// calls of a fit's frame walk. Whatever the order of the calls, every answer
// must be exactly (to the bit) what a fresh object computes for that call
// alone, since the fit's results must not depend on how it was reached.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>

#include "FitFixture.h"

namespace {

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// A fresh input for every single call: nothing kept from earlier calls.
double fresh(const std::vector<double>& times, bool timed, double k, double t) {
    std::unique_ptr<LinearInterpolation> input = fit::makeInput(times);
    return timed ? input->convTimeExp(k, t, 0, 0, 0) : input->convExp(k, t, 0, 0, 0);
}

TEST(InputMemo, WalksInAnyOrderAnswerLikeFreshCalls) {
    fit::Verbosity quiet(0);
    const std::vector<double> times = fit::frameTimes();  // the first sample is (0, 0): T[0] becomes 1e-10
    std::unique_ptr<LinearInterpolation> input = fit::makeInput(times);

    std::vector<double> queries = times;
    queries.push_back(2500.0);  // beyond the last sample
    queries.push_back(45.0);    // inside a segment
    std::vector<std::vector<double>> walks = {queries, queries};
    std::reverse(walks[1].begin(), walks[1].end());
    walks.push_back(queries);
    std::shuffle(walks[2].begin(), walks[2].end(), std::mt19937(4));

    for (double k : {0.0, 0.0015, 0.0015, 0.02, -0.001}) {
        for (const std::vector<double>& walk : walks) {
            for (double t : walk) {
                // Both convolutions at each time, as a model asks for them.
                const double c = input->convExp(k, t, 0, 0, 0);
                const double ct = input->convTimeExp(k, t, 0, 0, 0);
                EXPECT_TRUE(sameBits(c, fresh(times, false, k, t))) << "convExp k=" << k << " t=" << t;
                EXPECT_TRUE(sameBits(ct, fresh(times, true, k, t))) << "convTimeExp k=" << k << " t=" << t;
                EXPECT_TRUE(sameBits((*input)(t, 0, 0, 0), (*fit::makeInput(times))(t, 0, 0, 0))) << t;
            }
        }
    }
}

}  // namespace
