// Pictures for encoders, and the check that a decoder shows what the encoder says it will.
#ifndef QVOVC_TESTS_CODECS_ENCODING_H
#define QVOVC_TESTS_CODECS_ENCODING_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "common/decoder.h"
#include "common/encoder.h"
#include "support/random.h"

namespace encoding {

using codecs::EncoderSettings;
using codecs::FrameView;

// The planes of a picture, one after the other.
using Samples = std::vector<std::uint8_t>;

inline Samples samplesOf(const FrameView& frame) {
    Samples samples;
    for (const codecs::PlaneView& plane : frame.planes)
        for (int y = 0; y < plane.height; ++y)
            samples.insert(samples.end(), plane.data + y * plane.step, plane.data + y * plane.step + plane.width);
    return samples;
}

inline FrameView viewOf(const Samples& samples, int width, int height) {
    FrameView view = {};
    const int halfWidth = (width + 1) / 2, halfHeight = (height + 1) / 2;
    const std::uint8_t* const cb = samples.data() + width * height;
    view.planes = {{{samples.data(), width, width, height},
                    {cb, halfWidth, halfWidth, halfHeight},
                    {cb + halfWidth * halfHeight, halfWidth, halfWidth, halfHeight}}};
    return view;
}

// What is encoded.
enum class Content {
    moving,   // a texture that shifts by parts of a sample, an object that moves over it, some noise
    rushing,  // the same, many samples at a time
    noise,    // nothing that could be predicted
    blinking  // flat macroblocks that change between the extremes
};

inline Samples picture(Content content, int width, int height, int number) {
    Random random(static_cast<std::uint64_t>(number) + 1);
    Samples samples;
    const int speed = content == Content::rushing ? 7 : 1;
    const auto sample = [&](int x, int y, int scale) {
        if (content == Content::noise) return random.range(0, 255);
        if (content == Content::blinking) return (x * scale / 16 + y * scale / 16 + number) % 2 * 255;
        const int objectX = x * scale - 3 * speed * number, objectY = y * scale + 2 * speed * number;
        const bool object = std::abs(objectX - width / 2) < 12 && std::abs(objectY - height / 2) < 9;
        const int u = 4 * x * scale + 5 * speed * number, v = 4 * y * scale - 3 * speed * number;
        const int texture = object ? objectX * 7 ^ objectY * 5 : std::abs(u % 160 - 80) + std::abs(v % 224 - 112);
        return 20 + (texture & 255) * 3 / 4 + random.range(-2, 2);
    };
    for (int plane = 0; plane < 3; ++plane) {
        const int scale = plane == 0 ? 1 : 2;
        for (int y = 0; y < (height + scale - 1) / scale; ++y)
            for (int x = 0; x < (width + scale - 1) / scale; ++x)
                samples.push_back(static_cast<std::uint8_t>(std::clamp(sample(x, y, scale), 0, 255)));
    }
    return samples;
}

struct Encoded {
    std::vector<std::uint8_t> stream;
    std::vector<Samples> pictures;  // reconstructions
    std::string types;
};

using MakeEncoder = std::unique_ptr<codecs::Encoder> (*)(const EncoderSettings&, codecs::Encoder::ByteSink,
                                                         codecs::Encoder::PictureSink);
using MakeDecoder = std::unique_ptr<codecs::Decoder> (*)();

inline Encoded encode(MakeEncoder make, const EncoderSettings& settings, Content content, int count) {
    Encoded encoded;
    const auto encoder = make(
        settings,
        [&](const std::uint8_t* data, std::size_t size) {
            encoded.stream.insert(encoded.stream.end(), data, data + size);
        },
        [&](const codecs::CodedPicture& coded) {
            encoded.pictures.push_back(samplesOf(coded.reconstruction));
            encoded.types += coded.reconstruction.type;
        });
    for (int i = 0; i < count; ++i) {
        const Samples samples = picture(content, settings.width, settings.height, i);
        encoder->encode(viewOf(samples, settings.width, settings.height));
    }
    encoder->finish();
    return encoded;
}

inline void expectDecodes(MakeDecoder make, const Encoded& encoded) {
    std::size_t shown = 0;
    const codecs::Decoder::Sink sink = [&](const FrameView& frame) {
        ASSERT_LT(shown, encoded.pictures.size());
        EXPECT_TRUE(samplesOf(frame) == encoded.pictures[shown]) << "picture " << shown;
        ++shown;
    };
    const auto decoder = make();
    decoder->decode(encoded.stream.data(), encoded.stream.size(), sink);
    decoder->finish(sink);
    EXPECT_EQ(shown, encoded.pictures.size());
    EXPECT_EQ(decoder->damage().damagedPictures, 0);
}

inline double meanError(const Samples& a, const Samples& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum / static_cast<double>(a.size());
}

inline EncoderSettings sized(int width, int height) {
    EncoderSettings settings;
    settings.width = width;
    settings.height = height;
    return settings;
}

}  // namespace encoding

#endif
