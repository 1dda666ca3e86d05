// Motion of partitions to a quarter of a sample.
#ifndef QVOVC_EXAMPLES_H264_MOTION_ESTIMATOR_H
#define QVOVC_EXAMPLES_H264_MOTION_ESTIMATOR_H

#include <array>
#include <memory>
#include <span>
#include <vector>

#include "common/motion_search.h"
#include "h264/frame.h"

namespace codecs::h264 {

// The luma samples of a reference and the half samples between them, each in a plane like the frame's own, so that the
// search need not interpolate again and again.
class HalfSamples {
  public:
    // For frames like this one.
    explicit HalfSamples(const Frame& frame);

    // Interpolates a frame with its borders, and shows its samples from then on.
    void load(const Frame& frame);

    // The samples at (x, y) and a vector: a block where only whole and half samples are needed, and `second` null;
    // elsewhere two blocks whose rounded mean it is (8.4.2.2.1).
    struct Source {
        const Qvo8u* first;
        const Qvo8u* second;
    };
    Source at(int x, int y, Vector vector) const;

    Qvo32s step() const { return step_; }

  private:
    Qvo32s step_ = 0;
    std::ptrdiff_t origin_ = 0;  // of the sample at (0, 0)
    std::array<std::vector<Qvo8u>, 3> halves_;
    // Whole samples; those between them to the right, below, and below to the right.
    std::array<const Qvo8u*, 4> planes_ = {};
};

// A partition to be found in the reference.
struct MotionTask {
    const Qvo8u* source;
    Qvo32s sourceStep;
    int x;  // in luma samples of the picture
    int y;
    int width;
    int height;
    Vector predicted;
    std::span<const Vector> starts;
};

struct FoundMotion {
    Vector vector;
    int cost = 0;  // transformed difference and lambda times the vector's bits
};

class MotionEstimator {
  public:
    // maxY: how far vectors may reach up and down, in samples.
    explicit MotionEstimator(int maxY) : maxY_(maxY) {}

    void setReference(const Frame& frame, const HalfSamples& halves) {
        frame_ = &frame;
        halves_ = &halves;
    }
    // lambda: what a bit is worth, in transformed differences.
    void setLambda(double lambda);

    FoundMotion find(const MotionTask& task) const;
    // The transformed difference at a vector.
    int differenceAt(const MotionTask& task, Vector vector) const;
    int bitsCost(Vector vector, Vector predicted) const {
        return costs_->around(predicted.x)[vector.x] + costs_->around(predicted.y)[vector.y];
    }

  private:
    SearchArea areaFor(const MotionTask& task) const;

    int maxY_;
    const Frame* frame_ = nullptr;
    const HalfSamples* halves_ = nullptr;
    double lambda_ = 0;
    std::unique_ptr<VectorCostTable> costs_;
};

}  // namespace codecs::h264

#endif
