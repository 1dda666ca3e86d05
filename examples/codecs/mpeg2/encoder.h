// MPEG-2 video (ISO/IEC 13818-2, Main Profile, progressive): pictures to an elementary stream.
#ifndef QVOVC_EXAMPLES_MPEG2_ENCODER_H
#define QVOVC_EXAMPLES_MPEG2_ENCODER_H

#include <memory>

#include "common/encoder.h"

namespace codecs {

// Quantisers are quantiser_scale_codes, 1 to 31. Throws UnsupportedSettings, as does encoding where a picture cannot be
// made small enough for the decoder's buffer.
std::unique_ptr<Encoder> makeMpeg2Encoder(const EncoderSettings& settings, Encoder::ByteSink bytes,
                                          Encoder::PictureSink pictures);

}  // namespace codecs

#endif
