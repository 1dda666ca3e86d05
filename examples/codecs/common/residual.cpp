#include "common/residual.h"

namespace codecs {

Qvo32s energyOf(const Qvo16s* block) {
    Qvo32s sum = 0;
    for (int i = 0; i < 64; ++i)
        sum += Qvo32s{block[i]} * block[i];
    return sum;
}

bool transformResidual(const Qvo16s* residual, Qvo32s energy, Qvo16s* coefficients) {
    constexpr Qvo32s doubtful = 1024 * 1024;  // the energy of a single coefficient of 1024
    if (energy < doubtful) {
        qvoiDCT8x8Fwd_16s_C1(residual, coefficients);
        return false;
    }
    for (int i = 0; i < 64; ++i)
        coefficients[i] = static_cast<Qvo16s>(residual[i] / 2);
    qvoiDCT8x8Fwd_16s_C1(coefficients, coefficients);
    for (int i = 0; i < 64; ++i)
        coefficients[i] = static_cast<Qvo16s>(2 * coefficients[i]);
    return true;
}

}  // namespace codecs
