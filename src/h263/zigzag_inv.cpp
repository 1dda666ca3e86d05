// Inverse scans: from scan order to raster order.
#include "core/arith.h"
#include "qvovc/h263.h"
#include "tables/scan.h"

using namespace qvovc;

namespace {

QvoStatus scatter(const Qvo16s* pSrc, Qvo32s len, Qvo16s* pDst, const Qvo16s (&scan)[64]) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    if (len < 1 || len > 64) return qvoStatusScanOverrun;
    for (Qvo32s i = 0; i < len; ++i)
        pDst[scan[i]] = pSrc[i];
    return qvoStatusOk;
}

}  // namespace

QvoStatus qvoiZigzagInvClassical_Compact_16s(const Qvo16s* pSrc, Qvo32s len, Qvo16s* pDst) {
    return scatter(pSrc, len, pDst, ownZigZagC);
}

QvoStatus qvoiZigzagInvHorizontal_Compact_16s(const Qvo16s* pSrc, Qvo32s len, Qvo16s* pDst) {
    return scatter(pSrc, len, pDst, ownZigZagH);
}

QvoStatus qvoiZigzagInvVertical_Compact_16s(const Qvo16s* pSrc, Qvo32s len, Qvo16s* pDst) {
    return scatter(pSrc, len, pDst, ownZigZagV);
}

QvoStatus qvoiZigzagInv_Horizontal_16s(const Qvo16s* pSrc, Qvo16s* pDst) {
    return scatter(pSrc, 64, pDst, ownZigZagH);
}

QvoStatus qvoiZigzagInv_Vertical_16s(const Qvo16s* pSrc, Qvo16s* pDst) {
    return scatter(pSrc, 64, pDst, ownZigZagV);
}
