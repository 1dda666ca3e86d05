// Post-processing of decoded pictures for display (ISO/IEC 14496-2 annex F.3): smooths the edges of blocks and the
// ringing within them.
#ifndef QVOVC_EXAMPLES_MPEG4_POSTFILTER_H
#define QVOVC_EXAMPLES_MPEG4_POSTFILTER_H

#include <qvovc.h>

#include <array>
#include <cstddef>
#include <vector>

#include "common/decoder.h"

namespace codecs::mpeg4 {

class PostFilter {
  public:
    PostFilter(bool deblock, bool dering) : deblock_(deblock), dering_(dering) {}

    // A filtered copy of a 4:2:0 picture whose quantisers are known, valid until the next call. The picture itself
    // stays as it is: others are predicted from it.
    FrameView apply(const FrameView& frame);

  private:
    // A plane of whole macroblocks with a border.
    class Plane {
      public:
        void resize(int width, int height);
        // Copies a plane and repeats its last samples as far as the macroblocks reach.
        void load(const PlaneView& from);
        void extend();

        Qvo8u* at(int x, int y) { return samples_.data() + (y + border) * step_ + x + border; }
        Qvo32s step() const { return step_; }
        int width() const { return width_; }
        int height() const { return height_; }

      private:
        static constexpr int border = 8;  // the least that can be extended; one sample is used

        int width_ = 0;
        int height_ = 0;
        Qvo32s step_ = 0;
        std::vector<Qvo8u> samples_;
    };
    using Planes = std::array<Plane, 3>;

    void deblock(const QuantiserMap& quantisers);
    void dering(const QuantiserMap& quantisers);
    static void resize(Planes& planes, int macroblockWidth, int macroblockHeight);

    bool deblock_;
    bool dering_;
    Planes planes_;
    Planes deringed_;
};

}  // namespace codecs::mpeg4

#endif
