// Overlapped block motion compensation of an 8x8 luminance block.
#include "mpeg4/halfpel.h"

namespace qvovc {
namespace {

constexpr auto ownpmp4_Copy8x8Halfpel_8u = copyKernels<8, 8>();
constexpr auto ownpmp4_Copy4x8Halfpel_8u = copyKernels<4, 8>();
constexpr auto ownpmp4_Copy8x4Halfpel_8u = copyKernels<8, 4>();

// ISO/IEC 14496-2, 7.6.6. The three weights of a sample add up to 8; the tables beside the block's own are no
// transposes of each other.
constexpr Qvo8u mp4_OBMC_wvC[64] = {4, 5, 5, 5, 5, 5, 5, 4,  //
                                    5, 5, 5, 5, 5, 5, 5, 5,  //
                                    5, 5, 6, 6, 6, 6, 5, 5,  //
                                    5, 5, 6, 6, 6, 6, 5, 5,  //
                                    5, 5, 6, 6, 6, 6, 5, 5,  //
                                    5, 5, 6, 6, 6, 6, 5, 5,  //
                                    5, 5, 5, 5, 5, 5, 5, 5,  //
                                    4, 5, 5, 5, 5, 5, 5, 4};
constexpr Qvo8u mp4_OBMC_wvLR[64] = {2, 1, 1, 1, 1, 1, 1, 2,  //
                                     2, 2, 1, 1, 1, 1, 2, 2,  //
                                     2, 2, 1, 1, 1, 1, 2, 2,  //
                                     2, 2, 1, 1, 1, 1, 2, 2,  //
                                     2, 2, 1, 1, 1, 1, 2, 2,  //
                                     2, 2, 1, 1, 1, 1, 2, 2,  //
                                     2, 2, 1, 1, 1, 1, 2, 2,  //
                                     2, 1, 1, 1, 1, 1, 1, 2};
constexpr Qvo8u mp4_OBMC_wvTB[64] = {2, 2, 2, 2, 2, 2, 2, 2,  //
                                     1, 1, 2, 2, 2, 2, 1, 1,  //
                                     1, 1, 1, 1, 1, 1, 1, 1,  //
                                     1, 1, 1, 1, 1, 1, 1, 1,  //
                                     1, 1, 1, 1, 1, 1, 1, 1,  //
                                     1, 1, 1, 1, 1, 1, 1, 1,  //
                                     1, 1, 2, 2, 2, 2, 1, 1,  //
                                     2, 2, 2, 2, 2, 2, 2, 2};

}  // namespace
}  // namespace qvovc

using namespace qvovc;

QvoStatus qvoiOBMCHalfpel_MPEG4_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                   const QvoMotionVector* pMVCur, const QvoMotionVector* pMVLeft,
                                   const QvoMotionVector* pMVRight, const QvoMotionVector* pMVUpper,
                                   const QvoMotionVector* pMVLower, Qvo32s rc) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    Qvo8u own[64], side[64], vertical[64], sum[64];
    const Qvo8u* const right = pSrc + 4;
    const Qvo8u* const lower = pSrc + static_cast<std::ptrdiff_t>(srcStep) * 4;
    copyHalfpel(ownpmp4_Copy8x8Halfpel_8u, pSrc, srcStep, own, 8, *pMVCur, rc);
    copyHalfpel(ownpmp4_Copy4x8Halfpel_8u, pSrc, srcStep, side, 8, *pMVLeft, rc);
    copyHalfpel(ownpmp4_Copy4x8Halfpel_8u, right, srcStep, side + 4, 8, *pMVRight, rc);
    copyHalfpel(ownpmp4_Copy8x4Halfpel_8u, pSrc, srcStep, vertical, 8, *pMVUpper, rc);
    copyHalfpel(ownpmp4_Copy8x4Halfpel_8u, lower, srcStep, vertical + 32, 8, *pMVLower, rc);
    for (int i = 0; i < 64; ++i)
        sum[i] = static_cast<Qvo8u>(
            (own[i] * mp4_OBMC_wvC[i] + side[i] * mp4_OBMC_wvLR[i] + vertical[i] * mp4_OBMC_wvTB[i] + 4) >> 3);
    for (int y = 0; y < 8; ++y, pDst += dstStep)
        std::memcpy(pDst, sum + 8 * y, 8);
    return qvoStatusOk;
}
