#include "mpeg4/vop_encoder.h"

#include <algorithm>
#include <cstdlib>

#include "mpeg4/header_writer.h"
#include "mpeg4/macroblock_codes.h"

namespace codecs::mpeg4 {

namespace {

// More than a macroblock takes whose every level is escaped.
constexpr std::size_t macroblockBytes = 6 * 64 * 4 + 64;

// Sums of absolute differences favour intra coding, which takes more bits than they say.
constexpr int intraPenalty = 300;
constexpr int intraPenaltyBits = 30;  // counted like those of vectors, with the quantiser

bool isZero(const Vectors& vectors) {
    return std::all_of(vectors.begin(), vectors.end(), [](QvoMotionVector v) { return v.dx == 0 && v.dy == 0; });
}

}  // namespace

VopEncoder::VopEncoder(EncodeClock& clock, const Layer& layer, const EncoderSettings& settings)
    : clock_(clock),
      layer_(layer),
      packetBits_(static_cast<std::size_t>(settings.packetBits)),
      blocks_(layer),
      intra_(layer.macroblockWidth(), layer.macroblockHeight()),
      estimator_(settings.fourVectors),
      vectors_(layer.macroblockWidth(), layer.macroblockHeight()),
      vectorsBefore_(vectors_) {}

void VopEncoder::encode(const VopHeader& vop, const PaddedPicture& source, const Frame& reference, Frame& target,
                        BitWriter& bits) {
    vop_ = vop;
    source_ = &source;
    reference_ = &reference;
    target_ = &target;
    bits_ = &bits;
    blocks_.setQuantiser(vop.quantiser);
    intraDecoder_.begin(layer_.macroblockWidth(), layer_.useMatrices ? layer_.intraMatrix.data() : nullptr);
    std::swap(vectors_, vectorsBefore_);
    vectors_.clear();
    longestVector_ = 0;
    if (vop.type == VopType::predicted) estimator_.begin(source, reference, vop.quantiser, vop.fcodeForward);

    x_ = y_ = 0;
    packetStart_ = bits.bits();
    beginPacket();
    for (y_ = 0; y_ < layer_.macroblockHeight(); ++y_) {
        intraDecoder_.beginRow();
        for (x_ = 0; x_ < layer_.macroblockWidth(); ++x_) {
            bits.reserve(macroblockBytes);
            nextPacketIfDue();
            encodeMacroblock();
        }
        intraDecoder_.endRow();
    }
    clock_.enter(EncodeStage::writing);
    stuff(bits);
}

// ---- packets ----------------------------------------------------------------------------------------------------

void VopEncoder::beginPacket() {
    intra_.beginPacket();
    intraDecoder_.beginPacket();
    vectors_.beginPacket(x_, y_);
}

void VopEncoder::nextPacketIfDue() {
    if (packetBits_ == 0 || bits_->bits() < packetStart_ + packetBits_) return;
    writePacket(*bits_, layer_, vop_, {y_ * layer_.macroblockWidth() + x_, vop_.quantiser});
    packetStart_ = bits_->bits();
    beginPacket();
}

// ---- macroblocks ------------------------------------------------------------------------------------------------

void VopEncoder::encodeMacroblock() {
    if (vop_.type == VopType::intra) return codeIntra();
    clock_.enter(EncodeStage::search);
    const MotionChoice motion = estimator_.choose(x_, y_, vectors_, vectorsBefore_);
    clock_.enter(EncodeStage::decision);
    if (isBetterIntra(motion)) {
        codeIntra();
    } else {
        codeInter(motion);
    }
}

bool VopEncoder::isBetterIntra(const MotionChoice& motion) {
    const int penalty = intraPenalty + intraPenaltyBits * vop_.quantiser;
    if (motion.sum < penalty) return false;
    Qvo32s deviation;
    qvoiMeanAbsDev16x16_8u32s_C1R(sourceBlock(0), sourceStep(0), &deviation);
    return deviation + penalty < motion.sum;
}

void VopEncoder::codeIntra() {
    clock_.enter(EncodeStage::transform);
    const IntraMacroblock& macroblock = intra_.code(blocks_, *source_, x_, y_);
    clock_.enter(EncodeStage::writing);
    vectors_.set(x_, y_, {});
    const auto chroma = static_cast<std::size_t>(macroblock.pattern & 3);
    if (vop_.type == VopType::intra) {
        put(mcbpcIntraVop[chroma]);
    } else {
        bits_->put(0, 1);  // not_coded
        put(mcbpcIntra[chroma]);
    }
    bits_->put(macroblock.acPrediction, 1);
    put(cbpy[static_cast<std::size_t>(macroblock.pattern >> 2)]);
    BitReader codes;
    *codes.byte() = *bits_->byte();
    *codes.offset() = *bits_->offset();
    macroblock.write(*bits_);

    clock_.enter(EncodeStage::transform);
    intraDecoder_.decode(codes, {vop_.quantiser, macroblock.pattern, macroblock.acPrediction, true}, here());
}

void VopEncoder::codeInter(const MotionChoice& motion) {
    clock_.enter(EncodeStage::transform);
    intra_.pass(x_, y_);
    intraDecoder_.pass(x_);
    predict(here(), *reference_, motion.vectors, vop_.rounding);
    codeResidual();
    clock_.enter(EncodeStage::writing);
    writeInter(motion);
    vectors_.set(x_, y_, motion.vectors);
    for (const QvoMotionVector v : motion.vectors)
        longestVector_ = std::max({longestVector_, std::abs(v.dx), std::abs(v.dy)});
}

// The levels of what the prediction in the target lacks.
void VopEncoder::codeResidual() {
    const Place place = here();
    std::array<Qvo16u, 4> sums;
    qvoiSAD16x16Blocks8x8_8u16u(sourceBlock(0), sourceStep(0), place.luma(), place.step(0), sums.data());
    inter_.pattern = 0;
    for (int block = 0; block < 6; ++block) {
        if (block < 4 && sums[static_cast<std::size_t>(block)] < blocks_.smallestSum()) continue;
        Levels residual;
        qvoiGetDiff8x8_8u16s_C1(sourceBlock(block), sourceStep(block), place.block(block), place.step(block),
                                residual.data(), 16, nullptr, 0, qvoMcFullPel, 0);
        if (blocks_.codeInter(residual, inter_.levels[static_cast<std::size_t>(block)]))
            inter_.pattern |= 0x20 >> block;
    }
}

void VopEncoder::writeInter(const MotionChoice& motion) {
    if (inter_.pattern == 0 && isZero(motion.vectors)) {
        bits_->put(1, 1);  // not_coded
        return;
    }
    bits_->put(0, 1);
    put((motion.four ? mcbpcInter4V : mcbpcInter)[static_cast<std::size_t>(inter_.pattern & 3)]);
    put(cbpy[static_cast<std::size_t>(inter_.pattern >> 2 ^ 15)]);
    vectors_.write(bits_->byte(), bits_->offset(), x_, y_, motion.vectors, motion.four, vop_.fcodeForward);
    const Qvo8u* const codes = *bits_->byte();
    const Qvo32s offset = *bits_->offset();
    for (int block = 0; block < 6; ++block)
        if (inter_.pattern & 0x20 >> block)
            qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u(bits_->byte(), bits_->offset(),
                                                  inter_.levels[static_cast<std::size_t>(block)].data(), 1);
    clock_.enter(EncodeStage::transform);
    addResidual(codes, offset);
}

// Decodes what has been written, so that the target becomes what a decoder will make of it.
void VopEncoder::addResidual(const Qvo8u* codes, Qvo32s offset) {
    constexpr QvoMotionVector inPlace = {};
    const Qvo8u* const matrix = layer_.useMatrices ? layer_.interMatrix.data() : nullptr;
    const Place place = here();
    Qvo8u* byte = const_cast<Qvo8u*>(codes);
    for (int block = 0; block < 6; ++block) {
        if (!(inter_.pattern & 0x20 >> block)) continue;
        Levels residual;
        qvoiDecodeBlockCoef_Inter_MPEG4_1u16s(&byte, &offset, residual.data(), vop_.quantiser, matrix);
        Qvo8u* const samples = place.block(block);
        const Qvo32s step = place.step(block);
        qvoiReconBlockHalfpel_MPEG4_8u(samples, step, residual.data(), samples, step, &inPlace, 0);
    }
}

const Qvo8u* VopEncoder::sourceBlock(int block) const {
    if (block >= 4) return source_->macroblock(static_cast<std::size_t>(block) - 3, x_, y_);
    return source_->macroblock(0, x_, y_) + (block >> 1) * 8 * sourceStep(0) + (block & 1) * 8;
}

Qvo32s VopEncoder::sourceStep(int block) const {
    return static_cast<Qvo32s>(source_->plane(block < 4 ? 0 : static_cast<std::size_t>(block) - 3).step);
}

}  // namespace codecs::mpeg4
