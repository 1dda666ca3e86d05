// Macroblock headers: MCBPC, CBPY, MODB and the DQUANT of modified quantisation.
#include "core/arith.h"
#include "core/bits.h"
#include "qvovc/h263.h"

using namespace qvovc;

namespace {

struct Code {
    Qvo8u bits;
    Qvo8u length;
    Qvo8u value;
};

struct Entry {
    Qvo8u value;
    Qvo8u length;
};

// A table with one entry for every value of the next `width` bits, up to the largest that a listed code begins with.
template <int width, int size, int count>
struct Table {
    Entry entries[size] = {};

    constexpr explicit Table(const Code (&codes)[count]) {
        for (const Code& code : codes) {
            const int unused = width - code.length;
            for (int i = 0; i < 1 << unused; ++i) {
                entries[(code.bits << unused) + i] = {code.value, code.length};
            }
        }
    }
};

// The shortest code of each table (1, in CBPY 11) and the stuffing code of the intra table, which is longer than the
// others, are decoded without the tables.
constexpr Code intraCodes[] = {
    {0b000001, 6, 0x14}, {0b000010, 6, 0x24}, {0b000011, 6, 0x34}, {0b0001, 4, 0x04},
    {0b001, 3, 0x13},    {0b010, 3, 0x23},    {0b011, 3, 0x33},
};
constexpr Table<6, 32, 7> intraTable(intraCodes);

constexpr Code interCodes[] = {
    {0b000000001, 9, qvoMcbpcStuffing},
    {0b000000010, 9, 0x34},
    {0b000000011, 9, 0x24},
    {0b000000100, 9, 0x14},
    {0b000000101, 9, 0x31},
    {0b00000011, 8, 0x23},
    {0b00000100, 8, 0x13},
    {0b00000101, 8, 0x32},
    {0b0000011, 7, 0x33},
    {0b0000100, 7, 0x22},
    {0b0000101, 7, 0x12},
    {0b0000110, 7, 0x21},
    {0b0000111, 7, 0x11},
    {0b000100, 6, 0x04},
    {0b000101, 6, 0x30},
    {0b00011, 5, 0x03},
    {0b0010, 4, 0x20},
    {0b0011, 4, 0x10},
    {0b010, 3, 0x02},
    {0b011, 3, 0x01},
};
constexpr Table<9, 256, 20> interTable(interCodes);

constexpr Code cbpyCodes[] = {
    {0b000010, 6, 9}, {0b000011, 6, 6}, {0b00010, 5, 7}, {0b00011, 5, 11}, {0b00100, 5, 13},
    {0b00101, 5, 14}, {0b0011, 4, 15},  {0b0100, 4, 3},  {0b0101, 4, 5},   {0b0110, 4, 1},
    {0b0111, 4, 10},  {0b1000, 4, 2},   {0b1001, 4, 12}, {0b1010, 4, 4},   {0b1011, 4, 8},
};
constexpr Table<6, 48, 15> cbpyTable(cbpyCodes);

// Quantiser change by quantiser and second code bit (H.263 Table T.1).
constexpr Qvo8s quantChange[32][2] = {
    {0, 0},  {2, 1},  {-1, 1}, {-1, 1}, {-1, 1}, {-1, 1}, {-1, 1}, {-1, 1}, {-1, 1}, {-1, 1},  {-1, 1},
    {-2, 2}, {-2, 2}, {-2, 2}, {-2, 2}, {-2, 2}, {-2, 2}, {-2, 2}, {-2, 2}, {-2, 2}, {-2, 2},  {-3, 3},
    {-3, 3}, {-3, 3}, {-3, 3}, {-3, 3}, {-3, 3}, {-3, 3}, {-3, 3}, {-3, 2}, {-3, 1}, {-3, -5},
};

// The next n bits (at most 9) out of the two bytes from the current one.
Qvo32s peek(const Qvo8u* p, Qvo32s offset, Qvo32s n) {
    const Qvo32u window = (static_cast<Qvo32u>(p[0]) << 8 | p[1]) << offset;
    return static_cast<Qvo32s>((window & 0xFFFF) >> (16 - n));
}

template <class T>
bool missing(Qvo8u** ppBitStream, const Qvo32s* pBitOffset, const T* pResult) {
    return anyNull(ppBitStream, pBitOffset, pResult) || *ppBitStream == nullptr;
}

QvoStatus finish(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pResult, Entry entry) {
    *pResult = entry.value;
    ownFlushBits(ppBitStream, pBitOffset, entry.length);
    return qvoStatusOk;
}

}  // namespace

QvoStatus qvoiDecodeMCBPCIntra_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pMCBPC) {
    if (missing(ppBitStream, pBitOffset, pMCBPC)) return qvoStatusNullPtr;
    const Qvo32s bits = peek(*ppBitStream, *pBitOffset, 9);
    if (bits >= 256) return finish(ppBitStream, pBitOffset, pMCBPC, {0x03, 1});
    if (bits >= 8) return finish(ppBitStream, pBitOffset, pMCBPC, intraTable.entries[bits >> 3]);
    if (bits != 1) return qvoStatusMcbpcIntra;
    return finish(ppBitStream, pBitOffset, pMCBPC, {qvoMcbpcStuffing, 9});
}

QvoStatus qvoiDecodeMCBPCInter_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pMCBPC) {
    if (missing(ppBitStream, pBitOffset, pMCBPC)) return qvoStatusNullPtr;
    const Qvo32s bits = peek(*ppBitStream, *pBitOffset, 9);
    if (bits == 0) return qvoStatusMcbpcInter;
    if (bits >= 256) return finish(ppBitStream, pBitOffset, pMCBPC, {0x00, 1});
    return finish(ppBitStream, pBitOffset, pMCBPC, interTable.entries[bits]);
}

QvoStatus qvoiDecodeCBPY_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pCBPY) {
    if (missing(ppBitStream, pBitOffset, pCBPY)) return qvoStatusNullPtr;
    const Qvo32s bits = peek(*ppBitStream, *pBitOffset, 6);
    if (bits < 2) return qvoStatusCbpy;
    if (bits >= 48) return finish(ppBitStream, pBitOffset, pCBPY, {0, 2});
    return finish(ppBitStream, pBitOffset, pCBPY, cbpyTable.entries[bits]);
}

QvoStatus qvoiDecodeMODB_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pMODB) {
    if (missing(ppBitStream, pBitOffset, pMODB)) return qvoStatusNullPtr;
    const Qvo32s bits = peek(*ppBitStream, *pBitOffset, 2);
    if (bits < 2) return finish(ppBitStream, pBitOffset, pMODB, {0, 1});
    return finish(ppBitStream, pBitOffset, pMODB, {static_cast<Qvo8u>(bits), 2});
}

QvoStatus qvoiUpdateQuant_MQ_H263_1u32s_I(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo32s* pQuant) {
    if (missing(ppBitStream, pBitOffset, pQuant)) return qvoStatusNullPtr;
    const Qvo32s bits = peek(*ppBitStream, *pBitOffset, 6);
    if (bits >= 32) {
        *pQuant += quantChange[*pQuant & 31][bits >> 4 & 1];
        ownFlushBits(ppBitStream, pBitOffset, 2);
    } else {
        *pQuant = bits;
        ownFlushBits(ppBitStream, pBitOffset, 6);
    }
    return qvoStatusOk;
}
