// All encoders: what our decoders make of their streams is the reconstruction, whatever is encoded. And what single ones
// promise of their streams.
#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "codecs/encoding.h"
#include "h263/decoder.h"
#include "h263/encoder.h"
#include "h264/decoder.h"
#include "h264/encoder.h"
#include "mpeg2/decoder.h"
#include "mpeg2/encoder.h"
#include "mpeg4/decoder.h"
#include "mpeg4/encoder.h"

namespace {

using namespace encoding;

// How to encode, and the types that the pictures then have.
struct Variant {
    EncoderSettings settings;
    std::string types;
};

struct Codec {
    const char* name;
    MakeEncoder makeEncoder;
    MakeDecoder makeDecoder;
    std::vector<std::array<int, 2>> sizes;
    std::vector<int> quantisers;
    double (*step)(const EncoderSettings&);
    std::vector<Variant> variants;
};

const Codec mpeg2 = {"Mpeg2",
                     codecs::makeMpeg2Encoder,
                     codecs::makeMpeg2Decoder,
                     {{64, 48}, {71, 45}, {1, 1}},
                     {1, 3, 8, 31},
                     [](const EncoderSettings& settings) { return settings.quantiser * 3.4; },
                     {{{.keyInterval = 5}, "IPPPPIP"},
                      {{.keyInterval = 12, .bPictures = 2}, "IBBPBBPBBPBBIP"},
                      {{.keyInterval = 6, .bPictures = 3}, "IBBBPBIBBBP"},
                      {{.keyInterval = 1, .bPictures = 1}, "III"}}};

// The picture before a key picture is a reference, and so is the last one. At 4 pictures a second, or fewer, seconds pass
// between those that depend on each other.
const Codec mpeg4 = {
    "Mpeg4",
    codecs::makeMpeg4Encoder,
    codecs::makeMpeg4Decoder,
    {{64, 48}, {99, 45}, {1, 1}},
    {1, 7, 8, 13, 31},
    [](const EncoderSettings& settings) { return settings.quantiser * (settings.matrixQuantiser ? 3.0 : 2.0); },
    {{{.keyInterval = 5}, "IPPPPIP"},
     {{.keyInterval = 5, .packetBits = 1, .matrixQuantiser = true}, "IPPPPIP"},
     {{.keyInterval = 5, .packetBits = 700, .fourVectors = false}, "IPPPPIP"},
     {{.rateNumerator = 4, .keyInterval = 9, .bPictures = 2}, "IBBPBBPBPIBP"},
     {{.rateNumerator = 4, .keyInterval = 9, .bPictures = 2, .packetBits = 400, .matrixQuantiser = true},
      "IBBPBBPBPIBP"},
     {{.rateNumerator = 1, .rateDenominator = 3000, .keyInterval = 9}, "IPPP"},
     {{.rateNumerator = 1, .rateDenominator = 3000, .keyInterval = 9, .bPictures = 2}, "IBBPBBP"}}};

// With fine quantisers H.263 cannot express large coefficients, for want of levels above 127.
const Codec h263 = {
    "H263",
    codecs::makeH263Encoder,
    codecs::makeH263Decoder,
    {{128, 96}, {176, 144}},
    {1, 7, 8, 13, 31},
    [](const EncoderSettings& settings) { return settings.quantiser < 7 ? 1000.0 : settings.quantiser * 2.0; },
    {{{.keyInterval = 5}, "IPPPPIP"}, {{.keyInterval = 5, .packetBits = 800}, "IPPPPIP"}}};

const Codec h264 = {"H264",
                    codecs::makeH264Encoder,
                    codecs::makeH264Decoder,
                    {{64, 48}, {98, 46}, {2, 2}},
                    {1, 8, 20, 33, 51},
                    [](const EncoderSettings& settings) { return 0.625 * std::exp2(settings.quantiser / 6.0); },
                    {{{.keyInterval = 5}, "IPPPPIP"}}};

void PrintTo(const Codec& codec, std::ostream* to) {
    *to << codec.name;
}

class Encoders : public testing::TestWithParam<Codec> {};

TEST_P(Encoders, DecoderShowsTheReconstruction) {
    const Codec& codec = GetParam();
    for (const auto& [settings, types] : codec.variants)
        for (const Content content :
             {Content::moving, Content::racing, Content::still, Content::noise, Content::extreme})
            for (const auto& [width, height] : codec.sizes)
                for (const int quantiser : codec.quantisers) {
                    SCOPED_TRACE(testing::Message() << types << ' ' << settings.packetBits << " content "
                                                    << int(content) << ' ' << width << " q " << quantiser);
                    EncoderSettings all = settings;
                    all.width = width;
                    all.height = height;
                    all.quantiser = quantiser;
                    const Encoded encoded = encode(codec.makeEncoder, all, content, static_cast<int>(types.size()));
                    EXPECT_EQ(encoded.types, types);
                    expectDecodes(codec.makeDecoder, encoded);
                    // An error spread evenly over a step has a twelfth of its square; dead zones and weights make
                    // more of it.
                    const double step = codec.step(all);
                    for (std::size_t i = 0; i < types.size(); ++i)
                        EXPECT_LT(meanError(encoded.pictures[i], encoded.sources[i]), 0.5 + step * step / 3);
                }
}

TEST_P(Encoders, KeepTheBitRate) {
    const Codec& codec = GetParam();
    for (const long rate : {60'000L, 400'000L}) {
        constexpr int count = 75;
        const int bPictures = codec.variants.back().settings.bPictures;
        const EncoderSettings settings = {.width = 176, .height = 144, .bitRate = rate, .bPictures = bPictures};
        const Encoded encoded = encode(codec.makeEncoder, settings, Content::moving, count);
        expectDecodes(codec.makeDecoder, encoded);
        EXPECT_NEAR(8.0 * static_cast<double>(encoded.stream.size()) * 25 / count / static_cast<double>(rate), 1,
                    0.1);
    }
}

INSTANTIATE_TEST_SUITE_P(All, Encoders, testing::Values(mpeg2, mpeg4, h263, h264),
                         [](const auto& codec) { return codec.param.name; });

TEST(EncoderHeaders, TellRateShapeAndLevel) {
    const struct {
        const Codec& codec;
        EncoderSettings settings;  // size, rate, aspect, quantiser, bit rate
        std::string_view profile;
    } cases[] = {
        {mpeg2, {720, 400, 24000, 1001, 80, 81, 20}, "Main, Main level"},
        {mpeg2, {720, 400, 15, 1, 80, 81, 0, 20000000}, "Main, High 1440 level"},  // 15 is half of 30
        {mpeg4, {48, 32, 30000, 1001, 12, 11, 8}, "Simple, level 1"},
        {h264, {48, 32, 30000, 1001, 12, 11, 30}, "Constrained Baseline, level 1.0"},
    };
    for (const auto& [codec, settings, profile] : cases) {
        const Encoded encoded = encode(codec.makeEncoder, settings, Content::still, settings.width < 100 ? 40 : 1);
        const codecs::StreamInfo info = expectDecodes(codec.makeDecoder, encoded).info;
        EXPECT_EQ(info.profile, profile);
        EXPECT_EQ(info.width, settings.width);
        EXPECT_EQ(info.height, settings.height);
        EXPECT_EQ(info.rateNumerator, settings.rateNumerator);
        EXPECT_EQ(info.rateDenominator, settings.rateDenominator);
        EXPECT_EQ(info.aspectNumerator * settings.aspectDenominator,
                  info.aspectDenominator * settings.aspectNumerator);
        EXPECT_FALSE(info.interlaced);
        if (settings.bitRate > 0) {
            EXPECT_EQ(info.bitRate, settings.bitRate);
        }
    }
}

TEST(EncoderSettings, AreRefusedInWords) {
    const struct {
        const Codec& codec;
        EncoderSettings settings;
        std::string_view words;
    } cases[] = {
        {mpeg2, {.width = 176, .height = 144, .quantiser = 32}, "1 to 31"},
        {mpeg2, {.width = 176, .height = 144, .quantiser = 5, .bPictures = 8}, "0 to 7 B pictures"},
        {mpeg2, {.width = 1936, .height = 1088, .quantiser = 5}, "no level"},
        {mpeg2, {.width = 176, .height = 144, .bitRate = 90'000'000}, "no level"},
        {mpeg2, {.width = 176, .height = 144, .rateNumerator = 26, .quantiser = 5}, "26/1"},
        // Less than the headers of one picture.
        {mpeg2, {.width = 176, .height = 144, .rateNumerator = 60, .bitRate = 100}, "buffer"},
        {mpeg4, {.width = 64, .height = 64, .quantiser = 32}, "1 and 31"},
        {mpeg4, {.width = 8192, .height = 64, .quantiser = 20}, "8191"},
        {mpeg4, {.width = 4096, .height = 2305, .quantiser = 20}, "too large"},
        {mpeg4, {.width = 64, .height = 64, .quantiser = 20, .bPictures = 17}, "16 B pictures"},
        {mpeg4, {.width = 64, .height = 64, .rateNumerator = 1, .rateDenominator = 3601, .quantiser = 9}, "hour"},
        {h263, {.width = 144, .height = 96, .quantiser = 9}, "1408x1152"},
        {h263, {.width = 128, .height = 96, .quantiser = 32}, "1 and 31"},
        {h263, {.width = 128, .height = 96, .quantiser = 9, .bPictures = 1}, "B pictures"},
        {h263, {.width = 128, .height = 96, .quantiser = 9, .matrixQuantiser = true}, "matrices"},
        {h263, {.width = 128, .height = 96, .rateNumerator = 31, .quantiser = 9}, "30"},
        {h263, {.width = 128, .height = 96, .rateNumerator = 1, .rateDenominator = 9, .quantiser = 9}, "8.5"},
        {h264, {.width = 64, .height = 64, .quantiser = 52}, "1 and 51"},
        {h264, {.width = 64, .height = 64, .quantiser = 20, .bPictures = 1}, "B pictures"},
        {h264, {.width = 64, .height = 64, .quantiser = 20, .packetBits = 1000}, "packets"},
        {h264, {.width = 64, .height = 64, .quantiser = 20, .matrixQuantiser = true}, "matrices"},
        {h264, {.width = 8208, .height = 64, .quantiser = 20}, "too large"},
        // More macroblocks in a second than the highest level has.
        {h264, {.width = 64, .height = 64, .rateNumerator = 10'000'000, .quantiser = 20}, "no level"},
    };
    for (const auto& [codec, settings, words] : cases) {
        std::string refusal;
        try {
            encode(codec.makeEncoder, settings, Content::moving, 40);
        } catch (const codecs::UnsupportedSettings& unsupported) {
            refusal = unsupported.what();
        }
        EXPECT_NE(refusal.find(words), std::string::npos) << codec.name << ' ' << words << ": " << refusal;
    }
}

Encoded encodeMpeg2(const EncoderSettings& settings, Content content, int count) {
    Encoded encoded = encode(codecs::makeMpeg2Encoder, settings, content, count);
    expectDecodes(codecs::makeMpeg2Decoder, encoded);
    constexpr std::int64_t endOfSequence = 32;
    EXPECT_EQ(std::accumulate(encoded.bits.begin(), encoded.bits.end(), endOfSequence),
              8 * std::ssize(encoded.stream));
    return encoded;
}

TEST(Mpeg2Encoder, FindsMotionAndLeavesOutWhatStands) {
    for (const int bPictures : {0, 1}) {
        const EncoderSettings settings = {
            .width = 336, .height = 112, .quantiser = 6, .keyInterval = 20, .bPictures = bPictures};
        const Encoded moving = encodeMpeg2(settings, Content::racing, 13);
        // What enters at the edges has to be coded anew.
        for (std::size_t i = 1; i < 13 && bPictures == 0; ++i)
            EXPECT_LT(moving.bits[i], moving.bits[0] / 2) << i;
    }
    // From the first macroblock to the last are 67, which is 1 more than twice the longest code of an increment.
    const EncoderSettings wide = {.width = 68 * 16, .height = 16, .quantiser = 6, .keyInterval = 12, .bPictures = 2};
    const Encoded still = encodeMpeg2(wide, Content::still, 7);
    for (std::size_t i = 4; i < 7; ++i)
        EXPECT_LT(still.bits[i], 300) << i;
}

TEST(Mpeg2Encoder, HoldsTheBuffer) {
    constexpr int count = 100;
    for (const auto& [rate, content] : {std::pair{40000L, Content::moving},
                                        {300000L, Content::moving},
                                        {1500000L, Content::moving},
                                        {300000L, Content::bursting}}) {
        const EncoderSettings settings = {
            .width = 176, .height = 144, .bitRate = rate, .keyInterval = 12, .bPictures = 2};
        const Encoded encoded = encodeMpeg2(settings, content, count);
        const double share = static_cast<double>(encoded.stream.size()) * 8 * 25 / count / static_cast<double>(rate);
        EXPECT_NEAR(share, 1, content == Content::bursting ? 0.4 : 0.1);

        // In coding order, B pictures come after the picture that they precede in order of display.
        std::vector<std::int64_t> order;
        std::ptrdiff_t waiting = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const bool isB = encoded.types[i] == 'B';
            order.insert(order.end() - (isB ? 0 : waiting), encoded.bits[i]);
            waiting = isB ? waiting + 1 : 0;
        }
        const std::int64_t buffer = (rate + 16383) / 16384 * 16384;
        std::int64_t fullness = buffer;
        for (const std::int64_t bits : order) {
            ASSERT_LE(bits, fullness);
            fullness = std::min(buffer, fullness - bits + rate / 25);
        }
    }
}

// Packets cost bits, the more the shorter they are; four vectors make a difference.
TEST(Mpeg4Encoder, PacketsAndVectors) {
    const auto size = [](int packetBits, bool fourVectors) {
        const EncoderSettings settings = {
            .width = 160, .height = 112, .quantiser = 6, .packetBits = packetBits, .fourVectors = fourVectors};
        return encode(codecs::makeMpeg4Encoder, settings, Content::moving, 5).stream.size();
    };
    EXPECT_LT(size(0, true), size(700, true));
    EXPECT_LT(size(700, true), size(1, true));
    EXPECT_NE(size(0, true), size(0, false));
}

// The loss of a packet does not reach others of the picture.
TEST(Mpeg4Encoder, PacketsDecodeOnTheirOwn) {
    Encoded encoded = encode(codecs::makeMpeg4Encoder,
                             {.width = 160, .height = 112, .quantiser = 5, .packetBits = 1000}, Content::moving, 1);
    // The second marker: 16 zeros and a 1 from the beginning of a byte.
    std::vector<std::size_t> markers;
    for (std::size_t i = 0; i + 2 < encoded.stream.size(); ++i)
        if (encoded.stream[i] == 0 && encoded.stream[i + 1] == 0 && (encoded.stream[i + 2] & 0x80) != 0)
            markers.push_back(i);
    ASSERT_GT(markers.size(), 4U);
    encoded.stream.erase(encoded.stream.begin() + static_cast<std::ptrdiff_t>(markers[1]),
                         encoded.stream.begin() + static_cast<std::ptrdiff_t>(markers[2]));
    const Decoded decoded = decodeWith(codecs::makeMpeg4Decoder(), encoded.stream);
    const Samples &shown = decoded.frames.at(0), &whole = encoded.pictures[0];
    constexpr std::size_t luma = 160 * 112, row = 16 * 160;
    EXPECT_TRUE(std::equal(shown.begin(), shown.begin() + 32, whole.begin()));
    EXPECT_TRUE(std::equal(shown.begin() + luma - row, shown.begin() + luma, whole.begin() + luma - row));
    EXPECT_TRUE(shown != whole);
    EXPECT_EQ(decoded.damage.damagedPictures, 1);
}

}  // namespace
