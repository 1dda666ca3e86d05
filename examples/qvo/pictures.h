// Pictures in RGB, for people to look at.
#ifndef QVOVC_QVO_PICTURES_H
#define QVOVC_QVO_PICTURES_H

#include <cstdint>
#include <vector>

#include "common/decoder.h"
#include "output_file.h"

namespace qvo {

struct RgbPicture {
    RgbPicture(int w, int h, std::uint8_t level = 0)
        : width(w), height(h), samples(static_cast<std::size_t>(w) * static_cast<std::size_t>(h) * 3, level) {}

    std::uint8_t* at(int x, int y) {
        return samples.data() +
               (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)) * 3;
    }
    const std::uint8_t* at(int x, int y) const { return const_cast<RgbPicture*>(this)->at(x, y); }

    int width;
    int height;
    std::vector<std::uint8_t> samples;  // R, G, B from left to right, top to bottom
};

// Limited-range Y'CbCr of ITU-R BT.601 to RGB; each chrominance sample stands for all the luminance samples it covers.
RgbPicture toRgb(const codecs::FrameView& frame);

// Every sample the mean of the area it covers. For sizes not above the picture's own.
RgbPicture shrink(const RgbPicture& picture, int width, int height);

void paste(RgbPicture& onto, const RgbPicture& picture, int x, int y);

// Writes and commits the file.
void writePng(OutputFile& file, const RgbPicture& picture);

}  // namespace qvo

#endif
