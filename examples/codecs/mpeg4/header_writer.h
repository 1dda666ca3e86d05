// Writes the headers of visual objects, video object layers, VOPs and video packets that headers.h reads.
#ifndef QVOVC_EXAMPLES_MPEG4_HEADER_WRITER_H
#define QVOVC_EXAMPLES_MPEG4_HEADER_WRITER_H

#include "common/bit_writer.h"
#include "mpeg4/headers.h"

namespace codecs::mpeg4 {

// visual_object_sequence(), visual_object(), video_object() and VideoObjectLayer() (6.2.2, 6.2.3), of which the layer's
// matrices must be the usual ones. A layer with low delay and without matrices is a Simple one.
void writeLayer(BitWriter& bits, const Layer& layer, int profile);

// VideoObjectPlane() (6.2.5) up to the first macroblock.
void writeVop(BitWriter& bits, const Layer& layer, const VopHeader& vop);

// next_resync_marker(), the marker and video_packet_header() (6.2.5.2), without the extension.
void writePacket(BitWriter& bits, const Layer& layer, const VopHeader& vop, const PacketHeader& packet);

// next_start_code(): a 0 and 1s up to the next whole byte.
void stuff(BitWriter& bits);

// The profile and the lowest level (table G-1 and annex N) for a layer with this bit rate, 0 where that is not known.
int chooseProfile(const Layer& layer, long bitRate);

}  // namespace codecs::mpeg4

#endif
