// The (last, run, level) events of a block of quantised levels, for the writers of texture.
#ifndef QVOVC_SRC_MPEG4_EVENTS_H
#define QVOVC_SRC_MPEG4_EVENTS_H

#include <cstdint>
#include <cstring>

#include "tables/scan.h"

namespace qvovc {

// Bit p is set where the level at scan position p is not 0. Most rows of a block are empty.
inline std::uint64_t codedPositions(const Qvo16s* pBlock, const ScanOrder& order) {
    std::uint64_t coded = 0;
    for (int row = 0; row < 64; row += 8) {
        std::uint64_t halves[2];
        std::memcpy(halves, pBlock + row, sizeof halves);
        if ((halves[0] | halves[1]) == 0) continue;
        for (int i = row; i < row + 8; ++i)
            coded |= std::uint64_t{pBlock[i] != 0} << order.position[i];
    }
    return coded;
}

// Calls put(last, run, level) for each level that is not 0, in scan order from position `start` (0 or 1).
template <class Put>
void forEachEvent(const Qvo16s* pBlock, const ScanOrder& order, int start, Put put) {
    std::uint64_t left = codedPositions(pBlock, order) >> start << start;
    for (int next = start; left != 0;) {
        const int position = __builtin_ctzll(left);
        left &= left - 1;
        put(left == 0, position - next, pBlock[order.raster[position]]);
        next = position + 1;
    }
}

}  // namespace qvovc

#endif
