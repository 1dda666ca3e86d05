// The texture codes and the decoders that give levels.
#include <gtest/gtest.h>

#include <algorithm>

#include "mpeg4/texture_codes.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using namespace texture;

enum Form { onlyDC, intraDC, intraAC, inter };

const Codes& codesOf(Form form) {
    return form == inter ? interCodes() : intraCodes();
}

QvoStatus decode(Form form, Stream& stream, Qvo16s* pDst, int scan, int component) {
    Qvo8u** const pp = &stream.position;
    Qvo32s* const offset = &stream.bitOffset;
    switch (form) {
        case onlyDC:
            return qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s(pp, offset, pDst, component);
        case intraDC:
            return qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s(pp, offset, pDst, scan, component);
        case intraAC:
            return qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s(pp, offset, pDst, scan);
        default:
            return qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s(pp, offset, pDst, scan);
    }
}

// Decodes what the text begins with, which has to give what the reader gives that goes bit by bit. Not a byte beyond the
// four behind the block's last bit may be read.
Levels expectDecoded(Form form, const std::string& text, int offset, int scan, int component) {
    SCOPED_TRACE(text);
    BitReader reader(text + std::string(2000, '0'));
    Levels byPosition = {}, expected = {};
    QvoStatus status = qvoStatusOk;
    std::size_t used = 0;
    if (form == onlyDC || form == intraDC) {
        int difference = 0;
        status = reader.readDC(component == qvoVideoChrominance, difference);
        byPosition[0] = static_cast<Qvo16s>(difference);
        if (status == qvoStatusOk) used = reader.at;
    }
    if (form != onlyDC && status == qvoStatusOk) {
        if (reader.readEvents(codesOf(form), form == intraDC, byPosition))
            used = reader.at;
        else
            status = qvoStatusTextureVlc;
    }
    if (form == onlyDC) expected.fill(77);  // is one value only, written on success
    for (std::size_t i = 0; i < (form == onlyDC ? 1 : 64) && status == qvoStatusOk; ++i)
        expected[scans[scan][i]] = byPosition[i];

    Stream stream(status == qvoStatusOk ? text.substr(0, used) : text, offset);
    Levels levels;
    levels.fill(77);
    EXPECT_EQ(status, decode(form, stream, levels.data(), scan, component));
    EXPECT_EQ(expected, levels);
    EXPECT_EQ(static_cast<int>(used), stream.bitsUsed());
    return levels;
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

// They leave nothing but 0000 0000 0xxx.
TEST(TextureCodes, AreComplete) {
    for (const Codes* codes : {&intraCodes(), &interCodes()}) {
        std::vector<std::string> words = {escapeCode};
        for (const auto& [code, event] : codes->eventOf)
            words.push_back(code);
        EXPECT_EQ(103u, words.size());
        EXPECT_EQ(1 - 8 / 4096.0, codeSpace(words));
    }
}

class TextureDecoding : public testing::TestWithParam<Form> {};

// Every (last, run, level) in every form that the syntax has for it, at all bit offsets. Events that are not the last
// are followed by one that is.
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
                const std::string end = last == 0 ? codes.codeOf.at({1, 0, 1}) + "1" : "";
                for (std::size_t form = 0; form < 4; ++form) {
                    if (forms[form].empty()) continue;
                    ++formsSeen[form];
                    const Levels levels = expectDecoded(GetParam(), dc + forms[form] + end, ++offset % 8, 0, 0);
                    ASSERT_EQ(level, levels[ZigzagC[run + start]]) << last << ' ' << run << " form " << form;
                    ASSERT_FALSE(HasFailure());
                }
            }
    EXPECT_EQ(2 * 102, formsSeen[0]);
    EXPECT_EQ(2 * 102, formsSeen[1]);
    EXPECT_GE(formsSeen[2], 160);  // some would end behind the block
}

// An escape of type 3, often with a level or a marker that is not allowed.
std::string randomFixedEscape(Random& random) {
    const int levels[] = {0, -2048, -2047, 2047, 1};
    std::string text = escapeCode + "11" + binary(random.range(0, 127), 7) + (random.chance(80) ? '1' : '0');
    text += binary(levels[random.range(0, 4)], 12);
    return text + (random.chance(80) ? '1' : '0');
}

// All that twelve bits can begin with, and random bits with plenty of escapes.
TEST_P(TextureDecoding, ReadsAnyBits) {
    Random random(static_cast<std::uint64_t>(GetParam()) + 1);
    int decoded = 0;
    for (int round = 0; round < 40000; ++round) {
        std::string text;
        if (round < 4096) text = binary(round, 12);
        while (text.size() < 200) {
            if (random.chance(10)) text += escapeCode + binary(random.range(0, 3), 2);
            if (random.chance(5)) text += "00000";
            if (random.chance(5)) text += randomFixedEscape(random);
            text += binary(random.range(0, 255), 8);
        }
        const int scan = random.range(0, 2), component = random.range(0, 2);
        decoded += expectDecoded(GetParam(), text, random.range(0, 7), scan, component) != Levels{};
        ASSERT_FALSE(HasFailure());
    }
    EXPECT_GT(decoded, 2000);
    EXPECT_LT(decoded, 38000);
}

// Streams cut behind any event but the last, with four zero bytes, which are no code, to the end of the memory.
TEST_P(TextureDecoding, ReadsNoFurtherWhereNoCodeFollows) {
    Random random(9);
    for (int round = 0; round < 4000; ++round) {
        std::string text = GetParam() == intraDC ? dcDifference(random.range(-300, 300), false) : "";
        for (int events = random.range(0, 12); events > 0; --events)
            text += codesOf(GetParam()).firstForm({0, random.range(0, 3), random.range(1, 30)});
        Stream stream(text, random.range(0, 7));
        Levels levels;
        ASSERT_EQ(qvoStatusTextureVlc, decode(GetParam(), stream, levels.data(), 0, qvoVideoLuminance)) << text;
    }
}

INSTANTIATE_TEST_SUITE_P(Mpeg4, TextureDecoding, testing::Values(intraDC, intraAC, inter), [](const auto& p) {
    return p.param == intraDC ? "IntraDC" : p.param == intraAC ? "IntraAC" : "Inter";
});

// Every difference with its marker, and without it where there has to be one; sizes without an end.
TEST(IntraDC, ReadsEveryDifferenceAndRefusesMissingMarkers) {
    for (int component = 0; component < 3; ++component) {
        const bool chrominance = component == qvoVideoChrominance;
        for (int difference = -4095; difference <= 4095 && !HasFailure(); ++difference) {
            const std::string bits = dcDifference(difference, chrominance);
            ASSERT_EQ(difference, expectDecoded(onlyDC, bits, difference & 7, 0, component)[0]);
            expectDecoded(onlyDC, dcDifference(difference, chrominance, '0'), difference & 7, 0, component);
        }
        for (const int zeros : {11, 12})
            expectDecoded(onlyDC, std::string(static_cast<std::size_t>(zeros), '0') + std::string(15, '1'), 0, 0,
                          component);
    }
}

TEST(TextureDecoders, CheckTheirArguments) {
    Stream stream("01101110001110");  // a valid block with a DC difference of 0 in front and without
    struct Memory {
        Qvo8u* position;
        Qvo32s bitOffset = 0;
        Levels levels = {};
        std::array<Qvo8u, 64> pixels = {};
        std::array<Qvo16s, 16 + 8> row = {};
        std::array<Qvo16s, 16> column = {};
        bool operator==(const Memory&) const = default;
    } m = {stream.position};
    Qvo8u** const pp = &m.position;
    Qvo32s* const offset = &m.bitOffset;
    Qvo16s* const p = m.levels.data();
    const std::vector<Fault> position = {
        {qvoStatusNullPtr, {0}, {0, 1}}, {qvoStatusNullPtr, {1, 2}}, {qvoStatusBitOffset, {1}, {-1, 8}}};
    const auto with = [&](std::vector<Fault> more) {
        more.insert(more.begin(), position.begin(), position.end());
        return more;
    };
    const auto levels = with({{qvoStatusScanType, {3}, {3, -1}}});
    expectStatuses(m, qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s, {pp, offset, p, 0}, position);
    expectStatuses(m, qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s, {pp, offset, p, 0, 0}, levels);
    expectStatuses(m, qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s, {pp, offset, p, 0}, levels);
    expectStatuses(m, qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s, {pp, offset, p, 0}, levels);
    expectStatuses(m, qvoiDecodeBlockCoef_Inter_MPEG4_1u16s, {pp, offset, p, 1, nullptr},
                   with({{qvoStatusQuantRange, {3}, {0, 32, 257}}}));
    const Qvo8u QPs[2] = {0, 0};  // do not matter as long as nothing is predicted from a neighbour
    for (const auto& intra : {qvoiDecodeBlockCoef_Intra_MPEG4_1u8u, qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u})
        expectStatuses(m, intra,
                       {pp, offset, m.pixels.data(), 8, m.row.data() + 16, m.column.data(), 1, QPs, nullptr, 0, 1, 0},
                       with({{qvoStatusStep, {3}, {0, -8}},
                             {qvoStatusNullPtr, {4, 5, 7}},
                             {qvoStatusBlockIndex, {9}, {10, -1}},
                             {qvoStatusQuantRange, {6}, {0, 32}},
                             {qvoStatusQuantRange, {11}, {1}}}));  // the neighbour's
}

}  // namespace
