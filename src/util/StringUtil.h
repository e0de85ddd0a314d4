// String and path helpers.
//
// Free functions on strings: bounded formatting, number conversion, splitting,
// white-space and comment handling, environment expansion, word-wrapped
// printing, line reading, file name pieces and time formats. The only state
// is the pair of comment tokens.
#ifndef KINETRA_UTIL_STRINGUTIL_H
#define KINETRA_UTIL_STRINGUTIL_H

#include <cstdarg>
#include <istream>
#include <ostream>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

// A line whose first non-blank characters are this token is a comment.
extern const std::string STRING_LINE_START_COMMENT_TOKEN;
// Everything from this token to the end of the line is a comment.
extern const std::string STRING_IN_LINE_COMMENT_TOKEN;

// ---------------------------------------------------------------------------
// Formatting

// Formats into a buffer of maxLength bytes. A result that does not fit is
// reported and cut to maxLength - 1 characters.
std::string stringVPrintf(unsigned maxLength, const char* format, va_list args);
std::string stringPrintf(unsigned maxLength, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 2, 3)))
#endif
    ;
// vsscanf on the text; returns the number of fields converted.
int stringScanf(const std::string& text, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(scanf, 2, 3)))
#endif
    ;

// Number to text. Integers are printed in full, float with "%g" and double
// with "%.14g", enough digits to read back what a fit produced.
template <typename T>
std::string num2string(const T& value) {
    std::ostringstream out;
    out << value;
    return out.str();
}
template <> inline std::string num2string<char>(const char& v) { return stringPrintf(32, "%d", v); }
template <> inline std::string num2string<unsigned char>(const unsigned char& v) {
    return stringPrintf(32, "%d", v);
}
template <> inline std::string num2string<short>(const short& v) { return stringPrintf(32, "%d", v); }
template <> inline std::string num2string<unsigned short>(const unsigned short& v) {
    return stringPrintf(32, "%u", v);
}
template <> inline std::string num2string<int>(const int& v) { return stringPrintf(32, "%d", v); }
template <> inline std::string num2string<unsigned int>(const unsigned int& v) {
    return stringPrintf(32, "%u", v);
}
template <> inline std::string num2string<float>(const float& v) { return stringPrintf(32, "%g", v); }
template <> inline std::string num2string<double>(const double& v) { return stringPrintf(32, "%.14g", v); }

// Number to text with a printf format made for the (promoted) type of T.
template <typename T>
std::string num2string(const T& value, const std::string& format) {
    static_assert(std::is_arithmetic<T>::value, "num2string formats numbers only");
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#endif
    return stringPrintf(128, format.c_str(), value);
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
}

// Text to number through a string stream; text that cannot be read gives 0.
template <typename T>
T string2num(const std::string& text) {
    std::istringstream in(text);
    T value = T();
    if (!(in >> value)) return T();
    return value;
}

// True if a number can be read at the start of the text (after blanks).
bool isnum(const std::string& text);
bool isNumber(const std::string& text);

// The entries joined with one blank between them.
std::string createString(const std::vector<std::string>& words);

// ---------------------------------------------------------------------------
// White space and comments (white space: blank, \t, \v, \f, \r, \n)

void stripLeadingWhiteSpace(std::string& text);
void stripTrailingWhiteSpace(std::string& text);
void stripWhiteSpace(std::string& text);
// Strips both ends, then turns each inner run of white space into one fill.
void trimWhiteSpace(std::string& text, char fill = ' ');
// Strips leading white space and the comment; returns 1 if a comment was cut.
int stripCommentsAndLeadingWhiteSpace(std::string& text);

// ---------------------------------------------------------------------------
// Splitting and replacing

// The pieces between occurrences of separator, the piece after the last one
// included ("a,b," gives "a", "b", ""). Returns the count.
unsigned stringSplit(const std::string& text, const std::string& separator,
                     std::vector<std::string>& parts);
// The words between runs of white space. With maxParts not 0 the last piece
// is the whole rest of the text from the start of the maxParts-th word.
unsigned stringSplit(const std::string& text, unsigned maxParts, std::vector<std::string>& parts);
unsigned stringSplit(const std::string& text, std::vector<std::string>& parts);

// Replaces occurrences of from, left to right, at most count of them (all if
// count <= 0). The first form returns the number of replacements.
int stringReplace(std::string& text, const std::string& from, const std::string& to, int count = 0);
std::string stringReplace(const std::string& text, const std::string& from, const std::string& to,
                          int count = 0);

// Replaces every "$(NAME)" by the value of the environment variable NAME
// (nothing if it is not set) and "$($)" by the process id, pass after pass
// until nothing changes. Passes and the grown length are bounded (32 passes,
// 64 KiB or the original length): a self-referencing variable leaves its last
// markers unresolved. Returns the number of replacements.
int resolveEnvironmentVariables(std::string& text);

// ---------------------------------------------------------------------------
// Word-wrapped printing

// Writes text word by word, wrapping before a word that would reach width.
// Continuation lines start with indent blanks and prefix; each break writes
// suffix and lineBreak first. Line breaks of the source are kept; with
// keepSpacing all its white space is. A null prefix or suffix is empty.
void printFormattedText(std::ostream& out, const char* text, unsigned width = 80, unsigned indent = 0,
                        bool noFirstIndent = false, const char* prefix = nullptr,
                        const char* suffix = nullptr, const char* lineBreak = "\n",
                        bool keepSpacing = false);
// Longest word that printFormattedText writes in one piece.
constexpr unsigned FORMATTED_TEXT_MAX_WORD = 133;
// Skips white space (copied to space, its newlines counted in lineBreaks) and
// copies the next word, at most maxLength characters, to word. Returns the
// position after the word.
const char* scan_next_word(const char* text, std::string& word, std::string& space, unsigned& lineBreaks,
                           unsigned maxLength = FORMATTED_TEXT_MAX_WORD);
// Ends the line (suffix, lineBreak) and starts the next (indent, prefix).
void printBreak(std::ostream& out, unsigned& column, unsigned indent, const char* prefix,
                const char* suffix, const char* lineBreak);
// Writes white space of the source as it stood, newlines through printBreak.
void printWhiteSpace(std::ostream& out, unsigned& column, const std::string& space, unsigned indent,
                     const char* prefix, const char* suffix, const char* lineBreak);

// ---------------------------------------------------------------------------
// Reading

// Reads one line of any length, maxLength bytes at a time. Returns false at
// the end of the stream when no line was left.
bool ReadLine(std::istream& in, std::string& line, unsigned maxLength = 1024);

// ---------------------------------------------------------------------------
// File names

// The name as this platform wants it; Linux needs no change.
std::string checkDirectorySeparators(const std::string& name);
// The part before the last "/", or "." without one.
std::string dirname(const std::string& name);
// The part after the last "/"; without keepSuffix, cut at its last ".".
// (No default for keepSuffix: a one-argument call would pick glibc's basename.)
std::string basename(const std::string& name, bool keepSuffix);
// The part of the file name after its last ".", or empty.
std::string suffix(const std::string& name);

// ---------------------------------------------------------------------------
// Time

// Local date of a time value, "YYYY-MM-DD".
std::string Date2String(long time);
// "hh:mm:ss" of a number of seconds.
std::string Time2String(long seconds);
// "hh:mm:ss.sss" of a number of seconds.
std::string Time2String(double seconds);

// ---------------------------------------------------------------------------
// Comparison

// Case-blind comparison: -1, 0 or 1; a proper prefix is the smaller string.
int cmp_nocase(const std::string& a, const std::string& b);

#endif
