#include <vector>

#include "digest/digest.h"
#include "qvovc.h"

namespace {

const DigestEntry putBits("qvoiPutBits", [](Digest& digest, Random& random) {
    for (auto writer : {&qvoiPutBitsLeftMost, &qvoiPutBitsRightMost}) {
        std::vector<Qvo32u> words(2000);
        Qvo32u* position = words.data();
        Qvo32u left = 32;
        for (int i = 0; i < 1900; ++i) {
            writer(&position, &left, static_cast<Qvo32s>(random.next()), static_cast<Qvo32u>(random.range(1, 32)));
        }
        digest.addAll(words.data(), words.size());
    }
});

const DigestEntry mulC("qvosMulC_16s_ISfs", [](Digest& digest, Random& random) {
    std::vector<Qvo16s> v(64);
    for (Qvo32s scale = -20; scale <= 33; ++scale) {
        for (int i = 0; i < 50; ++i) {
            random.fill(v, -32768, 32767);
            qvosMulC_16s_ISfs(static_cast<Qvo16s>(random.next()), v.data(), 64, scale);
            digest.addAll(v.data(), v.size());
        }
    }
});

const DigestEntry vectors("qvos and qvoi services", [](Digest& digest, Random& random) {
    std::vector<Qvo8u> source(400), bytes(400);
    std::vector<Qvo16s> words(64);
    for (int i = 0; i < 200; ++i) {
        random.fill(source, 0, 255);
        random.fill(words, -3, 3);
        const Qvo32s width = random.range(1, 9), height = random.range(1, 9), level = random.range(-2, 2);
        Qvo32u zeros = 0;
        qvoiCountZeros8x8_16s_C1(words.data(), &zeros);
        digest.add(zeros);
        qvosThreshold_16s_I(words.data(), 64, static_cast<Qvo16s>(level), i % 2 ? 4 : i);
        qvosSet_16s(static_cast<Qvo16s>(i), words.data() + 40, width);
        qvosZero_16s(words.data() + 50, height);
        digest.addAll(words.data(), words.size());
        qvosCopy_8u(source.data(), bytes.data(), random.range(1, 400));
        qvosSet_8u(static_cast<Qvo8u>(i), bytes.data(), random.range(1, 30));
        qvoiSet_8u_C1R(static_cast<Qvo8u>(i + 1), bytes.data() + 7, 20, width, height);
        qvoiCopyBlock_8x8_8u(source.data(), 19, bytes.data() + 3, 20);
        qvoiCopyBlock_16x16_8u(source.data() + 8, 20, bytes.data() + 31, 18);
        qvoiMCBlock_RoundOff_8u(source.data(), 20, bytes.data() + 160, 16, random.range(-1, 4));
        qvoiMCBlock_RoundOn_8u(source.data(), 20, bytes.data() + 168, 16, random.range(-1, 4));
        digest.addAll(bytes.data(), bytes.size());
    }
});

}  // namespace
