// Deblocking, line by line and sample by sample, against a transcription of ITU-T H.264 clause 8.7.2 with the two
// shortcuts of the horizontal chroma edges.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "qvovc.h"
#include "support/plane.h"
#include "support/statuses.h"

namespace {

using Operation = QvoStatus (*)(Qvo8u*, Qvo32s, const Qvo8u*, const Qvo8u*, const Qvo8u*, const Qvo8u*);

struct Parameters {
    Qvo8u alpha[2];
    Qvo8u beta[2];
    Qvo8u thresholds[16];
    Qvo8u strengths[16];
};

struct Kind {
    const char* name;
    Operation operation;
    bool luma;
    bool vertical;

    int size() const { return luma ? 16 : 8; }
    // The samples before an edge that a filter reads; also the edges, and the lines that share a strength.
    int quarter() const { return size() / 4; }

    // The strength by which a group is filtered: 0 not at all, 4 strong, 1 normal.
    int strength(const Parameters& parameters, int edge, int group) const {
        const Qvo8u* const strengths = parameters.strengths + 16 / quarter() * edge;
        const bool shortcuts = !luma && !vertical;
        if (shortcuts && edge == 0 && strengths[0] == 4) return 4;
        const int own = strengths[group];
        if (own == 4) return shortcuts ? 1 : 4;
        return own != 0;
    }
};

const Kind kinds[] = {{"luma vertical", qvoiFilterDeblockingLuma_VerEdge_H264_8u_C1IR, true, true},
                      {"luma horizontal", qvoiFilterDeblockingLuma_HorEdge_H264_8u_C1IR, true, false},
                      {"chroma vertical", qvoiFilterDeblockingChroma_VerEdge_H264_8u_C1IR, false, true},
                      {"chroma horizontal", qvoiFilterDeblockingChroma_HorEdge_H264_8u_C1IR, false, false}};

// Filters the line through q0 = *q, whose samples lie `step` apart.
void filterLine(Qvo8u* q, std::ptrdiff_t step, bool luma, bool strong, int alpha, int beta, int tc0) {
    int side[2][4] = {};  // p and q of the clause
    for (int i = 0; i < (luma ? (strong ? 4 : 3) : 2); ++i) {
        side[0][i] = q[-(i + 1) * step];
        side[1][i] = q[i * step];
    }
    const int p0 = side[0][0], p1 = side[0][1], q0 = side[1][0], q1 = side[1][1];
    if (std::abs(p0 - q0) >= alpha || std::abs(p1 - p0) >= beta || std::abs(q1 - q0) >= beta) return;
    const auto isFlat = [&](const int* s) { return luma && std::abs(s[2] - s[0]) < beta; };
    const int tc = luma ? tc0 + isFlat(side[0]) + isFlat(side[1]) : tc0 + 1;
    const int delta = std::clamp(((q0 - p0) * 4 + (p1 - q1) + 4) >> 3, -tc, tc);
    for (const int own : {0, 1}) {
        const int* const s = side[own];
        const int* const other = side[1 - own];
        const auto put = [&](int i, int v) { q[(own ? i : -(i + 1)) * step] = static_cast<Qvo8u>(v); };
        if (!strong) {
            put(0, std::clamp(own ? q0 - delta : p0 + delta, 0, 255));
            if (isFlat(s)) put(1, s[1] + std::clamp((s[2] + ((p0 + q0 + 1) >> 1) - 2 * s[1]) >> 1, -tc0, tc0));
        } else if (isFlat(s) && std::abs(p0 - q0) < (alpha >> 2) + 2) {
            put(0, (s[2] + 2 * s[1] + 2 * s[0] + 2 * other[0] + other[1] + 4) >> 3);
            put(1, (s[2] + s[1] + s[0] + other[0] + 2) >> 2);
            put(2, (2 * s[3] + 3 * s[2] + s[1] + s[0] + other[0] + 4) >> 3);
        } else {
            put(0, (2 * s[1] + s[0] + other[1] + 2) >> 2);
        }
    }
}

void filterMacroblock(const Kind& kind, Qvo8u* block, std::ptrdiff_t step, const Parameters& parameters) {
    const std::ptrdiff_t across = kind.vertical ? 1 : step;
    const std::ptrdiff_t along = kind.vertical ? step : 1;
    for (int edge = 0; edge < kind.quarter(); ++edge) {
        for (int line = 0; line < kind.size(); ++line) {
            const int group = line / kind.quarter();
            const int strength = kind.strength(parameters, edge, group);
            if (strength == 0) continue;
            filterLine(block + 4 * edge * across + line * along, across, kind.luma, strength == 4,
                       parameters.alpha[edge > 0], parameters.beta[edge > 0],
                       parameters.thresholds[4 * edge + group]);
        }
    }
}

Parameters randomParameters(Random& random) {
    Parameters parameters;
    const bool wide = random.chance(20);  // values that no stream has
    random.fill(parameters.alpha, 0, wide ? 255 : 80);
    random.fill(parameters.beta, 0, wide ? 255 : 18);
    random.fill(parameters.thresholds, 0, wide ? 255 : 25);
    random.fill(parameters.strengths, 0, random.chance(50) ? 4 : wide ? 255 : 3);
    for (int edge = 0; edge < 4; ++edge) {
        Qvo8u* const strengths = parameters.strengths + 4 * edge;
        if (random.chance(30)) std::fill_n(strengths, 4, static_cast<Qvo8u>(4 * random.range(0, 1)));
        if (random.chance(20)) strengths[0] = 4;
    }
    return parameters;
}

// Content over which all decisions vary: noise of a random amplitude around a level that changes from block to block.
void fillPlane(Plane<Qvo8u>& plane, int width, int height, Random& random) {
    const int amplitude = 1 << random.range(0, 7), contrast = 1 << random.range(0, 7);
    int levels[4];
    random.fill(levels, 128 - contrast, 128 + contrast);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            plane.at(x, y) = static_cast<Qvo8u>(
                std::clamp(levels[y / 4 % 2 * 2 + x / 4 % 2] + random.range(-amplitude, amplitude), 0, 255));
}

// Every other round the memory ends with the last sample that the filters may read, or begins with the first: without
// the outer edge, whose strengths are 0 at the border of a picture, that is the macroblock's own first sample.
TEST(Deblock, FiltersAsTheStandardAndTouchesNothingElse) {
    Random random(81);
    for (int round = 0; round < 16000; ++round) {
        const Kind& kind = kinds[round & 3];
        const bool tight = round & 4, outer = round & 8;
        const int before = !tight ? 4 : outer ? kind.quarter() : 0;
        const int left = !tight || kind.vertical ? before : 0, above = !tight || !kind.vertical ? before : 0;
        const int width = left + kind.size(), height = above + kind.size() + (tight ? 0 : 2);
        Plane<Qvo8u> plane(width, height, width + (tight ? 0 : random.range(0, 8)),
                           round & 16 ? Guard::after : Guard::before);
        fillPlane(plane, width, height, random);
        Parameters parameters = randomParameters(random);
        if (!outer) std::fill_n(parameters.strengths, 4, Qvo8u{0});
        // Chroma has 8 thresholds.
        Guarded<Qvo8u> thresholds(kind.luma ? 16 : 8);
        std::copy_n(parameters.thresholds, thresholds.size(), thresholds.begin());
        const std::vector<Qvo8u> original = plane.contents();
        filterMacroblock(kind, &plane.at(left, above), plane.step(), parameters);
        const std::vector<Qvo8u> expected = plane.contents();
        plane.restore(original);
        ASSERT_EQ(qvoStatusOk, kind.operation(&plane.at(left, above), plane.step(), parameters.alpha, parameters.beta,
                                              thresholds.data(), parameters.strengths));
        ASSERT_EQ(expected, plane.contents()) << kind.name << " round " << round;
    }
}

// Without any strength no sample is touched, but null pointers are refused all the same.
TEST(Deblock, RefusesNullPointersEvenWithoutWork) {
    Parameters p{{255, 255}, {255, 255}, {}, {}};
    Guarded<Qvo8u> page(1);
    int nothing = 0;
    for (const Kind& kind : kinds)
        expectStatuses(nothing, kind.operation, {page.end() + 64, 16, p.alpha, p.beta, p.thresholds, p.strengths},
                       {{qvoStatusNullPtr, {0, 2, 3, 4, 5}}});
}

}  // namespace
