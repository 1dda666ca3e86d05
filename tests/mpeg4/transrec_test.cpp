// Transform-reconstruct: against its steps one by one, and whole pictures that go through it, a bit stream and the block
// decoders.
#include <gtest/gtest.h>

#include <algorithm>

#include "mpeg4/texture_codes.h"
#include "mpeg4/weights.h"
#include "support/plane.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using namespace texture;

struct alignas(8) Block {
    Levels at;
    Qvo16s* data() { return at.data(); }
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
    for (const Event& event : events) {
        const auto forms = intraCodes().allForms(event);
        bits += *std::find_if(forms.begin(), forms.end(), [](const std::string& f) { return !f.empty(); });
    }
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

TEST(TransRecIntra, KeepsLevelsWholeAndReportsTheGain) {
    alignas(8) Qvo8u pixels[64], rec[64];
    for (int i = 0; i < 64; ++i)
        pixels[i] = static_cast<Qvo8u>(100 + 8 * (i % 8));
    Qvo16s above[16] = {1000}, left[16] = {};
    above[8] = -1;
    left[8] = 1000;
    Block levels;
    const auto transform = [&](Qvo16s* prediction, Qvo32s& gain, int index, const Qvo8u* QPs) {
        return qvoiTransRecBlockCoef_intra_MPEG4(pixels, levels.data(), rec, above + 8, left + 8, prediction, &gain,
                                                 index, 4, QPs, 8, 8, nullptr);
    };
    const Qvo8u QPs[2] = {8, 4};
    Qvo16s prediction[8];
    Qvo32s gain = 0;
    // Above, which is missing: 1024 predicts, without AC.
    left[8] = 1000, above[0] = 1000;
    EXPECT_EQ(qvoStatusOk, transform(prediction, gain, 0, QPs));
    EXPECT_EQ(qvoTransRecAbove, prediction[0]);
    EXPECT_EQ(0, gain);
    EXPECT_EQ(128, levels.at[0]);
    // From above, the left buffer's in block 3; its levels are those of this very row.
    std::copy_n(levels.data(), 8, left);
    left[0] = 1010;
    EXPECT_EQ(qvoStatusOk, transform(prediction, gain, 3, QPs));
    EXPECT_EQ(qvoTransRecAboveAC, prediction[0]);
    EXPECT_TRUE(std::all_of(prediction + 1, prediction + 8, [](Qvo16s d) { return d == 0; }));
    int sum = 0;
    for (int i = 1; i < 8; ++i)
        sum += std::abs(levels.at[static_cast<std::size_t>(i)]);
    EXPECT_GT(sum, 0);
    EXPECT_EQ(sum, gain);
    // From the left, whose quantiser is twice as large: 4 counts as 8, -4 as -8. The sixth is too large.
    above[0] = 500, above[8] = 505;
    for (int i = 1; i < 8; ++i)
        left[8 + i] = static_cast<Qvo16s>(i % 2 != 0 ? 4 : -4);
    left[8 + 6] = 70;
    gain = 5;
    EXPECT_EQ(qvoStatusOk, transform(prediction, gain, 0, QPs));
    EXPECT_EQ(qvoACPredictionOff, gain);
    // 1000 - 500 is not less than 500 - 505: from the left.
    EXPECT_EQ(qvoTransRecLeft, prediction[0]);
    left[8 + 6] = -4;
    gain = 5;
    EXPECT_EQ(qvoStatusOk, transform(prediction, gain, 0, QPs));
    EXPECT_EQ(qvoTransRecLeftAC, prediction[0]);
    EXPECT_EQ((std::vector<Qvo16s>{-8, 8, -8}), std::vector<Qvo16s>(prediction + 1, prediction + 4));
    EXPECT_EQ(5 - 7 * 8, gain);
    // In block 1 the neighbour has the same quantiser.
    EXPECT_EQ(qvoStatusOk, transform(prediction, gain, 1, QPs));
    EXPECT_EQ(-4, prediction[1]);
}

TEST(TransRec, Statuses) {
    struct Memory {
        alignas(8) std::array<Qvo8u, 72> rec = {};
        Block levels = {}, residualRec = {};
        Qvo16s prediction[8] = {77};
        Qvo32s gain = 0;
        bool operator==(const Memory& other) const {
            return rec == other.rec && levels.at == other.levels.at && residualRec.at == other.residualRec.at &&
                   std::equal(prediction, prediction + 8, other.prediction) && gain == other.gain;
        }
    } m;
    alignas(8) const Qvo8u source[72] = {};
    Block residual = {};
    const Qvo16s above[24] = {}, left[24] = {};
    const Qvo8u QPs[2] = {1, 1}, one = 1;
    Random random(3);
    WeightRecord bad(random);
    bad.setWeight(0, 12);
    const QvoStatus arg = qvoStatusBadArg;
    Qvo16s* const levels = m.levels.data();

    expectStatuses(m, qvoiTransRecBlockCoef_inter_MPEG4,
                   {residual.data(), levels, m.residualRec.data(), one, nullptr},
                   {{arg, {0, 1, 2}, {0, 4}}, {arg, {3}, {0, 32}}});
    EXPECT_EQ(arg, qvoiTransRecBlockCoef_inter_MPEG4(residual.data(), levels, m.residualRec.data(), 1, bad.data()));
    // The neighbours may lie anywhere.
    for (const int shift : {0, 1})
        expectStatuses(m, qvoiTransRecBlockCoef_intra_MPEG4,
                       {source, levels, m.rec.data(), above + 8 + shift, left + 8 + 3 * shift, m.prediction, &m.gain,
                        0, one, QPs, 8, 8, nullptr},
                       {{arg, {0}, {0, 4}},
                        {arg, {1}, {0, 2}},
                        {arg, {2}, {0, 1}},
                        {arg, {3, 4, 5, 6, 9}},
                        {arg, {7}, {-1, 10}},
                        {arg, {8}, {0, 32}},
                        {arg, {10}, {0, 12}},
                        {arg, {11}, {-8, 9}}});
    EXPECT_EQ(arg, qvoiTransRecBlockCoef_intra_MPEG4(source, levels, m.rec.data(), above + 8, left + 8, m.prediction,
                                                     &m.gain, 0, 1, QPs, 8, 8, bad.data()));
    EXPECT_TRUE(m == Memory());
}

}  // namespace
