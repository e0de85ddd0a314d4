// Time-activity curve text files, and PGM pictures of slices.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>

#include "Dataset.files.h"
#include "files_support.h"
#include "util/StringUtil.h"

using namespace filetest;

namespace {

// A TAC file: per frame the model time by "%g", each curve as a stream writes
// a double after " ", then " \n".
std::string referenceTAC(const std::vector<double>& times, const std::vector<std::vector<double>>& curves) {
    std::ostringstream out;
    for (size_t t = 0; t < times.size(); ++t) {
        char time[64];
        std::snprintf(time, sizeof time, "%g", times[t]);
        out << time;
        for (const auto& curve : curves) out << " " << curve[t];
        out << " \n";
    }
    return out.str();
}

TEST(TAC, WrittenModelTimesAndCurvesReadBackToSixDigits) {
    TempDir dir;
    const std::vector<double> starts = {0, 10.123456789, 40}, lengths = {10.123456789, 29.876543211, 60};
    const std::vector<std::vector<double>> curves = {{1.23456789, -0.000123456789, 1e10}, {7, 8.5, 123456789}};
    Dataset4D<double> d(3, 1, 1, 2);
    d.setTime(starts);
    d.setFrameLength(lengths);
    for (unsigned t = 0; t < 3; ++t)
        for (unsigned z = 0; z < 2; ++z) d(t, 0, 0, z) = curves[z][t];
    d.setMidframeApprox(true);
    writeTAC(&d, dir / "c.tac");
    const std::vector<double> model = {5.0617283945, 25.0617283945, 70};
    EXPECT_EQ(readText(dir / "c.tac"), referenceTAC(model, curves));

    Verbosity quiet(0);
    std::unique_ptr<Dataset4D<double>> r(readTAC(dir / "c.tac"));
    ASSERT_TRUE(r);
    EXPECT_EQ(r->getDimensions(), std::vector<unsigned>({1, 1, 2, 3}));
    // The mid-frame times come back as frame starts.
    EXPECT_EQ(r->getTime(), std::vector<double>({5.06173, 25.0617, 70}));
    EXPECT_FALSE(r->getMidframeApprox());
    for (unsigned t = 0; t < 3; ++t)
        for (unsigned z = 0; z < 2; ++z)
            EXPECT_EQ((*r)(t, 0, 0, z), std::stod(stringPrintf(64, "%g", curves[z][t])));

    mexhost::clearOutput();
    writeTAC(&d, dir / "no/such/dir/c.tac");
    EXPECT_EQ(takeText(), "ERROR Dataset: cannot open file '" + (dir / "no/such/dir/c.tac") + "' for writing \n");
}

TEST(TAC, CommentsBlankLinesAndShortRows) {
    TempDir dir;
    writeFile(dir / "c.tac", std::string("# time a b c\n"
                                         "0 1 2 3\n"
                                         "\n"
                                         "   // only a comment\n"
                                         "10 4 5   // in-line comment\n"
                                         "25\t6  7 8\n"));
    mexhost::clearOutput();
    std::unique_ptr<Dataset4D<double>> r(readTAC(dir / "c.tac"));
    ASSERT_TRUE(r);
    EXPECT_EQ(takeText(), "WARNING: " + (dir / "c.tac") + ":5: only 3 instead of 4 entries at (filling with 0)\n"
                          "WARNING: read TAC assumes identical frame length for last 2 frames!\n");
    EXPECT_EQ(r->getTime(), std::vector<double>({0, 10, 25}));
    EXPECT_EQ(r->getFrameLength(), std::vector<double>({10, 15, 15}));
    const double values[3][3] = {{1, 2, 3}, {4, 5, 0}, {6, 7, 8}};
    for (unsigned t = 0; t < 3; ++t)
        for (unsigned c = 0; c < 3; ++c) EXPECT_EQ((*r)(t, 0, 0, c), values[t][c]) << t << "," << c;
    EXPECT_EQ(r->getName() + r->getUnit().getName(), "");
}

TEST(TAC, FilesWithoutTwoRowsOrTwoColumnsAreRefused) {
    TempDir dir;
    const std::string two = "ERROR Dataset: must have at least 2 data columns \n";
    const std::pair<std::string, std::string> cases[] = {
        {"0 1 2\n", "ERROR Dataset: TAC file '@' has 1 row, at least 2 are needed \n"},
        {"0\n1\n2\n", two},
        {"# nothing\n", two},
    };
    for (const auto& c : cases) {
        writeFile(dir / "c.tac", c.first);
        mexhost::clearOutput();
        EXPECT_EQ(readTAC(dir / "c.tac"), nullptr) << c.first;
        EXPECT_EQ(takeText(), stringReplace(c.second, "@", dir / "c.tac"));
    }
    EXPECT_EQ(readTAC(dir / "missing.tac"), nullptr);
    EXPECT_EQ(takeText(), two);
}

// PGM: head, then one byte per pixel, trunc(value * 255) for real data and
// trunc(value / largest * 255) for integers, wrapping at 256.
TEST(PGM, PixelBytesAndSliceNames) {
    TempDir dir;
    Dataset2D<double> d(3, 1);
    d(0, 0) = 1.0, d(1, 0) = 1.5, d(2, 0) = 0.5;
    d.writeImage(dir / "d");
    EXPECT_EQ(readFile(dir / "d.pgm"), Bytes({'P', '5', '\n', '3', ' ', '1', ' ', '\n', '2', '5', '5', ' ', '\n',
                                              255, 126, 127}));
    Dataset2D<short> s(1, 1, 32767);
    s.writeImage(dir / "s");
    EXPECT_EQ(readFile(dir / "s.pgm").back(), 255);

    Dataset4D<unsigned char> series(2, 1, 1, 2);
    series.writeImages(dir / "a.pgm");
    for (const char* name : {"a_000,000.pgm", "a_000,001.pgm", "a_001,000.pgm", "a_001,001.pgm"})
        EXPECT_TRUE(exists(dir / name)) << name;
    Dataset3D<float> volume(1, 1, 2);
    volume.writeImages(dir / "v");
    EXPECT_TRUE(exists(dir / "v_001.pgm"));
}

}  // namespace
