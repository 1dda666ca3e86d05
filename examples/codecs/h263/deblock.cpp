#include "h263/deblock.h"

#include "h263/tables.h"

namespace codecs::h263 {

namespace {

constexpr int blockSize = 8;

class PlaneFilter {
  public:
    PlaneFilter(const mpeg4::Frame& frame, const std::vector<Qvo8u>& coded, std::size_t plane,
                bool modifiedQuantisation)
        : frame_(frame),
          coded_(coded),
          plane_(plane),
          modified_(modifiedQuantisation),
          blocks_(plane == 0 ? 2 : 1),
          columns_(frame.macroblockWidth() * blocks_),
          rows_(frame.macroblockHeight() * blocks_) {}

    // The filter across vertical edges works on the result of that across horizontal ones.
    void run() const {
        for (int row = 1; row < rows_; ++row)
            for (int column = 0; column < columns_; ++column)
                if (const int QP = quantiser(column, row, column, row - 1))
                    qvoiFilterDeblocking_HorEdge_H263_8u_I(at(column, row), frame_.step(plane_), QP);
        for (int row = 0; row < rows_; ++row)
            for (int column = 1; column < columns_; ++column)
                if (const int QP = quantiser(column, row, column - 1, row))
                    qvoiFilterDeblocking_VerEdge_H263_8u_I(at(column, row), frame_.step(plane_), QP);
    }

  private:
    Qvo8u* at(int column, int row) const { return frame_.at(plane_, column * blockSize, row * blockSize); }

    // The quantiser of a block's macroblock, 0 where it is not coded.
    int quantiser(int column, int row) const {
        const std::size_t index = frame_.macroblockIndex(column / blocks_, row / blocks_);
        if (!coded_[index]) return 0;
        const int QP = frame_.quantisers[index];
        return plane_ != 0 && modified_ ? chromaQuantisers[static_cast<std::size_t>(QP)] : QP;
    }
    // The quantiser of an edge: that of the block below or to the right if it is coded, or else of the other one.
    int quantiser(int column, int row, int otherColumn, int otherRow) const {
        const int QP = quantiser(column, row);
        return QP != 0 ? QP : quantiser(otherColumn, otherRow);
    }

    const mpeg4::Frame& frame_;
    const std::vector<Qvo8u>& coded_;
    std::size_t plane_;
    bool modified_;
    int blocks_;  // in a row of a macroblock
    int columns_;
    int rows_;
};

}  // namespace

void deblock(const mpeg4::Frame& frame, const std::vector<Qvo8u>& coded, bool modifiedQuantisation) {
    for (std::size_t plane = 0; plane < 3; ++plane)
        PlaneFilter(frame, coded, plane, modifiedQuantisation).run();
}

}  // namespace codecs::h263
