// Index-1-based vectors and matrices.
//
// A vector for indices nl..nh is one malloc block of nh - nl + 2 elements;
// the pointer handed out is shifted so that v[nl] is the block's second
// element (v[nl - 1] is its first). A matrix is a block of row pointers plus
// one contiguous block holding all rows, shifted the same way.
#include "util/NumUtil.h"

#include <cstdint>
#include <cstdlib>

#include "util/Message.h"

namespace {

// Number of elements of a block for indices lo..hi plus the leading one.
// An inverted range gives a block of one: an empty vector.
size_t blockLength(long lo, long hi) {
    long count = hi - lo + 2;
    return count < 1 ? 1 : static_cast<size_t>(count);
}

// malloc of n elements of the given size, null if the size overflows.
void* allocate(size_t n, size_t size) {
    if (n > SIZE_MAX / size) return nullptr;
    return std::malloc(n * size);
}

}  // namespace

int* ivector(long nl, long nh) {
    int* block = static_cast<int*>(allocate(blockLength(nl, nh), sizeof(int)));
    if (block == nullptr) {
        ERROR("allocation failure in ivector()");
        return nullptr;
    }
    return block + 1 - nl;
}

double* dvector(long nl, long nh) {
    double* block = static_cast<double*>(allocate(blockLength(nl, nh), sizeof(double)));
    if (block == nullptr) {
        ERROR("allocation failure in dvector()");
        return nullptr;
    }
    return block + 1 - nl;
}

double** dmatrix(long nrl, long nrh, long ncl, long nch) {
    long rows = nrh - nrl + 1;
    long cols = nch - ncl + 1;
    if (rows < 0) rows = 0;
    if (cols < 0) cols = 0;
    // Row pointers: m[nrl] is always written, so there is room for it even
    // when the matrix has no rows.
    size_t pointers = static_cast<size_t>(rows > 0 ? rows : 1) + 1;
    double** m = static_cast<double**>(allocate(pointers, sizeof(double*)));
    if (m == nullptr) {
        ERROR("allocation failure 1 in dmatrix()");
        return nullptr;
    }
    m = m + 1 - nrl;
    size_t elements = static_cast<size_t>(rows) * static_cast<size_t>(cols);
    if (cols != 0 && elements / static_cast<size_t>(cols) != static_cast<size_t>(rows))
        elements = SIZE_MAX;  // overflow: let the allocation fail
    double* block = elements == SIZE_MAX ? nullptr : static_cast<double*>(allocate(elements + 1, sizeof(double)));
    if (block == nullptr) {
        ERROR("allocation failure 2 in dmatrix()");
        std::free(m + nrl - 1);
        return nullptr;
    }
    m[nrl] = block + 1 - ncl;
    for (long i = nrl + 1; i <= nrh; ++i) m[i] = m[i - 1] + cols;
    return m;
}

void free_ivector(int* v, long nl, long /*nh*/) {
    if (v != nullptr) std::free(v + nl - 1);
}

void free_dvector(double* v, long nl, long /*nh*/) {
    if (v != nullptr) std::free(v + nl - 1);
}

void free_dmatrix(double** m, long nrl, long /*nrh*/, long ncl, long /*nch*/) {
    if (m == nullptr) return;
    std::free(m[nrl] + ncl - 1);
    std::free(m + nrl - 1);
}
