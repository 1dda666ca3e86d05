#include "h264/deblock.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "h264/tables.h"

namespace codecs::h264 {

namespace {

// The two directions differ in their names only.
enum Direction : std::size_t { vertical = 0, horizontal = 1 };  // edges

using Strengths = std::array<Qvo8u, 16>;  // 4 per edge, edge by edge

// Thresholds of one plane in one direction: of the outer edge and of the inner ones.
struct Thresholds {
    std::array<Qvo8u, 2> alpha;
    std::array<Qvo8u, 2> beta;
    std::array<Qvo8u, 16> clipping;
};

std::size_t clampIndex(int index) {
    return static_cast<std::size_t>(std::clamp(index, 0, 51));
}

int chromaQpOf(int qp, int offset) {
    return chromaQuantisers[clampIndex(qp + offset)];
}

class PictureFilter {
  public:
    explicit PictureFilter(const PictureContext& context)
        : context_(context),
          frame_(*context.picture->frame),
          lists_(context.bidirectional ? 2 : 1),
          vectorStep_(frame_.vectorStep()),
          referenceStep_(frame_.referenceStep()) {}

    void run() {
        for (y_ = 0; y_ < context_.macroblockHeight; ++y_)
            for (x_ = 0; x_ < context_.macroblockWidth; ++x_)
                filterMacroblock();
    }

  private:
    void filterMacroblock();
    void filterDirection(Direction direction, const Macroblock* neighbour);
    bool setStrengths(Direction direction, const Macroblock* neighbour, Strengths& strengths) const;
    Qvo8u strengthBetween(int blockP, int blockQ, int referenceP, int referenceQ) const;
    bool sameMotion(int blockP, int blockQ, int referenceP, int referenceQ) const;
    bool setThresholds(int outerQp, int innerQp, const Strengths& strengths, int edges, Thresholds& thresholds) const;

    const PictureContext& context_;
    const Frame& frame_;
    const std::size_t lists_;
    const int vectorStep_;
    const int referenceStep_;
    int x_ = 0;  // macroblock
    int y_ = 0;
    const Macroblock* current_ = nullptr;
    const SliceFilter* filter_ = nullptr;
};

void PictureFilter::filterMacroblock() {
    const int address = y_ * context_.macroblockWidth + x_;
    current_ = &context_.macroblocks[static_cast<std::size_t>(address)];
    if (current_->slice == notDecoded) return;
    filter_ = &context_.filters[static_cast<std::size_t>(current_->slice)];
    if (filter_->deblocking == 1) return;
    // With deblocking 2 the slice's own edges stay as they are; a concealed neighbour belongs to no slice.
    const auto usable = [&](const Macroblock& neighbour) {
        const bool foreign = neighbour.slice != current_->slice;
        return neighbour.slice != notDecoded && !(foreign && filter_->deblocking == 2);
    };
    const Macroblock* const left = x_ > 0 && usable(current_[-1]) ? current_ - 1 : nullptr;
    const Macroblock* const above = current_ - context_.macroblockWidth;
    filterDirection(vertical, left);
    filterDirection(horizontal, y_ > 0 && usable(*above) ? above : nullptr);
}

// True where both blocks are predicted from the same pictures with nearly the same vectors.
bool PictureFilter::sameMotion(int blockP, int blockQ, int referenceP, int referenceQ) const {
    const auto near = [](Vector a, Vector b) { return std::abs(a.x - b.x) < 4 && std::abs(a.y - b.y) < 4; };
    const auto picture = [&](std::size_t list, int at) {
        return frame_.motion[list].pictures[static_cast<std::size_t>(at)];
    };
    const auto vector = [&](std::size_t list, int at) {
        return frame_.motion[list].vectors[static_cast<std::size_t>(at)];
    };
    if (lists_ == 1)
        return picture(0, referenceP) == picture(0, referenceQ) && near(vector(0, blockP), vector(0, blockQ));

    const std::array<std::int32_t, 2> p = {picture(0, referenceP), picture(1, referenceP)};
    const std::array<std::int32_t, 2> q = {picture(0, referenceQ), picture(1, referenceQ)};
    // Vectors of lists that are not used do not count.
    const auto nearAcross = [&](std::size_t listP, std::size_t listQ) {
        return p[listP] < 0 || near(vector(listP, blockP), vector(listQ, blockQ));
    };
    const bool straight = p[0] == q[0] && p[1] == q[1] && nearAcross(0, 0) && nearAcross(1, 1);
    const bool crossed = p[0] == q[1] && p[1] == q[0] && nearAcross(0, 1) && nearAcross(1, 0);
    return straight || crossed;
}

Qvo8u PictureFilter::strengthBetween(int blockP, int blockQ, int referenceP, int referenceQ) const {
    return sameMotion(blockP, blockQ, referenceP, referenceQ) ? 0 : 1;
}

// False where nothing is to be filtered. Strengths follow 8.7.2.1.
bool PictureFilter::setStrengths(Direction direction, const Macroblock* neighbour, Strengths& strengths) const {
    strengths.fill(0);
    if (current_->isIntra()) {
        if (neighbour) std::fill_n(strengths.begin(), 4, Qvo8u{4});
        std::fill(strengths.begin() + 4, strengths.end(), Qvo8u{3});
        return true;
    }
    const int blockStep = direction == vertical ? 1 : vectorStep_;
    const int lineStep = direction == vertical ? vectorStep_ : 1;
    const int firstBlock = 4 * (y_ * vectorStep_ + x_);
    const int firstReference = 2 * (y_ * referenceStep_ + x_);
    const std::size_t countStep = direction == vertical ? 1 : 4;
    const std::size_t countLine = direction == vertical ? 4 : 1;
    const auto referenceAt = [&](int edge, int k) {
        const int across = edge >> 1, along = k >> 1;
        return firstReference +
               (direction == vertical ? along * referenceStep_ + across : across * referenceStep_ + along);
    };
    int any = 0;
    const auto set = [&](int edge, int k, bool coded) {
        const int block = firstBlock + edge * blockStep + k * lineStep;
        const Qvo8u strength =
            coded ? Qvo8u{2}
                  : strengthBetween(block - blockStep, block, referenceAt(edge - 1, k), referenceAt(edge, k));
        strengths[static_cast<std::size_t>(4 * edge + k)] = strength;
        any |= strength;
    };

    const auto& counts = current_->lumaCounts;
    if (neighbour && neighbour->isIntra()) {
        std::fill_n(strengths.begin(), 4, Qvo8u{4});
        any = 4;
    } else if (neighbour) {
        for (std::size_t k = 0; k < 4; ++k) {
            const std::uint8_t p = neighbour->lumaCounts[3 * countStep + k * countLine];
            set(0, static_cast<int>(k), p | counts[k * countLine]);
        }
    }
    std::uint64_t coded[2];
    std::memcpy(coded, counts.data(), sizeof(coded));
    if (current_->wholeMotion && (coded[0] | coded[1]) == 0) return any != 0;
    for (std::size_t edge = 1; edge < 4; ++edge) {
        for (std::size_t k = 0; k < 4; ++k) {
            const std::size_t q = edge * countStep + k * countLine;
            set(static_cast<int>(edge), static_cast<int>(k), counts[q] | counts[q - countStep]);
        }
    }
    return any != 0;
}

// False where no sample can pass the thresholds.
bool PictureFilter::setThresholds(int outerQp, int innerQp, const Strengths& strengths, int edges,
                                  Thresholds& thresholds) const {
    std::array<std::size_t, 2> indexA;
    for (std::size_t i = 0; i < 2; ++i) {
        const int qp = i == 0 ? outerQp : innerQp;
        indexA[i] = clampIndex(qp + filter_->alphaOffset);
        thresholds.alpha[i] = alphaThresholds[indexA[i]];
        thresholds.beta[i] = betaThresholds[clampIndex(qp + filter_->betaOffset)];
    }
    if (thresholds.alpha[0] == 0 && thresholds.alpha[1] == 0) return false;
    const int spacing = 4 / edges;  // chroma edges are every second luma edge
    for (int edge = 0; edge < edges; ++edge) {
        const auto& clipping = clippingThresholds[indexA[edge == 0 ? 0 : 1]];
        for (int k = 0; k < 4; ++k) {
            const Qvo8u strength = strengths[static_cast<std::size_t>(4 * edge * spacing + k)];
            const bool normal = strength >= 1 && strength <= 3;
            thresholds.clipping[static_cast<std::size_t>(4 * edge + k)] =
                normal ? clipping[static_cast<std::size_t>(strength - 1)] : Qvo8u{0};
        }
    }
    return true;
}

void PictureFilter::filterDirection(Direction direction, const Macroblock* neighbour) {
    Strengths strengths;
    if (!setStrengths(direction, neighbour, strengths)) return;
    using Filter = decltype(&qvoiFilterDeblockingLuma_VerEdge_H264_8u_C1IR);
    constexpr std::array<Filter, 2> lumaFilters = {qvoiFilterDeblockingLuma_VerEdge_H264_8u_C1IR,
                                                   qvoiFilterDeblockingLuma_HorEdge_H264_8u_C1IR};
    constexpr std::array<Filter, 2> chromaFilters = {qvoiFilterDeblockingChroma_VerEdge_H264_8u_C1IR,
                                                     qvoiFilterDeblockingChroma_HorEdge_H264_8u_C1IR};
    const int qp = current_->qp;
    const int neighbourQp = neighbour ? neighbour->qp : qp;

    Thresholds thresholds;
    if (setThresholds((qp + neighbourQp + 1) >> 1, qp, strengths, 4, thresholds)) {
        const Plane& luma = frame_.plane(0);
        Qvo8u* const at = luma.samples + std::ptrdiff_t{16} * y_ * luma.step + 16 * x_;
        lumaFilters[direction](at, luma.step, thresholds.alpha.data(), thresholds.beta.data(),
                               thresholds.clipping.data(), strengths.data());
    }
    int previousOffset = 0;
    bool filters = false;
    for (std::size_t i = 0; i < 2; ++i) {
        const int offset = filter_->chromaQpOffsets[i];
        if (i == 0 || offset != previousOffset) {
            const int inner = chromaQpOf(qp, offset);
            filters =
                setThresholds((inner + chromaQpOf(neighbourQp, offset) + 1) >> 1, inner, strengths, 2, thresholds);
        }
        previousOffset = offset;
        if (!filters) continue;
        const Plane& chroma = frame_.plane(1 + i);
        Qvo8u* const at = chroma.samples + std::ptrdiff_t{8} * y_ * chroma.step + 8 * x_;
        chromaFilters[direction](at, chroma.step, thresholds.alpha.data(), thresholds.beta.data(),
                                 thresholds.clipping.data(), strengths.data());
    }
}

}  // namespace

void deblock(const PictureContext& context) {
    PictureFilter(context).run();
}

}  // namespace codecs::h264
