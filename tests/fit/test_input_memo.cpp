// The measured input keeps partial sums and exponentials between the calls
// of a fit's frame walk. In any call order every answer must be bit-equal to
// what a fresh object computes for that call alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "FitFixture.h"

namespace {

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(InputMemo, WalksInAnyOrderAnswerLikeFreshCalls) {
    fit::Verbosity quiet(0);
    const std::vector<double> times = fit::frameTimes();  // first sample (0, 0)
    std::unique_ptr<LinearInterpolation> input = fit::makeInput(times);
    std::vector<double> queries = times;
    queries.push_back(2500.0);  // beyond the last sample
    queries.push_back(45.0);    // inside a segment
    std::vector<std::vector<double>> walks = {queries, queries, queries};
    std::reverse(walks[1].begin(), walks[1].end());
    std::shuffle(walks[2].begin(), walks[2].end(), std::mt19937(4));
    for (double k : {0.0, 0.0015, 0.0015, 0.02, -0.001})
        for (const std::vector<double>& walk : walks)
            for (double t : walk) {
                const double c = input->convExp(k, t, 0, 0, 0), ct = input->convTimeExp(k, t, 0, 0, 0);
                EXPECT_TRUE(sameBits(c, fit::makeInput(times)->convExp(k, t, 0, 0, 0))) << "convExp " << k << " " << t;
                EXPECT_TRUE(sameBits(ct, fit::makeInput(times)->convTimeExp(k, t, 0, 0, 0))) << "convTimeExp " << k << " " << t;
                EXPECT_TRUE(sameBits((*input)(t, 0, 0, 0), (*fit::makeInput(times))(t, 0, 0, 0))) << t;
            }
}

}  // namespace
