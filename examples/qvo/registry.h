// The codecs qvo has: how they are called, how a stream of theirs is recognised, and what decodes it.
#ifndef QVOVC_QVO_REGISTRY_H
#define QVOVC_QVO_REGISTRY_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "common/decoder.h"

namespace qvo {

// How sure a probe is.
enum Certainty { unlikely = 0, possible = 50, certain = 100 };

struct Codec {
    // The first is the one shown; all may be given to --codec. The names libavformat uses for the same codec are among
    // them, so that a container's stream finds its decoder.
    std::vector<std::string_view> names;
    // Looks at the first bytes of a file that would be an elementary stream.
    Certainty (*probe)(std::span<const std::uint8_t> head);
    std::unique_ptr<codecs::Decoder> (*make)();
};

const std::vector<Codec>& registry();

// The codec of that name, or null.
const Codec* findCodec(std::string_view name);

// The codec that is surest about these first bytes, or null where none is at least as sure as asked for.
const Codec* probeCodecs(std::span<const std::uint8_t> head, Certainty atLeast);

// All codecs' names for a message: "mpeg2 (mpeg1, mpegvideo), ...".
std::string codecNames();

}  // namespace qvo

#endif
