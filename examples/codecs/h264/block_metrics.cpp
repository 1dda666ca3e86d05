#include "h264/block_metrics.h"

#include <cstddef>
#include <cstdlib>

namespace codecs::h264 {

namespace {

int transformed4x4(const Qvo8u* a, Qvo32s stepA, const Qvo8u* b, Qvo32s stepB) {
    int rows[4][4];
    for (auto& row : rows) {
        const int d0 = a[0] - b[0], d1 = a[1] - b[1], d2 = a[2] - b[2], d3 = a[3] - b[3];
        const int s0 = d0 + d1, s1 = d0 - d1, s2 = d2 + d3, s3 = d2 - d3;
        row[0] = s0 + s2;
        row[1] = s1 + s3;
        row[2] = s0 - s2;
        row[3] = s1 - s3;
        a += stepA;
        b += stepB;
    }
    int sum = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const int s0 = rows[0][i] + rows[1][i], s1 = rows[0][i] - rows[1][i];
        const int s2 = rows[2][i] + rows[3][i], s3 = rows[2][i] - rows[3][i];
        sum += std::abs(s0 + s2) + std::abs(s1 + s3) + std::abs(s0 - s2) + std::abs(s1 - s3);
    }
    return sum / 2;
}

}  // namespace

int transformedDifference(const Qvo8u* a, Qvo32s stepA, const Qvo8u* b, Qvo32s stepB, int width, int height) {
    int sum = 0;
    for (std::ptrdiff_t y = 0; y < height; y += 4)
        for (int x = 0; x < width; x += 4)
            sum += transformed4x4(a + y * stepA + x, stepA, b + y * stepB + x, stepB);
    return sum;
}

int squaredDifference(const Qvo8u* a, Qvo32s stepA, const Qvo8u* b, Qvo32s stepB, int width, int height) {
    int sum = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            sum += (a[x] - b[x]) * (a[x] - b[x]);
        a += stepA;
        b += stepB;
    }
    return sum;
}

}  // namespace codecs::h264
