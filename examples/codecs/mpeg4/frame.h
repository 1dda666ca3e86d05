// Frame stores: samples with a border to predict from, and what later VOPs need to know of the macroblocks.
#ifndef QVOVC_EXAMPLES_MPEG4_FRAME_H
#define QVOVC_EXAMPLES_MPEG4_FRAME_H

#include <qvovc.h>

#include <array>
#include <memory>
#include <vector>

namespace codecs::mpeg4 {

// The vectors of a macroblock's four luminance blocks.
using Vectors = std::array<QvoMotionVector, 4>;

// What a B-VOP's direct mode asks of the macroblock in the same place of the next reference.
struct Motion {
    Vectors vectors = {};  // zero for intra macroblocks
    bool skipped = false;
};

class Frame {
  public:
    // Throws std::bad_alloc. The samples start as zero.
    Frame(int macroblockWidth, int macroblockHeight);

    // A sample of a plane; the border reaches 16 samples beyond the luminance, 8 beyond the chrominance.
    Qvo8u* at(std::size_t plane, int x, int y) const { return origins_[plane] + y * steps_[plane] + x; }
    Qvo32s step(std::size_t plane) const { return steps_[plane]; }

    int macroblockWidth() const { return macroblockWidth_; }
    int macroblockHeight() const { return macroblockHeight_; }
    std::size_t macroblockIndex(int mbX, int mbY) const {
        return static_cast<std::size_t>(mbY) * static_cast<std::size_t>(macroblockWidth_) +
               static_cast<std::size_t>(mbX);
    }

    // Sets every sample of all planes, borders included.
    void fill(Qvo8u value);

    // Repeats the edges of the planes in their borders, after which the frame can be predicted from.
    void extend();

    // One entry per macroblock, in raster order.
    std::vector<Motion> motion;
    std::vector<Qvo8u> quantisers;

    // What the headers said of the picture in it.
    int displayWidth = 0;
    int displayHeight = 0;
    char type = '?';

  private:
    struct Free {
        void operator()(Qvo8u* memory) const { qvosFree(memory); }
    };

    int macroblockWidth_;
    int macroblockHeight_;
    Qvo32s size_ = 0;
    std::unique_ptr<Qvo8u, Free> memory_;
    std::array<Qvo8u*, 3> origins_ = {};
    std::array<Qvo32s, 3> steps_ = {};
};

}  // namespace codecs::mpeg4

#endif
