#include <vector>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

template <QvoStatus (*operation)(Qvo8u*, Qvo32s, const Qvo8u*, const Qvo8u*, const Qvo8u*, const Qvo8u*)>
void run(Digest& digest, Random& random) {
    constexpr int step = 24;
    std::vector<Qvo8u> plane(20 * step);
    for (int round = 0; round < 4000; ++round) {
        const int amplitude = 1 << random.range(0, 6);
        random.fill(plane, 128 - amplitude, 127 + amplitude);
        Qvo8u alpha[2], beta[2], thresholds[16], strengths[16];
        random.fill(alpha, 0, 255);
        random.fill(beta, 0, 40);
        random.fill(thresholds, 0, random.chance(20) ? 255 : 25);
        random.fill(strengths, 0, 4);
        digest.add(operation(plane.data() + 4 * step + 4, step, alpha, beta, thresholds, strengths));
        digest.addAll(plane.data(), plane.size());
    }
}

const DigestEntry lumaVer("qvoiFilterDeblockingLuma_VerEdge_H264_8u_C1IR",
                          run<qvoiFilterDeblockingLuma_VerEdge_H264_8u_C1IR>);
const DigestEntry lumaHor("qvoiFilterDeblockingLuma_HorEdge_H264_8u_C1IR",
                          run<qvoiFilterDeblockingLuma_HorEdge_H264_8u_C1IR>);
const DigestEntry chromaVer("qvoiFilterDeblockingChroma_VerEdge_H264_8u_C1IR",
                            run<qvoiFilterDeblockingChroma_VerEdge_H264_8u_C1IR>);
const DigestEntry chromaHor("qvoiFilterDeblockingChroma_HorEdge_H264_8u_C1IR",
                            run<qvoiFilterDeblockingChroma_HorEdge_H264_8u_C1IR>);

}  // namespace
