// Forward quantisation of MPEG-4 and H.263, and transform-reconstruct.
#include <array>

#include "digest/digest.h"
#include "mpeg4/weights.h"
#include "qvovc.h"

namespace {

struct alignas(8) Block {
    std::array<Qvo16s, 64> at;
    Qvo16s* data() { return at.data(); }
};

// Quantises many blocks: quantise(block, quantiser, random numbers) gives what else is to be compared.
template <class Quantise>
void quantiseBlocks(Digest& digest, Random& random, Quantise quantise) {
    for (int i = 0; i < 20000; ++i) {
        Block block;
        const int QP = random.range(1, 31);
        random.fill(block.at, -QP * 60, QP * 60);
        for (Qvo16s& c : block.at) {
            if (random.chance(30)) c = static_cast<Qvo16s>(QP * random.range(-90, 90));
            if (random.chance(5)) c = static_cast<Qvo16s>(random.next());
        }
        digest.add(quantise(block.data(), QP, random));
        digest.addAll(block.data(), 64);
    }
}

const DigestEntry integerIntra("qvoiQuantIntra_MPEG4_16s_I", [](Digest& digest, Random& random) {
    quantiseBlocks(digest, random, [](Qvo16s* p, int QP, Random& r) {
        const WeightRecord record(r);
        const int blockIndex = r.range(0, 9);
        return static_cast<int>(qvoiQuantIntra_MPEG4_16s_I(p, static_cast<Qvo8u>(QP), blockIndex,
                                                           r.chance(50) ? record.data() : nullptr));
    });
});
const DigestEntry integerInter("qvoiQuantInter_MPEG4_16s_I", [](Digest& digest, Random& random) {
    quantiseBlocks(digest, random, [](Qvo16s* p, int QP, Random& r) {
        const WeightRecord record(r);
        return static_cast<int>(
            qvoiQuantInter_MPEG4_16s_I(p, static_cast<Qvo8u>(QP), r.chance(50) ? record.data() : nullptr));
    });
});

// Of the floats, larger quantisers too; their products come close to whole numbers most often.
template <auto quantise>
void byFloats(Digest& digest, Random& random) {
    quantiseBlocks(digest, random, [](Qvo16s* p, int QP, Random& r) {
        std::array<float, 64> m;
        for (float& factor : m)
            factor = r.chance(80) ? 1.0f / static_cast<float>(r.range(1, 255))
                                  : static_cast<float>(r.range(-9000, 9000)) * 0.7f;
        Qvo32s last;
        quantise(p, r.chance(80) ? QP : 31 + r.range(1, 500), m.data(), &last);
        return last;
    });
}
template <auto quantise>
void byH263(Digest& digest, Random& random) {
    quantiseBlocks(digest, random, [](Qvo16s* p, int QP, Random& r) {
        Qvo32s last;
        quantise(p, r.chance(80) ? QP : 31 + r.range(1, 500), &last);
        return last;
    });
}
const DigestEntry floatIntra("qvoiQuantIntra_MPEG4_16s_C1I", byFloats<qvoiQuantIntra_MPEG4_16s_C1I>);
const DigestEntry floatInter("qvoiQuant_MPEG4_16s_C1I", byFloats<qvoiQuant_MPEG4_16s_C1I>);
const DigestEntry h263Intra("qvoiQuantIntra_H263_C1I", byH263<qvoiQuantIntra_H263_C1I>);
const DigestEntry h263Inter("qvoiQuant_H263_C1I", byH263<qvoiQuant_H263_C1I>);

const DigestEntry transRecInter("qvoiTransRecBlockCoef_inter_MPEG4", [](Digest& digest, Random& random) {
    for (int i = 0; i < 5000; ++i) {
        Block residual, levels;
        const int range = random.range(0, 255);
        random.fill(residual.at, -range, range);
        const WeightRecord record(random);
        const auto QP = static_cast<Qvo8u>(random.range(1, 31));
        qvoiTransRecBlockCoef_inter_MPEG4(residual.data(), levels.data(), residual.data(), QP,
                                          random.chance(50) ? record.data() : nullptr);
        digest.addAll(levels.data(), 64);
        digest.addAll(residual.data(), 64);
    }
});

const DigestEntry transRecIntra("qvoiTransRecBlockCoef_intra_MPEG4", [](Digest& digest, Random& random) {
    for (int i = 0; i < 5000; ++i) {
        alignas(8) std::array<Qvo8u, 64> pixels;
        Block levels;
        std::array<Qvo16s, 16> above, left;
        std::array<Qvo16s, 8> prediction = {};
        std::array<Qvo8u, 2> QPs;
        const int low = random.range(0, 255);
        random.fill(pixels, low, random.range(low, 255));
        random.fill(above, -20, 60);
        random.fill(left, -20, 60);
        random.fill(QPs, 1, 31);
        const WeightRecord record(random);
        Qvo32s gain = random.chance(80) ? 0 : qvoACPredictionOff;
        const int blockIndex = random.range(0, 9);
        const auto QP = static_cast<Qvo8u>(random.range(1, 31));
        qvoiTransRecBlockCoef_intra_MPEG4(pixels.data(), levels.data(), pixels.data(), above.data() + 8,
                                          left.data() + 8, prediction.data(), &gain, blockIndex, QP, QPs.data(), 8, 8,
                                          random.chance(50) ? record.data() : nullptr);
        digest.addAll(levels.data(), 64);
        digest.addAll(pixels.data(), 64);
        digest.addAll(prediction.data(), 8);
        digest.add(gain);
    }
});

}  // namespace
