// The post-filters, against the steps of ISO/IEC 14496-2 Annex F.3 taken sample by sample.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "qvovc.h"
#include "support/plane.h"
#include "support/statuses.h"

namespace {

int eighth(int x) {
    return static_cast<int>(x < 0 ? -std::floor(-x / 8.0 + 0.5) : std::floor(x / 8.0 + 0.5));
}

void deblockLine(int (&s)[10], int QP, int THR1, int THR2) {
    int flat = 0;
    for (int i = 0; i < 9; ++i)
        flat += std::abs(s[i] - s[i + 1]) <= THR1;
    if (flat < THR2) {
        const int a30 = eighth(2 * s[3] - 5 * s[4] + 5 * s[5] - 2 * s[6]);
        const int a31 = eighth(2 * s[1] - 5 * s[2] + 5 * s[3] - 2 * s[4]);
        const int a32 = eighth(2 * s[5] - 5 * s[6] + 5 * s[7] - 2 * s[8]);
        const int least = std::min({std::abs(a30), std::abs(a31), std::abs(a32)});
        const int target = a30 < 0 ? -least : least;
        if (target == a30 || std::abs(a30) >= QP) return;
        int d = eighth(5 * (target - a30));
        d = s[4] < s[5] ? std::clamp(d, -((s[5] - s[4]) / 2), 0) : std::clamp(d, 0, (s[4] - s[5]) / 2);
        s[4] -= d;
        s[5] += d;
        return;
    }
    if (*std::max_element(s + 1, s + 9) - *std::min_element(s + 1, s + 9) >= 2 * QP) return;
    const int before = std::abs(s[1] - s[0]) < QP ? s[0] : s[1], behind = std::abs(s[8] - s[9]) < QP ? s[9] : s[8];
    const int weights[] = {1, 1, 2, 2, 4, 2, 2, 1, 1};
    int smooth[10];
    for (int n = 1; n <= 8; ++n) {
        int sum = 8;
        for (int k = -4; k <= 4; ++k)
            sum += weights[k + 4] * (n + k < 1 ? before : n + k > 8 ? behind : s[n + k]);
        smooth[n] = sum >> 4;
    }
    std::copy(smooth + 1, smooth + 9, s + 1);
}

TEST(Mpeg4Postfilter, DeblockingOfBothEdges) {
    Random random;
    const int quantisers[] = {1, 2, 5, 12, 31, 300, 0, -4, INT_MAX / 2};
    int smoothed = 0, corrected = 0;
    for (int round = 0; round < 6000; ++round) {
        const int QP = quantisers[random.range(0, std::size(quantisers) - 1)];
        const int THR1 = random.chance(90) ? random.range(0, 6) : random.range(-1, 300);
        const int THR2 = random.chance(90) ? random.range(3, 8) : random.range(-1, 20);
        const bool horizontal = round % 2;
        Plane<Qvo8u> area(horizontal ? 8 : 10, horizontal ? 10 : 8, 10 + random.range(0, 6),
                          random.chance(50) ? Guard::after : Guard::before);
        // Sample k of the line i that crosses the edge.
        const auto at = [&](int i, int k) -> Qvo8u& { return horizontal ? area.at(i, k) : area.at(k, i); };
        // Two plateaus with some noise, or plain noise.
        const int noise = random.range(0, round % 5 ? 6 : 255), low = random.range(0, 255 - noise);
        const int high = std::clamp(low + random.range(-30, 30), 0, 255 - noise);
        int lines[8][10];
        for (int i = 0; i < 8; ++i) {
            for (int k = 0; k < 10; ++k)
                lines[i][k] = at(i, k) = static_cast<Qvo8u>((k < 5 ? low : high) + random.range(0, noise));
            deblockLine(lines[i], QP, THR1, THR2);
            smoothed += lines[i][2] != at(i, 2);
            corrected += lines[i][4] != at(i, 4) && lines[i][2] == at(i, 2);
        }
        const auto expected = area.contentsWith([&](int x, int y) { return horizontal ? lines[x][y] : lines[y][x]; });
        const auto filter =
            horizontal ? &qvoiFilterDeblocking_HorEdge_MPEG4_8u_I : &qvoiFilterDeblocking_VerEdge_MPEG4_8u_I;
        ASSERT_EQ(qvoStatusOk, filter(&at(0, 5), area.step(), QP, THR1, THR2));
        ASSERT_EQ(expected, area.contents()) << QP << ' ' << THR1 << ' ' << THR2;
    }
    EXPECT_GT(smoothed, 1000);
    EXPECT_GT(corrected, 1000);
}

// Blocks with given ranges; the thresholds follow from the ranges alone.
TEST(Mpeg4Postfilter, DeringingThresholds) {
    Random random;
    const int widths[] = {0, 5, 14, 15, 16, 31, 32, 63, 64, 120};
    for (int round = 0; round < 3000; ++round) {
        Plane<Qvo8u> luma(16, 16, 20, Guard::after), cb(8, 8, 11, Guard::after), cr(8, 8, 8, Guard::after);
        int low[6], high[6];
        for (int b = 0; b < 6; ++b) {
            const auto at = [&](int i) -> Qvo8u& {
                return b < 4 ? luma.at(8 * (b % 2) + i % 8, 8 * (b / 2) + i / 8)
                             : (b == 4 ? cb : cr).at(i % 8, i / 8);
            };
            const int width = widths[random.range(0, std::size(widths) - 1)];
            low[b] = random.range(0, 255 - width);
            high[b] = low[b] + width;
            for (int i = 0; i < 64; ++i)
                at(i) = static_cast<Qvo8u>(random.range(low[b], high[b]));
            const int first = random.range(0, 63);
            at(first) = static_cast<Qvo8u>(low[b]);
            at((first + random.range(1, 63)) % 64) = static_cast<Qvo8u>(high[b]);
        }
        const auto width = [&](int b) { return high[b] - low[b]; };
        const int blocks[] = {0, 1, 2, 3};
        const int widest = *std::max_element(blocks, blocks + 4, [&](int a, int b) { return width(a) < width(b); });
        Qvo32s thresholds[7] = {-1, -1, -1, -1, -1, -1, -1};
        ASSERT_EQ(qvoStatusOk,
                  qvoiFilterDeringingThresholdMB_MPEG4_8u(luma.origin(), luma.step(), cb.origin(), cb.step(),
                                                          cr.origin(), cr.step(), thresholds));
        for (int b = 0; b < 6; ++b) {
            const int source = b < 4 && width(widest) >= 64 && width(b) < 32 ? widest : b;
            const int expected = b < 4 && width(widest) < 16 ? 0 : (low[source] + high[source] + 1) / 2;
            ASSERT_EQ(expected, thresholds[b]) << "block " << b;
        }
        ASSERT_EQ(-1, thresholds[6]);
    }
}

TEST(Mpeg4Postfilter, DeringingSmoothsUniformNeighbourhoods) {
    Random random;
    int changed = 0;
    for (int round = 0; round < 4000; ++round) {
        // The block with a border of one sample.
        Plane<Qvo8u> source(10, 10, 10 + round % 3, round % 2 ? Guard::after : Guard::before);
        Plane<Qvo8u> target(8, 8, 8 + round % 4, Guard::after);
        const int spread = random.range(1, 255), base = random.range(0, 255 - spread);
        for (int i = 0; i < 100; ++i)
            source.at(i % 10, i / 10) = static_cast<Qvo8u>(random.range(base, base + spread));
        const int threshold = random.chance(50) ? random.range(-2, 260) : base + (random.chance(50) ? 1 : spread);
        const int QP = random.chance(95) ? random.range(0, 40) : random.chance(50) ? INT_MAX : 1000;
        const auto filtered = [&](int x, int y) {
            const int sample = source.at(x, y), limit = std::min(QP / 2, 255);
            int above = 0, sum = 8;
            for (int v = -1; v <= 1; ++v) {
                for (int h = -1; h <= 1; ++h) {
                    above += source.at(x + h, y + v) >= threshold;
                    sum += source.at(x + h, y + v) * (2 - std::abs(v)) * (2 - std::abs(h));
                }
            }
            if (above % 9 != 0) return sample;
            return std::clamp(std::clamp(sum >> 4, sample - limit, sample + limit), 0, 255);
        };
        int result[8][8];
        for (int i = 0; i < 64; ++i) {
            result[i / 8][i % 8] = filtered(i % 8 + 1, i / 8 + 1);
            changed += result[i / 8][i % 8] != source.at(i % 8 + 1, i / 8 + 1);
        }
        const auto expected = target.contentsWith([&](int x, int y) { return result[y][x]; });
        const auto inPlace = source.contentsWith([&](int x, int y) {
            const bool inside = x > 0 && x < 9 && y > 0 && y < 9;
            return inside ? result[y - 1][x - 1] : source.at(x, y);
        });
        Qvo8u* const block = &source.at(1, 1);
        ASSERT_EQ(qvoStatusOk, qvoiFilterDeringingSmoothBlock_MPEG4_8u(block, source.step(), target.origin(),
                                                                       target.step(), QP, threshold));
        ASSERT_EQ(expected, target.contents());
        // In place, the block is read before it is written.
        qvoiFilterDeringingSmoothBlock_MPEG4_8u(block, source.step(), block, source.step(), QP, threshold);
        ASSERT_EQ(inPlace, source.contents());
    }
    EXPECT_GT(changed, 1000);
}

TEST(Mpeg4Postfilter, NullPointers) {
    struct Memory {
        std::vector<Qvo8u> samples = std::vector<Qvo8u>(400);
        std::vector<Qvo32s> thresholds = std::vector<Qvo32s>(6);
        bool operator==(const Memory&) const = default;
    } m;
    Qvo8u* const p = m.samples.data() + 100;
    for (const auto filter : {qvoiFilterDeblocking_HorEdge_MPEG4_8u_I, qvoiFilterDeblocking_VerEdge_MPEG4_8u_I})
        expectStatuses(m, filter, {p, 10, 4, 2, 6}, {{qvoStatusNullPtr, {0}}});
    expectStatuses(m, qvoiFilterDeringingThresholdMB_MPEG4_8u, {p, 16, p, 8, p, 8, m.thresholds.data()},
                   {{qvoStatusNullPtr, {0, 2, 4, 6}}});
    expectStatuses(m, qvoiFilterDeringingSmoothBlock_MPEG4_8u, {p, 10, p, 10, 4, 9}, {{qvoStatusNullPtr, {0, 2}}});
}

}  // namespace
