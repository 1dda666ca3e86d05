// What a decoder of the examples makes of a stream, frame by frame.
#ifndef QVOVC_TESTS_DECODED_H
#define QVOVC_TESTS_DECODED_H

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/decoder.h"

struct Decoded {
    std::string types;
    std::vector<std::vector<std::uint8_t>> frames;  // all planes, the luminance first
    int width = 0;
    codecs::DamageReport damage;
    std::string refused;  // what the decoder says that it does not support

    int luma(std::size_t frame, int x, int y) const {
        return frames.at(frame)[static_cast<std::size_t>(y * width + x)];
    }
    // At the middle of a macroblock.
    int level(std::size_t frame, int column, int row) const { return luma(frame, column * 16 + 8, row * 16 + 8); }
};

// Hands the stream to a new decoder in pieces.
inline Decoded decodeWith(std::unique_ptr<codecs::Decoder> decoder, const std::vector<std::uint8_t>& bytes,
                          std::size_t piece = 1 << 20) {
    Decoded result;
    const auto sink = [&](const codecs::FrameView& frame) {
        result.types += frame.type;
        result.width = frame.planes[0].width;
        auto& samples = result.frames.emplace_back();
        for (const codecs::PlaneView& plane : frame.planes)
            for (int y = 0; y < plane.height; ++y)
                samples.insert(samples.end(), plane.data + y * plane.step, plane.data + y * plane.step + plane.width);
    };
    try {
        for (std::size_t at = 0; at < bytes.size(); at += piece)
            decoder->decode(bytes.data() + at, std::min(piece, bytes.size() - at), sink);
        decoder->finish(sink);
    } catch (const codecs::UnsupportedStream& unsupported) {
        result.refused = unsupported.what();
    }
    result.damage = decoder->damage();
    return result;
}

#endif
