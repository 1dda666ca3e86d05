// The deblocking filter mode (Annex J).
#ifndef QVOVC_EXAMPLES_H263_DEBLOCK_H
#define QVOVC_EXAMPLES_H263_DEBLOCK_H

#include <qvovc.h>

#include <vector>

#include "mpeg4/frame.h"

namespace codecs::h263 {

// Filters the block edges of a picture in place. `coded` says of each macroblock whether it was; the quantisers are the
// frame's, those of chrominance others where quantisation is modified.
void deblock(const mpeg4::Frame& frame, const std::vector<Qvo8u>& coded, bool modifiedQuantisation);

}  // namespace codecs::h263

#endif
