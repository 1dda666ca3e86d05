// Reading the differences of motion vectors: ISO/IEC 14496-2 Table B-12, which is ITU-T H.263 Table 14.
#ifndef QVOVC_SRC_MPEG4_MOTION_CODE_H
#define QVOVC_SRC_MPEG4_MOTION_CODE_H

#include <array>

#include "qvovc/types.h"

namespace qvovc {
namespace {

// A code of ISO/IEC 14496-2 Table B-12 without its sign bit.
struct MotionCodeWord {
    Qvo16s bits;
    Qvo16s length;
};

// Indexed by the magnitude of motion_code.
constexpr MotionCodeWord motionCodes[] = {
    {1, 1},   {1, 2},   {1, 3},   {1, 4},   {3, 6},   {5, 7},   {4, 7},   {3, 7},   {11, 9}, {10, 9}, {9, 9},
    {17, 10}, {16, 10}, {15, 10}, {14, 10}, {13, 10}, {12, 10}, {11, 10}, {10, 10}, {9, 10}, {8, 10}, {7, 10},
    {6, 10},  {5, 10},  {4, 10},  {7, 11},  {6, 11},  {5, 11},  {4, 11},  {3, 11},  {2, 11}, {3, 12}, {2, 12}};

constexpr int peekLength = 12;  // bits of the longest code

struct MotionCode {
    Qvo16s magnitude;
    Qvo16s length;
};

// What the peeks firstPeek, firstPeek + 2^shift, ... begin with.
template <int entries>
constexpr std::array<MotionCode, entries> expandCodes(int firstPeek, int shift) {
    std::array<MotionCode, entries> table{};
    for (int i = 0; i < entries; ++i) {
        const int peek = firstPeek + (i << shift);
        Qvo16s magnitude = 0;
        while (peek >> (peekLength - motionCodes[magnitude].length) != motionCodes[magnitude].bits)
            ++magnitude;
        table[static_cast<std::size_t>(i)] = {magnitude, motionCodes[magnitude].length};
    }
    return table;
}

// Codes longer than 7 bits and that of 7 lie below a peek of 128; the others are told apart by their first 7 bits.
constexpr std::array<MotionCode, 126> tableB12_2 = expandCodes<126>(2, 0);
constexpr std::array<MotionCode, 124> tableB12_128_5 = expandCodes<124>(128, 5);

// A position held in locals until a whole vector is decoded.
struct Position {
    Qvo8u* byte;
    Qvo32s offset;
};

// Reads one component's motion code and its residual: 12 + 1 + 6 bits behind an offset of 7 lie within four bytes,
// the code itself within three. The fourth is left alone if the code is invalid, so that a stream cut anywhere needs
// no more than four bytes of zeros behind it. False: no code; the position has not moved then.
inline bool readComponent(Position& position, Qvo32s residualBits, Qvo32s& difference) {
    const Qvo8u* const p = position.byte;
    const Qvo32u head =
        static_cast<Qvo32u>(p[0]) << 24 | static_cast<Qvo32u>(p[1]) << 16 | static_cast<Qvo32u>(p[2]) << 8;
    const Qvo32u peek = (head << position.offset) >> (32 - peekLength);
    if (peek < 2) return false;
    const MotionCode code = peek < 128 ? tableB12_2[peek - 2] : tableB12_128_5[(peek - 128) >> 5];
    Qvo32s end = position.offset + code.length;
    difference = 0;
    if (code.magnitude != 0) {
        const Qvo32u rest = (head | p[3]) << end;  // the sign, then the residual
        const Qvo32u residual = (rest & 0x7FFFFFFF) >> (31 - residualBits);
        const Qvo32s magnitude = ((code.magnitude - 1) << residualBits) + static_cast<Qvo32s>(residual) + 1;
        difference = rest >> 31 != 0 ? -magnitude : magnitude;
        end += 1 + residualBits;
    }
    position.byte += end >> 3;
    position.offset = end & 7;
    return true;
}

inline Qvo16s median(Qvo16s a, Qvo16s b, Qvo16s c) {
    const Qvo16s low = a < b ? a : b;
    const Qvo16s high = a < b ? b : a;
    return c < low ? low : c > high ? high : c;
}

inline QvoMotionVector median(QvoMotionVector a, QvoMotionVector b, QvoMotionVector c) {
    return {median(a.dx, b.dx, c.dx), median(a.dy, b.dy, c.dy)};
}

}  // namespace
}  // namespace qvovc

#endif
