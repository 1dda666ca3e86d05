// Chrominance of other formats to 4:2:0.
#ifndef QVOVC_QVO_CHROMA_H
#define QVOVC_QVO_CHROMA_H

#include <array>
#include <cstdint>
#include <vector>

#include "common/picture.h"

namespace qvo {

// 4:1:1, whose chrominance has every line and every fourth sample of one. Sample positions in between are interpolated;
// two lines, of one field in interlaced pictures, become their mean.
class To420 {
  public:
    // The luminance stays where it is; the result is valid until the next call. Frames of other formats stay as they
    // are.
    codecs::FrameView convert(const codecs::FrameView& frame);

  private:
    std::array<std::vector<std::uint8_t>, 2> chroma_;
};

}  // namespace qvo

#endif
