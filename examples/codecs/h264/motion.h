// Prediction of vectors and direct prediction (ITU-T H.264, 8.4.1).
#ifndef QVOVC_EXAMPLES_H264_MOTION_H
#define QVOVC_EXAMPLES_H264_MOTION_H

#include "h264/inter.h"
#include "h264/macroblock.h"
#include "h264/neighbours.h"

namespace codecs::h264 {

// A partition of a macroblock, in 4x4 blocks.
struct Partition {
    int x;
    int y;
    int width;
    int height;
};

// The motion of the macroblock at hand: reads what stands around it and writes its own.
class MotionField {
  public:
    void begin(PictureContext& context, const SliceContext& slice);
    void enter(int macroblockX, int macroblockY, const Neighbours& neighbours);

    int reference(std::size_t list, int x, int y) const {
        return references_[list][(y >> 1) * referenceStep_ + (x >> 1)];
    }
    Vector vector(std::size_t list, int x, int y) const { return vectors_[list][y * vectorStep_ + x]; }

    // Sets the reference index (-1: list not used) of the 8x8 blocks of a partition.
    void setReference(std::size_t list, const Partition& partition, int reference);
    void setVector(std::size_t list, const Partition& partition, Vector vector);
    // Marks the whole macroblock as not using inter prediction.
    void setIntra();

    // The predicted vector of a partition whose reference is set (8.4.1.3).
    Vector predict(std::size_t list, const Partition& partition) const;

    // The vector of a skipped macroblock of a P slice.
    Vector predictSkipped() const;

    // Sets the motion of direct prediction for the 8x8 blocks whose bit is set in `blocks` (8.4.1.2). The first call
    // within a macroblock must come before any other motion of it is set. True if every 8x8 block concerned has one
    // motion only.
    bool setDirect(int blocks);

  private:
    struct Neighbour {
        int reference;  // -1: does not use the list; unavailable
        Vector vector;
    };
    static constexpr int unavailable = -2;

    Neighbour neighbour(std::size_t list, int x, int y) const;
    Neighbour neighbourC(std::size_t list, const Partition& partition) const;
    Vector median(const Neighbour& a, const Neighbour& b, const Neighbour& c, int reference) const;

    bool setSpatialDirect(int blocks);
    bool setTemporalDirect(int blocks);
    struct Colocated {
        bool intra;
        int reference;
        std::int32_t picture;
        Vector vector;
    };
    Colocated colocated(int x, int y) const;

    PictureContext* context_ = nullptr;
    const SliceContext* slice_ = nullptr;
    int vectorStep_ = 0;
    int referenceStep_ = 0;
    Neighbours neighbours_;
    std::size_t firstVector_ = 0;
    std::size_t firstReference_ = 0;
    // Of the macroblock's first block.
    std::array<Vector*, 2> vectors_ = {};
    std::array<std::int8_t*, 2> references_ = {};
    std::array<std::int32_t*, 2> pictures_ = {};
    std::array<std::array<std::int32_t, maxReferences>, 2> ids_ = {};  // of the slice's references
    std::array<TimeScale, maxReferences> scales_ = {};                 // temporal direct, by index in list 0
};

}  // namespace codecs::h264

#endif
