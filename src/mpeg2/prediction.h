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
enum Kind { fullPel = 0, halfVertical = 1, halfHorizontal = 2, halfBoth = 3 };

inline Kind kindOf(Qvo32s mcType) {
    return static_cast<Kind>((mcType >> 2) & 3);
}

// The distance of a sample to its horizontal neighbour: alternating U and V samples lie two bytes apart.
constexpr int plain = 1;
constexpr int interleaved = 2;

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

// Predicts a block of W x H samples into an array of the caller's.
template <int W, int H, int neighbour, Kind kind, int rounding>
[[gnu::always_inline]] inline void predictBlock(const Qvo8u* pRef, Qvo32s step, Qvo8u (&p)[W * H]) {
    if constexpr (kind == fullPel) {
        gather<W, H>(pRef, step, p);
    } else if constexpr (kind == halfBoth) {
        Qvo8u a[W * H], b[W * H], c[W * H], d[W * H];
        gather<W, H>(pRef, step, a);
        gather<W, H>(pRef + neighbour, step, b);
        gather<W, H>(pRef + step, step, c);
        gather<W, H>(pRef + step + neighbour, step, d);
        for (int i = 0; i < W * H; ++i)
            p[i] = static_cast<Qvo8u>((a[i] + b[i] + c[i] + d[i] + 2 - rounding) >> 2);
    } else {
        Qvo8u a[W * H], b[W * H];
        gather<W, H>(pRef, step, a);
        gather<W, H>(pRef + (kind == halfVertical ? step : neighbour), step, b);
        for (int i = 0; i < W * H; ++i)
            p[i] = static_cast<Qvo8u>((a[i] + b[i] + 1 - rounding) >> 1);
    }
}

// The kernels of an operation, by rounding control and half-pel position. An operation is a type with its kernels'
// signature, Kernel, and one function template, run.
template <class Operation>
constexpr typename Operation::Kernel* kernels[2][4] = {
    {Operation::template run<fullPel, 0>, Operation::template run<halfVertical, 0>,
     Operation::template run<halfHorizontal, 0>, Operation::template run<halfBoth, 0>},
    {Operation::template run<fullPel, 0>, Operation::template run<halfVertical, 1>,
     Operation::template run<halfHorizontal, 1>, Operation::template run<halfBoth, 1>}};

// Whether the kernels serve a rounding control. All others enter the arithmetic as they are, in 32 bits.
inline bool isOrdinaryRounding(Qvo32s roundControl) {
    return roundControl == 0 || roundControl == 1;
}

template <class Operation>
inline typename Operation::Kernel* kernelFor(Qvo32s mcType, Qvo32s roundControl) {
    return kernels<Operation>[roundControl][kindOf(mcType)];
}

template <int W, int H, int neighbour>
struct Predict {
    using Kernel = void(const Qvo8u*, Qvo32s, Qvo8u*);
    template <Kind kind, int rounding>
    static void run(const Qvo8u* pRef, Qvo32s step, Qvo8u* p) {
        Qvo8u block[W * H];
        predictBlock<W, H, neighbour, kind, rounding>(pRef, step, block);
        std::memcpy(p, block, sizeof(block));
    }
};

// Predicts a block with a rounding control of 0 or 1.
template <int W, int H, int neighbour>
inline void predict(const Qvo8u* pRef, Qvo32s step, Qvo32s mcType, Qvo32s roundControl, Qvo8u* p) {
    kernelFor<Predict<W, H, neighbour>>(mcType, roundControl)(pRef, step, p);
}

// The rounded average of two predictions.
template <int W, int H, int neighbour>
inline void predictBoth(const Qvo8u* pRefF, Qvo32s stepF, Qvo32s mcTypeF, const Qvo8u* pRefB, Qvo32s stepB,
                        Qvo32s mcTypeB, Qvo32s roundControl, Qvo8u* p) {
    Qvo8u forward[W * H], backward[W * H];
    predict<W, H, neighbour>(pRefF, stepF, mcTypeF, roundControl, forward);
    predict<W, H, neighbour>(pRefB, stepB, mcTypeB, roundControl, backward);
    for (int i = 0; i < W * H; ++i)
        p[i] = static_cast<Qvo8u>((forward[i] + backward[i] + 1) >> 1);
}

// The largest block of all operations.
constexpr int maxBlock = 16 * 16;

// Predicts a block with any rounding control: numbers of any 32 bits.
inline void predictAnyRounding(int width, int height, int neighbour, const Qvo8u* pRef, Qvo32s step, Qvo32s mcType,
                               Qvo32s roundControl, Qvo32s* p) {
    const Kind kind = kindOf(mcType);
    const int right = kind & halfHorizontal ? neighbour : 0;
    const Qvo32s down = kind & halfVertical ? step : 0;
    for (int y = 0; y < height; ++y, pRef += step) {
        for (int x = 0; x < width; ++x, ++p) {
            const Qvo8u* a = pRef + x;
            if (kind == fullPel)
                *p = *a;
            else if (kind == halfBoth)
                *p = (a[0] + a[right] + a[down] + a[right + down] + 2 - roundControl) >> 2;
            else
                *p = (a[0] + a[right + down] + 1 - roundControl) >> 1;
        }
    }
}

// The sums of two such predictions.
inline void predictBothAnyRounding(int width, int height, int neighbour, const Qvo8u* pRefF, Qvo32s stepF,
                                   Qvo32s mcTypeF, const Qvo8u* pRefB, Qvo32s stepB, Qvo32s mcTypeB,
                                   Qvo32s roundControl, Qvo32s* p) {
    Qvo32s backward[maxBlock];
    predictAnyRounding(width, height, neighbour, pRefF, stepF, mcTypeF, roundControl, p);
    predictAnyRounding(width, height, neighbour, pRefB, stepB, mcTypeB, roundControl, backward);
    for (int i = 0; i < width * height; ++i)
        p[i] += backward[i];
}

}  // namespace
}  // namespace qvovc

#endif
