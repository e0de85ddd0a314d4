// Runs any optimizer on a scene's working set, as the scene runs its own, and
// reads the expected texts stored beside the tests.
#ifndef KINETRA_TESTS_FIT_RUNON_H
#define KINETRA_TESTS_FIT_RUNON_H

#include <fstream>
#include <iterator>
#include <string>

#include "FitFixture.h"

namespace fit {

inline std::string runOn(Optimizer& o, Scene& scene, bool weighted = false) {
    o.setData(scene.data.get());
    o.setError(weighted ? scene.error.get() : nullptr);
    o.setVOI(scene.voi.get());
    o.setOptimizable(scene.model.get());
    mexhost::clearOutput();
    o.run();
    return mexhost::takeOutput();
}

// The whole file, or "" when there is none.
inline std::string readFile(const std::string& name) {
    std::ifstream in(name.c_str());
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// A file in this folder, found from the path this header was compiled from.
inline std::string stored(const std::string& name) {
    const std::string here = __FILE__;
    return readFile(here.substr(0, here.rfind('/') + 1) + name);
}

}  // namespace fit

#endif
