// Word-wrapped printing and line reading.
#include <cstring>

#include "util/StringUtil.h"

namespace {

bool isWhite(char c) { return c != '\0' && std::strchr(" \t\v\f\r\n", c) != nullptr; }

const char* orEmpty(const char* text) { return text ? text : ""; }

}  // namespace

const char* scan_next_word(const char* text, std::string& word, std::string& space, unsigned& lineBreaks,
                           unsigned maxLength) {
    word.clear();
    space.clear();
    lineBreaks = 0;
    if (text == nullptr) return text;
    while (isWhite(*text)) {
        if (*text == '\n') ++lineBreaks;
        space += *text++;
    }
    // A longer word is handed out in pieces of maxLength characters.
    while (*text != '\0' && !isWhite(*text) && word.size() < maxLength) word += *text++;
    return text;
}

void printBreak(std::ostream& out, unsigned& column, unsigned indent, const char* prefix,
                const char* suffix, const char* lineBreak) {
    out << orEmpty(suffix) << (lineBreak ? lineBreak : "\n") << std::string(indent, ' ')
        << orEmpty(prefix);
    column = indent + static_cast<unsigned>(std::strlen(orEmpty(prefix)));
}

void printWhiteSpace(std::ostream& out, unsigned& column, const std::string& space, unsigned indent,
                     const char* prefix, const char* suffix, const char* lineBreak) {
    for (char c : space) {
        if (c == '\n') {
            printBreak(out, column, indent, prefix, suffix, lineBreak);
        } else {
            out << c;
            ++column;
        }
    }
}

void printFormattedText(std::ostream& out, const char* text, unsigned width, unsigned indent,
                        bool noFirstIndent, const char* prefix, const char* suffix, const char* lineBreak,
                        bool keepSpacing) {
    if (lineBreak == nullptr) lineBreak = "\n";
    unsigned column = 0;
    if (!noFirstIndent) {
        out << std::string(indent, ' ');
        column = indent;
    }
    out << orEmpty(prefix);
    column += static_cast<unsigned>(std::strlen(orEmpty(prefix)));

    // A break is only useful on a line that holds a word already; otherwise a
    // word wider than the page would leave empty lines behind.
    bool lineHasWord = false;
    bool first = true;
    std::string word, space;
    unsigned breaks = 0;
    const char* next = text;
    for (;;) {
        next = scan_next_word(next, word, space, breaks);
        if (word.empty()) break;
        size_t length = word.size();
        if (keepSpacing) {
            printWhiteSpace(out, column, space, indent, prefix, suffix, lineBreak);
            if (breaks > 0) lineHasWord = false;
            if (lineHasWord && column + length >= width) {
                printBreak(out, column, indent, prefix, suffix, lineBreak);
                lineHasWord = false;
            }
        } else if (breaks > 0) {
            for (unsigned i = 0; i < breaks; ++i) printBreak(out, column, indent, prefix, suffix, lineBreak);
            lineHasWord = false;
        } else if (!first) {
            // The separating blank counts towards the width; when the word
            // does not fit, the break takes the blank's place.
            if (lineHasWord && column + 1 + length >= width) {
                printBreak(out, column, indent, prefix, suffix, lineBreak);
                lineHasWord = false;
            } else {
                out << ' ';
                ++column;
            }
        }
        out << word;
        column += static_cast<unsigned>(length);
        lineHasWord = true;
        first = false;
    }
    // The source's trailing line breaks, then the closing break.
    for (unsigned i = 0; i < breaks; ++i) out << lineBreak;
    out << lineBreak;
}

bool ReadLine(std::istream& in, std::string& line, unsigned maxLength) {
    line.clear();
    // getline stores at most size - 1 characters; a buffer of one would
    // store none and never advance.
    std::vector<char> buffer(maxLength > 2 ? maxLength : 2);
    const std::streamsize size = static_cast<std::streamsize>(buffer.size());
    bool delivered = false;
    for (;;) {
        in.getline(buffer.data(), size);
        std::streamsize got = in.gcount();
        if (got > 0) delivered = true;
        line.append(buffer.data());
        // A full buffer without the end of the line sets the fail state; the
        // rest of the line follows in the next read.
        if (!in.bad() && in.fail() && !in.eof() && got == size - 1) {
            in.clear();
            continue;
        }
        break;
    }
    return delivered;
}
