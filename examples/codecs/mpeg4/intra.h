// Intra macroblocks: the buffers that their DC and AC prediction lives on, and their decoding.
#ifndef QVOVC_EXAMPLES_MPEG4_INTRA_H
#define QVOVC_EXAMPLES_MPEG4_INTRA_H

#include <qvovc.h>

#include <array>
#include <vector>

#include "common/byte_bits.h"
#include "mpeg4/predict.h"

namespace codecs::mpeg4 {

// What the header of an intra macroblock says.
struct IntraHeader {
    int quantiser;
    int pattern;        // coded blocks; bit 5 is block 0, bit 0 block 5
    bool acPrediction;  // ac_pred_flag
    bool dcVlc;         // DC differences have codes of their own
};

// Decodes macroblocks in raster order. Buffers as the library's intra block decoders read and write them:
//
//   row buffers     8 entries per column of blocks and, before the first, a slot of what is left of the picture. Where
//                   a block was last decoded, entry 0 is its DC coefficient and 1..7 are its first-row levels.
//   column buffers  8 entries per row of blocks within a macroblock (two for luminance): entry 0 is the DC coefficient
//                   above and to the left of the next block, 1..7 are the first-column levels of the block before it.
//
// A negative DC coefficient stands for a block that is not there, is not intra or lies in another video packet; its
// levels are then not looked at. The block decoders move the DC coefficients along themselves, in a way that leaves a
// row buffer's last luminance slot one macroblock behind: it holds the DC coefficient of block 1, for the macroblock to
// the right, until that macroblock's block 1 exchanges it for the one of block 3, for the macroblock below. At the end
// of a row, and for a macroblock that is not intra, the exchange happens here.
class IntraDecoder {
  public:
    // Starts a VOP. The matrix may be null: the method of H.263.
    void begin(int macroblockWidth, const Qvo8u* matrix);

    // Nothing that was decoded before may be predicted from.
    void beginPacket();
    void beginRow();
    void endRow();

    // The next macroblock is not intra.
    void pass(int mbX);

    // Decodes the blocks of an intra macroblock. Throws Damage.
    void decode(BitReader& bits, const IntraHeader& header, const Place& place);

    // The same where the DC differences came before, with the header.
    void decode(BitReader& bits, const IntraHeader& header, const Place& place,
                const std::array<Qvo16s, 6>& differences);

  private:
    // The buffers at a block's place.
    struct Buffers {
        Qvo16s* row;
        Qvo16s* column;
    };
    Buffers buffers(int block, int mbX);
    void decodeApart(BitReader& bits, const IntraHeader& header, const Place& place, int block, Qvo16s difference);

    int macroblockWidth_ = 0;
    const Qvo8u* matrix_ = nullptr;
    std::array<std::vector<Qvo16s>, 3> rows_;  // one per plane
    std::array<Qvo16s, 4 * 8> columns_ = {};   // of blocks 0 and 1, of blocks 2 and 3, of block 4, of block 5
    std::vector<Qvo8u> quantisers_;            // of the last intra macroblock decoded in each column
};

}  // namespace codecs::mpeg4

#endif
