// A copy of a picture to be encoded, extended to whole macroblocks.
#ifndef QVOVC_EXAMPLES_PADDED_PICTURE_H
#define QVOVC_EXAMPLES_PADDED_PICTURE_H

#include <array>
#include <cstdint>
#include <vector>

#include "common/picture.h"

namespace codecs {

// Planes of 16x16 luma and 8x8 chroma samples per macroblock, without gaps between rows. Beyond the picture its last
// column and row are repeated.
class PaddedPicture {
  public:
    PaddedPicture(int macroblockWidth, int macroblockHeight);

    void load(const FrameView& picture);

    const PlaneView& plane(std::size_t i) const { return planes_[i]; }
    // The first sample of a macroblock.
    const std::uint8_t* macroblock(std::size_t plane, int x, int y) const {
        const int size = plane == 0 ? 16 : 8;
        return planes_[plane].data + y * size * planes_[plane].step + x * size;
    }

  private:
    std::vector<std::uint8_t> samples_;
    std::array<PlaneView, 3> planes_;
};

}  // namespace codecs

#endif
