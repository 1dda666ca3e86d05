// Aligned memory, vectors, regions, block copies, the zero count and the rounding predictors.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "qvovc.h"
#include "support/plane.h"
#include "support/statuses.h"

namespace {

TEST(Memory, BlocksAreAlignedWritableAndFreed) {
    EXPECT_EQ(nullptr, qvosMalloc_8u(0));
    EXPECT_EQ(nullptr, qvosMalloc_8u(-1));
    EXPECT_EQ(qvoStatusOk, qvosFree(nullptr));
    for (Qvo32s len : {1, 31, 32, 33, 4096, 1 << 20}) {
        Qvo8u* p = qvosMalloc_8u(len);
        ASSERT_NE(nullptr, p);
        EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(p) % 32);
        std::memset(p, 0xA5, static_cast<std::size_t>(len));
        EXPECT_EQ(qvoStatusOk, qvosFree(p));
    }
}

TEST(Core, StatusesInTheirOrder) {
    struct Memory {
        std::array<Qvo8u, 1024> bytes = {};
        std::array<Qvo16s, 64> words = {};
        Qvo32u count = 99;
        bool operator==(const Memory&) const = default;
    } m;
    Qvo8u *const p = m.bytes.data(), *const q = p + 512;
    Qvo16s* const w = m.words.data();
    const auto null = [](std::vector<std::size_t> arguments) { return Fault{qvoStatusNullPtr, arguments}; };
    const auto size = [](std::vector<std::size_t> arguments) { return Fault{qvoStatusSize, arguments, {0, -5}}; };
    expectStatuses(m, qvosSet_8u, {Qvo8u{1}, p, 9}, {null({1}), size({2})});
    expectStatuses(m, qvosSet_16s, {Qvo16s{1}, w, 9}, {null({1}), size({2})});
    expectStatuses(m, qvosZero_16s, {w, 9}, {null({0}), size({1})});
    expectStatuses(m, qvosCopy_8u, {q, p, 9}, {null({0, 1}), size({2})});
    for (const int scale : {0, 31})
        expectStatuses(m, qvosMulC_16s_ISfs, {Qvo16s{2}, w, 9, scale}, {null({1}), size({2})});
    expectStatuses(m, qvosThreshold_16s_I, {w, 9, Qvo16s{1}, 4}, {null({0}), size({1})});
    expectStatuses(m, qvoiSet_8u_C1R, {Qvo8u{1}, p, 9, 3, 3},
                   {null({1}), size({3, 4}), {qvoStatusStep, {2}, {0, -9}}});
    expectStatuses(m, qvoiCopyBlock_8x8_8u, {q, 8, p, 8}, {null({0, 2}), {qvoStatusStep8, {1, 3}, {7}}});
    expectStatuses(m, qvoiCopyBlock_16x16_8u, {q, 16, p, 16}, {null({0, 2}), {qvoStatusStep16, {1, 3}, {15}}});
    expectStatuses(m, qvoiCountZeros8x8_16s_C1, {w, &m.count}, {null({0, 1})});
    for (const auto predict : {qvoiMCBlock_RoundOff_8u, qvoiMCBlock_RoundOn_8u})
        expectStatuses(m, predict, {q, 8, p, 8, 0}, {null({0, 2})});
}

// Elements 0..len-1 and no others, in buffers that end at an unreadable page.
TEST(Vector, SetZeroAndCopyTouchExactlyTheirElements) {
    Random random;
    for (Qvo32s n = 1; n < 100; ++n) {
        Guarded<Qvo8u> src(static_cast<std::size_t>(n)), dst(static_cast<std::size_t>(n));
        Guarded<Qvo16s> wide(static_cast<std::size_t>(n));
        random.fill(src, 0, 255);
        ASSERT_EQ(qvoStatusOk, qvosSet_8u(200, dst.data(), n));
        ASSERT_EQ(n, std::count(dst.begin(), dst.end(), 200));
        ASSERT_EQ(qvoStatusOk, qvosCopy_8u(src.data(), dst.data(), n));
        ASSERT_TRUE(std::equal(src.begin(), src.end(), dst.begin()));
        ASSERT_EQ(qvoStatusOk, qvosSet_16s(-30000, wide.data(), n));
        ASSERT_EQ(n, std::count(wide.begin(), wide.end(), -30000));
        if (n == 1) continue;
        ASSERT_EQ(qvoStatusOk, qvosZero_16s(wide.data(), n - 1));
        ASSERT_EQ(n - 1, std::count(wide.begin(), wide.end(), 0));
        ASSERT_EQ(-30000, wide[wide.size() - 1]);
    }
}

// The scaled product in exact arithmetic: round to nearest, ties to even, then saturate. Left shifts saturate
// before the shift as well, which changes nothing once the result is saturated.
Qvo16s scaledProduct(int element, int val, int scaleFactor) {
    if (scaleFactor > 30) return 0;
    const double exact = std::ldexp(static_cast<double>(element) * val, -scaleFactor);
    return static_cast<Qvo16s>(std::fmin(std::fmax(std::nearbyint(exact), -32768), 32767));
}

TEST(Vector, ScaledMultiply) {
    Random random;
    const Qvo16s specials[] = {-32768, -32767, -1, 0, 1, 2, 3, 5, 181, 32767};
    for (int scaleFactor = -40; scaleFactor <= 40; ++scaleFactor) {
        for (int round = 0; round < 40; ++round) {
            Qvo16s elements[64], result[64];
            random.fill(elements, round % 2 ? -20 : -32768, round % 2 ? 20 : 32767);
            std::copy_n(specials, 10, elements);
            std::copy_n(elements, 64, result);
            const Qvo16s val = round < 10 ? specials[round] : static_cast<Qvo16s>(random.range(-300, 300));
            ASSERT_EQ(qvoStatusOk, qvosMulC_16s_ISfs(val, result, 64, scaleFactor));
            for (int i = 0; i < 64; ++i)
                ASSERT_EQ(scaledProduct(elements[i], val, scaleFactor), result[i])
                    << elements[i] << " * " << val << " >> " << scaleFactor;
        }
    }
}

TEST(Vector, ThresholdComparesTheWholeSelector) {
    for (const Qvo32s relOp : {0, 1, 2, 5, 260, -4, Qvo32s{qvoCmpGreater}}) {
        std::vector<Qvo16s> elements = {-32768, 3, 5, 7, 32767};
        EXPECT_EQ(qvoStatusOk, qvosThreshold_16s_I(elements.data(), 5, 5, relOp));
        const bool greater = relOp == qvoCmpGreater;
        EXPECT_EQ(greater ? (std::vector<Qvo16s>{-32768, 3, 5, 5, 5}) : (std::vector<Qvo16s>{5, 5, 5, 7, 32767}),
                  elements)
            << relOp;
    }
}

// Regions and blocks whose last row ends at an unreadable page; what lies between the rows stays.
TEST(Region, SetAndCopyTouchExactlyTheirBlock) {
    Random random;
    for (int round = 0; round < 50; ++round) {
        const Qvo32s width = random.range(1, 40), height = random.range(1, 20);
        Plane<Qvo8u> region(width, height, width + random.range(0, 9), Guard::after);
        const auto filled = region.contentsWith([](int, int) { return 77; });
        ASSERT_EQ(qvoStatusOk, qvoiSet_8u_C1R(77, region.origin(), region.step(), width, height));
        ASSERT_EQ(filled, region.contents());

        const Qvo32s size = round % 2 ? 8 : 16;
        Plane<Qvo8u> src(size, size, size + random.range(0, 4), Guard::after),
            dst(size, size, size + random.range(0, 4), Guard::after);
        src.fill(random, 1, 255);
        const auto copied = dst.contentsWith([&](int x, int y) { return src.at(x, y); });
        ASSERT_EQ(qvoStatusOk, (size == 8 ? qvoiCopyBlock_8x8_8u : qvoiCopyBlock_16x16_8u)(src.origin(), src.step(),
                                                                                           dst.origin(), dst.step()));
        ASSERT_EQ(copied, dst.contents());
    }
}

TEST(Block, CountsZeros) {
    Random random;
    for (const int percent : {0, 30, 97, 100}) {
        Guarded<Qvo16s> block(64);
        for (Qvo16s& c : block)
            c = static_cast<Qvo16s>(random.chance(percent) ? 0 : random.chance(50) ? 256 : -1);
        Qvo32u count = 99;
        ASSERT_EQ(qvoStatusOk, qvoiCountZeros8x8_16s_C1(block.data(), &count));
        EXPECT_EQ(std::count(block.begin(), block.end(), 0), count);
    }
}

// The predictors equal the 8x8 motion compensation with a zero residual. Types other than 0, 1 and 2,
// compared whole, mean half-pel in both axes.
TEST(Block, RoundingPredictors) {
    Random random;
    std::vector<Qvo8u> reference(9 * 12);
    random.fill(reference, 0, 255);
    const std::vector<Qvo16s> zeros(64);
    const Qvo32s types[][2] = {{0, 0}, {1, 4}, {2, 8}, {3, 12}, {4, 12}, {-1, 12}, {256, 12}, {257, 12}};
    for (const auto& [predType, mcType] : types) {
        for (Qvo32s round : {0, 1}) {
            std::vector<Qvo8u> expected(64), result(64);
            ASSERT_EQ(qvoStatusOk,
                      qvoiMC8x8_8u_C1(reference.data(), 12, zeros.data(), 16, expected.data(), 8, mcType, round));
            const auto predict = round ? &qvoiMCBlock_RoundOn_8u : &qvoiMCBlock_RoundOff_8u;
            ASSERT_EQ(qvoStatusOk, predict(reference.data(), 12, result.data(), 8, predType));
            EXPECT_EQ(expected, result) << predType << ", round " << round;
        }
    }
}

}  // namespace
