// Helpers shared by the dataset tests.
#ifndef KINETRA_TESTS_DATA_SUPPORT_H
#define KINETRA_TESTS_DATA_SUPPORT_H

#include <regex>
#include <string>

#include "mexhost.h"
#include "util/Message.h"

namespace datatest {

// Printed text with the line numbers of error heads removed:
// "ERROR Dataset3D(42): x \n" becomes "ERROR Dataset3D: x \n".
inline std::string takeText() {
    static const std::regex head("ERROR ([A-Za-z0-9_/]+)\\([0-9]+\\): ");
    return std::regex_replace(mexhost::takeOutput(), head, "ERROR $1: ");
}

// Sets the verbosity for one scope and restores it.
struct Verbosity {
    explicit Verbosity(unsigned level) : saved(_MessageHelper::verbosity_) { _MessageHelper::verbosity_ = level; }
    ~Verbosity() { _MessageHelper::verbosity_ = saved; }
    unsigned saved;
};

}  // namespace datatest

#endif
