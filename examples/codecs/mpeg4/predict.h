// Motion-compensated prediction of macroblocks.
#ifndef QVOVC_EXAMPLES_MPEG4_PREDICT_H
#define QVOVC_EXAMPLES_MPEG4_PREDICT_H

#include <qvovc.h>

#include <array>

#include "mpeg4/frame.h"

namespace codecs::mpeg4 {

// Block flags of a macroblock of a rectangular VOP: none of its blocks is transparent.
alignas(4) constexpr std::array<Qvo8u, 4> opaque = {1, 1, 1, 1};

// The macroblock of a frame.
struct Place {
    const Frame* frame;
    int mbX;
    int mbY;

    Qvo8u* block(int index) const {
        if (index >= 4) return chroma(static_cast<std::size_t>(index) - 3);
        return frame->at(0, mbX * 16 + (index & 1) * 8, mbY * 16 + (index >> 1) * 8);
    }
    Qvo8u* luma() const { return frame->at(0, mbX * 16, mbY * 16); }
    Qvo8u* chroma(std::size_t plane) const { return frame->at(plane, mbX * 8, mbY * 8); }
    Qvo32s step(int index) const { return frame->step(index < 4 ? 0 : static_cast<std::size_t>(index) - 3); }
};

// Writes the prediction of a macroblock with one or four vectors from an extended reference.
void predict(const Place& target, const Frame& reference, const Vectors& vectors, int rounding);

// The same from two references, averaged.
void predict(const Place& target, const Frame& forward, const Vectors& forwardVectors, const Frame& backward,
             const Vectors& backwardVectors);

// Copies a macroblock from the same place of a reference.
void copy(const Place& target, const Frame& reference);

}  // namespace codecs::mpeg4

#endif
