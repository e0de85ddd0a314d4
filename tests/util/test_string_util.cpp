// String and path helpers.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <regex>
#include <sstream>

#include "mexhost.h"
#include "util/StringUtil.h"

namespace {

// Printed text with the line numbers of error heads blanked out.
std::string printed() { return std::regex_replace(mexhost::takeOutput(), std::regex("\\(\\d+\\): "), "(L): "); }

using Words = std::vector<std::string>;

Words split(const std::string& text, unsigned maxParts = 0) {
    Words parts{"stale"};
    stringSplit(text, maxParts, parts);
    return parts;
}

Words split(const std::string& text, const std::string& separator) {
    Words parts{"stale"};
    stringSplit(text, separator, parts);
    return parts;
}

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
    const std::pair<std::string, std::string> texts[] = {
        {num2string(static_cast<char>(-5)), "-5"},          {num2string(static_cast<unsigned char>(200)), "200"},
        {num2string(4000000000u), "4000000000"},            {num2string(0.1f), "0.1"},
        {num2string(1.0 / 3.0), "0.33333333333333"},        {num2string(2.5e-300), "2.5e-300"},
        {num2string(3.14159, "%.2f"), "3.14"},              {createString({"set", "seed", "5"}), "set seed 5"},
        {createString({}), ""}};
    for (const auto& t : texts) EXPECT_EQ(t.first, t.second);
    EXPECT_EQ(string2num<int>("42x"), 42);
    EXPECT_EQ(string2num<int>("x42"), 0);
    EXPECT_DOUBLE_EQ(string2num<double>(" 2.5e3"), 2500.0);
    EXPECT_EQ(string2num<double>(""), 0.0);
    EXPECT_TRUE(isnum(" -1.5e3") && isNumber(".5 s"));
    EXPECT_FALSE(isnum("e5") || isNumber(""));
}

TEST(StringUtil, SplitsAtSeparatorsAndWhiteSpace) {
    EXPECT_EQ(split("  a  b "), (Words{"a", "b"}));
    EXPECT_EQ(split(" \t\n "), Words{});
    EXPECT_EQ(split("cmd  x y\t z ", 2), (Words{"cmd", "x y\t z"}));
    EXPECT_EQ(split("a b", 5), (Words{"a", "b"}));
    Words parts;
    EXPECT_EQ(stringSplit(" read data f", parts), 3u);
    EXPECT_EQ(split("a,b,", ","), (Words{"a", "b", ""}));
    EXPECT_EQ(split("", ","), Words{""});
    EXPECT_EQ(split("a::b:c", "::"), (Words{"a", "b:c"}));
    EXPECT_EQ(split("abc", ""), Words{"abc"});
}

TEST(StringUtil, WhiteSpaceCommentsAndReplace) {
    std::string s = "a \t b";
    trimWhiteSpace(s);
    EXPECT_EQ(s, "a b");
    s = " \r\n x\ny \v\f z \n";
    trimWhiteSpace(s, '_');
    EXPECT_EQ(s, "x_y_z");
    const struct {
        const char *in, *out;
        int comment;
    } lines[] = {{"  # x", "", 1}, {" 1 2 // x", "1 2 ", 1}, {"\t1 # 2 ", "1 # 2 ", 0}};
    for (const auto& l : lines) {
        s = l.in;
        EXPECT_EQ(stripCommentsAndLeadingWhiteSpace(s), l.comment) << l.in;
        EXPECT_EQ(s, l.out);
    }

    s = "a.a.a";  // replacing counts from the left
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
    // Self-references expand a bounded number of times and leave a marker;
    // a doubling one stops at the length bound instead of growing 2^passes.
    setenv("KT_TWICE", "$(KT_TWICE)$(KT_TWICE)", 1);
    for (const char* self : {"$(KT_SELF)", "$(KT_TWICE)"}) {
        s = self;
        EXPECT_GT(resolveEnvironmentVariables(s), 3) << self;
        EXPECT_LE(s.size(), 65536u) << self;
        EXPECT_EQ(s.substr(s.size() - std::strlen(self)), self);
    }
    EXPECT_EQ(stringReplace(static_cast<const std::string&>(s), "$(KT_TWICE)", ""), "") << "whole markers only";
    s = "$(KT_SELF)";
    resolveEnvironmentVariables(s);
    EXPECT_EQ(s, std::string(32, 'a') + "$(KT_SELF)");
    for (const char* name : {"KT_INNER", "KT_OUTER", "KT_SELF", "KT_TWICE"}) unsetenv(name);
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
    printFormattedText(out, std::string(140, 'w').c_str(), 500);
    EXPECT_EQ(out.str(), std::string(133, 'w') + " " + std::string(7, 'w') + "\n");
}

TEST(StringUtil, ReadLineJoinsLongLines) {
    std::string longLine(3000, 'x'), line;
    std::istringstream in(longLine + "\n\nabc\nlast");
    const std::pair<int, std::string> reads[] = {{16, longLine}, {16, ""}, {4, "abc"}, {0, "last"}};
    for (const auto& r : reads) {  // 4 exactly fills the buffer; 0 takes the default
        ASSERT_TRUE(r.first ? ReadLine(in, line, r.first) : ReadLine(in, line));
        EXPECT_EQ(line, r.second);
    }
    EXPECT_FALSE(ReadLine(in, line));
    EXPECT_EQ(line, "");
}

TEST(StringUtil, FileNamesTimesAndComparison) {
    const std::pair<std::string, std::string> names[] = {
        {dirname("a"), "."},           {dirname("d/e/a.hdr"), "d/e"},         {basename("d/a.hdr", false), "a"},
        {basename("d/a.hdr", true), "a.hdr"}, {basename("x.tar.gz", false), "x.tar"}, {basename("./a", false), "a"},
        {suffix("d/a.hdr"), "hdr"},    {suffix("./a"), ""},                  {suffix("a."), ""},
        {Time2String(3661L), "01:01:01"},     {Time2String(0L), "00:00:00"},
        {Time2String(3661.5), "01:01:01.500"}, {Time2String(59.25), "00:00:59.250"}};
    for (const auto& n : names) EXPECT_EQ(n.first, n.second);

    const char* old = std::getenv("TZ");
    std::string saved = old ? old : "";
    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(Date2String(365L * 86400L + 86399L), "1971-01-01");
    old ? setenv("TZ", saved.c_str(), 1) : unsetenv("TZ");
    tzset();

    const std::tuple<const char*, const char*, int> pairs[] = {
        {"Abc", "aBC", 0}, {"abc", "abd", -1}, {"ABD", "abc", 1}, {"ab", "ABC", -1}, {"abc", "AB", 1}, {"", "", 0}};
    for (const auto& [a, b, r] : pairs) EXPECT_EQ(cmp_nocase(a, b), r) << a << " " << b;
}
