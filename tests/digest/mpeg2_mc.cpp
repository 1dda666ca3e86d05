#include <vector>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

constexpr int rowStep = 20;  // room for 16 samples and the two beyond them

struct Input {
    std::vector<Qvo8u> forward = std::vector<Qvo8u>(rowStep * 17), backward = forward;
    std::vector<Qvo16s> residual = std::vector<Qvo16s>(256);
    Qvo32s mcTypeF, mcTypeB, roundControl;

    explicit Input(Random& random) {
        random.fill(forward, 0, 255);
        random.fill(backward, 0, 255);
        if (random.chance(70))
            random.fill(residual, -256, 255);
        else
            random.fill(residual, -32768, 32767);
        mcTypeF = static_cast<Qvo32s>(random.next());
        mcTypeB = static_cast<Qvo32s>(random.next());
        roundControl = random.chance(90) ? random.range(0, 1) : static_cast<Qvo32s>(random.next());
    }
};

using OneReference = decltype(&qvoiMC16x16_8u_C1);
using TwoReferences = decltype(&qvoiMC16x16B_8u_C1);

template <OneReference one, TwoReferences two>
void compensate(Digest& digest, Random& random) {
    for (int i = 0; i < 300; ++i) {
        const Input in(random);
        std::vector<Qvo8u> dst(256);
        one(in.forward.data(), rowStep, in.residual.data(), 32, dst.data(), 16, in.mcTypeF, in.roundControl);
        digest.addAll(dst.data(), dst.size());
        two(in.forward.data(), rowStep, in.mcTypeF, in.backward.data(), rowStep, in.mcTypeB, in.residual.data(), 32,
            dst.data(), 16, in.roundControl);
        digest.addAll(dst.data(), dst.size());
    }
}

const DigestEntry entries[] = {{"qvoiMC16x16_8u_C1", compensate<qvoiMC16x16_8u_C1, qvoiMC16x16B_8u_C1>},
                               {"qvoiMC16x8_8u_C1", compensate<qvoiMC16x8_8u_C1, qvoiMC16x8B_8u_C1>},
                               {"qvoiMC16x8UV_8u_C1", compensate<qvoiMC16x8UV_8u_C1, qvoiMC16x8BUV_8u_C1>},
                               {"qvoiMC16x4_8u_C1", compensate<qvoiMC16x4_8u_C1, qvoiMC16x4B_8u_C1>},
                               {"qvoiMC8x16_8u_C1", compensate<qvoiMC8x16_8u_C1, qvoiMC8x16B_8u_C1>},
                               {"qvoiMC8x8_8u_C1", compensate<qvoiMC8x8_8u_C1, qvoiMC8x8B_8u_C1>},
                               {"qvoiMC8x4_8u_C1", compensate<qvoiMC8x4_8u_C1, qvoiMC8x4B_8u_C1>},
                               {"qvoiMC4x8_8u_C1", compensate<qvoiMC4x8_8u_C1, qvoiMC4x8B_8u_C1>},
                               {"qvoiMC4x4_8u_C1", compensate<qvoiMC4x4_8u_C1, qvoiMC4x4B_8u_C1>},
                               {"qvoiMC4x2_8u_C1", compensate<qvoiMC4x2_8u_C1, qvoiMC4x2B_8u_C1>},
                               {"qvoiMC2x4_8u_C1", compensate<qvoiMC2x4_8u_C1, qvoiMC2x4B_8u_C1>},
                               {"qvoiMC2x2_8u_C1", compensate<qvoiMC2x2_8u_C1, qvoiMC2x2B_8u_C1>}};

const DigestEntry reconBlock("qvoiReconBlock_8x8", [](Digest& digest, Random& random) {
    for (int i = 0; i < 300; ++i) {
        const Input in(random);
        std::vector<Qvo8u> dst(64);
        qvoiReconBlock_8x8(in.forward.data(), rowStep, in.residual.data(), dst.data(), 8);
        digest.addAll(dst.data(), dst.size());
    }
});

}  // namespace
