// Intra prediction against a transcription of ITU-T H.264 clauses 8.3.1.2, 8.3.3 and 8.3.4, in memory where every
// neighbour whose flag is clear is unreadable.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "qvovc.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using Operation = QvoStatus (*)(Qvo8u*, Qvo32s, Qvo32s, Qvo32u);

// The neighbours p[x, -1] and p[-1, y] as the clauses name them; what is missing counts as 128.
struct Neighbours {
    int above[17];  // x = -1..15
    int left[17];   // y = -1..15
    Qvo32u flags;

    bool hasAbove() const { return flags & qvoNeighbourAbove; }
    bool hasLeft() const { return flags & qvoNeighbourLeft; }
    int operator()(int x, int y) const { return y < 0 ? above[x + 1] : left[y + 1]; }
};

int predict4x4Sample(const Neighbours& p, int mode, int x, int y) {
    const auto smooth = [&](int x0, int y0, int x1, int y1, int x2, int y2) {
        return (p(x0, y0) + 2 * p(x1, y1) + p(x2, y2) + 2) >> 2;
    };
    const int zVR = 2 * x - y;
    const int zHD = 2 * y - x;
    const int zHU = x + 2 * y;
    switch (mode) {
        case 0:
            return p(x, -1);
        case 1:
            return p(-1, y);
        case 3:
            if (x == 3 && y == 3) return (p(6, -1) + 3 * p(7, -1) + 2) >> 2;
            return smooth(x + y, -1, x + y + 1, -1, x + y + 2, -1);
        case 4:
            if (x > y) return smooth(x - y - 2, -1, x - y - 1, -1, x - y, -1);
            if (x < y) return smooth(-1, y - x - 2, -1, y - x - 1, -1, y - x);
            return smooth(0, -1, -1, -1, -1, 0);
        case 5:
            if (zVR == -1) return smooth(-1, 0, -1, -1, 0, -1);
            if (zVR < 0) return smooth(-1, y - 1, -1, y - 2, -1, y - 3);
            if (zVR % 2 == 0) return (p(x - (y >> 1) - 1, -1) + p(x - (y >> 1), -1) + 1) >> 1;
            return smooth(x - (y >> 1) - 2, -1, x - (y >> 1) - 1, -1, x - (y >> 1), -1);
        case 6:
            if (zHD == -1) return smooth(-1, 0, -1, -1, 0, -1);
            if (zHD < 0) return smooth(x - 1, -1, x - 2, -1, x - 3, -1);
            if (zHD % 2 == 0) return (p(-1, y - (x >> 1) - 1) + p(-1, y - (x >> 1)) + 1) >> 1;
            return smooth(-1, y - (x >> 1) - 2, -1, y - (x >> 1) - 1, -1, y - (x >> 1));
        case 7:
            if (y % 2 == 0) return (p(x + (y >> 1), -1) + p(x + (y >> 1) + 1, -1) + 1) >> 1;
            return smooth(x + (y >> 1), -1, x + (y >> 1) + 1, -1, x + (y >> 1) + 2, -1);
        default:
            if (zHU > 5) return p(-1, 3);
            if (zHU == 5) return (p(-1, 2) + 3 * p(-1, 3) + 2) >> 2;
            if (zHU % 2 == 0) return (p(-1, y + (x >> 1)) + p(-1, y + (x >> 1) + 1) + 1) >> 1;
            return smooth(-1, y + (x >> 1), -1, y + (x >> 1) + 1, -1, y + (x >> 1) + 2);
    }
}

// The mean of n samples from x0 on above and of n from y0 on to the left.
int dc(const Neighbours& p, int n, bool above, int x0, bool left, int y0) {
    int sum = 0;
    for (int i = 0; i < n; ++i)
        sum += (above ? p(x0 + i, -1) : 0) + (left ? p(-1, y0 + i) : 0);
    const int count = n * (above + left);
    return count ? (sum + count / 2) / count : 128;
}

int chromaDC(const Neighbours& p, int xBlock, int yBlock) {
    bool above = p.hasAbove();
    bool left = p.hasLeft();
    if (xBlock > yBlock && above) left = false;
    if (yBlock > xBlock && left) above = false;
    return dc(p, 4, above, 4 * xBlock, left, 4 * yBlock);
}

int planeSample(const Neighbours& p, int size, int x, int y) {
    const int half = size / 2;
    int h = 0;
    int v = 0;
    for (int i = 0; i < half; ++i) {
        h += (i + 1) * (p(half + i, -1) - p(half - 2 - i, -1));
        v += (i + 1) * (p(-1, half + i) - p(-1, half - 2 - i));
    }
    const int b = size == 16 ? (5 * h + 32) >> 6 : (34 * h + 32) >> 6;
    const int c = size == 16 ? (5 * v + 32) >> 6 : (34 * v + 32) >> 6;
    const int a = 16 * (p(-1, size - 1) + p(size - 1, -1));
    return std::clamp((a + b * (x - half + 1) + c * (y - half + 1) + 16) >> 5, 0, 255);
}

struct Kind {
    const char* name;
    Operation operation;
    int size;
    int modes;
    QvoStatus stepStatus;

    // Mode numbers of chroma blocks in those of 16x16 blocks.
    int shape(int mode) const { return size == 8 && mode != 3 ? 2 - mode : mode; }

    Qvo32u used(int mode) const {
        if (shape(mode) == 2) return 0;
        if (shape(mode) == 0) return qvoNeighbourAbove;
        if (shape(mode) == 1) return qvoNeighbourLeft;
        if (size == 4 && (mode == 3 || mode == 7)) return qvoNeighbourAbove;
        if (size == 4 && mode == 8) return qvoNeighbourLeft;
        return qvoNeighbourAbove | qvoNeighbourLeft | qvoNeighbourCorner;
    }

    QvoStatus expectedStatus(int mode, Qvo32u flags) const {
        if (!(used(mode) & ~flags)) return qvoStatusOk;
        return size == 4 ? qvoStatusNeighbourSubstituted : qvoStatusNeighbourUnavailable;
    }

    int predictSample(const Neighbours& p, int mode, int x, int y) const {
        if (shape(mode) == 2 && size == 8) return chromaDC(p, x / 4, y / 4);
        if (shape(mode) == 2) return dc(p, size, p.hasAbove(), 0, p.hasLeft(), 0);
        if (size == 4) return predict4x4Sample(p, mode, x, y);
        if (shape(mode) == 3) return planeSample(p, size, x, y);
        return shape(mode) == 0 ? p(x, -1) : p(-1, y);
    }
};

const Kind kinds[] = {{"4x4", qvoiPredictIntra_4x4_H264_8u_C1IR, 4, 9, qvoStatusStep},
                      {"16x16", qvoiPredictIntra_16x16_H264_8u_C1IR, 16, 4, qvoStatusMbStep},
                      {"chroma", qvoiPredictIntraChroma8x8_H264_8u_C1IR, 8, 4, qvoStatusMbStep}};

// Takes the neighbours out of a plane, as far as their flags are set.
Neighbours neighboursOf(const Qvo8u* p, int step, int size, Qvo32u flags) {
    Neighbours n{};
    n.flags = flags;
    n.above[0] = n.left[0] = flags & qvoNeighbourCorner ? p[-step - 1] : 128;
    for (int i = 0; i < size; ++i) {
        n.above[i + 1] = flags & qvoNeighbourAbove ? p[i - step] : 128;
        n.left[i + 1] = flags & qvoNeighbourLeft ? p[i * step - 1] : 128;
    }
    if (size == 4) {
        for (int i = 4; i < 8; ++i)
            n.above[i + 1] = flags & qvoNeighbourAboveRight ? p[i - step] : n.above[4];
    }
    return n;
}

constexpr Qvo32u allFlags[] = {0, 1, 2, 3, 32, 33, 34, 35, 64, 65, 66, 67, 96, 97, 98, 99, ~0u, ~99u};

// Predicts a block and compares it, unless it is refused.
void expectPrediction(const Kind& kind, Qvo8u* p, Qvo32s step, int mode, Qvo32u flags) {
    const QvoStatus status = kind.expectedStatus(mode, flags);
    const Neighbours neighbours = neighboursOf(p, step, kind.size, flags);
    ASSERT_EQ(status, kind.operation(p, step, mode, flags)) << kind.name << " mode " << mode << " flags " << flags;
    for (int i = 0; i < kind.size * kind.size && status >= 0; ++i) {
        const int x = i % kind.size, y = i / kind.size;
        ASSERT_EQ(kind.predictSample(neighbours, mode, x, y), p[y * step + x])
            << kind.name << " mode " << mode << " flags " << flags << " sample " << x << ", " << y;
    }
}

// In rows three pages apart the block stands at the beginning or at the end of the middle page. Neighbours in other
// pages cannot be written and, as far as no flag allows to read what is in a page, not read either.
TEST(Intra, PredictsAsTheStandardAndTouchesNothingElse) {
    const std::ptrdiff_t page = sysconf(_SC_PAGESIZE);
    Random random(7);
    for (int round = 0; round < 3 * 18 * 2 * 8; ++round) {
        const Kind& kind = kinds[round % 3];
        const Qvo32u flags = allFlags[round / 3 % 18];
        const bool atEnd = round / 54 % 2, extremes = round / 108 % 2;
        const std::size_t bytes = static_cast<std::size_t>(3 * page * (kind.size + 1));
        void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        ASSERT_NE(MAP_FAILED, memory);
        Qvo8u* const base = static_cast<Qvo8u*>(memory);
        Qvo8u* const block = base + 4 * page + (atEnd ? page - kind.size : 0);
        for (int row = -1; row < kind.size; ++row)
            for (int x = -1; x < kind.size + 4; ++x)
                block[row * 3 * page + x] =
                    static_cast<Qvo8u>(extremes ? 255 * random.range(0, 1) : random.range(0, 255));
        const auto protect = [&](int row, int column, bool readable) {
            mprotect(base + (3 * row + column) * page, static_cast<std::size_t>(page),
                     readable ? PROT_READ : PROT_NONE);
        };
        const bool corner = flags & qvoNeighbourCorner;
        const bool aboveRight = kind.size == 4 && (flags & qvoNeighbourAboveRight);
        protect(0, 0, !atEnd && corner);
        protect(0, 1, (flags & qvoNeighbourAbove) || (atEnd ? corner : aboveRight));
        protect(0, 2, atEnd && aboveRight);
        for (int row = 1; row <= kind.size; ++row) {
            protect(row, 0, !atEnd && (flags & qvoNeighbourLeft));
            protect(row, 2, false);
        }
        for (int mode = 0; mode < kind.modes; ++mode)
            expectPrediction(kind, block, static_cast<Qvo32s>(3 * page), mode, flags);
        munmap(memory, bytes);
        if (HasFatalFailure()) return;
    }
}

// Rows without gaps: there the last sample of a row is the left neighbour of the next.
TEST(Intra, PredictsInRowsWithoutGaps) {
    Random random(61);
    for (int round = 0; round < 600; ++round) {
        const Kind& kind = kinds[round % 3];
        std::vector<Qvo8u> plane(static_cast<std::size_t>(kind.size * (kind.size + 4)));
        random.fill(plane, 0, 255);
        const int mode = random.range(0, kind.modes - 1);
        expectPrediction(kind, plane.data() + 2 * kind.size, kind.size, mode, ~0u);
    }
}

TEST(Intra, ChecksItsArgumentsInOrder) {
    for (const Kind& kind : kinds) {
        std::vector<Qvo8u> plane(24 * 16, 77);
        expectStatuses(plane, kind.operation, {plane.data() + 32, kind.size, kind.size == 8 ? 0 : 2, ~0u},
                       {{qvoStatusNullPtr, {0}},
                        {kind.stepStatus, {1}, {kind.size - 1, -16}},
                        {qvoStatusOutOfRange, {2}, {kind.modes, -1}}});
    }
}

}  // namespace
