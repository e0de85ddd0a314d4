// Datasets through Analyze files: round trips of every element type the
// format holds (voxel bytes and header fields checked against values worked
// out here), scaled reading and writing, and the files readAnalyze refuses.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "Dataset.files.h"
#include "Dataset.visit.h"
#include "Interface.h"
#include "files_support.h"
#include "util/Analyze.h"
#include "util/StringUtil.h"

using namespace filetest;

namespace {

// A value of T for voxel i, with a fraction for the real types and
// negative values for the signed ones.
template <class T>
T sample(unsigned i) {
    if (std::is_floating_point<T>::value) return T(double(i) * 1.25 - 7.0);
    if (std::is_signed<T>::value) return T(int(i * 37) - 300);
    return T(i * 11 % 256);
}

// The .img bytes of a volume: x fastest, then y and z, in host order.
template <class T, class V>
void appendVolume(Bytes& img, const V& volume) {
    for (unsigned i = 0; i < volume.getVolumeSize(); ++i) {
        const Bytes e = encode(T(volume(i)), hostIsBig());
        img.insert(img.end(), e.begin(), e.end());
    }
}

template <class T>
void expectHeader(const RawHeader& h, int dims, std::vector<int> sizes) {
    EXPECT_EQ(h.dim(0), dims);
    for (unsigned i = 0; i < sizes.size(); ++i) EXPECT_EQ(h.dim(i + 1), sizes[i]) << i;
    EXPECT_EQ(h.get<int16_t>(70), AnalyzeType<T>::code);
    EXPECT_EQ(h.get<int16_t>(72), int(sizeof(T) * 8));
    EXPECT_EQ(h.get<float>(112), 0.0f);  // scale 1 leaves the field 0
}

// A volume with its geometry, and a series with its frame times (the stored
// starts, not the model times, to six digits), written and read back.
template <class T>
void roundTrip() {
    SCOPED_TRACE(typeName<T>());
    TempDir dir;
    Dataset3D<T> d(4, 3, 2);
    for (unsigned i = 0; i < 24; ++i) d(i) = sample<T>(i);
    d.setPixelSize({1.5, 2.5, 3.5});
    d.setOrigin({-1, 2, 30});
    d.setSpaceUnit(Unit("cm"));
    writeAnalyze(dir / "v.hdr", &d, 1.0);
    const RawHeader h = readHeaderFile(dir / "v.hdr");
    expectHeader<T>(h, 3, {4, 3, 2, 1});
    EXPECT_EQ(h.pixdim(0) + h.pixdim(3) + h.get<float>(108) + h.get<float>(120), 3.0f + 3.5f - 1.0f + 30.0f);
    EXPECT_EQ(h.text(56, 4), "cm");
    Bytes img;
    appendVolume<T>(img, d);
    EXPECT_EQ(readFile(dir / "v.img"), img);
    EXPECT_FALSE(exists(dir / "v.time"));
    std::unique_ptr<Dataset> back(readAnalyze(dir / "v"));
    const Dataset3D<T>* r = back ? datasetAs<Dataset3D<T>>(*back) : nullptr;
    ASSERT_TRUE(r);
    EXPECT_EQ(r->getDimensions(), std::vector<unsigned>({4, 3, 2}));
    for (unsigned i = 0; i < 24; ++i) EXPECT_EQ((*r)(i), d(i)) << i;
    EXPECT_EQ(r->getPixelSize(), std::vector<double>({1.5, 2.5, 3.5}));
    EXPECT_EQ(r->getOrigin(), std::vector<double>({-1, 2, 30}));
    EXPECT_EQ(r->getSpaceUnit().getName() + r->getName(), "cm");

    Dataset4D<T> s(3, 2, 3, 2);
    for (unsigned t = 0; t < 3; ++t)
        for (unsigned i = 0; i < 12; ++i) s(t, i) = sample<T>(t * 100 + i);
    s.setTime(std::vector<double>({0, 10.1234567, 25}));
    s.setFrameLength(std::vector<double>({10.1234567, 14.87654321, 1e-7}));
    s.setMidframeApprox(true);
    writeAnalyze(dir / "s", &s, 1.0);
    expectHeader<T>(readHeaderFile(dir / "s.hdr"), 4, {2, 3, 2, 3});
    img.clear();
    for (unsigned t = 0; t < 3; ++t) appendVolume<T>(img, s(t));
    EXPECT_EQ(readFile(dir / "s.img"), img);
    EXPECT_EQ(readText(dir / "s.time"),
              "# Acquisition times (start duration) in seconds\n3 # number of acqusitions\n"
              "0\t10.1235 \n10.1235\t14.8765 \n25\t1e-07 \n");
    back.reset(readAnalyze(dir / "s.img"));
    const Dataset4D<T>* rs = back ? datasetAs<Dataset4D<T>>(*back) : nullptr;
    ASSERT_TRUE(rs);
    EXPECT_EQ(rs->getDimensions(), std::vector<unsigned>({2, 3, 2, 3}));
    for (unsigned t = 0; t < 3; ++t)
        for (unsigned i = 0; i < 12; ++i) EXPECT_EQ((*rs)(t, i), s(t, i));
    EXPECT_EQ(rs->getTime(), std::vector<double>({0, 10.1235, 25}));
    EXPECT_EQ(rs->getFrameLength(), std::vector<double>({10.1235, 14.8765, 1e-7}));
    EXPECT_FALSE(rs->getMidframeApprox());
}

TEST(DatasetFiles, RoundTripsOfEveryElementType) {
    Verbosity quiet(0);
    roundTrip<unsigned char>(), roundTrip<short>(), roundTrip<int>(), roundTrip<float>(), roundTrip<double>();
}

TEST(DatasetFiles, SlicesAreWrittenButNotRead) {
    TempDir dir;
    Dataset2D<float> d(3, 2);
    for (unsigned i = 0; i < 6; ++i) d.getData()[i] = float(i) + 0.5f;
    d.setPixelSize({2, 4});
    d.setOrigin({5, 6});
    writeAnalyze(dir / "p", &d, 1.0);
    const RawHeader h = readHeaderFile(dir / "p.hdr");
    expectHeader<float>(h, 2, {3, 2, 1, 1});
    EXPECT_EQ(h.pixdim(0) + h.pixdim(2) + h.pixdim(3) + h.get<float>(116), 2.0f + 4.0f + 0.0f + 6.0f);
    EXPECT_EQ(readFile(dir / "p.img").size(), 24u);
    mexhost::clearOutput();
    EXPECT_EQ(readAnalyze(dir / "p"), nullptr);
    EXPECT_EQ(takeText(), "ERROR Dataset: readAnalyze(): 2D data not (yet) supported \n");
}

TEST(DatasetFiles, ScaledReadsMultiplyByTheSinglePrecisionScale) {
    TempDir dir;
    const double scale = 0.1234567;
    Dataset3D<short> s(6, 1, 1);
    const short values[] = {-32767, -1, 0, 1, 1234, 32767};
    for (unsigned i = 0; i < 6; ++i) s(i) = values[i];
    writeAnalyze(dir / "s", &s, scale);
    EXPECT_EQ(readHeaderFile(dir / "s.hdr").get<float>(112), float(scale));
    {
        Verbosity chatty(2);
        mexhost::clearOutput();
        std::unique_ptr<Dataset> r(readScaledAnalyze(dir / "s"));
        ASSERT_TRUE(r);
        EXPECT_EQ(r->getType(), "double");
        for (unsigned i = 0; i < 6; ++i) EXPECT_EQ(r->getValue3D(i, 0, 0), double(values[i]) * double(float(scale)));
        EXPECT_EQ(takeText(), "readScaledAnalyze: scaling data from SIGNED_SHORT to double with " +
                                  stringPrintf(64, "%lg", double(float(scale))) + ".\n");
    }
    // Written unscaled, the field holds 0 and a scaled read gives zeros.
    writeAnalyze(dir / "u", &s, 1.0);
    std::unique_ptr<Dataset> zeros(readScaledAnalyze(dir / "u"));
    ASSERT_TRUE(zeros);
    EXPECT_EQ(zeros->getValue3D(5, 0, 0), 0.0);
    // Double data come back as they are, whatever the field.
    Dataset3D<double> d(2, 1, 1, 3.5);
    writeAnalyze(dir / "d", &d, 4.0);
    Verbosity chatty(2);
    mexhost::clearOutput();
    std::unique_ptr<Dataset> r(readScaledAnalyze(dir / "d"));
    ASSERT_TRUE(r);
    EXPECT_EQ(r->getValue3D(1, 0, 0), 3.5);
    EXPECT_EQ(takeText(), "readScaledAnalyze: data is double, nothing's done.\n");
    EXPECT_EQ(readScaledAnalyze(dir / "missing"), nullptr);
}

TEST(DatasetFiles, WriteTypeDataMapsTheLargestMagnitudeOntoTheType) {
    TempDir dir;
    Interface workspace("test");
    Dataset3D<double> d(5, 1, 1);
    const double values[] = {-2, -1, 0, 0.5, 1};
    for (unsigned i = 0; i < 5; ++i) d(i) = values[i];
    mexhost::clearOutput();
    workspace.writeTypeData(&d, dir / "short", "short");
    const RawHeader h = readHeaderFile(dir / "short.hdr");
    EXPECT_EQ(h.get<int16_t>(70), 4);
    EXPECT_EQ(h.get<float>(112), float(2 / 32767.0));
    const Bytes img = readFile(dir / "short.img");
    ASSERT_EQ(img.size(), 10u);
    // v / (2 / 32767), truncated toward zero.
    const short stored[] = {-32767, -16383, 0, 8191, 16383};
    for (unsigned i = 0; i < 5; ++i) {
        short v;
        std::memcpy(&v, img.data() + 2 * i, 2);
        EXPECT_EQ(v, stored[i]) << i;
    }
    EXPECT_EQ(takeText(), "");
    EXPECT_EQ(d(0), -2.0);  // the source is not touched

    workspace.writeTypeData(&d, dir / "same", "double");
    EXPECT_EQ(takeText(), "WARNING: writeTypeData: nothing changed (identical type: 'double')\n");
    EXPECT_EQ(readHeaderFile(dir / "same.hdr").get<float>(112), 0.0f);

    Dataset4D<float> f(2, 1, 1, 1);
    f(1, 0) = -4.0f;
    workspace.writeTypeData(&f, dir / "int", "int");
    EXPECT_EQ(readHeaderFile(dir / "int.hdr").get<float>(112), float(4 / 2147483647.0));
    EXPECT_TRUE(exists(dir / "int.time"));

    // All zeros: the assertion report, then scale 1 (field 0) and zeros.
    Dataset3D<double> zero(3, 1, 1);
    workspace.writeTypeData(&zero, dir / "zero", "short");
    EXPECT_EQ(takeText().find("ASSERT FAILED: Interface("), 0u);
    EXPECT_EQ(readHeaderFile(dir / "zero.hdr").get<float>(112), 0.0f);
    EXPECT_EQ(readFile(dir / "zero.img"), Bytes(6, 0));

    Dataset3D<unsigned char> u(2, 1, 1, 7);
    workspace.writeTypeData(&u, dir / "uchar", "short");
    EXPECT_EQ(takeText(), "WARNING: writeTypeData: unsupported data format  'uchar'\n");
    EXPECT_EQ(readFile(dir / "uchar.img"), Bytes(2, 7));
}

TEST(DatasetFiles, UnsignedShortIsRefused) {
    TempDir dir;
    Interface workspace("test");
    Dataset3D<unsigned short> u(2, 1, 1);
    mexhost::clearOutput();
    workspace.writeData(&u, dir / "u", 1.0);
    EXPECT_EQ(createAnalyze(static_cast<const Dataset*>(&u)), nullptr);
    Dataset3D<double> d(2, 1, 1, 1.0);
    workspace.writeTypeData(&d, dir / "v", "ushort");
    const std::string refused = "ERROR Interface: ANALYZE does not support 'ushort', convert to 'int' first \n";
    EXPECT_EQ(takeText(), refused + "ERROR Dataset: ANALYZE does not support 'ushort', convert to 'int' first \n" +
                              refused);
    EXPECT_FALSE(exists(dir / "u.hdr"));
    EXPECT_FALSE(exists(dir / "v.hdr"));
}

// Files that readAnalyze refuses, with what it prints.
TEST(DatasetFiles, RefusedFiles) {
    struct Case {
        const char* what;
        int dims, X, Y, Z, T;
        int16_t code;
        long imgBytes;       // -1: no .img
        const char* times;   // null: no .time
        std::string text;    // printed; "@" stands for the base name
    } cases[] = {
        {"1D", 1, 4, 1, 1, 1, 4, 8, nullptr, "ERROR Dataset: readAnalyze(): 1D data not supported \n"},
        {"7D", 7, 4, 1, 1, 1, 4, 8, nullptr,
         "WARNING: no acquisition times for file '@'\nERROR Dataset: readAnalyze(): 7D data not supported \n"},
        // Any count above 15 as unsigned is taken for the other byte order.
        {"negative count", -3, 4, 1, 1, 1, 4, 8, nullptr,
         "'@' needs swapping\nERROR Dataset: readAnalyze(): -513D data not supported \n"},
        {"complex", 3, 4, 1, 1, 1, 32, 64, nullptr, "ERROR Dataset: readAnalyze(): unsupported data type 'COMPLEX' \n"},
        {"code 3", 3, 4, 1, 1, 1, 3, 8, nullptr, ""},  // named UNSIGNED_CHAR by its highest bit: read
        {"no data file", 3, 4, 1, 1, 1, 4, -1, nullptr, "WARNING: cannot open data file '@.img' for reading\n"},
        {"short data file", 3, 4, 2, 1, 1, 4, 15, nullptr,
         "ERROR Dataset: data file '@.img' holds 15 bytes, the header needs 16 \n"},
        {"zero size", 3, 4, 0, 1, 1, 4, 8, nullptr,
         "ERROR Dataset: readAnalyze(): invalid size 1x1x0x4 (TxZxYxX) in '@.hdr' \n"},
        {"negative size", 4, 4, 1, 1, -2, 4, 8, nullptr,
         "WARNING: no acquisition times for file '@'\n"
         "ERROR Dataset: readAnalyze(): invalid size -2x1x1x4 (TxZxYxX) in '@.hdr' \n"},
        {"huge", 3, 30000, 30000, 30000, 1, 8, 64, nullptr,
         "ERROR Dataset: dataset '@' of size 1x30000x30000x30000 is too large \n"},
        {"fewer times", 4, 1, 1, 1, 2, 2, 2, "0 1\n",
         "ERROR Dataset: time file '@.time' holds 1 frames, the header 2 \n"},
        {"more times", 4, 1, 1, 1, 2, 2, 2, "0 1\n1 1\n2 1\n",
         "ERROR Dataset: time file '@.time' holds 3 frames, the header 2 \n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TempDir dir;
        const std::string base = dir / "f";
        const int16_t bits = c.code == 4 ? 16 : 8;
        writeFile(base + ".hdr", makeHeader(false, c.dims, c.X, c.Y, c.Z, c.T, c.code, bits).b);
        if (c.imgBytes >= 0) writeFile(base + ".img", Bytes(size_t(c.imgBytes), 1));
        if (c.times) writeFile(base + ".time", std::string(c.times));
        mexhost::clearOutput();
        std::unique_ptr<Dataset> d(readAnalyze(base));
        EXPECT_EQ(d != nullptr, c.text.empty());
        EXPECT_EQ(takeText(), stringReplace(c.text, "@", base));
    }
}

}  // namespace
