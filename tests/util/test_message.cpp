// The message layer: levels, indent, warnings, errors, assertions, log file.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "mexhost.h"
#include "util/Message.h"

namespace {

struct MessageTest : ::testing::Test {
    void SetUp() override {
        _MessageHelper::verbosity_ = 1;
        _MessageHelper::indent_.clear();
        mexhost::clearOutput();
    }
    void TearDown() override {
        ResetMessageLogfile();
        _MessageHelper::verbosity_ = 1;
        _MessageHelper::indent_.clear();
        mexhost::clearOutput();
    }
    std::string logPath() const { return std::string(getenv("HOME")) + "/message.log"; }
    static std::string slurp(const std::string& path) {
        std::ifstream in(path);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
};

}  // namespace

TEST_F(MessageTest, LevelsFollowTheVerbosity) {
    _MessageHelper::verbosity_ = 3;
    MESSAGE(1, "one %d\n", 1);
    MESSAGE(3, "three\n");
    MESSAGE(4, "four\n");
    EXPECT_EQ(mexhost::takeOutput(), "one 1\nthree\n");

    _MessageHelper::verbosity_ = 0;
    MESSAGE(1, "one\n");
    WARNING("careful\n");
    ERROR("broken %s", "thing");
    ASSERT(1 == 2);
    std::string out = mexhost::takeOutput();
    EXPECT_EQ(out.find("ERROR util/test_message("), std::string::npos);  // tests are not below src/
    EXPECT_NE(out.find("): broken thing \nASSERT FAILED: "), std::string::npos);
    EXPECT_EQ(out.find("one"), std::string::npos);
    EXPECT_EQ(out.find("careful"), std::string::npos);
}

TEST_F(MessageTest, IndentAppliesToMessagesButNotWarnings) {
    _MessageHelper::indent(2);
    _MessageHelper::indent(2);
    MESSAGE(1, "a\n");
    WARNING("w\n");
    MESSAGE(1, "b\n");
    _MessageHelper::outdent(2);
    MESSAGE(1, "c\n");
    _MessageHelper::outdent(2);
    _MessageHelper::outdent(2);  // past zero: empty, no fault
    MESSAGE(1, "d\n");
    EXPECT_EQ(mexhost::takeOutput(), "    a\nWARNING: w\n    b\n  c\nd\n");
}

TEST_F(MessageTest, PercentSurvivingFormattingIsReadAgain) {
    MESSAGE(1, "%s\n", "100%%");
    EXPECT_EQ(mexhost::takeOutput(), "100%\n");
    // Any other conversion in a user's text stays as it is: nothing is read.
    MESSAGE(1, "'%s'\n", "a %s %n %d b");
    EXPECT_EQ(mexhost::takeOutput(), "'a %s %n %d b'\n");
}

TEST_F(MessageTest, ModuleNamesOfErrorHeads) {
    EXPECT_EQ(moduleName("/work/main/src/util/Message.cpp"), "util/Message");
    EXPECT_EQ(moduleName("/x/src/Dataset.h"), "Dataset");
    EXPECT_EQ(moduleName("src/interfaces/MatlabInterface.set.cpp"), "interfaces/MatlabInterface");
    EXPECT_EQ(moduleName("/a/src/b/src/models/Generic_1TC_Model.cpp"), "models/Generic_1TC_Model");
    _ErrorHelper("/p/src/Dataset.cpp", 12)("bad %d", 7);
    EXPECT_EQ(mexhost::takeOutput(), "ERROR Dataset(12): bad 7 \n");
}

TEST_F(MessageTest, LogFileTakesMessagesAndWarningsOnly) {
    SetMessageLogfile(logPath());
    _MessageHelper::indent(2);
    MESSAGE(1, "logged\n");
    WARNING("warned\n");
    ERROR("not logged");
    _MessageHelper::outdent(2);
    ResetMessageLogfile();
    MESSAGE(1, "console only\n");
    EXPECT_EQ(slurp(logPath()), "  logged\nWARNING: warned\n");

    // Setting the same name again truncates it.
    SetMessageLogfile(logPath());
    MESSAGE(1, "fresh\n");
    SetMessageLogfile("");
    EXPECT_EQ(slurp(logPath()), "fresh\n");
}

TEST_F(MessageTest, UnopenableLogKeepsTheOldOne) {
    SetMessageLogfile(logPath());
    mexhost::clearOutput();
    SetMessageLogfile("/nonexistent-dir/x.log");
    EXPECT_NE(mexhost::takeOutput().find("): cannot open logfile '/nonexistent-dir/x.log' \n"), std::string::npos);
    MESSAGE(1, "still logged\n");
    ResetMessageLogfile();
    EXPECT_EQ(slurp(logPath()), "still logged\n");
}
