// Padding of reference VOPs: repetitive padding of a block from its shape, extended padding of whole macroblocks, and
// the macroblock operations that combine the two while a VOP is decoded.
#include <cstddef>
#include <cstring>

#include "core/arith.h"
#include "qvovc/mpeg4.h"

using namespace qvovc;

namespace {

// ---- repetitive padding ----

// A run with an opaque neighbour on one side only takes it for both.
Qvo8u average(Qvo8u a, Qvo8u b) {
    return static_cast<Qvo8u>((a + b + 1) >> 1);
}

// Fills the transparent runs of a row. Returns whether the row has an opaque sample; if not, it is left alone.
template <int size>
bool padRow(Qvo8u* row, const Qvo8u* shape) {
    int begin = 0;  // of a transparent run; only this first one may be empty
    while (begin < size) {
        int end = begin;
        while (end < size && shape[end] != 255)
            ++end;
        if (begin == 0 && end == size) return false;
        const Qvo8u before = row[begin > 0 ? begin - 1 : end];
        const Qvo8u behind = row[end < size ? end : begin - 1];
        std::memset(row + begin, average(before, behind), static_cast<std::size_t>(end - begin));
        begin = end;
        while (begin < size && shape[begin] != 0)
            ++begin;
    }
    return true;
}

template <int size>
void padRows(Qvo8u* pTexture, Qvo32s step, const bool (&opaque)[size]) {
    const auto row = [&](int y) { return pTexture + static_cast<std::ptrdiff_t>(step) * y; };
    for (int begin = 0; begin < size; ++begin) {
        if (opaque[begin]) continue;
        int end = begin;
        while (end < size && !opaque[end])
            ++end;
        const Qvo8u* const above = row(begin > 0 ? begin - 1 : end);
        const Qvo8u* const below = row(end < size ? end : begin - 1);
        for (int y = begin; y < end; ++y)
            for (int x = 0; x < size; ++x)
                row(y)[x] = average(above[x], below[x]);
        begin = end;
    }
}

// Returns false, with the texture unchanged, if the block has no opaque sample.
template <int size>
bool padCurrent(Qvo8u* pTexture, Qvo32s step, const Qvo8u* pShape) {
    bool opaque[size];
    bool any = false;
    for (int y = 0; y < size; ++y) {
        opaque[y] = padRow<size>(pTexture + static_cast<std::ptrdiff_t>(step) * y, pShape + size * y);
        any = any || opaque[y];
    }
    if (any) padRows<size>(pTexture, step, opaque);
    return any;
}

template <int size>
QvoStatus checkAndPadCurrent(Qvo8u* pTexture, Qvo32s step, const Qvo8u* pShape) {
    if (anyNull(pTexture, pShape)) return qvoStatusNullPtr;
    if (step < 1) return qvoStatusStep;
    return padCurrent<size>(pTexture, step, pShape) ? qvoStatusOk : qvoStatusTransparent;
}

// ---- extended padding ----

// A column or a row of each plane.
struct Lines {
    const Qvo8u* y;
    const Qvo8u* cb;
    const Qvo8u* cr;
    const Qvo8u* alpha;  // may be null
};

// A macroblock of each plane.
struct Planes {
    Qvo8u* y;
    Qvo8u* cb;
    Qvo8u* cr;
    Qvo8u* alpha;  // may be null
    Qvo32s lumaStep;
    Qvo32s chromaStep;

    Planes moved(int lumaX, int lumaY, int chromaX, int chromaY) const {
        const std::ptrdiff_t luma = lumaX + static_cast<std::ptrdiff_t>(lumaStep) * lumaY;
        const std::ptrdiff_t chroma = chromaX + static_cast<std::ptrdiff_t>(chromaStep) * chromaY;
        return {y + luma, cb + chroma, cr + chroma, alpha == nullptr ? nullptr : alpha + luma, lumaStep, chromaStep};
    }
    Planes macroblock(int x, int y16) const { return moved(16 * x, 16 * y16, 8 * x, 8 * y16); }
    // The column or row whose first sample lies x samples to the right and dy samples down in every plane.
    Lines lines(int x, int dy) const {
        const Planes at = moved(x, dy, x, dy);
        return {at.y, at.cb, at.cr, at.alpha};
    }
};

template <int size>
void repeatColumn(const Qvo8u* pColumn, Qvo8u* pDst, Qvo32s step) {
    for (int y = 0; y < size; ++y, pColumn += step, pDst += step)
        std::memset(pDst, *pColumn, size);
}

template <int size>
void repeatRow(const Qvo8u* pRow, Qvo8u* pDst, Qvo32s step) {
    Qvo8u row[size];
    std::memcpy(row, pRow, size);
    for (int y = 0; y < size; ++y, pDst += step)
        std::memcpy(pDst, row, size);
}

template <int size>
void fill(Qvo8u value, Qvo8u* pDst, Qvo32s step) {
    for (int y = 0; y < size; ++y, pDst += step)
        std::memset(pDst, value, size);
}

void ownpmp4_PadMBHorizontal_8u(const Lines& columns, const Planes& macroblock) {
    repeatColumn<16>(columns.y, macroblock.y, macroblock.lumaStep);
    repeatColumn<8>(columns.cb, macroblock.cb, macroblock.chromaStep);
    repeatColumn<8>(columns.cr, macroblock.cr, macroblock.chromaStep);
    if (columns.alpha != nullptr) repeatColumn<16>(columns.alpha, macroblock.alpha, macroblock.lumaStep);
}

void ownpmp4_PadMBVertical_8u(const Lines& rows, const Planes& macroblock) {
    repeatRow<16>(rows.y, macroblock.y, macroblock.lumaStep);
    repeatRow<8>(rows.cb, macroblock.cb, macroblock.chromaStep);
    repeatRow<8>(rows.cr, macroblock.cr, macroblock.chromaStep);
    if (rows.alpha != nullptr) repeatRow<16>(rows.alpha, macroblock.alpha, macroblock.lumaStep);
}

void padMBGray(Qvo8u value, const Planes& macroblock) {
    fill<16>(value, macroblock.y, macroblock.lumaStep);
    fill<8>(value, macroblock.cb, macroblock.chromaStep);
    fill<8>(value, macroblock.cr, macroblock.chromaStep);
    if (macroblock.alpha != nullptr) fill<16>(value, macroblock.alpha, macroblock.lumaStep);
}

QvoStatus checkExtension(const Lines& from, const Planes& to) {
    if (anyNull(from.y, from.cb, from.cr, to.y, to.cb, to.cr)) return qvoStatusNullPtr;
    if (from.alpha != nullptr && to.alpha == nullptr) return qvoStatusNullPtr;
    return to.lumaStep < 1 || to.chromaStep < 1 ? qvoStatusStep : qvoStatusOk;
}

// ---- macroblocks of a VOP ----

// One byte per sample, 0 or 255, from one bit per sample.
template <int size>
void expandShape(const Qvo8u* pBits, Qvo32s step, Qvo8u* pShape) {
    for (int y = 0; y < size; ++y, pBits += step)
        for (int x = 0; x < size; ++x)
            *pShape++ = (pBits[x >> 3] << (x & 7)) & 0x80 ? 255 : 0;
}

// The shape of the chrominance: a sample is opaque where any of the four of the luminance is.
void ownSubSampleBY_MPEG4_8u(const Qvo8u* pBits, Qvo32s step, Qvo8u* pChroma) {
    for (int y = 0; y < 8; ++y) {
        const Qvo8u* const next = pBits + step;
        const Qvo32s either = (pBits[0] | next[0]) << 8 | pBits[1] | next[1];
        Qvo32s row = 0;
        for (int pair = 14; pair >= 0; pair -= 2)
            row = row << 1 | ((either >> pair & 3) != 0);
        pChroma[y] = static_cast<Qvo8u>(row);
        pBits = next + step;
    }
}

// What a macroblock of a VOP knows of its surroundings: the flags of its neighbours (left, above; 0 is transparent)
// and which of the macroblocks in the row above and, before this column, in this row are padded.
struct Surroundings {
    const Qvo32s* flags;
    Qvo8u* padded;
    Qvo32s x;
    Qvo32s y;

    bool hasLeft() const { return x > 0; }
    bool hasAbove() const { return y > 0; }
    bool leftIsTransparent() const { return flags[0] == 0; }
    bool aboveIsTransparent() const { return flags[1] == 0; }
    Qvo8u& leftPadded() const { return padded[x - 1]; }
    Qvo8u& abovePadded() const { return padded[x]; }  // until it becomes this macroblock's own
};

QvoStatus checkMacroblock(const Planes& planes, const Surroundings& around) {
    if (anyNull(planes.y, planes.cb, planes.cr, around.flags, around.padded)) return qvoStatusNullPtr;
    if (planes.lumaStep < 16 || planes.chromaStep < 8 || planes.lumaStep % 4 != 0 || planes.chromaStep % 4 != 0 ||
        around.x < 0 || around.y < 0 || anyMisaligned4(planes.y, planes.cb, planes.cr, planes.alpha))
        return qvoStatusBadArg;
    return qvoStatusOk;
}

void padTransparentNeighbours(const Planes& planes, const Surroundings& around) {
    if (around.hasLeft() && around.leftIsTransparent() && around.leftPadded() == 0) {
        ownpmp4_PadMBHorizontal_8u(planes.lines(0, 0), planes.macroblock(-1, 0));
        around.leftPadded() = 1;
    }
    if (around.hasAbove() && around.aboveIsTransparent() && around.abovePadded() == 0) {
        ownpmp4_PadMBVertical_8u(planes.lines(0, 0), planes.macroblock(0, -1));
        around.abovePadded() = 1;
    }
}

}  // namespace

QvoStatus qvoiPadCurrent_16x16_MPEG4_8u_I(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pShape) {
    return checkAndPadCurrent<16>(pSrcDst, step, pShape);
}

QvoStatus qvoiPadCurrent_8x8_MPEG4_8u_I(Qvo8u* pSrcDst, Qvo32s step, const Qvo8u* pShape) {
    return checkAndPadCurrent<8>(pSrcDst, step, pShape);
}

QvoStatus qvoiPadMBHorizontal_MPEG4_8u(const Qvo8u* pSrcY, const Qvo8u* pSrcCb, const Qvo8u* pSrcCr,
                                       const Qvo8u* pSrcA, Qvo8u* pDstY, Qvo8u* pDstCb, Qvo8u* pDstCr, Qvo8u* pDstA,
                                       Qvo32s stepYA, Qvo32s stepCbCr) {
    const Lines columns = {pSrcY, pSrcCb, pSrcCr, pSrcA};
    const Planes macroblock = {pDstY, pDstCb, pDstCr, pDstA, stepYA, stepCbCr};
    if (const QvoStatus status = checkExtension(columns, macroblock)) return status;
    ownpmp4_PadMBHorizontal_8u(columns, macroblock);
    return qvoStatusOk;
}

QvoStatus qvoiPadMBVertical_MPEG4_8u(const Qvo8u* pSrcY, const Qvo8u* pSrcCb, const Qvo8u* pSrcCr, const Qvo8u* pSrcA,
                                     Qvo8u* pDstY, Qvo8u* pDstCb, Qvo8u* pDstCr, Qvo8u* pDstA, Qvo32s stepYA,
                                     Qvo32s stepCbCr) {
    const Lines rows = {pSrcY, pSrcCb, pSrcCr, pSrcA};
    const Planes macroblock = {pDstY, pDstCb, pDstCr, pDstA, stepYA, stepCbCr};
    if (const QvoStatus status = checkExtension(rows, macroblock)) return status;
    ownpmp4_PadMBVertical_8u(rows, macroblock);
    return qvoStatusOk;
}

QvoStatus qvoiPadMBGray_MPEG4_8u(Qvo8u grayVal, Qvo8u* pDstY, Qvo8u* pDstCb, Qvo8u* pDstCr, Qvo8u* pDstA,
                                 Qvo32s stepYA, Qvo32s stepCbCr) {
    if (anyNull(pDstY, pDstCb, pDstCr)) return qvoStatusNullPtr;
    if (stepYA < 1 || stepCbCr < 1) return qvoStatusStep;
    padMBGray(grayVal, {pDstY, pDstCb, pDstCr, pDstA, stepYA, stepCbCr});
    return qvoStatusOk;
}

QvoStatus qvoiPadMBPartial_MPEG4_8u_P4R(const Qvo8u* pShape, const Qvo32s* pFlags, Qvo8u* pSrcDstY, Qvo8u* pSrcDstCb,
                                        Qvo8u* pSrcDstCr, Qvo8u* pSrcDstA, Qvo8u* pPadded, Qvo32s mbX, Qvo32s mbY,
                                        Qvo32s stepYA, Qvo32s stepCbCr, Qvo32s shapeStep) {
    const Planes planes = {pSrcDstY, pSrcDstCb, pSrcDstCr, pSrcDstA, stepYA, stepCbCr};
    const Surroundings around = {pFlags, pPadded, mbX, mbY};
    if (pShape == nullptr) return qvoStatusNullPtr;
    if (const QvoStatus status = checkMacroblock(planes, around)) return status;
    if (shapeStep < 2) return qvoStatusBadArg;

    Qvo8u shape[256], chromaBits[8], chromaShape[64];
    expandShape<16>(pShape, shapeStep, shape);
    if (!padCurrent<16>(planes.y, stepYA, shape)) return qvoStatusFailed;
    ownSubSampleBY_MPEG4_8u(pShape, shapeStep, chromaBits);
    expandShape<8>(chromaBits, 1, chromaShape);
    padCurrent<8>(planes.cb, stepCbCr, chromaShape);
    padCurrent<8>(planes.cr, stepCbCr, chromaShape);
    if (planes.alpha != nullptr) padCurrent<16>(planes.alpha, stepYA, shape);
    padTransparentNeighbours(planes, around);
    return qvoStatusOk;
}

QvoStatus qvoiPadMBOpaque_MPEG4_8u_P4R(const Qvo32s* pFlags, Qvo8u* pSrcDstY, Qvo8u* pSrcDstCb, Qvo8u* pSrcDstCr,
                                       Qvo8u* pSrcDstA, Qvo8u* pPadded, Qvo32s mbX, Qvo32s mbY, Qvo32s stepYA,
                                       Qvo32s stepCbCr) {
    const Planes planes = {pSrcDstY, pSrcDstCb, pSrcDstCr, pSrcDstA, stepYA, stepCbCr};
    const Surroundings around = {pFlags, pPadded, mbX, mbY};
    if (const QvoStatus status = checkMacroblock(planes, around)) return status;
    padTransparentNeighbours(planes, around);
    return qvoStatusOk;
}

QvoStatus qvoiPadMBTransparent_MPEG4_8u_P4R(const Qvo32s* pFlags, Qvo8u* pSrcDstY, Qvo8u* pSrcDstCb, Qvo8u* pSrcDstCr,
                                            Qvo8u* pSrcDstA, Qvo8u* pPadded, Qvo8u grayVal, Qvo32s mbX, Qvo32s mbY,
                                            Qvo32s mbPerRow, Qvo32s mbPerCol, Qvo32s stepYA, Qvo32s stepCbCr) {
    const Planes planes = {pSrcDstY, pSrcDstCb, pSrcDstCr, pSrcDstA, stepYA, stepCbCr};
    const Surroundings around = {pFlags, pPadded, mbX, mbY};
    if (const QvoStatus status = checkMacroblock(planes, around)) return status;
    if (mbPerRow < 1 || mbPerCol < 1 || mbX >= mbPerRow || mbY >= mbPerCol) return qvoStatusBadArg;

    bool padded = false;
    if (around.hasLeft() && !around.leftIsTransparent()) {
        ownpmp4_PadMBHorizontal_8u(planes.lines(-1, 0), planes);
        padded = true;
    }
    if (around.hasAbove()) {
        if (!around.aboveIsTransparent() && !padded) {
            ownpmp4_PadMBVertical_8u(planes.lines(0, -1), planes);
            padded = true;
        }
        if (around.aboveIsTransparent() && around.abovePadded() == 0) padMBGray(grayVal, planes.macroblock(0, -1));
    }
    if (mbY == mbPerCol - 1) {
        if (around.hasLeft() && around.leftIsTransparent() && around.leftPadded() == 0)
            padMBGray(grayVal, planes.macroblock(-1, 0));
        if (mbX == mbPerRow - 1 && !padded) padMBGray(grayVal, planes);
    }
    pPadded[mbX] = padded;
    return qvoStatusOk;
}
