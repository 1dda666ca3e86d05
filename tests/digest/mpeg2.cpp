// MPEG-1/2: codes, block reconstruction, quantisation and block writing; motion compensation, differences and metrics.
#include <algorithm>

#include "digest/digest.h"
#include "mpeg2/tables.h"

namespace {

using namespace drawn;

// Bits, in half of the streams with many zeros, as long codes begin with them.
struct WordBits : Memory<Qvo32u> {
    WordBits() : Memory<Qvo32u>{80, 0, 0} {}
    Qvo32u* draw(Random& random) {
        data.resize(count);
        const bool zeros = random.chance(50);
        for (Qvo32u& word : data)
            word = zeros ? random.next() & random.next() & random.next() : random.next();
        return data.data();
    }
};

const WordBits bits;
const Number offset{0, 31}, scale{1, 112, 15};
const Memory<Qvo32s> value{1, 99, 99};
const Words block{64, 0, 0}, weights{64, 1, 255}, weightsOrNull{64, 1, 255, 0, 50}, prediction{1, -2000, 2000};

const mpeg2::Table sizeTable = mpeg2::Table::plain(mpeg2::sizeList(mpeg2::tableB12));
const mpeg2::Table zeroTable = mpeg2::Table::runLevel(mpeg2::pairList(mpeg2::tableB14));
const mpeg2::Table oneTable = mpeg2::Table::runLevel(mpeg2::pairList(mpeg2::tableB15, {6, 5, 6}));
const Given<const QvoVlcTable> sizes{sizeTable}, zero{zeroTable}, one{oneTable};
const Given<const Qvo32s> zigzag{mpeg2::zigzag}, alternate{mpeg2::alternateScan};

const DigestEntry tables("qvoiVCHuffmanInitAlloc", [](Digest& digest, Random&) {
    digest.addAll(static_cast<const QvoVlcTable*>(sizeTable), 16384);
    digest.addAll(static_cast<const QvoVlcTable*>(oneTable), 262144);
});

const DigestEntry readers[] = {
    STREAMS(qvoiVCHuffmanDecodeOne_1u32s, bits, offset, value, one),
    STREAMS(qvoiReconstructDCTBlock_MPEG1_32s, bits, offset, zero, zero, zigzag, scale, weights, block, value),
    STREAMS(qvoiReconstructDCTBlockIntra_MPEG1_32s, bits, offset, sizes, zero, zigzag, scale, weights, prediction,
            block, value),
    STREAMS(qvoiReconstructDCTBlock_MPEG2_32s, bits, offset, zero, zero, alternate, scale, weightsOrNull, block,
            value),
    STREAMS(qvoiReconstructDCTBlockIntra_MPEG2_32s, bits, offset, sizes, one, alternate, scale, weights, prediction,
            Number{0, 3}, block, value)};

const Words coefficients{64, -32768, 32767}, levels{64, -2500, 2500};
const Memory<Qvo32u> count{1, 99, 99};
const Number divisor{1, 500};

const DigestEntry quantisers[] = {QUANTISES(qvoiQuantIntra_MPEG2_16s_C1I, levels, divisor, Factors{50}, count),
                                  QUANTISES(qvoiQuant_MPEG2_16s_C1I, levels, divisor, Factors{50}, count),
                                  CALLS(qvoiQuantInvIntra_MPEG2_16s_C1I, coefficients, scale, weights),
                                  CALLS(qvoiQuantInv_MPEG2_16s_C1I, coefficients, scale, weightsOrNull)};

const std::vector<Qvo32s> sizeCodes = mpeg2::sizeList(mpeg2::tableB13);
const mpeg2::EncodeTable encodeZero(mpeg2::tableB14), encodeOne(mpeg2::tableB15);

QvoStatus putIntra(Qvo32u** word, Qvo32u* bitsLeft, const Qvo16s* p, Qvo16s* pPrediction) {
    const auto zeros = static_cast<Qvo32u>(std::count(p + 1, p + 64, 0));
    return qvoiPutIntraBlock(word, bitsLeft, p, pPrediction, sizeCodes.data(), encodeOne, mpeg2::zigzag, 63 - zeros);
}
QvoStatus putNonIntra(Qvo32u** word, Qvo32u* bitsLeft, const Qvo16s* p) {
    const auto zeros = static_cast<Qvo32u>(std::count(p, p + 64, 0));
    return qvoiPutNonIntraBlock(word, bitsLeft, p, encodeZero, mpeg2::alternateScan, 64 - zeros);
}

const Memory<Qvo32u> words{80, 5, 5};
const Number bitsLeft{1, 32};

const DigestEntry writers[] = {
    calls("qvoiPutIntraBlock", OnStream<putIntra>::call, words, bitsLeft, Levels(), prediction),
    calls("qvoiPutNonIntraBlock", OnStream<putNonIntra>::call, words, bitsLeft, Levels())};

const Bytes samples{20 * 17, 0, 255};  // rows of 20: room for 16 samples and the two beyond them
const Words residual{256, -32768, 32767}, out{256, 0, 0};
const Number step{20, 20}, wordStep{32, 32}, dstStep{16, 16}, mcType{0, 0, 100}, rounding{0, 1, 10};
const Bytes target{256, 0, 0};
const Memory<Qvo32s> sum{4, 5, 5}, sums{4, -70000, 70000};
const Memory<Qvo16u> shortSums{16, 5, 5};

// An operation of one reference and that of two.
#define COMPENSATION(one, two)                                                        \
    CALLS(one, samples, step, residual, wordStep, target, dstStep, mcType, rounding), \
        CALLS(two, samples, step, mcType, samples, step, mcType, residual, wordStep, target, dstStep, rounding)
const DigestEntry compensation[] = {COMPENSATION(qvoiMC16x16_8u_C1, qvoiMC16x16B_8u_C1),
                                    COMPENSATION(qvoiMC16x8_8u_C1, qvoiMC16x8B_8u_C1),
                                    COMPENSATION(qvoiMC16x8UV_8u_C1, qvoiMC16x8BUV_8u_C1),
                                    COMPENSATION(qvoiMC16x4_8u_C1, qvoiMC16x4B_8u_C1),
                                    COMPENSATION(qvoiMC8x16_8u_C1, qvoiMC8x16B_8u_C1),
                                    COMPENSATION(qvoiMC8x8_8u_C1, qvoiMC8x8B_8u_C1),
                                    COMPENSATION(qvoiMC8x4_8u_C1, qvoiMC8x4B_8u_C1),
                                    COMPENSATION(qvoiMC4x8_8u_C1, qvoiMC4x8B_8u_C1),
                                    COMPENSATION(qvoiMC4x4_8u_C1, qvoiMC4x4B_8u_C1),
                                    COMPENSATION(qvoiMC4x2_8u_C1, qvoiMC4x2B_8u_C1),
                                    COMPENSATION(qvoiMC2x4_8u_C1, qvoiMC2x4B_8u_C1),
                                    COMPENSATION(qvoiMC2x2_8u_C1, qvoiMC2x2B_8u_C1),
                                    CALLS(qvoiReconBlock_8x8, samples, step, residual, target, dstStep)};

#define DIFFERENCE(one, two)                                                                  \
    CALLS(one, samples, step, samples, step, out, wordStep, out, wordStep, mcType, rounding), \
        CALLS(two, samples, step, samples, step, mcType, samples, step, mcType, out, wordStep, rounding)
const DigestEntry differences[] = {
    DIFFERENCE(qvoiGetDiff16x16_8u16s_C1, qvoiGetDiff16x16B_8u16s_C1),
    DIFFERENCE(qvoiGetDiff16x8_8u16s_C1, qvoiGetDiff16x8B_8u16s_C1),
    DIFFERENCE(qvoiGetDiff8x16_8u16s_C1, qvoiGetDiff8x16B_8u16s_C1),
    DIFFERENCE(qvoiGetDiff8x8_8u16s_C1, qvoiGetDiff8x8B_8u16s_C1),
    DIFFERENCE(qvoiGetDiff8x4_8u16s_C1, qvoiGetDiff8x4B_8u16s_C1),
    CALLS(qvoiGetDiff4x4_8u16s_C1, samples, step, samples, step, out, Number{5, 5}),
    CALLS(qvoiSumsDiff16x16Blocks4x4_8u16s_C1, samples, step, samples, step, Words{16, 0, 0},
          Words{256, 0, 0, 0, 50}),
    CALLS(qvoiSumsDiff8x8Blocks4x4_8u16s_C1, samples, step, samples, step, Words{4, 0, 0}, Words{64, 0, 0, 0, 50}),
    CALLS(qvoiComputeTextureErrorBlock_SAD_8u16s, samples, step, samples, Words{64, 0, 0}, sum),
    CALLS(qvoiComputeTextureErrorBlock_8u16s, samples, step, samples, Words{64, 0, 0})};

const DigestEntry metrics[] = {
    CALLS(qvoiSAD16x16_8u32s, samples, step, samples, step, sum, mcType),
    CALLS(qvoiSAD8x8_8u32s_C1R, samples, step, samples, step, sum, mcType),
    CALLS(qvoiSAD4x4_8u32s, samples, step, samples, step, sum),
    CALLS(_qvoiSAD_16x16_8u32s, samples, step, samples, step, sum),
    CALLS(qvoiSAD16x16Blocks4x4_8u16u, samples, step, samples, step, shortSums),
    CALLS(qvoiSAD16x16Blocks8x8_8u16u, samples, step, samples, step, shortSums),
    CALLS(qvoiSqrDiff16x16_8u32s, samples, step, samples, step, mcType, sum),
    CALLS(qvoiSqrDiff16x16B_8u32s, samples, step, samples, step, mcType, samples, step, mcType, sum),
    CALLS(qvoiVariance16x16_8u32s, samples, step, sum),
    CALLS(qvoiMeanAbsDev16x16_8u32s_C1R, samples, step, sum),
    CALLS(qvoiVarMean8x8_8u32s_C1R, samples, step, sum, sum),
    CALLS(qvoiVarMean8x8_16s32s_C1R, residual, wordStep, sum, sum),
    CALLS(qvoiVarMeanDiff16x16_8u32s_C1R, samples, step, samples, step, sums, sum, sum, mcType),
    CALLS(qvoiVarMeanDiff16x8_8u32s_C1R, samples, step, samples, step, sums, sum, sum, mcType),
    CALLS(qvoiEdgesDetect16x16_8u_C1R, samples, step, Number{0, 128}, Number{0, 255}, Bytes{1, 9, 9})};

}  // namespace
