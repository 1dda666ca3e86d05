// Codes intra macroblocks: predicts DC and AC coefficients from the blocks around.
#ifndef QVOVC_EXAMPLES_MPEG4_INTRA_CODER_H
#define QVOVC_EXAMPLES_MPEG4_INTRA_CODER_H

#include <array>
#include <vector>

#include "common/bit_writer.h"
#include "common/padded_picture.h"
#include "mpeg4/block_coder.h"

namespace codecs::mpeg4 {

// What is written of an intra macroblock.
struct IntraMacroblock {
    std::array<Levels, 6> levels;  // DC and, perhaps, AC differences
    std::array<Qvo8u, 6> scans;
    int pattern = 0;  // coded blocks; bit 5 is block 0
    bool acPrediction = false;

    void write(BitWriter& bits) const;
};

// Keeps what later blocks are predicted from. All blocks of a VOP have the same quantiser.
class IntraCoder {
  public:
    IntraCoder(int macroblockWidth, int macroblockHeight);

    // Nothing coded so far may be predicted from: a VOP or a packet begins.
    void beginPacket();

    // Quantises and predicts a macroblock, with AC prediction if that takes fewer bits.
    const IntraMacroblock& code(const BlockCoder& blocks, const PaddedPicture& source, int mbX, int mbY);

    // The macroblock is not intra.
    void pass(int mbX, int mbY);

  private:
    static constexpr Qvo16s missing = -1;

    // A block's DC coefficient as reconstructed and its first row and column of levels.
    struct Edges {
        Qvo16s dc = missing;
        std::array<Qvo16s, 8> row = {};
        std::array<Qvo16s, 8> column = {};
    };
    // A row of blocks on top and a column on the left are always missing.
    struct Plane {
        std::size_t stride;
        std::vector<Edges> blocks;

        Edges* at(int x, int y) {
            return blocks.data() + static_cast<std::size_t>(y + 1) * stride + static_cast<std::size_t>(x + 1);
        }
    };
    struct Place {
        Edges* block;
        std::size_t stride;
    };
    Place place(int block, int mbX, int mbY);
    void codeBlock(const BlockCoder& blocks, int block, Place at, const Levels& levels);

    std::array<Plane, 3> planes_;
    std::array<IntraMacroblock, 2> candidates_;  // without and with AC prediction
    BitWriter scratch_;
};

}  // namespace codecs::mpeg4

#endif
