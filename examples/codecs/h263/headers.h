// Headers of pictures and of their segments, groups of blocks or slices.
#ifndef QVOVC_EXAMPLES_H263_HEADERS_H
#define QVOVC_EXAMPLES_H263_HEADERS_H

#include <qvovc.h>

#include "common/byte_bits.h"
#include "common/decoder.h"
#include "h263/tables.h"

namespace codecs::h263 {

// What a picture header may leave to the one before it (OPPTYPE, 5.1.4.2, and what goes with it).
struct Format {
    bool extended = false;  // PLUSPTYPE
    int width = 0;
    int height = 0;
    int aspectNumerator = aspectRatios[standardAspect].numerator;
    int aspectDenominator = aspectRatios[standardAspect].denominator;
    bool customClock = false;
    // Pictures per second.
    int rateNumerator = 30000;
    int rateDenominator = 1001;
    int vectorMode = qvoMVBaseline;
    bool advancedPrediction = false;    // Annex F
    bool advancedIntra = false;         // Annex I
    bool deblocking = false;            // Annex J
    bool slices = false;                // Annex K
    bool modifiedQuantisation = false;  // Annex T

    int macroblockWidth() const { return (width + 15) / 16; }
    int macroblockHeight() const { return (height + 15) / 16; }
    int macroblockCount() const { return macroblockWidth() * macroblockHeight(); }
};

struct PictureHeader {
    Format format;
    bool intra = false;
    int rounding = 0;
    // Of the first segment.
    int macroblock = 0;
    int quantiser = 0;
};

// Of a group of blocks or a slice.
struct SegmentHeader {
    int macroblock = 0;  // its first one
    int quantiser = 0;
};

// All throw Damage where a header cannot be right.

// The picture layer behind its start code, up to the first macroblock. `before` is the format of the picture before
// (of no width: there is none). Throws UnsupportedStream for modes that the decoder does not have.
PictureHeader readPicture(BitReader& bits, const Format& before);

// Whether a start code begins here, behind less than a byte of zeros.
bool atStartCode(const BitReader& bits);

// The header of a segment of this picture, from a start code on.
SegmentHeader readSegment(BitReader& bits, const PictureHeader& picture);

StreamInfo describe(const Format& format);

}  // namespace codecs::h263

#endif
