// What a decoder of the examples makes of a stream, frame by frame.
#ifndef QVOVC_TESTS_DECODED_H
#define QVOVC_TESTS_DECODED_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/decoder.h"

// The planes of a picture, one after the other.
inline std::vector<std::uint8_t> samplesOf(const codecs::FrameView& frame) {
    std::vector<std::uint8_t> samples;
    for (const codecs::PlaneView& plane : frame.planes)
        for (int y = 0; y < plane.height; ++y)
            samples.insert(samples.end(), plane.data + y * plane.step, plane.data + y * plane.step + plane.width);
    return samples;
}

struct Decoded {
    std::string types;
    std::vector<std::vector<std::uint8_t>> frames;
    int width = 0;
    int height = 0;
    codecs::DamageReport damage;
    codecs::StreamInfo info;
    std::string refused;  // what the decoder says that it does not support

    int luma(std::size_t frame, int x, int y) const {
        return frames.at(frame)[static_cast<std::size_t>(y * width + x)];
    }
    // Of a macroblock whose luminance is flat; -1 where it is not.
    int level(std::size_t frame, int column, int row) const {
        const int first = luma(frame, 16 * column, 16 * row);
        for (int i = 0; i < 256; ++i)
            if (luma(frame, 16 * column + i % 16, 16 * row + i / 16) != first) return -1;
        return first;
    }
    // Of all macroblocks.
    std::vector<int> levels(std::size_t frame) const {
        std::vector<int> result;
        for (int i = 0; i < width / 16 * (height / 16); ++i)
            result.push_back(level(frame, i % (width / 16), i / (width / 16)));
        return result;
    }
};

// Of flat macroblocks, by picture.
inline void expectShows(const Decoded& decoded, const std::string& types, const std::vector<std::vector<int>>& levels,
                        int concealed = 0) {
    EXPECT_EQ(decoded.refused, "");
    ASSERT_EQ(decoded.types, types);
    for (std::size_t i = 0; i < levels.size(); ++i)
        EXPECT_EQ(decoded.levels(i), levels[i]) << "picture " << i;
    EXPECT_EQ(decoded.damage.concealedMacroblocks, concealed);
    EXPECT_EQ(decoded.damage.damagedPictures > 0, concealed > 0);
}

// Hands the stream to a new decoder in pieces.
inline Decoded decodeWith(std::unique_ptr<codecs::Decoder> decoder, const std::vector<std::uint8_t>& bytes,
                          std::size_t piece = 1 << 20) {
    Decoded result;
    const auto sink = [&](const codecs::FrameView& frame) {
        result.types += frame.type;
        result.width = frame.planes[0].width;
        result.height = frame.planes[0].height;
        result.frames.push_back(samplesOf(frame));
    };
    try {
        for (std::size_t at = 0; at < bytes.size(); at += piece)
            decoder->decode(bytes.data() + at, std::min(piece, bytes.size() - at), sink);
        decoder->finish(sink);
    } catch (const codecs::UnsupportedStream& unsupported) {
        result.refused = unsupported.what();
    }
    result.damage = decoder->damage();
    if (decoder->hasInfo()) result.info = decoder->info();
    return result;
}

// A stream that turns into one that is refused for a tool ends there, with the pictures so far. If then a good one
// follows, that was damage and has cost as many pictures.
template <class Make>
void expectEndsWhereRefused(Make makeDecoder, const std::vector<std::uint8_t>& good,
                            const std::vector<std::uint8_t>& refused, const std::string& tool, int pictures) {
    const auto frames = decodeWith(makeDecoder(), good).frames;
    std::vector<std::uint8_t> stream = good;
    for (const auto* part : {&refused, &refused, &good}) {
        if (part == &good) stream.resize(good.size() + refused.size());
        stream.insert(stream.end(), part->begin(), part->end());
        const Decoded decoded = decodeWith(makeDecoder(), stream);
        if (part == &good) {
            EXPECT_EQ(decoded.refused, "");
            EXPECT_EQ(decoded.frames.size(), 2 * frames.size()) << tool;
            EXPECT_EQ(decoded.damage.damagedPictures, pictures) << tool;
        } else {
            EXPECT_NE(decoded.refused.find(tool), std::string::npos) << tool << ": " << decoded.refused;
            EXPECT_EQ(decoded.frames, frames) << tool;
            EXPECT_EQ(decoded.damage.damagedPictures, 0) << tool;
        }
    }
}

#endif
