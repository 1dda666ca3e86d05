// Codes of macroblock headers: mcbpc of I- and P-VOPs and cbpy (ISO/IEC 14496-2 tables B-6 to B-8).
#ifndef QVOVC_EXAMPLES_MPEG4_MACROBLOCK_CODES_H
#define QVOVC_EXAMPLES_MPEG4_MACROBLOCK_CODES_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace codecs::mpeg4 {

struct HeaderCode {
    std::uint8_t value;
    std::uint8_t length;
};

// Indexed by the coded blocks of the chrominance: bit 1 for block 4, bit 0 for block 5.
using ChromaCodes = std::array<HeaderCode, 4>;

// mb_type 3 in I-VOPs.
constexpr ChromaCodes mcbpcIntraVop = {{{1, 1}, {1, 3}, {2, 3}, {3, 3}}};
// mb_type 0, 2 (four vectors) and 3 (intra) in P-VOPs.
constexpr ChromaCodes mcbpcInter = {{{1, 1}, {3, 4}, {2, 4}, {5, 6}}};
constexpr ChromaCodes mcbpcInter4V = {{{2, 3}, {5, 7}, {4, 7}, {5, 8}}};
constexpr ChromaCodes mcbpcIntra = {{{3, 5}, {4, 8}, {3, 8}, {3, 7}}};

// Indexed by the coded blocks of the luminance of an intra macroblock, bit 3 for block 0; in inter macroblocks by its
// complement.
constexpr std::array<HeaderCode, 16> cbpy = {{{3, 4},
                                              {5, 5},
                                              {4, 5},
                                              {9, 4},
                                              {3, 5},
                                              {7, 4},
                                              {2, 6},
                                              {11, 4},
                                              {2, 5},
                                              {3, 6},
                                              {5, 4},
                                              {10, 4},
                                              {4, 4},
                                              {8, 4},
                                              {6, 4},
                                              {3, 2}}};

}  // namespace codecs::mpeg4

#endif
