// H.264 Constrained Baseline encoder.
#ifndef QVOVC_EXAMPLES_H264_ENCODER_H
#define QVOVC_EXAMPLES_H264_ENCODER_H

#include <memory>

#include "common/encoder.h"

namespace codecs {

// Codes I and P pictures into a byte stream with start codes, one slice each. Throws UnsupportedSettings.
std::unique_ptr<Encoder> makeH264Encoder(const EncoderSettings& settings, Encoder::ByteSink bytes,
                                         Encoder::PictureSink pictures);

}  // namespace codecs

#endif
