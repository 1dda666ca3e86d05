#include "digest/digest.h"

namespace {

using namespace drawn;

const Words words{64, -32768, 32767}, small{64, -3, 3};
const Bytes source{400, 0, 255}, target{400, 0, 0};
const Number size{1, 9}, step{20, 20};

const Memory<Qvo32u> stream{3, 0, 0x7FFFFFFF};
const Number bitsLeft{1, 32}, code{0, 0, 100}, length{1, 32};

const DigestEntry services[] = {STREAMS(qvoiPutBitsLeftMost, stream, bitsLeft, code, length),
                                STREAMS(qvoiPutBitsRightMost, stream, bitsLeft, code, length),
                                CALLS(qvosMulC_16s_ISfs, Number{0, 0, 100}, words, Number{64, 64}, Number{-20, 33}),
                                CALLS(qvoiCountZeros8x8_16s_C1, small, Memory<Qvo32u>{1, 0, 0}),
                                CALLS(qvosThreshold_16s_I, small, Number{64, 64}, Number{-2, 2}, Number{0, 9}),
                                CALLS(qvosSet_16s, Number{0, 9}, words, size),
                                CALLS(qvosZero_16s, words, size),
                                CALLS(qvosCopy_8u, source, target, Number{1, 400}),
                                CALLS(qvosSet_8u, Number{0, 255}, target, size),
                                CALLS(qvoiSet_8u_C1R, Number{0, 255}, target, step, size, size),
                                CALLS(qvoiCopyBlock_8x8_8u, source, step, target, step),
                                CALLS(qvoiCopyBlock_16x16_8u, source, step, target, step),
                                CALLS(qvoiMCBlock_RoundOff_8u, source, step, target, step, Number{-1, 4}),
                                CALLS(qvoiMCBlock_RoundOn_8u, source, step, target, step, Number{-1, 4})};

}  // namespace
