#include <gtest/gtest.h>

#include <algorithm>

#include "support/plane.h"
#include "support/statuses.h"
#include "transform/blocks.h"

namespace {

// The even/odd flow of one pass, product by product.
void flow(const Wrapping (&x)[8], Wrapping (&sum)[8]) {
    const Wrapping g1 = 64276, g2 = 60547, g3 = 54491, g4 = 46340, g5 = 36409, g6 = 25079, g7 = 12785;
    const Wrapping e0 = (x[0] + x[4]) * g4 + (g2 * x[2] + g6 * x[6]);
    const Wrapping e3 = (x[0] + x[4]) * g4 - (g2 * x[2] + g6 * x[6]);
    const Wrapping e1 = (x[0] - x[4]) * g4 + (g6 * x[2] - g2 * x[6]);
    const Wrapping e2 = (x[0] - x[4]) * g4 - (g6 * x[2] - g2 * x[6]);
    const Wrapping o0 = g1 * x[1] + g3 * x[3] + g5 * x[5] + g7 * x[7];
    const Wrapping o1 = g3 * x[1] - g7 * x[3] - g1 * x[5] - g5 * x[7];
    const Wrapping o2 = g5 * x[1] - g1 * x[3] + g7 * x[5] + g3 * x[7];
    const Wrapping o3 = g7 * x[1] - g5 * x[3] + g3 * x[5] - g1 * x[7];
    const Wrapping all[8] = {e0 + o0, e1 + o1, e2 + o2, e3 + o3, e3 - o3, e2 - o2, e1 - o1, e0 - o0};
    std::copy(all, all + 8, sum);
}

using Result = std::array<int, 64>;

// The result before saturation.
Result inverseByFlow(const Block& in, int count) {
    Result out{};
    if (count == 0) return out;
    if (count == 1) {
        out.fill(in[0] / 8);
        return out;
    }
    const int size = count >= 2 && count <= 8 ? 4 : 8;
    Wrapping t[8][8], x[8], sum[8];
    for (int j = 0; j < size; ++j) {
        for (int k = 0; k < 8; ++k)
            x[k] = k < size ? in[8 * k + j] : 0;
        flow(x, sum);
        for (int k = 0; k < 8; ++k)
            t[j][k] = (sum[k] + 32768) >> 16;
    }
    for (int k = 0; k < 8; ++k) {
        for (int j = 0; j < 8; ++j)
            x[j] = t[j][k];
        flow(x, sum);
        for (int m = 0; m < 8; ++m)
            out[8 * m + k] = ((sum[m] + 163840) >> 18).value();
    }
    return out;
}

Block someBlock(Random& random, int kind) {
    Block block{};
    if (kind % 4 == 0) random.fill(block, -2048, 2047);
    if (kind % 4 == 1) random.fill(block, -32768, 32767);
    if (kind % 4 == 2) random.fill(block, -60, 60);
    if (kind % 4 == 3) {
        for (int i = random.range(0, 6); i >= 0; --i) {
            block[random.range(0, 63)] = static_cast<Qvo16s>(random.range(-700, 700));
        }
    }
    return block;
}

// Both operations of a type of elements, at any step and with any counts. Of the sources only that much can be read: no
// element for count 0, the first for 1, four rows for counts to 8.
template <class T, class Single, class Pair>
void testForms(Single single, Pair pair) {
    constexpr int counts[] = {0, 1, 2, 5, 8, 9, 64, 1000, -1, -1000};
    Random random(1);
    for (int i = 0; i < 6000; ++i) {
        const Block u = someBlock(random, i), v = someBlock(random, i / 4);
        const int countU = counts[random.range(0, 9)], countV = counts[random.range(0, 9)];
        const Result expectedU = inverseByFlow(u, countU), expectedV = inverseByFlow(v, countV);
        const auto readable = [](int count) {
            return std::size_t(count == 0 ? 0 : count == 1 ? 1 : count > 0 && count <= 8 ? 32 : 64);
        };
        Guarded<Qvo16s> srcU(readable(countU)), srcV(readable(countV));
        std::copy_n(u.begin(), srcU.size(), srcU.begin());
        std::copy_n(v.begin(), srcV.size(), srcV.begin());
        const auto saturated = [](int value) {
            return static_cast<T>(sizeof(T) == 1 ? std::clamp(value, 0, 255) : std::clamp(value, -256, 255));
        };
        SCOPED_TRACE(testing::Message() << i << " counts " << countU << ' ' << countV);

        Plane<T> one(8, 8, random), both(16, 8, random);
        const auto contents = one.contentsWith([&](int x, int y) { return saturated(expectedU[8 * y + x]); });
        ASSERT_EQ(qvoStatusOk, single(srcU.data(), one.origin(), one.step(), countU));
        ASSERT_EQ(contents, one.contents());
        const auto interleaved = both.contentsWith(
            [&](int x, int y) { return saturated((x % 2 ? expectedV : expectedU)[8 * y + x / 2]); });
        ASSERT_EQ(qvoStatusOk, pair(srcU.data(), srcV.data(), both.origin(), both.step(), countU, countV));
        ASSERT_EQ(interleaved, both.contents());
        if constexpr (sizeof(T) == sizeof(Qvo16s)) {
            Block inPlace = u;
            ASSERT_EQ(qvoStatusOk, single(inPlace.data(), inPlace.data(), 16, countU));
            ASSERT_TRUE(std::equal(inPlace.begin(), inPlace.end(), expectedU.begin(),
                                   [&](int a, int b) { return a == saturated(b); }));
        }
    }
    const Block in{};
    std::array<T, 128> out{};
    expectStatuses(out, single, {in.data(), out.data(), 16, 0}, {{qvoStatusNullPtr, {0, 1}}});
    expectStatuses(out, pair, {in.data(), in.data(), out.data(), 16 * int{sizeof(T)}, 0, 0},
                   {{qvoStatusNullPtr, {0, 1, 2}}});
}

TEST(DctAan, FollowsTheFlowBitForBit) {
    testForms<Qvo16s>(qvoiDCT8x8Inv_AANTransposed_16s_C1R, qvoiDCT8x8Inv_AANTransposed_16s_P2C2R);
    testForms<Qvo8u>(qvoiDCT8x8Inv_AANTransposed_16s8u_C1R, qvoiDCT8x8Inv_AANTransposed_16s8u_P2C2R);
}

}  // namespace
