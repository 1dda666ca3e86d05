// Writing CAVLC residual blocks and Exp-Golomb codes (ITU-T H.264, 9.1 and 9.2). Sink is a BitWriter or a BitCounter.
#ifndef QVOVC_EXAMPLES_H264_CAVLC_WRITER_H
#define QVOVC_EXAMPLES_H264_CAVLC_WRITER_H

#include <qvovc.h>

#include <bit>
#include <cstdint>

#include "common/bit_writer.h"

namespace codecs::h264 {

// ue(v)
template <class Sink>
void putUe(Sink& sink, std::uint32_t value) {
    const int length = static_cast<int>(std::bit_width(value + 1));
    sink.put(0, length - 1);
    sink.put(value + 1, length);
}

// se(v)
template <class Sink>
void putSe(Sink& sink, int value) {
    putUe(sink, static_cast<std::uint32_t>(value > 0 ? 2 * value - 1 : -2 * value));
}

inline int ueBits(std::uint32_t value) {
    return 2 * static_cast<int>(std::bit_width(value + 1)) - 1;
}

inline int seBits(int value) {
    return ueBits(static_cast<std::uint32_t>(value > 0 ? 2 * value - 1 : -2 * value));
}

// Writes a block of 16 levels in raster order from the scan position `first` on (1 where the DC is coded apart); nC is the
// number predicted from the neighbours. Returns the number of levels.
template <class Sink>
int putBlock(Sink& sink, int nC, int first, const Qvo16s* block);

// Writes the four levels of a chroma DC block.
template <class Sink>
int putChromaDc(Sink& sink, const Qvo16s* block);

}  // namespace codecs::h264

#endif
