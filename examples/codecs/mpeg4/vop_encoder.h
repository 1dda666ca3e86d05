// Encodes the macroblocks of a VOP and reconstructs it as a decoder will.
#ifndef QVOVC_EXAMPLES_MPEG4_VOP_ENCODER_H
#define QVOVC_EXAMPLES_MPEG4_VOP_ENCODER_H

#include <array>

#include "common/bit_writer.h"
#include "common/encoder.h"
#include "common/padded_picture.h"
#include "mpeg4/block_coder.h"
#include "mpeg4/frame.h"
#include "mpeg4/headers.h"
#include "mpeg4/intra.h"
#include "mpeg4/intra_coder.h"
#include "mpeg4/macroblock_codes.h"
#include "mpeg4/motion_estimator.h"
#include "mpeg4/predict.h"

namespace codecs::mpeg4 {

class VopEncoder {
  public:
    VopEncoder(EncodeClock& clock, const Layer& layer, const EncoderSettings& settings);

    // Writes all behind the VOP's header. The reference is extended and counts in P-VOPs only.
    void encode(const VopHeader& vop, const PaddedPicture& source, const Frame& reference, Frame& target,
                BitWriter& bits);

    // The vectors of the last P-VOP reached so far, in half samples.
    int longestVector() const { return longestVector_; }

  private:
    struct InterMacroblock {
        std::array<Levels, 6> levels;
        int pattern = 0;  // coded blocks; bit 5 is block 0
    };

    void beginPacket();
    void nextPacketIfDue();
    void encodeMacroblock();
    bool isBetterIntra(const MotionChoice& motion);
    void codeIntra();
    void codeInter(const MotionChoice& motion);
    void codeResidual();
    void writeInter(const MotionChoice& motion);
    void addResidual(const Qvo8u* codes, Qvo32s offset);
    void put(HeaderCode code) { bits_->put(code.value, code.length); }
    Place here() const { return {target_, x_, y_}; }
    const Qvo8u* sourceBlock(int block) const;
    Qvo32s sourceStep(int block) const;

    EncodeClock& clock_;
    const Layer& layer_;
    std::size_t packetBits_;
    BlockCoder blocks_;
    IntraCoder intra_;
    IntraDecoder intraDecoder_;
    MotionEstimator estimator_;
    VectorField vectors_;
    VectorField vectorsBefore_;
    int longestVector_ = 0;

    // For the time of one VOP.
    VopHeader vop_;
    const PaddedPicture* source_ = nullptr;
    const Frame* reference_ = nullptr;
    Frame* target_ = nullptr;
    BitWriter* bits_ = nullptr;
    std::size_t packetStart_ = 0;  // in bits
    int x_ = 0;
    int y_ = 0;
    InterMacroblock inter_;
};

}  // namespace codecs::mpeg4

#endif
