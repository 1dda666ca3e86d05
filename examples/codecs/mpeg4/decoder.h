// MPEG-4 Visual (ISO/IEC 14496-2, Simple Profile and the progressive half-sample tools of Advanced Simple Profile):
// elementary streams to pictures.
#ifndef QVOVC_EXAMPLES_MPEG4_DECODER_H
#define QVOVC_EXAMPLES_MPEG4_DECODER_H

#include <memory>

#include "common/decoder.h"

namespace codecs {

std::unique_ptr<Decoder> makeMpeg4Decoder();

}  // namespace codecs

#endif
