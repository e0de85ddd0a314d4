// The array bridge: Matlab arrays to datasets and back, with the index order
// A(z+1, y+1, x+1, t+1) = element (t, x, y, z), and the refusals users see.
#include <gtest/gtest.h>

#include <memory>

#include "Dataset4D.h"
#include "VOI.h"
#include "interfaces/MatlabInterface.h"
#include "mexhost.h"
#include "util/Message.h"

namespace {

class Bridge : public ::testing::Test {
protected:
    void SetUp() override {
        _MessageHelper::verbosity_ = 1;
        bridge.reset(new MatlabInterface());
        mexhost::clearOutput();
        arrays = mexhost::liveArrays();
        datasets = Dataset::count_;
    }
    void TearDown() override {
        for (mxArray* a : owned) mxDestroyArray(a);
        bridge.reset();
        mexhost::clearOutput();
    }
    // An array destroyed at the end of the test.
    mxArray* make(mxClassID id, std::vector<mwSize> dims, std::vector<double> values = {}) {
        mxArray* a = mexhost::makeArray(id, dims, values);
        owned.push_back(a);
        return a;
    }
    mxArray* keep(mxArray* a) {
        if (a) owned.push_back(a);
        return a;
    }
    // Nothing made during the test is left once it has destroyed its objects.
    void expectNoLeaks() {
        for (mxArray* a : owned) mxDestroyArray(a);
        owned.clear();
        EXPECT_EQ(mexhost::liveArrays(), arrays);
        EXPECT_EQ(Dataset::count_, datasets);
    }

    std::unique_ptr<MatlabInterface> bridge;
    std::vector<mxArray*> owned;
    int arrays = 0;
    int datasets = 0;
};

// Distinct small integers that every class holds exactly.
std::vector<double> pattern(size_t n) {
    std::vector<double> v(n);
    for (size_t k = 0; k < n; ++k) v[k] = double((k * 37 + 11) % 101);
    return v;
}

const mxClassID dataClasses[] = {mxDOUBLE_CLASS, mxSINGLE_CLASS, mxUINT8_CLASS,
                                 mxINT16_CLASS,  mxUINT16_CLASS, mxINT32_CLASS};
const char* const typeNames[] = {"double", "float", "uchar", "short", "ushort", "int"};

}  // namespace

TEST_F(Bridge, RoundTripsOfEveryClassKeepTheIndexMapping) {
    const size_t s1 = 2, s2 = 3, s3 = 4, s4 = 5;
    for (int c = 0; c < 6; ++c) {
        SCOPED_TRACE(typeNames[c]);
        // 2D: A(y+1, x+1) is (x, y), X = s2, Y = s1.
        const std::vector<double> v2 = pattern(s1 * s2);
        mxArray* a2 = make(dataClasses[c], {s1, s2}, v2);
        std::unique_ptr<Dataset> d2(bridge->createDataset2D(a2));
        ASSERT_NE(d2, nullptr);
        EXPECT_EQ(d2->getType(), typeNames[c]);
        EXPECT_EQ(d2->getDimensionX(), s2);
        EXPECT_EQ(d2->getDimensionY(), s1);
        for (unsigned x = 0; x < s2; ++x)
            for (unsigned y = 0; y < s1; ++y) EXPECT_EQ(d2->getValue2D(x, y), v2[y + s1 * x]);

        // 3D: A(z+1, y+1, x+1) is (x, y, z).
        const std::vector<double> v3 = pattern(s1 * s2 * s3);
        mxArray* a3 = make(dataClasses[c], {s1, s2, s3}, v3);
        std::unique_ptr<Dataset> d3(bridge->createDataset3D(a3));
        ASSERT_NE(d3, nullptr);
        EXPECT_EQ(d3->getDimensions(), (std::vector<unsigned>{4, 3, 2}));
        for (unsigned x = 0; x < s3; ++x)
            for (unsigned y = 0; y < s2; ++y)
                for (unsigned z = 0; z < s1; ++z) EXPECT_EQ(d3->getValue3D(x, y, z), v3[z + s1 * (y + s2 * x)]);

        // 4D: A(z+1, y+1, x+1, t+1) is (t, x, y, z).
        const std::vector<double> v4 = pattern(s1 * s2 * s3 * s4);
        mxArray* a4 = make(dataClasses[c], {s1, s2, s3, s4}, v4);
        std::unique_ptr<Dataset> d4(bridge->createDataset4D(a4));
        ASSERT_NE(d4, nullptr);
        EXPECT_EQ(d4->getDimensions(), (std::vector<unsigned>{4, 3, 2, 5}));
        for (unsigned t = 0; t < s4; ++t)
            for (unsigned x = 0; x < s3; ++x)
                for (unsigned y = 0; y < s2; ++y)
                    for (unsigned z = 0; z < s1; ++z)
                        ASSERT_EQ(d4->getValue4D(t, x, y, z), v4[z + s1 * (y + s2 * (x + s3 * t))]);

        // And back: same class, sizes and values.
        mxArray* b2 = keep(bridge->createDataArray2D(d2.get()));
        mxArray* b3 = keep(bridge->createDataArray3D(d3.get()));
        mxArray* b4 = keep(bridge->createDataArray4D(d4.get()));
        ASSERT_TRUE(b2 && b3 && b4);
        EXPECT_EQ(mxGetClassID(b4), dataClasses[c]);
        EXPECT_EQ(mexhost::dims(b2), (std::vector<mwSize>{s1, s2}));
        EXPECT_EQ(mexhost::dims(b3), (std::vector<mwSize>{s1, s2, s3}));
        EXPECT_EQ(mexhost::dims(b4), (std::vector<mwSize>{s1, s2, s3, s4}));
        EXPECT_EQ(mexhost::values(b2), v2);
        EXPECT_EQ(mexhost::values(b3), v3);
        EXPECT_EQ(mexhost::values(b4), v4);
    }
    EXPECT_EQ(mexhost::takeOutput(), "");
    expectNoLeaks();
}

TEST_F(Bridge, LargeVolumesCrossTiles) {
    // Sizes that are no multiple of the copy's tiles.
    const size_t s1 = 37, s2 = 5, s3 = 70;
    const std::vector<double> v = pattern(s1 * s2 * s3);
    std::unique_ptr<Dataset> d(bridge->createDataset3D(make(mxDOUBLE_CLASS, {s1, s2, s3}, v)));
    EXPECT_EQ(d->getValue3D(69, 4, 36), v[36 + s1 * (4 + s2 * 69)]);
    EXPECT_EQ(d->getValue3D(33, 2, 35), v[35 + s1 * (2 + s2 * 33)]);
    EXPECT_EQ(mexhost::values(keep(bridge->createDataArray3D(d.get()))), v);
}

TEST_F(Bridge, MatrixElementMapsToXAndY) {
    // A 3x4 matrix: X = 4, Y = 3, and A(2,3) is element (x=2, y=1).
    mxArray* a = make(mxDOUBLE_CLASS, {3, 4}, pattern(12));
    std::vector<const mxArray*> args = {a};
    std::unique_ptr<Dataset> d(bridge->createDataset(1, args.data(), 0, "m", true));
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->getName(), "m");
    EXPECT_EQ(d->getNumDimensions(), 2u);
    EXPECT_EQ(d->getValue2D(2, 1), mexhost::values(a)[(2 - 1) + 3 * (3 - 1)]);
}

TEST_F(Bridge, LogicalArraysAndRefusedClasses) {
    // A 3D logical array is accepted as uchar data.
    mxArray* mask = make(mxLOGICAL_CLASS, {2, 1, 3}, {1, 0, 0, 1, 1, 0});
    std::unique_ptr<Dataset> d(bridge->createDataset3D(mask));
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->getType(), "uchar");
    EXPECT_EQ(d->getValue3D(0, 0, 0), 1.0);
    EXPECT_EQ(d->getValue3D(1, 0, 1), 1.0);
    EXPECT_EQ(d->getValue3D(2, 0, 1), 0.0);
    // It leaves as uint8.
    mxArray* back = keep(bridge->createDataArray3D(d.get()));
    EXPECT_EQ(mxGetClassID(back), mxUINT8_CLASS);
    EXPECT_EQ(mexhost::values(back), mexhost::values(mask));
    std::unique_ptr<Dataset> m2(bridge->createDataset2D(make(mxLOGICAL_CLASS, {2, 2}, {0, 1, 1, 1})));
    EXPECT_EQ(m2->getValue2D(0, 1), 1.0);

    EXPECT_EQ(bridge->createDataset4D(make(mxLOGICAL_CLASS, {2, 2, 2, 2})), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "KINETRA: unsupported 4D data type");
    EXPECT_EQ(bridge->createDataset2D(make(mxINT8_CLASS, {2, 2})), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "KINETRA: unsupported 2D data type");
    EXPECT_EQ(bridge->createDataset3D(make(mxUINT32_CLASS, {2, 2, 2})), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "KINETRA: unsupported 3D data type");

    // Through createDataset the refusal gives null, with no name set anywhere.
    std::vector<const mxArray*> args = {make(mxINT64_CLASS, {2, 2, 2})};
    EXPECT_EQ(bridge->createDataset(1, args.data(), 0, "x", false), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "KINETRA: unsupported 3D data type");
    args[0] = make(mxDOUBLE_CLASS, {2, 2, 2, 2, 2});
    EXPECT_EQ(bridge->createDataset(1, args.data(), 0, "x", false), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "KINETRA: 5D data not supported\n");

    // At verbosity 0 only the null remains.
    _MessageHelper::verbosity_ = 0;
    EXPECT_EQ(bridge->createDataset2D(make(mxCHAR_CLASS, {1, 2})), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "");
    _MessageHelper::verbosity_ = 1;
    d.reset();
    m2.reset();
    expectNoLeaks();
}

TEST_F(Bridge, VOIsComeFromLogicalArraysOnly) {
    std::unique_ptr<Dataset3D<unsigned char>> scalar(bridge->createVOI(make(mxLOGICAL_CLASS, {1, 1}, {1})));
    ASSERT_NE(scalar, nullptr);
    VOI* one = dynamic_cast<VOI*>(scalar.get());
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->getVolumeSize(), 1u);
    EXPECT_EQ(one->numActive(), 1u);

    std::unique_ptr<Dataset3D<unsigned char>> mask(
        bridge->createVOI(make(mxLOGICAL_CLASS, {2, 2, 3}, {1, 0, 0, 1, 1, 0, 0, 0, 1, 0, 0, 0})));
    ASSERT_NE(mask, nullptr);
    VOI* voi = dynamic_cast<VOI*>(mask.get());
    ASSERT_NE(voi, nullptr);  // usable as a VOI whichever branch made it
    EXPECT_EQ(voi->numActive(), 4u);
    EXPECT_EQ(voi->getDimensions(), (std::vector<unsigned>{3, 2, 2}));
    EXPECT_EQ((*voi)(2, 0, 0), 1);  // A(1, 1, 3)
    EXPECT_EQ((*voi)(1, 1, 1), 0);  // A(2, 2, 2)
    EXPECT_EQ((*voi)(1, 0, 0), 1);  // A(1, 1, 2)
    EXPECT_EQ(mexhost::takeOutput(), "");

    EXPECT_EQ(bridge->createVOI(make(mxUINT8_CLASS, {2, 2, 2}, pattern(8))), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "KINETRA: voi must be of type logical\n");
    EXPECT_EQ(bridge->createVOI(make(mxDOUBLE_CLASS, {1, 1}, {1})), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "KINETRA: voi must be of type logical\n");
    EXPECT_EQ(bridge->createVOI(make(mxLOGICAL_CLASS, {2, 2})), nullptr);
    EXPECT_EQ(mexhost::takeOutput(), "KINETRA: voi is not 3D\n");

    EXPECT_TRUE(bridge->isVOI(make(mxLOGICAL_CLASS, {2, 2, 2})));
    EXPECT_FALSE(bridge->isVOI(make(mxUINT8_CLASS, {2, 2, 2})));
    EXPECT_FALSE(bridge->isVOI(make(mxLOGICAL_CLASS, {2, 2})));
    scalar.reset();
    mask.reset();
    expectNoLeaks();
}

TEST_F(Bridge, TimeArraysSetFramesOrDestroyTheDataset) {
    mxArray* data = make(mxSINGLE_CLASS, {2, 2, 2, 3}, pattern(24));
    mxArray* times = make(mxDOUBLE_CLASS, {3, 2}, {0, 10, 30, 10, 20, 40});
    std::vector<const mxArray*> args = {make(mxCHAR_CLASS, {1, 1}), data, times};
    std::unique_ptr<Dataset> d(bridge->createDataset(3, args.data(), 1, "series", true));
    ASSERT_NE(d, nullptr);
    EXPECT_EQ(d->getTime(2), 30.0);
    EXPECT_EQ(d->getFrameLength(1), 20.0);
    mxArray* table = keep(bridge->createTimeArray(d.get()));
    EXPECT_EQ(mexhost::dims(table), (std::vector<mwSize>{3, 2}));
    EXPECT_EQ(mexhost::values(table), mexhost::values(times));

    // Without the flag, or without the argument, the frames keep their zeros.
    std::unique_ptr<Dataset> untimed(bridge->createDataset(3, args.data(), 1, "u", false));
    EXPECT_EQ(untimed->getTime(2), 0.0);
    std::unique_ptr<Dataset> alone(bridge->createDataset(2, args.data(), 1, "a", true));
    EXPECT_EQ(alone->getFrameLength(1), 0.0);
    EXPECT_EQ(mexhost::takeOutput(), "");
    untimed.reset();
    alone.reset();
    d.reset();

    const int before = Dataset::count_;
    struct Case {
        mxArray* times;
        const char* text;
    } cases[] = {
        {make(mxSINGLE_CLASS, {3, 2}), "KINETRA: time array should be of type double\n"},
        {make(mxDOUBLE_CLASS, {3, 2, 2}), "KINETRA: time array should be a 3x2 matrix\n"},
        {make(mxDOUBLE_CLASS, {2, 2}), "KINETRA: invalid time array size 2x2, should be 3x2\n"},
        {make(mxDOUBLE_CLASS, {3, 3}), "KINETRA: invalid time array size 3x3, should be 3x2\n"},
    };
    for (const Case& c : cases) {
        args[2] = c.times;
        EXPECT_EQ(bridge->createDataset(3, args.data(), 1, "bad", true), nullptr);
        EXPECT_EQ(mexhost::takeOutput(), c.text);
        EXPECT_EQ(Dataset::count_, before);  // the fresh dataset is gone
    }

    // 2D and 3D data ignore the time argument.
    args[1] = make(mxDOUBLE_CLASS, {2, 2, 2});
    std::unique_ptr<Dataset> volume(bridge->createDataset(3, args.data(), 1, "v", true));
    ASSERT_NE(volume, nullptr);
    mxArray* none = keep(bridge->createTimeArray(volume.get()));
    EXPECT_EQ(mexhost::dims(none), (std::vector<mwSize>{0, 2}));
    EXPECT_EQ(mexhost::takeOutput(), "");
    volume.reset();
    expectNoLeaks();
}

TEST_F(Bridge, PointsAndVectors) {
    int x = -7, y = -7, z = -7;
    EXPECT_TRUE(bridge->getPoint(make(mxDOUBLE_CLASS, {1, 3}, {1.9, 2.9, 3.9}), &x, &y, &z));
    EXPECT_EQ(std::vector<int>({x, y, z}), std::vector<int>({1, 2, 3}));
    EXPECT_TRUE(bridge->getPoint(make(mxDOUBLE_CLASS, {3, 1}, {-1.5, 0, 7}), &x, &y, &z));
    EXPECT_EQ(std::vector<int>({x, y, z}), std::vector<int>({-1, 0, 7}));
    EXPECT_TRUE(bridge->getPoint(make(mxINT32_CLASS, {1, 3}, {4, 5, 6}), &x, &y, &z));
    EXPECT_EQ(std::vector<int>({x, y, z}), std::vector<int>({4, 5, 6}));
    x = 99;
    EXPECT_FALSE(bridge->getPoint(make(mxDOUBLE_CLASS, {3, 3}, pattern(9)), &x, &y, &z));
    EXPECT_FALSE(bridge->getPoint(make(mxDOUBLE_CLASS, {1, 4}, pattern(4)), &x, &y, &z));
    EXPECT_FALSE(bridge->getPoint(make(mxLOGICAL_CLASS, {1, 3}), &x, &y, &z));
    EXPECT_FALSE(bridge->getPoint(make(mxDOUBLE_CLASS, {1, 1, 3}), &x, &y, &z));
    EXPECT_EQ(x, 99);  // untouched on failure

    std::vector<double> row, column;
    EXPECT_TRUE(bridge->getVector(make(mxDOUBLE_CLASS, {1, 5}, {1, 2, 3, 4, 5}), row));
    EXPECT_TRUE(bridge->getVector(make(mxDOUBLE_CLASS, {5, 1}, {1, 2, 3, 4, 5}), column));
    EXPECT_EQ(row, column);
    EXPECT_EQ(row, (std::vector<double>{1, 2, 3, 4, 5}));
    EXPECT_TRUE(bridge->getVector(make(mxUINT16_CLASS, {1, 2}, {300, 7}), row));
    EXPECT_EQ(row, (std::vector<double>{300, 7}));
    EXPECT_TRUE(bridge->getVector(make(mxDOUBLE_CLASS, {0, 1}), row));
    EXPECT_TRUE(row.empty());
    column = {8};
    EXPECT_FALSE(bridge->getVector(make(mxDOUBLE_CLASS, {0, 0}), column));
    EXPECT_FALSE(bridge->getVector(make(mxDOUBLE_CLASS, {2, 3}), column));
    EXPECT_FALSE(bridge->getVector(make(mxCHAR_CLASS, {1, 3}), column));
    EXPECT_EQ(column, std::vector<double>{8});

    EXPECT_TRUE(bridge->isScalar(make(mxDOUBLE_CLASS, {1, 1})));
    EXPECT_FALSE(bridge->isScalar(make(mxDOUBLE_CLASS, {1, 2})));
    EXPECT_TRUE(bridge->is2D(make(mxDOUBLE_CLASS, {1, 1})));
    EXPECT_TRUE(bridge->is3D(make(mxDOUBLE_CLASS, {1, 2, 2})));
    EXPECT_TRUE(bridge->is4D(make(mxDOUBLE_CLASS, {1, 1, 1, 2})));
    EXPECT_FALSE(bridge->is4D(make(mxDOUBLE_CLASS, {1, 1, 2, 1})));  // trailing 1 dropped
}

TEST_F(Bridge, OutputArraysOfVectorsAndUnits) {
    mxArray* v = keep(bridge->createDataArray1D({0.5, -1, 2}));
    EXPECT_EQ(mexhost::dims(v), (std::vector<mwSize>{3, 1}));
    EXPECT_EQ(mexhost::values(v), (std::vector<double>{0.5, -1, 2}));
    mxArray* empty = keep(bridge->createDataArray1D({}));
    EXPECT_EQ(mexhost::dims(empty), (std::vector<mwSize>{0, 1}));

    Unit unit("kBq/ml");
    mxArray* cell = nullptr;
    bridge->addOutputUnit(&cell, &unit);
    keep(cell);
    ASSERT_TRUE(cell && mxIsCell(cell));
    EXPECT_EQ(mexhost::dims(cell), (std::vector<mwSize>{3, 1}));
    EXPECT_EQ(mexhost::str(mxGetCell(cell, 0)), "kBq/ml");
    EXPECT_EQ(mexhost::str(mxGetCell(cell, 1)), "ACTIVITY");
    EXPECT_EQ(mxGetScalar(mxGetCell(cell, 2)), 1000.0);

    // A dataset of another dimension than asked for gives no array.
    {
        Dataset4D<double> series(2, 1, 1, 1);
        series.setName("s");
        EXPECT_EQ(bridge->createDataArray3D(&series), nullptr);
        EXPECT_EQ(mexhost::takeOutput(), "KINETRA: 3D data expected, data 's' is 4D\n");
    }
    expectNoLeaks();
}
