#include "digest/digest.h"

namespace {

using namespace drawn;

// Blocks in the range of pictures or of the whole type.
constexpr int limit = 32767;

QvoStatus forwardInPlace(Qvo16s* pSrcDst) {
    return qvoiDCT8x8Fwd_16s_C1(pSrcDst, pSrcDst);
}

const DigestEntry entries[] = {
    calls("qvoiDCT8x8Fwd_16s_C1", forwardInPlace, Words{64, -limit - 1, limit}),
    calls("qvoiDCT8x8Fwd_8u16s_C1R", qvoiDCT8x8Fwd_8u16s_C1R, Bytes{64, 0, 255}, Number{8, 8}, Words{64, 0, 0}),
    calls("qvoiDCT8x8Inv_16s_C1I", qvoiDCT8x8Inv_16s_C1I, Words{64, -limit - 1, limit}),
    calls("qvoiDCT8x8Inv_16s_C1I, small", qvoiDCT8x8Inv_16s_C1I, Words{64, -500, 500}),
    calls("qvoiDCT8x8Inv_4x4_16s_C1I", qvoiDCT8x8Inv_4x4_16s_C1I, Words{64, -limit - 1, limit}),
    calls("qvoiDCT8x8Inv_2x2_16s_C1I", qvoiDCT8x8Inv_2x2_16s_C1I, Words{64, -limit - 1, limit}),
    calls("qvoiDCT8x8Inv_16s8u_C1R", qvoiDCT8x8Inv_16s8u_C1R, Words{64, -2048, 2047}, Bytes{64, 0, 0}, Number{8, 8}),
    calls("qvoiDCTInv_8x8_16s8u", qvoiDCTInv_8x8_16s8u, Words{64, -2048, 2047}, Bytes{64, 0, 0}, Number{8, 8}),
    calls("qvoiDCT8x8Inv_AANTransposed_16s_C1R", qvoiDCT8x8Inv_AANTransposed_16s_C1R, Words{64, -limit - 1, limit},
          Words{64, 0, 0}, Number{16, 16}, Number{-1, 12}),
    calls("qvoiDCT8x8Inv_AANTransposed_16s8u_C1R", qvoiDCT8x8Inv_AANTransposed_16s8u_C1R, Words{64, -2048, 2047},
          Bytes{64, 0, 0}, Number{8, 8}, Number{-1, 12}),
    calls("qvoiDCT8x8Inv_AANTransposed_16s_P2C2R", qvoiDCT8x8Inv_AANTransposed_16s_P2C2R,
          Words{64, -limit - 1, limit}, Words{64, -2048, 2047}, Words{128, 0, 0}, Number{32, 32}, Number{-1, 12},
          Number{-1, 12}),
    calls("qvoiDCT8x8Inv_AANTransposed_16s8u_P2C2R", qvoiDCT8x8Inv_AANTransposed_16s8u_P2C2R, Words{64, -2048, 2047},
          Words{64, -2048, 2047}, Bytes{128, 0, 0}, Number{16, 16}, Number{-1, 12}, Number{-1, 12}),
    calls("qvoiDCT2x4x8Frw_16s_C1I", qvoiDCT2x4x8Frw_16s_C1I, Words{64, -limit - 1, limit}),
    calls("qvoiDCT2x4x8Inv_16s_C1I", qvoiDCT2x4x8Inv_16s_C1I, Words{64, -limit - 1, limit})};

}  // namespace
