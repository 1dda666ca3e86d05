// Frame expansion and the deblocking filter.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

#include "support/plane.h"
#include "support/statuses.h"

namespace {

TEST(H263Frame, StatusesInTheirOrder) {
    std::vector<Qvo8u> frame(64 * 64, 5);
    expectStatuses(frame, qvoiExpandFrame_H263_8u, {frame.data(), 8, 1, 8, 24},
                   {{qvoStatusNullPtr, {0}},
                    {qvoStatusFrameWidth, {1}, {7}},
                    {qvoStatusFrameRows, {2}, {0, -1}},
                    {qvoStatusBorderWidth, {3}, {7}},
                    {qvoStatusBlockStep, {4}, {7}},
                    {qvoStatusFrameHeight, {4}, {23, 8}},
                    {qvoStatusFrameHeight, {1, 3}, {INT_MAX}}});  // the sum with the borders does not fit 32 bits
    for (const auto filter : {&qvoiFilterDeblocking_HorEdge_H263_8u_I, &qvoiFilterDeblocking_VerEdge_H263_8u_I})
        expectStatuses(frame, filter, {&frame[2000], 8, 1},
                       {{qvoStatusNullPtr, {0}}, {qvoStatusBlockStep, {1}, {7}}, {qvoStatusQpRange, {2}, {0, 32}}});
}

// Every sample of the expanded buffer is the nearest picture sample; nothing beyond it is touched.
TEST(H263Frame, ExpansionRepeatsTheNearestSample) {
    Random random;
    for (const Qvo32s border : {8, 9, 16, 21}) {
        for (const auto& size : {std::pair{8, 1}, std::pair{11, 5}, std::pair{48, 32}}) {
            const Qvo32s width = size.first, height = size.second;
            for (const Qvo32s gap : {0, 5}) {
                const Qvo32s fullWidth = width + 2 * border, fullHeight = height + 2 * border;
                Plane<Qvo8u> frame(fullWidth, fullHeight, fullWidth + gap, Guard::after);
                frame.fill(random, 0, 255);
                const Qvo32s right = border + width - 1, bottom = border + height - 1;
                const auto expected = frame.contentsWith([&](int x, int y) {
                    return frame.at(std::clamp(x, border, right), std::clamp(y, border, bottom));
                });
                ASSERT_EQ(qvoStatusOk, qvoiExpandFrame_H263_8u(frame.origin(), width, height, border, frame.step()));
                ASSERT_EQ(expected, frame.contents()) << width << 'x' << height << ' ' << border;
            }
        }
    }
}

// One line as Annex J.3 states it.
void filterLine(int& a, int& b, int& c, int& d, int strength) {
    const auto sign = [](int v) { return (v > 0) - (v < 0); };
    const int delta = (a - 4 * b + 4 * c - d) / 8;
    const int d1 = sign(delta) * std::max(0, std::abs(delta) - std::max(0, 2 * (std::abs(delta) - strength)));
    const int limit = std::abs(d1 / 2);
    const int d2 = std::clamp((a - d) / 4, -limit, limit);
    b = std::clamp(b + d1, 0, 255);
    c = std::clamp(c - d1, 0, 255);
    a -= d2;
    d += d2;
}

TEST(H263Frame, DeblockingOfBothEdges) {
    // Table J.2
    const int strengths[] = {1, 1, 2, 2, 3, 3, 4,  4,  4,  5,  5,  6,  6,  7,  7, 7,
                             8, 8, 8, 9, 9, 9, 10, 10, 10, 11, 11, 11, 12, 12, 12};
    Random random;
    for (int QP = 1; QP <= 31; ++QP) {
        ASSERT_EQ(strengths[QP - 1], _h263Deblock_QPStrength[QP]);
        for (int round = 0; round < 300; ++round) {
            const int spread = round % 3 == 0 ? 255 : round % 3 == 1 ? 40 : 8;
            const int base = random.range(0, 255 - spread);
            for (const bool horizontal : {true, false}) {
                Plane<Qvo8u> area(horizontal ? 8 : 4, horizontal ? 4 : 8, 8 + round % 5, Guard::after);
                area.fill(random, base, base + spread);
                const std::vector<Qvo8u> before = area.contents();
                for (int i = 0; i < 8; ++i) {
                    const auto at = [&](int k) -> Qvo8u& { return horizontal ? area.at(i, k) : area.at(k, i); };
                    int s[4] = {at(0), at(1), at(2), at(3)};
                    filterLine(s[0], s[1], s[2], s[3], strengths[QP - 1]);
                    for (int k = 0; k < 4; ++k)
                        at(k) = static_cast<Qvo8u>(s[k]);
                }
                const std::vector<Qvo8u> expected = area.contents();
                area.restore(before);
                const auto filter =
                    horizontal ? &qvoiFilterDeblocking_HorEdge_H263_8u_I : &qvoiFilterDeblocking_VerEdge_H263_8u_I;
                ASSERT_EQ(qvoStatusOk, filter(horizontal ? &area.at(0, 2) : &area.at(2, 0), area.step(), QP));
                ASSERT_EQ(expected, area.contents()) << "QP " << QP;
            }
        }
    }
}

}  // namespace
