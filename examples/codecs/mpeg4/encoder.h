// MPEG-4 encoder: Simple Profile and some of Advanced Simple Profile.
#ifndef QVOVC_EXAMPLES_MPEG4_ENCODER_H
#define QVOVC_EXAMPLES_MPEG4_ENCODER_H

#include <memory>

#include "common/encoder.h"

namespace codecs {

// Codes I-, P- and B-VOPs. With B-VOPs or matrixQuantiser the stream is of Advanced Simple Profile. Throws
// UnsupportedSettings.
std::unique_ptr<Encoder> makeMpeg4Encoder(const EncoderSettings& settings, Encoder::ByteSink bytes,
                                          Encoder::PictureSink pictures);

}  // namespace codecs

#endif
