// The MPEG-2 encoder: what the decoder makes of its streams is its reconstruction, sample by sample.
#include "mpeg2/encoder.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "mpeg2/decoder.h"
#include "support/random.h"

namespace {

using codecs::EncoderSettings;
using codecs::FrameView;

// A picture's samples, plane by plane.
using Samples = std::vector<std::uint8_t>;

FrameView view(const Samples& samples, int width, int height) {
    const int halfWidth = (width + 1) / 2, halfHeight = (height + 1) / 2;
    const std::uint8_t* const luma = samples.data();
    const std::uint8_t* const chroma = luma + width * height;
    FrameView frame;
    frame.planes = {{{luma, width, width, height},
                     {chroma, halfWidth, halfWidth, halfHeight},
                     {chroma + halfWidth * halfHeight, halfWidth, halfWidth, halfHeight}}};
    return frame;
}

Samples copyOf(const FrameView& frame) {
    Samples samples;
    for (const codecs::PlaneView& plane : frame.planes) {
        for (int y = 0; y < plane.height; ++y)
            samples.insert(samples.end(), plane.data + y * plane.step, plane.data + y * plane.step + plane.width);
    }
    return samples;
}

double psnr(const Samples& a, const Samples& b) {
    double error = 1e-9;
    for (std::size_t i = 0; i < a.size(); ++i)
        error += (a[i] - b[i]) * (a[i] - b[i]);
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / error);
}

// Each content stands for what a codec meets.
enum class Content {
    texture,  // moves in fractions of samples, with noise; another one from picture 9 on
    fast,     // moves by 8 samples more from picture to picture
    still,
    extreme,  // black and white blocks, some inverted in each picture: the largest coefficients there are
};

std::vector<Samples> makePictures(Content content, int width, int height, int count) {
    Random random(7);
    std::vector<Samples> pictures;
    for (int t = 0; t < count; ++t) {
        Samples samples;
        const double way = content == Content::fast ? 4 * t * t : content == Content::texture ? 1.3 * t : 0;
        const double phase = content == Content::texture && t > 8 ? 40 : 0;
        for (int plane = 0; plane < 3; ++plane) {
            const int scale = plane == 0 ? 1 : 2;
            for (int y = 0; y < (height + scale - 1) / scale; ++y) {
                for (int x = 0; x < (width + scale - 1) / scale; ++x) {
                    const double u = scale * x + way + phase, v = scale * y - way / 4 + 2 * phase;
                    double value =
                        120 + 60 * std::sin(u / 9 + std::sin(v / 13)) + 40 * std::sin(v / 5 + u * u / 4000);
                    if (content == Content::texture) value += static_cast<int>(random.next() % 9) - 4;
                    if (content == Content::extreme) value = ((x ^ y) & 1) ^ ((x / 8 + y / 8 + t) % 3 == 0) ? 255 : 0;
                    samples.push_back(static_cast<std::uint8_t>(std::clamp(value, 0.0, 255.0)));
                }
            }
        }
        pictures.push_back(std::move(samples));
    }
    return pictures;
}

struct Encoded {
    std::vector<std::uint8_t> stream;
    std::vector<Samples> pictures;  // reconstructed
    std::string types;              // in display order
    std::vector<std::int64_t> bits;
};

Encoded encode(const EncoderSettings& settings, const std::vector<Samples>& pictures) {
    Encoded result;
    const auto encoder = codecs::makeMpeg2Encoder(
        settings,
        [&](const std::uint8_t* data, std::size_t size) {
            result.stream.insert(result.stream.end(), data, data + size);
        },
        [&](const codecs::CodedPicture& coded) {
            result.pictures.push_back(copyOf(coded.reconstruction));
            result.types += coded.reconstruction.type;
            result.bits.push_back(coded.bits);
        });
    for (const Samples& picture : pictures) {
        // The encoder may not keep the caller's samples.
        Samples passing = picture;
        encoder->encode(view(passing, settings.width, settings.height));
        std::fill(passing.begin(), passing.end(), std::uint8_t{0});
    }
    encoder->finish();
    return result;
}

struct Decoded {
    std::vector<Samples> pictures;
    std::string types;
    codecs::StreamInfo info;
    std::int64_t concealed = 0;
};

Decoded decode(const std::vector<std::uint8_t>& stream) {
    Decoded result;
    const auto sink = [&](const FrameView& frame) {
        result.pictures.push_back(copyOf(frame));
        result.types += frame.type;
    };
    const auto decoder = codecs::makeMpeg2Decoder();
    decoder->decode(stream.data(), stream.size(), sink);
    decoder->finish(sink);
    result.info = decoder->info();
    result.concealed = decoder->damage().concealedMacroblocks;
    return result;
}

EncoderSettings settingsFor(int width, int height, int quantiser, int keyInterval, int bPictures) {
    EncoderSettings settings;
    settings.width = width;
    settings.height = height;
    settings.quantiser = quantiser;
    settings.keyInterval = keyInterval;
    settings.bPictures = bPictures;
    return settings;
}

struct Case {
    Content content;
    int width;
    int height;
    int quantiser;
    int keyInterval;
    int bPictures;
    int count;
    std::string types;
    double quality;  // dB that every picture reaches
};

TEST(Mpeg2Encoder, DecodesToTheReconstruction) {
    const Case cases[] = {
        {Content::texture, 80, 64, 1, 12, 2, 14, "IBBPBBPBBPBBIP", 44},
        {Content::texture, 80, 64, 8, 5, 0, 12, "IPPPPIPPPPIP", 33},
        {Content::texture, 71, 45, 3, 6, 3, 11, "IBBBPBIBBBP", 37},
        {Content::texture, 17, 33, 31, 4, 1, 7, "IBPBIBP", 22},
        {Content::texture, 1, 1, 5, 1, 2, 3, "III", 30},
        {Content::fast, 336, 112, 4, 20, 0, 13, "IPPPPPPPPPPPP", 36},
        {Content::fast, 336, 112, 4, 9, 1, 9, "IBPBPBPBP", 36},
        {Content::still, 1200, 16, 6, 100, 2, 8, "IBBPBBPP", 36},
        {Content::extreme, 64, 48, 1, 7, 1, 8, "IBPBPBPI", 36},
        {Content::extreme, 64, 48, 31, 7, 1, 8, "IBPBPBPI", 15},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + "x" + std::to_string(c.height) + " quantiser " +
                     std::to_string(c.quantiser));
        const auto pictures = makePictures(c.content, c.width, c.height, c.count);
        const Encoded encoded =
            encode(settingsFor(c.width, c.height, c.quantiser, c.keyInterval, c.bPictures), pictures);
        const Decoded decoded = decode(encoded.stream);
        EXPECT_EQ(encoded.types, c.types);
        EXPECT_EQ(decoded.types, c.types);
        EXPECT_EQ(decoded.concealed, 0);
        EXPECT_TRUE(decoded.pictures == encoded.pictures);
        std::int64_t bits = 32;  // the end of the sequence
        for (std::size_t i = 0; i < pictures.size(); ++i) {
            EXPECT_GE(psnr(encoded.pictures[i], pictures[i]), c.quality) << "picture " << i;
            bits += encoded.bits[i];
        }
        EXPECT_EQ(bits, 8 * static_cast<std::int64_t>(encoded.stream.size()));
    }
}

TEST(Mpeg2Encoder, FindsMotionAndLeavesOutWhatStands) {
    const auto moving = encode(settingsFor(336, 112, 6, 20, 0), makePictures(Content::fast, 336, 112, 12));
    // What enters at the edges has to be coded anew.
    for (std::size_t i = 1; i < 12; ++i)
        EXPECT_LT(moving.bits[i], moving.bits[0] / 2) << i;
    const auto still = encode(settingsFor(1200, 16, 6, 12, 2), makePictures(Content::still, 1200, 16, 7));
    for (std::size_t i = 4; i < 7; ++i)
        EXPECT_LT(still.bits[i], 300) << i;
}

TEST(Mpeg2Encoder, TellsTheSequence) {
    EncoderSettings settings = settingsFor(720, 400, 20, 1, 0);
    settings.rateNumerator = 24000;
    settings.rateDenominator = 1001;
    settings.aspectNumerator = 80;  // 16:9
    settings.aspectDenominator = 81;
    const auto grey = std::vector<Samples>{Samples(720 * 400 * 3 / 2, 90)};
    const codecs::StreamInfo film = decode(encode(settings, grey).stream).info;
    EXPECT_EQ(film.codec, "MPEG-2 video");
    EXPECT_EQ(film.profile, "Main, Main level");
    EXPECT_EQ(film.rateNumerator, 24000);
    EXPECT_EQ(film.rateDenominator, 1001);
    EXPECT_EQ(film.aspectNumerator * 81, film.aspectDenominator * 80);
    EXPECT_FALSE(film.interlaced);

    settings.rateNumerator = 15;  // half of 30
    settings.rateDenominator = 1;
    settings.quantiser = 0;
    settings.bitRate = 20000000;  // above the Main level
    const codecs::StreamInfo high = decode(encode(settings, grey).stream).info;
    EXPECT_EQ(high.profile, "Main, High 1440 level");
    EXPECT_EQ(high.rateNumerator, 15);
    EXPECT_EQ(high.rateDenominator, 1);
    EXPECT_EQ(high.bitRate, 20000000);
}

TEST(Mpeg2Encoder, HoldsTheBitRateAndTheBuffer) {
    constexpr int count = 100, bPictures = 2;
    const auto pictures = makePictures(Content::texture, 176, 144, count);
    for (const long rate : {40000L, 300000L, 1500000L}) {
        EncoderSettings settings = settingsFor(176, 144, 0, 12, bPictures);
        settings.bitRate = rate;
        const Encoded encoded = encode(settings, pictures);
        EXPECT_TRUE(decode(encoded.stream).pictures == encoded.pictures);
        EXPECT_NEAR(static_cast<double>(encoded.stream.size()) * 8 * 25 / count / static_cast<double>(rate), 1, 0.1);

        // In coding order, B pictures come after the picture that they precede in display order.
        std::vector<std::int64_t> order;
        std::vector<std::int64_t> waiting;
        for (std::size_t i = 0; i < count; ++i) {
            if (encoded.types[i] == 'B') {
                waiting.push_back(encoded.bits[i]);
                continue;
            }
            order.push_back(encoded.bits[i]);
            order.insert(order.end(), waiting.begin(), waiting.end());
            waiting.clear();
        }
        const std::int64_t buffer = (rate + 16383) / 16384 * 16384;
        std::int64_t fullness = buffer;
        for (const std::int64_t bits : order) {
            ASSERT_LE(bits, fullness);
            fullness = std::min(buffer, fullness - bits + rate / 25);
        }
    }
}

TEST(Mpeg2Encoder, RefusesWhatTheStandardLacks) {
    const auto refuses = [](EncoderSettings settings) {
        try {
            codecs::makeMpeg2Encoder(settings, nullptr, nullptr);
        } catch (const codecs::UnsupportedSettings&) {
            return true;
        }
        return false;
    };
    const EncoderSettings good = settingsFor(176, 144, 5, 12, 2);
    EXPECT_FALSE(refuses(good));
    EXPECT_TRUE(refuses(settingsFor(176, 144, 32, 12, 2)));
    EXPECT_TRUE(refuses(settingsFor(176, 144, 5, 12, 8)));
    EXPECT_TRUE(refuses(settingsFor(1936, 1088, 5, 12, 2)));
    EncoderSettings changed = good;
    changed.rateNumerator = 26;
    EXPECT_TRUE(refuses(changed));
    changed = good;
    changed.quantiser = 0;
    changed.bitRate = 90000000;
    EXPECT_TRUE(refuses(changed));

    // Less than the headers of one picture.
    changed.bitRate = 100;
    changed.rateNumerator = 60;
    const auto pictures = makePictures(Content::texture, 176, 144, 40);
    EXPECT_THROW(encode(changed, pictures), codecs::UnsupportedSettings);
}

}  // namespace
