// Bit-stream positions: the byte-stream reader and writer of the MPEG-4 and H.263 families and the word-stream reader
// of the MPEG-1/2 families. They check nothing; the conventions are described in qvovc/types.h.
#ifndef QVOVC_SRC_CORE_BITS_H
#define QVOVC_SRC_CORE_BITS_H

#include <cstdint>
#include <cstring>

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

// The bits that follow a byte-stream position. load() fetches four bytes, as far as a reader may look beyond the last
// bit it has used, also where the next code turns out to be none; that gives 25 bits at least. Nothing is fetched again
// before fewer are left than the next code may have.
class BitWindow {
  public:
    BitWindow(const Qvo8u* pByte, Qvo32s offset) : byte_(pByte), used_(offset) { load(); }

    void load() {
        byte_ += used_ >> 3;
        used_ &= 7;
        Qvo32u head;
        std::memcpy(&head, byte_, sizeof head);
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        head = __builtin_bswap32(head);
#endif
        bits_ = head << used_;
    }
    // Makes sure that at least n bits can be peeked at.
    void need(Qvo32s n) {
        if (used_ > 32 - n) load();
    }
    Qvo32u peek(Qvo32s n) const {
        return bits_ >> (32 - n);
    }
    void skip(Qvo32s n) {
        bits_ <<= n;
        used_ += n;
    }
    Qvo32u get(Qvo32s n) {
        const Qvo32u value = peek(n);
        skip(n);
        return value;
    }
    void storePosition(Qvo8u** ppBitStream, Qvo32s* pBitOffset) const {
        *ppBitStream = const_cast<Qvo8u*>(byte_ + (used_ >> 3));
        *pBitOffset = used_ & 7;
    }

  private:
    const Qvo8u* byte_;  // the byte that the window was loaded from
    Qvo32s used_;        // bits used since that byte's most significant bit
    Qvo32u bits_;        // the bits that follow, from the most significant bit
};

// ---- word streams ----

// A word-stream reading position with the bits that follow it in a register. The next word is fetched only where bits
// of it are looked at.
class WordReader {
  public:
    WordReader(Qvo32u* word, Qvo32s offset)
        : bits_(std::uint64_t{word[0]} << 32 << (31 - offset)), count_(offset + 1), next_(word + 1) {}

    // The next n bits (1..32).
    Qvo32u peek(Qvo32s n) {
        if (count_ < n) {
            bits_ |= std::uint64_t{*next_++} << (32 - count_);
            count_ += 32;
        }
        return static_cast<Qvo32u>(bits_ >> (64 - n));
    }

    // Moves on by n bits (0..32) that have been looked at.
    void skip(Qvo32s n) {
        bits_ <<= n;
        count_ -= n;
    }

    Qvo32u get(Qvo32s n) {
        const Qvo32u value = peek(n);
        skip(n);
        return value;
    }

    void store(Qvo32u** ppBitStream, Qvo32s* pOffset) const {
        *ppBitStream = next_ - ((count_ + 31) >> 5);
        *pOffset = (count_ - 1) & 31;
    }

  private:
    std::uint64_t bits_;  // left-aligned, zeros behind them
    Qvo32s count_;        // how many there are, 0..63
    Qvo32u* next_;        // the word behind them
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
