// The whole MPEG-4 example decoder. An input is either a stream as it stands or the material for one: the target then
// writes sound headers around it, so that few inputs are needed to reach every kind of VOP, packet and macroblock.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "mpeg4/decoder.h"
#include "stream_input.h"
#include "support/bit_writer.h"

namespace {

struct LayerChoice {
    int macroblockBits;  // of a packet header's macroblock number
    bool resyncMarkers;
};

LayerChoice writeLayer(BitWriter& out, Input& in) {
    const unsigned width = 1 + in.next() % 100;
    const unsigned height = 1 + in.next() % 100;
    const unsigned flags = in.next();
    out.startCode(0x20);
    out.put(0x01, 1 + 8);          // random access, object type
    out.put(0, 1);                 // verid 1
    out.put(1, 4);                 // square samples
    out.put(flags & 1, 1);         // vol_control_parameters
    if (flags & 1) out.put(6, 4);  // 4:2:0, low_delay, no buffer model
    out.put(0, 2);                 // rectangular
    out.put(1, 1);
    out.put(25, 16);
    out.put(2, 2);  // marker, no fixed rate
    out.put(1, 1);
    out.put(width, 13);
    out.put(1, 1);
    out.put(height, 13);
    out.put(1, 1);
    out.put(4, 4);                 // progressive, no overlapping, no sprites, 8 bits
    out.put(flags >> 1 & 1, 1);    // vol_quant_type
    if (flags & 2) out.put(0, 2);  // default matrices
    out.put(1, 1);                 // no complexity estimation
    out.put(~flags >> 2 & 1, 1);   // resync_marker_disable
    out.put(flags >> 3 & 1, 1);    // data_partitioned
    if (flags & 8) out.put(0, 1);  // no reversible codes
    out.put(0, 1);                 // no scalability

    const unsigned macroblocks = (width + 15) / 16 * ((height + 15) / 16);
    int bits = 1;
    while ((macroblocks - 1) >> bits)
        ++bits;
    return {bits, (flags & 4) != 0};
}

void writeVop(BitWriter& out, Input& in, const LayerChoice& layer, unsigned& time) {
    const unsigned kind = in.next();
    const unsigned type = kind % 3;
    const unsigned codes = in.next();
    const unsigned fcodeForward = 1 + (codes & 7) % 7;
    const unsigned fcodeBackward = 1 + (codes >> 3) % 7;
    const unsigned quantiser = 1 + in.next() % 31;
    // References leave a tick between them for the B-VOPs.
    if (type != 2) time += 2;
    const unsigned now = type == 2 ? time - 1 : time;
    out.startCode(0xB6);
    out.put(type, 2);
    out.put(0, 1);
    out.put(1, 1);
    out.put(now % 25, 5);
    out.put(3, 2);  // marker, coded
    if (type == 1) out.put(kind >> 7, 1);
    out.put(kind >> 2, 3);  // intra_dc_vlc_thr
    out.put(quantiser, 5);
    if (type != 0) out.put(fcodeForward, 3);
    if (type == 2) out.put(fcodeBackward, 3);
    fuzz::writeBytes(out, in);
    const unsigned packets = layer.resyncMarkers ? in.next() % 4 : 0;
    for (unsigned i = 0; i < packets; ++i) {
        out.put(0, 1);
        while (out.used() % 8 != 0)
            out.put(1, 1);
        const unsigned range = type == 2 ? std::max({fcodeForward, fcodeBackward, 2U}) : fcodeForward;
        out.put(1, static_cast<int>(type == 0 ? 17 : 16 + range));
        out.put(in.next(), layer.macroblockBits);
        out.put(quantiser, 5);
        out.put(0, 1);  // no header extension
        fuzz::writeBytes(out, in);
    }
}

std::vector<std::uint8_t> compose(Input in) {
    BitWriter out;
    const LayerChoice layer = writeLayer(out, in);
    unsigned time = 0;
    // Times stay below a second, so that modulo_time_base stays 0.
    while (!in.empty() && time < 22)
        writeVop(out, in, layer, time);
    return out.bytes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzz::runDecoder(*codecs::makeMpeg4Decoder(), data, size, compose);
}
