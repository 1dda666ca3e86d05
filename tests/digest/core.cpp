#include "digest/digest.h"

namespace {

using namespace drawn;

const DigestEntry putBits("qvoiPutBits", [](Digest& digest, Random& random) {
    for (auto writer : {&qvoiPutBitsLeftMost, &qvoiPutBitsRightMost}) {
        std::vector<Qvo32u> words(2000);
        Qvo32u* position = words.data();
        Qvo32u left = 32;
        for (int i = 0; i < 1900; ++i) {
            const auto value = static_cast<Qvo32s>(random.next());
            writer(&position, &left, value, static_cast<Qvo32u>(random.range(1, 32)));
        }
        digest.addAll(words.data(), words.size());
    }
});

const Words words{64, -32768, 32767}, small{64, -3, 3};
const Bytes source{400, 0, 255}, target{400, 0, 0};
const Number size{1, 9}, step{20, 20};

const DigestEntry services[] = {
    calls("qvosMulC_16s_ISfs", qvosMulC_16s_ISfs, Number{0, 0, 100}, words, Number{64, 64}, Number{-20, 33}),
    calls("qvoiCountZeros8x8_16s_C1", qvoiCountZeros8x8_16s_C1, small, Memory<Qvo32u>{1, 0, 0}),
    calls("qvosThreshold_16s_I", qvosThreshold_16s_I, small, Number{64, 64}, Number{-2, 2}, Number{0, 9}),
    calls("qvosSet_16s", qvosSet_16s, Number{0, 9}, words, size),
    calls("qvosZero_16s", qvosZero_16s, words, size),
    calls("qvosCopy_8u", qvosCopy_8u, source, target, Number{1, 400}),
    calls("qvosSet_8u", qvosSet_8u, Number{0, 255}, target, size),
    calls("qvoiSet_8u_C1R", qvoiSet_8u_C1R, Number{0, 255}, target, step, size, size),
    calls("qvoiCopyBlock_8x8_8u", qvoiCopyBlock_8x8_8u, source, step, target, step),
    calls("qvoiCopyBlock_16x16_8u", qvoiCopyBlock_16x16_8u, source, step, target, step),
    calls("qvoiMCBlock_RoundOff_8u", qvoiMCBlock_RoundOff_8u, source, step, target, step, Number{-1, 4}),
    calls("qvoiMCBlock_RoundOn_8u", qvoiMCBlock_RoundOn_8u, source, step, target, step, Number{-1, 4})};

}  // namespace
