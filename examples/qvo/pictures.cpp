#include "pictures.h"

#include <png.h>

#include <algorithm>

#include "failure.h"

namespace qvo {

namespace {

// A value in 1/65536, rounded and clipped to 8 bits.
std::uint8_t fromFixed(int value) {
    return static_cast<std::uint8_t>(std::clamp((value + 32768) >> 16, 0, 255));
}

}  // namespace

RgbPicture toRgb(const codecs::FrameView& frame) {
    const auto& [luma, cb, cr] = frame.planes;
    RgbPicture picture(luma.width, luma.height);
    for (int y = 0; y < luma.height; ++y) {
        const std::ptrdiff_t chromaRow = static_cast<std::ptrdiff_t>(y) * cb.height / luma.height;
        const std::uint8_t* lumaAt = luma.data + y * luma.step;
        const std::uint8_t* cbAt = cb.data + chromaRow * cb.step;
        const std::uint8_t* crAt = cr.data + chromaRow * cr.step;
        std::uint8_t* to = picture.at(0, y);
        for (int x = 0; x < luma.width; ++x, to += 3) {
            const int chromaX = x * cb.width / luma.width;
            // 255/219 and 255/224 times the matrix of BT.601, in 1/65536.
            const int l = (lumaAt[x] - 16) * 76309;
            const int u = cbAt[chromaX] - 128;
            const int v = crAt[chromaX] - 128;
            to[0] = fromFixed(l + 104597 * v);
            to[1] = fromFixed(l - 25675 * u - 53279 * v);
            to[2] = fromFixed(l + 132201 * u);
        }
    }
    return picture;
}

RgbPicture shrink(const RgbPicture& picture, int width, int height) {
    RgbPicture small(width, height);
    for (int y = 0; y < height; ++y) {
        const int top = y * picture.height / height;
        const int bottom = (y + 1) * picture.height / height;
        for (int x = 0; x < width; ++x) {
            const int left = x * picture.width / width;
            const int right = (x + 1) * picture.width / width;
            const int area = (right - left) * (bottom - top);
            for (int c = 0; c < 3; ++c) {
                int sum = area / 2;
                for (int sy = top; sy < bottom; ++sy)
                    for (int sx = left; sx < right; ++sx)
                        sum += picture.at(sx, sy)[c];
                small.at(x, y)[c] = static_cast<std::uint8_t>(sum / area);
            }
        }
    }
    return small;
}

void paste(RgbPicture& onto, const RgbPicture& picture, int x, int y) {
    for (int row = 0; row < picture.height; ++row)
        std::copy_n(picture.at(0, row), picture.width * 3, onto.at(x, y + row));
}

void writePng(OutputFile& file, const RgbPicture& picture) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_RGB;
    if (!png_image_write_to_stdio(&image, file.handle(), 0, picture.samples.data(), 0, nullptr))
        throw Failure(file.path(), image.message);
}

}  // namespace qvo
