// Commands of the workspace: a short and a long help text and the handlers
// of one owner object that carry them out.
//
// The workspace knows two routes into a command. The text route calls
// process(args), which tries the strings handler and then the plain one;
// process() tries the plain one only. The array route of the Matlab module
// (interfaces/MatlabCommand.h) adds a third handler shape, which knows the
// host's arrays, and falls back on the plain handler; so a command with only
// a strings handler cannot be reached from Matlab.
#ifndef KINETRA_COMMAND_H
#define KINETRA_COMMAND_H

#include <string>
#include <vector>

#include "util/Message.h"

class SubCommand {
public:
    SubCommand(const std::string& shortHelp, const std::string& longHelp)
        : shortHelp_(shortHelp), longHelp_(longHelp) {}
    virtual ~SubCommand() {}

    virtual bool process(const std::vector<std::string>& args) = 0;
    virtual bool process() = 0;

    std::string shortHelp_;
    std::string longHelp_;

protected:
    // A route that finds no handler for itself.
    static bool undefined() {
        ERROR("Function is not defined!\nProgramming error...\n");
        return false;
    }
};

template <class T>
class Command : public SubCommand {
public:
    typedef bool (T::*StringsHandler)(const std::vector<std::string>&);
    typedef bool (T::*PlainHandler)();

    Command(const std::string& shortHelp, const std::string& longHelp, T* owner, StringsHandler handler)
        : SubCommand(shortHelp, longHelp) {
        addFunction(owner, handler);
    }
    Command(const std::string& shortHelp, const std::string& longHelp, T* owner, PlainHandler handler)
        : SubCommand(shortHelp, longHelp) {
        addFunction(owner, handler);
    }

    void addFunction(T* owner, StringsHandler handler) {
        owner_ = owner;
        stringsHandler_ = handler;
    }
    void addFunction(T* owner, PlainHandler handler) {
        owner_ = owner;
        plainHandler_ = handler;
    }

    bool process(const std::vector<std::string>& args) override {
        if (stringsHandler_) return (owner_->*stringsHandler_)(args);
        if (plainHandler_) return (owner_->*plainHandler_)();
        return undefined();
    }
    bool process() override {
        if (plainHandler_) return (owner_->*plainHandler_)();
        return undefined();
    }

protected:
    // For a route that adds its own handler shape.
    explicit Command(const std::string& shortHelp, const std::string& longHelp) : SubCommand(shortHelp, longHelp) {}

    T* owner_ = nullptr;
    StringsHandler stringsHandler_ = nullptr;
    PlainHandler plainHandler_ = nullptr;
};

#endif
