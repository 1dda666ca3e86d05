// Fill, copy, scale and threshold of vectors and regions, block copies, the zero count and the rounding predictors.
#include <cstddef>
#include <cstring>

#include "core/arith.h"
#include "qvovc/core.h"
#include "qvovc/mpeg2.h"

using namespace qvovc;

namespace {

QvoStatus checkVector(const void* p, Qvo32s len) {
    if (p == nullptr) return qvoStatusNullPtr;
    if (len < 1) return qvoStatusSize;
    return qvoStatusOk;
}

template <class F>
void forEach(Qvo16s* p, Qvo32s len, F f) {
    for (Qvo32s i = 0; i < len; ++i)
        p[i] = f(p[i]);
}

template <int size>
void copyBlock(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep) {
    for (int y = 0; y < size; ++y) {
        std::memcpy(pDst, pSrc, size);
        pSrc += srcStep;
        pDst += dstStep;
    }
}

QvoStatus predictBlock(const Qvo8u* pSrcRef, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s predType,
                       Qvo32s roundControl) {
    static constexpr Qvo16s noResidual[64] = {};
    const Qvo32s mcType = predType == qvoPredFullPel      ? 0
                          : predType == qvoPredHalfPelVer ? 4
                          : predType == qvoPredHalfPelHor ? 8
                                                          : 12;
    return qvoiMC8x8_8u_C1(pSrcRef, srcStep, noResidual, 16, pDst, dstStep, mcType, roundControl);
}

}  // namespace

QvoStatus qvosSet_8u(Qvo8u val, Qvo8u* pDst, Qvo32s len) {
    if (const QvoStatus status = checkVector(pDst, len)) return status;
    std::memset(pDst, val, static_cast<std::size_t>(len));
    return qvoStatusOk;
}

QvoStatus qvosSet_16s(Qvo16s val, Qvo16s* pDst, Qvo32s len) {
    if (const QvoStatus status = checkVector(pDst, len)) return status;
    for (Qvo32s i = 0; i < len; ++i)
        pDst[i] = val;
    return qvoStatusOk;
}

QvoStatus qvosZero_16s(Qvo16s* pDst, Qvo32s len) {
    if (const QvoStatus status = checkVector(pDst, len)) return status;
    std::memset(pDst, 0, static_cast<std::size_t>(len) * sizeof(Qvo16s));
    return qvoStatusOk;
}

QvoStatus qvosCopy_8u(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s len) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    if (len < 1) return qvoStatusSize;
    std::memcpy(pDst, pSrc, static_cast<std::size_t>(len));
    return qvoStatusOk;
}

QvoStatus qvosMulC_16s_ISfs(Qvo16s val, Qvo16s* pSrcDst, Qvo32s len, Qvo32s scaleFactor) {
    if (const QvoStatus status = checkVector(pSrcDst, len)) return status;
    if (val == 0 || scaleFactor > 30) return qvosZero_16s(pSrcDst, len);
    if (scaleFactor == 0) {
        if (val != 1) forEach(pSrcDst, len, [=](Qvo32s e) { return sat16(e * val); });
    } else if (scaleFactor < -15) {
        forEach(pSrcDst, len, [=](Qvo32s e) { return sat16(sign(e * val) * 32768); });
    } else if (scaleFactor < 0) {
        forEach(pSrcDst, len, [=](Qvo32s e) { return sat16(sat16(e * val) * (1 << -scaleFactor)); });
    } else {
        // Ties go to even: the half is made up to a whole only where the result would be odd.
        const Qvo32s half = (1 << (scaleFactor - 1)) - 1;
        forEach(pSrcDst, len, [=](Qvo32s e) {
            const Qvo32s p = e * val;
            return sat16((p + half + ((p >> scaleFactor) & 1)) >> scaleFactor);
        });
    }
    return qvoStatusOk;
}

QvoStatus qvosThreshold_16s_I(Qvo16s* pSrcDst, Qvo32s len, Qvo16s level, Qvo32s relOp) {
    if (const QvoStatus status = checkVector(pSrcDst, len)) return status;
    if (relOp == qvoCmpGreater) {
        forEach(pSrcDst, len, [=](Qvo16s e) { return e > level ? level : e; });
    } else {
        forEach(pSrcDst, len, [=](Qvo16s e) { return e < level ? level : e; });
    }
    return qvoStatusOk;
}

QvoStatus qvoiSet_8u_C1R(Qvo8u val, Qvo8u* pDst, Qvo32s dstStep, Qvo32s width, Qvo32s height) {
    if (pDst == nullptr) return qvoStatusNullPtr;
    if (width < 1 || height < 1) return qvoStatusSize;
    if (dstStep < 1) return qvoStatusStep;
    for (Qvo32s y = 0; y < height; ++y) {
        std::memset(pDst, val, static_cast<std::size_t>(width));
        pDst += dstStep;
    }
    return qvoStatusOk;
}

QvoStatus qvoiCopyBlock_8x8_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    if (srcStep < 8 || dstStep < 8) return qvoStatusStep8;
    copyBlock<8>(pSrc, srcStep, pDst, dstStep);
    return qvoStatusOk;
}

QvoStatus qvoiCopyBlock_16x16_8u(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    if (srcStep < 16 || dstStep < 16) return qvoStatusStep16;
    copyBlock<16>(pSrc, srcStep, pDst, dstStep);
    return qvoStatusOk;
}

QvoStatus qvoiCountZeros8x8_16s_C1(const Qvo16s* pSrc, Qvo32u* pCount) {
    if (anyNull(pSrc, pCount)) return qvoStatusNullPtr;
    Qvo32u count = 0;
    for (int i = 0; i < 64; ++i)
        count += pSrc[i] == 0;
    *pCount = count;
    return qvoStatusOk;
}

QvoStatus qvoiMCBlock_RoundOff_8u(const Qvo8u* pSrcRef, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep,
                                  Qvo32s predType) {
    return predictBlock(pSrcRef, srcStep, pDst, dstStep, predType, 0);
}

QvoStatus qvoiMCBlock_RoundOn_8u(const Qvo8u* pSrcRef, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s predType) {
    return predictBlock(pSrcRef, srcStep, pDst, dstStep, predType, 1);
}
