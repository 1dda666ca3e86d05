// The whole H.263 example decoder. An input is either a stream as it stands or the material for one: the target then
// writes sound headers around it, so that few inputs are needed to reach every annex, group, slice and macroblock.
#include <cstdint>
#include <vector>

#include "h263/decoder.h"
#include "stream_input.h"
#include "support/bit_writer.h"

namespace {

struct Format {
    bool extended;
    unsigned width, height;  // in units of four samples
    unsigned annexes;        // of OPPTYPE: D, E, F, I, J, K, N, R, S, T
};

// Only modes that the decoder has.
Format chooseFormat(Input& in) {
    constexpr unsigned available = 0b1011110001;
    const unsigned flags = in.next();
    const unsigned annexes = (in.next() << 2 | flags >> 6) & available;
    return {(flags & 3) != 0, in.next() % 40, 1 + in.next() % 40, annexes};
}

int addressBits(const Format& format) {
    const unsigned macroblocks = ((format.width + 1 + 3) / 4) * ((format.height + 3) / 4);
    return macroblocks <= 48 ? 6 : macroblocks <= 99 ? 7 : 9;
}

void writePicture(BitWriter& out, Input& in, const Format& format) {
    const unsigned kind = in.next();
    const unsigned quantiser = 1 + in.next() % 31;
    const bool inter = (kind & 7) != 0;
    const bool slices = format.extended && (format.annexes >> 4 & 1) != 0;
    while (out.used() % 8 != 0)
        out.put(0, 1);
    out.put(0x20, 22);
    out.put(kind, 8);
    out.put(0b10000, 5);
    if (format.extended) {
        out.put(7, 3);
        out.put(1, 3);          // all options follow
        out.put(6, 3);          // custom size
        out.put(kind >> 7, 1);  // custom clock
        out.put(format.annexes, 10);
        out.put(8, 4);
        out.put(inter, 3);
        out.put(0, 2);
        out.put(kind >> 6, 1);  // rounding type
        out.put(1, 3);
        out.put(0, 1);
        out.put(1, 4);  // square samples
        out.put(format.width, 9);
        out.put(1, 1);
        out.put(format.height, 9);
        if (kind >> 7) out.put(0x48, 8 + 2);
        if (format.annexes >> 9 & 1) out.put(1, 1);
        if (slices) out.put(0, 2);
        out.put(quantiser, 5);
        out.put(0, 1);
        if (slices) {
            out.put(1, 1);
            out.put(0, addressBits(format));
            out.put(1, 1);
        }
    } else {
        out.put(1 + kind % 2, 3);
        out.put(inter, 1);
        out.put(format.annexes >> 9 & 1, 1);  // D
        out.put(0, 1);
        out.put(format.annexes >> 7 & 1, 1);  // F
        out.put(0, 1);
        out.put(quantiser, 5);
        out.put(0, 2);
    }
    fuzz::writeBytes(out, in);
    for (unsigned segments = in.next() % 4; segments > 0; --segments) {
        out.put(1, static_cast<int>(17 + kind % 5));
        if (slices) {
            out.put(1, 1);
            out.put(in.next(), addressBits(format));
            out.put(quantiser, 5);
            out.put(4, 3);
        } else {
            out.put(in.next(), 5);
            out.put(0, 2);
            out.put(quantiser, 5);
        }
        fuzz::writeBytes(out, in);
    }
}

std::vector<std::uint8_t> compose(Input in) {
    BitWriter out;
    const Format format = chooseFormat(in);
    for (int pictures = 0; !in.empty() && pictures < 12; ++pictures)
        writePicture(out, in, format);
    return out.bytes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzz::runDecoder(*codecs::makeH263Decoder(), data, size, compose);
}
