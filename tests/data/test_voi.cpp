// Volumes of interest: active voxels, containment and region statistics.
#include <gtest/gtest.h>

#include <cmath>

#include "VOI.h"
#include "data_support.h"

using datatest::takeText;

TEST(VOI, ActiveCountsAndContainment) {
    VOI full(2, 2, 2, 1), mixed(3, 1, 1, 0);
    mixed(1) = 1;
    mixed(2) = 7;  // any non-zero value is active
    EXPECT_EQ(mixed.numActive(), 2u);
    EXPECT_EQ(mixed.numInactive(), 1u);

    VOI subset(3, 1, 1, 0);
    subset(2) = 1;
    EXPECT_TRUE(mixed.contains(subset));
    EXPECT_FALSE(subset.contains(mixed));
    EXPECT_TRUE(subset.contains(VOI(3, 1, 1, 0)));  // the empty mask
    EXPECT_EQ(takeText(), "");

    mixed.setName("m");
    full.setName("f");
    EXPECT_FALSE(mixed.contains(full));
    EXPECT_EQ(takeText(), "ERROR VOI: VOI::contains() dimension mismatch 'm' (3x1x1) versus 'f' (2x2x2) \n");
}

TEST(VOI, StatisticsOverAVolume) {
    // Active values 1, 2, 3, 4 among inactive distractors.
    Dataset3D<int> data(3, 2, 1, 100);
    VOI mask(3, 2, 1, 0);
    const int values[] = {4, 1, 3, 2};
    const unsigned at[] = {0, 2, 3, 5};
    for (int i = 0; i < 4; ++i) {
        data(at[i]) = values[i];
        mask(at[i]) = 1;
    }
    EXPECT_EQ(mask.sum(data), 10.0);
    EXPECT_EQ(mask.mean(data), 2.5);
    EXPECT_EQ(mask.median(data), 3.0);  // upper middle, not 2.5
    EXPECT_EQ(mask.min(data), 1.0);
    EXPECT_EQ(mask.max(data), 4.0);
    EXPECT_DOUBLE_EQ(mask.sdev(data), std::sqrt(1.25));  // population form

    // Odd count: the true middle.
    Dataset3D<double> odd(3, 1, 1, 0.0);
    odd(0) = 9;
    odd(1) = -1;
    odd(2) = 5;
    EXPECT_EQ(VOI(3, 1, 1, 1).median(odd), 5.0);

    VOI empty(3, 1, 1, 0);  // no active voxel: zeros, and the mean 0/0
    EXPECT_EQ(empty.sum(odd) + empty.min(odd) + empty.median(odd), 0.0);
    EXPECT_TRUE(std::isnan(empty.mean(odd)));
    EXPECT_EQ(takeText(), "");
}

TEST(VOI, StatisticsGiveCurves) {
    Dataset3D<unsigned short> volume(2, 1, 1, 6);
    VOI mask(2, 1, 1, 1);
    Dataset4D<double> mean = mask.mean(&volume);
    EXPECT_EQ(mean.getDimensions(), (std::vector<unsigned>{1, 1, 1, 1}));
    EXPECT_EQ(mean(0, 0, 0, 0), 6.0);

    // A series: one value per frame, with the frames' times and unit.
    Dataset4D<short> series(3, 2, 1, 1, 0);
    for (unsigned t = 0; t < 3; ++t) {
        series(t, 0, 0, 0) = short(t), series(t, 1, 0, 0) = short(3 * t);
        series.setTime(t, 10.0 * t), series.setFrameLength(t, 10);
    }
    series.midframe_approx = true;
    series.setUnit(Unit("kBq/ml"));
    series.setTimeUnit(Unit("min"));
    Dataset4D<double> curve = mask.sum(&series);
    ASSERT_EQ(curve.getDimensionT(), 3u);
    EXPECT_EQ(curve.getTAC(0, 0, 0), (std::vector<double>{0, 4, 8}));
    EXPECT_EQ(curve.getModelTime(2), 25.0);
    EXPECT_EQ(curve.getTimeUnit().getName(), "s");
    EXPECT_EQ(mask.median(&series).getTAC(0, 0, 0), (std::vector<double>{0, 3, 6}));
    EXPECT_EQ(mask.max(series).getTAC(0, 0, 0), (std::vector<double>{0, 3, 6}));

    // Other dimensions give an empty series and no report.
    Dataset2D<double> slice(2, 1, 1.0);
    EXPECT_EQ(mask.mean(&slice).getDimensionT(), 0u);
    EXPECT_EQ(mask.sdev(nullptr).getDimensionT(), 0u);
    EXPECT_EQ(takeText(), "");
}

TEST(VOI, GridMismatchIsReportedAndReadAsFarAsBothGo) {
    VOI mask(2, 2, 1, 1);
    Dataset3D<double> smaller(3, 1, 1, 2.0);
    EXPECT_EQ(mask.sum(&smaller)(0, 0, 0, 0), 6.0);
    EXPECT_EQ(takeText(), "ERROR VOI: invalid data dimensions (3,1,1)  \n");
    Dataset3D<double> scalar(1, 1, 1, 2.0);
    EXPECT_EQ(mask.sum(scalar), 8.0);
    takeText();
}
