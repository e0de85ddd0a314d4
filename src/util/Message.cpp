#include "util/Message.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

#include <sys/stat.h>

unsigned int _MessageHelper::verbosity_ = 1;
std::ostream* _MessageHelper::out_ = &std::cout;
thread_local std::string _MessageHelper::indent_;

namespace {

void printToStdout(const char* text) {
    std::fputs(text, stdout);
    std::fflush(stdout);
}

MessageSink sink_ = &printToStdout;

// The capture of this thread's texts, if it runs inside a MessageCapture::Scope.
thread_local MessageCapture* capture_ = nullptr;

// Every console text goes through here.
void emit(const char* text) {
    if (capture_ != nullptr) capture_->console(text);
    else sink_(text);
}

}  // namespace

void messageLog(const std::string& text) {
    if (capture_ != nullptr) capture_->log(text);
    else *_MessageHelper::out_ << text << std::flush;
}

MessageCapture::Scope::Scope(MessageCapture& capture, const std::string& indent)
    : saved_(capture_), savedIndent_(_MessageHelper::indent_) {
    capture_ = &capture;
    _MessageHelper::indent_ = indent;
}

MessageCapture::Scope::~Scope() {
    capture_ = saved_;
    _MessageHelper::indent_ = savedIndent_;
}

MessageCapture* MessageCapture::active() { return capture_; }

void MessageCapture::replay() const {
    bool skip = false;
    for (const Piece& piece : pieces_) {
        switch (piece.kind) {
        case ONCE_BEGIN:
            skip = (*piece.owner & piece.bit) != 0;
            *piece.owner |= piece.bit;
            break;
        case ONCE_END:
            skip = false;
            break;
        case LOG:
            if (!skip) messageLog(piece.text);
            break;
        case CONSOLE:
            if (!skip) emit(piece.text.c_str());
            break;
        }
    }
}

void setMessageSink(MessageSink sink) { sink_ = sink != nullptr ? sink : &printToStdout; }

MessageSink getMessageSink() { return sink_; }

namespace {

// Formats into a string of any length.
std::string vformat(const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    char small[512];
    int n = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (n < 0) return std::string();
    if (static_cast<size_t>(n) < sizeof small) return std::string(small, static_cast<size_t>(n));
    std::string text(static_cast<size_t>(n) + 1, '\0');
    std::vsnprintf(&text[0], text.size(), format, args);
    text.resize(static_cast<size_t>(n));
    return text;
}

// A stream counts as null when its fail or bad state is set; otherwise it is
// its own address. The log is active when the two pointers differ.
const void* stateAware(const std::ostream* s) {
    if (s == nullptr || s->fail()) return nullptr;
    return s;
}

// The text that printf would print for a format without arguments, with any
// conversion other than "%%" left literally.
std::string collapsePercents(const std::string& text) {
    if (text.find('%') == std::string::npos) return text;
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        out += text[i];
        if (text[i] == '%' && i + 1 < text.size() && text[i + 1] == '%') ++i;
    }
    return out;
}

}  // namespace

void messagePrintf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = vformat(format, args);
    va_end(args);
    emit(text.c_str());
}

bool _MessageHelper::logging() { return stateAware(out_) != stateAware(&std::cout); }

void _MessageHelper::operator()(const char* format, ...) {
    if (prefix_ != "WARNING: ") {
        emit(indent_.c_str());
        if (logging()) messageLog(indent_);
    }
    va_list args;
    va_start(args, format);
    std::string text = vformat(format, args);
    va_end(args);
    // The finished text is read once more as a format with no arguments, so
    // a percent sign that survived formatting must be doubled by the message's
    // author ("%%%%" prints "%"). Only "%%" is read as such: any other
    // conversion stays as it stands, so a user's text can never make the
    // console read arguments that are not there.
    text = collapsePercents(text);
    emit(text.c_str());
    if (logging()) messageLog(text);
}

void _MessageHelper::indent(unsigned int n) { indent_.append(n, ' '); }

void _MessageHelper::outdent(unsigned int n) {
    if (indent_.size() > n) indent_.resize(indent_.size() - n);
    else indent_.clear();
}

std::string moduleName(const char* file) {
    std::string path = file ? file : "";
    size_t start = 0;
    for (size_t pos = path.find("src/"); pos != std::string::npos; pos = path.find("src/", pos + 1))
        if (pos == 0 || path[pos - 1] == '/') start = pos + 4;
    path.erase(0, start);
    size_t slash = path.rfind('/');
    size_t dot = path.find('.', slash == std::string::npos ? 0 : slash + 1);
    if (dot != std::string::npos) path.erase(dot);
    return path;
}

_ErrorHelper::_ErrorHelper(const char* file, int line) {
    messagePrintf("ERROR %s(%d): ", moduleName(file).c_str(), line);
}

void _ErrorHelper::operator()(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = vformat(format, args);
    va_end(args);
    emit(text.c_str());
    emit(" \n");
}

void _AssertFailed(const char* file, unsigned int line) {
    messagePrintf("ASSERT FAILED: %s(%u)\n", moduleName(file).c_str(), line);
}

void ResetMessageLogfile() {
    if (_MessageHelper::out_ != &std::cout && _MessageHelper::out_ != nullptr) delete _MessageHelper::out_;
    _MessageHelper::out_ = &std::cout;
}

void SetMessageLogfile(const std::string& name) {
    if (name.empty()) {
        ResetMessageLogfile();
        return;
    }
    // Only a regular file (or a new one) is opened: opening a FIFO for writing
    // would block until a reader comes, and a device is no log.
    struct stat info;
    if (::stat(name.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
        ERROR("cannot open logfile '%s'", name.c_str());
        return;
    }
    auto* stream = new std::ofstream(name.c_str(), std::ios::out | std::ios::trunc);
    if (stream->good()) {
        if (_MessageHelper::out_ != &std::cout && _MessageHelper::out_ != nullptr) delete _MessageHelper::out_;
        _MessageHelper::out_ = stream;
    } else {
        delete stream;  // nothing refers to it; keeping it would only leak
        ERROR("cannot open logfile '%s'", name.c_str());
    }
}

std::string messageLiteral(const std::string& text) {
    std::string out;
    for (char c : text) {
        out += c;
        if (c == '%') out += '%';
    }
    return out;
}
