// Blocks of the encoder: transform and quantisation, and the way back that a decoder takes.
#ifndef QVOVC_EXAMPLES_MPEG2_BLOCK_CODER_H
#define QVOVC_EXAMPLES_MPEG2_BLOCK_CODER_H

#include <array>
#include <span>

#include "mpeg2/headers.h"

namespace codecs::mpeg2 {

using Block = std::array<Qvo16s, 64>;

// What a block costs: squared error plus lambda times bits.
using Cost = float;

class BlockCoder {
  public:
    // scale: quantiser_scale; lambda: squared error that one bit is worth.
    void startPicture(const PictureHeader& header, Qvo32s scale, Cost lambda);

    // Transforms and quantises the samples of an intra block into levels in raster order, the DC included, and counts
    // the non-zero ones but for the DC. The cost leaves out the DC.
    Cost codeIntra(const Qvo8u* source, Qvo32s step, Block& levels, Qvo32u& count) const;

    // The same for a residual, of which the sum of squares is known. A block is best left out where the count is 0; its
    // cost is then that of leaving it out.
    Cost codeNonIntra(const Block& residual, Qvo32s energy, Block& levels, Qvo32u& count) const;

    // What a decoder makes of the levels.
    void reconstructIntra(const Block& levels, Qvo8u* out, Qvo32s step) const;
    void reconstructNonIntra(const Block& levels, Qvo16s* out, Qvo32s step) const;

  private:
    // A coefficient in a chain of those that are coded.
    struct Link {
        int index = 0;  // in the scan
        Cost cost = 0;  // of the chain up to here, against dropping everything
        int level = 0;
        std::size_t previous = 0;
    };

    Link cheapestLink(std::span<const Link> before, int i, int magnitude, int level, bool intra,
                      const CoefficientLengths& lengths) const;
    Cost chooseLevels(const Block& coefficients, Block& levels, Qvo32u& count, bool intra) const;
    int transposeLevels(const Block& levels, Block& block) const;

    const Matrices matrices_;
    const PictureHeader* header_ = nullptr;
    const Qvo32s* scan_ = nullptr;
    Qvo32s scale_ = 0;
    Cost lambda_ = 0;
    Block intraRounding_ = {};  // added to magnitudes before quantisation
};

}  // namespace codecs::mpeg2

#endif
