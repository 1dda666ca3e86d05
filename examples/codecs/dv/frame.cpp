#include "dv/frame.h"

namespace codecs::dv {

namespace {

constexpr Qvo8u grey = 128;

// Rows of macroblocks in a super block, which has 27 of them.
constexpr int rowsOf420 = 3;
constexpr int rowsOf411 = 6;

// Down one column, up the next.
int serpentine(int index, int rows) {
    const int row = index % rows;
    return index / rows % 2 == 0 ? row : rows - 1 - row;
}

}  // namespace

Frame::Frame(const System& system) {
    for (std::size_t i = 0; i < 3; ++i) {
        const bool chroma = i > 0;
        Plane& plane = planes_[i];
        plane.width = !chroma ? pictureWidth : pictureWidth / (system.quarter ? 4 : 2);
        plane.height = chroma && !system.quarter ? system.height / 2 : system.height;
        plane.samples.assign(static_cast<std::size_t>(plane.width) * static_cast<std::size_t>(plane.height), grey);
    }
}

// SMPTE 314M, 5.1.4: each macroblock of a segment comes from another row and column of super blocks.
Place placeOf(const System& system, int sequence, int segment, int index) {
    constexpr std::array<int, 5> rowOffsets = {2, 6, 8, 0, 4};
    constexpr std::array<int, 5> columns = {2, 1, 3, 0, 4};
    const int superRow = (sequence + rowOffsets[static_cast<std::size_t>(index)]) % system.sequences;
    const int superColumn = columns[static_cast<std::size_t>(index)];
    if (!system.quarter) {
        const int x = superColumn * 9 + segment / rowsOf420;
        const int y = superRow * rowsOf420 + serpentine(segment, rowsOf420);
        return {16 * x, 16 * y, false};
    }
    // Super blocks are four and a half columns wide; those that begin in the middle of one begin half way down.
    constexpr std::array<int, 5> firstColumns = {0, 4, 9, 13, 18};
    const bool half = superColumn % 2 == 1;
    const int number = segment + (half ? rowsOf411 / 2 : 0);
    const int x = firstColumns[static_cast<std::size_t>(superColumn)] + number / rowsOf411;
    const int y = serpentine(number, rowsOf411);
    const bool edge = 32 * x + 32 > pictureWidth;
    return {32 * x, superRow * rowsOf411 * 8 + y * (edge ? 16 : 8), edge};
}

Areas areasOf(const System& system, const Place& place, int block) {
    const bool square = place.edge || !system.quarter;
    if (block < 4) {
        const int across = square ? block % 2 : block;
        const int down = square ? block / 2 : 0;
        return {{{{0, place.x + 8 * across, place.y + 8 * down, 8}}}, 1};
    }
    const std::size_t plane = block == 4 ? 2 : 1;  // C_R first
    if (!system.quarter) return {{{{plane, place.x / 2, place.y / 2, 8}}}, 1};
    const int x = place.x / 4;
    if (!place.edge) return {{{{plane, x, place.y, 8}}}, 1};
    return {{{{plane, x, place.y, 4}, {plane, x, place.y + 8, 4}}}, 2};
}

}  // namespace codecs::dv
