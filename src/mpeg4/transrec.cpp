// Transform-reconstruct of MPEG-4 blocks: what an encoder sends and what a decoder will make of it, in one call.
#include <cstring>

#include "core/arith.h"
#include "mpeg4/quant.h"
#include "mpeg4/quant_fwd.h"
#include "qvovc/mpeg4.h"
#include "qvovc/transform.h"

using namespace qvovc;

namespace {

template <class... T>
bool anyMisaligned8(const T*... p) {
    return (... || ((reinterpret_cast<std::uintptr_t>(p) & 7) != 0));
}

bool isStep(Qvo32s step) {
    return step >= 8 && step % 8 == 0;
}

Qvo32s magnitude(Qvo32s v) {
    return v < 0 ? -v : v;
}

// ---- inverse quantisation ----

// Levels `first` to 63 become coefficients. Returns their sum. The rule gives the magnitude for that of a level.
template <class Rule>
Qvo32s reconstructLevels(const Qvo16s* pLevels, Qvo32s first, Qvo16s* pCoefs, Rule rule) {
    Qvo32s sum = 0;
    for (Qvo32s i = first; i < 64; ++i) {
        const Qvo32s coef = pLevels[i] == 0 ? 0 : clipCoef(rule(magnitude(pLevels[i]), i) * sign(pLevels[i]));
        pCoefs[i] = static_cast<Qvo16s>(coef);
        sum += coef;
    }
    return sum;
}

void reconstructH263(const Qvo16s* pLevels, Qvo32s first, Qvo16s* pCoefs, Qvo32s QP) {
    const QuantH263 rule(QP);
    for (Qvo32s i = first; i < 64; ++i)
        pCoefs[i] = static_cast<Qvo16s>(clipCoef(rule(pLevels[i])));
}

void reconstructInter(const Qvo16s* pLevels, Qvo16s* pCoefs, Qvo32s QP, const Qvo32s* pQMatrix) {
    if (pQMatrix == nullptr) return reconstructH263(pLevels, 0, pCoefs, QP);
    const Qvo32s sum = reconstructLevels(
        pLevels, 0, pCoefs, [=](Qvo32s level, Qvo32s i) { return (2 * level + 1) * QP * pQMatrix[i] >> 4; });
    controlMismatch(pCoefs, sum);
}

void reconstructIntra(const Qvo16s* pLevels, Qvo16s* pCoefs, Qvo32s QP, Qvo32s scaler, const Qvo32s* pQMatrix) {
    const Qvo32s dc = clipCoef(pLevels[0] * scaler);
    pCoefs[0] = static_cast<Qvo16s>(dc);
    if (pQMatrix == nullptr) return reconstructH263(pLevels, 1, pCoefs, QP);
    const Qvo32s sum =
        reconstructLevels(pLevels, 1, pCoefs, [=](Qvo32s level, Qvo32s i) { return QP * level * pQMatrix[i] >> 3; });
    controlMismatch(pCoefs, dc + sum);
}

// ---- AC prediction ----

// The neighbour that a block is predicted from.
struct Neighbour {
    bool above;
    const Qvo16s* pValues;  // DC coefficient and seven levels
    Qvo32s QP;

    bool available() const { return pValues[0] >= 0; }
};

Qvo32s orNoNeighbour(Qvo32s dc) {
    return dc < 0 ? noNeighbourDC : dc;
}

Neighbour chooseNeighbour(const Qvo16s* pPredAbove, const Qvo16s* pPredLeft, Qvo32s blockIndex, Qvo32s QP,
                          const Qvo8u* pQPBuf) {
    // Above block 3 lies block 1, the last one whose values the left buffer took.
    const Qvo16s* const pAbove = blockIndex == 3 ? pPredLeft - 8 : pPredAbove;
    const Qvo32s left = orNoNeighbour(pPredLeft[0]);
    const Qvo32s aboveLeft = orNoNeighbour(pPredAbove[-8]);
    const Qvo32s above = orNoNeighbour(pAbove[0]);

    Neighbour neighbour = {magnitude(left - aboveLeft) < magnitude(aboveLeft - above), nullptr, QP};
    neighbour.pValues = neighbour.above ? pAbove : pPredLeft;
    // A neighbour in the same macroblock shares its quantiser.
    const bool outside = neighbour.above ? blockIndex != 2 && blockIndex != 3 : blockIndex != 1 && blockIndex != 3;
    if (outside && neighbour.available()) neighbour.QP = pQPBuf[neighbour.above];
    return neighbour;
}

// The differences of the first row or column and their gain. False: one of them is too large, the macroblock has to do
// without AC prediction.
bool predictAC(const Qvo16s* pLevels, const Neighbour& neighbour, Qvo32s QP, Qvo16s* pDifferences, Qvo32s* pGain) {
    const Qvo32s stride = neighbour.above ? 1 : 8;
    for (Qvo32s i = 1; i < 8; ++i) {
        const Qvo32s level = pLevels[i * stride];
        const Qvo32s difference = level - scaledPredictor(neighbour.pValues[i], QP, neighbour.QP);
        if (difference < -127 || difference > 127) {
            *pGain = qvoACPredictionOff;
            return false;
        }
        pDifferences[i] = static_cast<Qvo16s>(difference);
        *pGain += magnitude(level) - magnitude(difference);
    }
    return true;
}

}  // namespace

QvoStatus qvoiTransRecBlockCoef_inter_MPEG4(const Qvo16s* pSrc, Qvo16s* pDst, Qvo16s* pRec, Qvo8u QP,
                                            const Qvo32s* pQMatrix) {
    if (anyNull(pSrc, pDst, pRec) || anyMisaligned8(pSrc, pDst, pRec) || !isQuantiser(QP) ||
        !isRecordOrNull(pQMatrix))
        return qvoStatusBadArg;
    alignas(8) Qvo16s block[64];
    qvoiDCT8x8Fwd_16s_C1(pSrc, block);
    quantiseInter(block, QP, pQMatrix);
    std::memcpy(pDst, block, sizeof block);
    reconstructInter(pDst, block, QP, pQMatrix);
    return qvoiDCT8x8Inv_16s_C1(block, pRec);
}

QvoStatus qvoiTransRecBlockCoef_intra_MPEG4(const Qvo8u* pSrc, Qvo16s* pDst, Qvo8u* pRec, const Qvo16s* pPredAbove,
                                            const Qvo16s* pPredLeft, Qvo16s* pACPred, Qvo32s* pACGain,
                                            Qvo32s blockIndex, Qvo8u QP, const Qvo8u* pQPBuf, Qvo32s srcStep,
                                            Qvo32s recStep, const Qvo32s* pQMatrix) {
    if (anyNull(pSrc, pDst, pRec) || anyNull(pPredAbove, pPredLeft, pACPred, pACGain, pQPBuf) ||
        anyMisaligned8(pSrc, pDst, pRec) || blockIndex < 0 || blockIndex > 9 || !isQuantiser(QP) ||
        !isStep(srcStep) || !isStep(recStep) || !isRecordOrNull(pQMatrix))
        return qvoStatusBadArg;
    // All blocks behind the luminance ones have the scaler of chrominance here.
    const Qvo32s scaler = dcScaler(QP, blockIndex > 3);
    alignas(8) Qvo16s block[64];
    qvoiDCT8x8Fwd_8u16s_C1R(pSrc, srcStep, block);
    quantiseIntra(block, QP, scaler, pQMatrix);
    std::memcpy(pDst, block, sizeof block);

    const Neighbour neighbour = chooseNeighbour(pPredAbove, pPredLeft, blockIndex, QP, pQPBuf);
    const bool predicted =
        *pACGain != qvoACPredictionOff && neighbour.available() && predictAC(pDst, neighbour, QP, pACPred, pACGain);
    if (neighbour.above)
        pACPred[0] = predicted ? qvoTransRecAboveAC : qvoTransRecAbove;
    else
        pACPred[0] = predicted ? qvoTransRecLeftAC : qvoTransRecLeft;

    reconstructIntra(pDst, block, QP, scaler, pQMatrix);
    return qvoiDCT8x8Inv_16s8u_C1R(block, pRec, recStep);
}
