// The message layer: levels, indent, warnings, errors, assertions, log file.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

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
    // A FIFO without a reader would block the open forever; a folder is no file.
    const std::string fifo = std::string(getenv("HOME")) + "/log.fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    SetMessageLogfile(logPath());
    for (const std::string& name : {std::string("/nonexistent-dir/x.log"), fifo, std::string(getenv("HOME"))}) {
        mexhost::clearOutput();
        SetMessageLogfile(name);
        EXPECT_NE(mexhost::takeOutput().find("): cannot open logfile '" + name + "' \n"), std::string::npos);
    }
    MESSAGE(1, "still logged\n");
    ResetMessageLogfile();
    EXPECT_EQ(slurp(logPath()), "still logged\n");
    unlink(fifo.c_str());
}

// Everything printed passes the installed console as finished text, in the
// pieces the host would see; no sink restores standard output.
TEST_F(MessageTest, TheConsoleIsASink) {
    static std::vector<std::string> pieces;
    pieces.clear();
    const MessageSink host = getMessageSink();
    setMessageSink([](const char* text) { pieces.push_back(text); });
    _MessageHelper::indent(2);
    MESSAGE(1, "%d%%\n", 5);
    WARNING("w %s\n", "%d");
    ERROR("e %d", 1);
    _MessageHelper::outdent(2);
    ASSERT_EQ(pieces.size(), 7u);
    EXPECT_EQ(pieces[0] + "|" + pieces[1], "  |5%\n");
    EXPECT_EQ(pieces[2] + "|" + pieces[3], "WARNING: |w %d\n");
    EXPECT_EQ(pieces[4].substr(0, 6) + "|" + pieces[5] + "|" + pieces[6], "ERROR |e 1| \n");
    setMessageSink(nullptr);
    EXPECT_NE(getMessageSink(), host);
    setMessageSink(host);
    EXPECT_EQ(mexhost::takeOutput(), "");
}

// Work on another thread prints nothing itself: its texts, log copies
// included, come out on the calling thread at replay, byte for byte what the
// same calls print directly, with the indent handed to the thread.
TEST_F(MessageTest, CapturedThreadTextsReplayAsPrinted) {
    _MessageHelper::verbosity_ = 3;
    SetMessageLogfile(logPath());
    _MessageHelper::indent(4);
    auto speak = [] {
        MESSAGE(2, "voxel %d\n", 7);
        _MessageHelper::indent(2);
        MESSAGE(3, "inner 100%%%%\n");
        WARNING("careful %s\n", "now");
        ERROR("failed %d", 1);
        MESSAGE(9, "never\n");
        _MessageHelper::outdent(2);
        MESSAGE(1, "done\n");
    };
    speak();
    const std::string direct = mexhost::takeOutput();
    const std::string directLog = slurp(logPath());

    SetMessageLogfile(logPath());  // a fresh log for the captured run
    MessageCapture capture;
    std::thread worker([&] {
        MessageCapture::Scope scope(capture, "    ");
        speak();
    });
    worker.join();
    EXPECT_EQ(mexhost::takeOutput(), "");
    EXPECT_EQ(slurp(logPath()), "");
    capture.replay();
    EXPECT_EQ(mexhost::takeOutput(), direct);
    EXPECT_EQ(slurp(logPath()), directLog);
    EXPECT_EQ(_MessageHelper::indent_, "    ");  // the calling thread's indent is its own
}
