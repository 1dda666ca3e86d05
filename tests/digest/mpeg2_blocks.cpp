// MPEG-1/2 codes, block reconstruction, quantisation and block writing.
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

}  // namespace
