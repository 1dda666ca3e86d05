// The whole MPEG-1/2 example decoder. An input is either a stream as it stands or the material for one: the target
// then writes sound headers around it, so that few inputs are needed to reach every kind of picture and macroblock.
#include <cstdint>
#include <vector>

#include "mpeg2/decoder.h"
#include "stream_input.h"
#include "support/bit_writer.h"

namespace {

void writeSequence(BitWriter& out, Input& in, bool mpeg2) {
    const unsigned width = 1 + in.next() % 100;
    const unsigned height = 1 + in.next() % 100;
    out.startCode(0xB3);
    out.put(width, 12);
    out.put(height, 12);
    out.put(0x13, 8);                        // square samples, 25 pictures per second
    out.put(0x3FFFFU << 12 | 1U << 11, 30);  // bit rate, marker, buffer size, constrained
    out.put(0, 2);                           // no matrices
    if (!mpeg2) return;
    const unsigned flags = in.next();
    out.startCode(0xB5);
    out.put(1, 4);
    out.put(0x48, 8);       // Main profile, Main level
    out.put(flags & 1, 1);  // progressive_sequence
    out.put(1, 2);          // 4:2:0
    out.put(0, 4 + 12);
    out.put(1, 1);
    out.put(0, 8);
    out.put(flags >> 1 & 1, 1);  // low_delay
    out.put(0, 7);
}

void writePicture(BitWriter& out, Input& in, bool mpeg2, bool first) {
    const unsigned kind = in.next();
    const unsigned type = first ? 1 : 1 + kind % 3;
    out.startCode(0x00);
    out.put(0, 10);
    out.put(type, 3);
    out.put(0xFFFF, 16);
    const unsigned codes = in.next();  // full_pel_vector and f_code
    if (type >= 2) out.put(codes & 15, 4);
    if (type == 3) out.put(codes >> 4, 4);
    out.put(0, 1);
    if (mpeg2) {
        out.startCode(0xB5);
        out.put(8, 4);
        out.put(codes << 8 | in.next(), 16);              // f_codes
        out.put(kind >> 2, 2);                            // intra_dc_precision
        out.put(kind & 16 ? 1 + (kind >> 6) % 3 : 3, 2);  // picture_structure
        out.put(in.next(), 8);                            // top_field_first to repeat_first_field
        out.put(in.next(), 3);                            // chroma_420_type, progressive_frame, no composite display
    }
    const unsigned slices = in.next() % 8;
    for (unsigned row = 1; row <= slices; ++row) {
        out.startCode(row);
        for (unsigned left = in.next(); left > 0 && !in.empty(); --left)
            out.put(in.next(), 8);
    }
}

std::vector<std::uint8_t> compose(Input in) {
    BitWriter out;
    const bool mpeg2 = in.next() & 1;
    writeSequence(out, in, mpeg2);
    for (bool first = true; !in.empty(); first = false)
        writePicture(out, in, mpeg2, first);
    return out.bytes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzz::runDecoder(*codecs::makeMpeg2Decoder(), data, size, compose);
}
