// Motion vectors: decoding of P- and B-VOP vectors, prediction, the fill of transparent blocks, direct mode, the
// limit to a rectangle and chrominance vectors.
#include <array>
#include <cstring>

#include "core/arith.h"
#include "mpeg4/motion_code.h"
#include "qvovc/mpeg4.h"

using namespace qvovc;

namespace {

// ---- differentials ----

struct Difference {
    Qvo32s dx;
    Qvo32s dy;
};

// Reads the two components of a differential; the caller's position moves only if both are valid.
QvoStatus readDifference(Qvo8u** ppBitStream, Qvo32s* pBitOffset, Qvo32s fcode, Difference& difference) {
    Position position = {*ppBitStream, *pBitOffset};
    if (!readComponent(position, fcode - 1, difference.dx)) return qvoStatusMvVlc;
    if (!readComponent(position, fcode - 1, difference.dy)) return qvoStatusMvVlc;
    *ppBitStream = position.byte;
    *pBitOffset = position.offset;
    return qvoStatusOk;
}

Qvo16s addWrapped(Qvo16s predictor, Qvo32s difference, Qvo32s fcode) {
    const Qvo32s high = 16 << fcode;
    const Qvo32s range = 32 << fcode;
    const Qvo32s sum = wrap16(predictor + difference);
    if (sum < -high) return wrap16(sum + range);
    if (sum >= high) return wrap16(sum - range);
    return wrap16(sum);
}

// Decodes a differential and adds it to the predictor that vector holds.
QvoStatus getMV(Qvo8u** ppBitStream, Qvo32s* pBitOffset, QvoMotionVector& vector, Qvo32s fcode) {
    Difference difference;
    if (const QvoStatus status = readDifference(ppBitStream, pBitOffset, fcode, difference)) return status;
    vector.dx = addWrapped(vector.dx, difference.dx, fcode);
    vector.dy = addWrapped(vector.dy, difference.dy, fcode);
    return qvoStatusOk;
}

// ---- prediction ----

bool anyOpaque(const Qvo8u* flags) {
    Qvo32u word;
    std::memcpy(&word, flags, sizeof word);
    return word != 0;
}

// The vectors of a neighbouring macroblock, null where they do not count.
const QvoMotionVector* available(const QvoMotionVector* vectors, const Qvo8u* flags) {
    return anyOpaque(flags) ? vectors : nullptr;
}

// What the vectors of a macroblock are predicted from: null where a macroblock does not count.
struct Surroundings {
    const QvoMotionVector* left;
    const QvoMotionVector* above;
    const QvoMotionVector* aboveRight;
    const QvoMotionVector* current;
    const Qvo8u* currentFlags;
};

using Candidates = std::array<QvoMotionVector, 3>;

QvoMotionVector predict(const Surroundings& from, Qvo32s block, Candidates& candidates) {
    const auto other = [](const QvoMotionVector* macroblock, int i) { return macroblock ? macroblock + i : nullptr; };
    const auto own = [&](int i) { return from.currentFlags[i] ? from.current + i : nullptr; };
    std::array<const QvoMotionVector*, 3> sources;
    if (block == 0)
        sources = {other(from.left, 1), other(from.above, 2), other(from.aboveRight, 2)};
    else if (block == 1)
        sources = {own(0), other(from.above, 3), other(from.aboveRight, 2)};
    else if (block == 2)
        sources = {other(from.left, 3), own(0), own(1)};
    else
        sources = {own(2), own(0), own(1)};

    int count = 0;
    QvoMotionVector only = {};
    for (std::size_t i = 0; i < sources.size(); ++i) {
        candidates[i] = {};
        if (sources[i] == nullptr) continue;
        only = candidates[i] = *sources[i];
        ++count;
    }
    if (count == 1) return only;
    return median(candidates[0], candidates[1], candidates[2]);
}

// Puts the predictor of a block in the place of its vector.
void setMVPred(const Surroundings& from, QvoMotionVector* current, Qvo32s block) {
    Candidates candidates;
    current[block] = predict(from, block, candidates);
}

// ---- the fill, direct mode, limits, chrominance ----

void padTransparent(QvoMotionVector* vectors, const Qvo8u* flags) {
    static constexpr Qvo8u sources[4][3] = {{1, 2, 3}, {0, 3, 2}, {3, 0, 1}, {2, 1, 0}};
    for (int block = 0; block < 4; ++block) {
        if (flags[block]) continue;
        const auto& [first, second, third] = sources[block];
        vectors[block] = vectors[flags[first] ? first : flags[second] ? second : third];
    }
}

void deriveDirect(Qvo16s colocated, Qvo32s delta, Qvo32s trb, Qvo32s trd, Qvo16s& forward, Qvo16s& backward) {
    forward = wrap16(trb * colocated / trd + delta);
    backward = wrap16(delta != 0 ? forward - colocated : (trb - trd) * colocated / trd);
}

void deriveDirect(const QvoMotionVector* colocated, const Qvo8u* colocatedFlags, Difference delta, Qvo32s trb,
                  Qvo32s trd, QvoMotionVector* forward, QvoMotionVector* backward) {
    const bool opaque = anyOpaque(colocatedFlags);
    for (int block = 0; block < 4; ++block) {
        if (opaque) {
            const QvoMotionVector vector = colocated[block];
            deriveDirect(vector.dx, delta.dx, trb, trd, forward[block].dx, backward[block].dx);
            deriveDirect(vector.dy, delta.dy, trb, trd, forward[block].dy, backward[block].dy);
        } else {
            forward[block] = backward[block] = {wrap16(delta.dx), wrap16(delta.dy)};
        }
    }
}

Qvo16s limit(Qvo32s v, Qvo32s position, Qvo32s origin, Qvo32s extent, Qvo32s blockSize) {
    const Qvo32s last = origin + extent - blockSize;
    if (v + 2 * position < 2 * origin) return wrap16(2 * (origin - position));
    if (v + 2 * position >= 2 * last) return wrap16(2 * (last - position));
    return wrap16(v);
}

Qvo16s withSign(Qvo32s magnitude, Qvo32s signOf) {
    return wrap16(signOf < 0 ? -magnitude : magnitude);
}

Qvo16s halve(Qvo32s v) {
    const Qvo32s a = v < 0 ? -v : v;
    return withSign(a >> 1 | ((a & 3) != 0), v);
}

// ISO/IEC 14496-2, 7.6.5: the remainder of a sum of one, two, three or four vectors by 4, 8, 12 or 16 becomes half
// samples.
constexpr Qvo32s ownmp_cCbCrMvRound4[] = {0, 1, 1, 1};
constexpr Qvo32s ownmp_cCbCrMvRound8[] = {0, 0, 1, 1, 1, 1, 1, 2};
constexpr Qvo32s ownmp_cCbCrMvRound12[] = {0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 2, 2};
constexpr Qvo32s ownmp_cCbCrMvRound16[] = {0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2};

// Indexed by the number of vectors in the sum; without any, the sum is 0.
constexpr const Qvo32s* roundTables[] = {ownmp_cCbCrMvRound4, ownmp_cCbCrMvRound4, ownmp_cCbCrMvRound8,
                                         ownmp_cCbCrMvRound12, ownmp_cCbCrMvRound16};

Qvo16s chromaOfSum(Qvo32s sum, Qvo32s vectors) {
    const Qvo32s a = sum < 0 ? -sum : sum;
    const Qvo32s divisor = vectors == 0 ? 4 : 4 * vectors;
    return withSign(2 * (a / divisor) + roundTables[vectors][a % divisor], sum);
}

// ---- checks ----

QvoStatus checkPosition(Qvo8u** ppBitStream, const Qvo32s* pBitOffset) {
    if (anyNull(ppBitStream, pBitOffset) || *ppBitStream == nullptr) return qvoStatusNullPtr;
    return *pBitOffset < 0 || *pBitOffset > 7 ? qvoStatusBitOffset : qvoStatusOk;
}

bool badFcode(Qvo32s fcode) {
    return fcode < 1 || fcode > 7;
}

QvoStatus decodeBVOP(Qvo8u** ppBitStream, Qvo32s* pBitOffset, QvoMotionVector* pSrcDstMV, Qvo32s fcode) {
    if (pSrcDstMV == nullptr) return qvoStatusNullPtr;
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset)) return status;
    if (badFcode(fcode)) return qvoStatusFcodeRange;
    return getMV(ppBitStream, pBitOffset, *pSrcDstMV, fcode);
}

}  // namespace

QvoStatus qvoiDecodePadMV_PVOP_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const QvoMotionVector* pSrcMVLeftMB,
                                     const QvoMotionVector* pSrcMVUpperMB, const QvoMotionVector* pSrcMVUpperRightMB,
                                     QvoMotionVector* pDstMVCurMB, const Qvo8u* pFlagLeftMB,
                                     const Qvo8u* pFlagUpperMB, const Qvo8u* pFlagUpperRightMB,
                                     const Qvo8u* pFlagCurMB, Qvo32s fcode, Qvo32s mbType) {
    if (anyNull(pSrcMVLeftMB, pSrcMVUpperMB, pSrcMVUpperRightMB, pDstMVCurMB, pFlagLeftMB, pFlagUpperMB,
                pFlagUpperRightMB, pFlagCurMB))
        return qvoStatusNullPtr;
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset)) return status;
    if (anyMisaligned4(pFlagLeftMB, pFlagUpperMB, pFlagUpperRightMB, pFlagCurMB)) return qvoStatusMisaligned;
    if (badFcode(fcode)) return qvoStatusFcodeRange;

    const Surroundings from = {available(pSrcMVLeftMB, pFlagLeftMB), available(pSrcMVUpperMB, pFlagUpperMB),
                               available(pSrcMVUpperRightMB, pFlagUpperRightMB), pDstMVCurMB, pFlagCurMB};
    if (mbType != qvoMbInter4V && mbType != qvoMbInter4VQ) {
        setMVPred(from, pDstMVCurMB, 0);
        if (const QvoStatus status = getMV(ppBitStream, pBitOffset, pDstMVCurMB[0], fcode)) return status;
        pDstMVCurMB[1] = pDstMVCurMB[2] = pDstMVCurMB[3] = pDstMVCurMB[0];
        return qvoStatusOk;
    }
    for (int block = 0; block < 4; ++block) {
        if (!pFlagCurMB[block]) continue;
        setMVPred(from, pDstMVCurMB, block);
        if (const QvoStatus status = getMV(ppBitStream, pBitOffset, pDstMVCurMB[block], fcode)) return status;
    }
    padTransparent(pDstMVCurMB, pFlagCurMB);
    return qvoStatusOk;
}

QvoStatus qvoiDecodeMV_BVOP_Forward_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset, QvoMotionVector* pSrcDstMVF,
                                          Qvo32s fcodeForward) {
    return decodeBVOP(ppBitStream, pBitOffset, pSrcDstMVF, fcodeForward);
}

QvoStatus qvoiDecodeMV_BVOP_Backward_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset, QvoMotionVector* pSrcDstMVB,
                                           Qvo32s fcodeBackward) {
    return decodeBVOP(ppBitStream, pBitOffset, pSrcDstMVB, fcodeBackward);
}

QvoStatus qvoiDecodeMV_BVOP_Interpolate_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset, QvoMotionVector* pSrcDstMVF,
                                              QvoMotionVector* pSrcDstMVB, Qvo32s fcodeForward,
                                              Qvo32s fcodeBackward) {
    if (anyNull(pSrcDstMVF, pSrcDstMVB)) return qvoStatusNullPtr;
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset)) return status;
    if (badFcode(fcodeForward) || badFcode(fcodeBackward)) return qvoStatusFcodeRange;
    if (const QvoStatus status = getMV(ppBitStream, pBitOffset, *pSrcDstMVF, fcodeForward)) return status;
    return getMV(ppBitStream, pBitOffset, *pSrcDstMVB, fcodeBackward);
}

QvoStatus qvoiDecodeMV_BVOP_Direct_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const QvoMotionVector* pSrcMVColMB,
                                         QvoMotionVector* pDstMVForward, QvoMotionVector* pDstMVBackward,
                                         const Qvo8u* pFlagColMB, Qvo32s TRB, Qvo32s TRD) {
    if (anyNull(pSrcMVColMB, pDstMVForward, pDstMVBackward, pFlagColMB)) return qvoStatusNullPtr;
    if (const QvoStatus status = checkPosition(ppBitStream, pBitOffset)) return status;
    if (anyMisaligned4(pFlagColMB)) return qvoStatusMisaligned;
    if (TRB < 1 || TRD < 1) return qvoStatusMbCount;
    Difference delta;
    if (const QvoStatus status = readDifference(ppBitStream, pBitOffset, 1, delta)) return status;
    deriveDirect(pSrcMVColMB, pFlagColMB, delta, TRB, TRD, pDstMVForward, pDstMVBackward);
    return qvoStatusOk;
}

QvoStatus qvoiDecodeMV_BVOP_DirectSkip_MPEG4(const QvoMotionVector* pSrcMVColMB, QvoMotionVector* pDstMVForward,
                                             QvoMotionVector* pDstMVBackward, const Qvo8u* pFlagColMB, Qvo32s TRB,
                                             Qvo32s TRD) {
    if (anyNull(pSrcMVColMB, pDstMVForward, pDstMVBackward, pFlagColMB)) return qvoStatusNullPtr;
    if (anyMisaligned4(pFlagColMB)) return qvoStatusMisaligned;
    if (TRB < 1 || TRD < 1) return qvoStatusMbCount;
    deriveDirect(pSrcMVColMB, pFlagColMB, {}, TRB, TRD, pDstMVForward, pDstMVBackward);
    return qvoStatusOk;
}

QvoStatus qvoiPadMV_MPEG4(QvoMotionVector* pSrcDstMV, const Qvo8u* pFlags) {
    if (anyNull(pSrcDstMV, pFlags)) return qvoStatusNullPtr;
    if (anyMisaligned4(pFlags)) return qvoStatusMisaligned;
    padTransparent(pSrcDstMV, pFlags);
    return qvoStatusOk;
}

QvoStatus qvoiFindMVpred_MPEG4(const QvoMotionVector* pSrcMVCurMB, const QvoMotionVector* pSrcMVLeftMB,
                               const QvoMotionVector* pSrcMVUpperMB, const QvoMotionVector* pSrcMVUpperRightMB,
                               const Qvo8u* pFlagLeftMB, const Qvo8u* pFlagUpperMB, const Qvo8u* pFlagUpperRightMB,
                               const Qvo8u* pFlagCurMB, QvoMotionVector* pDstMVPred, QvoMotionVector* pDstMVPredMe,
                               Qvo32s blockIndex) {
    if (anyNull(pSrcMVCurMB, pFlagLeftMB, pFlagUpperMB, pFlagUpperRightMB, pFlagCurMB, pDstMVPred) ||
        anyMisaligned4(pFlagLeftMB, pFlagUpperMB, pFlagUpperRightMB, pFlagCurMB) || blockIndex < 0 || blockIndex > 3)
        return qvoStatusBadArg;
    const Surroundings from = {available(pSrcMVLeftMB, pFlagLeftMB), available(pSrcMVUpperMB, pFlagUpperMB),
                               available(pSrcMVUpperRightMB, pFlagUpperRightMB), pSrcMVCurMB, pFlagCurMB};
    Candidates candidates;
    *pDstMVPred = predict(from, blockIndex, candidates);
    if (pDstMVPredMe != nullptr) std::memcpy(pDstMVPredMe, candidates.data(), sizeof candidates);
    return qvoStatusOk;
}

QvoStatus qvoiLimitMVToRect_MPEG4(const QvoMotionVector* pSrcMV, QvoMotionVector* pDstMV, Qvo32s rectX, Qvo32s rectY,
                                  Qvo32s rectWidth, Qvo32s rectHeight, Qvo32s x, Qvo32s y, Qvo32s blockSize) {
    if (anyNull(pSrcMV, pDstMV)) return qvoStatusNullPtr;
    if (blockSize != 8 && blockSize != 16) return qvoStatusBlockSize;
    if (rectWidth < 2 * blockSize || rectHeight < 2 * blockSize) return qvoStatusSize;
    *pDstMV = {limit(pSrcMV->dx, x, rectX, rectWidth, blockSize), limit(pSrcMV->dy, y, rectY, rectHeight, blockSize)};
    return qvoStatusOk;
}

QvoStatus qvoiComputeChromaMV_MPEG4(const QvoMotionVector* pSrcMVY, QvoMotionVector* pDstMVC) {
    if (anyNull(pSrcMVY, pDstMVC)) return qvoStatusNullPtr;
    *pDstMVC = {halve(pSrcMVY->dx), halve(pSrcMVY->dy)};
    return qvoStatusOk;
}

QvoStatus qvoiComputeChroma4MV_MPEG4(const QvoMotionVector* pSrcMVY, QvoMotionVector* pDstMVC, const Qvo8u* pFlags) {
    if (anyNull(pSrcMVY, pDstMVC, pFlags)) return qvoStatusNullPtr;
    if (anyMisaligned4(pFlags)) return qvoStatusMisaligned;
    Qvo32s sumX = 0;
    Qvo32s sumY = 0;
    Qvo32s vectors = 0;
    for (int block = 0; block < 4; ++block) {
        if (!pFlags[block]) continue;
        sumX += pSrcMVY[block].dx;
        sumY += pSrcMVY[block].dy;
        ++vectors;
    }
    *pDstMVC = {chromaOfSum(sumX, vectors), chromaOfSum(sumY, vectors)};
    return qvoStatusOk;
}
