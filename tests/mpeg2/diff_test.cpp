#include <gtest/gtest.h>

#include "mpeg2/halfpel.h"
#include "support/statuses.h"

namespace {

using OneReference = decltype(&qvoiGetDiff16x16_8u16s_C1);
using TwoReferences = decltype(&qvoiGetDiff16x16B_8u16s_C1);

const struct Size {
    const char* name;
    int width, height;
    OneReference one;
    TwoReferences two;
} sizes[] = {{"16x16", 16, 16, qvoiGetDiff16x16_8u16s_C1, qvoiGetDiff16x16B_8u16s_C1},
             {"16x8", 16, 8, qvoiGetDiff16x8_8u16s_C1, qvoiGetDiff16x8B_8u16s_C1},
             {"8x16", 8, 16, qvoiGetDiff8x16_8u16s_C1, qvoiGetDiff8x16B_8u16s_C1},
             {"8x8", 8, 8, qvoiGetDiff8x8_8u16s_C1, qvoiGetDiff8x8B_8u16s_C1},
             {"8x4", 8, 4, qvoiGetDiff8x4_8u16s_C1, qvoiGetDiff8x4B_8u16s_C1}};

void testDifferences(const Size& size, Random& random) {
    const int mcTypeF = randomMcType(random), mcTypeB = randomMcType(random), rc = randomRounding(random);
    SCOPED_TRACE(testing::Message() << size.name << ' ' << (mcTypeF & 12) << ' ' << (mcTypeB & 12) << ' ' << rc);
    Reference forward(size.width, size.height, 1, mcTypeF, random);
    Reference backward(size.width, size.height, 1, mcTypeB, random);
    Plane<Qvo8u> cur(size.width, size.height, random);
    Plane<Qvo16s> diff(size.width, size.height, random), prediction(size.width, size.height, random);
    cur.fill(random, 0, 255);
    diff.fill(random, -100, 100);
    const bool wanted = random.chance(50);

    auto expected =
        diff.contentsWith([&](int x, int y) { return wrap32(0LL + cur.at(x, y) - forward.predict(x, y, rc)); });
    const auto predicted = prediction.contentsWith([&](int x, int y) { return forward.predict(x, y, rc); });
    const auto untouched = prediction.contents();
    ASSERT_EQ(qvoStatusOk,
              size.one(cur.origin(), cur.step(), forward.origin(), forward.step(), diff.origin(), diff.step(),
                       wanted ? prediction.origin() : nullptr, prediction.step(), mcTypeF, rc));
    ASSERT_EQ(expected, diff.contents());
    ASSERT_EQ(wanted ? predicted : untouched, prediction.contents());

    expected = diff.contentsWith([&](int x, int y) {
        return wrap32(2LL * cur.at(x, y) - forward.predict(x, y, rc) - backward.predict(x, y, rc)) >> 1;
    });
    ASSERT_EQ(qvoStatusOk, size.two(cur.origin(), cur.step(), forward.origin(), forward.step(), mcTypeF,
                                    backward.origin(), backward.step(), mcTypeB, diff.origin(), diff.step(), rc));
    ASSERT_EQ(expected, diff.contents());
}

}  // namespace

TEST(GetDiff, GivesSourceMinusPredictionOrMean) {
    Random random(51);
    for (const Size& size : sizes)
        for (int i = 0; i < 500 && !HasFatalFailure(); ++i)
            testDifferences(size, random);
}

// The step of the difference counts elements in the one form, and there is none in the others.
TEST(FullPelDifferences, OfBlocksWithTheirSums) {
    Random random(55);
    for (int i = 0; i < 900; ++i) {
        const int size = 4 << i % 3;
        const auto count = static_cast<std::size_t>(size * size);
        Plane<Qvo8u> src(size, size, random),
            prediction(size, size, size == 8 ? 8 : random.range(size, 30), Guard::after);
        Plane<Qvo16s> diff(size, size, size == 4 ? 2 * random.range(4, 9) : 2 * size, Guard::after);
        Guarded<Qvo16s> sums(count / 16);
        src.fill(random, 0, 255);
        prediction.fill(random, 0, 255);
        std::vector<Qvo16s> expectedSums(count / 16);
        Qvo32s expectedSad = 0, sad = -1;
        const auto expected = diff.contentsWith([&](int x, int y) {
            const int d = src.at(x, y) - prediction.at(x, y);
            expectedSad += std::abs(d);
            Qvo16s& sum = expectedSums[static_cast<std::size_t>(y / 4 * (size / 4) + x / 4)];
            sum = static_cast<Qvo16s>(sum + d);
            return d;
        });
        const Qvo8u *const p = src.origin(), *const q = prediction.origin();
        const Qvo32s step = src.step(), predStep = prediction.step();
        if (size == 4) {
            ASSERT_EQ(qvoStatusOk, qvoiGetDiff4x4_8u16s_C1(p, step, q, predStep, diff.origin(), diff.step() / 2));
            ASSERT_EQ(expected, diff.contents());
            continue;
        }
        const bool wanted = random.chance(70);
        const auto untouched = diff.contents();
        const auto sumsOf = size == 16 ? qvoiSumsDiff16x16Blocks4x4_8u16s_C1 : qvoiSumsDiff8x8Blocks4x4_8u16s_C1;
        ASSERT_EQ(qvoStatusOk, sumsOf(p, step, q, predStep, sums.data(), wanted ? diff.origin() : nullptr));
        ASSERT_TRUE(std::equal(sums.begin(), sums.end(), expectedSums.begin()));
        ASSERT_EQ(wanted ? expected : untouched, diff.contents());
        if (size == 16) continue;
        diff.restore(untouched);
        ASSERT_EQ(qvoStatusOk, qvoiComputeTextureErrorBlock_8u16s(p, step, q, diff.origin()));
        ASSERT_EQ(expected, diff.contents());
        diff.restore(untouched);
        ASSERT_EQ(qvoStatusOk, qvoiComputeTextureErrorBlock_SAD_8u16s(p, step, q, diff.origin(), &sad));
        ASSERT_EQ(expected, diff.contents());
        ASSERT_EQ(expectedSad, sad);
    }
}

TEST(Differences, NullPointersAreRefused) {
    const std::vector<Qvo8u> samples(17 * 18, 1);
    const Qvo8u* const s = samples.data();
    std::vector<Qvo16s> out(512, 77);
    Qvo16s *const d = out.data(), *const e = out.data() + 256;
    Qvo32s sad;
    for (const Size& size : sizes) {
        expectStatuses(out, size.one, {s, 17, s, 17, d, 32, e, 32, 0, 0}, {{qvoStatusNullPtr, {0, 2, 4}}});
        expectStatuses(out, size.two, {s, 17, s, 17, 0, s, 17, 0, d, 32, 0}, {{qvoStatusNullPtr, {0, 2, 5, 8}}});
    }
    expectStatuses(out, qvoiGetDiff4x4_8u16s_C1, {s, 4, s, 4, d, 4}, {{qvoStatusNullPtr, {0, 2, 4}}});
    for (const auto sums : {qvoiSumsDiff16x16Blocks4x4_8u16s_C1, qvoiSumsDiff8x8Blocks4x4_8u16s_C1})
        expectStatuses(out, sums, {s, 17, s, 17, d, e}, {{qvoStatusNullPtr, {0, 2, 4}}});
    expectStatuses(out, qvoiComputeTextureErrorBlock_8u16s, {s, 8, s, d}, {{qvoStatusBadArg, {0, 2, 3}}});
    expectStatuses(out, qvoiComputeTextureErrorBlock_SAD_8u16s, {s, 8, s, d, &sad}, {{qvoStatusBadArg, {0, 2, 3}}});
    EXPECT_EQ(qvoStatusBadArg, qvoiComputeTextureErrorBlock_SAD_8u16s(s, 8, s, d, nullptr));
}
