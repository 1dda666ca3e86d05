// Bit-stream positions: the byte-stream reader and writer of the MPEG-4 and H.263 families and the word-stream reader
// of the MPEG-1/2 families. They check nothing; the conventions are described in qvovc/types.h.
#ifndef QVOVC_SRC_CORE_BITS_H
#define QVOVC_SRC_CORE_BITS_H

#include "qvovc/internals.h"
#include "qvovc/types.h"

namespace qvovc {

// ---- byte streams ----

// The n bits (1..31) that follow the position, without moving it. Reads five bytes, whatever n is.
inline Qvo32u ownShowBits(const Qvo8u* pByte, Qvo32s offset, Qvo32s n) {
    const Qvo32u head = static_cast<Qvo32u>(pByte[0]) << 24 | static_cast<Qvo32u>(pByte[1]) << 16 |
                        static_cast<Qvo32u>(pByte[2]) << 8 | pByte[3];
    const Qvo32u window = head << offset | static_cast<Qvo32u>(pByte[4]) >> (8 - offset);
    return window >> (32 - n);
}

inline void ownFlushBits(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo32s n) {
    const Qvo32s end = *pBitOffset + n;
    *ppBitStream += end >> 3;
    *pBitOffset = end & 7;
}

inline Qvo32u ownGetBits(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo32s n) {
    const Qvo32u bits = ownShowBits(*ppBitStream, *pBitOffset, n);
    ownFlushBits(ppBitStream, pBitOffset, n);
    return bits;
}

// Appends the low `length` bits (1..32) of code and returns the number of whole bytes by which the pointer moved.
// The bits below the end of the code in the last byte written become 0; no byte beyond it is touched.
inline Qvo32s PutBits(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo32u code, Qvo32s length) {
    Qvo8u* p = *ppBitStream;
    const Qvo32s offset = *pBitOffset;
    Qvo32u rest = code << (32 - length);
    Qvo32s left = length;
    if (offset != 0) {
        *p = static_cast<Qvo8u>((*p & 0xFFu << (8 - offset)) | rest >> (24 + offset));
        rest <<= 8 - offset;
        left -= 8 - offset;
        ++p;
    }
    for (; left > 0; left -= 8) {
        *p++ = static_cast<Qvo8u>(rest >> 24);
        rest <<= 8;
    }
    const Qvo32s moved = (offset + length) >> 3;
    *ppBitStream += moved;
    *pBitOffset = (offset + length) & 7;
    return moved;
}

// ---- word streams ----

// A word-stream reading position held in locals while a block is decoded.
struct WordReader {
    Qvo32u* word;
    Qvo32s offset;  // 31..0: index of the next bit, 31 the most significant

    // The 32 bits that follow the position. Reads the next word even where its bits are not needed.
    Qvo32u peek32() const {
        const Qvo32u high = word[0] << (31 - offset);
        return high | (word[1] >> 1) >> offset;
    }

    // The n bits (1..32) that follow the position.
    Qvo32u peek(Qvo32s n) const { return peek32() >> (32 - n); }

    void skip(Qvo32s n) {  // 0..32
        offset -= n;
        word += offset < 0;
        offset &= 31;
    }

    Qvo32u get(Qvo32s n) {  // 1..32
        const Qvo32u bits = peek(n);
        skip(n);
        return bits;
    }

    // Takes back n bits (0..32) that a table lookup read beyond the end of its code.
    void giveBack(Qvo32s n) {
        offset += n;
        word -= offset > 31;
        offset &= 31;
    }
};

// Appends the low `length` bits (1..32) of code to a word that holds the bits written so far right-aligned, with
// *pBitsLeft (1..32) of its bits still free.
inline void putBitsLeftMost(Qvo32u** ppBitStream, Qvo32u* pBitsLeft, Qvo32u code, Qvo32u length) {
    Qvo32u* const word = *ppBitStream;
    const Qvo32u free = *pBitsLeft;
    const Qvo32u bits = code & _qvoGetBitsMask[length];
    // A shift by 32, where the word is still empty, has to drop everything it holds.
    if (length > free) {
        const Qvo32u rest = length - free;  // 1..31: free is at least 1
        word[0] = word[0] << free | bits >> rest;
        word[1] = bits & _qvoGetBitsMask[rest];
        *ppBitStream = word + 1;
        *pBitsLeft = 32 - rest;
    } else {
        *word = (length == 32 ? 0 : *word << length) | bits;
        *ppBitStream = word + (length == free);
        *pBitsLeft = length == free ? 32 : free - length;
    }
}

}  // namespace qvovc

#endif
