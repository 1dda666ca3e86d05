// AC/DC prediction and inverse quantisation of MPEG-4 blocks.
#include "mpeg4/quant.h"
#include "qvovc/mpeg4.h"

using namespace qvovc;

namespace {

// ---- AC prediction ----

// Scaled predictors are kept in 16 bits. First the first row (stride 1) or column (stride 8) of a raster block.
template <int stride>
void predictAC(Qvo16s* pBlock, const Qvo16s* pPredictor, Qvo32s QP, Qvo32s predQP) {
    for (int i = 1; i < 8; ++i) {
        if (pPredictor[i] == 0) continue;
        Qvo16s& level = pBlock[i * stride];
        level = static_cast<Qvo16s>(clipCoef(level + wrap16(scaledPredictor(pPredictor[i], QP, predQP))));
    }
}

void ownvPredictAC_Vert_16s_I(Qvo16s* pBlock, const Qvo16s* pPredictor, Qvo32s QP, Qvo32s predQP) {
    predictAC<1>(pBlock, pPredictor, QP, predQP);
}

void ownvPredictAC_Horz_16s_I(Qvo16s* pBlock, const Qvo16s* pPredictor, Qvo32s QP, Qvo32s predQP) {
    predictAC<8>(pBlock, pPredictor, QP, predQP);
}

// The same for a list. The buffer's predictors give way to the resulting levels.
template <int stride>
void predictACCompact(CoefList& list, const CoefMap& map, Qvo16s* pBuffer, Qvo32s QP, Qvo32s predQP) {
    for (int i = 1; i < 8; ++i) {
        const Qvo32s predictor = wrap16(scaledPredictor(pBuffer[i], QP, predQP));
        Qvo32s entry = map[i * stride];
        if (pBuffer[i] != 0) {
            if (entry != 0) {
                list.level[entry] = static_cast<Qvo16s>(clipCoef(list.level[entry] + predictor));
            } else {
                entry = list.count++;
                list.index[entry] = static_cast<Qvo8u>(i * stride);
                // A predictor that needs no scaling is taken as it is, without the clip.
                list.level[entry] = static_cast<Qvo16s>(QP == predQP ? predictor : clipCoef(predictor));
            }
        }
        pBuffer[i] = list.level[entry];
    }
}

void predictAC_VertCompact_16s_I(CoefList& list, const CoefMap& map, Qvo16s* pRowBuf, Qvo32s QP, Qvo32s predQP) {
    predictACCompact<1>(list, map, pRowBuf, QP, predQP);
}

void predictAC_HorzCompact_16s_I(CoefList& list, const CoefMap& map, Qvo16s* pColumnBuf, Qvo32s QP, Qvo32s predQP) {
    predictACCompact<8>(list, map, pColumnBuf, QP, predQP);
}

template <int stride>
void copyLevels(const CoefList& list, const CoefMap& map, Qvo16s* pBuffer) {
    for (int i = 1; i < 8; ++i)
        pBuffer[i] = list.level[map[i * stride]];
}

// ---- inverse quantisation ----

// Quantises a block inversely and clips. Returns the sum of the results.
template <class Rule>
Qvo32s quantInv(Qvo16s* pBlock, Qvo32s minimum, Qvo32s maximum, Rule rule) {
    Qvo32s sum = 0;
    for (int i = 0; i < 64; ++i) {
        const Qvo32s coef = clamp(rule(pBlock[i], i), minimum, maximum);
        pBlock[i] = static_cast<Qvo16s>(coef);
        sum += coef;
    }
    return sum;
}

// The same for the AC coefficients of an intra block, whose scaled DC takes its place and counts for the sum.
template <class Rule>
Qvo32s quantInvAC(Qvo16s* pBlock, Qvo16s dc, Qvo32s minimum, Qvo32s maximum, Rule rule) {
    const Qvo32s sum = quantInv(pBlock, minimum, maximum, rule) - pBlock[0] + dc;
    pBlock[0] = dc;
    return sum;
}

// The method of H.263. An intra DC is put in its place afterwards.
void ownvQuantInv_16s_I(Qvo16s* pBlock, Qvo32s QP, Qvo32s minimum, Qvo32s maximum) {
    quantInv(pBlock, minimum, maximum, [rule = QuantH263(QP)](Qvo16s level, int) { return rule(level); });
}

// The matrix method with mismatch control, for intra and inter blocks.
void ownvQuantInvIntraQ_AC_16s_I(Qvo16s* pBlock, Qvo16s dc, Qvo32s QP, Qvo32s minimum, Qvo32s maximum,
                                 const Qvo8u* pQMatrix) {
    controlMismatch(pBlock, quantInvAC(pBlock, dc, minimum, maximum,
                                       [=](Qvo16s level, int i) { return intraByMatrix(level, QP, pQMatrix[i]); }));
}

void ownvQuantInvInterQ_16s_I(Qvo16s* pBlock, Qvo32s QP, Qvo32s minimum, Qvo32s maximum, const Qvo8u* pQMatrix) {
    controlMismatch(pBlock, quantInv(pBlock, minimum, maximum,
                                     [=](Qvo16s level, int i) { return interByMatrix(level, QP, pQMatrix[i]); }));
}

bool isFlag(Qvo32s v) {
    return v == 0 || v == 1;
}

bool isPrecision(Qvo32s bitsPerPixel) {
    return bitsPerPixel >= 4 && bitsPerPixel <= 12;
}

// The largest coefficient; the smallest is -(that) - 1.
Qvo32s coefLimit(Qvo32s bitsPerPixel) {
    return (1 << (bitsPerPixel + 3)) - 1;
}

Qvo16s scaledDC(const Qvo16s* pBlock, Qvo32s scaler, Qvo32s maximum) {
    return static_cast<Qvo16s>(clamp(pBlock[0] * scaler, -maximum - 1, maximum));
}

}  // namespace

namespace qvovc {

void ownvPredictAC_Compact_16s_I(CoefList& list, const CoefMap& map, Qvo16s* pRowBuf, Qvo16s* pColumnBuf, Qvo32s QP,
                                 Qvo32s predQP, Qvo32s direction, bool acPrediction) {
    // While the DC entry is 0, a coefficient that is not in the list (map entry 0) reads as 0.
    const Qvo16s dc = list.level[0];
    list.level[0] = 0;
    if (acPrediction && direction == qvoPredictLeft) {
        copyLevels<1>(list, map, pRowBuf);
        predictAC_HorzCompact_16s_I(list, map, pColumnBuf, QP, predQP);
    } else if (acPrediction && direction == qvoPredictAbove) {
        predictAC_VertCompact_16s_I(list, map, pRowBuf, QP, predQP);
        copyLevels<8>(list, map, pColumnBuf);
    } else {
        copyLevels<1>(list, map, pRowBuf);
        copyLevels<8>(list, map, pColumnBuf);
    }
    list.level[0] = dc;
}

}  // namespace qvovc

QvoStatus qvoiPredictReconCoefIntra_MPEG4_16s(Qvo16s* pSrcDst, Qvo16s* pPredBufRow, Qvo16s* pPredBufCol, Qvo32s curQP,
                                              Qvo32s predQP, Qvo32s predDir, Qvo32s acPredFlag, Qvo32s videoComp) {
    if (anyNull(pSrcDst, pPredBufRow, pPredBufCol)) return qvoStatusNullPtr;
    if (!isQuantiser(curQP) || !isQuantiser(predQP)) return qvoStatusQuantRange;
    if (predDir < qvoPredictNone || predDir > qvoPredictAbove) return qvoStatusScanType;

    Qvo32s predictor = predDir == qvoPredictAbove  ? pPredBufRow[0]
                       : predDir == qvoPredictLeft ? pPredBufRow[-8]
                                                   : noNeighbourDC;
    if (predictor < 0) predictor = noNeighbourDC;
    const Qvo32s scaler = dcScaler(curQP, videoComp == qvoVideoChrominance);
    pSrcDst[0] = static_cast<Qvo16s>(quantisedDC(pSrcDst[0], predictor, scaler));

    if (acPredFlag != 0) {
        if (predDir == qvoPredictAbove) ownvPredictAC_Vert_16s_I(pSrcDst, pPredBufRow, curQP, predQP);
        if (predDir == qvoPredictLeft) ownvPredictAC_Horz_16s_I(pSrcDst, pPredBufCol, curQP, predQP);
    }
    for (int i = 1; i < 8; ++i) {
        pPredBufRow[i] = pSrcDst[i];
        pPredBufCol[i] = pSrcDst[8 * i];
    }
    return qvoStatusOk;
}

QvoStatus qvoiQuantInvIntra_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo8u* pQMatrix, Qvo32s videoComp) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    if (!isQuantiser(QP)) return qvoStatusQuantRange;

    const Qvo16s dc = scaledDC(pSrcDst, dcScaler(QP, videoComp == qvoVideoChrominance), maxCoef);
    if (pQMatrix != nullptr) {
        ownvQuantInvIntraQ_AC_16s_I(pSrcDst, dc, QP, minCoef, maxCoef, pQMatrix);
    } else {
        ownvQuantInv_16s_I(pSrcDst, QP, minCoef, maxCoef);
        pSrcDst[0] = dc;
    }
    return qvoStatusOk;
}

QvoStatus qvoiQuantInvInter_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo8u* pQMatrix) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    if (!isQuantiser(QP)) return qvoStatusQuantRange;

    if (pQMatrix != nullptr)
        ownvQuantInvInterQ_16s_I(pSrcDst, QP, minCoef, maxCoef, pQMatrix);
    else
        ownvQuantInv_16s_I(pSrcDst, QP, minCoef, maxCoef);
    return qvoStatusOk;
}

QvoStatus qvoiQuantInvIntraFirst_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo8u* pQMatrix, Qvo32s dcScalerFlag,
                                             Qvo32s videoComp, Qvo32s bitsPerPixel) {
    if (anyNull(pSrcDst, pQMatrix)) return qvoStatusNullPtr;
    if (!isQuantiser(QP)) return qvoStatusQuantRange;
    if (!isPrecision(bitsPerPixel)) return qvoStatusQuantPrecision;
    if (!isFlag(dcScalerFlag)) return qvoStatusQuantBitsFlag;

    const Qvo32s limit = coefLimit(bitsPerPixel);
    const Qvo16s dc = scaledDC(pSrcDst, dcScaler(dcScalerFlag * QP, videoComp == qvoVideoChrominance), limit);
    ownvQuantInvIntraQ_AC_16s_I(pSrcDst, dc, QP, -limit - 1, limit, pQMatrix);
    return qvoStatusOk;
}

QvoStatus qvoiQuantInvIntraSecond_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, Qvo32s dcScalerFlag, Qvo32s videoComp,
                                              Qvo32s bitsPerPixel) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    if (!isQuantiser(QP)) return qvoStatusQuantRange;
    if (!isFlag(dcScalerFlag)) return qvoStatusQuantBitsFlag;
    if (!isFlag(videoComp)) return qvoStatusAcPredFlag;
    if (!isPrecision(bitsPerPixel)) return qvoStatusQuantPrecision;

    const Qvo32s limit = coefLimit(bitsPerPixel);
    const Qvo16s dc = scaledDC(pSrcDst, dcScaler(dcScalerFlag * QP, videoComp == qvoVideoChrominance), limit);
    ownvQuantInv_16s_I(pSrcDst, QP, -limit - 1, limit);
    pSrcDst[0] = dc;
    return qvoStatusOk;
}

QvoStatus qvoiQuantInvInterFirst_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo8u* pQMatrix, Qvo32s bitsPerPixel) {
    if (anyNull(pSrcDst, pQMatrix)) return qvoStatusNullPtr;
    if (!isQuantiser(QP)) return qvoStatusQuantRange;
    if (!isPrecision(bitsPerPixel)) return qvoStatusQuantPrecision;

    const Qvo32s limit = coefLimit(bitsPerPixel);
    ownvQuantInvInterQ_16s_I(pSrcDst, QP, -limit - 1, limit, pQMatrix);
    return qvoStatusOk;
}

QvoStatus qvoiQuantInvInterSecond_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo32s QP, Qvo32s bitsPerPixel) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    if (!isQuantiser(QP)) return qvoStatusQuantRange;
    if (!isPrecision(bitsPerPixel)) return qvoStatusQuantPrecision;

    const Qvo32s limit = coefLimit(bitsPerPixel);
    ownvQuantInv_16s_I(pSrcDst, QP, -limit - 1, limit);
    return qvoStatusOk;
}

QvoStatus qvoiQuantInvIntra_MPEG4_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo16s* pQMatrix) {
    if (anyNull(pSrcDst, pQMatrix)) return qvoStatusNullPtr;

    const Qvo32s sum = quantInvAC(pSrcDst, pSrcDst[0], minCoef, maxCoef, [=](Qvo16s level, int i) -> Qvo32s {
        return wrap16(pQMatrix[i] * level * 2 * QP / 16);
    });
    controlMismatch(pSrcDst, sum);
    return qvoStatusOk;
}

QvoStatus qvoiQuantInv_MPEG4_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const Qvo16s* pQMatrix) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;

    Qvo32s sum;
    if (pQMatrix != nullptr)
        sum = quantInv(pSrcDst, minCoef, maxCoef, [=](Qvo16s level, int i) -> Qvo32s {
            return wrap16(pQMatrix[i] * QP * (2 * level + sign(level)) / 16);
        });
    else
        sum = quantInv(pSrcDst, minCoef, maxCoef,
                       [=](Qvo16s level, int) -> Qvo32s { return wrap16(QP * (2 * level + sign(level))); });
    controlMismatch(pSrcDst, sum);
    return qvoStatusOk;
}
