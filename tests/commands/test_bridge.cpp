// The array bridge: Matlab arrays to datasets and back, with the index order
// A(z+1, y+1, x+1, t+1) = element (t, x, y, z), and the refusals users see.
#include <gtest/gtest.h>

#include <memory>

#include "Dataset4D.h"
#include "VOI.h"
#include "interfaces/MatlabInterface.h"
#include "mexhost.h"
#include "util/Message.h"

using mexhost::dims;
using mexhost::takeOutput;
using mexhost::values;
using Dims = std::vector<mwSize>;
using Values = std::vector<double>;

namespace {

// Arrays made by a test are destroyed at its end; TearDown checks that no
// array or dataset outlives it.
class Bridge : public ::testing::Test {
protected:
    void SetUp() override {
        _MessageHelper::verbosity_ = 1;
        mexhost::clearOutput();
        arrays = mexhost::liveArrays();
        datasets = Dataset::count_;
    }
    void TearDown() override {
        for (mxArray* a : owned) mxDestroyArray(a);
        EXPECT_EQ(mexhost::liveArrays(), arrays);
        EXPECT_EQ(Dataset::count_.load(), datasets);
        mexhost::clearOutput();
    }
    mxArray* make(mxClassID id, Dims d, Values v = {}) { return keep(mexhost::makeArray(id, d, v)); }
    mxArray* keep(mxArray* a) {
        if (a) owned.push_back(a);
        return a;
    }

    MatlabInterface bridge;
    std::vector<mxArray*> owned;
    int arrays = 0, datasets = 0;
};

// Distinct small integers that every class holds exactly.
Values pattern(size_t n) {
    Values v(n);
    for (size_t k = 0; k < n; ++k) v[k] = double((k * 37 + 11) % 101);
    return v;
}

}  // namespace

TEST_F(Bridge, RoundTripsOfEveryClassKeepTheIndexMapping) {
    const mxClassID classes[] = {mxDOUBLE_CLASS, mxSINGLE_CLASS, mxUINT8_CLASS, mxINT16_CLASS, mxUINT16_CLASS, mxINT32_CLASS};
    const char* const types[] = {"double", "float", "uchar", "short", "ushort", "int"};
    const size_t s1 = 2, s2 = 3, s3 = 4, s4 = 5;
    for (int c = 0; c < 6; ++c) {
        SCOPED_TRACE(types[c]);
        const Values v2 = pattern(s1 * s2), v3 = pattern(s1 * s2 * s3), v4 = pattern(s1 * s2 * s3 * s4);
        std::unique_ptr<Dataset> d2(bridge.createDataset2D(make(classes[c], {s1, s2}, v2)));
        std::unique_ptr<Dataset> d3(bridge.createDataset3D(make(classes[c], {s1, s2, s3}, v3)));
        std::unique_ptr<Dataset> d4(bridge.createDataset4D(make(classes[c], {s1, s2, s3, s4}, v4)));
        ASSERT_TRUE(d2 && d3 && d4);
        EXPECT_EQ(d2->getType(), types[c]);
        EXPECT_EQ(d2->getDimensions(), (std::vector<unsigned>{3, 2}));
        EXPECT_EQ(d4->getDimensions(), (std::vector<unsigned>{4, 3, 2, 5}));
        for (unsigned x = 0; x < s3; ++x)
            for (unsigned y = 0; y < s2; ++y)
                for (unsigned z = 0; z < s1; ++z) {
                    if (x == 0) { EXPECT_EQ(d2->getValue2D(y, z), v2[z + s1 * y]); }
                    EXPECT_EQ(d3->getValue3D(x, y, z), v3[z + s1 * (y + s2 * x)]);
                    for (unsigned t = 0; t < s4; ++t)
                        ASSERT_EQ(d4->getValue4D(t, x, y, z), v4[z + s1 * (y + s2 * (x + s3 * t))]);
                }
        // And back: same class, sizes and values.
        mxArray* b2 = keep(bridge.createDataArray2D(d2.get()));
        mxArray* b3 = keep(bridge.createDataArray3D(d3.get()));
        mxArray* b4 = keep(bridge.createDataArray4D(d4.get()));
        ASSERT_TRUE(b2 && b3 && b4);
        EXPECT_EQ(mxGetClassID(b4), classes[c]);
        EXPECT_EQ(dims(b2), (Dims{s1, s2}));
        EXPECT_EQ(dims(b4), (Dims{s1, s2, s3, s4}));
        EXPECT_EQ(values(b2), v2);
        EXPECT_EQ(values(b3), v3);
        EXPECT_EQ(values(b4), v4);
    }
    // Sizes that are no multiple of the copy's tiles.
    const Values v = pattern(37 * 5 * 70);
    std::unique_ptr<Dataset> d(bridge.createDataset3D(make(mxDOUBLE_CLASS, {37, 5, 70}, v)));
    EXPECT_EQ(d->getValue3D(69, 4, 36), v[36 + 37 * (4 + 5 * 69)]);
    EXPECT_EQ(values(keep(bridge.createDataArray3D(d.get()))), v);
    // Through createDataset, named.
    std::vector<const mxArray*> args = {make(mxDOUBLE_CLASS, {3, 4}, pattern(12))};
    std::unique_ptr<Dataset> m(bridge.createDataset(1, args.data(), 0, "m", true));
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->getName(), "m");
    EXPECT_EQ(m->getValue2D(2, 1), pattern(12)[(2 - 1) + 3 * (3 - 1)]);
    EXPECT_EQ(takeOutput(), "");
}

// Logical arrays are uchar data and masks; other classes and 5D are refused.
TEST_F(Bridge, LogicalArraysMasksAndRefusedClasses) {
    mxArray* bits = make(mxLOGICAL_CLASS, {2, 1, 3}, {1, 0, 0, 1, 1, 0});
    std::unique_ptr<Dataset> d(bridge.createDataset3D(bits));
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->getType(), "uchar");
    mxArray* back = keep(bridge.createDataArray3D(d.get()));  // and leaves as uint8
    EXPECT_EQ(mxGetClassID(back), mxUINT8_CLASS);
    EXPECT_EQ(values(back), values(bits));

    std::unique_ptr<Dataset3D<unsigned char>> mask(
        bridge.createVOI(make(mxLOGICAL_CLASS, {2, 2, 3}, {1, 0, 0, 1, 1, 0, 0, 0, 1, 0, 0, 0})));
    VOI* voi = dynamic_cast<VOI*>(mask.get());
    ASSERT_NE(voi, nullptr);
    EXPECT_EQ(voi->numActive(), 4u);
    EXPECT_EQ(voi->getDimensions(), (std::vector<unsigned>{3, 2, 2}));
    EXPECT_EQ((*voi)(2, 0, 0), 1);  // A(1, 1, 3)
    EXPECT_EQ((*voi)(1, 1, 1), 0);  // A(2, 2, 2)
    std::unique_ptr<Dataset3D<unsigned char>> scalar(bridge.createVOI(make(mxLOGICAL_CLASS, {1, 1}, {1})));
    ASSERT_NE(dynamic_cast<VOI*>(scalar.get()), nullptr);
    EXPECT_EQ(scalar->getVolumeSize(), 1u);
    EXPECT_TRUE(bridge.isVOI(make(mxLOGICAL_CLASS, {2, 2, 2})));
    EXPECT_FALSE(bridge.isVOI(make(mxUINT8_CLASS, {2, 2, 2})));
    EXPECT_EQ(takeOutput(), "");

    std::vector<const mxArray*> i64 = {make(mxINT64_CLASS, {2, 2, 2})}, five = {make(mxDOUBLE_CLASS, {2, 2, 2, 2, 2})};
    const std::pair<void*, const char*> refused[] = {
        {bridge.createDataset4D(make(mxLOGICAL_CLASS, {2, 2, 2, 2})), "KINETRA: unsupported 4D data type"},
        {bridge.createDataset2D(make(mxINT8_CLASS, {2, 2})), "KINETRA: unsupported 2D data type"},
        {bridge.createDataset(1, i64.data(), 0, "x", false), "KINETRA: unsupported 3D data type"},
        {bridge.createDataset(1, five.data(), 0, "x", false), "KINETRA: 5D data not supported\n"},
        {bridge.createVOI(make(mxLOGICAL_CLASS, {2, 2})), "KINETRA: voi is not 3D\n"},
    };
    for (const auto& r : refused) EXPECT_EQ(r.first, nullptr) << r.second;
    std::string all;
    for (const auto& r : refused) all += r.second;
    EXPECT_EQ(takeOutput(), all);
    _MessageHelper::verbosity_ = 0;  // only the null remains
    EXPECT_EQ(bridge.createDataset2D(make(mxCHAR_CLASS, {1, 2})), nullptr);
    EXPECT_EQ(takeOutput(), "");
}

TEST_F(Bridge, TimeArraysSetFramesOrDestroyTheDataset) {
    mxArray* times = make(mxDOUBLE_CLASS, {3, 2}, {0, 10, 30, 10, 20, 40});
    std::vector<const mxArray*> args = {make(mxCHAR_CLASS, {1, 1}), make(mxSINGLE_CLASS, {2, 2, 2, 3}, pattern(24)), times};
    std::unique_ptr<Dataset> d(bridge.createDataset(3, args.data(), 1, "series", true));
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->getTime(2), 30.0);
    EXPECT_EQ(d->getFrameLength(1), 20.0);
    mxArray* table = keep(bridge.createTimeArray(d.get()));
    EXPECT_EQ(dims(table), (Dims{3, 2}));
    EXPECT_EQ(values(table), values(times));
    // Without the flag, or without the argument, the frames keep their zeros.
    EXPECT_EQ(std::unique_ptr<Dataset>(bridge.createDataset(3, args.data(), 1, "u", false))->getTime(2), 0.0);
    EXPECT_EQ(std::unique_ptr<Dataset>(bridge.createDataset(2, args.data(), 1, "a", true))->getFrameLength(1), 0.0);
    EXPECT_EQ(takeOutput(), "");
    d.reset();

    const std::pair<mxArray*, const char*> cases[] = {
        {make(mxSINGLE_CLASS, {3, 2}), "KINETRA: time array should be of type double\n"},
        {make(mxDOUBLE_CLASS, {3, 2, 2}), "KINETRA: time array should be a 3x2 matrix\n"},
        {make(mxDOUBLE_CLASS, {3, 3}), "KINETRA: invalid time array size 3x3, should be 3x2\n"},
    };
    for (const auto& c : cases) {
        args[2] = c.first;
        EXPECT_EQ(bridge.createDataset(3, args.data(), 1, "bad", true), nullptr);
        EXPECT_EQ(takeOutput(), c.second);
        EXPECT_EQ(Dataset::count_.load(), datasets);  // the fresh dataset is gone
    }
    // 3D data ignore the time argument.
    args[1] = make(mxDOUBLE_CLASS, {2, 2, 2});
    std::unique_ptr<Dataset> volume(bridge.createDataset(3, args.data(), 1, "v", true));
    ASSERT_NE(volume, nullptr);
    EXPECT_EQ(dims(keep(bridge.createTimeArray(volume.get()))), (Dims{0, 2}));
    EXPECT_EQ(takeOutput(), "");
}

TEST_F(Bridge, PointsAndVectors) {
    int x = -7, y = -7, z = -7;
    EXPECT_TRUE(bridge.getPoint(make(mxDOUBLE_CLASS, {3, 1}, {-1.5, 0.9, 7}), &x, &y, &z));
    EXPECT_EQ(std::vector<int>({x, y, z}), std::vector<int>({-1, 0, 7}));
    for (mxArray* bad : {make(mxDOUBLE_CLASS, {3, 3}), make(mxDOUBLE_CLASS, {1, 4}), make(mxLOGICAL_CLASS, {1, 3}),
                         make(mxDOUBLE_CLASS, {1, 1, 3})})
        EXPECT_FALSE(bridge.getPoint(bad, &x, &y, &z));
    EXPECT_EQ(x, -1);  // untouched on failure

    Values row, column = {8};
    EXPECT_TRUE(bridge.getVector(make(mxUINT16_CLASS, {5, 1}, {300, 2, 3, 4, 5}), row));
    EXPECT_EQ(row, (Values{300, 2, 3, 4, 5}));
    EXPECT_TRUE(bridge.getVector(make(mxDOUBLE_CLASS, {0, 1}), row));
    EXPECT_TRUE(row.empty());
    for (mxArray* bad : {make(mxDOUBLE_CLASS, {0, 0}), make(mxDOUBLE_CLASS, {2, 3}), make(mxCHAR_CLASS, {1, 3})})
        EXPECT_FALSE(bridge.getVector(bad, column));
    EXPECT_EQ(column, Values{8});
    EXPECT_FALSE(bridge.is4D(make(mxDOUBLE_CLASS, {1, 1, 2, 1})));  // trailing 1 dropped

    Dataset4D<double> series(2, 1, 1, 1);
    series.setName("s");
    EXPECT_EQ(bridge.createDataArray3D(&series), nullptr);
    EXPECT_EQ(takeOutput(), "KINETRA: 3D data expected, data 's' is 4D\n");
}
