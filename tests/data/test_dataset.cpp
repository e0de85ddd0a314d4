// Datasets: element layout, resizing, units, copies, raw streams and the
// reports of calls that make no sense for a dimension.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <sstream>

#include "Dataset4D.h"
#include "data_support.h"

using datatest::takeText;
using U = std::vector<unsigned>;

namespace {

// A volume whose element at flat index i holds i + 1.
Dataset3D<double> counting(unsigned x, unsigned y, unsigned z) {
    Dataset3D<double> d(x, y, z, 0.0);
    for (unsigned i = 0; i < x * y * z; ++i) d(i) = i + 1;
    return d;
}

}  // namespace

TEST(Dataset, LayoutIsXFastestAndTinyVolumesAnswerEveryIndex) {
    Dataset3D<int> d(4, 3, 2, 0);
    d(1, 2, 1) = 7;
    EXPECT_EQ(d.getData()[(1 * 3 + 2) * 4 + 1], 7);
    Dataset4D<float> f(5, 4, 3, 2);
    EXPECT_EQ(f.getDimensions(), (U{4, 3, 2, 5}));
    EXPECT_EQ(f.getSize(), 120 * sizeof(float));
    Dataset3D<double> scalar(1, 1, 1, 2.5), empty(0, 4, 4, 1.0);
    EXPECT_EQ(scalar(5, 5, 5), 2.5);
    EXPECT_EQ(empty(2, 2, 2), 0.0);  // no read past an empty block
    EXPECT_EQ(empty.max(), 0.0);
}

// resize keeps the old shape at an equal count; resizeExactly and assignment
// give the requested grid; the flat data stay, new elements are 0.
TEST(Dataset, ResizeAndAssignment) {
    Dataset3D<double> d = counting(2, 3, 4), e = counting(2, 3, 4);
    EXPECT_EQ(d.resize(4, 3, 2), 24u);
    EXPECT_EQ(d.getDimensions(), (U{2, 3, 4}));
    EXPECT_EQ(e.resizeExactly(4, 3, 2), 24u);
    EXPECT_EQ(e(3, 2, 1), 24.0);
    EXPECT_EQ(d.resize(4, 3, 3), 36u);
    EXPECT_EQ(d.getDimensions(), (U{4, 3, 3}));
    for (unsigned i = 0; i < 36; ++i) EXPECT_EQ(d(i), i < 24 ? i + 1.0 : 0.0);
    Dataset3D<double> target = counting(1, 2, 3);
    target = counting(3, 1, 2);
    EXPECT_EQ(target.getDimensions(), (U{3, 1, 2}));

    Dataset4D<double> series(2, 2, 2, 2, 3.0);
    series.setTime(1, 20);
    series.resize(2, 2, 2, 2);  // same frame count: values stay
    EXPECT_EQ(series(1, 1, 1, 1), 3.0);
    series.resize(3, 2, 2, 2);  // values lost, leading times kept
    EXPECT_EQ(series(0, 1, 1, 1), 0.0);
    EXPECT_EQ(series.getTime(), (std::vector<double>{0, 20, 0}));
    // Every volume takes the grid the series reports, also through a copy.
    series.resize(2, 3, 1, 2);
    series(1, 2, 0, 1) = 5.0;
    EXPECT_EQ(series(1, 5), 5.0);
    Dataset4D<double> copy(2, 2, 3, 1, 0.0);
    copy = series;
    EXPECT_EQ(copy(1).getDimensions(), (U{3, 1, 2}));
    EXPECT_EQ(copy(1, 2, 0, 1), 5.0);
    EXPECT_EQ(series.resize(0, 2, 2, 2), 0u);
}

TEST(Dataset, ChangeUnitConvertsWithAddedHalf) {
    Dataset3D<double> d(2, 1, 1, 1.0);
    d.setUnit(Unit("kBq/ml"));
    d.changeUnit(Unit("Bq/ml"));
    EXPECT_EQ(d(0), 1000.5);  // the half is added for double too
    Dataset3D<int> n(1, 1, 1, 3);
    n.setUnit(Unit("Bq/ml"));
    n.changeUnit(Unit("kBq/ml"));  // 0.003 + 0.5 truncates to 0
    EXPECT_EQ(n(0), 0);
    // Without a unit only the label changes; a slice ignores the call.
    Dataset3D<float> plain(1, 1, 1, 4.0f);
    plain.changeUnit(Unit("kBq/ml"));
    EXPECT_EQ(plain(0), 4.0f);
    Dataset2D<double> slice(1, 1, 1.0);
    slice.setUnit(Unit("kBq/ml"));
    slice.changeUnit(Unit("Bq/ml"));
    EXPECT_EQ(slice(0), 1.0);
    EXPECT_EQ(slice.getUnit().getName(), "kBq/ml");
    // A series: the first call labels each volume, the second converts.
    Dataset4D<double> s(2, 1, 1, 1, 1.0);
    s.changeUnit(Unit("kBq/ml"));
    s.changeUnit(Unit("Bq/ml"));
    EXPECT_EQ(s(1, 0, 0, 0), 1000.5);
}

TEST(Dataset, CallsWithoutMeaningReportAndChangeNothing) {
    Dataset2D<double> d2(2, 2, 1.0);
    Dataset3D<double> d3(2, 2, 2, 1.0);
    Dataset4D<double> d4(2, 2, 2, 2, 1.0);
    d2.setName("a");
    d3.setName("b");
    d4.setName("c");
    mexhost::clearOutput();
    const std::pair<std::function<double()>, const char*> cases[] = {
        {[&] { d2.setTime(0, 1); return 0.0; }, "Dataset2D: setTime on 2D dataset 'a'"},
        {[&] { d2.setFrameLength(0, 1); return 0.0; }, "Dataset2D: setFrameLength on 2D dataset 'a'"},
        {[&] { d2.setTimeUnit(Unit("s")); return 0.0; }, "Dataset2D: setTimeUnit on 2D dataset 'a'"},
        {[&] { return d2.getTime(0); }, "Dataset2D: getTime on 2D dataset 'a'"},
        {[&] { return d2.getFrameLength(0); }, "Dataset2D: getFrameLength on 2D dataset 'a'"},
        {[&] { d2.setValue3D(0, 0, 0, 9); return 0.0; }, "Dataset2D: setValue3D on 2D dataset 'a'"},
        {[&] { d2.setValue4D(0, 0, 0, 0, 9); return 0.0; }, "Dataset2D: setValue4D on 2D dataset 'a'"},
        {[&] { return double(d2.resize(3, 3, 3)); }, "Dataset2D: 3D resize on 2D dataset 'a'"},
        {[&] { return double(d2.resize(1, 3, 3, 3)); }, "Dataset2D: 4D resize on 2D dataset 'a'"},
        {[&] { d3.setTime(0, 1); return 0.0; }, "Dataset3D: setTime on 3D dataset 'b'"},
        {[&] { return d3.getTime(0); }, "Dataset3D: getTime on 3D dataset 'b'"},
        {[&] { d3.setValue2D(0, 0, 9); return 0.0; }, "Dataset3D: setValue2D on 3D dataset 'b'"},
        {[&] { return d3.getValue2D(0, 0); }, "Dataset3D: getValue2D on 3D dataset 'b'"},
        {[&] { return double(d3.resize(3, 3)); }, "Dataset3D: 2D resize on 3D dataset 'b'"},
        {[&] { return double(d3.resize(1, 3, 3, 3)); }, "Dataset3D: 4D resize on 3D dataset 'b'"},
        {[&] { d4.setValue2D(0, 0, 9); return 0.0; }, "Dataset4D: setValue2D on 4D dataset 'c'"},
        {[&] { d4.setValue3D(0, 0, 0, 9); return 0.0; }, "Dataset4D: setValue3D on 4D dataset 'c'"},
        {[&] { return d4.getValue3D(0, 0, 0); }, "Dataset4D: getValue3D on 4D dataset 'c'"},
        // These two say 3D for a series; users know them this way.
        {[&] { return d4.getValue2D(0, 0); }, "Dataset4D: getValue2D on 3D dataset 'c'"},
        {[&] { return double(d4.resize(3, 3, 3)); }, "Dataset4D: 3D resize on 3D dataset 'c'"},
        {[&] { return double(d4.resize(3, 3)); }, "Dataset4D: 2D resize on 4D dataset 'c'"},
        {[&] { d3.setPixelSize({1, 2}); return 0.0; }, "Dataset3D: setPixelSize (3D) invalid argument"},
        {[&] { d2.setOrigin({1, 2, 3}); return 0.0; }, "Dataset2D: setOrigin (2D) invalid argument"},
        {[&] { d4.setPixelSize({1}); return 0.0; }, "Dataset4D: setPixelSize (4D) invalid argument"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.first(), 0.0) << c.second;
        EXPECT_EQ(takeText(), std::string("ERROR ") + c.second + " \n");
    }
    EXPECT_EQ(d2.getDimensionX() + d3.getVolumeSize() + d4.getNumElements(), 2u + 8u + 16u);
    EXPECT_EQ(d2.min() + d3.max(), 2.0);
    Dataset4D<int> none;
    none.setOrigin({1, 2, 3});
    EXPECT_EQ(takeText(), "ERROR Dataset4D: setOrigin (4D) no datasets \n");
}

TEST(Dataset, AccessorsOfOtherDimensionsAndTruncation) {
    Dataset3D<double> d3(2, 2, 2, 0.0);
    d3.setValue4D(7, 1, 0, 1, 4.0);  // a volume takes (x, y, z), silently
    EXPECT_EQ(d3.getValue4D(9, 1, 0, 1), 4.0);
    EXPECT_EQ(mexhost::takeOutput(), "");
    Dataset2D<int> d2(3, 3, 0);  // (a, b) of getValue3D(a, b, c), (b, c) of getValue4D
    d2(1, 2) = 5;
    EXPECT_EQ(d2.getValue3D(1, 2, 0) + d2.getValue4D(0, 1, 2, 0), 10.0);
    Dataset3D<int> n(1, 1, 2, 0);
    n.setValue3D(0, 0, 1, -2.9);
    EXPECT_EQ(n(0, 0, 1), -2);
    Dataset3D<unsigned char> b(1, 1, 1, 0);
    b.setValue(300);  // saturates
    EXPECT_EQ(b(0), 255);
    d3.setPixelSize({0.1, 2, 3});  // single precision
    EXPECT_EQ(d3.getPixelSize()[0], double(0.1f));
    Dataset4D<double> s(2, 1, 1, 1);
    s.setOrigin({1, 2, 3});
    EXPECT_EQ(s(1).getOrigin(), (std::vector<double>{1, 2, 3}));
}

TEST(Dataset, SlicesAndTacs) {
    Dataset3D<double> d = counting(3, 3, 3);
    std::unique_ptr<Dataset2D<double>> slice(d.getSlice(2));
    Dataset3D<double> target(3, 3, 3, 0.0);
    target.setSlice(1, *slice);  // s(i, j) goes to element (z, i, j)
    for (unsigned j = 0; j < 3; ++j)
        for (unsigned i = 0; i < 3; ++i) {
            EXPECT_EQ((*slice)(i, j), d(i, j, 2));
            EXPECT_EQ(target(1, i, j), (*slice)(i, j));
        }
    Dataset3D<double> flat(4, 3, 1, 0.0);  // writes off the grid are dropped
    flat.setSlice(0, Dataset2D<double>(4, 3, 1.0));
    Dataset4D<double> empty;
    EXPECT_EQ(std::unique_ptr<Dataset2D<double>>(empty.getSlice(0, 0))->getImageSize(), 0u);

    Dataset4D<double> t(3, 2, 2, 2, 0.0);
    t.setTAC(1, 0, 1, {1, 2, 3});
    EXPECT_EQ(t(2, 1, 0, 1), 3.0);
    t.setTAC(0, 0, 0, {9});  // a short curve writes what it has
    EXPECT_EQ(t.getTAC(0, 0, 0), (std::vector<double>{9, 0, 0}));
}

TEST(Dataset, CopiesKeepIdentityAssignmentsKeepTheirName) {
    const int before = Dataset::count_;
    {
        Dataset3D<short> a(2, 2, 2, 3), c(1, 1, 1, 0);
        a.setName("a");
        a.setUnit(Unit("kBq/ml"));
        c.setName("c");
        EXPECT_EQ(Dataset3D<short>(a).getName(), "a");
        c = a;
        EXPECT_EQ(c.getName(), "c");
        EXPECT_EQ(c.getUnit().getName(), "kBq/ml");

        Dataset4D<double> s(3, 2, 1, 1, 1.5);
        s.setName("s");
        s.setTime(2, 30);
        s.setTimeUnit(Unit("min"));
        std::unique_ptr<Dataset> clone(s.clone()), empty(s.cloneEmpty());
        EXPECT_EQ(Dataset::count_.load(), before + 2 + 4 + 4 + 4);
        EXPECT_EQ(clone->getName() + clone->getTimeUnit().getName(), "smin");
        EXPECT_EQ(clone->getTime(2) + clone->getValue4D(2, 1, 0, 0), 31.5);
        EXPECT_EQ(empty->getName() + empty->getTimeUnit().getName(), "s");
        EXPECT_EQ(empty->getNumElements(), 6u);
        EXPECT_EQ(empty->getTime(2) + empty->getValue4D(2, 1, 0, 0), 0.0);
    }
    EXPECT_EQ(Dataset::count_.load(), before);
}

TEST(Dataset, ScaleMapsRangeLinearly) {
    Dataset3D<double> d = counting(5, 1, 1);
    d.scale(0, 1, 0, 0);  // own range
    for (unsigned i = 0; i < 5; ++i) EXPECT_DOUBLE_EQ(d(i), i / 4.0);
    // In integers each step truncates: *= 2.5 then += -2.5.
    Dataset3D<int> n(2, 1, 1, 0);
    n(0) = 1;
    n(1) = 3;
    n.scale(0, 5, 1, 3);
    EXPECT_EQ(n(0), 0);  // 2 - 2.5
    EXPECT_EQ(n(1), 4);  // 7 - 2.5
    Dataset3D<double> constant(2, 1, 1, 3.0);
    constant.scale(0, 1, 0, 0);  // unguarded division by zero
    EXPECT_TRUE(std::isnan(constant(0)));
}

// Streams: a slice with its sizes, a volume elements only (read with X, Y, Z
// first), a series as frame count, (time, length) pairs, volumes.
TEST(Dataset, RawStreams) {
    Dataset2D<float> slice(3, 2, 0.0f), back;
    slice(2, 1) = 4.5f;
    std::stringstream io;
    ASSERT_TRUE(slice.write(io));
    EXPECT_EQ(io.str().size(), 8 + 6 * sizeof(float));
    ASSERT_TRUE(back.read(io));
    EXPECT_EQ(back(2, 1), 4.5f);
    std::stringstream raw, withHead;
    Dataset3D<short>(2, 2, 1, 7).write(raw);
    EXPECT_EQ(raw.str().size(), 4 * sizeof(short));
    const uint32_t dims[3] = {2, 2, 1}, other[3] = {1, 2, 1}, frames = 2;
    withHead.write(reinterpret_cast<const char*>(dims), sizeof dims);
    withHead << raw.str();
    Dataset4D<short> s(2, 2, 2, 1, 7), r;
    s.setTime(1, 60);
    s.setFrameLength(1, 30);
    std::stringstream series, readable, mixed;
    s.write(series);
    EXPECT_EQ(series.str().size(), 4 + 2 * 16 + 2 * 4 * sizeof(short));
    readable.write(reinterpret_cast<const char*>(&frames), 4);
    readable << series.str().substr(4, 32) << withHead.str() << withHead.str();
    ASSERT_TRUE(r.read(readable));
    EXPECT_EQ(r.getTime(1) + r.getFrameLength(1), 90.0);
    EXPECT_EQ(r(1, 1, 1, 0), 7);
    EXPECT_FALSE(r.read(std::string("/nonexistent/file")));
    // Volumes of different grids cannot form a series: nothing is kept.
    mixed.write(reinterpret_cast<const char*>(&frames), 4);
    mixed << series.str().substr(4, 32) << withHead.str();
    mixed.write(reinterpret_cast<const char*>(other), sizeof other);
    mixed << raw.str().substr(0, 2 * sizeof(short));
    EXPECT_FALSE(r.read(mixed));
    EXPECT_EQ(r.getDimensionT(), 0u);
}
