// How many leading coefficients of a reconstructed block the inverse transform must take.
#ifndef QVOVC_EXAMPLES_MPEG2_INVERSE_COUNT_H
#define QVOVC_EXAMPLES_MPEG2_INVERSE_COUNT_H

#include <qvovc.h>

#include <algorithm>

namespace codecs::mpeg2 {

// Any count above 8 makes the inverse transform read the whole block.
constexpr int wholeBlock = 64;

// The count is the scan index of the last coefficient plus one, or the whole block where mismatch control has set the
// last coefficient, which the forms for low counts do not read. The form for a count of 1 truncates.

inline int inverseCountIntra(const Qvo16s* block, int last) {
    // A level of grey with the last coefficient at 1 rounds to itself.
    if (last == 0 && (block[0] & 7) == 0) return 1;
    return block[63] != 0 ? wholeBlock : std::max(last + 1, 2);
}

inline int inverseCountNonIntra(const Qvo16s* block, int last) {
    return block[63] != 0 ? wholeBlock : std::max(last + 1, 2);
}

}  // namespace codecs::mpeg2

#endif
