#include "mpeg4/vop_encoder.h"

#include <algorithm>
#include <bit>
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

// Up to this sum of absolute differences, of all blocks and for a quantiser of 1, a macroblock may be copied in B-VOPs.
constexpr int copiedSum = 96;

// Of the macroblocks where a packet may begin. A marker and a number that begins with five zeros look like the start of an
// H.263 picture, which leads programs that recognise streams by content astray.
int firstPacketFor(const Layer& layer) {
    const int last = layer.macroblockWidth() * layer.macroblockHeight() - 1;
    return 1 << std::max(static_cast<int>(std::bit_width(static_cast<unsigned>(last))) - 5, 0);
}

bool isZero(const Vectors& vectors) {
    return std::all_of(vectors.begin(), vectors.end(), [](QvoMotionVector v) { return v.dx == 0 && v.dy == 0; });
}

}  // namespace

VopEncoder::VopEncoder(EncodeClock& clock, const Layer& layer, const EncoderSettings& settings)
    : clock_(clock),
      layer_(layer),
      packetBits_(static_cast<std::size_t>(settings.packetBits)),
      firstPacket_(firstPacketFor(layer)),
      blocks_(layer),
      intra_(layer.macroblockWidth(), layer.macroblockHeight()),
      forwardEstimator_(settings.fourVectors),
      backwardEstimator_(false),
      vectors_(layer.macroblockWidth(), layer.macroblockHeight()),
      vectorsBefore_(vectors_) {}

void VopEncoder::encode(const VopHeader& vop, const VopPictures& pictures, BitWriter& bits) {
    vop_ = vop;
    pictures_ = pictures;
    bits_ = &bits;
    blocks_.setQuantiser(vop.quantiser);
    intraDecoder_.begin(layer_.macroblockWidth(), layer_.useMatrices ? layer_.intraMatrix.data() : nullptr);
    if (vop.type != VopType::intra)
        forwardEstimator_.begin(*pictures.source, *pictures.forward, vop.quantiser, vop.fcodeForward);
    if (vop.type == VopType::bidirectional) {
        backwardEstimator_.begin(*pictures.source, *pictures.backward, vop.quantiser, vop.fcodeBackward);
    } else {
        std::swap(vectors_, vectorsBefore_);
        vectors_.clear();
        longestVector_ = 0;
    }

    x_ = y_ = 0;
    packetStart_ = bits.bits();
    beginPacket();
    for (y_ = 0; y_ < layer_.macroblockHeight(); ++y_) {
        intraDecoder_.beginRow();
        forwardVector_ = backwardVector_ = {};
        for (x_ = 0; x_ < layer_.macroblockWidth(); ++x_) {
            bits.reserve(macroblockBytes);
            nextPacketIfDue();
            encodeMacroblock();
            packetBegins_ = false;
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
    forwardVector_ = backwardVector_ = {};
    packetBegins_ = true;
}

void VopEncoder::nextPacketIfDue() {
    if (packetBits_ == 0 || bits_->bits() < packetStart_ + packetBits_) return;
    const int macroblock = y_ * layer_.macroblockWidth() + x_;
    if (macroblock < firstPacket_) return;
    writePacket(*bits_, layer_, vop_, {macroblock, vop_.quantiser});
    packetStart_ = bits_->bits();
    beginPacket();
}

// ---- macroblocks ------------------------------------------------------------------------------------------------

void VopEncoder::encodeMacroblock() {
    if (vop_.type == VopType::intra) return codeIntra();
    if (vop_.type == VopType::bidirectional) return codeBidirectional();
    clock_.enter(EncodeStage::search);
    // There are decoders that lose a vector of the macroblock to the left, for direct mode, where a packet begins with
    // four vectors.
    const MotionChoice motion = forwardEstimator_.choose(x_, y_, vectors_, vectorsBefore_, !packetBegins_);
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
    const IntraMacroblock& macroblock = intra_.code(blocks_, *pictures_.source, x_, y_);
    clock_.enter(EncodeStage::writing);
    vectors_.set(x_, y_, {});
    pictures_.target->motion[address()] = {};
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
    predict(here(), *pictures_.forward, motion.vectors, vop_.rounding);
    codeResidual();
    inter_.skipped = maySkip(motion.vectors);
    clock_.enter(EncodeStage::writing);
    writeInter(motion);
    vectors_.set(x_, y_, motion.vectors);
    pictures_.target->motion[address()] = {motion.vectors, inter_.skipped};
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

// A macroblock skipped here is so in the B-VOPs before, too, whatever they show.
bool VopEncoder::maySkip(const Vectors& vectors) const {
    if (inter_.pattern != 0 || !isZero(vectors)) return false;
    const Place copy = here();
    return std::all_of(pictures_.between.begin(), pictures_.between.end(), [&](const PaddedPicture* picture) {
        std::array<Qvo32s, 3> sums;
        qvoiSAD16x16_8u32s(picture->macroblock(0, x_, y_), sourceStep(0), copy.luma(), copy.step(0), sums.data(),
                           qvoMcFullPel);
        for (std::size_t plane = 1; plane < 3; ++plane)
            qvoiSAD8x8_8u32s_C1R(picture->macroblock(plane, x_, y_), sourceStep(4),
                                 copy.block(static_cast<int>(plane) + 3), copy.step(4), &sums[plane], qvoMcFullPel);
        return sums[0] + sums[1] + sums[2] <= copiedSum * vop_.quantiser;
    });
}

void VopEncoder::writeInter(const MotionChoice& motion) {
    if (inter_.skipped) {
        bits_->put(1, 1);  // not_coded
        return;
    }
    bits_->put(0, 1);
    put((motion.four ? mcbpcInter4V : mcbpcInter)[static_cast<std::size_t>(inter_.pattern & 3)]);
    put(cbpy[static_cast<std::size_t>(inter_.pattern >> 2 ^ 15)]);
    vectors_.write(bits_->byte(), bits_->offset(), x_, y_, motion.vectors, motion.four, vop_.fcodeForward);
    writeLevels();
}

void VopEncoder::writeLevels() {
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

// ---- B-VOPs -----------------------------------------------------------------------------------------------------

// What the next reference skips is skipped in a B-VOP without a bit.
bool VopEncoder::isSkippedUnsaid() const {
    return vop_.type == VopType::bidirectional && pictures_.backward->motion[address()].skipped;
}

void VopEncoder::codeBidirectional() {
    if (isSkippedUnsaid()) return copy(here(), *pictures_.forward);
    clock_.enter(EncodeStage::search);
    const Bidirectional choice = chooseBidirectional();
    clock_.enter(EncodeStage::transform);
    predictBidirectional(choice);
    codeResidual();
    clock_.enter(EncodeStage::writing);
    writeBidirectional(choice);
}

VopEncoder::Bidirectional VopEncoder::chooseBidirectional() {
    constexpr Qvo32u colocatedFlags = 1;
    constexpr int lambdaOfHeader[] = {2, 4, 5, 6};  // modb and mb_type
    Bidirectional direct;
    qvoiDecodeMV_BVOP_DirectSkip_MPEG4(pictures_.backward->motion[address()].vectors.data(), direct.forward.data(),
                                       direct.backward.data(), reinterpret_cast<const Qvo8u*>(&colocatedFlags),
                                       pictures_.timeToVop, pictures_.timeToBackward);
    const MotionChoice forward =
        forwardEstimator_.chooseOne(x_, y_, forwardVector_, std::array{forwardVector_, direct.forward[0]});
    const MotionChoice backward =
        backwardEstimator_.chooseOne(x_, y_, backwardVector_, std::array{backwardVector_, direct.backward[0]});
    Bidirectional both = {modeInterpolated, forward.vectors, backward.vectors, 0};
    direct.cost = predictionCost(direct, lambdaOfHeader[modeDirect] - 2);
    both.cost = predictionCost(both, lambdaOfHeader[modeInterpolated]) + forward.cost - forward.sum + backward.cost -
                backward.sum;

    Bidirectional best = direct;
    if (both.cost < best.cost) best = both;
    const int forwardCost = forward.cost + lambdaOfHeader[modeForward] * vop_.quantiser;
    if (forwardCost < best.cost) best = {modeForward, forward.vectors, {}, forwardCost};
    const int backwardCost = backward.cost + lambdaOfHeader[modeBackward] * vop_.quantiser;
    if (backwardCost < best.cost) best = {modeBackward, {}, backward.vectors, backwardCost};
    return best;
}

// The sum of absolute differences and the weight of so many bits.
int VopEncoder::predictionCost(const Bidirectional& choice, int bits) {
    predictBidirectional(choice);
    Qvo32s sum;
    qvoiSAD16x16_8u32s(sourceBlock(0), sourceStep(0), here().luma(), here().step(0), &sum, qvoMcFullPel);
    return sum + bits * vop_.quantiser;
}

void VopEncoder::predictBidirectional(const Bidirectional& choice) {
    if (choice.mode == modeForward) {
        predict(here(), *pictures_.forward, choice.forward, 0);
    } else if (choice.mode == modeBackward) {
        predict(here(), *pictures_.backward, choice.backward, 0);
    } else {
        predict(here(), *pictures_.forward, choice.forward, *pictures_.backward, choice.backward);
    }
}

void VopEncoder::writeBidirectional(const Bidirectional& choice) {
    const bool coded = inter_.pattern != 0;
    if (choice.mode == modeDirect && !coded) {
        bits_->put(1, 1);  // modb
        return;
    }
    bits_->put(coded ? 0 : 1, 2);    // modb
    bits_->put(1, choice.mode + 1);  // mb_type
    if (coded) bits_->put(static_cast<std::uint32_t>(inter_.pattern), 6);
    if (coded && choice.mode != modeDirect) bits_->put(0, 1);  // dbquant
    constexpr QvoMotionVector zero = {};
    if (choice.mode == modeDirect) _qvoiSendDiffMV_F1_MPEG4(bits_->byte(), bits_->offset(), &zero);
    if (choice.mode == modeForward || choice.mode == modeInterpolated)
        writeDifference(choice.forward[0], forwardVector_);
    if (choice.mode == modeBackward || choice.mode == modeInterpolated)
        writeDifference(choice.backward[0], backwardVector_);
    writeLevels();
}

// Both directions have the same fcode.
void VopEncoder::writeDifference(QvoMotionVector vector, QvoMotionVector& predictor) {
    const QvoMotionVector difference = {static_cast<Qvo16s>(vector.dx - predictor.dx),
                                        static_cast<Qvo16s>(vector.dy - predictor.dy)};
    if (vop_.fcodeForward == 1) {
        _qvoiSendDiffMV_F1_MPEG4(bits_->byte(), bits_->offset(), &difference);
    } else {
        _qvoiSendDiffMV_Fn_MPEG4(bits_->byte(), bits_->offset(), &difference, vop_.fcodeForward);
    }
    predictor = vector;
}

// ---- the source -------------------------------------------------------------------------------------------------

const Qvo8u* VopEncoder::sourceBlock(int block) const {
    if (block >= 4) return pictures_.source->macroblock(static_cast<std::size_t>(block) - 3, x_, y_);
    return pictures_.source->macroblock(0, x_, y_) + (block >> 1) * 8 * sourceStep(0) + (block & 1) * 8;
}

Qvo32s VopEncoder::sourceStep(int block) const {
    return static_cast<Qvo32s>(pictures_.source->plane(block < 4 ? 0 : static_cast<std::size_t>(block) - 3).step);
}

}  // namespace codecs::mpeg4
