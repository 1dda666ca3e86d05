// The MPEG-4 encoder: what our decoder makes of its streams is the reconstruction, whatever is encoded.
#include "mpeg4/encoder.h"

#include "codecs/encoding.h"
#include "mpeg4/decoder.h"
#include "mpeg4/header_writer.h"
#include "mpeg4/macroblock_codes.h"

namespace {

using namespace encoding;

Encoded encodeMpeg4(const EncoderSettings& settings, Content content, int count) {
    return encode(codecs::makeMpeg4Encoder, settings, content, count);
}

TEST(Mpeg4Encoder, DecoderShowsTheReconstruction) {
    struct Case {
        int width, height;
        Content content;
    };
    for (const auto& [width, height, content] :
         {Case{96, 80, Content::moving}, Case{99, 45, Content::moving}, Case{1, 1, Content::moving},
          Case{128, 96, Content::rushing}, Case{48, 32, Content::noise}, Case{64, 48, Content::blinking}}) {
        for (const int quantiser : {1, 2, 7, 8, 13, 31})
            for (const bool matrix : {false, true}) {
                SCOPED_TRACE(testing::Message() << width << 'x' << height << " q " << quantiser << ' ' << matrix);
                EncoderSettings settings = sized(width, height);
                settings.quantiser = quantiser;
                settings.matrixQuantiser = matrix;
                settings.keyInterval = 5;
                const Encoded encoded = encodeMpeg4(settings, content, 7);
                EXPECT_EQ(encoded.types, "IPPPPIP");
                expectDecodes(codecs::makeMpeg4Decoder, encoded);
                // An error spread evenly over a step has a twelfth of its square; dead zones and weights make more of
                // it.
                const double step = 2.0 * quantiser * (matrix ? 1.5 : 1);
                for (int i = 0; i < 7; ++i)
                    EXPECT_LT(
                        meanError(encoded.pictures[static_cast<std::size_t>(i)], picture(content, width, height, i)),
                        0.5 + step * step / 3);
            }
    }
}

TEST(Mpeg4Encoder, PacketsAndVectors) {
    for (const Content content : {Content::moving, Content::rushing, Content::noise}) {
        std::vector<std::size_t> sizes;
        for (const int packetBits : {0, 1, 700})
            for (const bool fourVectors : {false, true}) {
                EncoderSettings settings = sized(160, 112);
                settings.quantiser = 6;
                settings.packetBits = packetBits;
                settings.fourVectors = fourVectors;
                const Encoded encoded = encodeMpeg4(settings, content, 5);
                expectDecodes(codecs::makeMpeg4Decoder, encoded);
                sizes.push_back(encoded.stream.size());
            }
        EXPECT_GT(sizes[4], sizes[0]);
        if (content == Content::moving) {
            EXPECT_GT(sizes[2], sizes[4]);
            EXPECT_NE(sizes[0], sizes[1]);
        }
    }
}

TEST(Mpeg4Encoder, Bidirectional) {
    for (const Content content : {Content::moving, Content::rushing, Content::noise, Content::blinking}) {
        for (const int packetBits : {0, 400})
            for (const int quantiser : {2, 9, 25}) {
                EncoderSettings settings = sized(131, 98);
                settings.quantiser = quantiser;
                settings.packetBits = packetBits;
                settings.matrixQuantiser = quantiser == 9;
                settings.keyInterval = 9;
                settings.bPictures = 2;
                settings.rateNumerator = 4;  // seconds pass between pictures that depend on each other
                const Encoded encoded = encodeMpeg4(settings, content, 12);
                // The picture before a key picture is a reference, and so is the last one.
                EXPECT_EQ(encoded.types, "IBBPBBPBPIBP");
                expectDecodes(codecs::makeMpeg4Decoder, encoded);
            }
    }
}

// The loss of a packet does not reach others of the picture.
TEST(Mpeg4Encoder, PacketsDecodeOnTheirOwn) {
    EncoderSettings settings = sized(160, 112);
    settings.quantiser = 5;
    settings.packetBits = 1000;
    Encoded encoded = encodeMpeg4(settings, Content::moving, 1);
    // The second marker: 16 zeros and a 1 from the beginning of a byte.
    std::vector<std::size_t> markers;
    for (std::size_t i = 0; i + 2 < encoded.stream.size(); ++i)
        if (encoded.stream[i] == 0 && encoded.stream[i + 1] == 0 && (encoded.stream[i + 2] & 0x80) != 0)
            markers.push_back(i);
    ASSERT_GT(markers.size(), 4U);
    encoded.stream.erase(encoded.stream.begin() + static_cast<std::ptrdiff_t>(markers[1]),
                         encoded.stream.begin() + static_cast<std::ptrdiff_t>(markers[2]));
    const auto decoder = codecs::makeMpeg4Decoder();
    const codecs::Decoder::Sink sink = [&](const FrameView& frame) {
        const Samples shown = samplesOf(frame);
        const std::size_t lastRows = 16 * 160;
        EXPECT_TRUE(std::equal(shown.begin() + 160 * 112 - lastRows, shown.begin() + 160 * 112,
                               encoded.pictures[0].begin() + 160 * 112 - lastRows));
        EXPECT_TRUE(std::equal(shown.begin(), shown.begin() + 32, encoded.pictures[0].begin()));
        EXPECT_TRUE(shown != encoded.pictures[0]);
    };
    decoder->decode(encoded.stream.data(), encoded.stream.size(), sink);
    decoder->finish(sink);
    EXPECT_EQ(decoder->damage().damagedPictures, 1);
}

TEST(Mpeg4Encoder, KeepsTheBitRate) {
    for (const long rate : {60'000L, 400'000L}) {
        EncoderSettings settings = sized(176, 144);
        settings.bitRate = rate;
        settings.bPictures = rate > 100'000;
        constexpr int count = 75;
        const Encoded encoded = encodeMpeg4(settings, Content::moving, count);
        const double bits = 8.0 * static_cast<double>(encoded.stream.size()) * 25 / count;
        EXPECT_NEAR(bits, static_cast<double>(rate), 0.1 * static_cast<double>(rate));
        expectDecodes(codecs::makeMpeg4Decoder, encoded);
    }
}

TEST(Mpeg4Encoder, TellsTimeAndShape) {
    EncoderSettings settings = sized(48, 32);
    settings.quantiser = 8;
    settings.rateNumerator = 30000;
    settings.rateDenominator = 1001;
    settings.aspectNumerator = 12;
    settings.aspectDenominator = 11;
    Encoded encoded = encodeMpeg4(settings, Content::moving, 40);
    expectDecodes(codecs::makeMpeg4Decoder, encoded);
    const auto decoder = codecs::makeMpeg4Decoder();
    decoder->decode(encoded.stream.data(), encoded.stream.size(), [](const FrameView&) {});
    const codecs::StreamInfo& info = decoder->info();
    EXPECT_EQ(info.width, 48);
    EXPECT_EQ(info.height, 32);
    EXPECT_EQ(info.rateNumerator, 30000);
    EXPECT_EQ(info.rateDenominator, 1001);
    EXPECT_EQ(info.aspectNumerator, 12);
    EXPECT_EQ(info.aspectDenominator, 11);
    EXPECT_EQ(info.profile, "Simple, level 1");
}

TEST(Mpeg4Encoder, RefusesWhatItCannotDo) {
    const auto refuses = [](const EncoderSettings& settings) {
        EXPECT_THROW(codecs::makeMpeg4Encoder(settings, {}, {}), codecs::UnsupportedSettings);
    };
    EncoderSettings settings = sized(64, 64);
    settings.quantiser = 32;
    refuses(settings);
    settings.quantiser = 20;
    settings.width = 8192;
    refuses(settings);
}

TEST(Mpeg4Encoder, SlowPictures) {
    for (const int bPictures : {0, 2}) {
        EncoderSettings settings = sized(32, 32);
        settings.quantiser = 8;
        settings.rateNumerator = 1;
        settings.rateDenominator = 3000;
        settings.bPictures = bPictures;
        expectDecodes(codecs::makeMpeg4Decoder, encodeMpeg4(settings, Content::moving, 7));
    }
}

// The library's decoders read the codes of macroblock headers back.
TEST(Mpeg4MacroblockCodes, ReadBack) {
    const auto expectCode = [](codecs::mpeg4::HeaderCode code, auto read, int expected) {
        codecs::BitWriter writer;
        writer.reserve(8);
        writer.put(code.value, code.length);
        Qvo8u* byte = const_cast<Qvo8u*>(writer.data());
        Qvo32s offset = 0;
        Qvo8u value;
        EXPECT_EQ(qvoStatusOk, read(&byte, &offset, &value));
        EXPECT_EQ(expected, value);
        EXPECT_EQ(code.length, 8 * (byte - writer.data()) + offset);
    };
    for (int i = 0; i < 4; ++i) {
        const auto at = static_cast<std::size_t>(i);
        expectCode(codecs::mpeg4::mcbpcIntraVop[at], qvoiDecodeMCBPCIntra_H263, i << 4 | 3);
        expectCode(codecs::mpeg4::mcbpcInter[at], qvoiDecodeMCBPCInter_H263, i << 4);
        expectCode(codecs::mpeg4::mcbpcInter4V[at], qvoiDecodeMCBPCInter_H263, i << 4 | 2);
        expectCode(codecs::mpeg4::mcbpcIntra[at], qvoiDecodeMCBPCInter_H263, i << 4 | 3);
    }
    for (int i = 0; i < 16; ++i)
        expectCode(codecs::mpeg4::cbpy[static_cast<std::size_t>(i)], qvoiDecodeCBPY_H263, i ^ 15);
}

}  // namespace
