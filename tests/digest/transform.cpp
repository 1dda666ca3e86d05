#include "digest/digest.h"

namespace {

using namespace drawn;

const Words any{64, -32768, 32767}, coefficients{64, -2048, 2047}, out{64, 0, 0};
const Bytes pixels{64, 0, 0};
const Number step{8, 8}, count{-1, 12};

const DigestEntry entries[] = {
    CALLS(qvoiDCT8x8Fwd_16s_C1, any, out),
    CALLS(qvoiDCT8x8Fwd_8u16s_C1R, Bytes{64, 0, 255}, step, out),
    CALLS(qvoiDCT8x8Inv_16s_C1I, any),
    CALLS(qvoiDCT8x8Inv_16s_C1, Words{64, -500, 500}, out),
    CALLS(qvoiDCT8x8Inv_4x4_16s_C1I, any),
    CALLS(qvoiDCT8x8Inv_2x2_16s_C1I, any),
    CALLS(qvoiDCT8x8Inv_16s8u_C1R, coefficients, pixels, step),
    CALLS(qvoiDCTInv_8x8_16s8u, coefficients, pixels, step),
    CALLS(qvoiDCT8x8Inv_AANTransposed_16s_C1R, any, out, Number{16, 16}, count),
    CALLS(qvoiDCT8x8Inv_AANTransposed_16s8u_C1R, coefficients, pixels, step, count),
    CALLS(qvoiDCT8x8Inv_AANTransposed_16s_P2C2R, any, coefficients, Words{128, 0, 0}, Number{32, 32}, count, count),
    CALLS(qvoiDCT8x8Inv_AANTransposed_16s8u_P2C2R, coefficients, coefficients, Bytes{128, 0, 0}, Number{16, 16},
          count, count),
    CALLS(qvoiDCT2x4x8Frw_16s_C1I, any),
    CALLS(qvoiDCT2x4x8Inv_16s_C1I, any)};

}  // namespace
