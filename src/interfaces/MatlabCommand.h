// The array route into the command table: the handler shape that takes the
// host's arrays, bool (T::*)(nlhs, plhs, nrhs, prhs).
//
// processArrays is the route of a Matlab call: the array handler if the
// command has one, else its plain handler, else the error "Function is not
// defined!". A workspace command without an array handler (exit, quit,
// reset, status) takes the same route through its plain handler.
#ifndef KINETRA_INTERFACES_MATLABCOMMAND_H
#define KINETRA_INTERFACES_MATLABCOMMAND_H

#include "Command.h"
#include "mex.h"

// What a command offers to the array route.
class ArrayRoute {
public:
    virtual ~ArrayRoute() {}
    virtual bool process(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) = 0;
};

template <class T>
class ArrayCommand : public Command<T>, public ArrayRoute {
public:
    typedef bool (T::*ArrayHandler)(int, mxArray**, int, const mxArray**);
    using Command<T>::addFunction;
    using Command<T>::process;

    ArrayCommand(const std::string& shortHelp, const std::string& longHelp, T* owner, ArrayHandler handler)
        : Command<T>(shortHelp, longHelp) {
        addFunction(owner, handler);
    }

    void addFunction(T* owner, ArrayHandler handler) {
        this->owner_ = owner;
        arrayHandler_ = handler;
    }

    bool process(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) override {
        if (arrayHandler_) return (this->owner_->*arrayHandler_)(nlhs, plhs, nrhs, prhs);
        return Command<T>::process();  // the plain handler, or the error
    }

private:
    ArrayHandler arrayHandler_ = nullptr;
};

// The array route of any command of the table.
inline bool processArrays(SubCommand& command, int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) {
    if (ArrayRoute* route = dynamic_cast<ArrayRoute*>(&command)) return route->process(nlhs, plhs, nrhs, prhs);
    return command.process();
}

#endif
