// The residual of one macroblock: transformed, quantised, thinned out where a level costs more bits than it is worth, and
// added back to the prediction as a decoder does.
#ifndef QVOVC_EXAMPLES_H264_RESIDUAL_CODER_H
#define QVOVC_EXAMPLES_H264_RESIDUAL_CODER_H

#include <array>

#include "h264/coded_macroblock.h"

namespace codecs::h264 {

// The macroblock to be coded.
struct SourceMacroblock {
    std::array<const Qvo8u*, 3> samples;
    std::array<Qvo32s, 3> steps;
};

class ResidualCoder {
  public:
    // lambda: what a bit is worth, in squared error.
    void setQuantiser(int qp, double lambda);
    // Takes up a macroblock.
    void enter(const SourceMacroblock& source, const Neighbours& neighbours) {
        source_ = source;
        counts_.load(neighbours);
    }

    // Both take the prediction in the macroblock's samples, which the residual is added to, and set levels, counts and their
    // part of the pattern; luma by the macroblock's kind, inter or Intra 16x16. False where a level is too large to be
    // coded.
    bool codeLuma(CodedMacroblock& macroblock);
    bool codeChroma(CodedMacroblock& macroblock);

    // One 4x4 block of Intra 4x4, in the order of coding; `samples` hold its prediction. Price: squared error and lambda
    // times the bits of the levels.
    struct Block {
        int count = 0;
        double price = 0;
        alignas(16) std::array<Qvo16s, 16> levels;
        alignas(16) std::array<Qvo8u, 16> samples;
    };
    void codeBlock(int x, int y, Block& block) const;
    // Settles how many levels the block has.
    void setCount(int x, int y, int count) { counts_.setLuma(x, y, count); }

  private:
    // What is left of a block: the number of its levels, and what they save, in units of a step's squared error.
    struct Choice {
        int count = 0;
        float benefit = 0;
    };
    // Everything that follows from a quantiser.
    struct Scale {
        int qp = 0;
        std::array<float, 16> perStep = {};    // levels per unit of a coefficient, by raster place
        std::array<float, 16> perStepDc = {};  // of DC values that were transformed again
        float bitPrice = 0;                    // of a bit, in squared steps
    };
    static Scale scaleFor(int qp, double lambda);

    template <class CountBits>
    static Choice thin(const Scale& scale, const std::array<float, 16>& perStep, Qvo16s* levels,
                       const Qvo16s* coefficients, int first, int last, const std::uint8_t* order, int emptyBits,
                       CountBits countBits);
    static bool quantise(const Scale& scale, const Qvo8u* source, Qvo32s sourceStep, const Qvo8u* prediction,
                         Qvo32s predictionStep, int nC, int first, Qvo16s* levels, Choice& choice);
    bool codeLumaDc(CodedMacroblock& macroblock) const;
    void addLuma(CodedMacroblock& macroblock) const;
    bool codeChromaDc(CodedMacroblock& macroblock, std::size_t plane) const;
    void addChroma(CodedMacroblock& macroblock) const;

    double lambda_ = 0;
    Scale luma_;
    Scale chroma_;
    SourceMacroblock source_ = {};
    LevelCounts counts_;
};

}  // namespace codecs::h264

#endif
