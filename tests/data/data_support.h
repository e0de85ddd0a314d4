// Helpers shared by the dataset tests.
#ifndef KINETRA_TESTS_DATA_SUPPORT_H
#define KINETRA_TESTS_DATA_SUPPORT_H

#include <string>

#include "mexhost.h"
#include "util/Message.h"

namespace datatest {

// Printed text with the line numbers of error heads removed:
// "ERROR Dataset3D(42): x \n" becomes "ERROR Dataset3D: x \n".
inline std::string takeText() {
    std::string text = mexhost::takeOutput();
    for (size_t at = text.find("ERROR "); at != std::string::npos; at = text.find("ERROR ", at + 1)) {
        const size_t open = text.find('(', at), close = text.find("): ", at);
        if (open != std::string::npos && close != std::string::npos && open < close &&
            text.find_first_not_of("0123456789", open + 1) == close)
            text.erase(open, close - open + 1);
    }
    return text;
}

// Sets the verbosity for one scope and restores it.
struct Verbosity {
    explicit Verbosity(unsigned level) : saved(_MessageHelper::verbosity_) { _MessageHelper::verbosity_ = level; }
    ~Verbosity() { _MessageHelper::verbosity_ = saved; }
    unsigned saved;
};

}  // namespace datatest

#endif
