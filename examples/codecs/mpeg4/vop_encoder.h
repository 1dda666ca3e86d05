// Encodes the macroblocks of a VOP and reconstructs it as a decoder will.
#ifndef QVOVC_EXAMPLES_MPEG4_VOP_ENCODER_H
#define QVOVC_EXAMPLES_MPEG4_VOP_ENCODER_H

#include <array>
#include <span>

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

// The pictures of a VOP; the references are extended.
struct VopPictures {
    const PaddedPicture* source = nullptr;
    Frame* target = nullptr;
    const Frame* forward = nullptr;                 // of P- and B-VOPs
    const Frame* backward = nullptr;                // of B-VOPs
    std::span<const PaddedPicture* const> between;  // of a P-VOP: the sources of the B-VOPs before it
    // Ticks from the forward reference to this VOP and to the backward one (B-VOPs).
    int timeToVop = 0;
    int timeToBackward = 0;
};

class VopEncoder {
  public:
    VopEncoder(EncodeClock& clock, const Layer& layer, const EncoderSettings& settings);

    // Writes all behind the VOP's header.
    void encode(const VopHeader& vop, const VopPictures& pictures, BitWriter& bits);

    // The vectors of the last P-VOP reached so far, in half samples.
    int longestVector() const { return longestVector_; }

  private:
    struct InterMacroblock {
        std::array<Levels, 6> levels;
        int pattern = 0;  // coded blocks; bit 5 is block 0
        bool skipped = false;
    };

    // Modes of B-VOPs by the zeros of mb_type (table B-3), and the vectors of all.
    enum Mode { modeDirect, modeInterpolated, modeBackward, modeForward };
    struct Bidirectional {
        Mode mode = modeDirect;
        Vectors forward = {};
        Vectors backward = {};
        int cost = 0;
    };

    void beginPacket();
    void nextPacketIfDue();
    bool isSkippedUnsaid() const;
    void encodeMacroblock();
    bool isBetterIntra(const MotionChoice& motion);
    void codeIntra();
    void codeInter(const MotionChoice& motion);
    void codeResidual();
    bool maySkip(const Vectors& vectors) const;
    void writeInter(const MotionChoice& motion);
    void addResidual(const Qvo8u* codes, Qvo32s offset);
    void codeBidirectional();
    Bidirectional chooseBidirectional();
    int predictionCost(const Bidirectional& choice, int bits);
    void predictBidirectional(const Bidirectional& choice);
    void writeBidirectional(const Bidirectional& choice);
    void writeLevels();
    void writeDifference(QvoMotionVector vector, QvoMotionVector& predictor);
    void put(HeaderCode code) { bits_->put(code.value, code.length); }
    Place here() const { return {pictures_.target, x_, y_}; }
    std::size_t address() const { return pictures_.target->macroblockIndex(x_, y_); }
    const Qvo8u* sourceBlock(int block) const;
    Qvo32s sourceStep(int block) const;

    EncodeClock& clock_;
    const Layer& layer_;
    std::size_t packetBits_;
    int firstPacket_;
    BlockCoder blocks_;
    IntraCoder intra_;
    IntraDecoder intraDecoder_;
    MotionEstimator forwardEstimator_;
    MotionEstimator backwardEstimator_;
    VectorField vectors_;
    VectorField vectorsBefore_;
    int longestVector_ = 0;

    // For the time of one VOP.
    VopHeader vop_;
    VopPictures pictures_;
    BitWriter* bits_ = nullptr;
    std::size_t packetStart_ = 0;  // in bits
    bool packetBegins_ = false;    // with the macroblock at hand
    int x_ = 0;
    int y_ = 0;
    InterMacroblock inter_;
    QvoMotionVector forwardVector_ = {};  // the last ones in the row of a B-VOP
    QvoMotionVector backwardVector_ = {};
};

}  // namespace codecs::mpeg4

#endif
