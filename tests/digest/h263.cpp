// H.263 headers, motion vectors, texture with advanced intra coding, inverse quantisation, prediction and filters.
#include "digest/digest.h"

namespace {

using namespace drawn;

const Bits bits;
const Number offset{0, 7}, one{0, 1}, QP{1, 31}, direction{1, 3};
const Bytes code{1, 77, 77};
const Words block{64, -600, 600}, any{64, -32768, 32767};
const Memory<Qvo32s> length{1, 1, 31};

template <class Operation, class... A>
DigestEntry decodes(const char* name, Operation operation, A... arguments) {
    return calls(name, operation, bits, offset, arguments...);
}

const DigestEntry headers[] = {
    decodes("qvoiUpdateQuant_MQ_H263_1u32s_I", OnStream<qvoiUpdateQuant_MQ_H263_1u32s_I>::call, length),
    decodes("qvoiDecodeMCBPCIntra_H263", OnStream<qvoiDecodeMCBPCIntra_H263>::call, code),
    decodes("qvoiDecodeMCBPCInter_H263", OnStream<qvoiDecodeMCBPCInter_H263>::call, code),
    decodes("qvoiDecodeCBPY_H263", OnStream<qvoiDecodeCBPY_H263>::call, code),
    decodes("qvoiDecodeMODB_H263", OnStream<qvoiDecodeMODB_H263>::call, code)};

const Bytes pixels{64, 0, 0};
const Words row{64, -40, 1500}, column{64, -40, 1500};
const Number step8{8, 8};

const DigestEntry texture[] = {
    decodes("qvoiDecodeVLC_IntraDC_H263_1u16s", OnStream<qvoiDecodeVLC_IntraDC_H263_1u16s>::call, block),
    decodes("qvoiDecodeVLCZigzag_Intra_H263_1u16s", OnStream<qvoiDecodeVLCZigzag_Intra_H263_1u16s>::call, block, one),
    decodes("qvoiDecodeVLCZigzag_Inter_H263_1u16s", OnStream<qvoiDecodeVLCZigzag_Inter_H263_1u16s>::call, block, one),
    decodes("qvoiDecodeVLCZigzag_IntraAIC_H263_1u16s", OnStream<qvoiDecodeVLCZigzag_IntraAIC_H263_1u16s>::call, block,
            direction, one),
    decodes("qvoiDecodeVLC_Intra_H263_1u16s", OnStream<qvoiDecodeVLC_Intra_H263_1u16s>::call, block, length, one),
    decodes("qvoiDecodeVLC_Inter_H263_1u16s", OnStream<qvoiDecodeVLC_Inter_H263_1u16s>::call, block, length, one),
    decodes("qvoiDecodeCoef_Intra_H263_1u16s", OnStream<qvoiDecodeCoef_Intra_H263_1u16s>::call, block, QP, one),
    decodes("qvoiDecodeCoef_Inter_H263_1u16s", OnStream<qvoiDecodeCoef_Inter_H263_1u16s>::call, block, QP, one),
    decodes("qvoiDecodeBlockCoef_Inter_H263_1u16s", OnStream<qvoiDecodeBlockCoef_Inter_H263_1u16s>::call, block, QP,
            one),
    decodes("qvoiDecodeBlockCoef_Intra_H263_1u8u", OnStream<qvoiDecodeBlockCoef_Intra_H263_1u8u>::call, pixels, step8,
            QP, one),
    decodes("qvoiDecodeBlockCoef_IntraDCOnly_H263_1u8u", OnStream<qvoiDecodeBlockCoef_IntraDCOnly_H263_1u8u>::call,
            pixels, step8),
    decodes("qvoiDecodeBlockCoef_IntraAIC_H263_1u8u", OnStream<qvoiDecodeBlockCoef_IntraAIC_H263_1u8u>::call, pixels,
            step8, row, column, QP, direction, one, one),
    calls("qvoiPredictReconCoefIntraAIC_H263_16s", qvoiPredictReconCoefIntraAIC_H263_16s, block, row, column, QP,
          direction),
    calls("qvoiQuantInvIntra_H263_16s_I", qvoiQuantInvIntra_H263_16s_I, any, QP),
    calls("qvoiQuantInvInter_H263_16s_I", qvoiQuantInvInter_H263_16s_I, any, QP),
    calls("qvoiQuantInvIntra_Compact_H263_16s_I", qvoiQuantInvIntra_Compact_H263_16s_I, any, Number{1, 64}, QP),
    calls("qvoiQuantInvInter_Compact_H263_16s_I", qvoiQuantInvInter_Compact_H263_16s_I, any, Number{1, 64}, QP)};

const Vectors few{4, 40}, near{1, 40};

const DigestEntry vectors[] = {
    decodes("qvoiDecodeMV_H263", OnStream<qvoiDecodeMV_H263>::call, few, few, few, few, Number{0, 2}, Number{0, 5}),
    decodes("qvoiDecodeMVD_H263", OnStream<qvoiDecodeMVD_H263>::call, few, Number{0, 2}),
    calls("qvoiFindMVpred_H263", qvoiFindMVpred_H263, few, few, few, few, few, Number{0, 3})};

const Number step{64, 64};
const Bytes plane{64 * 64, 0, 255, 64 * 24 + 24}, target{64 * 24, 0, 255};

const DigestEntry prediction[] = {
    calls("qvoiCopyBlockHalfpel_H263_8u", qvoiCopyBlockHalfpel_H263_8u, plane, step, target, step, near, one),
    calls("qvoiCopyMBHalfpel_H263_8u", qvoiCopyMBHalfpel_H263_8u, plane, step, target, step, near, one),
    calls("qvoiOBMCHalfpel_H263_8u", qvoiOBMCHalfpel_H263_8u, plane, step, target, step, near, near, near, near, near,
          one),
    calls("qvoiCopyBlockApprox_H263_8u", qvoiCopyBlockApprox_H263_8u, plane, step, target, step, near),
    calls("qvoiCopyMBApprox_H263_8u", qvoiCopyMBApprox_H263_8u, plane, step, target, step, near),
    calls("qvoiCopyMB_H263_8u_P3R", qvoiCopyMB_H263_8u_P3R, plane, plane, plane, step, step, target, target, target,
          step, step),
    calls("qvoiReconMB_H263_8u_P3R", qvoiReconMB_H263_8u_P3R, plane, plane, plane, step, step, Words{384, -300, 300},
          Number{0, 63}, target, target, target, step, step)};

const DigestEntry filters[] = {
    calls("qvoiFilterDeblocking_HorEdge_H263_8u_I", qvoiFilterDeblocking_HorEdge_H263_8u_I, plane, step, QP),
    calls("qvoiFilterDeblocking_VerEdge_H263_8u_I", qvoiFilterDeblocking_VerEdge_H263_8u_I, plane, step, QP),
    calls("qvoiExpandFrame_H263_8u", qvoiExpandFrame_H263_8u, Bytes{64 * 64, 0, 255}, Number{8, 24}, Number{1, 24},
          Number{8, 20}, step)};

}  // namespace
