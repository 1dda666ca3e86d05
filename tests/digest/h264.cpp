#include "digest/digest.h"

namespace {

using namespace drawn;

const Words block{16, -32768, 32767}, levels{16, -2000, 2000};
const Words dc{1, -32768, 32767, 0, 50};  // or null
const Number qp{0, 51}, flag{0, 1};
const Memory<Qvo8s> count{1, 99, 99};
const Words scan{16, 0, 15};
const Bytes last{1, 99, 99};

const DigestEntry transforms[] = {
    CALLS(qvoiTransformDequantLumaDC_H264_16s_C1I, block, qp),
    CALLS(qvoiTransformDequantChromaDC_H264_16s_C1I, block, qp),
    CALLS(qvoiDequantTransformResidual_H264_16s_C1I, block, Number{8, 8}, dc, flag, qp),
    CALLS(qvoiDequantTransformResidualAndAdd_H264_16s_C1I, Bytes{16, 0, 255}, levels, dc, Bytes{16, 0, 0},
          Number{4, 4}, Number{4, 4}, qp, flag),
    CALLS(qvoiTransformPrediction_H264_8u16s_C1, Bytes{16, 0, 255}, Number{4, 4}, levels),
    CALLS(qvoiDequantTransformResidual_SISP_H264_16s_C1I, levels, block, dc, flag, qp, qp, flag),
    CALLS(qvoiTransformDequantChromaDC_SISP_H264_16s_C1I, levels, block, qp, qp, flag),
    CALLS(qvoiTransformQuantChromaDC_H264_16s_C1I, levels, levels, Number{0, 39}, count, flag, flag),
    CALLS(qvoiTransformQuantLumaDC_H264_16s_C1I, levels, block, qp, count, flag, scan, last),
    CALLS(qvoiTransformQuantResidual_H264_16s_C1I, Words{16, -255, 255}, qp, count, flag, scan, last)};

// Rows of 32 samples with what an operation reads around its block.
const Bytes around{32 * 24, 0, 255, 4 * 32 + 8};
const Number step{32, 32};

const DigestEntry prediction[] = {
    CALLS(qvoiPredictIntra_4x4_H264_8u_C1IR, around, step, Number{0, 8}, Number{0, 0, 100}),
    CALLS(qvoiPredictIntra_16x16_H264_8u_C1IR, around, step, Number{0, 3}, Number{0, 0, 100}),
    CALLS(qvoiPredictIntraChroma8x8_H264_8u_C1IR, around, step, Number{0, 3}, Number{0, 0, 100}),
    CALLS(qvoiInterpolateLuma_H264_8u_C1R, around, step, around, step, Number{0, 3}, Number{0, 3}, Number{16, 16},
          Number{16, 16}),
    calls("qvoiInterpolateLuma_H264_8u_C1R, small", qvoiInterpolateLuma_H264_8u_C1R, around, step, around, step,
          Number{0, 3}, Number{0, 3}, Number{4, 4}, Number{4, 8}),
    CALLS(qvoiInterpolateChroma_H264_8u_C1R, around, step, around, step, Number{0, 7}, Number{0, 7}, Number{2, 8},
          Number{2, 8}),
    CALLS(qvoiWeightedAverage_H264_8u_C1IR, around, around, step, Number{-128, 127, 20}, Number{-128, 127, 20},
          Number{0, 10}, Number{-128, 127}, Number{16, 16}, Number{2, 4})};

#define FILTERS(operation) \
    CALLS(operation, around, step, Bytes{2, 0, 255}, Bytes{2, 0, 40}, Bytes{16, 0, 30}, Bytes{16, 0, 4})

const DigestEntry filters[] = {FILTERS(qvoiFilterDeblockingLuma_VerEdge_H264_8u_C1IR),
                               FILTERS(qvoiFilterDeblockingLuma_HorEdge_H264_8u_C1IR),
                               FILTERS(qvoiFilterDeblockingChroma_VerEdge_H264_8u_C1IR),
                               FILTERS(qvoiFilterDeblockingChroma_HorEdge_H264_8u_C1IR)};

const Bytes element{1, 9, 9};
const Words coefs{16, -3, 3}, values{16, 0, 0};
const Bytes runs{16, 0, 0};

const DigestEntry cavlc[] = {
    CALLS(qvoiEncodeCoeffsCAVLC_H264_16s, coefs, Number{0, 8}, Memory<Qvo32s>{16, 0, 15}, Number{8, 15}, element,
          element, element, element, values, runs),
    CALLS(qvoiEncodeChromaDcCoeffsCAVLC_H264_16s, coefs, element, element, element, element, values, runs)};

}  // namespace
