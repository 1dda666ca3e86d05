// Writes the slice and macroblock layers of frame pictures without fields.
#ifndef QVOVC_EXAMPLES_MPEG2_MACROBLOCK_WRITER_H
#define QVOVC_EXAMPLES_MPEG2_MACROBLOCK_WRITER_H

#include <array>

#include "mpeg2/headers.h"
#include "mpeg2/predict.h"
#include "mpeg2/word_writer.h"

namespace codecs::mpeg2 {

// How a macroblock is coded.
struct MacroblockModes {
    int flags = 0;                       // mbIntra, or what it is predicted from: mbForward, mbBackward or both
    std::array<Vector, 2> vectors = {};  // forward, backward; of those that the flags name
    int pattern = 0;                     // coded_block_pattern, 0 for intra macroblocks
};

// A macroblock as it is written.
struct Macroblock : MacroblockModes {
    std::array<Qvo32u, 6> counts = {};  // non-zero levels of each block, without an intra DC
    alignas(32) std::array<std::array<Qvo16s, 64>, 6> levels;
};

// The bits that a vector component takes.
int vectorBits(int value, int prediction, int fCode);

// The smallest f_code whose range holds values from -range to range.
int fCodeFor(int range);

// Macroblocks of a picture in their order; what they predict from each other is kept here.
class MacroblockWriter {
  public:
    explicit MacroblockWriter(WordWriter& out) : out_(out) {}

    void startPicture(const PictureHeader& header) { header_ = &header; }
    void startSlice(int row, int quantiserCode);

    // Writes a macroblock, or leaves it out where it may be skipped. Its slice must have room for longestMacroblock
    // bytes each.
    void write(const Macroblock& macroblock, bool mayBeSkipped);

    // The bits that write() would take for the macroblock's type, vectors and pattern, without its address.
    int headerBits(const MacroblockModes& modes) const;

    // Whether a macroblock of these modes may be left out, unless it is the first or the last of its slice.
    bool isSkippable(const MacroblockModes& modes) const;

    const std::array<Vector, 2>& vectorPredictors() const { return predictors_; }
    // The directions of the macroblock before, 0 where there is none to repeat.
    int previousFlags() const { return previousFlags_; }
    Qvo16s dcPredictor(std::size_t component) const { return dcPredictors_[component]; }

    // Six blocks of 64 escapes and what comes before them.
    static constexpr std::size_t longestMacroblock = 6 * 64 * 3 + 32;

  private:
    int typeFlags(const MacroblockModes& modes) const;
    void writeAddress();
    void writeVector(std::size_t direction, const Vector& vector);
    void writeBlocks(const Macroblock& macroblock);
    void resetDc();
    void resetPredictors() { predictors_ = {}; }

    WordWriter& out_;
    const WriteTables& tables_ = writeTables();
    const PictureHeader* header_ = nullptr;

    int skipped_ = 0;
    int previousFlags_ = 0;
    std::array<Vector, 2> predictors_ = {};
    std::array<Qvo16s, 3> dcPredictors_ = {};
};

}  // namespace codecs::mpeg2

#endif
