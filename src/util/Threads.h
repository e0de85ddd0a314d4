// Work shared among threads of the standard library.
//
// The number of threads comes from the environment variable KINETRA_THREADS
// (a whole number from 1 up; 1 keeps all work on the calling thread),
// otherwise from the number of cores. Work handed out here must not print,
// throw or touch the host's arrays: only the calling thread may do that.
#ifndef KINETRA_UTIL_THREADS_H
#define KINETRA_UTIL_THREADS_H

#include <functional>

// Threads to use: KINETRA_THREADS if it holds a count from 1 to 1024, else
// the number of cores (at least 1).
unsigned threadCount();

// Calls work(chunk, begin, end) on consecutive chunks of [0, n) that
// together cover it once, chunk numbers from 0 to below `threads`, each on a
// thread of its own (chunk 0 on the calling thread), and returns when all are
// done. Chunks hold at least `grain` items. A chunk whose thread cannot be
// started runs on the calling thread.
void parallelFor(unsigned n, unsigned threads, unsigned grain,
                 const std::function<void(unsigned, unsigned, unsigned)>& work);

#endif
