// How much blocks of samples differ, beyond the library's sums of absolute differences.
#ifndef QVOVC_EXAMPLES_H264_BLOCK_METRICS_H
#define QVOVC_EXAMPLES_H264_BLOCK_METRICS_H

#include <qvovc.h>

namespace codecs::h264 {

// Half the sum of the magnitudes of the 4x4 Hadamard transforms of the differences, which foretells the bits of a residual
// better than the differences do. Sizes are 16x16, 16x8, 8x16, 8x8
// and 4x4.
int transformedDifference(const Qvo8u* a, Qvo32s stepA, const Qvo8u* b, Qvo32s stepB, int width, int height);

// Sum of squared differences.
int squaredDifference(const Qvo8u* a, Qvo32s stepA, const Qvo8u* b, Qvo32s stepB, int width, int height);

}  // namespace codecs::h264

#endif
