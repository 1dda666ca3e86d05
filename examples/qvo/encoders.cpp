#include "encoders.h"

#include "h263/encoder.h"
#include "h264/encoder.h"
#include "mpeg2/encoder.h"
#include "mpeg4/encoder.h"

namespace qvo {

const std::vector<EncoderEntry>& encoders() {
    static const std::vector<EncoderEntry> entries = {
        {"h263", "H.263", codecs::makeH263Encoder},
        {"h264", "H.264", codecs::makeH264Encoder},
        {"mpeg2", "MPEG-2 video", codecs::makeMpeg2Encoder},
        {"mpeg4", "MPEG-4 video", codecs::makeMpeg4Encoder},
    };
    return entries;
}

const EncoderEntry* findEncoder(std::string_view name) {
    for (const EncoderEntry& entry : encoders())
        if (entry.name == name) return &entry;
    return nullptr;
}

std::string encoderNames() {
    std::string text;
    for (const EncoderEntry& entry : encoders()) {
        if (!text.empty()) text += ", ";
        text += entry.name;
    }
    return text;
}

}  // namespace qvo
