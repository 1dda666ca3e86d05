// Texture decoding of MPEG-4 Visual: one block from the bit stream to levels, to a residual or to pixels.
#include <cstring>

#include "core/arith.h"
#include "core/bits.h"
#include "mpeg4/block.h"
#include "qvovc/core.h"
#include "qvovc/internals.h"
#include "qvovc/mpeg4.h"
#include "qvovc/transform.h"
#include "tables/tcoef.h"

using namespace qvovc;

namespace {

// ---- reading ----

struct Event {
    Qvo32s last;
    Qvo32s run;
    Qvo32s level;
};

Qvo32s withSign(Qvo32s level, Qvo32u negative) {
    return negative != 0 ? -level : level;
}

// What follows an escape code (ISO/IEC 14496-2, 7.4.1.3). An escape within an escape is not a code.
bool readEscape(BitWindow& bits, const TcoefTable& table, Event& event) {
    bits.load();
    if (bits.peek(2) == 3) {  // type 3: all of fixed length
        bits.skip(2);
        event.last = static_cast<Qvo32s>(bits.get(1));
        event.run = static_cast<Qvo32s>(bits.get(6));
        const Qvo32u marker = bits.get(1);
        const Qvo32s level = static_cast<Qvo32s>(bits.get(12));
        event.level = (level ^ 0x800) - 0x800;
        return (marker & bits.get(1)) != 0 && (level & 0x7FF) != 0;
    }
    const bool runEscape = bits.get(1) != 0;
    if (runEscape) bits.skip(1);
    const Qvo32u code = bits.peek(12);
    if (code < smallestTcoefCode) return false;
    const TcoefEntry entry = table.entries[tcoefIndex(code)];
    if (entry.level == tcoefEscapeLevel) return false;
    bits.skip(entry.length);
    event.last = entry.last;
    event.run = entry.run + (runEscape ? table.RMAX[entry.last][entry.level] : 0);
    event.level = withSign(entry.level + (runEscape ? 0 : table.LMAX[entry.last][entry.run]), bits.get(1));
    return true;
}

bool readEvent(BitWindow& bits, const TcoefTable& table, Event& event) {
    bits.need(13);
    const Qvo32u code = bits.peek(12);
    if (code < smallestTcoefCode) return false;
    const TcoefEntry entry = table.entries[tcoefIndex(code)];
    bits.skip(entry.length);
    if (entry.level == tcoefEscapeLevel) return readEscape(bits, table, event);
    event = {entry.last, entry.run, withSign(entry.level, bits.get(1))};
    return true;
}

// Reads events up to the last one, the first run counting from position `start`, and calls store(position, level) for
// each. Moves the stream's position on success only.
template <class Store>
QvoStatus readEvents(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const TcoefTable& table, Qvo32s start, Store store) {
    BitWindow bits(*ppBitStream, *pBitOffset);
    Qvo32s position = start - 1;
    Event event;
    do {
        if (!readEvent(bits, table, event)) return qvoStatusTextureVlc;
        position += event.run + 1;
        if (position > 63) return qvoStatusTextureVlc;
        store(position, static_cast<Qvo16s>(event.level));
    } while (event.last == 0);
    bits.storePosition(ppBitStream, pBitOffset);
    return qvoStatusOk;
}

// ---- workers ----

// dct_dc_size and dct_dc_differential (tables B-13 to B-15).
QvoStatus ownvDecodeIntraDC_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDC, bool chrominance) {
    BitWindow bits(*ppBitStream, *pBitOffset);
    // Zeros before the first 1 of the size code: 11 is one too many for luminance, 12 for chrominance.
    const Qvo32s zeros = __builtin_clz(bits.peek(12) << 20 | 1u << 19);
    if (zeros > (chrominance ? 11 : 10)) return qvoStatusTextureVlc;
    bits.skip(zeros + 1);
    Qvo32s size;
    if (zeros == 0)
        size = (chrominance ? 1 : 2) - static_cast<Qvo32s>(bits.get(1));
    else if (zeros == 1 && !chrominance)
        size = bits.get(1) != 0 ? 0 : 3;
    else
        size = zeros + (chrominance ? 1 : 2);

    Qvo32s difference = 0;
    if (size > 0) {
        difference = static_cast<Qvo32s>(bits.get(size));
        if (difference >> (size - 1) == 0) difference -= (1 << size) - 1;
        if (size > 8 && bits.get(1) == 0) return qvoStatusMarkerBit;
    }
    *pDC = static_cast<Qvo16s>(difference);
    bits.storePosition(ppBitStream, pBitOffset);
    return qvoStatusOk;
}

// The levels from scan position `start` on, to their places in a cleared raster block.
QvoStatus ownvDecodeIntraAC_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pBlock, const Qvo8u* pScan,
                                  Qvo32s start) {
    return readEvents(ppBitStream, pBitOffset, tableB16, start,
                      [=](Qvo32s position, Qvo16s level) { pBlock[pScan[position]] = level; });
}

QvoStatus ownvDecodeInter_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pBlock, const Qvo8u* pScan) {
    return readEvents(ppBitStream, pBitOffset, tableB17, 0,
                      [=](Qvo32s position, Qvo16s level) { pBlock[pScan[position]] = level; });
}

// An inter block's list; *pLastPosition is the last scan position reached.
QvoStatus ownvDecodeInter_Compact_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, CoefList& list, const Qvo8u* pScan,
                                        Qvo32s* pLastPosition) {
    Qvo32s count = 0;
    const QvoStatus status = readEvents(ppBitStream, pBitOffset, tableB17, 0, [&](Qvo32s position, Qvo16s level) {
        list.level[count] = level;
        list.index[count] = pScan[position];
        ++count;
        *pLastPosition = position;
    });
    list.count = count;
    return status;
}

// The AC coefficients behind list.count (0 or 1) entries, with the map of where in the list they are.
QvoStatus ownvDecodeIntraAC_Compact_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, CoefList& list, const Qvo8u* pScan,
                                          CoefMap& map) {
    Qvo32s count = list.count;
    const QvoStatus status = readEvents(ppBitStream, pBitOffset, tableB16, count, [&](Qvo32s position, Qvo16s level) {
        if (position > 0 && count == 0) count = 1;  // entry 0 remains the DC coefficient's
        const Qvo8u index = pScan[position];
        list.level[count] = level;
        list.index[count] = index;
        map[index] = static_cast<Qvo8u>(count);
        ++count;
    });
    list.count = count;
    return status;
}

// ---- checks ----

QvoStatus checkPosition(Qvo8u* const* ppBitStream, const Qvo32s* pBitOffset, const void* pOutput) {
    if (anyNull(ppBitStream, pBitOffset, pOutput) || *ppBitStream == nullptr) return qvoStatusNullPtr;
    if (*pBitOffset < 0 || *pBitOffset > 7) return qvoStatusBitOffset;
    return qvoStatusOk;
}

QvoStatus checkBlock(Qvo8u* const* ppBitStream, const Qvo32s* pBitOffset, const Qvo16s* pDst, Qvo32s scan) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, pDst)) return status;
    return scan < qvoScanZigzag || scan > qvoScanHorizontal ? qvoStatusScanType : qvoStatusOk;
}

// ---- blocks ----

const Qvo8u* scanTable(Qvo32s scan) {
    return scan == qvoScanVertical ? ZigzagV : scan == qvoScanHorizontal ? ZigzagH : ZigzagC;
}

// Quantises list entries inversely, by the matrix method, to their places in a cleared block. Returns the sum of the
// results.
Qvo32s ownvQuantInvInterQ_Compact_16s_I(const CoefList& list, Qvo32s QP, const Qvo8u* pQMatrix, Qvo16s* pBlock) {
    Qvo32s sum = 0;
    for (Qvo32s i = 0; i < list.count; ++i) {
        const Qvo32s coef = clipCoef(interByMatrix(list.level[i], QP, pQMatrix[list.index[i]]));
        pBlock[list.index[i]] = static_cast<Qvo16s>(coef);
        sum += coef;
    }
    return sum;
}

Qvo32s ownvQuantInvIntraQ_AC_Compact_16s_I(const CoefList& list, Qvo32s QP, const Qvo8u* pQMatrix, Qvo16s* pBlock) {
    Qvo32s sum = 0;
    for (Qvo32s i = 1; i < list.count; ++i) {
        const Qvo32s coef = clipCoef(intraByMatrix(list.level[i], QP, pQMatrix[list.index[i]]));
        pBlock[list.index[i]] = static_cast<Qvo16s>(coef);
        sum += coef;
    }
    return sum;
}

// ---- intra blocks ----

// The arguments that the two intra block decoders share.
struct IntraBlock {
    Qvo8u* pDst;
    Qvo32s dstStep;
    Qvo16s* pRowBuf;
    Qvo16s* pColumnBuf;
    Qvo32s QP;
    const Qvo8u* pQPBuf;
    const Qvo8u* pQMatrix;
    Qvo32s blockIndex;

    bool chrominance() const { return blockIndex == 4 || blockIndex == 5; }
};

// Where an intra block is predicted from.
struct IntraPrediction {
    Qvo32s dc;         // the chosen neighbour's DC coefficient
    Qvo32s direction;  // qvoPredictNone without the AC prediction flag
    bool ac;           // whether AC coefficients are predicted
    Qvo32s QP;         // the quantiser of the levels predicted from
};

QvoStatus checkIntraBlock(const IntraBlock& block) {
    if (block.dstStep < 1) return qvoStatusStep;
    if (anyNull(block.pQPBuf, block.pRowBuf, block.pColumnBuf)) return qvoStatusNullPtr;
    if (block.blockIndex < 0 || block.blockIndex > 9) return qvoStatusBlockIndex;
    if (!isQuantiser(block.QP)) return qvoStatusQuantRange;
    return qvoStatusOk;
}

Qvo32s orNoNeighbour(Qvo32s dc) {
    return dc < 0 ? noNeighbourDC : dc;
}

Qvo32s distance(Qvo32s a, Qvo32s b) {
    return a < b ? b - a : a - b;
}

// Chooses the neighbour with the smaller DC gradient (ISO/IEC 14496-2, 7.4.3.1).
IntraPrediction predictionOf(const IntraBlock& block, bool acPrediction) {
    const Qvo32s left = orNoNeighbour(block.pRowBuf[-8]);
    const Qvo32s above = orNoNeighbour(block.pRowBuf[0]);
    const Qvo32s aboveLeft = orNoNeighbour(block.pColumnBuf[0]);
    const bool vertical = distance(left, aboveLeft) < distance(aboveLeft, above);

    IntraPrediction prediction = {vertical ? above : left, qvoPredictNone, false, block.QP};
    if (!acPrediction) return prediction;
    prediction.direction = vertical ? qvoPredictAbove : qvoPredictLeft;
    prediction.ac = (vertical ? block.pRowBuf[0] : block.pRowBuf[-8]) >= 0;
    // Blocks whose neighbour lies in the same macroblock share its quantiser.
    const Qvo32s b = block.blockIndex;
    if (prediction.ac && vertical && b != 2 && b != 3) prediction.QP = block.pQPBuf[1];
    if (prediction.ac && !vertical && b != 1 && b != 3) prediction.QP = block.pQPBuf[0];
    return prediction;
}

// Keeps a block's DC coefficient for the blocks predicted from it. The row buffer holds the bottom blocks of the
// macroblocks above and, as far as they are decoded, the top blocks of this row; the bottom blocks wait in the column
// buffer. Block 1 therefore exchanges the entries of the macroblock to the left: its bottom DC is what block 2 has on the
// left and the row below above it, its top DC is what block 2 has above and to the left. Block 3's DC stays in the
// column buffer until block 1 of the next macroblock does the same with it.
void storeDC(const IntraBlock& block, Qvo16s dc) {
    Qvo16s* const row = block.pRowBuf;
    Qvo16s* const column = block.pColumnBuf;
    if (block.blockIndex == 3) {
        column[0] = dc;
        return;
    }
    if (block.blockIndex == 1) {
        const Qvo16s kept = column[8];
        column[8] = row[-16];
        row[-16] = kept;
    }
    column[0] = row[0];
    row[0] = dc;
}

// From the levels read to the coefficients: prediction, the neighbours' buffers, inverse quantisation.
void reconstructIntra(const IntraBlock& block, const IntraPrediction& prediction, CoefList& list, const CoefMap& map,
                      Qvo16s* pCoefs) {
    ownvPredictAC_Compact_16s_I(list, map, block.pRowBuf, block.pColumnBuf, block.QP, prediction.QP,
                                prediction.direction, prediction.ac);

    const Qvo32s scaler = dcScaler(block.QP, block.chrominance());
    const Qvo32s dc = clipCoef(quantisedDC(list.level[0], prediction.dc, scaler) * scaler);
    storeDC(block, static_cast<Qvo16s>(dc));

    zeroBlock(pCoefs);
    pCoefs[0] = static_cast<Qvo16s>(dc);
    if (block.pQMatrix != nullptr)
        controlMismatch(pCoefs, dc + ownvQuantInvIntraQ_AC_Compact_16s_I(list, block.QP, block.pQMatrix, pCoefs));
    else
        scatterH263(list, 1, block.QP, pCoefs);
}

void fillBlock(const IntraBlock& block, Qvo8u value) {
    Qvo8u* pDst = block.pDst;
    for (int y = 0; y < 8; ++y, pDst += block.dstStep)
        std::memset(pDst, value, 8);
}

QvoStatus decodeIntra(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const IntraBlock& block, bool dcVLC, bool acPrediction,
                      bool dcOnly) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, block.pDst)) return status;
    if (const QvoStatus status = checkIntraBlock(block)) return status;
    const IntraPrediction prediction = predictionOf(block, acPrediction);
    if (!isQuantiser(prediction.QP)) return qvoStatusQuantRange;

    CoefList list;
    CoefMap map = {};
    list.level[0] = 0;
    list.count = dcVLC || dcOnly;
    if (dcVLC) {
        const QvoStatus status = ownvDecodeIntraDC_1u16s(ppBitStream, pBitOffset, list.level, block.chrominance());
        if (status != qvoStatusOk) return status;
    }
    if (!dcOnly) {
        // Prediction from the left, horizontal, goes with the alternate-vertical scan.
        const Qvo8u* const scan = scanTable(prediction.direction);
        const QvoStatus status = ownvDecodeIntraAC_Compact_1u16s(ppBitStream, pBitOffset, list, scan, map);
        if (status != qvoStatusOk) return status;
    }

    Qvo16s coefs[64];
    reconstructIntra(block, prediction, list, map, coefs);
    if (dcOnly && list.count == 1 && block.pQMatrix == nullptr)
        fillBlock(block, clip8u((coefs[0] + 4) >> 3));
    else
        qvoiDCT8x8Inv_16s8u_C1R(coefs, block.pDst, block.dstStep);
    return qvoStatusOk;
}

}  // namespace

QvoStatus qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDC,
                                               Qvo32s videoComp) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, pDC)) return status;
    return ownvDecodeIntraDC_1u16s(ppBitStream, pBitOffset, pDC, videoComp == qvoVideoChrominance);
}

QvoStatus qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                                     Qvo32s scan, Qvo32s videoComp) {
    if (const QvoStatus status = checkBlock(ppBitStream, pBitOffset, pDst, scan)) return status;
    zeroBlock(pDst);
    QvoStatus status = ownvDecodeIntraDC_1u16s(ppBitStream, pBitOffset, pDst, videoComp == qvoVideoChrominance);
    if (status != qvoStatusOk) return status;
    status = ownvDecodeIntraAC_1u16s(ppBitStream, pBitOffset, pDst, scanTable(scan), 1);
    if (status != qvoStatusOk) zeroBlock(pDst);
    return status;
}

QvoStatus qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst,
                                                     Qvo32s scan) {
    if (const QvoStatus status = checkBlock(ppBitStream, pBitOffset, pDst, scan)) return status;
    zeroBlock(pDst);
    const QvoStatus status = ownvDecodeIntraAC_1u16s(ppBitStream, pBitOffset, pDst, scanTable(scan), 0);
    if (status != qvoStatusOk) zeroBlock(pDst);
    return status;
}

QvoStatus qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst, Qvo32s scan) {
    if (const QvoStatus status = checkBlock(ppBitStream, pBitOffset, pDst, scan)) return status;
    zeroBlock(pDst);
    const QvoStatus status = ownvDecodeInter_1u16s(ppBitStream, pBitOffset, pDst, scanTable(scan));
    if (status != qvoStatusOk) zeroBlock(pDst);
    return status;
}

QvoStatus qvoiDecodeBlockCoef_Inter_MPEG4_1u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo16s* pDst, Qvo32s QP,
                                                const Qvo8u* pQMatrix) {
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset, pDst)) return status;
    if (!isQuantiser(QP)) return qvoStatusQuantRange;

    CoefList list;
    Qvo32s lastPosition = 0;
    const QvoStatus status =
        ownvDecodeInter_Compact_1u16s(ppBitStream, pBitOffset, list, _qvoClassicalZigzag, &lastPosition);
    if (status != qvoStatusOk) return status;

    if (pQMatrix != nullptr) {
        zeroBlock(pDst);
        controlMismatch(pDst, ownvQuantInvInterQ_Compact_16s_I(list, QP, pQMatrix, pDst));
        return qvoiDCT8x8Inv_16s_C1I(pDst);
    }
    if (lastPosition == 0) {
        const Qvo32s coef = clipCoef(QuantH263(QP)(list.level[0]));
        return qvosSet_16s(static_cast<Qvo16s>((coef + 4) >> 3), pDst, 64);
    }
    zeroBlock(pDst);
    scatterH263(list, 0, QP, pDst);
    transformInter(pDst, lastPosition);
    return qvoStatusOk;
}

QvoStatus qvoiDecodeBlockCoef_Intra_MPEG4_1u8u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pDst, Qvo32s dstStep,
                                               Qvo16s* pCoefBufRow, Qvo16s* pCoefBufCol, Qvo32s curQP,
                                               const Qvo8u* pQPBuf, const Qvo8u* pQMatrix, Qvo32s blockIndex,
                                               Qvo32s intraDCVLC, Qvo32s acPredFlag) {
    const IntraBlock block = {pDst, dstStep, pCoefBufRow, pCoefBufCol, curQP & 255, pQPBuf, pQMatrix, blockIndex};
    return decodeIntra(ppBitStream, pBitOffset, block, intraDCVLC != 0, acPredFlag != 0, false);
}

QvoStatus qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo8u* pDst,
                                                     Qvo32s dstStep, Qvo16s* pCoefBufRow, Qvo16s* pCoefBufCol,
                                                     Qvo32s curQP, const Qvo8u* pQPBuf, const Qvo8u* pQMatrix,
                                                     Qvo32s blockIndex, Qvo32s intraDCVLC, Qvo32s acPredFlag) {
    const IntraBlock block = {pDst, dstStep, pCoefBufRow, pCoefBufCol, curQP & 255, pQPBuf, pQMatrix, blockIndex};
    return decodeIntra(ppBitStream, pBitOffset, block, intraDCVLC != 0, acPredFlag != 0, true);
}
