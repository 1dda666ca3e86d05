// Scans, quantiser factors and inverse weights of DV, shared by inverse quantisation and the segment decoders.
#ifndef QVOVC_SRC_DV_QUANT_H
#define QVOVC_SRC_DV_QUANT_H

#include "core/arith.h"
#include "qvovc/dv.h"

namespace qvovc {

// Of one DCT mode. Everything but the scan is by raster position; the entries of the DC coefficient are not used.
struct DvMode {
    Qvo8u scan[64];         // raster position by scan position
    Qvo8u factors[22][64];  // powers of two, by what quantiser and class choose
    Qvo16s weights[64];     // 1/(w(h) w(v)) with 14 fractional bits
};

extern const DvMode dvModes[2];

// What a quantiser and a class choose (SMPTE 314M, 5.3).
inline Qvo32s dvQuantIndex(Qvo32s quantiser, Qvo32s classNumber) {
    constexpr Qvo8u offsets[4] = {6, 3, 0, 1};
    return quantiser + offsets[classNumber];
}

inline Qvo32s dvDoubling(Qvo32s classNumber) {
    return classNumber == 3 ? 1 : 0;
}

// A level times its power of two, with its inverse weight, at the scale of the inverse transforms.
inline Qvo16s dvUnweight(Qvo16s level, Qvo16s weight) {
    return wrap16((level * weight + (1 << 12)) >> 13);
}

inline Qvo16s dvUnweightDc(Qvo32s dc) {
    return wrap16(dc * 4);
}

}  // namespace qvovc

#endif
