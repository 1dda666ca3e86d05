// The 2-4-8 DCT of DV: the 4-point transforms of sums and differences of line pairs go down the columns, an 8-point
// transform along the rows. The rows 1, 3, 5, 7 of the vertical transform come without the factor sqrt(2) cos(pi/8),
// which the row pass brings in.
#include "core/arith.h"
#include "qvovc/transform.h"
#include "transform/pass.h"

using namespace qvovc;

namespace {

// Weights of the row pass by frequency, those of even and of odd rows in turn, so that eight rows side by side find
// theirs: the pass works on a transposed block.
struct Weights {
    Qvo16s w[8][8];
    constexpr Weights(const Qvo16s (&even)[8], const Qvo16s (&odd)[8]) : w() {
        for (int k = 0; k < 8; ++k) {
            for (int row = 0; row < 8; ++row)
                w[k][row] = row % 2 == 0 ? even[k] : odd[k];
        }
    }
};

// cos(k pi/16) / (4 sqrt(2)) with 16 fractional bits (1/8 for k = 0); odd rows times sqrt(2) cos(pi/8).
constexpr Weights forwardWeights({8192, 11363, 10703, 9633, 8192, 6436, 4433, 2260},
                                 {10703, 14846, 13985, 12586, 10703, 8410, 5793, 2953});

// sqrt(2) cos(k pi/16) with 14 fractional bits (1 for k = 0); odd rows divided by sqrt(2) cos(pi/8).
constexpr Weights inverseWeights({16384, 22725, 21407, 19266, 16384, 12873, 8867, 4520},
                                 {12540, 17393, 16384, 14745, 12540, 9852, 6786, 3460});

// tan(pi/8) with 16 fractional bits, and sin(pi/8) cos(pi/8) and cos(pi/8)^2 with 15.
constexpr Qvo32s tan8 = 27146;
constexpr Qvo32s sinCos8 = 11585;
constexpr Qvo32s cosCos8 = 27969;

// The row pass of the inverse leaves three fractional bits, the 4-point transforms bring a factor of 8.
constexpr int rowShift = 14 - 3;
constexpr int columnShift = 14 + 3 + 3;

inline Qvo32s scaleDown16(Qvo32s v) {
    return (v + 32768) >> 16;
}

void forwardColumns(const Qvo16s* pSrc, Qvo16s* pDst) {
    for (int i = 0; i < 8; ++i) {
        const Qvo32s x0 = pSrc[i], x1 = pSrc[8 + i], x2 = pSrc[16 + i], x3 = pSrc[24 + i];
        const Qvo32s x4 = pSrc[32 + i], x5 = pSrc[40 + i], x6 = pSrc[48 + i], x7 = pSrc[56 + i];
        const Qvo32s s0 = x0 + x1, s1 = x2 + x3, s2 = x4 + x5, s3 = x6 + x7;
        const Qvo32s a = x0 - x1, b = x2 - x3, c = x4 - x5, d = x6 - x7;
        pDst[i] = wrap16((s0 + s3) + (s1 + s2));
        pDst[8 + i] = wrap16(scaleDown16((s1 - s2) * tan8) + (s0 - s3));
        pDst[16 + i] = wrap16((s0 + s3) - (s1 + s2));
        pDst[24 + i] = wrap16(scaleDown16((s0 - s3) * tan8) + (s2 - s1));
        pDst[32 + i] = wrap16((a + d) + (b + c));
        pDst[40 + i] = wrap16(scaleDown16((b - c) * tan8) + (a - d));
        pDst[48 + i] = wrap16((a + d) - (b + c));
        pDst[56 + i] = wrap16(scaleDown16((a - d) * tan8) - (b - c));
    }
}

void forwardRows(const Qvo16s* pSrc, Qvo16s* pDst) {
    for (int i = 0; i < 8; ++i) {
        const Qvo32s x0 = pSrc[i], x1 = pSrc[8 + i], x2 = pSrc[16 + i], x3 = pSrc[24 + i];
        const Qvo32s x4 = pSrc[32 + i], x5 = pSrc[40 + i], x6 = pSrc[48 + i], x7 = pSrc[56 + i];
        const Qvo32s s07 = x0 + x7, s16 = x1 + x6, s25 = x2 + x5, s34 = x3 + x4;
        const Qvo32s d07 = x0 - x7, d16 = x1 - x6, d25 = x2 - x5, d34 = x3 - x4;
        const auto& w = forwardWeights.w;
        const Qvo32s w0 = w[0][i], w1 = w[1][i], w2 = w[2][i], w3 = w[3][i], w5 = w[5][i], w6 = w[6][i], w7 = w[7][i];
        pDst[i] = wrap16(scaleDown16(w0 * (s07 + s16 + s25 + s34)));
        pDst[8 + i] = wrap16(scaleDown16(w1 * d07 + w3 * d16 + w5 * d25 + w7 * d34));
        pDst[16 + i] = wrap16(scaleDown16(w2 * (s07 - s34) + w6 * (s16 - s25)));
        pDst[24 + i] = wrap16(scaleDown16(w3 * d07 - w7 * d16 - w1 * d25 - w5 * d34));
        pDst[32 + i] = wrap16(scaleDown16(w0 * (s07 - s16 - s25 + s34)));
        pDst[40 + i] = wrap16(scaleDown16(w5 * d07 - w1 * d16 + w7 * d25 + w3 * d34));
        pDst[48 + i] = wrap16(scaleDown16(w6 * (s07 - s34) - w2 * (s16 - s25)));
        pDst[56 + i] = wrap16(scaleDown16(w7 * d07 - w5 * d16 + w3 * d25 - w1 * d34));
    }
}

void inverseRows(const Qvo16s* pSrc, Qvo16s* pDst) {
    for (int i = 0; i < 8; ++i) {
        const Qvo16s x0 = pSrc[i], x1 = pSrc[8 + i], x2 = pSrc[16 + i], x3 = pSrc[24 + i];
        const Qvo16s x4 = pSrc[32 + i], x5 = pSrc[40 + i], x6 = pSrc[48 + i], x7 = pSrc[56 + i];
        const auto& w = inverseWeights.w;
        const Qvo16s w0 = w[0][i], w1 = w[1][i], w2 = w[2][i], w3 = w[3][i], w5 = w[5][i], w6 = w[6][i], w7 = w[7][i];
        const Qvo32s a0 = w0 * x0 + w0 * x4, a1 = w0 * x0 - w0 * x4;
        const Qvo32s b0 = w2 * x2 + w6 * x6, b1 = w6 * x2 - w2 * x6;
        const Qvo32s e0 = a0 + b0, e1 = a1 + b1, e2 = a1 - b1, e3 = a0 - b0;
        const Qvo32s o0 = w1 * x1 + w3 * x3 + w5 * x5 + w7 * x7;
        const Qvo32s o1 = w3 * x1 - w7 * x3 - w1 * x5 - w5 * x7;
        const Qvo32s o2 = w5 * x1 - w1 * x3 + w7 * x5 + w3 * x7;
        const Qvo32s o3 = w7 * x1 - w5 * x3 + w3 * x5 - w1 * x7;
        constexpr Qvo32s half = 1 << (rowShift - 1);
        pDst[i] = wrap16((e0 + o0 + half) >> rowShift);
        pDst[8 + i] = wrap16((e1 + o1 + half) >> rowShift);
        pDst[16 + i] = wrap16((e2 + o2 + half) >> rowShift);
        pDst[24 + i] = wrap16((e3 + o3 + half) >> rowShift);
        pDst[32 + i] = wrap16((e3 - o3 + half) >> rowShift);
        pDst[40 + i] = wrap16((e2 - o2 + half) >> rowShift);
        pDst[48 + i] = wrap16((e1 - o1 + half) >> rowShift);
        pDst[56 + i] = wrap16((e0 - o0 + half) >> rowShift);
    }
}

// Four rows of the vertical transform back to the sums (or differences) of four line pairs, times 4 and with 14 more
// fractional bits. With p = S0 - S3 and q = S1 - S2 row 1 is p + q tan(pi/8) and row 3 is p tan(pi/8) - q, so that
// p = (row 1 + row 3 tan(pi/8)) cos(pi/8)^2 and q = (row 1 tan(pi/8) - row 3) cos(pi/8)^2.
inline void inverseFour(Qvo16s r0, Qvo16s r1, Qvo16s r2, Qvo16s r3, Qvo32s (&s)[4]) {
    const Qvo32s outer = (r0 + r2) * 16384, inner = (r0 - r2) * 16384;
    const Qvo32s p = r1 * cosCos8 + r3 * sinCos8;
    const Qvo32s q = r1 * sinCos8 - r3 * cosCos8;
    s[0] = outer + p;
    s[1] = inner + q;
    s[2] = inner - q;
    s[3] = outer - p;
}

void inverseColumns(const Qvo16s* pSrc, Qvo16s* pDst) {
    for (int i = 0; i < 8; ++i) {
        Qvo32s sum[4], difference[4];
        inverseFour(pSrc[i], pSrc[8 + i], pSrc[16 + i], pSrc[24 + i], sum);
        inverseFour(pSrc[32 + i], pSrc[40 + i], pSrc[48 + i], pSrc[56 + i], difference);
        constexpr Qvo32s half = 1 << (columnShift - 1);
        for (int k = 0; k < 4; ++k) {
            pDst[16 * k + i] = wrap16((sum[k] + difference[k] + half) >> columnShift);
            pDst[16 * k + 8 + i] = wrap16((sum[k] - difference[k] + half) >> columnShift);
        }
    }
}

}  // namespace

QvoStatus qvoiDCT2x4x8Frw_16s_C1I(Qvo16s* pSrcDst) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    Qvo16s a[64], b[64];
    forwardColumns(pSrcDst, a);
    transpose(a, b);
    forwardRows(b, a);
    transpose(a, pSrcDst);
    return qvoStatusOk;
}

QvoStatus qvoiDCT2x4x8Inv_16s_C1I(Qvo16s* pSrcDst) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    Qvo16s a[64], b[64];
    transpose(pSrcDst, a);
    inverseRows(a, b);
    transpose(b, a);
    inverseColumns(a, pSrcDst);
    return qvoStatusOk;
}
