#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "dv/encoder.h"
#include "support/guarded.h"

namespace {

// Powers of two of the four areas by quantiser and class offset, as the standard's table has them.
constexpr const char* shifts[22] = {"3344", "3344", "2334", "2334", "2233", "2233", "1223", "1223",
                                    "1122", "1122", "0112", "0112", "0011", "0011", "0001", "0000",
                                    "0000", "0000", "0000", "0000", "0000", "0000"};

int multiplier(int quantiser, int classNumber, int position) {
    constexpr int offsets[4] = {6, 3, 0, 1};
    const int area = (position > 5) + (position > 20) + (position > 42);
    const int shift = shifts[quantiser + offsets[classNumber]][area] - '0';
    return (classNumber == 3 ? 2 : 1) << shift;
}

double weight(int frequency) {
    const auto c = [](int m) { return std::cos(m * std::numbers::pi / 16); };
    const double weights[8] = {
        1,          c(4) / (4 * c(7) * c(2)), c(4) / (2 * c(6)), 1 / (2 * c(5)), 7 / 8.0, c(4) / c(3), c(4) / c(2),
        c(4) / c(1)};
    return weights[frequency];
}

TEST(DvQuant, EveryQuantiserClassAndModeFollowsTheDefinition) {
    Random random(1);
    for (int mode = 0; mode < 2; ++mode) {
        const auto scan = dv::scanOf(mode);
        for (int choice = 0; choice < 64; ++choice) {
            const int quantiser = choice / 4, classNumber = choice % 4;
            // Whatever stands above the bits that count.
            const int high = choice % 3 == 0 ? 0 : static_cast<int>(random.next() & ~15U);
            Guarded<Qvo16s> plain(64, choice % 2 ? Guard::after : Guard::before), weighted(64);
            std::array<Qvo16s, 64> levels;
            random.fill(levels, -255, 255);
            if (choice == 3) random.fill(levels, 255, 255);
            std::copy(levels.begin(), levels.end(), plain.begin());
            std::copy(levels.begin(), levels.end(), weighted.begin());
            EXPECT_EQ(qvoStatusOk,
                      qvoiQuantInv_DV_16s_C1I(plain.data(), quantiser | high, classNumber | high, mode | high));
            EXPECT_EQ(qvoStatusOk, qvoiQuantInvWeight_DV_16s_C1I(weighted.data(), quantiser | high,
                                                                 classNumber | high, mode | high));
            EXPECT_EQ(levels[0], plain[0]);
            EXPECT_EQ(levels[0] * 4, weighted[0]);
            for (int position = 1; position < 64; ++position) {
                const std::size_t raster = scan[static_cast<std::size_t>(position)];
                const int row = static_cast<int>(raster / 8), column = static_cast<int>(raster % 8);
                const int level = levels[raster] * multiplier(quantiser, classNumber, position);
                ASSERT_EQ(level, plain[raster]);
                const double unweighted = std::round(16384 / (weight(column) * weight(mode ? row % 4 * 2 : row)));
                ASSERT_EQ(std::floor(level * 2 * unweighted / 16384 + 0.5), weighted[raster]);
            }
        }
    }
    EXPECT_EQ(qvoStatusNullPtr, qvoiQuantInv_DV_16s_C1I(nullptr, 0, 0, 0));
    EXPECT_EQ(qvoStatusNullPtr, qvoiQuantInvWeight_DV_16s_C1I(nullptr, 0, 0, 0));
}

}  // namespace
