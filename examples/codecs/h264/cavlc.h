// CAVLC residual blocks (ITU-T H.264, 9.2).
#ifndef QVOVC_EXAMPLES_H264_CAVLC_H
#define QVOVC_EXAMPLES_H264_CAVLC_H

#include <qvovc.h>

#include "h264/bits.h"

namespace codecs::h264 {

struct Levels {
    int count = 0;    // total_coeff
    bool ac = false;  // a level behind the first position
};

// Reads the levels of a 4x4 block into its 16 places in raster order, which the caller has cleared. `first` is the scan
// position to begin with, 1 for blocks whose DC is coded apart; nC is the number predicted from the neighbours.
Levels readBlock(BitReader& bits, int nC, int first, Qvo16s* block);

// Reads the four levels of a chroma DC block.
Levels readChromaDc(BitReader& bits, Qvo16s* block);

}  // namespace codecs::h264

#endif
