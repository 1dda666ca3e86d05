#include "mpeg4/block_coder.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

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

// A level is chosen knowing the levels before it as far as this many candidates back.
constexpr int reach = 6;

}  // namespace

BlockCoder::Method::Method(const Qvo8u* weights) : matrix(weights) {
    for (std::size_t i = 0; i < 64 && weights != nullptr; ++i) {
        record[i] = weights[i];
        record[i + 64] = 0x200000 / weights[i];
        factors[i] = 1.0F / static_cast<float>(weights[i]);
    }
}

// Writes each event, behind a level of 1 if it is not the first nor the last.
BlockCoder::EventBits BlockCoder::measureEvents() {
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

BlockCoder::BlockCoder(const Layer& layer)
    : intra_(layer.useMatrices ? layer.intraMatrix.data() : nullptr),
      inter_(layer.useMatrices ? layer.interMatrix.data() : nullptr) {}

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
    qvoiDCT8x8Fwd_16s_C1(residual.data(), coefficients.data());
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

// Chooses between the levels of the quantiser and those beside them: the way through the block whose squared error and
// bits together are lowest. The transform being orthonormal, errors are those of the samples. False if it is cheaper to
// leave out the block.
bool BlockCoder::choose(const Levels& coefficients, Levels& levels) const {
    struct Candidate {
        int position = -1;  // in the scan
        std::array<int, 2> levels = {};
        std::array<float, 2> errors = {};  // compared with a level of 0, so that they are negative
        int before = 0;                    // on the best way that ends here
        int choice = 0;
        float cost = 0;
    };
    std::array<Candidate, 65> candidates;  // the first stands for the beginning
    const float lambda = lambdaFactor * static_cast<float>(quantiser_ * quantiser_);
    int count = 1;
    int best = 0, bestBefore = 0, bestChoice = 0;
    float bestCost = 0;
    for (int position = 0; position < 64; ++position) {
        const std::size_t i = ZigzagC[position];
        const int size = std::abs(coefficients.at[i]);
        if (levels.at[i] == 0 && size < reconstructed(1, i) * 2 / 3) continue;
        Candidate& candidate = candidates[static_cast<std::size_t>(count)];
        candidate = {};
        candidate.position = position;
        // The next level up too where it is nearer than the one below.
        const int quantised = std::abs(levels.at[i]);
        const bool up = std::abs(size - reconstructed(quantised + 1, i)) <
                        (quantised == 0 ? size : std::abs(size - reconstructed(quantised, i)));
        const int largest = quantised + (up || quantised == 0);
        for (int k = 0; k < 2; ++k) {
            const int level = largest - k, rebuilt = reconstructed(level, i);
            candidate.levels[static_cast<std::size_t>(k)] = level;
            candidate.errors[static_cast<std::size_t>(k)] =
                static_cast<float>((size - rebuilt) * (size - rebuilt) - size * size);
        }
        candidate.cost = std::numeric_limits<float>::max();
        for (int before = std::max(0, count - reach); before < count; ++before) {
            const Candidate& from = candidates[static_cast<std::size_t>(before)];
            const auto run = static_cast<std::size_t>(position - from.position - 1);
            for (std::size_t k = 0; k < 2; ++k) {
                const auto level = static_cast<std::size_t>(std::min(candidate.levels[k], 31));
                if (level == 0) continue;
                const float cost = from.cost + candidate.errors[k];
                const float open = cost + lambda * eventBits_[0][run][level];
                if (open < candidate.cost) {
                    candidate.cost = open;
                    candidate.before = before;
                    candidate.choice = static_cast<int>(k);
                }
                const float closed = cost + lambda * (patternBits + eventBits_[1][run][level]);
                if (closed < bestCost) {
                    bestCost = closed;
                    best = count;
                    bestBefore = before;
                    bestChoice = static_cast<int>(k);
                }
            }
        }
        ++count;
    }
    if (best == 0) return false;

    levels = {};
    const auto set = [&](int at, int choice) {
        const Candidate& candidate = candidates[static_cast<std::size_t>(at)];
        const std::size_t i = ZigzagC[candidate.position];
        const int level = candidate.levels[static_cast<std::size_t>(choice)];
        levels.at[i] = static_cast<Qvo16s>(coefficients.at[i] < 0 ? -level : level);
    };
    set(best, bestChoice);
    for (int at = bestBefore; at > 0; at = candidates[static_cast<std::size_t>(at)].before)
        set(at, candidates[static_cast<std::size_t>(at)].choice);
    return true;
}

}  // namespace codecs::mpeg4
