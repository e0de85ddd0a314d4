// The filter and cluster commands: every refused form with its text, the
// outputs of each form, normalisation, and temporaries that leave the
// workspace as it was.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "Dataset.h"
#include "data/data_support.h"
#include "support/Session.h"

using mexhost::dims;
using mexhost::str;
using mexhost::values;
using test::Dims;
using test::doubles;
using test::Result;
using test::Session;
using test::unknown;
using test::Values;

namespace {

using Args = std::vector<test::Arg>;

// A Z x Y x X x T array (Matlab order) with element (t, x, y, z) = f.
template <class F>
mxArray* series(unsigned Z, unsigned Y, unsigned X, unsigned T, F f) {
    Values v;
    for (unsigned t = 0; t < T; ++t)
        for (unsigned x = 0; x < X; ++x)
            for (unsigned y = 0; y < Y; ++y)
                for (unsigned z = 0; z < Z; ++z) v.push_back(f(t, x, y, z));
    return doubles({Z, Y, X, T}, v);
}

mxArray* logicals(Dims sizes, Values v) { return mexhost::makeArray(mxLOGICAL_CLASS, sizes, v); }
mxArray* all4() { return logicals({1, 1, 4}, {1, 1, 1, 1}); }

// A 1x1x4 voxel row of T frames: voxel x has the curve (x + 1) * (t + 1).
mxArray* row4(unsigned T) {
    return series(1, 1, 4, T, [](unsigned t, unsigned x, unsigned, unsigned) { return (x + 1.0) * (t + 1.0); });
}

std::string text(const Result& r) {
    std::string t = r.text;
    for (size_t at = t.find("ERROR "); at != std::string::npos; at = t.find("ERROR ", at + 1)) {
        const size_t open = t.find('(', at), close = t.find("): ", at);
        if (open != std::string::npos && close != std::string::npos && open < close) t.erase(open, close - open + 1);
    }
    return t;
}

const char* kHead = "ERROR interfaces/MatlabInterface: ";

// A refused call: its text, a false answer, and a workspace left empty.
struct Refused {
    const char* label;
    Args (*args)();
    std::string text;
};
template <size_t N>
void expectRefused(const Refused (&cases)[N], int nlhs) {
    for (const Refused& c : cases) {
        Session s;
        Result r = s.call(c.args(), nlhs);
        EXPECT_EQ(text(r), c.text) << c.label;
        EXPECT_TRUE(r.isFalse()) << c.label;
        EXPECT_TRUE(s.workspace->getData().empty() && s.workspace->getVOI().empty()) << c.label;
    }
}

}  // namespace

TEST(FilterCommand, RefusedFormsPrintTheirTextAndReturnNothing) {
    const std::string head = kHead;
    const Refused cases[] = {
        {"two arguments", [] { return Args{"filter", row4(2)}; }, unknown("filter ...")},
        {"unknown data", [] { return Args{"filter", "none", "tmean2"}; }, "KINETRA: cannot find dataset 'none'\n"},
        {"2D data", [] { return Args{"filter", doubles({3, 3}), "tmean2"}; }, "KINETRA: data is not 3D or 4D\n"},
        {"voi too few", [] { return Args{"filter", row4(2), "voi", all4()}; }, unknown("filter ... voi ...")},
        {"norm too few", [] { return Args{"filter", row4(2), "norm", "mean", "a"}; },
         unknown("filter ... norm mean a")},
        {"unknown VOI", [] { return Args{"filter", row4(2), "voi", "none", "mean"}; },
         "KINETRA: cannot find VOI 'none'\n"},
        {"VOI of doubles", [] { return Args{"filter", row4(2), "voi", doubles({1, 1, 4}), "mean"}; },
         "KINETRA: VOI is not 3D\n"},
        {"voi on 3D", [] { return Args{"filter", doubles({1, 1, 4}), "voi", all4(), "mean"}; },
         "KINETRA: data '_filter_data_' is not 4D\n"},
        {"unknown VOI method", [] { return Args{"filter", row4(2), "voi", all4(), "mode"}; },
         "WARNING: unknown VOI method 'mode'"},
        {"norm by a sum", [] { return Args{"filter", row4(2), "norm", "sum", all4(), all4()}; }, head + " \n"},
    };
    expectRefused(cases, 3);
}

// The Octave filter test checks the time filters' values, times and unit
// cells, and the norm of a series; here the other output forms.
TEST(FilterCommand, OutputsOfEachForm) {
    Session s;
    s.call({"set", "data", "d", row4(3), doubles({3, 2}, {0, 10, 30, 10, 20, 30})});
    s.call({"set", "data", "d", "unit", "kBq/ml"});
    // A VOI statistic: one value per frame, with the data's times and unit.
    Result stat = s.call({"filter", "d", "voi", logicals({1, 1, 4}, {0, 1, 1, 0}), "sum"}, 3);
    EXPECT_EQ(dims(stat.out(0)), (Dims{1, 1, 1, 3}));
    EXPECT_EQ(values(stat.out(0)), (Values{5, 10, 15}));
    EXPECT_EQ(values(stat.out(1)), (Values{0, 10, 30, 10, 20, 30}));
    EXPECT_EQ(str(mxGetCell(stat.out(2), 0)), "kBq/ml");
    // An unrecognised name with three arguments: zeros of the data's shape.
    EXPECT_EQ(values(s.call({"filter", "d", "nothing"}, 1).out(0)), Values(12, 0.0));
    // 3D results: the array and the unit cell, nothing in a third slot.
    Result crop = s.call({"filter", doubles({2, 2, 3}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}), "crop1:2,0:0,1:1"}, 3);
    EXPECT_EQ(values(crop.out(0)), (Values{5, 9}));  // (x, y, z) = (1, 0, 1) and (2, 0, 1)
    EXPECT_TRUE(mxIsCell(crop.out(1)) && mxIsLogical(crop.out(2)));
    // A 3D image is normalised by the one value.
    Result volume = s.call({"filter", doubles({1, 1, 2}, {2, 6}), "norm", "max", logicals({1, 1, 2}, {1, 0}),
                            logicals({1, 1, 2}, {1, 1})});
    EXPECT_EQ(values(volume.out(0)), (Values{1, 3}));
}

TEST(FilterCommand, TemporariesNeverTouchTheWorkspace) {
    Session s;
    // Objects that the user named as the temporaries are named.
    s.call({"set", "data", "_filter_data_", doubles({1, 1, 2}, {7, 8})});
    s.call({"set", "data", "_cluster_data_", doubles({1, 1, 2}, {7, 8})});
    s.call({"set", "voi", "_filter_voi_", logicals({1, 1, 2}, {1, 1})});
    s.call({"set", "voi", "_filter_voi1_", logicals({1, 1, 2}, {1, 1})});
    s.call({"filter", row4(2), "voi", all4(), "mean"});
    s.call({"filter", row4(2), "norm", "mean", all4(), all4()});
    s.call({"filter", "_filter_data_", "pad4"});
    s.call({"cluster", row4(2), logicals({1, 1, 4}, {1, 1, 0, 0}), 2, "L2"});
    EXPECT_EQ(s.workspace->getData(), (std::vector<std::string>{"_cluster_data_", "_filter_data_"}));
    EXPECT_EQ(s.workspace->getVOI(), (std::vector<std::string>{"_filter_voi1_", "_filter_voi_"}));
    const Dataset* kept = s.workspace->getData("_filter_data_");
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->getValue3D(1, 0, 0), 8.0);
}

TEST(ClusterCommand, RefusedForms) {
    const std::string head = kHead;
    const Refused cases[] = {
        {"three arguments", [] { return Args{"cluster", row4(2), 2}; },
         "WARNING: cluster needs at least 2 arguments: data n dist\n"},
        {"unknown VOI", [] { return Args{"cluster", row4(2), "none", 2, "L2"}; },
         head + "VOI 'none' not found\n \n"},
        {"NaN count", [] { return Args{"cluster", row4(2), NAN, "L2"}; },
         head + "number of clusters must be > 0 \n"},
        {"distance no string", [] { return Args{"cluster", row4(2), 2, 1}; },
         head + "distance must be a string of 'L1', 'L2', 'WL1', 'WL2' \n"},
        {"thresholds of another count",
         [] { return Args{"cluster", row4(2), 2, doubles({1, 3}, {0.1, 0.5, 0.9}), "L2"}; }, ""},
        {"too many arguments", [] { return Args{"cluster", row4(2), 2, doubles({1, 2}, {0.1, 0.9}), 1, "L2"}; },
         unknown("cluster ... ... ... ... L2")},
    };
    expectRefused(cases, 1);
}

TEST(ClusterCommand, LabelsOfEachForm) {
    Session s;
    // Curves (x + 1)(t + 1): k-means with 2 clusters splits 1, 2 from 3, 4.
    Result plain = s.call({"cluster", row4(3), 2, "L2"});
    EXPECT_EQ(plain.text, "4D k-means clustering with L2-distance \n");
    EXPECT_EQ(dims(plain.out(0)), (Dims{1, 1, 4}));
    EXPECT_EQ(values(plain.out(0)), (Values{1, 1, 2, 2}));
    EXPECT_EQ(mxGetClassID(plain.out(0)), mxUINT8_CLASS);

    // Inside a VOI; outside stays 0.
    s.call({"set", "voi", "v", logicals({1, 1, 4}, {0, 1, 1, 1})});
    Result masked = s.call({"cluster", row4(3), "v", 2, "L1"});
    EXPECT_EQ(masked.text, "4D k-means clustering with L1-distance on VOI 'v' (3) \n");
    // Voxel 2 lies as far from both start means (L1 3 each): the lower wins.
    EXPECT_EQ(values(masked.out(0)), (Values{0, 1, 1, 2}));

    // Thresholds on a volume: means at 0.1 and 0.9 of 0..10.
    Result fixed = s.call({"cluster", doubles({1, 1, 4}, {0, 4, 6, 10}), all4(), 2,
                           doubles({1, 2}, {0.1, 0.9}), "L2"});
    EXPECT_EQ(values(fixed.out(0)), (Values{1, 1, 2, 2}));

    // Weighted distances take the frame lengths: (6, 2) lies nearer (2.5, 2.5)
    // unweighted, nearer (7.5, 7.5) with lengths 10 and 1.
    const Values curves{0, 10, 6, 0, 10, 2};  // frame 0 of voxels 0..2, then frame 1
    s.call({"set", "data", "w", doubles({1, 1, 3, 2}, curves), doubles({2, 2}, {0, 10, 10, 1})});
    Result weighted = s.call({"cluster", "w", 2, doubles({1, 2}, {0.25, 0.75}), "WL2"});
    EXPECT_EQ(values(weighted.out(0)), (Values{1, 2, 2}));
    Result unweighted = s.call({"cluster", "w", 2, doubles({1, 2}, {0.25, 0.75}), "L2"});
    EXPECT_EQ(values(unweighted.out(0)), (Values{1, 2, 1}));
    EXPECT_EQ(s.workspace->getData(), (std::vector<std::string>{"w"}));
}
