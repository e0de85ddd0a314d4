// Commands of the workspace: a short and a long help text and up to three
// handlers of different shapes bound to member operations of one owner.
//
// The Matlab route calls process(nlhs, plhs, nrhs, prhs), which tries the
// array handler and then the plain one; the text route calls
// process(args), which tries the strings handler and then the plain one.
// So a command with only a strings handler cannot be reached from Matlab.
#ifndef KINETRA_COMMAND_H
#define KINETRA_COMMAND_H

#include <string>
#include <vector>

#include "mex.h"
#include "util/Message.h"

class SubCommand {
public:
    SubCommand(const std::string& shortHelp, const std::string& longHelp)
        : shortHelp_(shortHelp), longHelp_(longHelp) {}
    virtual ~SubCommand() {}

    virtual bool process(const std::vector<std::string>& args) = 0;
    virtual bool process() = 0;
    virtual bool process(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) = 0;

    std::string shortHelp_;
    std::string longHelp_;
};

template <class T>
class Command : public SubCommand {
public:
    typedef bool (T::*StringsHandler)(const std::vector<std::string>&);
    typedef bool (T::*PlainHandler)();
    typedef bool (T::*ArrayHandler)(int, mxArray**, int, const mxArray**);

    Command(const std::string& shortHelp, const std::string& longHelp, T* owner, StringsHandler handler)
        : SubCommand(shortHelp, longHelp) {
        init();
        addFunction(owner, handler);
    }
    Command(const std::string& shortHelp, const std::string& longHelp, T* owner, PlainHandler handler)
        : SubCommand(shortHelp, longHelp) {
        init();
        addFunction(owner, handler);
    }
    Command(const std::string& shortHelp, const std::string& longHelp, T* owner, ArrayHandler handler)
        : SubCommand(shortHelp, longHelp) {
        init();
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
    void addFunction(T* owner, ArrayHandler handler) {
        owner_ = owner;
        arrayHandler_ = handler;
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
    bool process(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) override {
        if (arrayHandler_) return (owner_->*arrayHandler_)(nlhs, plhs, nrhs, prhs);
        if (plainHandler_) return (owner_->*plainHandler_)();
        return undefined();
    }

private:
    void init() {
        owner_ = nullptr;
        stringsHandler_ = nullptr;
        plainHandler_ = nullptr;
        arrayHandler_ = nullptr;
    }
    bool undefined() {
        ERROR("Function is not defined!\nProgramming error...\n");
        return false;
    }

    T* owner_;
    StringsHandler stringsHandler_;
    PlainHandler plainHandler_;
    ArrayHandler arrayHandler_;
};

#endif
