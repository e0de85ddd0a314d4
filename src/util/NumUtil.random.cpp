// Random deviates: Knuth's subtractive generator, normal and Poisson
// deviates built on it, and the seed that persists between sessions in
// $HOME/.seed.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "util/NumUtil.h"

namespace {

// ran3: Knuth's subtractive method. The table ma[1..55] holds the state;
// each deviate is the difference of the entries at the two cursors, which
// run 31 apart, reduced modulo MBIG.
const long MBIG = 1000000000;
const long MSEED = 161803398;
const long MZ = 0;
const double FAC = 1.0e-9;  // 1 / MBIG

const double PI = 3.14159265358979323846;

long ranTable[56];
int ranNext = 0;
int ranNextP = 0;
bool ranStarted = false;

// gasdev: the second deviate of the last accepted pair.
bool gaussStored = false;
double gaussValue = 0.0;

// The name of the seed file, empty if HOME is not set.
std::string seedFileName() {
    const char* home = std::getenv("HOME");
    if (home == nullptr) return std::string();
    return std::string(home) + "/.seed";
}

int clockSeed() { return static_cast<int>(std::time(nullptr) & 0x7fffffff); }

// Opens the seed file without waiting and keeps it only if it is a regular
// file: a FIFO or a device in its place would block the open or the read
// forever (or never end), so it counts as a missing file. -1 if refused.
int openSeedFile(const std::string& name, int flags) {
    const int fd = ::open(name.c_str(), flags | O_NONBLOCK | O_CLOEXEC, 0644);
    if (fd < 0) return -1;
    struct stat info;
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// The integer at the start of the seed file; false if there is none. A seed
// is a few characters: more than 63 are not read.
bool readSeed(const std::string& name, int* seed) {
    const int fd = openSeedFile(name, O_RDONLY);
    if (fd < 0) return false;
    char text[64];
    const ssize_t n = ::read(fd, text, sizeof text - 1);
    ::close(fd);
    if (n <= 0) return false;
    text[n] = '\0';
    return std::sscanf(text, "%d", seed) == 1;
}

}  // namespace

double ran3(int* idum) {
    // Without a seed the generator cannot start from the caller's value; the
    // clock stands in so that a null pointer never gets read.
    int clockValue = 0;
    if (!ranStarted && idum == nullptr) {
        clockValue = -clockSeed();
        idum = &clockValue;
    }
    if (!ranStarted || (idum != nullptr && *idum < 0)) {
        ranStarted = true;
        long mj = std::labs(MSEED - std::labs(static_cast<long>(*idum)));
        mj %= MBIG;
        ranTable[55] = mj;
        long mk = 1;
        // Fill the table in the scrambled order 21 i mod 55 with numbers
        // that are not very random, then warm it up by 4 passes.
        for (int i = 1; i <= 54; ++i) {
            int ii = (21 * i) % 55;
            ranTable[ii] = mk;
            mk = mj - mk;
            if (mk < MZ) mk += MBIG;
            mj = ranTable[ii];
        }
        for (int k = 1; k <= 4; ++k)
            for (int i = 1; i <= 55; ++i) {
                ranTable[i] -= ranTable[1 + (i + 30) % 55];
                if (ranTable[i] < MZ) ranTable[i] += MBIG;
            }
        ranNext = 0;
        ranNextP = 31;
        *idum = 1;
    }
    if (++ranNext == 56) ranNext = 1;
    if (++ranNextP == 56) ranNextP = 1;
    long mj = ranTable[ranNext] - ranTable[ranNextP];
    if (mj < MZ) mj += MBIG;
    ranTable[ranNext] = mj;
    return mj * FAC;
}

double gasdev(int* idum) {
    if (idum != nullptr && *idum < 0) gaussStored = false;
    if (gaussStored) {
        gaussStored = false;
        return gaussValue;
    }
    // A point uniform in the unit disc (not at its centre) gives two
    // independent normal deviates v1 f and v2 f, f = sqrt(-2 ln r^2 / r^2).
    double v1, v2, rsq;
    do {
        v1 = 2.0 * ran3(idum) - 1.0;
        v2 = 2.0 * ran3(idum) - 1.0;
        rsq = v1 * v1 + v2 * v2;
    } while (rsq >= 1.0 || rsq == 0.0);
    double fac = std::sqrt(-2.0 * std::log(rsq) / rsq);
    gaussValue = v1 * fac;
    gaussStored = true;
    return v2 * fac;
}

double poidev(double mean, int* idum) {
    // oldm starts as NaN, which equals no mean, so the first call always sets up.
    static double sq = 0.0, alxm = 0.0, g = 0.0, oldm = std::nan("");
    double em, t;
    if (mean < 12.0) {
        // Direct method: count uniform deviates whose running product stays
        // above exp(-mean).
        if (mean != oldm) {
            oldm = mean;
            g = std::exp(-mean);
        }
        em = -1.0;
        t = 1.0;
        do {
            ++em;
            t *= ran3(idum);
        } while (t > g);
    } else {
        // Rejection from a Lorentzian comparison function; 0.9 keeps the
        // ratio below 1 for every mean from 12 up.
        if (mean != oldm) {
            oldm = mean;
            sq = std::sqrt(2.0 * mean);
            alxm = std::log(mean);
            g = mean * alxm - gammln(mean + 1.0);
        }
        double y;
        do {
            do {
                y = std::tan(PI * ran3(idum));
                em = sq * y + mean;
            } while (em < 0.0);
            em = std::floor(em);
            t = 0.9 * (1.0 + y * y) * std::exp(em * alxm - gammln(em + 1.0) - g);
        } while (ran3(idum) > t);
    }
    return em;
}

void random_init(int seed) {
    if (seed <= 0) {
        std::string name = seedFileName();
        int value = 0;
        if (!name.empty() && readSeed(name, &value)) seed = value;
    }
    if (seed <= 0) seed = clockSeed();
    if (seed <= 0) seed = 1;  // the clock at a multiple of 2^31 seconds
    int idum = -seed;
    ran3(&idum);
    // A stored normal deviate belongs to the old stream; dropping it makes a
    // given seed reproduce the same normal deviates.
    gaussStored = false;
}

void random_finish() {
    std::string name = seedFileName();
    if (name.empty()) return;
    // Truncated only once known to be a regular file.
    const int fd = openSeedFile(name, O_WRONLY | O_CREAT);
    if (fd < 0) return;
    char text[32];
    const int n = std::snprintf(text, sizeof text, "%d \n", static_cast<int>(ran3(nullptr) * 2147483647.0));
    if (::ftruncate(fd, 0) == 0 && ::write(fd, text, static_cast<size_t>(n)) != n) {
        // A short write leaves a seed file that the next run reads as best it can.
    }
    ::close(fd);
}

double random(double a, double b) {
    if (a < b) return ran3(nullptr) * (b - a) + a;
    random_init(0);
    return 0.0;
}

double random_normal(double mean, double sd) { return gasdev(nullptr) * sd + mean; }

double random_poisson(double mean) { return poidev(mean, nullptr); }
