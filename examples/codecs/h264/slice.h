// The data of one slice: macroblocks are parsed, predicted and reconstructed one after the other (ITU-T H.264, 7.3.4,
// 7.3.5 and 8.3 to 8.5).
#ifndef QVOVC_EXAMPLES_H264_SLICE_H
#define QVOVC_EXAMPLES_H264_SLICE_H

#include "common/decoder.h"
#include "h264/bits.h"
#include "h264/inter.h"
#include "h264/macroblock.h"
#include "h264/motion.h"

namespace codecs::h264 {

class SliceDecoder {
  public:
    explicit SliceDecoder(DecodeClock& clock) : clock_(clock) {}

    // Decodes a slice into the context's picture up to its end or to damage; number is the slice's within the picture.
    void decode(PictureContext& context, const SliceContext& slice, int number, BitReader bits);

  private:
    void decodeMacroblocks();
    void enterMacroblock();
    void leaveMacroblock();
    void skipMacroblock();
    void decodeMacroblock();

    void decodePcm();
    void decodeIntra4x4();
    void decodeIntra16x16(int type);
    void decodeInter(int type);
    void readIntraModes();
    void predictIntraChroma(int mode);

    void readHalves(int type);
    void readQuarters(bool allReferencesZero);
    void readReferences(std::size_t list, const Partition* partitions, const int* uses, std::size_t count);
    void readVector(std::size_t list, const Partition& partition);
    void predictPartition(const Partition& partition);
    void predictDirect(int blocks, bool uniform);

    int readCodedBlockPattern(bool intra);
    void readQpDelta();
    void readLumaBlocks(int pattern, int first);
    void readChroma(int pattern);
    void addLuma(int x, int y, const Qvo16s* dc);
    void addChroma();

    Qvo8u* luma(int x, int y) const { return planes_[0] + std::ptrdiff_t{4 * y} * steps_[0] + 4 * x; }

    DecodeClock& clock_;
    PictureContext* context_ = nullptr;
    const SliceContext* slice_ = nullptr;
    int number_ = 0;
    BitReader bits_;
    bool isB_ = false;
    bool constrainedIntra_ = false;

    int address_ = 0;
    int x_ = 0;  // in macroblocks
    int y_ = 0;
    int qp_ = 0;
    Macroblock* current_ = nullptr;
    Neighbours neighbours_;
    std::array<Qvo8u*, 3> planes_ = {};  // the macroblock's samples
    std::array<Qvo32s, 3> steps_ = {};

    MotionField motion_;
    InterPredictor predictor_;

    LevelCounts counts_;

    // Levels of the blocks in raster order: 16 of luma, 4 of each chroma plane. All zero between macroblocks.
    alignas(16) std::array<std::array<Qvo16s, 16>, 24> blocks_ = {};
    std::array<bool, 24> hasAc_ = {};
    std::array<std::array<Qvo16s, 4>, 2> chromaDc_ = {};
};

}  // namespace codecs::h264

#endif
