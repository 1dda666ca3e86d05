// Forward quantisation by integer rules, as the quantisers and the transform-reconstruct operations need it.
#ifndef QVOVC_SRC_MPEG4_QUANT_FWD_H
#define QVOVC_SRC_MPEG4_QUANT_FWD_H

#include "mpeg4/quant.h"

namespace qvovc {

// Weights and their reciprocals 2^21 / weight, 64 each. The first pair proves a record.
inline bool isRecordOrNull(const Qvo32s* pQMatrix) {
    return pQMatrix == nullptr || pQMatrix[0] * pQMatrix[64] == 1 << 21;
}

// Quantise 64 coefficients in place by the matrix method, or by the method of H.263 where pQMatrix is null.
void quantiseIntra(Qvo16s* pBlock, Qvo32s QP, Qvo32s scaler, const Qvo32s* pQMatrix);
void quantiseInter(Qvo16s* pBlock, Qvo32s QP, const Qvo32s* pQMatrix);

}  // namespace qvovc

#endif
