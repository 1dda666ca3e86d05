#include "mpeg4/intra.h"

#include <algorithm>
#include <cstdlib>

namespace codecs::mpeg4 {

namespace {

constexpr Qvo16s missing = -1;
constexpr int missingValue = 1024;  // what a missing DC coefficient counts as

constexpr bool isChroma(int block) {
    return block >= 4;
}

constexpr bool isCoded(const IntraHeader& header, int block) {
    return header.pattern & (0x20 >> block);
}

void check(QvoStatus status) {
    if (status != qvoStatusOk) throw Damage{};
}

// Levels of an intra block whose DC coefficient is coded elsewhere: AC codes count from scan position 1, the library's
// decoder from position 0.
void decodeLevelsFromOne(BitReader& bits, Qvo16s* levels, Qvo32s scan) {
    static constexpr std::array<const Qvo8u*, 3> scans = {ZigzagC, ZigzagV, ZigzagH};
    check(qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s(bits.byte(), bits.offset(), levels, scan));
    const Qvo8u* const order = scans[static_cast<std::size_t>(scan)];
    if (levels[order[63]] != 0) throw Damage{};
    for (int position = 63; position > 0; --position)
        levels[order[position]] = levels[order[position - 1]];
    levels[0] = 0;
}

}  // namespace

void IntraDecoder::begin(int macroblockWidth, const Qvo8u* matrix) {
    macroblockWidth_ = macroblockWidth;
    matrix_ = matrix;
    const auto width = static_cast<std::size_t>(macroblockWidth);
    rows_[0].resize((2 * width + 1) * 8);
    rows_[1].resize((width + 1) * 8);
    rows_[2].resize((width + 1) * 8);
    quantisers_.resize(width);
    beginPacket();
}

void IntraDecoder::beginPacket() {
    for (auto& row : rows_)
        for (std::size_t i = 0; i < row.size(); i += 8)
            row[i] = missing;
    beginRow();
}

void IntraDecoder::beginRow() {
    for (auto& row : rows_)
        row[0] = missing;
    for (std::size_t i = 0; i < columns_.size(); i += 8)
        columns_[i] = missing;
}

void IntraDecoder::endRow() {
    const Buffers last = buffers(3, macroblockWidth_ - 1);
    last.row[0] = last.column[0];
}

void IntraDecoder::pass(int mbX) {
    const auto [row, column] = buffers(0, mbX);
    row[-8] = column[8];
    column[0] = row[8];
    row[0] = row[8] = column[8] = missing;
    for (const int block : {4, 5}) {
        const Buffers chroma = buffers(block, mbX);
        chroma.column[0] = chroma.row[0];
        chroma.row[0] = missing;
    }
}

IntraDecoder::Buffers IntraDecoder::buffers(int block, int mbX) {
    const auto x = static_cast<std::size_t>(mbX);
    if (isChroma(block)) {
        const auto plane = static_cast<std::size_t>(block) - 3;
        return {rows_[plane].data() + (x + 1) * 8, columns_.data() + (plane + 1) * 8};
    }
    const auto i = static_cast<std::size_t>(block);
    return {rows_[0].data() + (2 * x + 1 + (i & 1)) * 8, columns_.data() + (i >> 1) * 8};
}

void IntraDecoder::decode(BitReader& bits, const IntraHeader& header, const Place& place) {
    const auto x = static_cast<std::size_t>(place.mbX);
    const std::array<Qvo8u, 2> quantisers = {quantisers_[x > 0 ? x - 1 : 0], quantisers_[x]};
    for (int block = 0; block < 6; ++block) {
        const Buffers at = buffers(block, place.mbX);
        const auto decodeBlock = isCoded(header, block) ? qvoiDecodeBlockCoef_Intra_MPEG4_1u8u
                                                        : qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u;
        check(decodeBlock(bits.byte(), bits.offset(), place.block(block), place.step(block), at.row, at.column,
                          header.quantiser, quantisers.data(), matrix_, block, header.dcVlc, header.acPrediction));
    }
    quantisers_[x] = static_cast<Qvo8u>(header.quantiser);
}

void IntraDecoder::decode(BitReader& bits, const IntraHeader& header, const Place& place,
                          const std::array<Qvo16s, 6>& differences) {
    for (int block = 0; block < 6; ++block)
        decodeApart(bits, header, place, block, differences[static_cast<std::size_t>(block)]);
    quantisers_[static_cast<std::size_t>(place.mbX)] = static_cast<Qvo8u>(header.quantiser);
}

// Does step by step what the integrated block decoders do in one.
void IntraDecoder::decodeApart(BitReader& bits, const IntraHeader& header, const Place& place, int block,
                               Qvo16s difference) {
    const auto x = static_cast<std::size_t>(place.mbX);
    const auto [row, column] = buffers(block, place.mbX);
    const auto valueOf = [](Qvo16s dc) { return dc < 0 ? missingValue : dc; };
    const int left = valueOf(row[-8]);
    const int above = valueOf(row[0]);
    const int aboveLeft = valueOf(column[0]);
    const bool fromAbove = std::abs(left - aboveLeft) < std::abs(aboveLeft - above);
    const Qvo32s direction = fromAbove ? qvoPredictAbove : qvoPredictLeft;
    const bool neighbour = (fromAbove ? row[0] : row[-8]) >= 0;
    const bool acPrediction = header.acPrediction && neighbour;
    int predictionQuantiser = header.quantiser;
    if (acPrediction && fromAbove && block != 2 && block != 3) predictionQuantiser = quantisers_[x];
    if (acPrediction && !fromAbove && block != 1 && block != 3) predictionQuantiser = quantisers_[x - 1];

    alignas(32) std::array<Qvo16s, 64> levels = {};
    if (isCoded(header, block)) {
        const Qvo32s scan = !header.acPrediction ? qvoScanZigzag : fromAbove ? qvoScanHorizontal : qvoScanVertical;
        if (header.dcVlc) {
            decodeLevelsFromOne(bits, levels.data(), scan);
        } else {
            check(qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s(bits.byte(), bits.offset(), levels.data(), scan));
        }
    }
    if (header.dcVlc) levels[0] = difference;
    const Qvo32s component = isChroma(block) ? qvoVideoChrominance : qvoVideoLuminance;
    check(qvoiPredictReconCoefIntra_MPEG4_16s(levels.data(), row, column, header.quantiser, predictionQuantiser,
                                              direction, acPrediction, component));
    check(qvoiQuantInvIntra_MPEG4_16s_I(levels.data(), header.quantiser, matrix_, component));

    if (block == 1) std::swap(column[8], row[-16]);
    if (block != 3) {
        column[0] = row[0];
        row[0] = levels[0];
    } else {
        column[0] = levels[0];
    }
    qvoiDCT8x8Inv_16s8u_C1R(levels.data(), place.block(block), place.step(block));
}

}  // namespace codecs::mpeg4
