#include "qvovc/mpeg2.h"
QvoStatus qvoiMC8x8_8u_C1(const Qvo8u*, Qvo32s, const Qvo16s*, Qvo32s, Qvo8u*, Qvo32s, Qvo32s, Qvo32s) { return qvoStatusOk; }
