// MPEG-1 video (ISO/IEC 11172-2) and MPEG-2 video (ISO/IEC 13818-2, Main Profile): elementary streams to pictures.
#ifndef QVOVC_EXAMPLES_MPEG2_DECODER_H
#define QVOVC_EXAMPLES_MPEG2_DECODER_H

#include <memory>

#include "common/decoder.h"

namespace codecs {

// A decoder for either standard; the stream itself says which it follows.
std::unique_ptr<Decoder> makeMpeg2Decoder();

}  // namespace codecs

#endif
