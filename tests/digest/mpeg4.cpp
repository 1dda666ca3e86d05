// MPEG-4: vectors, motion compensation, padding, texture, inverse scans and post-filters.
#include "digest/digest.h"

namespace {

using namespace drawn;

const Bits bits;
const Bytes flags{4, 0, 1};
const Number offset{0, 7}, fcode{1, 7}, distance{1, 30}, one{0, 1};
const Vectors few{4, 200}, any{4, 32767};

const DigestEntry vectors[] = {
    calls("qvoiDecodePadMV_PVOP_MPEG4", OnStream<qvoiDecodePadMV_PVOP_MPEG4>::call, bits, offset, few, few, any, few,
          flags, flags, flags, flags, fcode, Number{0, 5}),
    calls("qvoiFindMVpred_MPEG4", qvoiFindMVpred_MPEG4, few, few, any, few, flags, flags, flags, flags, few, few,
          Number{0, 3}),
    calls("qvoiDecodeMV_BVOP_Direct_MPEG4", OnStream<qvoiDecodeMV_BVOP_Direct_MPEG4>::call, bits, offset, any, few,
          few, flags, distance, distance),
    calls("qvoiDecodeMV_BVOP_DirectSkip_MPEG4", qvoiDecodeMV_BVOP_DirectSkip_MPEG4, any, few, few, flags,
          Number{1, 100000}, Number{1, 100000}),
    calls("qvoiDecodeMV_BVOP_Interpolate_MPEG4", OnStream<qvoiDecodeMV_BVOP_Interpolate_MPEG4>::call, bits, offset,
          few, any, fcode, fcode),
    calls("qvoiDecodeMV_BVOP_Forward_MPEG4", OnStream<qvoiDecodeMV_BVOP_Forward_MPEG4>::call, bits, offset, few,
          fcode),
    calls("qvoiDecodeMV_BVOP_Backward_MPEG4", OnStream<qvoiDecodeMV_BVOP_Backward_MPEG4>::call, bits, offset, few,
          fcode),
    calls("qvoiPadMV_MPEG4", qvoiPadMV_MPEG4, few, flags),
    calls("qvoiLimitMVToRect_MPEG4", qvoiLimitMVToRect_MPEG4, any, few, Number{-99, 99}, Number{-99, 99},
          Number{32, 720}, Number{32, 720}, Number{-99, 999}, Number{-99, 999}, Number{16, 16}),
    calls("qvoiComputeChromaMV_MPEG4", qvoiComputeChromaMV_MPEG4, any, few),
    calls("qvoiComputeChroma4MV_MPEG4", qvoiComputeChroma4MV_MPEG4, any, few, flags)};

// Planes with rows of 64 samples, and what surrounds a block.
const Number step{64, 64}, rounding{0, 2}, position{0, 3};
const Bytes plane{64 * 64, 0, 255, 20 * 64 + 24}, target{64 * 24, 0, 0};
const Vectors near{1, 20};

const DigestEntry compensation[] = {
    calls("qvoiCopyBlockHalfpel_MPEG4_8u", qvoiCopyBlockHalfpel_MPEG4_8u, plane, step, target, step, near, rounding),
    calls("qvoiCopyMBHalfpel_MPEG4_8u", qvoiCopyMBHalfpel_MPEG4_8u, plane, step, target, step, near, rounding),
    calls("qvoiReconBlockHalfpel_MPEG4_8u", qvoiReconBlockHalfpel_MPEG4_8u, plane, step, Words{64, -32768, 32767},
          target, step, near, rounding),
    calls("qvoiOBMCHalfpel_MPEG4_8u", qvoiOBMCHalfpel_MPEG4_8u, plane, step, target, step, near, near, near, near,
          near, rounding),
    calls("qvoiAverageBlock_MPEG4_8u", qvoiAverageBlock_MPEG4_8u, plane, step, plane, step, target, step),
    calls("qvoiAverageMB_MPEG4_8u", qvoiAverageMB_MPEG4_8u, plane, step, plane, step, target, step),
    calls("qvoiAverageBlock_MPEG4_8u_I", qvoiAverageBlock_MPEG4_8u_I, plane, step, plane, step),
    calls("qvoiAverageMB_MPEG4_8u_I", qvoiAverageMB_MPEG4_8u_I, plane, step, plane, step)};

const Bytes padded{4, 0, 1}, shape{32, 0, 255};
const Memory<Qvo32s> neighbours{2, 0, 1};

const DigestEntry padding[] = {
    calls("qvoiPadMBPartial_MPEG4_8u_P4R", qvoiPadMBPartial_MPEG4_8u_P4R, shape, neighbours, plane, plane, plane,
          plane, padded, position, position, step, step, Number{2, 2}),
    calls("qvoiPadMBOpaque_MPEG4_8u_P4R", qvoiPadMBOpaque_MPEG4_8u_P4R, neighbours, plane, plane, plane, plane,
          padded, position, position, step, step),
    calls("qvoiPadMBTransparent_MPEG4_8u_P4R", qvoiPadMBTransparent_MPEG4_8u_P4R, neighbours, plane, plane, plane,
          plane, padded, Number{0, 255}, position, position, Number{4, 4}, Number{4, 4}, step, step),
    calls("qvoiPadCurrent_16x16_MPEG4_8u_I", qvoiPadCurrent_16x16_MPEG4_8u_I, plane, step, Bytes{256, 254, 255}),
    calls("qvoiPadCurrent_8x8_MPEG4_8u_I", qvoiPadCurrent_8x8_MPEG4_8u_I, plane, step, Bytes{64, 254, 255})};

const Words block{64, 1, 1}, levels{64, -32768, 32767}, small{64, -60, 60};
const Bytes matrix{64, 0, 255, 0, 50};  // or null
const Bytes weights{64, 0, 255};
const Words buffer{64, -40, 1500, 32};
const Number QP{1, 31}, component{0, 2}, scan{0, 2}, precision{4, 12};

template <class Operation>
DigestEntry intraBlock(const char* name, Operation operation) {
    return calls(name, operation, bits, offset, Bytes{64, 0, 0}, Number{8, 8}, buffer, buffer, QP, Bytes{2, 1, 31},
                 matrix, Number{0, 9}, one, one);
}

const DigestEntry texture[] = {
    calls("qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s", OnStream<qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s>::call, bits, offset,
          block, component),
    calls("qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s", OnStream<qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s>::call,
          bits, offset, block, scan, component),
    calls("qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s", OnStream<qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s>::call,
          bits, offset, block, scan),
    calls("qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s", OnStream<qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s>::call, bits,
          offset, block, scan),
    calls("qvoiDecodeBlockCoef_Inter_MPEG4_1u16s", OnStream<qvoiDecodeBlockCoef_Inter_MPEG4_1u16s>::call, bits,
          offset, block, QP, matrix),
    intraBlock("qvoiDecodeBlockCoef_Intra_MPEG4_1u8u", OnStream<qvoiDecodeBlockCoef_Intra_MPEG4_1u8u>::call),
    intraBlock("qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u",
               OnStream<qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u>::call),
    calls("qvoiPredictReconCoefIntra_MPEG4_16s", qvoiPredictReconCoefIntra_MPEG4_16s, small, buffer, buffer, QP, QP,
          Number{0, 2}, one, component)};

const DigestEntry quantisation[] = {
    calls("qvoiQuantInvIntra_MPEG4_16s_I", qvoiQuantInvIntra_MPEG4_16s_I, levels, QP, matrix, component),
    calls("qvoiQuantInvInter_MPEG4_16s_I", qvoiQuantInvInter_MPEG4_16s_I, levels, QP, matrix),
    calls("qvoiQuantInvIntra_MPEG4_16s_I, small", qvoiQuantInvIntra_MPEG4_16s_I, small, QP, matrix, component),
    calls("qvoiQuantInvInter_MPEG4_16s_I, small", qvoiQuantInvInter_MPEG4_16s_I, small, QP, matrix),
    calls("qvoiQuantInvIntraFirst_MPEG4_16s_I", qvoiQuantInvIntraFirst_MPEG4_16s_I, small, QP, weights, one,
          component, precision),
    calls("qvoiQuantInvIntraSecond_MPEG4_16s_I", qvoiQuantInvIntraSecond_MPEG4_16s_I, small, QP, one, one, precision),
    calls("qvoiQuantInvInterFirst_MPEG4_16s_I", qvoiQuantInvInterFirst_MPEG4_16s_I, small, QP, weights, precision),
    calls("qvoiQuantInvInterSecond_MPEG4_16s_I", qvoiQuantInvInterSecond_MPEG4_16s_I, small, QP, precision),
    calls("qvoiQuantInvIntra_MPEG4_16s_C1I", qvoiQuantInvIntra_MPEG4_16s_C1I, levels, Number{1, 31, 50}, levels),
    calls("qvoiQuantInv_MPEG4_16s_C1I", qvoiQuantInv_MPEG4_16s_C1I, levels, Number{1, 31, 50},
          Words{64, -32768, 32767, 0, 50})};

const Words raster{64, 0, 0};
const Number length{1, 64};

const DigestEntry scans[] = {
    calls("qvoiZigzagInvClassical_Compact_16s", qvoiZigzagInvClassical_Compact_16s, levels, length, raster),
    calls("qvoiZigzagInvHorizontal_Compact_16s", qvoiZigzagInvHorizontal_Compact_16s, levels, length, raster),
    calls("qvoiZigzagInvVertical_Compact_16s", qvoiZigzagInvVertical_Compact_16s, levels, length, raster),
    calls("qvoiZigzagInv_Horizontal_16s", qvoiZigzagInv_Horizontal_16s, levels, raster),
    calls("qvoiZigzagInv_Vertical_16s", qvoiZigzagInv_Vertical_16s, levels, raster)};

const DigestEntry filters[] = {
    calls("qvoiFilterDeblocking_HorEdge_MPEG4_8u_I", qvoiFilterDeblocking_HorEdge_MPEG4_8u_I, plane, step, QP,
          Number{0, 5}, Number{2, 8}),
    calls("qvoiFilterDeblocking_VerEdge_MPEG4_8u_I", qvoiFilterDeblocking_VerEdge_MPEG4_8u_I, plane, step, QP,
          Number{0, 5}, Number{2, 8}),
    calls("qvoiFilterDeringingThresholdMB_MPEG4_8u", qvoiFilterDeringingThresholdMB_MPEG4_8u, plane, step, plane,
          step, plane, step, Memory<Qvo32s>{6, 0, 0}),
    calls("qvoiFilterDeringingSmoothBlock_MPEG4_8u", qvoiFilterDeringingSmoothBlock_MPEG4_8u, plane, step, target,
          step, QP, Number{0, 255})};

}  // namespace
