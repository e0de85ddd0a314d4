// Analyze images at the byte level: the header layout of new files, headers
// of either byte order written by hand, truncated and missing files, the
// frame-time side file, type names and the report.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <sstream>

#include <sys/stat.h>

#include "files_support.h"
#include "util/Analyze.h"

using namespace filetest;

namespace {

// bitpix straight from the block in memory (host order).
int readHeaderBits(const Analyze& a) {
    int16_t bits;
    std::memcpy(&bits, a.getHeader() + 72, 2);
    return bits;
}

TEST(Analyze, NewHeaderPutsEveryFieldAtItsOffsetAndNothingElse) {
    TempDir dir;
    Analyze a(5, 4, 3, 2);  // T, Z, Y, X
    a.setType("FLOAT");
    for (unsigned i = 0; i < 4; ++i) a.setPixDim(i, 0.5f + float(i));
    a.setOriginX(1.25f), a.setOriginY(-2.5f), a.setOriginZ(3.75f), a.setScale(0.1);
    a.setVoxUnits("mmmm");      // cut at 3
    a.setCalUnits("abcdefgh");  // cut at 3 of 8
    a.setCalMin(-1.0f), a.setCalMax(2.0f), a.setCompressed(3.0f), a.setVerified(4.0f);
    a.setDescription(std::string(100, 'd'));  // cut at 79
    a.setOriginator("0123456789AB");          // cut at 9
    a.setGenerated("gen"), a.setScanNum("scan"), a.setPatientId("patient"), a.setDate("20260101");
    a.setTime("120000");
    a.setDim(8, 7);     // ignored: dim has 8 entries
    a.setPixDim(9, 1);  // ignored
    EXPECT_EQ(Analyze(1, 1).getScale(), 0.0);  // a new header's raw 0, not 1
    EXPECT_EQ(Analyze().getScale(), 1.0);      // no header
    a.write(dir / "img.hdr");
    EXPECT_EQ(a.getName(), dir / "img");

    const RawHeader h = readHeaderFile(dir / "img.hdr");
    ASSERT_EQ(h.b.size(), 348u);
    EXPECT_EQ(h.get<int32_t>(0), 348);
    EXPECT_EQ(h.b[38], 'r');
    const int16_t shorts[][2] = {{40, 4}, {42, 2}, {44, 3}, {46, 4}, {48, 5}, {70, 16}, {72, 32}};
    for (const auto& f : shorts) EXPECT_EQ(h.get<int16_t>(size_t(f[0])), f[1]) << f[0];
    const std::pair<size_t, float> floats[] = {{76, 0.5f},  {80, 1.5f},  {84, 2.5f},   {88, 3.5f},   {108, 1.25f},
                                               {112, 0.1f}, {116, -2.5f}, {120, 3.75f}, {124, 2.0f}, {128, -1.0f},
                                               {132, 3.0f}, {136, 4.0f}};
    for (const auto& f : floats) EXPECT_EQ(h.get<float>(f.first), f.second) << f.first;
    const std::tuple<size_t, size_t, std::string> texts[] = {
        {56, 4, "mmm"},        {60, 8, "abc"},   {148, 80, std::string(79, 'd')}, {253, 10, "012345678"},
        {263, 10, "gen"},      {273, 10, "scan"}, {283, 10, "patient"},           {293, 10, "20260101"},
        {303, 10, "120000"}};
    for (const auto& [at, size, text] : texts) EXPECT_EQ(h.text(at, size), text) << at;
    const std::vector<size_t> wrong = h.nonZeroOutside({{0, 4}, {38, 1}, {40, 10}, {56, 3}, {60, 3}, {70, 4},
                                                        {76, 16}, {108, 32}, {148, 79}, {253, 9}, {263, 3},
                                                        {273, 4}, {283, 7}, {293, 8}, {303, 6}});
    EXPECT_TRUE(wrong.empty()) << "first stray byte at " << wrong.front();
    // Five frames of zeros in the side file.
    EXPECT_EQ(readText(dir / "img.time"),
              "# Acquisition times (start duration) in seconds\n5 # number of acqusitions\n"
              "0\t0 \n0\t0 \n0\t0 \n0\t0 \n0\t0 \n");
}

// A series of T = 2 volumes of 3x2x1 shorts, header and voxels in the given
// byte order, with marks in the fields that are never swapped.
struct HandMade {
    RawHeader h;
    std::vector<short> values;
    HandMade(bool big) : h(makeHeader(big, 4, 3, 2, 1, 2, 4, 16)) {
        h.put<float>(76 + 4, 1.5f);   // pixdim[1]
        h.put<float>(108, 7.0f);      // origin X
        h.put<float>(112, 0.25f);     // scale
        h.put<float>(120, -3.0f);     // origin Z
        h.put<int32_t>(140, 1000);    // glmax
        h.b[68] = 0x12;               // unused1, stays as read
        h.b[69] = 0x34;
        h.b[316] = 0xAB;              // views, stays as read
        h.b[319] = 0xCD;
        for (int i = 0; i < 12; ++i) values.push_back(short(i * 1000 - 5000));
    }
    void save(const std::string& base) const {
        writeFile(base + ".hdr", h.b);
        Bytes img;
        for (short v : values) {
            const Bytes e = encode(v, h.big);
            img.insert(img.end(), e.begin(), e.end());
        }
        writeFile(base + ".img", img);
        writeFile(base + ".time", std::string("0 10\n10 20\n"));
    }
};

TEST(Analyze, ReadsEitherByteOrderAndWritesHostOrder) {
    for (bool big : {false, true}) {
        SCOPED_TRACE(big ? "big endian" : "little endian");
        TempDir dir;
        HandMade made(big);
        made.save(dir / "s");
        mexhost::clearOutput();
        Analyze a(dir / "s.img");
        const bool foreign = big != hostIsBig();
        EXPECT_EQ(a.isSwapped(), foreign);
        EXPECT_EQ(takeText(), foreign ? "'" + (dir / "s") + "' needs swapping\n" : "");
        EXPECT_EQ(a.getNumDimensions() * 100 + a.getDimX() * 10 + a.getDimT(), 432);
        EXPECT_EQ(a.getType(), "SIGNED_SHORT");
        EXPECT_EQ(a.getPixDim(1) + a.getOriginX() + a.getScale() + a.getOriginZ(), 1.5 + 7.0 + 0.25 - 3.0);
        EXPECT_EQ(a.getFrameStarts(), std::vector<double>({0, 10}));
        EXPECT_EQ(a.getFrameDurations(), std::vector<double>({10, 20}));
        EXPECT_EQ(a.filePos(1, 0, 1, 2), 2 + 3 * (1 + 2 * (0 + 1 * 1)));
        std::unique_ptr<short[]> second(a.readVolume<short>(1));
        ASSERT_TRUE(second);
        for (int i = 0; i < 6; ++i) EXPECT_EQ(second[i], made.values[6 + i]);

        // Written again: the header in host order but for the unswapped
        // fields, the voxels as given, never swapped.
        a.write(dir / "copy");
        a.writeVolume<short>(0, made.values.data());
        a.writeVolume<short>(1, made.values.data() + 6);
        a.close();
        const RawHeader copy = readHeaderFile(dir / "copy.hdr", hostIsBig());
        EXPECT_EQ(copy.dim(0) + copy.get<int32_t>(0) + copy.get<int32_t>(140), 4 + 348 + 1000);
        EXPECT_EQ(copy.get<float>(112), 0.25f);
        for (size_t at : {68, 69, 316, 317, 318, 319}) EXPECT_EQ(copy.b[at], made.h.b[at]) << at;
        const Bytes img = readFile(dir / "copy.img");
        ASSERT_EQ(img.size(), 24u);
        for (int i = 0; i < 12; ++i) {
            short v;
            std::memcpy(&v, img.data() + 2 * i, 2);
            EXPECT_EQ(v, made.values[i]);
        }
    }
}

TEST(Analyze, MissingOrShortFilesAreWarnedAndLeaveNeutralValues) {
    TempDir dir;
    HandMade made(false);
    made.save(dir / "s");
    // A header one byte short reads as a missing one.
    writeFile(dir / "short.hdr", Bytes(made.h.b.begin(), made.h.b.end() - 1));
    mexhost::clearOutput();
    Analyze a;
    EXPECT_FALSE(a.open(dir / "short.hdr"));
    EXPECT_EQ(takeText(), "WARNING: cannot open header file '" + (dir / "short") + ".hdr' for reading\n");
    EXPECT_EQ(a.getNumDimensions(), 0);

    // A header without data file: the header is there, volumes are not.
    std::remove((dir / "s.img").c_str());
    EXPECT_FALSE(a.open(dir / "s"));
    EXPECT_EQ(takeText(), "WARNING: cannot open data file '" + (dir / "s") + ".img' for reading\n");
    EXPECT_EQ(a.getDimX(), 3);
    EXPECT_FALSE(a.hasData());
    EXPECT_EQ(a.readVolume<short>(0), nullptr);
    // A folder in place of the data file has no length to trust.
    mkdir((dir / "s.img").c_str(), 0700);
    EXPECT_FALSE(a.open(dir / "s"));
    EXPECT_EQ(takeText(), "WARNING: cannot open data file '" + (dir / "s") + ".img' for reading\n");
    Verbosity quiet(0);
    EXPECT_FALSE(a.open(dir / "none"));
    EXPECT_EQ(takeText(), "");
}

TEST(Analyze, VolumesOutsideTheDataFileAreNotRead) {
    TempDir dir;
    HandMade made(false);
    made.save(dir / "s");
    // Only the first volume and half of the second.
    Bytes img = readFile(dir / "s.img");
    img.resize(18);
    writeFile(dir / "s.img", img);
    Analyze a(dir / "s");
    std::unique_ptr<short[]> first(a.readVolume<short>(0));
    ASSERT_TRUE(first);
    EXPECT_EQ(first[5], made.values[5]);
    EXPECT_EQ(a.readVolume<short>(1), nullptr);   // runs past the end
    EXPECT_EQ(a.readVolume<short>(2), nullptr);   // beyond the frames
    EXPECT_EQ(a.readVolume<short>(-1), nullptr);
    EXPECT_EQ(a.readVolume<double>(0), nullptr);  // 48 bytes needed
}

TEST(Analyze, NamesLoseOnlyAHeaderOrDataEnding) {
    struct Case {
        const char* given;
        const char* base;
    } cases[] = {{"a.hdr", "a"}, {"a.img", "a"}, {"a.b", "a.b"}, {".hdr", ".hdr"}, {"d/x.img.hdr", "d/x.img"}};
    Verbosity quiet(0);
    for (const Case& c : cases) {
        Analyze a;
        a.open(c.given);
        EXPECT_EQ(a.getName(), c.base) << c.given;
    }
    TempDir dir;
    Analyze b(1, 1);
    b.write(dir / "a.img");
    EXPECT_EQ(b.getName(), dir / "a");
    EXPECT_TRUE(exists(dir / "a.hdr"));
}

TEST(Analyze, TimeFileRules) {
    TempDir dir;
    const std::string base = dir / "t";
    Analyze(3, 1, 1, 1).write(base);
    writeFile(base + ".img", Bytes(3, 0));
    // Comments, the count line, frames, an empty line and junk.
    writeFile(base + ".time", std::string("# times\n3 # number of acqusitions\n0 5\n\n5\t10 \njunk\n15 20 extra\n"));
    mexhost::clearOutput();
    Analyze a(base);
    EXPECT_EQ(a.getFrameStarts(), std::vector<double>({0, 5, 15}));
    EXPECT_EQ(a.getFrameDurations(), std::vector<double>({5, 10, 20}));
    EXPECT_EQ(takeText(), "ERROR util/Analyze: unknown entry in '" + base + ".time' line 4: '' \n"
                          "ERROR util/Analyze: unknown entry in '" + base + ".time' line 6: 'junk' \n");
    // No side file: T frames of zeros and a warning.
    std::remove((base + ".time").c_str());
    Analyze none(base);
    EXPECT_EQ(none.getFrameStarts(), std::vector<double>(3, 0.0));
    EXPECT_EQ(none.getFrameDurations(), std::vector<double>(3, 0.0));
    EXPECT_EQ(takeText(), "WARNING: no acquisition times for file '" + base + "'\n");
}

TEST(Analyze, TypeNamesByTheHighestBitAndTimeHelpers) {
    const std::pair<int, const char*> names[] = {
        {0, "UNKNOWN"}, {1, "BINARY"}, {2, "UNSIGNED_CHAR"}, {3, "UNSIGNED_CHAR"}, {4, "SIGNED_SHORT"},
        {8, "SIGNED_INT"}, {16, "FLOAT"}, {32, "COMPLEX"}, {64, "DOUBLE"}, {127, "DOUBLE"}, {128, "RGB"},
        {255, "RGB"}, {256, "ALL"}, {511, "ALL"}, {512, "UNKNOWN"}, {-1, "UNKNOWN"}};
    for (const auto& n : names) EXPECT_EQ(Analyze::type2String(n.first), n.second) << n.first;
    for (int code = 1; code <= 256; code *= 2) EXPECT_EQ(Analyze::string2Type(Analyze::type2String(code)), code);
    EXPECT_EQ(Analyze::string2Type("float"), 512);

    Analyze a(1, 1);
    const std::pair<const char*, int> set[] = {
        {"UNSIGNED_CHAR", 8}, {"SIGNED_SHORT", 16}, {"SIGNED_INT", 32}, {"FLOAT", 32}, {"DOUBLE", 64}};
    for (const auto& s : set) {
        a.setType(s.first);
        EXPECT_EQ(a.getType(), s.first);
        EXPECT_EQ(readHeaderBits(a), s.second);
    }
    a.setType(short(0));
    mexhost::clearOutput();
    a.setType("RGB");
    EXPECT_EQ(takeText(), "ERROR util/Analyze: unsupported type 'RGB' \n");
    EXPECT_EQ(a.getType(), "SIGNED_SHORT");
    // Time helpers.
    EXPECT_EQ(Analyze::timeInSeconds("010203"), 3723);
    EXPECT_EQ(Analyze::timeAdd("235959", 2), "240001");
    EXPECT_EQ(Analyze::timeAdd("000000", 0), "000000");
    EXPECT_EQ(Analyze::timeAdd("100000", 90061), "350101");
    EXPECT_EQ(Analyze::dateNow().size() + Analyze::timeNow().size(), 14u);
    mexhost::clearOutput();
    Analyze::writeDicom("x", "y", 1, 1, 1);
    EXPECT_EQ(takeText(), "ERROR util/Analyze: DCMTK not available or not enabled \n");
}

TEST(Analyze, InfoReport) {
    Analyze a(2, 1, 3, 4);
    a.setType("SIGNED_INT");
    a.setPixDim(1, 1.5f), a.setPixDim(2, 2.0f), a.setPixDim(3, 3.25f);
    a.setVoxUnits("mm"), a.setOriginX(4.0f), a.setScale(0.5), a.setDescription("test image");
    a.setFrameStarts({0, 12.5}), a.setFrameDurations({12.5, 30});
    std::ostringstream out;
    a.info(out);
    EXPECT_EQ(out.str(),
              "Analyze data set:  \n  Type        :  \n  DbName      :  \n  Dimension   : 2x1x3x4 (TxZxYxX)\n"
              "  Datatype    : SIGNED_INT (8)\n  BitsPerPixel: 32 \n  VoxelDim    : 3.25x2x1.5 (ZxYxX)\n"
              "  VoxUnits    : mm \n  DataOffset  : 4 \n  Compressed  : 0 \n  Verified    : 0 \n  CalMin      : 0 \n"
              "  CalMax      : 0 \n  CalUnits    :  \n  GlobalMin   : 0 \n  GlobalMax   : 0 \n"
              "  Unused1(scale): 0.5 \n  Unused2     : 0 \n  Unused3     : 0 \n  Description : test image \n"
              "  Orientation : 0 \n  Originator  :  \n  Generated   :  \n  Scan        :  \n  PatientId   :  \n"
              "  ExpDate     :  \n  ExpTime     :  \n  Frame   0   : 0 12.5 \n  Frame   1   : 12.5 30 \n");
    std::ostringstream empty;
    Analyze().info(empty);
    EXPECT_NE(empty.str().find("  Dimension   : 0?\n"), std::string::npos);
}

}  // namespace
