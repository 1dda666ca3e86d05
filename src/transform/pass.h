// What the one-dimensional passes of the transforms share. A pass works on eight (or fewer) columns side by side, so
// that it compiles to vector code; a row pass is a column pass between two transpositions.
#ifndef QVOVC_SRC_TRANSFORM_PASS_H
#define QVOVC_SRC_TRANSFORM_PASS_H

#include "core/arith.h"

namespace qvovc {
namespace {

// x * k for a constant 0 <= k < 65536 or a negative one of 16 bits, modulo 2^32. Products of two signed 16-bit
// numbers are cheap on vector units that lack the 32-bit product.
template <Qvo32s k>
inline Qvo32s times(Qvo16s x) {
    constexpr Qvo16s low = wrap16(k);
    if constexpr (k == low) return x * low;
    return x * low + (x << 16);
}

// Turns rows x columns elements into columns x rows. Each step interleaves the upper and the lower half, which takes
// the top bit of every element's index to the bottom; three of them bring the three bits of the row there.
template <int columns>
inline void interleave(const Qvo16s* pSrc, Qvo16s* pDst) {
    for (int i = 0; i < 4 * columns; ++i) {
        pDst[2 * i] = pSrc[i];
        pDst[2 * i + 1] = pSrc[i + 4 * columns];
    }
}

template <int columns>
inline void transpose(const Qvo16s* pSrc, Qvo16s* pDst) {
    Qvo16s a[8 * columns], b[8 * columns];
    interleave<columns>(pSrc, a);
    interleave<columns>(a, b);
    interleave<columns>(b, pDst);
}

}  // namespace
}  // namespace qvovc

#endif
