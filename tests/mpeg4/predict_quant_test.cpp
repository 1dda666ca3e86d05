// AC/DC prediction and inverse quantisation of whole blocks, against the formulas of ISO/IEC 14496-2, 7.4.3 and 7.4.4,
// in real numbers.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numeric>
#include <vector>

#include "qvovc.h"
#include "support/random.h"

namespace {

using Block = std::array<Qvo16s, 64>;
using Matrix = std::array<Qvo8u, 64>;
using Matrix16 = std::array<Qvo16s, 64>;

double clip(double v, int bits = 8) {
    const double limit = std::ldexp(1, bits + 3);
    return std::clamp(v, -limit, limit - 1);
}

double signOf(double v) {
    return v > 0 ? 1 : v < 0 ? -1 : 0;
}

int dcScaler(int QP, bool chrominance) {
    if (QP <= 4) return 8;
    if (chrominance) return QP <= 24 ? (QP + 13) / 2 : QP - 6;
    return QP <= 8 ? 2 * QP : QP <= 24 ? QP + 8 : 2 * QP - 16;
}

// The coefficients as formula(level, index) gives them, then mismatch control.
Block dequantised(const Block& levels, bool mismatch, const std::function<double(double, int)>& formula) {
    Block coefs;
    for (int i = 0; i < 64; ++i) {
        const auto at = static_cast<std::size_t>(i);
        coefs[at] = static_cast<Qvo16s>(formula(levels[at], i));
    }
    const int sum = std::accumulate(coefs.begin(), coefs.end(), 0);
    if (mismatch && sum % 2 == 0) coefs[63] = static_cast<Qvo16s>(coefs[63] % 2 == 0 ? coefs[63] + 1 : coefs[63] - 1);
    return coefs;
}

double h263(double level, int QP) {
    return signOf(level) * (QP * (2 * std::abs(level) + 1) - (QP % 2 == 0 ? 1 : 0)) * (level != 0);
}
double intraByMatrix(double level, int QP, int weight) {
    return std::trunc(level * QP * weight / 8);
}
double interByMatrix(double level, int QP, int weight) {
    return signOf(level) * std::floor((2 * std::abs(level) + 1) * weight * QP / 16) * (level != 0);
}

Block randomLevels(Random& random) {
    Block levels;
    const int range = std::array{2, 30, 2047, 32767}[static_cast<std::size_t>(random.range(0, 3))];
    for (Qvo16s& level : levels)
        level = static_cast<Qvo16s>(random.chance(50) ? 0 : random.range(-range, range));
    return levels;
}

TEST(QuantInv, MatchesTheFormulas) {
    Random random(1);
    for (int round = 0; round < 20000; ++round) {
        const Block levels = randomLevels(random);
        Matrix matrix;
        random.fill(matrix, 1, 255);
        const int QP = random.range(1, 31), component = random.range(0, 2), bits = random.range(4, 12);
        const int flag = random.range(0, 1), s = dcScaler(QP, component == 1), flagged = flag == 1 ? s : 8;
        const auto intra = [&](int scaler, int precision, bool weighted) {
            return dequantised(levels, weighted, [&](double level, int i) {
                const int weight = matrix[static_cast<std::size_t>(i)];
                const double coef = i == 0     ? level * scaler
                                    : weighted ? intraByMatrix(level, QP, weight)
                                               : h263(level, QP);
                return clip(coef, precision);
            });
        };
        const auto inter = [&](int precision, bool weighted) {
            return dequantised(levels, weighted, [&](double level, int i) {
                const int weight = matrix[static_cast<std::size_t>(i)];
                return clip(weighted ? interByMatrix(level, QP, weight) : h263(level, QP), precision);
            });
        };
        const auto check = [&](const Block& expected, auto operation) {
            Block block = levels;
            ASSERT_EQ(qvoStatusOk, operation(block.data()));
            ASSERT_EQ(expected, block) << "QP " << QP << " round " << round;
        };
        const Qvo8u* const W = matrix.data();
        check(intra(s, 8, false),
              [&](Qvo16s* p) { return qvoiQuantInvIntra_MPEG4_16s_I(p, QP, nullptr, component); });
        check(intra(s, 8, true), [&](Qvo16s* p) { return qvoiQuantInvIntra_MPEG4_16s_I(p, QP, W, component); });
        check(inter(8, false), [&](Qvo16s* p) { return qvoiQuantInvInter_MPEG4_16s_I(p, QP, nullptr); });
        check(inter(8, true), [&](Qvo16s* p) { return qvoiQuantInvInter_MPEG4_16s_I(p, QP, W); });
        check(intra(flagged, bits, true),
              [&](Qvo16s* p) { return qvoiQuantInvIntraFirst_MPEG4_16s_I(p, QP, W, flag, component, bits); });
        if (component < 2)
            check(intra(flagged, bits, false),
                  [&](Qvo16s* p) { return qvoiQuantInvIntraSecond_MPEG4_16s_I(p, QP, flag, component, bits); });
        check(inter(bits, true), [&](Qvo16s* p) { return qvoiQuantInvInterFirst_MPEG4_16s_I(p, QP, W, bits); });
        check(inter(bits, false), [&](Qvo16s* p) { return qvoiQuantInvInterSecond_MPEG4_16s_I(p, QP, bits); });
    }
}

double wrapped(double v, int bits) {
    const double range = std::ldexp(1, bits);
    return v - range * std::floor(v / range + 0.5);
}

// The forms with 16-bit weights take any quantiser and weight: products wrap.
TEST(QuantInv, SixteenBitWeightsWrapBeforeTheClip) {
    Random random(2);
    for (int round = 0; round < 20000; ++round) {
        const Block levels = randomLevels(random);
        const bool wild = random.chance(30);
        Matrix16 matrix;
        random.fill(matrix, wild ? -32768 : 1, wild ? 32767 : 255);
        const int QP = wild ? random.range(-70000, 70000) : random.range(1, 31);
        const auto weighted = [&](double level, int i) {
            return wrapped(level * 2 * matrix[static_cast<std::size_t>(i)] * QP, 32);
        };
        const auto check = [&](const Block& expected, auto operation) {
            Block block = levels;
            ASSERT_EQ(qvoStatusOk, operation(block.data()));
            ASSERT_EQ(expected, block) << "QP " << QP << " round " << round;
        };
        check(dequantised(levels, true,
                          [&](double level, int i) {
                              return i == 0 ? level : clip(wrapped(std::trunc(weighted(level, i) / 16), 16));
                          }),
              [&](Qvo16s* p) { return qvoiQuantInvIntra_MPEG4_16s_C1I(p, QP, matrix.data()); });
        check(dequantised(levels, true,
                          [&](double level, int i) {
                              const double l = level + signOf(level) / 2;
                              return clip(wrapped(std::trunc(weighted(l, i) / 16), 16));
                          }),
              [&](Qvo16s* p) { return qvoiQuantInv_MPEG4_16s_C1I(p, QP, matrix.data()); });
        check(dequantised(levels, true,
                          [&](double level, int) { return clip(wrapped((2 * level + signOf(level)) * QP, 16)); }),
              [&](Qvo16s* p) { return qvoiQuantInv_MPEG4_16s_C1I(p, QP, nullptr); });
    }
}

TEST(QuantInv, KnownValues) {
    const auto first = [](auto operation, int level, int index) {
        Block block = {};
        block[static_cast<std::size_t>(index)] = static_cast<Qvo16s>(level);
        EXPECT_EQ(qvoStatusOk, operation(block.data()));
        return block[static_cast<std::size_t>(index)];
    };
    EXPECT_EQ(5, first([](Qvo16s* p) { return qvoiQuantInvInter_MPEG4_16s_I(p, 2, nullptr); }, 1, 0));
    EXPECT_EQ(9, first([](Qvo16s* p) { return qvoiQuantInvInter_MPEG4_16s_I(p, 3, nullptr); }, 1, 0));
    EXPECT_EQ(6, first([](Qvo16s* p) { return qvoiQuantInv_MPEG4_16s_C1I(p, 2, nullptr); }, 1, 0));
    EXPECT_EQ(19, first([](Qvo16s* p) { return qvoiQuantInvIntra_MPEG4_16s_I(p, 25, nullptr, 1); }, 1, 0));
    EXPECT_EQ(34, first([](Qvo16s* p) { return qvoiQuantInvIntra_MPEG4_16s_I(p, 25, nullptr, 0); }, 1, 0));

    Matrix matrix;
    matrix.fill(16);
    EXPECT_EQ(1, first([&](Qvo16s* p) { return qvoiQuantInvInter_MPEG4_16s_I(p, 1, matrix.data()); }, 0, 63));
}

struct PredictionBuffers {
    std::array<Qvo16s, 16> row;  // the block to the left, then the one above
    std::array<Qvo16s, 8> column;
    bool operator==(const PredictionBuffers&) const = default;
};

TEST(PredictRecon, MatchesTheFormulas) {
    Random random(3);
    for (int round = 0; round < 30000; ++round) {
        const Block levels = randomLevels(random);
        PredictionBuffers before;
        const int range = std::array{3, 2047, 32767}[static_cast<std::size_t>(random.range(0, 2))];
        random.fill(before.row, -range, range);
        random.fill(before.column, -range, range);
        for (int i : {0, 8})
            before.row[static_cast<std::size_t>(i)] =
                static_cast<Qvo16s>(random.chance(20) ? -1 : random.range(0, 2047));
        for (std::size_t i = 1; i < 8; ++i)
            if (random.chance(30)) before.row[8 + i] = before.column[i] = 0;
        const int QP = random.range(1, 31), predQP = random.chance(40) ? QP : random.range(1, 31);
        const int direction = random.range(0, 2), ac = random.range(0, 2), component = random.range(0, 2);

        const int s = dcScaler(QP, component == 1);
        double dc = direction == 2 ? before.row[8] : direction == 1 ? before.row[0] : 1024;
        if (dc < 0) dc = 1024;
        Block expected = levels;
        expected[0] = static_cast<Qvo16s>(clip(wrapped(levels[0] + std::floor((dc + s / 2) / s), 16)));
        for (std::size_t i = 1; i < 8 && ac != 0 && direction != 0; ++i) {
            const double p = direction == 2 ? before.row[8 + i] : before.column[i];
            // std::round is half away from zero, and so is adding half of an odd divisor rounded down.
            const double scaled = QP == predQP ? p : wrapped(std::round(p * predQP / QP), 16);
            Qvo16s& level = expected[direction == 2 ? i : 8 * i];
            if (p != 0) level = static_cast<Qvo16s>(clip(level + scaled));
        }
        PredictionBuffers after = before;
        for (std::size_t i = 1; i < 8; ++i) {
            after.row[8 + i] = expected[i];
            after.column[i] = expected[8 * i];
        }

        Block block = levels;
        PredictionBuffers buffers = before;
        ASSERT_EQ(qvoStatusOk,
                  qvoiPredictReconCoefIntra_MPEG4_16s(block.data(), buffers.row.data() + 8, buffers.column.data(), QP,
                                                      predQP, direction, ac, component));
        ASSERT_EQ(expected, block) << "round " << round;
        ASSERT_EQ(after, buffers) << "round " << round;
    }
}

TEST(PredictRecon, KnownValues) {
    Block block = {};
    PredictionBuffers buffers = {};
    buffers.row[8] = -1;
    buffers.row[9] = -1;
    EXPECT_EQ(qvoStatusOk, qvoiPredictReconCoefIntra_MPEG4_16s(block.data(), buffers.row.data() + 8,
                                                               buffers.column.data(), 2, 3, qvoPredictAbove, 1, 0));
    EXPECT_EQ((1024 + 4) / 8, block[0]);
    EXPECT_EQ(-2, block[1]);
}

// The order of the checks, one argument after the other being put right. Nothing is written.
TEST(PredictQuant, CheckTheirArguments) {
    Block block, untouched;
    block.fill(77);
    untouched = block;
    std::array<Qvo16s, 16> row;
    row.fill(55);
    Qvo16s* const p = block.data();
    Qvo16s* const r = row.data() + 8;
    Matrix matrix;
    matrix.fill(16);
    const Qvo8u* const W = matrix.data();
    Matrix16 matrix16;
    matrix16.fill(16);

    const std::vector<std::pair<QvoStatus, QvoStatus>> results = {
        {qvoStatusNullPtr, qvoiPredictReconCoefIntra_MPEG4_16s(nullptr, r, r, 0, 0, 3, 0, 0)},
        {qvoStatusNullPtr, qvoiPredictReconCoefIntra_MPEG4_16s(p, nullptr, r, 0, 0, 3, 0, 0)},
        {qvoStatusNullPtr, qvoiPredictReconCoefIntra_MPEG4_16s(p, r, nullptr, 0, 0, 3, 0, 0)},
        {qvoStatusQuantRange, qvoiPredictReconCoefIntra_MPEG4_16s(p, r, r, 32, 1, 3, 0, 0)},
        {qvoStatusQuantRange, qvoiPredictReconCoefIntra_MPEG4_16s(p, r, r, 1, 0, 3, 0, 0)},
        {qvoStatusScanType, qvoiPredictReconCoefIntra_MPEG4_16s(p, r, r, 1, 1, 3, 0, 0)},
        {qvoStatusScanType, qvoiPredictReconCoefIntra_MPEG4_16s(p, r, r, 1, 1, -1, 0, 0)},

        {qvoStatusNullPtr, qvoiQuantInvIntra_MPEG4_16s_I(nullptr, 0, nullptr, 0)},
        {qvoStatusQuantRange, qvoiQuantInvIntra_MPEG4_16s_I(p, 0, nullptr, 0)},
        {qvoStatusQuantRange, qvoiQuantInvIntra_MPEG4_16s_I(p, 32, W, 0)},
        {qvoStatusNullPtr, qvoiQuantInvInter_MPEG4_16s_I(nullptr, 0, nullptr)},
        {qvoStatusQuantRange, qvoiQuantInvInter_MPEG4_16s_I(p, 0, nullptr)},
        {qvoStatusQuantRange, qvoiQuantInvInter_MPEG4_16s_I(p, 32, W)},

        {qvoStatusNullPtr, qvoiQuantInvIntraFirst_MPEG4_16s_I(nullptr, 0, W, 2, 9, 3)},
        {qvoStatusNullPtr, qvoiQuantInvIntraFirst_MPEG4_16s_I(p, 0, nullptr, 2, 9, 3)},
        {qvoStatusQuantRange, qvoiQuantInvIntraFirst_MPEG4_16s_I(p, 0, W, 2, 9, 3)},
        {qvoStatusQuantPrecision, qvoiQuantInvIntraFirst_MPEG4_16s_I(p, 31, W, 2, 9, 3)},
        {qvoStatusQuantPrecision, qvoiQuantInvIntraFirst_MPEG4_16s_I(p, 31, W, 2, 9, 13)},
        {qvoStatusQuantBitsFlag, qvoiQuantInvIntraFirst_MPEG4_16s_I(p, 31, W, 2, 9, 12)},

        {qvoStatusNullPtr, qvoiQuantInvIntraSecond_MPEG4_16s_I(nullptr, 0, 2, 2, 3)},
        {qvoStatusQuantRange, qvoiQuantInvIntraSecond_MPEG4_16s_I(p, 32, 2, 2, 3)},
        {qvoStatusQuantBitsFlag, qvoiQuantInvIntraSecond_MPEG4_16s_I(p, 1, -1, 2, 3)},
        {qvoStatusAcPredFlag, qvoiQuantInvIntraSecond_MPEG4_16s_I(p, 1, 0, 2, 3)},
        {qvoStatusQuantPrecision, qvoiQuantInvIntraSecond_MPEG4_16s_I(p, 1, 0, 1, 3)},
        {qvoStatusQuantPrecision, qvoiQuantInvIntraSecond_MPEG4_16s_I(p, 1, 1, 0, 13)},

        {qvoStatusNullPtr, qvoiQuantInvInterFirst_MPEG4_16s_I(nullptr, 0, W, 3)},
        {qvoStatusNullPtr, qvoiQuantInvInterFirst_MPEG4_16s_I(p, 0, nullptr, 3)},
        {qvoStatusQuantRange, qvoiQuantInvInterFirst_MPEG4_16s_I(p, 0, W, 3)},
        {qvoStatusQuantPrecision, qvoiQuantInvInterFirst_MPEG4_16s_I(p, 1, W, 3)},
        {qvoStatusNullPtr, qvoiQuantInvInterSecond_MPEG4_16s_I(nullptr, 0, 3)},
        {qvoStatusQuantRange, qvoiQuantInvInterSecond_MPEG4_16s_I(p, 32, 3)},
        {qvoStatusQuantPrecision, qvoiQuantInvInterSecond_MPEG4_16s_I(p, 1, 13)},

        {qvoStatusNullPtr, qvoiQuantInvIntra_MPEG4_16s_C1I(nullptr, 1, matrix16.data())},
        {qvoStatusNullPtr, qvoiQuantInvIntra_MPEG4_16s_C1I(p, 1, nullptr)},
        {qvoStatusNullPtr, qvoiQuantInv_MPEG4_16s_C1I(nullptr, 1, nullptr)}};
    for (std::size_t i = 0; i < results.size(); ++i)
        EXPECT_EQ(results[i].first, results[i].second) << "case " << i;
    EXPECT_EQ(untouched, block);
    EXPECT_TRUE(std::all_of(row.begin(), row.end(), [](Qvo16s v) { return v == 55; }));
}

}  // namespace
