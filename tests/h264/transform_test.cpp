// Transforms and quantisation against a transcription of ITU-T H.264 clauses 8.5 and 8.6 with the interface's 16-bit
// wraps, and the forward operations feeding the inverse ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include "qvovc.h"
#include "support/guarded.h"
#include "support/random.h"

namespace {

using Matrix = std::array<std::array<long long, 4>, 4>;
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

int factor(int qp, int position) {
    return v[qp % 6][positionClass[position]] << (qp / 6);
}

Matrix toMatrix(const Qvo16s* block) {
    Matrix m;
    for (unsigned i = 0; i < 16; ++i)
        m[i / 4][i % 4] = block[i];
    return m;
}

Matrix transposed(const Matrix& in) {
    Matrix m;
    for (unsigned i = 0; i < 16; ++i)
        m[i / 4][i % 4] = in[i % 4][i / 4];
    return m;
}

Matrix wrapped(Matrix m) {
    for (auto& row : m) {
        for (auto& value : row)
            value = wrap(value);
    }
    return m;
}

// in * kernel^T: each row transformed by the matrix of a linear transform.
Matrix linearRows(const Matrix& in, const int (&kernel)[4][4]) {
    Matrix m{};
    for (unsigned y = 0; y < 4; ++y) {
        for (unsigned x = 0; x < 4; ++x) {
            for (unsigned k = 0; k < 4; ++k)
                m[y][x] += in[y][k] * kernel[x][k];
        }
    }
    return m;
}

Matrix inverseRows(const Matrix& d) {  // equations of clause 8.5.12.2
    Matrix f;
    for (unsigned i = 0; i < 4; ++i) {
        const long long e0 = d[i][0] + d[i][2];
        const long long e1 = d[i][0] - d[i][2];
        const long long e2 = (d[i][1] >> 1) - d[i][3];
        const long long e3 = d[i][1] + (d[i][3] >> 1);
        f[i] = {e0 + e3, e1 + e2, e1 - e2, e0 - e3};
    }
    return f;
}

constexpr int forwardKernel[4][4] = {{1, 1, 1, 1}, {2, 1, -1, -2}, {1, -1, -1, 1}, {1, -2, 2, -1}};
constexpr int hadamardKernel[4][4] = {{1, 1, 1, 1}, {1, 1, -1, -1}, {1, -1, -1, 1}, {1, -1, 1, -1}};

Matrix linear4x4(const Qvo16s* block, const int (&kernel)[4][4]) {
    return transposed(linearRows(transposed(wrapped(linearRows(toMatrix(block), kernel))), kernel));
}

Block inverse4x4(const Block& coefs) {
    const Matrix m = transposed(inverseRows(transposed(wrapped(inverseRows(toMatrix(coefs.data()))))));
    Block residual;
    for (unsigned i = 0; i < 16; ++i)
        residual[i] = wrap((m[i / 4][i % 4] + 32) >> 6);
    return residual;
}

std::array<long long, 4> hadamard2x2(const Qvo16s* c) {
    return {c[0] + c[1] + c[2] + c[3], c[0] - c[1] + c[2] - c[3], c[0] + c[1] - c[2] - c[3],
            c[0] - c[1] - c[2] + c[3]};
}

Block residualOf(const Block& levels, const Qvo16s* pDC, bool ac, int qp) {
    Block coefs;
    for (int i = 0; i < 16; ++i) {
        coefs[static_cast<unsigned>(i)] = wrap(levels[static_cast<unsigned>(i)] * factor(qp, i));
    }
    if (pDC) coefs[0] = *pDC;
    if (ac) return inverse4x4(coefs);
    Block flat;
    flat.fill(wrap((coefs[0] + 32) >> 6));
    return flat;
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

TEST(Transform, ResidualsFollowTheStandard) {
    Random random(62);
    for (int round = 0; round < 6000; ++round) {
        const int qp = round % 52;
        const bool ac = random.chance(70);
        const Qvo16s dc = randomBlock(random)[5];
        const Qvo16s* const pDC = random.chance(50) ? &dc : nullptr;
        const Block levels = randomBlock(random);
        const Block residual = residualOf(levels, pDC, ac, qp);

        const int step = 8 + 2 * random.range(0, 5);
        std::vector<Qvo16s> rows(static_cast<std::size_t>(step * 2), 0x1234);
        for (int i = 0; i < 16; ++i) {
            rows[static_cast<unsigned>(i / 4 * step / 2 + i % 4)] = levels[static_cast<unsigned>(i)];
        }
        std::vector<Qvo16s> expected = rows;
        for (int i = 0; i < 16; ++i) {
            expected[static_cast<unsigned>(i / 4 * step / 2 + i % 4)] = residual[static_cast<unsigned>(i)];
        }
        ASSERT_EQ(qvoStatusOk, qvoiDequantTransformResidual_H264_16s_C1I(rows.data(), step, pDC, ac ? 2u : 0u, qp));
        ASSERT_EQ(expected, rows) << "QP " << qp << " AC " << ac;

        const int predStep = random.range(4, 9);
        const int dstStep = random.range(4, 9);
        Guarded<Qvo8u> pred(static_cast<std::size_t>(3 * predStep + 4));
        random.fill(pred, 0, 255);
        std::vector<Qvo8u> dst(static_cast<std::size_t>(4 * dstStep), 99);
        std::vector<Qvo8u> sum = dst;
        for (int i = 0; i < 16; ++i) {
            sum[static_cast<unsigned>(i / 4 * dstStep + i % 4)] = static_cast<Qvo8u>(
                std::clamp(pred.data()[i / 4 * predStep + i % 4] + residual[static_cast<unsigned>(i)], 0, 255));
        }
        Block coefs = levels;
        Qvo16s* const pCoef = ac || !pDC ? coefs.data() : nullptr;
        ASSERT_EQ(qvoStatusOk, qvoiDequantTransformResidualAndAdd_H264_16s_C1I(pred.data(), pCoef, pDC, dst.data(),
                                                                               predStep, dstStep, qp, ac));
        ASSERT_EQ(sum, dst) << "QP " << qp << " AC " << ac;
        ASSERT_EQ(ac ? residual : levels, coefs);
    }
}

TEST(Transform, DCFollowsTheStandard) {
    Random random(63);
    for (int round = 0; round < 3000; ++round) {
        const int qp = round % 52;
        Block luma = randomBlock(random);
        Block chroma = luma;
        const Matrix sums = linear4x4(luma.data(), hadamardKernel);
        const auto chromaSums = hadamard2x2(chroma.data());
        ASSERT_EQ(qvoStatusOk, qvoiTransformDequantLumaDC_H264_16s_C1I(luma.data(), qp));
        ASSERT_EQ(qvoStatusOk, qvoiTransformDequantChromaDC_H264_16s_C1I(chroma.data(), qp));
        for (unsigned i = 0; i < 16; ++i) {
            const long long scaled = sums[i / 4][i % 4] * v[qp % 6][0];
            const int e = qp / 6;
            ASSERT_EQ(wrap(e >= 2 ? scaled << (e - 2) : (scaled + (1 << (1 - e))) >> (2 - e)), luma[i]) << qp;
        }
        for (unsigned i = 0; i < 4; ++i)
            ASSERT_EQ(wrap((chromaSums[i] * factor(qp, 0)) >> 1), chroma[i]);
    }
}

// ---- forward ----

struct Quantised {
    QvoStatus status;
    std::vector<Qvo16s> levels;
    int count;
    int last;
};

// `before` is what the levels' memory holds when the quantisation begins, 99 the outputs' value before the call.
Quantised quantise(const std::vector<long long>& values, std::vector<Qvo16s> before, int qp, int qbits, bool intra,
                   bool dc, const Block& scan) {
    Quantised out{qvoStatusOk, std::move(before), 0, 0};
    for (std::size_t i = 0; i < values.size(); ++i) {
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

std::vector<long long> stored(const Matrix& m, int shift) {
    std::vector<long long> values;
    for (unsigned i = 0; i < 16; ++i)
        values.push_back(wrap(m[i / 4][i % 4] >> shift));
    return values;
}

std::vector<Qvo16s> narrow(const std::vector<long long>& values) {
    std::vector<Qvo16s> out;
    for (const long long value : values)
        out.push_back(wrap(value));
    return out;
}

TEST(Transform, ForwardOperationsQuantiseCountAndStopAtTheLimit) {
    Random random(64);
    int overflows = 0;
    for (int round = 0; round < 8000; ++round) {
        const int qp = random.range(0, 51);
        const bool intra = random.chance(50);
        const bool transform = random.chance(70);
        Block in = randomBlock(random);
        if (random.chance(50)) {
            for (auto& c : in)
                c = static_cast<Qvo16s>(c % 256);
        }
        Block scan;
        for (auto& position : scan)
            position = static_cast<Qvo16s>(random.range(0, 15));
        const Block given = randomBlock(random);

        Block levels = in;
        Qvo8s count = 99;
        Qvo8u last = 99;
        const auto coefs = stored(linear4x4(in.data(), forwardKernel), 0);
        Quantised expected = quantise(coefs, narrow(coefs), qp, 15 + qp / 6, intra, false, scan);
        ASSERT_EQ(expected.status, qvoiTransformQuantResidual_H264_16s_C1I(levels.data(), qp, &count, intra ? 7 : 0,
                                                                           scan.data(), &last));
        ASSERT_EQ(expected.levels, std::vector(levels.begin(), levels.end())) << "QP " << qp;
        ASSERT_EQ(expected.count, count);
        ASSERT_EQ(expected.last, last);
        overflows += expected.status != qvoStatusOk;

        levels = in;
        Block transformed = given;
        count = 99;
        last = 99;
        auto values = transform ? stored(linear4x4(in.data(), hadamardKernel), 1)
                                : std::vector<long long>(given.begin(), given.end());
        expected = quantise(values, {in.begin(), in.end()}, qp, 16 + qp / 6, true, true, scan);
        ASSERT_EQ(expected.status,
                  qvoiTransformQuantLumaDC_H264_16s_C1I(levels.data(), transformed.data(), qp, &count,
                                                        transform ? 2 : 0, scan.data(), &last));
        ASSERT_EQ(expected.levels, std::vector(levels.begin(), levels.end())) << "QP " << qp;
        ASSERT_EQ(expected.count, count);
        ASSERT_EQ(expected.last, last);
        ASSERT_EQ(narrow(values), std::vector(transformed.begin(), transformed.end()));

        const int chromaQP = qp % 40;
        levels = in;
        transformed = given;
        count = 99;
        values = {given.begin(), given.begin() + 4};
        const auto sums = hadamard2x2(in.data());
        for (unsigned i = 0; i < 4 && transform; ++i)
            values[i] = wrap(sums[i]);
        expected = quantise(values, {in.begin(), in.end()}, chromaQP, 16 + chromaQP / 6, intra, true, scan);
        ASSERT_EQ(expected.status, qvoiTransformQuantChromaDC_H264_16s_C1I(levels.data(), transformed.data(),
                                                                           chromaQP, &count, intra, transform));
        ASSERT_EQ(expected.levels, std::vector(levels.begin(), levels.end())) << "QP " << chromaQP;
        ASSERT_EQ(expected.count, count);
        ASSERT_TRUE(std::equal(given.begin() + 4, given.end(), transformed.begin() + 4));
    }
    EXPECT_GT(overflows, 100);
}

TEST(Transform, LevelLimitIsExact) {
    // (c * 13107 + 10922) >> 16 at QP 0, inter: 12000 gives 2400; 10319 is the largest c that gives 2063.
    for (const int c : {12000, 10320, 10319}) {
        Qvo16s levels[4] = {5, 5, 5, 5};
        Qvo16s transformed[4] = {100, 0, static_cast<Qvo16s>(-c), 100};
        Qvo8s count = 99;
        const bool fits = (c * 13107 + 10922) >> 16 <= 2063;
        EXPECT_EQ(fits, c == 10319);
        EXPECT_EQ(fits ? qvoStatusOk : qvoStatusLevelOverflow,
                  qvoiTransformQuantChromaDC_H264_16s_C1I(levels, transformed, 0, &count, 0, 0));
        EXPECT_EQ(20, levels[0]);
        EXPECT_EQ(0, levels[1]);
        EXPECT_EQ(fits ? -2063 : 5, levels[2]);
        EXPECT_EQ(fits ? 20 : 5, levels[3]);
        EXPECT_EQ(fits ? -3 : 1, count);
    }
}

// What an encoder does with an Intra 16x16 macroblock of one value, and a decoder after it: the whole way of the luma
// DC at full scale.
TEST(Transform, FlatMacroblocksSurviveTheWayThroughLumaDC) {
    Block scan;
    for (unsigned i = 0; i < 16; ++i)
        scan[i] = static_cast<Qvo16s>(i);
    for (const int value : {255, -255, 100, -1}) {
        for (int qp = 0; qp < 52; ++qp) {
            Block dc;
            Block samples;
            samples.fill(static_cast<Qvo16s>(value));
            dc.fill(wrap(stored(linear4x4(samples.data(), forwardKernel), 0)[0]));
            Block transformed;
            Qvo8s count;
            Qvo8u last;
            const QvoStatus status = qvoiTransformQuantLumaDC_H264_16s_C1I(dc.data(), transformed.data(), qp, &count,
                                                                           1, scan.data(), &last);
            if (status == qvoStatusLevelOverflow) {
                ASSERT_LT(qp, 20);
                continue;
            }
            ASSERT_EQ(qvoStatusOk, qvoiTransformDequantLumaDC_H264_16s_C1I(dc.data(), qp));
            ASSERT_EQ(qvoStatusOk, qvoiDequantTransformResidual_H264_16s_C1I(samples.data(), 8, &dc[7], 0, qp));
            const int stepSize = 10 << (qp / 6);  // generous: sixteenths of the quantiser step
            ASSERT_NEAR(value, samples[3], 1 + stepSize / 16) << "QP " << qp;
        }
    }
}

TEST(Transform, ResidualsSurviveTheWayThroughQuantisation) {
    Random random(65);
    Block scan{};
    for (int qp = 0; qp < 52; ++qp) {
        for (int round = 0; round < 50; ++round) {
            Block samples;
            random.fill(samples, -255, 255);
            Block coded = samples;
            Qvo8s count;
            Qvo8u last;
            const QvoStatus status =
                qvoiTransformQuantResidual_H264_16s_C1I(coded.data(), qp, &count, 1, scan.data(), &last);
            if (status == qvoStatusLevelOverflow) continue;
            ASSERT_EQ(qvoStatusOk, qvoiDequantTransformResidual_H264_16s_C1I(coded.data(), 8, nullptr, 1, qp));
            double error = 0;
            for (unsigned i = 0; i < 16; ++i)
                error += std::abs(samples[i] - coded[i]) / 16.0;
            ASSERT_LE(error, 0.8 + v[qp % 6][0] * (1 << (qp / 6)) / 24.0) << "QP " << qp;
        }
    }
}

// ---- SP and SI ----

TEST(Transform, PredictionIsTransformedAsASource) {
    Random random(66);
    for (int step : {4, 5, 16, 0, -7}) {
        Guarded<Qvo8u> source(64);
        random.fill(source, 0, 255);
        const Qvo8u* const p = step == 16 ? source.end() - 52 : source.data() + 24;
        Block samples;
        for (int i = 0; i < 16; ++i)
            samples[static_cast<unsigned>(i)] = p[i / 4 * step + i % 4];
        Block out;
        ASSERT_EQ(qvoStatusOk, qvoiTransformPrediction_H264_8u16s_C1(p, step, out.data()));
        const auto expected = stored(linear4x4(samples.data(), forwardKernel), 0);
        ASSERT_EQ(narrow(expected), std::vector(out.begin(), out.end()));
    }
}

long long requantised(long long s, long long m, int qbits, int dequant) {
    const long long level = (std::llabs(s) * m + (1LL << (qbits - 1))) >> qbits;
    return wrap((s < 0 ? -level : level) * dequant);
}

TEST(Transform, SPReconstructionFollowsItsDefinition) {
    Random random(67);
    for (int round = 0; round < 5000; ++round) {
        const int qp = random.range(0, 51);
        const int qs = random.range(0, 51);
        const bool switching = random.chance(50);
        const bool ac = random.chance(70);
        const int q = switching ? qs : qp;
        Block levels;
        Block prediction;
        random.fill(levels, -40, 40);
        random.fill(prediction, -9180, 9180);
        const Qvo16s dc = static_cast<Qvo16s>(random.range(-16320, 16320));
        const Qvo16s* const pDC = random.chance(40) ? &dc : nullptr;

        Block coefs;
        for (int i = 0; i < 16; ++i) {
            const unsigned u = static_cast<unsigned>(i);
            const int kind = positionClass[i];
            const long long level = i == 0 || ac ? levels[u] : 0;
            const long long s = prediction[u] + ((level * factor(q, i) * weight[kind]) >> 6);
            coefs[u] = wrap(requantised(s, multiplier[qs % 6][kind], 15 + qs / 6, factor(qs, i)));
        }
        if (pDC) coefs[0] = dc;
        Block expected = inverse4x4(coefs);
        for (auto& sample : expected)
            sample = static_cast<Qvo16s>(std::clamp<int>(sample, 0, 255));
        Block out = levels;
        ASSERT_EQ(qvoStatusOk, qvoiDequantTransformResidual_SISP_H264_16s_C1I(out.data(), prediction.data(), pDC, ac,
                                                                              qp, qs, switching));
        ASSERT_EQ(expected, out);

        Qvo16s chroma[4] = {levels[0], levels[1], levels[2], levels[3]};
        const auto predicted = hadamard2x2(prediction.data());
        Qvo16s dcs[4];
        for (unsigned i = 0; i < 4; ++i) {
            const long long s = predicted[i] + ((chroma[i] * factor(q, 0)) >> 5);
            dcs[i] = wrap(requantised(s, multiplier[qs % 6][0], 16 + qs / 6, factor(qs, 0)));
        }
        ASSERT_EQ(qvoStatusOk,
                  qvoiTransformDequantChromaDC_SISP_H264_16s_C1I(chroma, prediction.data(), qp, qs, switching));
        for (unsigned i = 0; i < 4; ++i)
            ASSERT_EQ(wrap(hadamard2x2(dcs)[i] >> 1), chroma[i]);
    }
}

TEST(Transform, FineSPQuantisationGivesThePredictionBack) {
    Random random(68);
    for (int round = 0; round < 200; ++round) {
        Qvo8u samples[16];
        random.fill(samples, 0, 255);
        Block prediction;
        Block out{};
        qvoiTransformPrediction_H264_8u16s_C1(samples, 4, prediction.data());
        qvoiDequantTransformResidual_SISP_H264_16s_C1I(out.data(), prediction.data(), nullptr, 1, 0, 0, 0);
        for (unsigned i = 0; i < 16; ++i)
            ASSERT_NEAR(samples[i], out[i], 2);
    }
}

TEST(Transform, ChecksItsArgumentsInOrder) {
    Block block;
    block.fill(77);
    const Block before = block;
    Qvo16s* const b = block.data();
    Qvo8u samples[16] = {1, 2, 3};
    const std::vector<Qvo8u> samplesBefore(samples, samples + 16);
    Qvo8s count = 99;
    Qvo8u last = 99;
    const auto expect = [&](QvoStatus expected, QvoStatus status, int line) {
        EXPECT_EQ(expected, status) << "line " << line;
        EXPECT_EQ(before, block) << "line " << line;
        EXPECT_EQ(samplesBefore, std::vector<Qvo8u>(samples, samples + 16)) << "line " << line;
        EXPECT_TRUE(count == 99 && last == 99) << "line " << line;
    };
    for (const int qp : {-1, 52}) {
        expect(qvoStatusNullPtr, qvoiTransformDequantLumaDC_H264_16s_C1I(nullptr, qp), __LINE__);
        expect(qvoStatusOutOfRange, qvoiTransformDequantLumaDC_H264_16s_C1I(b, qp), __LINE__);
        expect(qvoStatusNullPtr, qvoiTransformDequantChromaDC_H264_16s_C1I(nullptr, qp), __LINE__);
        expect(qvoStatusOutOfRange, qvoiTransformDequantChromaDC_H264_16s_C1I(b, qp), __LINE__);
        expect(qvoStatusNullPtr, qvoiDequantTransformResidual_H264_16s_C1I(nullptr, 6, b, 1, qp), __LINE__);
        expect(qvoStatusOutOfRange, qvoiDequantTransformResidual_H264_16s_C1I(b, 6, b, 1, qp), __LINE__);
        const auto add = qvoiDequantTransformResidualAndAdd_H264_16s_C1I;
        expect(qvoStatusNullPtr, add(nullptr, b, b, samples, 4, 4, qp, 1), __LINE__);
        expect(qvoStatusNullPtr, add(samples, b, b, nullptr, 4, 4, qp, 1), __LINE__);
        expect(qvoStatusOutOfRange, add(samples, b, b, samples, 4, 4, qp, 1), __LINE__);
        expect(qvoStatusOutOfRange, add(samples, nullptr, nullptr, samples, 4, 4, qp, 0), __LINE__);
        const auto residual = qvoiTransformQuantResidual_H264_16s_C1I;
        expect(qvoStatusNullPtr, residual(nullptr, qp, &count, 1, b, &last), __LINE__);
        expect(qvoStatusNullPtr, residual(b, qp, nullptr, 1, b, &last), __LINE__);
        expect(qvoStatusNullPtr, residual(b, qp, &count, 1, nullptr, &last), __LINE__);
        expect(qvoStatusNullPtr, residual(b, qp, &count, 1, b, nullptr), __LINE__);
        expect(qvoStatusOutOfRange, residual(b, qp, &count, 1, b, &last), __LINE__);
        const auto luma = qvoiTransformQuantLumaDC_H264_16s_C1I;
        expect(qvoStatusNullPtr, luma(nullptr, b, qp, &count, 1, b, &last), __LINE__);
        expect(qvoStatusNullPtr, luma(b, nullptr, qp, &count, 1, b, &last), __LINE__);
        expect(qvoStatusNullPtr, luma(b, b, qp, nullptr, 1, b, &last), __LINE__);
        expect(qvoStatusNullPtr, luma(b, b, qp, &count, 1, nullptr, &last), __LINE__);
        expect(qvoStatusNullPtr, luma(b, b, qp, &count, 1, b, nullptr), __LINE__);
        expect(qvoStatusOutOfRange, luma(b, b, qp, &count, 1, b, &last), __LINE__);
    }
    for (const int qp : {-1, 40}) {
        const auto chroma = qvoiTransformQuantChromaDC_H264_16s_C1I;
        expect(qvoStatusNullPtr, chroma(nullptr, b, qp, &count, 1, 1), __LINE__);
        expect(qvoStatusNullPtr, chroma(b, nullptr, qp, &count, 1, 1), __LINE__);
        expect(qvoStatusNullPtr, chroma(b, b, qp, nullptr, 1, 1), __LINE__);
        expect(qvoStatusOutOfRange, chroma(b, b, qp, &count, 1, 1), __LINE__);
    }
    expect(qvoStatusStep, qvoiDequantTransformResidual_H264_16s_C1I(b, 7, nullptr, 1, 0), __LINE__);
    const auto add = qvoiDequantTransformResidualAndAdd_H264_16s_C1I;
    expect(qvoStatusNullPtr, add(samples, nullptr, b, samples, 4, 4, 0, 1), __LINE__);
    expect(qvoStatusNullPtr, add(samples, nullptr, nullptr, samples, 4, 4, 0, 0), __LINE__);
    expect(qvoStatusNullPtr, qvoiTransformPrediction_H264_8u16s_C1(nullptr, 4, b), __LINE__);
    expect(qvoStatusNullPtr, qvoiTransformPrediction_H264_8u16s_C1(samples, 4, nullptr), __LINE__);
    const auto sp = qvoiDequantTransformResidual_SISP_H264_16s_C1I;
    expect(qvoStatusNullPtr, sp(nullptr, b, nullptr, 1, 99, 99, 0), __LINE__);
    expect(qvoStatusNullPtr, sp(b, nullptr, nullptr, 1, 99, 99, 0), __LINE__);
    expect(qvoStatusNullPtr, qvoiTransformDequantChromaDC_SISP_H264_16s_C1I(nullptr, b, 99, 99, 0), __LINE__);
    expect(qvoStatusNullPtr, qvoiTransformDequantChromaDC_SISP_H264_16s_C1I(b, nullptr, 99, 99, 0), __LINE__);
}

}  // namespace
