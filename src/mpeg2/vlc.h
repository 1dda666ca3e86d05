// Lookup of variable-length codes, shared by the table engine and the block reconstruction. How a table is
// laid out is described in qvovc/mpeg2.h.
#ifndef QVOVC_SRC_MPEG2_VLC_H
#define QVOVC_SRC_MPEG2_VLC_H

#include <cstdint>

#include "core/bits.h"
#include "qvovc/mpeg2.h"

namespace qvovc {

// A word-stream reading position with the bits that follow it in a register. The next word is fetched only where bits
// of it are looked at.
class BitWindow {
  public:
    BitWindow(Qvo32u* word, Qvo32s offset)
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

// A table with its first level's width at hand.
class VlcReader {
  public:
    explicit VlcReader(const QvoVlcTable* table) : entries_(table + 1), width_(table[0]) {}

    // Reads one code and returns its table entry. That of an invalid code is treated like any other: its
    // length field leaves one of the bits looked at unread.
    Qvo32s readEntry(BitWindow& bits) const {
        Qvo32s width;
        const Qvo32s entry = find(bits, width);
        bits.skip(width - (entry & 255));
        return entry;
    }

    // Reads one code and returns its value. Leaves none of the bits looked at unread where the code is
    // invalid.
    Qvo32s readValue(BitWindow& bits) const {
        Qvo32s width;
        const Qvo32s entry = find(bits, width);
        const Qvo32s value = entry >> 8;
        bits.skip(value == qvoVlcInvalid ? width : width - (entry & 255));
        return value;
    }

  private:
    // The entry of the code that follows; the bits of all levels but the last, whose width is stored, are
    // consumed.
    Qvo32s find(BitWindow& bits, Qvo32s& width) const {
        width = width_;
        Qvo32s entry = entries_[bits.peek(width)];
        while (entry & 128) {
            bits.skip(width);
            const Qvo32s* const subTable = entries_ - 1 + (entry >> 8);
            width = subTable[0];
            entry = subTable[1 + bits.peek(width)];
        }
        return entry;
    }

    const Qvo32s* entries_;
    Qvo32s width_;
};

// Calls f(entry, length) for each entry of a code list, whose entries have the given number of words.
template <Qvo32s entryWords, class F>
inline void forEachCode(const Qvo32s* list, F f) {
    const Qvo32s levels = list[1];
    const Qvo32s* p = list + 2 + levels;
    for (Qvo32s length = 1; *p >= 0; ++length) {
        for (Qvo32s count = *p++; count > 0; --count) {
            f(p, length);
            p += entryWords;
        }
    }
}

}  // namespace qvovc

#endif
