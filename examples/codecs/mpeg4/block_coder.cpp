#include "mpeg4/block_coder.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace codecs::mpeg4 {

namespace {

// The integer quantisers limit levels to 127. From this quantiser on none is larger.
constexpr int firstNarrow = 8;

constexpr bool isChroma(int block) {
    return block == 4 || block == 5;
}

// Length of the code of an event of an inter block (table B-17) with its sign; escapes count as the longest.
int eventBits(bool last, int run, int level) {
    constexpr int longest = 30;
    const Qvo8u* const most = last ? _qvoIfLastNumOfLevelAtRun : _qvoIfNotLastNumOfLevelAtRun;
    const Qvo8u* const sums = last ? _qvoIfLastNumOfLevelAtRunadd : _qvoIfNotLastNumOfLevelAtRunadd;
    if (run >= (last ? 41 : 27) || level > most[run]) return longest;
    return _qvoVleTable[(last ? 57 : -1) + (run > 0 ? sums[run - 1] : 0) + level][1] + 1;
}

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
    return prune(coefficients, levels);
}

// Takes levels of 1 off the end of the block, then all of it, as long as the bits saved outweigh the error. The transform
// being orthonormal, errors are those of the samples.
bool BlockCoder::prune(const Levels& coefficients, Levels& levels) const {
    struct Event {
        int index;
        int run;
        int level;
        double gain;  // squared error that the level saves
    };
    std::array<Event, 64> events;
    int count = 0;
    int run = 0;
    Levels rebuilt = levels;
    qvoiQuantInvInter_MPEG4_16s_I(rebuilt.data(), quantiser_, inter_.matrix);
    for (int position = 0; position < 64; ++position) {
        const std::size_t i = ZigzagC[position];
        if (levels.at[i] == 0) {
            ++run;
            continue;
        }
        const int c = coefficients.at[i], error = c - rebuilt.at[i];
        events[static_cast<std::size_t>(count++)] = {static_cast<int>(i), run, std::abs(levels.at[i]),
                                                     static_cast<double>(c * c - error * error)};
        run = 0;
    }
    const auto event = [&](int i) -> const Event& { return events[static_cast<std::size_t>(i)]; };
    const auto bitsOf = [&](int i, bool last) { return eventBits(last, event(i).run, event(i).level); };
    while (count > 1 && event(count - 1).level == 1) {
        const int saved = bitsOf(count - 1, true) + bitsOf(count - 2, false) - bitsOf(count - 2, true);
        if (event(count - 1).gain >= lambda() * saved) break;
        levels.at[static_cast<std::size_t>(event(--count).index)] = 0;
    }
    double gain = 0;
    int bits = 2;  // for the block's place in the pattern
    for (int i = 0; i < count; ++i) {
        gain += event(i).gain;
        bits += bitsOf(i, i == count - 1);
    }
    return gain > lambda() * bits;
}

}  // namespace codecs::mpeg4
