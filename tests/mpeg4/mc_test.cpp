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

// ISO/IEC 14496-2, 7.6.2.1: one sample of the plane, or the average of two or four, by the halves of a vector.
int interpolate(Plane<Qvo8u>& plane, int x, int y, QvoMotionVector vector, int rc) {
    const int right = vector.dx & 1, down = vector.dy & 1, count = (1 + right) * (1 + down);
    int sum = 0;
    for (int j = 0; j <= down; ++j)
        for (int i = 0; i <= right; ++i)
            sum += plane.at(x + i, y + j);
    return count == 1 ? sum : (sum + count / 2 - (rc != 0)) / count;
}

int randomRounding(Random& random, int round) {
    return random.chance(90) ? round & 1 : random.range(-5, 5);
}

TEST(Halfpel, CopiesAndReconstructs) {
    Random random;
    for (int round = 0; round < 6000; ++round) {
        const int size = round & 2 ? 16 : 8, rc = randomRounding(random, round);
        const int dx = random.range(-70, 70), dy = random.range(-70, 70);
        const QvoMotionVector vector = {static_cast<Qvo16s>(dx), static_cast<Qvo16s>(dy)};
        // All that the block of the vector reads, and where the block lies that the vector leads away from.
        Plane<Qvo8u> reference(size + (dx & 1), size + (dy & 1), random);
        reference.fill(random, 0, 255);
        const Qvo8u* const block = reference.origin() - (dx >> 1) - (dy >> 1) * std::ptrdiff_t{reference.step()};
        const auto predict = [&](int x, int y) { return interpolate(reference, x, y, vector, rc); };
        Plane<Qvo8u> destination(size, size, random);
        SCOPED_TRACE(testing::Message() << dx << ',' << dy << " rc " << rc);
        const auto predicted = destination.contentsWith(predict);
        const auto copy = size == 16 ? qvoiCopyMBHalfpel_MPEG4_8u : qvoiCopyBlockHalfpel_MPEG4_8u;
        ASSERT_EQ(qvoStatusOk, copy(block, reference.step(), destination.origin(), destination.step(), &vector, rc));
        ASSERT_EQ(predicted, destination.contents());
        if (size == 16) continue;

        Guarded<Qvo16s> residual(64);
        const int range = random.chance(25) ? 32768 : random.chance(50) ? 256 : 40;
        random.fill(residual, -range, range - 1);
        if (range == 32768)
            residual[static_cast<std::size_t>(random.range(0, 63))] = random.chance(50) ? 32767 : -32768;
        const auto sample = [&](int x, int y) {
            return std::clamp(predict(x, y) + residual[static_cast<std::size_t>(8 * y + x)], 0, 255);
        };
        const auto reconstructed = destination.contentsWith(sample);
        ASSERT_EQ(qvoStatusOk, qvoiReconBlockHalfpel_MPEG4_8u(block, reference.step(), residual.data(),
                                                              destination.origin(), destination.step(), &vector, rc));
        ASSERT_EQ(reconstructed, destination.contents());

        if ((dx | dy) & 1) continue;
        const auto inPlace = reference.contentsWith(sample);
        ASSERT_EQ(qvoStatusOk, qvoiReconBlockHalfpel_MPEG4_8u(block, reference.step(), residual.data(),
                                                              reference.origin(), reference.step(), &vector, rc));
        ASSERT_EQ(inPlace, reference.contents());
    }
}

TEST(Average, BlocksAndMacroblocks) {
    Random random;
    for (int round = 0; round < 600; ++round) {
        const int size = round & 1 ? 16 : 8;
        Plane<Qvo8u> first(size, size, random), second(size, size, random), destination(size, size, random);
        first.fill(random, 0, 255);
        second.fill(random, 0, 255);
        const auto sample = [&](int x, int y) { return (first.at(x, y) + second.at(x, y) + 1) / 2; };
        const auto expected = destination.contentsWith(sample);
        ASSERT_EQ(qvoStatusOk, (size == 16 ? qvoiAverageMB_MPEG4_8u : qvoiAverageBlock_MPEG4_8u)(
                                   first.origin(), first.step(), second.origin(), second.step(), destination.origin(),
                                   destination.step()));
        ASSERT_EQ(expected, destination.contents());
        const auto inPlace = second.contentsWith(sample);
        ASSERT_EQ(qvoStatusOk, (size == 16 ? qvoiAverageMB_MPEG4_8u_I : qvoiAverageBlock_MPEG4_8u_I)(
                                   first.origin(), first.step(), second.origin(), second.step()));
        ASSERT_EQ(inPlace, second.contents());
    }
}

// ---- overlapped motion compensation ----

// ISO/IEC 14496-2, 7.6.6: the weights of the block's own vector, and those of the vertical neighbours. Those beside
// it are what is left of 8.
const char* const ownWeights[] = {"45555554", "55555555", "55666655", "55666655",
                                  "55666655", "55666655", "55555555", "45555554"};
const char* const verticalWeights[] = {"22222222", "11222211", "11111111", "11111111",
                                       "11111111", "11111111", "11222211", "22222222"};

// A vector whose prediction of a part of the block lies within a plane of extent x extent samples, the block being at
// (at, at); often at the very edge.
QvoMotionVector vectorWithin(int extent, int at, int left, int top, int width, int height, Random& random) {
    const auto component = [&](int begin, int length) {
        const int low = -2 * (at + begin), high = 2 * (extent - at - begin - length);
        const int edge = random.range(0, 9);
        return static_cast<Qvo16s>(edge < 3 ? low : edge < 6 ? high - (edge & 1) : random.range(low, high));
    };
    const Qvo16s dx = component(left, width);
    return {dx, component(top, height)};
}

TEST(OBMC, WeighsThePredictionsOfFiveVectors) {
    constexpr int extent = 14, corner = 3;
    Random random;
    for (int round = 0; round < 3000; ++round) {
        Plane<Qvo8u> plane(extent, extent, random), destination(8, 8, random);
        plane.fill(random, 0, 255);
        const int rc = randomRounding(random, round);
        const QvoMotionVector own = vectorWithin(extent, corner, 0, 0, 8, 8, random);
        const QvoMotionVector left = vectorWithin(extent, corner, 0, 0, 4, 8, random);
        const QvoMotionVector right = vectorWithin(extent, corner, 4, 0, 4, 8, random);
        const QvoMotionVector above = vectorWithin(extent, corner, 0, 0, 8, 4, random);
        const QvoMotionVector below = vectorWithin(extent, corner, 0, 4, 8, 4, random);
        const auto predict = [&](QvoMotionVector v, int x, int y) {
            return interpolate(plane, corner + x + (v.dx >> 1), corner + y + (v.dy >> 1), v, rc);
        };
        const auto expected = destination.contentsWith([&](int x, int y) {
            const int wOwn = ownWeights[y][x] - '0', wVertical = verticalWeights[y][x] - '0';
            return (wOwn * predict(own, x, y) + (8 - wOwn - wVertical) * predict(x < 4 ? left : right, x, y) +
                    wVertical * predict(y < 4 ? above : below, x, y) + 4) /
                   8;
        });
        ASSERT_EQ(qvoStatusOk, qvoiOBMCHalfpel_MPEG4_8u(&plane.at(corner, corner), plane.step(), destination.origin(),
                                                        destination.step(), &own, &left, &right, &above, &below, rc));
        ASSERT_EQ(expected, destination.contents());
    }
}

TEST(Mc, OnlyNullPointersAreRefused) {
    const Qvo8u source[256] = {};
    std::array<Qvo8u, 256> target = {};
    Qvo8u* const d = target.data();
    const QvoMotionVector v = {};
    const Qvo16s residual[64] = {};
    const std::vector<Fault> nulls[] = {
        {{qvoStatusNullPtr, {0, 2}}}, {{qvoStatusNullPtr, {0, 3}}}, {{qvoStatusNullPtr, {0, 2, 4}}}};
    for (const auto copy : {qvoiCopyBlockHalfpel_MPEG4_8u, qvoiCopyMBHalfpel_MPEG4_8u})
        expectStatuses(target, copy, {source, 16, d, 16, &v, 0}, nulls[0]);
    expectStatuses(target, qvoiReconBlockHalfpel_MPEG4_8u, {source, 8, residual, d, 8, &v, 0}, nulls[1]);
    expectStatuses(target, qvoiOBMCHalfpel_MPEG4_8u, {source, 8, d, 8, &v, &v, &v, &v, &v, 0}, nulls[0]);
    for (const auto average : {qvoiAverageBlock_MPEG4_8u, qvoiAverageMB_MPEG4_8u})
        expectStatuses(target, average, {source, 16, source, 16, d, 16}, nulls[2]);
    for (const auto average : {qvoiAverageBlock_MPEG4_8u_I, qvoiAverageMB_MPEG4_8u_I})
        expectStatuses(target, average, {source, 16, d, 16}, nulls[0]);
}

}  // namespace
