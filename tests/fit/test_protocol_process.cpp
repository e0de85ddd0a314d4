// The process command as Matlab calls it: argument forms, temporaries made
// from arrays and the printed head. (Whole fits through it: the Sequences
// tests; the printed results: the Protocol tests.)
#include <gtest/gtest.h>

#include <regex>

#include "Dataset4D.h"
#include "Protocol.h"
#include "VOI.h"
#include "support/Session.h"

using test::Result;
using test::Session;

namespace {

std::string head(const char* data, const char* error, const char* in, const char* out) {
    return std::string(" \nPROTOCOL 'Generic' DATA '") + data + "' ERROR '" + error + "'\n  VOI_IN '" + in +
           "' VOI_OUT '" + out + "'\n" + std::string(73, '=') + "\n";
}

std::string errors(const std::string& text) { return std::regex_replace(text, std::regex("\\((\\d+)\\)"), "(N)"); }

// Z x Y x X x T (Matlab order) filled with one value, and a 1 x 1 x X mask.
mxArray* array4D(mwSize X, mwSize T, double value) {
    return mexhost::makeArray(mxDOUBLE_CLASS, {1, 1, X, T}, std::vector<double>(X * T, value));
}
mxArray* mask3D(mwSize X) { return mexhost::makeArray(mxLOGICAL_CLASS, {1, 1, X}, std::vector<double>(X, 1.0)); }

// The Generic protocol selected, optionally with the method as optimizer.
Protocol* generic(Session& s, bool withOptimizer) {
    s.call({"select", "protocol", "Generic"});
    Protocol* p = s.workspace->getProtocol("Generic");
    if (withOptimizer) p->setOptimizer(s.workspace->getOptimizer("Levenberg-Marquardt"));
    return p;
}

}  // namespace

TEST(Process, ArgumentsAndNames) {
    Session s;
    EXPECT_EQ(s.call({"process", "a", "none", "none"}).text, "KINETRA: unknown or invalid command 'process a none none'\n");
    Result r = s.call({"process", "a", "none", "none", "none"});
    EXPECT_TRUE(r.isFalse());
    EXPECT_EQ(errors(r.text), "ERROR interfaces/MatlabInterface(N): no protocol selected \n");

    Protocol* p = generic(s, false);
    Dataset4D<double>* a = new Dataset4D<double>(3, 2, 1, 1, 1.0);
    a->setName("a");
    s.workspace->addData(a);
    const std::string E = "ERROR interfaces/MatlabInterface(N): ";
    EXPECT_EQ(errors(s.call({"process", "x", "none", "none", "none"}).text), E + "dataset 'x' not found\n \n");
    EXPECT_EQ(errors(s.call({"process", "a", "x", "none", "none"}).text), E + "error dataset 'x' not found\n \n");
    EXPECT_EQ(errors(s.call({"process", "a", "none", "x", "none"}).text), E + "input VOI 'x' not found\n \n");
    EXPECT_EQ(errors(s.call({"process", "a", "none", "none", "x"}).text), E + "model VOI 'x' not found\n \n");
    EXPECT_EQ(s.call({"process", 3.0, "none", "none", "none"}).text, "WARNING: invalid data argument\n");
    EXPECT_TRUE(p->data_.empty());

    // A name and "none" add only the data; the protocol has no optimizer yet.
    EXPECT_EQ(errors(s.call({"process", "a", "none", "none", "none"}).text),
              head("a", "none", "none", "none") + "ERROR Protocol(N): no optimizer \n");
    ASSERT_EQ(p->data_.size(), 1u);
    EXPECT_EQ(p->data_["a"], a);
    EXPECT_TRUE(p->voi_.empty());
    EXPECT_EQ(_MessageHelper::indent_, "");
    // No stage: nothing more to say; a non-string error prints empty.
    p->setOptimizer(s.workspace->getOptimizer("Levenberg-Marquardt"));
    EXPECT_EQ(s.call({"process", "a", 7.0, "none", "none"}).text, head("a", "", "none", "none"));
}

TEST(Process, ArraysBecomeTemporariesThatReplaceTheirPredecessors) {
    Session s;
    Protocol* p = generic(s, true);
    Result first = s.call({"process", array4D(2, 3, 1.0), array4D(2, 3, 0.1), mask3D(2), mask3D(2)});
    EXPECT_EQ(errors(first.text), head("_data_", "_error_", "_input_voi_", "_output_voi_") +
                                      "ERROR Protocol(N): no model in protocol 'Generic' \n");
    for (const char* name : {"_data_", "_error_"}) {
        ASSERT_NE(s.workspace->getData(name), nullptr) << name;
        EXPECT_EQ(p->data_[name], s.workspace->getData(name));
    }
    for (const char* name : {"_input_voi_", "_output_voi_"}) {
        ASSERT_NE(s.workspace->getVOI(name), nullptr) << name;
        EXPECT_EQ(s.workspace->getVOI(name)->numActive(), 2u);
        EXPECT_EQ(p->voi_[name], s.workspace->getVOI(name));
    }
    Result second = s.call({"process", array4D(2, 3, 5.0), "none", "none", "none"});
    EXPECT_EQ(second.text, "WARNING: overwriting dataset '_data_'\n" + head("_data_", "none", "none", "none"));
    EXPECT_EQ(s.workspace->getData("_data_")->getValue4D(2, 1, 0, 0), 5.0);
    EXPECT_EQ(p->data_["_data_"], s.workspace->getData("_data_"));
    // A 3D array that is no mask stops the command after the bridge's message.
    Result bad = s.call({"process", "_data_", "none", mexhost::makeArray(mxDOUBLE_CLASS, {1, 1, 2}), "none"});
    EXPECT_EQ(bad.text, "KINETRA: voi must be of type logical\n");
    EXPECT_NE(s.workspace->getVOI("_input_voi_"), nullptr);

    // "_error_" named as the data is replaced by the new error array: the
    // protocol must only see live objects, and listing may find none stale.
    Result r = s.call({"process", "_error_", array4D(2, 3, 0.2), "none", "none"});
    EXPECT_NE(r.text.find("overwriting dataset '_error_'"), std::string::npos);
    EXPECT_EQ(p->data_["_error_"], s.workspace->getData("_error_"));
    s.call({"show", "data"});
}
