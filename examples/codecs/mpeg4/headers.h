// Headers of visual objects, video object layers, groups, VOPs and video packets.
#ifndef QVOVC_EXAMPLES_MPEG4_HEADERS_H
#define QVOVC_EXAMPLES_MPEG4_HEADERS_H

#include <qvovc.h>

#include <array>
#include <cstdint>
#include <string>

#include "common/byte_bits.h"
#include "common/decoder.h"

namespace codecs::mpeg4 {

// Start codes (ISO/IEC 14496-2 table 6-3).
enum StartCode {
    codeLastVideoObject = 0x1F,
    codeFirstLayer = 0x20,
    codeLastLayer = 0x2F,
    codeSequence = 0xB0,
    codeSequenceEnd = 0xB1,
    codeGroup = 0xB3,
    codeVisualObject = 0xB5,
    codeVop = 0xB6,
};

// Weights in raster order.
using Matrix = std::array<Qvo8u, 64>;

// What vol_quant_type selects where the layer brings no matrices (6.3.3).
extern const Matrix defaultIntraMatrix;
extern const Matrix defaultInterMatrix;

// Lengths in bits of what a VOP header carries about its complexity, by the kinds of VOP that carry it.
struct ComplexityBits {
    int all = 0;
    int inter = 0;  // P and B
    int bidirectional = 0;
};

// A video object layer (6.2.3).
struct Layer {
    int width = 0;
    int height = 0;
    int timeResolution = 1;  // ticks per second
    int timeBits = 1;        // length of vop_time_increment
    int fixedIncrement = 0;  // ticks per VOP; 0 where that is not fixed
    int aspectNumerator = 0;
    int aspectDenominator = 0;
    long bitRate = 0;
    bool lowDelay = false;
    bool useMatrices = false;  // the first inverse quantisation method
    Matrix intraMatrix = {};
    Matrix interMatrix = {};
    ComplexityBits complexity;
    bool resyncMarkers = false;
    bool partitioned = false;

    int macroblockWidth() const { return (width + 15) / 16; }
    int macroblockHeight() const { return (height + 15) / 16; }
};

enum class VopType { intra = 0, predicted = 1, bidirectional = 2, sprite = 3 };

// A VOP (6.2.5).
struct VopHeader {
    VopType type = VopType::intra;
    int seconds = 0;  // modulo_time_base
    int ticks = 0;    // vop_time_increment
    bool coded = false;
    int rounding = 0;
    int dcThreshold = 0;  // quantiser from which intra DC coefficients have AC codes
    int quantiser = 0;
    int fcodeForward = 1;
    int fcodeBackward = 1;

    // Zeros with which a resync marker begins (6.3.5.2).
    int resyncZeros() const;
};

// A video packet (6.2.5.2).
struct PacketHeader {
    int macroblock = 0;
    int quantiser = 0;
};

// All readers throw Damage where a header cannot be right.

// visual_object(), behind its start code: gives its verid. Throws UnsupportedStream for anything but video.
int readVisualObject(BitReader& bits);

// VideoObjectLayer(), behind its start code; verid is the one of the visual object. Throws UnsupportedStream for tools
// that the decoder does not have.
Layer readLayer(BitReader& bits, int verid);

// Group_of_VideoObjectPlane(), behind its start code: its time in seconds.
int readGroup(BitReader& bits);

// VideoObjectPlane(), behind its start code, up to the first macroblock.
VopHeader readVop(BitReader& bits, const Layer& layer);

// video_packet_header(), behind its resync marker, in a VOP of so many macroblocks.
PacketHeader readPacket(BitReader& bits, const Layer& layer, const VopHeader& vop, int macroblocks);

// The name of a profile and level (table G-1), empty where it is not one of video in rectangles.
std::string profileName(int indication);

StreamInfo describe(const Layer& layer, int profile);

}  // namespace codecs::mpeg4

#endif
