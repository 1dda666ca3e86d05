#include "mpeg4/postfilter.h"

#include <algorithm>
#include <cstring>

namespace codecs::mpeg4 {

namespace {

// The standard's thresholds for deblocking.
constexpr Qvo32s flatDifference = 2;
constexpr Qvo32s flatPairs = 6;

// The quantiser of the macroblock that holds a block of a plane.
Qvo32s quantiserAt(const QuantiserMap& quantisers, std::size_t plane, int x, int y) {
    const int size = plane == 0 ? 16 : 8;
    return quantisers.data[y / size * quantisers.step + x / size];
}

}  // namespace

void PostFilter::Plane::resize(int width, int height) {
    if (width == width_ && height == height_) return;
    width_ = width;
    height_ = height;
    step_ = width + 2 * border;
    samples_.assign(static_cast<std::size_t>(step_) * static_cast<std::size_t>(height + 2 * border), 0);
}

void PostFilter::Plane::load(const PlaneView& from) {
    for (int y = 0; y < height_; ++y) {
        const Qvo8u* const row = from.data + std::min(y, from.height - 1) * from.step;
        std::memcpy(at(0, y), row, static_cast<std::size_t>(from.width));
        std::fill(at(from.width, y), at(width_, y), row[from.width - 1]);
    }
}

void PostFilter::Plane::extend() {
    qvoiExpandFrame_H263_8u(at(-border, -border), width_, height_, border, step_);
}

void PostFilter::resize(Planes& planes, int macroblockWidth, int macroblockHeight) {
    for (std::size_t i = 0; i < planes.size(); ++i) {
        const int size = i == 0 ? 16 : 8;
        planes[i].resize(macroblockWidth * size, macroblockHeight * size);
    }
}

FrameView PostFilter::apply(const FrameView& frame) {
    const int macroblockWidth = (frame.planes[0].width + 15) / 16;
    const int macroblockHeight = (frame.planes[0].height + 15) / 16;
    resize(planes_, macroblockWidth, macroblockHeight);
    for (std::size_t i = 0; i < 3; ++i)
        planes_[i].load(frame.planes[i]);
    if (deblock_) deblock(frame.quantisers);
    if (dering_) {
        resize(deringed_, macroblockWidth, macroblockHeight);
        dering(frame.quantisers);
    }

    FrameView filtered = frame;
    Planes& result = dering_ ? deringed_ : planes_;
    for (std::size_t i = 0; i < 3; ++i) {
        filtered.planes[i].data = result[i].at(0, 0);
        filtered.planes[i].step = result[i].step();
    }
    return filtered;
}

// The horizontal edges of all blocks, then the vertical ones, each with the quantiser of the block behind it.
void PostFilter::deblock(const QuantiserMap& quantisers) {
    for (std::size_t i = 0; i < 3; ++i) {
        Plane& plane = planes_[i];
        for (int y = 8; y < plane.height(); y += 8)
            for (int x = 0; x < plane.width(); x += 8)
                qvoiFilterDeblocking_HorEdge_MPEG4_8u_I(plane.at(x, y), plane.step(),
                                                        quantiserAt(quantisers, i, x, y), flatDifference, flatPairs);
        for (int y = 0; y < plane.height(); y += 8)
            for (int x = 8; x < plane.width(); x += 8)
                qvoiFilterDeblocking_VerEdge_MPEG4_8u_I(plane.at(x, y), plane.step(),
                                                        quantiserAt(quantisers, i, x, y), flatDifference, flatPairs);
    }
}

void PostFilter::dering(const QuantiserMap& quantisers) {
    auto& [luma, cb, cr] = planes_;
    for (Plane& plane : planes_)
        plane.extend();
    for (int y = 0; y < cb.height(); y += 8) {
        for (int x = 0; x < cb.width(); x += 8) {
            std::array<Qvo32s, 6> thresholds;
            qvoiFilterDeringingThresholdMB_MPEG4_8u(luma.at(2 * x, 2 * y), luma.step(), cb.at(x, y), cb.step(),
                                                    cr.at(x, y), cr.step(), thresholds.data());
            const Qvo32s quantiser = quantiserAt(quantisers, 1, x, y);
            for (int block = 0; block < 6; ++block) {
                const std::size_t plane = block < 4 ? 0 : static_cast<std::size_t>(block) - 3;
                const int blockX = block < 4 ? 2 * x + 8 * (block & 1) : x;
                const int blockY = block < 4 ? 2 * y + 8 * (block >> 1) : y;
                const Qvo8u* const from = planes_[plane].at(blockX, blockY);
                const Qvo32s step = planes_[plane].step();
                Qvo8u* const to = deringed_[plane].at(blockX, blockY);
                const Qvo32s threshold = thresholds[static_cast<std::size_t>(block)];
                // A threshold of 0 stands for a block without texture to ring.
                if (threshold == 0) {
                    qvoiCopyBlock_8x8_8u(from, step, to, step);
                } else {
                    qvoiFilterDeringingSmoothBlock_MPEG4_8u(from, step, to, step, quantiser, threshold);
                }
            }
        }
    }
}

}  // namespace codecs::mpeg4
