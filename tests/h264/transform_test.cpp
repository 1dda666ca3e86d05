// Transforms and quantisation against a transcription of ITU-T H.264 clauses 8.5 and 8.6 with the interface's 16-bit
// wraps, and the forward operations feeding the inverse ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>
#include <vector>

#include "qvovc.h"
#include "support/plane.h"
#include "support/statuses.h"

namespace {

using Line = std::array<long long, 4>;
using Values = std::array<long long, 16>;
using Block = std::array<Qvo16s, 16>;

Qvo16s wrap(long long v) {
    return static_cast<Qvo16s>(v & 0xFFFF);
}

// The standard's normAdjust (v) and the reference encoder's multipliers, by class.
constexpr int v[6][3] = {{10, 16, 13}, {11, 18, 14}, {13, 20, 16}, {14, 23, 18}, {16, 25, 20}, {18, 29, 23}};
constexpr int multiplier[6][3] = {{13107, 5243, 8066}, {11916, 4660, 7490}, {10082, 4194, 6554},
                                  {9362, 3647, 5825},  {8192, 3355, 5243},  {7282, 2893, 4559}};
constexpr int positionClass[16] = {0, 2, 0, 2, 2, 1, 2, 1, 0, 2, 0, 2, 2, 1, 2, 1};
constexpr int weight[3] = {16, 25, 20};

int factor(int qp, std::size_t position) {
    return v[qp % 6][positionClass[position]] << (qp / 6);
}

Line inverse(const Line& d) {  // equations of clause 8.5.12.2
    const long long e0 = d[0] + d[2], e1 = d[0] - d[2], e2 = (d[1] >> 1) - d[3], e3 = d[1] + (d[3] >> 1);
    return {e0 + e3, e1 + e2, e1 - e2, e0 - e3};
}
template <int w>
Line linear(const Line& s) {
    return {s[0] + s[1] + s[2] + s[3], w * s[0] + s[1] - s[2] - w * s[3], s[0] - s[1] - s[2] + s[3],
            s[0] - w * s[1] + w * s[2] - s[3]};
}
constexpr auto forward = linear<2>, hadamard = linear<1>;

// Rows, in 16 bits, then columns.
Values transform(const Block& block, Line (*stage)(const Line&)) {
    Values values;
    std::copy(block.begin(), block.end(), values.begin());
    for (const std::size_t along : {1u, 4u}) {
        for (std::size_t i = 0; i < 16; i += 5 - along) {
            if (along == 4 && i == 4) break;
            const Line line = stage({values[i], values[i + along], values[i + 2 * along], values[i + 3 * along]});
            for (std::size_t k = 0; k < 4; ++k)
                values[i + k * along] = along == 1 ? wrap(line[k]) : line[k];
        }
    }
    return values;
}

Block stored(const Values& values, int shift = 0, int round = 0) {
    Block block;
    std::transform(values.begin(), values.end(), block.begin(), [&](auto x) { return wrap((x + round) >> shift); });
    return block;
}

Line hadamard2x2(const Qvo16s* c) {
    return {c[0] + c[1] + c[2] + c[3], c[0] - c[1] + c[2] - c[3], c[0] + c[1] - c[2] - c[3],
            c[0] - c[1] - c[2] + c[3]};
}

Block residualOf(const Block& levels, const Qvo16s* pDC, bool ac, int qp) {
    Block coefs;
    for (std::size_t i = 0; i < 16; ++i)
        coefs[i] = wrap(levels[i] * factor(qp, i));
    if (pDC) coefs[0] = *pDC;
    if (ac) return stored(transform(coefs, inverse), 6, 32);
    coefs.fill(wrap((coefs[0] + 32) >> 6));
    return coefs;
}

// Levels as they occur (few, small) or anything 16 bits can hold.
Block randomBlock(Random& random) {
    Block block;
    const int limit = random.chance(30) ? 32768 : random.chance(50) ? 2063 : 12;
    const int zeros = random.range(0, 90);
    for (auto& c : block)
        c = random.chance(zeros) ? Qvo16s{0} : wrap(random.range(-limit, limit - 1));
    return block;
}

TEST(Transform, ReconstructionFollowsTheStandard) {
    Random random(62);
    for (int round = 0; round < 6000; ++round) {
        const int qp = round % 52;
        const bool ac = random.chance(70);
        const Qvo16s dc = randomBlock(random)[5];
        const Qvo16s* const pDC = random.chance(50) ? &dc : nullptr;
        const Block levels = randomBlock(random);
        const Block residual = residualOf(levels, pDC, ac, qp);

        Plane<Qvo16s> rows(4, 4, 2 * random.range(4, 9), Guard::after);
        Plane<Qvo8u> pred(4, 4, random.range(4, 9), Guard::after), dst(4, 4, random.range(4, 9), Guard::after);
        pred.fill(random, 0, 255);
        const auto at = [](const Block& block, int x, int y) { return block[static_cast<std::size_t>(4 * y + x)]; };
        const auto expected = rows.contentsWith([&](int x, int y) { return at(residual, x, y); });
        const auto sum =
            dst.contentsWith([&](int x, int y) { return std::clamp(pred.at(x, y) + at(residual, x, y), 0, 255); });
        rows.restore(rows.contentsWith([&](int x, int y) { return at(levels, x, y); }));
        ASSERT_EQ(qvoStatusOk,
                  qvoiDequantTransformResidual_H264_16s_C1I(rows.origin(), rows.step(), pDC, ac ? 2u : 0u, qp));
        ASSERT_EQ(expected, rows.contents()) << "QP " << qp << " AC " << ac;
        Block coefs = levels;
        Qvo16s* const pCoef = ac || !pDC ? coefs.data() : nullptr;
        ASSERT_EQ(qvoStatusOk, qvoiDequantTransformResidualAndAdd_H264_16s_C1I(
                                   pred.origin(), pCoef, pDC, dst.origin(), pred.step(), dst.step(), qp, ac));
        ASSERT_EQ(sum, dst.contents()) << "QP " << qp << " AC " << ac;
        ASSERT_EQ(ac ? residual : levels, coefs);

        Block luma = levels, chroma = levels;
        const Values sums = transform(levels, hadamard);
        ASSERT_EQ(qvoStatusOk, qvoiTransformDequantLumaDC_H264_16s_C1I(luma.data(), qp));
        ASSERT_EQ(qvoStatusOk, qvoiTransformDequantChromaDC_H264_16s_C1I(chroma.data(), qp));
        for (std::size_t i = 0; i < 16; ++i) {
            const long long scaled = sums[i] * v[qp % 6][0];
            const int e = qp / 6;
            ASSERT_EQ(wrap(e >= 2 ? scaled << (e - 2) : (scaled + (1 << (1 - e))) >> (2 - e)), luma[i]) << qp;
            ASSERT_EQ(i < 4 ? wrap((hadamard2x2(levels.data())[i] * factor(qp, 0)) >> 1) : levels[i], chroma[i]);
        }
    }
}

// What a forward operation leaves behind.
struct Quantised {
    QvoStatus status = qvoStatusOk;
    Block levels;
    int count = 0, last = 0;
    bool operator==(const Quantised&) const = default;
};

// Quantises `size` values; the memory of the levels holds `before`, that of `last` 99 when the quantisation begins.
Quantised quantise(const Block& values, std::size_t size, const Block& before, int qp, bool dc, bool intra,
                   const Block& scan) {
    Quantised out;
    out.levels = before;
    const int qbits = (dc ? 16 : 15) + qp / 6;
    for (std::size_t i = 0; i < size; ++i) {
        const long long m = multiplier[qp % 6][dc ? 0 : positionClass[i]];
        const long long level = (std::llabs(values[i]) * m + (1LL << qbits) / (intra ? 3 : 6)) >> qbits;
        if (level > 2063) return {qvoStatusLevelOverflow, out.levels, out.count, 99};
        out.levels[i] = wrap(values[i] < 0 ? -level : level);
        if (level == 0) continue;
        ++out.count;
        out.last = std::max<int>(out.last, scan[i]);
    }
    if (out.levels[0] != 0) out.count = -out.count;
    return out;
}

TEST(Transform, ForwardOperationsQuantiseCountAndStopAtTheLimit) {
    Random random(64);
    int overflows = 0;
    for (int round = 0; round < 8000; ++round) {
        const int qp = random.range(0, 51), chromaQP = qp % 40;
        const bool intra = random.chance(50), first = random.chance(70);
        Block in = randomBlock(random), given = randomBlock(random), scan;
        for (auto& c : in)
            c = static_cast<Qvo16s>(round % 2 ? c % 256 : c);
        // Values around the largest that gives the level 2063.
        const long long edge = std::min(32700LL, (2064LL << (16 + qp / 6)) / multiplier[qp % 6][0]);
        for (auto& c : given)
            if (round % 3 == 0 && random.chance(10)) c = wrap(edge + random.range(-2, 2));
        random.fill(scan, 0, 15);
        Quantised out;
        Qvo8s count;
        Qvo8u last;
        const auto reset = [&] {
            out.levels = in;
            count = 99;
            last = 99;
        };
        const auto expect = [&](const Quantised& expected) {
            out.count = count;
            out.last = last;
            overflows += out.status != qvoStatusOk;
            return expected == out;
        };

        reset();
        const Block coefs = stored(transform(in, forward));
        out.status =
            qvoiTransformQuantResidual_H264_16s_C1I(out.levels.data(), qp, &count, intra ? 7 : 0, scan.data(), &last);
        ASSERT_TRUE(expect(quantise(coefs, 16, coefs, qp, false, intra, scan))) << "QP " << qp;

        reset();
        Block transformed = given;
        const Block lumaDC = first ? stored(transform(in, hadamard), 1) : given;
        out.status = qvoiTransformQuantLumaDC_H264_16s_C1I(out.levels.data(), transformed.data(), qp, &count,
                                                           first ? 2 : 0, scan.data(), &last);
        ASSERT_TRUE(expect(quantise(lumaDC, 16, in, qp, true, true, scan))) << "QP " << qp;
        ASSERT_EQ(lumaDC, transformed);

        reset();
        transformed = given;
        Block chromaDC = given;
        for (std::size_t i = 0; i < 4 && first; ++i)
            chromaDC[i] = wrap(hadamard2x2(in.data())[i]);
        out.status = qvoiTransformQuantChromaDC_H264_16s_C1I(out.levels.data(), transformed.data(), chromaQP, &count,
                                                             intra, first);
        Quantised expected = quantise(chromaDC, 4, in, chromaQP, true, intra, scan);
        expected.last = 99;
        ASSERT_TRUE(expect(expected)) << "QP " << chromaQP;
        ASSERT_EQ(chromaDC, transformed);
    }
    EXPECT_GT(overflows, 100);
}

// Quantising and scaling back with the transforms' gains gives 1: the typed tables belong together.
TEST(Transform, MultipliersAreReciprocalsOfTheScales) {
    for (int q = 0; q < 6; ++q)
        for (int kind = 0; kind < 3; ++kind)
            EXPECT_NEAR(1 << 21, v[q][kind] * multiplier[q][kind] * weight[kind], 1 << 9) << q << ' ' << kind;
}

long long requantised(long long s, int kind, int qs, int qbits) {
    const long long level = (std::llabs(s) * multiplier[qs % 6][kind] + (1LL << (qbits - 1))) >> qbits;
    return wrap((s < 0 ? -level : level) * (v[qs % 6][kind] << (qs / 6)));
}

TEST(Transform, SPReconstructionFollowsItsDefinition) {
    Random random(67);
    for (int round = 0; round < 5000; ++round) {
        const int qp = random.range(0, 51), qs = random.range(0, 51);
        const bool switching = random.chance(50), ac = random.chance(70);
        const int q = switching ? qs : qp;
        Plane<Qvo8u> source(4, 4, random);
        source.fill(random, 0, 255);
        Block levels, samples, prediction, coefs;
        for (int i = 0; i < 16; ++i)
            samples[static_cast<std::size_t>(i)] = source.at(i % 4, i / 4);
        ASSERT_EQ(qvoStatusOk,
                  qvoiTransformPrediction_H264_8u16s_C1(source.origin(), source.step(), prediction.data()));
        ASSERT_EQ(stored(transform(samples, forward)), prediction);

        random.fill(levels, -40, 40);
        const Qvo16s dc = static_cast<Qvo16s>(random.range(-16320, 16320));
        const Qvo16s* const pDC = random.chance(40) ? &dc : nullptr;
        for (std::size_t i = 0; i < 16; ++i) {
            const int kind = positionClass[i];
            const long long level = i == 0 || ac ? levels[i] : 0;
            const long long s = prediction[i] + ((level * factor(q, i) * weight[kind]) >> 6);
            coefs[i] = wrap(requantised(s, kind, qs, 15 + qs / 6));
        }
        if (pDC) coefs[0] = dc;
        Block expected = stored(transform(coefs, inverse), 6, 32);
        for (auto& sample : expected)
            sample = static_cast<Qvo16s>(std::clamp<int>(sample, 0, 255));
        Block out = levels;
        ASSERT_EQ(qvoStatusOk, qvoiDequantTransformResidual_SISP_H264_16s_C1I(out.data(), prediction.data(), pDC, ac,
                                                                              qp, qs, switching));
        ASSERT_EQ(expected, out);

        Qvo16s dcs[4];
        for (std::size_t i = 0; i < 4; ++i) {
            const long long s = hadamard2x2(prediction.data())[i] + ((levels[i] * factor(q, 0)) >> 5);
            dcs[i] = wrap(requantised(s, 0, qs, 16 + qs / 6));
        }
        ASSERT_EQ(qvoStatusOk, qvoiTransformDequantChromaDC_SISP_H264_16s_C1I(levels.data(), prediction.data(), qp,
                                                                              qs, switching));
        for (std::size_t i = 0; i < 4; ++i)
            ASSERT_EQ(wrap(hadamard2x2(dcs)[i] >> 1), levels[i]);
    }
}

TEST(Transform, ChecksItsArgumentsInOrder) {
    struct Memory {
        Block block{}, other{};
        std::array<Qvo8u, 16> samples{};
        Qvo8s count = 99;
        Qvo8u last = 99;
        bool operator==(const Memory&) const = default;
    } m;
    Qvo16s *const b = m.block.data(), *const o = m.other.data();
    const Fault null{qvoStatusNullPtr, {0}}, nulls{qvoStatusNullPtr, {0, 1}};
    const auto range = [](std::size_t argument, int beyond) {
        return Fault{qvoStatusOutOfRange, {argument}, {-1, beyond}};
    };
    expectStatuses(m, qvoiTransformDequantLumaDC_H264_16s_C1I, {b, 0}, {null, range(1, 52)});
    expectStatuses(m, qvoiTransformDequantChromaDC_H264_16s_C1I, {b, 0}, {null, range(1, 52)});
    expectStatuses(m, qvoiDequantTransformResidual_H264_16s_C1I, {b, 8, nullptr, 1, 0},
                   {null, range(4, 52), {qvoStatusStep, {1}, {7, -8}}});
    for (const Qvo32u ac : {0u, 1u})  // the last pointer may be null only if there is a DC and nothing else
        expectStatuses(m, qvoiDequantTransformResidualAndAdd_H264_16s_C1I,
                       {m.samples.data(), b, ac ? o : nullptr, m.samples.data(), 4, 4, 0, ac},
                       {{qvoStatusNullPtr, {0, 3}}, range(6, 52), {qvoStatusNullPtr, {1}}});
    expectStatuses(m, qvoiTransformQuantResidual_H264_16s_C1I, {b, 0, &m.count, 1, o, &m.last},
                   {{qvoStatusNullPtr, {0, 2, 4, 5}}, range(1, 52)});
    expectStatuses(m, qvoiTransformQuantLumaDC_H264_16s_C1I, {b, o, 0, &m.count, 1, o, &m.last},
                   {{qvoStatusNullPtr, {0, 1, 3, 5, 6}}, range(2, 52)});
    expectStatuses(m, qvoiTransformQuantChromaDC_H264_16s_C1I, {b, o, 0, &m.count, 1, 1},
                   {{qvoStatusNullPtr, {0, 1, 3}}, range(2, 40)});
    expectStatuses(m, qvoiTransformPrediction_H264_8u16s_C1, {m.samples.data(), 4, b}, {{qvoStatusNullPtr, {0, 2}}});
    expectStatuses(m, qvoiDequantTransformResidual_SISP_H264_16s_C1I, {b, o, nullptr, 1, 0, 0, 0}, {nulls});
    expectStatuses(m, qvoiTransformDequantChromaDC_SISP_H264_16s_C1I, {b, o, 0, 0, 0}, {nulls});
}

}  // namespace
