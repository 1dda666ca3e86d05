#include "registry.h"

#include <algorithm>
#include <array>

#include "dv/decoder.h"
#include "dv/dif.h"
#include "h263/decoder.h"
#include "h264/decoder.h"
#include "mpeg2/decoder.h"
#include "mpeg4/decoder.h"

namespace qvo {

namespace {

using Bytes = std::span<const std::uint8_t>;

// A sequence header (ISO/IEC 13818-2, 6.2.2.1; the same in ISO/IEC 11172-2) with no forbidden value in it.
// `header` begins behind the start code.
bool isMpegSequenceHeader(Bytes header) {
    if (header.size() < 8) return false;
    const int width = header[0] << 4 | header[1] >> 4;
    const int height = (header[1] & 15) << 8 | header[2];
    const int aspect = header[3] >> 4;
    const int rate = header[3] & 15;
    const bool marker = header[6] & 0x20;
    return width && height && aspect >= 1 && aspect <= 14 && rate >= 1 && rate <= 8 && marker;
}

// A stream begins with a sequence header; one that was cut has a header further on, and no start code of a system
// stream (ISO/IEC 13818-1) before it.
Certainty probeMpegVideo(Bytes head) {
    bool first = true;
    bool zeros = true;  // nothing but zero stuffing so far
    for (std::size_t i = 0; i + 4 <= head.size(); ++i) {
        zeros = zeros && head[i] == 0;
        if (head[i] || head[i + 1] || head[i + 2] != 1) continue;
        const int code = head[i + 3];
        if (code >= 0xB9) return unlikely;
        if (code == 0xB3 && isMpegSequenceHeader(head.subspan(i + 4))) return first && zeros ? certain : possible;
        first = false;
    }
    return unlikely;
}

// A stream begins with a layer's header or with those that come before it (ISO/IEC 14496-2, 6.2.1); one that was cut has
// a layer's header further on, and nothing but start codes of MPEG-4 before it.
Certainty probeMpeg4Video(Bytes head) {
    constexpr int userData = 0xB2, visualSequence = 0xB0, visualObject = 0xB5, lastCode = 0xB6;
    bool started = false;
    bool whole = true;  // from the beginning
    for (std::size_t i = 0; i + 4 <= head.size(); ++i) {
        if (head[i] || head[i + 1] || head[i + 2] != 1) {
            whole = whole && (started || head[i] == 0);
            continue;
        }
        started = true;
        const int code = head[i + 3];
        const bool isVideoObject = code <= 0x1F;
        const bool isLayer = code >= 0x20 && code <= 0x2F;
        if (isLayer) return whole ? certain : possible;
        if (!isVideoObject && (code < visualSequence || code > lastCode)) return unlikely;
        whole = whole && (isVideoObject || code == visualSequence || code == visualObject || code == userData);
    }
    return unlikely;
}

// A picture header of H.263 (5.1): a start code and the two bits behind the temporal reference, with a source format
// that exists. `picture` begins with the start code.
bool isH263Picture(Bytes picture) {
    if (picture.size() < 5 || picture[0] || picture[1] || (picture[2] & 0xFC) != 0x80) return false;
    constexpr int markers = 0b10;
    const int sourceFormat = picture[4] >> 2 & 7;
    return (picture[3] & 3) == markers && sourceFormat != 0 && sourceFormat != 6;
}

// A stream begins with a picture, MPEG-4 video with short headers perhaps behind the headers of visual objects but no
// layer's (ISO/IEC 14496-2, 6.2.1); one that was cut has pictures further on. Two in a row are no accident.
Certainty probeH263(Bytes head) {
    constexpr int lastVideoObject = 0x1F, visualSequence = 0xB0, userData = 0xB2, visualObject = 0xB5;
    bool started = false;
    bool whole = true;  // from the beginning
    int pictures = 0;
    for (std::size_t i = 0; i + 5 <= head.size(); ++i) {
        if (isH263Picture(head.subspan(i))) {
            if (whole) return certain;
            if (++pictures == 2) return possible;
        } else if (!head[i] && !head[i + 1] && head[i + 2] == 1) {
            const int code = head[i + 3];
            started = true;
            whole = whole &&
                    (code <= lastVideoObject || code == visualSequence || code == userData || code == visualObject);
        } else {
            whole = whole && (started || head[i] == 0);
        }
    }
    return unlikely;
}

// A sequence parameter set (ITU-T H.264, 7.3.2.1) of a known profile. `unit` begins with its header.
bool isSequenceParameterSet(Bytes unit) {
    constexpr std::array<int, 15> profiles = {66, 77, 88, 100, 110, 122, 244, 44, 83, 86, 118, 128, 134, 138, 139};
    constexpr int lowestLevel = 9, highestLevel = 62;
    if (unit.size() < 5) return false;
    const bool isHeader = (unit[0] & 0x9F) == 7 && unit[0] != 7;
    const bool reservedBits = unit[2] & 3;
    return isHeader && !reservedBits && std::find(profiles.begin(), profiles.end(), unit[1]) != profiles.end() &&
           unit[3] >= lowestLevel && unit[3] <= highestLevel;
}

// A byte stream begins with sequence parameters, perhaps behind a delimiter or supplemental information; one that was
// cut has them further on. No unit's forbidden bit is set.
Certainty probeH264(Bytes head) {
    bool atStart = true;  // nothing but zero stuffing and such units so far
    for (std::size_t i = 0; i + 4 <= head.size(); ++i) {
        if (head[i] || head[i + 1] || head[i + 2] != 1) {
            // Within the first bytes nothing may stand before the first start code.
            if (i < 3 && head[i]) atStart = false;
            continue;
        }
        const int code = head[i + 3];
        if (code & 0x80) return unlikely;
        if (isSequenceParameterSet(head.subspan(i + 3))) return atStart ? certain : possible;
        constexpr int supplement = 6, delimiter = 9;
        if (code != supplement && code != delimiter) atStart = false;
    }
    return unlikely;
}

// A stream of DIF blocks begins with a sequence (SMPTE 314M, 4.2); one that was cut has one further on.
Certainty probeDv(Bytes head) {
    const std::size_t last = std::min(head.size(), codecs::dv::sequenceBytes);
    for (std::size_t i = 0; i < last; ++i) {
        if (codecs::dv::sequenceNumber(head.subspan(i)) >= 0) return i == 0 ? certain : possible;
    }
    return unlikely;
}

}  // namespace

const std::vector<Codec>& registry() {
    static const std::vector<Codec> codecs = {
        {{"mpeg2", "mpeg1", "mpeg2video", "mpeg1video", "mpegvideo"}, probeMpegVideo, codecs::makeMpeg2Decoder},
        // Before MPEG-4, whose start codes its own may look like.
        {{"h264", "avc"}, probeH264, codecs::makeH264Decoder},
        {{"dv", "dvvideo"}, probeDv, codecs::makeDvDecoder},
        {{"mpeg4", "mp4v", "m4v"}, probeMpeg4Video, codecs::makeMpeg4Decoder},
        {{"h263", "h263p"}, probeH263, codecs::makeH263Decoder},
    };
    return codecs;
}

const Codec* findCodec(std::string_view name) {
    for (const Codec& codec : registry())
        if (std::find(codec.names.begin(), codec.names.end(), name) != codec.names.end()) return &codec;
    return nullptr;
}

const Codec* probeCodecs(Bytes head, Certainty atLeast) {
    const Codec* best = nullptr;
    Certainty bestCertainty = unlikely;
    for (const Codec& codec : registry()) {
        const Certainty certainty = codec.probe(head);
        if (certainty < atLeast || certainty <= bestCertainty) continue;
        best = &codec;
        bestCertainty = certainty;
    }
    return best;
}

std::string codecNames() {
    std::string text;
    for (const Codec& codec : registry()) {
        if (!text.empty()) text += ", ";
        for (std::size_t i = 0; i < codec.names.size(); ++i) {
            text += i == 0 ? "" : i == 1 ? " (" : ", ";
            text += codec.names[i];
        }
        if (codec.names.size() > 1) text += ")";
    }
    return text;
}

}  // namespace qvo
