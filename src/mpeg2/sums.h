// Sums over contiguous blocks, shared by block differences, metrics and statistics.
#ifndef QVOVC_SRC_MPEG2_SUMS_H
#define QVOVC_SRC_MPEG2_SUMS_H

#include <cstdlib>

#include "qvovc/types.h"

namespace qvovc {
namespace {

template <int count>
inline Qvo32s sum(const Qvo8u* v) {
    Qvo32s total = 0;
    for (int i = 0; i < count; ++i)
        total += v[i];
    return total;
}

template <int count>
inline Qvo32s sumAbsDiff(const Qvo8u* a, const Qvo8u* b) {
    Qvo32s total = 0;
    for (int i = 0; i < count; ++i)
        total += std::abs(a[i] - b[i]);
    return total;
}

template <int count>
inline Qvo32s sumSqrDiff(const Qvo8u* a, const Qvo8u* b) {
    Qvo32s total = 0;
    for (int i = 0; i < count; ++i) {
        const Qvo16s diff = static_cast<Qvo16s>(a[i] - b[i]);  // 16 bits make this a multiply-and-add of vectors
        total += diff * diff;
    }
    return total;
}

// The sums of each 4x4 block, in raster order, kept in 16 bits.
template <int W, int H, class T>
inline void sumBlocks4x4(const T* block, T* sums) {
    T pairs[W * H / 2], fours[W * H / 4];
    for (int i = 0; i < W * H / 2; ++i)
        pairs[i] = static_cast<T>(block[2 * i] + block[2 * i + 1]);
    for (int i = 0; i < W * H / 4; ++i)
        fours[i] = static_cast<T>(pairs[2 * i] + pairs[2 * i + 1]);
    constexpr int across = W / 4;
    for (int y = 0; y < H; y += 4) {
        for (int x = 0; x < across; ++x) {
            const T* first = fours + y * across + x;
            *sums++ = static_cast<T>(first[0] + first[across] + first[2 * across] + first[3 * across]);
        }
    }
}

}  // namespace
}  // namespace qvovc

#endif
