// Motion vectors: their differences in either coding, the ranges, and median prediction.
#include "core/arith.h"
#include "core/bits.h"
#include "mpeg4/motion_code.h"
#include "qvovc/h263.h"
#include "qvovc/mpeg4.h"

using namespace qvovc;

namespace {

// ---- differences ----

// Every second bit of a word, from bit 0 up, in its low half.
Qvo32u evenBits(Qvo32u word) {
    word &= 0x55555555;
    word = (word | word >> 1) & 0x33333333;
    word = (word | word >> 2) & 0x0F0F0F0F;
    word = (word | word >> 4) & 0x00FF00FF;
    return (word | word >> 8) & 0x0000FFFF;
}

// Table D.3: 1 stands for zero. Otherwise a 0, then data bits, each but the last one followed by a 1, the last by a 0.
// The data bits are the magnitude's below its leading 1, then the sign.
constexpr Qvo32s longestReversible = 25;

bool readReversible(Position& position, Qvo32s& difference) {
    const Qvo32u code = ownShowBits(position.byte, position.offset, longestReversible) << (32 - longestReversible);
    Qvo32s length = 1;
    difference = 0;
    if (code >> 31 == 0) {
        const Qvo32u ends = ~code & 0x2AAAAA80;  // zeros at the places of the bits that follow data bits
        if (ends == 0) return false;
        const Qvo32s dataBits = __builtin_clz(ends) / 2;
        length = 2 * dataBits + 1;
        const Qvo32u data = evenBits(code >> (32 - 2 * dataBits));
        const Qvo32s magnitude = static_cast<Qvo32s>(1u << (dataBits - 1) | data >> 1);
        difference = (data & 1) != 0 ? -magnitude : magnitude;
    }
    ownFlushBits(&position.byte, &position.offset, length);
    return true;
}

// A predictor and a difference give -16 to 15.5: differences that are 32 apart share a code.
Qvo16s addBaseline(Qvo16s predictor, Qvo32s difference) {
    const Qvo32s sum = predictor + difference;
    return wrap16(sum < -32 ? sum + 64 : sum > 31 ? sum - 64 : sum);
}

// Annex D with the same codes: -31.5 to 31.5. Predictors of more than 16 or less than -15.5 lead to vectors on their
// side only.
Qvo16s addUnrestricted(Qvo16s predictor, Qvo32s difference) {
    const Qvo32s sum = predictor + difference;
    if (predictor < -31 && sum < -63) return wrap16(sum + 64);
    if (predictor > 32 && sum > 63) return wrap16(sum - 64);
    return wrap16(sum);
}

// Adds a difference to the predictor in vector. After an invalid code the position is where that code begins, and the
// vector is as it was.
QvoStatus decodeDifference(Qvo8u** ppBitStream, Qvo32s* pBitOffset, QvoMotionVector& vector, Qvo32s mvMode) {
    Position position = {*ppBitStream, *pBitOffset};
    const auto read = [&](Qvo32s& difference) {
        return mvMode == qvoMVReversible ? readReversible(position, difference)
                                         : readComponent(position, 0, difference);
    };
    Qvo32s dx = 0, dy = 0;
    const bool valid = read(dx) && read(dy);
    // 1 in either is six zeros, which a bit keeps from looking like a start code.
    if (valid && mvMode == qvoMVReversible && dx == 1 && dy == 1) ownFlushBits(&position.byte, &position.offset, 1);
    *ppBitStream = position.byte;
    *pBitOffset = position.offset;
    if (!valid) return qvoStatusBadMvCode;

    if (mvMode == qvoMVReversible)
        vector = {wrap16(vector.dx + dx), wrap16(vector.dy + dy)};
    else if (mvMode == qvoMVUnrestricted)
        vector = {addUnrestricted(vector.dx, dx), addUnrestricted(vector.dy, dy)};
    else
        vector = {addBaseline(vector.dx, dx), addBaseline(vector.dy, dy)};
    return qvoStatusOk;
}

// ---- prediction ----

// Four vectors each, null outside the picture or segment.
struct Neighbours {
    const QvoMotionVector* left;
    const QvoMotionVector* above;
    const QvoMotionVector* aboveRight;
};

// Figures 12 and F.1.
QvoMotionVector predict(const Neighbours& from, const QvoMotionVector* current, Qvo32s block) {
    const auto orZero = [](const QvoMotionVector* vectors, int i) {
        return vectors != nullptr ? vectors[i] : QvoMotionVector{0, 0};
    };
    if (block == 3) return median(current[2], current[0], current[1]);
    if (block == 2) return median(orZero(from.left, 3), current[0], current[1]);
    const QvoMotionVector first = block == 0 ? orZero(from.left, 1) : current[0];
    if (from.above == nullptr) return first;  // both candidates above take its value
    return median(first, from.above[block == 0 ? 2 : 3], orZero(from.aboveRight, 2));
}

bool hasPosition(Qvo8u* const* ppBitStream, const Qvo32s* pBitOffset) {
    return !anyNull(ppBitStream, pBitOffset) && *ppBitStream != nullptr;
}

}  // namespace

QvoStatus qvoiDecodeMVD_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, QvoMotionVector* pSrcDstMV, Qvo32s mvMode) {
    if (!hasPosition(ppBitStream, pBitOffset) || pSrcDstMV == nullptr) return qvoStatusNullPtr;
    return decodeDifference(ppBitStream, pBitOffset, *pSrcDstMV, mvMode);
}

QvoStatus qvoiFindMVpred_H263(const QvoMotionVector* pSrcMVCurMB, const QvoMotionVector* pSrcMVLeftMB,
                              const QvoMotionVector* pSrcMVUpperMB, const QvoMotionVector* pSrcMVUpperRightMB,
                              QvoMotionVector* pDstMVPred, Qvo32s blockIndex) {
    if (anyNull(pSrcMVCurMB, pDstMVPred)) return qvoStatusNullPtr;
    *pDstMVPred = predict({pSrcMVLeftMB, pSrcMVUpperMB, pSrcMVUpperRightMB}, pSrcMVCurMB, blockIndex & 3);
    return qvoStatusOk;
}

QvoStatus qvoiDecodeMV_H263(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const QvoMotionVector* pSrcMVLeftMB,
                            const QvoMotionVector* pSrcMVUpperMB, const QvoMotionVector* pSrcMVUpperRightMB,
                            QvoMotionVector* pDstMVCurMB, Qvo32s mvMode, Qvo32s mbType) {
    if (!hasPosition(ppBitStream, pBitOffset) || pDstMVCurMB == nullptr) return qvoStatusNullPtr;
    const Neighbours neighbours = {pSrcMVLeftMB, pSrcMVUpperMB, pSrcMVUpperRightMB};
    const bool four = mbType == qvoMbInter4V || mbType == qvoMbInter4VQ;
    for (Qvo32s block = 0; block < (four ? 4 : 1); ++block) {
        QvoMotionVector vector = predict(neighbours, pDstMVCurMB, block);
        const QvoStatus status = decodeDifference(ppBitStream, pBitOffset, vector, mvMode);
        if (status != qvoStatusOk) return status;
        pDstMVCurMB[block] = vector;
    }
    if (!four) pDstMVCurMB[1] = pDstMVCurMB[2] = pDstMVCurMB[3] = pDstMVCurMB[0];
    return qvoStatusOk;
}
