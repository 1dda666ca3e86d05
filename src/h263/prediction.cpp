// Half-sample, overlapped and approximate prediction, and whole macroblocks: copies and reconstruction.
#include "core/arith.h"
#include "mpeg4/halfpel.h"
#include "qvovc/core.h"
#include "qvovc/h263.h"
#include "qvovc/mpeg4.h"

namespace qvovc {
namespace {

template <int size>
constexpr std::array<CopyKernel, 4> approximateKernels = {
    copyKernel<size, size, false, false, 2>, copyKernel<size, size, true, false, 2>,
    copyKernel<size, size, false, true, 2>, copyKernel<size, size, true, true, 2>};

// Both steps are checked against the width of the block, which a macroblock reports like a block.
template <int size>
QvoStatus copyApproximately(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                            const QvoMotionVector* pMV) {
    if (anyNull(pSrc, pDst) || pMV == nullptr) return qvoStatusNullPtr;
    if (srcStep < size || dstStep < size) return qvoStatusBlockStep;
    const std::size_t halves = static_cast<std::size_t>(2 * (pMV->dy & 1) + (pMV->dx & 1));
    approximateKernels<size>[halves](referenceAt(pSrc, srcStep, *pMV), srcStep, pDst, dstStep);
    return qvoStatusOk;
}

QvoStatus checkMacroblockSteps(Qvo32s stepY, Qvo32s stepC) {
    if (stepY < 16) return qvoStatusMbStep;
    return stepC < 8 ? qvoStatusBlockStep : qvoStatusOk;
}

struct MacroblockCopy {
    const Qvo8u* pSrcY;
    const Qvo8u* pSrcCb;
    const Qvo8u* pSrcCr;
    Qvo32s srcStepY, srcStepC;
    Qvo8u* pDstY;
    Qvo8u* pDstCb;
    Qvo8u* pDstCr;
    Qvo32s dstStepY, dstStepC;

    QvoStatus check() const {
        if (anyNull(pSrcY, pSrcCb, pSrcCr, pDstY, pDstCb, pDstCr)) return qvoStatusNullPtr;
        if (const QvoStatus status = checkMacroblockSteps(srcStepY, srcStepC)) return status;
        return checkMacroblockSteps(dstStepY, dstStepC);
    }
};

// Copies a block, with the residual where one is given. Copying a block to itself is nothing to do.
void reconBlock(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo16s* pResidual, Qvo8u* pDst, Qvo32s dstStep) {
    constexpr QvoMotionVector none = {0, 0};
    if (pResidual != nullptr)
        qvoiReconBlockHalfpel_MPEG4_8u(pSrc, srcStep, pResidual, pDst, dstStep, &none, 0);
    else if (pSrc != pDst)
        qvoiCopyBlock_8x8_8u(pSrc, srcStep, pDst, dstStep);
}

}  // namespace
}  // namespace qvovc

using namespace qvovc;

QvoStatus qvoiCopyBlockHalfpel_H263_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                       const QvoMotionVector* pMV, Qvo32s roundingType) {
    if (anyNull(pSrc, pDst) || pMV == nullptr) return qvoStatusNullPtr;
    if (srcStep < 8 || dstStep < 8) return qvoStatusBlockStep;
    return qvoiCopyBlockHalfpel_MPEG4_8u(pSrc, srcStep, pDst, dstStep, pMV, roundingType);
}

QvoStatus qvoiCopyMBHalfpel_H263_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                    const QvoMotionVector* pMV, Qvo32s roundingType) {
    if (anyNull(pSrc, pDst) || pMV == nullptr) return qvoStatusNullPtr;
    if (srcStep < 16 || dstStep < 16) return qvoStatusMbStep;
    return qvoiCopyMBHalfpel_MPEG4_8u(pSrc, srcStep, pDst, dstStep, pMV, roundingType);
}

QvoStatus qvoiOBMCHalfpel_H263_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                  const QvoMotionVector* pMVCur, const QvoMotionVector* pMVLeft,
                                  const QvoMotionVector* pMVRight, const QvoMotionVector* pMVUpper,
                                  const QvoMotionVector* pMVLower, Qvo32s roundingType) {
    if (anyNull(pSrc, pDst) || anyNull(pMVCur, pMVLeft, pMVRight, pMVUpper, pMVLower)) return qvoStatusNullPtr;
    if (srcStep < 8 || dstStep < 8) return qvoStatusBlockStep;
    return qvoiOBMCHalfpel_MPEG4_8u(pSrc, srcStep, pDst, dstStep, pMVCur, pMVLeft, pMVRight, pMVUpper, pMVLower,
                                    roundingType);
}

QvoStatus qvoiCopyBlockApprox_H263_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                      const QvoMotionVector* pMV) {
    return copyApproximately<8>(pSrc, srcStep, pDst, dstStep, pMV);
}

QvoStatus qvoiCopyMBApprox_H263_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                   const QvoMotionVector* pMV) {
    return copyApproximately<16>(pSrc, srcStep, pDst, dstStep, pMV);
}

QvoStatus qvoiCopyMB_H263_8u_P3R(const Qvo8u* pSrcY, const Qvo8u* pSrcCb, const Qvo8u* pSrcCr, Qvo32s srcStepY,
                                 Qvo32s srcStepC, Qvo8u* pDstY, Qvo8u* pDstCb, Qvo8u* pDstCr, Qvo32s dstStepY,
                                 Qvo32s dstStepC) {
    const MacroblockCopy mb = {pSrcY, pSrcCb, pSrcCr, srcStepY, srcStepC, pDstY, pDstCb, pDstCr, dstStepY, dstStepC};
    if (const QvoStatus status = mb.check()) return status;
    qvoiCopyBlock_16x16_8u(pSrcY, srcStepY, pDstY, dstStepY);
    qvoiCopyBlock_8x8_8u(pSrcCb, srcStepC, pDstCb, dstStepC);
    qvoiCopyBlock_8x8_8u(pSrcCr, srcStepC, pDstCr, dstStepC);
    return qvoStatusOk;
}

QvoStatus qvoiReconMB_H263_8u_P3R(const Qvo8u* pSrcY, const Qvo8u* pSrcCb, const Qvo8u* pSrcCr, Qvo32s srcStepY,
                                  Qvo32s srcStepC, const Qvo16s* pResidual, Qvo32s cbp, Qvo8u* pDstY, Qvo8u* pDstCb,
                                  Qvo8u* pDstCr, Qvo32s dstStepY, Qvo32s dstStepC) {
    const MacroblockCopy mb = {pSrcY, pSrcCb, pSrcCr, srcStepY, srcStepC, pDstY, pDstCb, pDstCr, dstStepY, dstStepC};
    if (pResidual == nullptr) return qvoStatusNullPtr;
    if (const QvoStatus status = mb.check()) return status;
    const auto residual = [=](int block) { return (cbp >> (5 - block) & 1) != 0 ? pResidual + 64 * block : nullptr; };
    for (int block = 0; block < 4; ++block) {
        const std::ptrdiff_t x = 8 * (block & 1), y = 8 * (block >> 1);
        reconBlock(pSrcY + y * srcStepY + x, srcStepY, residual(block), pDstY + y * dstStepY + x, dstStepY);
    }
    reconBlock(pSrcCb, srcStepC, residual(4), pDstCb, dstStepC);
    reconBlock(pSrcCr, srcStepC, residual(5), pDstCr, dstStepC);
    return qvoStatusOk;
}
