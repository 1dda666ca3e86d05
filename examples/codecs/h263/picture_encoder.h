// Encodes the macroblocks of a picture and reconstructs it as a decoder will.
#ifndef QVOVC_EXAMPLES_H263_PICTURE_ENCODER_H
#define QVOVC_EXAMPLES_H263_PICTURE_ENCODER_H

#include <array>
#include <cstdint>
#include <vector>

#include "common/bit_writer.h"
#include "common/encoder.h"
#include "common/padded_picture.h"
#include "mpeg4/block_coder.h"
#include "mpeg4/frame.h"
#include "mpeg4/macroblock_codes.h"
#include "mpeg4/motion_estimator.h"
#include "mpeg4/predict.h"

namespace codecs::h263 {

// What a picture's header says (5.1).
struct CodedHeader {
    int sourceFormat = 0;
    int temporalReference = 0;  // of which the header has 8 bits
    bool intra = false;
    int quantiser = 1;
    int groupFrameId = 0;  // GFID of its groups' headers
};

void writePictureHeader(BitWriter& bits, const CodedHeader& header);

class PictureEncoder {
  public:
    // groupBits: groups of blocks have a header when so many bits have been written since the last one; 0: none has.
    PictureEncoder(EncodeClock& clock, int width, int height, std::size_t groupBits);

    // Writes all behind the picture's header, in whole bytes. The reference is extended and counts in P pictures only.
    void encode(const CodedHeader& header, const PaddedPicture& source, const mpeg4::Frame& reference,
                mpeg4::Frame& target, BitWriter& bits);

    // Macroblocks of P pictures that were coded as intra because they were due.
    std::int64_t refreshed() const { return refreshed_; }

  private:
    void beginGroup();
    void encodeMacroblock();
    bool isBetterIntra(const mpeg4::MotionChoice& motion) const;
    void codeIntra();
    void codeInter(const mpeg4::MotionChoice& motion);
    int transformIntra();
    int transformResidual();
    void writeInter(const mpeg4::MotionChoice& motion, int pattern);
    void addResidual(Qvo8u* codes, Qvo32s offset, int pattern);

    void put(mpeg4::HeaderCode code) { bits_->put(code.value, code.length); }
    mpeg4::Levels& levels(int block) { return levels_[static_cast<std::size_t>(block)]; }
    mpeg4::Place here() const { return {target_, x_, y_}; }
    std::uint8_t& sinceIntra() { return sinceIntra_[target_->macroblockIndex(x_, y_)]; }
    const Qvo8u* sourceBlock(int block) const;
    Qvo32s sourceStep(int block) const;

    EncodeClock& clock_;
    int columns_;
    int rows_;
    int groupRows_;
    std::size_t groupBits_;
    mpeg4::BlockCoder blocks_;
    mpeg4::MotionEstimator estimator_;
    mpeg4::VectorField vectors_;
    mpeg4::VectorField vectorsBefore_;
    std::vector<std::uint8_t> sinceIntra_;  // how often each macroblock has had coefficients since it was intra
    std::int64_t refreshed_ = 0;

    // For the time of one picture.
    CodedHeader header_;
    const PaddedPicture* source_ = nullptr;
    const mpeg4::Frame* reference_ = nullptr;
    mpeg4::Frame* target_ = nullptr;
    BitWriter* bits_ = nullptr;
    std::size_t groupStart_ = 0;  // in bits
    int x_ = 0;
    int y_ = 0;
    std::array<mpeg4::Levels, 6> levels_;
};

}  // namespace codecs::h263

#endif
