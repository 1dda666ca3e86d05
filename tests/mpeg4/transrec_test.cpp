// Transform-reconstruct: against its steps one by one, and whole macroblocks that go through it, a bit stream and the
// block decoders.
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

// What an encoder keeps of a block for those predicted from it.
struct Kept {
    Qvo16s dc = -1;
    Qvo16s row[8] = {}, column[8] = {};
    Qvo8u QP = 0;
};

// A block's bits: DC difference and the levels in the order of a scan. `coded` says whether there are any of the latter.
std::string writeBlock(int difference, bool chrominance, const Levels& levels, const Qvo8u* scan, bool& coded) {
    std::string bits = dcDifference(difference, chrominance);
    std::vector<Event> events;
    for (int p = 1, run = 0; p < 64; ++p, ++run) {
        const int level = levels[scan[p]];
        if (level == 0) continue;
        events.push_back({0, run, level});
        run = -1;
    }
    coded = !events.empty();
    if (coded) events.back().last = 1;
    for (const Event& event : events)
        bits += intraCodes().firstForm(event);
    return bits;
}

// One component of a picture of 4x3 macroblocks, through the operation, a bit stream and the block decoders.
class Component {
  public:
    static constexpr int columns = 4, rows = 3;

    Component(bool chrominance, Random& random)
        : chrominance_(chrominance),
          blocks_(chrominance ? 1 : 2),
          step_(8 * blocks_ * columns),
          grid_(static_cast<std::size_t>((blocks_ * columns + 1) * (blocks_ * rows + 1))),
          source_(pixels()),
          rec_(pixels()),
          decoded_(pixels()),
          row_(static_cast<std::size_t>(8 * (blocks_ * columns + 1)), Qvo16s{-1}) {
        column_.fill(-1);
        // Slopes with noise of any strength, or nothing but black and white.
        const int noise = random.chance(60) ? random.range(0, 40) : 255;
        const int slopeX = random.range(-4, 4), slopeY = random.range(-4, 4);
        for (int i = 0; i < static_cast<int>(source_.size()); ++i) {
            const int v = 128 + (i % step_ - step_ / 2) * slopeX + i / step_ * slopeY + random.range(-noise, noise);
            source_[static_cast<std::size_t>(i)] =
                static_cast<Qvo8u>(noise == 255 ? v % 2 * 255 : std::clamp(v, 0, 255));
        }
    }
    int blocksPerMacroblock() const { return blocks_ * blocks_; }

    void startRow() { row_[0] = column_[0] = column_[8] = -1; }
    void endRow() {
        if (!chrominance_) row_[row_.size() - 8] = column_[8];
    }
    void notIntra(int x, int y) {
        for (int b = 0; b < blocksPerMacroblock(); ++b)
            kept(x, y, b) = Kept();
        Qvo16s* const slot = row_.data() + 8 + 8 * blocks_ * x;
        if (!chrominance_) slot[-8] = column_[8];
        column_[0] = slot[8 * (blocks_ - 1)];
        slot[0] = slot[8 * (blocks_ - 1)] = column_[8] = -1;
    }

    // Transforms a block; `gain` is the macroblock's.
    void transform(int x, int y, int b, int index, Qvo8u QP, const Qvo32s* W, Qvo32s& gain) {
        const Kept &left = kept(x, y, b, -1, 0), &above = kept(x, y, b, 0, -1);
        Qvo16s aboveBuffer[16] = {kept(x, y, b, -1, -1).dc}, leftBuffer[16];
        Qvo16s* const aboveValues = index == 3 ? leftBuffer : aboveBuffer + 8;
        std::copy_n(above.row, 8, aboveValues);
        std::copy_n(left.column, 8, leftBuffer + 8);
        aboveValues[0] = above.dc;
        leftBuffer[8] = left.dc;
        const Qvo8u QPs[2] = {left.QP, above.QP};
        Transformed& t = transformed_[b];
        const std::ptrdiff_t at = place(x, y, b);
        ASSERT_EQ(qvoStatusOk, qvoiTransRecBlockCoef_intra_MPEG4(
                                   source_.data() + at, t.levels.data(), rec_.data() + at, aboveBuffer + 8,
                                   leftBuffer + 8, t.prediction, &gain, index, QP, QPs, step_, step_, W));
        const int s = dcScaler(QP, chrominance_);
        const Kept& from = t.prediction[0] >> 1 != 0 ? above : left;
        t.difference = t.levels.at[0] - ((from.dc < 0 ? 1024 : from.dc) + s / 2) / s;
        Kept& own = kept(x, y, b);
        own.dc = static_cast<Qvo16s>(std::min(t.levels.at[0] * s, 2047));
        own.QP = QP;
        for (std::size_t i = 1; i < 8; ++i) {
            own.row[i] = t.levels.at[i];
            own.column[i] = t.levels.at[8 * i];
        }
    }

    // Writes a block and decodes it. Returns its prediction code.
    int writeAndDecode(int x, int y, int b, int index, Qvo8u QP, const Qvo8u* W, const Qvo8u* QPs, bool ac) {
        Transformed& t = transformed_[b];
        const int code = t.prediction[0];
        const bool above = code >> 1 != 0;
        Levels levels = t.levels.at;
        if (ac && (code == qvoTransRecLeftAC || code == qvoTransRecAboveAC))
            for (std::size_t i = 1; i < 8; ++i)
                levels[above ? i : 8 * i] = t.prediction[i];
        bool coded;
        Stream stream(writeBlock(t.difference, chrominance_, levels,
                                 !ac     ? ZigzagC
                                 : above ? ZigzagH
                                         : ZigzagV,
                                 coded));
        Qvo16s* const slot = row_.data() + 8 + 8 * (blocks_ * x + b % blocks_);
        EXPECT_EQ(qvoStatusOk,
                  (coded ? qvoiDecodeBlockCoef_Intra_MPEG4_1u8u : qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u)(
                      &stream.position, &stream.bitOffset, decoded_.data() + place(x, y, b), step_, slot,
                      column_.data() + 8 * (b / blocks_), QP, QPs, W, index, 1, ac));
        return code;
    }

    void compare() const {
        for (std::size_t i = 0; i < rec_.size(); ++i)
            ASSERT_EQ(rec_[i], decoded_[i])
                << "at " << i % static_cast<std::size_t>(step_) << ' ' << i / static_cast<std::size_t>(step_);
    }

  private:
    struct Transformed {
        Block levels;
        Qvo16s prediction[8];
        int difference;
    };

    std::vector<Qvo8u> pixels() const {
        return std::vector<Qvo8u>(static_cast<std::size_t>(step_ * 8 * blocks_ * rows));
    }
    std::ptrdiff_t place(int x, int y, int b) const {
        return 8 * (blocks_ * y + b / blocks_) * step_ + 8 * (blocks_ * x + b % blocks_);
    }
    Kept& kept(int x, int y, int b, int dx = 0, int dy = 0) {
        const int column = blocks_ * x + b % blocks_ + 1 + dx, row = blocks_ * y + b / blocks_ + 1 + dy;
        return grid_[static_cast<std::size_t>(row * (blocks_ * columns + 1) + column)];
    }
    bool chrominance_;
    int blocks_, step_;  // blocks across a macroblock
    std::vector<Kept> grid_;
    std::vector<Qvo8u> source_, rec_, decoded_;
    std::vector<Qvo16s> row_;
    std::array<Qvo16s, 16> column_;
    Transformed transformed_[4];
};

TEST(TransRecIntra, DecodersReconstructTheSamePicture) {
    Random random(2);
    int codes[4] = {}, withAC = 0, tooLarge = 0;
    for (int picture = 0; picture < 400; ++picture) {
        Component luma(false, random), cb(true, random), cr(true, random);
        const WeightRecord record(random);
        const bool matrix = random.chance(50);
        Qvo8u QPs[Component::rows + 1][Component::columns + 1] = {};
        const int lowQP = random.range(1, 31), highQP = random.chance(50) ? lowQP : random.range(lowQP, 31);
        for (int y = 0; y < Component::rows; ++y) {
            for (Component* c : {&luma, &cb, &cr})
                c->startRow();
            for (int x = 0; x < Component::columns; ++x) {
                if (random.chance(15)) {
                    for (Component* c : {&luma, &cb, &cr})
                        c->notIntra(x, y);
                    continue;
                }
                const auto QP = QPs[y + 1][x + 1] = static_cast<Qvo8u>(random.range(lowQP, highQP));
                const Qvo8u neighbourQPs[2] = {QPs[y + 1][x], QPs[y][x + 1]};
                Qvo32s gain = random.chance(80) ? 0 : qvoACPredictionOff;
                const bool off = gain != 0;
                const auto forAll = [&](const auto& work) {
                    for (int b = 0; b < 6; ++b)
                        work(b < 4 ? luma : b == 4 ? cb : cr, b < 4 ? b : 0, b);
                };
                forAll([&](Component& c, int b, int index) {
                    c.transform(x, y, b, index, QP, matrix ? record.data() : nullptr, gain);
                });
                tooLarge += !off && gain == qvoACPredictionOff;
                // Where AC prediction is possible it has to decode, whether it pays or not.
                const bool ac = gain != qvoACPredictionOff && (gain > 0 || random.chance(50));
                withAC += ac;
                forAll([&](Component& c, int b, int index) {
                    ++codes[c.writeAndDecode(x, y, b, index, QP, matrix ? record.weights() : nullptr, neighbourQPs,
                                             ac)];
                });
            }
            for (Component* c : {&luma, &cb, &cr})
                c->endRow();
        }
        for (Component* c : {&luma, &cb, &cr})
            ASSERT_NO_FATAL_FAILURE(c->compare()) << "picture " << picture;
    }
    for (const int count : codes)
        EXPECT_GT(count, 300);
    EXPECT_GT(withAC, 300);
    EXPECT_GT(tooLarge, 30);
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
