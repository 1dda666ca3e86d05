// Motion vectors: both codings, the ranges, and median prediction.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "mpeg4/motion_codes.h"
#include "mpeg4/texture_codes.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using texture::Stream;

using Vectors = std::array<QvoMotionVector, 4>;

bool same(QvoMotionVector a, QvoMotionVector b) {
    return a.dx == b.dx && a.dy == b.dy;
}

std::string baseline(int difference) {
    const std::string code = motionCodes[std::abs(difference)];
    return difference == 0 ? code : code + (difference < 0 ? '1' : '0');
}

// Table D.3: 0, then each bit of the magnitude below its leading one followed by 1, then the sign and 0.
std::string reversible(int difference) {
    if (difference == 0) return "1";
    const int magnitude = std::abs(difference);
    int bits = 0;
    while (magnitude >> (bits + 1) != 0)
        ++bits;
    std::string code = "0";
    while (bits-- > 0)
        code += {(magnitude >> bits & 1) != 0 ? '1' : '0', '1'};
    return code + (difference < 0 ? "10" : "00");
}

// The vector in the mode's range that a predictor and a difference give (6.1.1, D.2), for baseline and Annex D.
int reconstruct(int predictor, int difference, int mode) {
    const int sum = predictor + difference;
    if (mode == qvoMVBaseline) return sum < -32 ? sum + 64 : sum > 31 ? sum - 64 : sum;
    if (mode == qvoMVUnrestricted && predictor > 32 && sum > 63) return sum - 64;
    if (mode == qvoMVUnrestricted && predictor < -31 && sum < -63) return sum + 64;
    return sum;
}

TEST(H263Vectors, DifferencesInEveryMode) {
    Random random;
    for (const int mode : {qvoMVBaseline, qvoMVUnrestricted, qvoMVReversible}) {
        const int range = mode == qvoMVReversible ? 4095 : 32;
        const int limit = mode == qvoMVBaseline ? 32 : mode == qvoMVUnrestricted ? 63 : 4000;
        for (int i = 0; i < 9000; ++i) {  // all differences, of the first two modes with all predictors
            const int d = i % (2 * range + 1) - range;
            const int e = d == 1 || random.chance(30) ? d : random.range(-range, range);
            const int py = random.range(-limit, limit);
            const int px = mode == qvoMVReversible ? -py : i / (2 * range + 1) % (2 * limit + 1) - limit;
            std::string bits = mode == qvoMVReversible ? reversible(d) + reversible(e) : baseline(d) + baseline(e);
            // Six zeros would run into a start code but for the bit behind them.
            if (mode == qvoMVReversible && d == 1 && e == 1) bits += '1';
            QvoMotionVector vector = {static_cast<Qvo16s>(px), static_cast<Qvo16s>(py)};
            Stream stream(bits, random.range(0, 7));
            ASSERT_EQ(qvoStatusOk, qvoiDecodeMVD_H263(&stream.position, &stream.bitOffset, &vector, mode));
            ASSERT_EQ(static_cast<int>(bits.size()), stream.bitsUsed()) << mode << ' ' << d << ' ' << e;
            ASSERT_EQ(reconstruct(px, d, mode), vector.dx) << mode << ' ' << px << ' ' << d;
            ASSERT_EQ(reconstruct(py, e, mode), vector.dy) << mode << ' ' << py << ' ' << e;
        }
    }
}

TEST(H263Vectors, InvalidCodes) {
    const std::string zeros(16, '0'), ones = "0" + std::string(40, '1');
    const struct {
        int mode;
        std::string first, second;
    } cases[] = {{qvoMVBaseline, zeros, ""},
                 {qvoMVBaseline, baseline(-7), zeros},
                 {qvoMVReversible, ones, ""},
                 {qvoMVReversible, reversible(100), ones},
                 {qvoMVUnrestricted, "1", zeros}};
    for (const auto& c : cases) {
        Stream stream(c.first + c.second, 5);
        QvoMotionVector vector = {3, 4};
        EXPECT_EQ(qvoStatusBadMvCode, qvoiDecodeMVD_H263(&stream.position, &stream.bitOffset, &vector, c.mode));
        EXPECT_TRUE(same({3, 4}, vector));
        EXPECT_EQ(c.second.empty() ? 0 : static_cast<int>(c.first.size()), stream.bitsUsed());
    }
}

int median(int a, int b, int c) {
    return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// Figure 12 on a grid of blocks, of which macroblocks may lie outside.
TEST(H263Vectors, PredictionAndMacroblocks) {
    Random random;
    for (int round = 0; round < 5000; ++round) {
        Vectors around[3], current = {};
        for (Vectors& mb : around)
            for (QvoMotionVector& v : mb)
                v = {static_cast<Qvo16s>(random.range(-32, 31)), static_cast<Qvo16s>(random.range(-32, 31))};
        const QvoMotionVector* mbs[3];
        for (std::size_t i = 0; i < 3; ++i)
            mbs[i] = random.chance(75) ? around[i].data() : nullptr;
        if (mbs[1] == nullptr) mbs[2] = nullptr;

        const int type = random.range(0, 5), count = type == 2 || type == 5 ? 4 : 1;
        std::string bits;
        Vectors expected = {};
        for (int block = 0; block < count; ++block) {
            const QvoMotionVector zero = {0, 0};
            const auto of = [&](int mb, int i) { return mbs[mb] != nullptr ? mbs[mb][i] : zero; };
            QvoMotionVector a, b, c;
            if (block < 2) {
                a = block == 0 ? of(0, 1) : expected[0];
                b = mbs[1] != nullptr ? of(1, 2 + block) : a;
                c = mbs[1] != nullptr ? of(2, 2) : a;
            } else {
                a = block == 2 ? of(0, 3) : expected[2];
                b = expected[0];
                c = expected[1];
            }
            const int px = median(a.dx, b.dx, c.dx), py = median(a.dy, b.dy, c.dy);
            QvoMotionVector predictor;
            ASSERT_EQ(qvoStatusOk, qvoiFindMVpred_H263(expected.data(), mbs[0], mbs[1], mbs[2], &predictor, block));
            ASSERT_EQ(px, predictor.dx);
            ASSERT_EQ(py, predictor.dy);
            const int dx = random.range(-31, 31), dy = random.range(-31, 31);
            bits += baseline(dx) + baseline(dy);
            expected[static_cast<std::size_t>(block)] = {static_cast<Qvo16s>(reconstruct(px, dx, 0)),
                                                         static_cast<Qvo16s>(reconstruct(py, dy, 0))};
        }
        if (count == 1) expected[1] = expected[2] = expected[3] = expected[0];
        Stream stream(bits);
        ASSERT_EQ(qvoStatusOk, qvoiDecodeMV_H263(&stream.position, &stream.bitOffset, mbs[0], mbs[1], mbs[2],
                                                 current.data(), qvoMVBaseline, type));
        ASSERT_EQ(static_cast<int>(bits.size()), stream.bitsUsed());
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), current.begin(), same));
    }
}

TEST(H263Vectors, NullPointers) {
    struct Memory {
        Qvo16s v[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        bool operator==(const Memory&) const = default;
    } memory;
    QvoMotionVector* const vectors = reinterpret_cast<QvoMotionVector*>(memory.v);
    Qvo8u ones[16] = {255, 255, 255, 255, 255, 255};
    Qvo8u* position = ones;
    Qvo32s offset = 0;
    const Fault outer = {qvoStatusNullPtr, {0, 1, 2}}, inner = {qvoStatusNullPtr, {0}, {1}};
    expectStatuses(memory, qvoiDecodeMVD_H263, {&position, &offset, vectors, 0}, {outer, inner});
    expectStatuses(memory, qvoiDecodeMV_H263, {&position, &offset, nullptr, nullptr, nullptr, vectors, 0, 0},
                   {{qvoStatusNullPtr, {0, 1, 5}}, inner});
    expectStatuses(memory, qvoiFindMVpred_H263, {vectors, nullptr, nullptr, nullptr, vectors + 1, 0},
                   {{qvoStatusNullPtr, {0, 4}}});
}

}  // namespace
