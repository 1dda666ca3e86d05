#include "mpeg2/macroblock_writer.h"

#include <bit>
#include <cstdlib>

namespace codecs::mpeg2 {

namespace {

// A vector component's difference as motion_code and motion_residual (13818-2, 7.6.3.1).
struct MotionCode {
    int code;
    int residual;
    int residualBits;  // 0 where the code is 0
};

MotionCode motionCode(int value, int prediction, int fCode) {
    const int shift = fCode - 1;
    const int limit = 16 << shift;
    int delta = value - prediction;
    if (delta < -limit) delta += 2 * limit;
    if (delta >= limit) delta -= 2 * limit;
    if (delta == 0) return {0, 0, 0};
    const int magnitude = std::abs(delta) - 1;
    const int code = (magnitude >> shift) + 1;
    return {delta < 0 ? -code : code, magnitude & ((1 << shift) - 1), shift};
}

const CodeBits& codeOf(const MotionCode& motion) {
    return writeTables().motionCode[static_cast<std::size_t>(motion.code + 16)];
}

}  // namespace

int vectorBits(int value, int prediction, int fCode) {
    const MotionCode motion = motionCode(value, prediction, fCode);
    return static_cast<int>(codeOf(motion).length) + motion.residualBits;
}

int fCodeFor(int range) {
    return static_cast<int>(std::bit_width(static_cast<unsigned>(range) / 16)) + 1;
}

void MacroblockWriter::startSlice(int row, int quantiserCode) {
    out_.startCode(codeFirstSlice + row);
    out_.put(quantiserCode, 5);
    out_.flag(false);  // extra_bit_slice
    skipped_ = 0;
    previousFlags_ = 0;
    resetDc();
    resetPredictors();
}

bool MacroblockWriter::isSkippable(const MacroblockModes& modes) const {
    const auto& [flags, vectors, pattern] = modes;
    if (pattern != 0 || (flags & mbIntra)) return false;
    if (header_->type == PictureType::predicted) return vectors[0] == Vector{};
    // As the macroblock before: its directions, and the vectors that are now the predictors.
    if (flags != previousFlags_) return false;
    return (!(flags & mbForward) || vectors[0] == predictors_[0]) &&
           (!(flags & mbBackward) || vectors[1] == predictors_[1]);
}

void MacroblockWriter::write(const Macroblock& macroblock, bool mayBeSkipped) {
    const bool intra = macroblock.flags & mbIntra;
    const bool predicted = header_->type == PictureType::predicted;
    if (mayBeSkipped && isSkippable(macroblock)) {
        ++skipped_;
        resetDc();
        if (predicted) resetPredictors();
        return;
    }
    writeAddress();
    const int flags = typeFlags(macroblock);
    out_.put(tables_.macroblockTypes[static_cast<std::size_t>(header_->type)][static_cast<std::size_t>(flags)]);
    if (flags & mbForward) writeVector(0, macroblock.vectors[0]);
    if (flags & mbBackward) writeVector(1, macroblock.vectors[1]);
    if (intra || (predicted && !(flags & mbForward))) resetPredictors();
    if (flags & mbPattern) out_.put(tables_.codedBlockPattern[static_cast<std::size_t>(macroblock.pattern)]);
    if (!intra) resetDc();
    writeBlocks(macroblock);
    previousFlags_ = macroblock.flags & (mbForward | mbBackward);
}

// macroblock_type. In P pictures blocks without a vector are another type than those with one, and shorter.
int MacroblockWriter::typeFlags(const MacroblockModes& modes) const {
    if (modes.pattern == 0) return modes.flags;
    const bool still = header_->type == PictureType::predicted && modes.vectors[0] == Vector{};
    return still ? mbPattern : modes.flags | mbPattern;
}

int MacroblockWriter::headerBits(const MacroblockModes& modes) const {
    const int flags = typeFlags(modes);
    const auto type = static_cast<std::size_t>(header_->type);
    Qvo32u codes = tables_.macroblockTypes[type][static_cast<std::size_t>(flags)].length;
    if (flags & mbPattern) codes += tables_.codedBlockPattern[static_cast<std::size_t>(modes.pattern)].length;
    int bits = static_cast<int>(codes);
    for (std::size_t direction = 0; direction < 2; ++direction) {
        if (!(flags & (direction == 0 ? mbForward : mbBackward))) continue;
        const Vector& vector = modes.vectors[direction];
        const Vector& predictor = predictors_[direction];
        const auto& fCode = header_->fCode[direction];
        bits += vectorBits(vector.x, predictor.x, fCode[0]) + vectorBits(vector.y, predictor.y, fCode[1]);
    }
    return bits;
}

void MacroblockWriter::writeAddress() {
    int increment = skipped_ + 1;
    skipped_ = 0;
    for (; increment > 33; increment -= 33)
        out_.put(tables_.addressIncrement[addressEscape]);
    out_.put(tables_.addressIncrement[static_cast<std::size_t>(increment)]);
}

void MacroblockWriter::writeVector(std::size_t direction, const Vector& vector) {
    Vector& predictor = predictors_[direction];
    const auto& fCode = header_->fCode[direction];
    for (const MotionCode& motion :
         {motionCode(vector.x, predictor.x, fCode[0]), motionCode(vector.y, predictor.y, fCode[1])}) {
        out_.put(codeOf(motion));
        if (motion.residualBits > 0) out_.put(motion.residual, motion.residualBits);
    }
    predictor = vector;
}

void MacroblockWriter::writeBlocks(const Macroblock& macroblock) {
    const bool intra = macroblock.flags & mbIntra;
    const Qvo32s* const scan = scans[header_->alternateScan ? 1 : 0].data();
    const QvoRLEncodeTable* const codes = tables_.coefficients[intra && header_->intraVlcFormat ? 1 : 0].get();
    for (std::size_t b = 0; b < 6; ++b) {
        const Qvo16s* const levels = macroblock.levels[b].data();
        if (intra) {
            const std::size_t component = b < 4 ? 0 : b - 3;
            qvoiPutIntraBlock(out_.word(), out_.bitsLeft(), levels, &dcPredictors_[component],
                              tables_.dcSizeLists[component == 0 ? 0 : 1].data(), codes, scan, macroblock.counts[b]);
        } else if (macroblock.pattern & (0x20 >> b)) {
            qvoiPutNonIntraBlock(out_.word(), out_.bitsLeft(), levels, codes, scan, macroblock.counts[b]);
        }
    }
}

void MacroblockWriter::resetDc() {
    dcPredictors_.fill(static_cast<Qvo16s>(128 << header_->intraDcPrecision));
}

}  // namespace codecs::mpeg2
