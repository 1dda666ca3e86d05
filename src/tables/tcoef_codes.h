// The code words of the texture coefficients of ISO/IEC 14496-2: table B-16 (intra) and table B-17 (inter, and every
// block of H.263), each with the number of levels that have a code at each run (tables B-19 and B-20); and the same code
// words with the events of advanced intra coding (ITU-T H.263 Annex I).
//
// Everything is constexpr with internal linkage: what a source file uses only to build its own tables at compile time
// leaves nothing behind.
#ifndef QVOVC_SRC_TABLES_TCOEF_CODES_H
#define QVOVC_SRC_TABLES_TCOEF_CODES_H

#include "qvovc/types.h"

namespace qvovc {

// The value and length of a code word followed by its sign bit, which is 0 in the value.
struct VlcCode {
    Qvo32u value;
    Qvo32u length;
};

constexpr VlcCode withSign(Qvo32u value, Qvo32u length) {
    return {value << 1, length + 1};
}

// The escape, which has no sign bit.
constexpr VlcCode tcoefEscape = {0x03, 7};

// Largest level with a code at each run, for events that are not the last (_0) and that are the last (_1).
constexpr Qvo8u LMAX_Intra_0[15] = {27, 10, 5, 4, 3, 3, 3, 3, 2, 2, 1, 1, 1, 1, 1};
constexpr Qvo8u LMAX_Intra_1[21] = {8, 3, 2, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
constexpr Qvo8u LMAX_Inter_0[27] = {12, 6, 4, 3, 3, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
constexpr Qvo8u LMAX_Inter_1[41] = {3, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                                    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};

// In the order of last, run and level: first all events that are not the last, each run's levels from 1 up.
#define C withSign
constexpr VlcCode vlc_TB16[102] = {
    // run 0
    C(0x02, 2), C(0x06, 3), C(0x0F, 4), C(0x0D, 5), C(0x0C, 5), C(0x15, 6), C(0x13, 6), C(0x12, 6), C(0x17, 7),
    C(0x1F, 8), C(0x1E, 8), C(0x1D, 8), C(0x25, 9), C(0x24, 9), C(0x23, 9), C(0x21, 9), C(0x21, 10), C(0x20, 10),
    C(0x0F, 10), C(0x0E, 10), C(0x07, 11), C(0x06, 11), C(0x20, 11), C(0x21, 11), C(0x50, 12), C(0x51, 12),
    C(0x52, 12),
    // run 1
    C(0x0E, 4), C(0x14, 6), C(0x16, 7), C(0x1C, 8), C(0x20, 9), C(0x1F, 9), C(0x0D, 10), C(0x22, 11), C(0x53, 12),
    C(0x55, 12),
    // runs 2 to 9
    C(0x0B, 5), C(0x15, 7), C(0x1E, 9), C(0x0C, 10), C(0x56, 12),  //
    C(0x11, 6), C(0x1B, 8), C(0x1D, 9), C(0x0B, 10),               //
    C(0x10, 6), C(0x22, 9), C(0x0A, 10),                           //
    C(0x0D, 6), C(0x1C, 9), C(0x08, 10),                           //
    C(0x12, 7), C(0x1B, 9), C(0x54, 12),                           //
    C(0x14, 7), C(0x1A, 9), C(0x57, 12),                           //
    C(0x19, 8), C(0x09, 10),                                       //
    C(0x18, 8), C(0x23, 11),
    // runs 10 to 14
    C(0x17, 8), C(0x19, 9), C(0x18, 9), C(0x07, 10), C(0x58, 12),

    // last: run 0
    C(0x07, 4), C(0x0C, 6), C(0x16, 8), C(0x17, 9), C(0x06, 10), C(0x05, 11), C(0x04, 11), C(0x59, 12),
    // runs 1 to 6
    C(0x0F, 6), C(0x16, 9), C(0x05, 10),  //
    C(0x0E, 6), C(0x04, 10),              //
    C(0x11, 7), C(0x24, 11),              //
    C(0x10, 7), C(0x25, 11),              //
    C(0x13, 7), C(0x5A, 12),              //
    C(0x15, 8), C(0x5B, 12),
    // runs 7 to 20
    C(0x14, 8), C(0x13, 8), C(0x1A, 8), C(0x15, 9), C(0x14, 9), C(0x13, 9), C(0x12, 9), C(0x11, 9), C(0x26, 11),
    C(0x27, 11), C(0x5C, 12), C(0x5D, 12), C(0x5E, 12), C(0x5F, 12)};

constexpr VlcCode vlc_TB17[102] = {
    // run 0
    C(0x02, 2), C(0x0F, 4), C(0x15, 6), C(0x17, 7), C(0x1F, 8), C(0x25, 9), C(0x24, 9), C(0x21, 10), C(0x20, 10),
    C(0x07, 11), C(0x06, 11), C(0x20, 11),
    // runs 1 to 10
    C(0x06, 3), C(0x14, 6), C(0x1E, 8), C(0x0F, 10), C(0x21, 11), C(0x50, 12),  //
    C(0x0E, 4), C(0x1D, 8), C(0x0E, 10), C(0x51, 12),                           //
    C(0x0D, 5), C(0x23, 9), C(0x0D, 10),                                        //
    C(0x0C, 5), C(0x22, 9), C(0x52, 12),                                        //
    C(0x0B, 5), C(0x0C, 10), C(0x53, 12),                                       //
    C(0x13, 6), C(0x0B, 10), C(0x54, 12),                                       //
    C(0x12, 6), C(0x0A, 10),                                                    //
    C(0x11, 6), C(0x09, 10),                                                    //
    C(0x10, 6), C(0x08, 10),                                                    //
    C(0x16, 7), C(0x55, 12),
    // runs 11 to 26
    C(0x15, 7), C(0x14, 7), C(0x1C, 8), C(0x1B, 8), C(0x21, 9), C(0x20, 9), C(0x1F, 9), C(0x1E, 9), C(0x1D, 9),
    C(0x1C, 9), C(0x1B, 9), C(0x1A, 9), C(0x22, 11), C(0x23, 11), C(0x56, 12), C(0x57, 12),

    // last: runs 0 and 1
    C(0x07, 4), C(0x19, 9), C(0x05, 11),  //
    C(0x0F, 6), C(0x04, 11),
    // runs 2 to 40
    C(0x0E, 6), C(0x0D, 6), C(0x0C, 6), C(0x13, 7), C(0x12, 7), C(0x11, 7), C(0x10, 7), C(0x1A, 8), C(0x19, 8),
    C(0x18, 8), C(0x17, 8), C(0x16, 8), C(0x15, 8), C(0x14, 8), C(0x13, 8), C(0x18, 9), C(0x17, 9), C(0x16, 9),
    C(0x15, 9), C(0x14, 9), C(0x13, 9), C(0x12, 9), C(0x11, 9), C(0x07, 10), C(0x06, 10), C(0x05, 10), C(0x04, 10),
    C(0x24, 11), C(0x25, 11), C(0x26, 11), C(0x27, 11), C(0x58, 12), C(0x59, 12), C(0x5A, 12), C(0x5B, 12),
    C(0x5C, 12), C(0x5D, 12), C(0x5E, 12), C(0x5F, 12)};

// Annex I of H.263 gives the same code words other events (table I.2).
constexpr Qvo8u LMAX_AnnexI_0[14] = {25, 7, 4, 4, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1};
constexpr Qvo8u LMAX_AnnexI_1[24] = {10, 4, 3, 3, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
constexpr VlcCode vlc_TI2[102] = {
    // run 0
    C(0x02, 2), C(0x06, 3), C(0x0E, 4), C(0x0C, 5), C(0x0D, 5), C(0x10, 6), C(0x11, 6), C(0x12, 6), C(0x16, 7),
    C(0x1B, 8), C(0x20, 9), C(0x21, 9), C(0x1A, 9), C(0x1B, 9), C(0x1C, 9), C(0x1D, 9), C(0x1E, 9), C(0x1F, 9),
    C(0x23, 11), C(0x22, 11), C(0x57, 12), C(0x56, 12), C(0x55, 12), C(0x54, 12), C(0x53, 12),
    // run 1
    C(0x0F, 4), C(0x14, 6), C(0x14, 7), C(0x1E, 8), C(0x0F, 10), C(0x21, 11), C(0x50, 12),
    // runs 2 to 9
    C(0x0B, 5), C(0x15, 7), C(0x0E, 10), C(0x09, 10),  //
    C(0x15, 6), C(0x1D, 8), C(0x0D, 10), C(0x51, 12),  //
    C(0x13, 6), C(0x23, 9), C(0x07, 11),               //
    C(0x17, 7), C(0x22, 9), C(0x52, 12),               //
    C(0x1C, 8), C(0x0C, 10),                           //
    C(0x1F, 8), C(0x0B, 10),                           //
    C(0x25, 9), C(0x0A, 10),                           //
    C(0x24, 9), C(0x06, 11),                           //
    // runs 10 to 13
    C(0x21, 10), C(0x20, 10), C(0x08, 10), C(0x20, 11),

    // last: run 0
    C(0x07, 4), C(0x0C, 6), C(0x10, 7), C(0x13, 8), C(0x11, 9), C(0x12, 9), C(0x04, 10), C(0x27, 11), C(0x26, 11),
    C(0x5F, 12),
    // runs 1 to 6
    C(0x0F, 6), C(0x13, 9), C(0x05, 10), C(0x25, 11),  //
    C(0x0E, 6), C(0x14, 9), C(0x24, 11),               //
    C(0x0D, 6), C(0x06, 10), C(0x5E, 12),              //
    C(0x11, 7), C(0x07, 10),                           //
    C(0x13, 7), C(0x5D, 12),                           //
    C(0x12, 7), C(0x5C, 12),                           //
    // runs 7 to 23
    C(0x14, 8), C(0x5B, 12), C(0x15, 8), C(0x1A, 8), C(0x19, 8), C(0x18, 8), C(0x17, 8), C(0x16, 8), C(0x19, 9),
    C(0x15, 9), C(0x16, 9), C(0x18, 9), C(0x17, 9), C(0x04, 11), C(0x05, 11), C(0x58, 12), C(0x59, 12), C(0x5A, 12)};
#undef C

}  // namespace qvovc

#endif
