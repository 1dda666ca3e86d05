// Half-sample, overlapped and approximate prediction, macroblock copies and reconstruction.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "qvovc.h"
#include "support/guarded.h"
#include "support/plane.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

QvoMotionVector randomVector(Random& random, int range) {
    const int dx = random.range(-range, range), dy = random.range(-range, range);
    return {static_cast<Qvo16s>(dx), static_cast<Qvo16s>(dy)};
}

// What the standard (rounding type 0 or 1) and the approximate copies (2) make of the samples of a position.
int interpolate(Plane<Qvo8u>& plane, int x, int y, QvoMotionVector vector, int rounding) {
    const int right = vector.dx & 1, down = vector.dy & 1, count = (1 + right) * (1 + down);
    int sum = 0;
    for (int j = 0; j <= down; ++j)
        for (int i = 0; i <= right; ++i)
            sum += plane.at(x + i, y + j);
    const int add[] = {count / 2, count / 2 - (count > 1), 0};
    return (sum + add[rounding]) / count;
}

TEST(H263Prediction, CopiesAreExactAndReadNothingElse) {
    Random random;
    for (int round = 0; round < 6000; ++round) {
        const int size = random.chance(50) ? 8 : 16, rounding = round % 3;
        const QvoMotionVector vector = randomVector(random, 40);
        Plane<Qvo8u> reference(size + (vector.dx & 1), size + (vector.dy & 1), size + random.range(1, 9),
                               round & 8 ? Guard::after : Guard::before);
        Plane<Qvo8u> destination(size, size, size + random.range(0, 9), round & 16 ? Guard::after : Guard::before);
        reference.fill(random, 0, 255);
        destination.fill(random, 0, 255);
        const auto expected =
            destination.contentsWith([&](int x, int y) { return interpolate(reference, x, y, vector, rounding); });
        const Qvo8u* const source =
            reference.origin() - (vector.dx >> 1) - static_cast<std::ptrdiff_t>(vector.dy >> 1) * reference.step();
        const int from = reference.step(), to = destination.step();
        if (rounding == 2)
            ASSERT_EQ(qvoStatusOk, (size == 8 ? qvoiCopyBlockApprox_H263_8u : qvoiCopyMBApprox_H263_8u)(
                                       source, from, destination.origin(), to, &vector));
        else
            ASSERT_EQ(qvoStatusOk, (size == 8 ? qvoiCopyBlockHalfpel_H263_8u : qvoiCopyMBHalfpel_H263_8u)(
                                       source, from, destination.origin(), to, &vector, rounding));
        ASSERT_EQ(expected, destination.contents()) << vector.dx << ',' << vector.dy << ' ' << rounding;
    }
}

// Figures F.2, F.3 and F.4, of which only a quarter need be known.
TEST(H263Prediction, OverlappedBlocks) {
    const int own[4][4] = {{4, 5, 5, 5}, {5, 5, 5, 5}, {5, 5, 6, 6}, {5, 5, 6, 6}};
    const int vertical[4][4] = {{2, 2, 2, 2}, {1, 1, 2, 2}, {1, 1, 1, 1}, {1, 1, 1, 1}};
    Random random;
    Plane<Qvo8u> reference(48, 48, 50, Guard::after);
    for (int round = 0; round < 3000; ++round) {
        reference.fill(random, 0, 255);
        const int rounding = round & 1;
        std::array<QvoMotionVector, 5> v;  // own, left, right, upper, lower
        for (QvoMotionVector& vector : v)
            vector = randomVector(random, 30);
        std::array<Qvo8u, 64> result;
        ASSERT_EQ(qvoStatusOk, qvoiOBMCHalfpel_H263_8u(&reference.at(20, 20), reference.step(), result.data(), 8,
                                                       &v[0], &v[1], &v[2], &v[3], &v[4], rounding));
        for (int y = 0; y < 8; ++y) {
            for (int x = 0; x < 8; ++x) {
                const int i = std::min(x, 7 - x), j = std::min(y, 7 - y);
                const auto at = [&](QvoMotionVector vector) {
                    return interpolate(reference, 20 + x + (vector.dx >> 1), 20 + y + (vector.dy >> 1), vector,
                                       rounding);
                };
                const int horizontal = 8 - own[j][i] - vertical[j][i];
                const int sum = own[j][i] * at(v[0]) + horizontal * at(x < 4 ? v[1] : v[2]) +
                                vertical[j][i] * at(y < 4 ? v[3] : v[4]);
                ASSERT_EQ((sum + 4) / 8, result[static_cast<std::size_t>(8 * y + x)]) << x << ',' << y;
            }
        }
    }
}

TEST(H263Prediction, MacroblocksAreCopiedAndReconstructed) {
    Random random;
    Guarded<Qvo16s> residual(6 * 64);
    for (int round = 0; round < 2000; ++round) {
        const int stepY = 16 + random.range(0, 3), stepC = 8 + random.range(0, 3);
        Plane<Qvo8u> planes[2][3] = {
            {{16, 16, stepY, Guard::after}, {8, 8, stepC, Guard::after}, {8, 8, stepC, Guard::before}},
            {{16, 16, stepY, Guard::before}, {8, 8, stepC, Guard::after}, {8, 8, stepC, Guard::after}}};
        for (auto& set : planes)
            for (Plane<Qvo8u>& plane : set)
                plane.fill(random, 0, 255);
        random.fill(residual, round % 2 ? -32768 : -60, round % 2 ? 32767 : 60);
        const bool inPlace = random.chance(30), copy = random.chance(20);
        const int cbp = copy ? 0 : random.range(0, 63);
        auto& to = planes[inPlace];
        auto& from = planes[1];
        std::vector<Qvo8u> expected[3];
        for (int p = 0; p < 3; ++p) {
            expected[p] = to[p].contentsWith([&](int x, int y) {
                const int block = p == 0 ? 2 * (y / 8) + x / 8 : p + 3;
                const int add = residual[static_cast<std::size_t>(64 * block + 8 * (y % 8) + x % 8)];
                return std::clamp(from[p].at(x, y) + ((cbp >> (5 - block) & 1) != 0 ? add : 0), 0, 255);
            });
        }
        const QvoStatus status =
            copy && !inPlace
                ? qvoiCopyMB_H263_8u_P3R(from[0].origin(), from[1].origin(), from[2].origin(), stepY, stepC,
                                         to[0].origin(), to[1].origin(), to[2].origin(), stepY, stepC)
                : qvoiReconMB_H263_8u_P3R(from[0].origin(), from[1].origin(), from[2].origin(), stepY, stepC,
                                          residual.data(), cbp, to[0].origin(), to[1].origin(), to[2].origin(), stepY,
                                          stepC);
        ASSERT_EQ(qvoStatusOk, status);
        for (int p = 0; p < 3; ++p)
            ASSERT_EQ(expected[p], to[p].contents()) << p << " cbp " << cbp;
    }
}

TEST(H263Prediction, StatusesInTheirOrder) {
    std::array<Qvo8u, 6 * 1024> memory = {};
    const std::vector<Qvo8u> source(4096);
    const Qvo8u* const src = source.data() + 1000;
    Qvo8u* const dst = memory.data() + 1000;
    const QvoMotionVector v = {1, 1};
    const Fault pointers = {qvoStatusNullPtr, {0, 2, 4}};
    const Fault blockSteps = {qvoStatusBlockStep, {1, 3}, {7, -8}};
    expectStatuses(memory, qvoiCopyBlockHalfpel_H263_8u, {src, 32, dst, 32, &v, 0}, {pointers, blockSteps});
    expectStatuses(memory, qvoiCopyMBHalfpel_H263_8u, {src, 32, dst, 32, &v, 0},
                   {pointers, {qvoStatusMbStep, {1, 3}, {15, -16}}});
    expectStatuses(memory, qvoiCopyBlockApprox_H263_8u, {src, 32, dst, 32, &v}, {pointers, blockSteps});
    expectStatuses(memory, qvoiCopyMBApprox_H263_8u, {src, 32, dst, 32, &v},
                   {pointers, {qvoStatusBlockStep, {1, 3}, {15, -16}}});
    expectStatuses(memory, qvoiOBMCHalfpel_H263_8u, {src, 32, dst, 32, &v, &v, &v, &v, &v, 0},
                   {{qvoStatusNullPtr, {0, 2, 4, 5, 6, 7, 8}}, blockSteps});
    const auto planeFaults = [](std::size_t dstAt) {
        return std::vector<Fault>{{qvoStatusNullPtr, {0, 1, 2, dstAt, dstAt + 1, dstAt + 2}},
                                  {qvoStatusMbStep, {3}, {15, -16}},
                                  {qvoStatusBlockStep, {4}, {7, -8}},
                                  {qvoStatusMbStep, {dstAt + 3}, {15, -16}},
                                  {qvoStatusBlockStep, {dstAt + 4}, {7, -8}}};
    };
    expectStatuses(memory, qvoiCopyMB_H263_8u_P3R, {src, src, src, 16, 8, dst, dst + 1000, dst + 2000, 16, 8},
                   planeFaults(5));
    const std::vector<Qvo16s> residual(6 * 64);
    std::vector<Fault> faults = planeFaults(7);
    faults[0].arguments.push_back(5);
    expectStatuses(memory, qvoiReconMB_H263_8u_P3R,
                   {src, src, src, 16, 8, residual.data(), 63, dst, dst + 1000, dst + 2000, 16, 8}, faults);
}

}  // namespace
