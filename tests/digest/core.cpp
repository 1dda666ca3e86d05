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

}  // namespace
