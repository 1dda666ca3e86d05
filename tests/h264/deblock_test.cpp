// Deblocking, line by line and sample by sample, against a transcription of ITU-T H.264 clause 8.7.2 with the two
// shortcuts of the horizontal chroma edges.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "qvovc.h"
#include "support/guarded.h"
#include "support/random.h"

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
    int reach() const { return luma ? 4 : 2; }
    int edges() const { return luma ? 4 : 2; }
    int groupLines() const { return luma ? 4 : 2; }
    int firstStrength(int edge) const { return luma ? 4 * edge : 8 * edge; }

    // The strength by which a group is filtered: 0 not at all, 4 strong, 1 normal.
    int strength(const Parameters& parameters, int edge, int group) const {
        const Qvo8u* const strengths = parameters.strengths + firstStrength(edge);
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

int clip3(int low, int high, int v) {
    return std::clamp(v, low, high);
}

// Filters the line through q0 = *q, whose samples lie `step` apart.
void filterLine(Qvo8u* q, std::ptrdiff_t step, bool luma, bool strong, int alpha, int beta, int tc0) {
    int p[4] = {};
    int qs[4] = {};
    for (int i = 0; i < (luma ? (strong ? 4 : 3) : 2); ++i) {
        p[i] = q[-(i + 1) * step];
        qs[i] = q[i * step];
    }
    if (!(std::abs(p[0] - qs[0]) < alpha && std::abs(p[1] - p[0]) < beta && std::abs(qs[1] - qs[0]) < beta)) return;
    const auto putP = [&](int i, int v) { q[-(i + 1) * step] = static_cast<Qvo8u>(v); };
    const auto putQ = [&](int i, int v) { q[i * step] = static_cast<Qvo8u>(v); };
    const int ap = std::abs(p[2] - p[0]);
    const int aq = std::abs(qs[2] - qs[0]);
    if (!strong) {
        const int tc = luma ? tc0 + (ap < beta) + (aq < beta) : tc0 + 1;
        const int delta = clip3(-tc, tc, (((qs[0] - p[0]) * 4) + (p[1] - qs[1]) + 4) >> 3);
        putP(0, clip3(0, 255, p[0] + delta));
        putQ(0, clip3(0, 255, qs[0] - delta));
        if (luma && ap < beta) {
            putP(1, p[1] + clip3(-tc0, tc0, (p[2] + ((p[0] + qs[0] + 1) >> 1) - 2 * p[1]) >> 1));
        }
        if (luma && aq < beta) {
            putQ(1, qs[1] + clip3(-tc0, tc0, (qs[2] + ((p[0] + qs[0] + 1) >> 1) - 2 * qs[1]) >> 1));
        }
        return;
    }
    const bool near = std::abs(p[0] - qs[0]) < (alpha >> 2) + 2;
    if (luma && ap < beta && near) {
        putP(0, (p[2] + 2 * p[1] + 2 * p[0] + 2 * qs[0] + qs[1] + 4) >> 3);
        putP(1, (p[2] + p[1] + p[0] + qs[0] + 2) >> 2);
        putP(2, (2 * p[3] + 3 * p[2] + p[1] + p[0] + qs[0] + 4) >> 3);
    } else {
        putP(0, (2 * p[1] + p[0] + qs[1] + 2) >> 2);
    }
    if (luma && aq < beta && near) {
        putQ(0, (p[1] + 2 * p[0] + 2 * qs[0] + 2 * qs[1] + qs[2] + 4) >> 3);
        putQ(1, (p[0] + qs[0] + qs[1] + qs[2] + 2) >> 2);
        putQ(2, (2 * qs[3] + 3 * qs[2] + qs[1] + qs[0] + p[0] + 4) >> 3);
    } else {
        putQ(0, (2 * qs[1] + qs[0] + p[1] + 2) >> 2);
    }
}

void filterMacroblock(const Kind& kind, Qvo8u* block, std::ptrdiff_t step, const Parameters& parameters) {
    const std::ptrdiff_t across = kind.vertical ? 1 : step;
    const std::ptrdiff_t along = kind.vertical ? step : 1;
    for (int edge = 0; edge < kind.edges(); ++edge) {
        for (int line = 0; line < kind.size(); ++line) {
            const int group = line / kind.groupLines();
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
template <class Container>
void fillPlane(Container& plane, int step, Random& random) {
    const int amplitude = 1 << random.range(0, 7);
    const int contrast = 1 << random.range(0, 7);
    int level[2][2];
    for (auto& row : level) {
        for (int& value : row)
            value = 128 + random.range(-contrast, contrast);
    }
    int i = 0;
    for (auto& sample : plane) {
        const int base = level[i / step / 4 % 2][i % step / 4 % 2];
        sample = static_cast<Qvo8u>(clip3(0, 255, base + random.range(-amplitude, amplitude)));
        ++i;
    }
}

TEST(Deblock, FiltersAsTheStandardAndTouchesNothingElse) {
    Random random(81);
    for (const Kind& kind : kinds) {
        int changed = 0;
        for (int round = 0; round < 3000; ++round) {
            const int step = kind.size() + 4 + random.range(0, 8);
            std::vector<Qvo8u> plane(static_cast<std::size_t>(step * (kind.size() + 6)));
            fillPlane(plane, step, random);
            const Parameters parameters = randomParameters(random);
            const int at = 4 * step + 4;
            std::vector<Qvo8u> expected = plane;
            filterMacroblock(kind, expected.data() + at, step, parameters);
            changed += expected != plane;
            ASSERT_EQ(qvoStatusOk, kind.operation(plane.data() + at, step, parameters.alpha, parameters.beta,
                                                  parameters.thresholds, parameters.strengths));
            ASSERT_EQ(expected, plane) << kind.name << " round " << round;
        }
        EXPECT_GT(changed, 1000);
    }
}

// The memory ends with the last sample that a macroblock's filters may read, and begins with the first: at the border
// of a picture, where the outer edge's strengths are 0, that is the macroblock's own first sample.
TEST(Deblock, ReadsNothingBeyondTheEdgesItFilters) {
    Random random(82);
    for (const Kind& kind : kinds) {
        for (int round = 0; round < 200; ++round) {
            const bool outer = round & 1;
            const int before = outer ? kind.reach() : 0;
            const int step = kind.size() + (kind.vertical ? before : 0);
            const int rows = kind.size() + (kind.vertical ? 0 : before);
            Guarded<Qvo8u> plane(static_cast<std::size_t>(step * rows), round & 2 ? Guard::after : Guard::before);
            fillPlane(plane, step, random);
            Parameters parameters = randomParameters(random);
            if (!outer) std::fill_n(parameters.strengths, 4, Qvo8u{0});
            // Chroma has 8 thresholds.
            Guarded<Qvo8u> thresholds(kind.luma ? 16 : 8);
            std::copy_n(parameters.thresholds, thresholds.size(), thresholds.begin());
            const std::ptrdiff_t at = kind.vertical ? before : before * step;
            std::vector<Qvo8u> expected(plane.begin(), plane.end());
            filterMacroblock(kind, expected.data() + at, step, parameters);
            ASSERT_EQ(qvoStatusOk, kind.operation(plane.data() + at, step, parameters.alpha, parameters.beta,
                                                  thresholds.data(), parameters.strengths));
            ASSERT_EQ(expected, std::vector<Qvo8u>(plane.begin(), plane.end())) << kind.name;
        }
    }
}

// Without the macroblock's edges being filtered at all: no memory is read.
TEST(Deblock, SkipsEdgesWithoutStrength) {
    const Parameters parameters{{255, 255}, {255, 255}, {}, {}};
    for (const Kind& kind : kinds) {
        Guarded<Qvo8u> page(1);
        EXPECT_EQ(qvoStatusOk, kind.operation(page.end() + 64, 16, parameters.alpha, parameters.beta,
                                              parameters.thresholds, parameters.strengths));
    }
}

TEST(Deblock, RefusesNullPointersEvenWithoutWork) {
    const Parameters parameters{};
    for (const Kind& kind : kinds) {
        for (int null = 0; null < 5; ++null) {
            Qvo8u plane[16 * 16] = {};
            const auto argument = [&](int i, const Qvo8u* p) { return i == null ? nullptr : p; };
            EXPECT_EQ(qvoStatusNullPtr,
                      kind.operation(null == 0 ? nullptr : plane, 16, argument(1, parameters.alpha),
                                     argument(2, parameters.beta), argument(3, parameters.thresholds),
                                     argument(4, parameters.strengths)))
                << kind.name << " argument " << null;
        }
    }
}

}  // namespace
