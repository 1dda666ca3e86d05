// Figures of ITU-T H.263 that its decoder and encoder share.
#ifndef QVOVC_EXAMPLES_H263_TABLES_H
#define QVOVC_EXAMPLES_H263_TABLES_H

#include <qvovc.h>

#include <array>

namespace codecs::h263 {

// The 17 bits, a one behind zeros, with which pictures, groups of blocks and slices begin. Five more are 0 for a picture,
// the number of a group, or 31 for the end of the stream (5.1.1, 5.2.2).
constexpr int startCodeBits = 17;

struct PictureSize {
    int width;
    int height;
};

// The source formats 1 to 5 (5.1.3): sub-QCIF, QCIF, CIF, 4CIF, 16CIF.
constexpr std::array<PictureSize, 6> standardSizes = {
    {{}, {128, 96}, {176, 144}, {352, 288}, {704, 576}, {1408, 1152}}};

// Sample aspect ratios 1 to 5 (5.1.5). Standard sizes have the second.
struct AspectRatio {
    int numerator;
    int denominator;
};
constexpr std::array<AspectRatio, 6> aspectRatios = {{{}, {1, 1}, {12, 11}, {10, 11}, {16, 11}, {40, 33}}};
constexpr int standardAspect = 2;
constexpr int extendedAspect = 15;

// Rows of macroblocks in a group of blocks (5.2).
constexpr int groupRows(int height) {
    return height <= 400 ? 1 : height <= 800 ? 2 : 4;
}

// DQUANT (table 12).
constexpr std::array<int, 4> quantiserChanges = {-1, -2, 1, 2};

// The quantiser of chrominance in the modified quantisation mode (table T.2).
constexpr std::array<Qvo8u, 32> chromaQuantisers = {0,  1,  2,  3,  4,  5,  6,  6,  7,  8,  9,  9,  10, 10, 11, 11,
                                                    12, 12, 12, 13, 13, 13, 14, 14, 14, 14, 14, 15, 15, 15, 15, 15};

// Macroblock types (table 9).
enum MacroblockType {
    typeInter = 0,
    typeInterQ = 1,
    typeInter4V = 2,
    typeIntra = 3,
    typeIntraQ = 4,
    typeInter4VQ = 5
};

}  // namespace codecs::h263

#endif
