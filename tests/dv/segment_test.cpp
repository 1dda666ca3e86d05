#include <gtest/gtest.h>

#include "dv/encoder.h"
#include "support/guarded.h"
#include "support/statuses.h"

namespace {

using namespace dv;

using Decode = decltype(&qvoiDecodeSegment_DV_8u16s);

// What a decoder makes of 400 bytes; they and the outputs end, or begin, at unreadable pages.
class Decoded {
  public:
    Decoded(const std::vector<std::uint8_t>& bytes, Decode decode = qvoiDecodeSegment_DV_8u16s,
            Guard guard = Guard::after)
        : coefficients_(30 * 64, guard), reports_(30, guard) {
        Guarded<Qvo8u> source(400, guard);
        std::copy(bytes.begin(), bytes.end(), source.begin());
        for (Qvo16s& c : coefficients_)
            c = 12345;
        const Table table;
        EXPECT_EQ(qvoStatusOk, decode(source.data(), coefficients_.data(), reports_.data(), table));
    }

    Qvo16s* block(std::size_t i) { return coefficients_.data() + 64 * i; }
    const QvoDVBlock& report(std::size_t i) { return reports_[i]; }
    bool sameBlock(Decoded& other, std::size_t i) {
        const QvoDVBlock &a = report(i), &b = other.report(i);
        return a.dctMode == b.dctMode && a.classNumber == b.classNumber && a.quantiser == b.quantiser &&
               a.errorStatus == b.errorStatus && a.state == b.state && a.count == b.count &&
               std::equal(block(i), block(i) + 64, other.block(i));
    }

  private:
    Guarded<Qvo16s> coefficients_;
    Guarded<QvoDVBlock> reports_;
};

// The levels of a block as far as its codes lie within so many bits, in raster order.
std::array<Qvo16s, 64> expectedLevels(const Block& block, int bits) {
    const auto scan = scanOf(block.dctMode);
    std::array<Qvo16s, 64> expected{};
    expected[0] = static_cast<Qvo16s>(block.dc);
    const auto codesOfBlock = block.acCodes();
    std::size_t code = 0;
    for (std::size_t i = 1; i < 64; ++i) {
        if (block.levels[i] == 0) continue;
        bits -= static_cast<int>(codesOfBlock[code++].size());
        if (bits < 0) break;
        expected[scan[i]] = static_cast<Qvo16s>(block.levels[i]);
    }
    return expected;
}

TEST(DvSegment, TheTypedCodesAreCompleteAndPrefixFree) {
    std::vector<std::string> all = {endOfBlock, "1111110", "1111111"};
    for (const Code& code : codes)
        all.push_back(code.bits);
    EXPECT_EQ(1, codeSpace(all));
}

// Blocks of a single code, of all codes and many escapes.
std::vector<Segment> segmentsOfEveryCode(Random& random) {
    std::vector<Segment> segments;
    std::size_t count = 0;
    for (int run = 0; run < 63; ++run) {
        for (int amplitude = 1; amplitude < 256; ++amplitude) {
            if (amplitude > 23 && (amplitude + run) % 29 != 0) continue;
            if (count % 30 == 0) segments.emplace_back();
            segments.back().blocks[count++ % 30].levels[static_cast<std::size_t>(run + 1)] =
                random.chance(50) ? amplitude : -amplitude;
        }
    }
    return segments;
}

TEST(DvSegment, WhatWasEncodedComesBackFromAllThreePasses) {
    Random random(1);
    std::array<int, 4> ended{};
    std::vector<Segment> segments = segmentsOfEveryCode(random);
    for (int i = 0; i < 400; ++i)
        segments.push_back(randomSegment(random, random.range(600, 4000)));
    for (const Segment& segment : segments) {
        const Layout layout = encode(segment, random);
        Decoded decoded(layout.bytes);
        for (std::size_t b = 0; b < 30; ++b) {
            SCOPED_TRACE(testing::Message() << "segment " << &segment - segments.data() << " block " << b);
            const Block& block = segment.blocks[b];
            const auto expected = expectedLevels(block, layout.bitsPlaced[b]);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), decoded.block(b)));
            const QvoDVBlock& report = decoded.report(b);
            EXPECT_EQ(block.dctMode, report.dctMode);
            EXPECT_EQ(block.classNumber, report.classNumber);
            EXPECT_EQ(segment.quantisers[b / 6], report.quantiser);
            EXPECT_EQ(segment.errorStatuses[b / 6], report.errorStatus);
            EXPECT_EQ(layout.pass[b] > 0 ? qvoDVBlockWhole : qvoDVBlockCut, report.state);
            int last = 63;
            while (last > 0 && block.levels[static_cast<std::size_t>(last)] == 0)
                --last;
            EXPECT_LE(report.count, last + 1);
            EXPECT_TRUE(report.state == qvoDVBlockCut || report.count == last + 1);
            ++ended[static_cast<std::size_t>(layout.pass[b])];
        }
    }
    for (const int count : ended)
        EXPECT_GT(count, 200);
}

// A block that overruns leaves whole what does not depend on it, and nothing that is wrong is called whole.
TEST(DvSegment, OverrunsHarmOnlyWhatComesBehind) {
    Random random(3);
    int cut = 0;
    for (int i = 0; i < 300; ++i) {
        const Segment segment = randomSegment(random, random.range(1500, 2600));
        const Layout layout = encode(segment, random);
        const auto bad = static_cast<std::size_t>(random.range(0, 29));
        // A run of 63 and 13 bits behind the block's header.
        std::vector<std::uint8_t> bytes = layout.bytes;
        const std::size_t area = bad % 6 < 4 ? bad % 6 * 14 : 56 + (bad % 6 - 4) * 10;
        const std::size_t at = bad / 6 * 80 + 4 + area + 1;
        bytes[at] = static_cast<std::uint8_t>((bytes[at] & 0xF0) | 0x0F);
        bytes[at + 1] = 0xDF;
        bytes[at + 2] = static_cast<std::uint8_t>(bytes[at + 2] | 0x80);

        Decoded clean(layout.bytes), damaged(bytes);
        EXPECT_EQ(qvoDVBlockOverrun, damaged.report(bad).state);
        for (std::size_t b = 0; b < 30; ++b) {
            if (b == bad) continue;
            SCOPED_TRACE(testing::Message() << "segment " << i << " block " << b << " after " << bad);
            const bool same = clean.sameBlock(damaged, b);
            const bool independent = layout.pass[b] == 1 || (layout.pass[b] == 2 && b / 6 != bad / 6);
            ASSERT_TRUE(same || (!independent && damaged.report(b).state != qvoDVBlockWhole));
            cut += !same;
        }
    }
    EXPECT_GT(cut, 100);
}

TEST(DvSegment, AnyBytesDecodeWithinBounds) {
    Random random(4);
    for (int i = 0; i < 3000; ++i) {
        std::vector<std::uint8_t> bytes(400);
        random.fill(bytes, 0, 255);
        // Ones make long codes, zeros many of them.
        if (i % 3 == 1) random.fill(bytes, 0, 3);
        if (i % 3 == 2) random.fill(bytes, 250, 255);
        const Guard guard = i % 2 ? Guard::after : Guard::before;
        Decoded levels(bytes, qvoiDecodeSegment_DV_8u16s, guard);
        Decoded scaled(bytes, qvoiDecodeSegmentQuantInv_DV_8u16s, guard);
        for (std::size_t b = 0; b < 30; ++b) {
            const QvoDVBlock& report = levels.report(b);
            ASSERT_LE(report.state, qvoDVBlockOverrun);
            ASSERT_GE(report.count, 1);
            ASSERT_LE(report.count, 64);
            const auto scan = scanOf(report.dctMode);
            for (std::size_t k = report.count; k < 64; ++k)
                ASSERT_EQ(0, levels.block(b)[scan[k]]);
            qvoiQuantInvWeight_DV_16s_C1I(levels.block(b), report.quantiser, report.classNumber, report.dctMode);
            ASSERT_TRUE(levels.sameBlock(scaled, b)) << i;
        }
    }
}

TEST(DvSegment, ChecksItsArguments) {
    const std::vector<Qvo8u> source(400);
    std::vector<Qvo16s> blocks(30 * 64, 7);
    std::vector<QvoDVBlock> reports(30);
    const Table table;
    for (const Decode decode : {qvoiDecodeSegment_DV_8u16s, qvoiDecodeSegmentQuantInv_DV_8u16s}) {
        expectStatuses(blocks, decode, {source.data(), blocks.data(), reports.data(), table},
                       {{qvoStatusNullPtr, {0, 1, 2, 3}}});
    }
    EXPECT_EQ(qvoStatusNullPtr, qvoiHuffmanInitAlloc_DV_32u(nullptr));
    EXPECT_EQ(qvoStatusNullPtr, qvoiHuffmanFree_DV_32u(nullptr));
    QvoDVHuffmanTable* none = nullptr;
    ASSERT_EQ(qvoStatusOk, qvoiHuffmanInitAlloc_DV_32u(&none));
    for (int time = 0; time < 2; ++time) {  // there may be none
        EXPECT_EQ(qvoStatusOk, qvoiHuffmanFree_DV_32u(&none));
        EXPECT_EQ(nullptr, none);
    }
}

}  // namespace
