#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "mpeg2/tables.h"
#include "support/guarded.h"
#include "support/random.h"
#include "support/statuses.h"

using namespace mpeg2;

namespace {

using Function = QvoStatus (*)(Qvo16s*, Qvo32s, const float*, Qvo32u*);
constexpr Function functions[] = {qvoiQuant_MPEG2_16s_C1I, qvoiQuantIntra_MPEG2_16s_C1I};

// One coefficient through the non-intra form.
Qvo16s quantised(Qvo16s c, Qvo32s QP, const float* matrix = nullptr) {
    Qvo16s block[64] = {c};
    Qvo32u count = 99;
    EXPECT_EQ(qvoStatusOk, qvoiQuant_MPEG2_16s_C1I(block, QP, matrix, &count));
    EXPECT_EQ(block[0] != 0, count);
    return block[0];
}

}  // namespace

// Every step rounded to a mantissa of 64 bits and stored, so that no compiler joins or widens any of them.
TEST(Quant, AgreesWithTheDefinition) {
    Random random(12);
    for (int round = 0; round < 4000; ++round) {
        const int intra = round % 2;
        const bool noMatrix = random.chance(50);
        Qvo32s QP = random.range(1, 112);
        if (random.chance(10)) QP = static_cast<Qvo32s>(random.next() | 1);
        Guarded<float> matrix(64);
        for (float& m : matrix) {
            m = random.chance(80) ? 1.0f / static_cast<float>(random.range(1, 255))
                                  : static_cast<float>(random.range(-100000, 100000)) * 1e-3f;
        }
        if (random.chance(10)) matrix[static_cast<std::size_t>(random.range(0, 63))] = -1e30f;
        Guarded<Qvo16s> block(64);
        const int scale = random.chance(20) ? 32767 : QP > 1000 || QP < 0 ? 5000 : 32 * QP;
        random.fill(block, -scale, scale);
        // Multiples of the scale lead to results that are, or narrowly miss, whole numbers.
        for (Qvo16s& c : block) {
            if (random.chance(30) && QP > 0 && QP < 400) c = static_cast<Qvo16s>(QP * random.range(-80, 80));
        }
        Qvo16s expected[64];
        Qvo32u expectedCount = 0;
        volatile long double inverse = 1.0L;
        inverse = inverse / QP;
        for (int i = 0; i < 64; ++i) {
            volatile float m = 1.0f / static_cast<float>(intra ? intraMatrix[i] : 16);
            if (!noMatrix) m = matrix[static_cast<std::size_t>(i)];
            volatile long double x = 16 * block[static_cast<std::size_t>(i)];
            x = x * inverse;
            x = x * m;
            expected[i] = static_cast<Qvo16s>(std::clamp(static_cast<long double>(x), -2047.0L, 2047.0L));
            if (intra && i == 0) expected[0] = block[0];
            expectedCount += i >= intra && expected[i] != 0;
        }
        Qvo32u count = 99;
        ASSERT_EQ(qvoStatusOk, functions[intra](block.data(), QP, noMatrix ? nullptr : matrix.data(), &count));
        ASSERT_TRUE(std::equal(block.begin(), block.end(), expected)) << "QP " << QP;
        ASSERT_EQ(expectedCount, count);
    }
}

TEST(Quant, Values) {
    float eighth[64];
    std::fill_n(eighth, 64, 0.125f);
    EXPECT_EQ(2047, quantised(30000, 1, eighth));
    EXPECT_EQ(-2047, quantised(-30000, 1, eighth));

    // Whole multiples of some scales come out one too small with a mantissa of 64 bits, and of other scales with the
    // 53 bits of a double: computed by hand with exact fractions.
    EXPECT_EQ(0, quantised(41, 41));
    EXPECT_EQ(3, quantised(123, 41));
    EXPECT_EQ(6, quantised(287, 41));
    EXPECT_EQ(-54, quantised(-2255, 41));
    EXPECT_EQ(1, quantised(49, 49));
}

TEST(Quant, Statuses) {
    for (const Function function : functions) {
        struct Memory {
            std::array<Qvo16s, 64> block = {50, 50};
            Qvo32u count = 99;
            bool operator==(const Memory&) const = default;
        } m;
        expectStatuses(m, function, {m.block.data(), 1, nullptr, &m.count},
                       {{qvoStatusNullPtr, {0, 3}}, {qvoStatusDivByZero, {1}}});
    }
}
