// MPEG-1 and MPEG-2 blocks from the stream: run-level decoding, placement through the scan, inverse quantisation and
// mismatch control; and MPEG-2 inverse quantisation of whole blocks.
#include <cstring>

#include "core/arith.h"
#include "mpeg2/vlc.h"

using namespace qvovc;

namespace {

constexpr Qvo32s lastIndex = 63;

constexpr Qvo16s flatMatrix[64] = {16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
                                   16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
                                   16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16,
                                   16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16, 16};

struct Coefficient {
    Qvo32s run;
    Qvo32s level;

    static Coefficient fromEntry(Qvo32s entry) { return {(entry >> 8) & 255, static_cast<Qvo8s>(entry >> 16)}; }
};

// ---- the forms: how an escape goes on and how a level is scaled ----

struct Mpeg1 {
    [[gnu::always_inline]] static Coefficient readEscape(WordReader& bits) {
        const Qvo32s run = static_cast<Qvo32s>(bits.get(6));
        const Qvo32s first = static_cast<Qvo8s>(bits.get(8));
        if (first & 127) return {run, first};
        // 0 and -128 announce eight more bits, of a positive or of a negative level.
        return {run, first * 2 + static_cast<Qvo32s>(bits.get(8))};
    }
    static Qvo32s dequantise(Qvo32s weight, Qvo32s level, Qvo32s QP) { return weight * level * (2 * QP) / 16; }
};

struct Mpeg2 {
    [[gnu::always_inline]] static Coefficient readEscape(WordReader& bits) {
        const Qvo32s field = static_cast<Qvo32s>(bits.get(18));
        return {field >> 12, ((field & 0xFFF) ^ 0x800) - 0x800};
    }
};

struct Mpeg2Intra : Mpeg2 {
    static Qvo32s dequantise(Qvo32s weight, Qvo32s level, Qvo32s QP) { return weight * level * (2 * QP) / 32; }
};

struct Mpeg2NonIntra : Mpeg2 {
    static Qvo32s dequantise(Qvo32s weight, Qvo32s level, Qvo32s QP) {
        return weight * QP * (2 * level + sign(level)) / 32;
    }
};

// ---- blocks ----

// The reading position has to stay in registers, as any store into the block might change one in memory: whatever
// takes it by reference is inlined.

// The block under reconstruction.
struct Block {
    const Qvo32s* scan;
    const Qvo16s* matrix;
    Qvo32s QP;
    Qvo16s* dst;
    Qvo32s index = 0;   // scan index of the last coefficient
    Qvo32s parity = 0;  // its lowest bit is that of the sum of all values placed

    // In pieces, which become plain stores; the whole would become a string instruction.
    void clear() const {
        for (int i = 0; i < 64; i += 16)
            std::memset(dst + i, 0, 16 * sizeof(Qvo16s));
    }

    void store(Qvo32s position, Qvo32s value) {
        dst[position] = wrap16(value);
        parity ^= value;
    }

    template <class Form>
    void place(Qvo32s level) {
        const Qvo32s position = scan[index];
        store(position, Form::dequantise(matrix[position], level, QP));
    }

    void controlMismatch() const { dst[63] = static_cast<Qvo16s>(dst[63] ^ (~parity & 1)); }
};

// Reads the codes that follow the first coefficient, up to the end of the block.
template <class Form>
[[gnu::always_inline]] inline QvoStatus readCoefficients(WordReader& bits, const VlcReader& table, Block& block) {
    for (;;) {
        Coefficient c = Coefficient::fromEntry(table.readEntry(bits));
        const Qvo32s last = block.index;
        block.index = last + c.run + 1;
        if (block.index > lastIndex) [[unlikely]] {  // always so for the markers
            if (c.run == qvoRunEndOfBlock) {
                block.index = last;
                return qvoStatusOk;
            }
            if (c.run != qvoRunEscape) return qvoStatusVlcError;
            c = Form::readEscape(bits);
            block.index = last + c.run + 1;
            if (block.index > lastIndex) return qvoStatusVlcError;
        }
        block.place<Form>(c.level);
    }
}

// The first coefficient of a non-intra block. Its run is above lastIndex where there is none.
template <class Form>
[[gnu::always_inline]] inline Coefficient readFirst(WordReader& bits, const QvoVlcTable* pDCTFirstTable) {
    if (bits.peek(1)) return {0, 1 - 2 * static_cast<Qvo32s>(bits.get(2) & 1)};
    const Coefficient c = Coefficient::fromEntry(VlcReader(pDCTFirstTable).readEntry(bits));
    return c.run == qvoRunEscape ? Form::readEscape(bits) : c;
}

// Reads the difference of an intra DC whose size is known; a caller's table may hold anything.
[[gnu::always_inline]] inline Qvo32s readDCDifference(WordReader& bits, Qvo32s sizeValue) {
    const Qvo32s size = sizeValue & 31;
    if (size == 0) return 0;
    const Qvo32s v = static_cast<Qvo32s>(bits.get(size));
    const Qvo32s negative = (v >> (size - 1)) - 1;  // a mask: the sign is not worth predicting
    return v - (negative & ((1 << size) - 1));
}

// ---- inverse quantisation of whole blocks ----

// In 16 bits throughout, for which a vector unit has limits where it has none for 32.
Qvo16s saturate12(Qvo16s v) {
    constexpr Qvo16s low = -2048;
    constexpr Qvo16s high = 2047;
    const Qvo16s limited = v < low ? low : v;
    return limited > high ? high : limited;
}

// dequantise(i) gives the value of position i before it is cut and saturated; parity comes in with what is already
// placed.
template <Qvo32s first, class F>
void dequantiseBlock(Qvo16s* pSrcDst, Qvo32s parity, F dequantise) {
    for (Qvo32s i = first; i < 64; ++i) {
        pSrcDst[i] = saturate12(wrap16(dequantise(i)));
        parity ^= pSrcDst[i];
    }
    pSrcDst[63] = static_cast<Qvo16s>(pSrcDst[63] ^ (~parity & 1));
}

Qvo32s doubledWithSign(Qvo32s c) {
    return 2 * c + sign(c);
}

}  // namespace

QvoStatus qvoiReconstructDCTBlock_MPEG1_32s(Qvo32u** ppBitStream, Qvo32s* pOffset, const QvoVlcTable* pDCTFirstTable,
                                            const QvoVlcTable* pACTable, const Qvo32s* pScanMatrix, Qvo32s QP,
                                            const Qvo16s* pQPMatrix, Qvo16s* pDstBlock, Qvo32s* pDstSize) {
    if (anyNull(ppBitStream, pOffset, pDCTFirstTable, pACTable, pScanMatrix, pQPMatrix, pDstBlock, pDstSize) ||
        *ppBitStream == nullptr) {
        return qvoStatusNullPtr;
    }
    WordReader bits(*ppBitStream, *pOffset);
    Block block{pScanMatrix, pQPMatrix, QP, pDstBlock};
    block.clear();
    QvoStatus status = qvoStatusOk;
    const Coefficient first = readFirst<Mpeg1>(bits, pDCTFirstTable);
    block.index = first.run;
    if (first.run <= lastIndex) {
        const Qvo32s position = pScanMatrix[first.run];
        block.store(position, wrap16(pQPMatrix[position] * first.level * (2 * QP)) / 16);
        status = readCoefficients<Mpeg1>(bits, VlcReader(pACTable), block);
    }
    bits.store(ppBitStream, pOffset);
    if (status == qvoStatusOk) *pDstSize = block.index;
    return status;
}

QvoStatus qvoiReconstructDCTBlockIntra_MPEG1_32s(Qvo32u** ppBitStream, Qvo32s* pOffset,
                                                 const QvoVlcTable* pDCSizeTable, const QvoVlcTable* pACTable,
                                                 const Qvo32s* pScanMatrix, Qvo32s QP, const Qvo16s* pQPMatrix,
                                                 Qvo16s* pDCPred, Qvo16s* pDstBlock, Qvo32s* pDstSize) {
    if (anyNull(ppBitStream, pOffset, pDCSizeTable, pACTable, pScanMatrix, pQPMatrix, pDCPred, pDstBlock, pDstSize) ||
        *ppBitStream == nullptr) {
        return qvoStatusNullPtr;
    }
    WordReader bits(*ppBitStream, *pOffset);
    Block block{pScanMatrix, pQPMatrix, QP, pDstBlock};
    block.clear();
    const Qvo32s size = VlcReader(pDCSizeTable).readEntry(bits) >> 8;
    if (size != qvoVlcInvalid) *pDCPred = wrap16(*pDCPred + 8 * readDCDifference(bits, size));
    block.store(0, *pDCPred);
    const QvoStatus status = readCoefficients<Mpeg1>(bits, VlcReader(pACTable), block);
    bits.store(ppBitStream, pOffset);
    if (status == qvoStatusOk) *pDstSize = block.index;
    return status;
}

QvoStatus qvoiReconstructDCTBlock_MPEG2_32s(Qvo32u** ppBitStream, Qvo32s* pOffset, const QvoVlcTable* pDCTFirstTable,
                                            const QvoVlcTable* pACTable, const Qvo32s* pScanMatrix, Qvo16s QP,
                                            const Qvo16s* pQPMatrix, Qvo16s* pDstBlock, Qvo32s* pDstSize) {
    if (anyNull(ppBitStream, pOffset, pDCTFirstTable, pACTable, pScanMatrix, pDstBlock, pDstSize) ||
        *ppBitStream == nullptr) {
        return qvoStatusNullPtr;
    }
    WordReader bits(*ppBitStream, *pOffset);
    Block block{pScanMatrix, pQPMatrix == nullptr ? flatMatrix : pQPMatrix, QP, pDstBlock};
    block.clear();
    QvoStatus status = qvoStatusOk;
    const Coefficient first = readFirst<Mpeg2NonIntra>(bits, pDCTFirstTable);
    block.index = first.run;
    if (first.run <= lastIndex) {
        block.place<Mpeg2NonIntra>(first.level);
        status = readCoefficients<Mpeg2NonIntra>(bits, VlcReader(pACTable), block);
    }
    bits.store(ppBitStream, pOffset);
    if (status != qvoStatusOk) return status;
    block.controlMismatch();
    *pDstSize = block.index == 0 ? 1 : block.index;
    return qvoStatusOk;
}

QvoStatus qvoiReconstructDCTBlockIntra_MPEG2_32s(Qvo32u** ppBitStream, Qvo32s* pOffset,
                                                 const QvoVlcTable* pDCSizeTable, const QvoVlcTable* pACTable,
                                                 const Qvo32s* pScanMatrix, Qvo16s QP, const Qvo16s* pQPMatrix,
                                                 Qvo16s* pDCPred, Qvo32s shiftDCVal, Qvo16s* pDstBlock,
                                                 Qvo32s* pDstSize) {
    if (anyNull(ppBitStream, pOffset, pDCSizeTable, pACTable, pScanMatrix, pQPMatrix, pDCPred, pDstBlock, pDstSize) ||
        *ppBitStream == nullptr) {
        return qvoStatusNullPtr;
    }
    WordReader bits(*ppBitStream, *pOffset);
    Block block{pScanMatrix, pQPMatrix, QP, pDstBlock};
    block.clear();
    QvoStatus status = qvoStatusVlcError;
    const Qvo32s size = VlcReader(pDCSizeTable).readValue(bits);
    if (size != qvoVlcInvalid) {
        *pDCPred = wrap16(*pDCPred + readDCDifference(bits, size));
        block.store(0, *pDCPred << shiftDCVal);
        status = readCoefficients<Mpeg2Intra>(bits, VlcReader(pACTable), block);
    }
    bits.store(ppBitStream, pOffset);
    if (status != qvoStatusOk) return status;
    block.controlMismatch();
    *pDstSize = block.index;
    return qvoStatusOk;
}

QvoStatus qvoiQuantInvIntra_MPEG2_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo16s* pQPMatrix) {
    if (anyNull(pSrcDst, pQPMatrix)) return qvoStatusNullPtr;
    dequantiseBlock<1>(pSrcDst, pSrcDst[0], [=](Qvo32s i) { return pSrcDst[i] * pQPMatrix[i] * (2 * QP) / 32; });
    return qvoStatusOk;
}

QvoStatus qvoiQuantInv_MPEG2_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo16s* pQPMatrix) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    if (pQPMatrix == nullptr) {
        dequantiseBlock<0>(pSrcDst, 0, [=](Qvo32s i) { return doubledWithSign(pSrcDst[i]) * QP / 2; });
    } else {
        dequantiseBlock<0>(pSrcDst, 0,
                           [=](Qvo32s i) { return doubledWithSign(pSrcDst[i]) * pQPMatrix[i] * QP / 32; });
    }
    return qvoStatusOk;
}
