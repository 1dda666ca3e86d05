#include "mpeg4/vop.h"

#include <algorithm>

namespace codecs::mpeg4 {

namespace {

void check(QvoStatus status) {
    if (status != qvoStatusOk) throw Damage{};
}

// Between the partitions of a packet (6.3.5).
constexpr Qvo32u dcMarker = 0x6B001;
constexpr int dcMarkerBits = 19;
constexpr Qvo32u motionMarker = 0x1F001;
constexpr int motionMarkerBits = 17;

// Table 6-32.
constexpr std::array<int, 4> quantiserChanges = {-1, -2, 1, 2};

int readMcbpc(BitReader& bits, bool intraVop) {
    Qvo8u code;
    check(intraVop ? qvoiDecodeMCBPCIntra_H263(bits.byte(), bits.offset(), &code)
                   : qvoiDecodeMCBPCInter_H263(bits.byte(), bits.offset(), &code));
    return code;
}

const Qvo8u* flagWord(const Qvo32u& word) {
    return reinterpret_cast<const Qvo8u*>(&word);
}

}  // namespace

void VopDecoder::decode(const VopContext& vop, BitReader bits) {
    clock_.enter(Stage::parse);
    vop_ = vop;
    bits_ = bits;
    const Layer& layer = *vop.layer;
    const int width = layer.macroblockWidth();
    macroblockCount_ = width * layer.macroblockHeight();
    intra_.begin(width, layer.useMatrices ? layer.intraMatrix.data() : nullptr);
    interMatrix_ = layer.useMatrices ? layer.interMatrix.data() : nullptr;
    states_.assign(static_cast<std::size_t>(macroblockCount_), MacroblockState::missing);
    vectorStep_ = static_cast<std::size_t>(width) + 1;
    const std::size_t vectorCount = vectorStep_ * static_cast<std::size_t>(layer.macroblockHeight() + 1) + 1;
    vectors_.resize(vectorCount);
    available_.assign(vectorCount, 0);
    // Macroblocks that get lost count as intra ones.
    if (vop.header.type != VopType::bidirectional)
        std::fill(vop.target->motion.begin(), vop.target->motion.end(), Motion{});

    beginPacket(0, vop.header.quantiser);
    bool damaged;
    do {
        damaged = false;
        try {
            decodePacket();
        } catch (const Damage&) {
            // What is missing shows in the states.
            damaged = true;
        }
    } while (nextPacket(damaged));
    clock_.enter(Stage::parse);
}

// ---- packets ----------------------------------------------------------------------------------------------------

// Looks for the next resync marker and reads the header behind it. A damaged packet may have been read beyond its end,
// and be thought to be longer than it is.
bool VopDecoder::nextPacket(bool damaged) {
    if (!vop_.layer->resyncMarkers || (!damaged && address_ >= macroblockCount_)) return false;
    const int zeros = vop_.header.resyncZeros();
    Qvo8u* at = damaged ? packetStart_ : *bits_.byte();
    for (; at + 3 < bits_.end(); ++at) {
        if (at[0] != 0 || at[1] != 0) continue;
        bits_.moveTo(at);
        if (bits_.peek(zeros + 1) != 1) continue;
        bits_.skip(zeros + 1);
        try {
            const PacketHeader packet = readPacket(bits_, *vop_.layer, vop_.header, macroblockCount_);
            if (packet.macroblock <= packetAddress_) continue;
            beginPacket(packet.macroblock, packet.quantiser);
            return true;
        } catch (const Damage&) {
        }
    }
    return false;
}

void VopDecoder::beginPacket(int address, int quantiser) {
    place(address);
    packetAddress_ = address;
    packetStart_ = *bits_.byte();
    quantiser_ = quantiser;
    intra_.beginPacket();
    forwardVector_ = backwardVector_ = {};
    // The neighbours of its macroblocks that belong to other packets begin above and to the left of its first one.
    const std::size_t first = vectorIndex();
    std::fill(available_.begin() + static_cast<std::ptrdiff_t>(first - vectorStep_ - 1),
              available_.begin() + static_cast<std::ptrdiff_t>(first), 0U);
}

void VopDecoder::decodePacket() {
    if (vop_.layer->partitioned && vop_.header.type != VopType::bidirectional) {
        decodePartitions();
    } else {
        decodeMacroblocks();
    }
}

// A 0 and 1s up to the next whole byte, and a resync marker (6.2.5.2).
bool VopDecoder::atPacketEnd() {
    if (!vop_.layer->resyncMarkers) return false;
    const int stuffing = 8 - *bits_.offset();
    if (bits_.peek(stuffing) != (1U << (stuffing - 1)) - 1) return false;
    BitReader behind = bits_;
    behind.skip(stuffing);
    return behind.peek(vop_.header.resyncZeros() + 1) == 1;
}

void VopDecoder::place(int address) {
    const int width = vop_.layer->macroblockWidth();
    address_ = address;
    x_ = address % width;
    y_ = address / width;
}

void VopDecoder::advance() {
    ++address_;
    if (++x_ < vop_.layer->macroblockWidth()) return;
    x_ = 0;
    ++y_;
    intra_.endRow();
    intra_.beginRow();
    forwardVector_ = backwardVector_ = {};
}

// ---- packets of whole macroblocks -------------------------------------------------------------------------------

void VopDecoder::decodeMacroblocks() {
    while (address_ < macroblockCount_) {
        if (vop_.header.type == VopType::bidirectional) {
            decodeBidirectional();
        } else if (!decodeMacroblock()) {
            return;
        }
        if (bits_.pastEnd()) throw Damage{};
        state() = MacroblockState::decoded;
        advance();
        if (atPacketEnd() && !isSkippedUnsaid()) return;
    }
}

// In a B-VOP a macroblock that the next reference skips is skipped without a bit, at the end of a packet too. Should the
// next packet begin with it, it is decoded there once more.
bool VopDecoder::isSkippedUnsaid() const {
    return vop_.header.type == VopType::bidirectional && address_ < macroblockCount_ &&
           vop_.backward->motion[static_cast<std::size_t>(address_)].skipped;
}

// False where the packet ended behind stuffing.
bool VopDecoder::decodeMacroblock() {
    Macroblock macroblock;
    while (!readType(macroblock)) {
        if (bits_.pastEnd()) throw Damage{};
        if (atPacketEnd()) return false;
    }
    if (!macroblock.skipped) {
        readPattern(macroblock);
        readVectors(macroblock);
    }
    macroblock.quantiser = quantiser_;
    reconstruct(macroblock);
    return true;
}

// not_coded and mcbpc. False for a stuffing macroblock.
bool VopDecoder::readType(Macroblock& macroblock) {
    const bool intraVop = vop_.header.type == VopType::intra;
    if (!intraVop && bits_.flag()) {
        macroblock.skipped = true;
        macroblock.type = typeInter;
        vectors_[vectorIndex()] = {};
        available_[vectorIndex()] = 1;
        return true;
    }
    const int code = readMcbpc(bits_, intraVop);
    if (code == qvoMcbpcStuffing) return false;
    macroblock.type = code & 15;
    macroblock.pattern = code >> 4;
    return true;
}

// ac_pred_flag, cbpy and, but in the second partition of I-VOPs, dquant.
void VopDecoder::readPattern(Macroblock& macroblock) {
    const bool intra = macroblock.isIntra();
    if (intra) macroblock.acPrediction = bits_.flag();
    Qvo8u luma;
    check(qvoiDecodeCBPY_H263(bits_.byte(), bits_.offset(), &luma));
    macroblock.pattern |= (intra ? luma ^ 15 : luma) << 2;
    if (intra && vop_.layer->partitioned && vop_.header.type == VopType::intra) return;
    // The quantiser before its change decides (6.3.5).
    macroblock.dcVlc = usesDcVlc();
    if (macroblock.changesQuantiser()) readQuantiserChange();
}

void VopDecoder::readQuantiserChange() {
    quantiser_ = std::clamp(quantiser_ + quantiserChanges[bits_.get(2)], 1, 31);
}

void VopDecoder::readVectors(const Macroblock& macroblock) {
    const std::size_t index = vectorIndex();
    available_[index] = 1;
    if (macroblock.isIntra()) {
        vectors_[index] = {};
        return;
    }
    const std::size_t above = index - vectorStep_;
    check(qvoiDecodePadMV_PVOP_MPEG4(
        bits_.byte(), bits_.offset(), vectors_[index - 1].data(), vectors_[above].data(), vectors_[above + 1].data(),
        vectors_[index].data(), flagWord(available_[index - 1]), flagWord(available_[above]),
        flagWord(available_[above + 1]), opaque.data(), vop_.header.fcodeForward, macroblock.type));
}

// ---- partitioned packets ----------------------------------------------------------------------------------------

// The partitions hold the same parts of all macroblocks of the packet, so that their number is known only at the
// marker behind the first (6.2.5.3).
void VopDecoder::decodePartitions() {
    const int first = address_;
    const int quantiser = quantiser_;
    packet_.clear();
    readFirstPartition();
    if (vop_.header.type != VopType::intra) quantiser_ = quantiser;
    try {
        readSecondPartition();
        place(first);
        for (const Macroblock& macroblock : packet_) {
            reconstruct(macroblock);
            if (bits_.pastEnd()) throw Damage{};
            state() = MacroblockState::decoded;
            advance();
        }
    } catch (const Damage&) {
        predictLost(first);
        throw;
    }
}

// The vectors of a packet come first: macroblocks whose texture is lost can be predicted.
void VopDecoder::predictLost(int first) {
    if (vop_.header.type == VopType::intra) return;
    place(first);
    for (const Macroblock& macroblock : packet_) {
        if (state() != MacroblockState::decoded && !macroblock.isIntra()) {
            const Vectors& vectors = vectors_[vectorIndex()];
            vop_.target->motion[static_cast<std::size_t>(address_)] = {vectors, macroblock.skipped};
            predict(here(), *vop_.forward, vectors, vop_.header.rounding);
            state() = MacroblockState::predicted;
        }
        place(address_ + 1);
    }
}

bool VopDecoder::atMarker() {
    const bool intraVop = vop_.header.type == VopType::intra;
    const int length = intraVop ? dcMarkerBits : motionMarkerBits;
    if (bits_.peek(length) != (intraVop ? dcMarker : motionMarker)) return false;
    bits_.skip(length);
    return true;
}

// I-VOPs: mcbpc, dquant and the DC coefficients. P-VOPs: not_coded, mcbpc and the vectors.
void VopDecoder::readFirstPartition() {
    while (!atMarker()) {
        Macroblock macroblock;
        if (address_ >= macroblockCount_ || bits_.pastEnd()) throw Damage{};
        if (!readType(macroblock)) continue;
        if (vop_.header.type == VopType::intra) {
            macroblock.dcVlc = usesDcVlc();
            if (macroblock.changesQuantiser()) readQuantiserChange();
            macroblock.quantiser = quantiser_;
            readDc(macroblock);
        } else if (!macroblock.skipped) {
            readVectors(macroblock);
        }
        packet_.push_back(macroblock);
        place(address_ + 1);
    }
}

// I-VOPs: ac_pred_flag and cbpy. P-VOPs: dquant and the DC coefficients of intra macroblocks too.
void VopDecoder::readSecondPartition() {
    const bool intraVop = vop_.header.type == VopType::intra;
    for (Macroblock& macroblock : packet_) {
        if (!macroblock.skipped) readPattern(macroblock);
        if (intraVop) continue;
        macroblock.quantiser = quantiser_;
        if (macroblock.isIntra()) readDc(macroblock);
    }
    if (bits_.pastEnd()) throw Damage{};
}

void VopDecoder::readDc(Macroblock& macroblock) {
    if (!macroblock.dcVlc) return;
    for (int block = 0; block < 6; ++block)
        check(qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s(bits_.byte(), bits_.offset(),
                                                   &macroblock.dc[static_cast<std::size_t>(block)],
                                                   block < 4 ? qvoVideoLuminance : qvoVideoChrominance));
}

// ---- reconstruction ---------------------------------------------------------------------------------------------

void VopDecoder::reconstruct(const Macroblock& macroblock) {
    const std::size_t index = here().frame->macroblockIndex(x_, y_);
    vop_.target->quantisers[index] = static_cast<Qvo8u>(macroblock.quantiser);
    Motion& motion = vop_.target->motion[index];
    motion.skipped = macroblock.skipped;
    if (macroblock.isIntra()) {
        motion.vectors = {};
        clock_.enter(Stage::residual);
        const IntraHeader header = {macroblock.quantiser, macroblock.pattern, macroblock.acPrediction,
                                    macroblock.dcVlc};
        if (vop_.layer->partitioned) {
            intra_.decode(bits_, header, here(), macroblock.dc);
        } else {
            intra_.decode(bits_, header, here());
        }
        clock_.enter(Stage::parse);
        return;
    }
    intra_.pass(x_);
    clock_.enter(Stage::prediction);
    motion.vectors = vectors_[vectorIndex()];
    if (macroblock.skipped) {
        copy(here(), *vop_.forward);
    } else {
        predict(here(), *vop_.forward, motion.vectors, vop_.header.rounding);
        addResidual(macroblock.pattern, macroblock.quantiser);
    }
    clock_.enter(Stage::parse);
}

// Decodes the coded blocks and adds them to the prediction.
void VopDecoder::addResidual(int pattern, int quantiser) {
    if (pattern == 0) return;
    clock_.enter(Stage::residual);
    constexpr QvoMotionVector inPlace = {};
    const Place place = here();
    for (int block = 0; block < 6; ++block) {
        if (!(pattern & (0x20 >> block))) continue;
        check(qvoiDecodeBlockCoef_Inter_MPEG4_1u16s(bits_.byte(), bits_.offset(), residual_.data(), quantiser,
                                                    interMatrix_));
        Qvo8u* const samples = place.block(block);
        const Qvo32s step = place.step(block);
        qvoiReconBlockHalfpel_MPEG4_8u(samples, step, residual_.data(), samples, step, &inPlace, 0);
    }
}

// ---- B-VOPs -----------------------------------------------------------------------------------------------------

void VopDecoder::decodeBidirectional() {
    const std::size_t index = here().frame->macroblockIndex(x_, y_);
    Qvo8u& quantiser = vop_.target->quantisers[index];
    quantiser = static_cast<Qvo8u>(quantiser_);
    if (isSkippedUnsaid()) {
        // Damaged packets may come by here again and again.
        if (state() == MacroblockState::decoded) return;
        clock_.enter(Stage::prediction);
        copy(here(), *vop_.forward);
        clock_.enter(Stage::parse);
        return;
    }

    BidirectionalMode mode = modeDirect;
    Vectors forward;
    Vectors backward;
    const int pattern = readBidirectional(mode, vop_.backward->motion[index], forward, backward);
    quantiser = static_cast<Qvo8u>(quantiser_);
    clock_.enter(Stage::prediction);
    if (mode == modeForward) {
        predict(here(), *vop_.forward, forward, 0);
    } else if (mode == modeBackward) {
        predict(here(), *vop_.backward, backward, 0);
    } else {
        predict(here(), *vop_.forward, forward, *vop_.backward, backward);
    }
    addResidual(pattern, quantiser_);
    clock_.enter(Stage::parse);
}

// The header and the vectors of a macroblock; returns its coded blocks.
int VopDecoder::readBidirectional(BidirectionalMode& mode, const Motion& colocated, Vectors& forward,
                                  Vectors& backward) {
    constexpr Qvo32u colocatedFlags = 1;
    if (bits_.flag()) {  // modb
        check(qvoiDecodeMV_BVOP_DirectSkip_MPEG4(colocated.vectors.data(), forward.data(), backward.data(),
                                                 flagWord(colocatedFlags), vop_.timeToVop, vop_.timeToBackward));
        return 0;
    }
    const bool hasPattern = !bits_.flag();
    int zeros = 0;
    while (!bits_.flag())
        if (++zeros == modeCount) throw Damage{};
    mode = static_cast<BidirectionalMode>(zeros);
    const int pattern = hasPattern ? bits_.getInt(6) : 0;
    if (mode == modeDirect) {
        check(qvoiDecodeMV_BVOP_Direct_MPEG4(bits_.byte(), bits_.offset(), colocated.vectors.data(), forward.data(),
                                             backward.data(), flagWord(colocatedFlags), vop_.timeToVop,
                                             vop_.timeToBackward));
        return pattern;
    }
    if (pattern != 0 && bits_.flag())  // dbquant
        quantiser_ = std::clamp(quantiser_ + (bits_.flag() ? 2 : -2), 1, 31);
    const int fcodeForward = vop_.header.fcodeForward;
    const int fcodeBackward = vop_.header.fcodeBackward;
    if (mode == modeForward) {
        check(qvoiDecodeMV_BVOP_Forward_MPEG4(bits_.byte(), bits_.offset(), &forwardVector_, fcodeForward));
    } else if (mode == modeBackward) {
        check(qvoiDecodeMV_BVOP_Backward_MPEG4(bits_.byte(), bits_.offset(), &backwardVector_, fcodeBackward));
    } else {
        check(qvoiDecodeMV_BVOP_Interpolate_MPEG4(bits_.byte(), bits_.offset(), &forwardVector_, &backwardVector_,
                                                  fcodeForward, fcodeBackward));
    }
    forward.fill(forwardVector_);
    backward.fill(backwardVector_);
    return pattern;
}

}  // namespace codecs::mpeg4
