#include "mpeg2/header_writer.h"

namespace codecs::mpeg2 {

namespace {

constexpr int unusedFCode = 15;

void startExtension(WordWriter& out, ExtensionId id) {
    out.startCode(codeExtension);
    out.put(static_cast<Qvo32s>(id), 4);
}

}  // namespace

void writeSequenceHeader(WordWriter& out, const SequenceHeader& sequence) {
    out.startCode(codeSequence);
    out.put(sequence.width, 12);
    out.put(sequence.height, 12);
    out.put(sequence.aspect, 4);
    out.put(sequence.frameRate, 4);
    out.put(static_cast<Qvo32s>(sequence.bitRate), 18);
    out.flag(true);
    out.put(sequence.bufferSize, 10);
    out.flag(false);  // constrained_parameters_flag
    out.flag(false);  // load_intra_quantiser_matrix
    out.flag(false);  // load_non_intra_quantiser_matrix

    startExtension(out, ExtensionId::sequence);
    out.put(sequence.profileAndLevel, 8);
    out.flag(sequence.progressive);
    out.put(1, 2);  // chroma_format 4:2:0
    out.put(sequence.width >> 12, 2);
    out.put(sequence.height >> 12, 2);
    out.put(static_cast<Qvo32s>(sequence.bitRate >> 18), 12);
    out.flag(true);
    out.put(sequence.bufferSize >> 10, 8);
    out.flag(sequence.lowDelay);
    out.put(sequence.frameRateExtensionN, 2);
    out.put(sequence.frameRateExtensionD, 5);
}

void writeGroupHeader(WordWriter& out, const GroupHeader& group, long picture, int rate) {
    const long seconds = picture / rate;
    out.startCode(codeGroup);
    out.flag(false);  // drop_frame_flag
    out.put(static_cast<Qvo32s>(seconds / 3600 % 24), 5);
    out.put(static_cast<Qvo32s>(seconds / 60 % 60), 6);
    out.flag(true);
    out.put(static_cast<Qvo32s>(seconds % 60), 6);
    out.put(static_cast<Qvo32s>(picture % rate), 6);
    out.flag(group.closed);
    out.flag(false);  // broken_link
}

void writePictureHeader(WordWriter& out, const PictureHeader& picture, long temporalReference) {
    const auto type = static_cast<int>(picture.type);
    out.startCode(codePicture);
    out.put(static_cast<Qvo32s>(temporalReference), 10);
    out.put(type, 3);
    out.put(0xFFFF, 16);  // vbv_delay: the buffer fills at the sequence's rate until it is full
    for (int direction = 1; direction < type; ++direction)
        out.put(7, 4);  // the codes of MPEG-1, which MPEG-2 does not use
    out.flag(false);    // extra_bit_picture

    startExtension(out, ExtensionId::pictureCoding);
    for (std::size_t direction = 0; direction < 2; ++direction) {
        const bool used = static_cast<int>(direction) < type - 1;
        for (const int fCode : picture.fCode[direction])
            out.put(used ? fCode : unusedFCode, 4);
    }
    out.put(picture.intraDcPrecision, 2);
    out.put(static_cast<Qvo32s>(picture.structure), 2);
    out.flag(picture.topFieldFirst);
    out.flag(picture.framePredFrameDct);
    out.flag(picture.concealmentVectors);
    out.flag(picture.nonLinearScale);
    out.flag(picture.intraVlcFormat);
    out.flag(picture.alternateScan);
    out.flag(false);                     // repeat_first_field
    out.flag(picture.progressiveFrame);  // chroma_420_type
    out.flag(picture.progressiveFrame);
    out.flag(false);  // composite_display_flag
}

}  // namespace codecs::mpeg2
