// The H.264 encoder: what our decoder makes of its streams is the reconstruction, whatever is encoded; and its parts that
// mirror the decoder's.
#include "h264/encoder.h"

#include <cmath>
#include <string>
#include <vector>

#include "codecs/encoding.h"
#include "h264/cavlc.h"
#include "h264/cavlc_writer.h"
#include "h264/decoder.h"
#include "h264/motion_estimator.h"

namespace {

using namespace encoding;

Encoded encodeH264(const EncoderSettings& settings, Content content, int count) {
    return encode(codecs::makeH264Encoder, settings, content, count);
}

TEST(H264Encoder, DecoderShowsTheReconstruction) {
    struct Case {
        int width, height;
        Content content;
    };
    for (const auto& [width, height, content] :
         {Case{96, 80, Content::moving}, Case{98, 46, Content::moving}, Case{2, 2, Content::moving},
          Case{48, 32, Content::noise}, Case{64, 48, Content::blinking}}) {
        for (const int quantiser : {1, 8, 20, 33, 51}) {
            SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) + " q " + std::to_string(quantiser));
            EncoderSettings settings = sized(width, height);
            settings.quantiser = quantiser;
            settings.keyInterval = 5;
            const Encoded encoded = encodeH264(settings, content, 7);
            EXPECT_EQ(encoded.types, "IPPPPIP");
            expectDecodes(codecs::makeH264Decoder, encoded);
            // An error spread evenly over a step has a twelfth of its square; dead zones make more of it.
            const double step = 0.625 * std::exp2(quantiser / 6.0);
            for (int i = 0; i < 7; ++i)
                EXPECT_LT(
                    meanError(encoded.pictures[static_cast<std::size_t>(i)], picture(content, width, height, i)),
                    0.5 + step * step / 3);
        }
    }
}

// Where the decoder's output must be of even size, the source's last column and row are repeated.
TEST(H264Encoder, RoundsOddSizesUp) {
    EncoderSettings settings = sized(33, 19);
    settings.quantiser = 24;
    const Encoded encoded = encodeH264(settings, Content::moving, 3);
    EXPECT_EQ(encoded.pictures[0].size(), 34U * 20 * 3 / 2);
    expectDecodes(codecs::makeH264Decoder, encoded);
}

TEST(H264Encoder, KeepsTheBitRate) {
    for (const long rate : {60'000L, 400'000L}) {
        EncoderSettings settings = sized(176, 144);
        settings.bitRate = rate;
        constexpr int count = 75;
        const Encoded encoded = encodeH264(settings, Content::moving, count);
        const double bits = 8.0 * static_cast<double>(encoded.stream.size()) * 25 / count;
        EXPECT_NEAR(bits, static_cast<double>(rate), 0.1 * static_cast<double>(rate));
        expectDecodes(codecs::makeH264Decoder, encoded);
    }
}

TEST(H264Encoder, RefusesWhatItCannotDo) {
    const auto refuses = [](EncoderSettings settings) {
        EXPECT_THROW(codecs::makeH264Encoder(settings, {}, {}), codecs::UnsupportedSettings);
    };
    EncoderSettings settings = sized(64, 64);
    settings.quantiser = 52;
    refuses(settings);
    settings.quantiser = 20;
    settings.bPictures = 1;
    refuses(settings);
    settings.bPictures = 0;
    settings.matrixQuantiser = true;
    refuses(settings);
    settings.matrixQuantiser = false;
    settings.packetBits = 1000;
    refuses(settings);
    settings.packetBits = 0;
    settings.width = 17000;  // more macroblocks in a row than the highest level has
    refuses(settings);
    settings.width = 64;
    settings.rateNumerator = 10'000'000;
    refuses(settings);
}

// Blocks of every density and size of levels come back from the decoder's reader.
TEST(H264CavlcWriter, ReaderReadsWhatItWrites) {
    constexpr std::size_t slack = 256;
    Random random;
    for (int round = 0; round < 20000; ++round) {
        const int first = random.range(0, 1), nC = random.range(0, 16), density = random.range(0, 100);
        const int largest = random.chance(10) ? 2063 : random.chance(50) ? 1 : 20;
        std::array<Qvo16s, 16> block = {}, read = {};
        std::array<Qvo16s, 4> dc = {}, readDc = {};
        for (std::size_t i = static_cast<std::size_t>(first); i < block.size(); ++i)
            if (random.chance(density)) block[i] = static_cast<Qvo16s>(random.range(-largest, largest));
        for (auto& level : dc)
            if (random.chance(density)) level = static_cast<Qvo16s>(random.range(-largest, largest));

        codecs::BitWriter writer;
        codecs::BitCounter counter;
        writer.reserve(slack);
        const int count = codecs::h264::putBlock(writer, nC, first, block.data());
        codecs::h264::putChromaDc(writer, dc.data());
        codecs::h264::putBlock(counter, nC, first, block.data());
        codecs::h264::putChromaDc(counter, dc.data());
        ASSERT_EQ(static_cast<std::size_t>(counter.bits()), writer.bits());

        std::vector<std::uint8_t> bytes(writer.data(), writer.data() + writer.size());
        bytes.resize(bytes.size() + slack);
        codecs::h264::BitReader reader(bytes.data(), writer.bits());
        ASSERT_EQ(codecs::h264::readBlock(reader, nC, first, read.data()).count, count);
        codecs::h264::readChromaDc(reader, readDc.data());
        ASSERT_EQ(read, block);
        ASSERT_EQ(readDc, dc);
        ASSERT_FALSE(reader.hasMore() || reader.pastEnd());
    }
}

// The planes of half samples give what the library's interpolation gives, far outside the picture too.
TEST(H264HalfSamples, AreTheLibrarysInterpolation) {
    codecs::h264::Frame frame(2, 2);
    Random random;
    const codecs::h264::Plane& plane = frame.plane(0);
    for (int y = 0; y < plane.height; ++y)
        for (int x = 0; x < plane.width; ++x)
            plane.samples[y * plane.step + x] = static_cast<Qvo8u>(random.range(0, 255));
    frame.extendBorders();
    codecs::h264::HalfSamples halves(frame);
    halves.load(frame);
    constexpr int size = 8;
    for (int round = 0; round < 2000; ++round) {
        const codecs::h264::Vector vector = {static_cast<Qvo16s>(random.range(-24 * 4, (32 + 24 - size) * 4)),
                                             static_cast<Qvo16s>(random.range(-24 * 4, (32 + 24 - size) * 4))};
        std::array<Qvo8u, size * size> expected;
        const Qvo8u* const from = plane.samples + (vector.y >> 2) * plane.step + (vector.x >> 2);
        qvoiInterpolateLuma_H264_8u_C1R(from, plane.step, expected.data(), size, vector.x & 3, vector.y & 3, size,
                                        size);
        const auto source = halves.at(0, 0, vector);
        for (int i = 0; i < size * size; ++i) {
            const std::ptrdiff_t at = std::ptrdiff_t{i / size} * halves.step() + i % size;
            const int mean = source.second ? (source.first[at] + source.second[at] + 1) >> 1 : source.first[at];
            ASSERT_EQ(mean, expected[static_cast<std::size_t>(i)]) << vector.x << " " << vector.y;
        }
    }
}

}  // namespace
