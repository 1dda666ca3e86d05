// Motion-vector encoding: the differential vectors of a P-VOP macroblock.
#include <cstdint>

#include "core/arith.h"
#include "mpeg4/accumulator.h"
#include "qvovc/internals.h"
#include "qvovc/mpeg4.h"

using namespace qvovc;

// ISO/IEC 14496-2 Table B-12 with the sign: entry m + 32 for motion code m.
constexpr Qvo8u _qvoMVDTAB2[65][2] = {
    {5, 13},  {7, 13},  {5, 12},  {7, 12},  {9, 12},  {11, 12}, {13, 12}, {15, 12}, {9, 11},  {11, 11}, {13, 11},
    {15, 11}, {17, 11}, {19, 11}, {21, 11}, {23, 11}, {25, 11}, {27, 11}, {29, 11}, {31, 11}, {33, 11}, {35, 11},
    {19, 10}, {21, 10}, {23, 10}, {7, 8},   {9, 8},   {11, 8},  {7, 7},   {3, 5},   {3, 4},   {3, 3},   {1, 1},
    {2, 3},   {2, 4},   {2, 5},   {6, 7},   {10, 8},  {8, 8},   {6, 8},   {22, 10}, {20, 10}, {18, 10}, {34, 11},
    {32, 11}, {30, 11}, {28, 11}, {26, 11}, {24, 11}, {22, 11}, {20, 11}, {18, 11}, {16, 11}, {14, 11}, {12, 11},
    {10, 11}, {8, 11},  {14, 12}, {12, 12}, {10, 12}, {8, 12},  {6, 12},  {4, 12},  {6, 13},  {4, 13}};

namespace {

// Into -range..range - 1, for a difference that is beyond by less than 2 * range, as those of valid vectors are.
Qvo32s wrapOnce(Qvo32s difference, Qvo32s range) {
    if (difference < -range) return difference + 2 * range;
    return difference > range - 1 ? difference - 2 * range : difference;
}

// The vectors that are not checked give any difference: these take as many steps as it needs, so that there always is
// a code.
Qvo32s wrapFully(Qvo32s difference, Qvo32s range) {
    return ((difference + range) & (2 * range - 1)) - range;
}

// Bits that are yet to be written behind those of the current byte: 7 + 2 * (13 + 6) at most.
class Bits {
  public:
    Bits(Qvo8u** ppBitStream, const Qvo32s* pBitOffset)
        : bits_(static_cast<std::uint64_t>(bitsBefore(**ppBitStream, *pBitOffset)) << 32), used_(*pBitOffset) {}

    void put(Qvo32u value, Qvo32s length) {
        used_ += length;
        bits_ |= static_cast<std::uint64_t>(value) << (64 - used_);
    }
    void putMotionCode(Qvo32s motionCode) {
        const Qvo8u(&code)[2] = _qvoMVDTAB2[motionCode + 32];
        put(code[0], code[1]);
    }
    // Stores four bytes, or eight for more than 32 bits.
    void store(Qvo8u** ppBitStream, Qvo32s* pBitOffset) const {
        storeBigEndian(*ppBitStream, static_cast<Qvo32u>(bits_ >> 32));
        if (used_ > 32) storeBigEndian(*ppBitStream + 4, static_cast<Qvo32u>(bits_));
        *ppBitStream += used_ >> 3;
        *pBitOffset = used_ & 7;
    }

  private:
    std::uint64_t bits_;  // from the most significant bit
    Qvo32s used_;
};

struct Component {
    Qvo32s motionCode;
    Qvo32s residual;
};

Component split(Qvo32s wrapped, Qvo32s fcode) {
    if (wrapped == 0) return {0, 0};
    const Qvo32s residualBits = fcode - 1;
    const Qvo32s size = wrapped < 0 ? -wrapped : wrapped;
    const Qvo32s code = ((size - 1) >> residualBits) + 1;
    return {wrapped < 0 ? -code : code, (size - 1) & ((1 << residualBits) - 1)};
}

// With fcode 1 there are no residual bits.
void putComponent(Bits& to, Qvo32s difference, Qvo32s fcode) {
    const Component component = split(wrapFully(difference, 16 << fcode), fcode);
    to.putMotionCode(component.motionCode);
    if (component.motionCode != 0) to.put(static_cast<Qvo32u>(component.residual), fcode - 1);
}

void putDifference(Qvo8u** ppBitStream, Qvo32s* pBitOffset, QvoMotionVector difference, Qvo32s fcode) {
    Bits bits(ppBitStream, pBitOffset);
    putComponent(bits, difference.dx, fcode);
    putComponent(bits, difference.dy, fcode);
    bits.store(ppBitStream, pBitOffset);
}

bool inRange(QvoMotionVector vector, Qvo32s fcode) {
    const Qvo32s limit = 16 << fcode;
    return vector.dx >= -limit && vector.dx <= limit && vector.dy >= -limit && vector.dy <= limit;
}

// A macroblock that does not exist counts as in range.
bool allInRange(const QvoMotionVector* pVectors, Qvo32s fcode) {
    if (pVectors == nullptr) return true;
    for (int block = 0; block < 4; ++block)
        if (!inRange(pVectors[block], fcode)) return false;
    return true;
}

}  // namespace

QvoStatus _qvoiscaleMV(Qvo32s* pMotionCode, Qvo32s* pResidual, Qvo16s difference, Qvo32s fcode) {
    const Component component = split(wrapOnce(difference, 16 << fcode), fcode);
    *pMotionCode = component.motionCode;
    *pResidual = component.residual;
    return qvoStatusOk;
}

QvoStatus _qvoiSendDiffMV_F1_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const QvoMotionVector* pDiffMV) {
    putDifference(ppBitStream, pBitOffset, *pDiffMV, 1);
    return qvoStatusOk;
}

QvoStatus _qvoiSendDiffMV_Fn_MPEG4(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const QvoMotionVector* pDiffMV,
                                   Qvo32s fcode) {
    putDifference(ppBitStream, pBitOffset, *pDiffMV, fcode);
    return qvoStatusOk;
}

QvoStatus qvoiEncodeMV_MPEG4_8u16s(Qvo8u** ppBitStream, Qvo32s* pBitOffset, const QvoMotionVector* pMVCurMB,
                                   const QvoMotionVector* pMVLeftMB, const QvoMotionVector* pMVUpperMB,
                                   const QvoMotionVector* pMVUpperRightMB, const Qvo8u* pFlagCurMB,
                                   const Qvo8u* pFlagLeftMB, const Qvo8u* pFlagUpperMB,
                                   const Qvo8u* pFlagUpperRightMB, Qvo32s fcode, Qvo32s mbType) {
    if (anyNull(ppBitStream, pBitOffset, pMVCurMB, pFlagCurMB, pFlagLeftMB, pFlagUpperMB, pFlagUpperRightMB) ||
        *ppBitStream == nullptr || *pBitOffset < 0 || *pBitOffset > 7 || fcode < 1 || fcode > 7 ||
        !inRange(pMVCurMB[0], fcode) || !allInRange(pMVLeftMB, fcode) || !allInRange(pMVUpperMB, fcode) ||
        !allInRange(pMVUpperRightMB, fcode) ||
        anyMisaligned4(pFlagCurMB, pFlagLeftMB, pFlagUpperMB, pFlagUpperRightMB))
        return qvoStatusBadArg;

    const int vectors = mbType == qvoMbInter4V || mbType == qvoMbInter4VQ ? 4 : 1;
    for (int block = 0; block < vectors; ++block) {
        if (pFlagCurMB[block] == 0) continue;
        QvoMotionVector predictor;
        qvoiFindMVpred_MPEG4(pMVCurMB, pMVLeftMB, pMVUpperMB, pMVUpperRightMB, pFlagLeftMB, pFlagUpperMB,
                             pFlagUpperRightMB, pFlagCurMB, &predictor, nullptr, block);
        putDifference(ppBitStream, pBitOffset,
                      {wrap16(pMVCurMB[block].dx - predictor.dx), wrap16(pMVCurMB[block].dy - predictor.dy)}, fcode);
    }
    return qvoStatusOk;
}
