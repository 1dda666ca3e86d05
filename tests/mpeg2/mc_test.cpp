#include <gtest/gtest.h>

#include <algorithm>

#include "mpeg2/halfpel.h"

namespace {

using OneReference = QvoStatus (*)(const Qvo8u*, Qvo32s, const Qvo16s*, Qvo32s, Qvo8u*, Qvo32s, Qvo32s, Qvo32s);
using TwoReferences = QvoStatus (*)(const Qvo8u*, Qvo32s, Qvo32s, const Qvo8u*, Qvo32s, Qvo32s, const Qvo16s*, Qvo32s,
                                    Qvo8u*, Qvo32s, Qvo32s);

struct Size {
    const char* name;
    int width, height, neighbour;
    OneReference one;
    TwoReferences two;
};

const Size sizes[] = {{"16x16", 16, 16, 1, qvoiMC16x16_8u_C1, qvoiMC16x16B_8u_C1},
                      {"16x8", 16, 8, 1, qvoiMC16x8_8u_C1, qvoiMC16x8B_8u_C1},
                      {"16x8UV", 16, 8, 2, qvoiMC16x8UV_8u_C1, qvoiMC16x8BUV_8u_C1},
                      {"16x4", 16, 4, 2, qvoiMC16x4_8u_C1, qvoiMC16x4B_8u_C1},
                      {"8x16", 8, 16, 1, qvoiMC8x16_8u_C1, qvoiMC8x16B_8u_C1},
                      {"8x8", 8, 8, 1, qvoiMC8x8_8u_C1, qvoiMC8x8B_8u_C1},
                      {"8x4", 8, 4, 1, qvoiMC8x4_8u_C1, qvoiMC8x4B_8u_C1},
                      {"4x8", 4, 8, 1, qvoiMC4x8_8u_C1, qvoiMC4x8B_8u_C1},
                      {"4x4", 4, 4, 1, qvoiMC4x4_8u_C1, qvoiMC4x4B_8u_C1},
                      {"4x2", 4, 2, 1, qvoiMC4x2_8u_C1, qvoiMC4x2B_8u_C1},
                      {"2x4", 2, 4, 1, qvoiMC2x4_8u_C1, qvoiMC2x4B_8u_C1},
                      {"2x2", 2, 2, 1, qvoiMC2x2_8u_C1, qvoiMC2x2B_8u_C1}};

Qvo8u saturate(int v) {
    return static_cast<Qvo8u>(std::clamp(v, 0, 255));
}

// A residual as a decoder's, or of any 16-bit values.
void fillResidual(Plane<Qvo16s>& residual, Random& random) {
    if (random.chance(60))
        residual.fill(random, -256, 255);
    else
        residual.fill(random, -32768, 32767);
}

void testOneReference(const Size& size, Random& random) {
    const int mcType = randomMcType(random), roundControl = randomRounding(random);
    SCOPED_TRACE(testing::Message() << size.name << ' ' << (mcType & 12) << ' ' << roundControl);
    Reference reference(size.width, size.height, size.neighbour, mcType, random);
    Plane<Qvo16s> residual(size.width, size.height, random);
    Plane<Qvo8u> dst(size.width, size.height, random);
    fillResidual(residual, random);
    dst.fill(random, 0, 255);

    const auto before = dst.contents();
    ASSERT_EQ(qvoStatusOk, size.one(reference.origin(), reference.step(), residual.origin(), residual.step(),
                                    dst.origin(), dst.step(), mcType, roundControl));
    const auto after = dst.contents();
    dst.restore(before);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            dst.at(x, y) = saturate(wrap32(0LL + reference.predict(x, y, roundControl) + residual.at(x, y)));
    ASSERT_EQ(dst.contents(), after);
}

void testTwoReferences(const Size& size, Random& random) {
    const int mcTypeF = randomMcType(random), mcTypeB = randomMcType(random);
    const int roundControl = randomRounding(random);
    SCOPED_TRACE(testing::Message() << size.name << "B " << (mcTypeF & 12) << ' ' << (mcTypeB & 12) << ' '
                                    << roundControl);
    Reference forward(size.width, size.height, size.neighbour, mcTypeF, random);
    Reference backward(size.width, size.height, size.neighbour, mcTypeB, random);
    Plane<Qvo16s> residual(size.width, size.height, random);
    Plane<Qvo8u> dst(size.width, size.height, random);
    fillResidual(residual, random);
    dst.fill(random, 0, 255);

    const auto before = dst.contents();
    ASSERT_EQ(qvoStatusOk,
              size.two(forward.origin(), forward.step(), mcTypeF, backward.origin(), backward.step(), mcTypeB,
                       residual.origin(), residual.step(), dst.origin(), dst.step(), roundControl));
    const auto after = dst.contents();
    dst.restore(before);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            dst.at(x, y) = saturate(wrap32(0LL + forward.predict(x, y, roundControl) +
                                           backward.predict(x, y, roundControl) + 2 * residual.at(x, y) + 1) >>
                                    1);
    ASSERT_EQ(dst.contents(), after);
}

}  // namespace

TEST(MotionCompensation, OneReferenceGivesThePredictionPlusTheResidual) {
    Random random(34);
    for (const Size& size : sizes) {
        for (int i = 0; i < 300; ++i) {
            testOneReference(size, random);
            if (HasFatalFailure()) return;
        }
    }
}

TEST(MotionCompensation, TwoReferencesGiveTheMeanPlusTheResidual) {
    Random random(35);
    for (const Size& size : sizes) {
        for (int i = 0; i < 600; ++i) {
            testTwoReferences(size, random);
            if (HasFatalFailure()) return;
        }
    }
}

// Figures by hand, beside the formulas above.
TEST(MotionCompensation, RoundsAsStated) {
    const Qvo16s none[4] = {};
    const Qvo8u pair[] = {10, 11, 10, 11, 10, 11};  // with step 2: columns 10 and 11, plus one spare
    Qvo8u dst[4];
    ASSERT_EQ(qvoStatusOk, qvoiMC2x2_8u_C1(pair, 2, none, 4, dst, 2, qvoMcHalfPelHor, 1));
    EXPECT_EQ(10, dst[0]);
    ASSERT_EQ(qvoStatusOk, qvoiMC2x2_8u_C1(pair, 2, none, 4, dst, 2, qvoMcHalfPelHor, 0));
    EXPECT_EQ(11, dst[0]);

    const Qvo8u one[] = {0, 0, 9, 0, 1, 9, 9, 9, 9}, three[] = {1, 1, 9, 1, 0, 9, 9, 9, 9};
    ASSERT_EQ(qvoStatusOk, qvoiMC2x2_8u_C1(one, 3, none, 4, dst, 2, qvoMcHalfPelBoth, 0));
    EXPECT_EQ(0, dst[0]);
    ASSERT_EQ(qvoStatusOk, qvoiMC2x2_8u_C1(three, 3, none, 4, dst, 2, qvoMcHalfPelBoth, 0));
    EXPECT_EQ(1, dst[0]);

    for (int roundControl : {0, 1}) {
        ASSERT_EQ(qvoStatusOk,
                  qvoiMC2x2B_8u_C1(pair, 2, qvoMcFullPel, pair + 1, 2, qvoMcFullPel, none, 4, dst, 2, roundControl));
        EXPECT_EQ(11, dst[0]);
    }

    // Alternating U 0 and V 200: neighbours of the same kind only, so nothing mixes.
    Qvo8u chroma[4 * 18], out[4 * 16];
    const Qvo16s zero[16] = {};
    for (int i = 0; i < 4 * 18; ++i)
        chroma[i] = i % 2 ? 200 : 0;
    ASSERT_EQ(qvoStatusOk, qvoiMC16x4_8u_C1(chroma, 18, zero, 0, out, 16, qvoMcHalfPelHor, 0));
    for (int i = 0; i < 4 * 16; ++i)
        ASSERT_EQ(i % 2 ? 200 : 0, out[i]);
}

// The destination may be a reference, whatever the rounding control is.
TEST(MotionCompensation, MayPredictInPlace) {
    Random random(36);
    const Qvo16s zero[16] = {};
    for (const Size& size : sizes) {
        for (int mcType : {0, 4, 8, 12}) {
            for (int roundControl : {0, 1, -3}) {
                std::vector<Qvo8u> plane(24 * 17), other(24 * 17);
                random.fill(plane, 0, 255);
                random.fill(other, 0, 255);
                auto apart = plane;
                for (auto* dst : {&apart, &plane})
                    size.one(plane.data(), 24, zero, 0, dst->data(), 24, mcType, roundControl);
                EXPECT_EQ(apart, plane) << size.name << ' ' << mcType << ' ' << roundControl;
                for (auto* dst : {&apart, &plane})
                    size.two(other.data(), 24, 12 - mcType, plane.data(), 24, mcType, zero, 0, dst->data(), 24,
                             roundControl);
                EXPECT_EQ(apart, plane) << size.name << "B " << mcType << ' ' << roundControl;
            }
        }
    }
}

TEST(MotionCompensation, NullPointersAreRefused) {
    std::vector<Qvo8u> f(17 * 18, 1), b(17 * 18, 2), dst(256, 77);
    const std::vector<Qvo16s> residual(256, 3);
    for (const Size& size : sizes) {
        for (int null = 0; null < 4; ++null) {
            const Qvo8u* pF = null == 0 ? nullptr : f.data();
            const Qvo8u* pB = null == 1 ? nullptr : b.data();
            const Qvo16s* pResidual = null == 2 ? nullptr : residual.data();
            Qvo8u* pDst = null == 3 ? nullptr : dst.data();
            EXPECT_EQ(qvoStatusNullPtr, size.two(pF, 18, 0, pB, 18, 0, pResidual, 32, pDst, 16, 0)) << size.name;
            if (null != 1) {
                EXPECT_EQ(qvoStatusNullPtr, size.one(pF, 18, pResidual, 32, pDst, 16, 0, 0)) << size.name;
            }
        }
    }
    EXPECT_EQ(std::vector<Qvo8u>(256, 77), dst);
}

TEST(ReconBlock, AddsTheResidualAndSaturates) {
    Random random(37);
    for (int i = 0; i < 500; ++i) {
        const Guard guard = random.chance(50) ? Guard::after : Guard::before;
        Plane<Qvo8u> prediction(8, 8, random.range(8, 20), guard), dst(8, 8, random.range(8, 20), guard);
        Plane<Qvo16s> residual(8, 8, 16, guard);
        prediction.fill(random, 0, 255);
        fillResidual(residual, random);
        dst.fill(random, 0, 255);

        const auto before = dst.contents();
        ASSERT_EQ(qvoStatusOk, qvoiReconBlock_8x8(prediction.origin(), prediction.step(), residual.origin(),
                                                  dst.origin(), dst.step()));
        const auto after = dst.contents();
        dst.restore(before);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x)
                dst.at(x, y) = saturate(prediction.at(x, y) + residual.at(x, y));
        ASSERT_EQ(dst.contents(), after);
    }
}

TEST(ReconBlock, RefusesNullPointersThenShortSteps) {
    const std::vector<Qvo8u> p(64, 1);
    const std::vector<Qvo16s> residual(64, 3);
    std::vector<Qvo8u> dst(64, 77);
    EXPECT_EQ(qvoStatusNullPtr, qvoiReconBlock_8x8(nullptr, 7, residual.data(), dst.data(), 8));
    EXPECT_EQ(qvoStatusNullPtr, qvoiReconBlock_8x8(p.data(), 8, nullptr, dst.data(), 7));
    EXPECT_EQ(qvoStatusNullPtr, qvoiReconBlock_8x8(p.data(), 8, residual.data(), nullptr, 7));
    EXPECT_EQ(qvoStatusStep8, qvoiReconBlock_8x8(p.data(), 8, residual.data(), dst.data(), 7));
    EXPECT_EQ(qvoStatusStep8, qvoiReconBlock_8x8(p.data(), 7, residual.data(), dst.data(), 8));
    EXPECT_EQ(qvoStatusStep8, qvoiReconBlock_8x8(p.data(), -8, residual.data(), dst.data(), 8));
    EXPECT_EQ(std::vector<Qvo8u>(64, 77), dst);
}
