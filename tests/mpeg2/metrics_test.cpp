#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "mpeg2/halfpel.h"
#include "support/statuses.h"

namespace {

template <class Value>
int sumOver(int width, int height, Value value) {
    int sum = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            sum += value(x, y);
    return sum;
}

int square(int d) {
    return d * d;
}

}  // namespace

// The forms without half-pel positions as well, and those that give one sum per smaller block.
TEST(Sad, SumsTheDistanceFromThePrediction) {
    Random random(61);
    for (int i = 0; i < 900; ++i) {
        const int size = 4 << i % 3, mcType = size == 4 || random.chance(30) ? 0 : randomMcType(random);
        Reference reference(size, size, 1, mcType, random);
        Plane<Qvo8u> src(size, size, random);
        src.fill(random, 0, 255);
        const auto distance = [&](int x, int y) { return std::abs(src.at(x, y) - reference.predict(x, y, 0)); };
        const Qvo8u *const p = src.origin(), *const q = reference.origin();
        const Qvo32s step = src.step(), refStep = reference.step();
        Qvo32s sad = -1;
        ASSERT_EQ(qvoStatusOk, size == 4   ? qvoiSAD4x4_8u32s(p, step, q, refStep, &sad)
                               : size == 8 ? qvoiSAD8x8_8u32s_C1R(p, step, q, refStep, &sad, mcType)
                                           : qvoiSAD16x16_8u32s(p, step, q, refStep, &sad, mcType));
        ASSERT_EQ(sumOver(size, size, distance), sad) << size << ' ' << (mcType & 12);
        if (size != 16 || mcType != 0) continue;
        ASSERT_EQ(qvoStatusOk, _qvoiSAD_16x16_8u32s(p, step, q, refStep, &sad));
        ASSERT_EQ(sumOver(size, size, distance), sad);
        for (const int part : {8, 4}) {
            Guarded<Qvo16u> sads(static_cast<std::size_t>(256 / (part * part)));
            ASSERT_EQ(qvoStatusOk, (part == 8 ? qvoiSAD16x16Blocks8x8_8u16u : qvoiSAD16x16Blocks4x4_8u16u)(
                                       p, step, q, refStep, sads.data()));
            int n = 0;
            for (const int sum : sads) {
                const int left = n * part % 16, top = n * part / 16 * part;
                ASSERT_EQ(sumOver(part, part, [&](int x, int y) { return distance(left + x, top + y); }), sum) << n;
                ++n;
            }
        }
    }
}

// The square of the sum wraps to 32 bits, from a mean of 182 on.
TEST(Metrics, OfLargeBlocks) {
    Random random(63);
    for (int i = 0; i < 600; ++i) {
        const int mcTypeF = randomMcType(random), mcTypeB = randomMcType(random);
        Reference forward(16, 16, 1, mcTypeF, random), backward(16, 16, 1, mcTypeB, random);
        Plane<Qvo8u> src(16, 16, random);
        src.fill(random, i % 3 ? 0 : 150, 255);
        const auto expect = [&](QvoStatus status, Qvo32s& result, auto value) {
            ASSERT_EQ(qvoStatusOk, status);
            ASSERT_EQ(sumOver(16, 16, value), result);
        };
        Qvo32s one = -1, two = -1, variance = -1, deviation = -1;
        expect(qvoiSqrDiff16x16_8u32s(src.origin(), src.step(), forward.origin(), forward.step(), mcTypeF, &one), one,
               [&](int x, int y) { return square(src.at(x, y) - forward.predict(x, y, 0)); });
        expect(qvoiSqrDiff16x16B_8u32s(src.origin(), src.step(), forward.origin(), forward.step(), mcTypeF,
                                       backward.origin(), backward.step(), mcTypeB, &two),
               two, [&](int x, int y) {
                   return square(src.at(x, y) - (forward.predict(x, y, 0) + backward.predict(x, y, 0) + 1) / 2);
               });
        const long long sum = sumOver(16, 16, [&](int x, int y) { return int{src.at(x, y)}; });
        const int mean = static_cast<int>((sum + 128) / 256);
        expect(qvoiMeanAbsDev16x16_8u32s_C1R(src.origin(), src.step(), &deviation), deviation,
               [&](int x, int y) { return std::abs(src.at(x, y) - mean); });
        ASSERT_EQ(qvoStatusOk, qvoiVariance16x16_8u32s(src.origin(), src.step(), &variance));
        ASSERT_EQ(sumOver(16, 16, [&](int x, int y) { return square(src.at(x, y)); }) - wrap32(sum * sum) / 256,
                  variance);
    }
}

namespace {

template <class T>
void testVarMean(QvoStatus (*operation)(const T*, Qvo32s, Qvo32s*, Qvo32s*), int low, int high) {
    Random random(65);
    for (int i = 0; i < 400; ++i) {
        Plane<T> src(8, 8, random);
        src.fill(random, low, high);
        Qvo32s variance = -1, sum = -1;
        ASSERT_EQ(qvoStatusOk, operation(src.origin(), src.step(), &variance, &sum));
        double s = 0, squares = 0;
        for (int n = 0; n < 64; ++n) {
            const double v = src.at(n % 8, n / 8);
            s += v;
            squares += v * v;
        }
        ASSERT_EQ(s, sum);
        ASSERT_EQ(std::trunc(squares / 64 - s / 64 * (s / 64)), variance);
    }
}

}  // namespace

TEST(VarMean, GivesTheVarianceAndTheSum) {
    testVarMean(qvoiVarMean8x8_8u32s_C1R, 0, 255);
    testVarMean(qvoiVarMean8x8_16s32s_C1R, -32768, 32767);
}

TEST(VarMeanDiff, GivesVarianceAndEightfoldMeanPerQuadrant) {
    Random random(66);
    for (int i = 0; i < 600; ++i) {
        const int height = random.chance(50) ? 16 : 8, mcType = randomMcType(random);
        const auto count = static_cast<std::size_t>(height / 4);
        Reference reference(16, height, 1, mcType, random);
        Plane<Qvo8u> src(16, height, random);
        src.fill(random, 0, 255);
        Guarded<Qvo32s> sums(count), variances(count), means(count);
        std::vector<Qvo32s> expectedVariances, expectedMeans;
        for (std::size_t q = 0; q < count; ++q) {
            const auto quadrant = [&](auto value) {
                return sumOver(8, 8, [&](int x, int y) {
                    const int left = static_cast<int>(q % 2 * 8), top = static_cast<int>(q / 2 * 8);
                    return value(src.at(left + x, top + y), reference.predict(left + x, top + y, 0));
                });
            };
            // At times not the source's sum, so that the mean outweighs the squares.
            sums[q] = random.chance(80) ? quadrant([](int s, int) { return s; }) : random.range(-20000, 20000);
            const int mean = (sums[q] - quadrant([](int, int p) { return p; })) / 8;
            const int squares = quadrant([](int s, int p) { return square(s - p); });
            expectedMeans.push_back(mean);
            expectedVariances.push_back(squares > mean * mean ? (squares - mean * mean) / 64 : 0);
        }
        ASSERT_EQ(qvoStatusOk, (height == 16 ? qvoiVarMeanDiff16x16_8u32s_C1R : qvoiVarMeanDiff16x8_8u32s_C1R)(
                                   src.origin(), src.step(), reference.origin(), reference.step(), sums.data(),
                                   variances.data(), means.data(), mcType));
        ASSERT_TRUE(std::equal(means.begin(), means.end(), expectedMeans.begin()));
        ASSERT_TRUE(std::equal(variances.begin(), variances.end(), expectedVariances.begin()));
    }
}

TEST(EdgesDetect, CountsPointsUpToTheThreshold) {
    Random random(67);
    int found = 0;
    for (int i = 0; i < 1000; ++i) {
        Plane<Qvo8u> src(16, 16, random);
        src.fill(random, 0, 255);
        const int threshold = random.range(0, 255);
        const int count = sumOver(15, 15, [&](int x, int y) {
            return int{std::abs(src.at(x, y) - src.at(x + 1, y)) > threshold ||
                       std::abs(src.at(x, y) - src.at(x, y + 1)) > threshold};
        });
        for (const int limit : {std::max(count - 1, 0), count, random.range(0, 255), 255}) {
            Qvo8u result = 9;
            ASSERT_EQ(qvoStatusOk,
                      qvoiEdgesDetect16x16_8u_C1R(src.origin(), src.step(), static_cast<Qvo8u>(threshold),
                                                  static_cast<Qvo8u>(limit), &result));
            ASSERT_EQ(count > limit, result);
            found += result;
        }
    }
    EXPECT_GT(found, 300);
}

TEST(Metrics, NullPointersAreRefused) {
    const std::vector<Qvo8u> samples(17 * 18, 1);
    const std::vector<Qvo16s> wide(64, 1);
    const Qvo8u* const s = samples.data();
    struct Memory {
        std::array<Qvo32s, 4> first = {5, 5, 5, 5}, second = first;
        std::array<Qvo16u, 16> words = {};
        Qvo8u byte = 5;
        bool operator==(const Memory&) const = default;
    } m;
    const Qvo32s sums[4] = {};
    Qvo32s *const p = m.first.data(), *const q = m.second.data();
    const auto nulls = [](std::vector<std::size_t> arguments) {
        return std::vector<Fault>{{qvoStatusNullPtr, arguments}};
    };
    for (const auto operation : {qvoiVarMeanDiff16x16_8u32s_C1R, qvoiVarMeanDiff16x8_8u32s_C1R})
        expectStatuses(m, operation, {s, 17, s, 17, sums, p, q, 0}, nulls({0, 2, 4, 5, 6}));
    expectStatuses(m, qvoiSqrDiff16x16_8u32s, {s, 17, s, 17, 0, p}, nulls({0, 2, 5}));
    expectStatuses(m, qvoiSqrDiff16x16B_8u32s, {s, 17, s, 17, 0, s, 17, 0, p}, nulls({0, 2, 5, 8}));
    for (const auto operation : {qvoiSAD16x16_8u32s, qvoiSAD8x8_8u32s_C1R})
        expectStatuses(m, operation, {s, 17, s, 17, p, 0}, nulls({0, 2}));
    for (const auto operation : {_qvoiSAD_16x16_8u32s, qvoiSAD4x4_8u32s})
        expectStatuses(m, operation, {s, 17, s, 17, p}, nulls({0, 2, 4}));
    for (const auto operation : {qvoiSAD16x16Blocks8x8_8u16u, qvoiSAD16x16Blocks4x4_8u16u})
        expectStatuses(m, operation, {s, 17, s, 17, m.words.data()}, nulls({0, 2, 4}));
    expectStatuses(m, qvoiVariance16x16_8u32s, {s, 17, p}, nulls({0, 2}));
    expectStatuses(m, qvoiEdgesDetect16x16_8u_C1R, {s, 17, Qvo8u{3}, Qvo8u{3}, &m.byte}, nulls({0, 4}));
    expectStatuses(m, qvoiVarMean8x8_8u32s_C1R, {s, 17, p, q}, nulls({0, 2, 3}));
    expectStatuses(m, qvoiVarMean8x8_16s32s_C1R, {wide.data(), 16, p, q}, nulls({0, 2, 3}));
    expectStatuses(m, qvoiMeanAbsDev16x16_8u32s_C1R, {s, 17, p}, nulls({0}));
}
