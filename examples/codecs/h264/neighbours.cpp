#include "h264/neighbours.h"

#include <algorithm>

namespace codecs::h264 {

namespace {

// 4x4 blocks, by raster place, whose neighbour above-right lies inside the macroblock and is decoded before them.
constexpr unsigned hasInnerAboveRight = 0b0101'0111'0101'0000;

}  // namespace

Neighbours findNeighbours(const PictureContext& context, int address, int slice) {
    const auto inSlice = [slice](const Macroblock* macroblock) {
        return macroblock->slice == slice ? macroblock : nullptr;
    };
    const int width = context.macroblockWidth;
    const int x = address % width;
    const Macroblock* const current = &context.macroblocks[static_cast<std::size_t>(address)];
    Neighbours neighbours;
    if (x > 0) neighbours.left = inSlice(current - 1);
    if (address >= width) {
        const Macroblock* const above = current - width;
        neighbours.above = inSlice(above);
        if (x > 0) neighbours.aboveLeft = inSlice(above - 1);
        if (x + 1 < width) neighbours.aboveRight = inSlice(above + 1);
    }
    return neighbours;
}

Qvo32u intraNeighbours(const Neighbours& neighbours, bool constrained, int x, int y) {
    const auto usable = [constrained](const Macroblock* macroblock) {
        return macroblock && (!constrained || macroblock->isIntra());
    };
    Qvo32u flags = 0;
    const bool left = x > 0 || usable(neighbours.left);
    const bool above = y > 0 || usable(neighbours.above);
    if (left) flags |= qvoNeighbourLeft;
    if (above) flags |= qvoNeighbourAbove;
    const bool corner = x > 0 ? above : y > 0 ? left : usable(neighbours.aboveLeft);
    if (corner) flags |= qvoNeighbourCorner;
    const bool aboveRight = y > 0   ? (hasInnerAboveRight >> (4 * y + x) & 1) != 0
                            : x < 3 ? above
                                    : usable(neighbours.aboveRight);
    if (aboveRight) flags |= qvoNeighbourAboveRight;
    return flags;
}

int predictedIntraMode(const Macroblock& current, const Neighbours& neighbours, bool constrained, int x, int y) {
    const auto modeOf = [constrained](const Macroblock* macroblock, int place) {
        const bool none = !macroblock || (constrained && !macroblock->isIntra());
        if (none) return -1;
        const bool has = macroblock->kind == Kind::intra4x4;
        return has ? int{macroblock->intraModes[static_cast<std::size_t>(place)]} : qvoIntra4x4DC;
    };
    const int left = x > 0 ? modeOf(&current, 4 * y + x - 1) : modeOf(neighbours.left, 4 * y + 3);
    const int above = y > 0 ? modeOf(&current, 4 * (y - 1) + x) : modeOf(neighbours.above, 12 + x);
    return left < 0 || above < 0 ? qvoIntra4x4DC : std::min(left, above);
}

void LevelCounts::load(const Neighbours& neighbours) {
    const Macroblock* const left = neighbours.left;
    const Macroblock* const above = neighbours.above;
    for (int i = 0; i < 4; ++i) {
        const auto k = static_cast<std::size_t>(i);
        setLuma(-1, i, left ? left->lumaCounts[4 * k + 3] : missing);
        setLuma(i, -1, above ? above->lumaCounts[12 + k] : missing);
    }
    for (std::size_t plane = 0; plane < 2; ++plane) {
        for (int i = 0; i < 2; ++i) {
            const auto k = static_cast<std::size_t>(i);
            setChroma(plane, -1, i, left ? left->chromaCounts[plane][2 * k + 1] : missing);
            setChroma(plane, i, -1, above ? above->chromaCounts[plane][2 + k] : missing);
        }
    }
}

}  // namespace codecs::h264
