#include "mpeg4/intra_coder.h"

#include <algorithm>
#include <cstdlib>

namespace codecs::mpeg4 {

namespace {

constexpr int missingDc = 1024;  // what a missing DC coefficient counts as
constexpr std::size_t macroblockBytes = 6 * 64 * 4;

int valueOf(Qvo16s dc) {
    return dc < 0 ? missingDc : dc;
}

bool hasAc(const Levels& levels) {
    return std::any_of(levels.at.begin() + 1, levels.at.end(), [](Qvo16s level) { return level != 0; });
}

}  // namespace

void IntraMacroblock::write(BitWriter& bits) const {
    for (std::size_t block = 0; block < 6; ++block) {
        const auto coded = static_cast<Qvo8u>(pattern >> (5 - block) & 1);
        qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u(bits.byte(), bits.offset(), levels[block].data(), scans[block],
                                                   coded, block < 4 ? qvoVideoLuminance : qvoVideoChrominance);
    }
}

IntraCoder::IntraCoder(int macroblockWidth, int macroblockHeight) {
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const auto perMacroblock = static_cast<std::size_t>(i == 0 ? 2 : 1);
        planes_[i].stride = static_cast<std::size_t>(macroblockWidth) * perMacroblock + 1;
        planes_[i].blocks.resize(planes_[i].stride *
                                 (static_cast<std::size_t>(macroblockHeight) * perMacroblock + 1));
    }
}

void IntraCoder::beginPacket() {
    for (Plane& plane : planes_)
        for (Edges& block : plane.blocks)
            block.dc = missing;
}

IntraCoder::Place IntraCoder::place(int block, int mbX, int mbY) {
    Plane& plane = planes_[block < 4 ? 0 : static_cast<std::size_t>(block) - 3];
    if (block < 4) return {plane.at(2 * mbX + (block & 1), 2 * mbY + (block >> 1)), plane.stride};
    return {plane.at(mbX, mbY), plane.stride};
}

void IntraCoder::pass(int mbX, int mbY) {
    for (int block = 0; block < 6; ++block)
        place(block, mbX, mbY).block->dc = missing;
}

// 7.4.3. Enters the block into both candidates.
void IntraCoder::codeBlock(const BlockCoder& blocks, int block, Place at, const Levels& levels) {
    const Edges& left = at.block[-1];
    const Edges& above = at.block[-static_cast<std::ptrdiff_t>(at.stride)];
    const Edges& aboveLeft = (&above)[-1];
    const int corner = valueOf(aboveLeft.dc);
    const bool fromAbove = std::abs(valueOf(left.dc) - corner) < std::abs(corner - valueOf(above.dc));
    const Edges& neighbour = fromAbove ? above : left;
    const int scaler = blocks.dcScaler(block);

    const auto i = static_cast<std::size_t>(block);
    for (IntraMacroblock& candidate : candidates_) {
        Levels& coded = candidate.levels[i];
        coded = levels;
        coded.at[0] = static_cast<Qvo16s>(levels.at[0] - (valueOf(neighbour.dc) + scaler / 2) / scaler);
        candidate.scans[i] = qvoScanZigzag;
        if (candidate.acPrediction) {
            candidate.scans[i] = fromAbove ? qvoScanHorizontal : qvoScanVertical;
            for (std::size_t k = 1; k < 8 && neighbour.dc >= 0; ++k) {
                Qvo16s& level = coded.at[fromAbove ? k : 8 * k];
                level = static_cast<Qvo16s>(level - (fromAbove ? above.row[k] : left.column[k]));
            }
        }
        candidate.pattern |= hasAc(coded) ? 0x20 >> block : 0;
    }

    at.block->dc = static_cast<Qvo16s>(std::min(levels.at[0] * scaler, 2047));
    for (std::size_t k = 1; k < 8; ++k) {
        at.block->row[k] = levels.at[k];
        at.block->column[k] = levels.at[8 * k];
    }
}

const IntraMacroblock& IntraCoder::code(const BlockCoder& blocks, const PaddedPicture& source, int mbX, int mbY) {
    for (IntraMacroblock& candidate : candidates_)
        candidate.pattern = 0;
    candidates_[1].acPrediction = true;
    for (int block = 0; block < 6; ++block) {
        const auto plane = block < 4 ? std::size_t{0} : static_cast<std::size_t>(block) - 3;
        const auto step = static_cast<Qvo32s>(source.plane(plane).step);
        const Qvo8u* samples = source.macroblock(plane, mbX, mbY);
        if (block < 4) samples += (block >> 1) * 8 * step + (block & 1) * 8;
        Levels levels;
        blocks.codeIntra(samples, step, block, levels);
        codeBlock(blocks, block, place(block, mbX, mbY), levels);
    }
    std::array<std::size_t, 2> bits;
    for (std::size_t i = 0; i < 2; ++i) {
        scratch_.clear();
        scratch_.reserve(macroblockBytes);
        candidates_[i].write(scratch_);
        bits[i] = scratch_.bits();
    }
    return candidates_[bits[1] < bits[0] ? 1 : 0];
}

}  // namespace codecs::mpeg4
