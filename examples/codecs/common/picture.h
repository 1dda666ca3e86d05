// Pictures as the example codecs take and hand them.
#ifndef QVOVC_EXAMPLES_PICTURE_H
#define QVOVC_EXAMPLES_PICTURE_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace codecs {

constexpr int largestArea = 4096 * 2304;  // of the pictures that decoders and encoders take, in samples

// One plane of a picture that belongs to somebody else.
struct PlaneView {
    const std::uint8_t* data;
    std::ptrdiff_t step;  // bytes between rows
    int width;
    int height;
};

// The quantisers of a picture's macroblocks, one byte each in raster order.
struct QuantiserMap {
    const std::uint8_t* data = nullptr;  // null: not known
    std::ptrdiff_t step = 0;             // macroblocks per row
};

// A picture: planar Y, U, V, 4:2:0 unless the planes' sizes say otherwise. It stays valid until the function it was
// handed to returns.
struct FrameView {
    std::array<PlaneView, 3> planes;
    char type = '?';  // coding type: 'I', 'P' or 'B'
    bool interlaced = false;
    bool topFieldFirst = true;
    QuantiserMap quantisers;
};

}  // namespace codecs

#endif
