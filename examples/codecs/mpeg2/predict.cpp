#include "mpeg2/predict.h"

#include <algorithm>

namespace codecs::mpeg2 {

namespace {

constexpr Qvo32s roundHalvesUp = 0;

alignas(32) constexpr Qvo16s zeroRow[16] = {};

// The library's operations for one block size. There are copies of whole blocks only.
struct BlockSize {
    Qvo32s width;
    Qvo32s height;
    decltype(&qvoiMC16x16_8u_C1) single;
    decltype(&qvoiMC16x16B_8u_C1) bidirectional;
    decltype(&qvoiCopyBlock_16x16_8u) copy;
};

constexpr BlockSize luma16 = {16, 16, qvoiMC16x16_8u_C1, qvoiMC16x16B_8u_C1, qvoiCopyBlock_16x16_8u};
constexpr BlockSize luma8 = {16, 8, qvoiMC16x8_8u_C1, qvoiMC16x8B_8u_C1, nullptr};
constexpr BlockSize chroma8 = {8, 8, qvoiMC8x8_8u_C1, qvoiMC8x8B_8u_C1, qvoiCopyBlock_8x8_8u};
constexpr BlockSize chroma4 = {8, 4, qvoiMC8x4_8u_C1, qvoiMC8x4B_8u_C1, nullptr};

Qvo8u* locate(const View& target, std::size_t plane, Qvo32s x, Qvo32s y) {
    return target.planes[plane] + std::ptrdiff_t{y} * target.steps[plane] + x;
}

void predictPlane(const View& target, std::size_t plane, const BlockSize& size, Qvo32s x, Qvo32s y,
                  const Source& source, const Residual& residual) {
    const Reference reference = locate(source, plane, size.width, size.height, x, y);
    Qvo8u* const out = locate(target, plane, x, y);
    if (size.copy && reference.mcType == 0 && residual.isNone(plane)) {
        size.copy(reference.samples, reference.step, out, target.steps[plane]);
    } else {
        size.single(reference.samples, reference.step, residual.planes[plane], residual.steps[plane], out,
                    target.steps[plane], reference.mcType, roundHalvesUp);
    }
}

void predictPlane(const View& target, std::size_t plane, const BlockSize& size, Qvo32s x, Qvo32s y,
                  const Source& first, const Source& second, const Residual& residual) {
    const Reference a = locate(first, plane, size.width, size.height, x, y);
    const Reference b = locate(second, plane, size.width, size.height, x, y);
    size.bidirectional(a.samples, a.step, a.mcType, b.samples, b.step, b.mcType, residual.planes[plane],
                       residual.steps[plane], locate(target, plane, x, y), target.steps[plane], roundHalvesUp);
}

}  // namespace

Reference locate(const Source& source, std::size_t plane, int width, int height, int x, int y) {
    const View& view = *source.view;
    const Qvo32s divisor = plane == 0 ? 1 : 2;
    // Chrominance vectors are halved toward zero (13818-2, 7.6.3.7).
    const Qvo32s halfX = std::clamp(2 * x + source.vector.x / divisor, 0, 2 * (view.width / divisor - width));
    const Qvo32s halfY = std::clamp(2 * y + source.vector.y / divisor, 0, 2 * (view.height / divisor - height));
    const Qvo32s step = view.steps[plane];
    return {view.planes[plane] + std::ptrdiff_t{halfY >> 1} * step + (halfX >> 1), step,
            (halfX & 1) << 3 | (halfY & 1) << 2};
}

Residual Residual::none() {
    return {{zeroRow, zeroRow, zeroRow}, {0, 0, 0}};
}

Residual Residual::field(int parity) const {
    Residual result = *this;
    for (std::size_t plane = 0; plane < 3; ++plane) {
        if (parity == 1) result.planes[plane] += steps[plane] / 2;
        result.steps[plane] *= 2;
    }
    return result;
}

Residual Residual::lowerHalf() const {
    Residual result = *this;
    for (std::size_t plane = 0; plane < 3; ++plane) {
        result.planes[plane] += steps[plane] / 2 * (plane == 0 ? 8 : 4);
    }
    return result;
}

void predict(const View& target, int x, int y, int height, const Source& source, const Residual& residual) {
    const BlockSize& chroma = height == 16 ? chroma8 : chroma4;
    predictPlane(target, 0, height == 16 ? luma16 : luma8, x, y, source, residual);
    predictPlane(target, 1, chroma, x / 2, y / 2, source, residual);
    predictPlane(target, 2, chroma, x / 2, y / 2, source, residual);
}

void predict(const View& target, int x, int y, int height, const Source& first, const Source& second,
             const Residual& residual) {
    const BlockSize& chroma = height == 16 ? chroma8 : chroma4;
    predictPlane(target, 0, height == 16 ? luma16 : luma8, x, y, first, second, residual);
    predictPlane(target, 1, chroma, x / 2, y / 2, first, second, residual);
    predictPlane(target, 2, chroma, x / 2, y / 2, first, second, residual);
}

}  // namespace codecs::mpeg2
