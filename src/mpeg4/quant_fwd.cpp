// Forward quantisation of MPEG-4 and H.263: by integers, and by products in extended precision.
#include "mpeg4/quant_fwd.h"

#include <cstring>

#include "core/float_quant.h"
#include "qvovc/h263.h"
#include "qvovc/internals.h"
#include "qvovc/mpeg4.h"

using namespace qvovc;

namespace {

constexpr Qvo32s maxIntegerLevel = 127;

Qvo32s magnitude(Qvo32s c) {
    return c < 0 ? -c : c;
}

// ---- the method of H.263 ----

// Division of a magnitude of up to 2^15 by 2 QP: the high half of the product with a 16-bit reciprocal, shifted right.
// With 2^(shift+1) the power of two that 2 QP does not exceed, the reciprocal is the integer above
// 2^(16+shift) / 2 QP, wrong by 2 QP parts in 2^(16+shift) at most: too little to carry any quotient over an integer.
struct DivisionBy2QP {
    Qvo16u reciprocal;
    Qvo16u shift;

    explicit DivisionBy2QP(Qvo32s QP) {
        Qvo32s bits = 0;
        while (1 << bits < QP)
            ++bits;
        shift = static_cast<Qvo16u>(bits);
        reciprocal = static_cast<Qvo16u>((1 << (16 + bits)) / (2 * QP) + 1);
    }
    Qvo16u operator()(Qvo16u c) const {
        return static_cast<Qvo16u>(static_cast<Qvo16u>(static_cast<Qvo32u>(c) * reciprocal >> 16) >> shift);
    }
};

// A block by truncating division of (magnitude - dead) by 2 QP; what is less than `dead` becomes 0. Magnitudes below the
// first threshold of each method give 0 in this way too.
void quantiseByH263(Qvo16s* pBlock, Qvo32s QP, Qvo32s dead, Qvo32s maxLevel) {
    const DivisionBy2QP divide(QP);
    const Qvo16u d = static_cast<Qvo16u>(dead);
    for (int i = 0; i < 64; ++i) {
        const Qvo16s s = static_cast<Qvo16s>(pBlock[i] >> 15);
        const Qvo16u c = static_cast<Qvo16u>((pBlock[i] ^ s) - s);
        const Qvo16s quotient = static_cast<Qvo16s>(divide(static_cast<Qvo16u>((c > d ? c : d) - d)));
        const Qvo16s level = quotient < maxLevel ? quotient : static_cast<Qvo16s>(maxLevel);
        pBlock[i] = static_cast<Qvo16s>((level ^ s) - s);
    }
}

// ---- the matrix method, by integers ----

// 16 |c| / weight, rounded, by the record's reciprocal.
Qvo32s weighted(Qvo32s c, Qvo32s weight, Qvo32s reciprocal, Qvo32s maximum) {
    const std::int64_t quotient = static_cast<std::int64_t>((weight >> 1) + 16 * c) * reciprocal >> 21;
    return quotient < maximum ? static_cast<Qvo32s>(quotient) : maximum;
}

Qvo16s integerLevel(Qvo32s dividend, Qvo32s QP, Qvo32s c) {
    const Qvo32s quotient = dividend * _qvoiRQPTab[QP] >> 19;
    const Qvo32s level = quotient < maxIntegerLevel ? quotient : maxIntegerLevel;
    return static_cast<Qvo16s>(c < 0 ? -level : level);
}

void quantiseIntraByMatrix(Qvo16s* pBlock, Qvo32s QP, const Qvo32s* pQMatrix) {
    for (int i = 0; i < 64; ++i) {
        const Qvo32s c = magnitude(pBlock[i]);
        const Qvo32s weight = pQMatrix[i];
        if (c < ((5 * QP - 4) * weight) >> 6)
            pBlock[i] = 0;
        else
            pBlock[i] =
                integerLevel(weighted(c, weight, pQMatrix[64 + i], 2047) + ((3 * QP + 2) >> 2), QP, pBlock[i]);
    }
}

void quantiseInterByMatrix(Qvo16s* pBlock, Qvo32s QP, const Qvo32s* pQMatrix) {
    // Above it every quotient is beyond the largest level; below it no product is beyond 32 bits.
    constexpr Qvo32s maxDividend = 8191;
    for (int i = 0; i < 64; ++i) {
        const Qvo32s c = magnitude(pBlock[i]);
        const Qvo32s weight = pQMatrix[i];
        if (c <= ((4 * QP - 1) * weight) >> 5)
            pBlock[i] = 0;
        else
            pBlock[i] = integerLevel(weighted(c, weight, pQMatrix[64 + i], maxDividend), QP, pBlock[i]);
    }
}

// ---- by products in extended precision ----

// The highest index from `first` on of a level that is not 0, or -1.
Qvo32s lastLevel(const Qvo16s* pBlock, Qvo32s first) {
    for (Qvo32s i = 60; i >= 0; i -= 4) {
        std::uint64_t four;
        std::memcpy(&four, pBlock + i, sizeof four);
        if (four == 0) continue;
        Qvo32s last = i + 3;
        while (pBlock[last] == 0)
            --last;
        return last >= first ? last : -1;
    }
    return -1;
}

// The form with the dead zone takes 0.25 from each quotient.
template <bool deadZone>
Qvo16s exactH263Level(Qvo32s c, long double scale) {
    long double x = c * scale;
    if (deadZone && c != 0) x -= c > 0 ? 0.25L : -0.25L;
    return static_cast<Qvo16s>(clamp(static_cast<Qvo32s>(x), -maxFloatLevel, maxFloatLevel));
}

// The products c * (0.5 / QP) of the standard's quantisers cut to the same integers as exact quotients do: none of
// them falls short of a whole one. That of larger quantisers may (the first is 41 * (0.5 / 41) * 2), so that only the
// definition serves. A quarter less is (|c| - QP / 2) / (2 QP), for odd QP with the half of it that no |c| can fill.
template <Qvo32s first, bool deadZone>
QvoStatus quantH263(Qvo16s* pSrcDst, Qvo32s QP, Qvo32s* pLast) {
    if (anyNull(pSrcDst, pLast)) return qvoStatusNullPtr;
    if (QP < 1) return qvoStatusQpRange;
    const Qvo16s dc = pSrcDst[0];
    if (QP <= 31) {
        quantiseByH263(pSrcDst, QP, deadZone ? (QP + 1) >> 1 : 0, maxFloatLevel);
    } else {
        const long double scale = 0.5L / QP;
        for (int i = 0; i < 64; ++i)
            pSrcDst[i] = exactH263Level<deadZone>(pSrcDst[i], scale);
    }
    if (first == 1) pSrcDst[0] = dc;
    *pLast = lastLevel(pSrcDst, first);
    return qvoStatusOk;
}

template <Qvo32s first, bool rounding>
QvoStatus quantMPEG4(Qvo16s* pSrcDst, Qvo32s QP, const float* pQMatrix, Qvo32s* pLast) {
    if (anyNull(pSrcDst, pLast) || pQMatrix == nullptr) return qvoStatusNullPtr;
    if (QP < 1) return qvoStatusQuantRange;
    Qvo32s levels[64];
    floatLevels<8, rounding>(pSrcDst, QP, pQMatrix, levels);
    const Qvo16s dc = pSrcDst[0];
    for (int i = 0; i < 64; ++i) {
        const Qvo32s level = clamp(levels[i], -maxFloatLevel, maxFloatLevel);
        pSrcDst[i] = static_cast<Qvo16s>(pSrcDst[i] == 0 ? 0 : level);  // also where the weight is no number
    }
    if (first == 1) pSrcDst[0] = dc;
    *pLast = lastLevel(pSrcDst, first);
    return qvoStatusOk;
}

}  // namespace

namespace qvovc {

void quantiseIntra(Qvo16s* pBlock, Qvo32s QP, Qvo32s scaler, const Qvo32s* pQMatrix) {
    const Qvo32s dc = clamp((pBlock[0] + scaler / 2) / scaler, 1, 254);
    if (pQMatrix != nullptr)
        quantiseIntraByMatrix(pBlock, QP, pQMatrix);
    else
        quantiseByH263(pBlock, QP, 0, maxIntegerLevel);
    pBlock[0] = static_cast<Qvo16s>(dc);
}

void quantiseInter(Qvo16s* pBlock, Qvo32s QP, const Qvo32s* pQMatrix) {
    if (pQMatrix != nullptr)
        quantiseInterByMatrix(pBlock, QP, pQMatrix);
    else
        quantiseByH263(pBlock, QP, QP / 2, maxIntegerLevel);
}

}  // namespace qvovc

const Qvo32s _qvoiRQPTab[32] = {0,     262145, 131073, 87382, 65537, 52429, 43691, 37450, 32769, 29128, 26215,
                                23832, 21846,  20165,  18725, 17477, 16385, 15421, 14564, 13798, 13108, 12484,
                                11916, 11398,  10923,  10486, 10083, 9710,  9363,  9040,  8739,  8457};

QvoStatus qvoiQuantIntra_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo8u QP, Qvo32s blockIndex, const Qvo32s* pQMatrix) {
    if (pSrcDst == nullptr || !isQuantiser(QP) || blockIndex < 0 || blockIndex > 9 || !isRecordOrNull(pQMatrix))
        return qvoStatusBadArg;
    quantiseIntra(pSrcDst, QP, dcScaler(QP, blockIndex == 4 || blockIndex == 5), pQMatrix);
    return qvoStatusOk;
}

QvoStatus qvoiQuantInter_MPEG4_16s_I(Qvo16s* pSrcDst, Qvo8u QP, const Qvo32s* pQMatrix) {
    if (pSrcDst == nullptr || !isQuantiser(QP) || !isRecordOrNull(pQMatrix)) return qvoStatusBadArg;
    quantiseInter(pSrcDst, QP, pQMatrix);
    return qvoStatusOk;
}

QvoStatus qvoiQuantIntra_MPEG4_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const float* pQMatrix, Qvo32s* pLast) {
    return quantMPEG4<1, true>(pSrcDst, QP, pQMatrix, pLast);
}

QvoStatus qvoiQuant_MPEG4_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, const float* pQMatrix, Qvo32s* pLast) {
    return quantMPEG4<0, false>(pSrcDst, QP, pQMatrix, pLast);
}

QvoStatus qvoiQuantIntra_H263_C1I(Qvo16s* pSrcDst, Qvo32s QP, Qvo32s* pLast) {
    return quantH263<1, false>(pSrcDst, QP, pLast);
}

QvoStatus qvoiQuant_H263_C1I(Qvo16s* pSrcDst, Qvo32s QP, Qvo32s* pLast) {
    return quantH263<0, true>(pSrcDst, QP, pLast);
}
