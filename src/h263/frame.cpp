// Frame expansion and the deblocking filter.
#include <cstddef>
#include <cstring>

#include "core/arith.h"
#include "qvovc/h263.h"
#include "qvovc/internals.h"

using namespace qvovc;

const Qvo32s _h263Deblock_QPStrength[32] = {0, 1, 1, 2, 2, 3, 3, 4,  4,  4,  5,  5,  6,  6,  7,  7,
                                            7, 8, 8, 8, 9, 9, 9, 10, 10, 10, 11, 11, 11, 12, 12, 12};

namespace {

constexpr int lines = 8;

Qvo16s magnitude(Qvo16s v) {
    return static_cast<Qvo16s>(v < 0 ? -v : v);
}

Qvo16s withSign(Qvo16s size, Qvo16s of) {
    return static_cast<Qvo16s>(of < 0 ? -size : size);
}

// The filter on lines of samples A, B | C, D across the edge. Branch-free and within 16 bits, so that the lines of a
// segment run side by side.
void h263PerformPixels(Qvo16s (&s)[4][lines], Qvo16s strength) {
    for (int i = 0; i < lines; ++i) {
        const Qvo16s a = s[0][i], b = s[1][i], c = s[2][i], d = s[3][i];
        const Qvo16s step = static_cast<Qvo16s>(a - 4 * b + 4 * c - d);
        const Qvo16s size = static_cast<Qvo16s>(magnitude(step) >> 3);
        const Qvo16s beyond = static_cast<Qvo16s>(size - strength);
        const Qvo16s left = static_cast<Qvo16s>(beyond > 0 ? size - 2 * beyond : size);
        const Qvo16s ramp = static_cast<Qvo16s>(left > 0 ? left : 0);
        const Qvo16s d1 = withSign(ramp, step);

        const Qvo16s span = static_cast<Qvo16s>(a - d);
        const Qvo16s quarter = static_cast<Qvo16s>(magnitude(span) >> 2);
        const Qvo16s limit = static_cast<Qvo16s>(ramp >> 1);
        const Qvo16s d2 = withSign(quarter < limit ? quarter : limit, span);

        s[0][i] = static_cast<Qvo16s>(a - d2);
        s[1][i] = clip8u(b + d1);
        s[2][i] = clip8u(c - d1);
        s[3][i] = static_cast<Qvo16s>(d + d2);
    }
}

// Filters eight lines, each across a horizontal edge (a column) or a vertical one (a row).
template <bool horizontal>
void filterEdge(Qvo8u* p, std::ptrdiff_t step, Qvo32s QP) {
    const auto sample = [=](int k, int line) -> Qvo8u& {
        return horizontal ? p[(k - 2) * step + line] : p[line * step + k - 2];
    };
    Qvo16s s[4][lines];
    for (int k = 0; k < 4; ++k) {
        for (int i = 0; i < lines; ++i)
            s[k][i] = sample(k, i);
    }
    h263PerformPixels(s, static_cast<Qvo16s>(_h263Deblock_QPStrength[QP]));
    for (int k = 0; k < 4; ++k) {
        for (int i = 0; i < lines; ++i)
            sample(k, i) = static_cast<Qvo8u>(s[k][i]);
    }
}

QvoStatus checkEdge(const Qvo8u* pSrcDst, Qvo32s step, Qvo32s QP) {
    if (pSrcDst == nullptr) return qvoStatusNullPtr;
    if (step < 8) return qvoStatusBlockStep;
    if (QP < 1 || QP > 31) return qvoStatusQpRange;
    return qvoStatusOk;
}

}  // namespace

QvoStatus qvoiExpandFrame_H263_8u(Qvo8u* pFrame, Qvo32s frameWidth, Qvo32s frameHeight, Qvo32s border, Qvo32s step) {
    if (pFrame == nullptr) return qvoStatusNullPtr;
    if (frameWidth < 8) return qvoStatusFrameWidth;
    if (frameHeight < 1) return qvoStatusFrameRows;
    if (border < 8) return qvoStatusBorderWidth;
    if (step < 8) return qvoStatusBlockStep;
    if (step - frameWidth < 0 || (step - frameWidth) / 2 < border) return qvoStatusFrameHeight;

    const std::ptrdiff_t rowStep = step;
    const std::size_t side = static_cast<std::size_t>(border);
    Qvo8u* const firstRow = pFrame + border * rowStep;
    Qvo8u* const lastRow = firstRow + (frameHeight - 1) * rowStep;
    for (Qvo32s y = 0; y < frameHeight; ++y) {
        Qvo8u* const row = firstRow + y * rowStep;
        Qvo8u* const picture = row + border;
        std::memset(row, picture[0], side);
        std::memset(picture + frameWidth, picture[frameWidth - 1], side);
    }
    const std::size_t expandedWidth = static_cast<std::size_t>(frameWidth) + 2 * side;
    for (Qvo32s y = 1; y <= border; ++y) {
        std::memcpy(firstRow - y * rowStep, firstRow, expandedWidth);
        std::memcpy(lastRow + y * rowStep, lastRow, expandedWidth);
    }
    return qvoStatusOk;
}

QvoStatus qvoiFilterDeblocking_HorEdge_H263_8u_I(Qvo8u* pSrcDst, Qvo32s step, Qvo32s QP) {
    if (const QvoStatus status = checkEdge(pSrcDst, step, QP)) return status;
    filterEdge<true>(pSrcDst, step, QP);
    return qvoStatusOk;
}

QvoStatus qvoiFilterDeblocking_VerEdge_H263_8u_I(Qvo8u* pSrcDst, Qvo32s step, Qvo32s QP) {
    if (const QvoStatus status = checkEdge(pSrcDst, step, QP)) return status;
    filterEdge<false>(pSrcDst, step, QP);
    return qvoStatusOk;
}
