// What a macroblock's coding takes from the blocks to its left and above: which samples intra prediction may use, the
// predicted intra mode, the predicted number of levels.
#ifndef QVOVC_EXAMPLES_H264_NEIGHBOURS_H
#define QVOVC_EXAMPLES_H264_NEIGHBOURS_H

#include <array>
#include <cstdint>

#include "h264/macroblock.h"

namespace codecs::h264 {

// Raster places of the 4x4 blocks in the order of decoding.
constexpr std::array<int, 16> rasterOrder = {0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15};

// The macroblocks around the one at hand that belong to the same slice; null where there is none.
struct Neighbours {
    const Macroblock* left = nullptr;
    const Macroblock* above = nullptr;
    const Macroblock* aboveRight = nullptr;
    const Macroblock* aboveLeft = nullptr;
};

// Of the macroblock at an address, in the slice of that number.
Neighbours findNeighbours(const PictureContext& context, int address, int slice);

// Neighbours of the 4x4 block at (x, y), as flags of the library's operations; at (0, 0) those of the macroblock. Only
// intra macroblocks count where the prediction is constrained.
Qvo32u intraNeighbours(const Neighbours& neighbours, bool constrained, int x, int y);

// The smaller mode of the blocks to the left and above (8.3.1.1).
int predictedIntraMode(const Macroblock& current, const Neighbours& neighbours, bool constrained, int x, int y);

// Numbers of levels of the macroblock's blocks, with those to the left and above (9.2.1).
class LevelCounts {
  public:
    // Takes up the surroundings of a macroblock.
    void load(const Neighbours& neighbours);

    // nC of a block.
    int predictLuma(int x, int y) const { return predicted(luma_[lumaPlace(x - 1, y)], luma_[lumaPlace(x, y - 1)]); }
    int predictChroma(std::size_t plane, int x, int y) const {
        const auto& counts = chroma_[plane];
        return predicted(counts[chromaPlace(x - 1, y)], counts[chromaPlace(x, y - 1)]);
    }
    void setLuma(int x, int y, int count) { luma_[lumaPlace(x, y)] = static_cast<std::uint8_t>(count); }
    void setChroma(std::size_t plane, int x, int y, int count) {
        chroma_[plane][chromaPlace(x, y)] = static_cast<std::uint8_t>(count);
    }

  private:
    static constexpr int missing = 0x80;

    static std::size_t lumaPlace(int x, int y) { return static_cast<std::size_t>(8 * (y + 1) + x + 1); }
    static std::size_t chromaPlace(int x, int y) { return static_cast<std::size_t>(4 * (y + 1) + x + 1); }
    // Either of the two may be missing.
    static int predicted(int left, int above) {
        const int sum = left + above;
        return sum < missing ? (sum + 1) >> 1 : sum & (missing - 1);
    }

    std::array<std::uint8_t, 5 * 8> luma_ = {};
    std::array<std::array<std::uint8_t, 3 * 4>, 2> chroma_ = {};
};

}  // namespace codecs::h264

#endif
