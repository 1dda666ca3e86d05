#include "mpeg2/frame.h"

#include <cstring>
#include <new>

namespace codecs::mpeg2 {

Frame::Frame(int macroblockWidth, int macroblockHeight) {
    const int width = macroblockWidth * 16;
    const int height = macroblockHeight * 16;
    const int lumaSize = width * height;
    size_ = lumaSize + lumaSize / 2;
    memory_.reset(qvosMalloc_8u(size_));
    if (!memory_) throw std::bad_alloc();
    fill(0);

    Qvo8u* const luma = memory_.get();
    frame_ = {{luma, luma + lumaSize, luma + lumaSize + lumaSize / 4}, {width, width / 2, width / 2}, width, height};
    for (std::size_t parity = 0; parity < 2; ++parity) {
        View& field = fields_[parity];
        field = frame_;
        field.height /= 2;
        for (std::size_t plane = 0; plane < 3; ++plane) {
            if (parity == 1) field.planes[plane] += field.steps[plane];
            field.steps[plane] *= 2;
        }
    }
}

void Frame::fill(Qvo8u value) {
    qvosSet_8u(value, memory_.get(), size_);
}

FrameView Frame::shown() const {
    FrameView picture;
    for (std::size_t plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        picture.planes[plane] = {frame_.planes[plane], frame_.steps[plane], (displayWidth + shift) >> shift,
                                 (displayHeight + shift) >> shift};
    }
    picture.type = type;
    picture.interlaced = !progressive;
    picture.topFieldFirst = topFieldFirst;
    return picture;
}

void Frame::doubleField(int parity) {
    const View& source = field(parity);
    const View& target = field(1 - parity);
    for (std::size_t plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        for (int row = 0; row < source.height >> shift; ++row) {
            const std::ptrdiff_t offset = std::ptrdiff_t{row} * source.steps[plane];
            std::memcpy(target.planes[plane] + offset, source.planes[plane] + offset,
                        static_cast<std::size_t>(source.width >> shift));
        }
    }
}

}  // namespace codecs::mpeg2
