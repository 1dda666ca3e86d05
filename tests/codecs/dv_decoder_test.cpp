#include "dv/decoder.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "dv/dif.h"
#include "dv/encoder.h"
#include "dv/frame.h"
#include "support/decoded.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t sequenceBytes = 12000;
constexpr std::size_t blockBytes = 80;

// Identifications of a sequence's 150 blocks.
void writeIds(std::uint8_t* sequence, int number) {
    const auto id = [&](int block, int section, int count) {
        std::uint8_t* const at = sequence + static_cast<std::size_t>(block) * blockBytes;
        at[0] = static_cast<std::uint8_t>(section << 5 | 0x1F);
        at[1] = static_cast<std::uint8_t>(number << 4 | 7);
        at[2] = static_cast<std::uint8_t>(count);
    };
    id(0, 0, 0);
    for (int i = 0; i < 5; ++i)
        id(1 + i, i < 2 ? 1 : 2, i < 2 ? i : i - 2);
    for (int i = 0; i < 144; ++i)
        id(6 + i, i % 16 == 0 ? 3 : 4, i % 16 == 0 ? i / 16 : i - i / 16 - 1);
}

struct Kind {
    bool lines625 = true;
    int applicationId = 0;
    int signalType = 0;
    int sequences() const { return lines625 ? 12 : 10; }
};

// A frame of segments of 400 bytes each.
template <class Make>
Bytes makeFrame(const Kind& kind, Make segment) {
    Bytes frame(sequenceBytes * static_cast<std::size_t>(kind.sequences()), 0xFF);
    for (int s = 0; s < kind.sequences(); ++s) {
        std::uint8_t* const at = frame.data() + static_cast<std::size_t>(s) * sequenceBytes;
        for (int i = 0; i < 27; ++i) {
            const Bytes bytes = segment();
            std::copy(bytes.begin(), bytes.end(), at + codecs::dv::segmentOffset(i));
        }
        writeIds(at, s);
        at[3] = kind.lines625 ? 0xBF : 0x3F;
        at[4] = static_cast<std::uint8_t>(0xF8 | kind.applicationId);
        std::uint8_t* const pack = at + 5 * blockBytes + 48;
        const Bytes packs = {0x60, 0xFF, 0xFF, static_cast<std::uint8_t>(0xC0 | kind.signalType), 0xFF, 0x61, 0x3F,
                             0xC8, 0xFC, 0xFF};
        std::copy(packs.begin(), packs.end(), pack);
    }
    return frame;
}

// Every block flat at this DC value.
Bytes flatFrame(const Kind& kind, int dc) {
    dv::Segment segment;
    for (dv::Block& block : segment.blocks)
        block.dc = dc;
    Random random(1);
    const Bytes bytes = dv::encode(segment, random).bytes;
    return makeFrame(kind, [&] { return bytes; });
}

Decoded decode(const Bytes& stream, std::size_t piece = 100000) {
    return decodeWith(codecs::makeDvDecoder(), stream, piece);
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::ptrdiff_t count(const Bytes& samples, int value) {
    return std::count(samples.begin(), samples.end(), value);
}

bool allAre(const Bytes& samples, int value) {
    return count(samples, value) == std::ssize(samples);
}

// DC value of flat blocks and the sample it stands for.
constexpr int dark = -100, darkSample = 78;
constexpr int light = 60, lightSample = 158;

const Kind kinds[] = {{false, 0, 0}, {false, 1, 0}, {true, 0, 0}, {true, 1, 0}};

TEST(DvDecoder, MacroblocksFillThePictureOnce) {
    using namespace codecs::dv;
    for (const System& system : {system525, system625, system625Quarter}) {
        std::vector<Bytes> hits;
        Frame frame(system);
        for (std::size_t plane = 0; plane < 3; ++plane) {
            const auto view = frame.view(plane);
            hits.emplace_back(static_cast<std::size_t>(view.width * view.height));
        }
        for (int i = 0; i < system.sequences * 27 * 5; ++i) {
            const auto place = placeOf(system, i / 135, i / 5 % 27, i % 5);
            for (int block = 0; block < 6; ++block) {
                for (const auto& area : areasOf(system, place, block)) {
                    for (int k = 0; k < 8 * area.width; ++k) {
                        const int x = area.x + k % area.width, y = area.y + k / area.width;
                        ++hits[area.plane].at(static_cast<std::size_t>(y * frame.step(area.plane) + x));
                    }
                }
            }
        }
        for (const Bytes& plane : hits)
            EXPECT_TRUE(allAre(plane, 1));
    }
}

TEST(DvDecoder, FramesComeWholeHoweverTheyAreCutIntoPieces) {
    for (const Kind& kind : kinds) {
        Random random(2);
        Bytes stream;
        for (int i = 0; i < 2; ++i)
            stream = stream + makeFrame(kind, [&] {
                         dv::Segment segment = dv::randomSegment(random, 1500);
                         segment.errorStatuses = {};
                         return dv::encode(segment, random).bytes;
                     });
        const Decoded whole = decode(stream);
        ASSERT_EQ(2U, whole.frames.size());
        EXPECT_EQ(0, whole.damage.damagedPictures);
        EXPECT_EQ(720U * (kind.lines625 ? 576 : 480) * 3 / 2, whole.frames[0].size());
        for (const std::size_t piece : {std::size_t{7}, std::size_t{512}, std::size_t{12000}})
            EXPECT_EQ(whole.frames, decode(stream, piece).frames) << piece;
    }
}

// The frame before shows through where macroblocks say that they are in error or are not what stands there.
TEST(DvDecoder, LostMacroblocksAreThoseOfTheFrameBefore) {
    const Kind kind;
    const Bytes before = flatFrame(kind, dark);
    Bytes after = flatFrame(kind, light);
    const auto macroblock = [&](std::size_t sequence, int segment, std::size_t index) {
        return after.data() + sequence * sequenceBytes + codecs::dv::segmentOffset(segment) + index * blockBytes;
    };
    macroblock(3, 5, 2)[3] |= 0xF0;
    macroblock(3, 5, 3)[3] |= 0x70;
    macroblock(11, 26, 4)[2] ^= 1;
    const Decoded run = decode(before + after);
    ASSERT_EQ(2U, run.frames.size());
    EXPECT_EQ(3, run.damage.concealedMacroblocks);
    EXPECT_EQ(1, run.damage.damagedPictures);
    EXPECT_EQ(3 * 384, count(run.frames[1], darkSample));
    EXPECT_EQ(720 * 576 * 3 / 2 - 3 * 384, count(run.frames[1], lightSample));
    // With nothing before there is grey.
    EXPECT_EQ(3 * 384, count(decode(after).frames.at(0), 128));
}

TEST(DvDecoder, BlocksThatOverrunAreConcealedAlone) {
    const Kind kind;
    Bytes damaged = flatFrame(kind, light);
    std::uint8_t* const at = damaged.data() + 5 * sequenceBytes + codecs::dv::segmentOffset(5);
    at[5] |= 0x0F;  // a run of 63 as the first code of Y0
    at[6] = 0xDF;
    at[7] |= 0x80;
    const Decoded run = decode(flatFrame(kind, dark) + damaged);
    EXPECT_EQ(1, run.damage.concealedMacroblocks);
    EXPECT_EQ(64, count(run.frames.at(1), darkSample));
    EXPECT_EQ(64, count(decode(damaged).frames.at(0), 128));
}

TEST(DvDecoder, MissingAndAddedBytesHarmTheirSequenceOnly) {
    const Kind kind{false, 0, 0};
    const Bytes before = flatFrame(kind, dark), after = flatFrame(kind, light);
    constexpr std::ptrdiff_t sequence = sequenceBytes, fourth = 4 * sequence, within = fourth + 6960;
    Bytes shorter = after, longer = after, without = after;
    shorter.erase(shorter.begin() + within);
    longer.insert(longer.begin() + within, 100, 0);
    without.erase(without.begin() + fourth, without.begin() + fourth + sequence);
    for (const Bytes& damaged : {shorter, longer, without}) {
        const Decoded run = decode(before + damaged + after);
        ASSERT_EQ(3U, run.frames.size());
        EXPECT_GT(run.damage.concealedMacroblocks, 20);
        EXPECT_LE(run.damage.concealedMacroblocks, 135);
        EXPECT_EQ(run.damage.concealedMacroblocks * 384, count(run.frames[1], darkSample));
        EXPECT_TRUE(allAre(run.frames[2], lightSample));
    }
}

TEST(DvDecoder, AStreamBeginsWithItsFirstWholeFrame) {
    const Kind kind;
    Bytes first = flatFrame(kind, dark);
    first.erase(first.begin(), first.begin() + 30000);
    const Decoded run = decode(first + flatFrame(kind, light));
    ASSERT_EQ(1U, run.frames.size());
    EXPECT_EQ(0, run.damage.damagedPictures);
    EXPECT_TRUE(allAre(run.frames[0], lightSample));
}

TEST(DvDecoder, OtherKindsAreRefused) {
    for (const int signalType : {4, 0x14, 0x18}) {
        const Decoded run = decode(flatFrame({true, 1, signalType}, dark));
        EXPECT_TRUE(run.frames.empty());
        EXPECT_TRUE(run.refused.ends_with(" is not supported")) << run.refused;
    }
}

TEST(DvDecoder, FollowsAStreamThatChanges) {
    const Kind kind525 = kinds[0], kind625 = kinds[2];
    const Bytes first = flatFrame(kind525, dark);
    const Decoded change = decode(first + flatFrame(kind625, light) + first);
    ASSERT_EQ(3U, change.frames.size());
    EXPECT_TRUE(allAre(change.frames[0], darkSample));
    EXPECT_EQ(720U * 576 * 3 / 2, change.frames[1].size());
    EXPECT_TRUE(allAre(change.frames[1], lightSample));
    EXPECT_EQ(change.frames[0], change.frames[2]);
    EXPECT_EQ(0, change.damage.damagedPictures);

    const Decoded refused = decode(first + flatFrame({false, 1, 4}, light));
    EXPECT_EQ("DV at 50 Mbit/s is not supported", refused.refused);
    EXPECT_EQ(1U, refused.frames.size());

    // What one sequence says alone is damage, be it the first.
    Bytes damaged = flatFrame(kind525, light);
    damaged[3] |= 0x80;
    damaged[5 * blockBytes + 51] |= 4;
    for (const Bytes& stream : {first + damaged, damaged}) {
        const Decoded run = decode(stream);
        EXPECT_EQ("", run.refused);
        ASSERT_FALSE(run.frames.empty());
        EXPECT_EQ(720U * 480 * 3 / 2, run.frames.back().size());
        EXPECT_TRUE(allAre(run.frames.back(), lightSample));
    }
}

}  // namespace
