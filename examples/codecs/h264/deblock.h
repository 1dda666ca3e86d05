// The deblocking filter over a whole picture (ITU-T H.264, 8.7).
#ifndef QVOVC_EXAMPLES_H264_DEBLOCK_H
#define QVOVC_EXAMPLES_H264_DEBLOCK_H

#include "h264/macroblock.h"

namespace codecs::h264 {

void deblock(const PictureContext& context);

}  // namespace codecs::h264

#endif
