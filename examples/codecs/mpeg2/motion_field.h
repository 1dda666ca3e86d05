// Motion of a picture's macroblocks towards one reference, in half samples.
#ifndef QVOVC_EXAMPLES_MPEG2_MOTION_FIELD_H
#define QVOVC_EXAMPLES_MPEG2_MOTION_FIELD_H

#include <array>
#include <vector>

#include "common/motion_search.h"
#include "common/padded_picture.h"
#include "mpeg2/predict.h"

namespace codecs::mpeg2 {

class MotionField {
  public:
    MotionField(int macroblockWidth, int macroblockHeight);

    // Finds a vector for each macroblock of the picture; the field as it was guides the search. lambda: the sum of
    // absolute differences that one bit is worth.
    void search(const PaddedPicture& picture, const View& reference, double lambda);

    const Vector& at(int column, int row) const { return vectors_[index(column, row)]; }

    // The f_codes, horizontal and vertical, whose ranges hold all vectors.
    const std::array<int, 2>& fCode() const { return fCode_; }

    // Vectors reach this far in each direction: f_code 5, the largest of the Main level's vertical vectors.
    static constexpr int maxComponent = 255;

  private:
    Vector searchMacroblock(const PaddedPicture& picture, const View& reference, int column, int row,
                            Vector predicted);
    Vector refine(const PaddedPicture& picture, const View& reference, int column, int row, Vector predicted,
                  FullVector around);
    std::size_t index(int column, int row) const { return static_cast<std::size_t>(row * width_ + column); }

    int width_;
    int height_;
    std::vector<Vector> vectors_;
    std::array<int, 2> fCode_ = {2, 2};
    std::array<VectorCostTable, 2> costs_;  // horizontal, vertical
};

}  // namespace codecs::mpeg2

#endif
