// The look-up table for the AC codes of DV (SMPTE 314M, 5.4) by the 16 bits at the reading position: no code with its
// sign bit is longer.
#ifndef QVOVC_SRC_DV_HUFFMAN_H
#define QVOVC_SRC_DV_HUFFMAN_H

#include "qvovc/dv.h"

namespace qvovc {

// Codes that begin with five ones are longer than 10 bits, all others are not.
inline constexpr Qvo32u dvLongCodes = 0xF800;
inline constexpr Qvo32u dvShortEntries = dvLongCodes >> 6;
inline constexpr Qvo32u dvLongEntries = 0x10000 - dvLongCodes;

// The run of the end-of-block code: from any position it leads beyond the block, farther than any other run does.
inline constexpr Qvo32s dvEndOfBlock = 128;

// An entry is level * 65536 + run * 256 + length. Its level has the sign, its length counts the sign bit.
inline constexpr Qvo32s dvLevel(Qvo32s entry) {
    return entry >> 16;
}
inline constexpr Qvo32s dvRun(Qvo32s entry) {
    return entry >> 8 & 255;
}
inline constexpr Qvo32s dvLength(Qvo32s entry) {
    return entry & 255;
}

}  // namespace qvovc

struct QvoDVHuffmanTable {
    Qvo32s entries[qvovc::dvShortEntries + qvovc::dvLongEntries];

    // By 16 bits of the stream.
    Qvo32s find(Qvo32u bits) const {
        if (bits < qvovc::dvLongCodes) return entries[bits >> 6];
        return entries[bits - (qvovc::dvLongCodes - qvovc::dvShortEntries)];
    }
};

#endif
