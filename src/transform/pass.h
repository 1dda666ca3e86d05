// What the one-dimensional passes of the transforms share. A pass works on the eight columns of a block side by side,
// so that it compiles to vector code; a row pass is a column pass between two transpositions.
#ifndef QVOVC_SRC_TRANSFORM_PASS_H
#define QVOVC_SRC_TRANSFORM_PASS_H

#include "core/arith.h"

namespace qvovc {
namespace {

// x * k modulo 2^32 with nothing but products of two signed 16-bit numbers, which are cheap on vector units that lack
// the 32-bit product.
template <Qvo32s k>
inline Qvo32s times(Qvo16s x) {
    static_assert(-32768 <= k && k < 65536);
    constexpr Qvo16s low = wrap16(k);
    if constexpr (k == low) return x * low;
    return x * low + (x << 16);
}

// count elements of one block and of another in turn.
template <int count>
inline void interleave(const Qvo16s* pFirst, const Qvo16s* pSecond, Qvo16s* pDst) {
    for (int i = 0; i < count; ++i) {
        pDst[2 * i] = pFirst[i];
        pDst[2 * i + 1] = pSecond[i];
    }
}

// Interleaving the upper and the lower half of a block takes the top bit of every element's index to the bottom;
// three times it changes the three bits of the row for those of the column.
inline void transpose(const Qvo16s* pSrc, Qvo16s* pDst) {
    Qvo16s a[64], b[64];
    interleave<32>(pSrc, pSrc + 32, a);
    interleave<32>(a, a + 32, b);
    interleave<32>(b, b + 32, pDst);
}

}  // namespace
}  // namespace qvovc

#endif
