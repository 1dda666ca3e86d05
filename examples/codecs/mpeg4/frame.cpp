#include "mpeg4/frame.h"

#include <new>

namespace codecs::mpeg4 {

namespace {

// A block that a vector moves beyond the picture lies, after clamping, just beyond it.
constexpr Qvo32s lumaBorder = 16;

constexpr Qvo32s halved(std::size_t plane, Qvo32s length) {
    return plane == 0 ? length : length / 2;
}

}  // namespace

Frame::Frame(int macroblockWidth, int macroblockHeight)
    : motion(static_cast<std::size_t>(macroblockWidth * macroblockHeight)),
      quantisers(static_cast<std::size_t>(macroblockWidth * macroblockHeight)),
      macroblockWidth_(macroblockWidth),
      macroblockHeight_(macroblockHeight) {
    const Qvo32s lumaStep = macroblockWidth * 16 + 2 * lumaBorder;
    const Qvo32s lumaSize = lumaStep * (macroblockHeight * 16 + 2 * lumaBorder);
    size_ = lumaSize + lumaSize / 2;
    memory_.reset(qvosMalloc_8u(size_));
    if (!memory_) throw std::bad_alloc();
    fill(0);
    Qvo8u* plane = memory_.get();
    for (std::size_t i = 0; i < 3; ++i) {
        steps_[i] = halved(i, lumaStep);
        const Qvo32s border = halved(i, lumaBorder);
        origins_[i] = plane + border * steps_[i] + border;
        plane += i == 0 ? lumaSize : lumaSize / 4;
    }
}

void Frame::fill(Qvo8u value) {
    qvosSet_8u(value, memory_.get(), size_);
}

void Frame::extend() {
    for (std::size_t i = 0; i < 3; ++i) {
        const Qvo32s border = halved(i, lumaBorder);
        qvoiExpandFrame_H263_8u(at(i, -border, -border), halved(i, macroblockWidth_ * 16),
                                halved(i, macroblockHeight_ * 16), border, steps_[i]);
    }
}

}  // namespace codecs::mpeg4
