// The layers of a picture below its header: groups of blocks or slices, macroblocks, blocks.
#ifndef QVOVC_EXAMPLES_H263_PICTURE_H
#define QVOVC_EXAMPLES_H263_PICTURE_H

#include <array>
#include <cstdint>
#include <vector>

#include "common/byte_bits.h"
#include "common/decoder.h"
#include "h263/headers.h"
#include "h263/predict.h"

namespace codecs::h263 {

struct PictureContext {
    PictureHeader header;
    Frame* target = nullptr;
    const Frame* reference = nullptr;  // extended; null for intra pictures
};

// What became of a macroblock. Skipped: not coded.
enum class MacroblockState : std::uint8_t { missing, skipped, inter, intra };

class PictureDecoder {
  public:
    explicit PictureDecoder(DecodeClock& clock) : clock_(clock) {}

    // Decodes a picture from behind its header. Damage ends a segment before the macroblock in which it shows.
    void decode(const PictureContext& picture, BitReader bits);

    // The deblocking filter, where the picture has it: once what is missing has been concealed.
    void filter() const;

    // Of the macroblocks of the last picture.
    const std::vector<MacroblockState>& states() const { return states_; }

  private:
    // An inter macroblock until it is predicted.
    struct Residual {
        int pattern = 0;  // coded blocks; bit 5 is block 0, bit 0 block 5
        alignas(32) std::array<Qvo16s, 6 * 64> samples;
    };

    // Of Annex I, see qvoiDecodeBlockCoef_IntraAIC_H263_1u8u.
    using CoefBuffer = std::array<Qvo16s, 8>;

    bool nextSegment(bool damaged);
    void beginSegment(const SegmentHeader& segment);
    void decodeSegment();
    bool atSegmentEnd() const;

    bool readType(int& type, int& pattern);
    void readQuantiserChange();
    void decodeMacroblock();
    void decodeIntra(int pattern, int direction);
    void decodeInter(int type, int pattern);

    void finishMacroblock();
    void reconstructWaiting();
    void reconstruct(int address);
    const Vectors* overlapping(int address, int other) const;

    void forgetCoefs(std::size_t from, std::size_t to);
    void forgetLeftCoefs();
    std::size_t coefColumn(int block) const;

    // The vectors of a macroblock of this segment, null where it has none there.
    const QvoMotionVector* neighbour(int address) const;

    std::size_t here() const { return static_cast<std::size_t>(address_); }
    Place place(int address) const { return {picture_.target, address % width_, address / width_}; }
    Residual& residual(int address) { return residuals_[static_cast<std::size_t>(address & 1)]; }
    int chromaQuantiser() const;

    DecodeClock& clock_;

    // For the time of one picture.
    PictureContext picture_;
    BitReader bits_;
    int width_ = 0;  // macroblocks per row
    int count_ = 0;  // macroblocks
    std::vector<MacroblockState> states_;
    std::vector<int> segments_;        // the first macroblocks of their segments
    std::vector<Vectors> vectors_;     // zero for all but inter macroblocks
    std::vector<CoefBuffer> coefRow_;  // of each column of blocks: luminance, Cb, Cr
    std::array<CoefBuffer, 4> coefColumns_ = {};

    int segment_ = 0;                // the first macroblock of the last segment with a header
    Qvo8u* segmentStart_ = nullptr;  // its bytes behind the header

    // The macroblock at hand, and the one before, which with overlap waits for its vectors.
    int address_ = 0;
    int x_ = 0;
    int quantiser_ = 0;
    int waiting_ = -1;                        // -1: none
    std::array<Residual, 2> residuals_ = {};  // of the two
};

}  // namespace codecs::h263

#endif
