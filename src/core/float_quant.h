// The quantisers that multiply each coefficient by a float, in extended precision, and truncate.
#ifndef QVOVC_SRC_CORE_FLOAT_QUANT_H
#define QVOVC_SRC_CORE_FLOAT_QUANT_H

#include <cmath>

#include "core/arith.h"

namespace qvovc {
namespace {

// No level is larger.
constexpr Qvo32s maxFloatLevel = 2047;

// The definition: every step is rounded to the mantissa of a long double. Rounding adds 0.5, less for c <= 0.
template <bool rounding>
inline long double exactProduct(Qvo32s c, long double scale, float m) {
    const long double x = c * scale * m;
    return !rounding ? x : c > 0 ? x + 0.5L : x - 0.5L;
}

inline Qvo32s limitedLevel(long double x) {
    if (!(x > -maxFloatLevel)) return -maxFloatLevel;
    return x < maxFloatLevel ? static_cast<Qvo32s>(x) : maxFloatLevel;
}

// The integer that x is cut to, one of two neighbours: comparing is faster than converting.
inline Qvo32s cutToEither(long double x, Qvo32s a, Qvo32s b) {
    const Qvo32s low = a < b ? a : b, high = a < b ? b : a;
    return high > 0 ? (x >= high ? high : low) : x <= low ? low : high;
}

// The levels of a block, c * (numerator / QP) * m with numerator 8 or 16, not limited yet. The definition is slow, and
// its last bits hardly ever matter: two estimates in double precision, which are too small and too large by 2^-48 of the
// value, enclose it, since neither they nor the definition are further from the true product than 2^-50 of it. Where
// both are cut to the same integer that is the level; else, near integers, the definition decides. With a power of two
// as scale both computations are exact.
template <Qvo32s numerator, bool rounding>
inline void floatLevels(const Qvo16s* pSrc, Qvo32s QP, const float* matrix, Qvo32s* levels) {
    const double margin = (QP & (QP - 1)) == 0 ? 0 : 0x1p-48;
    const double smaller = static_cast<double>(numerator) / QP * (1 - margin);
    const double larger = static_cast<double>(numerator) / QP * (1 + margin);
    // With weights of this size no estimate is beyond 32 bits.
    Qvo32s tooLarge = 0;
    for (Qvo32s i = 0; i < 64; ++i)
        tooLarge |= !(std::fabs(matrix[i]) < 4096.0f);

    Qvo32s upper[64];
    Qvo32s differ = tooLarge;
    if (!tooLarge) {
        for (Qvo32s i = 0; i < 64; ++i) {
            const double half = !rounding ? 0 : pSrc[i] > 0 ? 0.5 : -0.5;
            levels[i] = static_cast<Qvo32s>(pSrc[i] * smaller * matrix[i] + half);
            upper[i] = static_cast<Qvo32s>(pSrc[i] * larger * matrix[i] + half);
        }
        for (Qvo32s i = 0; i < 64; ++i)
            differ |= levels[i] ^ upper[i];
    }
    if (!differ) return;
    const long double scale = static_cast<long double>(numerator) / QP;
    for (Qvo32s i = 0; i < 64; ++i) {
        if (tooLarge)
            levels[i] = limitedLevel(exactProduct<rounding>(pSrc[i], scale, matrix[i]));
        else if (levels[i] != upper[i])
            levels[i] = cutToEither(exactProduct<rounding>(pSrc[i], scale, matrix[i]), levels[i], upper[i]);
    }
}

}  // namespace
}  // namespace qvovc

#endif
