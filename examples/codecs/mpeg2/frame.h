// Frame stores, and views of a whole frame or of one of its fields.
#ifndef QVOVC_EXAMPLES_MPEG2_FRAME_H
#define QVOVC_EXAMPLES_MPEG2_FRAME_H

#include <qvovc.h>

#include <array>
#include <memory>

#include "common/picture.h"

namespace codecs::mpeg2 {

// The luminance plane and both chrominance planes of a frame or field, in whole macroblocks.
struct View {
    std::array<Qvo8u*, 3> planes = {};
    std::array<Qvo32s, 3> steps = {};  // bytes between rows
    Qvo32s width = 0;                  // of the luminance; chrominance has half of both
    Qvo32s height = 0;
};

class Frame {
  public:
    // Throws std::bad_alloc. The samples start as zero.
    Frame(int macroblockWidth, int macroblockHeight);

    const View& frame() const { return frame_; }
    // 0: the top field, 1: the bottom field.
    const View& field(int parity) const { return fields_[static_cast<std::size_t>(parity)]; }

    // Sets every sample of all planes.
    void fill(Qvo8u value);

    // Repeats the rows of one field in the other.
    void doubleField(int parity);

    // The picture in it, as it is to be shown.
    FrameView shown() const;

    // What the headers said of that picture.
    int displayWidth = 0;
    int displayHeight = 0;
    char type = '?';
    bool progressive = true;
    bool topFieldFirst = true;

  private:
    struct Free {
        void operator()(Qvo8u* memory) const { qvosFree(memory); }
    };

    Qvo32s size_;
    std::unique_ptr<Qvo8u, Free> memory_;
    View frame_;
    std::array<View, 2> fields_;
};

}  // namespace codecs::mpeg2

#endif
