#include <gtest/gtest.h>

#include "mpeg2/halfpel.h"

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

Qvo16s low16(int v) {
    return static_cast<Qvo16s>(v);
}

Qvo16s difference(int a, int b) {
    return low16(a - b);
}

void testOneReference(const Size& size, Random& random) {
    const int mcType = randomMcType(random), roundControl = randomRounding(random);
    SCOPED_TRACE(testing::Message() << size.name << ' ' << (mcType & 12) << ' ' << roundControl);
    Reference reference(size.width, size.height, 1, mcType, random);
    Plane<Qvo8u> cur(size.width, size.height, random);
    Plane<Qvo16s> diff(size.width, size.height, random), prediction(size.width, size.height, random);
    cur.fill(random, 0, 255);
    diff.fill(random, -100, 100);
    prediction.fill(random, -100, 100);
    const bool wanted = random.chance(50);

    const auto diffBefore = diff.contents(), predictionBefore = prediction.contents();
    ASSERT_EQ(qvoStatusOk,
              size.one(cur.origin(), cur.step(), reference.origin(), reference.step(), diff.origin(), diff.step(),
                       wanted ? prediction.origin() : nullptr, prediction.step(), mcType, roundControl));
    const auto diffAfter = diff.contents(), predictionAfter = prediction.contents();
    diff.restore(diffBefore);
    prediction.restore(predictionBefore);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const int p = reference.predict(x, y, roundControl);
            diff.at(x, y) = low16(wrap32(0LL + cur.at(x, y) - p));
            if (wanted) prediction.at(x, y) = low16(p);
        }
    }
    ASSERT_EQ(diff.contents(), diffAfter);
    ASSERT_EQ(prediction.contents(), predictionAfter);
}

void testTwoReferences(const Size& size, Random& random) {
    const int mcTypeF = randomMcType(random), mcTypeB = randomMcType(random);
    const int roundControl = randomRounding(random);
    SCOPED_TRACE(testing::Message() << size.name << "B " << (mcTypeF & 12) << ' ' << (mcTypeB & 12) << ' '
                                    << roundControl);
    Reference forward(size.width, size.height, 1, mcTypeF, random);
    Reference backward(size.width, size.height, 1, mcTypeB, random);
    Plane<Qvo8u> cur(size.width, size.height, random);
    Plane<Qvo16s> diff(size.width, size.height, random);
    cur.fill(random, 0, 255);
    diff.fill(random, -100, 100);

    const auto before = diff.contents();
    ASSERT_EQ(qvoStatusOk,
              size.two(cur.origin(), cur.step(), forward.origin(), forward.step(), mcTypeF, backward.origin(),
                       backward.step(), mcTypeB, diff.origin(), diff.step(), roundControl));
    const auto after = diff.contents();
    diff.restore(before);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            diff.at(x, y) = low16(wrap32(2LL * cur.at(x, y) - forward.predict(x, y, roundControl) -
                                         backward.predict(x, y, roundControl)) >>
                                  1);
    ASSERT_EQ(diff.contents(), after);
}

}  // namespace

TEST(GetDiff, OneReferenceGivesSourceMinusPrediction) {
    Random random(51);
    for (const Size& size : sizes) {
        for (int i = 0; i < 300; ++i) {
            testOneReference(size, random);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(GetDiff, TwoReferencesGiveSourceMinusMean) {
    Random random(52);
    for (const Size& size : sizes) {
        for (int i = 0; i < 500; ++i) {
            testTwoReferences(size, random);
            if (HasFatalFailure()) return;
        }
    }
}

// What a decoder adds back gives the source again, with every position and both rounding controls.
TEST(GetDiff, MotionCompensationAddsItBack) {
    Random random(53);
    for (int roundControl : {0, 1}) {
        for (int kinds = 0; kinds < 16; ++kinds) {
            const int mcTypeF = kinds % 4 * 4, mcTypeB = kinds / 4 * 4;
            Reference forward(16, 16, 1, mcTypeF, random), backward(16, 16, 1, mcTypeB, random);
            std::vector<Qvo8u> cur(256), back(256);
            std::vector<Qvo16s> diff(256);
            random.fill(cur, 0, 255);
            qvoiGetDiff16x16B_8u16s_C1(cur.data(), 16, forward.origin(), forward.step(), mcTypeF, backward.origin(),
                                       backward.step(), mcTypeB, diff.data(), 32, roundControl);
            qvoiMC16x16B_8u_C1(forward.origin(), forward.step(), mcTypeF, backward.origin(), backward.step(), mcTypeB,
                               diff.data(), 32, back.data(), 16, roundControl);
            EXPECT_EQ(cur, back) << kinds;
            qvoiGetDiff16x16_8u16s_C1(cur.data(), 16, forward.origin(), forward.step(), diff.data(), 32, nullptr, 0,
                                      mcTypeF, roundControl);
            qvoiMC16x16_8u_C1(forward.origin(), forward.step(), diff.data(), 32, back.data(), 16, mcTypeF,
                              roundControl);
            EXPECT_EQ(cur, back) << kinds;
        }
    }
}

TEST(GetDiff4x4, StepOfTheDifferenceCountsElements) {
    Random random(54);
    for (int i = 0; i < 300; ++i) {
        Plane<Qvo8u> cur(4, 4, random), prediction(4, 4, random);
        Plane<Qvo16s> diff(4, 4, random);
        cur.fill(random, 0, 255);
        prediction.fill(random, 0, 255);
        const auto before = diff.contents();
        ASSERT_EQ(qvoStatusOk,
                  qvoiGetDiff4x4_8u16s_C1(cur.origin(), cur.step(), prediction.origin(), prediction.step(),
                                          diff.origin(), diff.step() / static_cast<int>(sizeof(Qvo16s))));
        const auto after = diff.contents();
        diff.restore(before);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x)
                diff.at(x, y) = difference(cur.at(x, y), prediction.at(x, y));
        ASSERT_EQ(diff.contents(), after);
    }
}

TEST(SumsDiff, SumsTheDifferencesOfEach4x4Block) {
    Random random(55);
    for (int i = 0; i < 400; ++i) {
        const int size = random.chance(50) ? 16 : 8, count = size * size / 16;
        const auto operation = size == 16 ? qvoiSumsDiff16x16Blocks4x4_8u16s_C1 : qvoiSumsDiff8x8Blocks4x4_8u16s_C1;
        Plane<Qvo8u> src(size, size, random), prediction(size, size, random);
        src.fill(random, 0, 255);
        prediction.fill(random, 0, 255);
        Guarded<Qvo16s> sums(static_cast<std::size_t>(count)), diff(static_cast<std::size_t>(size * size));
        const bool wanted = random.chance(70);
        ASSERT_EQ(qvoStatusOk, operation(src.origin(), src.step(), prediction.origin(), prediction.step(),
                                         sums.data(), wanted ? diff.data() : nullptr));
        std::vector<Qvo16s> expectedSums(sums.size()), expectedDiff(diff.size());
        for (int y = 0; y < size; ++y) {
            for (int x = 0; x < size; ++x) {
                const Qvo16s d = difference(src.at(x, y), prediction.at(x, y));
                Qvo16s& sum = expectedSums[static_cast<std::size_t>(y / 4 * (size / 4) + x / 4)];
                sum = low16(sum + d);
                if (wanted) expectedDiff[static_cast<std::size_t>(y * size + x)] = d;
            }
        }
        ASSERT_EQ(expectedSums, std::vector<Qvo16s>(sums.begin(), sums.end()));
        ASSERT_EQ(expectedDiff, std::vector<Qvo16s>(diff.begin(), diff.end()));
    }
}

TEST(TextureError, GivesDifferencesAndTheirMagnitude) {
    Random random(56);
    for (int i = 0; i < 300; ++i) {
        Plane<Qvo8u> src(8, 8, random), prediction(8, 8, 8, Guard::after);
        src.fill(random, 0, 255);
        prediction.fill(random, 0, 255);
        Guarded<Qvo16s> diff(64), diffSad(64);
        Qvo32s sad = -1, expectedSad = 0;
        ASSERT_EQ(qvoStatusOk,
                  qvoiComputeTextureErrorBlock_8u16s(src.origin(), src.step(), prediction.origin(), diff.data()));
        ASSERT_EQ(qvoStatusOk, qvoiComputeTextureErrorBlock_SAD_8u16s(src.origin(), src.step(), prediction.origin(),
                                                                      diffSad.data(), &sad));
        for (int n = 0; n < 64; ++n) {
            const Qvo16s d = difference(src.at(n % 8, n / 8), prediction.at(n % 8, n / 8));
            expectedSad += std::abs(d);
            ASSERT_EQ(d, diff[static_cast<std::size_t>(n)]);
            ASSERT_EQ(d, diffSad[static_cast<std::size_t>(n)]);
        }
        ASSERT_EQ(expectedSad, sad);
    }
}

TEST(Differences, NullPointersAreRefused) {
    const std::vector<Qvo8u> samples(17 * 18, 1);
    const std::vector<Qvo16s> untouched(256, 77);
    std::vector<Qvo16s> out = untouched, out2 = untouched;
    Qvo32s sad = 5;
    for (int null = 0; null < 5; ++null) {
        const Qvo8u* pCur = null == 0 ? nullptr : samples.data();
        const Qvo8u* pRef = null == 1 ? nullptr : samples.data();
        const Qvo8u* pRefB = null == 2 ? nullptr : samples.data();
        Qvo16s* pDiff = null == 3 ? nullptr : out.data();
        Qvo32s* pSAD = null == 4 ? nullptr : &sad;
        if (null != 4) {
            for (const Size& size : sizes) {
                EXPECT_EQ(qvoStatusNullPtr, size.two(pCur, 17, pRef, 17, 0, pRefB, 17, 0, pDiff, 32, 0));
                if (null != 2) {
                    EXPECT_EQ(qvoStatusNullPtr, size.one(pCur, 17, pRef, 17, pDiff, 32, out2.data(), 32, 0, 0));
                }
            }
        }
        if (null != 2) {
            EXPECT_EQ(qvoStatusBadArg, qvoiComputeTextureErrorBlock_SAD_8u16s(pCur, 8, pRef, pDiff, pSAD));
        }
        if (null != 2 && null != 4) {
            EXPECT_EQ(qvoStatusNullPtr, qvoiGetDiff4x4_8u16s_C1(pCur, 4, pRef, 4, pDiff, 4));
            EXPECT_EQ(qvoStatusNullPtr, qvoiSumsDiff16x16Blocks4x4_8u16s_C1(pCur, 17, pRef, 17, pDiff, out2.data()));
            EXPECT_EQ(qvoStatusNullPtr, qvoiSumsDiff8x8Blocks4x4_8u16s_C1(pCur, 17, pRef, 17, pDiff, out2.data()));
            EXPECT_EQ(qvoStatusBadArg, qvoiComputeTextureErrorBlock_8u16s(pCur, 8, pRef, pDiff));
        }
    }
    EXPECT_EQ(untouched, out);
    EXPECT_EQ(untouched, out2);
    EXPECT_EQ(5, sad);
}
