// The general 8x8 DCT pair: a fixed-point factorisation after Loeffler with a 16-bit intermediate block, and the
// inverse forms for blocks with a 4x4 or 2x2 corner of coefficients.
#include "core/arith.h"
#include "qvovc/transform.h"
#include "transform/pass.h"

using namespace qvovc;

namespace {

// ck is cos(k pi / 16). 15 fractional bits.
constexpr Qvo32s cos1 = 32138;
constexpr Qvo32s cos3 = 27246;
constexpr Qvo32s cos5 = 18205;
constexpr Qvo32s cos7 = 6393;
constexpr Qvo32s cos1cos7p = 38531;
constexpr Qvo32s cos1cos7m = 25746;
constexpr Qvo32s cos5cos3p = 45451;
constexpr Qvo32s cos5cos3m = -9041;
constexpr Qvo32s cos2s = 42813;
constexpr Qvo32s cos6s = 17734;
constexpr Qvo32s cos2cos6ps = 60547;
constexpr Qvo32s cos2cos6ms = 25080;
constexpr Qvo32s sqrt2 = 46341;
// 12 fractional bits.
constexpr Qvo32s sqrt2o = 5793;
constexpr Qvo32s cos7o = 799;
constexpr Qvo32s cos3o = 3406;
constexpr Qvo32s cos1cos7po = 4816;
constexpr Qvo32s cos1cos7mo = 3218;
constexpr Qvo32s cos5cos3po = 5681;
constexpr Qvo32s cos5cos3mo = -1130;

template <int shift>
inline Qvo32s scaleDown(Qvo32s v) {
    return (v + (1 << (shift - 1))) >> shift;
}

// The passes' shifts: into the intermediate block with its three more fractional bits, and into the result.
constexpr int intermediate = 12;
constexpr int result = 21;

// One inverse pass, which takes the first 8, 4 or 2 rows as its input. The rotations of the flow are multiplied out,
// which changes nothing modulo 2^32: (x5 + x3) * cos3 + x5 * cos5cos3m is x5 * (cos3 + cos5cos3m) + x3 * cos3.
template <int inputs, int shift>
inline void inversePass(const Qvo16s* pSrc, Qvo16s* pDst) {
    for (int i = 0; i < 8; ++i) {
        const Qvo16s x0 = pSrc[i], x1 = pSrc[8 + i];
        Qvo32s a17, b17, a35 = 0, b35 = 0, r2 = 0, r6 = 0, z0 = x0 << 15, z1 = z0;
        if constexpr (inputs == 8) {
            const Qvo16s x2 = pSrc[16 + i], x3 = pSrc[24 + i];
            const Qvo16s x4 = pSrc[32 + i], x5 = pSrc[40 + i];
            const Qvo16s x6 = pSrc[48 + i], x7 = pSrc[56 + i];
            a17 = times<cos7 + cos1cos7m>(x1) + times<cos7>(x7);
            b17 = times<cos7>(x1) + times<cos7 - cos1cos7p>(x7);
            a35 = times<cos3>(x3) + times<cos3 + cos5cos3m>(x5);
            b35 = times<cos3 - cos5cos3p>(x3) + times<cos3>(x5);
            r2 = times<cos6s + cos2cos6ms>(x2) + times<cos6s>(x6);
            r6 = times<cos6s>(x2) - times<cos2cos6ps - cos6s>(x6);
            z0 += x4 << 15;
            z1 -= x4 << 15;
        } else {
            a17 = times<cos1>(x1);
            b17 = times<cos7>(x1);
            if constexpr (inputs == 4) {
                const Qvo16s x2 = pSrc[16 + i], x3 = pSrc[24 + i];
                a35 = times<cos3>(x3);
                b35 = times<-cos5>(x3);
                r2 = times<cos2s>(x2);
                r6 = times<cos6s>(x2);
            }
        }
        const Qvo32s p0 = scaleDown<12>(a35 + a17) * sqrt2o;
        const Qvo32s p3 = scaleDown<12>(b35 + b17) * sqrt2o;
        const Qvo32s d = a17 - a35, e = b17 - b35;
        const Qvo32s p1 = d + e, p2 = d - e;
        const Qvo32s e0 = z0 + r2, e3 = z0 - r2;
        const Qvo32s e1 = z1 + r6, e2 = z1 - r6;
        pDst[i] = wrap16(scaleDown<shift>(e0 + p0));
        pDst[8 + i] = wrap16(scaleDown<shift>(e1 + p1));
        pDst[16 + i] = wrap16(scaleDown<shift>(e2 + p2));
        pDst[24 + i] = wrap16(scaleDown<shift>(e3 + p3));
        pDst[32 + i] = wrap16(scaleDown<shift>(e3 - p3));
        pDst[40 + i] = wrap16(scaleDown<shift>(e2 - p2));
        pDst[48 + i] = wrap16(scaleDown<shift>(e1 - p1));
        pDst[56 + i] = wrap16(scaleDown<shift>(e0 - p0));
    }
}

// Whether a block has no coefficient but DC. The two coefficients looked at first are other than zero in most blocks
// that have any.
inline bool isFlat(const Qvo16s* pSrc) {
    if ((pSrc[1] | pSrc[8]) != 0) return false;
    Qvo16s any = 0;
    for (int i = 1; i < 8; ++i)
        any = static_cast<Qvo16s>(any | pSrc[i]);
    for (int i = 8; i < 64; ++i)
        any = static_cast<Qvo16s>(any | pSrc[i]);
    return any == 0;
}

// The transform of a block of which the top left corner of inputs x inputs coefficients counts. The first pass goes
// over the columns beside the corner too, but the second takes no input from them.
template <int inputs>
inline void inverse(const Qvo16s* pSrc, Qvo16s* pDst) {
    if constexpr (inputs == 8) {
        if (isFlat(pSrc)) {
            const Qvo16s value = wrap16(scaleDown<6>(wrap16(pSrc[0] * 8)));
            for (int i = 0; i < 64; ++i)
                pDst[i] = value;
            return;
        }
    }
    Qvo16s a[64], b[64];
    inversePass<inputs, intermediate>(pSrc, a);
    transpose(a, b);
    inversePass<inputs, result>(b, a);
    transpose(a, pDst);
}

inline void storePixels(const Qvo16s* pSrc, Qvo8u* pDst, Qvo32s dstStep) {
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x)
            pDst[x] = clip8u(pSrc[8 * y + x]);
        pDst += dstStep;
    }
}

template <int shift>
inline void forwardPass(const Qvo16s* pSrc, Qvo16s* pDst) {
    for (int i = 0; i < 8; ++i) {
        const Qvo32s x0 = pSrc[i], x1 = pSrc[8 + i], x2 = pSrc[16 + i], x3 = pSrc[24 + i];
        const Qvo32s x4 = pSrc[32 + i], x5 = pSrc[40 + i], x6 = pSrc[48 + i], x7 = pSrc[56 + i];
        const Qvo32s a = (x0 + x7) + (x3 + x4), b = (x0 + x7) - (x3 + x4);
        const Qvo32s c = (x1 + x6) + (x2 + x5), d = (x1 + x6) - (x2 + x5);
        const Qvo32s m = (b + d) * cos6s;
        const Qvo32s q0 = scaleDown<12>((x0 - x7) * sqrt2), q3 = scaleDown<12>((x3 - x4) * sqrt2);
        const Qvo32s u = ((x1 - x6) + (x2 - x5)) * 8, w = ((x1 - x6) - (x2 - x5)) * 8;
        const Qvo32s k1 = q0 + u, k2 = q0 - u, k3 = q3 + w, k4 = q3 - w;
        const Qvo32s h17 = (k1 + k3) * cos7o, h35 = (k2 + k4) * cos3o;
        if constexpr (shift == intermediate) {
            pDst[i] = wrap16((a + c) * 8);
            pDst[32 + i] = wrap16((a - c) * 8);
        } else {
            pDst[i] = wrap16(scaleDown<6>(a + c));
            pDst[32 + i] = wrap16(scaleDown<6>(a - c));
        }
        pDst[16 + i] = wrap16(scaleDown<shift>(cos2cos6ms * b + m));
        pDst[48 + i] = wrap16(scaleDown<shift>(m - cos2cos6ps * d));
        pDst[8 + i] = wrap16(scaleDown<shift>(h17 + cos1cos7mo * k1));
        pDst[56 + i] = wrap16(scaleDown<shift>(h17 - cos1cos7po * k3));
        pDst[24 + i] = wrap16(scaleDown<shift>(h35 - cos5cos3po * k4));
        pDst[40 + i] = wrap16(scaleDown<shift>(h35 + cos5cos3mo * k2));
    }
}

inline void forward(const Qvo16s* pSrc, Qvo16s* pDst) {
    Qvo16s a[64], b[64];
    transpose(pSrc, a);
    forwardPass<intermediate>(a, b);
    transpose(b, a);
    forwardPass<result>(a, b);
    for (int i = 0; i < 64; ++i)
        pDst[i] = b[i];
}

}  // namespace

QvoStatus qvoiDCT8x8Fwd_16s_C1(const Qvo16s* pSrc, Qvo16s* pDst) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    forward(pSrc, pDst);
    return qvoStatusOk;
}

QvoStatus qvoiDCT8x8Fwd_8u16s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo16s* pDst) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    if (srcStep < 1) return qvoStatusStep;
    Qvo16s block[64];
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x)
            block[8 * y + x] = pSrc[x];
        pSrc += srcStep;
    }
    forward(block, pDst);
    return qvoStatusOk;
}

QvoStatus qvoiDCT8x8Inv_16s_C1(const Qvo16s* pSrc, Qvo16s* pDst) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    inverse<8>(pSrc, pDst);
    return qvoStatusOk;
}

QvoStatus qvoiDCT8x8Inv_16s_C1I(Qvo16s* pSrcDst) {
    return qvoiDCT8x8Inv_16s_C1(pSrcDst, pSrcDst);
}

QvoStatus qvoiDCT8x8Inv_16s8u_C1R(const Qvo16s* pSrc, Qvo8u* pDst, Qvo32s dstStep) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    if (dstStep < 1) return qvoStatusStep;
    Qvo16s block[64];
    inverse<8>(pSrc, block);
    storePixels(block, pDst, dstStep);
    return qvoStatusOk;
}

QvoStatus qvoiDCTInv_8x8_16s8u(const Qvo16s* pSrc, Qvo8u* pDst, Qvo32s dstStep) {
    if (pDst == nullptr) return qvoStatusNullPtr;
    if (dstStep < 8) return qvoStatusBlockStep;
    return qvoiDCT8x8Inv_16s8u_C1R(pSrc, pDst, dstStep);
}

QvoStatus qvoiDCT8x8Inv_4x4_16s_C1I(Qvo16s* pSrcDst) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    inverse<4>(pSrcDst, pSrcDst);
    return qvoStatusOk;
}

QvoStatus qvoiDCT8x8Inv_2x2_16s_C1I(Qvo16s* pSrcDst) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    inverse<2>(pSrcDst, pSrcDst);
    return qvoStatusOk;
}
