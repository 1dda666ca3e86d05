// H.264 sample interpolation at quarter (luma) and eighth (chroma) positions and weighted averaging.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/arith.h"
#include "qvovc/h264.h"
#include "qvovc/internals.h"

using namespace qvovc;

namespace {

// ---- luma samples ----

// The filters work on blocks of a fixed width and up to maxHeight rows and leave their results in contiguous rows of
// that width, in memory of the kernel's own. They are compiled once each, outside of the kernels, so that all positions
// get the same vector code.
enum { maxHeight = 16 };

// (1, -5, 20, 20, -5, 1), the taps given as the sums of the outer, middle and inner pair.
constexpr Qvo32s sixTap(Qvo32s outer, Qvo32s middle, Qvo32s inner) {
    return outer - 5 * middle + 20 * inner;
}

template <int width>
[[gnu::noinline]] void copy(const Qvo8u* p, Qvo32s step, Qvo8u* pDst, Qvo32s dstStep, Qvo32s height) {
    for (; height > 0; --height, p += step, pDst += dstStep)
        std::memcpy(pDst, p, width);
}

// Half samples of rows.
template <int width>
[[gnu::noinline]] void filterRows(const Qvo8u* p, Qvo32s step, Qvo8u* __restrict out, Qvo32s height) {
    for (; height > 0; --height, p += step, out += width) {
        for (int x = 0; x < width; ++x) {
            const Qvo32s sum = sixTap(p[x - 2] + p[x + 3], p[x - 1] + p[x + 2], p[x] + p[x + 1]);
            out[x] = clip8u((sum + 16) >> 5);
        }
    }
}

// Half samples of columns. The rows are first brought together, so that one long loop runs over all of them: of short
// ones the compiler makes no vectors.
template <int width>
[[gnu::noinline]] void filterColumns(const Qvo8u* p, Qvo32s step, Qvo8u* __restrict out, Qvo32s height) {
    Qvo8u rows[(2 + maxHeight + 3) * width];
    copy<width>(p - step - step, step, rows, width, 2 + height + 3);
    const Qvo8u* const row = rows + 2 * width;
    const std::ptrdiff_t size = std::ptrdiff_t{width} * height;
    for (std::ptrdiff_t i = 0; i < size; ++i) {
        const Qvo32s sum = sixTap(row[i - 2 * width] + row[i + 3 * width], row[i - width] + row[i + 2 * width],
                                  row[i] + row[i + width]);
        out[i] = clip8u((sum + 16) >> 5);
    }
}

// The unclipped sums of rows, -2550..10710.
template <int width>
[[gnu::noinline]] void sumRows(const Qvo8u* p, Qvo32s step, Qvo16s* __restrict out, Qvo32s height) {
    for (; height > 0; --height, p += step, out += width) {
        for (int x = 0; x < width; ++x) {
            out[x] = wrap16(sixTap(p[x - 2] + p[x + 3], p[x - 1] + p[x + 2], p[x] + p[x + 1]));
        }
    }
}

// The half samples of rows from their sums.
template <int width>
[[gnu::noinline]] void clipSums(const Qvo16s* sums, Qvo8u* __restrict out, Qvo32s height) {
    const std::ptrdiff_t size = std::ptrdiff_t{width} * height;
    for (std::ptrdiff_t i = 0; i < size; ++i)
        out[i] = clip8u((sums[i] + 16) >> 5);
}

// The centre samples from the sums of rows, of which 2 more above and 3 more below are read: (a - 5 b + 20 c + 512)
// >> 10, with a, b and c the sums of the outer, middle and inner pair. It is done in 16 bits, in steps that divide by
// 4 and round down, as
//   (((((a - b) >> 2) - b + c) >> 2) + c + 32) >> 6,
// which gives the same result. a, b and c lie in -5100..21420, a - b in +-26520, u in -28050..11730. u + c may need 17
// bits and is halved as it is formed.
template <int width>
[[gnu::noinline]] void filterSums(const Qvo16s* sums, Qvo8u* __restrict out, Qvo32s height) {
    const std::ptrdiff_t size = std::ptrdiff_t{width} * height;
    for (std::ptrdiff_t i = 0; i < size; ++i) {
        const Qvo16s a = wrap16(sums[i - 2 * width] + sums[i + 3 * width]);
        const Qvo16s b = wrap16(sums[i - width] + sums[i + 2 * width]);
        const Qvo16s c = wrap16(sums[i] + sums[i + width]);
        const Qvo16s u = wrap16((wrap16(a - b) >> 2) - b);
        const Qvo16s halved = wrap16((u & c) + ((u ^ c) >> 1));
        const Qvo16s sixteenth = wrap16((halved >> 1) + c);
        out[i] = clip8u((sixteenth + 32) >> 6);
    }
}

// pDst = (a + b + 1) >> 1, a word of samples at a time.
template <int width>
[[gnu::noinline]] void average(const Qvo8u* a, Qvo32s aStep, const Qvo8u* b, Qvo32s bStep, Qvo8u* pDst,
                               Qvo32s dstStep, Qvo32s height) {
    using Word = std::conditional_t<width >= 8, std::uint64_t, std::conditional_t<width == 4, std::uint32_t, Qvo8u>>;
    constexpr Word low7Bits = static_cast<Word>(0x7F7F7F7F7F7F7F7Fu);
    for (; height > 0; --height, a += aStep, b += bStep, pDst += dstStep) {
        for (std::size_t x = 0; x < width; x += sizeof(Word)) {
            Word first;
            Word second;
            std::memcpy(&first, a + x, sizeof(Word));
            std::memcpy(&second, b + x, sizeof(Word));
            first = static_cast<Word>((first | second) - ((first ^ second) >> 1 & low7Bits));
            std::memcpy(pDst + x, &first, sizeof(Word));
        }
    }
}

// ---- positions ----

// Where the second of two averaged samples stands: in this row or column, or in the next; or that there is none.
enum class Mean { none, first, next };

struct Copy {
    template <int width>
    static void run(const Qvo8u* p, Qvo8u* pDst, Qvo32s step, Qvo32s dstStep, Qvo32s height) {
        copy<width>(p, step, pDst, dstStep, height);
    }
};

struct Average {
    template <int width>
    static void run(const Qvo8u* p, Qvo8u* pDst, Qvo32s step, Qvo32s dstStep, Qvo32s height) {
        average<width>(p, step, pDst, dstStep, pDst, dstStep, height);
    }
};

// The horizontal half sample, or its mean with an integer sample of the row.
template <Mean mean>
struct Horizontal {
    template <int width>
    static void run(const Qvo8u* p, Qvo8u* pDst, Qvo32s step, Qvo32s dstStep, Qvo32s height) {
        Qvo8u half[maxHeight * width];
        filterRows<width>(p, step, half, height);
        if constexpr (mean == Mean::none) {
            copy<width>(half, width, pDst, dstStep, height);
        } else {
            average<width>(half, width, p + (mean == Mean::next), step, pDst, dstStep, height);
        }
    }
};

// The vertical half sample, or its mean with an integer sample of the column.
template <Mean mean>
struct Vertical {
    template <int width>
    static void run(const Qvo8u* p, Qvo8u* pDst, Qvo32s step, Qvo32s dstStep, Qvo32s height) {
        Qvo8u half[maxHeight * width];
        filterColumns<width>(p, step, half, height);
        if constexpr (mean == Mean::none) {
            copy<width>(half, width, pDst, dstStep, height);
        } else {
            average<width>(half, width, mean == Mean::next ? p + step : p, step, pDst, dstStep, height);
        }
    }
};

// The mean of the horizontal half sample of a row and the vertical one of a column.
template <Mean row, Mean column>
struct Diagonal {
    template <int width>
    static void run(const Qvo8u* p, Qvo8u* pDst, Qvo32s step, Qvo32s dstStep, Qvo32s height) {
        Qvo8u horizontal[maxHeight * width];
        Qvo8u vertical[maxHeight * width];
        filterRows<width>(row == Mean::next ? p + step : p, step, horizontal, height);
        filterColumns<width>(p + (column == Mean::next), step, vertical, height);
        average<width>(horizontal, width, vertical, width, pDst, dstStep, height);
    }
};

// The centre sample, or its mean with the half sample of a row or of a column. It is the same whichever axis is
// filtered first, as its sums are exact; the rows go first in all positions.
template <Mean row, Mean column>
struct Centre {
    template <int width>
    static void run(const Qvo8u* p, Qvo8u* pDst, Qvo32s step, Qvo32s dstStep, Qvo32s height) {
        Qvo16s sums[(2 + maxHeight + 3) * width];
        Qvo16s* const sumsOfBlock = sums + 2 * width;
        Qvo8u centre[maxHeight * width];
        Qvo8u half[maxHeight * width];
        sumRows<width>(p - step - step, step, sums, 2 + height + 3);
        filterSums<width>(sumsOfBlock, centre, height);
        if constexpr (row == Mean::none && column == Mean::none) {
            copy<width>(centre, width, pDst, dstStep, height);
            return;
        }
        if constexpr (row != Mean::none) {
            clipSums<width>(row == Mean::next ? sumsOfBlock + width : sumsOfBlock, half, height);
        } else {
            filterColumns<width>(p + (column == Mean::next), step, half, height);
        }
        average<width>(centre, width, half, width, pDst, dstStep, height);
    }
};

// Runs a kernel over a column of blocks.
template <class Kernel, int width>
void runColumn(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s height) {
    for (; height > 0; height -= maxHeight) {
        Kernel::template run<width>(pSrc, pDst, srcStep, dstStep, height < maxHeight ? height : maxHeight);
        pSrc += maxHeight * srcStep;
        pDst += maxHeight * dstStep;
    }
}

// Runs a kernel over a block of any size, made up of blocks of the widths that have kernels.
template <class Kernel>
QvoStatus run(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width, Qvo32s height) {
    for (; width >= 16; width -= 16, pSrc += 16, pDst += 16) {
        runColumn<Kernel, 16>(pSrc, pDst, srcStep, dstStep, height);
    }
    for (; width >= 8; width -= 8, pSrc += 8, pDst += 8) {
        runColumn<Kernel, 8>(pSrc, pDst, srcStep, dstStep, height);
    }
    for (; width >= 4; width -= 4, pSrc += 4, pDst += 4) {
        runColumn<Kernel, 4>(pSrc, pDst, srcStep, dstStep, height);
    }
    for (; width > 0; --width, ++pSrc, ++pDst) {
        runColumn<Kernel, 1>(pSrc, pDst, srcStep, dstStep, height);
    }
    return qvoStatusOk;
}

using Interpolation = QvoStatus (*)(const Qvo8u*, Qvo8u*, Qvo32s, Qvo32s, Qvo32s, Qvo32s);

constexpr Interpolation lumaPositions[16] = {  // [4 * dx + dy]
    _qvoInterpolate_H0V0, _qvoInterpolate_H0V1, _qvoInterpolate_H0V2, _qvoInterpolate_H0V3,
    _qvoInterpolate_H1V0, _qvoInterpolate_H1V1, _qvoInterpolate_H1V2, _qvoInterpolate_H1V3,
    _qvoInterpolate_H2V0, _qvoInterpolate_H2V1, _qvoInterpolate_H2V2, _qvoInterpolate_H2V3,
    _qvoInterpolate_H3V0, _qvoInterpolate_H3V1, _qvoInterpolate_H3V2, _qvoInterpolate_H3V3};

constexpr bool isOneOf(Qvo32s v, Qvo32s a, Qvo32s b, Qvo32s c) {
    return v == a || v == b || v == c;
}

// ---- chroma ----

// The weights sum to 64, so that every sum fits 16 bits.
template <int width>
void interpolateChroma(const Qvo8u* p, Qvo32s step, Qvo8u* pDst, Qvo32s dstStep, Qvo32s dx, Qvo32s dy,
                       Qvo32s height) {
    const Qvo8u w00 = static_cast<Qvo8u>((8 - dx) * (8 - dy));
    const Qvo8u w10 = static_cast<Qvo8u>(dx * (8 - dy));
    const Qvo8u w01 = static_cast<Qvo8u>((8 - dx) * dy);
    const Qvo8u w11 = static_cast<Qvo8u>(dx * dy);
    Qvo8u left[(8 + 1) * width];
    Qvo8u right[(8 + 1) * width];
    Qvo8u out[8 * width];
    copy<width>(p, step, left, width, height + 1);
    copy<width>(p + 1, step, right, width, height + 1);
    const std::ptrdiff_t size = std::ptrdiff_t{width} * height;
    for (std::ptrdiff_t i = 0; i < size; ++i) {
        const Qvo16u sum =
            static_cast<Qvo16u>(w00 * left[i] + w10 * right[i] + w01 * left[i + width] + w11 * right[i + width] + 32);
        out[i] = static_cast<Qvo8u>(sum >> 6);
    }
    copy<width>(out, width, pDst, dstStep, height);
}

// ---- weighted average ----

template <class T>
struct Weights {  // T holds both weights
    T first;
    T second;
    Qvo32s round;
    Qvo32s shift;
    Qvo32s offset;
};

template <int width, class T>
void averageWeighted(const Qvo8u* pSrc, Qvo8u* pSrcDst, Qvo32s step, const Weights<T>& weights, Qvo32s height) {
    const Weights<T> w = weights;
    Qvo8u first[maxHeight * width];
    Qvo8u second[maxHeight * width];
    copy<width>(pSrc, step, first, width, height);
    copy<width>(pSrcDst, step, second, width, height);
    const std::ptrdiff_t size = std::ptrdiff_t{width} * height;
    for (std::ptrdiff_t i = 0; i < size; ++i) {
        const Qvo32s sum = static_cast<T>(first[i]) * w.first + static_cast<T>(second[i]) * w.second;
        second[i] = clip8u(((sum + w.round) >> w.shift) + w.offset);
    }
    copy<width>(second, width, pSrcDst, step, height);
}

template <class T>
void averageWeighted(const Qvo8u* pSrc, Qvo8u* pSrcDst, Qvo32s step, const Weights<T>& weights, Qvo32s width,
                     Qvo32s height) {
    switch (width) {
        case 2:
            return averageWeighted<2>(pSrc, pSrcDst, step, weights, height);
        case 4:
            return averageWeighted<4>(pSrc, pSrcDst, step, weights, height);
        case 8:
            return averageWeighted<8>(pSrc, pSrcDst, step, weights, height);
        default:
            return averageWeighted<16>(pSrc, pSrcDst, step, weights, height);
    }
}

}  // namespace

#define QVOVC_INTERPOLATION(name, ...)                                                                            \
    QvoStatus name(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width, Qvo32s height) { \
        return run<__VA_ARGS__>(pSrc, pDst, srcStep, dstStep, width, height);                                     \
    }
QVOVC_INTERPOLATION(_qvoInterpolate_H2, Horizontal<Mean::none>)
QVOVC_INTERPOLATION(_qvoInterpolate_V2, Vertical<Mean::none>)
QVOVC_INTERPOLATION(_qvoInterpolate_Avg, Average)
QVOVC_INTERPOLATION(_qvoInterpolate_H0V0, Copy)
QVOVC_INTERPOLATION(_qvoInterpolate_H0V1, Vertical<Mean::first>)
QVOVC_INTERPOLATION(_qvoInterpolate_H0V2, Vertical<Mean::none>)
QVOVC_INTERPOLATION(_qvoInterpolate_H0V3, Vertical<Mean::next>)
QVOVC_INTERPOLATION(_qvoInterpolate_H1V0, Horizontal<Mean::first>)
QVOVC_INTERPOLATION(_qvoInterpolate_H1V1, Diagonal<Mean::first, Mean::first>)
QVOVC_INTERPOLATION(_qvoInterpolate_H1V2, Centre<Mean::none, Mean::first>)
QVOVC_INTERPOLATION(_qvoInterpolate_H1V3, Diagonal<Mean::next, Mean::first>)
QVOVC_INTERPOLATION(_qvoInterpolate_H2V0, Horizontal<Mean::none>)
QVOVC_INTERPOLATION(_qvoInterpolate_H2V1, Centre<Mean::first, Mean::none>)
QVOVC_INTERPOLATION(_qvoInterpolate_H2V2, Centre<Mean::none, Mean::none>)
QVOVC_INTERPOLATION(_qvoInterpolate_H2V3, Centre<Mean::next, Mean::none>)
QVOVC_INTERPOLATION(_qvoInterpolate_H3V0, Horizontal<Mean::next>)
QVOVC_INTERPOLATION(_qvoInterpolate_H3V1, Diagonal<Mean::first, Mean::next>)
QVOVC_INTERPOLATION(_qvoInterpolate_H3V2, Centre<Mean::none, Mean::next>)
QVOVC_INTERPOLATION(_qvoInterpolate_H3V3, Diagonal<Mean::next, Mean::next>)
#undef QVOVC_INTERPOLATION

QvoStatus _qvoInterpolate_2DV4(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                               Qvo32s height, Qvo32s mode) {
    const Interpolation position = mode == 1   ? _qvoInterpolate_H2V1
                                   : mode == 2 ? _qvoInterpolate_H2V3
                                               : _qvoInterpolate_H2V2;
    return position(pSrc, pDst, srcStep, dstStep, width, height);
}

QvoStatus _qvoInterpolate_2DH4(const Qvo8u* pSrc, Qvo8u* pDst, Qvo32s srcStep, Qvo32s dstStep, Qvo32s width,
                               Qvo32s height, Qvo32s mode) {
    const Interpolation position = mode == 1   ? _qvoInterpolate_H1V2
                                   : mode == 2 ? _qvoInterpolate_H3V2
                                               : _qvoInterpolate_H2V2;
    return position(pSrc, pDst, srcStep, dstStep, width, height);
}

QvoStatus qvoiInterpolateLuma_H264_8u_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s dx,
                                          Qvo32s dy, Qvo32s width, Qvo32s height) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    if (srcStep < width || dstStep < width) return qvoStatusStep;
    if (dx < 0 || dx > 3 || dy < 0 || dy > 3) return qvoStatusBadArg;
    if (!isOneOf(height, 4, 8, 16) || !isOneOf(width, 4, 8, 16) || width + height == 20) return qvoStatusSize;
    return lumaPositions[4 * dx + dy](pSrc, pDst, srcStep, dstStep, width, height);
}

QvoStatus qvoiInterpolateChroma_H264_8u_C1R(const Qvo8u* pSrc, Qvo32s srcStep, Qvo8u* pDst, Qvo32s dstStep, Qvo32s dx,
                                            Qvo32s dy, Qvo32s width, Qvo32s height) {
    if (anyNull(pSrc, pDst)) return qvoStatusNullPtr;
    if (srcStep < 8 || dstStep < 8) return qvoStatusStep;
    if (dx < 0 || dx > 7 || dy < 0 || dy > 7) return qvoStatusBadArg;
    if (!isOneOf(height, 2, 4, 8) || !isOneOf(width, 2, 4, 8) || width + height == 10) return qvoStatusSize;
    switch (width) {
        case 2:
            interpolateChroma<2>(pSrc, srcStep, pDst, dstStep, dx, dy, height);
            break;
        case 4:
            interpolateChroma<4>(pSrc, srcStep, pDst, dstStep, dx, dy, height);
            break;
        default:
            interpolateChroma<8>(pSrc, srcStep, pDst, dstStep, dx, dy, height);
            break;
    }
    return qvoStatusOk;
}

QvoStatus qvoiWeightedAverage_H264_8u_C1IR(const Qvo8u* pSrc, Qvo8u* pSrcDst, Qvo32s step, Qvo32s weight1,
                                           Qvo32s weight2, Qvo8u shift, Qvo32s offset, Qvo32s width, Qvo32s height) {
    if (anyNull(pSrc, pSrcDst)) return qvoStatusNullPtr;
    if (step < width) return qvoStatusStep;
    if (width != 16 && !isOneOf(width, 2, 4, 8)) return qvoStatusBadArg;
    if (height != 16 && !isOneOf(height, 2, 4, 8)) return qvoStatusBadArg;
    const Qvo32s bits = shift < 31 ? shift : 31;
    const Qvo32s round = bits > 0 ? 1 << (bits - 1) : 0;
    if (weight1 == wrap16(weight1) && weight2 == wrap16(weight2)) {  // products of 16 bits are faster
        const Weights<Qvo16s> weights = {wrap16(weight1), wrap16(weight2), round, bits, offset};
        averageWeighted(pSrc, pSrcDst, step, weights, width, height);
    } else {
        averageWeighted(pSrc, pSrcDst, step, Weights<Qvo32s>{weight1, weight2, round, bits, offset}, width, height);
    }
    return qvoStatusOk;
}
