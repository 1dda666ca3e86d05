#include "h263/picture_encoder.h"

#include <algorithm>

#include "h263/tables.h"

namespace codecs::h263 {

using mpeg4::Frame;
using mpeg4::MotionChoice;
using mpeg4::Place;

namespace {

// More than a macroblock takes whose every level is escaped, with the header of a group before it.
constexpr std::size_t macroblockBytes = 6 * 64 * 3 + 64;

// The escape's level has eight bits (5.4.2).
constexpr int largestLevel = 127;

// A macroblock has to be intra at least once in so many times that coefficients are sent for it (4.4).
constexpr int refreshInterval = 132;
// After an intra picture macroblocks begin as if they had been coded up to this many times, so that not all of them are
// due in the same picture.
constexpr int refreshSpread = 66;

// Sums of absolute differences favour intra coding, which takes more bits than they say.
constexpr int intraPenalty = 500;

// Vectors are those of fcode 1 in MPEG-4.
constexpr int fcode = 1;
constexpr int roundUp = 0;

void limitLevels(mpeg4::Levels& levels) {
    for (Qvo16s& level : levels.at)
        level = std::clamp<Qvo16s>(level, -largestLevel, largestLevel);
}

// Zeros up to the next byte, with which start codes begin: fewer than eight of them may stand before it (5.1.27, 5.2.1).
void alignBits(BitWriter& bits) {
    if (!bits.aligned()) bits.put(0, 8 - *bits.offset());
}

}  // namespace

void writePictureHeader(BitWriter& bits, const CodedHeader& header) {
    bits.put(1, startCodeBits);
    bits.put(0, 5);
    bits.put(static_cast<std::uint32_t>(header.temporalReference & 255), 8);
    bits.put(2, 2);  // PTYPE begins
    bits.put(0, 3);  // no split screen, document camera or freeze picture release
    bits.put(static_cast<std::uint32_t>(header.sourceFormat), 3);
    bits.put(!header.intra, 1);
    bits.put(0, 4);  // none of the optional modes
    bits.put(static_cast<std::uint32_t>(header.quantiser), 5);
    bits.put(0, 1);  // CPM
    bits.put(0, 1);  // PEI
}

PictureEncoder::PictureEncoder(EncodeClock& clock, int width, int height, std::size_t groupBits)
    : clock_(clock),
      columns_(width / 16),
      rows_(height / 16),
      groupRows_(groupRows(height)),
      groupBits_(groupBits),
      blocks_(mpeg4::Layer()),
      estimator_(false, true),
      vectors_(columns_, rows_),
      vectorsBefore_(vectors_),
      sinceIntra_(static_cast<std::size_t>(columns_ * rows_)) {}

void PictureEncoder::encode(const CodedHeader& header, const PaddedPicture& source, const Frame& reference,
                            Frame& target, BitWriter& bits) {
    header_ = header;
    source_ = &source;
    reference_ = &reference;
    target_ = &target;
    bits_ = &bits;
    blocks_.setQuantiser(header.quantiser);
    std::swap(vectors_, vectorsBefore_);
    vectors_.clear();
    if (!header.intra) estimator_.begin(source, reference, header.quantiser, fcode);

    groupStart_ = 0;
    for (y_ = 0; y_ < rows_; ++y_) {
        x_ = 0;
        bits.reserve(macroblockBytes);
        if (y_ > 0 && y_ % groupRows_ == 0 && groupBits_ > 0 && bits.bits() >= groupStart_ + groupBits_) beginGroup();
        for (; x_ < columns_; ++x_) {
            bits.reserve(macroblockBytes);
            encodeMacroblock();
        }
    }
    clock_.enter(EncodeStage::writing);
    alignBits(bits);
}

// The header of a group of blocks (5.2). Vectors are not predicted over it.
void PictureEncoder::beginGroup() {
    alignBits(*bits_);
    groupStart_ = bits_->bits();
    bits_->put(1, startCodeBits);
    bits_->put(static_cast<std::uint32_t>(y_ / groupRows_), 5);
    bits_->put(static_cast<std::uint32_t>(header_.groupFrameId), 2);
    bits_->put(static_cast<std::uint32_t>(header_.quantiser), 5);
    vectors_.beginPacket(0, y_);
}

void PictureEncoder::encodeMacroblock() {
    if (header_.intra) {
        codeIntra();
        sinceIntra() = static_cast<std::uint8_t>(target_->macroblockIndex(x_, y_) % refreshSpread);
        return;
    }
    if (sinceIntra() >= refreshInterval - 1) {
        ++refreshed_;
        return codeIntra();
    }
    clock_.enter(EncodeStage::search);
    const MotionChoice motion = estimator_.choose(x_, y_, vectors_, vectorsBefore_, false);
    clock_.enter(EncodeStage::decision);
    if (isBetterIntra(motion)) {
        codeIntra();
    } else {
        codeInter(motion);
    }
}

bool PictureEncoder::isBetterIntra(const MotionChoice& motion) const {
    if (motion.sum < intraPenalty) return false;
    Qvo32s deviation;
    qvoiMeanAbsDev16x16_8u32s_C1R(sourceBlock(0), sourceStep(0), &deviation);
    return deviation + intraPenalty < motion.sum;
}

// ---- intra macroblocks ------------------------------------------------------------------------------------------

void PictureEncoder::codeIntra() {
    clock_.enter(EncodeStage::transform);
    const int pattern = transformIntra();
    clock_.enter(EncodeStage::writing);
    vectors_.set(x_, y_, {});
    sinceIntra() = 0;
    const auto chroma = static_cast<std::size_t>(pattern & 3);
    if (header_.intra) {
        put(mpeg4::mcbpcIntraVop[chroma]);
    } else {
        bits_->put(0, 1);  // COD
        put(mpeg4::mcbpcIntra[chroma]);
    }
    put(mpeg4::cbpy[static_cast<std::size_t>(pattern >> 2)]);
    Qvo8u* codes = *bits_->byte();
    Qvo32s offset = *bits_->offset();
    for (int block = 0; block < 6; ++block) {
        qvoiEncode_IntraDCVLC_H263_16s1u(levels(block).at[0], bits_->byte(), bits_->offset());
        if (pattern & 0x20 >> block)
            qvoiEncode_ACVLC_H263_16s1u(levels(block).data(), bits_->byte(), bits_->offset(), 1);
    }

    // What has been written, decoded.
    clock_.enter(EncodeStage::transform);
    const Place place = here();
    for (int block = 0; block < 6; ++block) {
        if (pattern & 0x20 >> block) {
            qvoiDecodeBlockCoef_Intra_H263_1u8u(&codes, &offset, place.block(block), place.step(block),
                                                header_.quantiser, 0);
        } else {
            qvoiDecodeBlockCoef_IntraDCOnly_H263_1u8u(&codes, &offset, place.block(block), place.step(block));
        }
    }
}

// Returns the coded blocks; bit 5 is the first.
int PictureEncoder::transformIntra() {
    int pattern = 0;
    for (int block = 0; block < 6; ++block) {
        mpeg4::Levels& l = levels(block);
        Qvo32s last;
        qvoiDCT8x8Fwd_8u16s_C1R(sourceBlock(block), sourceStep(block), l.data());
        qvoiQuantIntra_H263_C1I(l.data(), header_.quantiser, &last);
        const int dc = std::clamp((l.at[0] + 4) >> 3, 1, 254);
        limitLevels(l);
        l.at[0] = static_cast<Qvo16s>(dc);
        if (last > 0) pattern |= 0x20 >> block;
    }
    return pattern;
}

// ---- inter macroblocks ------------------------------------------------------------------------------------------

void PictureEncoder::codeInter(const MotionChoice& motion) {
    clock_.enter(EncodeStage::transform);
    predict(here(), *reference_, motion.vectors, roundUp);
    const int pattern = transformResidual();
    if (pattern != 0) ++sinceIntra();
    clock_.enter(EncodeStage::writing);
    writeInter(motion, pattern);
    vectors_.set(x_, y_, motion.vectors);
}

// The levels of what the prediction in the target lacks. Returns the coded blocks.
int PictureEncoder::transformResidual() {
    const Place place = here();
    int pattern = 0;
    for (int block = 0; block < 6; ++block) {
        mpeg4::Levels residual;
        qvoiGetDiff8x8_8u16s_C1(sourceBlock(block), sourceStep(block), place.block(block), place.step(block),
                                residual.data(), 16, nullptr, 0, qvoMcFullPel, 0);
        if (!blocks_.codeInter(residual, levels(block))) continue;
        limitLevels(levels(block));
        pattern |= 0x20 >> block;
    }
    return pattern;
}

void PictureEncoder::writeInter(const MotionChoice& motion, int pattern) {
    const QvoMotionVector vector = motion.vectors[0];
    if (pattern == 0 && vector.dx == 0 && vector.dy == 0) {
        bits_->put(1, 1);  // COD: not coded
        return;
    }
    bits_->put(0, 1);
    put(mpeg4::mcbpcInter[static_cast<std::size_t>(pattern & 3)]);
    put(mpeg4::cbpy[static_cast<std::size_t>(pattern >> 2 ^ 15)]);
    vectors_.write(bits_->byte(), bits_->offset(), x_, y_, motion.vectors, false, fcode);
    Qvo8u* const codes = *bits_->byte();
    const Qvo32s offset = *bits_->offset();
    for (int block = 0; block < 6; ++block)
        if (pattern & 0x20 >> block)
            qvoiEncode_ACVLC_H263_16s1u(levels(block).data(), bits_->byte(), bits_->offset(), 0);
    clock_.enter(EncodeStage::transform);
    addResidual(codes, offset, pattern);
}

// Decodes what has been written, so that the target becomes what a decoder will make of it.
void PictureEncoder::addResidual(Qvo8u* codes, Qvo32s offset, int pattern) {
    alignas(32) std::array<Qvo16s, 6 * 64> residual;
    for (std::size_t block = 0; block < 6; ++block)
        if (pattern & 0x20 >> block)
            qvoiDecodeBlockCoef_Inter_H263_1u16s(&codes, &offset, residual.data() + 64 * block, header_.quantiser, 0);
    const Place place = here();
    Qvo8u *const y = place.luma(), *const cb = place.chroma(1), *const cr = place.chroma(2);
    qvoiReconMB_H263_8u_P3R(y, cb, cr, place.step(0), place.step(4), residual.data(), pattern, y, cb, cr,
                            place.step(0), place.step(4));
}

const Qvo8u* PictureEncoder::sourceBlock(int block) const {
    if (block >= 4) return source_->macroblock(static_cast<std::size_t>(block) - 3, x_, y_);
    return source_->macroblock(0, x_, y_) + (block >> 1) * 8 * sourceStep(0) + (block & 1) * 8;
}

Qvo32s PictureEncoder::sourceStep(int block) const {
    return static_cast<Qvo32s>(source_->plane(block < 4 ? 0 : static_cast<std::size_t>(block) - 3).step);
}

}  // namespace codecs::h263
