// MPEG-4: vectors, motion compensation, padding, texture, inverse scans and post-filters; and of H.263 what encodes.
#include <optional>

#include "digest/digest.h"
#include "mpeg4/weights.h"

namespace {

using namespace drawn;

const Bits bits;
const Bytes flags{4, 0, 1};
const Number offset{0, 7}, fcode{1, 7}, distance{1, 30}, one{0, 1};
const Vectors few{4, 200}, any{4, 32767};

const DigestEntry vectors[] = {
    STREAMS(qvoiDecodePadMV_PVOP_MPEG4, bits, offset, few, few, any, few, flags, flags, flags, flags, fcode,
            Number{0, 5}),
    CALLS(qvoiFindMVpred_MPEG4, few, few, any, few, flags, flags, flags, flags, few, few, Number{0, 3}),
    STREAMS(qvoiDecodeMV_BVOP_Direct_MPEG4, bits, offset, any, few, few, flags, distance, distance),
    CALLS(qvoiDecodeMV_BVOP_DirectSkip_MPEG4, any, few, few, flags, Number{1, 100000}, Number{1, 100000}),
    STREAMS(qvoiDecodeMV_BVOP_Interpolate_MPEG4, bits, offset, few, any, fcode, fcode),
    STREAMS(qvoiDecodeMV_BVOP_Forward_MPEG4, bits, offset, few, fcode),
    STREAMS(qvoiDecodeMV_BVOP_Backward_MPEG4, bits, offset, few, fcode),
    CALLS(qvoiPadMV_MPEG4, few, flags),
    CALLS(qvoiLimitMVToRect_MPEG4, any, few, Number{-99, 99}, Number{-99, 99}, Number{32, 720}, Number{32, 720},
          Number{-99, 999}, Number{-99, 999}, Number{16, 16}),
    CALLS(qvoiComputeChromaMV_MPEG4, any, few),
    CALLS(qvoiComputeChroma4MV_MPEG4, any, few, flags)};

// Planes with rows of 64 samples, and what surrounds a block.
const Number step{64, 64}, rounding{0, 2}, position{0, 3};
const Bytes plane{64 * 64, 0, 255, 20 * 64 + 24}, target{64 * 24, 0, 0};
const Vectors near{1, 20};

const DigestEntry compensation[] = {
    CALLS(qvoiCopyBlockHalfpel_MPEG4_8u, plane, step, target, step, near, rounding),
    CALLS(qvoiCopyMBHalfpel_MPEG4_8u, plane, step, target, step, near, rounding),
    CALLS(qvoiReconBlockHalfpel_MPEG4_8u, plane, step, Words{64, -32768, 32767}, target, step, near, rounding),
    CALLS(qvoiOBMCHalfpel_MPEG4_8u, plane, step, target, step, near, near, near, near, near, rounding),
    CALLS(qvoiAverageBlock_MPEG4_8u, plane, step, plane, step, target, step),
    CALLS(qvoiAverageMB_MPEG4_8u, plane, step, plane, step, target, step),
    CALLS(qvoiAverageBlock_MPEG4_8u_I, plane, step, plane, step),
    CALLS(qvoiAverageMB_MPEG4_8u_I, plane, step, plane, step)};

const Bytes padded{4, 0, 1}, shape{32, 0, 255};
const Memory<Qvo32s> neighbours{2, 0, 1};

const DigestEntry padding[] = {
    CALLS(qvoiPadMBPartial_MPEG4_8u_P4R, shape, neighbours, plane, plane, plane, plane, padded, position, position,
          step, step, Number{2, 2}),
    CALLS(qvoiPadMBOpaque_MPEG4_8u_P4R, neighbours, plane, plane, plane, plane, padded, position, position, step,
          step),
    CALLS(qvoiPadMBTransparent_MPEG4_8u_P4R, neighbours, plane, plane, plane, plane, padded, Number{0, 255}, position,
          position, Number{4, 4}, Number{4, 4}, step, step),
    CALLS(qvoiPadCurrent_16x16_MPEG4_8u_I, plane, step, Bytes{256, 254, 255}),
    CALLS(qvoiPadCurrent_8x8_MPEG4_8u_I, plane, step, Bytes{64, 254, 255})};

const Words block{64, 1, 1}, levels{64, -32768, 32767}, small{64, -60, 60};
const Bytes matrix{64, 0, 255, 0, 50};  // or null
const Bytes weights{64, 0, 255};
const Words buffer{64, -40, 1500, 32};
const Number QP{1, 31}, component{0, 2}, scan{0, 2}, precision{4, 12};

const DigestEntry texture[] = {
    STREAMS(qvoiDecodeVLC_IntraDCVLC_MPEG4_1u16s, bits, offset, block, component),
    STREAMS(qvoiDecodeVLCZigzag_IntraDCVLC_MPEG4_1u16s, bits, offset, block, scan, component),
    STREAMS(qvoiDecodeVLCZigzag_IntraACVLC_MPEG4_1u16s, bits, offset, block, scan),
    STREAMS(qvoiDecodeVLCZigzag_Inter_MPEG4_1u16s, bits, offset, block, scan),
    STREAMS(qvoiDecodeBlockCoef_Inter_MPEG4_1u16s, bits, offset, block, QP, matrix),
    STREAMS(qvoiDecodeBlockCoef_Intra_MPEG4_1u8u, bits, offset, Bytes{64, 0, 0}, Number{8, 8}, buffer, buffer, QP,
            Bytes{2, 1, 31}, matrix, Number{0, 9}, one, one),
    STREAMS(qvoiDecodeBlockCoef_IntraDCOnly_MPEG4_1u8u, bits, offset, Bytes{64, 0, 0}, Number{8, 8}, buffer, buffer,
            QP, Bytes{2, 1, 31}, matrix, Number{0, 9}, one, one),
    CALLS(qvoiPredictReconCoefIntra_MPEG4_16s, small, buffer, buffer, QP, QP, Number{0, 2}, one, component)};

const DigestEntry quantisation[] = {
    CALLS(qvoiQuantInvIntra_MPEG4_16s_I, Levels(), QP, matrix, component),
    CALLS(qvoiQuantInvInter_MPEG4_16s_I, Levels(), QP, matrix),
    CALLS(qvoiQuantInvIntraFirst_MPEG4_16s_I, small, QP, weights, one, component, precision),
    CALLS(qvoiQuantInvIntraSecond_MPEG4_16s_I, small, QP, one, one, precision),
    CALLS(qvoiQuantInvInterFirst_MPEG4_16s_I, small, QP, weights, precision),
    CALLS(qvoiQuantInvInterSecond_MPEG4_16s_I, small, QP, precision),
    CALLS(qvoiQuantInvIntra_MPEG4_16s_C1I, levels, Number{1, 31, 50}, levels),
    CALLS(qvoiQuantInv_MPEG4_16s_C1I, levels, Number{1, 31, 50}, Words{64, -32768, 32767, 0, 50})};

const Words raster{64, 0, 0};
const Number length{1, 64};

const DigestEntry scans[] = {CALLS(qvoiZigzagInvClassical_Compact_16s, levels, length, raster),
                             CALLS(qvoiZigzagInvHorizontal_Compact_16s, levels, length, raster),
                             CALLS(qvoiZigzagInvVertical_Compact_16s, levels, length, raster),
                             CALLS(qvoiZigzagInv_Horizontal_16s, levels, raster),
                             CALLS(qvoiZigzagInv_Vertical_16s, levels, raster)};

const DigestEntry filters[] = {
    CALLS(qvoiFilterDeblocking_HorEdge_MPEG4_8u_I, plane, step, QP, Number{0, 5}, Number{2, 8}),
    CALLS(qvoiFilterDeblocking_VerEdge_MPEG4_8u_I, plane, step, QP, Number{0, 5}, Number{2, 8}),
    CALLS(qvoiFilterDeringingThresholdMB_MPEG4_8u, plane, step, plane, step, plane, step, Memory<Qvo32s>{6, 0, 0}),
    CALLS(qvoiFilterDeringingSmoothBlock_MPEG4_8u, plane, step, target, step, QP, Number{0, 255})};

// A weighting record; in half of the calls there is none.
struct Record {
    std::optional<WeightRecord> record = {};
    const Qvo32s* draw(Random& random) {
        record.emplace(random);
        return random.chance(50) ? record->data() : nullptr;
    }
    void addTo(Digest&) const {}
} record;

const Words coefficients{64, -1900, 1900}, predictors{16, -20, 60, 8};
const Number anyQP{1, 500}, index{0, 9}, step8{8, 8};
const Factors factors;
const Memory<Qvo32s> last{1, 99, 99};

const DigestEntry encoding[] = {
    QUANTISES(qvoiQuantIntra_MPEG4_16s_I, coefficients, QP, index, record),
    QUANTISES(qvoiQuantInter_MPEG4_16s_I, coefficients, QP, record),
    QUANTISES(qvoiQuantIntra_MPEG4_16s_C1I, coefficients, anyQP, factors, last),
    QUANTISES(qvoiQuant_MPEG4_16s_C1I, coefficients, anyQP, factors, last),
    QUANTISES(qvoiQuantIntra_H263_C1I, coefficients, anyQP, last),
    QUANTISES(qvoiQuant_H263_C1I, coefficients, anyQP, last),
    CALLS(qvoiTransRecBlockCoef_inter_MPEG4, Words{64, -255, 255}, raster, raster, QP, record),
    CALLS(qvoiTransRecBlockCoef_intra_MPEG4, Bytes{64, 0, 255}, raster, Bytes{64, 0, 0}, predictors, predictors,
          Words{8, 0, 0}, Memory<Qvo32s>{1, qvoACPredictionOff, 0}, index, QP, Bytes{2, 1, 31}, step8, step8,
          record)};

const Bytes bytes{300, 165, 165}, kinds{4, 0, 2};
const Levels written;
const Vectors current{4, 40}, neighbour{4, 40, 20};  // or null

const DigestEntry writing[] = {
    STREAMS(qvoiEncode_IntraDCVLC_H263_16s1u, bytes, offset, Number{-300, 300}),
    STREAMS(qvoiEncode_ACVLC_H263_16s1u, bytes, offset, written, one),
    STREAMS(qvoiEncode_InterVLC_MPEG4_16s1u, bytes, offset, written),
    STREAMS(qvoiEncode_IntraDCVLC_MPEG4_16s1u, bytes, offset, Number{-5000, 5000}, component),
    STREAMS(qvoiEncode_IntraACVLC_MPEG4_16s1u, bytes, offset, written, Number{0, 3}, one),
    STREAMS(qvoiEncodeVLCZigzag_IntraDCVLC_MPEG4_16s1u, bytes, offset, written, scan, one, component),
    STREAMS(qvoiEncodeVLCZigzag_IntraACVLC_MPEG4_16s1u, bytes, offset, written, scan, one),
    STREAMS(qvoiEncodeVLCZigzag_Inter_MPEG4_16s1u, bytes, offset, written, scan),
    STREAMS(qvoiEncodeMV_MPEG4_8u16s, bytes, offset, current, neighbour, neighbour, current, kinds, kinds, kinds,
            kinds, fcode, Number{0, 5})};

}  // namespace
