// H.264 4x4 integer transforms with dequantisation and quantisation.
//
// The first stage of a transform passes its sums on in 16 bits, and dequantised products wrap to 16 bits; the sums of
// the last stage enter the final shift or scaling in 32 bits.
#include <cstring>

#include "core/arith.h"
#include "qvovc/h264.h"

using namespace qvovc;

namespace {

enum { maxQP = 51, maxChromaDCQP = 39, maxLevel = 2063 };

// ---- tables ----

// Position classes of a 4x4 block: 0 at even rows and columns, 1 at odd rows and columns, 2 elsewhere.
constexpr int classOf(int position) {
    const int oddRow = position >> 2 & 1;
    const int oddColumn = position & 1;
    return oddRow != oddColumn ? 2 : oddRow;
}

// Scaling of QP%6 by class (the matrix v of ITU-T H.264 clause 8.5.9) and its inverse for encoders.
constexpr Qvo16s dequantBase[6][3] = {{10, 16, 13}, {11, 18, 14}, {13, 20, 16},
                                      {14, 23, 18}, {16, 25, 20}, {18, 29, 23}};
constexpr Qvo16s quantBase[6][3] = {{13107, 5243, 8066}, {11916, 4660, 7490}, {10082, 4194, 6554},
                                    {9362, 3647, 5825},  {8192, 3355, 5243},  {7282, 2893, 4559}};
constexpr Qvo16s weightBase[3] = {16, 25, 20};

template <int rows>
struct ByPosition {
    Qvo16s row[rows][16];
};

// dequantTable.row[QP]: the factor of each position, at most 29 << 8.
constexpr ByPosition<maxQP + 1> dequantTable = [] {
    ByPosition<maxQP + 1> table{};
    for (int qp = 0; qp <= maxQP; ++qp) {
        for (int i = 0; i < 16; ++i)
            table.row[qp][i] = wrap16(dequantBase[qp % 6][classOf(i)] << (qp / 6));
    }
    return table;
}();

// quantTable.row[QP % 6]: the multiplier of each position.
constexpr ByPosition<6> quantTable = [] {
    ByPosition<6> table{};
    for (int rem = 0; rem < 6; ++rem) {
        for (int i = 0; i < 16; ++i)
            table.row[rem][i] = quantBase[rem][classOf(i)];
    }
    return table;
}();

// ---- transforms ----

struct Four {
    Qvo32s a, b, c, d;
};

constexpr Four inverseCore(Qvo32s a, Qvo32s b, Qvo32s c, Qvo32s d) {
    const Qvo32s e = a + c;
    const Qvo32s f = a - c;
    const Qvo32s g = (b >> 1) - d;
    const Qvo32s h = b + (d >> 1);
    return {e + h, f + g, f - g, e - h};
}

constexpr Four forwardCore(Qvo32s s0, Qvo32s s1, Qvo32s s2, Qvo32s s3) {
    const Qvo32s p = s0 + s3;
    const Qvo32s q = s1 + s2;
    const Qvo32s r = s1 - s2;
    const Qvo32s t = s0 - s3;
    return {p + q, 2 * t + r, p - q, t - 2 * r};
}

constexpr Four hadamard(Qvo32s a, Qvo32s b, Qvo32s c, Qvo32s d) {
    return {a + b + c + d, a + b - c - d, a - b - c + d, a - b + c - d};
}

constexpr Four hadamard2x2(const Qvo16s* c) {
    return {c[0] + c[1] + c[2] + c[3], c[0] - c[1] + c[2] - c[3], c[0] + c[1] - c[2] - c[3],
            c[0] - c[1] - c[2] + c[3]};
}

// Applies a transform to the rows of the 16 contiguous values and then to the columns; finish turns the 32-bit sums
// into what is stored. In-place use is allowed.
template <Four (*transform)(Qvo32s, Qvo32s, Qvo32s, Qvo32s), class Finish>
void transform4x4(const Qvo16s* in, Qvo16s* out, Finish finish) {
    Qvo16s rows[16];
    for (int i = 0; i < 16; i += 4) {
        const Four v = transform(in[i], in[i + 1], in[i + 2], in[i + 3]);
        rows[i] = wrap16(v.a);
        rows[i + 1] = wrap16(v.b);
        rows[i + 2] = wrap16(v.c);
        rows[i + 3] = wrap16(v.d);
    }
    for (int x = 0; x < 4; ++x) {
        const Four v = transform(rows[x], rows[x + 4], rows[x + 8], rows[x + 12]);
        out[x] = wrap16(finish(v.a));
        out[x + 4] = wrap16(finish(v.b));
        out[x + 8] = wrap16(finish(v.c));
        out[x + 12] = wrap16(finish(v.d));
    }
}

constexpr Qvo32s roundResidual(Qvo32s v) {
    return (v + 32) >> 6;
}

// Multiplies the 16 levels by their factors; a DC that was scaled elsewhere takes the place of the first product.
void dequantise(const Qvo16s* levels, const Qvo16s* pDC, Qvo32s qp, Qvo16s* coefs) {
    const Qvo16s* const factors = dequantTable.row[qp];
    for (int i = 0; i < 16; ++i)
        coefs[i] = wrap16(levels[i] * factors[i]);
    if (pDC) coefs[0] = *pDC;
}

Qvo32s dcOf(const Qvo16s* levels, const Qvo16s* pDC, Qvo32s qp) {
    return pDC ? *pDC : wrap16(levels[0] * dequantTable.row[qp][0]);
}

void addResidual(const Qvo8u* pPred, Qvo32s predStep, const Qvo16s* residual, Qvo8u* pDst, Qvo32s dstStep) {
    Qvo8u sum[16];
    for (int y = 0; y < 4; ++y, pPred += predStep)
        std::memcpy(sum + 4 * y, pPred, 4);
    for (int i = 0; i < 16; ++i)
        sum[i] = clip8u(sum[i] + residual[i]);
    for (int y = 0; y < 4; ++y, pDst += dstStep)
        std::memcpy(pDst, sum + 4 * y, 4);
}

// ---- forward quantisation ----

struct Quantiser {
    const Qvo16s* multipliers;  // by position
    Qvo32s qbits;
    Qvo32u offset;

    Qvo32u level(Qvo32s c, int position) const {
        const Qvo32u magnitude = static_cast<Qvo16u>(c < 0 ? -c : c);
        return (magnitude * static_cast<Qvo16u>(multipliers[position]) + offset) >> qbits;
    }
};

Quantiser quantiserOf(const Qvo16s* multipliers, Qvo32s qbits, bool intra) {
    return {multipliers, qbits, (1u << qbits) / (intra ? 3 : 6)};
}

// The DC forms use the multiplier of class 0 at every position, and one bit more of precision.
Quantiser dcQuantiserOf(Qvo32s qp, bool intra) {
    static constexpr ByPosition<6> multipliers = [] {
        ByPosition<6> table{};
        for (int rem = 0; rem < 6; ++rem) {
            for (int i = 0; i < 16; ++i)
                table.row[rem][i] = quantBase[rem][0];
        }
        return table;
    }();
    return quantiserOf(multipliers.row[qp % 6], 16 + qp / 6, intra);
}

// Quantises `size` values (which may be the levels' own memory) and counts the levels that are not 0, negated if the
// first one is among them. A level beyond the limit stops the work where it stands.
template <int size>
QvoStatus quantise(const Qvo16s* values, const Quantiser& quantiser, Qvo16s* pLevels, Qvo8s* pCount) {
    Qvo16s levels[size];
    Qvo32s count = 0;
    Qvo32s largest = 0;
    for (int i = 0; i < size; ++i) {
        const Qvo32s level = static_cast<Qvo32s>(quantiser.level(values[i], i));
        levels[i] = wrap16(values[i] < 0 ? -level : level);
        count += level != 0;
        largest = level > largest ? level : largest;
    }
    if (largest > maxLevel) {
        count = 0;
        int i = 0;
        for (; levels[i] >= -maxLevel && levels[i] <= maxLevel; ++i) {
            pLevels[i] = levels[i];
            count += levels[i] != 0;
        }
        *pCount = static_cast<Qvo8s>(count);
        return qvoStatusLevelOverflow;
    }
    std::memcpy(pLevels, levels, sizeof levels);
    *pCount = static_cast<Qvo8s>(levels[0] != 0 ? -count : count);
    return qvoStatusOk;
}

// The largest scan position among the levels that are not 0.
Qvo8u lastPosition(const Qvo16s* levels, const Qvo16s* pScanPositions) {
    Qvo16s last = 0;
    for (int i = 0; i < 16; ++i) {
        const Qvo16s position = levels[i] != 0 ? pScanPositions[i] : Qvo16s{0};
        last = position > last ? position : last;
    }
    return static_cast<Qvo8u>(last);
}

// ---- SP and SI slices ----

// Quantises with half a step of rounding and dequantises again, with QS.
Qvo16s requantise(Qvo32s s, Qvo32s multiplier, Qvo32s qbits, Qvo32s factor) {
    const Qvo32s level = ((s < 0 ? -s : s) * multiplier + (1 << (qbits - 1))) >> qbits;
    return wrap16((s < 0 ? -level : level) * factor);
}

bool outside(Qvo32s qp, Qvo32s limit) {
    return qp < 0 || qp > limit;
}

}  // namespace

QvoStatus qvoiTransformDequantLumaDC_H264_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP) {
    if (anyNull(pSrcDst)) return qvoStatusNullPtr;
    if (outside(QP, maxQP)) return qvoStatusOutOfRange;
    const Qvo32s shift = QP < 12 ? 2 - QP / 6 : 0;
    const Qvo32s round = shift;
    const Qvo32s factor = QP < 12 ? dequantBase[QP % 6][0] : dequantBase[QP % 6][0] << (QP / 6 - 2);
    transform4x4<hadamard>(pSrcDst, pSrcDst, [=](Qvo32s v) { return (v * factor + round) >> shift; });
    return qvoStatusOk;
}

QvoStatus qvoiTransformDequantChromaDC_H264_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP) {
    if (anyNull(pSrcDst)) return qvoStatusNullPtr;
    if (outside(QP, maxQP)) return qvoStatusOutOfRange;
    const Qvo32s factor = dequantTable.row[QP][0];
    const Four v = hadamard2x2(pSrcDst);
    pSrcDst[0] = wrap16((v.a * factor) >> 1);
    pSrcDst[1] = wrap16((v.b * factor) >> 1);
    pSrcDst[2] = wrap16((v.c * factor) >> 1);
    pSrcDst[3] = wrap16((v.d * factor) >> 1);
    return qvoStatusOk;
}

QvoStatus qvoiDequantTransformResidual_H264_16s_C1I(Qvo16s* pSrcDst, Qvo32s step, const Qvo16s* pDC, Qvo32u AC,
                                                    Qvo32s QP) {
    if (anyNull(pSrcDst)) return qvoStatusNullPtr;
    if (outside(QP, maxQP)) return qvoStatusOutOfRange;
    if (step < 8) return qvoStatusStep;
    Qvo16s block[16];
    if (AC) {
        for (int y = 0; y < 4; ++y)
            std::memcpy(block + 4 * y, stepBytes(pSrcDst, y * step), 8);
        dequantise(block, pDC, QP, block);
        transform4x4<inverseCore>(block, block, roundResidual);
    } else {
        const Qvo16s residual = wrap16(roundResidual(dcOf(pSrcDst, pDC, QP)));
        for (Qvo16s& r : block)
            r = residual;
    }
    for (int y = 0; y < 4; ++y)
        std::memcpy(stepBytes(pSrcDst, y * step), block + 4 * y, 8);
    return qvoStatusOk;
}

QvoStatus qvoiDequantTransformResidualAndAdd_H264_16s_C1I(const Qvo8u* pPred, Qvo16s* pCoef, const Qvo16s* pDC,
                                                          Qvo8u* pDst, Qvo32s predStep, Qvo32s dstStep, Qvo32s QP,
                                                          Qvo32u AC) {
    if (anyNull(pPred, pDst)) return qvoStatusNullPtr;
    if (outside(QP, maxQP)) return qvoStatusOutOfRange;
    if (anyNull(pCoef) && (AC || anyNull(pDC))) return qvoStatusNullPtr;
    Qvo16s residual[16];
    if (AC) {
        dequantise(pCoef, pDC, QP, residual);
        transform4x4<inverseCore>(residual, residual, roundResidual);
        std::memcpy(pCoef, residual, sizeof residual);
    } else {
        const Qvo16s same = wrap16(roundResidual(dcOf(pCoef, pDC, QP)));
        for (Qvo16s& r : residual)
            r = same;
    }
    addResidual(pPred, predStep, residual, pDst, dstStep);
    return qvoStatusOk;
}

QvoStatus qvoiTransformPrediction_H264_8u16s_C1(const Qvo8u* pSrc, Qvo32s step, Qvo16s* pDst) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    Qvo16s samples[16];
    for (int y = 0; y < 4; ++y, pSrc += step) {
        for (int x = 0; x < 4; ++x)
            samples[4 * y + x] = pSrc[x];
    }
    transform4x4<forwardCore>(samples, pDst, [](Qvo32s v) { return v; });
    return qvoStatusOk;
}

QvoStatus qvoiDequantTransformResidual_SISP_H264_16s_C1I(Qvo16s* pSrcDst, const Qvo16s* pPredCoef, const Qvo16s* pDC,
                                                         Qvo32u AC, Qvo32s QP, Qvo32s QS, Qvo32u switching) {
    if (anyNull(pSrcDst, pPredCoef)) return qvoStatusNullPtr;
    const Qvo16s* const factors = dequantTable.row[switching ? QS : QP];
    Qvo16s coefs[16];
    for (int i = 0; i < 16; ++i) {
        const Qvo32s level = i == 0 || AC ? pSrcDst[i] : 0;
        const Qvo32s s = pPredCoef[i] + ((level * factors[i] * weightBase[classOf(i)]) >> 6);
        coefs[i] = requantise(s, quantTable.row[QS % 6][i], QS / 6 + 15, dequantTable.row[QS][i]);
    }
    if (pDC) coefs[0] = *pDC;
    transform4x4<inverseCore>(coefs, pSrcDst, [](Qvo32s v) { return clamp(roundResidual(v), 0, 255); });
    return qvoStatusOk;
}

QvoStatus qvoiTransformDequantChromaDC_SISP_H264_16s_C1I(Qvo16s* pSrcDst, const Qvo16s* pPredDC, Qvo32s QP, Qvo32s QS,
                                                         Qvo32u switching) {
    if (anyNull(pSrcDst, pPredDC)) return qvoStatusNullPtr;
    const Qvo32s factor = dequantTable.row[switching ? QS : QP][0];
    const auto reconstruct = [=](Qvo32s predicted, Qvo32s level) {
        const Qvo32s s = predicted + ((level * factor) >> 5);
        return requantise(s, quantTable.row[QS % 6][0], QS / 6 + 16, dequantTable.row[QS][0]);
    };
    const Four predicted = hadamard2x2(pPredDC);
    const Qvo16s coefs[4] = {reconstruct(predicted.a, pSrcDst[0]), reconstruct(predicted.b, pSrcDst[1]),
                             reconstruct(predicted.c, pSrcDst[2]), reconstruct(predicted.d, pSrcDst[3])};
    const Four v = hadamard2x2(coefs);
    pSrcDst[0] = wrap16(v.a >> 1);
    pSrcDst[1] = wrap16(v.b >> 1);
    pSrcDst[2] = wrap16(v.c >> 1);
    pSrcDst[3] = wrap16(v.d >> 1);
    return qvoStatusOk;
}

QvoStatus qvoiTransformQuantChromaDC_H264_16s_C1I(Qvo16s* pSrcDst, Qvo16s* pTransformed, Qvo32s QP, Qvo8s* pCount,
                                                  Qvo8u intra, Qvo8u transform) {
    if (anyNull(pSrcDst, pTransformed, pCount)) return qvoStatusNullPtr;
    if (outside(QP, maxChromaDCQP)) return qvoStatusOutOfRange;
    if (transform) {
        const Four v = hadamard2x2(pSrcDst);
        pTransformed[0] = wrap16(v.a);
        pTransformed[1] = wrap16(v.b);
        pTransformed[2] = wrap16(v.c);
        pTransformed[3] = wrap16(v.d);
    }
    return quantise<4>(pTransformed, dcQuantiserOf(QP, intra != 0), pSrcDst, pCount);
}

QvoStatus qvoiTransformQuantLumaDC_H264_16s_C1I(Qvo16s* pSrcDst, Qvo16s* pTransformed, Qvo32s QP, Qvo8s* pCount,
                                                Qvo8u transform, const Qvo16s* pScanPositions, Qvo8u* pLast) {
    if (anyNull(pSrcDst, pTransformed, pCount, pScanPositions, pLast)) {
        return qvoStatusNullPtr;
    }
    if (outside(QP, maxQP)) return qvoStatusOutOfRange;
    if (transform) transform4x4<hadamard>(pSrcDst, pTransformed, [](Qvo32s v) { return v >> 1; });
    const QvoStatus status = quantise<16>(pTransformed, dcQuantiserOf(QP, true), pSrcDst, pCount);
    if (status == qvoStatusOk) *pLast = lastPosition(pSrcDst, pScanPositions);
    return status;
}

QvoStatus qvoiTransformQuantResidual_H264_16s_C1I(Qvo16s* pSrcDst, Qvo32s QP, Qvo8s* pCount, Qvo8u intra,
                                                  const Qvo16s* pScanPositions, Qvo8u* pLast) {
    if (anyNull(pSrcDst, pCount, pScanPositions, pLast)) return qvoStatusNullPtr;
    if (outside(QP, maxQP)) return qvoStatusOutOfRange;
    transform4x4<forwardCore>(pSrcDst, pSrcDst, [](Qvo32s v) { return v; });
    const Quantiser quantiser = quantiserOf(quantTable.row[QP % 6], 15 + QP / 6, intra != 0);
    const QvoStatus status = quantise<16>(pSrcDst, quantiser, pSrcDst, pCount);
    if (status == qvoStatusOk) *pLast = lastPosition(pSrcDst, pScanPositions);
    return status;
}
