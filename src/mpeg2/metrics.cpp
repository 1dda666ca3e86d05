// Matching metrics: sums of absolute and of squared differences between a block and a reference.
#include <cstddef>

#include "mpeg2/prediction.h"
#include "mpeg2/sums.h"
#include "qvovc/internals.h"

namespace qvovc {
namespace {

// One number for how far a block lies from its prediction, by the distance of two contiguous blocks.
template <int W, int H, Qvo32s (*distance)(const Qvo8u*, const Qvo8u*)>
struct Match {
    using Kernel = Qvo32s(const Qvo8u*, Qvo32s, const Qvo8u*, Qvo32s);
    template <Kind kind, int rounding>
    static Qvo32s run(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep) {
        Qvo8u src[W * H], p[W * H];
        gather<W, H>(pSrc, srcStep, src);
        predictBlock<W, H, plain, kind, rounding>(pRef, refStep, p);
        return distance(src, p);
    }
};

template <int W, int H>
using Sad = Match<W, H, sumAbsDiff<W * H>>;
using Ssd16x16 = Match<16, 16, sumSqrDiff<256>>;

// At full-pel position.
template <int W, int H>
inline Qvo32s sadFull(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep) {
    return Sad<W, H>::template run<fullPel, 0>(pSrc, srcStep, pRef, refStep);
}

}  // namespace
}  // namespace qvovc

using namespace qvovc;

QvoStatus _qvoiSAD_16x16_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep, Qvo32s* pSAD) {
    if (anyNull(pSrc, pRef, pSAD)) return qvoStatusNullPtr;
    *pSAD = sadFull<16, 16>(pSrc, srcStep, pRef, refStep);
    return qvoStatusOk;
}

QvoStatus qvoiSAD16x16_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep, Qvo32s* pSAD,
                             Qvo32s mcType) {
    if (anyNull(pSrc, pRef)) return qvoStatusNullPtr;
    *pSAD = kernelFor<Sad<16, 16>>(mcType, 0)(pSrc, srcStep, pRef, refStep);
    return qvoStatusOk;
}

QvoStatus qvoiSAD8x8_8u32s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep, Qvo32s* pSAD,
                               Qvo32s mcType) {
    if (anyNull(pSrc, pRef)) return qvoStatusNullPtr;
    *pSAD = kernelFor<Sad<8, 8>>(mcType, 0)(pSrc, srcStep, pRef, refStep);
    return qvoStatusOk;
}

QvoStatus qvoiSAD4x4_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep, Qvo32s* pSAD) {
    if (anyNull(pSrc, pRef, pSAD)) return qvoStatusNullPtr;
    *pSAD = sadFull<4, 4>(pSrc, srcStep, pRef, refStep);
    return qvoStatusOk;
}

QvoStatus qvoiSAD16x16Blocks8x8_8u16u(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                      Qvo16u* pSADs) {
    if (anyNull(pSrc, pRef, pSADs)) return qvoStatusNullPtr;
    for (int q = 0; q < 4; ++q) {
        const std::ptrdiff_t x = q % 2 * 8, y = q / 2 * 8;
        pSADs[q] =
            static_cast<Qvo16u>(sadFull<8, 8>(pSrc + y * srcStep + x, srcStep, pRef + y * refStep + x, refStep));
    }
    return qvoStatusOk;
}

QvoStatus qvoiSAD16x16Blocks4x4_8u16u(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                      Qvo16u* pSADs) {
    if (anyNull(pSrc, pRef, pSADs)) return qvoStatusNullPtr;
    Qvo8u src[256], ref[256];
    Qvo16u diff[256];
    gather<16, 16>(pSrc, srcStep, src);
    gather<16, 16>(pRef, refStep, ref);
    for (int i = 0; i < 256; ++i)
        diff[i] = static_cast<Qvo16u>(std::abs(src[i] - ref[i]));
    sumBlocks4x4<16, 16>(diff, pSADs);
    return qvoStatusOk;
}

QvoStatus qvoiSqrDiff16x16_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep, Qvo32s mcType,
                                 Qvo32s* pSqrDiff) {
    if (anyNull(pSrc, pRef, pSqrDiff)) return qvoStatusNullPtr;
    *pSqrDiff = kernelFor<Ssd16x16>(mcType, 0)(pSrc, srcStep, pRef, refStep);
    return qvoStatusOk;
}

QvoStatus qvoiSqrDiff16x16B_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRefF, Qvo32s refStepF,
                                  Qvo32s mcTypeF, const Qvo8u* pRefB, Qvo32s refStepB, Qvo32s mcTypeB,
                                  Qvo32s* pSqrDiff) {
    if (anyNull(pSrc, pRefF, pRefB, pSqrDiff)) return qvoStatusNullPtr;
    Qvo8u p[256];
    predictBoth<16, 16, plain>(pRefF, refStepF, mcTypeF, pRefB, refStepB, mcTypeB, 0, p);
    *pSqrDiff = Ssd16x16::run<fullPel, 0>(pSrc, srcStep, p, 16);
    return qvoStatusOk;
}
