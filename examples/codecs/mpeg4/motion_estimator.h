// Chooses the vectors of macroblocks.
#ifndef QVOVC_EXAMPLES_MPEG4_MOTION_ESTIMATOR_H
#define QVOVC_EXAMPLES_MPEG4_MOTION_ESTIMATOR_H

#include <array>
#include <optional>
#include <span>
#include <vector>

#include "common/motion_search.h"
#include "common/padded_picture.h"
#include "mpeg4/frame.h"

namespace codecs::mpeg4 {

// The vectors of a VOP's macroblocks with a margin above and one, common to the end of a row and the beginning of the
// next, at the sides. Macroblocks that may not be predicted from have no flags.
class VectorField {
  public:
    VectorField(int macroblockWidth, int macroblockHeight);

    // A VOP begins: all vectors are zero.
    void clear();
    // Macroblocks before this one may not be predicted from.
    void beginPacket(int mbX, int mbY);
    // The macroblock's vectors may be predicted from.
    void set(int mbX, int mbY, const Vectors& vectors);

    const Vectors& at(int mbX, int mbY) const { return vectors_[index(mbX, mbY)]; }
    // Of one block, with the vectors before it in `current`.
    QvoMotionVector predictor(int mbX, int mbY, const Vectors& current, int block) const;
    // Writes the differences of a macroblock's vectors.
    void write(Qvo8u** byte, Qvo32s* offset, int mbX, int mbY, const Vectors& current, bool four, int fcode) const;

  private:
    std::size_t index(int mbX, int mbY) const {
        return static_cast<std::size_t>(mbY + 1) * step_ + static_cast<std::size_t>(mbX + 1);
    }
    const Qvo8u* flags(std::size_t i) const { return reinterpret_cast<const Qvo8u*>(&available_[i]); }

    std::size_t step_;
    std::vector<Vectors> vectors_;
    std::vector<Qvo32u> available_;
};

struct MotionChoice {
    Vectors vectors = {};
    bool four = false;
    int sum = 0;   // of absolute differences
    int cost = 0;  // with the bits of the vectors
};

class MotionEstimator {
  public:
    // withinPicture: no vector leads to samples beyond the reference's edges.
    explicit MotionEstimator(bool fourVectors, bool withinPicture = false)
        : fourVectors_(fourVectors), withinPicture_(withinPicture) {}

    // A VOP begins. The reference is extended.
    void begin(const PaddedPicture& source, const Frame& reference, int quantiser, int fcode);

    // One vector with this predictor, from the best of these vectors on.
    MotionChoice chooseOne(int mbX, int mbY, QvoMotionVector predictor,
                           std::span<const QvoMotionVector> starts) const;

    // Of a P-VOP. field: of this VOP so far; before: of the one before; mayBeFour: there may be four vectors.
    MotionChoice choose(int mbX, int mbY, const VectorField& field, const VectorField& before, bool mayBeFour) const;

  private:
    struct Block;
    struct Found {
        QvoMotionVector vector;
        int sum;
        int cost;
    };
    Found search(const Block& block, QvoMotionVector predictor, std::span<const QvoMotionVector> starts,
                 int goodEnough) const;
    Found refine(const Block& block, QvoMotionVector predictor, const SearchResult& full) const;
    Block blockAt(int x, int y, int size) const;
    std::optional<MotionChoice> chooseFour(int mbX, int mbY, const VectorField& field, const MotionChoice& one) const;

    bool fourVectors_;
    bool withinPicture_;

    const PaddedPicture* source_ = nullptr;
    const Frame* reference_ = nullptr;
    int quantiser_ = 0;
    int fcode_ = 0;
    std::optional<VectorCostTable> costs_;
};

}  // namespace codecs::mpeg4

#endif
