// Motion-compensated prediction of macroblocks. Frames are those of the MPEG-4 decoder, as is prediction by one or four
// vectors; H.263 adds overlapped blocks.
#ifndef QVOVC_EXAMPLES_H263_PREDICT_H
#define QVOVC_EXAMPLES_H263_PREDICT_H

#include <qvovc.h>

#include "mpeg4/frame.h"
#include "mpeg4/predict.h"

namespace codecs::h263 {

using mpeg4::Frame;
using mpeg4::Place;
using mpeg4::Vectors;

// The vectors around a macroblock whose blocks are predicted with overlap, null where they give way to its own: outside
// the picture or intra.
struct Surroundings {
    const Vectors* left;
    const Vectors* right;
    const Vectors* above;
};

// Writes the prediction of a macroblock from an extended reference, its luminance with overlap (Annex F).
void predictOverlapped(const Place& target, const Frame& reference, const Vectors& vectors,
                       const Surroundings& around, int rounding);

}  // namespace codecs::h263

#endif
