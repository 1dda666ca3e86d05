#include "core/bits.h"

#include "qvovc/core.h"

#define MASK4(n) (1u << (n)) - 1, (2u << (n)) - 1, (4u << (n)) - 1, (8u << (n)) - 1
const Qvo32u _qvoGetBitsMask[33] = {MASK4(0),  MASK4(4),  MASK4(8),  MASK4(12),  MASK4(16),
                                    MASK4(20), MASK4(24), MASK4(28), 0xFFFFFFFFu};
#undef MASK4

QvoStatus qvoiPutBitsLeftMost(Qvo32u** ppBitStream, Qvo32u* pBitsLeft, Qvo32s code, Qvo32u length) {
    qvovc::putBitsLeftMost(ppBitStream, pBitsLeft, static_cast<Qvo32u>(code), length);
    return qvoStatusOk;
}

QvoStatus qvoiPutBitsRightMost(Qvo32u** ppBitStream, Qvo32u* pBitsLeft, Qvo32s code, Qvo32u length) {
    Qvo32u* const word = *ppBitStream;
    const Qvo32u free = *pBitsLeft;
    const Qvo32u bits = static_cast<Qvo32u>(code) & _qvoGetBitsMask[length];
    if (length > free) {
        const Qvo32u rest = length - free;  // 1..31: free is at least 1
        word[0] |= bits >> rest;
        word[1] = bits << (32 - rest);
        *ppBitStream = word + 1;
        *pBitsLeft = 32 - rest;
    } else {
        *word |= bits << (free - length);
        *ppBitStream = word + (length == free);
        *pBitsLeft = length == free ? 32 : free - length;
    }
    return qvoStatusOk;
}
