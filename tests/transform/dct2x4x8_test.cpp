#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <vector>

#include "support/guarded.h"
#include "support/random.h"
#include "transform/blocks.h"

namespace {

Wrapping tangent(Wrapping v) {
    return (v * 27146 + 32768) >> 16;
}

Block forwardByDefinition(const Block& in) {
    Block mid, out;
    for (int column = 0; column < 8; ++column) {
        Wrapping s[4], f[4];
        for (int k = 0; k < 4; ++k) {
            const Wrapping first = in[16 * k + column], second = in[16 * k + 8 + column];
            s[k] = first + second;
            f[k] = first - second;
        }
        const Wrapping rows[8] = {
            (s[0] + s[3]) + (s[1] + s[2]), tangent(s[1] - s[2]) + (s[0] - s[3]),
            (s[0] + s[3]) - (s[1] + s[2]), tangent(s[0] - s[3]) + (s[2] - s[1]),
            (f[0] + f[3]) + (f[1] + f[2]), tangent(f[1] - f[2]) + (f[0] - f[3]),
            (f[0] + f[3]) - (f[1] + f[2]), tangent(f[0] - f[3]) - (f[1] - f[2]),
        };
        for (int k = 0; k < 8; ++k)
            mid[8 * k + column] = low16(rows[k]);
    }
    static const int even[8][4] = {{8192, 8192, 8192, 8192},     {11363, 9633, 6436, 2260},
                                   {10703, 4433, -4433, -10703}, {9633, -2260, -11363, -6436},
                                   {8192, -8192, -8192, 8192},   {6436, -11363, 2260, 9633},
                                   {4433, -10703, 10703, -4433}, {2260, -6436, 9633, -11363}};
    static const int odd[8][4] = {{10703, 10703, 10703, 10703},   {14846, 12586, 8410, 2953},
                                  {13985, 5793, -5793, -13985},   {12586, -2953, -14846, -8410},
                                  {10703, -10703, -10703, 10703}, {8410, -14846, 2953, 12586},
                                  {5793, -13985, 13985, -5793},   {2953, -8410, 12586, -14846}};
    for (int i = 0; i < 64; ++i) {
        const Qvo16s* row = &mid[i / 8 * 8];
        const int* weight = i / 8 % 2 == 0 ? even[i % 8] : odd[i % 8];
        Wrapping sum = 32768;
        for (int k = 0; k < 4; ++k) {
            const Wrapping left = row[k], right = row[7 - k];
            sum = sum + (i % 2 == 0 ? left + right : left - right) * weight[k];
        }
        out[i] = low16(sum >> 16);
    }
    return out;
}

TEST(Dct2x4x8, ForwardFollowsTheDefinitionBitForBit) {
    Random random(1);
    for (int i = 0; i < 4000; ++i) {
        Block in;
        random.fill(in, i % 3 == 0 ? -128 : -32768, i % 3 == 0 ? 127 : 32767);
        if (i % 3 == 2)
            for (auto& e : in)
                e = e < 0 ? -32768 : 32767;
        Guarded<Qvo16s> out(64, i % 2 ? Guard::after : Guard::before);
        std::copy(in.begin(), in.end(), out.begin());
        ASSERT_EQ(qvoStatusOk, qvoiDCT2x4x8Frw_16s_C1I(out.data()));
        const Block expected = forwardByDefinition(in);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), out.begin())) << i;
    }
    EXPECT_EQ(qvoStatusNullPtr, qvoiDCT2x4x8Frw_16s_C1I(nullptr));
}

// The basis function of coefficient k at sample x: across an 8-point DCT, down 4-point DCTs of the line pairs' sums and
// differences, all of them orthonormal.
double basis(int k, int x) {
    const auto dct = [](int n, int frequency, int at) {
        return std::sqrt((frequency == 0 ? 1.0 : 2.0) / n) *
               std::cos((2 * at + 1) * frequency * std::numbers::pi / (2 * n));
    };
    const double sign = k >= 32 && x / 8 % 2 == 1 ? -1 : 1;
    return sign * dct(4, k / 8 % 4, x / 16) / std::numbers::sqrt2 * dct(8, k % 8, x % 8);
}

// Of samples transformed before, and of the largest coefficients that do not wrap.
TEST(Dct2x4x8, InverseIsTheRealTransformRoundedAndUndoesForward) {
    std::vector<double> table;
    for (int i = 0; i < 64 * 64; ++i)
        table.push_back(basis(i / 64, i % 64));
    Random random(2);
    int randomBlocks = 0, farBlocks = 0;
    double squares = 0;
    for (int i = 0; i < 30000; ++i) {
        const bool fromSamples = i % 3 != 0;
        Block in, coefs{};
        random.fill(in, -128, 127);
        if (i % 3 == 1)
            for (auto& e : in)
                e = e < 0 ? -128 : 127;
        if (fromSamples) {
            coefs = in;
            qvoiDCT2x4x8Frw_16s_C1I(coefs.data());
        } else {
            const int row = random.range(0, 7), first = random.range(-2900, 2900), rest = 2900 - std::abs(first);
            coefs[8 * row + random.range(0, 3)] = static_cast<Qvo16s>(first);
            coefs[8 * row + random.range(4, 7)] = static_cast<Qvo16s>(random.range(-rest, rest));
        }
        Guarded<Qvo16s> back(64, i % 2 ? Guard::after : Guard::before);
        std::copy(coefs.begin(), coefs.end(), back.begin());
        ASSERT_EQ(qvoStatusOk, qvoiDCT2x4x8Inv_16s_C1I(back.data()));
        bool far = false;
        for (std::size_t x = 0; x < 64; ++x) {
            double real = 0;
            for (std::size_t k = 0; k < 64; ++k)
                real += table[64 * k + x] * coefs[k];
            ASSERT_NEAR(real, back[x], fromSamples ? 0.6 : 0.7) << i;
            if (fromSamples) {
                ASSERT_NEAR(in[x], back[x], 2) << i;
            }
            if (i % 3 == 2) {
                squares += (in[x] - back[x]) * (in[x] - back[x]);
                far |= std::abs(in[x] - back[x]) > 1;
            }
        }
        randomBlocks += i % 3 == 2;
        farBlocks += far;
    }
    EXPECT_LE(farBlocks, randomBlocks / 1000);
    EXPECT_LT(squares / (64 * randomBlocks), 0.15);
    EXPECT_EQ(qvoStatusNullPtr, qvoiDCT2x4x8Inv_16s_C1I(nullptr));
}

}  // namespace
