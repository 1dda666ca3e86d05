// Texture encoding of MPEG-4 Visual, the family that collects bits in an accumulator and stores four bytes at a time.
// Its intra and inter blocks share one table of code words (those of table B-17).
#include <cstddef>

#include "core/arith.h"
#include "mpeg4/accumulator.h"
#include "mpeg4/events.h"
#include "qvovc/internals.h"
#include "qvovc/mpeg4.h"
#include "tables/tcoef_codes.h"

using namespace qvovc;

// ---- tables ----

constexpr Qvo8u _qvoVleTable[104][2] = {
    {0x02, 2},  {0x0F, 4},  {0x15, 6},  {0x17, 7},  {0x1F, 8},  {0x25, 9},  {0x24, 9},  {0x21, 10}, {0x20, 10},
    {0x07, 11}, {0x06, 11}, {0x20, 11}, {0x06, 3},  {0x14, 6},  {0x1E, 8},  {0x0F, 10}, {0x21, 11}, {0x50, 12},
    {0x0E, 4},  {0x1D, 8},  {0x0E, 10}, {0x51, 12}, {0x0D, 5},  {0x23, 9},  {0x0D, 10}, {0x0C, 5},  {0x22, 9},
    {0x52, 12}, {0x0B, 5},  {0x0C, 10}, {0x53, 12}, {0x13, 6},  {0x0B, 10}, {0x54, 12}, {0x12, 6},  {0x0A, 10},
    {0x11, 6},  {0x09, 10}, {0x10, 6},  {0x08, 10}, {0x16, 7},  {0x55, 12}, {0x15, 7},  {0x14, 7},  {0x1C, 8},
    {0x1B, 8},  {0x21, 9},  {0x20, 9},  {0x1F, 9},  {0x1E, 9},  {0x1D, 9},  {0x1C, 9},  {0x1B, 9},  {0x1A, 9},
    {0x22, 11}, {0x23, 11}, {0x56, 12}, {0x57, 12}, {0x07, 4},  {0x19, 9},  {0x05, 11}, {0x0F, 6},  {0x04, 11},
    {0x0E, 6},  {0x0D, 6},  {0x0C, 6},  {0x13, 7},  {0x12, 7},  {0x11, 7},  {0x10, 7},  {0x1A, 8},  {0x19, 8},
    {0x18, 8},  {0x17, 8},  {0x16, 8},  {0x15, 8},  {0x14, 8},  {0x13, 8},  {0x18, 9},  {0x17, 9},  {0x16, 9},
    {0x15, 9},  {0x14, 9},  {0x13, 9},  {0x12, 9},  {0x11, 9},  {0x07, 10}, {0x06, 10}, {0x05, 10}, {0x04, 10},
    {0x24, 11}, {0x25, 11}, {0x26, 11}, {0x27, 11}, {0x58, 12}, {0x59, 12}, {0x5A, 12}, {0x5B, 12}, {0x5C, 12},
    {0x5D, 12}, {0x5E, 12}, {0x5F, 12}, {0x03, 7},  {0x00, 0}};
constexpr Qvo8u _qvoIfNotLastNumOfLevelAtRun[27] = {12, 6, 4, 3, 3, 3, 3, 2, 2, 2, 2, 1, 1, 1,
                                                    1,  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
constexpr Qvo8u _qvoIfLastNumOfLevelAtRun[41] = {3, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                                                 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
constexpr Qvo8u _qvoIfNotLastNumOfLevelAtRunadd[27] = {12, 18, 22, 25, 28, 31, 34, 36, 38, 40, 42, 43, 44, 45,
                                                       46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57, 58};
constexpr Qvo8u _qvoIfLastNumOfLevelAtRunadd[41] = {3,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17,
                                                    18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31,
                                                    32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43, 44};
constexpr Qvo16u _qvoIntraYAVCLHashingTable[102] = {
    1,    3,    6,    9,    10,   13,   14,   17,   18,   21,   22,   23,   2,    34,   11,   19,   24,
    25,   33,   12,   20,   26,   4,    15,   39,   5,    130,  27,   65,   68,   41,   7,    100,  195,
    8,    131,  97,   258,  129,  163,  35,   42,   66,   225,  36,   98,   16,   37,   38,   67,   99,
    162,  194,  226,  40,   290,  69,   227,  1025, 353,  1030, 1057, 1031, 1089, 161,  1026, 1185, 193,
    1121, 1153, 1313, 257,  289,  321,  1027, 1217, 1249, 1281, 385,  1028, 1058, 1345, 1377, 1409, 1441,
    1473, 417,  1029, 1059, 1090, 1122, 1154, 1505, 1537, 449,  1032, 1186, 1218, 1569, 1601, 1633, 1665};
constexpr Qvo8u _qvoLMAXintra[128] = {27, 10, 5, 4, 3, 3, 3, 3, 2, 2, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                      0,  0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                      0,  0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 3, 2, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1,
                                      1,  1,  1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                      0,  0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
constexpr Qvo8u _qvoLevelMAXinter[128] = {
    12, 6, 4, 3, 3, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0,
    0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    3,  2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    1,  1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
constexpr Qvo8u _qvoRunMAXintra[64] = {0, 15, 10, 8, 4, 3, 2, 2, 2, 2, 2, 1,  1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                                       1, 1,  1,  1, 1, 1, 0, 0, 0, 0, 0, 21, 7, 2, 1, 1, 1, 1, 1, 0, 0, 0,
                                       0, 0,  0,  0, 0, 0, 0, 0, 0, 0, 0, 0,  0, 0, 0, 0, 0, 0, 0, 0};
constexpr Qvo8u _qvoRMAXinter[64] = {0, 27, 11, 7, 3, 2, 2, 1, 1, 1, 1, 1,  1, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                     0, 0,  0,  0, 0, 0, 0, 0, 0, 0, 0, 41, 2, 1, 0, 0, 0, 0, 0, 0, 0, 0,
                                     0, 0,  0,  0, 0, 0, 0, 0, 0, 0, 0, 0,  0, 0, 0, 0, 0, 0, 0, 0};
constexpr Qvo8u _qvoVleIntraDCy[14][2] = {{3, 3}, {3, 2}, {2, 2}, {2, 3}, {1, 3},  {1, 4},  {1, 5},
                                          {1, 6}, {1, 7}, {1, 8}, {1, 9}, {1, 10}, {1, 11}, {0, 0}};
constexpr Qvo8u _qvoVleIntraDCc[14][2] = {{3, 2}, {2, 2}, {1, 2}, {1, 3},  {1, 4},  {1, 5},  {1, 6},
                                          {1, 7}, {1, 8}, {1, 9}, {1, 10}, {1, 11}, {1, 12}, {0, 0}};

namespace {

constexpr Qvo32s escapeEntry = 102;
constexpr Qvo32s noEntry = -1;

constexpr Qvo32s maxIntraRun = 20;
constexpr Qvo32s maxIntraLevel = 27;

// The entries of _qvoVleTable by the event that they code in intra blocks: _qvoIntraYAVCLHashingTable the other way
// round, to spare the search.
struct IntraEntries {
    Qvo8s entry[2][maxIntraRun + 1][maxIntraLevel + 1];
};

constexpr IntraEntries intraEntries = [] {
    IntraEntries all = {};
    for (auto& runs : all.entry)
        for (auto& levels : runs)
            for (Qvo8s& entry : levels)
                entry = noEntry;
    for (Qvo8s i = 0; i < 102; ++i) {
        const Qvo32s key = _qvoIntraYAVCLHashingTable[i];
        all.entry[key >> 10][key >> 5 & 31][key & 31] = i;
    }
    return all;
}();

// ---- from events to table entries ----

// What an exported escape is told of the tables.
enum { modeIntra = 1, modeInter = 2, modeInterLast = 3 };

Qvo32s intraEntry(Qvo32s last, Qvo32s run, Qvo32s level) {
    return run <= maxIntraRun && level <= maxIntraLevel ? intraEntries.entry[last][run][level] : noEntry;
}

Qvo32s interEntry(Qvo32s run, Qvo32s level) {
    if (run >= 27 || level > _qvoIfNotLastNumOfLevelAtRun[run]) return noEntry;
    return (run > 0 ? _qvoIfNotLastNumOfLevelAtRunadd[run - 1] : 0) + level - 1;
}

Qvo32s interLastEntry(Qvo32s run, Qvo32s level) {
    if (run >= 41 || level > _qvoIfLastNumOfLevelAtRun[run]) return noEntry;
    return (run > 0 ? _qvoIfLastNumOfLevelAtRunadd[run - 1] : 0) + level + 57;
}

// The entry for the magnitude of a level. 0 has none.
Qvo32s entryOf(Qvo32s mode, Qvo32s last, Qvo32s run, Qvo32s level) {
    if (level == 0) return noEntry;
    if (mode == modeIntra) return intraEntry(last, run, level);
    return mode == modeInter ? interEntry(run, level) : interLastEntry(run, level);
}

// ---- writing ----

// The accumulator holds its bits left-aligned, with `free` (1..32) bits to spare. It is stored as soon as it is full.
struct Accumulator {
    Qvo8u* byte;
    Qvo32u bits;
    Qvo32s free;

    void put(Qvo32u value, Qvo32s length) {
        if (free > length) {
            free -= length;
            bits |= value << free;
            return;
        }
        const Qvo32s rest = length - free;
        storeBigEndian(byte, bits | value >> rest);
        byte += 4;
        bits = rest == 0 ? 0 : value << (32 - rest);
        free = 32 - rest;
    }
    // A prefix, the code of an entry and a sign bit.
    void putEntry(Qvo32u prefix, Qvo32s prefixLength, Qvo32s entry, Qvo32u negative) {
        const Qvo32s length = _qvoVleTable[entry][1] + 1;
        put(prefix << length | static_cast<Qvo32u>(_qvoVleTable[entry][0]) << 1 | negative, prefixLength + length);
    }
};

Qvo32s magnitude(Qvo32s level) {
    return level < 0 ? -level : level;
}

void putFixedLength(Accumulator& to, Qvo32s last, Qvo32s run, Qvo32s level) {
    to.put(static_cast<Qvo32u>(last << 20 | (run & 63) << 14 | 1 << 13 | (level & 0xFFF) << 1 | 1), 21);
}

// Tries escape type 1, then type 2, and resorts to type 3.
void putEscape(Accumulator& to, Qvo32s mode, const Qvo8u* pLMAX, const Qvo8u* pRMAX1, Qvo32s last, Qvo32s run,
               Qvo32s level) {
    const Qvo32s size = magnitude(level);
    const Qvo32u negative = level < 0;
    const Qvo32s restOfLevel = magnitude(size - pLMAX[last * 64 + (run & 63)]);
    const Qvo32s restOfRun = static_cast<Qvo8u>(run - pRMAX1[last * 32 + (size & 31)]);
    to.put(_qvoVleTable[escapeEntry][0], _qvoVleTable[escapeEntry][1]);
    if (const Qvo32s entry = entryOf(mode, last, run, restOfLevel); entry != noEntry)
        return to.putEntry(0, 1, entry, negative);
    if (const Qvo32s entry = entryOf(mode, last, restOfRun, size); entry != noEntry)
        return to.putEntry(2, 2, entry, negative);
    to.put(3, 2);
    putFixedLength(to, last, run, level);
}

void putIntraBlock(Accumulator& to, const Qvo16s* pBlock, Qvo8u scan, int start) {
    forEachEvent(pBlock, scanOrders[scan], start, [&](Qvo32s last, Qvo32s run, Qvo32s level) {
        if (const Qvo32s entry = intraEntry(last, run, magnitude(level)); entry != noEntry)
            to.putEntry(0, 0, entry, level < 0);
        else
            putEscape(to, modeIntra, _qvoLMAXintra, _qvoRunMAXintra, last, run, level);
    });
}

void putInterBlock(Accumulator& to, const Qvo16s* pBlock) {
    forEachEvent(pBlock, scanOrders[qvoScanZigzag], 0, [&](Qvo32s last, Qvo32s run, Qvo32s level) {
        const Qvo32s mode = last != 0 ? modeInterLast : modeInter;
        if (const Qvo32s entry = entryOf(mode, last, run, magnitude(level)); entry != noEntry)
            to.putEntry(0, 0, entry, level < 0);
        else
            putEscape(to, mode, _qvoLevelMAXinter, _qvoRMAXinter, last, run, level);
    });
}

// The size code and the difference, in one piece and without a marker bit: magnitudes up to 255. Of larger ones the
// low 8 bits count.
void putDC(Accumulator& to, Qvo32s dc, bool chrominance) {
    const Qvo32u low = static_cast<Qvo32u>(magnitude(dc)) & 0xFF;
    const Qvo32s size = low == 0 ? 0 : 32 - __builtin_clz(low);
    const Qvo8u(&code)[2] = (chrominance ? _qvoVleIntraDCc : _qvoVleIntraDCy)[size];
    const Qvo32u difference = (dc < 0 ? ~low : low) & _qvoGetBitsMask[size];
    to.put(static_cast<Qvo32u>(code[0]) << size | difference, code[1] + size);
}

bool badPosition(Qvo8u** ppBitStream, const Qvo32s* pBitOffset) {
    return anyNull(ppBitStream, pBitOffset) || *ppBitStream == nullptr || *pBitOffset < 0 || *pBitOffset > 7;
}

Accumulator begin(Qvo8u** ppBitStream, const Qvo32s* pBitOffset) {
    return {*ppBitStream, bitsBefore(**ppBitStream, *pBitOffset), 32 - *pBitOffset};
}

QvoStatus finish(const Accumulator& from, Qvo8u** ppBitStream, Qvo32s* pBitOffset) {
    const Qvo32s used = 32 - from.free;
    if (used != 0) storeBigEndian(from.byte, from.bits);
    *ppBitStream = from.byte + (used >> 3);
    *pBitOffset = used & 7;
    return qvoStatusOk;
}

}  // namespace

QvoStatus qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const Qvo16s* pBlock,
                                                     Qvo8u scan, Qvo8u coded, Qvo32s videoComp) {
    if (badPosition(ppBitStream, pBitOffset) || pBlock == nullptr || scan > qvoScanHorizontal ||
        videoComp < qvoVideoLuminance || videoComp > qvoVideoAlpha)
        return qvoStatusBadArg;
    Accumulator to = begin(ppBitStream, pBitOffset);
    putDC(to, pBlock[0], videoComp == qvoVideoChrominance);
    if (coded == 1) putIntraBlock(to, pBlock, scan, 1);
    return finish(to, ppBitStream, pBitOffset);
}

QvoStatus qvoiEncodeVLCZigzag_IntraACVLC_MPEG4_16s1u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const Qvo16s* pBlock,
                                                     Qvo8u scan, Qvo8u coded) {
    if (badPosition(ppBitStream, pBitOffset) || pBlock == nullptr || scan > qvoScanHorizontal) return qvoStatusBadArg;
    Accumulator to = begin(ppBitStream, pBitOffset);
    if (coded == 1) putIntraBlock(to, pBlock, scan, 0);
    return finish(to, ppBitStream, pBitOffset);
}

QvoStatus qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const Qvo16s* pBlock,
                                                Qvo8u coded) {
    if (badPosition(ppBitStream, pBitOffset) || pBlock == nullptr) return qvoStatusBadArg;
    Accumulator to = begin(ppBitStream, pBitOffset);
    if (coded == 1) putInterBlock(to, pBlock);
    return finish(to, ppBitStream, pBitOffset);
}

QvoStatus _qvoiEncodeescapeEncode_MPEG4(Qvo8u run, Qvo16s level, Qvo32s last, const Qvo8u* pLMAX, const Qvo8u* pRMAX1,
                                        Qvo32s mode, Qvo8u** ppBitStream, Qvo32u* pAccumulator, Qvo32s* pFreeBits) {
    Accumulator to = {*ppBitStream, *pAccumulator, *pFreeBits};
    putEscape(to, mode, pLMAX, pRMAX1, last, run, level);
    *ppBitStream = to.byte;
    *pAccumulator = to.bits;
    *pFreeBits = to.free;
    return qvoStatusOk;
}

QvoStatus _qvoiEncodefixLengthCode_MPEG4(Qvo8u** ppBitStream, Qvo32s* pFreeBits, Qvo8u run, Qvo16s level, Qvo32s last,
                                         Qvo32u* pAccumulator) {
    Accumulator to = {*ppBitStream, *pAccumulator, *pFreeBits};
    putFixedLength(to, last, run, level);
    *ppBitStream = to.byte;
    *pAccumulator = to.bits;
    *pFreeBits = to.free;
    return qvoStatusOk;
}
