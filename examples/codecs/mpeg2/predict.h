// Motion-compensated prediction of a macroblock or of one half of it, with the residual added.
#ifndef QVOVC_EXAMPLES_MPEG2_PREDICT_H
#define QVOVC_EXAMPLES_MPEG2_PREDICT_H

#include <qvovc.h>

#include <array>

#include "mpeg2/frame.h"

namespace codecs::mpeg2 {

// In half samples.
struct Vector {
    Qvo32s x = 0;
    Qvo32s y = 0;

    bool operator==(const Vector&) const = default;
};

// One reference of a prediction.
struct Source {
    const View* view;
    Vector vector;
};

// The same for one block, as the library takes it.
struct Reference {
    const Qvo8u* samples;
    Qvo32s step;
    Qvo32s mcType;
};

// What predicts the block of width x height samples at (x, y) of a plane. Vectors that point outside the reference,
// which the standards forbid, are moved back to its edge.
Reference locate(const Source& source, std::size_t plane, int width, int height, int x, int y);

// A residual, plane by plane. The step is in bytes; a plane without residual is one row of zeros with step 0.
struct Residual {
    std::array<const Qvo16s*, 3> planes;
    std::array<Qvo32s, 3> steps;

    // The residual of a macroblock without coded blocks.
    static Residual none();
    bool isNone(std::size_t plane) const { return steps[plane] == 0; }

    // Every other row, from the first (0) or the second (1).
    Residual field(int parity) const;
    // The eight (four) rows from the middle on.
    Residual lowerHalf() const;
};

// Writes the prediction plus the residual to the 16 x height luminance samples (height 16 or 8) at (x, y) of the
// target and to the chrominance samples that belong to them.
void predict(const View& target, int x, int y, int height, const Source& source, const Residual& residual);

// The same from two references, averaged.
void predict(const View& target, int x, int y, int height, const Source& first, const Source& second,
             const Residual& residual);

}  // namespace codecs::mpeg2

#endif
