// Writing NAL units, parameter sets and slice headers (ITU-T H.264, 7.3.1 to 7.3.3) of a Constrained Baseline stream.
#ifndef QVOVC_EXAMPLES_H264_HEADER_WRITER_H
#define QVOVC_EXAMPLES_H264_HEADER_WRITER_H

#include <cstdint>
#include <vector>

#include "common/bit_writer.h"
#include "common/encoder.h"
#include "h264/headers.h"

namespace codecs::h264 {

// The smallest level (table A-1) for pictures of this size, this many a second, with one reference, at this bit rate;
// its vectors reach that far up and down. Throws UnsupportedSettings where there is none.
struct Level {
    int number;      // level_idc
    int maxVectorY;  // in luma samples
};
Level chooseLevel(int macroblockWidth, int macroblockHeight, const EncoderSettings& settings);

// Puts the payload, which it completes with the stop bit, into a unit with start code and emulation prevention.
void appendUnit(std::vector<std::uint8_t>& stream, int reference, NalType type, BitWriter& payload);

// One reference, order of output that of coding, constant picture rate.
void writeSequenceParameters(BitWriter& bits, const SequenceParameters& sequence);

// Deblocking under the slices' control, one reference index.
void writePictureParameters(BitWriter& bits, const PictureParameters& picture);

void writeSliceHeader(BitWriter& bits, const SequenceParameters& sequence, const PictureParameters& picture,
                      const SliceHeader& slice);

}  // namespace codecs::h264

#endif
