// One visitor for every dataset by its own tags, the element table, frame
// times without the element type, and sizes too large to allocate.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "Dataset.visit.h"
#include "VOI.h"
#include "data_support.h"

namespace {

// What the visitor handed over: the class's dimension count and type name.
struct Seen {
    unsigned dimensions = 0;
    std::string type;
    bool constant = false;
};

template <class D>
Seen seen(D&) {
    using Class = DatasetClass<typename std::remove_const<D>::type>;
    return {Class::dimensions, typeName<typename Class::element>(), std::is_const<D>::value};
}

template <class T>
void expectEveryClass() {
    Dataset2D<T> slice(2, 3);
    Dataset3D<T> volume(2, 3, 4);
    Dataset4D<T> series(2, 2, 3, 4);
    Dataset* all[] = {&slice, &volume, &series};
    for (Dataset* d : all) {
        Seen s;
        EXPECT_TRUE(visitDataset(*d, [&](auto& typed) { s = seen(typed); }));
        EXPECT_EQ(s.dimensions, d->getNumDimensions());
        EXPECT_EQ(s.type, typeName<T>());
        EXPECT_FALSE(s.constant);
        const Dataset& c = *d;
        EXPECT_TRUE(visitDataset(c, [&](auto& typed) { s = seen(typed); }));
        EXPECT_TRUE(s.constant);
        // The narrow variants take their own class only.
        EXPECT_EQ(visitDataset3D(c, [](const auto&) {}), d->getNumDimensions() == 3);
        EXPECT_EQ(visitDataset4D(*d, [](auto&) {}), d->getNumDimensions() == 4);
    }
    EXPECT_EQ(datasetAs<Dataset3D<T>>(series), nullptr);
    EXPECT_EQ(datasetAs<Dataset4D<T>>(static_cast<const Dataset&>(series)), &series);
}

// A dataset whose tags name no known class.
struct Mislabelled : Dataset3D<float> {
    Mislabelled(const std::string& type, unsigned dimension) {
        type_ = type;
        dimension_ = dimension;
    }
};

}  // namespace

TEST(Visit, ReachesEveryClassByItsTags) {
    expectEveryClass<double>();
    expectEveryClass<float>();
    expectEveryClass<int>();
    expectEveryClass<unsigned short>();
    expectEveryClass<short>();
    expectEveryClass<unsigned char>();

    VOI voi(2, 2, 2, 1);  // a mask is a uchar volume
    EXPECT_EQ(datasetAs<Dataset3D<unsigned char>>(voi), &voi);

    int calls = 0;
    EXPECT_FALSE(visitDataset(Mislabelled("complex", 3), [&](auto&) { ++calls; }));
    EXPECT_FALSE(visitDataset(Mislabelled("float", 5), [&](auto&) { ++calls; }));
    EXPECT_EQ(datasetAs<Dataset3D<float>>(Mislabelled("float", 4)), nullptr);
    EXPECT_EQ(calls, 0);
}

// The Octave tests carry every element type through to its Matlab class.
TEST(Visit, ElementNamesAreExact) {
    EXPECT_FALSE(dispatchType("Double", [](auto) {}));
    EXPECT_EQ(Dataset::pixelValue(short(32767)), 1.0);
    EXPECT_EQ(Dataset::pixelValue((unsigned char)51), 0.2);
}

TEST(Visit, FrameTimesWithoutTheElementType) {
    Dataset4D<short> series(3, 1, 1, 1);
    Dataset& d = series;
    ASSERT_NE(d.series(), nullptr);
    d.series()->setTime({0.0, 10.0, 30.0});
    d.series()->setFrameLength({10.0, 20.0, 40.0});
    EXPECT_EQ(d.series()->getModelTime(), (std::vector<double>{0.0, 10.0, 30.0}));
    d.series()->setMidframeApprox(true);
    EXPECT_EQ(d.series()->getModelTime(), (std::vector<double>{5.0, 20.0, 50.0}));
    EXPECT_EQ(series.getTime(), (std::vector<double>{0.0, 10.0, 30.0}));  // stored starts untouched
    // The flag travels with a copy and an assignment; volumes have no frames.
    Dataset4D<short> assigned;
    assigned = series;
    EXPECT_TRUE(Dataset4D<short>(series).getMidframeApprox());
    EXPECT_EQ(assigned.getModelTime(2), 50.0);
    Dataset3D<short> volume;
    EXPECT_EQ(static_cast<Dataset&>(volume).series(), nullptr);
}

TEST(Visit, AbsurdSizesAreRefusedBeforeAllocation) {
    datatest::Verbosity quiet(0);
    mexhost::clearOutput();
    struct Case {
        const char* what;
        Dataset* data;
        unsigned (*grow)(Dataset*);
        const char* error;
    };
    Dataset2D<double> slice(2, 2);
    Dataset3D<float> volume(2, 2, 2);
    Dataset4D<int> series(2, 2, 2, 2);
    slice.setName("s"), volume.setName("v"), series.setName("f");
    const Case cases[] = {
        // 65536 * 65536 wraps to 0 in 32 bits.
        {"2D wrap", &slice, [](Dataset* d) { return d->resize(65536u, 65536u); },
         "ERROR Dataset: dataset 's' of size 65536x65536 is too large \n"},
        // 2^40 elements: beyond the unsigned index and beyond 2^40 bytes.
        {"3D count", &volume, [](Dataset* d) { return d->resize(1u << 14, 1u << 14, 1u << 12); },
         "ERROR Dataset: dataset 'v' of size 16384x16384x4096 is too large \n"},
        {"4D count", &series, [](Dataset* d) { return d->resize(1u << 10, 1u << 10, 1u << 10, 1u << 4); },
         "ERROR Dataset: dataset 'f' of size 1024x1024x1024x16 is too large \n"},
    };
    for (const Case& c : cases) {
        const std::vector<unsigned> before = c.data->getDimensions();
        const unsigned elements = c.data->getNumElements();
        EXPECT_EQ(c.grow(c.data), elements) << c.what;
        EXPECT_EQ(c.data->getDimensions(), before) << c.what;
        EXPECT_EQ(datatest::takeText(), c.error) << c.what;
    }
    // A refused constructor leaves an empty dataset that is still usable.
    Dataset3D<double> huge(1u << 20, 1u << 20, 1u << 10);
    EXPECT_EQ(huge.getNumElements(), 0u);
    EXPECT_NE(datatest::takeText().find("is too large"), std::string::npos);
    EXPECT_EQ(huge.resize(2, 2, 2), 8u);
}
