#include "h264/residual_coder.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "h264/block_metrics.h"
#include "h264/tables.h"

namespace codecs::h264 {

namespace {

// Rounding of the library's forward operations: that of intra blocks, a third up, also serves inter blocks, where thin()
// then takes away what is not worth its bits.
constexpr Qvo8u roundUpMore = 1;

// Place in the scan by raster place.
struct ScanPositions {
    std::array<Qvo16s, 16> positions = {};
    ScanPositions() {
        for (std::size_t i = 0; i < zigzag.size(); ++i)
            positions[zigzag[i]] = static_cast<Qvo16s>(i);
    }
};
const ScanPositions scan;

constexpr std::array<std::uint8_t, 4> chromaDcOrder = {0, 1, 2, 3};

// Bits of coeff_token without levels (table 9-5), by nC; of chroma DC.
int emptyBitsFor(int nC) {
    return nC < 2 ? 1 : nC < 4 ? 2 : nC < 8 ? 4 : 6;
}
constexpr int emptyChromaDcBits = 2;

bool hasLevelsBehindDc(const Qvo16s* levels) {
    return std::any_of(levels + 1, levels + 16, [](Qvo16s level) { return level != 0; });
}

// Adds a block's residual to its prediction in place, the way a decoder does it.
void addBlock(const Qvo16s* levels, const Qvo16s* dc, Qvo8u* samples, Qvo32s step, int qp) {
    const bool hasAc = hasLevelsBehindDc(levels);
    if (!hasAc && (dc ? *dc : levels[0]) == 0) return;
    alignas(16) Qvo16s copy[16];
    std::memcpy(copy, levels, sizeof(copy));
    qvoiDequantTransformResidualAndAdd_H264_16s_C1I(samples, copy, dc, samples, step, step, qp, hasAc);
}

}  // namespace

// ---- levels -----------------------------------------------------------------------------------------------------

ResidualCoder::Scale ResidualCoder::scaleFor(int qp, double lambda) {
    // Of the library's forward operations, by QP % 6: at even row and column, at odd row and column, elsewhere.
    constexpr std::array<std::array<int, 3>, 6> multipliers = {{{13107, 5243, 8066},
                                                                {11916, 4660, 7490},
                                                                {10082, 4194, 6554},
                                                                {9362, 3647, 5825},
                                                                {8192, 3355, 5243},
                                                                {7282, 2893, 4559}}};
    const auto& row = multipliers[static_cast<std::size_t>(qp % 6)];
    const double bits = std::exp2(15 + qp / 6);
    Scale scale;
    scale.qp = qp;
    for (std::size_t i = 0; i < 16; ++i) {
        const bool oddColumn = i & 1, oddRow = i & 4;
        scale.perStep[i] = static_cast<float>(row[oddColumn && oddRow ? 1 : oddColumn || oddRow ? 2 : 0] / bits);
        scale.perStepDc[i] = static_cast<float>(row[0] / (2 * bits));
    }
    // A step of the coefficient at (0, 0) changes each of 16 samples by a sixteenth of it.
    const double squaredStep = 1 / (16.0 * scale.perStep[0] * scale.perStep[0]);
    scale.bitPrice = static_cast<float>(lambda / squaredStep);
    return scale;
}

void ResidualCoder::setQuantiser(int qp, double lambda) {
    lambda_ = lambda;
    luma_ = scaleFor(qp, lambda);
    chroma_ = scaleFor(chromaQuantisers[static_cast<std::size_t>(qp)], lambda);
}

// Brings levels nearer to 0, the last in the scan first, where the bits saved are worth more than the error added.
template <class CountBits>
ResidualCoder::Choice ResidualCoder::thin(const Scale& scale, const std::array<float, 16>& perStep, Qvo16s* levels,
                                          const Qvo16s* coefficients, int first, int last, const std::uint8_t* order,
                                          int emptyBits, CountBits countBits) {
    // No level saves more bits than these by getting smaller, unless it was the only one.
    constexpr float mostSavedByOne = 9, mostSavedByLarger = 4;
    int bits = countBits();
    Choice choice;
    for (int i = last; i >= first; --i) {
        const auto at = static_cast<std::size_t>(order[i]);
        int level = std::abs(levels[at]);
        if (level == 0) continue;
        const float exact = std::abs(static_cast<float>(coefficients[at])) * perStep[at];
        const float added = 2 * (exact - static_cast<float>(level)) + 1;
        if (added < scale.bitPrice * (level == 1 ? mostSavedByOne : mostSavedByLarger)) {
            const Qvo16s before = levels[at];
            levels[at] = static_cast<Qvo16s>(before > 0 ? before - 1 : before + 1);
            const int fewer = countBits();
            if (added < scale.bitPrice * static_cast<float>(bits - fewer)) {
                bits = fewer;
                --level;
            } else {
                levels[at] = before;
            }
        }
        if (level == 0) continue;
        ++choice.count;
        choice.benefit += static_cast<float>(level) * (2 * exact - static_cast<float>(level));
    }
    choice.benefit -= scale.bitPrice * static_cast<float>(bits);
    const float withoutAny = -scale.bitPrice * static_cast<float>(emptyBits);
    if (choice.count > 0 && choice.benefit > withoutAny) return choice;
    for (int i = first; i <= last; ++i)
        levels[order[i]] = 0;
    return {0, withoutAny};
}

bool ResidualCoder::quantise(const Scale& scale, const Qvo8u* source, Qvo32s sourceStep, const Qvo8u* prediction,
                             Qvo32s predictionStep, int nC, int first, Qvo16s* levels, Choice& choice) {
    Qvo8s signedCount;
    Qvo8u last;
    qvoiGetDiff4x4_8u16s_C1(source, sourceStep, prediction, predictionStep, levels, 4);
    if (qvoiTransformQuantResidual_H264_16s_C1I(levels, scale.qp, &signedCount, roundUpMore, scan.positions.data(),
                                                &last) != qvoStatusOk)
        return false;
    int count = std::abs(signedCount);
    if (first == 1) {
        levels[0] = 0;
        count -= signedCount < 0;
    }
    const int emptyBits = emptyBitsFor(nC);
    choice = {0, -scale.bitPrice * static_cast<float>(emptyBits)};
    if (count == 0) return true;
    // The transform is linear.
    alignas(16) Qvo16s coefficients[16], ofPrediction[16];
    qvoiTransformPrediction_H264_8u16s_C1(source, sourceStep, coefficients);
    qvoiTransformPrediction_H264_8u16s_C1(prediction, predictionStep, ofPrediction);
    for (std::size_t i = 0; i < 16; ++i)
        coefficients[i] = static_cast<Qvo16s>(coefficients[i] - ofPrediction[i]);
    choice = thin(scale, scale.perStep, levels, coefficients, first, last, zigzag.data(), emptyBits, [=] {
        BitCounter bits;
        putBlock(bits, nC, first, levels);
        return bits.bits();
    });
    return true;
}

// ---- luma -------------------------------------------------------------------------------------------------------

bool ResidualCoder::codeLuma(CodedMacroblock& macroblock) {
    const bool dcApart = macroblock.kind == Kind::intra16x16;
    if (dcApart && !codeLumaDc(macroblock)) return false;
    int pattern = 0;
    float saved = 0;  // by all blocks
    for (std::size_t quarter = 0; quarter < 4; ++quarter) {
        float benefit = 0;
        int count = 0;
        for (std::size_t i = 4 * quarter; i < 4 * quarter + 4; ++i) {
            const int place = rasterOrder[i], x = place & 3, y = place >> 2;
            const auto block = static_cast<std::size_t>(place);
            const Qvo8u* const source = source_.samples[0] + std::ptrdiff_t{4 * y} * source_.steps[0] + 4 * x;
            Choice choice;
            if (!quantise(luma_, source, source_.steps[0], macroblock.luma.data() + 64 * y + 4 * x, 16,
                          counts_.predictLuma(x, y), dcApart, macroblock.levels[block].data(), choice))
                return false;
            macroblock.lumaCounts[block] = static_cast<std::uint8_t>(choice.count);
            counts_.setLuma(x, y, choice.count);
            benefit += choice.benefit;
            count += choice.count;
        }
        saved += benefit;
        if (count > 0 && (dcApart || benefit > 0)) {
            pattern |= 1 << quarter;
            continue;
        }
        for (std::size_t i = 4 * quarter; i < 4 * quarter + 4; ++i) {
            const auto block = static_cast<std::size_t>(rasterOrder[i]);
            macroblock.levels[block].fill(0);
            macroblock.lumaCounts[block] = 0;
            counts_.setLuma(rasterOrder[i] & 3, rasterOrder[i] >> 2, 0);
        }
    }
    // Intra 16x16 codes all quarters or none.
    if (dcApart && saved <= 0) pattern = 0;
    if (dcApart && pattern != 0) pattern = 15;
    if (pattern == 0) {
        macroblock.lumaCounts.fill(0);
        for (std::size_t i = 0; i < 16; ++i)
            macroblock.levels[i].fill(0);
    }
    macroblock.pattern = (macroblock.pattern & ~15) | pattern;
    addLuma(macroblock);
    return true;
}

bool ResidualCoder::codeLumaDc(CodedMacroblock& macroblock) const {
    std::array<Qvo16s, 16> transformed;
    Qvo8s count;
    Qvo8u last;
    qvoiSumsDiff16x16Blocks4x4_8u16s_C1(source_.samples[0], source_.steps[0], macroblock.luma.data(), 16,
                                        macroblock.lumaDc.data(), nullptr);
    // What it transforms it takes from the first array, and quantises in the second.
    if (qvoiTransformQuantLumaDC_H264_16s_C1I(macroblock.lumaDc.data(), transformed.data(), luma_.qp, &count, 1,
                                              scan.positions.data(), &last) != qvoStatusOk)
        return false;
    if (count == 0) return true;
    const int nC = counts_.predictLuma(0, 0);
    Qvo16s* const levels = macroblock.lumaDc.data();
    thin(luma_, luma_.perStepDc, levels, transformed.data(), 0, last, zigzag.data(), emptyBitsFor(nC), [=] {
        BitCounter bits;
        putBlock(bits, nC, 0, levels);
        return bits.bits();
    });
    return true;
}

void ResidualCoder::addLuma(CodedMacroblock& macroblock) const {
    const bool dcApart = macroblock.kind == Kind::intra16x16;
    std::array<Qvo16s, 16> dc = {};
    if (dcApart) {
        dc = macroblock.lumaDc;
        qvoiTransformDequantLumaDC_H264_16s_C1I(dc.data(), luma_.qp);
    }
    for (std::size_t i = 0; i < 16; ++i) {
        if (!dcApart && macroblock.lumaCounts[i] == 0) continue;
        addBlock(macroblock.levels[i].data(), dcApart ? &dc[i] : nullptr,
                 macroblock.luma.data() + 64 * (i >> 2) + 4 * (i & 3), 16, luma_.qp);
    }
}

void ResidualCoder::codeBlock(int x, int y, Block& block) const {
    const Qvo8u* const source = source_.samples[0] + std::ptrdiff_t{4 * y} * source_.steps[0] + 4 * x;
    const int nC = counts_.predictLuma(x, y);
    Choice choice;
    // A block of 4x4 differences has no level too large.
    quantise(luma_, source, source_.steps[0], block.samples.data(), 4, nC, 0, block.levels.data(), choice);
    block.count = choice.count;
    BitCounter bits;
    putBlock(bits, nC, 0, block.levels.data());
    if (block.count > 0) addBlock(block.levels.data(), nullptr, block.samples.data(), 4, luma_.qp);
    block.price = squaredDifference(source, source_.steps[0], block.samples.data(), 4, 4, 4) + lambda_ * bits.bits();
}

// ---- chroma -----------------------------------------------------------------------------------------------------

bool ResidualCoder::codeChroma(CodedMacroblock& macroblock) {
    bool hasDc = false;
    float saved = 0;
    for (std::size_t plane = 0; plane < 2; ++plane) {
        if (!codeChromaDc(macroblock, plane)) return false;
        const auto& dc = macroblock.chromaDc[plane];
        hasDc = hasDc || std::any_of(dc.begin(), dc.end(), [](Qvo16s level) { return level != 0; });
        for (std::size_t i = 0; i < 4; ++i) {
            const int x = i & 1, y = static_cast<int>(i >> 1);
            const Qvo8u* const source =
                source_.samples[plane + 1] + std::ptrdiff_t{4 * y} * source_.steps[plane + 1] + 4 * x;
            Choice choice;
            if (!quantise(chroma_, source, source_.steps[plane + 1], macroblock.chroma[plane].data() + 32 * y + 4 * x,
                          8, counts_.predictChroma(plane, x, y), 1, macroblock.levels[16 + 4 * plane + i].data(),
                          choice))
                return false;
            macroblock.chromaCounts[plane][i] = static_cast<std::uint8_t>(choice.count);
            counts_.setChroma(plane, x, y, choice.count);
            saved += choice.benefit;
        }
    }
    const bool hasAc = saved > 0;
    if (!hasAc) {
        macroblock.chromaCounts = {};
        for (std::size_t i = 16; i < 24; ++i)
            macroblock.levels[i].fill(0);
    }
    macroblock.pattern = (macroblock.pattern & 15) | (hasAc ? 0x20 : hasDc ? 0x10 : 0);
    addChroma(macroblock);
    return true;
}

bool ResidualCoder::codeChromaDc(CodedMacroblock& macroblock, std::size_t plane) const {
    std::array<Qvo16s, 4> transformed;
    Qvo8s count;
    Qvo16s* const levels = macroblock.chromaDc[plane].data();
    qvoiSumsDiff8x8Blocks4x4_8u16s_C1(source_.samples[plane + 1], source_.steps[plane + 1],
                                      macroblock.chroma[plane].data(), 8, levels, nullptr);
    if (qvoiTransformQuantChromaDC_H264_16s_C1I(levels, transformed.data(), chroma_.qp, &count, roundUpMore, 1) !=
        qvoStatusOk)
        return false;
    if (count == 0) return true;
    thin(chroma_, chroma_.perStepDc, levels, transformed.data(), 0, 3, chromaDcOrder.data(), emptyChromaDcBits, [=] {
        BitCounter bits;
        putChromaDc(bits, levels);
        return bits.bits();
    });
    return true;
}

void ResidualCoder::addChroma(CodedMacroblock& macroblock) const {
    if (macroblock.pattern >> 4 == 0) return;
    for (std::size_t plane = 0; plane < 2; ++plane) {
        std::array<Qvo16s, 4> dc = macroblock.chromaDc[plane];
        qvoiTransformDequantChromaDC_H264_16s_C1I(dc.data(), chroma_.qp);
        for (std::size_t i = 0; i < 4; ++i)
            addBlock(macroblock.levels[16 + 4 * plane + i].data(), &dc[i],
                     macroblock.chroma[plane].data() + 32 * (i >> 1) + 4 * (i & 1), 8, chroma_.qp);
    }
}

}  // namespace codecs::h264
