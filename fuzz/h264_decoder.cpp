// The whole H.264 example decoder. An input is either a stream as it stands or the material for one: the target then
// writes sound parameter sets and slice headers around it, so that few inputs are needed to reach every kind of slice
// and macroblock.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "h264/decoder.h"
#include "stream_input.h"
#include "support/bit_writer.h"

namespace {

void putUe(BitWriter& out, unsigned value) {
    int length = 0;
    while ((value + 1) >> (length + 1))
        ++length;
    out.put(0, length);
    out.put(value + 1, length + 1);
}

void putSe(BitWriter& out, int value) {
    putUe(out, value > 0 ? 2 * static_cast<unsigned>(value) - 1 : 2 * static_cast<unsigned>(-value));
}

struct Choice {
    unsigned orderType;
    unsigned macroblocks;
    bool weightedPrediction;
    unsigned weightedBiprediction;
};

Choice writeParameters(BitWriter& out, Input& in) {
    Choice choice{};
    const unsigned flags = in.next(), more = in.next();
    const unsigned width = in.next() % 6, height = in.next() % 6;
    choice.macroblocks = (width + 1) * (height + 1);
    choice.orderType = flags % 3;
    choice.weightedPrediction = flags & 4;
    choice.weightedBiprediction = more % 3;
    out.startCode(0x67);
    out.put(77, 8);
    out.put(0, 8);
    out.put(10 + more % 3, 8);
    putUe(out, 0);
    putUe(out, 0);  // frame_num of 4 bits
    putUe(out, choice.orderType);
    if (choice.orderType == 0) putUe(out, 0);
    if (choice.orderType == 1) {
        out.put(1, 1);
        putSe(out, -1);
        putSe(out, 0);
        putUe(out, 1);
        putSe(out, 2);
    }
    putUe(out, 1 + in.next() % 4);  // reference frames
    out.put(flags >> 3 & 1, 1);     // gaps allowed
    putUe(out, width);
    putUe(out, height);
    out.put(1, 1);
    out.put(flags >> 4 & 1, 1);  // direct_8x8_inference_flag
    out.put(0, 2);
    out.put(1, 1);

    out.startCode(0x68);
    putUe(out, 0);
    putUe(out, 0);
    out.put(0, 2);
    putUe(out, 0);
    putUe(out, more >> 2 & 3);  // reference indices
    putUe(out, more >> 4 & 3);
    out.put(choice.weightedPrediction, 1);
    out.put(choice.weightedBiprediction, 2);
    putSe(out, 0);
    putSe(out, 0);
    putSe(out, static_cast<int>(more >> 6) - 2);
    out.put(1, 1);               // deblocking control
    out.put(flags >> 5 & 1, 1);  // constrained intra prediction
    out.put(0, 1);
    out.put(1, 1);
    return choice;
}

// The header up to what belongs to references, which the input provides, and the input's bytes as the data.
void writeSlice(BitWriter& out, Input& in, const Choice& choice, bool first, unsigned frame) {
    const unsigned kind = in.next();
    const bool idr = first || (kind & 15) == 0;
    const unsigned type = idr ? 7 : 5 + kind % 3;  // P, B, I
    out.startCode(idr ? 0x65 : kind & 16 ? 0x41 : 0x01);
    putUe(out, kind & 32 ? in.next() % choice.macroblocks : 0);
    putUe(out, type);
    putUe(out, 0);
    out.put(idr ? 0 : frame & 15, 4);
    if (idr) putUe(out, frame);
    if (choice.orderType == 0) out.put(in.next(), 4);
    const bool isB = type == 6;
    if (isB) out.put(kind >> 6, 1);  // direct_spatial_mv_pred_flag
    if (type != 7) {
        out.put(0, 1);
        const bool commands = kind & 128;
        for (int list = 0; list < (isB ? 2 : 1); ++list) {
            out.put(commands, 1);
            if (!commands) continue;
            putUe(out, in.next() % 3);
            putUe(out, in.next() % 16);
            putUe(out, 3);
        }
    }
    const bool hasWeights = type == 5 ? choice.weightedPrediction : isB && choice.weightedBiprediction == 1;
    // The weights, marking and quantiser come from the input's bytes, like the data behind them.
    if (hasWeights) {
        putUe(out, in.next() % 8);
        putUe(out, in.next() % 8);
    } else if (idr) {
        out.put(in.next(), 2);
        putSe(out, 0);
        putUe(out, in.next() % 3);
    }
    for (unsigned left = 4 * in.next(); left > 0 && !in.empty(); --left) {
        // Bytes as they are may hold start codes, which ends the slice as well.
        out.put(in.next(), 8);
    }
    out.put(1, 1);
}

std::vector<std::uint8_t> compose(Input in) {
    BitWriter out;
    const Choice choice = writeParameters(out, in);
    unsigned frame = 0;
    for (bool first = true; !in.empty(); first = false) {
        writeSlice(out, in, choice, first, frame);
        frame += in.next() % 3;
    }
    return out.bytes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzz::runDecoder(*codecs::makeH264Decoder(), data, size, compose);
}
