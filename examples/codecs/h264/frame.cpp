#include "h264/frame.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace codecs::h264 {

namespace {

// A block of 16 samples just outside, with the filter's 2 and 3 samples more, lies within it.
constexpr Qvo32s lumaBorder = 32;

}  // namespace

Frame::Frame(int macroblockWidth, int macroblockHeight) {
    for (std::size_t i = 0; i < 3; ++i) {
        const Qvo32s divisor = i == 0 ? 1 : 2;
        Plane& plane = planes_[i];
        plane.width = 16 * macroblockWidth / divisor;
        plane.height = 16 * macroblockHeight / divisor;
        plane.border = lumaBorder / divisor;
        plane.step = plane.width + 2 * plane.border;
        size_ += plane.step * (plane.height + 2 * plane.border);
    }
    memory_.reset(qvosMalloc_8u(size_));
    if (!memory_) throw std::bad_alloc();
    Qvo8u* next = memory_.get();
    for (Plane& plane : planes_) {
        plane.samples = next + plane.border * plane.step + plane.border;
        next += plane.step * (plane.height + 2 * plane.border);
    }
    const auto blocks = static_cast<std::size_t>(macroblockWidth * macroblockHeight) * 4;
    for (Motion& list : motion) {
        list.vectors.resize(4 * blocks);
        list.references.resize(blocks, -1);
        list.pictures.resize(blocks, -1);
    }
    fill(0);
}

void Frame::fill(Qvo8u value) {
    qvosSet_8u(value, memory_.get(), size_);
}

void Frame::clearMotion() {
    for (Motion& list : motion) {
        std::fill(list.references.begin(), list.references.end(), std::int8_t{-1});
        std::fill(list.pictures.begin(), list.pictures.end(), -1);
    }
}

void Frame::clearMotion(int macroblockX, int macroblockY) {
    for (Motion& list : motion) {
        for (int i = 0; i < 4; ++i) {
            const int at = (2 * macroblockY + (i >> 1)) * referenceStep() + 2 * macroblockX + (i & 1);
            list.references[static_cast<std::size_t>(at)] = -1;
            list.pictures[static_cast<std::size_t>(at)] = -1;
        }
    }
}

void Frame::extendBorders() {
    for (const Plane& plane : planes_) {
        const auto border = static_cast<std::size_t>(plane.border);
        for (int y = 0; y < plane.height; ++y) {
            Qvo8u* const row = plane.samples + std::ptrdiff_t{y} * plane.step;
            std::memset(row - border, row[0], border);
            std::memset(row + plane.width, row[plane.width - 1], border);
        }
        Qvo8u* const first = plane.samples - border;
        Qvo8u* const last = first + std::ptrdiff_t{plane.height - 1} * plane.step;
        const auto size = static_cast<std::size_t>(plane.step);
        for (std::ptrdiff_t i = 1; i <= plane.border; ++i) {
            std::memcpy(first - i * plane.step, first, size);
            std::memcpy(last + i * plane.step, last, size);
        }
    }
}

}  // namespace codecs::h264
