// Transform-reconstruct, against its steps one by one.
#include <gtest/gtest.h>

#include <algorithm>

#include "mpeg4/texture_codes.h"
#include "mpeg4/weights.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using namespace texture;

struct alignas(8) Block {
    Levels at;
    Qvo16s* data() { return at.data(); }
    bool operator==(const Block&) const = default;
};

TEST(TransRecInter, MatchesTheSingleSteps) {
    Random random(1);
    for (int round = 0; round < 20000; ++round) {
        const auto QP = static_cast<Qvo8u>(random.range(1, 31));
        const WeightRecord record(random);
        const bool matrix = random.chance(50);
        Block residual, levels, rec;
        const int range = random.chance(70) ? random.range(0, 255) : 1500;
        random.fill(residual.at, -range, range);
        if (random.chance(20)) residual.at.fill(static_cast<Qvo16s>(random.range(-range, range)));

        Levels expectedLevels, expected;
        qvoiDCT8x8Fwd_16s_C1(residual.data(), expectedLevels.data());
        qvoiQuantInter_MPEG4_16s_I(expectedLevels.data(), QP, matrix ? record.data() : nullptr);
        expected = expectedLevels;
        qvoiQuantInvInter_MPEG4_16s_I(expected.data(), QP, matrix ? record.weights() : nullptr);
        qvoiDCT8x8Inv_16s_C1I(expected.data());

        const bool inPlace = random.chance(20);
        ASSERT_EQ(qvoStatusOk, qvoiTransRecBlockCoef_inter_MPEG4(residual.data(), levels.data(),
                                                                 inPlace ? residual.data() : rec.data(), QP,
                                                                 matrix ? record.data() : nullptr));
        ASSERT_EQ(expectedLevels, levels.at) << "round " << round;
        ASSERT_EQ(expected, inPlace ? residual.at : rec.at) << "round " << round;
    }
}

TEST(TransRecIntra, MatchesTheSingleSteps) {
    Random random(2);
    int codes[4] = {}, tooLarge = 0;
    for (int round = 0; round < 30000; ++round) {
        const auto QP = static_cast<Qvo8u>(random.range(1, 31));
        const int block = random.range(0, 9), srcStep = 8 * random.range(1, 3), recStep = 8 * random.range(1, 3);
        const WeightRecord record(random);
        const bool matrix = random.chance(50);
        alignas(8) std::array<Qvo8u, 8 * 24> source, rec, expectedRec;
        const int noise = random.chance(70) ? random.range(0, 60) : 255, low = random.range(0, 255 - noise);
        random.fill(source, low, low + noise);
        random.fill(rec, 0, 255);
        expectedRec = rec;

        // What block 6 and those behind it get is what is right for chrominance.
        const int component = block > 3 ? qvoVideoChrominance : qvoVideoLuminance;
        Block levels, expectedLevels, coefs;
        qvoiDCT8x8Fwd_8u16s_C1R(source.data(), srcStep, expectedLevels.data());
        qvoiQuantIntra_MPEG4_16s_I(expectedLevels.data(), QP, std::min(block, 4), matrix ? record.data() : nullptr);
        coefs = expectedLevels;
        qvoiQuantInvIntra_MPEG4_16s_I(coefs.data(), QP, matrix ? record.weights() : nullptr, component);
        qvoiDCT8x8Inv_16s8u_C1R(coefs.data(), expectedRec.data(), recStep);

        // Both buffers hold the values of one more block in front.
        std::array<Qvo16s, 16> above, left;
        Qvo8u QPs[2] = {static_cast<Qvo8u>(random.range(1, 31)), static_cast<Qvo8u>(random.range(1, 31))};
        if (random.chance(50)) QPs[0] = QPs[1] = QP;
        const int range = random.chance(80) ? 20 : 130;
        random.fill(above, -range, range);
        random.fill(left, -range, range);
        for (std::size_t dc : {0, 8})
            for (auto* const buffer : {&above, &left})
                (*buffer)[dc] = static_cast<Qvo16s>(random.chance(10) ? -1 : 8 * random.range(126, 130));
        const Qvo16s* const aboveValues = block == 3 ? left.data() : above.data() + 8;
        const IntraPrediction from = intraPrediction(left[8], above[0], aboveValues[0], block);
        const int predQP = from.sameMacroblock ? QP : QPs[from.above];
        const Qvo32s gainBefore = random.chance(10) ? qvoACPredictionOff : random.range(-100, 100);
        std::array<Qvo16s, 8> prediction = {}, expectedPrediction = {};
        Qvo32s gain = gainBefore, expectedGain = gainBefore;
        bool predicted = from.available && gain != qvoACPredictionOff;
        for (std::size_t i = 1; i < 8 && predicted; ++i) {
            const int level = expectedLevels.at[from.above ? i : 8 * i];
            const int difference = level - scaledPredictor(from.above ? aboveValues[i] : left[8 + i], QP, predQP);
            expectedPrediction[i] = static_cast<Qvo16s>(difference);
            expectedGain += std::abs(level) - std::abs(difference);
            predicted = std::abs(difference) <= 127;
        }
        if (from.available && gain != qvoACPredictionOff && !predicted) {
            expectedGain = qvoACPredictionOff;
            ++tooLarge;
        }
        expectedPrediction[0] = static_cast<Qvo16s>(from.above  ? predicted ? qvoTransRecAboveAC : qvoTransRecAbove
                                                    : predicted ? qvoTransRecLeftAC
                                                                : qvoTransRecLeft);
        ++codes[expectedPrediction[0]];

        ASSERT_EQ(qvoStatusOk,
                  qvoiTransRecBlockCoef_intra_MPEG4(source.data(), levels.data(), rec.data(), above.data() + 8,
                                                    left.data() + 8, prediction.data(), &gain, block, QP, QPs,
                                                    srcStep, recStep, matrix ? record.data() : nullptr));
        ASSERT_EQ(expectedLevels.at, levels.at) << "round " << round;
        ASSERT_EQ(expectedRec, rec) << "round " << round;
        ASSERT_EQ(expectedGain, gain) << "round " << round;
        ASSERT_EQ(expectedPrediction[0], prediction[0]) << "round " << round;
        if (predicted) {
            ASSERT_EQ(expectedPrediction, prediction) << "round " << round;
        }
    }
    for (const int count : codes)
        EXPECT_GT(count, 300);
    EXPECT_GT(tooLarge, 300);
}

TEST(TransRec, Statuses) {
    struct Memory {
        alignas(8) std::array<Qvo8u, 72> rec = {};
        Block levels = {}, residualRec = {};
        std::array<Qvo16s, 8> prediction = {77};
        Qvo32s gain = 0;
        bool operator==(const Memory&) const = default;
    } m;
    alignas(8) const Qvo8u source[72] = {};
    Block residual = {};
    const Qvo16s above[24] = {}, left[24] = {};
    const Qvo8u QPs[2] = {1, 1}, one = 1;
    Random random(3);
    WeightRecord records[2] = {WeightRecord(random), WeightRecord(random)};
    records[1].setWeight(0, 12);
    const Qvo32s* const W = records[0].data();
    const QvoStatus arg = qvoStatusBadArg;
    Qvo16s* const levels = m.levels.data();

    expectStatuses(m, qvoiTransRecBlockCoef_inter_MPEG4, {residual.data(), levels, m.residualRec.data(), one, W},
                   {{arg, {0, 1, 2}, {0, 4}}, {arg, {3}, {0, 32}}, {arg, {4}, {sizeof records[0]}}});
    // The neighbours may lie anywhere.
    for (const int shift : {0, 1})
        expectStatuses(m, qvoiTransRecBlockCoef_intra_MPEG4,
                       {source, levels, m.rec.data(), above + 8 + shift, left + 8 + 3 * shift, m.prediction.data(),
                        &m.gain, 0, one, QPs, 8, 8, W},
                       {{arg, {0}, {0, 4}},
                        {arg, {1}, {0, 2}},
                        {arg, {2}, {0, 1}},
                        {arg, {3, 4, 5, 6, 9}},
                        {arg, {7}, {-1, 10}},
                        {arg, {8}, {0, 32}},
                        {arg, {10}, {0, 12}},
                        {arg, {11}, {-8, 9}},
                        {arg, {12}, {sizeof records[0]}}});
}

}  // namespace
