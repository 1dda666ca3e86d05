#include "chroma.h"

#include <algorithm>

namespace qvo {

namespace {

void convertRow(const std::uint8_t* upper, const std::uint8_t* lower, int sourceWidth, std::uint8_t* to, int width) {
    for (int x = 0; x < width; ++x) {
        // Every second sample stands where one of the source does, the others half way to the next.
        const int left = std::min(x / 2, sourceWidth - 1);
        const int right = std::min((x + 1) / 2, sourceWidth - 1);
        to[x] = static_cast<std::uint8_t>((upper[left] + upper[right] + lower[left] + lower[right] + 2) >> 2);
    }
}

}  // namespace

codecs::FrameView To420::convert(const codecs::FrameView& frame) {
    const codecs::PlaneView& luma = frame.planes[0];
    codecs::FrameView converted = frame;
    for (std::size_t i = 0; i < 2; ++i) {
        const codecs::PlaneView& from = frame.planes[i + 1];
        if (from.width * 4 < luma.width || from.width * 2 >= luma.width || from.height != luma.height) return frame;
        const int width = (luma.width + 1) / 2, height = (luma.height + 1) / 2;
        chroma_[i].resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
        for (int y = 0; y < height; ++y) {
            // A row of a field stands for two of the same field.
            const int first = frame.interlaced ? y / 2 * 4 + y % 2 : 2 * y;
            const int second = first + (frame.interlaced ? 2 : 1);
            const auto row = [&](int at) { return from.data + std::min(at, from.height - 1) * from.step; };
            convertRow(row(first), row(second), from.width, chroma_[i].data() + y * width, width);
        }
        converted.planes[i + 1] = {chroma_[i].data(), width, width, height};
    }
    return converted;
}

}  // namespace qvo
