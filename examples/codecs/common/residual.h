// The forward transform of residuals, for encoders.
#ifndef QVOVC_EXAMPLES_RESIDUAL_H
#define QVOVC_EXAMPLES_RESIDUAL_H

#include <qvovc.h>

namespace codecs {

// The sum of the squares of a block.
Qvo32s energyOf(const Qvo16s* block);

// Transforms a block of -255..255 and the given energy. Coefficients of 1024 or more could wrap in
// qvoiDCT8x8Fwd_16s_C1: where the energy allows for such ones half the residual is transformed, and true is returned.
bool transformResidual(const Qvo16s* residual, Qvo32s energy, Qvo16s* coefficients);

}  // namespace codecs

#endif
