// Preparation of the H.264 CAVLC syntax elements of one block of coefficients.
#include "core/arith.h"
#include "qvovc/h264.h"

using namespace qvovc;

namespace {

struct Outputs {
    Qvo8u* trailingOnes;
    Qvo8u* signs;
    Qvo8u* count;
    Qvo8u* totalZeros;
    Qvo16s* levels;
    Qvo8u* runs;
};

// Walks the scan positions from last down to first; coefAt gives the coefficient at a position.
template <class CoefAt>
void prepare(CoefAt coefAt, int first, int last, const Outputs& out) {
    Qvo16s* levels = out.levels;
    int count = 0;
    int ones = 0;
    int signs = 0;
    int end = last;    // position of the coefficient met first; of the first examined, if there is none
    int previous = 0;  // position of the coefficient met before
    bool countsOnes = true;
    for (int position = last; position >= first; --position) {
        const Qvo16s c = coefAt(position);
        if (c == 0) continue;
        if (countsOnes && (c == 1 || c == -1)) {
            ++ones;
            signs = signs << 1 | (c < 0);
            countsOnes = ones < 3;
        } else {
            *levels++ = c;
            countsOnes = false;
        }
        if (count == 0) {
            end = position;
        } else {
            out.runs[count - 1] = static_cast<Qvo8u>(previous - position - 1);
        }
        previous = position;
        ++count;
    }
    *out.trailingOnes = static_cast<Qvo8u>(ones);
    *out.signs = static_cast<Qvo8u>(signs);
    *out.count = static_cast<Qvo8u>(count);
    *out.totalZeros = static_cast<Qvo8u>(end - first + 1 - count);
}

}  // namespace

QvoStatus qvoiEncodeCoeffsCAVLC_H264_16s(const Qvo16s* pCoef, Qvo8u first, const Qvo32s* pScan, Qvo8u last,
                                         Qvo8u* pTrailingOnes, Qvo8u* pTrailingOneSigns, Qvo8u* pNumCoefs,
                                         Qvo8u* pTotalZeros, Qvo16s* pLevels, Qvo8u* pRuns) {
    if (anyNull(pCoef, pScan, pTrailingOnes, pTrailingOneSigns, pNumCoefs, pTotalZeros, pLevels, pRuns)) {
        return qvoStatusNullPtr;
    }
    if (last > 15 || last < first) return qvoStatusOutOfRange;
    prepare([=](int position) { return pCoef[pScan[position]]; }, first, last,
            {pTrailingOnes, pTrailingOneSigns, pNumCoefs, pTotalZeros, pLevels, pRuns});
    return qvoStatusOk;
}

QvoStatus qvoiEncodeChromaDcCoeffsCAVLC_H264_16s(const Qvo16s* pCoef, Qvo8u* pTrailingOnes, Qvo8u* pTrailingOneSigns,
                                                 Qvo8u* pNumCoefs, Qvo8u* pTotalZeros, Qvo16s* pLevels,
                                                 Qvo8u* pRuns) {
    if (anyNull(pCoef, pTrailingOnes, pTrailingOneSigns, pNumCoefs, pTotalZeros, pLevels, pRuns)) {
        return qvoStatusNullPtr;
    }
    prepare([=](int position) { return pCoef[position]; }, 0, 3,
            {pTrailingOnes, pTrailingOneSigns, pNumCoefs, pTotalZeros, pLevels, pRuns});
    return qvoStatusOk;
}
