// Random Analyze files (header bytes, dimensions, type codes, byte order,
// truncated headers and data, side files with wrong counts and junk) are
// read whole and right or refused; under the sanitizers no read passes a buffer.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "Dataset.files.h"
#include "files_support.h"

using namespace filetest;

namespace {

// Type codes and what a reader makes of them: element size and type name,
// or none. A code is named by its highest set bit (3 is UNSIGNED_CHAR).
struct Code {
    int16_t code;
    size_t size;
    const char* type;
};
const Code kCodes[] = {{2, 1, "uchar"},  {3, 1, "uchar"},  {4, 2, "short"}, {8, 4, "int"},     {16, 4, "float"},
                       {64, 8, "double"}, {127, 8, "double"}, {0, 0, nullptr}, {1, 0, nullptr},  {32, 0, nullptr},
                       {128, 0, nullptr}, {255, 0, nullptr}, {256, 0, nullptr}, {-1, 0, nullptr}, {1000, 0, nullptr}};

// Element value v of the named type, in the chosen byte order.
Bytes element(const char* type, int v, bool big) {
    const std::string t = type;
    if (t == "uchar") return Bytes(1, (unsigned char)v);
    if (t == "short") return encode(short(v), big);
    if (t == "int") return encode(int(v), big);
    if (t == "float") return encode(float(v), big);
    return encode(double(v), big);
}

TEST(AnalyzeFuzz, RandomFilesAreReadWholeOrRefused) {
    std::mt19937 rng(20261123);
    auto pick = [&](int n) { return int(rng() % unsigned(n)); };
    TempDir dir;
    const std::string base = dir / "f";
    int read = 0;
    for (int n = 0; n < 500; ++n) {
        SCOPED_TRACE(n);
        const bool big = pick(2) == 1;
        const int dimsChoice[] = {-1, 0, 1, 2, 3, 3, 3, 4, 4, 4, 5, 6, 7, 16};
        const int dims = dimsChoice[pick(14)];
        auto size = [&]() {
            const int r = pick(40);
            return r == 0 ? 0 : r == 1 ? -pick(5) - 1 : r == 2 ? 20000 + pick(12000) : 1 + pick(5);
        };
        const int X = size(), Y = size(), Z = size(), T = size();
        const Code& code = kCodes[pick(15)];

        // Random bytes everywhere, then the fields that matter.
        RawHeader h;
        for (unsigned char& b : h.b) b = (unsigned char)rng();
        RawHeader fields = makeHeader(big, dims, X, Y, Z, T, code.code, 8);
        for (size_t at : {40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 70, 71}) h.b[at] = fields.b[at];
        h.big = big;
        const float scale = float(pick(1000)) / 64.0f;
        h.put<float>(112, scale);
        const int headerChoice = pick(10);
        Bytes hdr = h.b;
        if (headerChoice == 0) hdr.resize(size_t(pick(348)));
        if (headerChoice == 1) hdr.resize(348 + size_t(pick(50)), 0);
        writeFile(base + ".hdr", hdr);

        // Data file: all voxels, fewer, more, none or missing.
        const bool series = dims >= 4 && dims <= 6;
        const long long count = (long long)X * Y * Z * (series ? T : 1);
        const bool small = X > 0 && Y > 0 && Z > 0 && (!series || T > 0) && count <= 4096;
        const size_t esize = code.size ? code.size : 2;
        long long length = small ? count * (long long)esize : pick(64);
        const int lengthChoice = pick(8);
        if (lengthChoice == 0) length = std::max(0LL, length - 1 - pick(8));
        if (lengthChoice == 1) length += pick(8);
        std::remove((base + ".img").c_str());
        if (lengthChoice != 2) {
            Bytes img;
            for (long long i = 0; img.size() < size_t(length); ++i) {
                const Bytes e = code.type ? element(code.type, int(i % 97), big) : Bytes(esize, 1);
                img.insert(img.end(), e.begin(), e.end());
            }
            img.resize(size_t(length));
            writeFile(base + ".img", img);
        }

        // Side file: missing, or frames with junk, comments and blank lines.
        std::remove((base + ".time").c_str());
        const int timeChoice = pick(6);
        int frames = series ? std::max(T, 0) : 0;
        if (timeChoice > 0) {
            const int framesWritten = std::max(0, std::min(frames, 50) + (timeChoice == 1 ? -1 : timeChoice == 2 ? 1 : 0));
            std::string text = "# times\n" + std::to_string(framesWritten) + " # count\n";
            for (int f = 0; f < framesWritten; ++f) {
                if (pick(4) == 0) text += pick(2) ? "junk line\n" : "\n";
                text += std::to_string(f * 1.5) + " 1.5\n";
            }
            writeFile(base + ".time", text);
            frames = framesWritten;
        }

        const bool expected = hdr.size() >= 348 && dims >= 3 && dims <= 6 && code.type && X > 0 && Y > 0 &&
                              Z > 0 && (!series || T > 0) && small && lengthChoice != 2 &&
                              length >= count * (long long)code.size && (!series || frames == T);
        mexhost::clearOutput();
        std::unique_ptr<Dataset> d(readAnalyze(base));
        std::unique_ptr<Dataset> scaled(readScaledAnalyze(base));
        ASSERT_EQ(d != nullptr, expected);
        ASSERT_EQ(scaled != nullptr, expected);
        if (!expected) continue;
        ++read;
        EXPECT_EQ(d->getType(), code.type);
        EXPECT_EQ(d->getNumDimensions(), series ? 4u : 3u);
        const unsigned frameCount = series ? unsigned(T) : 1;
        for (unsigned t = 0; t < frameCount; ++t)
            for (int z = 0; z < Z; ++z)
                for (int y = 0; y < Y; ++y)
                    for (int x = 0; x < X; ++x) {
                        const long long i = x + (long long)X * (y + (long long)Y * (z + (long long)Z * t));
                        const double v = double(i % 97);
                        const double got = series ? d->getValue4D(t, x, y, z) : d->getValue3D(x, y, z);
                        const double gotScaled =
                            series ? scaled->getValue4D(t, x, y, z) : scaled->getValue3D(x, y, z);
                        ASSERT_EQ(got, v) << x << "," << y << "," << z << "," << t;
                        ASSERT_EQ(gotScaled, std::string(code.type) == "double" ? v : v * double(scale));
                    }
        if (series && timeChoice > 0) {
            EXPECT_EQ(d->getTime(frameCount - 1), (frameCount - 1) * 1.5);
        }
    }
    // The generator must reach the reading path often enough to mean something.
    EXPECT_GT(read, 40);
    mexhost::clearOutput();
}

}  // namespace
