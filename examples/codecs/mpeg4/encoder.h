// MPEG-4 Simple Profile encoder.
#ifndef QVOVC_EXAMPLES_MPEG4_ENCODER_H
#define QVOVC_EXAMPLES_MPEG4_ENCODER_H

#include <memory>

#include "common/encoder.h"

namespace codecs {

// Codes I- and P-VOPs. With the settings' matrixQuantiser the stream is of Advanced Simple Profile. Throws
// UnsupportedSettings.
std::unique_ptr<Encoder> makeMpeg4Encoder(const EncoderSettings& settings, Encoder::ByteSink bytes,
                                          Encoder::PictureSink pictures);

}  // namespace codecs

#endif
