// Look-up tables for decoding texture coefficients by the 12 bits at the reading position, with the limits of the
// escapes: ISO/IEC 14496-2 tables B-16 (intra) and B-17 (inter, and H.263 table 16), ITU-T H.263 table I.2.
#ifndef QVOVC_SRC_TABLES_TCOEF_H
#define QVOVC_SRC_TABLES_TCOEF_H

#include "qvovc/types.h"

namespace qvovc {

// What a code stands for. The sign bit that follows is not counted in the length.
struct TcoefEntry {
    Qvo8u last;
    Qvo8u run;
    Qvo8u level;  // tcoefEscapeLevel: the escape code
    Qvo8u length;
};

constexpr Qvo8u tcoefEscapeLevel = 255;

// The more zeros the 12 bits begin with, the longer the codes and the finer the table. It has three pieces: for 8 to 127
// by all 12 bits, for 128 to 511 by the upper 10, for 512 to 4095 by the upper 7. Smaller values are no code.
inline constexpr Qvo32u smallestTcoefCode = 8;

// The table entry for 12 bits, chosen without branches, which streams would make hard to predict.
inline constexpr Qvo32u tcoefIndex(Qvo32u bits) {
    const Qvo32u shift = bits < 128 ? 0 : bits < 512 ? 2 : 5;
    const Qvo32u first = bits < 128 ? 0 - 8u : bits < 512 ? 120 - (128u >> 2) : 120 + 96 - (512u >> 5);
    return (bits >> shift) + first;
}

struct TcoefTable {
    TcoefEntry entries[120 + 96 + 112];

    // Indexed by last: the largest level with a code at a run (0: none), and one more than the largest run with a
    // code at a level (0: none).
    Qvo8u LMAX[2][64];
    Qvo8u RMAX[2][32];
};

extern const TcoefTable tableB16;
extern const TcoefTable tableB17;
extern const TcoefTable tableI2;

}  // namespace qvovc

#endif
