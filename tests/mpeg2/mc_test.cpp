#include <gtest/gtest.h>

#include <algorithm>

#include "mpeg2/halfpel.h"
#include "support/statuses.h"

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

void testPredictions(const Size& size, Random& random) {
    const int mcTypeF = randomMcType(random), mcTypeB = randomMcType(random);
    const int roundControl = randomRounding(random);
    SCOPED_TRACE(testing::Message() << size.name << ' ' << (mcTypeF & 12) << ' ' << (mcTypeB & 12) << ' '
                                    << roundControl);
    Reference forward(size.width, size.height, size.neighbour, mcTypeF, random);
    Reference backward(size.width, size.height, size.neighbour, mcTypeB, random);
    Plane<Qvo16s> residual(size.width, size.height, random);
    Plane<Qvo8u> dst(size.width, size.height, random);
    fillResidual(residual, random);
    dst.fill(random, 0, 255);

    const auto one = [&](int x, int y) {
        return saturate(wrap32(0LL + forward.predict(x, y, roundControl) + residual.at(x, y)));
    };
    const auto two = [&](int x, int y) {
        return saturate(wrap32(0LL + forward.predict(x, y, roundControl) + backward.predict(x, y, roundControl) +
                               2 * residual.at(x, y) + 1) >>
                        1);
    };
    auto expected = dst.contentsWith(one);
    ASSERT_EQ(qvoStatusOk, size.one(forward.origin(), forward.step(), residual.origin(), residual.step(),
                                    dst.origin(), dst.step(), mcTypeF, roundControl));
    ASSERT_EQ(expected, dst.contents());
    expected = dst.contentsWith(two);
    const auto predictTwo = [&](Plane<Qvo8u>& to) {
        return size.two(forward.origin(), forward.step(), mcTypeF, backward.origin(), backward.step(), mcTypeB,
                        residual.origin(), residual.step(), to.origin(), to.step(), roundControl);
    };
    ASSERT_EQ(qvoStatusOk, predictTwo(dst));
    ASSERT_EQ(expected, dst.contents());

    // The destination may be a reference: its samples are replaced from the first on, those beyond the block stay.
    expected = backward.contentsWith(
        [&](int x, int y) { return x < size.width && y < size.height ? two(x, y) : backward.at(x, y); });
    ASSERT_EQ(qvoStatusOk, predictTwo(backward));
    ASSERT_EQ(expected, backward.contents());
    expected = forward.contentsWith(
        [&](int x, int y) { return x < size.width && y < size.height ? one(x, y) : forward.at(x, y); });
    ASSERT_EQ(qvoStatusOk, size.one(forward.origin(), forward.step(), residual.origin(), residual.step(),
                                    forward.origin(), forward.step(), mcTypeF, roundControl));
    ASSERT_EQ(expected, forward.contents());
}

}  // namespace

TEST(MotionCompensation, OneOrTwoReferencesGiveTheirMeanPlusTheResidual) {
    Random random(34);
    for (const Size& size : sizes)
        for (int i = 0; i < 600 && !HasFatalFailure(); ++i)
            testPredictions(size, random);
}

TEST(MotionCompensation, NullPointersAreRefused) {
    const std::vector<Qvo8u> f(17 * 18, 1);
    const std::vector<Qvo16s> residual(256, 3);
    std::vector<Qvo8u> dst(256, 77);
    for (const Size& size : sizes) {
        expectStatuses(dst, size.one, {f.data(), 18, residual.data(), 32, dst.data(), 16, 0, 0},
                       {{qvoStatusNullPtr, {0, 2, 4}}});
        expectStatuses(dst, size.two, {f.data(), 18, 0, f.data(), 18, 0, residual.data(), 32, dst.data(), 16, 0},
                       {{qvoStatusNullPtr, {0, 3, 6, 8}}});
    }
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
        const auto expected =
            dst.contentsWith([&](int x, int y) { return saturate(prediction.at(x, y) + residual.at(x, y)); });
        ASSERT_EQ(qvoStatusOk, qvoiReconBlock_8x8(prediction.origin(), prediction.step(), residual.origin(),
                                                  dst.origin(), dst.step()));
        ASSERT_EQ(expected, dst.contents());
    }
    const std::vector<Qvo8u> p(64, 1);
    const std::vector<Qvo16s> residual(64, 3);
    std::vector<Qvo8u> dst(64, 77);
    expectStatuses(dst, qvoiReconBlock_8x8, {p.data(), 8, residual.data(), dst.data(), 8},
                   {{qvoStatusNullPtr, {0, 2, 3}}, {qvoStatusStep8, {1, 4}, {7, -8}}});
}
