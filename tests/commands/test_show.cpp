// The listing commands byte for byte: the tables of a fresh workspace, the
// selection marks, data and VOI tables, single reports, parameters, select.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "Dataset4D.h"
#include "ErrorModel.h"
#include "InputFunction.h"
#include "Model.h"
#include "Optimizer.h"
#include "Protocol.h"
#include "Tracer.h"
#include "VOI.h"
#include "support/Session.h"

using test::Result;
using test::Session;

namespace {

// The tables of a fresh workspace, in the order in which show prints them.
const char* const kDataTable =
    " \n"
    "DATASET           D   nT  nZ  nY  nX     UNIT     TYPE      SIZE FLAGS\n"
    "======================================================================\n"
    " \n";

const char* const kVoiTable =
    " \n"
    "VOI                      nZ  nY  nX   ACTIVE\n"
    "============================================\n"
    " \n";

const char* const kInputTable =
    " \n"
    "Input                        NP D C     UNIT\n"
    "============================================\n"
    "FMISO_InputFunction           9 0 0    Bq/ml\n"
    "GenericInputFunction          8 0 0    Bq/ml\n"
    "LinearInterpolation           0 0 0   kBq/ml\n"
    "McN_ReferenceFunction         6 0 0   kBq/ml\n"
    " \n";

const char* const kErrorTable =
    " \n"
    "ERROR MODEL                  TRACER  SIGMA FLOOR\n"
    "================================================\n"
    "GaussRandom                          0.00  0.000\n"
    "Poisson                              0.00  0.000\n"
    "PoissonRandom                        0.00  0.000\n"
    "Simple                               0.00  0.000\n"
    "SimpleRandom                         0.00  0.000\n"
    "Uniform                              0.00  0.000\n"
    "WeightedPoisson                      1.00  0.000\n"
    "WeightedPoissonRandom                1.00  0.000\n"
    " \n";

const char* const kModelTable =
    " \n"
    "MODEL                        NC NI NP D     UNIT\n"
    "================================================\n"
    "Cardiac_2TC                   3  0  6 0   kBq/ml\n"
    "Cardiac_HutchinsI             2  0  3 0   kBq/ml\n"
    "Cardiac_HutchinsII            3  0  4 0   kBq/ml\n"
    "Casciari                      5  0  8 0   kBq/ml\n"
    "FMISO_2TC                     3  0  7 0   kBq/ml\n"
    "FMISO_3TC                     4  0  8 0   kBq/ml\n"
    "Generic_1TC                   2  0  4 0   kBq/ml\n"
    "Generic_2TC                   3  0  6 0   kBq/ml\n"
    "Neuro_Lammertsma              2  0  4 0   kBq/ml\n"
    "Neuro_SLAM                    2  0  3 0   kBq/ml\n"
    "Water_1TC                     2  0  3 0   kBq/ml\n"
    " \n";

const char* const kProtocolTable =
    " \n"
    "PROTOCOL                MODEL                   OPTIMIZER\n"
    "=========================================================\n"
    "Generic                                               \n"
    " \n";

const char* const kOptimizerTable =
    " \n"
    "OPTIMIZER                MAXITER ABSCHI^2   DCHI^2\n"
    "==================================================\n"
    "GunnBFM                      100    1e-09    0.001\n"
    "Levenberg-Marquardt          100    1e-09    0.001\n"
    "MultiDimGlobal               100    1e-09    0.001\n"
    "Simplex                      100    1e-09    0.001\n"
    " \n";

const char* const kUnitTable =
    " \n"
    "UNIT             TYPE       FACTOR\n"
    "==================================\n"
    "1            UNKNOWN        1\n"
    "1/min        FREQUENCY      0.017\n"
    "1/s          FREQUENCY      1\n"
    "Bq/ml        ACTIVITY       1\n"
    "Bq/ml/min    ACTIVITYRATE   0.017\n"
    "Ci/ml        ACTIVITY       3.7e+10\n"
    "MBq/ml       ACTIVITY       1e+06\n"
    "MBq/ml/min   ACTIVITYRATE   1.7e+04\n"
    "daBq/ml      ACTIVITY       10\n"
    "daBq/ml/min  ACTIVITYRATE   0.17\n"
    "hBq/ml       ACTIVITY       1e+02\n"
    "hBq/ml/min   ACTIVITYRATE   1.7\n"
    "kBq/ml       ACTIVITY       1e+03\n"
    "kBq/ml/min   ACTIVITYRATE   17\n"
    "mCi/ml       ACTIVITY       3.7e+07\n"
    "min          TIME           60\n"
    "ml           VOLUME         1\n"
    "nCi/ml       ACTIVITY       37\n"
    "s            TIME           1\n"
    "uCi/ml       ACTIVITY       3.7e+04\n"
    " \n";

const char* const kTracerTable =
    " \n"
    "TRACER                    TAU/s   eMax\n"
    "======================================\n"
    "Ammonia                   594.0   1.19\n"
    "C-11                     1224.0   0.97\n"
    "F-18                     6588.0   0.64\n"
    "FDG                      6588.0   0.64\n"
    "FMISO                    6588.0   0.64\n"
    "McN                      1224.0   0.97\n"
    "N-13                      594.0   1.19\n"
    "O-15                      123.0   1.72\n"
    "Oxygen                    123.0   1.72\n"
    "Rb-82                      75.0   3.15\n"
    "Rubidium-Chloride          75.0   3.15\n"
    "Water                     123.0   1.72\n"
    " \n";

const char* const kRule76 = "============================================================================\n";

template <class D>
D* named(D* d, const char* name, const char* unit = "") {
    d->setName(name);
    d->setUnit(Unit(unit));
    return d;
}

bool has(const std::string& text, const std::string& piece) { return text.find(piece) != std::string::npos; }

}  // namespace

TEST(Show, FreshWorkspaceTablesVerbosityAndSilence) {
    Session s;
    Result r = s.call({"show"});
    EXPECT_TRUE(r.isFalse());
    std::string all;
    for (const char* table : {kDataTable, kVoiTable, kInputTable, kErrorTable, kModelTable, kProtocolTable,
                              kOptimizerTable, kUnitTable, kTracerTable})
        all += table;
    EXPECT_EQ(r.text, all);
    EXPECT_EQ(s.call({"show", "unit"}).text, kUnitTable);
    EXPECT_EQ(s.call({"show", "unit", "nope"}).text, kUnitTable);  // a name does not narrow a whole list
    EXPECT_EQ(s.call({"show", "error"}).text, kErrorTable);
    EXPECT_EQ(s.call({"show", "all"}).text, all);
    s.call({"reset"});
    EXPECT_EQ(s.call({"show"}).text, all);

    EXPECT_EQ(s.call({"show", "verbosity"}).text, "verbosity level is 1");
    _MessageHelper::verbosity_ = 3;
    EXPECT_EQ(s.call({"show", "verbosity"}).text, "verbosity level is 3");
    _MessageHelper::verbosity_ = 0;
    for (const char* topic : {"all", "verbosity"}) EXPECT_EQ(s.call({"show", topic}).text, "") << topic;
    EXPECT_EQ(s.call({"show", "data", "nosuch"}).text, "");
    _MessageHelper::verbosity_ = 1;
    EXPECT_EQ(s.call({"show", "nosuch"}).text, "");
}

TEST(Show, SelectedItemsAreMarkedAndRowsFollowSettings) {
    Session s;
    for (auto p : {std::make_pair("input", "LinearInterpolation"), std::make_pair("model", "Generic_1TC"),
                   std::make_pair("protocol", "Generic"), std::make_pair("optimizer", "Levenberg-Marquardt"),
                   std::make_pair("tracer", "FDG"), std::make_pair("unit", "kBq/ml"),
                   std::make_pair("error", "Poisson")}) {
        Result r = s.call({"select", p.first, p.second});
        EXPECT_EQ(r.text, "") << p.first;
        EXPECT_TRUE(r.isFalse());
    }
    const std::string text = s.call({"show"}).text;
    size_t stars = 0;
    for (char c : text) stars += c == '*';
    EXPECT_EQ(stars, 7u);
    for (const char* row : {"\n*LinearInterpolation          0 0 0   kBq/ml\n",
                            "\n*Generic_1TC                  2  0  4 0   kBq/ml\n",
                            "\n*Generic                                              \n",
                            "\n*Levenberg-Marquardt         100    1e-09    0.001\n",
                            "\n*FDG                     6588.0   0.64\n",
                            "\n*Poisson                             0.00  0.000\n",
                            "\n*kBq/ml                  ACTIVITY       1e+03\n"})  // unit name cell 24 wide
        EXPECT_TRUE(has(text, row)) << row;
    EXPECT_FALSE(has(text, "PARAMETER"));  // the protocol's model has none yet

    ErrorModel* e = s.workspace->getErrorModel("Poisson");
    e->setTracer(Tracer("FDG"));
    e->setSigma(0.1);
    e->setFloor(0.5);
    Model* model = s.workspace->getModel("Generic_1TC");
    model->addInput(s.workspace->getInput("LinearInterpolation"));
    Protocol* p = s.workspace->getProtocol("Generic");
    p->setModel(model);
    p->setOptimizer(s.workspace->getOptimizer("Levenberg-Marquardt"));
    EXPECT_TRUE(has(s.call({"show", "error"}).text, "\n*Poisson                        FDG  0.10  0.500\n"));
    EXPECT_EQ(s.call({"show", "protocol"}).text,
              " \nPROTOCOL                MODEL                   OPTIMIZER\n"
              "=========================================================\n"
              "*Generic                    Generic_1TCLevenberg-Marquardt\n \n");
    EXPECT_TRUE(has(s.call({"show", "model"}).text, "\n*Generic_1TC                  2  1  4 0   kBq/ml\n"));
}

TEST(Show, DataAndVOITablesAndSingleReports) {
    Session s;
    Dataset4D<float>* scan = named(new Dataset4D<float>(3, 4, 5, 2), "scan", "kBq/ml");
    scan->setMidframeApprox(true);
    s.workspace->addData(scan);
    s.workspace->addData(named(new Dataset2D<double>(3, 2), "slice"));
    s.workspace->addData(named(new Dataset3D<unsigned char>(2, 2, 2), "mask"));
    VOI* roi = new VOI(3, 4, 2, 1);
    roi->setName("roi");
    (*roi)(0u) = 0;
    (*roi)(5u) = 0;
    s.workspace->addVOI(roi);
    // Datasets and VOIs are never marked, even when selected.
    s.call({"select", "data", "scan"});
    s.call({"select", "voi", "roi"});
    EXPECT_EQ(s.call({"show", "data"}).text,
              " \nDATASET           D   nT  nZ  nY  nX     UNIT     TYPE      SIZE FLAGS\n"
              "======================================================================\n"
              "mask             3D    0   2   2   2             uchar         8\n"
              "scan             4D    3   2   5   4   kBq/ml    float       480 MA\n"
              "slice            2D    0   0   2   3            double        48\n"
              " \n");
    EXPECT_EQ(s.call({"show", "voi"}).text,
              " \nVOI                      nZ  nY  nX   ACTIVE\n"
              "============================================\n"
              "roi                       2   4   3       22\n"
              " \n");
    // Up to 999 elements a dataset lists its values, from 1000 on it is summarised.
    Dataset3D<double>* small = named(new Dataset3D<double>(9, 111, 1, 2.5), "small");
    Dataset3D<double>* large = named(new Dataset3D<double>(10, 100, 1, 2.5), "large");
    s.workspace->addData(small);
    s.workspace->addData(large);
    std::ostringstream values, summary, model, input;
    values << *static_cast<Dataset*>(small);
    large->info(summary);
    ASSERT_NE(values.str(), summary.str());
    EXPECT_EQ(s.call({"show", "data", "small"}).text, values.str());
    EXPECT_EQ(s.call({"show", "data", "large"}).text, summary.str());
    model << *s.workspace->getModel("Generic_1TC");
    input << *s.workspace->getInput("LinearInterpolation");
    EXPECT_EQ(s.call({"show", "model", "Generic_1TC"}).text, model.str());
    EXPECT_EQ(s.call({"show", "input", "LinearInterpolation"}).text, input.str());

    for (auto c : {std::make_pair("data", "data"), std::make_pair("voi", "VOI"), std::make_pair("input", "input function"),
                   std::make_pair("model", "model")})
        EXPECT_EQ(s.call({"show", c.first, "nope"}).text, std::string("WARNING: ") + c.second + " 'nope' not found\n");
    EXPECT_EQ(s.call({"show", "data", "50%s"}).text, "WARNING: data '50%s' not found\n");  // '%' as itself
}

TEST(Show, ParameterTablesOfTheSelectedProtocol) {
    Session s;
    Model* model = s.workspace->getModel("Generic_1TC");
    model->addInput(s.workspace->getInput("LinearInterpolation"));
    model->setParameterInitValue("k1", 0.25);
    model->setParameterValue("k1", 0.3);
    model->setParameterMin("k1", 0.0);
    model->setParameterMax("k1", 1.0);
    model->setParameterState("k2", Parameter::FIXED);
    s.workspace->getProtocol("Generic")->setModel(model);
    EXPECT_EQ(s.call({"show", "parameter"}).text, "");  // no protocol selected
    s.call({"select", "protocol", "Generic"});
    const std::string expected = std::string("PARAMETER LinearInterpolation % UNIT    STATE   INITVALUE VALUE  BOUNDARIES\n") +
                                 kRule76 + " \n" +
                                 "PARAMETER Generic_1TC         % UNIT    STATE   INITVALUE VALUE  BOUNDARIES\n" +
                                 kRule76 +
                                 "k1                             1/min    free     0.25     0.3      0        1       \n"
                                 "k2                             1/min    fixed    0        0       unbound\n"
                                 "alpha                                   free     0        0       unbound\n"
                                 "beta                                    free     0        0       unbound\n"
                                 " \n";
    EXPECT_EQ(s.call({"show", "parameter"}).text, expected);
    // "all" includes them, after the protocol table.
    const std::string all = s.call({"show"}).text;
    const size_t parameters = all.find(expected);
    ASSERT_NE(parameters, std::string::npos);
    EXPECT_LT(all.find("PROTOCOL   "), parameters);
    EXPECT_LT(parameters, all.find("OPTIMIZER   "));
}

TEST(Select, FailuresClearTheSelectionAndPrintTheUnknownCommandLine) {
    Session s;
    const std::string bad = "KINETRA: unknown or invalid command ";
    EXPECT_EQ(s.call({"select", "model"}).text, "KINETRA: select has 2 arguments: list item\n" + bad + "'select model'\n");
    EXPECT_EQ(s.call({"select", "model", "Generic_1TC", "x"}).text,
              "KINETRA: select has 2 arguments: list item\n" + bad + "'select model Generic_1TC x'\n");
    s.call({"select", "model", "Generic_1TC"});
    ASSERT_EQ(s.workspace->currentModel_, s.workspace->getModel("Generic_1TC"));
    Result r = s.call({"select", "model", "Nosuch"});
    EXPECT_TRUE(r.isFalse());
    EXPECT_EQ(r.text, "WARNING: KINETRA: model Nosuch not known\n" + bad + "'select model Nosuch'\n");
    EXPECT_EQ(s.workspace->currentModel_, nullptr);
    EXPECT_FALSE(has(s.call({"show", "model"}).text, "*"));
    // List words are exact, and a non-string item is read as the empty name.
    EXPECT_EQ(s.call({"select", "Data", "x"}).text,
              "WARNING: unknown list name 'Data'\nWARNING: KINETRA: Data x not known\n" + bad + "'select Data x'\n");
    EXPECT_EQ(s.call({"select", "tracer", 3.0}).text,
              "KINETRA: array element is no string\nWARNING: KINETRA: tracer  not known\n" + bad +
                  "'select tracer ...'\n");
}
