// Search for motion in whole samples, by the library's sums of absolute differences. What lies between the samples is
// the codecs' own affair.
#ifndef QVOVC_EXAMPLES_MOTION_SEARCH_H
#define QVOVC_EXAMPLES_MOTION_SEARCH_H

#include <qvovc.h>

#include <cstddef>
#include <span>
#include <vector>

namespace codecs {

// In whole samples.
struct FullVector {
    int x = 0;
    int y = 0;

    bool operator==(const FullVector&) const = default;
};

// A block to be coded, 16x16, 16x8, 8x16 or 8x8, and the samples at the same place of the reference.
struct SearchBlock {
    const Qvo8u* source;
    Qvo32s sourceStep;
    const Qvo8u* reference;
    Qvo32s referenceStep;
    int width;
    int height;
};

// The vectors that may be tried, ends included: the block they point at must lie within the reference's memory.
struct SearchArea {
    int left;
    int top;
    int right;
    int bottom;

    bool contains(FullVector v) const { return v.x >= left && v.x <= right && v.y >= top && v.y <= bottom; }
    FullVector clamp(FullVector v) const;
};

// What coding a vector costs, in units of a sum of absolute differences: lambda times the bits of each component. The
// tables are indexed by the component in the codec's own unit, of which a sample has `unit`.
struct VectorCost {
    const Qvo16u* x;
    const Qvo16u* y;
    int unit;

    int of(FullVector v) const { return x[unit * v.x] + y[unit * v.y]; }
};

// Such tables, for components that differ from their prediction by `range` at most.
class VectorCostTable {
  public:
    // bits: the length of the code of a difference.
    VectorCostTable(int range, double lambda, int (*bits)(int difference));

    // The table indexed by component for components predicted like this.
    const Qvo16u* around(int predicted) const { return costs_.data() + range_ - predicted; }

  private:
    int range_;
    std::vector<Qvo16u> costs_;
};

struct SearchResult {
    FullVector vector;
    int cost = 0;  // sum of absolute differences and cost of the vector
};

// The sum of absolute differences at one vector.
int differenceAt(const SearchBlock& block, FullVector vector);

// Begins at the best of the starts (one at least; outside the area they are moved to its edge) and follows a hexagon,
// then the square of the eight nearest vectors, downhill. Ends early where the best start costs `goodEnough` or less.
SearchResult searchMotion(const SearchBlock& block, const SearchArea& area, const VectorCost& cost,
                          std::span<const FullVector> starts, int goodEnough);

}  // namespace codecs

#endif
