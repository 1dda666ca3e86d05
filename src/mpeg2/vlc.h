// Lookup of variable-length codes, shared by the table engine and the block reconstruction, and the walk through a
// code list. How tables and lists are laid out is described in qvovc/mpeg2.h.
#ifndef QVOVC_SRC_MPEG2_VLC_H
#define QVOVC_SRC_MPEG2_VLC_H

#include "core/bits.h"
#include "qvovc/mpeg2.h"

namespace qvovc {

// A table with its first level's width at hand.
class VlcReader {
  public:
    explicit VlcReader(const QvoVlcTable* table) : entries_(table + 1), width_(table[0]) {}

    // Reads one code and returns its table entry. That of an invalid code is treated like any other: its length field
    // leaves one of the bits looked at unread.
    Qvo32s readEntry(WordReader& bits) const {
        Qvo32s width;
        const Qvo32s entry = find(bits, width);
        bits.skip(width - (entry & 255));
        return entry;
    }

    // Reads one code and returns its value. Where the code is invalid, all bits looked at count as read.
    Qvo32s readValue(WordReader& bits) const {
        Qvo32s width;
        const Qvo32s entry = find(bits, width);
        const Qvo32s value = entry >> 8;
        bits.skip(value == qvoVlcInvalid ? width : width - (entry & 255));
        return value;
    }

  private:
    // The entry of the code that follows; the bits of all levels but the last, whose width is stored, are consumed.
    Qvo32s find(WordReader& bits, Qvo32s& width) const {
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
