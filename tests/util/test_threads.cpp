// Work shared among threads: every item once, whatever the thread count, and
// the count taken from KINETRA_THREADS only when it is a sensible number.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "util/Threads.h"

TEST(Threads, EveryItemOnceInItsPart) {
    for (unsigned n : {0u, 1u, 7u, 1000u})
        for (unsigned threads : {1u, 2u, 5u})
            for (unsigned grain : {1u, 64u}) {
                std::vector<std::atomic<int>> seen(n);
                std::atomic<unsigned> calls{0};
                parallelFor(n, threads, grain, [&](unsigned part, unsigned begin, unsigned end) {
                    EXPECT_LT(part, threads);
                    EXPECT_LE(begin, end);
                    ++calls;
                    for (unsigned i = begin; i < end; ++i) ++seen[i];
                });
                for (unsigned i = 0; i < n; ++i) EXPECT_EQ(seen[i].load(), 1) << n << " " << threads << " " << i;
                EXPECT_LE(calls.load(), threads);
            }
}

TEST(Threads, CountFromTheEnvironment) {
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    const std::pair<const char*, unsigned> cases[] = {{"3", 3}, {"1", 1}, {"0", cores}, {"-2", cores},
                                                      {"2x", cores}, {"", cores}, {"100000", cores}};
    for (const auto& c : cases) {
        setenv("KINETRA_THREADS", c.first, 1);
        EXPECT_EQ(threadCount(), c.second) << "'" << c.first << "'";
    }
    unsetenv("KINETRA_THREADS");
    EXPECT_EQ(threadCount(), cores);
}
