// Texture encoding of MPEG-4 Visual and H.263, the family that writes every code straight into the byte buffer and
// touches no byte that holds none of its bits.
#include <array>
#include <cstddef>

#include "core/arith.h"
#include "core/bits.h"
#include "mpeg4/events.h"
#include "qvovc/h263.h"
#include "qvovc/mpeg4.h"
#include "tables/tcoef_codes.h"

using namespace qvovc;

namespace {

// ---- tables ----

template <std::size_t runs>
constexpr std::array<Qvo32s, runs> widen(const Qvo8u (&lmax)[runs]) {
    std::array<Qvo32s, runs> wide = {};
    for (std::size_t run = 0; run < runs; ++run)
        wide[run] = lmax[run];
    return wide;
}

// Where the codes of each run begin; those of run 0 begin at `first`.
template <std::size_t runs>
constexpr std::array<Qvo32s, runs> offsets(const Qvo8u (&lmax)[runs], Qvo32s first) {
    std::array<Qvo32s, runs> offset = {first};
    for (std::size_t run = 1; run < runs; ++run)
        offset[run] = offset[run - 1] + lmax[run - 1];
    return offset;
}

constexpr auto l0_lmax_TB16 = widen(LMAX_Intra_0);
constexpr auto l1_lmax_TB16 = widen(LMAX_Intra_1);
constexpr auto l0_lmax_TB17 = widen(LMAX_Inter_0);
constexpr auto l1_lmax_TB17 = widen(LMAX_Inter_1);
constexpr auto l0_offs_TB16 = offsets(LMAX_Intra_0, 0);
constexpr auto l1_offs_TB16 = offsets(LMAX_Intra_1, 67);
constexpr auto l0_offs_TB17 = offsets(LMAX_Inter_0, 0);
constexpr auto l1_offs_TB17 = offsets(LMAX_Inter_1, 58);
static_assert(l1_offs_TB16.back() == 101 && l1_offs_TB17.back() == 101);

// The codes of table B-16 or B-17. Indexed by last: the largest run that has codes, where the codes of each run begin
// and how many there are, one for each level.
struct TcoefCodes {
    Qvo32s maxRun[2];
    const Qvo32s* offset[2];
    const Qvo32s* lmax[2];
    const VlcCode* codes;

    bool hasCode(Qvo32s last, Qvo32s run, Qvo32s level) const {
        return run <= maxRun[last] && level <= lmax[last][run];
    }
    // With the sign bit.
    VlcCode code(Qvo32s last, Qvo32s run, Qvo32s level, Qvo32u negative) const {
        const VlcCode found = codes[offset[last][run] + level - 1];
        return {found.value | negative, found.length};
    }
};

constexpr TcoefCodes mVLC_TB16 = {
    {14, 20}, {l0_offs_TB16.data(), l1_offs_TB16.data()}, {l0_lmax_TB16.data(), l1_lmax_TB16.data()}, vlc_TB16};
constexpr TcoefCodes mVLC_TB17 = {
    {26, 40}, {l0_offs_TB17.data(), l1_offs_TB17.data()}, {l0_lmax_TB17.data(), l1_lmax_TB17.data()}, vlc_TB17};

// The largest run that has a code for a level (tables B-21 and B-22), which falls with the level: `run` for the levels
// up to `level`.
struct RmaxStep {
    Qvo32s level;
    Qvo32s run;
};

constexpr RmaxStep mVLC_RMAX_TB21[2][7] = {{{1, 14}, {2, 9}, {3, 7}, {4, 3}, {5, 2}, {10, 1}, {27, 0}},
                                           {{1, 20}, {2, 6}, {3, 1}, {8, 0}}};
constexpr RmaxStep mVLC_RMAX_TB22[2][6] = {{{1, 26}, {2, 10}, {3, 6}, {4, 2}, {6, 1}, {12, 0}},
                                           {{1, 40}, {2, 1}, {3, 0}}};

// dct_dc_size 0 to 12 (tables B-13 and B-14).
constexpr VlcCode mVLC_DCSIZE_TB13[13] = {{3, 3}, {3, 2}, {2, 2}, {2, 3}, {1, 3},  {1, 4}, {1, 5},
                                          {1, 6}, {1, 7}, {1, 8}, {1, 9}, {1, 10}, {1, 11}};
constexpr VlcCode mVLC_DCSIZE_TB14[13] = {{3, 2}, {2, 2}, {1, 2}, {1, 3},  {1, 4},  {1, 5}, {1, 6},
                                          {1, 7}, {1, 8}, {1, 9}, {1, 10}, {1, 11}, {1, 12}};

// ---- writing ----

struct Position {
    Qvo8u** ppBitStream;
    Qvo32s* pBitOffset;

    void put(Qvo32u value, Qvo32u length) const {
        PutBits(ppBitStream, pBitOffset, value, static_cast<Qvo32s>(length));
    }
    void put(VlcCode code) const { put(code.value, code.length); }
    // A code behind the bits of a prefix.
    void put(Qvo32u prefix, Qvo32u prefixLength, VlcCode code) const {
        put(prefix << code.length | code.value, prefixLength + code.length);
    }
};

Qvo32s magnitude(Qvo32s level) {
    return level < 0 ? -level : level;
}

// ITU-T H.263, 5.4.2: escape, last, run, level.
void putEscapeH263(Position to, Qvo32s last, Qvo32s run, Qvo32s level) {
    const Qvo32u event = static_cast<Qvo32u>(last << 14 | run << 8 | (level & 0xFF));
    to.put(tcoefEscape.value << 15 | event, tcoefEscape.length + 15);
}

// Escape type 3: escape and 11, last, run, marker, level, marker.
void putEscapeFixed(Position to, Qvo32s last, Qvo32s run, Qvo32s level) {
    const Qvo32u event = static_cast<Qvo32u>(last << 20 | run << 14 | 1 << 13 | (level & 0xFFF) << 1 | 1);
    to.put((tcoefEscape.value << 2 | 3) << 21 | event, tcoefEscape.length + 2 + 21);
}

// ISO/IEC 14496-2, 7.4.1.3. A run with codes leaves only the level to blame, and escape type 1 is tried; a run without
// any is shortened by type 2.
void putEscapeMPEG4(Position to, const TcoefCodes& table, const RmaxStep* rmax, Qvo32s last, Qvo32s run,
                    Qvo32s level) {
    const Qvo32s size = magnitude(level);
    const Qvo32u negative = level < 0;
    if (run <= table.maxRun[last]) {
        const Qvo32s rest = size - table.lmax[last][run];
        if (!table.hasCode(last, run, rest)) return putEscapeFixed(to, last, run, level);
        return to.put(tcoefEscape.value << 1, tcoefEscape.length + 1, table.code(last, run, rest, negative));
    }
    if (size > table.lmax[last][0]) return putEscapeFixed(to, last, run, level);
    while (rmax->level < size)
        ++rmax;
    const Qvo32s rest = run - rmax->run - 1;
    if (rest > rmax->run) return putEscapeFixed(to, last, run, level);
    to.put(tcoefEscape.value << 2 | 2, tcoefEscape.length + 2, table.code(last, rest, size, negative));
}

// Writes the events that have a code and calls putEscape(last, run, level) for the others.
template <class PutEscape>
void putBlock(Position to, const Qvo16s* pBlock, const ScanOrder& order, int start, const TcoefCodes& table,
              PutEscape putEscape) {
    forEachEvent(pBlock, order, start, [&](Qvo32s last, Qvo32s run, Qvo32s level) {
        const Qvo32s size = magnitude(level);
        if (table.hasCode(last, run, size))
            to.put(table.code(last, run, size, level < 0));
        else
            putEscape(last, run, level);
    });
}

template <int steps>
void putBlockMPEG4(Position to, const Qvo16s* pBlock, const ScanOrder& order, int start, const TcoefCodes& table,
                   const RmaxStep (&rmax)[2][steps]) {
    putBlock(to, pBlock, order, start, table,
             [&](Qvo32s last, Qvo32s run, Qvo32s level) { putEscapeMPEG4(to, table, rmax[last], last, run, level); });
}

// A size is at most 12, so that of a larger difference the low 12 bits are written.
constexpr Qvo32s maxSize = 12;

Qvo32s sizeOf(Qvo32s difference) {
    Qvo32s size = 0;
    while (size < maxSize && magnitude(difference) >> size != 0)
        ++size;
    return size;
}

QvoStatus check(Qvo8u** ppBitStream, const Qvo32s* pBitOffset) {
    if (anyNull(ppBitStream, pBitOffset) || *ppBitStream == nullptr) return qvoStatusNullPtr;
    return *pBitOffset < 0 || *pBitOffset > 7 ? qvoStatusBitOffset : qvoStatusOk;
}

QvoStatus check(const Qvo16s* pBlock, Qvo8u** ppBitStream, const Qvo32s* pBitOffset) {
    return pBlock == nullptr ? qvoStatusNullPtr : check(ppBitStream, pBitOffset);
}

}  // namespace

QvoStatus qvoiEncode_IntraDCVLC_H263_16s1u(Qvo16s intraDC, Qvo8u** ppBitStream, Qvo32s* pBitOffset) {
    if (const QvoStatus status = check(ppBitStream, pBitOffset)) return status;
    PutBits(ppBitStream, pBitOffset, intraDC == 128 ? 255 : static_cast<Qvo32u>(intraDC), 8);
    return qvoStatusOk;
}

QvoStatus qvoiEncode_ACVLC_H263_16s1u(const Qvo16s* pBlock, Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                      Qvo32s intraFlag) {
    if (const QvoStatus status = check(pBlock, ppBitStream, pBitOffset)) return status;
    const Position to = {ppBitStream, pBitOffset};
    putBlock(to, pBlock, scanOrders[qvoScanZigzag], intraFlag != 0, mVLC_TB17,
             [&](Qvo32s last, Qvo32s run, Qvo32s level) { putEscapeH263(to, last, run, level); });
    return qvoStatusOk;
}

QvoStatus qvoiEncode_InterVLC_MPEG4_16s1u(const Qvo16s* pBlock, Qvo8u** ppBitStream, Qvo32s* pBitOffset) {
    if (const QvoStatus status = check(pBlock, ppBitStream, pBitOffset)) return status;
    putBlockMPEG4({ppBitStream, pBitOffset}, pBlock, scanOrders[qvoScanZigzag], 0, mVLC_TB17, mVLC_RMAX_TB22);
    return qvoStatusOk;
}

QvoStatus qvoiEncode_IntraDCVLC_MPEG4_16s1u(Qvo16s difference, Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                            Qvo32s blockType) {
    if (const QvoStatus status = check(ppBitStream, pBitOffset)) return status;
    const Position to = {ppBitStream, pBitOffset};
    const Qvo32s size = sizeOf(difference);
    to.put(blockType == qvoVideoChrominance ? mVLC_DCSIZE_TB14[size] : mVLC_DCSIZE_TB13[size]);
    if (size > 8) to.put(1, 1);
    if (size > 0) to.put(static_cast<Qvo32u>(difference - (difference < 0)), static_cast<Qvo32u>(size));
    return qvoStatusOk;
}

QvoStatus qvoiEncode_IntraACVLC_MPEG4_16s1u(const Qvo16s* pBlock, Qvo8u** ppBitStream, Qvo32s* pBitOffset,
                                            Qvo32s scan, Qvo32s skipDC) {
    if (const QvoStatus status = check(pBlock, ppBitStream, pBitOffset)) return status;
    const ScanOrder& order = scanOrders[scan == qvoScanZigzag || scan == qvoScanVertical ? scan : qvoScanHorizontal];
    putBlockMPEG4({ppBitStream, pBitOffset}, pBlock, order, skipDC != 0, mVLC_TB16, mVLC_RMAX_TB21);
    return qvoStatusOk;
}
