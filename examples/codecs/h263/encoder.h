// H.263 encoder.
#ifndef QVOVC_EXAMPLES_H263_ENCODER_H
#define QVOVC_EXAMPLES_H263_ENCODER_H

#include <memory>

#include "common/encoder.h"

namespace codecs {

// Codes I and P pictures of baseline H.263, in the five standard sizes, at up to 30 pictures a second. Of the settings'
// packets groups of blocks are made. Throws UnsupportedSettings.
std::unique_ptr<Encoder> makeH263Encoder(const EncoderSettings& settings, Encoder::ByteSink bytes,
                                         Encoder::PictureSink pictures);

}  // namespace codecs

#endif
