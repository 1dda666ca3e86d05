// Pictures for encoders, and the check that a decoder shows what the encoder says it will.
#ifndef QVOVC_TESTS_CODECS_ENCODING_H
#define QVOVC_TESTS_CODECS_ENCODING_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/decoder.h"
#include "common/encoder.h"
#include "support/decoded.h"
#include "support/random.h"

namespace encoding {

using codecs::EncoderSettings;
using codecs::FrameView;

// The planes of a picture, one after the other.
using Samples = std::vector<std::uint8_t>;

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
    moving,  // a texture that shifts by parts of a sample, an object that moves over it, noise
    racing,  // a texture that shifts by 8 samples more from picture to picture
    still,
    noise,    // nothing that could be predicted
    extreme,  // macroblocks flat or chequered, black and white, that change in every picture
    bursting  // still for 20 pictures, then noise
};

// Made once for all that encode it.
inline const Samples& picture(Content content, int width, int height, int number) {
    static std::map<std::array<int, 4>, Samples> made;
    Samples& samples = made[{static_cast<int>(content), width, height, number}];
    if (!samples.empty()) return samples;
    if (content == Content::bursting) content = number < 20 ? Content::still : Content::noise;
    Random random(static_cast<std::uint64_t>(number) + 1);
    const double way = content == Content::moving   ? 1.3 * number
                       : content == Content::racing ? 4 * number * number
                                                    : 0;
    const auto sample = [&](int x, int y, int scale) -> double {
        if (content == Content::noise) return random.range(0, 255);
        const int macroblock = x * scale / 16 + y * scale / 16 + number;
        if (content == Content::extreme) return (macroblock % 4 < 2 ? macroblock : x + y + macroblock) % 2 * 255;
        const int objectX = x * scale - 3 * number - width / 2, objectY = y * scale + 2 * number - height / 2;
        const bool object = content == Content::moving && std::abs(objectX) < 12 && std::abs(objectY) < 9;
        const double u = object ? 7 * objectX : x * scale + way, v = object ? 5 * objectY : y * scale - way / 4;
        const int noise = content == Content::moving ? random.range(-2, 2) : 0;
        return 120 + 60 * std::sin(u / 9 + std::sin(v / 13)) + 40 * std::sin(v / 5 + u * u / 4000) + noise;
    };
    for (const int scale : {1, 2, 2}) {
        for (int y = 0; y < (height + scale - 1) / scale; ++y)
            for (int x = 0; x < (width + scale - 1) / scale; ++x)
                samples.push_back(static_cast<std::uint8_t>(std::clamp(sample(x, y, scale), 0.0, 255.0)));
    }
    return samples;
}

struct Encoded {
    Samples stream;
    std::vector<Samples> sources;
    std::vector<Samples> pictures;  // reconstructions, in order of display
    std::string types;
    std::vector<std::int64_t> bits;
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
            encoded.bits.push_back(coded.bits);
        });
    for (int i = 0; i < count; ++i) {
        encoded.sources.push_back(picture(content, settings.width, settings.height, i));
        Samples samples = encoded.sources.back();
        encoder->encode(viewOf(samples, settings.width, settings.height));
        samples.assign(samples.size(), 0);  // which the encoder must not look at any more
    }
    encoder->finish();
    return encoded;
}

inline Decoded expectDecodes(MakeDecoder make, const Encoded& encoded) {
    Decoded decoded = decodeWith(make(), encoded.stream);
    EXPECT_EQ(decoded.types, encoded.types);
    EXPECT_TRUE(decoded.frames == encoded.pictures);
    EXPECT_EQ(decoded.damage.damagedPictures, 0);
    return decoded;
}

inline double meanError(const Samples& a, const Samples& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum / static_cast<double>(a.size());
}

}  // namespace encoding

#endif
