// Texture decoding: one block from the bit stream to levels, coefficients, a residual or pixels.
#include <cstring>

#include "core/arith.h"
#include "core/bits.h"
#include "mpeg4/block.h"
#include "qvovc/core.h"
#include "qvovc/h263.h"
#include "qvovc/mpeg4.h"
#include "tables/tcoef.h"

using namespace qvovc;

namespace {

// ---- reading ----

constexpr Qvo32s dcScale = 8;

// INTRADC (Table 15): 255 stands for 128, which like 0 is no code.
QvoStatus readIntraDC(Qvo8u** ppBitStream, const Qvo32s* pBitOffset, Qvo16s& level) {
    const Qvo8u* const p = *ppBitStream;
    const Qvo32u code = (static_cast<Qvo32u>(p[0]) << 8 | p[1]) >> (8 - *pBitOffset) & 255;
    if ((code & 127) == 0) return qvoStatusBadIntraDC;
    level = static_cast<Qvo16s>(code == 255 ? 128 : code);
    ++*ppBitStream;
    return qvoStatusOk;
}

struct Event {
    Qvo32s last;
    Qvo32s run;
    Qvo32s level;
};

// What follows an escape code: last, run and level of fixed length (5.4.2). Level 0 is no code; -128 is none either but
// where Annex T lets it announce a level of eleven bits, the low five of which come first.
bool readEscape(BitWindow& bits, bool extended, Event& event) {
    bits.load();
    event.last = static_cast<Qvo32s>(bits.get(1));
    event.run = static_cast<Qvo32s>(bits.get(6));
    event.level = static_cast<Qvo32s>(bits.get(8) ^ 0x80) - 0x80;
    if (event.level == -128) {
        if (!extended) return false;
        bits.need(11);
        const Qvo32u low = bits.get(5);
        event.level = static_cast<Qvo32s>((bits.get(6) << 5 | low) ^ 0x400) - 0x400;
    }
    return event.level != 0;
}

bool readEvent(BitWindow& bits, const TcoefTable& table, bool extended, Event& event) {
    const Qvo32u code = bits.peek(12);
    if (code < smallestTcoefCode) return false;
    const TcoefEntry entry = table.entries[tcoefIndex(code)];
    bits.skip(entry.length);
    if (entry.level == tcoefEscapeLevel) return readEscape(bits, extended, event);
    event = {entry.last, entry.run, bits.get(1) != 0 ? -entry.level : entry.level};
    return true;
}

// Reads events up to the last one, the first run counting from scan position `start`, and calls store(position, level)
// for each. After an error the stream's position is where the failing event begins.
template <class Store>
QvoStatus readEvents(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const TcoefTable& table, Qvo32s start, bool extended,
                     Store store) {
    BitWindow bits(*ppBitStream, *pBitOffset);
    Qvo32s position = start - 1;
    Event event = {0, 0, 0};
    while (event.last == 0) {
        bits.need(13);
        const BitWindow before = bits;
        const bool valid = readEvent(bits, table, extended, event);
        position += event.run + 1;
        if (!valid || position > 63) {
            before.storePosition(ppBitStream, pBitOffset);
            return valid ? qvoStatusScanOverrun : qvoStatusVlcError;
        }
        store(position, static_cast<Qvo16s>(event.level));
    }
    bits.storePosition(ppBitStream, pBitOffset);
    return qvoStatusOk;
}

template <class Store>
QvoStatus readInter(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo32s modQuant, Store store) {
    return readEvents(ppBitStream, pBitOffset, tableB17, 0, modQuant != 0, store);
}

template <class Store>
QvoStatus readIntra(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo32s modQuant, Store store) {
    Qvo16s dc;
    if (const QvoStatus status = readIntraDC(ppBitStream, pBitOffset, dc)) return status;
    store(0, dc);
    return readEvents(ppBitStream, pBitOffset, tableB17, 1, modQuant != 0, store);
}

// ---- advanced intra coding ----

constexpr const Qvo8u* annexIScans[3] = {ZigzagC, ZigzagH, ZigzagV};

bool isDirection(Qvo32s predDir) {
    return predDir >= qvoAICPredictDC && predDir <= qvoAICPredictLeft;
}

const Qvo8u* scanFor(Qvo32s predDir) {
    return annexIScans[predDir - qvoAICPredictDC];
}

// What a block is predicted from: a buffer's entry 0 is the neighbour's DC coefficient, negative where there is none,
// and entries 1 to 7 are the coefficients of its first row (from above) or column (from the left).
struct Neighbours {
    Qvo16s* above;
    Qvo16s* left;
};

Qvo32s predictedDC(const Neighbours& from, Qvo32s predDir) {
    const Qvo32s above = from.above[0], left = from.left[0];
    if (predDir == qvoAICPredictDC && above >= 0 && left >= 0) return (above + left) >> 1;
    if (predDir != qvoAICPredictLeft && above >= 0) return above;
    if (predDir != qvoAICPredictAbove && left >= 0) return left;
    return noNeighbourDC;
}

// Puts the predictors in their places in a cleared block.
void predictCoefs(const Neighbours& from, Qvo32s predDir, Qvo16s* pBlock) {
    if (predDir == qvoAICPredictAbove && from.above[0] >= 0) std::memcpy(pBlock, from.above, 8 * sizeof(Qvo16s));
    if (predDir == qvoAICPredictLeft && from.left[0] >= 0) {
        for (int i = 1; i < 8; ++i)
            pBlock[8 * i] = from.left[i];
    }
    pBlock[0] = static_cast<Qvo16s>(predictedDC(from, predDir));
}

// Makes the DC coefficient odd and 0 to 2047, and keeps what the blocks to the right and below predict from.
void finishCoefs(Qvo16s* pBlock, const Neighbours& to) {
    pBlock[0] = static_cast<Qvo16s>(pBlock[0] < 0 ? 0 : pBlock[0] | 1);
    std::memcpy(to.above, pBlock, 8 * sizeof(Qvo16s));
    for (int i = 0; i < 8; ++i)
        to.left[i] = pBlock[8 * i];
}

// The inverse quantisation of Annex I has no offset.
Qvo16s addLevel(Qvo16s predictor, Qvo16s level, Qvo32s QP) {
    return static_cast<Qvo16s>(clipCoef(predictor + 2 * QP * level));
}

// ---- checks ----

QvoStatus checkPosition(Qvo8u* const* ppBitStream, const Qvo32s* pBitOffset, const void* pOutput) {
    return anyNull(ppBitStream, pBitOffset, pOutput) || *ppBitStream == nullptr ? qvoStatusNullPtr : qvoStatusOk;
}

QvoStatus checkBlock(Qvo8u* const* ppBitStream, const Qvo32s* pBitOffset, const void* pDst, Qvo32s QP) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, pDst)) return status;
    return isQuantiser(QP) ? qvoStatusOk : qvoStatusQpRange;
}

QvoStatus checkPixels(Qvo8u* const* ppBitStream, const Qvo32s* pBitOffset, const Qvo8u* pDst, Qvo32s dstStep) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, pDst)) return status;
    return dstStep < 8 ? qvoStatusBlockStep : qvoStatusOk;
}

// Keeps levels in the order of the scan, with their number.
struct CompactLevels {
    Qvo16s* pDst;
    Qvo32s* pLen;
    void operator()(Qvo32s position, Qvo16s level) const {
        pDst[position] = level;
        *pLen = position + 1;
    }
};

}  // namespace

// ---- levels ----

QvoStatus qvoiDecodeVLC_IntraDC_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDC) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, pDC)) return status;
    return readIntraDC(ppBitStream, pBitOffset, *pDC);
}

QvoStatus qvoiDecodeVLC_Intra_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst, Qvo32s* pLen,
                                         Qvo32s modQuant) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, pDst)) return status;
    if (pLen == nullptr) return qvoStatusNullPtr;
    zeroBlock(pDst);
    *pLen = 0;
    return readIntra(ppBitStream, pBitOffset, modQuant, CompactLevels{pDst, pLen});
}

QvoStatus qvoiDecodeVLC_Inter_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst, Qvo32s* pLen,
                                         Qvo32s modQuant) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, pDst)) return status;
    if (pLen == nullptr) return qvoStatusNullPtr;
    zeroBlock(pDst);
    *pLen = 0;
    return readInter(ppBitStream, pBitOffset, modQuant, CompactLevels{pDst, pLen});
}

QvoStatus qvoiDecodeVLCZigzag_Intra_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                               Qvo32s modQuant) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, pDst)) return status;
    zeroBlock(pDst);
    return readIntra(ppBitStream, pBitOffset, modQuant,
                     [=](Qvo32s position, Qvo16s level) { pDst[ZigzagC[position]] = level; });
}

QvoStatus qvoiDecodeVLCZigzag_Inter_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                               Qvo32s modQuant) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, pDst)) return status;
    zeroBlock(pDst);
    return readInter(ppBitStream, pBitOffset, modQuant,
                     [=](Qvo32s position, Qvo16s level) { pDst[ZigzagC[position]] = level; });
}

QvoStatus qvoiDecodeVLCZigzag_IntraAIC_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                                  Qvo32s predDir, Qvo32s modQuant) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, pDst)) return status;
    if (!isDirection(predDir)) return qvoStatusPredDir;
    zeroBlock(pDst);
    const Qvo8u* const scan = scanFor(predDir);
    return readEvents(ppBitStream, pBitOffset, tableI2, 0, modQuant != 0,
                      [=](Qvo32s position, Qvo16s level) { pDst[scan[position]] = level; });
}

// ---- coefficients ----

QvoStatus qvoiDecodeCoef_Intra_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst, Qvo32s QP,
                                          Qvo32s modQuant) {
    if (const QvoStatus status = checkBlock(ppBitStream, pBitOffset, pDst, QP)) return status;
    zeroBlock(pDst);
    const QuantH263 rule(QP);
    return readIntra(ppBitStream, pBitOffset, modQuant, [=](Qvo32s position, Qvo16s level) {
        pDst[ZigzagC[position]] = static_cast<Qvo16s>(clipCoef(position == 0 ? level * dcScale : rule(level)));
    });
}

QvoStatus qvoiDecodeCoef_Inter_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst, Qvo32s QP,
                                          Qvo32s modQuant) {
    if (const QvoStatus status = checkBlock(ppBitStream, pBitOffset, pDst, QP)) return status;
    zeroBlock(pDst);
    const QuantH263 rule(QP);
    return readInter(ppBitStream, pBitOffset, modQuant, [=](Qvo32s position, Qvo16s level) {
        pDst[ZigzagC[position]] = static_cast<Qvo16s>(clipCoef(rule(level)));
    });
}

QvoStatus qvoiPredictReconCoefIntraAIC_H263_16s(Qvo16s* pSrcDst, Qvo16s* pCoefBufRow, Qvo16s* pCoefBufCol, Qvo32s QP,
                                                Qvo32s predDir) {
    if (anyNull(pSrcDst, pCoefBufRow, pCoefBufCol)) return qvoStatusNullPtr;
    if (!isQuantiser(QP)) return qvoStatusQpRange;
    if (!isDirection(predDir)) return qvoStatusPredDir;
    Qvo16s coefs[64] = {};
    predictCoefs({pCoefBufRow, pCoefBufCol}, predDir, coefs);
    for (int i = 0; i < 64; ++i)
        coefs[i] = addLevel(coefs[i], pSrcDst[i], QP);
    finishCoefs(coefs, {pCoefBufRow, pCoefBufCol});
    std::memcpy(pSrcDst, coefs, sizeof coefs);
    return qvoStatusOk;
}

// ---- blocks ----

QvoStatus qvoiDecodeBlockCoef_Inter_H263_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst, Qvo32s QP,
                                               Qvo32s modQuant) {
    if (const QvoStatus status = checkBlock(ppBitStream, pBitOffset, pDst, QP)) return status;
    CoefList list;
    Qvo32s count = 0, lastPosition = 0;
    const QvoStatus status = readInter(ppBitStream, pBitOffset, modQuant, [&](Qvo32s position, Qvo16s level) {
        list.level[count] = level;
        list.index[count] = ZigzagC[position];
        ++count;
        lastPosition = position;
    });
    if (status != qvoStatusOk) return status;
    list.count = count;

    if (lastPosition == 0) {
        const Qvo32s coef = clipCoef(QuantH263(QP)(list.level[0]));
        return qvosSet_16s(static_cast<Qvo16s>((coef + 4) >> 3), pDst, 64);
    }
    zeroBlock(pDst);
    scatterH263(list, 0, QP, pDst);
    transformInter(pDst, lastPosition);
    return qvoStatusOk;
}

QvoStatus qvoiDecodeBlockCoef_Intra_H263_1u8u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pDst, Qvo32s dstStep,
                                              Qvo32s QP, Qvo32s modQuant) {
    if (const QvoStatus status = checkPixels(ppBitStream, pBitOffset, pDst, dstStep)) return status;
    if (!isQuantiser(QP)) return qvoStatusQpRange;
    Qvo16s coefs[64];
    const QvoStatus status = qvoiDecodeCoef_Intra_H263_1u16s(ppBitStream, pBitOffset, coefs, QP, modQuant);
    if (status != qvoStatusOk) return status;
    return qvoiDCT8x8Inv_16s8u_C1R(coefs, pDst, dstStep);
}

QvoStatus qvoiDecodeBlockCoef_IntraDCOnly_H263_1u8u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pDst,
                                                    Qvo32s dstStep) {
    if (const QvoStatus status = checkPixels(ppBitStream, pBitOffset, pDst, dstStep)) return status;
    Qvo16s dc;
    if (const QvoStatus status = readIntraDC(ppBitStream, pBitOffset, dc)) return status;
    return qvoiSet_8u_C1R(static_cast<Qvo8u>(dc), pDst, dstStep, 8, 8);
}

QvoStatus qvoiDecodeBlockCoef_IntraAIC_H263_1u8u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pDst, Qvo32s dstStep,
                                                 Qvo16s* pCoefBufRow, Qvo16s* pCoefBufCol, Qvo32s QP, Qvo32s predDir,
                                                 Qvo32s coded, Qvo32s modQuant) {
    if (anyNull(pCoefBufRow, pCoefBufCol)) return qvoStatusNullPtr;
    if (const QvoStatus status = checkPixels(ppBitStream, pBitOffset, pDst, dstStep)) return status;
    if (!isQuantiser(QP)) return qvoStatusQpRange;
    if (!isDirection(predDir)) return qvoStatusPredDir;
    const Neighbours neighbours = {pCoefBufRow, pCoefBufCol};
    Qvo16s coefs[64];
    zeroBlock(coefs);
    predictCoefs(neighbours, predDir, coefs);
    if (coded != 0) {
        const Qvo8u* const scan = scanFor(predDir);
        const auto store = [&](Qvo32s position, Qvo16s level) {
            Qvo16s& coef = coefs[scan[position]];
            coef = addLevel(coef, level, QP);
        };
        const QvoStatus status = readEvents(ppBitStream, pBitOffset, tableI2, 0, modQuant != 0, store);
        if (status != qvoStatusOk) return status;
    }
    finishCoefs(coefs, neighbours);
    return qvoiDCT8x8Inv_16s8u_C1R(coefs, pDst, dstStep);
}
