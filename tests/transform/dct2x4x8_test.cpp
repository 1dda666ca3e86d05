#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

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

// The vertical basis in real numbers: orthonormal 4-point DCTs of the line pairs' sums and differences.
double fields(int k, int x) {
    const double sign = k >= 4 && x % 2 == 1 ? -1 : 1;
    return sign * dctBasis(4, k % 4, x / 2) / std::numbers::sqrt2;
}

struct RoundTrip {
    int worst = 0;
    long long squares = 0;
};

RoundTrip roundTrip(const Block& in) {
    Block out = in;
    EXPECT_EQ(qvoStatusOk, qvoiDCT2x4x8Frw_16s_C1I(out.data()));
    EXPECT_EQ(qvoStatusOk, qvoiDCT2x4x8Inv_16s_C1I(out.data()));
    RoundTrip result;
    for (int i = 0; i < 64; ++i) {
        const int difference = out[i] - in[i];
        result.worst = std::max(result.worst, std::abs(difference));
        result.squares += difference * difference;
    }
    return result;
}

TEST(Dct2x4x8, ForwardFollowsTheDefinitionBitForBit) {
    Random random(1);
    for (int i = 0; i < 4000; ++i) {
        Block in;
        if (i % 3 == 0) random.fill(in, -128, 127);
        if (i % 3 == 1) random.fill(in, -32768, 32767);
        if (i % 3 == 2) {
            for (auto& e : in)
                e = random.chance(50) ? 32767 : -32768;
        }
        Block out = in;
        ASSERT_EQ(qvoStatusOk, qvoiDCT2x4x8Frw_16s_C1I(out.data()));
        ASSERT_EQ(forwardByDefinition(in), out) << i;
    }
}

TEST(Dct2x4x8, BothDirectionsAreTheRealTransformsRounded) {
    Random random(2);
    double forwardError = 0, inverseError = 0;
    for (int i = 0; i < 2000; ++i) {
        Block in, out, back;
        random.fill(in, -128, 127);
        out = in;
        qvoiDCT2x4x8Frw_16s_C1I(out.data());
        back = out;
        qvoiDCT2x4x8Inv_16s_C1I(back.data());
        forwardError = std::max(forwardError, distance(forwardReal(fields, in), out));
        inverseError = std::max(inverseError, distance(inverseReal(fields, out), back));
    }
    EXPECT_LT(forwardError, 1.1);
    EXPECT_LT(inverseError, 0.6);
}

TEST(Dct2x4x8, InverseUndoesForward) {
    Random random(3);
    long long squares = 0;
    int offByMore = 0;
    constexpr int blocks = 10000;
    Block in;
    for (int i = 0; i < blocks; ++i) {
        random.fill(in, -128, 127);
        const RoundTrip result = roundTrip(in);
        ASSERT_LE(result.worst, 2) << i;
        offByMore += result.worst > 1;
        squares += result.squares;
        for (auto& e : in)
            e = random.chance(50) ? 127 : -128;
        ASSERT_LE(roundTrip(in).worst, 2) << "extremes";
    }
    EXPECT_LE(offByMore, blocks / 1000);
    EXPECT_LT(static_cast<double>(squares) / (64.0 * blocks), 0.15);
    // The sign pattern of each basis function gives the largest coefficient there is, at full and lesser contrast.
    for (int k = 0; k < 64; ++k) {
        for (int amplitude = 1; amplitude <= 128; ++amplitude) {
            for (const bool signs : {true, false}) {
                for (int x = 0; x < 64; ++x) {
                    const double basis = fields(k / 8, x / 8) * dct8(k % 8, x % 8);
                    in[x] = static_cast<Qvo16s>(signs ? (basis < 0 ? -amplitude : amplitude - 1)
                                                      : std::lrint(basis * 4 * amplitude) - 1);
                }
                ASSERT_LE(roundTrip(in).worst, 2) << "basis function " << k;
            }
        }
    }
}

TEST(Dct2x4x8, CoefficientsToTheDocumentedRangeDoNotWrap) {
    Random random(5);
    for (int i = 0; i < 2000; ++i) {
        Block in{};
        const int row = random.range(0, 7);
        const int first = random.range(-2900, 2900);
        const int rest = 2900 - std::abs(first);
        in[8 * row + random.range(0, 3)] = static_cast<Qvo16s>(first);
        in[8 * row + random.range(4, 7)] = static_cast<Qvo16s>(random.range(-rest, rest));
        const Real samples = inverseReal(fields, in);
        qvoiDCT2x4x8Inv_16s_C1I(in.data());
        for (int k = 0; k < 64; ++k)
            ASSERT_NEAR(samples[k], in[k], 0.7) << i;
    }
}

TEST(Dct2x4x8, TouchesTheBlockOnlyAndChecksForNull) {
    for (const auto operation : {qvoiDCT2x4x8Frw_16s_C1I, qvoiDCT2x4x8Inv_16s_C1I}) {
        for (const Guard guard : {Guard::after, Guard::before}) {
            Guarded<Qvo16s> block(64, guard);
            EXPECT_EQ(qvoStatusOk, operation(block.data()));
        }
        EXPECT_EQ(qvoStatusNullPtr, operation(nullptr));
    }
}

}  // namespace
