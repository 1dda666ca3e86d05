// Statistics of one block, and of the residual it leaves against a prediction.
#include <cstddef>

#include "mpeg2/prediction.h"
#include "mpeg2/sums.h"

namespace qvovc {
namespace {

inline Qvo8u absDiff(Qvo8u a, Qvo8u b) {
    return static_cast<Qvo8u>(a > b ? a - b : b - a);
}

struct Sums {
    Qvo32s sum;
    long long squares;  // 64 squares of 16-bit samples need 36 bits
};

Sums sumsOf(const Qvo8u (&block)[64]) {
    Qvo32s sum = 0, squares = 0;
    for (const Qvo8u sample : block) {
        sum += sample;
        squares += sample * sample;
    }
    return {sum, squares};
}

Sums sumsOf(const Qvo16s (&block)[64]) {
    Qvo32s sum = 0;
    long long squares = 0;
    for (const Qvo16s sample : block) {
        sum += sample;
        squares += sample * sample;
    }
    return {sum, squares};
}

template <class T>
QvoStatus varMean8x8(const T* pSrc, Qvo32s srcStep, Qvo32s* pVar, Qvo32s* pSum) {
    if (anyNull(pSrc, pVar, pSum)) return qvoStatusNullPtr;
    T block[64];
    gather<8, 8>(pSrc, srcStep, block);
    const Sums sums = sumsOf(block);
    // Exact: every term is a multiple of 2^-12 below 2^31.
    const double mean = sums.sum / 64.0;
    *pVar = static_cast<Qvo32s>(static_cast<double>(sums.squares) / 64.0 - mean * mean);
    *pSum = sums.sum;
    return qvoStatusOk;
}

// Of an 8x8 block: the sum of the predicted samples and the sum of the squared differences from them.
struct PredictionSums {
    using Kernel = Sums(const Qvo8u*, Qvo32s, const Qvo8u*, Qvo32s);
    template <Kind kind, int rounding>
    static Sums run(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep) {
        Qvo8u src[64], p[64];
        gather<8, 8>(pSrc, srcStep, src);
        predictBlock<8, 8, plain, kind, rounding>(pRef, refStep, p);
        return {sum<64>(p), sumSqrDiff<64>(src, p)};
    }
};

// Per quadrant of 8x8: the variance of the residual and eight times its mean, the source's sums being given.
QvoStatus varMeanDiff(int quadrants, const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                      const Qvo32s* pSrcSum, Qvo32s* pVar, Qvo32s* pMean, Qvo32s mcType) {
    if (anyNull(pSrc, pRef, pSrcSum, pVar, pMean)) return qvoStatusNullPtr;
    const auto kernel = kernelFor<PredictionSums>(mcType, 0);
    for (int q = 0; q < quadrants; ++q) {
        const std::ptrdiff_t x = q % 2 * 8, y = q / 2 * 8;
        const Sums sums = kernel(pSrc + y * srcStep + x, srcStep, pRef + y * refStep + x, refStep);
        const Qvo32s squares = static_cast<Qvo32s>(sums.squares);
        const Qvo32s mean = (pSrcSum[q] - sums.sum) / 8;
        pMean[q] = mean;
        pVar[q] = squares > mean * mean ? (squares - mean * mean) / 64 : 0;
    }
    return qvoStatusOk;
}

}  // namespace
}  // namespace qvovc

using namespace qvovc;

QvoStatus qvoiVariance16x16_8u32s(const Qvo8u* pSrc, Qvo32s srcStep, Qvo32s* pVar) {
    if (anyNull(pSrc, pVar)) return qvoStatusNullPtr;
    Qvo8u block[256];
    gather<16, 16>(pSrc, srcStep, block);
    Qvo32s sum = 0, squares = 0;
    for (const Qvo8u sample : block) {
        sum += sample;
        squares += sample * sample;
    }
    *pVar = squares - sum * sum / 256;  // the square wraps above 46340
    return qvoStatusOk;
}

QvoStatus qvoiVarMean8x8_8u32s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo32s* pVar, Qvo32s* pSum) {
    return varMean8x8(pSrc, srcStep, pVar, pSum);
}

QvoStatus qvoiVarMean8x8_16s32s_C1R(const Qvo16s* pSrc, Qvo32s srcStep, Qvo32s* pVar, Qvo32s* pSum) {
    return varMean8x8(pSrc, srcStep, pVar, pSum);
}

QvoStatus qvoiVarMeanDiff16x16_8u32s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                         const Qvo32s* pSrcSum, Qvo32s* pVar, Qvo32s* pMean, Qvo32s mcType) {
    return varMeanDiff(4, pSrc, srcStep, pRef, refStep, pSrcSum, pVar, pMean, mcType);
}

QvoStatus qvoiVarMeanDiff16x8_8u32s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, const Qvo8u* pRef, Qvo32s refStep,
                                        const Qvo32s* pSrcSum, Qvo32s* pVar, Qvo32s* pMean, Qvo32s mcType) {
    return varMeanDiff(2, pSrc, srcStep, pRef, refStep, pSrcSum, pVar, pMean, mcType);
}

QvoStatus qvoiEdgesDetect16x16_8u_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u diffThreshold, Qvo8u countThreshold,
                                      Qvo8u* pResult) {
    if (anyNull(pSrc, pResult)) return qvoStatusNullPtr;
    Qvo8u block[256], edge[15 * 16];
    gather<16, 16>(pSrc, srcStep, block);
    // Column 15 compares with the next row's first sample and is taken out below.
    for (int i = 0; i < 15 * 16; ++i)
        edge[i] = static_cast<Qvo8u>(int{absDiff(block[i], block[i + 1]) > diffThreshold} |
                                     int{absDiff(block[i], block[i + 16]) > diffThreshold});
    Qvo32s count = sum<15 * 16>(edge);
    for (int y = 0; y < 15; ++y)
        count -= edge[16 * y + 15];
    *pResult = count > countThreshold;
    return qvoStatusOk;
}

QvoStatus qvoiMeanAbsDev16x16_8u32s_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo32s* pMeanAbsDev) {
    if (anyNull(pSrc)) return qvoStatusNullPtr;
    Qvo8u block[256];
    gather<16, 16>(pSrc, srcStep, block);
    const Qvo8u mean = static_cast<Qvo8u>((sum<256>(block) + 128) >> 8);
    Qvo32s deviation = 0;
    for (const Qvo8u sample : block)
        deviation += std::abs(sample - mean);
    *pMeanAbsDev = deviation;
    return qvoStatusOk;
}
