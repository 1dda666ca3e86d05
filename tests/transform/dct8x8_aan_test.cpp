#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/guarded.h"
#include "support/random.h"
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

constexpr int counts[] = {0, 1, 2, 5, 8, 9, 64, 1000, -1, -1000};

// The four forms through one signature. `blocks` are transformed side by side.
template <class T>
QvoStatus single(const Qvo16s* src, T* dst, int step, int count) {
    if constexpr (sizeof(T) == 1)
        return qvoiDCT8x8Inv_AANTransposed_16s8u_C1R(src, dst, step, count);
    else
        return qvoiDCT8x8Inv_AANTransposed_16s_C1R(src, dst, step, count);
}
template <class T>
QvoStatus pair(const Qvo16s* srcU, const Qvo16s* srcV, T* dst, int step, int countU, int countV) {
    if constexpr (sizeof(T) == 1)
        return qvoiDCT8x8Inv_AANTransposed_16s8u_P2C2R(srcU, srcV, dst, step, countU, countV);
    else
        return qvoiDCT8x8Inv_AANTransposed_16s_P2C2R(srcU, srcV, dst, step, countU, countV);
}

template <class T>
class DctAan : public testing::Test {
  protected:
    static T saturated(int v) {
        return static_cast<T>(sizeof(T) == 1 ? std::clamp(v, 0, 255) : std::clamp(v, -256, 255));
    }
};
using Elements = testing::Types<Qvo16s, Qvo8u>;
TYPED_TEST_SUITE(DctAan, Elements);

TYPED_TEST(DctAan, FollowsTheFlowBitForBitAtAnyStep) {
    using T = TypeParam;
    Random random(1);
    for (int i = 0; i < 800; ++i) {
        const Block in = someBlock(random, i);
        for (const int count : counts) {
            const Result expected = inverseByFlow(in, count);
            if constexpr (sizeof(T) == sizeof(Qvo16s)) {
                Block inPlace = in;
                ASSERT_EQ(qvoStatusOk, single(inPlace.data(), inPlace.data(), 16, count));
                for (int k = 0; k < 64; ++k)
                    ASSERT_EQ(this->saturated(expected[k]), inPlace[k]) << i << " count " << count;
            }
            for (const int stride : {8, 11, -8, -9}) {
                std::vector<T> wanted(8 * 11 + 16, T(0x5A)), out = wanted;
                const int first = stride < 0 ? 7 * -stride + 3 : 3;
                for (int k = 0; k < 64; ++k) {
                    wanted[first + stride * (k / 8) + k % 8] = this->saturated(expected[k]);
                }
                ASSERT_EQ(qvoStatusOk, single(in.data(), out.data() + first, stride * int(sizeof(T)), count));
                ASSERT_EQ(wanted, out) << i << " count " << count << " stride " << stride;
            }
        }
    }
}

TYPED_TEST(DctAan, PairsInterleave) {
    using T = TypeParam;
    Random random(2);
    for (int i = 0; i < 100; ++i) {
        const Block u = someBlock(random, i), v = someBlock(random, i / 4);
        for (const int countU : counts) {
            for (const int countV : counts) {
                const Result expectedU = inverseByFlow(u, countU), expectedV = inverseByFlow(v, countV);
                const int stride = i % 2 == 0 ? 16 : -19;
                std::vector<T> wanted(8 * 19 + 16, T(0x5A)), out = wanted;
                const int first = stride < 0 ? 7 * -stride + 3 : 3;
                for (int k = 0; k < 64; ++k) {
                    const int at = first + stride * (k / 8) + 2 * (k % 8);
                    wanted[at] = this->saturated(expectedU[k]);
                    wanted[at + 1] = this->saturated(expectedV[k]);
                }
                ASSERT_EQ(qvoStatusOk,
                          pair(u.data(), v.data(), out.data() + first, stride * int(sizeof(T)), countU, countV));
                ASSERT_EQ(wanted, out) << i << " counts " << countU << ' ' << countV;
            }
        }
    }
}

TYPED_TEST(DctAan, ReadsOnlyWhatTheCountNames) {
    using T = TypeParam;
    std::array<T, 128> out;
    // Count 0: the sources are not touched at all, count 1: nothing but the first element is.
    Guarded<Qvo16s> one(1);
    one[0] = -15;
    out.fill(77);
    ASSERT_EQ(qvoStatusOk, single(one.end(), out.data(), 8 * sizeof(T), 0));
    EXPECT_EQ(64, std::count(out.begin(), out.end(), 0));
    out.fill(77);
    ASSERT_EQ(qvoStatusOk, pair(one.end(), one.end(), out.data(), 16 * sizeof(T), 0, 0));
    EXPECT_EQ(128, std::count(out.begin(), out.end(), 0));
    ASSERT_EQ(qvoStatusOk, single(one.data(), out.data(), 8 * sizeof(T), 1));
    EXPECT_EQ(64, std::count(out.begin(), out.begin() + 64, this->saturated(-1)));
    // Counts to 8: the block's last element read is that of row 3, column 3.
    Guarded<Qvo16s> corner(32);
    ASSERT_EQ(qvoStatusOk, single(corner.data(), out.data(), 8 * sizeof(T), 8));
    for (const Guard guard : {Guard::after, Guard::before}) {
        Guarded<Qvo16s> block(64, guard);
        Guarded<T> destination(7 * 17 + 16, guard), narrow(64, guard);
        for (const int count : counts) {
            single(block.data(), narrow.data(), 8 * sizeof(T), count);
            pair(block.data(), block.data(), destination.data(), 17 * sizeof(T), count, count);
        }
    }
}

// An eighth of a unit above the real transform on average: the rounding adds 0.625.
TEST(DctAanPrecision, IsTheRealTransformOfTheTransposedBlockBiasedUp) {
    Random random(5);
    double worst = 0, sum = 0;
    constexpr int blocks = 2000;
    for (int i = 0; i < blocks; ++i) {
        Block coefficients, out, transposed;
        random.fill(coefficients, -40, 40);
        for (int k = 0; k < 64; ++k)
            transposed[8 * (k % 8) + k / 8] = coefficients[k];
        qvoiDCT8x8Inv_AANTransposed_16s_C1R(transposed.data(), out.data(), 16, 64);
        const Real real = inverseReal(dct8, coefficients);
        for (int k = 0; k < 64; ++k) {
            worst = std::max(worst, std::abs(out[k] - real[k]));
            sum += out[k] - real[k];
        }
    }
    EXPECT_LT(worst, 1.5);
    EXPECT_NEAR(0.125, sum / (64 * blocks), 0.02);
}

TYPED_TEST(DctAan, Statuses) {
    using T = TypeParam;
    Block in{};
    in[0] = 800;
    std::array<T, 128> out;
    out.fill(77);
    const auto untouched = out;
    EXPECT_EQ(qvoStatusNullPtr, single<T>(nullptr, out.data(), 16, 0));
    EXPECT_EQ(qvoStatusNullPtr, single<T>(in.data(), nullptr, 16, 0));
    EXPECT_EQ(qvoStatusNullPtr, pair<T>(nullptr, in.data(), out.data(), 32, 0, 0));
    EXPECT_EQ(qvoStatusNullPtr, pair<T>(in.data(), nullptr, out.data(), 32, 1, 0));
    EXPECT_EQ(qvoStatusNullPtr, pair<T>(in.data(), in.data(), nullptr, 32, 1, 1));
    EXPECT_EQ(untouched, out);
}

}  // namespace
