// H.264 (ITU-T H.264, ISO/IEC 14496-10): Constrained Baseline, and the B slices and weights of progressive CAVLC
// streams of other profiles. Byte streams (Annex B) to pictures.
#ifndef QVOVC_EXAMPLES_H264_DECODER_H
#define QVOVC_EXAMPLES_H264_DECODER_H

#include <memory>

#include "common/decoder.h"

namespace codecs {

std::unique_ptr<Decoder> makeH264Decoder();

}  // namespace codecs

#endif
