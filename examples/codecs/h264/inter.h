// Inter prediction of samples (ITU-T H.264, 8.4.2).
#ifndef QVOVC_EXAMPLES_H264_INTER_H
#define QVOVC_EXAMPLES_H264_INTER_H

#include <vector>

#include "h264/macroblock.h"

namespace codecs::h264 {

struct Target {
    Qvo8u* samples;
    Qvo32s step;
};

// Predicts a block at (x, y) of a plane, all in the plane's own samples, without weights. Blocks that lie outside with all
// the samples the filters look at are moved to where they just do so.
void predictLuma(const Plane& from, Vector vector, int x, int y, int width, int height, Target to);
void predictChroma(const Plane& from, Vector vector, int x, int y, int width, int height, Target to);

// Predicts blocks of one slice.
class InterPredictor {
  public:
    // Takes a slice; its weights are worked out here.
    void begin(const PictureContext& context, const SliceContext& slice);

    // Predicts width x height luma samples at (x, y) of the picture and the chroma samples that belong to them, from
    // the references of list 0 and 1 (-1: not used) with these vectors.
    void predict(int x, int y, int width, int height, const std::array<int, 2>& references,
                 const std::array<Vector, 2>& vectors);

  private:
    // How the predictions from both lists, or from one of them, become samples, for one plane.
    struct Weighting {
        int factor0 = 1;
        int factor1 = 1;
        int shift = 1;
        int offset = 0;
    };
    enum class Mode { plain, explicitly, implicitly };

    void weighOne(std::size_t list, int reference, int x, int y, int width, int height);
    void weighBoth(const std::array<int, 2>& references, int x, int y, int width, int height);
    Weighting weightingOfBoth(const std::array<int, 2>& references, std::size_t plane) const;

    const PictureContext* context_ = nullptr;
    const SliceContext* slice_ = nullptr;
    Mode mode_ = Mode::plain;
    // Implicit weights of list 1 by both reference indices; those of list 0 make 64 of them.
    std::array<std::array<int, maxReferences>, maxReferences> implicit_ = {};
    // A prediction from list 0 that waits for the one from list 1, with the frames' steps between its rows.
    std::vector<Qvo8u> waiting_;
};

// Ratio of the distances in time current - first and second - first, times 256 (DistScaleFactor, 8.4.1.2.3).
struct TimeScale {
    bool usable = false;  // the first is no long-term reference, and they differ in time
    int factor = 0;
};
TimeScale timeScale(const Picture& current, const Picture& first, const Picture& second);

}  // namespace codecs::h264

#endif
