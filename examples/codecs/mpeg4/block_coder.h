// From samples to quantised levels.
#ifndef QVOVC_EXAMPLES_MPEG4_BLOCK_CODER_H
#define QVOVC_EXAMPLES_MPEG4_BLOCK_CODER_H

#include <qvovc.h>

#include <array>

#include "mpeg4/headers.h"

namespace codecs::mpeg4 {

struct alignas(32) Levels {
    std::array<Qvo16s, 64> at = {};

    Qvo16s* data() { return at.data(); }
    const Qvo16s* data() const { return at.data(); }
};

// Lengths of the codes of inter events by last, run and level; levels beyond have the longest escape.
using EventBits = std::array<std::array<std::array<Qvo8u, 32>, 64>, 2>;

class BlockCoder {
  public:
    explicit BlockCoder(const Layer& layer);

    // For the blocks to come.
    void setQuantiser(int quantiser);
    int quantiser() const { return quantiser_; }

    // Levels of an intra block, the DC coefficient included.
    void codeIntra(const Qvo8u* source, Qvo32s step, int block, Levels& levels) const;

    // Levels of a residual; false if none is worth its bits.
    bool codeInter(const Levels& residual, Levels& levels) const;

    // A residual whose magnitudes add up to less than this has no levels that are worth their bits.
    int smallestSum() const { return 20 * quantiser_; }

    int dcScaler(int block) const;

  private:
    void quantiseInter(Levels& levels) const;
    int reconstructed(int level, std::size_t index) const;
    bool choose(const Levels& coefficients, Levels& levels) const;

    // The integer quantisers take weights and 2^21 / weight, the others 1 / weight.
    using Record = std::array<Qvo32s, 128>;
    using Factors = std::array<float, 64>;
    struct Method {
        Record record = {};
        Factors factors = {};
        const Qvo8u* matrix = nullptr;  // null: the method of H.263

        explicit Method(const Qvo8u* weights);
        const Qvo32s* recordOrNull() const { return matrix != nullptr ? record.data() : nullptr; }
    };

    int quantiser_ = 1;
    Method intra_;
    Method inter_;
    EventBits eventBits_;
};

}  // namespace codecs::mpeg4

#endif
