// MPEG-1/2 motion compensation, differences and metrics.
#include "digest/digest.h"

namespace {

using namespace drawn;

const Bytes samples{20 * 17, 0, 255};  // rows of 20: room for 16 samples and the two beyond them
const Words residual{256, -32768, 32767}, out{256, 0, 0};
const Number step{20, 20}, wordStep{32, 32}, dstStep{16, 16}, mcType{0, 0, 100}, rounding{0, 1, 10};
const Bytes target{256, 0, 0};
const Memory<Qvo32s> sum{4, 5, 5}, sums{4, -70000, 70000};
const Memory<Qvo16u> shortSums{16, 5, 5};

template <class Operation>
DigestEntry one(const char* name, Operation operation) {
    return calls(name, operation, samples, step, residual, wordStep, target, dstStep, mcType, rounding);
}
template <class Operation>
DigestEntry two(const char* name, Operation operation) {
    return calls(name, operation, samples, step, mcType, samples, step, mcType, residual, wordStep, target, dstStep,
                 rounding);
}
const DigestEntry compensation[] = {
    one("qvoiMC16x16_8u_C1", qvoiMC16x16_8u_C1),
    two("qvoiMC16x16B_8u_C1", qvoiMC16x16B_8u_C1),
    one("qvoiMC16x8_8u_C1", qvoiMC16x8_8u_C1),
    two("qvoiMC16x8B_8u_C1", qvoiMC16x8B_8u_C1),
    one("qvoiMC16x8UV_8u_C1", qvoiMC16x8UV_8u_C1),
    two("qvoiMC16x8BUV_8u_C1", qvoiMC16x8BUV_8u_C1),
    one("qvoiMC16x4_8u_C1", qvoiMC16x4_8u_C1),
    two("qvoiMC16x4B_8u_C1", qvoiMC16x4B_8u_C1),
    one("qvoiMC8x16_8u_C1", qvoiMC8x16_8u_C1),
    two("qvoiMC8x16B_8u_C1", qvoiMC8x16B_8u_C1),
    one("qvoiMC8x8_8u_C1", qvoiMC8x8_8u_C1),
    two("qvoiMC8x8B_8u_C1", qvoiMC8x8B_8u_C1),
    one("qvoiMC8x4_8u_C1", qvoiMC8x4_8u_C1),
    two("qvoiMC8x4B_8u_C1", qvoiMC8x4B_8u_C1),
    one("qvoiMC4x8_8u_C1", qvoiMC4x8_8u_C1),
    two("qvoiMC4x8B_8u_C1", qvoiMC4x8B_8u_C1),
    one("qvoiMC4x4_8u_C1", qvoiMC4x4_8u_C1),
    two("qvoiMC4x4B_8u_C1", qvoiMC4x4B_8u_C1),
    one("qvoiMC4x2_8u_C1", qvoiMC4x2_8u_C1),
    two("qvoiMC4x2B_8u_C1", qvoiMC4x2B_8u_C1),
    one("qvoiMC2x4_8u_C1", qvoiMC2x4_8u_C1),
    two("qvoiMC2x4B_8u_C1", qvoiMC2x4B_8u_C1),
    one("qvoiMC2x2_8u_C1", qvoiMC2x2_8u_C1),
    two("qvoiMC2x2B_8u_C1", qvoiMC2x2B_8u_C1),
    calls("qvoiReconBlock_8x8", qvoiReconBlock_8x8, samples, step, residual, target, dstStep)};

template <class Operation>
DigestEntry oneDiff(const char* name, Operation operation) {
    return calls(name, operation, samples, step, samples, step, out, wordStep, out, wordStep, mcType, rounding);
}
template <class Operation>
DigestEntry twoDiff(const char* name, Operation operation) {
    return calls(name, operation, samples, step, samples, step, mcType, samples, step, mcType, out, wordStep,
                 rounding);
}
const DigestEntry differences[] = {
    oneDiff("qvoiGetDiff16x16_8u16s_C1", qvoiGetDiff16x16_8u16s_C1),
    twoDiff("qvoiGetDiff16x16B_8u16s_C1", qvoiGetDiff16x16B_8u16s_C1),
    oneDiff("qvoiGetDiff16x8_8u16s_C1", qvoiGetDiff16x8_8u16s_C1),
    twoDiff("qvoiGetDiff16x8B_8u16s_C1", qvoiGetDiff16x8B_8u16s_C1),
    oneDiff("qvoiGetDiff8x16_8u16s_C1", qvoiGetDiff8x16_8u16s_C1),
    twoDiff("qvoiGetDiff8x16B_8u16s_C1", qvoiGetDiff8x16B_8u16s_C1),
    oneDiff("qvoiGetDiff8x8_8u16s_C1", qvoiGetDiff8x8_8u16s_C1),
    twoDiff("qvoiGetDiff8x8B_8u16s_C1", qvoiGetDiff8x8B_8u16s_C1),
    oneDiff("qvoiGetDiff8x4_8u16s_C1", qvoiGetDiff8x4_8u16s_C1),
    twoDiff("qvoiGetDiff8x4B_8u16s_C1", qvoiGetDiff8x4B_8u16s_C1),
    calls("qvoiGetDiff4x4_8u16s_C1", qvoiGetDiff4x4_8u16s_C1, samples, step, samples, step, out, Number{5, 5}),
    calls("qvoiSumsDiff16x16Blocks4x4_8u16s_C1", qvoiSumsDiff16x16Blocks4x4_8u16s_C1, samples, step, samples, step,
          Words{16, 0, 0}, Words{256, 0, 0, 0, 50}),
    calls("qvoiSumsDiff8x8Blocks4x4_8u16s_C1", qvoiSumsDiff8x8Blocks4x4_8u16s_C1, samples, step, samples, step,
          Words{4, 0, 0}, Words{64, 0, 0, 0, 50}),
    calls("qvoiComputeTextureErrorBlock_SAD_8u16s", qvoiComputeTextureErrorBlock_SAD_8u16s, samples, step, samples,
          Words{64, 0, 0}, sum),
    calls("qvoiComputeTextureErrorBlock_8u16s", qvoiComputeTextureErrorBlock_8u16s, samples, step, samples,
          Words{64, 0, 0})};

const DigestEntry metrics[] = {
    calls("qvoiSAD16x16_8u32s", qvoiSAD16x16_8u32s, samples, step, samples, step, sum, mcType),
    calls("qvoiSAD8x8_8u32s_C1R", qvoiSAD8x8_8u32s_C1R, samples, step, samples, step, sum, mcType),
    calls("qvoiSAD4x4_8u32s", qvoiSAD4x4_8u32s, samples, step, samples, step, sum),
    calls("_qvoiSAD_16x16_8u32s", _qvoiSAD_16x16_8u32s, samples, step, samples, step, sum),
    calls("qvoiSAD16x16Blocks4x4_8u16u", qvoiSAD16x16Blocks4x4_8u16u, samples, step, samples, step, shortSums),
    calls("qvoiSAD16x16Blocks8x8_8u16u", qvoiSAD16x16Blocks8x8_8u16u, samples, step, samples, step, shortSums),
    calls("qvoiSqrDiff16x16_8u32s", qvoiSqrDiff16x16_8u32s, samples, step, samples, step, mcType, sum),
    calls("qvoiSqrDiff16x16B_8u32s", qvoiSqrDiff16x16B_8u32s, samples, step, samples, step, mcType, samples, step,
          mcType, sum),
    calls("qvoiVariance16x16_8u32s", qvoiVariance16x16_8u32s, samples, step, sum),
    calls("qvoiMeanAbsDev16x16_8u32s_C1R", qvoiMeanAbsDev16x16_8u32s_C1R, samples, step, sum),
    calls("qvoiVarMean8x8_8u32s_C1R", qvoiVarMean8x8_8u32s_C1R, samples, step, sum, sum),
    calls("qvoiVarMean8x8_16s32s_C1R", qvoiVarMean8x8_16s32s_C1R, residual, wordStep, sum, sum),
    calls("qvoiVarMeanDiff16x16_8u32s_C1R", qvoiVarMeanDiff16x16_8u32s_C1R, samples, step, samples, step, sums, sum,
          sum, mcType),
    calls("qvoiVarMeanDiff16x8_8u32s_C1R", qvoiVarMeanDiff16x8_8u32s_C1R, samples, step, samples, step, sums, sum,
          sum, mcType),
    calls("qvoiEdgesDetect16x16_8u_C1R", qvoiEdgesDetect16x16_8u_C1R, samples, step, Number{0, 128}, Number{0, 255},
          Bytes{1, 9, 9})};

}  // namespace
