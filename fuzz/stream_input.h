// What fuzz targets of whole decoders have in common: the run of a decoder over an input, which is either a stream as it
// stands or the material for one.
#ifndef QVOVC_FUZZ_STREAM_INPUT_H
#define QVOVC_FUZZ_STREAM_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/decoder.h"
#include "input.h"
#include "support/bit_writer.h"

namespace fuzz {

// Decodes a stream in pieces and reads every sample, so that none of them can lie outside the planes.
inline void decodeAll(codecs::Decoder& decoder, const std::vector<std::uint8_t>& stream, std::size_t piece) {
    unsigned sum = 0;
    const auto sink = [&sum](const codecs::FrameView& frame) {
        for (const codecs::PlaneView& plane : frame.planes) {
            for (int y = 0; y < plane.height; ++y) {
                const std::uint8_t* const row = plane.data + y * plane.step;
                for (int x = 0; x < plane.width; ++x)
                    sum += row[x];
            }
        }
    };
    try {
        for (std::size_t at = 0; at < stream.size(); at += piece)
            decoder.decode(stream.data() + at, std::min(piece, stream.size() - at), sink);
        decoder.finish(sink);
    } catch (const codecs::UnsupportedStream&) {
    }
    [[maybe_unused]] static volatile unsigned keep;
    keep = sum;
}

// Writes as many of the input's bytes as its next one says.
inline void writeBytes(BitWriter& out, Input& in) {
    for (unsigned left = in.next(); left > 0 && !in.empty(); --left)
        out.put(in.next(), 8);
}

// Streams of start codes begin with a zero; everything else is material for compose(Input), which returns a stream.
template <class Compose>
int runDecoder(codecs::Decoder& decoder, const std::uint8_t* data, std::size_t size, Compose compose) {
    if (size == 0) return 0;
    const bool asItStands = data[0] == 0;
    decodeAll(decoder, asItStands ? std::vector<std::uint8_t>(data, data + size) : compose(Input(data, size)),
              1 + size % 97);
    return 0;
}

}  // namespace fuzz

#endif
