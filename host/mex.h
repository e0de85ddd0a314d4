/*
 * mex.h: the MEX API as served by kinetra's stand-alone array layer.
 *
 * The toolbox sources include "mex.h" and are built either against the
 * header of a real host (GNU Octave, Matlab) or against this one, which lets
 * the whole toolbox run inside unit tests. The declarations therefore follow
 * the standard MEX API to the letter: same names, signatures and semantics.
 * Only the subset that the toolbox uses is provided.
 *
 * Types follow Matlab's C++ API: mwSize and mwIndex are size_t, mxChar holds
 * UTF-16 code units and mxLogical is bool. Octave differs here (mwSize is a
 * signed 64-bit integer, mxChar is char, mxLogical is unsigned char), so
 * portable code converts sizes explicitly and reads text only through
 * mxGetString or mxArrayToString.
 */
#ifndef KINETRA_HOST_MEX_H
#define KINETRA_HOST_MEX_H

/* Defined only by this layer; real hosts do not know it. */
#define MEX_HOST_STANDALONE 1

#ifdef __cplusplus
#include <cstddef>
#else
#include <stdbool.h>
#include <stddef.h>
#include <uchar.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct mxArray_tag mxArray;

typedef size_t mwSize;
typedef size_t mwIndex;
typedef ptrdiff_t mwSignedIndex;

typedef enum {
    mxUNKNOWN_CLASS = 0,
    mxCELL_CLASS = 1,
    mxSTRUCT_CLASS = 2,
    mxLOGICAL_CLASS = 3,
    mxCHAR_CLASS = 4,
    mxVOID_CLASS = 5,
    mxDOUBLE_CLASS = 6,
    mxSINGLE_CLASS = 7,
    mxINT8_CLASS = 8,
    mxUINT8_CLASS = 9,
    mxINT16_CLASS = 10,
    mxUINT16_CLASS = 11,
    mxINT32_CLASS = 12,
    mxUINT32_CLASS = 13,
    mxINT64_CLASS = 14,
    mxUINT64_CLASS = 15,
    mxFUNCTION_CLASS = 16
} mxClassID;

typedef enum {
    mxREAL = 0,
    mxCOMPLEX = 1
} mxComplexity;

typedef bool mxLogical;
typedef char16_t mxChar;

/* The entry point that a module defines; the host calls it. */
void mexFunction(int nlhs, mxArray* plhs[], int nrhs, const mxArray* prhs[]);

/* Host services. */
int mexAtExit(void (*exitFcn)(void));
int mexPrintf(const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

/* Memory that belongs to the host's allocator; release with mxFree. */
void* mxCalloc(size_t n, size_t size);
void* mxMalloc(size_t n);
void mxFree(void* ptr);

/* Class and shape. */
bool mxIsChar(const mxArray* pa);
bool mxIsNumeric(const mxArray* pa);
bool mxIsLogical(const mxArray* pa);
bool mxIsDouble(const mxArray* pa);
bool mxIsCell(const mxArray* pa);
bool mxIsEmpty(const mxArray* pa);
bool mxIsSparse(const mxArray* pa);
bool mxIsComplex(const mxArray* pa);
mxClassID mxGetClassID(const mxArray* pa);
mwSize mxGetNumberOfDimensions(const mxArray* pa);
const mwSize* mxGetDimensions(const mxArray* pa);
size_t mxGetM(const mxArray* pa);
size_t mxGetN(const mxArray* pa);
size_t mxGetNumberOfElements(const mxArray* pa);
size_t mxGetElementSize(const mxArray* pa);

/* Element access. */
void* mxGetData(const mxArray* pa);
double* mxGetPr(const mxArray* pa);
/* Complex arrays keep their imaginary parts in a separate block, as Octave
   and Matlab before R2018a do; null for a real array. */
void* mxGetImagData(const mxArray* pa);
double* mxGetPi(const mxArray* pa);
/* Sparse arrays (double or logical, two dimensions) hold only their nonzeros:
   mxGetData gives the values, mxGetIr their rows, and mxGetJc the n + 1
   offsets at which each column starts, in compressed column form. */
mwIndex* mxGetIr(const mxArray* pa);
mwIndex* mxGetJc(const mxArray* pa);
mwSize mxGetNzmax(const mxArray* pa);
double mxGetScalar(const mxArray* pa);
int mxGetString(const mxArray* pa, char* buf, mwSize buflen);
char* mxArrayToString(const mxArray* pa);

/* Creation, all zero-filled. */
mxArray* mxCreateLogicalScalar(mxLogical value);
mxArray* mxCreateLogicalMatrix(mwSize m, mwSize n);
mxArray* mxCreateLogicalArray(mwSize ndim, const mwSize* dims);
mxArray* mxCreateDoubleScalar(double value);
mxArray* mxCreateDoubleMatrix(mwSize m, mwSize n, mxComplexity flag);
mxArray* mxCreateNumericMatrix(mwSize m, mwSize n, mxClassID classid, mxComplexity flag);
mxArray* mxCreateNumericArray(mwSize ndim, const mwSize* dims, mxClassID classid,
                              mxComplexity flag);
mxArray* mxCreateSparse(mwSize m, mwSize n, mwSize nzmax, mxComplexity flag);
mxArray* mxCreateSparseLogicalMatrix(mwSize m, mwSize n, mwSize nzmax);
mxArray* mxCreateString(const char* str);
mxArray* mxCreateCellMatrix(mwSize m, mwSize n);

/* Cells. */
void mxSetCell(mxArray* pa, mwIndex i, mxArray* value);
mxArray* mxGetCell(const mxArray* pa, mwIndex i);

/* Life cycle. */
mxArray* mxDuplicateArray(const mxArray* in);
void mxDestroyArray(mxArray* pa);

#ifdef __cplusplus
}
#endif

#endif /* KINETRA_HOST_MEX_H */
