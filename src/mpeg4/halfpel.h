// Half-pel prediction kernels, shared by motion compensation and overlapped prediction.
//
// Each (block size, half position, rounding) is a kernel of its own, chosen through a table of eight.
// Rows are loaded into small objects first: a row's arithmetic then is one loop of constant length over memory that
// overlaps nothing, which the compiler turns into vector code, as long as it does not unroll it beforehand. Along an
// axis without half position nothing beyond the block is read.
#ifndef QVOVC_SRC_MPEG4_HALFPEL_H
#define QVOVC_SRC_MPEG4_HALFPEL_H

#include <array>
#include <cstddef>
#include <cstring>

#include "core/arith.h"
#include "qvovc/mpeg4.h"

namespace qvovc {
namespace {

template <int W>
struct Row {
    Qvo8u at[W];
};

template <int W>
inline Row<W> loadRow(const Qvo8u* p) {
    Row<W> row;
    std::memcpy(row.at, p, W);
    return row;
}

template <int W>
inline void storeRow(const Row<W>& row, Qvo8u* p) {
    std::memcpy(p, row.at, W);
}

// (a + b + 1 - rc) >> 1 without leaving 8 bits beyond the rounded-up average, which processors have.
template <int rc>
inline Qvo8u average(Qvo8u a, Qvo8u b) {
    const Qvo8u up = static_cast<Qvo8u>((a + b + 1) >> 1);
    return static_cast<Qvo8u>(rc == 0 ? up : up - ((a ^ b) & 1));
}

// (a + b + c + d + 2 - rc) >> 2 likewise. Let ab, cd and pairs be 1 where the averages p of a and b, q of c and d,
// and that of p and q are rounded up. The last one then is (a + b + c + d + ab + cd + 2 * pairs) / 4: one too large
// where ab + cd + 2 * pairs exceeds 2 - rc. An rc of 2 makes both averages truncate.
template <int rc>
inline Qvo8u average(Qvo8u a, Qvo8u b, Qvo8u c, Qvo8u d) {
    const Qvo8u p = average<0>(a, b);
    const Qvo8u q = average<0>(c, d);
    const Qvo8u ab = a ^ b;
    const Qvo8u cd = c ^ d;
    const Qvo8u pairs = p ^ q;
    const Qvo8u excess = rc == 0 ? pairs & (ab | cd) : rc == 1 ? pairs | (ab & cd) : pairs | ab | cd;
    return static_cast<Qvo8u>(average<0>(p, q) - (excess & 1));
}

template <int W, int rc>
inline Row<W> average(const Row<W>& a, const Row<W>& b) {
    Row<W> row;
#pragma GCC unroll 1
    for (int x = 0; x < W; ++x)
        row.at[x] = average<rc>(a.at[x], b.at[x]);
    return row;
}

template <int W, int rc>
inline Row<W> average(const Row<W>& a, const Row<W>& b, const Row<W>& c, const Row<W>& d) {
    Row<W> row;
#pragma GCC unroll 1
    for (int x = 0; x < W; ++x)
        row.at[x] = average<rc>(a.at[x], b.at[x], c.at[x], d.at[x]);
    return row;
}

// One row of a prediction.
template <int W, bool halfX, bool halfY, int rc>
inline Row<W> predictRow(const Qvo8u* p, Qvo32s step) {
    if constexpr (halfX && halfY)
        return average<W, rc>(loadRow<W>(p), loadRow<W>(p + 1), loadRow<W>(p + step), loadRow<W>(p + step + 1));
    else if constexpr (halfX)
        return average<W, rc>(loadRow<W>(p), loadRow<W>(p + 1));
    else if constexpr (halfY)
        return average<W, rc>(loadRow<W>(p), loadRow<W>(p + step));
    else
        return loadRow<W>(p);
}

template <int W, int H, bool halfX, bool halfY, int rc>
void copyKernel(const Qvo8u* pRef, Qvo32s refStep, Qvo8u* pDst, Qvo32s dstStep) {
    for (int y = 0; y < H; ++y, pRef += refStep, pDst += dstStep)
        storeRow(predictRow<W, halfX, halfY, rc>(pRef, refStep), pDst);
}

using CopyKernel = void (*)(const Qvo8u* pRef, Qvo32s refStep, Qvo8u* pDst, Qvo32s dstStep);

template <int W, int H>
constexpr std::array<CopyKernel, 8> copyKernels() {
    return {copyKernel<W, H, false, false, 0>, copyKernel<W, H, false, false, 0>, copyKernel<W, H, true, false, 0>,
            copyKernel<W, H, true, false, 1>,  copyKernel<W, H, false, true, 0>,  copyKernel<W, H, false, true, 1>,
            copyKernel<W, H, true, true, 0>,   copyKernel<W, H, true, true, 1>};
}

// The place of a vector's kernel in a table of eight.
inline std::size_t kernelIndex(const QvoMotionVector& vector, Qvo32s rc) {
    return static_cast<std::size_t>(2 * (2 * (vector.dy & 1) + (vector.dx & 1)) + (rc != 0));
}

// The sample that a vector's integer part addresses.
inline const Qvo8u* referenceAt(const Qvo8u* pRef, Qvo32s step, const QvoMotionVector& vector) {
    return pRef + (vector.dx >> 1) + static_cast<std::ptrdiff_t>(vector.dy >> 1) * step;
}

inline void copyHalfpel(const std::array<CopyKernel, 8>& kernels, const Qvo8u* pRef, Qvo32s refStep, Qvo8u* pDst,
                        Qvo32s dstStep, const QvoMotionVector& vector, Qvo32s rc) {
    kernels[kernelIndex(vector, rc)](referenceAt(pRef, refStep, vector), refStep, pDst, dstStep);
}

}  // namespace
}  // namespace qvovc

#endif
