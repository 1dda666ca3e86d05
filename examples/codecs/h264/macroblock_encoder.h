// Chooses how each macroblock of a slice is coded, writes it, and puts what a decoder makes of it into the picture.
#ifndef QVOVC_EXAMPLES_H264_MACROBLOCK_ENCODER_H
#define QVOVC_EXAMPLES_H264_MACROBLOCK_ENCODER_H

#include "common/bit_writer.h"
#include "common/encoder.h"
#include "common/padded_picture.h"
#include "h264/coded_macroblock.h"
#include "h264/motion.h"
#include "h264/motion_estimator.h"
#include "h264/residual_coder.h"

namespace codecs::h264 {

class MacroblockEncoder {
  public:
    MacroblockEncoder(EncodeClock& clock, int maxVectorY) : clock_(clock), estimator_(maxVectorY) {}

    // Encodes all macroblocks of the picture, as one slice, behind its header. `halves` are those of the reference, null
    // in an intra slice.
    void encode(PictureContext& context, const SliceContext& slice, const PaddedPicture& source,
                const HalfSamples* halves, BitWriter& bits);

  private:
    void enter(int address);
    void encodeMacroblock();
    void finish();

    void tryPcm();
    void tryIntra(int bestInter);
    int chooseIntra16x16();
    void chooseIntraChroma();
    void tryIntra16x16();
    void tryIntra4x4();
    void codeIntra4x4Block(int place);

    bool trySkip();
    void searchShapes();
    int searchShape(Shape shape, int limit);
    void tryShape(Shape shape);
    void predictShape(CodedMacroblock& macroblock);

    void take(int extraBits = 0);
    void judge(double cost);

    const Qvo8u* sourceAt(int x, int y) const {
        return source_.samples[0] + std::ptrdiff_t{y} * source_.steps[0] + x;
    }
    Qvo8u* frameAt(std::size_t plane, int x, int y) const {
        return planes_[plane] + std::ptrdiff_t{y} * steps_[plane] + x;
    }

    EncodeClock& clock_;
    PictureContext* context_ = nullptr;
    const SliceContext* slice_ = nullptr;
    const PaddedPicture* picture_ = nullptr;
    BitWriter* bits_ = nullptr;
    bool intraSlice_ = false;
    std::uint32_t skipRun_ = 0;
    double lambda_ = 0;      // worth of a bit in squared error
    double lambdaRoot_ = 0;  // and in absolute or transformed differences

    int x_ = 0;  // in macroblocks
    int y_ = 0;
    Macroblock* current_ = nullptr;
    Neighbours neighbours_;
    SourceMacroblock source_ = {};
    std::array<Qvo8u*, 3> planes_ = {};  // the macroblock's samples in the picture
    std::array<Qvo32s, 3> steps_ = {};

    MotionField motion_;
    MotionEstimator estimator_;
    ResidualCoder residual_;

    // What is being tried, and the best so far.
    std::array<CodedMacroblock, 2> candidates_ = {};
    CodedMacroblock* trial_ = &candidates_[0];
    CodedMacroblock* best_ = &candidates_[1];
    double bestCost_ = 0;
    bool refused_ = false;  // a trial had levels or a size that no macroblock may have

    // Found by the search: vectors and their predictions by shape, with their cost in transformed differences.
    struct ShapeMotion {
        std::array<Vector, 4> vectors = {};
        std::array<Vector, 4> predictions = {};
        int cost = 0;
    };
    std::array<ShapeMotion, 4> shapes_ = {};
    // Coded prediction of intra modes that the kinds share.
    int mode16x16_ = 0;
    CodedMacroblock chroma_ = {};
};

}  // namespace codecs::h264

#endif
