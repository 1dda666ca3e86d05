// The texture codes and the decoders that give levels.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "mpeg4/texture_codes.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using namespace texture;

enum Form { intraDC, intraAC, inter };

const Codes& codesOf(Form form) {
    return form == inter ? interCodes() : intraCodes();
}

QvoStatus decode(Form form, Stream& stream, Qvo16s* pDst, int scan, int component = 0) {
    Qvo8u** const pp = &stream.position;
    Qvo32s* const offset = &stream.bitOffset;
    switch (form) {
        case intraDC:
            return qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s(pp, offset, pDst, scan, component);
        case intraAC:
            return qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s(pp, offset, pDst, scan);
        default:
            return qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s(pp, offset, pDst, scan);
    }
}

// The scans, made from their rules: the zigzag walks the anti-diagonals.
TEST(Scans, ContentsAndCrossedNames) {
    std::vector<Qvo8u> zigzag;
    for (int sum = 0; sum < 15; ++sum)
        for (int i = 0; i <= sum; ++i) {
            const int row = sum % 2 == 0 ? sum - i : i;
            if (row < 8 && sum - row < 8) zigzag.push_back(static_cast<Qvo8u>(8 * row + sum - row));
        }
    EXPECT_TRUE(std::equal(zigzag.begin(), zigzag.end(), ZigzagC));
    EXPECT_TRUE(std::equal(ZigzagC, ZigzagC + 64, _qvoClassicalZigzag));
    EXPECT_TRUE(std::equal(ZigzagV, ZigzagV + 64, _qvoHorizontalZigzag));
    EXPECT_TRUE(std::equal(ZigzagH, ZigzagH + 64, _qvoVerticalZigzag));

    // Figure 7-3 prints the others as maps of positions.
    const int horizontal[64] = {0,  1,  2,  3,  10, 11, 12, 13, 4,  5,  8,  9,  17, 16, 15, 14,
                                6,  7,  19, 18, 26, 27, 28, 29, 20, 21, 24, 25, 30, 31, 32, 33,
                                22, 23, 34, 35, 42, 43, 44, 45, 36, 37, 40, 41, 46, 47, 48, 49,
                                38, 39, 50, 51, 56, 57, 58, 59, 52, 53, 54, 55, 60, 61, 62, 63};
    const int vertical[64] = {0,  4,  6,  20, 22, 36, 38, 52, 1,  5,  7,  21, 23, 37, 39, 53, 2,  8,  19, 24, 34, 40,
                              50, 54, 3,  9,  18, 25, 35, 41, 51, 55, 10, 17, 26, 30, 42, 46, 56, 60, 11, 16, 27, 31,
                              43, 47, 57, 61, 12, 15, 28, 32, 44, 48, 58, 62, 13, 14, 29, 33, 45, 49, 59, 63};
    for (int i = 0; i < 64; ++i) {
        EXPECT_EQ(i, ZigzagH[horizontal[i]]);
        EXPECT_EQ(i, ZigzagV[vertical[i]]);
    }
}

// What the printed codes must be if they were copied rightly.
TEST(TextureCodes, AreComplete) {
    std::set<std::string> words[2];
    for (const Codes* codes : {&intraCodes(), &interCodes()}) {
        std::set<std::string>& all = words[codes == &interCodes()];
        all = {escapeCode};
        for (const auto& [code, event] : codes->eventOf)
            all.insert(code);
        double kraft = 0;
        for (auto word = all.begin(), previous = all.end(); word != all.end(); previous = word++) {
            kraft += std::ldexp(1, -static_cast<int>(word->size()));
            // In sorted order a prefix stands right before a word that it begins.
            EXPECT_TRUE(previous == all.end() || !word->starts_with(*previous)) << *previous;
        }
        EXPECT_EQ(1 - 8 / 4096.0, kraft);  // all but 0000 0000 0xxx
    }
    EXPECT_EQ(words[0], words[1]);
}

class TextureDecoding : public testing::TestWithParam<Form> {};

// Every (last, run, level) in every form that the syntax has for it, at all bit offsets. Events that are not the last
// are followed by one that is. Not a byte beyond the four behind the block's last bit may be read.
TEST_P(TextureDecoding, ReadsEveryEventInEveryForm) {
    const Codes& codes = codesOf(GetParam());
    const int start = GetParam() == intraDC ? 1 : 0;
    const std::string dc = GetParam() == intraDC ? dcDifference(-5, false) : "";
    int offset = 0, formsSeen[4] = {};
    for (int last = 0; last < 2; ++last)
        for (int run = 0; run < 63 + last - start; ++run)
            for (int level = -2047; level <= 2047;
                 level += std::abs(level) > 60 && std::abs(level + 37) > 60 ? 37 : 1) {
                if (level == 0) continue;
                const auto forms = codes.allForms({last, run, level});
                for (std::size_t form = 0; form < 4; ++form) {
                    if (forms[form].empty()) continue;
                    ++formsSeen[form];
                    const std::string end = last == 0 ? codes.codeOf.at({1, 0, 1}) + "1" : "";
                    offset = (offset + 1) % 8;
                    Stream stream(dc + forms[form] + end, offset);
                    Levels levels, expected = {};
                    if (start == 1) expected[0] = -5;
                    expected[ZigzagC[run + start]] = static_cast<Qvo16s>(level);
                    if (last == 0) expected[ZigzagC[run + start + 1]] = -1;
                    ASSERT_EQ(qvoStatusOk, decode(GetParam(), stream, levels.data(), qvoScanZigzag))
                        << last << ' ' << run << ' ' << level << " form " << form;
                    ASSERT_EQ(expected, levels) << last << ' ' << run << ' ' << level << " form " << form;
                    ASSERT_EQ(std::ssize(dc + forms[form] + end), stream.bitsUsed());
                }
            }
    EXPECT_EQ(2 * 102, formsSeen[0]);
    EXPECT_EQ(2 * 102, formsSeen[1]);
    EXPECT_GE(formsSeen[2], 160);  // some would end behind the block
}

// An escape of type 3, often with a level or a marker that is not allowed.
std::string randomFixedEscape(Random& random) {
    const int levels[] = {0, -2048, -2047, 2047, 1};
    std::string text = escapeCode + "11" + Codes::binary(random.range(0, 127), 7) + (random.chance(80) ? '1' : '0');
    text += Codes::binary(levels[random.range(0, 4)], 12);
    return text + (random.chance(80) ? '1' : '0');
}

// All that twelve bits can begin with, and random bits with plenty of escapes, against the reader that goes bit by bit.
TEST_P(TextureDecoding, MatchesTheBitByBitReader) {
    const Form form = GetParam();
    Random random(static_cast<std::uint64_t>(form) + 1);
    int decoded = 0, refused = 0;
    for (int round = 0; round < 40000; ++round) {
        std::string text;
        if (round < 4096) text = Codes::binary(round, 12);
        while (text.size() < 200) {
            if (random.chance(10)) text += escapeCode + Codes::binary(random.range(0, 3), 2);
            if (random.chance(5)) text += "00000";
            if (random.chance(5)) text += randomFixedEscape(random);
            text += Codes::binary(random.range(0, 255), 8);
        }
        const int scan = random.range(0, 2), component = random.range(0, 2), offset = random.range(0, 7);

        BitReader reader(text + std::string(2000, '0'));
        Levels byPosition = {}, expected = {};
        QvoStatus status = qvoStatusOk;
        std::size_t behindDC = 0;
        if (form == intraDC) {
            int difference = 0;
            status = reader.readDC(component == qvoVideoChrominance, difference);
            byPosition[0] = static_cast<Qvo16s>(difference);
            if (status == qvoStatusOk) behindDC = reader.at;
        }
        if (status == qvoStatusOk && !reader.readEvents(codesOf(form), form == intraDC, byPosition))
            status = qvoStatusTextureVlc;
        for (std::size_t i = 0; i < 64 && status == qvoStatusOk; ++i)
            expected[scans[scan][i]] = byPosition[i];

        Stream stream(text.substr(0, status == qvoStatusOk ? reader.at : text.size()), offset);
        Levels levels;
        levels.fill(77);
        ASSERT_EQ(status, decode(form, stream, levels.data(), scan, component)) << text;
        ASSERT_EQ(expected, levels) << text;
        ASSERT_EQ(static_cast<int>(status == qvoStatusOk ? reader.at : behindDC), stream.bitsUsed()) << text;
        ++(status == qvoStatusOk ? decoded : refused);
    }
    EXPECT_GT(decoded, 2000);
    EXPECT_GT(refused, 2000);
}

INSTANTIATE_TEST_SUITE_P(Mpeg4, TextureDecoding, testing::Values(intraDC, intraAC, inter), [](const auto& p) {
    return p.param == intraDC ? "IntraDC" : p.param == intraAC ? "IntraAC" : "Inter";
});

// Every difference with its marker, and without it where there has to be one; sizes without an end.
TEST(IntraDC, ReadsEveryDifferenceAndRefusesMissingMarkers) {
    const auto expect = [](QvoStatus status, const std::string& bits, int component, int difference) {
        Stream stream(bits, difference & 7);
        Qvo16s dc = 7777;
        ASSERT_EQ(status, qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s(&stream.position, &stream.bitOffset, &dc, component))
            << bits;
        ASSERT_EQ(status == qvoStatusOk ? difference : 7777, dc);
        ASSERT_EQ(status == qvoStatusOk ? std::ssize(bits) : 0, stream.bitsUsed());
    };
    for (int component = 0; component < 3; ++component)
        for (int difference = -4095; difference <= 4095; ++difference) {
            const bool chrominance = component == qvoVideoChrominance;
            expect(qvoStatusOk, dcDifference(difference, chrominance), component, difference);
            if (std::abs(difference) > 255)
                expect(qvoStatusMarkerBit, dcDifference(difference, chrominance, '0'), component, difference);
        }
    expect(qvoStatusTextureVlc, "00000000000111111111111111", 0, 0);
    expect(qvoStatusTextureVlc, "000000000000111111111111111", 1, 0);
}

TEST(TextureDecoders, CheckTheirArguments) {
    Stream stream("01101110001110");  // a valid block with a DC difference of 0 in front and without
    struct Memory {
        Qvo8u* position;
        Qvo32s bitOffset = 0;
        Levels levels = {};
        bool operator==(const Memory&) const = default;
    } m = {stream.position};
    Qvo8u** const pp = &m.position;
    Qvo32s* const offset = &m.bitOffset;
    Qvo16s* const p = m.levels.data();
    const std::vector<Fault> faults = {{qvoStatusNullPtr, {0}, {0, 1}},
                                       {qvoStatusNullPtr, {1, 2}},
                                       {qvoStatusBitOffset, {1}, {-1, 8}},
                                       {qvoStatusScanType, {3}, {3, -1}}};
    expectStatuses(m, qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s, {pp, offset, p, 0, 0}, faults);
    expectStatuses(m, qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s, {pp, offset, p, 0}, faults);
    expectStatuses(m, qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s, {pp, offset, p, 0}, faults);
    expectStatuses(m, qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s, {pp, offset, p, 0}, {faults.begin(), faults.end() - 1});
}

}  // namespace
