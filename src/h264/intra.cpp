// H.264 intra prediction of 4x4 luma, 16x16 luma and 8x8 chroma blocks.
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/arith.h"
#include "qvovc/h264.h"

using namespace qvovc;

namespace {

bool has(Qvo32u flags, Qvo32u neighbours) {
    return (flags & neighbours) == neighbours;
}

template <int size>
void fill(Qvo8u* p, Qvo32s step, int value) {
    for (int y = 0; y < size; ++y, p += step)
        std::memset(p, value, size);
}

// Sums of `count` samples of a row (four at a time, in pairs of 16 bits) and of a column.
template <int count>
int sumRow(const Qvo8u* p) {
    constexpr std::uint32_t evenBytes = 0x00FF00FFu;
    std::uint32_t pairs = 0;
    for (int i = 0; i < count; i += 4) {
        std::uint32_t four;
        std::memcpy(&four, p + i, 4);
        pairs += (four & evenBytes) + (four >> 8 & evenBytes);
    }
    return static_cast<int>(pairs * 0x00010001u >> 16);
}
template <int count>
int sumColumn(const Qvo8u* p, Qvo32s step) {
    int sum = 0;
    for (int i = 0; i < count; ++i, p += step)
        sum += *p;
    return sum;
}

// The rounded mean of `count` (a power of two) samples above and as many to the left, given their sums, or of those
// that exist; the sum of those that do not is 0.
template <int count>
int meanOf(int above, bool hasAbove, int left, bool hasLeft) {
    if (hasAbove && hasLeft) return (above + left + count) / (2 * count);
    return hasAbove || hasLeft ? (above + left + count / 2) / count : 128;
}

// The DC prediction of a whole luma block.
template <int size>
int mean(const Qvo8u* p, Qvo32s step, Qvo32u flags) {
    const bool hasAbove = has(flags, qvoNeighbourAbove);
    const bool hasLeft = has(flags, qvoNeighbourLeft);
    const int above = hasAbove ? sumRow<size>(p - step) : 0;
    const int left = hasLeft ? sumColumn<size>(p - 1, step) : 0;
    return meanOf<size>(above, hasAbove, left, hasLeft);
}

// ---- 4x4 ----

// Four or eight samples in one word, the first one lowest: the directions of prediction become shifts of words, and
// the filters work on all samples at once.
using Four = std::uint32_t;
using Eight = std::uint64_t;

constexpr Four missing = 0x80808080u;

constexpr Four repeat(Four sample) {
    return sample * 0x01010101u;
}

constexpr Four pack(Four a, Four b, Four c, Four d) {
    return a | b << 8 | c << 16 | d << 24;
}

constexpr Four firstLowest(Four native) {
    return std::endian::native == std::endian::little ? native : __builtin_bswap32(native);
}

Four load(const Qvo8u* p) {
    Four samples;
    std::memcpy(&samples, p, 4);
    return firstLowest(samples);
}

void store(Qvo8u* p, Four samples) {
    samples = firstLowest(samples);
    std::memcpy(p, &samples, 4);
}

// (a + b) >> 1 and (a + b + 1) >> 1 of each sample.
constexpr Eight averageDown(Eight a, Eight b) {
    return (a & b) + ((a ^ b) >> 1 & 0x7F7F7F7F7F7F7F7Fu);
}
constexpr Eight averageUp(Eight a, Eight b) {
    return (a | b) - ((a ^ b) >> 1 & 0x7F7F7F7F7F7F7F7Fu);
}

// Neighbours in a line, such that each sample of `next` follows that of `first`.
struct Line {
    Eight first;
    Eight next;

    // (a + b + 1) >> 1 of each sample and its successor.
    Eight average() const { return averageUp(first, next); }

    // (a + 2 b + c + 2) >> 2 of each sample and its two successors; the eighth is void.
    Eight smooth() const { return averageUp(averageDown(first, next >> 8), next); }
};

// a0 b0 a1 b1 a2 b2 a3 b3
constexpr Eight spread(Eight four) {
    const Eight pairs = (four | four << 16) & 0x0000FFFF0000FFFFu;
    return (pairs | pairs << 8) & 0x00FF00FF00FF00FFu;
}
constexpr Eight interleave(Eight a, Eight b) {
    return spread(a & 0xFFFFFFFFu) | spread(b & 0xFFFFFFFFu) << 8;
}

// A 4x4 block and its neighbours, with 128 in the place of missing ones.
struct Block {
    Qvo8u* p;
    Qvo32s step;
    Qvo32u flags;

    Four above() const { return flags & qvoNeighbourAbove ? load(p - step) : missing; }
    Four left() const {  // downwards
        if (!(flags & qvoNeighbourLeft)) return missing;
        const Qvo8u* const l = p - 1;
        return pack(l[0], l[step], l[2 * std::ptrdiff_t{step}], l[3 * std::ptrdiff_t{step}]);
    }
    Four corner() const { return flags & qvoNeighbourCorner ? p[-step - 1] : 128u; }

    // T[0..7]; behind its end the last sample repeats.
    Line aboveLine() const {
        const Four first = above();
        const Four second = flags & qvoNeighbourAboveRight ? load(p - step + 4) : repeat(first >> 24);
        const Eight line = first | Eight{second} << 32;
        return {line, line >> 8 | (line & Eight{0xFF} << 56)};
    }

    // From the bottom of the left column over the corner to the end of the row above: L[3..0], K, T[0..3].
    Line cornerLine() const {
        const Four upwards = __builtin_bswap32(left());
        const Eight next = upwards >> 8 | corner() << 24 | Eight{above()} << 32;
        return {next << 8 | (upwards & 0xFF), next};
    }

    void storeRows(Eight row0, Eight row1, Eight row2, Eight row3) const {
        store(p, static_cast<Four>(row0));
        store(p + step, static_cast<Four>(row1));
        store(p + 2 * std::ptrdiff_t{step}, static_cast<Four>(row2));
        store(p + 3 * std::ptrdiff_t{step}, static_cast<Four>(row3));
    }
};

void vertical4x4(Block block) {
    const Four row = block.above();
    block.storeRows(row, row, row, row);
}

void horizontal4x4(Block block) {
    const Four left = block.left();
    block.storeRows(repeat(left & 0xFF), repeat(left >> 8 & 0xFF), repeat(left >> 16 & 0xFF), repeat(left >> 24));
}

void dc4x4(Block block) {
    fill<4>(block.p, block.step, mean<4>(block.p, block.step, block.flags));
}

void diagonalDownLeft(Block block) {
    const Eight s = block.aboveLine().smooth();
    block.storeRows(s, s >> 8, s >> 16, s >> 24);
}

void diagonalDownRight(Block block) {
    const Eight s = block.cornerLine().smooth();
    block.storeRows(s >> 24, s >> 16, s >> 8, s);
}

void verticalRight(Block block) {
    const Line line = block.cornerLine();
    const Eight a = line.average() >> 32;
    const Eight s = line.smooth();
    block.storeRows(a, s >> 24, (s >> 16 & 0xFF) | a << 8, (s >> 8 & 0xFF) | s >> 24 << 8);
}

void horizontalDown(Block block) {
    const Line line = block.cornerLine();
    const Eight s = line.smooth();
    const Eight both = interleave(line.average(), s);
    block.storeRows(both >> 48 | s >> 32 << 16, both >> 32, both >> 16, both);
}

void verticalLeft(Block block) {
    const Line line = block.aboveLine();
    const Eight a = line.average();
    const Eight s = line.smooth();
    block.storeRows(a, s, a >> 8, s >> 8);
}

void horizontalUp(Block block) {
    const Four left = block.left();
    const Four last = repeat(left >> 24);
    const Eight first = left | Eight{last} << 32;
    const Line line = {first, first >> 8};
    const Eight both = interleave(line.average(), line.smooth());
    block.storeRows(both, both >> 16, both >> 32, last);
}

struct Mode4x4 {
    void (*predict)(Block);
    Qvo32u used;  // groups whose absence is reported
};

constexpr Qvo32u needsAbove = qvoNeighbourAbove;
constexpr Qvo32u needsLeft = qvoNeighbourLeft;
constexpr Qvo32u needsAll = qvoNeighbourAbove | qvoNeighbourLeft | qvoNeighbourCorner;

constexpr Mode4x4 modes4x4[9] = {
    {vertical4x4, needsAbove},      {horizontal4x4, needsLeft},    {dc4x4, 0},
    {diagonalDownLeft, needsAbove}, {diagonalDownRight, needsAll}, {verticalRight, needsAll},
    {horizontalDown, needsAll},     {verticalLeft, needsAbove},    {horizontalUp, needsLeft}};

// ---- 16x16 and chroma ----

template <int size>
void predictVertical(Qvo8u* p, Qvo32s step) {
    Qvo8u above[size];
    std::memcpy(above, p - step, size);
    for (int y = 0; y < size; ++y, p += step)
        std::memcpy(p, above, size);
}

// From the bottom row upwards: where rows follow each other without a gap, a left neighbour is the last sample of the
// row above it.
template <int size>
void predictHorizontal(Qvo8u* p, Qvo32s step) {
    p += (size - 1) * std::ptrdiff_t{step};
    for (int y = 0; y < size; ++y, p -= step)
        std::memset(p, p[-1], size);
}

// Every sum fits 16 bits: a is at most 8160, and the gradients are within +-717 over 8 samples (16x16) or +-1355 over
// 4 (chroma).
template <int size>
void predictPlane(Qvo8u* p, Qvo32s step) {
    constexpr int half = size / 2;
    const Qvo8u* const above = p - step;
    const auto left = [&](int y) { return p[y * std::ptrdiff_t{step} - 1]; };
    int h = 0;
    int v = 0;
    for (int i = 1; i <= half; ++i) {
        h += i * (above[half - 1 + i] - above[half - 1 - i]);
        v += i * (left(half - 1 + i) - left(half - 1 - i));
    }
    const int a = 16 * (above[size - 1] + left(size - 1));
    const int b = size == 16 ? (5 * h + 32) >> 6 : (17 * h + 16) >> 5;
    const int c = size == 16 ? (5 * v + 32) >> 6 : (17 * v + 16) >> 5;

    // Several rows at a time: the compiler makes vectors of long loops only.
    constexpr int rows = 32 / size;
    Qvo16s ramp[32];
    for (int i = 0; i < 32; ++i)
        ramp[i] = wrap16(b * (i % size - (half - 1)) + c * (i / size));
    for (int y = 0; y < size; y += rows) {
        const Qvo16s start = wrap16(a + c * (y - (half - 1)) + 16);
        Qvo8u samples[32];
        for (int i = 0; i < 32; ++i)
            samples[i] = clip8u(wrap16(start + ramp[i]) >> 5);
        for (int row = 0; row < rows; ++row, p += step)
            std::memcpy(p, samples + row * size, size);
    }
}

// Each quadrant by itself; those off the diagonal prefer one side.
void predictDCChroma(Qvo8u* p, Qvo32s step, Qvo32u flags) {
    const bool hasAbove = has(flags, qvoNeighbourAbove);
    const bool hasLeft = has(flags, qvoNeighbourLeft);
    const int above0 = hasAbove ? sumRow<4>(p - step) : 0;
    const int above1 = hasAbove ? sumRow<4>(p - step + 4) : 0;
    const int left0 = hasLeft ? sumColumn<4>(p - 1, step) : 0;
    const int left1 = hasLeft ? sumColumn<4>(p - 1 + 4 * std::ptrdiff_t{step}, step) : 0;
    const int topRight = hasAbove ? meanOf<4>(above1, true, 0, false) : meanOf<4>(0, false, left0, hasLeft);
    const int bottomLeft = hasLeft ? meanOf<4>(0, false, left1, true) : meanOf<4>(above0, hasAbove, 0, false);
    Qvo8u* const low = p + 4 * std::ptrdiff_t{step};
    fill<4>(p, step, meanOf<4>(above0, hasAbove, left0, hasLeft));
    fill<4>(p + 4, step, topRight);
    fill<4>(low, step, bottomLeft);
    fill<4>(low + 4, step, meanOf<4>(above1, hasAbove, left1, hasLeft));
}

}  // namespace

QvoStatus qvoiPredictIntra_4x4_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, Qvo32s mode, Qvo32u flags) {
    if (anyNull(pSrcDst)) return qvoStatusNullPtr;
    if (step < 4) return qvoStatusStep;
    if (mode < 0 || mode > 8) return qvoStatusOutOfRange;
    const Mode4x4& kernel = modes4x4[mode];
    kernel.predict({pSrcDst, step, flags});
    return kernel.used & ~flags ? qvoStatusNeighbourSubstituted : qvoStatusOk;
}

QvoStatus qvoiPredictIntra_16x16_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, Qvo32s mode, Qvo32u flags) {
    if (anyNull(pSrcDst)) return qvoStatusNullPtr;
    if (step < 16) return qvoStatusMbStep;
    static constexpr Qvo32u needs[4] = {needsAbove, needsLeft, 0, needsAll};
    if (mode < 0 || mode > 3) return qvoStatusOutOfRange;
    if (!has(flags, needs[mode])) return qvoStatusNeighbourUnavailable;
    switch (mode) {
        case qvoIntra16x16Vertical:
            predictVertical<16>(pSrcDst, step);
            break;
        case qvoIntra16x16Horizontal:
            predictHorizontal<16>(pSrcDst, step);
            break;
        case qvoIntra16x16DC:
            fill<16>(pSrcDst, step, mean<16>(pSrcDst, step, flags));
            break;
        default:
            predictPlane<16>(pSrcDst, step);
            break;
    }
    return qvoStatusOk;
}

QvoStatus qvoiPredictIntraChroma8x8_H264_8u_C1IR(Qvo8u* pSrcDst, Qvo32s step, Qvo32s mode, Qvo32u flags) {
    if (anyNull(pSrcDst)) return qvoStatusNullPtr;
    if (step < 8) return qvoStatusMbStep;
    static constexpr Qvo32u needs[4] = {0, needsLeft, needsAbove, needsAll};
    if (mode < 0 || mode > 3) return qvoStatusOutOfRange;
    if (!has(flags, needs[mode])) return qvoStatusNeighbourUnavailable;
    switch (mode) {
        case qvoIntraChromaDC:
            predictDCChroma(pSrcDst, step, flags);
            break;
        case qvoIntraChromaHorizontal:
            predictHorizontal<8>(pSrcDst, step);
            break;
        case qvoIntraChromaVertical:
            predictVertical<8>(pSrcDst, step);
            break;
        default:
            predictPlane<8>(pSrcDst, step);
            break;
    }
    return qvoStatusOk;
}
