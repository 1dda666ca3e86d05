#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/guarded.h"
#include "support/random.h"
#include "support/statuses.h"
#include "transform/blocks.h"

namespace {

// ---- the one-dimensional flows, step by step ----

using Line = std::array<Wrapping, 8>;

// Sends each column (along = 8) or row (along = 1) through a flow; the results keep 16 bits.
template <class Flow>
Block pass(const Block& in, int along, Flow flow) {
    Block out;
    for (int line = 0; line < 8; ++line) {
        const int first = line * (9 - along);
        Line x;
        for (int k = 0; k < 8; ++k)
            x[k] = in[first + k * along];
        const Line y = flow(x);
        for (int k = 0; k < 8; ++k)
            out[first + k * along] = low16(y[k]);
    }
    return out;
}

Line finishInverse(Wrapping a17, Wrapping b17, Wrapping a35, Wrapping b35, Wrapping z0, Wrapping z1, Wrapping r2,
                   Wrapping r6) {
    const Wrapping p0 = ((a35 + a17 + 2048) >> 12) * 5793;
    const Wrapping p3 = ((b35 + b17 + 2048) >> 12) * 5793;
    const Wrapping d = a17 - a35, e = b17 - b35;
    const Wrapping p1 = d + e, p2 = d - e;
    const Wrapping e0 = z0 + r2, e3 = z0 - r2, e1 = z1 + r6, e2 = z1 - r6;
    return {e0 + p0, e1 + p1, e2 + p2, e3 + p3, e3 - p3, e2 - p2, e1 - p1, e0 - p0};
}

Line inverseFlow(const Line& x) {
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

Line cornerFlow(const Line& x) {
    return finishInverse(Wrapping(32138) * x[1], Wrapping(6393) * x[1], Wrapping(27246) * x[3],
                         -(Wrapping(18205) * x[3]), x[0] * 32768, x[0] * 32768, Wrapping(42813) * x[2],
                         Wrapping(17734) * x[2]);
}

// Of a corner of the block only, the others counting as zero.
Block inverseByFlow(Block in, int corner = 8) {
    for (int i = 0; i < 64; ++i)
        if (i % 8 >= corner || i / 8 >= corner) in[i] = 0;
    const auto rounded = [&](int shift) {
        return [=](const Line& x) {
            Line sums = corner == 8 ? inverseFlow(x) : cornerFlow(x);
            for (Wrapping& sum : sums)
                sum = (sum + (1 << (shift - 1))) >> shift;
            return sums;
        };
    };
    return pass(pass(in, 8, rounded(12)), 1, rounded(21));
}

Line forwardFlow(const Line& x, bool columnPass) {
    const Wrapping a = (x[0] + x[7]) + (x[3] + x[4]), b = (x[0] + x[7]) - (x[3] + x[4]);
    const Wrapping c = (x[1] + x[6]) + (x[2] + x[5]), d = (x[1] + x[6]) - (x[2] + x[5]);
    const Wrapping m = (b + d) * 17734;
    const Wrapping q0 = ((x[0] - x[7]) * 46341 + 2048) >> 12, q3 = ((x[3] - x[4]) * 46341 + 2048) >> 12;
    const Wrapping u = ((x[1] - x[6]) + (x[2] - x[5])) * 8, w = ((x[1] - x[6]) - (x[2] - x[5])) * 8;
    const Wrapping k1 = q0 + u, k2 = q0 - u, k3 = q3 + w, k4 = q3 - w;
    const Wrapping h17 = (k1 + k3) * 799, h35 = (k2 + k4) * 3406;
    const int shift = columnPass ? 21 : 12;
    const auto whole = [&](Wrapping v) { return columnPass ? (v + 32) >> 6 : v * 8; };
    const auto scaled = [&](Wrapping v) { return (v + (1 << (shift - 1))) >> shift; };
    return {whole(a + c),
            scaled(h17 + Wrapping(3218) * k1),
            scaled(Wrapping(25080) * b + m),
            scaled(h35 - Wrapping(5681) * k4),
            whole(a - c),
            scaled(h35 + Wrapping(-1130) * k2),
            scaled(m - Wrapping(60547) * d),
            scaled(h17 - Wrapping(4816) * k3)};
}

Block forwardByFlow(const Block& in) {
    const Block rows = pass(in, 1, [](const Line& x) { return forwardFlow(x, false); });
    return pass(rows, 8, [](const Line& x) { return forwardFlow(x, true); });
}

// Blocks of every kind: small, in range, dense extremes that wrap everywhere, few coefficients, the DC alone.
Block someBlock(Random& random, int kind) {
    Block block{};
    const int range = kind % 6 == 0 ? 255 : kind % 6 == 1 ? 2047 : 32767;
    if (kind % 6 < 3) {
        random.fill(block, -range - 1, range);
    } else if (kind % 6 == 3) {
        for (auto& e : block)
            e = random.chance(50) ? 32767 : -32768;
    } else {
        const bool wide = random.chance(50);
        for (int i = random.range(0, 5); i >= 0; --i)
            block[kind % 6 == 4 ? 0 : random.range(0, 63)] =
                static_cast<Qvo16s>(random.range(wide ? -32768 : -2048, wide ? 32767 : 2047));
    }
    return block;
}

// All forms, in memory that begins or ends with the block.
TEST(Dct8x8, FollowsTheFlowBitForBit) {
    Random random(1);
    for (int i = 0; i < 12000; ++i) {
        const Guard guard = i % 12 < 6 ? Guard::after : Guard::before;
        const Block in = someBlock(random, i), inverse = inverseByFlow(in);
        Guarded<Qvo16s> source(64, guard), out(64, guard);
        const auto is = [](Guarded<Qvo16s>& memory, const Block& expected) {
            return std::equal(expected.begin(), expected.end(), memory.begin());
        };
        const auto inPlace = [&](auto operation) {
            std::copy(in.begin(), in.end(), out.begin());
            return operation(out.data()) == qvoStatusOk;
        };
        std::copy(in.begin(), in.end(), source.begin());
        ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Inv_16s_C1(source.data(), out.data()));
        ASSERT_TRUE(is(out, inverse) && is(source, in)) << i;
        ASSERT_TRUE(inPlace(qvoiDCT8x8Inv_16s_C1I) && is(out, inverse)) << i;
        ASSERT_TRUE(inPlace([](Qvo16s* p) { return qvoiDCT8x8Inv_16s_C1(p, p); }) && is(out, inverse)) << i;
        ASSERT_TRUE(inPlace(qvoiDCT8x8Inv_4x4_16s_C1I) && is(out, inverseByFlow(in, 4))) << i;
        ASSERT_TRUE(inPlace(qvoiDCT8x8Inv_2x2_16s_C1I) && is(out, inverseByFlow(in, 2))) << i;
        ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Fwd_16s_C1(source.data(), out.data()));
        ASSERT_TRUE(is(out, forwardByFlow(in)) && is(source, in)) << i;
        ASSERT_TRUE(inPlace([](Qvo16s* p) { return qvoiDCT8x8Fwd_16s_C1(p, p); }) && is(out, forwardByFlow(in))) << i;
    }
}

// Rows may overlap where the step is small.
TEST(Dct8x8, PixelFormsSaturateTheInverseAndTakeAnyStep) {
    Random random(3);
    for (int i = 0; i < 12000; ++i) {
        const int step = std::array{8, 11, 5, 1}[static_cast<std::size_t>(i / 6 % 4)];
        Guarded<Qvo8u> pixels(static_cast<std::size_t>(7 * step + 8), i % 2 ? Guard::after : Guard::before);
        const Block in = someBlock(random, i), residual = inverseByFlow(in);
        Guarded<Qvo16s> source(64);
        std::copy(in.begin(), in.end(), source.begin());
        std::vector<Qvo8u> expected(pixels.size(), 0xA5);
        for (int k = 0; k < 64; ++k)
            expected[static_cast<std::size_t>(step * (k / 8) + k % 8)] =
                static_cast<Qvo8u>(std::clamp<int>(residual[k], 0, 255));
        for (const auto operation : {qvoiDCT8x8Inv_16s8u_C1R, qvoiDCTInv_8x8_16s8u}) {
            if (operation == qvoiDCTInv_8x8_16s8u && step < 8) continue;
            std::fill(pixels.begin(), pixels.end(), Qvo8u{0xA5});
            ASSERT_EQ(qvoStatusOk, operation(source.data(), pixels.data(), step));
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), pixels.begin())) << i << " step " << step;
        }
        for (auto& e : pixels)
            e = static_cast<Qvo8u>(i % 2 ? random.range(0, 255) : 255 * random.range(0, 1));
        Block differences;
        for (int k = 0; k < 64; ++k)
            differences[k] = pixels[static_cast<std::size_t>(step * (k / 8) + k % 8)];
        ASSERT_EQ(qvoStatusOk, qvoiDCT8x8Fwd_8u16s_C1R(pixels.data(), step, source.data()));
        differences = forwardByFlow(differences);
        ASSERT_TRUE(std::equal(differences.begin(), differences.end(), source.begin())) << i << " step " << step;
    }
}

TEST(Dct8x8, StatusesInOrder) {
    struct Memory {
        Block in{}, out{};
        std::array<Qvo8u, 64> pixels{};
        bool operator==(const Memory&) const = default;
    } m;
    Qvo16s *const in = m.in.data(), *const out = m.out.data();
    Qvo8u* const p = m.pixels.data();
    const Fault null{qvoStatusNullPtr, {0}}, nulls{qvoStatusNullPtr, {0, 1}};
    expectStatuses(m, qvoiDCT8x8Fwd_16s_C1, {in, out}, {nulls});
    expectStatuses(m, qvoiDCT8x8Fwd_8u16s_C1R, {p, 8, out},
                   {{qvoStatusNullPtr, {0, 2}}, {qvoStatusStep, {1}, {0, -8}}});
    expectStatuses(m, qvoiDCT8x8Inv_16s_C1, {in, out}, {nulls});
    for (const auto inPlace : {qvoiDCT8x8Inv_16s_C1I, qvoiDCT8x8Inv_4x4_16s_C1I, qvoiDCT8x8Inv_2x2_16s_C1I})
        expectStatuses(m, inPlace, {out}, {null});
    expectStatuses(m, qvoiDCT8x8Inv_16s8u_C1R, {in, p, 8}, {nulls, {qvoStatusStep, {2}, {0, -8}}});
    expectStatuses(m, qvoiDCTInv_8x8_16s8u, {in, p, 8},
                   {{qvoStatusNullPtr, {1}}, {qvoStatusBlockStep, {2}, {7, -8}}, null});
}

}  // namespace
