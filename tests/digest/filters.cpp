#include <vector>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

const DigestEntry header("H.263 macroblock headers", [](Digest& digest, Random& random) {
    Qvo8u bytes[2];
    for (int i = 0; i < 20000; ++i) {
        bytes[0] = static_cast<Qvo8u>(random.range(0, 255) >> random.range(0, 8));
        bytes[1] = static_cast<Qvo8u>(random.range(0, 255));
        Qvo8u* position = bytes;
        Qvo32s offset = random.range(0, 7);
        Qvo8u code = 77;
        Qvo32s quantiser = random.range(1, 31);
        if (i % 5 == 4) {
            digest.add(static_cast<int>(qvoiUpdateQuant_MQ_H263_1u32s_I(&position, &offset, &quantiser)));
            digest.add(quantiser);
        } else {
            const auto decode = i % 5 == 0   ? qvoiDecodeMCBPCIntra_H263
                                : i % 5 == 1 ? qvoiDecodeMCBPCInter_H263
                                : i % 5 == 2 ? qvoiDecodeCBPY_H263
                                             : qvoiDecodeMODB_H263;
            digest.add(static_cast<int>(decode(&position, &offset, &code)));
            digest.add(code);
        }
        digest.add(static_cast<int>(position - bytes) * 8 + offset);
    }
});

const DigestEntry expansion("qvoiExpandFrame_H263_8u", [](Digest& digest, Random& random) {
    std::vector<Qvo8u> frame(64 * 64);
    for (int i = 0; i < 100; ++i) {
        random.fill(frame, 0, 255);
        const Qvo32s width = random.range(8, 24), height = random.range(1, 24);
        qvoiExpandFrame_H263_8u(frame.data(), width, height, random.range(8, 20), 64);
        digest.addAll(frame.data(), frame.size());
    }
});

const DigestEntry h263("qvoiFilterDeblocking_H263", [](Digest& digest, Random& random) {
    std::vector<Qvo8u> area(8 * 12);
    for (int i = 0; i < 2000; ++i) {
        const int low = random.range(0, 200);
        random.fill(area, low, low + 55);
        qvoiFilterDeblocking_HorEdge_H263_8u_I(&area[48], 8, 1 + i % 31);
        qvoiFilterDeblocking_VerEdge_H263_8u_I(&area[4], 8, 1 + i % 31);
        digest.addAll(area.data(), area.size());
    }
});

const DigestEntry mpeg4("qvoiFilterDeblocking_MPEG4", [](Digest& digest, Random& random) {
    std::vector<Qvo8u> area(16 * 16);
    for (int i = 0; i < 2000; ++i) {
        const int low = random.range(0, 200), spread = random.range(1, 55);
        random.fill(area, low, low + spread);
        qvoiFilterDeblocking_HorEdge_MPEG4_8u_I(&area[16 * 8 + 3], 16, 1 + i % 31, random.range(0, 5),
                                                random.range(2, 8));
        qvoiFilterDeblocking_VerEdge_MPEG4_8u_I(&area[16 * 4 + 8], 16, 1 + i % 31, random.range(0, 5),
                                                random.range(2, 8));
        digest.addAll(area.data(), area.size());
    }
});

const DigestEntry deringing("qvoiFilterDeringing_MPEG4", [](Digest& digest, Random& random) {
    std::vector<Qvo8u> area(16 * 16), block(64);
    Qvo32s thresholds[6];
    for (int i = 0; i < 2000; ++i) {
        const int low = random.range(0, 150), spread = random.range(1, 105);
        random.fill(area, low, low + spread);
        qvoiFilterDeringingThresholdMB_MPEG4_8u(area.data(), 16, area.data(), 16, &area[99], 16, thresholds);
        digest.addAll(thresholds, 6);
        qvoiFilterDeringingSmoothBlock_MPEG4_8u(&area[17 * 4], 16, block.data(), 8, i % 32, low + 1);
        digest.addAll(block.data(), block.size());
    }
});

}  // namespace
