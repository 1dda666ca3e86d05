// Inverse quantisation and AC prediction of MPEG-4 blocks, for whole blocks in raster order and for the lists of
// non-zero coefficients that the block decoders keep.
#ifndef QVOVC_SRC_MPEG4_QUANT_H
#define QVOVC_SRC_MPEG4_QUANT_H

#include "core/arith.h"

namespace qvovc {

constexpr Qvo32s minCoef = -2048;
constexpr Qvo32s maxCoef = 2047;

// Predicts the DC coefficient where the neighbour is not available.
constexpr Qvo32s noNeighbourDC = 1024;

inline constexpr Qvo32s clipCoef(Qvo32s v) {
    return clamp(v, minCoef, maxCoef);
}

inline constexpr bool isQuantiser(Qvo32s QP) {
    return QP >= 1 && QP <= 31;
}

// The scaler of the intra DC coefficient (ISO/IEC 14496-2, table 7-1).
inline Qvo32s dcScaler(Qvo32s QP, bool chrominance) {
    if (QP < 5) return 8;
    if (chrominance) return QP < 25 ? (QP + 13) >> 1 : QP - 6;
    return QP < 9 ? 2 * QP : QP < 25 ? QP + 8 : 2 * QP - 16;
}

// The quantised DC coefficient: the coded difference and the neighbour's coefficient, divided with rounding.
inline Qvo32s quantisedDC(Qvo32s difference, Qvo32s predictor, Qvo32s scaler) {
    return clipCoef(wrap16(difference + (predictor + scaler / 2) / scaler));
}

// A neighbour's level, scaled from its quantiser to this block's: half away from zero.
inline Qvo32s scaledPredictor(Qvo32s predictor, Qvo32s QP, Qvo32s predQP) {
    if (QP == predQP) return predictor;
    return (predictor * predQP + sign(predictor) * (QP / 2)) / QP;
}

// Products below are of two 16-bit numbers, which vector units have even where they lack the product of 32-bit ones.

// The method of H.263: 2 QP |L| + QP, minus one where QP is even, with the sign of L.
struct QuantH263 {
    Qvo16s scale;
    Qvo16s offset;

    explicit QuantH263(Qvo32s QP) : scale(static_cast<Qvo16s>(2 * QP)), offset(static_cast<Qvo16s>((QP - 1) | 1)) {}
    Qvo32s operator()(Qvo16s level) const { return scale * level + static_cast<Qvo16s>(offset * sign(level)); }
};

// The method of MPEG-2, weighting by a matrix, of an intra AC coefficient and of an inter coefficient.
inline Qvo32s intraByMatrix(Qvo16s level, Qvo32s QP, Qvo8u weight) {
    const Qvo16s factor = static_cast<Qvo16s>(weight * QP);
    return factor * level / 8;
}
inline Qvo32s interByMatrix(Qvo16s level, Qvo32s QP, Qvo8u weight) {
    const Qvo16s factor = static_cast<Qvo16s>(weight * QP);
    return (2 * (factor * level) + static_cast<Qvo16s>(factor * sign(level))) / 16;
}

// Mismatch control: makes the sum of the coefficients odd by moving coefficient 63 by one, an odd one down and an even
// one up.
inline void controlMismatch(Qvo16s* pBlock, Qvo32s sum) {
    if ((sum & 1) == 0) pBlock[63] ^= 1;
}

// The non-zero coefficients of an intra block in the order of the scan, with the DC coefficient, zero or not, as entry 0.
struct CoefList {
    Qvo16s level[64];
    Qvo8u index[64];  // raster indices
    Qvo32s count;
};

// By raster index, the list entry of each coefficient of the first row and the first column; 0: not in the list.
// The other coefficients' entries are of no interest.
using CoefMap = Qvo8u[64];

// AC prediction of a list: adds the predictors to the first row or column, as the direction says, appending the
// coefficients that were absent, and leaves the levels of the first row and column in the buffers' entries 1 to 7.
void ownvPredictAC_Compact_16s_I(CoefList& list, const CoefMap& map, Qvo16s* pRowBuf, Qvo16s* pColumnBuf, Qvo32s QP,
                                 Qvo32s predQP, Qvo32s direction, bool acPrediction);

}  // namespace qvovc

#endif
