// What fuzz targets of whole decoders have in common: an input's bytes as material for a stream, and the run of a
// decoder.
#ifndef QVOVC_FUZZ_STREAM_INPUT_H
#define QVOVC_FUZZ_STREAM_INPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/decoder.h"

namespace fuzz {

// Hands out an input's bytes, then zeros.
class Bytes {
  public:
    Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool empty() const { return size_ == 0; }
    unsigned next() {
        if (size_ == 0) return 0;
        --size_;
        return *data_++;
    }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
};

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

}  // namespace fuzz

#endif
