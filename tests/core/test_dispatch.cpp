// The command spine as a user meets it: dispatch, help, failures of the
// Matlab route, the text route, reset and status.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/Session.h"

using test::Result;
using test::Session;

namespace {

const char* const kOverview =
    "KINETRA Pharmacokinetic Modeling Toolbox\nThe following commands are available:\n"
    "  'cluster' : cluster data in kinetra\n"
    "  'create'  : create data|voi in kinetra\n"
    "  'delete'  : delete data|voi in kinetra\n"
    "  'exit'    : stop execution of the current kinetra script\n"
    "  'filter'  : filter data in kinetra\n"
    "  'get'     : get ...\n"
    "  'help'    : this help, additional arguments provide\n"
    "              more detailed information on those topics\n"
    "  'process' : perform the analysis defined by the current protocol\n"
    "  QUIT                          stop processing file or stop program\n"
    "  'read'    : read data|tac|voi from file to kinetra and Matlab\n"
    "  'reset'   : reset everything to the initial state\n"
    "  'select'  : select input|model|optimizer|protocol ...\n"
    "  'set'     : set ...\n"
    "  'show'    : show input|model|optimizer|protocol ...\n"
    "  'status'  : show a status message\n"
    "  'write'   : write data|tac|voi from kinetra to file\n";

}  // namespace

// The banner, the unknown-command lines, exit and quit, reset and status are
// pinned where a user sees them, in the Octave spine test.
TEST(Dispatch, OverviewAndHelpTopics) {
    Session s;
    Result none = s.call({});
    EXPECT_EQ(none.text, kOverview);
    EXPECT_TRUE(none.isFalse());
    Result r = s.call({"help", "nosuch", "set"});
    ASSERT_EQ(r.text.find("no help for 'nosuch'\n kinetra ('set', ...)\nset variable or parameter"), 0u);
    EXPECT_NE(r.text.find("  SET VOI name = name1 op name2 \n"), std::string::npos);
    EXPECT_EQ(s.call({"help", "SET"}).text, "no help for 'SET'\n");
    EXPECT_EQ(s.call({"Help"}).text, "KINETRA: unknown or invalid command 'Help'\n");
    EXPECT_EQ(s.call({"help", "quit"}).text, "QUIT\nin combination with file: stop processing file\notherwise exit program\n");
    EXPECT_EQ(s.call({"help", 5.0}).text, "KINETRA: array element is no string\nno help for ''\n");
    EXPECT_EQ(s.call({"help", "help"}).text.substr(0, 42), " KINETRA Pharmacokinetic Modeling Toolbox\n");
}

TEST(Dispatch, VerbosityZeroSilencesAllButErrors) {
    Session s(0);
    EXPECT_EQ(s.banner + s.call({}).text + s.call({"nosuch"}).text, "");
    EXPECT_NE(s.call({"exit"}).text.find("ERROR Command("), std::string::npos);
    EXPECT_FALSE(s.workspace->exit_);
}

TEST(TextRoute, WordsReachTheStringAndPlainHandlers) {
    Session s;
    Interface& w = *s.workspace;
    mexhost::clearOutput();
    EXPECT_FALSE(w.processCommand(""));
    EXPECT_FALSE(w.processCommand("   "));
    EXPECT_EQ(mexhost::takeOutput(), "");

    setenv("KINETRA_TEST_WORD", "quit", 1);
    EXPECT_TRUE(w.processCommand("$(KINETRA_TEST_WORD) now"));
    EXPECT_TRUE(w.exit_);

    EXPECT_TRUE(w.processCommand("reset"));
    EXPECT_EQ(mexhost::takeOutput(), "");

    EXPECT_FALSE(w.processCommand("nosuch 1 2"));
    EXPECT_EQ(mexhost::takeOutput(), "WARNING: unknown command or invalid parameters\n");

    // help carries an array handler once the Matlab module replaced it.
    EXPECT_FALSE(w.processCommand("help"));
    EXPECT_NE(mexhost::takeOutput().find("Function is not defined!"), std::string::npos);
}

TEST(TextRoute, WorkspaceOnItsOwnHasATextHelp) {
    _MessageHelper::verbosity_ = 1;
    Interface w("text");
    mexhost::clearOutput();
    EXPECT_TRUE(w.processCommand("help status nosuch"));
    EXPECT_EQ(mexhost::takeOutput(), "STATUS\nshows a status message on memory and cpu usage\nno help for 'nosuch'\n");
    EXPECT_TRUE(w.processCommand("help"));
    std::string overview = mexhost::takeOutput();
    EXPECT_EQ(overview.find("KINETRA Pharmacokinetic Modeling Toolbox\nThe following commands are available:\n"
                            "  EXIT                          stop processing file or stop program\n"),
              0u);
}
