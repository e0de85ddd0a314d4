// The settings table of the optimizers drives set, get and show: a method's
// own key is one row, readable or not, shown or not.
#include <gtest/gtest.h>

#include "Optimizer.h"
#include "support/Session.h"

using test::Session;

namespace {

// A method with two keys of its own, as the global optimizer has them.
class Stepped : public Optimizer {
public:
    Stepped() : Optimizer("Stepped") {
        addSetting({"delta", OptimizerSetting::RECIPROCAL,
                    [](Optimizer& o) -> void* { return &static_cast<Stepped&>(o).step; }, true, nullptr});
        addSetting({"max_time", OptimizerSetting::REAL,
                    [](Optimizer& o) -> void* { return &static_cast<Stepped&>(o).maxTime; }, false, nullptr});
    }
    double step = 0.5;
    double maxTime = 5.0;
};

TEST(OptimizerSettings, RowsDriveSetGetAndShow) {
    Session s;
    Stepped* stepped = new Stepped;
    s.workspace->addOptimizer(stepped);
    s.call({"select", "optimizer", "Stepped"});

    EXPECT_EQ(s.call({"set", "optimizer", "delta", 4.9}).text, "");
    EXPECT_EQ(stepped->step, 0.25);
    EXPECT_EQ(mxGetScalar(s.call({"get", "optimizer", "delta"}).out()), 0.25);
    s.call({"set", "optimizer", "max_time", 1.5});
    EXPECT_EQ(stepped->maxTime, 1.5);
    // Set but not readable, like the argument tolerances of every optimizer.
    for (const char* key : {"max_time", "abs_delta_argument"})
        EXPECT_EQ(s.call({"get", "optimizer", key}).text,
                  std::string("WARNING: unknown optimizer parameter '") + key + "'\n" +
                      "KINETRA: unknown or invalid command 'get optimizer " + key + "'\n");
    s.call({"set", "optimizer", "maxiter", 12.9});
    s.call({"set", "optimizer", "statusfile", "a/b"});
    EXPECT_EQ(mxGetScalar(s.call({"get", "optimizer", "maxiter"}).out()), 12.0);
    EXPECT_EQ(stepped->statusfile, "a/b");
    // A text where a number belongs (and the reverse) is not a form.
    EXPECT_TRUE(s.call({"set", "optimizer", "delta", "x"}).text.find("unknown or invalid command") != std::string::npos);
    EXPECT_TRUE(s.call({"set", "optimizer", "statusfile", 3.0}).text.find("unknown or invalid") != std::string::npos);
    EXPECT_EQ(stepped->step, 0.25);

    // show prints the base's three columns only.
    const std::string table = s.call({"show", "optimizer"}).text;
    EXPECT_NE(table.find("*Stepped                      12    1e-09    0.001\n"), std::string::npos) << table;

    // Another optimizer has no such key.
    s.call({"select", "optimizer", "Levenberg-Marquardt"});
    EXPECT_EQ(s.call({"set", "optimizer", "delta", 1000.0}).text, "WARNING: unknown optimizer parameter 'delta'\n");
}

}  // namespace
