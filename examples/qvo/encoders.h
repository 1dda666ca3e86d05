// The codecs qvo can encode.
#ifndef QVOVC_QVO_ENCODERS_H
#define QVOVC_QVO_ENCODERS_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/encoder.h"

namespace qvo {

struct EncoderEntry {
    std::string_view name;    // for --codec
    std::string_view format;  // in words, as decoders call it in StreamInfo::codec
    // Throws codecs::UnsupportedSettings.
    std::unique_ptr<codecs::Encoder> (*make)(const codecs::EncoderSettings& settings, codecs::Encoder::ByteSink bytes,
                                             codecs::Encoder::PictureSink pictures);
};

const std::vector<EncoderEntry>& encoders();

// The encoder of that name, or null.
const EncoderEntry* findEncoder(std::string_view name);

// All names for a message: "h264, mpeg2".
std::string encoderNames();

}  // namespace qvo

#endif
