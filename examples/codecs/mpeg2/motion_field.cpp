#include "mpeg2/motion_field.h"

#include <algorithm>
#include <cstdlib>

#include "mpeg2/macroblock_writer.h"

namespace codecs::mpeg2 {

namespace {

constexpr int maxFull = MotionField::maxComponent / 2;

// The difference of two components.
constexpr int maxDifference = 2 * MotionField::maxComponent;

// What a macroblock of this sum of absolute differences could gain is less than the search costs.
constexpr int goodEnough = 256;

// Bits of a component's difference where others have this f_code. Larger differences ask for a larger one.
template <int fCode>
int differenceBits(int difference) {
    return vectorBits(difference, 0, std::max(fCode, fCodeFor(std::abs(difference))));
}

VectorCostTable costTable(int fCode, double lambda) {
    constexpr std::array bits = {differenceBits<1>, differenceBits<2>, differenceBits<3>, differenceBits<4>,
                                 differenceBits<5>};
    return {maxDifference, lambda, bits[static_cast<std::size_t>(fCode - 1)]};
}

FullVector whole(Vector vector) {
    return {vector.x >> 1, vector.y >> 1};
}

}  // namespace

MotionField::MotionField(int macroblockWidth, int macroblockHeight)
    : width_(macroblockWidth),
      height_(macroblockHeight),
      vectors_(static_cast<std::size_t>(macroblockWidth * macroblockHeight)),
      costs_{costTable(1, 0), costTable(1, 0)} {}

void MotionField::search(const PaddedPicture& picture, const View& reference, double lambda) {
    // The f_codes of the picture before are the best guess.
    costs_ = {costTable(fCode_[0], lambda), costTable(fCode_[1], lambda)};
    Vector range;
    for (int row = 0; row < height_; ++row) {
        Vector predicted;
        for (int column = 0; column < width_; ++column) {
            predicted = searchMacroblock(picture, reference, column, row, predicted);
            vectors_[index(column, row)] = predicted;
            range = {std::max(range.x, std::abs(predicted.x)), std::max(range.y, std::abs(predicted.y))};
        }
    }
    fCode_ = {fCodeFor(range.x), fCodeFor(range.y)};
}

Vector MotionField::searchMacroblock(const PaddedPicture& picture, const View& reference, int column, int row,
                                     Vector predicted) {
    std::array<FullVector, 6> starts = {whole(predicted), {}, whole(at(column, row))};
    std::size_t count = 3;
    if (row > 0) {
        starts[count++] = whole(at(column, row - 1));
        if (column + 1 < width_) starts[count++] = whole(at(column + 1, row - 1));
    }
    if (row + 1 < height_) starts[count++] = whole(at(column, row + 1));  // of the picture before

    const int x = 16 * column;
    const int y = 16 * row;
    const SearchBlock block = {picture.macroblock(0, column, row),
                               static_cast<Qvo32s>(picture.plane(0).step),
                               reference.planes[0] + std::ptrdiff_t{y} * reference.steps[0] + x,
                               reference.steps[0],
                               16,
                               16};
    const SearchArea area = {std::max(-maxFull, -x), std::max(-maxFull, -y),
                             std::min(maxFull, reference.width - 16 - x),
                             std::min(maxFull, reference.height - 16 - y)};
    const VectorCost cost = {costs_[0].around(predicted.x), costs_[1].around(predicted.y), 2};
    const SearchResult found = searchMotion(block, area, cost, std::span(starts).first(count), goodEnough);
    return refine(picture, reference, column, row, predicted, found.vector);
}

// The best of the half-sample positions around a vector; or the predicted vector, which costs least.
Vector MotionField::refine(const PaddedPicture& picture, const View& reference, int column, int row, Vector predicted,
                           FullVector around) {
    const int x = 16 * column;
    const int y = 16 * row;
    const auto* const source = picture.macroblock(0, column, row);
    const auto sourceStep = static_cast<Qvo32s>(picture.plane(0).step);
    const Qvo16u* const costX = costs_[0].around(predicted.x);
    const Qvo16u* const costY = costs_[1].around(predicted.y);

    Vector best;
    int lowest = -1;
    const auto take = [&](Vector vector) {
        const int halfX = 2 * x + vector.x;
        const int halfY = 2 * y + vector.y;
        if (halfX < 0 || halfY < 0 || halfX > 2 * (reference.width - 16) || halfY > 2 * (reference.height - 16))
            return;
        const Reference at = locate({&reference, vector}, 0, 16, 16, x, y);
        Qvo32s difference;
        qvoiSAD16x16_8u32s(source, sourceStep, at.samples, at.step, &difference, at.mcType);
        const int cost = difference + costX[vector.x] + costY[vector.y];
        if (lowest >= 0 && cost >= lowest) return;
        lowest = cost;
        best = vector;
    };
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx)
            take({2 * around.x + dx, 2 * around.y + dy});
    }
    take(predicted);
    return best;
}

}  // namespace codecs::mpeg2
