#include "mpeg4/block_coder.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "common/residual.h"

namespace codecs::mpeg4 {

namespace {

// The integer quantisers limit levels to 127. From this quantiser on none is larger.
constexpr int firstNarrow = 8;

constexpr bool isChroma(int block) {
    return block == 4 || block == 5;
}

// What a bit is worth in squared errors, for a quantiser of 1.
constexpr float lambdaFactor = 0.85F;

constexpr float patternBits = 2;  // what a block costs in the macroblock's header

// Writes each event, one that is not the last with a level of 1 behind it.
EventBits measureEvents() {
    EventBits all;
    const auto bitsOf = [](const Levels& levels) {
        std::array<Qvo8u, 64> bytes;
        Qvo8u* byte = bytes.data();
        Qvo32s offset = 0;
        qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u(&byte, &offset, levels.data(), 1);
        return 8 * static_cast<int>(byte - bytes.data()) + offset;
    };
    Levels lastOne;
    lastOne.at[0] = 1;
    const int lastOneBits = bitsOf(lastOne);
    for (std::size_t run = 0; run < 64; ++run)
        for (std::size_t level = 0; level < 32; ++level) {
            Levels levels;
            levels.at[ZigzagC[run]] = static_cast<Qvo16s>(level);
            all[1][run][level] = static_cast<Qvo8u>(bitsOf(levels));
            if (run < 63) levels.at[ZigzagC[run + 1]] = 1;
            all[0][run][level] = static_cast<Qvo8u>(bitsOf(levels) - (run < 63 ? lastOneBits : 0));
        }
    return all;
}

// The levels of a block, chosen with knowledge of those before them: of all ways from level to level the one whose squared
// error and bits together are lowest.
class LevelPath {
  public:
    LevelPath(const EventBits& bits, float lambda) : bits_(bits), lambda_(lambda) {}

    // The two levels that a position of the scan may have besides 0, and their squared errors less that of 0. A level of 0
    // does not count.
    void add(int position, const std::array<int, 2>& levels, const std::array<float, 2>& errors) {
        Step& step = steps_[static_cast<std::size_t>(count_)];
        step.position = position;
        step.levels = levels;
        step.cost = std::numeric_limits<float>::max();
        for (int before = std::max(0, count_ - reach); before < count_; ++before)
            for (std::size_t k = 0; k < 2; ++k)
                if (levels[k] != 0) connect(before, k, errors[k]);
        ++count_;
    }

    // Calls set(position, level) for the levels of the best way; false where there is none better than no level at all.
    template <class Set>
    bool trace(Set set) const {
        for (Choice choice = end_; choice.step > 0; choice = at(choice.before).choice)
            set(at(choice.step).position, at(choice.step).levels[choice.level]);
        return end_.step > 0;
    }

  private:
    static constexpr int reach = 6;  // how many candidates back a level looks

    struct Choice {
        int step = 0;
        int before = 0;         // the step before it
        std::size_t level = 0;  // which of the two
    };
    struct Step {
        int position = -1;
        std::array<int, 2> levels = {};
        Choice choice;   // on the best way that goes on from here
        float cost = 0;  // of that way
    };

    const Step& at(int i) const { return steps_[static_cast<std::size_t>(i)]; }

    void connect(int before, std::size_t k, float error) {
        Step& step = steps_[static_cast<std::size_t>(count_)];
        const Step& from = at(before);
        const auto run = static_cast<std::size_t>(step.position - from.position - 1);
        const auto level = static_cast<std::size_t>(std::min(step.levels[k], 31));
        const float cost = from.cost + error;
        const float open = cost + lambda_ * bits_[0][run][level];
        if (open < step.cost) {
            step.cost = open;
            step.choice = {count_, before, k};
        }
        const float closed = cost + lambda_ * (patternBits + bits_[1][run][level]);
        if (closed < endCost_) {
            endCost_ = closed;
            end_ = {count_, before, k};
        }
    }

    const EventBits& bits_;
    float lambda_;
    std::array<Step, 65> steps_;  // the first stands for the beginning
    int count_ = 1;
    Choice end_;         // the last level of the best way
    float endCost_ = 0;  // less that of no level at all
};

}  // namespace

BlockCoder::Method::Method(const Qvo8u* weights) : matrix(weights) {
    for (std::size_t i = 0; i < 64 && weights != nullptr; ++i) {
        record[i] = weights[i];
        record[i + 64] = 0x200000 / weights[i];
        factors[i] = 1.0F / static_cast<float>(weights[i]);
    }
}

BlockCoder::BlockCoder(const Layer& layer)
    : intra_(layer.useMatrices ? layer.intraMatrix.data() : nullptr),
      inter_(layer.useMatrices ? layer.interMatrix.data() : nullptr),
      eventBits_(measureEvents()) {}

void BlockCoder::setQuantiser(int quantiser) {
    quantiser_ = quantiser;
}

// Table 7-1.
int BlockCoder::dcScaler(int block) const {
    const int q = quantiser_;
    if (q < 5) return 8;
    if (isChroma(block)) return q < 25 ? (q + 13) / 2 : q - 6;
    return q < 9 ? 2 * q : q < 25 ? q + 8 : 2 * q - 16;
}

void BlockCoder::codeIntra(const Qvo8u* source, Qvo32s step, int block, Levels& levels) const {
    qvoiDCT8x8Fwd_8u16s_C1R(source, step, levels.data());
    if (quantiser_ >= firstNarrow) {
        qvoiQuantIntra_MPEG4_16s_I(levels.data(), static_cast<Qvo8u>(quantiser_), block, intra_.recordOrNull());
        return;
    }
    Qvo32s last;
    if (intra_.matrix != nullptr) {
        qvoiQuantIntra_MPEG4_16s_C1I(levels.data(), quantiser_, intra_.factors.data(), &last);
    } else {
        qvoiQuantIntra_H263_C1I(levels.data(), quantiser_, &last);
    }
    const int scaler = dcScaler(block);
    levels.at[0] = static_cast<Qvo16s>(std::clamp((levels.at[0] + scaler / 2) / scaler, 1, 254));
}

void BlockCoder::quantiseInter(Levels& levels) const {
    if (quantiser_ >= firstNarrow) {
        qvoiQuantInter_MPEG4_16s_I(levels.data(), static_cast<Qvo8u>(quantiser_), inter_.recordOrNull());
        return;
    }
    Qvo32s last;
    if (inter_.matrix != nullptr) {
        qvoiQuant_MPEG4_16s_C1I(levels.data(), quantiser_, inter_.factors.data(), &last);
    } else {
        qvoiQuant_H263_C1I(levels.data(), quantiser_, &last);
    }
}

bool BlockCoder::codeInter(const Levels& residual, Levels& levels) const {
    Levels coefficients;
    transformResidual(residual.data(), energyOf(residual.data()), coefficients.data());
    levels = coefficients;
    quantiseInter(levels);
    return choose(coefficients, levels);
}

// The magnitude that a decoder makes of a level other than 0.
int BlockCoder::reconstructed(int level, std::size_t index) const {
    const int q = quantiser_;
    if (inter_.matrix != nullptr) return std::min((2 * level + 1) * inter_.matrix[index] * q >> 4, 2047);
    return std::min(2 * q * level + q - (q % 2 == 0), 2047);
}

// Chooses between the levels of the quantiser and those beside them. The transform being orthonormal, errors are those of
// the samples. False if it is cheaper to leave out the block.
bool BlockCoder::choose(const Levels& coefficients, Levels& levels) const {
    LevelPath path(eventBits_, lambdaFactor * static_cast<float>(quantiser_ * quantiser_));
    for (int position = 0; position < 64; ++position) {
        const std::size_t i = ZigzagC[position];
        const int size = std::abs(coefficients.at[i]), quantised = std::abs(levels.at[i]);
        if (quantised == 0 && size < reconstructed(1, i) * 2 / 3) continue;
        // The quantiser rounds down: the next level up is another candidate where it is nearer.
        const bool up = quantised == 0 || std::abs(size - reconstructed(quantised + 1, i)) <
                                              std::abs(size - reconstructed(quantised, i));
        const std::array<int, 2> candidates = {quantised + up, quantised + up - 1};
        const auto errorOf = [&](int level) {
            const int error = size - reconstructed(level, i);
            return static_cast<float>(error * error - size * size);
        };
        path.add(position, candidates, {errorOf(candidates[0]), errorOf(candidates[1])});
    }
    const Qvo16s* const c = coefficients.data();
    levels = {};
    return path.trace([&](int position, int level) {
        const std::size_t i = ZigzagC[position];
        levels.at[i] = static_cast<Qvo16s>(c[i] < 0 ? -level : level);
    });
}

}  // namespace codecs::mpeg4
