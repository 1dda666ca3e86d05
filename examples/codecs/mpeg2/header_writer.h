// Writes the layers above the slice, for MPEG-2 video of progressive frames.
#ifndef QVOVC_EXAMPLES_MPEG2_HEADER_WRITER_H
#define QVOVC_EXAMPLES_MPEG2_HEADER_WRITER_H

#include "mpeg2/headers.h"
#include "mpeg2/word_writer.h"

namespace codecs::mpeg2 {

// The sequence header, with the default matrices, and its extension.
void writeSequenceHeader(WordWriter& out, const SequenceHeader& sequence);

// A group header. picture: the number of the group's first picture in display order; rate: pictures per second, for
// the time code.
void writeGroupHeader(WordWriter& out, const GroupHeader& group, long picture, int rate);

// A picture header and its coding extension. temporalReference: the picture's place in its group in display order.
void writePictureHeader(WordWriter& out, const PictureHeader& picture, long temporalReference);

}  // namespace codecs::mpeg2

#endif
