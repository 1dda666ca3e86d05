// Differences between a block and its prediction, the mirror of motion compensation.
#include "mpeg2/prediction.h"
#include "mpeg2/sums.h"

namespace qvovc {
namespace {

// The paths for a rounding control other than 0 and 1: the predictions may be any 32-bit numbers, and what is stored
// are the low 16 bits.
void differenceAnyRounding(int width, int height, const Qvo8u* pCur, Qvo32s curStep, const Qvo8u* pRef,
                           Qvo32s refStep, Qvo16s* pDiff, Qvo32s diffStep, Qvo16s* pPred, Qvo32s predStep,
                           Qvo32s mcType, Qvo32s roundControl) {
    Qvo32s block[maxBlock];
    predictAnyRounding(width, height, plain, pRef, refStep, mcType, roundControl, block);
    const Qvo32s* p = block;
    for (int y = 0; y < height; ++y, p += width) {
        for (int x = 0; x < width; ++x) {
            pDiff[x] = wrap16(pCur[x] - p[x]);
            if (pPred != nullptr) pPred[x] = wrap16(p[x]);
        }
        pCur += curStep;
        pDiff = stepBytes(pDiff, diffStep);
        if (pPred != nullptr) pPred = stepBytes(pPred, predStep);
    }
}

void differenceBothAnyRounding(int width, int height, const Qvo8u* pCur, Qvo32s curStep, const Qvo8u* pRefF,
                               Qvo32s refStepF, Qvo32s mcTypeF, const Qvo8u* pRefB, Qvo32s refStepB, Qvo32s mcTypeB,
                               Qvo16s* pDiff, Qvo32s diffStep, Qvo32s roundControl) {
    Qvo32s block[maxBlock];
    predictBothAnyRounding(width, height, plain, pRefF, refStepF, mcTypeF, pRefB, refStepB, mcTypeB, roundControl,
                           block);
    const Qvo32s* p = block;
    for (int y = 0; y < height; ++y, p += width) {
        for (int x = 0; x < width; ++x)
            pDiff[x] = wrap16((2 * pCur[x] - p[x]) >> 1);
        pCur += curStep;
        pDiff = stepBytes(pDiff, diffStep);
    }
}

// The differences of a block from contiguous predicted samples, contiguous too.
template <int W, int H>
[[gnu::always_inline]] inline void subtract(const Qvo8u* pCur, Qvo32s curStep, const Qvo8u* p, Qvo16s* diff) {
    Qvo8u cur[W * H];
    gather<W, H>(pCur, curStep, cur);
    for (int i = 0; i < W * H; ++i)
        diff[i] = static_cast<Qvo16s>(cur[i] - p[i]);
}

template <int W, int H>
struct Difference {
    using Kernel = void(const Qvo8u*, Qvo32s, const Qvo8u*, Qvo32s, Qvo16s*, Qvo32s);
    template <Kind kind, int rounding>
    static void run(const Qvo8u* pCur, Qvo32s curStep, const Qvo8u* pRef, Qvo32s refStep, Qvo16s* pDiff,
                    Qvo32s diffStep) {
        Qvo8u p[W * H];
        Qvo16s diff[W * H];
        predictBlock<W, H, plain, kind, rounding>(pRef, refStep, p);
        subtract<W, H>(pCur, curStep, p, diff);
        scatter<W, H>(diff, pDiff, diffStep);
    }
};

template <int W, int H>
QvoStatus difference(const Qvo8u* pCur, Qvo32s curStep, const Qvo8u* pRef, Qvo32s refStep, Qvo16s* pDiff,
                     Qvo32s diffStep, Qvo16s* pPred, Qvo32s predStep, Qvo32s mcType, Qvo32s roundControl) {
    if (anyNull(pCur, pRef, pDiff)) return qvoStatusNullPtr;
    if (!isOrdinaryRounding(roundControl)) {
        differenceAnyRounding(W, H, pCur, curStep, pRef, refStep, pDiff, diffStep, pPred, predStep, mcType,
                              roundControl);
        return qvoStatusOk;
    }
    kernelFor<Difference<W, H>>(mcType, roundControl)(pCur, curStep, pRef, refStep, pDiff, diffStep);
    if (pPred != nullptr) {
        Qvo8u p[W * H];
        Qvo16s block[W * H];
        predict<W, H, plain>(pRef, refStep, mcType, roundControl, p);
        for (int i = 0; i < W * H; ++i)
            block[i] = p[i];
        scatter<W, H>(block, pPred, predStep);
    }
    return qvoStatusOk;
}

template <int W, int H>
QvoStatus differenceBoth(const Qvo8u* pCur, Qvo32s curStep, const Qvo8u* pRefF, Qvo32s refStepF, Qvo32s mcTypeF,
                         const Qvo8u* pRefB, Qvo32s refStepB, Qvo32s mcTypeB, Qvo16s* pDiff, Qvo32s diffStep,
                         Qvo32s roundControl) {
    if (anyNull(pCur, pRefF, pRefB, pDiff)) return qvoStatusNullPtr;
    if (!isOrdinaryRounding(roundControl)) {
        differenceBothAnyRounding(W, H, pCur, curStep, pRefF, refStepF, mcTypeF, pRefB, refStepB, mcTypeB, pDiff,
                                  diffStep, roundControl);
        return qvoStatusOk;
    }
    Qvo8u p[W * H];
    Qvo16s block[W * H];
    predictBoth<W, H, plain>(pRefF, refStepF, mcTypeF, pRefB, refStepB, mcTypeB, roundControl, p);
    subtract<W, H>(pCur, curStep, p, block);
    scatter<W, H>(block, pDiff, diffStep);
    return qvoStatusOk;
}

// Per 4x4 block the sum of source minus prediction.
template <int W, int H>
QvoStatus sumsOfDifferences(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pPred, Qvo32s predStep, Qvo16s* pSums,
                            Qvo16s* pDiff) {
    if (anyNull(pSrc, pPred, pSums)) return qvoStatusNullPtr;
    Qvo8u p[W * H];
    Qvo16s diff[W * H];
    gather<W, H>(pPred, predStep, p);
    subtract<W, H>(pSrc, srcStep, p, diff);
    sumBlocks4x4<W, H>(diff, pSums);
    if (pDiff != nullptr) std::memcpy(pDiff, diff, sizeof(diff));
    return qvoStatusOk;
}

}  // namespace
}  // namespace qvovc

using namespace qvovc;

#define DIFFERENCE(name, width, height)                                                                             \
    QvoStatus name(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRef, Qvo32s srcRefStep,                \
                   Qvo16s* pDstDiff, Qvo32s dstDiffStep, Qvo16s* pDstPred, Qvo32s dstPredStep, Qvo32s mcType,       \
                   Qvo32s roundControl) {                                                                           \
        return difference<width, height>(pSrcCur, srcCurStep, pSrcRef, srcRefStep, pDstDiff, dstDiffStep, pDstPred, \
                                         dstPredStep, mcType, roundControl);                                        \
    }
#define DIFFERENCE_BOTH(name, width, height)                                                                    \
    QvoStatus name(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcRefF, Qvo32s srcRefStepF,          \
                   Qvo32s mcTypeF, const Qvo8u* pSrcRefB, Qvo32s srcRefStepB, Qvo32s mcTypeB, Qvo16s* pDstDiff, \
                   Qvo32s dstDiffStep, Qvo32s roundControl) {                                                   \
        return differenceBoth<width, height>(pSrcCur, srcCurStep, pSrcRefF, srcRefStepF, mcTypeF, pSrcRefB,     \
                                             srcRefStepB, mcTypeB, pDstDiff, dstDiffStep, roundControl);        \
    }

DIFFERENCE(qvoiGetDiff16x16_8u16s_C1, 16, 16)
DIFFERENCE(qvoiGetDiff16x8_8u16s_C1, 16, 8)
DIFFERENCE(qvoiGetDiff8x16_8u16s_C1, 8, 16)
DIFFERENCE(qvoiGetDiff8x8_8u16s_C1, 8, 8)
DIFFERENCE(qvoiGetDiff8x4_8u16s_C1, 8, 4)

DIFFERENCE_BOTH(qvoiGetDiff16x16B_8u16s_C1, 16, 16)
DIFFERENCE_BOTH(qvoiGetDiff16x8B_8u16s_C1, 16, 8)
DIFFERENCE_BOTH(qvoiGetDiff8x16B_8u16s_C1, 8, 16)
DIFFERENCE_BOTH(qvoiGetDiff8x8B_8u16s_C1, 8, 8)
DIFFERENCE_BOTH(qvoiGetDiff8x4B_8u16s_C1, 8, 4)

QvoStatus qvoiGetDiff4x4_8u16s_C1(const Qvo8u* pSrcCur, Qvo32s srcCurStep, const Qvo8u* pSrcPred, Qvo32s srcPredStep,
                                  Qvo16s* pDstDiff, Qvo32s dstDiffStep) {
    if (anyNull(pSrcCur, pSrcPred, pDstDiff)) return qvoStatusNullPtr;
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 4; ++x)
            pDstDiff[x] = static_cast<Qvo16s>(pSrcCur[x] - pSrcPred[x]);
        pSrcCur += srcCurStep;
        pSrcPred += srcPredStep;
        pDstDiff += dstDiffStep;
    }
    return qvoStatusOk;
}

QvoStatus qvoiSumsDiff16x16Blocks4x4_8u16s_C1(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pPred, Qvo32s predStep,
                                              Qvo16s* pSums, Qvo16s* pDiff) {
    return sumsOfDifferences<16, 16>(pSrc, srcStep, pPred, predStep, pSums, pDiff);
}

QvoStatus qvoiSumsDiff8x8Blocks4x4_8u16s_C1(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pPred, Qvo32s predStep,
                                            Qvo16s* pSums, Qvo16s* pDiff) {
    return sumsOfDifferences<8, 8>(pSrc, srcStep, pPred, predStep, pSums, pDiff);
}

QvoStatus qvoiComputeTextureErrorBlock_8u16s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pPred, Qvo16s* pDiff) {
    if (anyNull(pSrc, pPred, pDiff)) return qvoStatusBadArg;
    Qvo16s diff[64];
    subtract<8, 8>(pSrc, srcStep, pPred, diff);
    std::memcpy(pDiff, diff, sizeof(diff));
    return qvoStatusOk;
}

QvoStatus qvoiComputeTextureErrorBlock_SAD_8u16s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pPred, Qvo16s* pDiff,
                                                 Qvo32s* pSAD) {
    if (anyNull(pSrc, pPred, pDiff, pSAD)) return qvoStatusBadArg;
    Qvo16s diff[64];
    subtract<8, 8>(pSrc, srcStep, pPred, diff);
    Qvo32s sad = 0;
    for (const Qvo16s d : diff)
        sad += std::abs(d);
    std::memcpy(pDiff, diff, sizeof(diff));
    *pSAD = sad;
    return qvoStatusOk;
}
