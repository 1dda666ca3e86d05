// CAVLC preparation: a decoder (ITU-T H.264 clauses 9.2.2 to 9.2.4, after the reading of codes) turns the syntax
// elements back into coefficients.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <utility>
#include <vector>

#include "qvovc.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

// What is not written keeps these values.
struct Elements {
    Qvo8u ones = 99, signs = 99, count = 99, zeros = 99;
    std::vector<Qvo16s> levels = std::vector<Qvo16s>(17, 0x6EEE);
    std::vector<Qvo8u> runs = std::vector<Qvo8u>(17, 99);

    bool operator==(const Elements&) const = default;
};

Elements encode(const Qvo16s* coefs, int first, const Qvo32s* scan, int last) {
    Elements e;
    EXPECT_EQ(qvoStatusOk,
              qvoiEncodeCoeffsCAVLC_H264_16s(coefs, static_cast<Qvo8u>(first), scan, static_cast<Qvo8u>(last),
                                             &e.ones, &e.signs, &e.count, &e.zeros, e.levels.data(), e.runs.data()));
    return e;
}

// The coefficients at `size` scan positions.
std::vector<Qvo16s> decode(const Elements& e, std::size_t size) {
    std::vector<Qvo16s> values;
    for (int i = 0; i < e.ones; ++i)
        values.push_back(e.signs >> (e.ones - 1 - i) & 1 ? -1 : 1);
    values.insert(values.end(), e.levels.begin(), e.levels.begin() + (e.count - e.ones));
    std::vector<Qvo16s> coefs(size);
    int zerosLeft = e.zeros;
    for (int i = 0; i < e.count; ++i) {
        coefs.at(static_cast<std::size_t>(zerosLeft + e.count - 1 - i)) = values[static_cast<std::size_t>(i)];
        zerosLeft -= i + 1 < e.count ? e.runs[static_cast<std::size_t>(i)] : 0;
    }
    return coefs;
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
        std::vector<Qvo16s> examined;
        for (int i = first; i <= last; ++i)
            examined.push_back(coefs[scan[i]]);

        const Elements e = encode(coefs, first, scan, last);
        ASSERT_LE(e.ones, std::min<int>(3, e.count));
        ASSERT_LT(e.signs, 1 << e.ones);
        // There are fewer than three ones only if no further one follows, and nothing behind the elements is written.
        ASSERT_FALSE(e.ones < std::min<int>(3, e.count) && std::abs(e.levels[0]) == 1);
        ASSERT_EQ(std::count(e.levels.begin() + (e.count - e.ones), e.levels.end(), 0x6EEE), 17 - e.count + e.ones);
        ASSERT_EQ(std::count(e.runs.begin() + std::max(e.count - 1, 0), e.runs.end(), 99),
                  17 - std::max(e.count - 1, 0));
        ASSERT_EQ(examined, decode(e, examined.size()));
        if (e.count == 0) {
            ASSERT_EQ(last - first + 1, e.zeros);
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

TEST(Cavlc, ChecksItsArgumentsInOrder) {
    const Qvo32s scan[16] = {};
    const Qvo16s coefs[16] = {};
    Elements e;
    for (const Qvo8u last : {Qvo8u{1}, Qvo8u{15}}) {
        expectStatuses(
            e, qvoiEncodeCoeffsCAVLC_H264_16s,
            {coefs, Qvo8u{1}, scan, last, &e.ones, &e.signs, &e.count, &e.zeros, e.levels.data(), e.runs.data()},
            {{qvoStatusNullPtr, {0, 2, 4, 5, 6, 7, 8, 9}},
             {qvoStatusOutOfRange, {1}, {last + 1, 16, 255}},
             {qvoStatusOutOfRange, {3}, {0, 16, 255}}});
    }
    expectStatuses(e, qvoiEncodeChromaDcCoeffsCAVLC_H264_16s,
                   {coefs, &e.ones, &e.signs, &e.count, &e.zeros, e.levels.data(), e.runs.data()},
                   {{qvoStatusNullPtr, {0, 1, 2, 3, 4, 5, 6}}});
}

}  // namespace
