// The inverse DCT of MPEG-1/2 for transposed coefficient blocks, with the shortcuts that the coefficient count selects.
#include <cstring>
#include <type_traits>

#include "core/arith.h"
#include "qvovc/transform.h"
#include "transform/pass.h"

using namespace qvovc;

namespace {

// cos(k pi / 16) with 16 fractional bits, truncated. g[0] is not used.
constexpr Qvo32s g[8] = {65536, 64276, 60547, 54491, 46340, 36409, 25079, 12785};

// A result is rounded by adding 0.625 of a unit.
constexpr Qvo32s resultBias = 163840;
constexpr int resultShift = 18;

template <class T>
inline T saturate(Qvo32s v) {
    if constexpr (std::is_same_v<T, Qvo8u>) {
        return clip8u(v);
    } else {
        return static_cast<T>(clamp(v, -256, 255));
    }
}

// The eight sums of the even/odd flow over column i of `inputs` rows of `columns` elements.
template <int inputs, int columns>
inline void flow(const Qvo16s* pSrc, int i, Qvo32s (&sum)[8]) {
    const Qvo16s x0 = pSrc[i], x1 = pSrc[columns + i], x2 = pSrc[2 * columns + i], x3 = pSrc[3 * columns + i];
    Qvo32s c0 = times<g[4]>(x0), c1 = c0;
    Qvo32s c2 = times<g[2]>(x2), c3 = times<g[6]>(x2);
    Qvo32s o0 = times<g[1]>(x1) + times<g[3]>(x3);
    Qvo32s o1 = times<g[3]>(x1) - times<g[7]>(x3);
    Qvo32s o2 = times<g[5]>(x1) - times<g[1]>(x3);
    Qvo32s o3 = times<g[7]>(x1) - times<g[5]>(x3);
    if constexpr (inputs == 8) {
        const Qvo16s x4 = pSrc[4 * columns + i], x5 = pSrc[5 * columns + i];
        const Qvo16s x6 = pSrc[6 * columns + i], x7 = pSrc[7 * columns + i];
        c0 += times<g[4]>(x4);
        c1 -= times<g[4]>(x4);
        c2 += times<g[6]>(x6);
        c3 -= times<g[2]>(x6);
        o0 += times<g[5]>(x5) + times<g[7]>(x7);
        o1 -= times<g[1]>(x5) + times<g[5]>(x7);
        o2 += times<g[7]>(x5) + times<g[3]>(x7);
        o3 += times<g[3]>(x5) - times<g[1]>(x7);
    }
    const Qvo32s e0 = c0 + c2, e1 = c1 + c3, e2 = c1 - c3, e3 = c0 - c2;
    sum[0] = e0 + o0;
    sum[1] = e1 + o1;
    sum[2] = e2 + o2;
    sum[3] = e3 + o3;
    sum[4] = e3 - o3;
    sum[5] = e2 - o2;
    sum[6] = e1 - o1;
    sum[7] = e0 - o0;
}

// The transform of the top left size x size corner of the block. What the first pass gives fits into 16 bits.
template <int size, int spacing, class T>
void transform(const Qvo16s* pSrc, T* pDst, Qvo32s dstStep) {
    Qvo16s corner[size * size], a[8 * size], b[8 * size];
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x)
            corner[size * y + x] = pSrc[8 * y + x];
    }
    for (int i = 0; i < size; ++i) {
        Qvo32s sum[8];
        flow<size, size>(corner, i, sum);
        for (int k = 0; k < 8; ++k)
            a[size * k + i] = wrap16((sum[k] + 32768) >> 16);
    }
    transpose<size>(a, b);
    T out[64];
    for (int i = 0; i < 8; ++i) {
        Qvo32s sum[8];
        flow<size, 8>(b, i, sum);
        for (int k = 0; k < 8; ++k)
            out[8 * k + i] = saturate<T>((sum[k] + resultBias) >> resultShift);
    }
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x)
            pDst[spacing * x] = out[8 * y + x];
        pDst = stepBytes(pDst, dstStep);
    }
}

template <int spacing, class T>
inline void fill(T value, T* pDst, Qvo32s dstStep) {
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x)
            pDst[spacing * x] = value;
        pDst = stepBytes(pDst, dstStep);
    }
}

template <int spacing, class T>
void idct0x0_block(const Qvo16s*, T* pDst, Qvo32s dstStep) {
    fill<spacing, T>(0, pDst, dstStep);
}

template <int spacing, class T>
void idct1x1_block(const Qvo16s* pSrc, T* pDst, Qvo32s dstStep) {
    fill<spacing>(saturate<T>(pSrc[0] / 8), pDst, dstStep);
}

template <int spacing, class T>
void idct4x4_block(const Qvo16s* pSrc, T* pDst, Qvo32s dstStep) {
    transform<4, spacing>(pSrc, pDst, dstStep);
}

template <int spacing, class T>
void idct8x8_block(const Qvo16s* pSrc, T* pDst, Qvo32s dstStep) {
    transform<8, spacing>(pSrc, pDst, dstStep);
}

template <int spacing, class T>
inline void inverse(const Qvo16s* pSrc, T* pDst, Qvo32s dstStep, Qvo32s count) {
    if (count == 0) return idct0x0_block<spacing>(pSrc, pDst, dstStep);
    if (count == 1) return idct1x1_block<spacing>(pSrc, pDst, dstStep);
    if (static_cast<Qvo32u>(count) <= 8) return idct4x4_block<spacing>(pSrc, pDst, dstStep);
    idct8x8_block<spacing>(pSrc, pDst, dstStep);
}

template <class T>
inline QvoStatus inverseC1(const Qvo16s* pSrc, T* pDst, Qvo32s dstStep, Qvo32s count) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    inverse<1>(pSrc, pDst, dstStep, count);
    return qvoStatusOk;
}

template <class T>
inline QvoStatus inverseP2C2(const Qvo16s* pSrcU, const Qvo16s* pSrcV, T* pDst, Qvo32s dstStep, Qvo32s countU,
                             Qvo32s countV) {
    if (anyNull(pSrcU, pSrcV, pDst)) return qvoStatusNullPtr;
    inverse<2>(pSrcU, pDst, dstStep, countU);
    inverse<2>(pSrcV, pDst + 1, dstStep, countV);
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
