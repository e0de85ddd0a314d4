// Protocol: its tables, the guards of a half-configured protocol, the two
// stages with their parameter states, the printed results and getTac, with a
// recording optimizer in place of a fitting method.
#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <sstream>

#include "Protocol.h"
#include "FitFixture.h"

namespace {

// Records what each run was given and the model's parameter states then;
// it "fits" by writing k1 = 0.5 +/- 0.1.
class RecordingOptimizer : public Optimizer {
public:
    struct Run {
        Optimizable* optimizable;
        Dataset *data, *error;
        VOI* voi;
        std::vector<Parameter::State> modelStates;
    };
    RecordingOptimizer() : Optimizer("Recording") {}
    void run(Voxel& voxel) override {
        if (voxel.number != 0) return;  // one record per run
        runs.push_back({model_, data_, error_, voi_, {}});
        for (unsigned i = 0; i < watched->getNumParameters(); ++i)
            runs.back().modelStates.push_back(watched->getParameterByIndex(i).getState());
        if (model_ == watched) {
            watched->setParameterValue("k1", 0.5);
            watched->setParameterError("k1", 0.1);
        }
    }
    Optimizable* watched = nullptr;
    std::vector<Run> runs;
};

// T frames 10 s apart of X voxels, value base + 10 t + x.
Dataset4D<double>* series(const char* name, const char* unit, unsigned T, unsigned X, double base) {
    Dataset4D<double>* d = new Dataset4D<double>(T, X, 1, 1, 0.0);
    d->setName(name);
    d->setUnit(Unit(unit));
    for (unsigned t = 0; t < T; ++t) {
        d->setTime(t, 10.0 * t);
        d->setFrameLength(t, 10.0);
        for (unsigned x = 0; x < X; ++x) (*d)(t, x, 0, 0) = base + 10.0 * t + x;
    }
    return d;
}

VOI* mask(const char* name, unsigned X, unsigned char value) {
    VOI* v = new VOI(X, 1, 1, value);
    v->setName(name);
    return v;
}

std::string take() { return std::regex_replace(mexhost::takeOutput(), std::regex("\\((\\d+)\\)"), "(N)"); }

class ProtocolTest : public ::testing::Test {
protected:
    void SetUp() override {
        protocol.setOptimizer(&optimizer);
        model.addInput(&input);
        protocol.setModel(&model);
        flat->setName("flat");
        for (Dataset* d : {(Dataset*)data.get(), (Dataset*)error.get(), (Dataset*)flat.get()}) protocol.addData(d);
        for (VOI* v : {in.get(), empty.get(), small.get()}) protocol.addVOI(v);
        optimizer.watched = &model;
        mexhost::clearOutput();
    }
    void TearDown() override { mexhost::clearOutput(); }

    fit::Verbosity verbosity{1};
    std::unique_ptr<Dataset4D<double>> data{series("d", "Bq/ml", 4, 2, 100.0)}, error{series("e", "Bq/ml", 4, 2, 1.0)};
    std::unique_ptr<Dataset3D<double>> flat{new Dataset3D<double>(2, 1, 1, 1.0)};
    std::unique_ptr<VOI> in{mask("in", 2, 1)}, empty{mask("empty", 2, 0)}, small{mask("small", 1, 1)};
    LinearInterpolation input{"Blood", Unit("kBq/ml")};
    Generic_1TC_Model model;
    RecordingOptimizer optimizer;
    Protocol protocol{"P"};
};

}  // namespace

TEST_F(ProtocolTest, TablesReplaceByNameAndForgetRemovedObjects) {
    std::unique_ptr<Dataset4D<double>> other(series("d", "Bq/ml", 4, 2, 0.0));
    protocol.addData(other.get());
    EXPECT_EQ(protocol.getData("d"), other.get());  // replaced by name
    EXPECT_EQ(protocol.getData("x"), nullptr);
    EXPECT_EQ(protocol.getVOI("x"), nullptr);
    EXPECT_EQ(take(), "WARNING: no dataset 'x' in protocol 'P'\nWARNING: no VOI 'x' in protocol 'P'\n");
    // A renamed object stays under its old key; removal by pointer still
    // takes it out, so the table cannot keep a destroyed object.
    other->setName("renamed");
    protocol.removeData(other.get());
    EXPECT_EQ(protocol.data_.count("d"), 0u);
    in->setName("moved");
    protocol.removeVOI(in.get());
    EXPECT_EQ(protocol.voi_.count("in"), 0u);
    protocol.removeVOI("no such");  // no failure
    protocol.removeData("flat");
    EXPECT_EQ(protocol.data_.size(), 1u);
    EXPECT_EQ(take(), "");
}

TEST_F(ProtocolTest, HalfConfiguredProtocolsReportAndFitNothing) {
    Generic_1TC_Model bare;
    protocol.setModel(&bare);
    EXPECT_EQ(take(), "WARNING: model 'Generic_1TC' has no input(s)\n");
    protocol.setModel(nullptr);
    EXPECT_EQ(protocol.getModel(), &model);
    Protocol fresh("Q");
    fresh.setModel(&bare);
    EXPECT_EQ(fresh.getModel(), nullptr);
    mexhost::clearOutput();

    protocol.process("d", "e", "none", "");  // no stage, no message
    EXPECT_EQ(take(), "");
    fresh.process("d", "e", "in", "in");
    EXPECT_EQ(take(), "ERROR Protocol(N): no optimizer \n");
    EXPECT_FALSE(fresh.prepare("d", "e", "in"));
    EXPECT_EQ(take(), "ERROR Protocol(N): no optimizer in protocol 'Q' \n");
    fresh.setOptimizer(&optimizer);
    fresh.process("d", "e", "none", "in");
    EXPECT_EQ(take(), "ERROR Protocol(N): no model in protocol 'Q' \n");
    model.removeInput(&input);
    protocol.process("d", "e", "in", "in");
    EXPECT_EQ(take(), "ERROR Protocol(N): no input function set for model 'Generic_1TC' \n");
    EXPECT_TRUE(optimizer.runs.empty());
}

TEST_F(ProtocolTest, PrepareChecksNamesGridsAndActiveVoxels) {
    const struct { const char *data, *error, *voi, *text; } cases[] = {
        {"x", "e", "in", "ERROR Protocol(N): dataset 'x' not known in protocol 'P' \n"},
        {"d", "x", "in", "ERROR Protocol(N): error dataset 'x' not known in protocol 'P' \n"},
        {"d", "e", "x", "ERROR Protocol(N): VOI 'x' not known in protocol 'P'\n \n"},
        {"d", "e", "empty", "ERROR Protocol(N): VOI 'empty' has 0 active voxels \n"},
        {"d", "e", "small",
         "ERROR Protocol(N): VOI 'small' has invalid dimensions 1x1x1 (XxYxZ) for data 'd' with 4x2x1x1 (TxXxYxZ) \n"},
        {"d", "flat", "in", "ERROR Protocol(N): data 'd' and error 'flat' have dimension mismatch \n"},
        {"flat", "none", "in", "ERROR Protocol(N): data 'flat' has 3 instead of 4 dimensions \n"},
    };
    for (const auto& c : cases) {
        EXPECT_FALSE(protocol.prepare(c.data, c.error, c.voi)) << c.text;
        EXPECT_EQ(take(), c.text);
        protocol.process(c.data, c.error, "none", c.voi);  // the failed stage is not run
        mexhost::clearOutput();
    }
    EXPECT_TRUE(optimizer.runs.empty());
    // A "none" VOI leaves the optimizer's VOI alone.
    optimizer.setVOI(in.get());
    EXPECT_TRUE(protocol.prepare("d", "e", "none"));
    EXPECT_EQ(optimizer.getVOI(), in.get());
    EXPECT_EQ(optimizer.getDataset(), data.get());
    EXPECT_EQ(optimizer.getErrorDataset(), error.get());
    EXPECT_EQ(take(), "");
}

TEST_F(ProtocolTest, TwoStagesFitInputThenModelWithTheRightStates) {
    model.setParameterState("beta", Parameter::CONST);
    model.setParameterState("k1", Parameter::FIXED);
    protocol.process("d", "none", "in", "in");
    ASSERT_EQ(optimizer.runs.size(), 2u);
    const RecordingOptimizer::Run &first = optimizer.runs[0], &second = optimizer.runs[1];
    EXPECT_EQ(first.optimizable, &input);
    EXPECT_EQ(first.data, data.get());
    EXPECT_EQ(first.error, nullptr);
    EXPECT_EQ(first.voi, in.get());
    // The model is held fixed while its input is fitted; const stays const.
    using S = std::vector<Parameter::State>;
    EXPECT_EQ(first.modelStates, (S{Parameter::FIXED, Parameter::FIXED, Parameter::FIXED, Parameter::CONST}));
    EXPECT_EQ(second.optimizable, &model);
    EXPECT_EQ(second.modelStates, (S{Parameter::FREE, Parameter::FREE, Parameter::FREE, Parameter::CONST}));
    const std::string rule = std::string(77, '=') + "\n";
    // The protocol's own lines (the optimizer's report of its run aside).
    const std::regex own("^(WARNING: no error.*|.* parameters on VOI .*|=+|  \\w+ = .*)$");
    std::string printed;
    std::istringstream lines(mexhost::takeOutput());
    for (std::string line; std::getline(lines, line);)
        if (std::regex_match(line, own)) printed += line + "\n";
    EXPECT_EQ(printed, "WARNING: no error dataset\nBlood parameters on VOI 'in'\n" + rule +
                                         "WARNING: no error dataset\nGeneric_1TC parameters on VOI 'in'\n" + rule +
                                         "  k1 = 0.5 +/- 0.1 1/min\n  k2 = 0 +/- 0 1/min\n  alpha = 0 +/- 0 \n"
                                         "  beta = 0 +/- 0  NOT OPTIMIZED\n");
    EXPECT_EQ(_MessageHelper::indent_, "");
    // One stage alone, with an error dataset.
    optimizer.runs.clear();
    protocol.process("d", "e", "", "in");
    ASSERT_EQ(optimizer.runs.size(), 1u);
    EXPECT_EQ(optimizer.runs[0].optimizable, &model);
    EXPECT_EQ(optimizer.runs[0].error, error.get());
}

TEST_F(ProtocolTest, GetTacGivesModelDataErrorAndInputInTheModelUnit) {
    // Input samples in kBq/ml at the data's frame times; y = 2 Ca.
    std::unique_ptr<Dataset4D<double>> blood(series("blood", "kBq/ml", 4, 1, 5.0));
    input.initParameters(blood.get(), nullptr);
    model.setParameterValue("beta", 2.0);
    mexhost::clearOutput();
    std::unique_ptr<Dataset4D<double>> one(protocol.getTac("d", "e", 1, 0, 0));
    ASSERT_TRUE(one);
    EXPECT_EQ(one->getDimensionT(), 4u);
    EXPECT_EQ(one->getDimensionZ(), 4u);
    EXPECT_EQ(one->getUnit().getName(), "kBq/ml");
    // Over the VOI: means of the two voxels; no error dataset gives 0.
    std::unique_ptr<Dataset4D<double>> mean(protocol.getTac("d", "none", *in));
    ASSERT_TRUE(mean);
    for (unsigned t = 0; t < 4; ++t) {
        const double ca = 5.0 + 10.0 * t;
        EXPECT_NEAR((*one)(t, 0, 0, 0), 2.0 * ca, 1e-9) << t;
        EXPECT_NEAR((*one)(t, 0, 0, 1), (101.0 + 10.0 * t) / 1000.0, 1e-12);
        EXPECT_NEAR((*one)(t, 0, 0, 2), (2.0 + 10.0 * t) / 1000.0, 1e-12);
        EXPECT_NEAR((*one)(t, 0, 0, 3), ca, 1e-9);
        EXPECT_NEAR((*mean)(t, 0, 0, 1), (100.5 + 10.0 * t) / 1000.0, 1e-12);
        EXPECT_EQ((*mean)(t, 0, 0, 2), 0.0);
        EXPECT_NEAR((*mean)(t, 0, 0, 3), ca, 1e-9);
    }
    EXPECT_EQ(mexhost::takeOutput(), "");
}

TEST_F(ProtocolTest, GetTacRefusesWhatItCannotRead) {
    EXPECT_EQ(protocol.getTac("x", "none", 0, 0, 0), nullptr);
    EXPECT_EQ(take(), "WARNING: no dataset 'x' in protocol 'P'\nERROR Protocol(N): data 'x' not found \n");
    EXPECT_EQ(protocol.getTac("d", "flat", 0, 0, 0), nullptr);
    mexhost::clearOutput();
    EXPECT_EQ(protocol.getTac("d", "e", 2, 0, 0), nullptr);
    EXPECT_EQ(take(), "ERROR Protocol(N): point (2,0,0) is outside data 'd' (1x1x2) \n");
    EXPECT_EQ(protocol.getTac("d", "e", *empty), nullptr);
    EXPECT_EQ(take(), "WARNING: VOI 'empty' has no active voxels\n");
    EXPECT_EQ(protocol.getTac("d", "e", *small), nullptr);  // the text is the one prepare gives
    Protocol noModel("Q");
    noModel.addData(data.get());
    EXPECT_EQ(noModel.getTac("d", "none", 0, 0, 0), nullptr);
}
