// Inverse quantisation of whole blocks and of the leading coefficients of a scan.
#include "mpeg4/quant.h"
#include "core/arith.h"
#include "qvovc/h263.h"

using namespace qvovc;

namespace {

constexpr Qvo32s dcScale = 8;

void quantInv(Qvo16s* pSrcDst, Qvo32s first, Qvo32s len, Qvo32s QP) {
    const QuantH263 rule(QP);
    for (Qvo32s i = first; i < len; ++i)
        pSrcDst[i] = static_cast<Qvo16s>(clipCoef(rule(pSrcDst[i])));
}

void quantInvIntra(Qvo16s* pSrcDst, Qvo32s len, Qvo32s QP) {
    pSrcDst[0] = static_cast<Qvo16s>(clipCoef(pSrcDst[0] * dcScale));
    quantInv(pSrcDst, 1, len, QP);
}

QvoStatus check(const Qvo16s* pSrcDst, Qvo32s len, Qvo32s QP) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    if (len < 1 || len > 64) return qvoStatusSize;
    return isQuantiser(QP) ? qvoStatusOk : qvoStatusQpRange;
}

}  // namespace

QvoStatus qvoiQuantInvIntra_H263_16s_I(Qvo16s* pSrcDst, Qvo32s QP) {
    if (const QvoStatus status = check(pSrcDst, 64, QP)) return status;
    quantInvIntra(pSrcDst, 64, QP);
    return qvoStatusOk;
}

QvoStatus qvoiQuantInvInter_H263_16s_I(Qvo16s* pSrcDst, Qvo32s QP) {
    if (const QvoStatus status = check(pSrcDst, 64, QP)) return status;
    quantInv(pSrcDst, 0, 64, QP);
    return qvoStatusOk;
}

QvoStatus qvoiQuantInvIntra_Compact_H263_16s_I(Qvo16s* pSrcDst, Qvo32s len, Qvo32s QP) {
    if (const QvoStatus status = check(pSrcDst, len, QP)) return status;
    quantInvIntra(pSrcDst, len, QP);
    return qvoStatusOk;
}

QvoStatus qvoiQuantInvInter_Compact_H263_16s_I(Qvo16s* pSrcDst, Qvo32s len, Qvo32s QP) {
    if (const QvoStatus status = check(pSrcDst, len, QP)) return status;
    quantInv(pSrcDst, 0, len, QP);
    return qvoStatusOk;
}
