// The slice and macroblock layers.
#ifndef QVOVC_EXAMPLES_MPEG2_SLICE_H
#define QVOVC_EXAMPLES_MPEG2_SLICE_H

#include <array>
#include <cstdint>
#include <vector>

#include "mpeg2/bits.h"
#include "mpeg2/frame.h"
#include "mpeg2/headers.h"
#include "mpeg2/predict.h"
#include "mpeg2/tables.h"

namespace codecs::mpeg2 {

// What a picture predicts from in one direction.
struct ReferenceViews {
    View frame;
    std::array<View, 2> fields;
};

// What all slices of a picture (a frame or one field) share.
struct PictureContext {
    bool mpeg2 = false;
    PictureHeader header;
    Matrices matrices;
    bool tall = false;  // slices carry more bits of their row
    int macroblockWidth = 0;
    int macroblockHeight = 0;                  // of this picture
    View target;                               // this picture
    std::array<View, 2> targetFields;          // of a frame picture
    std::array<ReferenceViews, 2> references;  // forward, backward
    std::vector<std::uint8_t> decoded;         // one flag per macroblock
};

class SliceDecoder {
  public:
    explicit SliceDecoder(DecodeClock& clock) : clock_(clock) {}

    // Decodes a slice from behind its start code and marks the macroblocks that it decoded in the picture. Damage ends
    // the slice before the macroblock in which it shows.
    void decode(PictureContext& picture, int firstRow, BitReader bits);

  private:
    enum Direction : std::size_t { forward = 0, backward = 1 };
    // motion_type where it is field_motion_type or frame_motion_type (13818-2 tables 6-17 and 6-18).
    enum MotionType { motionField = 1, motionFrame = 2, motion16x8 = 2, motionDualPrime = 3 };

    void decodeMacroblocks(int address);
    int addressIncrement();
    void decodeMacroblock(int address);
    void skipMacroblock(int address);
    void place(int address);

    void readQuantiserScale();
    void readModes();
    void readVectors(Direction s);
    void readVector(std::size_t r, Direction s, bool fieldInFrame);
    int readVectorComponent(int prediction, int fCode);
    void readDualPrimeVectors(bool fieldInFrame);
    void resetPredictors();
    void resetDc();

    void decodeIntraBlocks();
    Residual decodeResidual(int pattern);
    int intraBlock(std::size_t component);
    int nonIntraBlock();
    int intraBlockMpeg1(std::size_t component);
    int nonIntraBlockMpeg1();

    void predictMacroblock(const Residual& residual);
    void predictPart(const View& target, int y, int height, std::size_t r, const Residual& residual);
    const View& referenceView(std::size_t r, Direction s) const;

    DecodeClock& clock_;
    const CodeTables& tables_ = codeTables();

    // For the time of one slice.
    PictureContext* picture_ = nullptr;
    BitReader bits_{nullptr, 0};
    const Qvo32s* scan_ = nullptr;
    Qvo16s quantiserScale_ = 0;
    std::array<Qvo16s, 3> dcPredictors_ = {};
    std::array<std::array<Vector, 2>, 2> predictors_ = {};  // PMV[r][s]

    // The macroblock at hand.
    int x_ = 0;  // of its first luminance sample
    int y_ = 0;
    int flags_ = 0;
    int motionType_ = motionFrame;
    bool fieldDct_ = false;
    std::array<std::array<Vector, 2>, 2> vectors_ = {};           // [r][s]
    std::array<std::array<std::size_t, 2>, 2> fieldSelect_ = {};  // [r][s]
    std::array<int, 2> dmvector_ = {};
    std::array<Vector, 2> oppositeVectors_ = {};  // dual prime: to the field of opposite parity, by predicted field

    alignas(32) std::array<Qvo16s, 64> block_ = {};
    alignas(32) std::array<Qvo16s, 16 * 16> lumaResidual_ = {};
    alignas(32) std::array<std::array<Qvo16s, 64>, 2> chromaResidual_ = {};
};

}  // namespace codecs::mpeg2

#endif
