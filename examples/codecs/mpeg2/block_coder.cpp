#include "mpeg2/block_coder.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "common/residual.h"
#include "mpeg2/inverse_count.h"

namespace codecs::mpeg2 {

namespace {

// How far back a chain of coefficients looks for the one before; runs of more dropped ones are not worth the search.
constexpr std::size_t maxDropped = 6;

constexpr Cost square(int value) {
    return static_cast<Cost>(value) * static_cast<Cost>(value);
}

}  // namespace

void BlockCoder::startPicture(const PictureHeader& header, Qvo32s scale, Cost lambda) {
    header_ = &header;
    scan_ = scans[header.alternateScan ? 1 : 0].data();
    scale_ = scale;
    lambda_ = lambda;
    // Half a step; what is not worth rounding up is found afterwards.
    for (std::size_t i = 0; i < 64; ++i)
        intraRounding_[i] = static_cast<Qvo16s>(defaultIntraMatrix[i] * scale / 32);
}

Cost BlockCoder::codeIntra(const Qvo8u* source, Qvo32s step, Block& levels, Qvo32u& count) const {
    alignas(32) Block coefficients;
    qvoiDCT8x8Fwd_8u16s_C1R(source, step, coefficients.data());
    for (std::size_t i = 0; i < 64; ++i) {
        const int c = coefficients[i];
        levels[i] = static_cast<Qvo16s>(c < 0 ? c - intraRounding_[i] : c + intraRounding_[i]);
    }
    qvoiQuantIntra_MPEG2_16s_C1I(levels.data(), scale_, nullptr, &count);
    const int divisor = 8 >> header_->intraDcPrecision;
    const int dc = (coefficients[0] + divisor / 2) / divisor;
    levels[0] = static_cast<Qvo16s>(std::min(dc, (256 << header_->intraDcPrecision) - 1));
    coefficients[0] = 0;
    return static_cast<Cost>(energyOf(coefficients.data())) + chooseLevels(coefficients, levels, count, true);
}

Cost BlockCoder::codeNonIntra(const Block& residual, Qvo32s energy, Block& levels, Qvo32u& count) const {
    count = 0;
    const auto dropped = static_cast<Cost>(energy);
    // No coefficient is larger than the root of the energy; one of less than a step gives no level.
    if (energy < scale_ * scale_) return dropped;
    alignas(32) Block coefficients;
    if (transformResidual(residual.data(), energy, coefficients.data())) {
        // Reconstructed coefficients lie up to half a step above their original. They are kept inside -2048..2047: beyond
        // it a decoder saturates, which the library's block reconstruction leaves out.
        const int limit = 2047 - scale_ / 2;
        for (Qvo16s& c : coefficients)
            c = static_cast<Qvo16s>(std::clamp<int>(c, -limit, limit));
    }
    levels = coefficients;
    qvoiQuant_MPEG2_16s_C1I(levels.data(), scale_, nullptr, &count);
    if (count == 0) return dropped;
    return dropped + chooseLevels(coefficients, levels, count, false);
}

// Finds the cheapest chain of coefficients. Each may keep its level, take the one below or be dropped; what a
// coefficient costs depends on the one before it through the run between them. Follows the best chain up to each
// coefficient (a shortest path), then takes the best end. The cost is relative to that of dropping everything.
Cost BlockCoder::chooseLevels(const Block& coefficients, Block& levels, Qvo32u& count, bool intra) const {
    const CoefficientLengths& lengths = writeTables().lengths[intra && header_->intraVlcFormat ? 1 : 0];
    std::array<Link, 65> chain;
    chain[0].index = intra ? 0 : -1;
    std::size_t links = 1;
    for (int i = chain[0].index + 1; links <= count; ++i) {
        const auto position = static_cast<std::size_t>(scan_[i]);
        if (levels[position] == 0) continue;
        chain[links] = cheapestLink({chain.data(), links}, i, std::abs(coefficients[position]),
                                    std::abs(levels[position]), intra, lengths);
        ++links;
    }

    const Cost end = lambda_ * static_cast<Cost>(lengths.endOfBlock);
    // A non-intra block without coefficients has no end of block either.
    Cost lowest = intra ? end : 0;
    std::size_t last = 0;
    for (std::size_t j = 1; j < links; ++j) {
        const Cost cost = chain[j].cost + end;
        if (cost >= lowest) continue;
        lowest = cost;
        last = j;
    }
    count = 0;
    for (std::size_t j = links - 1; j > 0; --j) {
        Qvo16s& level = levels[static_cast<std::size_t>(scan_[chain[j].index])];
        if (j != last) {
            level = 0;
            continue;
        }
        level = static_cast<Qvo16s>(level < 0 ? -chain[j].level : chain[j].level);
        last = chain[j].previous;
        ++count;
    }
    return lowest;
}

// The cheapest way to go on to the coefficient at scan index i from one of those before.
BlockCoder::Link BlockCoder::cheapestLink(std::span<const Link> before, int i, int magnitude, int level, bool intra,
                                          const CoefficientLengths& lengths) const {
    const Matrix& weights = intra ? defaultIntraMatrix : defaultNonIntraMatrix;
    const int weight = weights[static_cast<std::size_t>(scan_[i])];
    const std::size_t first = before.size() > maxDropped ? before.size() - 1 - maxDropped : 0;
    Link best = {i, std::numeric_limits<Cost>::max()};
    for (int candidate = level; candidate > 0 && candidate >= level - 1; --candidate) {
        const int rebuilt = (2 * candidate + (intra ? 0 : 1)) * weight * scale_ / 32;
        const Cost error = square(magnitude - rebuilt) - square(magnitude);
        for (std::size_t j = first; j < before.size(); ++j) {
            int bits = lengths(i - before[j].index - 1, candidate);
            if (i == 0 && candidate == 1) bits = 2;  // the short first code
            const Cost cost = before[j].cost + error + lambda_ * static_cast<Cost>(bits);
            if (cost < best.cost) best = {i, cost, candidate, j};
        }
    }
    return best;
}

// Lays the levels out as the inverse transform takes them; returns the scan index of the last one.
int BlockCoder::transposeLevels(const Block& levels, Block& block) const {
    for (std::size_t i = 0; i < 64; ++i)
        block[i] = levels[i % 8 * 8 + i / 8];
    int last = 63;
    while (last > 0 && levels[static_cast<std::size_t>(scan_[last])] == 0)
        --last;
    return last;
}

void BlockCoder::reconstructIntra(const Block& levels, Qvo8u* out, Qvo32s step) const {
    alignas(32) Block block;
    const int last = transposeLevels(levels, block);
    block[0] = static_cast<Qvo16s>(levels[0] << (3 - header_->intraDcPrecision));
    qvoiQuantInvIntra_MPEG2_16s_C1I(block.data(), scale_, matrices_.intra.data());
    qvoiDCT8x8Inv_AANTransposed_16s8u_C1R(block.data(), out, step, inverseCountIntra(block.data(), last));
}

void BlockCoder::reconstructNonIntra(const Block& levels, Qvo16s* out, Qvo32s step) const {
    alignas(32) Block block;
    const int last = transposeLevels(levels, block);
    qvoiQuantInv_MPEG2_16s_C1I(block.data(), scale_, nullptr);
    qvoiDCT8x8Inv_AANTransposed_16s_C1R(block.data(), out, step, inverseCountNonIntra(block.data(), last));
}

}  // namespace codecs::mpeg2
