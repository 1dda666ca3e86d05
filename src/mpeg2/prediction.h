// Half-pel prediction of one block, shared by motion compensation, block differences and metrics.
//
// A prediction is formed in a contiguous block of the caller, W values a row. The samples a kernel needs are copied
// into contiguous arrays first: the arithmetic then is one loop over the whole block, which the compiler turns into
// vector code at every width, and nothing of the destination is written before the reference has been read.
#ifndef QVOVC_SRC_MPEG2_PREDICTION_H
#define QVOVC_SRC_MPEG2_PREDICTION_H

#include <cstring>

#include "core/arith.h"
#include "qvovc/mpeg2.h"

namespace qvovc {
namespace {

// The half-pel position of one reference: bits 2 and 3 of an mcType.
enum Kind { kFull = 0, kVertical = 1, kHorizontal = 2, kBoth = 3 };

inline Kind kindOf(Qvo32s mcType) {
    return static_cast<Kind>((mcType >> 2) & 3);
}

// The distance of a sample to its horizontal neighbour: alternating U and V samples lie two bytes apart.
constexpr int kPlain = 1;
constexpr int kInterleaved = 2;

// Copies a block whose rows lie `step` bytes apart into contiguous memory.
template <int W, int H, class T>
inline void gather(const T* pSrc, Qvo32s step, T* block) {
    for (int y = 0; y < H; ++y, pSrc = stepBytes(pSrc, step))
        std::memcpy(block + y * W, pSrc, W * sizeof(T));
}

// Copies contiguous memory into a block whose rows lie `step` bytes apart.
template <int W, int H, class T>
inline void scatter(const T* block, T* pDst, Qvo32s step) {
    for (int y = 0; y < H; ++y, pDst = stepBytes(pDst, step))
        std::memcpy(pDst, block + y * W, W * sizeof(T));
}

template <int W, int H, int kNeighbour, Kind kKind, int kRounding>
void predictKernel(const Qvo8u* pRef, Qvo32s step, Qvo8u* p) {
    if constexpr (kKind == kFull) {
        gather<W, H>(pRef, step, p);
    } else {
        constexpr int kRows = H + (kKind != kHorizontal);
        Qvo8u left[W * kRows];
        gather<W, kRows>(pRef, step, left);
        if constexpr (kKind == kVertical) {
            for (int i = 0; i < W * H; ++i)
                p[i] = static_cast<Qvo8u>((left[i] + left[i + W] + 1 - kRounding) >> 1);
        } else {
            Qvo8u right[W * kRows];
            gather<W, kRows>(pRef + kNeighbour, step, right);
            for (int i = 0; i < W * H; ++i) {
                if constexpr (kKind == kHorizontal)
                    p[i] = static_cast<Qvo8u>((left[i] + right[i] + 1 - kRounding) >> 1);
                else
                    p[i] = static_cast<Qvo8u>((left[i] + right[i] + left[i + W] + right[i + W] + 2 - kRounding) >> 2);
            }
        }
    }
}

using Predictor = void (*)(const Qvo8u*, Qvo32s, Qvo8u*);

template <int W, int H, int kNeighbour>
constexpr Predictor kPredictors[2][4] = {
    {predictKernel<W, H, kNeighbour, kFull, 0>, predictKernel<W, H, kNeighbour, kVertical, 0>,
     predictKernel<W, H, kNeighbour, kHorizontal, 0>, predictKernel<W, H, kNeighbour, kBoth, 0>},
    {predictKernel<W, H, kNeighbour, kFull, 0>, predictKernel<W, H, kNeighbour, kVertical, 1>,
     predictKernel<W, H, kNeighbour, kHorizontal, 1>, predictKernel<W, H, kNeighbour, kBoth, 1>}};

// Whether the kernels serve a rounding control. All others enter the arithmetic as they are, in 32 bits.
inline bool isOrdinaryRounding(Qvo32s roundControl) {
    return roundControl == 0 || roundControl == 1;
}

// Predicts a block with a rounding control of 0 or 1.
template <int W, int H, int kNeighbour>
inline void predict(const Qvo8u* pRef, Qvo32s step, Qvo32s mcType, Qvo32s roundControl, Qvo8u* p) {
    kPredictors<W, H, kNeighbour>[roundControl][kindOf(mcType)](pRef, step, p);
}

// The rounded average of two predictions.
template <int W, int H, int kNeighbour>
inline void predictBoth(const Qvo8u* pRefF, Qvo32s stepF, Qvo32s mcTypeF, const Qvo8u* pRefB, Qvo32s stepB,
                        Qvo32s mcTypeB, Qvo32s roundControl, Qvo8u* p) {
    Qvo8u forward[W * H], backward[W * H];
    predict<W, H, kNeighbour>(pRefF, stepF, mcTypeF, roundControl, forward);
    predict<W, H, kNeighbour>(pRefB, stepB, mcTypeB, roundControl, backward);
    for (int i = 0; i < W * H; ++i)
        p[i] = static_cast<Qvo8u>((forward[i] + backward[i] + 1) >> 1);
}

// Predicts a block with any rounding control.
inline void predictPlain(int width, int height, int neighbour, const Qvo8u* pRef, Qvo32s step, Qvo32s mcType,
                         Qvo32s roundControl, Qvo32s* p) {
    const Kind kind = kindOf(mcType);
    const int right = kind & kHorizontal ? neighbour : 0;
    const Qvo32s down = kind & kVertical ? step : 0;
    for (int y = 0; y < height; ++y, pRef += step) {
        for (int x = 0; x < width; ++x, ++p) {
            const Qvo8u* a = pRef + x;
            if (kind == kFull)
                *p = *a;
            else if (kind == kBoth)
                *p = (a[0] + a[right] + a[down] + a[right + down] + 2 - roundControl) >> 2;
            else
                *p = (a[0] + a[right + down] + 1 - roundControl) >> 1;
        }
    }
}

}  // namespace
}  // namespace qvovc

#endif
