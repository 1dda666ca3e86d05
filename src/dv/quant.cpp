// Inverse quantisation and weighting.
#include "dv/quant.h"

using namespace qvovc;

namespace {

// SMPTE 314M, 5.2.3, with the sums of 2-4-8 blocks in rows 0..3 and the differences in rows 4..7.
constexpr Qvo8u scan8x8[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,   //
                               12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,  //
                               35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,  //
                               58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};
constexpr Qvo8u scan2x4x8[64] = {0,  32, 1, 33, 8,  40, 2,  34, 9,  41, 16, 48, 24, 56, 17, 49,  //
                                 10, 42, 3, 35, 4,  36, 11, 43, 18, 50, 25, 57, 26, 58, 19, 51,  //
                                 12, 44, 5, 37, 6,  38, 13, 45, 20, 52, 27, 59, 28, 60, 21, 53,  //
                                 14, 46, 7, 39, 15, 47, 22, 54, 29, 61, 30, 62, 23, 55, 31, 63};

// Powers of two by quantiser index, for the four areas of the scan from low to high frequencies.
constexpr Qvo8u shifts[22][4] = {{3, 3, 4, 4}, {3, 3, 4, 4}, {2, 3, 3, 4}, {2, 3, 3, 4}, {2, 2, 3, 3},
                                 {2, 2, 3, 3}, {1, 2, 2, 3}, {1, 2, 2, 3}, {1, 1, 2, 2}, {1, 1, 2, 2},
                                 {0, 1, 1, 2}, {0, 1, 1, 2}, {0, 0, 1, 1}, {0, 0, 1, 1}, {0, 0, 0, 1}};  // then zeros

constexpr int areaOf(int position) {
    return position < 6 ? 0 : position < 21 ? 1 : position < 43 ? 2 : 3;
}

// 1/w(k) of the weights in qvovc/dv.h.
constexpr double inverseWeights[8] = {1,
                                      1.0195911582083186,
                                      1.082392200292394,
                                      1.1111404660392046,
                                      1.1428571428571428,
                                      1.1758756024193586,
                                      1.3065629648763766,
                                      1.3870398453221473};

constexpr DvMode makeMode(const Qvo8u (&scan)[64], bool fields) {
    DvMode mode{};
    for (int position = 0; position < 64; ++position) {
        const int raster = scan[position];
        mode.scan[position] = scan[position];
        for (int index = 0; index < 22; ++index)
            mode.factors[index][raster] = static_cast<Qvo8u>(1 << shifts[index][areaOf(position)]);
        const int row = raster / 8;
        const int vertical = fields ? row % 4 * 2 : row;
        const double weight = inverseWeights[raster % 8] * inverseWeights[vertical];
        mode.weights[raster] = static_cast<Qvo16s>(weight * 16384 + 0.5);
    }
    return mode;
}

template <bool unweight>
QvoStatus scale(Qvo16s* pSrcDst, Qvo32s quantiser, Qvo32s classNumber, Qvo32s dctMode) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    const DvMode& mode = dvModes[dctMode & 1];
    const Qvo8u* const factors = mode.factors[dvQuantIndex(quantiser & 15, classNumber & 3)];
    const Qvo32s doubling = dvDoubling(classNumber & 3);
    const Qvo16s dc = pSrcDst[0];
    for (int i = 0; i < 64; ++i) {
        const Qvo16s level = wrap16(pSrcDst[i] * (factors[i] << doubling));
        pSrcDst[i] = unweight ? dvUnweight(level, mode.weights[i]) : level;
    }
    pSrcDst[0] = unweight ? dvUnweightDc(dc) : dc;
    return qvoStatusOk;
}

}  // namespace

constexpr DvMode qvovc::dvModes[2] = {makeMode(scan8x8, false), makeMode(scan2x4x8, true)};

QvoStatus qvoiQuantInv_DV_16s_C1I(Qvo16s* pSrcDst, Qvo32s quantiser, Qvo32s classNumber, Qvo32s dctMode) {
    return scale<false>(pSrcDst, quantiser, classNumber, dctMode);
}

QvoStatus qvoiQuantInvWeight_DV_16s_C1I(Qvo16s* pSrcDst, Qvo32s quantiser, Qvo32s classNumber, Qvo32s dctMode) {
    return scale<true>(pSrcDst, quantiser, classNumber, dctMode);
}
