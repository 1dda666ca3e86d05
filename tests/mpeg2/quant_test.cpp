#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "mpeg2/tables.h"
#include "support/guarded.h"
#include "support/random.h"
#include "support/statuses.h"

using namespace mpeg2;

// Every step rounded to a mantissa of 64 bits and stored, so that no compiler joins or widens any of them.
TEST(Quant, AgreesWithTheDefinition) {
    Random random(12);
    for (int round = 0; round < 4000; ++round) {
        const int intra = round % 2;
        const bool noMatrix = random.chance(50);
        const Qvo32s QP = random.chance(10) ? static_cast<Qvo32s>(random.next() | 1) : random.range(1, 112);
        Guarded<float> matrix(64);
        for (float& m : matrix)
            m = random.chance(80) ? 1.0f / static_cast<float>(random.range(1, 255))
                                  : static_cast<float>(random.range(-100000, 100000)) * 1e-3f;
        if (random.chance(10)) matrix[static_cast<std::size_t>(random.range(0, 63))] = -1e30f;
        Guarded<Qvo16s> block(64);
        const int scale = random.chance(20) ? 32767 : QP > 1000 || QP < 0 ? 5000 : 32 * QP;
        random.fill(block, -scale, scale);
        // Multiples of the scale lead to results that are, or narrowly miss, whole numbers.
        for (Qvo16s& c : block)
            if (random.chance(30) && QP > 0 && QP < 400) c = static_cast<Qvo16s>(QP * random.range(-80, 80));
        Qvo16s expected[64];
        Qvo32u expectedCount = 0, count = 99;
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
        ASSERT_EQ(qvoStatusOk, (intra ? qvoiQuantIntra_MPEG2_16s_C1I : qvoiQuant_MPEG2_16s_C1I)(
                                   block.data(), QP, noMatrix ? nullptr : matrix.data(), &count));
        ASSERT_TRUE(std::equal(block.begin(), block.end(), expected)) << "QP " << QP;
        ASSERT_EQ(expectedCount, count);
    }
}

TEST(Quant, Statuses) {
    struct Memory {
        std::array<Qvo16s, 64> block = {50, 50};
        Qvo32u count = 99;
        bool operator==(const Memory&) const = default;
    } m;
    for (const auto operation : {qvoiQuant_MPEG2_16s_C1I, qvoiQuantIntra_MPEG2_16s_C1I})
        expectStatuses(m, operation, {m.block.data(), 1, nullptr, &m.count},
                       {{qvoStatusNullPtr, {0, 3}}, {qvoStatusDivByZero, {1}}});
}
