// Half-pel motion compensation with residual: one operation per block size, for one reference and for two.
#include "mpeg2/prediction.h"

namespace qvovc {
namespace {

// Adds a residual to predicted samples and saturates. A residual beyond +-255 saturates whatever the prediction is,
// so that limiting it first keeps the sum within 16 bits and the result the same.
template <int W, int H>
[[gnu::always_inline]] inline void addResidual(const Qvo8u* p, const Qvo16s* pResidual, Qvo32s residualStep,
                                               Qvo8u* pDst, Qvo32s dstStep) {
    Qvo16s residual[W * H];
    Qvo8u sum[W * H];
    gather<W, H>(pResidual, residualStep, residual);
    for (int i = 0; i < W * H; ++i)
        sum[i] = clip8u(p[i] + clamp(residual[i], -255, 255));
    scatter<W, H>(sum, pDst, dstStep);
}

// The paths for a rounding control other than 0 and 1: the predictions may be any 32-bit numbers.
void compensateAnyRounding(int width, int height, int neighbour, const Qvo8u* pRef, Qvo32s refStep,
                           const Qvo16s* pResidual, Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType,
                           Qvo32s roundControl) {
    Qvo32s block[maxBlock];
    predictAnyRounding(width, height, neighbour, pRef, refStep, mcType, roundControl, block);
    const Qvo32s* p = block;
    for (int y = 0; y < height; ++y, p += width) {
        for (int x = 0; x < width; ++x)
            pDst[x] = clip8u(p[x] + pResidual[x]);
        pResidual = stepBytes(pResidual, residualStep);
        pDst += dstStep;
    }
}

void compensateBothAnyRounding(int width, int height, int neighbour, const Qvo8u* pRefF, Qvo32s refStepF,
                               Qvo32s mcTypeF, const Qvo8u* pRefB, Qvo32s refStepB, Qvo32s mcTypeB,
                               const Qvo16s* pResidual, Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep,
                               Qvo32s roundControl) {
    Qvo32s block[maxBlock];
    predictBothAnyRounding(width, height, neighbour, pRefF, refStepF, mcTypeF, pRefB, refStepB, mcTypeB, roundControl,
                           block);
    const Qvo32s* p = block;
    for (int y = 0; y < height; ++y, p += width) {
        for (int x = 0; x < width; ++x)
            pDst[x] = clip8u((p[x] + 2 * pResidual[x] + 1) >> 1);
        pResidual = stepBytes(pResidual, residualStep);
        pDst += dstStep;
    }
}

template <int W, int H, int neighbour>
struct Compensate {
    using Kernel = void(const Qvo8u*, Qvo32s, const Qvo16s*, Qvo32s, Qvo8u*, Qvo32s);
    template <Kind kind, int rounding>
    static void run(const Qvo8u* pRef, Qvo32s refStep, const Qvo16s* pResidual, Qvo32s residualStep, Qvo8u* pDst,
                    Qvo32s dstStep) {
        Qvo8u p[W * H];
        predictBlock<W, H, neighbour, kind, rounding>(pRef, refStep, p);
        addResidual<W, H>(p, pResidual, residualStep, pDst, dstStep);
    }
};

template <int W, int H, int neighbour>
QvoStatus compensate(const Qvo8u* pRef, Qvo32s refStep, const Qvo16s* pResidual, Qvo32s residualStep, Qvo8u* pDst,
                     Qvo32s dstStep, Qvo32s mcType, Qvo32s roundControl) {
    if (anyNull(pRef, pResidual, pDst)) return qvoStatusNullPtr;
    if (!isOrdinaryRounding(roundControl)) {
        compensateAnyRounding(W, H, neighbour, pRef, refStep, pResidual, residualStep, pDst, dstStep, mcType,
                              roundControl);
        return qvoStatusOk;
    }
    kernelFor<Compensate<W, H, neighbour>>(mcType, roundControl)(pRef, refStep, pResidual, residualStep, pDst,
                                                                 dstStep);
    return qvoStatusOk;
}

template <int W, int H, int neighbour>
QvoStatus compensateBoth(const Qvo8u* pRefF, Qvo32s refStepF, Qvo32s mcTypeF, const Qvo8u* pRefB, Qvo32s refStepB,
                         Qvo32s mcTypeB, const Qvo16s* pResidual, Qvo32s residualStep, Qvo8u* pDst, Qvo32s dstStep,
                         Qvo32s roundControl) {
    if (anyNull(pRefF, pRefB, pResidual, pDst)) return qvoStatusNullPtr;
    if (!isOrdinaryRounding(roundControl)) {
        compensateBothAnyRounding(W, H, neighbour, pRefF, refStepF, mcTypeF, pRefB, refStepB, mcTypeB, pResidual,
                                  residualStep, pDst, dstStep, roundControl);
        return qvoStatusOk;
    }
    Qvo8u p[W * H];
    predictBoth<W, H, neighbour>(pRefF, refStepF, mcTypeF, pRefB, refStepB, mcTypeB, roundControl, p);
    addResidual<W, H>(p, pResidual, residualStep, pDst, dstStep);
    return qvoStatusOk;
}

}  // namespace
}  // namespace qvovc

using namespace qvovc;

#define COMPENSATE(name, width, height, neighbour)                                                                  \
    QvoStatus name(const Qvo8u* pSrcRef, Qvo32s srcRefStep, const Qvo16s* pSrcResidual, Qvo32s residualStep,        \
                   Qvo8u* pDst, Qvo32s dstStep, Qvo32s mcType, Qvo32s roundControl) {                               \
        return compensate<width, height, neighbour>(pSrcRef, srcRefStep, pSrcResidual, residualStep, pDst, dstStep, \
                                                    mcType, roundControl);                                          \
    }
#define COMPENSATE_BOTH(name, width, height, neighbour)                                                              \
    QvoStatus name(const Qvo8u* pSrcRefF, Qvo32s srcRefStepF, Qvo32s mcTypeF, const Qvo8u* pSrcRefB,                 \
                   Qvo32s srcRefStepB, Qvo32s mcTypeB, const Qvo16s* pSrcResidual, Qvo32s residualStep, Qvo8u* pDst, \
                   Qvo32s dstStep, Qvo32s roundControl) {                                                            \
        return compensateBoth<width, height, neighbour>(pSrcRefF, srcRefStepF, mcTypeF, pSrcRefB, srcRefStepB,       \
                                                        mcTypeB, pSrcResidual, residualStep, pDst, dstStep,          \
                                                        roundControl);                                               \
    }

COMPENSATE(qvoiMC16x16_8u_C1, 16, 16, plain)
COMPENSATE(qvoiMC16x8_8u_C1, 16, 8, plain)
COMPENSATE(qvoiMC16x8UV_8u_C1, 16, 8, interleaved)
COMPENSATE(qvoiMC16x4_8u_C1, 16, 4, interleaved)
COMPENSATE(qvoiMC8x16_8u_C1, 8, 16, plain)
COMPENSATE(qvoiMC8x8_8u_C1, 8, 8, plain)
COMPENSATE(qvoiMC8x4_8u_C1, 8, 4, plain)
COMPENSATE(qvoiMC4x8_8u_C1, 4, 8, plain)
COMPENSATE(qvoiMC4x4_8u_C1, 4, 4, plain)
COMPENSATE(qvoiMC4x2_8u_C1, 4, 2, plain)
COMPENSATE(qvoiMC2x4_8u_C1, 2, 4, plain)
COMPENSATE(qvoiMC2x2_8u_C1, 2, 2, plain)

COMPENSATE_BOTH(qvoiMC16x16B_8u_C1, 16, 16, plain)
COMPENSATE_BOTH(qvoiMC16x8B_8u_C1, 16, 8, plain)
COMPENSATE_BOTH(qvoiMC16x8BUV_8u_C1, 16, 8, interleaved)
COMPENSATE_BOTH(qvoiMC16x4B_8u_C1, 16, 4, interleaved)
COMPENSATE_BOTH(qvoiMC8x16B_8u_C1, 8, 16, plain)
COMPENSATE_BOTH(qvoiMC8x8B_8u_C1, 8, 8, plain)
COMPENSATE_BOTH(qvoiMC8x4B_8u_C1, 8, 4, plain)
COMPENSATE_BOTH(qvoiMC4x8B_8u_C1, 4, 8, plain)
COMPENSATE_BOTH(qvoiMC4x4B_8u_C1, 4, 4, plain)
COMPENSATE_BOTH(qvoiMC4x2B_8u_C1, 4, 2, plain)
COMPENSATE_BOTH(qvoiMC2x4B_8u_C1, 2, 4, plain)
COMPENSATE_BOTH(qvoiMC2x2B_8u_C1, 2, 2, plain)

QvoStatus qvoiReconBlock_8x8(const Qvo8u* pPred, Qvo32s predStep, const Qvo16s* pResidual, Qvo8u* pDst,
                             Qvo32s dstStep) {
    if (anyNull(pPred, pResidual, pDst)) return qvoStatusNullPtr;
    if (predStep < 8 || dstStep < 8) return qvoStatusStep8;
    Qvo8u p[64];
    gather<8, 8>(pPred, predStep, p);
    addResidual<8, 8>(p, pResidual, 8 * sizeof(Qvo16s), pDst, dstStep);
    return qvoStatusOk;
}
