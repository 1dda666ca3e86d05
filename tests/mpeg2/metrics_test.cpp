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

}  // namespace

TEST(Sad, SumsTheDistanceFromTheHalfPelPrediction) {
    Random random(61);
    for (int i = 0; i < 600; ++i) {
        const int size = random.chance(50) ? 16 : 8, mcType = randomMcType(random);
        Reference reference(size, size, 1, mcType, random);
        Plane<Qvo8u> src(size, size, random);
        src.fill(random, 0, 255);
        Qvo32s sad = -1;
        ASSERT_EQ(qvoStatusOk, (size == 16 ? qvoiSAD16x16_8u32s : qvoiSAD8x8_8u32s_C1R)(
                                   src.origin(), src.step(), reference.origin(), reference.step(), &sad, mcType));
        ASSERT_EQ(
            sumOver(size, size, [&](int x, int y) { return std::abs(src.at(x, y) - reference.predict(x, y, 0)); }),
            sad)
            << size << ' ' << (mcType & 12);
    }
}

TEST(Sad, FullPelForms) {
    Random random(62);
    for (int i = 0; i < 300; ++i) {
        Reference reference(16, 16, 1, 0, random), reference4(4, 4, 1, 0, random);
        Plane<Qvo8u> src(16, 16, random), src4(4, 4, random);
        src.fill(random, 0, 255);
        src4.fill(random, 0, 255);
        const auto distance = [&](int x, int y) { return std::abs(src.at(x, y) - reference.at(x, y)); };

        Qvo32s sad = -1;
        ASSERT_EQ(qvoStatusOk,
                  _qvoiSAD_16x16_8u32s(src.origin(), src.step(), reference.origin(), reference.step(), &sad));
        ASSERT_EQ(sumOver(16, 16, distance), sad);
        ASSERT_EQ(qvoStatusOk,
                  qvoiSAD4x4_8u32s(src4.origin(), src4.step(), reference4.origin(), reference4.step(), &sad));
        ASSERT_EQ(sumOver(4, 4, [&](int x, int y) { return std::abs(src4.at(x, y) - reference4.at(x, y)); }), sad);

        for (const int size : {8, 4}) {
            const int count = 256 / (size * size), across = 16 / size;
            Guarded<Qvo16u> sads(static_cast<std::size_t>(count));
            random.fill(sads, 1, 999);
            ASSERT_EQ(qvoStatusOk, (size == 8 ? qvoiSAD16x16Blocks8x8_8u16u : qvoiSAD16x16Blocks4x4_8u16u)(
                                       src.origin(), src.step(), reference.origin(), reference.step(), sads.data()));
            for (int n = 0; n < count; ++n)
                ASSERT_EQ(
                    sumOver(size, size,
                            [&](int x, int y) { return distance(n % across * size + x, n / across * size + y); }),
                    sads[static_cast<std::size_t>(n)]);
        }
    }
}

TEST(SqrDiff, SumsTheSquaresOfTheDifferences) {
    Random random(63);
    for (int i = 0; i < 600; ++i) {
        const int mcTypeF = randomMcType(random), mcTypeB = randomMcType(random);
        Reference forward(16, 16, 1, mcTypeF, random), backward(16, 16, 1, mcTypeB, random);
        Plane<Qvo8u> src(16, 16, random);
        src.fill(random, 0, 255);
        const auto square = [](int d) { return d * d; };
        Qvo32s ssd = -1;
        ASSERT_EQ(qvoStatusOk,
                  qvoiSqrDiff16x16_8u32s(src.origin(), src.step(), forward.origin(), forward.step(), mcTypeF, &ssd));
        ASSERT_EQ(sumOver(16, 16, [&](int x, int y) { return square(src.at(x, y) - forward.predict(x, y, 0)); }),
                  ssd);
        ASSERT_EQ(qvoStatusOk, qvoiSqrDiff16x16B_8u32s(src.origin(), src.step(), forward.origin(), forward.step(),
                                                       mcTypeF, backward.origin(), backward.step(), mcTypeB, &ssd));
        ASSERT_EQ(
            sumOver(16, 16,
                    [&](int x, int y) {
                        return square(src.at(x, y) - (forward.predict(x, y, 0) + backward.predict(x, y, 0) + 1) / 2);
                    }),
            ssd);
    }
}

// The square of the sum wraps to 32 bits, from a mean of 182 on.
TEST(BlockStatistics, VarianceAndDeviationFromTheRoundedMean) {
    Random random(64);
    for (int i = 0; i < 600; ++i) {
        Plane<Qvo8u> src(16, 16, random);
        src.fill(random, i % 3 ? 0 : 150, 255);
        Qvo32s variance = -1, deviation = -1;
        ASSERT_EQ(qvoStatusOk, qvoiVariance16x16_8u32s(src.origin(), src.step(), &variance));
        const long long sum = sumOver(16, 16, [&](int x, int y) { return int{src.at(x, y)}; });
        const int squares = sumOver(16, 16, [&](int x, int y) { return src.at(x, y) * src.at(x, y); });
        ASSERT_EQ(squares - wrap32(sum * sum) / 256, variance);
        ASSERT_EQ(qvoStatusOk, qvoiMeanAbsDev16x16_8u32s_C1R(src.origin(), src.step(), &deviation));
        const int mean = static_cast<int>((sum + 128) / 256);
        ASSERT_EQ(sumOver(16, 16, [&](int x, int y) { return std::abs(src.at(x, y) - mean); }), deviation);
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
        const auto quadrant = [](int q, auto value) {
            return sumOver(8, 8, [&](int x, int y) { return value(q % 2 * 8 + x, q / 2 * 8 + y); });
        };
        for (int q = 0; q < height / 4; ++q)  // at times not the source's, so that the mean outweighs the squares
            sums[static_cast<std::size_t>(q)] = random.chance(80)
                                                    ? quadrant(q, [&](int x, int y) { return int{src.at(x, y)}; })
                                                    : random.range(-20000, 20000);
        ASSERT_EQ(qvoStatusOk, (height == 16 ? qvoiVarMeanDiff16x16_8u32s_C1R : qvoiVarMeanDiff16x8_8u32s_C1R)(
                                   src.origin(), src.step(), reference.origin(), reference.step(), sums.data(),
                                   variances.data(), means.data(), mcType));
        for (int q = 0; q < height / 4; ++q) {
            const auto index = static_cast<std::size_t>(q);
            const int predicted = quadrant(q, [&](int x, int y) { return reference.predict(x, y, 0); });
            const int squares = quadrant(q, [&](int x, int y) {
                const int d = src.at(x, y) - reference.predict(x, y, 0);
                return d * d;
            });
            const int mean = (sums[index] - predicted) / 8;
            ASSERT_EQ(mean, means[index]);
            ASSERT_EQ(squares > mean * mean ? (squares - mean * mean) / 64 : 0, variances[index]);
        }
    }
}

TEST(EdgesDetect, CountsPointsUpToTheThreshold) {
    Random random(67);
    int found = 0;
    for (int i = 0; i < 1000; ++i) {
        Plane<Qvo8u> src(16, 16, random);
        src.fill(random, 0, 255);
        const auto threshold = static_cast<Qvo8u>(random.range(0, 255));
        const int count = sumOver(15, 15, [&](int x, int y) {
            return int{std::abs(src.at(x, y) - src.at(x + 1, y)) > threshold ||
                       std::abs(src.at(x, y) - src.at(x, y + 1)) > threshold};
        });
        for (const int limit : {count - 1, count, random.range(0, 255), 255}) {
            if (limit < 0) continue;
            Qvo8u result = 9;
            ASSERT_EQ(qvoStatusOk, qvoiEdgesDetect16x16_8u_C1R(src.origin(), src.step(), threshold,
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
