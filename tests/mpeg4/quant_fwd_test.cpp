// Forward quantisation of MPEG-4 and H.263, against the rules written out in wide integers or step by step with a
// mantissa of 64 bits.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <vector>

#include "mpeg4/texture_codes.h"
#include "mpeg4/weights.h"
#include "support/guarded.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using Wide = long long;

Wide reciprocal(int QP) {
    return (1 << 18) / QP + 1;
}

int integerLevel(Wide dividend, int QP) {
    return static_cast<int>(std::min<Wide>(dividend * reciprocal(QP) >> 19, 127));
}

int integerIntra(int c, int QP, const Qvo32s* W) {
    if (W == nullptr) return c >= 2 * QP ? integerLevel(c, QP) : 0;
    if (c < ((5 * QP - 4) * W[0]) >> 6) return 0;
    const Wide k = std::min<Wide>(static_cast<Wide>((W[0] >> 1) + 16 * c) * W[64] >> 21, 2047);
    return integerLevel(k + ((3 * QP + 2) >> 2), QP);
}

int integerInter(int c, int QP, const Qvo32s* W) {
    if (W == nullptr) return c >= 2 * QP + QP / 2 ? integerLevel(c - QP / 2, QP) : 0;
    if (c <= ((4 * QP - 1) * W[0]) >> 5) return 0;
    return integerLevel(static_cast<Wide>((W[0] >> 1) + 16 * c) * W[64] >> 21, QP);
}

// Small values, multiples of the quantiser and of its half, values beyond what any transform gives.
void fillCoefficients(Guarded<Qvo16s>& block, int QP, Random& random) {
    const int range = random.chance(60) ? 40 * std::min(QP, 800) : random.chance(50) ? 2048 : 32767;
    random.fill(block, -std::min(range, 32767), std::min(range, 32767));
    for (Qvo16s& c : block) {
        if (random.chance(30) && QP < 400) c = static_cast<Qvo16s>(QP * random.range(-80, 80));
        if (random.chance(30)) c = static_cast<Qvo16s>(c / 2);
        if (random.chance(1)) c = -32768;
    }
}

TEST(ForwardQuant, IntegersFollowTheRules) {
    Random random(1);
    for (int round = 0; round < 20000; ++round) {
        const int QP = random.range(1, 31), blockIndex = random.range(0, 9);
        const bool intra = random.chance(50);
        const WeightRecord record(random);
        const Qvo32s* const W = random.chance(50) ? record.data() : nullptr;
        Guarded<Qvo16s> block(64);
        fillCoefficients(block, QP, random);
        std::vector<int> expected;
        for (std::size_t i = 0; i < 64; ++i) {
            const int c = std::abs(block[i]);
            const Qvo32s* const w = W == nullptr ? nullptr : W + i;
            expected.push_back((intra ? integerIntra(c, QP, w) : integerInter(c, QP, w)) * (block[i] < 0 ? -1 : 1));
        }
        if (intra) {
            const int s = texture::dcScaler(QP, blockIndex == 4 || blockIndex == 5);
            expected[0] = std::clamp((block[0] + s / 2) / s, 1, 254);
        }
        const auto q = static_cast<Qvo8u>(QP);
        ASSERT_EQ(qvoStatusOk, intra ? qvoiQuantIntra_MPEG4_16s_I(block.data(), q, blockIndex, W)
                                     : qvoiQuantInter_MPEG4_16s_I(block.data(), q, W));
        ASSERT_TRUE(std::equal(block.begin(), block.end(), expected.begin())) << "round " << round << " QP " << QP;
    }
    EXPECT_EQ(0, _qvoiRQPTab[0]);
    for (int QP = 1; QP < 32; ++QP)
        EXPECT_EQ(reciprocal(QP), _qvoiRQPTab[QP]);
}

// Every step is stored, so that no compiler joins or widens any of them.
int floatLevel(int c, int QP, double numerator, const float* m, double step) {
    if (c == 0) return 0;
    volatile long double x = numerator;
    x = x / QP;
    x = c * x;
    if (m != nullptr) x = x * *m;
    x = x + (c > 0 ? step : -step);
    if (std::isnan(x)) return -2047;
    return static_cast<int>(std::clamp(static_cast<long double>(x), -2047.0L, 2047.0L));
}

TEST(ForwardQuant, FloatsFollowTheDefinition) {
    Random random(2);
    for (int round = 0; round < 20000; ++round) {
        const bool intra = random.chance(50), h263 = random.chance(50);
        int QP = random.range(1, random.chance(70) ? 31 : 400);
        if (random.chance(5)) QP = static_cast<int>(random.next() >> 1) | 1;
        Guarded<float> m(64);
        for (float& factor : m)
            factor = random.chance(80) ? 1.0f / static_cast<float>(random.range(1, 255))
                                       : static_cast<float>(random.range(-100000, 100000)) * 1e-3f;
        const float extremes[] = {-1e30f, 1e30f, -INFINITY, INFINITY, NAN};
        if (random.chance(10)) m[static_cast<std::size_t>(random.range(0, 63))] = extremes[random.range(0, 4)];
        Guarded<Qvo16s> block(64);
        fillCoefficients(block, QP, random);
        for (Qvo16s& c : block)
            if (random.chance(round % 100)) c = 0;
        std::vector<int> expected;
        int expectedLast = -1;
        for (std::size_t i = 0; i < 64; ++i) {
            expected.push_back(h263 ? floatLevel(block[i], QP, 0.5, nullptr, intra ? 0 : -0.25)
                                    : floatLevel(block[i], QP, 8, &m[i], intra ? 0.5 : 0));
            if (intra && i == 0) expected[0] = block[0];
            if (expected[i] != 0 && !(intra && i == 0)) expectedLast = static_cast<int>(i);
        }
        Qvo32s last = 99;
        const QvoStatus status =
            h263
                ? (intra ? qvoiQuantIntra_H263_C1I : qvoiQuant_H263_C1I)(block.data(), QP, &last)
                : (intra ? qvoiQuantIntra_MPEG4_16s_C1I : qvoiQuant_MPEG4_16s_C1I)(block.data(), QP, m.data(), &last);
        ASSERT_EQ(qvoStatusOk, status);
        ASSERT_TRUE(std::equal(block.begin(), block.end(), expected.begin()))
            << "round " << round << " QP " << QP << " H.263 " << h263 << " intra " << intra;
        ASSERT_EQ(expectedLast, last);
    }
}

// All quotients of the standard's quantisers, and some of larger ones, for which whole ones may fall short by one.
TEST(ForwardQuant, H263Quotients) {
    for (int QP = 1; QP <= 62; ++QP) {
        for (int c = -32768; c < 32768; c += 63) {
            std::array<Qvo16s, 64> block, inter, intra;
            std::iota(block.begin(), block.end(), static_cast<Qvo16s>(c));
            inter = intra = block;
            Qvo32s last;
            qvoiQuant_H263_C1I(inter.data(), QP, &last);
            qvoiQuantIntra_H263_C1I(intra.data(), QP, &last);
            for (std::size_t i = 1; i < 64; ++i) {
                ASSERT_EQ(floatLevel(block[i], QP, 0.5, nullptr, -0.25), inter[i])
                    << "QP " << QP << " c " << block[i];
                ASSERT_EQ(floatLevel(block[i], QP, 0.5, nullptr, 0), intra[i]) << "QP " << QP << " c " << block[i];
            }
        }
    }
}

TEST(ForwardQuant, Statuses) {
    struct Memory {
        std::array<Qvo16s, 64> block = {500, 500};
        Qvo32s last = 99;
        bool operator==(const Memory&) const = default;
    } m;
    Qvo16s* const b = m.block.data();
    const float weights[64] = {};
    Random random(3);
    WeightRecord records[2] = {WeightRecord(random), WeightRecord(random)};
    records[1].setWeight(0, 12);
    const Qvo32s* const W = records[0].data();
    const Qvo8u one = 1;
    const QvoStatus arg = qvoStatusBadArg;
    expectStatuses(m, qvoiQuantIntra_MPEG4_16s_I, {b, one, 0, W},
                   {{arg, {0}}, {arg, {1}, {0, 32}}, {arg, {2}, {-1, 10}}, {arg, {3}, {sizeof records[0]}}});
    expectStatuses(m, qvoiQuantInter_MPEG4_16s_I, {b, one, W},
                   {{arg, {0}}, {arg, {1}, {0, 32}}, {arg, {2}, {sizeof records[0]}}});
    for (const auto quantise : {qvoiQuantIntra_MPEG4_16s_C1I, qvoiQuant_MPEG4_16s_C1I})
        expectStatuses(m, quantise, {b, 1, weights, &m.last},
                       {{qvoStatusNullPtr, {0, 2, 3}}, {qvoStatusQuantRange, {1}, {0, -1}}});
    for (const auto quantise : {qvoiQuantIntra_H263_C1I, qvoiQuant_H263_C1I})
        expectStatuses(m, quantise, {b, 1, &m.last}, {{qvoStatusNullPtr, {0, 2}}, {qvoStatusQpRange, {1}, {0, -5}}});
}

}  // namespace
