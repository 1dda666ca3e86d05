// The layers above the slice: what sequence, group and picture headers and their extensions say.
#ifndef QVOVC_EXAMPLES_MPEG2_HEADERS_H
#define QVOVC_EXAMPLES_MPEG2_HEADERS_H

#include <array>

#include "common/decoder.h"
#include "mpeg2/bits.h"
#include "mpeg2/tables.h"

namespace codecs::mpeg2 {

enum StartCode : int {
    codePicture = 0x00,
    codeFirstSlice = 0x01,
    codeLastSlice = 0xAF,
    codeSequence = 0xB3,
    codeExtension = 0xB5,
    codeSequenceEnd = 0xB7,
    codeGroup = 0xB8,
};

struct SequenceHeader {
    bool mpeg2 = false;  // a sequence extension followed
    int width = 0;
    int height = 0;
    int aspect = 0;     // aspect_ratio_information
    int frameRate = 0;  // frame_rate_code
    int frameRateExtensionN = 0;
    int frameRateExtensionD = 0;
    int displayWidth = 0;  // of the sequence display extension, 0 without one
    int displayHeight = 0;
    long bitRate = 0;    // in units of 400 bits per second
    int bufferSize = 0;  // vbv_buffer_size, in units of 16384 bits
    int profileAndLevel = 0;
    bool progressive = true;
    bool lowDelay = false;

    int macroblockWidth() const { return (width + 15) / 16; }
    // In frames that may hold fields each field has whole macroblock rows.
    int macroblockHeight() const { return progressive ? (height + 15) / 16 : (height + 31) / 32 * 2; }
};

// The quantiser matrices in force, laid out like the blocks: transposed.
struct Matrices {
    Matrix intra;
    Matrix nonIntra;

    Matrices();  // the defaults
};

enum class PictureType { intra = 1, predicted = 2, bidirectional = 3, dcOnly = 4 };
enum class PictureStructure { topField = 1, bottomField = 2, frame = 3 };

// A picture header with its coding extension. For MPEG-1, which has no such extension, the extension's fields keep
// the values that describe MPEG-1 pictures.
struct PictureHeader {
    PictureType type = PictureType::intra;
    bool hasCodingExtension = false;
    std::array<bool, 2> fullPel = {};              // forward, backward
    std::array<std::array<int, 2>, 2> fCode = {};  // [forward, backward][horizontal, vertical]
    int intraDcPrecision = 0;                      // bits beyond 8
    PictureStructure structure = PictureStructure::frame;
    bool topFieldFirst = true;
    bool framePredFrameDct = true;
    bool concealmentVectors = false;
    bool nonLinearScale = false;
    bool intraVlcFormat = false;
    bool alternateScan = false;
    bool progressiveFrame = true;

    bool isField() const { return structure != PictureStructure::frame; }
    // The field's number: 0 top, 1 bottom.
    int parity() const { return structure == PictureStructure::bottomField ? 1 : 0; }
};

struct GroupHeader {
    bool closed = false;
};

// All of them throw Damage where the bits cannot be such a header.
SequenceHeader readSequenceHeader(BitReader& bits, Matrices& matrices);
GroupHeader readGroupHeader(BitReader& bits);
PictureHeader readPictureHeader(BitReader& bits);

// Extensions, from behind extension_start_code_identifier.
enum class ExtensionId {
    sequence = 1,
    sequenceDisplay = 2,
    quantMatrix = 3,
    sequenceScalable = 5,
    pictureCoding = 8,
};

// Throws UnsupportedStream for chroma formats other than 4:2:0.
void readSequenceExtension(BitReader& bits, SequenceHeader& sequence);
void readSequenceDisplayExtension(BitReader& bits, SequenceHeader& sequence);
void readQuantMatrixExtension(BitReader& bits, Matrices& matrices);
void readPictureCodingExtension(BitReader& bits, PictureHeader& picture);

// Throws UnsupportedStream with a scalability tool's name.
[[noreturn]] void refuseScalability(BitReader& bits);

// The header's codes for a picture rate and for the aspect of one sample (0:0 where unknown), of which the nearest that
// MPEG-2 has is taken. False where there is no such picture rate.
bool setFrameRate(SequenceHeader& sequence, int numerator, int denominator);
void setSampleAspect(SequenceHeader& sequence, int numerator, int denominator);

// What the sequence says of itself, in general terms.
StreamInfo describe(const SequenceHeader& sequence);

}  // namespace codecs::mpeg2

#endif
