#include "common/padded_picture.h"

#include <algorithm>

namespace codecs {

PaddedPicture::PaddedPicture(int macroblockWidth, int macroblockHeight) {
    samples_.resize(static_cast<std::size_t>(macroblockWidth * macroblockHeight) * 384);
    const std::uint8_t* next = samples_.data();
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const int size = i == 0 ? 16 : 8;
        const int width = size * macroblockWidth, height = size * macroblockHeight;
        planes_[i] = {next, width, width, height};
        next += width * height;
    }
}

void PaddedPicture::load(const FrameView& picture) {
    std::uint8_t* to = samples_.data();
    for (std::size_t i = 0; i < planes_.size(); ++i) {
        const PlaneView& from = picture.planes[i];
        for (int y = 0; y < planes_[i].height; ++y) {
            const std::uint8_t* const row = from.data + std::min(y, from.height - 1) * from.step;
            to = std::copy_n(row, from.width, to);
            to = std::fill_n(to, planes_[i].width - from.width, row[from.width - 1]);
        }
    }
}

}  // namespace codecs
