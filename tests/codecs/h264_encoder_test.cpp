// The H.264 encoder: its parts that mirror the decoder's.
#include "h264/encoder.h"

#include <vector>

#include "codecs/encoding.h"
#include "h264/cavlc.h"
#include "h264/cavlc_writer.h"
#include "h264/decoder.h"
#include "h264/motion_estimator.h"

namespace {

using namespace encoding;

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
