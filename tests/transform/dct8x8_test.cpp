#include <gtest/gtest.h>

#include <algorithm>

#include "support/guarded.h"
#include "support/random.h"
#include "transform/blocks.h"

namespace {

// ---- the one-dimensional flows, step by step ----

struct Flow {
    Wrapping s[8];
};

Flow finishInverse(Wrapping a17, Wrapping b17, Wrapping a35, Wrapping b35, Wrapping z0, Wrapping z1, Wrapping r2,
                   Wrapping r6) {
    const Wrapping p0 = ((a35 + a17 + 2048) >> 12) * 5793;
    const Wrapping p3 = ((b35 + b17 + 2048) >> 12) * 5793;
    const Wrapping d = a17 - a35, e = b17 - b35;
    const Wrapping p1 = d + e, p2 = d - e;
    const Wrapping e0 = z0 + r2, e3 = z0 - r2, e1 = z1 + r6, e2 = z1 - r6;
    return {{e0 + p0, e1 + p1, e2 + p2, e3 + p3, e3 - p3, e2 - p2, e1 - p1, e0 - p0}};
}

Flow inverseFlow(const Wrapping (&x)[8]) {
    const Wrapping t35 = (x[5] + x[3]) * 27246;
    const Wrapping a35 = Wrapping(-9041) * x[5] + t35;
    const Wrapping b35 = t35 - Wrapping(45451) * x[3];
    const Wrapping t17 = (x[1] + x[7]) * 6393;
    const Wrapping a17 = Wrapping(25746) * x[1] + t17;
    const Wrapping b17 = t17 - Wrapping(38531) * x[7];
    const Wrapping t26 = (x[2] + x[6]) * 17734;
    return finishInverse(a17, b17, a35, b35, (x[0] + x[4]) * 32768, (x[0] - x[4]) * 32768,
                         Wrapping(25080) * x[2] + t26, t26 - Wrapping(60547) * x[6]);
}

Flow cornerFlow(const Wrapping (&x)[8]) {
    return finishInverse(Wrapping(32138) * x[1], Wrapping(6393) * x[1], Wrapping(27246) * x[3],
                         -(Wrapping(18205) * x[3]), x[0] * 32768, x[0] * 32768, Wrapping(42813) * x[2],
                         Wrapping(17734) * x[2]);
}

Block inverseByFlow(const Block& in, int corner = 8) {
    Block mid{}, out{};
    for (int c = 0; c < corner; ++c) {
        Wrapping x[8];
        for (int k = 0; k < corner; ++k)
            x[k] = in[8 * k + c];
        const Flow f = corner == 8 ? inverseFlow(x) : cornerFlow(x);
        for (int k = 0; k < 8; ++k)
            mid[8 * k + c] = low16((f.s[k] + 2048) >> 12);
    }
    for (int r = 0; r < 8; ++r) {
        Wrapping x[8];
        for (int k = 0; k < corner; ++k)
            x[k] = mid[8 * r + k];
        const Flow f = corner == 8 ? inverseFlow(x) : cornerFlow(x);
        for (int k = 0; k < 8; ++k)
            out[8 * r + k] = low16((f.s[k] + 1048576) >> 21);
    }
    return out;
}

void forwardFlow(const Wrapping (&x)[8], bool columnPass, Wrapping (&out)[8]) {
    const Wrapping a = (x[0] + x[7]) + (x[3] + x[4]), b = (x[0] + x[7]) - (x[3] + x[4]);
    const Wrapping c = (x[1] + x[6]) + (x[2] + x[5]), d = (x[1] + x[6]) - (x[2] + x[5]);
    const Wrapping m = (b + d) * 17734;
    const Wrapping q0 = ((x[0] - x[7]) * 46341 + 2048) >> 12, q3 = ((x[3] - x[4]) * 46341 + 2048) >> 12;
    const Wrapping u = ((x[1] - x[6]) + (x[2] - x[5])) * 8, w = ((x[1] - x[6]) - (x[2] - x[5])) * 8;
    const Wrapping k1 = q0 + u, k2 = q0 - u, k3 = q3 + w, k4 = q3 - w;
    const Wrapping h17 = (k1 + k3) * 799, h35 = (k2 + k4) * 3406;
    const Wrapping round = columnPass ? 1048576 : 2048;
    const int shift = columnPass ? 21 : 12;
    out[0] = columnPass ? (a + c + 32) >> 6 : (a + c) * 8;
    out[4] = columnPass ? (a - c + 32) >> 6 : (a - c) * 8;
    out[2] = (Wrapping(25080) * b + m + round) >> shift;
    out[6] = (m - Wrapping(60547) * d + round) >> shift;
    out[1] = (h17 + Wrapping(3218) * k1 + round) >> shift;
    out[7] = (h17 - Wrapping(4816) * k3 + round) >> shift;
    out[3] = (h35 - Wrapping(5681) * k4 + round) >> shift;
    out[5] = (h35 + Wrapping(-1130) * k2 + round) >> shift;
}

Block forwardByFlow(const Block& in) {
    Block mid{}, result{};
    Wrapping x[8], out[8];
    for (int r = 0; r < 8; ++r) {
        for (int k = 0; k < 8; ++k)
            x[k] = in[8 * r + k];
        forwardFlow(x, false, out);
        for (int k = 0; k < 8; ++k)
            mid[8 * r + k] = low16(out[k]);
    }
    for (int c = 0; c < 8; ++c) {
        for (int k = 0; k < 8; ++k)
            x[k] = mid[8 * k + c];
        forwardFlow(x, true, out);
        for (int k = 0; k < 8; ++k)
            result[8 * k + c] = low16(out[k]);
    }
    return result;
}

// ---- input of every kind: small, in range, dense extremes that wrap everywhere, few coefficients ----

Block someBlock(Random& random, int kind) {
    Block block{};
    switch (kind % 6) {
        case 0:
            random.fill(block, -255, 255);
            break;
        case 1:
            random.fill(block, -2048, 2047);
            break;
        case 2:
            random.fill(block, -32768, 32767);
            break;
        case 3:
            for (auto& e : block)
                e = random.chance(50) ? 32767 : -32768;
            break;
        case 4:
            for (auto& e : block)
                e = random.chance(50) ? 255 : -255;
            break;
        default:
            for (int i = random.range(0, 5); i >= 0; --i) {
                block[random.range(0, 63)] = static_cast<Qvo16s>(random.range(-2048, 2047));
            }
    }
    return block;
}

TEST(Dct8x8, InverseFollowsTheFlowBitForBit) {
    Random random(1);
    for (int i = 0; i < 6000; ++i) {
        const Block in = someBlock(random, i);
        const Block expected = inverseByFlow(in);
        Block out;
        ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Inv_16s_C1(in.data(), out.data()));
        ASSERT_EQ(expected, out) << i;
        out = in;
        ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Inv_16s_C1I(out.data()));
        ASSERT_EQ(expected, out) << i;
        out = in;
        ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Inv_16s_C1(out.data(), out.data()));
        ASSERT_EQ(expected, out) << i;
    }
}

TEST(Dct8x8, InverseOfEachSingleCoefficient) {
    for (int position = 0; position < 64; ++position) {
        for (const int value : {1, -1, 8, -8, 100, 2047, -2048, 32767, -32768}) {
            Block in{}, out;
            in[position] = static_cast<Qvo16s>(value);
            qvoiDCT8x8Inv_16s_C1(in.data(), out.data());
            ASSERT_EQ(inverseByFlow(in), out) << position << ' ' << value;
        }
    }
}

TEST(Dct8x8, InverseOfEveryDc) {
    for (int dc = -32768; dc <= 32767; ++dc) {
        Block in{}, out;
        in[0] = static_cast<Qvo16s>(dc);
        qvoiDCT8x8Inv_16s_C1(in.data(), out.data());
        ASSERT_EQ(64, std::count(out.begin(), out.end(), inverseByFlow(in)[0])) << dc;
    }
}

TEST(Dct8x8, CornerFormsFollowTheirFlowAndReadNothingElse) {
    Random random(2);
    for (int i = 0; i < 6000; ++i) {
        const Block in = someBlock(random, i);
        Block four = in, two = in;
        ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Inv_4x4_16s_C1I(four.data()));
        ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Inv_2x2_16s_C1I(two.data()));
        ASSERT_EQ(inverseByFlow(in, 4), four) << i;
        ASSERT_EQ(inverseByFlow(in, 2), two) << i;
    }
}

TEST(Dct8x8, CornerFormsDifferFromTheFullOneByAtMostOneAndSometimesDo) {
    int different = 0;
    for (int value = -2048; value <= 2047; ++value) {
        Block full{};
        full[1] = static_cast<Qvo16s>(value);
        Block four = full, two = full;
        qvoiDCT8x8Inv_16s_C1I(full.data());
        qvoiDCT8x8Inv_4x4_16s_C1I(four.data());
        qvoiDCT8x8Inv_2x2_16s_C1I(two.data());
        ASSERT_EQ(four, two);
        for (int i = 0; i < 64; ++i)
            ASSERT_LE(std::abs(full[i] - four[i]), 1) << value;
        different += full != four;
    }
    EXPECT_GT(different, 0);
}

TEST(Dct8x8, PixelFormsSaturateTheInverse) {
    Random random(3);
    for (int i = 0; i < 3000; ++i) {
        const Block in = someBlock(random, i);
        const Block residual = inverseByFlow(in);
        for (const int step : {8, 11, 5, 1}) {
            std::array<Qvo8u, 100> expected, out;
            expected.fill(0xA5);
            for (int k = 0; k < 64; ++k) {
                expected[step * (k / 8) + k % 8] = static_cast<Qvo8u>(std::clamp<int>(residual[k], 0, 255));
            }
            out.fill(0xA5);
            ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Inv_16s8u_C1R(in.data(), out.data(), step));
            ASSERT_EQ(expected, out) << i << " step " << step;
            if (step < 8) continue;
            out.fill(0xA5);
            ASSERT_EQ(qvoStatusOk, qvoiDCTInv_8x8_16s8u(in.data(), out.data(), step));
            ASSERT_EQ(expected, out) << i << " step " << step;
        }
    }
}

TEST(Dct8x8, ForwardFollowsTheFlowBitForBit) {
    Random random(4);
    for (int i = 0; i < 6000; ++i) {
        const Block in = someBlock(random, i);
        const Block expected = forwardByFlow(in);
        Block out;
        ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Fwd_16s_C1(in.data(), out.data()));
        ASSERT_EQ(expected, out) << i;
        out = in;
        ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Fwd_16s_C1(out.data(), out.data()));
        ASSERT_EQ(expected, out) << i;
    }
}

TEST(Dct8x8, ForwardOfPixelsAtAnyStep) {
    Random random(5);
    for (int i = 0; i < 1000; ++i) {
        for (const int step : {8, 13, 3, 1}) {
            Guarded<Qvo8u> pixels(7 * step + 8);
            for (auto& e : pixels)
                e = static_cast<Qvo8u>(i % 2 ? random.range(0, 255) : 255 * random.range(0, 1));
            Block in, out;
            for (int k = 0; k < 64; ++k)
                in[k] = pixels[step * (k / 8) + k % 8];
            ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Fwd_8u16s_C1R(pixels.data(), step, out.data()));
            ASSERT_EQ(forwardByFlow(in), out) << i << " step " << step;
        }
    }
}

TEST(Dct8x8, ForwardAndInverseAreTheRealTransformsRounded) {
    Random random(6);
    double inverseError = 0, forwardError = 0;
    for (int i = 0; i < 2000; ++i) {
        Block in, out;
        random.fill(in, -256, 255);
        qvoiDCT8x8Fwd_16s_C1(in.data(), out.data());
        const Real coefficients = forwardReal(dct8, in);
        for (int k = 0; k < 64; ++k)
            forwardError = std::max(forwardError, std::abs(coefficients[k] - out[k]));
        Block back;
        qvoiDCT8x8Inv_16s_C1(out.data(), back.data());
        const Real samples = inverseReal(dct8, out);
        for (int k = 0; k < 64; ++k)
            inverseError = std::max(inverseError, std::abs(samples[k] - back[k]));
    }
    EXPECT_LT(forwardError, 0.9);
    EXPECT_LT(inverseError, 0.75);
}

TEST(Dct8x8, FlatBlocks) {
    Block in{}, out;
    in[0] = 8;
    qvoiDCT8x8Inv_16s_C1(in.data(), out.data());
    EXPECT_EQ(64, std::count(out.begin(), out.end(), 1));
    std::array<Qvo8u, 64> white;
    white.fill(255);
    qvoiDCT8x8Fwd_8u16s_C1R(white.data(), 8, out.data());
    EXPECT_EQ(2040, out[0]);
    EXPECT_EQ(63, std::count(out.begin(), out.end(), 0));
}

TEST(Dct8x8, NothingOutsideTheBlocksIsTouched) {
    for (const Guard guard : {Guard::after, Guard::before}) {
        Guarded<Qvo16s> source(64, guard), destination(64, guard);
        Guarded<Qvo8u> pixels(7 * 20 + 8, guard);
        qvoiDCT8x8Fwd_16s_C1(source.data(), destination.data());
        qvoiDCT8x8Fwd_8u16s_C1R(pixels.data(), 20, destination.data());
        qvoiDCT8x8Inv_16s_C1(source.data(), destination.data());
        qvoiDCT8x8Inv_16s8u_C1R(source.data(), pixels.data(), 20);
        qvoiDCTInv_8x8_16s8u(source.data(), pixels.data(), 20);
        qvoiDCT8x8Inv_4x4_16s_C1I(source.data());
        qvoiDCT8x8Inv_2x2_16s_C1I(source.data());
    }
}

TEST(Dct8x8, StatusesInOrder) {
    Block in{}, out;
    in[0] = 800;
    out.fill(77);
    const Block untouched = out;
    std::array<Qvo8u, 64> pixels;
    pixels.fill(77);
    const auto untouchedPixels = pixels;
    const struct {
        QvoStatus expected, status;
    } cases[] = {
        {qvoStatusNullPtr, qvoiDCT8x8Fwd_16s_C1(nullptr, out.data())},
        {qvoStatusNullPtr, qvoiDCT8x8Fwd_16s_C1(in.data(), nullptr)},
        {qvoStatusNullPtr, qvoiDCT8x8Fwd_8u16s_C1R(nullptr, 0, out.data())},
        {qvoStatusNullPtr, qvoiDCT8x8Fwd_8u16s_C1R(pixels.data(), 0, nullptr)},
        {qvoStatusStep, qvoiDCT8x8Fwd_8u16s_C1R(pixels.data(), 0, out.data())},
        {qvoStatusStep, qvoiDCT8x8Fwd_8u16s_C1R(pixels.data(), -8, out.data())},
        {qvoStatusNullPtr, qvoiDCT8x8Inv_16s_C1(nullptr, out.data())},
        {qvoStatusNullPtr, qvoiDCT8x8Inv_16s_C1(in.data(), nullptr)},
        {qvoStatusNullPtr, qvoiDCT8x8Inv_16s_C1I(nullptr)},
        {qvoStatusNullPtr, qvoiDCT8x8Inv_16s8u_C1R(nullptr, pixels.data(), 0)},
        {qvoStatusNullPtr, qvoiDCT8x8Inv_16s8u_C1R(in.data(), nullptr, 0)},
        {qvoStatusStep, qvoiDCT8x8Inv_16s8u_C1R(in.data(), pixels.data(), 0)},
        {qvoStatusStep, qvoiDCT8x8Inv_16s8u_C1R(in.data(), pixels.data(), -8)},
        {qvoStatusNullPtr, qvoiDCT8x8Inv_4x4_16s_C1I(nullptr)},
        {qvoStatusNullPtr, qvoiDCT8x8Inv_2x2_16s_C1I(nullptr)},
        {qvoStatusNullPtr, qvoiDCTInv_8x8_16s8u(nullptr, nullptr, 7)},
        {qvoStatusNullPtr, qvoiDCTInv_8x8_16s8u(in.data(), nullptr, 8)},
        {qvoStatusBlockStep, qvoiDCTInv_8x8_16s8u(nullptr, pixels.data(), 7)},
        {qvoStatusBlockStep, qvoiDCTInv_8x8_16s8u(in.data(), pixels.data(), -8)},
        {qvoStatusNullPtr, qvoiDCTInv_8x8_16s8u(nullptr, pixels.data(), 8)},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.expected, c.status) << "case " << (&c - cases);
    EXPECT_EQ(untouched, out);
    EXPECT_EQ(untouchedPixels, pixels);
}

}  // namespace
