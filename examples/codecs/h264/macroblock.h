// What later steps need to know of every macroblock of a picture, and of its slices.
#ifndef QVOVC_EXAMPLES_H264_MACROBLOCK_H
#define QVOVC_EXAMPLES_H264_MACROBLOCK_H

#include <array>
#include <cstdint>
#include <vector>

#include "h264/headers.h"
#include "h264/references.h"

namespace codecs::h264 {

enum class Kind : std::uint8_t { intra4x4, intra16x16, pcm, inter };

constexpr int notDecoded = -1;

struct Macroblock {
    int slice = notDecoded;  // number of its slice within the picture
    Kind kind = Kind::inter;
    bool wholeMotion = false;  // one vector per list for all of it
    std::uint8_t qp = 0;       // of luma, for the deblocking filter
    // Numbers of levels (total_coeff) in raster order: 16 luma blocks, 4 of each chroma plane.
    std::array<std::uint8_t, 16> lumaCounts = {};
    std::array<std::array<std::uint8_t, 4>, 2> chromaCounts = {};
    std::array<std::uint8_t, 16> intraModes = {};  // of 4x4 blocks in raster order

    bool isIntra() const { return kind != Kind::inter; }
};

// What remains of a slice when its picture is filtered.
struct SliceFilter {
    int deblocking = 0;
    int alphaOffset = 0;
    int betaOffset = 0;
    std::array<int, 2> chromaQpOffsets = {};
};

// Everything the slices of one picture share.
struct PictureContext {
    const SequenceParameters* sequence = nullptr;
    PicturePtr picture;
    int macroblockWidth = 0;
    int macroblockHeight = 0;
    std::vector<Macroblock> macroblocks;
    std::vector<SliceFilter> filters;  // by slice number
    bool bidirectional = false;        // has B slices

    int macroblockCount() const { return macroblockWidth * macroblockHeight; }
};

// Everything about one slice but its data.
struct SliceContext {
    SliceHeader header;
    const PictureParameters* parameters = nullptr;
    std::array<ReferenceList, 2> references;
};

}  // namespace codecs::h264

#endif
