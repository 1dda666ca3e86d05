// Codes pictures: finds their motion, decides how each macroblock is coded, writes and rebuilds it.
#ifndef QVOVC_EXAMPLES_MPEG2_PICTURE_CODER_H
#define QVOVC_EXAMPLES_MPEG2_PICTURE_CODER_H

#include <array>

#include "common/encoder.h"
#include "common/padded_picture.h"
#include "mpeg2/block_coder.h"
#include "mpeg2/macroblock_writer.h"
#include "mpeg2/motion_field.h"
#include "mpeg2/predict.h"

namespace codecs::mpeg2 {

class PictureCoder {
  public:
    PictureCoder(int macroblockWidth, int macroblockHeight, EncodeClock& clock);

    // Takes a picture to be coded with references as its type needs them (forward, backward), and finds its motion.
    // Sets the f_codes in the header. All of them must stay until the picture is coded.
    void start(const PaddedPicture& source, PictureHeader& header, const std::array<const View*, 2>& references,
               int quantiserCode);

    // Writes the picture's slices and rebuilds it in the target. May be called again with another quantiser, or with
    // more thrift: how much more than usual bits weigh against errors.
    void code(int quantiserCode, double thrift, WordWriter& out, const View& target);

  private:
    // A way to code the macroblock at hand.
    struct Trial {
        Macroblock macroblock;
        Cost cost = 0;
        Cost error = 0;  // of the prediction
    };

    void codeMacroblock(bool mayBeSkipped);
    void decidePredicted(bool mayBeSkipped);
    void decideBidirectional(bool mayBeSkipped);
    bool isInside(const MacroblockModes& modes) const;
    bool isIntraLikely() const;
    void tryIntra();
    void tryPrediction(const MacroblockModes& modes, bool mayBeSkipped);
    Cost costWithoutBlocks(const MacroblockModes& modes, Cost error, bool mayBeSkipped) const;
    void keepBetter();

    const Qvo8u* lumaBlock(int b) const;
    static int dcBits(std::size_t component, int difference);
    Cost formResidual(const MacroblockModes& modes);

    void rebuild();
    void rebuildIntra(int x, int y);
    Residual rebuildResidual();

    int width_;  // in macroblocks
    int height_;
    EncodeClock& clock_;
    std::array<MotionField, 3> motion_;  // forward of P pictures, forward and backward of B pictures
    BlockCoder blocks_;

    // The picture at hand.
    const PaddedPicture* source_ = nullptr;
    const PictureHeader* header_ = nullptr;
    std::array<const View*, 2> references_ = {};
    std::array<const MotionField*, 2> fields_ = {};
    const View* target_ = nullptr;
    MacroblockWriter* writer_ = nullptr;
    Cost lambda_ = 0;

    // The macroblock at hand.
    int column_ = 0;
    int row_ = 0;
    std::array<Trial, 2> trials_;
    Trial* best_ = &trials_[0];
    Trial* trial_ = &trials_[1];
    alignas(32) std::array<Block, 6> residual_ = {};
    std::array<Qvo32s, 6> energies_ = {};  // of the residual's blocks
    alignas(32) std::array<Qvo16s, 16 * 16> lumaResidual_ = {};
    alignas(32) std::array<Block, 2> chromaResidual_ = {};
};

}  // namespace codecs::mpeg2

#endif
