// kinetra('process', data, error, voiIn, voiOut): fits the selected protocol.
//
// Each argument is a workspace name or a Matlab array. Arrays become the
// temporaries "_data_", "_error_", "_input_voi_" and "_output_voi_", which
// stay in the workspace and replace those of the previous call. Every path
// past the argument count answers true: failures are printed, and whatever
// the user built stays in the workspace.
#include <string>

#include "Dataset3D.h"
#include "Protocol.h"
#include "VOI.h"
#include "interfaces/MatlabInterface.h"
#include "util/Message.h"

namespace {

// The workspace keeps VOIs; a mask that came as a plain volume is copied
// into one (grid, values, pixel size and origin) and the volume destroyed.
VOI* asVOI(Dataset3D<unsigned char>* mask) {
    if (mask == nullptr) return nullptr;
    if (VOI* voi = dynamic_cast<VOI*>(mask)) return voi;
    VOI* voi = new VOI(mask->getDimensionX(), mask->getDimensionY(), mask->getDimensionZ(), 0);
    const unsigned n = mask->getVolumeSize();
    for (unsigned i = 0; i < n; ++i) (*voi)(i) = (*mask)(i);
    voi->setPixelSize(mask->getPixelSize());
    voi->setOrigin(mask->getOrigin());
    voi->setSpaceUnit(mask->getSpaceUnit());
    delete mask;
    return voi;
}

// A temporary that the user has renamed ('set data _data_ name x') is
// theirs now: rather than be overwritten by the next temporary of its key,
// it moves to the key of its own name and stays. If that name has been taken
// meanwhile, it goes as any older temporary does.
template <class T>
void keepRenamed(Interface::List<T>& list, const std::string& key) {
    auto it = list.find(key);
    if (it == list.end() || it->second == nullptr || it->second->getName() == key) return;
    T* item = it->second;
    if (list.count(item->getName()) != 0) return;
    list.erase(it);
    list.emplace(item->getName(), item);
}

}  // namespace

bool MatlabInterface::commandProcess(int, mxArray**, int nrhs, const mxArray** prhs) {
    if (nrhs < 5) return false;

    Protocol* protocol = currentProtocol_;
    if (protocol == nullptr) {
        ERROR("no protocol selected");
        return true;
    }

    // The data: a name, or a 4D array.
    std::string dataName;
    Dataset* data = nullptr;
    if (isString(prhs[1])) {
        dataName = getString(prhs[1]);
        data = getData(dataName);
        if (data == nullptr) {
            ERROR("dataset '%s' not found\n", dataName.c_str());
            return true;
        }
    } else if (is4D(prhs[1])) {
        data = createDataset(nrhs, prhs, 1, "_data_", false);
        if (data == nullptr) return true;  // the bridge has said why
        keepRenamed(data_, "_data_");
        addData(data);
        dataName = data->getName();
    } else {
        WARNING("invalid data argument\n");
        return true;
    }

    // The error dataset: a name, "none", a 4D array, or anything else for
    // none at all.
    std::string errorName;
    Dataset* error = nullptr;
    if (isString(prhs[2])) {
        errorName = getString(prhs[2]);
        if (errorName != "none") {
            error = getData(errorName);
            if (error == nullptr) {
                ERROR("error dataset '%s' not found\n", errorName.c_str());
                return true;
            }
        }
    } else if (is4D(prhs[2])) {
        error = createDataset(nrhs, prhs, 2, "_error_", false);
        if (error == nullptr) return true;
        keepRenamed(data_, "_error_");
        addData(error);
        errorName = error->getName();
    }

    // The two VOIs: a name, "none", a 3D logical array, or anything else for
    // none. A 3D array that is no mask has been reported by the bridge; the
    // fit does not go on without the region the user meant.
    std::string voiInName, voiOutName;
    bool voiIn = false, voiOut = false;
    for (int index = 3; index <= 4; ++index) {
        const bool input = index == 3;
        std::string& name = input ? voiInName : voiOutName;
        bool& present = input ? voiIn : voiOut;
        const mxArray* a = prhs[index];
        if (isString(a)) {
            name = getString(a);
            if (name != "none") {
                if (getVOI(name) == nullptr) {
                    if (input)
                        ERROR("input VOI '%s' not found\n", name.c_str());
                    else
                        ERROR("model VOI '%s' not found\n", name.c_str());
                    return true;
                }
                present = true;
            }
        } else if (is3D(a)) {
            VOI* voi = asVOI(createVOI(a));
            if (voi == nullptr) return true;
            voi->setName(input ? "_input_voi_" : "_output_voi_");
            keepRenamed(voi_, voi->getName());
            addVOI(voi);
            name = voi->getName();
            present = true;
        }
    }

    // A temporary made above may have replaced a dataset or VOI that an
    // earlier argument named ("_error_" given as the data, say): look all
    // four up again, so that the protocol gets only live objects.
    data = getData(dataName);
    if (data == nullptr) return true;
    error = error != nullptr ? getData(errorName) : nullptr;
    VOI* inputVOI = voiIn ? getVOI(voiInName) : nullptr;
    VOI* outputVOI = voiOut ? getVOI(voiOutName) : nullptr;

    MESSAGE(1, " \n");
    MESSAGE(1, "PROTOCOL '%s' DATA '%s' ERROR '%s'\n  VOI_IN '%s' VOI_OUT '%s'\n", messageLiteral(protocol->getName()).c_str(),
            messageLiteral(dataName).c_str(), messageLiteral(errorName).c_str(), messageLiteral(voiInName).c_str(),
            messageLiteral(voiOutName).c_str());
    MESSAGE(1, "%s\n", std::string(73, '=').c_str());
    _MessageHelper::indent(2);

    // The protocol accumulates what it has seen.
    protocol->addData(data);
    if (error != nullptr) protocol->addData(error);
    if (inputVOI != nullptr) protocol->addVOI(inputVOI);
    if (outputVOI != nullptr) protocol->addVOI(outputVOI);
    protocol->process(dataName, errorName, voiInName, voiOutName);

    _MessageHelper::outdent(2);
    return true;
}
