// A workspace driven the way Matlab drives the module: each call builds the
// argument arrays, runs MatlabInterface::processCommand, and hands back the
// printed text and the output slots. Every test gets a fresh workspace.
#ifndef KINETRA_TESTS_SESSION_H
#define KINETRA_TESTS_SESSION_H

#include <memory>
#include <string>
#include <vector>

#include "interfaces/MatlabInterface.h"
#include "mexhost.h"
#include "util/Message.h"

namespace test {

using Dims = std::vector<mwSize>;
using Values = std::vector<double>;

// A double array of the given sizes and values (zeros where none are given).
inline mxArray* doubles(Dims sizes, Values v = {}) { return mexhost::makeArray(mxDOUBLE_CLASS, sizes, v); }

// The line that the dispatcher prints for a call it did not take.
inline std::string unknown(const std::string& line) {
    return "KINETRA: unknown or invalid command '" + line + "'\n";
}

// One argument of a call: a string, or an array that the call takes over.
struct Arg {
    Arg(const char* s) : array(mxCreateString(s)) {}
    Arg(const std::string& s) : array(mxCreateString(s.c_str())) {}
    Arg(double v) : array(mxCreateDoubleScalar(v)) {}
    Arg(int v) : array(mxCreateDoubleScalar(v)) {}
    Arg(mxArray* a) : array(a) {}
    mxArray* array;
};

struct Result {
    std::string text;                // what the call printed
    std::vector<mxArray*> outputs;   // plhs, owned by the Result
    Result() = default;
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;
    Result(Result&& other) noexcept : text(std::move(other.text)), outputs(std::move(other.outputs)) {}
    ~Result() {
        for (mxArray* a : outputs)
            if (a != nullptr) mxDestroyArray(a);
    }
    const mxArray* out(size_t i = 0) const { return i < outputs.size() ? outputs[i] : nullptr; }
    bool isFalse() const {
        const mxArray* a = out(0);
        return a != nullptr && mxIsLogical(a) && mxGetNumberOfElements(a) == 1 && mxGetScalar(a) == 0.0;
    }
};

class Session {
public:
    explicit Session(unsigned int verbosity = 1) {
        _MessageHelper::verbosity_ = verbosity;
        _MessageHelper::indent_.clear();
        workspace.reset(new MatlabInterface());
        banner = mexhost::takeOutput();
    }
    ~Session() {
        workspace.reset();
        _MessageHelper::verbosity_ = 1;
        _MessageHelper::indent_.clear();
        mexhost::clearOutput();
    }

    Result call(std::vector<Arg> args, int nlhs = 1) {
        std::vector<const mxArray*> prhs;
        for (const Arg& a : args) prhs.push_back(a.array);
        std::vector<mxArray*> plhs(static_cast<size_t>(nlhs < 1 ? 1 : nlhs) + 4, nullptr);
        mexhost::clearOutput();
        workspace->processCommand(nlhs, plhs.data(), static_cast<int>(prhs.size()), prhs.data());
        Result result;
        result.text = mexhost::takeOutput();
        result.outputs = plhs;
        for (const mxArray* a : prhs) mxDestroyArray(const_cast<mxArray*>(a));
        return result;
    }

    std::unique_ptr<MatlabInterface> workspace;
    std::string banner;
};

// Sets up the linear input through the (time, value) table and Generic_1TC with k1, k2, alpha, beta.
inline void linearModel(Session& s, Values table, double k1, double k2) {
    s.call({"set", "tac", "blood", doubles({table.size() / 2, 2}, table)});
    s.call({"set", "data", "blood", "unit", "kBq/ml"});
    s.call({"select", "input", "LinearInterpolation"});
    s.call({"set", "input", "init", "blood"});
    s.call({"select", "model", "Generic_1TC"});
    s.call({"set", "model", "input", "LinearInterpolation"});
    s.call({"set", "model", "k1", "value", k1});
    s.call({"set", "model", "k2", "value", k2});
    s.call({"set", "model", "alpha", "value", 1.0});
    s.call({"set", "model", "beta", "value", 0.0});
}

}  // namespace test

#endif
