// The byte-stream writers that collect bits in a word: four bytes are stored whenever it is full, and what is left at
// the end is stored as four bytes too.
#ifndef QVOVC_SRC_MPEG4_ACCUMULATOR_H
#define QVOVC_SRC_MPEG4_ACCUMULATOR_H

#include "qvovc/types.h"

namespace qvovc {

inline void storeBigEndian(Qvo8u* p, Qvo32u word) {
    p[0] = static_cast<Qvo8u>(word >> 24);
    p[1] = static_cast<Qvo8u>(word >> 16);
    p[2] = static_cast<Qvo8u>(word >> 8);
    p[3] = static_cast<Qvo8u>(word);
}

// The bits of a byte before an offset, left-aligned in a word.
inline Qvo32u bitsBefore(Qvo8u byte, Qvo32s offset) {
    return (byte & 0xFF00u >> offset) << 24;
}

}  // namespace qvovc

#endif
