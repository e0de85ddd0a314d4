// String and path helpers.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <regex>
#include <sstream>

#include "mexhost.h"
#include "util/StringUtil.h"

namespace {

// Printed text with the line numbers of error heads blanked out.
std::string printed() { return std::regex_replace(mexhost::takeOutput(), std::regex("\\(\\d+\\): "), "(L): "); }

std::vector<std::string> split(const std::string& text, unsigned maxParts = 0) {
    std::vector<std::string> parts{"stale"};
    stringSplit(text, maxParts, parts);
    return parts;
}

std::vector<std::string> split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts{"stale"};
    stringSplit(text, separator, parts);
    return parts;
}

using Words = std::vector<std::string>;

}  // namespace

TEST(StringUtil, PrintfReportsAndCutsWhatDoesNotFit) {
    mexhost::clearOutput();
    EXPECT_EQ(stringPrintf(4, "%d", 12345), "123");
    EXPECT_EQ(printed(), "ERROR util/StringUtil(L): stringPrintf(): max. string length exceeded 5 \n");
    EXPECT_EQ(stringPrintf(6, "%d", 12345), "12345");
    EXPECT_EQ(stringPrintf(0, "%s", "x"), "");
    EXPECT_EQ(printed(), "ERROR util/StringUtil(L): stringPrintf(): max. string length exceeded 1 \n");
    int a = 0;
    char word[8];
    EXPECT_EQ(stringScanf("7 seven", "%d %7s", &a, word), 2);
    EXPECT_EQ(a, 7);
    EXPECT_STREQ(word, "seven");
}

TEST(StringUtil, NumbersToTextAndBack) {
    EXPECT_EQ(num2string(static_cast<char>(-5)), "-5");
    EXPECT_EQ(num2string(static_cast<unsigned char>(200)), "200");
    EXPECT_EQ(num2string(static_cast<short>(-300)), "-300");
    EXPECT_EQ(num2string(static_cast<unsigned short>(65535)), "65535");
    EXPECT_EQ(num2string(4000000000u), "4000000000");
    EXPECT_EQ(num2string(0.1f), "0.1");
    EXPECT_EQ(num2string(1.0 / 3.0), "0.33333333333333");
    EXPECT_EQ(num2string(2.5e-300), "2.5e-300");
    EXPECT_EQ(num2string(3.14159, "%.2f"), "3.14");

    EXPECT_EQ(string2num<int>("42x"), 42);
    EXPECT_EQ(string2num<int>("x42"), 0);
    EXPECT_DOUBLE_EQ(string2num<double>(" 2.5e3"), 2500.0);
    EXPECT_EQ(string2num<double>(""), 0.0);

    EXPECT_TRUE(isnum(" -1.5e3"));
    EXPECT_TRUE(isNumber(".5 s"));
    EXPECT_FALSE(isnum("e5"));
    EXPECT_FALSE(isNumber(""));
    EXPECT_EQ(createString({"set", "seed", "5"}), "set seed 5");
    EXPECT_EQ(createString({}), "");
}

TEST(StringUtil, SplitsAtSeparatorsAndWhiteSpace) {
    EXPECT_EQ(split("  a  b "), (Words{"a", "b"}));
    EXPECT_EQ(split(" \t\n "), Words{});
    EXPECT_EQ(split("cmd  x y\t z ", 2), (Words{"cmd", "x y\t z"}));
    EXPECT_EQ(split("a b", 5), (Words{"a", "b"}));
    std::vector<std::string> parts;
    EXPECT_EQ(stringSplit(" read data f", parts), 3u);

    EXPECT_EQ(split("a,b,", ","), (Words{"a", "b", ""}));
    EXPECT_EQ(split("", ","), Words{""});
    EXPECT_EQ(split("a::b:c", "::"), (Words{"a", "b:c"}));
    EXPECT_EQ(split("abc", ""), Words{"abc"});
}

TEST(StringUtil, WhiteSpaceAndComments) {
    std::string s = "a \t b";
    trimWhiteSpace(s);
    EXPECT_EQ(s, "a b");
    s = " \r\n x\ny \v\f z \n";
    trimWhiteSpace(s, '_');
    EXPECT_EQ(s, "x_y_z");

    s = "  # x";
    EXPECT_EQ(stripCommentsAndLeadingWhiteSpace(s), 1);
    EXPECT_EQ(s, "");
    s = " 1 2 // x";
    EXPECT_EQ(stripCommentsAndLeadingWhiteSpace(s), 1);
    EXPECT_EQ(s, "1 2 ");
    s = "\t1 # 2 ";
    EXPECT_EQ(stripCommentsAndLeadingWhiteSpace(s), 0);
    EXPECT_EQ(s, "1 # 2 ");
    EXPECT_EQ(STRING_LINE_START_COMMENT_TOKEN, "#");
    EXPECT_EQ(STRING_IN_LINE_COMMENT_TOKEN, "//");
}

TEST(StringUtil, ReplaceCountsFromTheLeft) {
    std::string s = "a.a.a";
    EXPECT_EQ(stringReplace(s, ".", "..", 2), 2);
    EXPECT_EQ(s, "a..a..a");
    EXPECT_EQ(stringReplace(std::string("xx"), "x", "xx"), "xxxx");  // no endless growth
    const std::string c = "1-2-3";
    EXPECT_EQ(stringReplace(c, "-", "", -1), "123");
    EXPECT_EQ(stringReplace(c, "", "q"), "1-2-3");
}

TEST(StringUtil, EnvironmentVariablesResolveRepeatedly) {
    setenv("KT_INNER", "base", 1);
    setenv("KT_OUTER", "$(KT_INNER)/x", 1);
    setenv("KT_SELF", "a$(KT_SELF)", 1);
    unsetenv("KT_NOT_SET");
    std::string s = "$(KT_OUTER)-$(KT_NOT_SET)-$($)";
    resolveEnvironmentVariables(s);
    EXPECT_EQ(s, "base/x--" + std::to_string(getpid()));
    s = "keep $(KT_INNER";
    EXPECT_EQ(resolveEnvironmentVariables(s), 0);
    EXPECT_EQ(s, "keep $(KT_INNER");
    s = "$(KT_SELF)";  // refers to itself: expands a bounded number of times
    resolveEnvironmentVariables(s);
    EXPECT_EQ(s.compare(0, 3, "aaa"), 0);
    unsetenv("KT_INNER");
    unsetenv("KT_OUTER");
    unsetenv("KT_SELF");
}

TEST(StringUtil, FormattedTextWrapsAtTheWidth) {
    std::ostringstream out;
    printFormattedText(out, "one two three four five", 15, 2, false, "> ", " |", "\n", false);
    EXPECT_EQ(out.str(), "  > one two |\n  > three four |\n  > five\n");

    out.str("");  // source breaks are kept, trailing ones repeated
    printFormattedText(out, "a  b\n\nc\n", 80, 1, true);
    EXPECT_EQ(out.str(), "a b\n \n c\n\n");

    out.str("");
    printFormattedText(out, "x   y\n  z", 80, 0, false, nullptr, nullptr, "\n", true);
    EXPECT_EQ(out.str(), "x   y\n  z\n");

    out.str("");  // an over-long word is printed in pieces of 133
    std::string word(140, 'w');
    printFormattedText(out, word.c_str(), 500);
    EXPECT_EQ(out.str(), std::string(133, 'w') + " " + std::string(7, 'w') + "\n");
}

TEST(StringUtil, ReadLineJoinsLongLines) {
    std::string longLine(3000, 'x');
    std::istringstream in(longLine + "\n\nabc\nlast");
    std::string line;
    ASSERT_TRUE(ReadLine(in, line, 16));
    EXPECT_EQ(line, longLine);
    ASSERT_TRUE(ReadLine(in, line, 16));
    EXPECT_EQ(line, "");
    ASSERT_TRUE(ReadLine(in, line, 4));  // exactly fills the buffer
    EXPECT_EQ(line, "abc");
    ASSERT_TRUE(ReadLine(in, line));
    EXPECT_EQ(line, "last");
    EXPECT_FALSE(ReadLine(in, line));
    EXPECT_EQ(line, "");
}

TEST(StringUtil, FileNamePieces) {
    EXPECT_EQ(dirname("a"), ".");
    EXPECT_EQ(dirname("d/e/a.hdr"), "d/e");
    EXPECT_EQ(basename("d/a.hdr", false), "a");
    EXPECT_EQ(basename("d/a.hdr", true), "a.hdr");
    EXPECT_EQ(basename("x.tar.gz", false), "x.tar");
    EXPECT_EQ(basename("./a", false), "a");
    EXPECT_EQ(suffix("d/a.hdr"), "hdr");
    EXPECT_EQ(suffix("./a"), "");
    EXPECT_EQ(suffix("a."), "");
    EXPECT_EQ(checkDirectorySeparators("a/b\\c"), "a/b\\c");
}

TEST(StringUtil, TimesAndDates) {
    EXPECT_EQ(Time2String(3661L), "01:01:01");
    EXPECT_EQ(Time2String(0L), "00:00:00");
    EXPECT_EQ(Time2String(3661.5), "01:01:01.500");
    EXPECT_EQ(Time2String(59.25), "00:00:59.250");

    const char* old = std::getenv("TZ");
    std::string saved = old ? old : "";
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(Date2String(365L * 86400L + 86399L), "1971-01-01");
    if (old)
        setenv("TZ", saved.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
}

TEST(StringUtil, CaseBlindComparison) {
    EXPECT_EQ(cmp_nocase("Abc", "aBC"), 0);
    EXPECT_EQ(cmp_nocase("abc", "abd"), -1);
    EXPECT_EQ(cmp_nocase("ABD", "abc"), 1);
    EXPECT_EQ(cmp_nocase("ab", "ABC"), -1);
    EXPECT_EQ(cmp_nocase("abc", "AB"), 1);
    EXPECT_EQ(cmp_nocase("", ""), 0);
}
