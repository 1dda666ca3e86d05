// One way to code a macroblock: its syntax elements, and what a decoder makes of them.
#ifndef QVOVC_EXAMPLES_H264_CODED_MACROBLOCK_H
#define QVOVC_EXAMPLES_H264_CODED_MACROBLOCK_H

#include <array>

#include "h264/cavlc_writer.h"
#include "h264/frame.h"
#include "h264/macroblock.h"
#include "h264/neighbours.h"

namespace codecs::h264 {

// How an inter macroblock is divided; the values are those of mb_type in P slices (table 7-13).
enum class Shape { whole = 0, rows = 1, columns = 2, quarters = 3 };

struct CodedMacroblock {
    Kind kind = Kind::inter;
    bool skipped = false;  // has a vector only, the predicted one

    Shape shape = Shape::whole;
    std::array<Vector, 4> vectors = {};      // by partition
    std::array<Vector, 4> differences = {};  // from their predictions

    std::array<std::uint8_t, 16> modes = {};  // of 4x4 blocks, in raster order
    std::array<int, 16> modeCodes = {};       // rem_intra4x4_pred_mode, -1 where the mode is the predicted one
    int mode16x16 = 0;
    int chromaMode = 0;

    int pattern = 0;  // coded_block_pattern
    // Levels by raster place: 16 luma blocks, 4 of each chroma plane. All 0 where the pattern says so.
    alignas(16) std::array<std::array<Qvo16s, 16>, 24> levels;
    std::array<Qvo16s, 16> lumaDc;  // of Intra 16x16
    std::array<std::array<Qvo16s, 4>, 2> chromaDc;
    std::array<std::uint8_t, 16> lumaCounts;  // of levels
    std::array<std::array<std::uint8_t, 4>, 2> chromaCounts;

    // First the prediction, then what it becomes with the residual.
    alignas(16) std::array<Qvo8u, 256> luma;                  // 16 in a row
    alignas(16) std::array<std::array<Qvo8u, 64>, 2> chroma;  // 8 in a row

    std::size_t partitions() const { return shape == Shape::whole ? 1 : shape == Shape::quarters ? 4 : 2; }
};

// Writes macroblock_layer(), or counts its bits (7.3.5). The quantiser is that of the slice.
template <class Sink>
void putMacroblock(Sink& sink, const CodedMacroblock& macroblock, bool intraSlice, const Neighbours& neighbours);

}  // namespace codecs::h264

#endif
