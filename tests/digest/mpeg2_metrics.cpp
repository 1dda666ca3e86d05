#include <vector>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

constexpr int rowStep = 19;

struct Input {
    std::vector<Qvo8u> src = std::vector<Qvo8u>(rowStep * 17), forward = src, backward = src;
    Qvo32s mcTypeF, mcTypeB, roundControl;

    explicit Input(Random& random) {
        const int low = random.range(0, 255), high = random.range(low, 255);
        for (auto* plane : {&src, &forward, &backward})
            random.fill(*plane, low, high);
        mcTypeF = static_cast<Qvo32s>(random.next());
        mcTypeB = static_cast<Qvo32s>(random.next());
        roundControl = random.chance(90) ? random.range(0, 1) : static_cast<Qvo32s>(random.next());
    }
};

using OneReference = decltype(&qvoiGetDiff16x16_8u16s_C1);
using TwoReferences = decltype(&qvoiGetDiff16x16B_8u16s_C1);

template <OneReference one, TwoReferences two>
void differences(Digest& digest, Random& random) {
    for (int i = 0; i < 300; ++i) {
        const Input in(random);
        std::vector<Qvo16s> diff(256), prediction(256);
        one(in.src.data(), rowStep, in.forward.data(), rowStep, diff.data(), 32, prediction.data(), 32, in.mcTypeF,
            in.roundControl);
        digest.addAll(diff.data(), diff.size());
        digest.addAll(prediction.data(), prediction.size());
        two(in.src.data(), rowStep, in.forward.data(), rowStep, in.mcTypeF, in.backward.data(), rowStep, in.mcTypeB,
            diff.data(), 32, in.roundControl);
        digest.addAll(diff.data(), diff.size());
    }
}

const DigestEntry getDiff[] = {
    {"qvoiGetDiff16x16_8u16s_C1", differences<qvoiGetDiff16x16_8u16s_C1, qvoiGetDiff16x16B_8u16s_C1>},
    {"qvoiGetDiff16x8_8u16s_C1", differences<qvoiGetDiff16x8_8u16s_C1, qvoiGetDiff16x8B_8u16s_C1>},
    {"qvoiGetDiff8x16_8u16s_C1", differences<qvoiGetDiff8x16_8u16s_C1, qvoiGetDiff8x16B_8u16s_C1>},
    {"qvoiGetDiff8x8_8u16s_C1", differences<qvoiGetDiff8x8_8u16s_C1, qvoiGetDiff8x8B_8u16s_C1>},
    {"qvoiGetDiff8x4_8u16s_C1", differences<qvoiGetDiff8x4_8u16s_C1, qvoiGetDiff8x4B_8u16s_C1>}};

const DigestEntry full("differences at full-pel position", [](Digest& digest, Random& random) {
    for (int i = 0; i < 300; ++i) {
        const Input in(random);
        const Qvo8u *src = in.src.data(), *ref = in.forward.data();
        std::vector<Qvo16s> diff(256), sums(16);
        Qvo32s sad = 0;
        qvoiGetDiff4x4_8u16s_C1(src, rowStep, ref, rowStep, diff.data(), 5);
        digest.addAll(diff.data(), diff.size());
        qvoiSumsDiff16x16Blocks4x4_8u16s_C1(src, rowStep, ref, rowStep, sums.data(), diff.data());
        digest.addAll(diff.data(), diff.size());
        digest.addAll(sums.data(), sums.size());
        qvoiSumsDiff8x8Blocks4x4_8u16s_C1(src, rowStep, ref, rowStep, sums.data(), nullptr);
        digest.addAll(sums.data(), sums.size());
        qvoiComputeTextureErrorBlock_SAD_8u16s(src, rowStep, ref, diff.data(), &sad);
        digest.addAll(diff.data(), diff.size());
        digest.add(sad);
        qvoiComputeTextureErrorBlock_8u16s(ref, rowStep, src, diff.data());
        digest.addAll(diff.data(), diff.size());
    }
});

const DigestEntry matching("SAD and SqrDiff", [](Digest& digest, Random& random) {
    for (int i = 0; i < 500; ++i) {
        const Input in(random);
        const Qvo8u *src = in.src.data(), *ref = in.forward.data();
        Qvo32s result[6] = {};
        Qvo16u sads[20] = {};
        qvoiSAD16x16_8u32s(src, rowStep, ref, rowStep, &result[0], in.mcTypeF);
        qvoiSAD8x8_8u32s_C1R(src, rowStep, ref, rowStep, &result[1], in.mcTypeF);
        qvoiSAD4x4_8u32s(src, rowStep, ref, rowStep, &result[2]);
        _qvoiSAD_16x16_8u32s(src, rowStep, ref, rowStep, &result[3]);
        qvoiSqrDiff16x16_8u32s(src, rowStep, ref, rowStep, in.mcTypeF, &result[4]);
        qvoiSqrDiff16x16B_8u32s(src, rowStep, ref, rowStep, in.mcTypeF, in.backward.data(), rowStep, in.mcTypeB,
                                &result[5]);
        qvoiSAD16x16Blocks4x4_8u16u(src, rowStep, ref, rowStep, sads);
        qvoiSAD16x16Blocks8x8_8u16u(src, rowStep, ref, rowStep, sads + 16);
        digest.addAll(result, 6);
        digest.addAll(sads, 20);
    }
});

const DigestEntry statistics("block statistics", [](Digest& digest, Random& random) {
    for (int i = 0; i < 500; ++i) {
        const Input in(random);
        const Qvo8u* src = in.src.data();
        std::vector<Qvo16s> wide(64);
        random.fill(wide, -32768, 32767);
        Qvo32s sums[4], result[18] = {};
        random.fill(sums, -70000, 70000);
        Qvo8u edges = 0;
        qvoiVariance16x16_8u32s(src, rowStep, &result[0]);
        qvoiMeanAbsDev16x16_8u32s_C1R(src, rowStep, &result[1]);
        qvoiVarMean8x8_8u32s_C1R(src, rowStep, &result[2], &result[3]);
        qvoiVarMean8x8_16s32s_C1R(wide.data(), 16, &result[4], &result[5]);
        qvoiVarMeanDiff16x16_8u32s_C1R(src, rowStep, in.forward.data(), rowStep, sums, &result[6], &result[10],
                                       in.mcTypeF);
        qvoiVarMeanDiff16x8_8u32s_C1R(src, rowStep, in.forward.data(), rowStep, sums, &result[14], &result[16],
                                      in.mcTypeB);
        qvoiEdgesDetect16x16_8u_C1R(src, rowStep, static_cast<Qvo8u>(random.range(0, 128)),
                                    static_cast<Qvo8u>(random.range(0, 255)), &edges);
        digest.addAll(result, 18);
        digest.add(edges);
    }
});

}  // namespace
