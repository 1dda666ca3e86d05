// Pictures of DV and the places of their macroblocks, which the stream has in another order.
#ifndef QVOVC_EXAMPLES_DV_FRAME_H
#define QVOVC_EXAMPLES_DV_FRAME_H

#include <qvovc.h>

#include <array>
#include <cstddef>
#include <vector>

#include "common/picture.h"

namespace codecs::dv {

// One of the systems with 25 Mbit/s.
struct System {
    int height;
    int sequences;  // per frame
    bool quarter;   // 4:1:1, otherwise 4:2:0
    int rateNumerator;
    int rateDenominator;
    bool operator==(const System&) const = default;
};

constexpr int pictureWidth = 720;

constexpr System system525 = {480, 10, true, 30000, 1001};
constexpr System system625 = {576, 12, false, 25, 1};
constexpr System system625Quarter = {576, 12, true, 25, 1};  // of SMPTE 314M

class Frame {
  public:
    explicit Frame(const System& system);

    Qvo8u* at(std::size_t plane, int x, int y) {
        Plane& p = planes_[plane];
        return p.samples.data() + y * p.width + x;
    }
    Qvo32s step(std::size_t plane) const { return planes_[plane].width; }
    PlaneView view(std::size_t plane) const {
        const Plane& p = planes_[plane];
        return {p.samples.data(), p.width, p.width, p.height};
    }

  private:
    struct Plane {
        int width;
        int height;
        std::vector<Qvo8u> samples;  // grey at first
    };
    std::array<Plane, 3> planes_;
};

// Where a macroblock lies: the luminance sample in its corner.
struct Place {
    int x;
    int y;
    // The last column of 4:1:1 pictures: 16x16 samples, as 4:2:0 macroblocks are, not 32x8. The left half of its
    // chrominance blocks lies above the right one.
    bool edge;
};

// The place of macroblock `index` (0..4) of a segment (0..26) of a sequence.
Place placeOf(const System& system, int sequence, int segment, int index);

// A part of the picture that a block, or half of one, fills.
struct Area {
    std::size_t plane;
    int x;
    int y;
    int width;  // 8 or 4; eight rows
};

// A block's area, or the two of a chrominance block at the edge.
struct Areas {
    std::array<Area, 2> area;
    int count;
    const Area* begin() const { return area.data(); }
    const Area* end() const { return area.data() + count; }
};

// Of block `block` (0..5) of a macroblock.
Areas areasOf(const System& system, const Place& place, int block);

}  // namespace codecs::dv

#endif
