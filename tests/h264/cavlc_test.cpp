// CAVLC preparation: a decoder (ITU-T H.264 clauses 9.2.2 to 9.2.4, after the reading of codes) turns the syntax
// elements back into coefficients.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

#include "qvovc.h"
#include "support/random.h"

namespace {

constexpr Qvo8u untouched = 0xEE;
constexpr Qvo16s untouchedLevel = 0x6EEE;

struct Elements {
    Qvo8u ones = untouched;
    Qvo8u signs = untouched;
    Qvo8u count = untouched;
    Qvo8u zeros = untouched;
    std::vector<Qvo16s> levels = std::vector<Qvo16s>(17, untouchedLevel);
    std::vector<Qvo8u> runs = std::vector<Qvo8u>(17, untouched);

    bool operator==(const Elements&) const = default;
};

Elements encode(const Qvo16s* coefs, int first, const Qvo32s* scan, int last, QvoStatus expected = qvoStatusOk) {
    Elements e;
    EXPECT_EQ(expected,
              qvoiEncodeCoeffsCAVLC_H264_16s(coefs, static_cast<Qvo8u>(first), scan, static_cast<Qvo8u>(last),
                                             &e.ones, &e.signs, &e.count, &e.zeros, e.levels.data(), e.runs.data()));
    return e;
}

// The coefficients at the scan positions first..last.
std::vector<Qvo16s> decode(const Elements& e, int first, int last) {
    std::vector<Qvo16s> values;
    for (int i = 0; i < e.ones; ++i)
        values.push_back(e.signs >> (e.ones - 1 - i) & 1 ? -1 : 1);
    values.insert(values.end(), e.levels.begin(), e.levels.begin() + (e.count - e.ones));
    std::vector<Qvo16s> coefs(static_cast<std::size_t>(last - first + 1));
    int zerosLeft = e.zeros;
    for (int i = 0; i < e.count; ++i) {
        coefs.at(static_cast<std::size_t>(zerosLeft + e.count - 1 - i)) = values[static_cast<std::size_t>(i)];
        if (i + 1 < e.count) zerosLeft -= e.runs[static_cast<std::size_t>(i)];
    }
    return coefs;
}

void expectWellFormed(const Elements& e) {
    ASSERT_LE(e.ones, std::min<int>(3, e.count));
    ASSERT_LT(e.signs, 1 << e.ones);
    if (e.ones < 3 && e.ones < e.count) {
        ASSERT_NE(1, e.levels[0]);
        ASSERT_NE(-1, e.levels[0]);
    }
    const auto behindLevels = e.levels.begin() + (e.count - e.ones);
    ASSERT_TRUE(std::all_of(behindLevels, e.levels.end(), [](Qvo16s v) { return v == untouchedLevel; }));
    const auto behindRuns = e.runs.begin() + std::max(e.count - 1, 0);
    ASSERT_TRUE(std::all_of(behindRuns, e.runs.end(), [](Qvo8u v) { return v == untouched; }));
}

TEST(Cavlc, DecodesToTheSameCoefficients) {
    Random random(91);
    for (int round = 0; round < 20000; ++round) {
        Qvo32s scan[16];
        std::iota(scan, scan + 16, 0);
        for (int i = 15; i > 0; --i)
            std::swap(scan[i], scan[random.range(0, i)]);
        const int first = random.chance(60) ? random.range(0, 1) : random.range(0, 15);
        const int last = random.chance(60) ? 15 : random.range(first, 15);
        const int zeros = random.range(0, 100);
        // 257 and -255 have the low byte of 1.
        constexpr Qvo16s values[] = {1, -1, 1, -1, 1, -1, 2, -2, 257, -255, 2063, -2063, 32767, -32768};
        Qvo16s coefs[16];
        for (auto& c : coefs)
            c = random.chance(zeros) ? Qvo16s{0} : values[random.range(0, 13)];

        const Elements e = encode(coefs, first, scan, last);
        ASSERT_NO_FATAL_FAILURE(expectWellFormed(e));
        std::vector<Qvo16s> examined;
        for (int i = first; i <= last; ++i)
            examined.push_back(coefs[scan[i]]);
        if (e.count == 0) {
            ASSERT_EQ(last - first + 1, e.zeros);
            ASSERT_EQ(std::count(examined.begin(), examined.end(), 0), last - first + 1);
        } else {
            ASSERT_EQ(examined, decode(e, first, last));
        }

        // The form for chroma DC does the same with the first four in their own order.
        Elements chroma;
        ASSERT_EQ(qvoStatusOk,
                  qvoiEncodeChromaDcCoeffsCAVLC_H264_16s(coefs, &chroma.ones, &chroma.signs, &chroma.count,
                                                         &chroma.zeros, chroma.levels.data(), chroma.runs.data()));
        constexpr Qvo32s order[16] = {0, 1, 2, 3};
        ASSERT_EQ(encode(coefs, 0, order, 3), chroma);
    }
}

TEST(Cavlc, TakesTheWorkedExampleApart) {
    constexpr Qvo32s scan[16] = {0, 1, 4, 8, 5, 2, 3, 6, 9, 12, 13, 10, 7, 11, 14, 15};
    constexpr Qvo16s inScan[8] = {0, 3, 0, 1, -1, 0, 0, 1};
    Qvo16s coefs[16] = {};
    for (int i = 0; i < 8; ++i)
        coefs[scan[i]] = inScan[i];
    Elements expected;
    expected.ones = 3;
    expected.signs = 2;
    expected.count = 4;
    expected.zeros = 4;
    expected.levels[0] = 3;
    expected.runs[0] = 2;
    expected.runs[1] = 0;
    expected.runs[2] = 1;
    EXPECT_EQ(expected, encode(coefs, 0, scan, 15));
}

TEST(Cavlc, ChecksItsArgumentsInOrder) {
    const Qvo32s scan[16] = {};
    const Qvo16s coefs[16] = {1, 2, 3};
    for (const auto& [first, last] : {std::pair{0, 16}, {1, 0}, {16, 15}, {16, 16}, {255, 255}}) {
        EXPECT_EQ(Elements(), encode(coefs, first, scan, last, qvoStatusOutOfRange));
    }
    for (int null = 0; null < 8; ++null) {
        Elements e;
        const auto unless = [null](int i, auto* p) { return i == null ? nullptr : p; };
        EXPECT_EQ(qvoStatusNullPtr,
                  qvoiEncodeCoeffsCAVLC_H264_16s(unless(0, coefs), 1, unless(1, scan), 0, unless(2, &e.ones),
                                                 unless(3, &e.signs), unless(4, &e.count), unless(5, &e.zeros),
                                                 unless(6, e.levels.data()), unless(7, e.runs.data())));
        if (null != 1) {
            EXPECT_EQ(qvoStatusNullPtr,
                      qvoiEncodeChromaDcCoeffsCAVLC_H264_16s(
                          unless(0, coefs), unless(2, &e.ones), unless(3, &e.signs), unless(4, &e.count),
                          unless(5, &e.zeros), unless(6, e.levels.data()), unless(7, e.runs.data())));
        }
        EXPECT_EQ(Elements(), e);
    }
}

}  // namespace
