// The stand-alone MEX layer as the toolbox sees it, and the host hooks.
#include "mex.h"
#include "mexhost.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using mexhost::dims;
using mexhost::makeArray;
using mexhost::values;

namespace {

using Dims = std::vector<mwSize>;
using V = std::vector<double>;

// Every test must leave as many live arrays behind as it found.
class MexHost : public ::testing::Test {
protected:
    void SetUp() override { live_ = mexhost::liveArrays(), mexhost::clearOutput(); }
    void TearDown() override { EXPECT_EQ(mexhost::liveArrays(), live_) << "arrays leaked"; }
    int live_ = 0;
};
using MexHostDeathTest = MexHost;

void destroy(std::initializer_list<mxArray*> arrays) {
    for (mxArray* a : arrays) mxDestroyArray(a);
}

int exitCalls = 0;

TEST_F(MexHost, ClassPredicatesFollowTheClass) {
    const struct { mxClassID id; bool numeric; size_t size; } cases[] = {
        {mxDOUBLE_CLASS, true, 8}, {mxSINGLE_CLASS, true, 4}, {mxINT8_CLASS, true, 1},
        {mxUINT8_CLASS, true, 1},  {mxINT16_CLASS, true, 2},  {mxUINT16_CLASS, true, 2},
        {mxINT32_CLASS, true, 4},  {mxUINT32_CLASS, true, 4}, {mxINT64_CLASS, true, 8},
        {mxUINT64_CLASS, true, 8}, {mxLOGICAL_CLASS, false, 1}, {mxCHAR_CLASS, false, 2},
    };
    for (const auto& c : cases) {
        mxArray* a = makeArray(c.id, {2, 2});
        EXPECT_EQ(mxIsNumeric(a), c.numeric) << c.id;
        EXPECT_EQ(mxGetElementSize(a), c.size) << c.id;
        EXPECT_EQ(mxIsDouble(a) + 2 * mxIsLogical(a) + 4 * mxIsChar(a) + 8 * mxIsCell(a),
                  (c.id == mxDOUBLE_CLASS) + 2 * (c.id == mxLOGICAL_CLASS) + 4 * (c.id == mxCHAR_CLASS));
        mxDestroyArray(a);
    }
    mxArray* cell = mxCreateCellMatrix(1, 1);
    EXPECT_TRUE(mxIsCell(cell) && !mxIsNumeric(cell) && mxGetClassID(cell) == mxCELL_CLASS);
    mxDestroyArray(cell);
}

TEST_F(MexHost, ShapesLayoutAndZeroFill) {
    const mwSize d341[] = {3, 4, 1}, d3415[] = {3, 4, 1, 5}, d7[] = {7};
    mxArray* a = mxCreateNumericArray(3, d341, mxDOUBLE_CLASS, mxREAL);
    mxArray* b = mxCreateNumericArray(4, d3415, mxUINT16_CLASS, mxREAL);
    mxArray* c = mxCreateLogicalArray(1, d7);
    mxArray* e = mxCreateNumericArray(0, nullptr, mxDOUBLE_CLASS, mxREAL);
    EXPECT_EQ(dims(a), (Dims{3, 4}));  // trailing 1s dropped
    EXPECT_EQ(dims(b), (Dims{3, 4, 1, 5}));
    EXPECT_EQ(mxGetN(b), 20u);
    EXPECT_EQ(dims(c), (Dims{7, 1}));
    EXPECT_EQ(dims(e), (Dims{0, 0}));
    EXPECT_TRUE(mxIsEmpty(e) && mxGetData(e) == nullptr);
    destroy({a, b, c, e});

    mxArray* z = mxCreateNumericMatrix(3, 2, mxINT32_CLASS, mxREAL);
    EXPECT_EQ(values(z), V(6, 0.0));
    mxArray* m = makeArray(mxDOUBLE_CLASS, {2, 3}, {11, 21, 12, 22, 13, 23});
    ASSERT_NE(mxGetPr(m), nullptr);
    EXPECT_EQ(mxGetPr(m)[1 + 2 * 2], 23);  // A(r, c) is element r + c * m
    mxArray* q = makeArray(mxINT16_CLASS, {2, 3, 4});
    static_cast<int16_t*>(mxGetData(q))[1 + 2 * (2 + 3 * 3)] = 7;
    EXPECT_EQ(values(q)[23], 7);
    EXPECT_EQ(mxGetPr(q), nullptr) << "only double arrays have a double pointer";
    destroy({z, m, q});
}

TEST_F(MexHost, ValuesAndScalarsConvertLikeMatlab) {
    mxArray* i8 = makeArray(mxINT8_CLASS, {1, 5}, {2.5, -2.5, 300, -300, NAN});
    mxArray* u8 = makeArray(mxUINT8_CLASS, {1, 2}, {-1, 255.4});
    mxArray* lg = makeArray(mxLOGICAL_CLASS, {1, 3}, {2, 0, -0.5});
    mxArray* sg = makeArray(mxSINGLE_CLASS, {1, 1}, {1e300});
    EXPECT_EQ(values(i8), (V{3, -3, 127, -128, 0}));
    EXPECT_EQ(values(u8), (V{0, 255}));
    EXPECT_EQ(values(lg), (V{1, 0, 1}));
    EXPECT_EQ(values(sg)[0], std::numeric_limits<double>::infinity());
    EXPECT_THROW(makeArray(mxDOUBLE_CLASS, {2, 2}, {1, 2, 3}), std::invalid_argument);
    EXPECT_THROW(makeArray(mxCELL_CLASS, {1, 1}), std::invalid_argument);

    mxArray* i = makeArray(mxINT16_CLASS, {2, 1}, {-3, 9});
    mxArray* c = mxCreateString("A");
    mxArray* e = mxCreateDoubleMatrix(0, 3, mxREAL);
    mxArray* u = makeArray(mxUINT32_CLASS, {1, 1}, {4e9});
    const std::pair<mxArray*, double> scalars[] = {{i, -3.0}, {lg, 1.0}, {c, 65.0}, {e, 0.0}, {u, 4e9}};
    for (const auto& sc : scalars) EXPECT_EQ(mxGetScalar(sc.first), sc.second);
    destroy({i8, u8, lg, sg, i, c, e, u});
}

TEST_F(MexHost, StringsAreRowsOfUtf16Units) {
    mxArray* s = mxCreateString("abc");
    EXPECT_EQ(dims(s), (Dims{1, 3}));
    EXPECT_EQ(static_cast<const mxChar*>(mxGetData(s))[2], u'c');
    EXPECT_EQ(mexhost::str(s), "abc");
    char* copy = mxArrayToString(s);
    EXPECT_STREQ(copy, "abc");
    mxFree(copy);
    mxArray* empty = mxCreateString("");
    EXPECT_EQ(dims(empty), (Dims{0, 0}));
    // U+00E9 is one unit, U+1F600 a surrogate pair; non-UTF-8 bytes are Latin-1.
    mxArray* wide = mxCreateString("\xC3\xA9-\xF0\x9F\x98\x80");
    EXPECT_EQ(mxGetNumberOfElements(wide), 4u);
    EXPECT_EQ(mexhost::str(wide), "\xC3\xA9-\xF0\x9F\x98\x80");
    mxArray* latin = mxCreateString("\xE9t\xE9");
    EXPECT_EQ(mxGetNumberOfElements(latin), 3u);
    EXPECT_EQ(mxGetScalar(latin), 0xE9);
    destroy({s, empty, wide, latin});
}

TEST_F(MexHost, GetStringTruncatesToTheBuffer) {
    mxArray* s = mxCreateString("hello");
    char buf[16];
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(mxGetString(s, buf, 6), 0);  // exact fit
    EXPECT_STREQ(buf, "hello");
    std::memset(buf, '#', sizeof buf);
    EXPECT_EQ(mxGetString(s, buf, 4), 1);
    EXPECT_STREQ(buf, "hel");
    EXPECT_EQ(buf[4], '#') << "wrote past the buffer";
    mxArray* wide = mxCreateString("a\xC3\xA9");  // a character is never split
    EXPECT_EQ(mxGetString(wide, buf, 3), 1);
    EXPECT_STREQ(buf, "a");
    mxArray* num = mxCreateDoubleScalar(1);
    EXPECT_EQ(mxGetString(num, buf, sizeof buf), 1);
    EXPECT_EQ(mxArrayToString(num), nullptr);
    destroy({s, wide, num});
}

TEST_F(MexHost, CellsOwnTheirElements) {
    const int before = mexhost::liveArrays();
    mxArray* cell = mxCreateCellMatrix(3, 1);
    EXPECT_EQ(mxGetCell(cell, 2), nullptr);
    mxArray* name = mxCreateString("kBq/ml");
    mxSetCell(cell, 0, name);
    mxSetCell(cell, 2, mxCreateDoubleScalar(1000));
    EXPECT_EQ(mxGetCell(cell, 0), name);
    mxArray* copy = mxDuplicateArray(cell);  // deep
    EXPECT_EQ(mexhost::liveArrays(), before + 6);
    EXPECT_NE(mxGetCell(copy, 0), name);
    mxDestroyArray(cell);
    EXPECT_EQ(mexhost::liveArrays(), before + 3);
    EXPECT_EQ(mexhost::str(mxGetCell(copy, 0)), "kBq/ml");
    EXPECT_EQ(mxGetScalar(mxGetCell(copy, 2)), 1000);
    // Replacing destroys nothing; destroying an element empties its slot.
    mxArray* old = mxGetCell(copy, 2);
    mxSetCell(copy, 2, mxCreateDoubleScalar(1));
    EXPECT_EQ(mexhost::liveArrays(), before + 4);
    destroy({old, mxGetCell(copy, 0)});
    EXPECT_EQ(mxGetCell(copy, 0), nullptr);
    mxDestroyArray(copy);
    EXPECT_EQ(mexhost::liveArrays(), before);
}

TEST_F(MexHostDeathTest, MisuseOfArraysAborts) {
    EXPECT_DEATH(
        {
            mxArray* a = mxCreateDoubleScalar(1);
            destroy({a, a});
        },
        "mex host: mxDestroyArray: array was destroyed");
    EXPECT_DEATH(
        {
            mxArray* a = mxCreateDoubleScalar(1);
            mxSetCell(mxCreateCellMatrix(1, 1), 0, a);
            mxSetCell(mxCreateCellMatrix(1, 1), 0, a);
        },
        "already an element");
    EXPECT_DEATH(mxGetCell(mxCreateCellMatrix(2, 2), 4), "index out of range");
    EXPECT_DEATH(mxGetIr(mxCreateDoubleMatrix(1, 1, mxREAL)), "not sparse");
}

// Sparse arrays hold only their nonzeros: the data block is nnz long (at
// least 1), rows and column starts describe where they stand.
TEST_F(MexHost, SparseArraysKeepOnlyTheirNonzeros) {
    // [0 5 0; 7 0 0] in compressed columns: column 0 holds row 1, column 1 row 0.
    mxArray* a = mexhost::makeSparse(mxDOUBLE_CLASS, 2, 3, {0, 7, 5, 0, 0, 0});
    EXPECT_TRUE(mxIsSparse(a) && mxIsNumeric(a) && !mxIsComplex(a));
    EXPECT_EQ(mxGetNzmax(a), 2u);
    EXPECT_EQ(std::vector<mwIndex>(mxGetIr(a), mxGetIr(a) + 2), (std::vector<mwIndex>{1, 0}));
    EXPECT_EQ(std::vector<mwIndex>(mxGetJc(a), mxGetJc(a) + 4), (std::vector<mwIndex>{0, 1, 2, 2}));
    EXPECT_EQ(V(mxGetPr(a), mxGetPr(a) + 2), (V{7, 5}));
    EXPECT_EQ(values(a), (V{0, 7, 5, 0, 0, 0}));
    EXPECT_EQ(mxGetScalar(a), 0.0) << "element (1,1) is no stored nonzero";

    mxArray* none = mexhost::makeSparse(mxLOGICAL_CLASS, 1, 4, {});
    EXPECT_TRUE(mxIsSparse(none) && mxIsLogical(none) && mxGetNzmax(none) == 1u && mxGetData(none) != nullptr);
    EXPECT_EQ(values(none), V(4, 0.0));
    mxArray* copy = mxDuplicateArray(a);
    EXPECT_TRUE(mxIsSparse(copy) && values(copy) == values(a));
    EXPECT_THROW(mexhost::makeSparse(mxINT8_CLASS, 1, 1, {}), std::invalid_argument);
    destroy({a, none, copy});
}

TEST_F(MexHost, ComplexArraysKeepTheImaginaryPartsApart) {
    mxArray* c = mexhost::makeComplex(mxDOUBLE_CLASS, {1, 3}, {1, 2, 3}, {-1, 0, 0.5});
    EXPECT_TRUE(mxIsComplex(c) && !mxIsSparse(c));
    EXPECT_EQ(values(c), (V{1, 2, 3}));
    EXPECT_EQ(mexhost::imaginaryValues(c), (V{-1, 0, 0.5}));
    EXPECT_EQ(mxGetPi(c)[2], 0.5);
    mxArray* i16 = mexhost::makeComplex(mxINT16_CLASS, {2, 1}, {1, 2}, {3.4, -4});
    EXPECT_EQ(mxGetPi(i16), nullptr);
    EXPECT_EQ(static_cast<int16_t*>(mxGetImagData(i16))[1], -4);
    mxArray* zero = mxCreateDoubleMatrix(0, 0, mxCOMPLEX);
    mxArray* real = mxCreateDoubleScalar(2);
    EXPECT_TRUE(mxIsComplex(zero) && !mxIsComplex(real) && mxGetPi(real) == nullptr);
    mxArray* copy = mxDuplicateArray(c);
    EXPECT_EQ(mexhost::imaginaryValues(copy), mexhost::imaginaryValues(c));
    mxArray* sparse = mxCreateSparse(2, 2, 1, mxCOMPLEX);
    EXPECT_TRUE(mxIsComplex(sparse) && mxIsSparse(sparse) && mxGetPi(sparse) != nullptr);
    destroy({c, i16, zero, real, copy, sparse});
}

TEST_F(MexHost, PrintfCollectsOutputAndAtExitRunsTheLatestOnce) {
    EXPECT_EQ(mexPrintf("%s %d\n", "frames", 24), 10);
    mexPrintf("%.2f", 0.5);
    EXPECT_EQ(mexhost::takeOutput(), "frames 24\n0.50");
    EXPECT_EQ(mexhost::output(), "");
    const std::string longText(5000, 'x');  // longer than any fixed buffer
    EXPECT_EQ(mexPrintf("<%s>", longText.c_str()), 5002);
    EXPECT_EQ(mexhost::takeOutput(), "<" + longText + ">");
    mexhost::setEcho(true);
    testing::internal::CaptureStdout();
    mexPrintf("echo %d", 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "echo 1");
    mexhost::setEcho(false);
    EXPECT_EQ(mexhost::takeOutput(), "echo 1");

    exitCalls = 0;
    EXPECT_EQ(mexAtExit([] { exitCalls += 100; }), 0);
    EXPECT_EQ(mexAtExit([] { ++exitCalls; }), 0);
    EXPECT_TRUE(mexhost::runAtExit());
    EXPECT_FALSE(mexhost::runAtExit());
    EXPECT_EQ(exitCalls, 1);
}

}  // namespace
