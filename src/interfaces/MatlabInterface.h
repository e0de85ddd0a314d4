// The workspace as the Matlab/Octave module sees it: the command handlers of
// the Matlab route and the bridge between Matlab arrays and datasets.
// Handlers have the shape bool commandXxx(nlhs, plhs, nrhs, prhs); prhs[0] is
// the command word. True means the call was accepted (not that it worked);
// plhs[0] is always created as logical false and replaced only by data.
#ifndef KINETRA_INTERFACES_MATLABINTERFACE_H
#define KINETRA_INTERFACES_MATLABINTERFACE_H

#include <string>
#include <vector>

#include "Interface.h"
#include "mex.h"

template <class T>
class Dataset2D;
template <class T>
class Dataset3D;
template <class T>
class Dataset4D;

class MatlabInterface : public Interface {
public:
    MatlabInterface();
    virtual ~MatlabInterface();

    // The Matlab route: one call of kinetra(cmd, ...).
    void processCommand(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    using Interface::processCommand;

    // Sends every message of the toolbox to the host's console (mexPrintf).
    // The entry and every workspace of this kind install it.
    static void useHostConsole();

    // Argument readers of the dispatch.
    static bool isString(const mxArray* a);
    static std::string getString(const mxArray* a);

    // Command handlers.
    bool commandCluster(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    bool commandCreate(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    bool commandDelete(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    bool commandFilter(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    bool commandGet(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    bool commandHelp(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    bool commandProcess(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    bool commandRead(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    bool commandSelect(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    bool commandSet(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    bool commandShow(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    bool commandWrite(int nlhs, mxArray** plhs, int nrhs, const mxArray** prhs);
    using Interface::commandHelp;

    // ---- The array bridge (MatlabInterface.bridge.cpp) ----
    // Matlab array A of sizes s1 x s2 x s3 x s4 is the dataset with Z = s1,
    // Y = s2, X = s3, T = s4: A(z+1, y+1, x+1, t+1) is element (t, x, y, z).
    bool isScalar(const mxArray* a);
    bool is2D(const mxArray* a);
    bool is3D(const mxArray* a);
    bool is4D(const mxArray* a);
    bool isVOI(const mxArray* a);
    bool getPoint(const mxArray* a, int* x, int* y, int* z);
    bool getVector(const mxArray* a, std::vector<double>& v);
    Dataset* createDataset(int nrhs, const mxArray** prhs, int index, const std::string& name, bool withTime);
    Dataset* createDataset2D(const mxArray* a);
    Dataset* createDataset3D(const mxArray* a);
    Dataset* createDataset4D(const mxArray* a);
    Dataset3D<unsigned char>* createVOI(const mxArray* a);
    mxArray* createDataArray1D(const std::vector<double>& v);
    mxArray* createDataArray2D(const Dataset* d);
    mxArray* createDataArray3D(const Dataset* d);
    mxArray* createDataArray4D(const Dataset* d);
    mxArray* createTimeArray(const Dataset* d);
    // A table of curves: the T-by-(Z+1) double matrix of frame times and the
    // elements (t, 0, 0, z) of a 4D dataset.
    mxArray* createTacArray(const Dataset* d);
    // The Z x Y x X logical array, true where a 3D dataset's element is not 0.
    mxArray* createMaskArray(const Dataset* d);
    void addOutputUnit(mxArray** slot, const Unit* unit);
    // ---- end of the array bridge ----
};

#endif
