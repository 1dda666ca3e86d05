// The inverse DCT of MPEG-1/2 for transposed coefficient blocks, with the shortcuts that the coefficient count
// selects.
#include <type_traits>

#include "core/arith.h"
#include "qvovc/transform.h"
#include "transform/pass.h"

using namespace qvovc;

namespace {

// cos(k pi / 16) with 16 fractional bits, truncated. g[0] is not used.
constexpr Qvo32s g[8] = {65536, 64276, 60547, 54491, 46340, 36409, 25079, 12785};

// One pass, which takes the first 4 or all 8 rows as its input. Shifted by 16 or more the sums are 16-bit numbers.
template <int inputs, Qvo32s rounding, int shift>
inline void pass(const Qvo16s* pSrc, Qvo16s* pDst) {
    for (int i = 0; i < 8; ++i) {
        const Qvo16s x0 = pSrc[i], x1 = pSrc[8 + i], x2 = pSrc[16 + i], x3 = pSrc[24 + i];
        Qvo32s a0 = times<g[4]>(x0), a1 = a0;
        Qvo32s b0 = times<g[2]>(x2), b1 = times<g[6]>(x2);
        Qvo32s o0 = times<g[1]>(x1) + times<g[3]>(x3);
        Qvo32s o1 = times<g[3]>(x1) - times<g[7]>(x3);
        Qvo32s o2 = times<g[5]>(x1) - times<g[1]>(x3);
        Qvo32s o3 = times<g[7]>(x1) - times<g[5]>(x3);
        if constexpr (inputs == 8) {
            const Qvo16s x4 = pSrc[32 + i], x5 = pSrc[40 + i], x6 = pSrc[48 + i], x7 = pSrc[56 + i];
            a0 += times<g[4]>(x4);
            a1 -= times<g[4]>(x4);
            b0 += times<g[6]>(x6);
            b1 -= times<g[2]>(x6);
            o0 += times<g[5]>(x5) + times<g[7]>(x7);
            o1 -= times<g[1]>(x5) + times<g[5]>(x7);
            o2 += times<g[7]>(x5) + times<g[3]>(x7);
            o3 += times<g[3]>(x5) - times<g[1]>(x7);
        }
        const Qvo32s e0 = a0 + b0 + rounding, e3 = a0 - b0 + rounding;
        const Qvo32s e1 = a1 + b1 + rounding, e2 = a1 - b1 + rounding;
        pDst[i] = wrap16((e0 + o0) >> shift);
        pDst[8 + i] = wrap16((e1 + o1) >> shift);
        pDst[16 + i] = wrap16((e2 + o2) >> shift);
        pDst[24 + i] = wrap16((e3 + o3) >> shift);
        pDst[32 + i] = wrap16((e3 - o3) >> shift);
        pDst[40 + i] = wrap16((e2 - o2) >> shift);
        pDst[48 + i] = wrap16((e1 - o1) >> shift);
        pDst[56 + i] = wrap16((e0 - o0) >> shift);
    }
}

// The transform of a block of which the top left corner of inputs x inputs coefficients counts. The first pass goes
// over the columns beside the corner too, but the second takes no input from them. The result is rounded by adding
// 0.625 of a unit.
template <int inputs>
inline void transform(const Qvo16s* pSrc, Qvo16s* pDst) {
    Qvo16s a[64], b[64];
    pass<inputs, 32768, 16>(pSrc, a);
    transpose(a, b);
    pass<inputs, 163840, 18>(b, pDst);
}

// The workers, one per shortcut. They leave 64 results that are yet to be saturated.

void idct0x0_block(const Qvo16s*, Qvo16s* pDst) {
    for (int i = 0; i < 64; ++i)
        pDst[i] = 0;
}

void idct1x1_block(const Qvo16s* pSrc, Qvo16s* pDst) {
    const Qvo16s value = static_cast<Qvo16s>(pSrc[0] / 8);
    for (int i = 0; i < 64; ++i)
        pDst[i] = value;
}

void idct4x4_block(const Qvo16s* pSrc, Qvo16s* pDst) {
    transform<4>(pSrc, pDst);
}

void idct8x8_block(const Qvo16s* pSrc, Qvo16s* pDst) {
    transform<8>(pSrc, pDst);
}

inline void inverse(const Qvo16s* pSrc, Qvo16s (&out)[64], Qvo32s count) {
    if (count == 0) return idct0x0_block(pSrc, out);
    if (count == 1) return idct1x1_block(pSrc, out);
    if (static_cast<Qvo32u>(count) <= 8) return idct4x4_block(pSrc, out);
    idct8x8_block(pSrc, out);
}

// Eight rows of `width` results, saturated to pixels or to the range of residuals.
template <int width, class T>
inline void store(const Qvo16s* pSrc, T* pDst, Qvo32s dstStep) {
    constexpr Qvo16s low = std::is_same_v<T, Qvo8u> ? 0 : -256;
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < width; ++x)
            pDst[x] = static_cast<T>(clamp(pSrc[width * y + x], low, 255));
        pDst = stepBytes(pDst, dstStep);
    }
}

template <class T>
inline QvoStatus inverseC1(const Qvo16s* pSrc, T* pDst, Qvo32s dstStep, Qvo32s count) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    Qvo16s out[64];
    inverse(pSrc, out, count);
    store<8>(out, pDst, dstStep);
    return qvoStatusOk;
}

template <class T>
inline QvoStatus inverseP2C2(const Qvo16s* pSrcU, const Qvo16s* pSrcV, T* pDst, Qvo32s dstStep, Qvo32s countU,
                             Qvo32s countV) {
    if (anyNull(pSrcU, pSrcV, pDst)) return qvoStatusNullPtr;
    Qvo16s u[64], v[64], out[128];
    inverse(pSrcU, u, countU);
    inverse(pSrcV, v, countV);
    interleave<64>(u, v, out);
    store<16>(out, pDst, dstStep);
    return qvoStatusOk;
}

}  // namespace

QvoStatus qvoiDCT8x8Inv_AANTransposed_16s_C1R(const Qvo16s* pSrc, Qvo16s* pDst, Qvo32s dstStep, Qvo32s count) {
    return inverseC1(pSrc, pDst, dstStep, count);
}

QvoStatus qvoiDCT8x8Inv_AANTransposed_16s8u_C1R(const Qvo16s* pSrc, Qvo8u* pDst, Qvo32s dstStep, Qvo32s count) {
    return inverseC1(pSrc, pDst, dstStep, count);
}

QvoStatus qvoiDCT8x8Inv_AANTransposed_16s_P2C2R(const Qvo16s* pSrcU, const Qvo16s* pSrcV, Qvo16s* pDst,
                                                Qvo32s dstStep, Qvo32s countU, Qvo32s countV) {
    return inverseP2C2(pSrcU, pSrcV, pDst, dstStep, countU, countV);
}

QvoStatus qvoiDCT8x8Inv_AANTransposed_16s8u_P2C2R(const Qvo16s* pSrcU, const Qvo16s* pSrcV, Qvo8u* pDst,
                                                  Qvo32s dstStep, Qvo32s countU, Qvo32s countV) {
    return inverseP2C2(pSrcU, pSrcV, pDst, dstStep, countU, countV);
}
