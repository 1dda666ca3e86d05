// Half-pel motion compensation: copies, reconstruction with residual, and the average of two predictions.
#include "mpeg4/halfpel.h"

namespace qvovc {
namespace {

constexpr auto ownpmp4_Copy8x8Halfpel_8u = copyKernels<8, 8>();
constexpr auto ownpmp4_Copy16x16Halfpel_8u = copyKernels<16, 16>();

struct ResidualRow {
    Qvo16s at[8];
};

// A residual beyond +-255 saturates whatever the prediction is: limited first, the sum fits in 16 bits.
inline Row<8> addResidual(const Row<8>& prediction, const Qvo16s* pResidual) {
    ResidualRow residual;
    std::memcpy(residual.at, pResidual, sizeof residual);
    Row<8> row;
#pragma GCC unroll 1
    for (int x = 0; x < 8; ++x)
        row.at[x] = clip8u(wrap16(prediction.at[x] + wrap16(clamp(residual.at[x], -255, 255))));
    return row;
}

template <bool halfX, bool halfY, int rc>
void reconKernel(const Qvo8u* pRef, Qvo32s refStep, const Qvo16s* pResidual, Qvo8u* pDst, Qvo32s dstStep) {
    for (int y = 0; y < 8; ++y, pRef += refStep, pResidual += 8, pDst += dstStep)
        storeRow(addResidual(predictRow<8, halfX, halfY, rc>(pRef, refStep), pResidual), pDst);
}

using ReconKernel = void (*)(const Qvo8u* pRef, Qvo32s refStep, const Qvo16s* pResidual, Qvo8u* pDst, Qvo32s dstStep);

constexpr std::array<ReconKernel, 8> ownpmp4_Recon8x8Halfpel_8u = {
    reconKernel<false, false, 0>, reconKernel<false, false, 0>, reconKernel<true, false, 0>,
    reconKernel<true, false, 1>,  reconKernel<false, true, 0>,  reconKernel<false, true, 1>,
    reconKernel<true, true, 0>,   reconKernel<true, true, 1>};

template <int size>
QvoStatus averageBlocks(const Qvo8u* pSrc1, Qvo32s step1, const Qvo8u* pSrc2, Qvo32s step2, Qvo8u* pDst,
                        Qvo32s dstStep) {
    if (anyNull(pSrc1, pSrc2, pDst)) return qvoStatusNullPtr;
    for (int y = 0; y < size; ++y, pSrc1 += step1, pSrc2 += step2, pDst += dstStep)
        storeRow(average<size, 0>(loadRow<size>(pSrc1), loadRow<size>(pSrc2)), pDst);
    return qvoStatusOk;
}

}  // namespace
}  // namespace qvovc

using namespace qvovc;

QvoStatus qvoiCopyBlockHalfpel_MPEG4_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                        const QvoMotionVector* pMV, Qvo32s rc) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    copyHalfpel(ownpmp4_Copy8x8Halfpel_8u, pSrc, srcStep, pDst, dstStep, *pMV, rc);
    return qvoStatusOk;
}

QvoStatus qvoiCopyMBHalfpel_MPEG4_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                     const QvoMotionVector* pMV, Qvo32s rc) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    copyHalfpel(ownpmp4_Copy16x16Halfpel_8u, pSrc, srcStep, pDst, dstStep, *pMV, rc);
    return qvoStatusOk;
}

QvoStatus qvoiReconBlockHalfpel_MPEG4_8u(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo16s* pResidual, Qvo8u* pDst,
                                         Qvo32s dstStep, const QvoMotionVector* pMV, Qvo32s rc) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    ownpmp4_Recon8x8Halfpel_8u[kernelIndex(*pMV, rc)](referenceAt(pSrc, srcStep, *pMV), srcStep, pResidual, pDst,
                                                      dstStep);
    return qvoStatusOk;
}

QvoStatus qvoiAverageBlock_MPEG4_8u(const Qvo8u* pSrc1, Qvo32s src1Step, const Qvo8u* pSrc2, Qvo32s src2Step,
                                    Qvo8u* pDst, Qvo32s dstStep) {
    return averageBlocks<8>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep);
}

QvoStatus qvoiAverageMB_MPEG4_8u(const Qvo8u* pSrc1, Qvo32s src1Step, const Qvo8u* pSrc2, Qvo32s src2Step,
                                 Qvo8u* pDst, Qvo32s dstStep) {
    return averageBlocks<16>(pSrc1, src1Step, pSrc2, src2Step, pDst, dstStep);
}

QvoStatus qvoiAverageBlock_MPEG4_8u_I(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pSrcDst, Qvo32s srcDstStep) {
    return averageBlocks<8>(pSrc, srcStep, pSrcDst, srcDstStep, pSrcDst, srcDstStep);
}

QvoStatus qvoiAverageMB_MPEG4_8u_I(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pSrcDst, Qvo32s srcDstStep) {
    return averageBlocks<16>(pSrc, srcStep, pSrcDst, srcDstStep, pSrcDst, srcDstStep);
}
