// The 8x8 scans of ISO/IEC 14496-2, 7.4.2 (figure 7-3), as 16-bit tables for the inverse scans of whole blocks. The
// byte tables that decoders and encoders of single coefficients use are exported: ZigzagC, ZigzagV and ZigzagH in
// qvovc/mpeg4.h.
#ifndef QVOVC_SRC_TABLES_SCAN_H
#define QVOVC_SRC_TABLES_SCAN_H

#include "qvovc/types.h"

namespace qvovc {

extern const Qvo16s ownZigZagC[64];  // classical zigzag
extern const Qvo16s ownZigZagV[64];  // alternate vertical
extern const Qvo16s ownZigZagH[64];  // alternate horizontal

// A scan in both directions: raster[p] is the raster index of scan position p, position[r] the scan position of raster
// index r.
struct ScanOrder {
    Qvo8u raster[64];
    Qvo8u position[64];
};

// Indexed by the scan selector: qvoScanZigzag, qvoScanVertical, qvoScanHorizontal.
extern const ScanOrder scanOrders[3];

}  // namespace qvovc

#endif
