// Clustering: worked k-means and threshold cases, weights, empty clusters,
// NaN voxels, the report and the refused settings.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <sstream>

#include "VOI.h"
#include "data/data_support.h"
#include "util/Cluster.h"

using datatest::takeText;

namespace {

Dataset3D<double> line(std::vector<double> values) {
    Dataset3D<double> d(unsigned(values.size()), 1, 1);
    for (unsigned i = 0; i < values.size(); ++i) d(i) = values[i];
    return d;
}

std::vector<int> labelsOf(const Dataset3D<unsigned char>& image) {
    std::vector<int> out;
    for (unsigned i = 0; i < image.getVolumeSize(); ++i) out.push_back(image(i));
    return out;
}

const std::string kRule(78, '=');

}  // namespace

TEST(Cluster, KMeansByHand) {
    // 0..10, K = 2: start means 2.5 and 7.5; 5 is a tie and goes to cluster 0;
    // the means become 2.5 and 8, and nothing moves again.
    Dataset3D<double> data = line({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
    Cluster cluster(2);
    std::unique_ptr<Dataset3D<unsigned char>> image(cluster.compute(&data, nullptr));
    ASSERT_TRUE(image);
    EXPECT_EQ(labelsOf(*image), (std::vector<int>{1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2}));
    EXPECT_EQ(takeText(), "3D k-means clustering with L2-distance \n");
    std::ostringstream report;
    cluster.status(report);
    EXPECT_EQ(report.str(), "Cluster iteration 1 \nCLUSTER SAMPLES MEAN\n" + kRule + "\n" +
                                "    0         6 2.5 \n    1         5 8 \n" + kRule + "\n  ALL        11 \n");

    // Integer data inside a VOI: voxels outside stay 0 and don't move the range.
    Dataset3D<short> shorts(4, 1, 1);
    shorts(0) = 100, shorts(1) = 0, shorts(2) = 1, shorts(3) = 9;
    VOI voi(4, 1, 1, 1);
    voi(0) = 0;
    voi.setName("v");
    Cluster l1(2);
    l1.setDistance("L1");
    image.reset(l1.compute(&shorts, &voi));
    EXPECT_EQ(labelsOf(*image), (std::vector<int>{0, 1, 1, 2}));
    EXPECT_EQ(l1.getMean(1), std::vector<double>{9});
    EXPECT_EQ(takeText(), "3D k-means clustering with L1-distance on VOI 'v' (3) \n");
}

TEST(Cluster, EmptyClusterMeanGoesToZero) {
    // Start means 5/3, 5, 25/3: the zeros go to 0, the 10 to 2; cluster 1
    // empties and its mean becomes 0, tying with cluster 0, which wins.
    Dataset3D<double> data = line({0, 0, 0, 10});
    Cluster cluster(3);
    std::unique_ptr<Dataset3D<unsigned char>> image(cluster.compute(&data, nullptr));
    EXPECT_EQ(labelsOf(*image), (std::vector<int>{1, 1, 1, 3}));
    EXPECT_EQ(cluster.getCounts(), (std::vector<unsigned>{3, 0, 1}));
    EXPECT_EQ(cluster.getMean(1), std::vector<double>{0});
    takeText();
}

TEST(Cluster, ThresholdsAndWeights) {
    // Two frames; the range is (0, 0) to (10, 10); K = 2 spaced means
    // (2.5, 2.5) and (7.5, 7.5). (6, 2) is nearer the first by L2 (12.5 against
    // 32.5), nearer the second with weights 10, 1 (122.75 against 52.75).
    Dataset4D<float> data(2, 3, 1, 1);
    const float curves[3][2] = {{0, 0}, {10, 10}, {6, 2}};
    for (unsigned i = 0; i < 6; ++i) data(i % 2, i / 2) = curves[i / 2][i % 2];
    Cluster plain(2);
    plain.setMethod("threshold");
    std::unique_ptr<Dataset3D<unsigned char>> image(plain.compute(&data, nullptr));
    EXPECT_EQ(labelsOf(*image), (std::vector<int>{1, 2, 1}));
    EXPECT_EQ(plain.getIterations(), 0u);
    EXPECT_EQ(plain.getMean(1), (std::vector<double>{7.5, 7.5}));

    Cluster weighted(2);
    weighted.setMethod("threshold");
    weighted.setDistance("WL2");
    weighted.setWeights({10, 1});
    image.reset(weighted.compute(&data, nullptr));
    EXPECT_EQ(labelsOf(*image), (std::vector<int>{1, 2, 2}));
    // Weights of the wrong length become all 1.
    Cluster ones(2);
    ones.setMethod("threshold");
    ones.setDistance("WL1");
    ones.setWeights({10});
    image.reset(ones.compute(&data, nullptr));
    EXPECT_EQ(ones.getWeights(), (std::vector<double>{1, 1}));
    EXPECT_EQ(takeText(), "4D threshold clustering with L2-distance \n4D threshold clustering with WL2-distance \n"
                          "4D threshold clustering with WL1-distance \n");

    // Given thresholds: the first mean at 0.1 of the range, the second at 0.9.
    Cluster given(2);
    given.setMethod("threshold");
    given.setThreshold({0.1, 0.9});
    Dataset3D<double> values = line({0, 4, 6, 10});
    image.reset(given.compute(&values, nullptr));
    EXPECT_EQ(labelsOf(*image), (std::vector<int>{1, 1, 2, 2}));
    EXPECT_EQ(given.getMean(0), std::vector<double>{1});
    takeText();
}

TEST(Cluster, RefusalsAndNaN) {
    Cluster big(256);
    EXPECT_EQ(big.getNumCluster(), 0u);
    Dataset3D<double> data = line({0, NAN, 10, 1});
    EXPECT_EQ(big.compute(&data, nullptr), nullptr);
    EXPECT_EQ(takeText(), "ERROR util/Cluster: more than 255 clusters not supported! \n"
                          "3D k-means clustering with L2-distance \nERROR util/Cluster: no clusters to compute \n");

    Cluster cluster(2);
    cluster.setMethod("median");
    cluster.setDistance("L3");
    cluster.setThreshold({0.5});
    cluster.setThreshold({-1, 0.5});
    EXPECT_TRUE(cluster.getMean(2).empty());
    EXPECT_EQ(takeText(), "ERROR util/Cluster: unknown cluster method 'median \n"
                          "ERROR util/Cluster: unknown distance function 'L3' \n"
                          "ERROR util/Cluster: threshold size (1) != number of clusters (2) \n"
                          "WARNING: invalid threshold value thresh[0] = -1"
                          "ERROR util/Cluster: Cluster::getMean () invalid cluster index 2 \n");

    // NaN voxels stay unclustered; the others are clustered as without them.
    Cluster nan(2);
    std::unique_ptr<Dataset3D<unsigned char>> image(nan.compute(&data, nullptr));
    ASSERT_TRUE(image);
    EXPECT_EQ(labelsOf(*image), (std::vector<int>{1, 0, 2, 1}));
    EXPECT_EQ(takeText(), "3D k-means clustering with L2-distance \n"
                          "WARNING: 1 voxels with NaN or infinite values are not clustered\n");

    // A run that does not converge gives no image.
    Cluster stopped(2);
    stopped.setMaxIterations(0);
    EXPECT_EQ(stopped.compute(&data, nullptr), nullptr);
    EXPECT_EQ(takeText(), "3D k-means clustering with L2-distance \n"
                          "WARNING: 1 voxels with NaN or infinite values are not clustered\n"
                          "WARNING: kmeans did not converge after maximum iterations");

    // The method "mean" needs its means first.
    Cluster given(2);
    given.setMethod("mean");
    EXPECT_EQ(given.compute(data.getData(), 4, 1), -1);
    EXPECT_EQ(takeText(), "ERROR util/Cluster: Cluster::init () no means set for 2 clusters of 1 values \n");
    // A VOI of another grid is refused.
    VOI other(2, 2, 1, 1);
    EXPECT_EQ(given.compute(&data, &other), nullptr);
    EXPECT_NE(takeText().find("ERROR util/Cluster: VOI grid 2x2x1 differs from the data's 4x1x1 \n"),
              std::string::npos);
}
