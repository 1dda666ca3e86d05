#include "h264/block_metrics.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace codecs::h264 {

namespace {

// The columns of all 4x4 blocks are transformed first. Then half of |p + q| + |p - q| is the larger magnitude of the two,
// which spares the last stage for the rows.
template <int width, int height>
int transformed(const Qvo8u* a, Qvo32s stepA, const Qvo8u* b, Qvo32s stepB) {
    Qvo16s columns[width * height];
    for (int y = 0; y < height; y += 4) {
        const auto difference = [&](int x, std::ptrdiff_t row) {
            return static_cast<Qvo16s>(a[row * stepA + x] - b[row * stepB + x]);
        };
        Qvo16s* const to = columns + y * width;
        for (int x = 0; x < width; ++x) {
            const int d0 = difference(x, 0), d1 = difference(x, 1), d2 = difference(x, 2), d3 = difference(x, 3);
            const int s0 = d0 + d1, s1 = d0 - d1, s2 = d2 + d3, s3 = d2 - d3;
            to[x] = static_cast<Qvo16s>(s0 + s2);
            to[width + x] = static_cast<Qvo16s>(s1 + s3);
            to[2 * width + x] = static_cast<Qvo16s>(s0 - s2);
            to[3 * width + x] = static_cast<Qvo16s>(s1 - s3);
        }
        a += std::ptrdiff_t{4} * stepA;
        b += std::ptrdiff_t{4} * stepB;
    }
    const auto larger = [](int p, int q) {
        return static_cast<Qvo16s>(std::max(static_cast<Qvo16s>(std::abs(p)), static_cast<Qvo16s>(std::abs(q))));
    };
    int sum = 0;
    for (int i = 0; i < width * height / 4; ++i) {
        const Qvo16s* const row = columns + 4 * i;
        sum += larger(row[0] + row[1], row[2] + row[3]) + larger(row[0] - row[1], row[2] - row[3]);
    }
    return sum;
}

}  // namespace

int transformedDifference(const Qvo8u* a, Qvo32s stepA, const Qvo8u* b, Qvo32s stepB, int width, int height) {
    if (width == 16)
        return height == 16 ? transformed<16, 16>(a, stepA, b, stepB) : transformed<16, 8>(a, stepA, b, stepB);
    if (width == 8)
        return height == 16 ? transformed<8, 16>(a, stepA, b, stepB) : transformed<8, 8>(a, stepA, b, stepB);
    return transformed<4, 4>(a, stepA, b, stepB);
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
