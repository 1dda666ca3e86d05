// MPEG-2 forward quantisation.
#include <cmath>

#include "core/arith.h"
#include "qvovc/mpeg2.h"

using namespace qvovc;

namespace {

constexpr Qvo32s maxLevel = 2047;

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

// The definition: every product is rounded to the mantissa of a long double.
Qvo32s exactLevel(Qvo32s c, long double inverse, float m) {
    const long double x = 16 * c * inverse * m;
    if (!(x > -maxLevel)) return -maxLevel;
    return x < maxLevel ? static_cast<Qvo32s>(x) : maxLevel;
}

// The levels of a block, not limited yet. The definition is slow, and its last bits hardly ever matter: two estimates
// in double precision, which are too small and too large by 2^-48 of the value, enclose it, since neither they nor the
// definition are further from the true quotient than 2^-50 of it. Where both are cut to the same integer that is the
// level; else, near integers, the definition decides. With a power of two as scale both computations are exact.
void computeLevels(const Qvo16s* pSrc, Qvo32s QP, const float* matrix, Qvo32s* levels) {
    const double margin = (QP & (QP - 1)) == 0 ? 0 : 0x1p-48;
    const double smaller = 16.0 / QP * (1 - margin);
    const double larger = 16.0 / QP * (1 + margin);
    // With weights of this size no estimate is beyond 32 bits.
    Qvo32s tooLarge = 0;
    for (Qvo32s i = 0; i < 64; ++i)
        tooLarge |= !(std::fabs(matrix[i]) < 4096.0f);

    Qvo32s upper[64];
    Qvo32s differ = tooLarge;
    if (!tooLarge) {
        for (Qvo32s i = 0; i < 64; ++i) {
            levels[i] = static_cast<Qvo32s>(pSrc[i] * smaller * matrix[i]);
            upper[i] = static_cast<Qvo32s>(pSrc[i] * larger * matrix[i]);
        }
        for (Qvo32s i = 0; i < 64; ++i)
            differ |= levels[i] ^ upper[i];
    }
    if (!differ) return;
    const long double inverse = 1.0L / QP;
    for (Qvo32s i = 0; i < 64; ++i) {
        if (tooLarge || levels[i] != upper[i]) levels[i] = exactLevel(pSrc[i], inverse, matrix[i]);
    }
}

template <Qvo32s first>
QvoStatus quantise(Qvo16s* pSrcDst, Qvo32s QP, const float* pQPMatrix, const float* defaultMatrix, Qvo32u* pCount) {
    if (anyNull(pSrcDst, pCount)) return qvoStatusNullPtr;
    if (QP == 0) return qvoStatusDivByZero;
    Qvo32s levels[64];
    computeLevels(pSrcDst, QP, pQPMatrix == nullptr ? defaultMatrix : pQPMatrix, levels);
    Qvo32u count = 0;
    for (Qvo32s i = first; i < 64; ++i) {
        const Qvo32s level = clamp(levels[i], -maxLevel, maxLevel);
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
