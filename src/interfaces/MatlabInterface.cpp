#include "interfaces/MatlabInterface.h"

#include <vector>

#include "interfaces/MatlabCommand.h"
#include "interfaces/MatlabHelpTexts.h"
#include "util/Message.h"

using namespace matlabhelp;

namespace {

typedef ArrayCommand<MatlabInterface> MatlabCommand;

void printOnHostConsole(const char* text) { mexPrintf("%s", text); }

// The workspace's name, once the host's console receives its messages: the
// banner and anything the workspace's own construction prints go there.
const char* onHostConsole(const char* name) {
    MatlabInterface::useHostConsole();
    return name;
}

}  // namespace

void MatlabInterface::useHostConsole() { setMessageSink(&printOnHostConsole); }

MatlabInterface::MatlabInterface() : Interface(onHostConsole("Matlab")) {
    if (_MessageHelper::verbosity_ != 0) MESSAGE(1, "%s", versionString(0.8).c_str());

    // The workspace's help knows no Matlab arrays: replace it.
    delete commands_["help"];
    commands_.erase("help");
    commands_["help"] = new MatlabCommand(helpText[0], helpText[1], this, &MatlabInterface::commandHelp);

    // Matlab wording for three of the workspace's commands; "quit" keeps its own.
    struct Rewording {
        const char* word;
        const char* const* text;
    };
    const Rewording rewording[] = {{"exit", helpTextExit}, {"reset", helpTextReset}, {"status", helpTextStatus}};
    for (const Rewording& r : rewording) {
        SubCommand* command = commands_[r.word];
        command->shortHelp_ = r.text[0];
        command->longHelp_ = r.text[1];
    }

    struct Registration {
        const char* word;
        const char* const* text;
        bool (MatlabInterface::*handler)(int, mxArray**, int, const mxArray**);
    };
    const Registration registrations[] = {
        {"cluster", helpTextCluster, &MatlabInterface::commandCluster},
        {"create", helpTextCreate, &MatlabInterface::commandCreate},
        {"delete", helpTextDelete, &MatlabInterface::commandDelete},
        {"filter", helpTextFilter, &MatlabInterface::commandFilter},
        {"get", helpTextGet, &MatlabInterface::commandGet},
        {"process", helpTextProcess, &MatlabInterface::commandProcess},
        {"read", helpTextRead, &MatlabInterface::commandRead},
        {"select", helpTextSelect, &MatlabInterface::commandSelect},
        {"set", helpTextSet, &MatlabInterface::commandSet},
        {"show", helpTextShow, &MatlabInterface::commandShow},
        {"write", helpTextWrite, &MatlabInterface::commandWrite},
    };
    for (const Registration& r : registrations)
        commands_[r.word] = new MatlabCommand(r.text[0], r.text[1], this, r.handler);
}

MatlabInterface::~MatlabInterface() {}

bool MatlabInterface::isString(const mxArray* a) { return a != nullptr && mxIsChar(a); }

std::string MatlabInterface::getString(const mxArray* a) {
    if (!isString(a)) {
        MESSAGE(1, "KINETRA: array element is no string\n");
        return std::string();
    }
    size_t count = mxGetNumberOfElements(a);
    std::vector<char> buffer(count + 3, '\0');
    mxGetString(a, buffer.data(), static_cast<mwSize>(count + 2));
    return std::string(buffer.data());
}

void MatlabInterface::processCommand(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs) {
    std::string word = nrhs > 0 ? getString(prhs[0]) : std::string("help");
    plhs[0] = mxCreateLogicalScalar(false);

    SubCommand* command = get(word, commands_);
    if (command == nullptr || !processArrays(*command, nlhs, plhs, nrhs, prhs)) {
        // Rebuild the call's line: strings as they are, anything else as "...".
        std::string line = word;
        for (int i = 1; i < nrhs; ++i) line += " " + (isString(prhs[i]) ? getString(prhs[i]) : std::string("..."));
        MESSAGE(1, "KINETRA: unknown or invalid command '%s'\n", line.c_str());
    }

    // Every output the caller asked for gets a value, so that a form that
    // fills fewer slots, or none, never makes the caller's assignment fail:
    // logical false where nothing else was returned.
    for (int i = 0; i < nlhs || i == 0; ++i)
        if (plhs[i] == nullptr) plhs[i] = mxCreateLogicalScalar(false);
}

bool MatlabInterface::commandHelp(int, mxArray**, int nrhs, const mxArray** prhs) {
    std::vector<std::string> topics;
    for (int i = 1; i < nrhs; ++i) topics.push_back(getString(prhs[i]));
    Interface::commandHelp(topics);
    return true;
}
