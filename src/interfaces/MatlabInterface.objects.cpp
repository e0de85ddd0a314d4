// The data and VOI arguments of the filter and cluster commands.
#include "interfaces/MatlabInterface.objects.h"

#include <string>

#include "VOI.h"
#include "util/Message.h"

namespace mxobjects {

bool findData(MatlabInterface& w, int nrhs, const mxArray** prhs, const char* temporaryName, Temporary<Dataset>& data) {
    const std::string name = MatlabInterface::isString(prhs[1]) ? MatlabInterface::getString(prhs[1]) : "";
    if (!name.empty()) {
        data.borrow(w.getData(name));
        if (!data) MESSAGE(1, "KINETRA: cannot find dataset '%s'\n", name.c_str());
        return bool(data);
    }
    if (!w.is3D(prhs[1]) && !w.is4D(prhs[1])) {
        MESSAGE(1, "KINETRA: data is not 3D or 4D\n");
        return false;
    }
    data.own(w.createDataset(nrhs, prhs, 1, temporaryName, false));
    return bool(data);  // the bridge has said why not
}

VOI* arrayVOI(MatlabInterface& w, const mxArray* a) {
    Dataset3D<unsigned char>* mask = w.createVOI(a);
    if (mask == nullptr) return nullptr;
    if (VOI* voi = dynamic_cast<VOI*>(mask)) return voi;
    VOI* voi = new VOI(mask->getDimensionX(), mask->getDimensionY(), mask->getDimensionZ(), 0);
    for (unsigned i = 0; i < mask->getVolumeSize(); ++i) (*voi)(i) = (*mask)(i);
    delete mask;
    return voi;
}

bool findFilterVOI(MatlabInterface& w, const mxArray* a, const char* temporaryName, Temporary<VOI>& voi) {
    if (MatlabInterface::isString(a) && !MatlabInterface::getString(a).empty()) {
        const std::string name = MatlabInterface::getString(a);
        voi.borrow(w.getVOI(name));
        if (!voi) MESSAGE(1, "KINETRA: cannot find VOI '%s'\n", name.c_str());
        return bool(voi);
    }
    if (!w.isVOI(a)) {
        MESSAGE(1, "KINETRA: VOI is not 3D\n");
        return false;
    }
    voi.own(arrayVOI(w, a));
    if (voi) voi->setName(temporaryName);
    return bool(voi);
}

bool sameGrid(const Dataset& data, const VOI& voi) {
    if (voi.getDimensionX() == data.getDimensionX() && voi.getDimensionY() == data.getDimensionY() &&
        voi.getDimensionZ() == data.getDimensionZ())
        return true;
    MESSAGE(1, "KINETRA: VOI '%s' (%ux%ux%u) is not on the grid of data '%s' (%ux%ux%u)\n", voi.getName().c_str(),
            voi.getDimensionX(), voi.getDimensionY(), voi.getDimensionZ(), data.getName().c_str(),
            data.getDimensionX(), data.getDimensionY(), data.getDimensionZ());
    return false;
}

}  // namespace mxobjects
