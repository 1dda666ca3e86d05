// What the integrated block decoders of MPEG-4 and H.263 do with the coefficients they have read.
#ifndef QVOVC_SRC_MPEG4_BLOCK_H
#define QVOVC_SRC_MPEG4_BLOCK_H

#include <cstring>

#include "mpeg4/quant.h"
#include "qvovc/transform.h"

namespace qvovc {
namespace {

// In halves, because the compiler makes a slow string instruction of the whole.
inline void zeroBlock(Qvo16s* pBlock) {
    std::memset(pBlock, 0, 64);
    std::memset(pBlock + 32, 0, 64);
}

// Quantises list entries from `first` on inversely, by H.263's method, to their places in a cleared block.
inline void scatterH263(const CoefList& list, Qvo32s first, Qvo32s QP, Qvo16s* pBlock) {
    const QuantH263 rule(QP);
    for (Qvo32s i = first; i < list.count; ++i)
        pBlock[list.index[i]] = static_cast<Qvo16s>(clipCoef(rule(list.level[i])));
}

// The cheapest inverse DCT for a zigzag-scanned block with its last coefficient at the given scan position.
inline void transformInter(Qvo16s* pBlock, Qvo32s lastPosition) {
    const bool within4x4 = lastPosition < 10 || (lastPosition < 14 && pBlock[32] == 0) ||
                           (lastPosition < 19 && (pBlock[4] | pBlock[5] | pBlock[12] | pBlock[32]) == 0);
    if (lastPosition < 3)
        qvoiDCT8x8Inv_2x2_16s_C1I(pBlock);
    else if (within4x4)
        qvoiDCT8x8Inv_4x4_16s_C1I(pBlock);
    else
        qvoiDCT8x8Inv_16s_C1I(pBlock);
}

}  // namespace
}  // namespace qvovc

#endif
