// H.263 headers, motion vectors, texture with advanced intra coding, inverse quantisation, prediction and filters.
#include "digest/digest.h"

namespace {

using namespace drawn;

const Bits bits;
const Number offset{0, 7}, one{0, 1}, QP{1, 31}, direction{1, 3};
const Bytes code{1, 77, 77};
const Words block{64, -600, 600}, any{64, -32768, 32767};
const Memory<Qvo32s> length{1, 1, 31};

const DigestEntry headers[] = {
    STREAMS(qvoiUpdateQuant_MQ_H263_1u32s_I, bits, offset, length),
    STREAMS(qvoiDecodeMCBPCIntra_H263, bits, offset, code), STREAMS(qvoiDecodeMCBPCInter_H263, bits, offset, code),
    STREAMS(qvoiDecodeCBPY_H263, bits, offset, code), STREAMS(qvoiDecodeMODB_H263, bits, offset, code)};

const Bytes pixels{64, 0, 0};
const Words row{64, -40, 1500}, column{64, -40, 1500};
const Number step8{8, 8};

const DigestEntry texture[] = {STREAMS(qvoiDecodeVLC_IntraDC_H263_1u16s, bits, offset, block),
                               STREAMS(qvoiDecodeVLCZigzag_Intra_H263_1u16s, bits, offset, block, one),
                               STREAMS(qvoiDecodeVLCZigzag_Inter_H263_1u16s, bits, offset, block, one),
                               STREAMS(qvoiDecodeVLCZigzag_IntraAIC_H263_1u16s, bits, offset, block, direction, one),
                               STREAMS(qvoiDecodeVLC_Intra_H263_1u16s, bits, offset, block, length, one),
                               STREAMS(qvoiDecodeVLC_Inter_H263_1u16s, bits, offset, block, length, one),
                               STREAMS(qvoiDecodeCoef_Intra_H263_1u16s, bits, offset, block, QP, one),
                               STREAMS(qvoiDecodeCoef_Inter_H263_1u16s, bits, offset, block, QP, one),
                               STREAMS(qvoiDecodeBlockCoef_Inter_H263_1u16s, bits, offset, block, QP, one),
                               STREAMS(qvoiDecodeBlockCoef_Intra_H263_1u8u, bits, offset, pixels, step8, QP, one),
                               STREAMS(qvoiDecodeBlockCoef_IntraDCOnly_H263_1u8u, bits, offset, pixels, step8),
                               STREAMS(qvoiDecodeBlockCoef_IntraAIC_H263_1u8u, bits, offset, pixels, step8, row,
                                       column, QP, direction, one, one),
                               CALLS(qvoiPredictReconCoefIntraAIC_H263_16s, block, row, column, QP, direction),
                               CALLS(qvoiQuantInvIntra_H263_16s_I, any, QP),
                               CALLS(qvoiQuantInvInter_H263_16s_I, any, QP),
                               CALLS(qvoiQuantInvIntra_Compact_H263_16s_I, any, Number{1, 64}, QP),
                               CALLS(qvoiQuantInvInter_Compact_H263_16s_I, any, Number{1, 64}, QP)};

const Vectors few{4, 40}, near{1, 40};

const DigestEntry vectors[] = {
    STREAMS(qvoiDecodeMV_H263, bits, offset, few, few, few, few, Number{0, 2}, Number{0, 5}),
    STREAMS(qvoiDecodeMVD_H263, bits, offset, few, Number{0, 2}),
    CALLS(qvoiFindMVpred_H263, few, few, few, few, few, Number{0, 3})};

const Number step{64, 64};
const Bytes plane{64 * 64, 0, 255, 64 * 24 + 24}, target{64 * 24, 0, 255};

const DigestEntry prediction[] = {
    CALLS(qvoiCopyBlockHalfpel_H263_8u, plane, step, target, step, near, one),
    CALLS(qvoiCopyMBHalfpel_H263_8u, plane, step, target, step, near, one),
    CALLS(qvoiOBMCHalfpel_H263_8u, plane, step, target, step, near, near, near, near, near, one),
    CALLS(qvoiCopyBlockApprox_H263_8u, plane, step, target, step, near),
    CALLS(qvoiCopyMBApprox_H263_8u, plane, step, target, step, near),
    CALLS(qvoiCopyMB_H263_8u_P3R, plane, plane, plane, step, step, target, target, target, step, step),
    CALLS(qvoiReconMB_H263_8u_P3R, plane, plane, plane, step, step, Words{384, -300, 300}, Number{0, 63}, target,
          target, target, step, step)};

const DigestEntry filters[] = {
    CALLS(qvoiFilterDeblocking_HorEdge_H263_8u_I, plane, step, QP),
    CALLS(qvoiFilterDeblocking_VerEdge_H263_8u_I, plane, step, QP),
    CALLS(qvoiExpandFrame_H263_8u, Bytes{64 * 64, 0, 255}, Number{8, 24}, Number{1, 24}, Number{8, 20}, step)};

}  // namespace
