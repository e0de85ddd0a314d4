// Messages, warnings, errors and assertion reports.
//
// Everything the toolbox shows goes through one sink, a function that prints a
// finished text on the console. The module's entry installs the host's
// console (mexPrintf); without it the text goes to standard output, so the
// core is usable on its own. Ordinary messages are
// graded by a verbosity level (1 to 8; 0 silences all but errors and
// assertions), carry the global indent and are copied to the optional log
// file. Warnings are never indented. Errors print a head with the module
// path and line ("ERROR Dataset(42): "), never reach the log file and never
// stop the program: the reporting function returns its own failure value.
#ifndef KINETRA_UTIL_MESSAGE_H
#define KINETRA_UTIL_MESSAGE_H

#include <ostream>
#include <string>
#include <vector>

// The console: prints a finished text as it is, nothing read as a format.
typedef void (*MessageSink)(const char* text);
// Installs the console sink; null restores the default (standard output).
void setMessageSink(MessageSink sink);
MessageSink getMessageSink();
// Formats and prints through the sink; never written to the log file.
void messagePrintf(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

class _MessageHelper {
public:
    explicit _MessageHelper(const std::string& prefix = "") : prefix_(prefix) {}

    void operator()(const char* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;

    std::string& prefix() { return prefix_; }

    static void indent(unsigned int n);
    static void outdent(unsigned int n);

    // True if messages of this level are printed at the current verbosity.
    static bool enabled(unsigned int level) { return verbosity_ != 0 && verbosity_ >= level; }
    // True if the log stream is a real log file (differs from standard output
    // by the state-aware comparison of the two streams).
    static bool logging();

    static unsigned int verbosity_;
    static std::ostream* out_;
    // Each thread indents on its own (see MessageCapture).
    static thread_local std::string indent_;

private:
    std::string prefix_;
};

class _ErrorHelper {
public:
    // Prints the head "ERROR <module>(<line>): ". The module is the source path
    // below src/ without its extension, e.g. "util/Message" or "Dataset".
    _ErrorHelper(const char* file, int line);
    void operator()(const char* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;
};

// The module path of a source file name as printed in error heads: the part
// below the last "src/" directory, cut at the first '.' of the file name, so
// that "…/src/interfaces/MatlabInterface.set.cpp" is "interfaces/MatlabInterface".
std::string moduleName(const char* file);

// A user's text for a message argument: message texts pass the console's
// printf twice, so a '%' is doubled to come out as itself.
std::string messageLiteral(const std::string& text);

// Copies a text to the log file, if one is attached.
void messageLog(const std::string& text);

// What a thread other than the host's prints. The host's console may be
// reached from its own thread only, so work on another thread runs inside a
// Scope: everything the thread prints (console texts and log copies) is kept
// in a MessageCapture, in order, and the host's thread prints it afterwards
// with replay(), where the work would have printed it.
class MessageCapture {
public:
    // While a Scope lives, its thread prints into `capture`, with its own
    // indent starting at `indent`.
    class Scope {
    public:
        Scope(MessageCapture& capture, const std::string& indent);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        MessageCapture* saved_;
        std::string savedIndent_;
    };

    // Prints the kept texts through the console and the log, in order. A
    // report made once per cause is printed if its bit in `*owner` is not
    // set yet, and sets it: of the threads' first reports, the first in the
    // order of replay stands, as the first one would on a single thread.
    void replay() const;
    void clear() { pieces_.clear(); }
    bool empty() const { return pieces_.empty(); }

    // The capture of the calling thread; null outside a Scope.
    static MessageCapture* active();

    // For the message functions.
    void console(const char* text) { pieces_.push_back(Piece{CONSOLE, text, nullptr, 0}); }
    void log(const std::string& text) { pieces_.push_back(Piece{LOG, text, nullptr, 0}); }
    // The texts between these two are a report made once per cause `bit`,
    // whose reported causes are kept in `*owner`.
    void beginOnce(unsigned* owner, unsigned bit) { pieces_.push_back(Piece{ONCE_BEGIN, "", owner, bit}); }
    void endOnce() { pieces_.push_back(Piece{ONCE_END, "", nullptr, 0}); }

private:
    enum Kind { CONSOLE, LOG, ONCE_BEGIN, ONCE_END };
    struct Piece {
        Kind kind;
        std::string text;
        unsigned* owner;
        unsigned bit;
    };
    std::vector<Piece> pieces_;
};

// Attaches a log file that receives a copy of messages and warnings; the empty
// name closes it.
void SetMessageLogfile(const std::string& name);
void ResetMessageLogfile();

// Prints the assertion report and carries on with the bad value.
void _AssertFailed(const char* file, unsigned int line);

#define MESSAGE(level, ...)                                                                                            \
    do {                                                                                                               \
        if (_MessageHelper::enabled(level)) _MessageHelper()(__VA_ARGS__);                                             \
    } while (0)

// Warnings vanish at verbosity 0 together with all ordinary messages.
#define WARNING(...)                                                                                                   \
    do {                                                                                                               \
        if (_MessageHelper::verbosity_ == 0) break;                                                                    \
        _MessageHelper _warning_helper;                                                                                \
        _warning_helper.prefix() = "WARNING: " + _warning_helper.prefix();                                             \
        messagePrintf("WARNING: ");                                                                                    \
        if (_MessageHelper::logging()) messageLog(_warning_helper.prefix());                                           \
        _warning_helper(__VA_ARGS__);                                                                                  \
    } while (0)

#define ERROR _ErrorHelper(__FILE__, __LINE__)

#define ASSERT(condition)                                                                                              \
    do {                                                                                                               \
        if (!(condition)) _AssertFailed(__FILE__, __LINE__);                                                           \
    } while (0)

#endif
