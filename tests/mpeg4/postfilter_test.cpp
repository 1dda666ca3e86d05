// The post-filters, against the steps of ISO/IEC 14496-2 Annex F.3 taken sample by sample.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "qvovc.h"
#include "support/guarded.h"
#include "support/random.h"
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
        const Qvo32s step = horizontal ? 8 + round % 7 : 10;
        const int across = horizontal ? step : 1, along = horizontal ? 1 : step;
        Guarded<Qvo8u> area(static_cast<std::size_t>(9 * across + 7 * along + 1),
                            round % 4 < 2 ? Guard::after : Guard::before);
        // Two plateaus with some noise, or plain noise.
        const int noise = random.range(0, round % 5 ? 6 : 255), low = random.range(0, 255 - noise);
        const int high = std::clamp(low + random.range(-30, 30), 0, 255 - noise);
        for (std::size_t i = 0; i < area.size(); ++i) {
            const int position = horizontal ? static_cast<int>(i) / step : static_cast<int>(i) % step;
            area[i] = static_cast<Qvo8u>((position < 5 ? low : high) + random.range(0, noise));
        }
        std::vector<Qvo8u> expected(area.begin(), area.end());
        for (int i = 0; i < 8; ++i) {
            int s[10], old[10];
            for (int k = 0; k < 10; ++k)
                s[k] = old[k] = expected[static_cast<std::size_t>(k * across + i * along)];
            deblockLine(s, QP, THR1, THR2);
            smoothed += s[2] != old[2];
            corrected += s[4] != old[4] && s[2] == old[2];
            for (int k = 0; k < 10; ++k)
                expected[static_cast<std::size_t>(k * across + i * along)] = static_cast<Qvo8u>(s[k]);
        }
        const auto filter =
            horizontal ? &qvoiFilterDeblocking_HorEdge_MPEG4_8u_I : &qvoiFilterDeblocking_VerEdge_MPEG4_8u_I;
        ASSERT_EQ(qvoStatusOk, filter(area.data() + 5 * across, step, QP, THR1, THR2));
        ASSERT_EQ(expected, std::vector<Qvo8u>(area.begin(), area.end())) << QP << ' ' << THR1 << ' ' << THR2;
    }
    EXPECT_GT(smoothed, 1000);
    EXPECT_GT(corrected, 1000);
}

// Blocks with given ranges; the thresholds follow from the ranges alone.
TEST(Mpeg4Postfilter, DeringingThresholds) {
    Random random;
    const int widths[] = {0, 5, 14, 15, 16, 31, 32, 63, 64, 120};
    for (int round = 0; round < 3000; ++round) {
        Guarded<Qvo8u> luma(15 * 20 + 16), chroma[2] = {Guarded<Qvo8u>(7 * 11 + 8), Guarded<Qvo8u>(7 * 8 + 8)};
        int low[6], high[6];
        for (int b = 0; b < 6; ++b) {
            const int step = b < 4 ? 20 : b == 4 ? 11 : 8;
            Qvo8u* const block = b < 4 ? luma.data() + 8 * (b % 2) + 8 * 20 * (b / 2) : chroma[b - 4].data();
            const int width = widths[random.range(0, std::size(widths) - 1)];
            low[b] = random.range(0, 255 - width);
            high[b] = low[b] + width;
            for (int i = 0; i < 64; ++i)
                block[i / 8 * step + i % 8] = static_cast<Qvo8u>(random.range(low[b], high[b]));
            const int first = random.range(0, 63), second = (first + random.range(1, 63)) % 64;
            block[first / 8 * step + first % 8] = static_cast<Qvo8u>(low[b]);
            block[second / 8 * step + second % 8] = static_cast<Qvo8u>(high[b]);
        }
        int widest = 0;
        for (int b = 1; b < 4; ++b) {
            if (high[b] - low[b] > high[widest] - low[widest]) widest = b;
        }
        const int range = high[widest] - low[widest];
        Qvo32s thresholds[7] = {-1, -1, -1, -1, -1, -1, -1};
        ASSERT_EQ(qvoStatusOk, qvoiFilterDeringingThresholdMB_MPEG4_8u(luma.data(), 20, chroma[0].data(), 11,
                                                                       chroma[1].data(), 8, thresholds));
        for (int b = 0; b < 6; ++b) {
            const int source = b < 4 && range >= 64 && high[b] - low[b] < 32 ? widest : b;
            const int expected = b < 4 && range < 16 ? 0 : (low[source] + high[source] + 1) / 2;
            ASSERT_EQ(expected, thresholds[b]) << "block " << b;
        }
        ASSERT_EQ(-1, thresholds[6]);
    }
}

TEST(Mpeg4Postfilter, DeringingSmoothsUniformNeighbourhoods) {
    Random random;
    int changed = 0;
    for (int round = 0; round < 4000; ++round) {
        const Qvo32s srcStep = 10 + round % 3, dstStep = 8 + round % 4;
        Guarded<Qvo8u> source(static_cast<std::size_t>(9 * srcStep + 10), round % 2 ? Guard::after : Guard::before);
        Guarded<Qvo8u> target(static_cast<std::size_t>(7 * dstStep + 8));
        const int spread = random.range(1, 255), base = random.range(0, 255 - spread);
        random.fill(source, base, base + spread);
        const int threshold = random.chance(50) ? random.range(-2, 260) : base + (random.chance(50) ? 1 : spread);
        const int QP = random.chance(95) ? random.range(0, 40) : random.chance(50) ? INT_MAX : 1000;
        std::vector<Qvo8u> expected(target.size());
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                const Qvo8u* const p = source.data() + (y + 1) * srcStep + x + 1;
                int above = 0, sum = 8;
                for (int v = -1; v <= 1; ++v) {
                    for (int h = -1; h <= 1; ++h) {
                        above += p[v * srcStep + h] >= threshold;
                        sum += p[v * srcStep + h] * (2 - std::abs(v)) * (2 - std::abs(h));
                    }
                }
                const int limit = std::min(QP / 2, 255);
                const int filtered = std::clamp(std::clamp(sum >> 4, *p - limit, *p + limit), 0, 255);
                const int result = above % 9 == 0 ? filtered : *p;
                changed += result != *p;
                expected[static_cast<std::size_t>(y * dstStep + x)] = static_cast<Qvo8u>(result);
            }
        }
        ASSERT_EQ(qvoStatusOk, qvoiFilterDeringingSmoothBlock_MPEG4_8u(source.data() + srcStep + 1, srcStep,
                                                                       target.data(), dstStep, QP, threshold));
        ASSERT_EQ(expected, std::vector<Qvo8u>(target.begin(), target.end()));
        // In place, the block is read before it is written.
        qvoiFilterDeringingSmoothBlock_MPEG4_8u(source.data() + srcStep + 1, srcStep, source.data() + srcStep + 1,
                                                srcStep, QP, threshold);
        for (int i = 0; i < 64; ++i) {
            ASSERT_EQ(expected[static_cast<std::size_t>(i / 8 * dstStep + i % 8)],
                      source[static_cast<std::size_t>((i / 8 + 1) * srcStep + i % 8 + 1)]);
        }
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
