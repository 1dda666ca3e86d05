#include "common/motion_search.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace codecs {

namespace {

// In the order of their directions: after a step only the three points ahead are new.
constexpr std::array<FullVector, 6> hexagon = {{{-2, 0}, {-1, -2}, {1, -2}, {2, 0}, {1, 2}, {-1, 2}}};
constexpr std::array<FullVector, 8> square = {{{0, -1}, {-1, 0}, {1, 0}, {0, 1}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}}};
constexpr int maxSteps = 16;

class Search {
  public:
    Search(const SearchBlock& block, const SearchArea& area, const VectorCost& cost)
        : block_(block), area_(area), cost_(cost) {}

    SearchResult best = {{}, std::numeric_limits<int>::max()};

    bool take(FullVector vector) {
        if (!area_.contains(vector)) return false;
        const int bits = cost_.of(vector);
        if (bits >= best.cost) return false;
        const int cost = bits + differenceAt(block_, vector);
        if (cost >= best.cost) return false;
        best = {vector, cost};
        return true;
    }

    void followHexagon() {
        int direction = -1;  // of the last step; at first all points are new
        for (int step = 0; step < maxSteps; ++step) {
            const FullVector from = best.vector;
            const int first = direction < 0 ? 0 : direction + 5;
            const int count = direction < 0 ? 6 : 3;
            direction = -1;
            for (int i = first; i < first + count; ++i) {
                const FullVector by = hexagon[static_cast<std::size_t>(i % 6)];
                if (take({from.x + by.x, from.y + by.y})) direction = i % 6;
            }
            if (direction < 0) return;
        }
    }

    void followSquare() {
        for (int step = 0; step < maxSteps; ++step) {
            const FullVector from = best.vector;
            bool better = false;
            for (const FullVector by : square)
                better |= take({from.x + by.x, from.y + by.y});
            if (!better) return;
        }
    }

  private:
    const SearchBlock& block_;
    const SearchArea& area_;
    const VectorCost& cost_;
};

}  // namespace

FullVector SearchArea::clamp(FullVector v) const {
    return {std::clamp(v.x, left, right), std::clamp(v.y, top, bottom)};
}

VectorCostTable::VectorCostTable(int range, double lambda, int (*bits)(int difference)) : range_(range) {
    for (int difference = -range; difference <= range; ++difference)
        costs_.push_back(static_cast<Qvo16u>(std::min(std::lround(lambda * bits(difference)), 65535L)));
}

int differenceAt(const SearchBlock& block, FullVector vector) {
    const Qvo8u* const reference = block.reference + std::ptrdiff_t{vector.y} * block.referenceStep + vector.x;
    Qvo32s sum = 0;
    if (block.width == 16 && block.height == 16) {
        qvoiSAD16x16_8u32s(block.source, block.sourceStep, reference, block.referenceStep, &sum, qvoMcFullPel);
        return sum;
    }
    for (int y = 0; y < block.height; y += 8) {
        for (int x = 0; x < block.width; x += 8) {
            Qvo32s part;
            qvoiSAD8x8_8u32s_C1R(block.source + std::ptrdiff_t{y} * block.sourceStep + x, block.sourceStep,
                                 reference + std::ptrdiff_t{y} * block.referenceStep + x, block.referenceStep, &part,
                                 qvoMcFullPel);
            sum += part;
        }
    }
    return sum;
}

SearchResult searchMotion(const SearchBlock& block, const SearchArea& area, const VectorCost& cost,
                          std::span<const FullVector> starts, int goodEnough) {
    Search search(block, area, cost);
    for (std::size_t i = 0; i < starts.size(); ++i) {
        const FullVector start = area.clamp(starts[i]);
        if (i == 0 || start != search.best.vector) search.take(start);
    }
    if (search.best.cost <= goodEnough) return search.best;
    search.followHexagon();
    search.followSquare();
    return search.best;
}

}  // namespace codecs
