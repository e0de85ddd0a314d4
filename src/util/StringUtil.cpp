// Formatting, conversion, white space, splitting, replacing, environment
// expansion, file names, times and comparison.
#include "util/StringUtil.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "util/Message.h"

const std::string STRING_LINE_START_COMMENT_TOKEN = "#";
const std::string STRING_IN_LINE_COMMENT_TOKEN = "//";

namespace {

const char* const WHITE_SPACE = " \t\v\f\r\n";

bool isWhite(char c) { return c != '\0' && std::strchr(WHITE_SPACE, c) != nullptr; }

}  // namespace

// ---------------------------------------------------------------------------
// Formatting

std::string stringVPrintf(unsigned maxLength, const char* format, va_list args) {
    // A zero limit still needs room for the terminator.
    std::vector<char> buffer(maxLength > 0 ? maxLength : 1, '\0');
    int length = std::vsnprintf(buffer.data(), buffer.size(), format, args);
    if (length < 0) return std::string();
    if (static_cast<unsigned>(length) >= buffer.size())
        ERROR("stringPrintf(): max. string length exceeded %u", static_cast<unsigned>(length));
    return std::string(buffer.data());
}

std::string stringPrintf(unsigned maxLength, const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = stringVPrintf(maxLength, format, args);
    va_end(args);
    return text;
}

int stringScanf(const std::string& text, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int count = std::vsscanf(text.c_str(), format, args);
    va_end(args);
    return count;
}

bool isnum(const std::string& text) {
    const char* begin = text.c_str();
    char* end = nullptr;
    std::strtod(begin, &end);
    return end > begin;
}

bool isNumber(const std::string& text) { return isnum(text); }

std::string createString(const std::vector<std::string>& words) {
    std::string text;
    for (size_t i = 0; i < words.size(); ++i) {
        if (i > 0) text += ' ';
        text += words[i];
    }
    return text;
}

// ---------------------------------------------------------------------------
// White space and comments

void stripLeadingWhiteSpace(std::string& text) {
    size_t first = text.find_first_not_of(WHITE_SPACE);
    if (first == std::string::npos)
        text.clear();
    else
        text.erase(0, first);
}

void stripTrailingWhiteSpace(std::string& text) {
    size_t last = text.find_last_not_of(WHITE_SPACE);
    if (last == std::string::npos)
        text.clear();
    else
        text.erase(last + 1);
}

void stripWhiteSpace(std::string& text) {
    stripTrailingWhiteSpace(text);
    stripLeadingWhiteSpace(text);
}

void trimWhiteSpace(std::string& text, char fill) {
    stripWhiteSpace(text);
    std::string result;
    result.reserve(text.size());
    bool inRun = false;
    for (char c : text) {
        if (isWhite(c)) {
            inRun = true;
            continue;
        }
        if (inRun) result += fill;
        inRun = false;
        result += c;
    }
    text.swap(result);
}

int stripCommentsAndLeadingWhiteSpace(std::string& text) {
    stripLeadingWhiteSpace(text);
    if (text.compare(0, STRING_LINE_START_COMMENT_TOKEN.size(), STRING_LINE_START_COMMENT_TOKEN) == 0) {
        text.clear();
        return 1;
    }
    size_t pos = text.find(STRING_IN_LINE_COMMENT_TOKEN);
    if (pos == std::string::npos) return 0;
    text.erase(pos);
    return 1;
}

// ---------------------------------------------------------------------------
// Splitting and replacing

unsigned stringSplit(const std::string& text, const std::string& separator,
                     std::vector<std::string>& parts) {
    parts.clear();
    if (separator.empty()) {  // nothing to split at: the text is one piece
        parts.push_back(text);
        return 1;
    }
    size_t start = 0;
    for (size_t pos = text.find(separator); pos != std::string::npos;
         pos = text.find(separator, start)) {
        parts.push_back(text.substr(start, pos - start));
        start = pos + separator.size();
    }
    parts.push_back(text.substr(start));
    return static_cast<unsigned>(parts.size());
}

unsigned stringSplit(const std::string& text, unsigned maxParts, std::vector<std::string>& parts) {
    parts.clear();
    std::string work = text;
    stripWhiteSpace(work);
    size_t pos = 0;
    while (pos < work.size()) {
        if (maxParts != 0 && parts.size() + 1 == maxParts) {
            parts.push_back(work.substr(pos));
            break;
        }
        size_t end = work.find_first_of(WHITE_SPACE, pos);
        if (end == std::string::npos) end = work.size();
        parts.push_back(work.substr(pos, end - pos));
        pos = work.find_first_not_of(WHITE_SPACE, end);
        if (pos == std::string::npos) break;
    }
    return static_cast<unsigned>(parts.size());
}

unsigned stringSplit(const std::string& text, std::vector<std::string>& parts) {
    return stringSplit(text, 0u, parts);
}

int stringReplace(std::string& text, const std::string& from, const std::string& to, int count) {
    if (from.empty()) return 0;
    int done = 0;
    size_t pos = text.find(from);
    while (pos != std::string::npos && (count <= 0 || done < count)) {
        text.replace(pos, from.size(), to);
        ++done;
        // Continue behind the inserted text, so that a replacement holding
        // "from" is not replaced again.
        pos = text.find(from, pos + to.size());
    }
    return done;
}

std::string stringReplace(const std::string& text, const std::string& from, const std::string& to,
                          int count) {
    std::string result = text;
    stringReplace(result, from, to, count);
    return result;
}

// One pass: every "$(NAME)" outside the values it inserts is replaced. A
// replacement that would make the text longer than maxLength is not made;
// the marker and everything after it stay as they are and *full is set.
// Returns the number of replacements.
static int resolvePass(std::string& text, size_t maxLength, bool* full) {
    std::string out;
    int changes = 0;
    size_t from = 0;
    for (size_t pos = text.find("$("); pos != std::string::npos; pos = text.find("$(", from)) {
        const size_t close = text.find(')', pos + 2);
        if (close == std::string::npos) break;  // no closing bracket: left as it is
        const std::string name = text.substr(pos + 2, close - pos - 2);
        std::string value;
        if (name == "$") {
            value = stringPrintf(32, "%d", static_cast<int>(getpid()));
        } else if (const char* env = std::getenv(name.c_str())) {
            value = env;
        }
        if (out.size() + (pos - from) + value.size() + (text.size() - close - 1) > maxLength) {
            *full = true;
            break;
        }
        out.append(text, from, pos - from);
        out += value;
        from = close + 1;
        ++changes;
    }
    if (changes > 0) text = out + text.substr(from);
    return changes;
}

int resolveEnvironmentVariables(std::string& text) {
    // Values may hold further references, so passes repeat until one changes
    // nothing. A variable that refers to itself would expand forever, and
    // one that refers to itself twice would double the text at each pass:
    // both the passes and the length are bounded, and such a text ends with
    // the markers that did not fit left unresolved.
    const int maxPasses = 32;
    const size_t maxLength = std::max<size_t>(text.size(), 65536);
    int total = 0;
    bool full = false;
    for (int pass = 0; pass < maxPasses && !full; ++pass) {
        const int changes = resolvePass(text, maxLength, &full);
        total += changes;
        if (changes == 0) break;
    }
    return total;
}

// ---------------------------------------------------------------------------
// File names

std::string checkDirectorySeparators(const std::string& name) { return name; }

std::string dirname(const std::string& name) {
    size_t slash = name.rfind('/');
    if (slash == std::string::npos) return ".";
    return name.substr(0, slash);
}

std::string basename(const std::string& name, bool keepSuffix) {
    size_t slash = name.rfind('/');
    std::string base = slash == std::string::npos ? name : name.substr(slash + 1);
    if (!keepSuffix) {
        size_t dot = base.rfind('.');
        if (dot != std::string::npos) base.erase(dot);
    }
    return base;
}

std::string suffix(const std::string& name) {
    // Only the file name counts: a dot in a directory ("./a") is no suffix.
    std::string base = basename(name, true);
    size_t dot = base.rfind('.');
    if (dot == std::string::npos) return std::string();
    return base.substr(dot + 1);
}

// ---------------------------------------------------------------------------
// Time

std::string Date2String(long time) {
    std::time_t value = static_cast<std::time_t>(time);
    std::tm parts;
    if (localtime_r(&value, &parts) == nullptr) return std::string();
    char text[32];
    if (std::strftime(text, sizeof text, "%Y-%m-%d", &parts) == 0) return std::string();
    return text;
}

std::string Time2String(long seconds) {
    long hours = seconds / 3600;
    long minutes = (seconds % 3600) / 60;
    return stringPrintf(20, "%02d:%02d:%02d", static_cast<int>(hours), static_cast<int>(minutes),
                        static_cast<int>(seconds % 60));
}

std::string Time2String(double seconds) {
    // Beyond the range of the integer fields (or not a number) there is no
    // clock time to show; the plain value is the honest answer.
    if (!(std::fabs(seconds) < 3600.0 * 2147483647.0)) return stringPrintf(20, "%g", seconds);
    int hours = static_cast<int>(seconds / 3600.0);
    double rest = seconds - 3600.0 * hours;
    int minutes = static_cast<int>(rest / 60.0);
    rest -= 60.0 * minutes;
    return stringPrintf(20, "%02d:%02d:%06.3f", hours, minutes, rest);
}

// ---------------------------------------------------------------------------
// Comparison

int cmp_nocase(const std::string& a, const std::string& b) {
    size_t n = a.size() < b.size() ? a.size() : b.size();
    for (size_t i = 0; i < n; ++i) {
        int ca = std::toupper(static_cast<unsigned char>(a[i]));
        int cb = std::toupper(static_cast<unsigned char>(b[i]));
        if (ca != cb) return ca < cb ? -1 : 1;
    }
    if (a.size() == b.size()) return 0;
    return a.size() < b.size() ? -1 : 1;
}
