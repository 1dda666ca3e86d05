#include <vector>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

constexpr int step = 32;

struct Planes {
    std::vector<Qvo8u> source = std::vector<Qvo8u>(32 * step);
    std::vector<Qvo8u> target = std::vector<Qvo8u>(16 * step);
    const Qvo8u* block() const { return source.data() + 4 * step + 4; }
};

const DigestEntry luma("qvoiInterpolateLuma_H264_8u_C1R", [](Digest& digest, Random& random) {
    Planes planes;
    for (int round = 0; round < 3200; ++round) {
        random.fill(planes.source, 0, 255);
        digest.add(qvoiInterpolateLuma_H264_8u_C1R(planes.block(), step, planes.target.data(), step, round & 3,
                                                   round >> 2 & 3, 4 << random.range(0, 2), 4 << random.range(0, 2)));
        digest.addAll(planes.target.data(), planes.target.size());
    }
});

const DigestEntry chroma("qvoiInterpolateChroma_H264_8u_C1R", [](Digest& digest, Random& random) {
    Planes planes;
    for (int round = 0; round < 3200; ++round) {
        random.fill(planes.source, 0, 255);
        digest.add(qvoiInterpolateChroma_H264_8u_C1R(planes.block(), step, planes.target.data(), step, round & 7,
                                                     round >> 3 & 7, 2 << random.range(0, 2),
                                                     2 << random.range(0, 2)));
        digest.addAll(planes.target.data(), planes.target.size());
    }
});

const DigestEntry weighted("qvoiWeightedAverage_H264_8u_C1IR", [](Digest& digest, Random& random) {
    Planes planes;
    for (int round = 0; round < 3200; ++round) {
        random.fill(planes.source, 0, 255);
        random.fill(planes.target, 0, 255);
        const bool wide = random.chance(20);
        const int weight1 = wide ? static_cast<int>(random.next()) : random.range(-128, 127);
        const int weight2 = wide ? static_cast<int>(random.next()) : random.range(-128, 127);
        digest.add(qvoiWeightedAverage_H264_8u_C1IR(planes.block(), planes.target.data(), step, weight1, weight2,
                                                    static_cast<Qvo8u>(random.range(0, wide ? 40 : 8)),
                                                    random.range(-128, 127), 2 << random.range(0, 3),
                                                    2 << random.range(0, 3)));
        digest.addAll(planes.target.data(), planes.target.size());
    }
});

}  // namespace
