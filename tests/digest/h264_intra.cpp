#include <vector>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

template <QvoStatus (*operation)(Qvo8u*, Qvo32s, Qvo32s, Qvo32u), int size, int modes>
void run(Digest& digest, Random& random) {
    constexpr int step = 32;
    std::vector<Qvo8u> plane((size + 1) * step);
    for (int round = 0; round < 4000; ++round) {
        random.fill(plane, 0, 255);
        const auto flags = random.next();
        digest.add(operation(plane.data() + step + 8, step, round % modes, flags));
        digest.addAll(plane.data(), plane.size());
    }
}

const DigestEntry intra4x4("qvoiPredictIntra_4x4_H264_8u_C1IR", run<qvoiPredictIntra_4x4_H264_8u_C1IR, 4, 9>);
const DigestEntry intra16x16("qvoiPredictIntra_16x16_H264_8u_C1IR", run<qvoiPredictIntra_16x16_H264_8u_C1IR, 16, 4>);
const DigestEntry intraChroma("qvoiPredictIntraChroma8x8_H264_8u_C1IR",
                              run<qvoiPredictIntraChroma8x8_H264_8u_C1IR, 8, 4>);

}  // namespace
