// AC/DC prediction and inverse quantisation of whole blocks, against the formulas of ISO/IEC 14496-2, 7.4.3 and 7.4.4,
// the latter in real numbers.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numeric>
#include <vector>

#include "mpeg4/texture_codes.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using texture::dcScaler;
using Block = texture::Levels;
using Matrix = std::array<Qvo8u, 64>;
using Matrix16 = std::array<Qvo16s, 64>;

double clip(double v, int bits = 8) {
    const double limit = std::ldexp(1, bits + 3);
    return std::clamp(v, -limit, limit - 1);
}

double signOf(double v) {
    return v > 0 ? 1 : v < 0 ? -1 : 0;
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

// Calls the operation with a block and the arguments.
template <class... P, class... A>
void expectBlock(const Block& expected, Block block, QvoStatus (*operation)(Qvo16s*, P...), A... arguments) {
    ASSERT_EQ(qvoStatusOk, operation(block.data(), arguments...));
    ASSERT_EQ(expected, block);
}

TEST(QuantInv, MatchesTheFormulas) {
    Random random(1);
    for (int round = 0; round < 20000 && !HasFatalFailure(); ++round) {
        const Block levels = randomLevels(random);
        Matrix matrix;
        random.fill(matrix, 1, 255);
        const int QP = random.range(1, 31), component = random.range(0, 2), bits = random.range(4, 12);
        const int flag = random.range(0, 1), s = dcScaler(QP, component == 1), flagged = flag == 1 ? s : 8;
        // Without a scaler of the DC coefficient: an inter block.
        const auto expected = [&](int scaler, int precision, bool weighted) {
            return dequantised(levels, weighted, [&](double level, int i) {
                const int weight = matrix[static_cast<std::size_t>(i)];
                const double coef = i == 0 && scaler != 0 ? level * scaler
                                    : !weighted           ? h263(level, QP)
                                    : scaler != 0         ? intraByMatrix(level, QP, weight)
                                                          : interByMatrix(level, QP, weight);
                return clip(coef, precision);
            });
        };
        SCOPED_TRACE(testing::Message() << "QP " << QP << " round " << round);
        const Qvo8u* const W = matrix.data();
        for (const bool weighted : {false, true}) {
            const Qvo8u* const w = weighted ? W : nullptr;
            expectBlock(expected(s, 8, weighted), levels, qvoiQuantInvIntra_MPEG4_16s_I, QP, w, component);
            expectBlock(expected(0, 8, weighted), levels, qvoiQuantInvInter_MPEG4_16s_I, QP, w);
        }
        expectBlock(expected(flagged, bits, true), levels, qvoiQuantInvIntraFirst_MPEG4_16s_I, QP, W, flag, component,
                    bits);
        if (component < 2)
            expectBlock(expected(flagged, bits, false), levels, qvoiQuantInvIntraSecond_MPEG4_16s_I, QP, flag,
                        component, bits);
        expectBlock(expected(0, bits, true), levels, qvoiQuantInvInterFirst_MPEG4_16s_I, QP, W, bits);
        expectBlock(expected(0, bits, false), levels, qvoiQuantInvInterSecond_MPEG4_16s_I, QP, bits);
    }
}

double wrapped(double v, int bits) {
    const double range = std::ldexp(1, bits);
    return v - range * std::floor(v / range + 0.5);
}

// The forms with 16-bit weights take any quantiser and weight: products wrap.
TEST(QuantInv, SixteenBitWeightsWrapBeforeTheClip) {
    Random random(2);
    for (int round = 0; round < 20000 && !HasFatalFailure(); ++round) {
        const Block levels = randomLevels(random);
        const bool wild = random.chance(30);
        Matrix16 matrix;
        random.fill(matrix, wild ? -32768 : 1, wild ? 32767 : 255);
        const int QP = wild ? random.range(-70000, 70000) : random.range(1, 31);
        const auto weighted = [&](double level, int i) {
            const double product = wrapped(level * 2 * matrix[static_cast<std::size_t>(i)] * QP, 32);
            return clip(wrapped(std::trunc(product / 16), 16));
        };
        SCOPED_TRACE(testing::Message() << "QP " << QP << " round " << round);
        expectBlock(
            dequantised(levels, true, [&](double level, int i) { return i == 0 ? level : weighted(level, i); }),
            levels, qvoiQuantInvIntra_MPEG4_16s_C1I, QP, matrix.data());
        expectBlock(
            dequantised(levels, true, [&](double level, int i) { return weighted(level + signOf(level) / 2, i); }),
            levels, qvoiQuantInv_MPEG4_16s_C1I, QP, matrix.data());
        expectBlock(
            dequantised(levels, true,
                        [&](double level, int) { return clip(wrapped((2 * level + signOf(level)) * QP, 16)); }),
            levels, qvoiQuantInv_MPEG4_16s_C1I, QP, nullptr);
    }
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
        int dc = direction == 2 ? before.row[8] : direction == 1 ? before.row[0] : 1024;
        if (dc < 0) dc = 1024;
        Block expected = levels;
        expected[0] = static_cast<Qvo16s>(clip(static_cast<Qvo16s>(levels[0] + (dc + s / 2) / s)));
        for (std::size_t i = 1; i < 8 && ac != 0 && direction != 0; ++i) {
            const int p = direction == 2 ? before.row[8 + i] : before.column[i];
            Qvo16s& level = expected[direction == 2 ? i : 8 * i];
            if (p != 0) level = static_cast<Qvo16s>(clip(level + texture::scaledPredictor(p, QP, predQP)));
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

TEST(PredictQuant, CheckTheirArguments) {
    struct Memory {
        Block block = {};
        std::array<Qvo16s, 16> row = {};
        std::array<Qvo16s, 8> column = {};
        bool operator==(const Memory&) const = default;
    } m;
    Qvo16s* const p = m.block.data();
    const Matrix matrix = {16};
    const Matrix16 matrix16 = {16};
    const Qvo8u* const W = matrix.data();
    const auto nulls = [](std::vector<std::size_t> arguments) { return Fault{qvoStatusNullPtr, arguments}; };
    const auto precision = [](std::size_t argument) { return Fault{qvoStatusQuantPrecision, {argument}, {3, 13}}; };
    const auto flag = [](std::size_t argument) { return Fault{qvoStatusQuantBitsFlag, {argument}, {-1, 2}}; };
    const Fault badQP{qvoStatusQuantRange, {1}, {0, 32}};
    expectStatuses(m, qvoiPredictReconCoefIntra_MPEG4_16s, {p, m.row.data() + 8, m.column.data(), 1, 1, 0, 0, 0},
                   {nulls({0, 1, 2}), {qvoStatusQuantRange, {3, 4}, {0, 32}}, {qvoStatusScanType, {5}, {3, -1}}});
    expectStatuses(m, qvoiQuantInvIntra_MPEG4_16s_I, {p, 1, nullptr, 0}, {nulls({0}), badQP});
    expectStatuses(m, qvoiQuantInvInter_MPEG4_16s_I, {p, 1, nullptr}, {nulls({0}), badQP});
    expectStatuses(m, qvoiQuantInvIntraFirst_MPEG4_16s_I, {p, 1, W, 0, 9, 8},
                   {nulls({0, 2}), badQP, precision(5), flag(3)});
    expectStatuses(m, qvoiQuantInvIntraSecond_MPEG4_16s_I, {p, 1, 0, 0, 8},
                   {nulls({0}), badQP, flag(2), {qvoStatusAcPredFlag, {3}, {2, -1}}, precision(4)});
    expectStatuses(m, qvoiQuantInvInterFirst_MPEG4_16s_I, {p, 1, W, 8}, {nulls({0, 2}), badQP, precision(3)});
    expectStatuses(m, qvoiQuantInvInterSecond_MPEG4_16s_I, {p, 1, 8}, {nulls({0}), badQP, precision(2)});
    expectStatuses(m, qvoiQuantInvIntra_MPEG4_16s_C1I, {p, 1, matrix16.data()}, {nulls({0, 2})});
    expectStatuses(m, qvoiQuantInv_MPEG4_16s_C1I, {p, 1, nullptr}, {nulls({0})});
}

}  // namespace
