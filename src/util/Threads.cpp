// Work shared among threads of the standard library.
#include "util/Threads.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <vector>

unsigned threadCount() {
    if (const char* text = std::getenv("KINETRA_THREADS")) {
        char* end = nullptr;
        const long n = std::strtol(text, &end, 10);
        if (end != text && *end == '\0' && n >= 1 && n <= 1024) return unsigned(n);
    }
    return std::max(1u, std::thread::hardware_concurrency());
}

void parallelFor(unsigned n, unsigned threads, unsigned grain,
                 const std::function<void(unsigned, unsigned, unsigned)>& work) {
    grain = std::max(1u, grain);
    const unsigned parts = std::max(1u, std::min(threads, (n + grain - 1) / grain));
    if (parts <= 1) {
        if (n > 0) work(0, 0, n);
        return;
    }
    // Chunk p covers [p n / parts, (p + 1) n / parts); chunk 0 runs here.
    auto bound = [&](unsigned p) { return unsigned(uint64_t(n) * p / parts); };
    std::vector<std::thread> pool;
    std::vector<unsigned> unstarted;
    pool.reserve(parts);
    unstarted.reserve(parts);
    for (unsigned p = 1; p < parts; ++p) {
        try {
            pool.emplace_back(work, p, bound(p), bound(p + 1));
        } catch (const std::system_error&) {
            unstarted.push_back(p);
        }
    }
    work(0, bound(0), bound(1));
    for (unsigned p : unstarted) work(p, bound(p), bound(p + 1));
    for (std::thread& t : pool) t.join();
}
