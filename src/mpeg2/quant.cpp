// MPEG-2 forward quantisation.
#include "core/float_quant.h"
#include "qvovc/mpeg2.h"

using namespace qvovc;

namespace {

// The reciprocals of a row of weights in single precision. Dividing in a wider type first gives the same floats.
#define RECIPROCALS(a, b, c, d, e, f, g, h)                                                                     \
    float(1.0 / (a)), float(1.0 / (b)), float(1.0 / (c)), float(1.0 / (d)), float(1.0 / (e)), float(1.0 / (f)), \
        float(1.0 / (g)), float(1.0 / (h))
constexpr float intraReciprocals[64] = {
    RECIPROCALS(8, 16, 19, 22, 26, 27, 29, 34),  RECIPROCALS(16, 16, 22, 24, 27, 29, 34, 37),
    RECIPROCALS(19, 22, 26, 27, 29, 34, 34, 38), RECIPROCALS(22, 22, 26, 27, 29, 34, 37, 40),
    RECIPROCALS(22, 26, 27, 29, 32, 35, 40, 48), RECIPROCALS(26, 27, 29, 32, 35, 40, 48, 58),
    RECIPROCALS(26, 27, 29, 34, 38, 46, 56, 69), RECIPROCALS(27, 29, 35, 38, 46, 56, 69, 83)};
constexpr float nonIntraReciprocals[64] = {
    RECIPROCALS(16, 16, 16, 16, 16, 16, 16, 16), RECIPROCALS(16, 16, 16, 16, 16, 16, 16, 16),
    RECIPROCALS(16, 16, 16, 16, 16, 16, 16, 16), RECIPROCALS(16, 16, 16, 16, 16, 16, 16, 16),
    RECIPROCALS(16, 16, 16, 16, 16, 16, 16, 16), RECIPROCALS(16, 16, 16, 16, 16, 16, 16, 16),
    RECIPROCALS(16, 16, 16, 16, 16, 16, 16, 16), RECIPROCALS(16, 16, 16, 16, 16, 16, 16, 16)};
#undef RECIPROCALS

template <Qvo32s first>
QvoStatus quantise(Qvo16s* pSrcDst, Qvo32s QP, const float* pQPMatrix, const float* defaultMatrix, Qvo32u* pCount) {
    if (anyNull(pSrcDst, pCount)) return qvoStatusNullPtr;
    if (QP == 0) return qvoStatusDivByZero;
    Qvo32s levels[64];
    floatLevels<16, false>(pSrcDst, QP, pQPMatrix == nullptr ? defaultMatrix : pQPMatrix, levels);
    Qvo32u count = 0;
    for (Qvo32s i = first; i < 64; ++i) {
        const Qvo32s level = clamp(levels[i], -maxFloatLevel, maxFloatLevel);
        pSrcDst[i] = static_cast<Qvo16s>(level);
        count += level != 0;
    }
    *pCount = count;
    return qvoStatusOk;
}

}  // namespace

QvoStatus qvoiQuantIntra_MPEG2_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const float* pQPMatrix, Qvo32u* pCount) {
    return quantise<1>(pSrcDst, QP, pQPMatrix, intraReciprocals, pCount);
}

QvoStatus qvoiQuant_MPEG2_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const float* pQPMatrix, Qvo32u* pCount) {
    return quantise<0>(pSrcDst, QP, pQPMatrix, nonIntraReciprocals, pCount);
}
