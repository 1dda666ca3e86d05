// DV at 25 Mbit/s (IEC 61834-2, SMPTE 314M): 4:2:0 and 4:1:1, 525 and 625 lines. Streams of DIF blocks to pictures.
#ifndef QVOVC_EXAMPLES_DV_DECODER_H
#define QVOVC_EXAMPLES_DV_DECODER_H

#include <memory>

#include "common/decoder.h"

namespace codecs {

// Pictures have the stream's own chrominance format.
std::unique_ptr<Decoder> makeDvDecoder();

}  // namespace codecs

#endif
