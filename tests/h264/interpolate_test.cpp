// Interpolation and weighting, sample by sample, against a transcription of ITU-T H.264 clauses 8.4.2.2 and 8.4.2.3.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

#include "qvovc.h"
#include "support/guarded.h"
#include "support/random.h"

namespace {

// A source of which exactly the samples from column -left to width + right - 1 and row -above to height + below - 1
// can be read, without any gap between the rows.
struct Source {
    Source(int width, int height, int left, int right, int above, int below, Guard guard)
        : step(left + width + right),
          memory(static_cast<std::size_t>(step * (above + height + below)), guard),
          block(memory.data() + above * step + left) {}

    int at(int x, int y) const { return block[y * step + x]; }

    int step;
    Guarded<Qvo8u> memory;
    Qvo8u* block;
};

constexpr int taps[6] = {1, -5, 20, 20, -5, 1};

int clip1(int v) {
    return std::clamp(v, 0, 255);
}

// Clause 8.4.2.2.1, the names as in figure 8-4 and table 8-12.
int lumaSample(const Source& s, int x, int y, int dx, int dy) {
    const auto row = [&](int xx, int yy) {
        int sum = 0;
        for (int i = 0; i < 6; ++i)
            sum += taps[i] * s.at(xx - 2 + i, yy);
        return sum;
    };
    const auto column = [&](int xx, int yy) {
        int sum = 0;
        for (int i = 0; i < 6; ++i)
            sum += taps[i] * s.at(xx, yy - 2 + i);
        return sum;
    };
    const auto half = [](int sum) { return clip1((sum + 16) >> 5); };
    const auto G = [&] { return s.at(x, y); };
    const auto H = [&] { return s.at(x + 1, y); };
    const auto M = [&] { return s.at(x, y + 1); };
    const auto b = [&] { return half(row(x, y)); };
    const auto h = [&] { return half(column(x, y)); };
    const auto m = [&] { return half(column(x + 1, y)); };
    const auto bottom = [&] { return half(row(x, y + 1)); };  // s
    const auto j = [&] {
        int sum = 0;
        for (int i = 0; i < 6; ++i)
            sum += taps[i] * row(x, y - 2 + i);
        return clip1((sum + 512) >> 10);
    };
    const auto mean = [](int p, int q) { return (p + q + 1) >> 1; };
    switch (4 * dx + dy) {
        case 0:
            return G();
        case 1:
            return mean(G(), h());
        case 2:
            return h();
        case 3:
            return mean(M(), h());
        case 4:
            return mean(G(), b());
        case 5:
            return mean(b(), h());
        case 6:
            return mean(h(), j());
        case 7:
            return mean(h(), bottom());
        case 8:
            return b();
        case 9:
            return mean(b(), j());
        case 10:
            return j();
        case 11:
            return mean(j(), bottom());
        case 12:
            return mean(H(), b());
        case 13:
            return mean(b(), m());
        case 14:
            return mean(j(), m());
        default:
            return mean(m(), bottom());
    }
}

int chromaSample(const Source& s, int x, int y, int dx, int dy) {
    return ((8 - dx) * (8 - dy) * s.at(x, y) + dx * (8 - dy) * s.at(x + 1, y) + (8 - dx) * dy * s.at(x, y + 1) +
            dx * dy * s.at(x + 1, y + 1) + 32) >>
           6;
}

// Noise, noise of extremes, or the pattern that drives the sums of both stages to their limits at one position.
void fillSource(Source& source, Random& random, int width, int height) {
    const int kind = random.range(0, 3);
    random.fill(source.memory, 0, 255);
    if (kind == 0) return;
    for (auto& sample : source.memory)
        sample = sample < 128 ? 0 : 255;
    if (kind == 1) return;
    const int x0 = random.range(0, width - 1);
    const int y0 = random.range(0, height - 1);
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 6; ++x) {
            Qvo8u* const p = source.block + (y0 + y - 2) * source.step + x0 + x - 2;
            if (p >= source.memory.begin() && p < source.memory.end()) {
                *p = (taps[x] * taps[y] > 0) == (kind == 2) ? 255 : 0;
            }
        }
    }
}

template <class Reference, class Operation>
void compare(const Source& source, int width, int height, Random& random, Reference reference, Operation operation) {
    const int step = width + random.range(0, 1) * random.range(1, 9);
    std::vector<Qvo8u> out(static_cast<std::size_t>(step * (height + 2)), 201);
    std::vector<Qvo8u> expected = out;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            expected[static_cast<std::size_t>((y + 1) * step + x)] = static_cast<Qvo8u>(reference(x, y));
        }
    }
    ASSERT_EQ(qvoStatusOk, operation(source.block, source.step, out.data() + step, step));
    ASSERT_EQ(expected, out) << width << "x" << height;
}

TEST(Interpolate, LumaIsTheStandardsAndReadsNoFurtherThanItSays) {
    Random random(71);
    for (int round = 0; round < 32 * 60; ++round) {
        const int width = 4 << random.range(0, 2);
        const int height = 4 << random.range(0, 2);
        if (width + height == 20) continue;
        const int dx = round & 3;
        const int dy = round >> 2 & 3;
        Source source(width, height, dx ? 2 : 0, dx ? 3 : 0, dy ? 2 : 0, dy ? 3 : 0,
                      round & 16 ? Guard::after : Guard::before);
        fillSource(source, random, width, height);
        SCOPED_TRACE(testing::Message() << "position " << dx << ", " << dy);
        compare(
            source, width, height, random, [&](int x, int y) { return lumaSample(source, x, y, dx, dy); },
            [&](const Qvo8u* p, int step, Qvo8u* pDst, int dstStep) {
                return qvoiInterpolateLuma_H264_8u_C1R(p, step, pDst, dstStep, dx, dy, width, height);
            });
        if (HasFatalFailure()) return;
    }
}

TEST(Interpolate, ChromaIsTheStandardsAndReadsNoFurtherThanItSays) {
    Random random(72);
    for (int round = 0; round < 128 * 20; ++round) {
        const int width = 2 << random.range(0, 2);
        const int height = 2 << random.range(0, 2);
        if (width + height == 10) continue;
        const int dx = round & 7;
        const int dy = round >> 3 & 7;
        // Steps have to be 8 at least: narrow blocks stand in rows of 8.
        Source source(width, height, width == 8 ? 0 : 8 - width - 1, 1, 0, 1,
                      round & 64 ? Guard::after : Guard::before);
        random.fill(source.memory, 0, 255);
        std::vector<Qvo8u> out(static_cast<std::size_t>(9 * (height + 1)), 201);
        std::vector<Qvo8u> expected = out;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                expected[static_cast<std::size_t>(9 * y + x)] =
                    static_cast<Qvo8u>(chromaSample(source, x, y, dx, dy));
            }
        }
        ASSERT_EQ(qvoStatusOk,
                  qvoiInterpolateChroma_H264_8u_C1R(source.block, source.step, out.data(), 9, dx, dy, width, height));
        ASSERT_EQ(expected, out) << dx << ", " << dy << ": " << width << "x" << height;
    }
}

using Routine = QvoStatus (*)(const Qvo8u*, Qvo8u*, Qvo32s, Qvo32s, Qvo32s, Qvo32s);

TEST(Interpolate, InternalRoutinesTakeBlocksOfAnySize) {
    const Routine positions[16] = {
        _qvoInterpolate_H0V0, _qvoInterpolate_H0V1, _qvoInterpolate_H0V2, _qvoInterpolate_H0V3,
        _qvoInterpolate_H1V0, _qvoInterpolate_H1V1, _qvoInterpolate_H1V2, _qvoInterpolate_H1V3,
        _qvoInterpolate_H2V0, _qvoInterpolate_H2V1, _qvoInterpolate_H2V2, _qvoInterpolate_H2V3,
        _qvoInterpolate_H3V0, _qvoInterpolate_H3V1, _qvoInterpolate_H3V2, _qvoInterpolate_H3V3};
    constexpr struct {
        int width, height;
    } sizes[] = {{1, 1}, {3, 5}, {4, 16}, {16, 4}, {13, 7}, {39, 37}, {0, 3}, {5, 0}};
    Random random(73);
    for (const auto [width, height] : sizes) {
        Source source(width, height, 2, 3, 2, 3, Guard::after);
        random.fill(source.memory, 0, 255);
        for (int i = 0; i < 16; ++i) {
            SCOPED_TRACE(i);
            compare(
                source, width, height, random, [&](int x, int y) { return lumaSample(source, x, y, i / 4, i % 4); },
                [&](const Qvo8u* p, int step, Qvo8u* pDst, int dstStep) {
                    return positions[static_cast<unsigned>(i)](p, pDst, step, dstStep, width, height);
                });
        }
        // The building blocks, by the position each gives.
        const struct {
            int position;
            QvoStatus (*centre)(const Qvo8u*, Qvo8u*, Qvo32s, Qvo32s, Qvo32s, Qvo32s, Qvo32s);
            int mode;
        } centres[] = {{10, _qvoInterpolate_2DV4, 0}, {9, _qvoInterpolate_2DV4, 1}, {11, _qvoInterpolate_2DV4, 2},
                       {10, _qvoInterpolate_2DH4, 0}, {6, _qvoInterpolate_2DH4, 1}, {14, _qvoInterpolate_2DH4, 2}};
        for (const auto& c : centres) {
            SCOPED_TRACE(c.position);
            compare(
                source, width, height, random,
                [&](int x, int y) { return lumaSample(source, x, y, c.position / 4, c.position % 4); },
                [&](const Qvo8u* p, int step, Qvo8u* pDst, int dstStep) {
                    return c.centre(p, pDst, step, dstStep, width, height, c.mode);
                });
        }
        for (const auto& [routine, position] :
             {std::pair<Routine, int>{_qvoInterpolate_H2, 8}, {_qvoInterpolate_V2, 2}}) {
            compare(
                source, width, height, random,
                [&](int x, int y) { return lumaSample(source, x, y, position / 4, position % 4); },
                [&, routine = routine](const Qvo8u* p, int step, Qvo8u* pDst, int dstStep) {
                    return routine(p, pDst, step, dstStep, width, height);
                });
        }
        compare(
            source, width, height, random, [&](int x, int y) { return (source.at(x, y) + 201 + 1) >> 1; },
            [&](const Qvo8u* p, int step, Qvo8u* pDst, int dstStep) {
                return _qvoInterpolate_Avg(p, pDst, step, dstStep, width, height);
            });
        if (HasFatalFailure()) return;
    }
}

int weightedSample(int first, int second, int weight1, int weight2, int shift, int offset) {
    const auto product = [](int a, int b) { return static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b); };
    const int bits = std::min(shift, 31);
    const std::uint32_t sum =
        product(first, weight1) + product(second, weight2) + (bits ? std::uint32_t{1} << (bits - 1) : 0);
    const int shifted = static_cast<int>(sum) >> bits;
    return clip1(static_cast<int>(static_cast<std::uint32_t>(shifted) + static_cast<std::uint32_t>(offset)));
}

TEST(Interpolate, WeightedAverageFollowsItsDefinition) {
    Random random(74);
    for (int round = 0; round < 6000; ++round) {
        const int width = 2 << random.range(0, 3);
        const int height = 2 << random.range(0, 3);
        const int kind = round % 4;  // weights as in streams, at the border of 16 bits, of any size, rounded mean
        const auto weight = [&] {
            return kind == 0   ? random.range(-128, 128)
                   : kind == 1 ? random.range(-1, 1) * 32768 + random.range(-2, 2)
                   : kind == 2 ? static_cast<int>(random.next())
                               : 1;
        };
        const int weight1 = weight();
        const int weight2 = weight();
        const int shift = kind == 0 ? random.range(0, 8) : kind == 3 ? 1 : random.range(0, 255);
        const int offset = kind == 2 ? static_cast<int>(random.next()) : kind == 3 ? 0 : random.range(-128, 127);
        const int step = width + (round % 3 ? random.range(1, 9) : 0);
        const std::size_t size = static_cast<std::size_t>(step * (height - 1) + width);
        Guarded<Qvo8u> first(size);
        Guarded<Qvo8u> second(size);
        random.fill(first, 0, 255);
        random.fill(second, 0, 255);
        std::vector<Qvo8u> expected(second.begin(), second.end());
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const std::size_t i = static_cast<std::size_t>(y * step + x);
                expected[i] =
                    static_cast<Qvo8u>(weightedSample(first[i], second[i], weight1, weight2, shift, offset));
            }
        }
        ASSERT_EQ(qvoStatusOk, qvoiWeightedAverage_H264_8u_C1IR(first.data(), second.data(), step, weight1, weight2,
                                                                static_cast<Qvo8u>(shift), offset, width, height));
        ASSERT_EQ(expected, std::vector<Qvo8u>(second.begin(), second.end()))
            << "weights " << weight1 << ", " << weight2 << " shift " << shift << " offset " << offset;
    }
}

TEST(Interpolate, ChecksItsArgumentsInOrder) {
    std::vector<Qvo8u> source(64 * 64, 7);
    std::vector<Qvo8u> target(64 * 64, 77);
    const std::vector<Qvo8u> before = target;
    const Qvo8u* const s = source.data() + 64 * 20 + 20;
    Qvo8u* const d = target.data() + 64 * 20 + 20;
    const auto luma = qvoiInterpolateLuma_H264_8u_C1R;
    EXPECT_EQ(qvoStatusNullPtr, luma(nullptr, 1, d, 1, 9, 9, 5, 5));
    EXPECT_EQ(qvoStatusNullPtr, luma(s, 1, nullptr, 1, 9, 9, 5, 5));
    EXPECT_EQ(qvoStatusStep, luma(s, 4, d, 64, 9, 9, 5, 5));
    EXPECT_EQ(qvoStatusStep, luma(s, 64, d, 4, 9, 9, 5, 5));
    const auto chroma = qvoiInterpolateChroma_H264_8u_C1R;
    EXPECT_EQ(qvoStatusNullPtr, chroma(nullptr, 1, d, 1, 9, 9, 5, 5));
    EXPECT_EQ(qvoStatusNullPtr, chroma(s, 1, nullptr, 1, 9, 9, 5, 5));
    EXPECT_EQ(qvoStatusStep, chroma(s, 7, d, 64, 9, 9, 2, 2));
    EXPECT_EQ(qvoStatusStep, chroma(s, 64, d, 7, 9, 9, 2, 2));
    for (const int bad : {-1, 4, 8}) {
        EXPECT_EQ(qvoStatusBadArg, luma(s, 64, d, 64, bad, 0, 5, 5));
        EXPECT_EQ(qvoStatusBadArg, luma(s, 64, d, 64, 0, bad, 5, 5));
        if (bad == 4) continue;
        EXPECT_EQ(qvoStatusBadArg, chroma(s, 64, d, 64, bad, 0, 5, 5));
        EXPECT_EQ(qvoStatusBadArg, chroma(s, 64, d, 64, 0, bad, 5, 5));
    }
    for (int width = -1; width <= 33; ++width) {
        for (int height = -1; height <= 33; ++height) {
            const auto isIn = [](int v, std::initializer_list<int> set) {
                return std::find(set.begin(), set.end(), v) != set.end();
            };
            const bool lumaFits = isIn(width, {4, 8, 16}) && isIn(height, {4, 8, 16}) && width + height != 20;
            const bool chromaFits = isIn(width, {2, 4, 8}) && isIn(height, {2, 4, 8}) && width + height != 10;
            const bool weightFits = isIn(width, {2, 4, 8, 16}) && isIn(height, {2, 4, 8, 16});
            if (!lumaFits) {
                EXPECT_EQ(qvoStatusSize, luma(s, 64, d, 64, 2, 2, width, height));
            }
            if (!chromaFits) {
                EXPECT_EQ(qvoStatusSize, chroma(s, 64, d, 64, 2, 2, width, height));
            }
            if (!weightFits) {
                EXPECT_EQ(qvoStatusBadArg, qvoiWeightedAverage_H264_8u_C1IR(s, d, 64, 1, 1, 1, 0, width, height));
            }
        }
    }
    EXPECT_EQ(qvoStatusNullPtr, qvoiWeightedAverage_H264_8u_C1IR(nullptr, d, 1, 1, 1, 1, 0, 5, 5));
    EXPECT_EQ(qvoStatusNullPtr, qvoiWeightedAverage_H264_8u_C1IR(s, nullptr, 1, 1, 1, 1, 0, 5, 5));
    EXPECT_EQ(qvoStatusStep, qvoiWeightedAverage_H264_8u_C1IR(s, d, 4, 1, 1, 1, 0, 5, 5));
    EXPECT_EQ(before, target);
}

}  // namespace
