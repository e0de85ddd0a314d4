// The listing commands of the Matlab route: select moves the selection of a
// list, show prints tables and reports. Neither writes to plhs.
#include <string>

#include "interfaces/MatlabInterface.h"
#include "util/Message.h"

// kinetra('select', list, item)
bool MatlabInterface::commandSelect(int, mxArray**, int nrhs, const mxArray** prhs) {
    if (nrhs != 3) {
        MESSAGE(1, "KINETRA: select has 2 arguments: list item\n");
        return false;
    }
    const std::string list = getString(prhs[1]);
    const std::string item = getString(prhs[2]);
    if (select(list, item)) return true;
    // A failed select leaves nothing selected in that list.
    WARNING("KINETRA: %s %s not known\n", messageLiteral(list).c_str(), messageLiteral(item).c_str());
    return false;
}

// kinetra('show'[, topic[, name]]): topic "all" and no name by default.
bool MatlabInterface::commandShow(int, mxArray**, int nrhs, const mxArray** prhs) {
    const std::string topic = nrhs > 1 ? getString(prhs[1]) : std::string("all");
    const std::string name = nrhs > 2 ? getString(prhs[2]) : std::string();
    show(topic, name);
    return true;
}
