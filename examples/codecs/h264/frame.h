// Frame stores: samples with a border for vectors that point outside, and the motion that B pictures look up.
#ifndef QVOVC_EXAMPLES_H264_FRAME_H
#define QVOVC_EXAMPLES_H264_FRAME_H

#include <qvovc.h>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace codecs::h264 {

// In quarter luma samples.
struct Vector {
    Qvo16s x = 0;
    Qvo16s y = 0;

    bool operator==(const Vector&) const = default;
};

// A plane of whole macroblocks; `border` samples around it belong to it too.
struct Plane {
    Qvo8u* samples = nullptr;
    Qvo32s step = 0;  // bytes between rows
    Qvo32s width = 0;
    Qvo32s height = 0;
    Qvo32s border = 0;
};

// The motion of one list, in raster order over the whole picture.
struct Motion {
    std::vector<Vector> vectors;          // of 4x4 blocks
    std::vector<std::int8_t> references;  // of 8x8 blocks: reference index, -1 where the list is not used
    std::vector<std::int32_t> pictures;   // of 8x8 blocks: Picture::id of that reference, -1
};

class Frame {
  public:
    // Throws std::bad_alloc.
    Frame(int macroblockWidth, int macroblockHeight);

    const Plane& plane(std::size_t i) const { return planes_[i]; }
    // Rows of vectors and of references.
    int vectorStep() const { return planes_[0].width / 4; }
    int referenceStep() const { return planes_[0].width / 8; }

    // Sets every sample of all planes.
    void fill(Qvo8u value);
    // Takes every block, or those of one macroblock, for not predicted from other pictures.
    void clearMotion();
    void clearMotion(int macroblockX, int macroblockY);
    // Repeats the samples at the edges in the borders.
    void extendBorders();

    std::array<Motion, 2> motion;

  private:
    struct Free {
        void operator()(Qvo8u* memory) const { qvosFree(memory); }
    };

    Qvo32s size_ = 0;
    std::unique_ptr<Qvo8u, Free> memory_;
    std::array<Plane, 3> planes_;
};

enum class Marking { unused, shortTerm, longTerm };

// A decoded picture and what the decoded picture buffer knows of it.
struct Picture {
    std::shared_ptr<Frame> frame;
    std::int32_t id = 0;  // tells apart all pictures of a stream
    char type = '?';
    bool reference = false;
    bool exists = true;    // false: stands in a gap of frame_num
    bool waiting = false;  // to be shown
    Marking marking = Marking::unused;
    int frameNum = 0;
    int frameNumWrap = 0;
    int longTermIndex = 0;
    int order = 0;  // PicOrderCnt

    int cropLeft = 0;
    int cropTop = 0;
    int width = 0;
    int height = 0;
};

using PicturePtr = std::shared_ptr<Picture>;

}  // namespace codecs::h264

#endif
