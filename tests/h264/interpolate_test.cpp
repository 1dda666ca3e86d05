// Interpolation and weighting, sample by sample, against a transcription of ITU-T H.264 clauses 8.4.2.2 and 8.4.2.3.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

#include "qvovc.h"
#include "support/plane.h"
#include "support/statuses.h"

namespace {

// A source of which exactly the samples from column -left to width + right - 1 and row -above to height + below - 1
// can be read, without any gap between the rows.
struct Source {
    Source(int width, int height, int left, int right, int above, int below, Guard guard)
        : step(left + width + right),
          memory(static_cast<std::size_t>(step * (above + height + below)), guard),
          block(memory.data() + above * step + left) {}

    bool has(const Qvo8u* p) const { return p >= memory.data() && p < memory.data() + memory.size(); }
    int at(int x, int y) const { return has(block + y * step + x) ? block[y * step + x] : 0; }

    int step;
    mutable Guarded<Qvo8u> memory;
    Qvo8u* block;
};

constexpr int taps[6] = {1, -5, 20, 20, -5, 1};

int clip1(int v) {
    return std::clamp(v, 0, 255);
}

// Clause 8.4.2.2.1, the names as in figure 8-4 and table 8-12.
int lumaSample(const Source& source, int x, int y, int position) {
    const auto filter = [](auto tap) {
        int sum = 0;
        for (int i = 0; i < 6; ++i)
            sum += taps[i] * tap(i - 2);
        return sum;
    };
    const auto row = [&](int yy) { return filter([&](int i) { return source.at(x + i, yy); }); };
    const auto column = [&](int xx) { return filter([&](int i) { return source.at(xx, y + i); }); };
    const auto half = [](int sum) { return clip1((sum + 16) >> 5); };
    const auto mean = [](int p, int q) { return (p + q + 1) >> 1; };
    const int G = source.at(x, y), H = source.at(x + 1, y), M = source.at(x, y + 1);
    const int b = half(row(y)), h = half(column(x)), m = half(column(x + 1)), s = half(row(y + 1));
    const int j = clip1((filter([&](int i) { return row(y + i); }) + 512) >> 10);
    const int byPosition[16] = {G, mean(G, h), h, mean(M, h), mean(G, b), mean(b, h), mean(h, j), mean(h, s),
                                b, mean(b, j), j, mean(j, s), mean(H, b), mean(b, m), mean(j, m), mean(m, s)};
    return byPosition[position];
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
    for (auto& sample : source.memory)
        if (kind > 0) sample = sample < 128 ? 0 : 255;
    const int x0 = random.range(0, width - 1), y0 = random.range(0, height - 1);
    for (int i = 0; i < 36 && kind > 1; ++i) {
        Qvo8u* const p = source.block + (y0 + i / 6 - 2) * source.step + x0 + i % 6 - 2;
        if (source.has(p)) *p = (taps[i % 6] * taps[i / 6] > 0) == (kind == 2) ? 255 : 0;
    }
}

template <class Reference, class Operation>
void compare(const Source& source, int width, int height, Random& random, Reference reference, Operation operation) {
    // Steps of chroma have to be 8 at least.
    const int step = std::max(width, 8) + random.range(0, 1) * random.range(1, 9);
    std::vector<Qvo8u> out(static_cast<std::size_t>(step * (height + 2)), 201), expected = out;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            expected[static_cast<std::size_t>((y + 1) * step + x)] = static_cast<Qvo8u>(reference(x, y));
    ASSERT_EQ(qvoStatusOk, operation(source.block, source.step, out.data() + step, step));
    ASSERT_EQ(expected, out) << width << "x" << height;
}

TEST(Interpolate, IsTheStandardsAndReadsNoFurtherThanItSays) {
    Random random(71);
    for (int round = 0; round < 64 * 70; ++round) {
        const bool luma = round & 64;
        const int smallest = luma ? 4 : 2, width = smallest << random.range(0, 2);
        const int height = smallest << random.range(0, 2);
        if (width + height == 5 * smallest) continue;
        const Guard guard = round & 128 ? Guard::after : Guard::before;
        const int dx = luma ? round & 3 : round & 7, dy = luma ? round >> 2 & 3 : round >> 3 & 7;
        Source source(width, height, luma ? (dx ? 2 : 0) : std::max(0, 8 - width - 1), luma ? (dx ? 3 : 0) : 1,
                      luma && dy ? 2 : 0, luma ? (dy ? 3 : 0) : 1, guard);
        fillSource(source, random, width, height);
        SCOPED_TRACE(testing::Message() << (luma ? "luma " : "chroma ") << dx << ", " << dy);
        compare(
            source, width, height, random,
            [&](int x, int y) {
                return luma ? lumaSample(source, x, y, 4 * dx + dy) : chromaSample(source, x, y, dx, dy);
            },
            [&](const Qvo8u* p, int step, Qvo8u* pDst, int dstStep) {
                return (luma ? qvoiInterpolateLuma_H264_8u_C1R : qvoiInterpolateChroma_H264_8u_C1R)(
                    p, step, pDst, dstStep, dx, dy, width, height);
            });
        if (HasFatalFailure()) return;
    }
}

using Routine = QvoStatus (*)(const Qvo8u*, Qvo8u*, Qvo32s, Qvo32s, Qvo32s, Qvo32s);

template <QvoStatus (*centre)(const Qvo8u*, Qvo8u*, Qvo32s, Qvo32s, Qvo32s, Qvo32s, Qvo32s), int mode>
QvoStatus inMode(const Qvo8u* p, Qvo8u* pDst, Qvo32s step, Qvo32s dstStep, Qvo32s width, Qvo32s height) {
    return centre(p, pDst, step, dstStep, width, height, mode);
}

TEST(Interpolate, InternalRoutinesTakeBlocksOfAnySize) {
    // The building blocks by the position that each gives, and those of the sixteen positions in their order.
    std::vector<std::pair<Routine, int>> routines = {{_qvoInterpolate_H2, 8},
                                                     {_qvoInterpolate_V2, 2},
                                                     {inMode<_qvoInterpolate_2DV4, 0>, 10},
                                                     {inMode<_qvoInterpolate_2DV4, 1>, 9},
                                                     {inMode<_qvoInterpolate_2DV4, 2>, 11},
                                                     {inMode<_qvoInterpolate_2DH4, 0>, 10},
                                                     {inMode<_qvoInterpolate_2DH4, 1>, 6},
                                                     {inMode<_qvoInterpolate_2DH4, 2>, 14},
                                                     {_qvoInterpolate_Avg, 16}};
    int next = 0;
    for (const Routine routine :
         {_qvoInterpolate_H0V0, _qvoInterpolate_H0V1, _qvoInterpolate_H0V2, _qvoInterpolate_H0V3,
          _qvoInterpolate_H1V0, _qvoInterpolate_H1V1, _qvoInterpolate_H1V2, _qvoInterpolate_H1V3,
          _qvoInterpolate_H2V0, _qvoInterpolate_H2V1, _qvoInterpolate_H2V2, _qvoInterpolate_H2V3,
          _qvoInterpolate_H3V0, _qvoInterpolate_H3V1, _qvoInterpolate_H3V2, _qvoInterpolate_H3V3})
        routines.emplace_back(routine, next++);
    Random random(73);
    for (const auto& size : {std::pair{1, 1}, {3, 5}, {4, 16}, {16, 4}, {13, 7}, {39, 37}, {0, 3}, {5, 0}}) {
        Source source(size.first, size.second, 2, 3, 2, 3, Guard::after);
        random.fill(source.memory, 0, 255);
        for (const auto& entry : routines) {
            const Routine routine = entry.first;
            const int position = entry.second;
            const auto expected = [&](int x, int y) {  // the mean with what compare() fills its output with
                return position == 16 ? (source.at(x, y) + 201 + 1) >> 1 : lumaSample(source, x, y, position);
            };
            compare(source, size.first, size.second, random, expected,
                    [&](const Qvo8u* p, int step, Qvo8u* pDst, int dstStep) {
                        return routine(p, pDst, step, dstStep, size.first, size.second);
                    });
            if (HasFatalFailure()) FAIL() << position;
        }
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
        const int weight1 = weight(), weight2 = weight();
        const int shift = kind == 0 ? random.range(0, 8) : kind == 3 ? 1 : random.range(0, 255);
        const int offset = kind == 2 ? static_cast<int>(random.next()) : kind == 3 ? 0 : random.range(-128, 127);
        const int step = width + (round % 3 ? random.range(1, 9) : 0);
        Plane<Qvo8u> first(width, height, step, Guard::after), second(width, height, step, Guard::after);
        first.fill(random, 0, 255);
        second.fill(random, 0, 255);
        const auto expected = second.contentsWith([&](int x, int y) {
            return weightedSample(first.at(x, y), second.at(x, y), weight1, weight2, shift, offset);
        });
        ASSERT_EQ(qvoStatusOk,
                  qvoiWeightedAverage_H264_8u_C1IR(first.origin(), second.origin(), step, weight1, weight2,
                                                   static_cast<Qvo8u>(shift), offset, width, height));
        ASSERT_EQ(expected, second.contents())
            << "weights " << weight1 << ", " << weight2 << " shift " << shift << " offset " << offset;
    }
}

TEST(Interpolate, ChecksItsArgumentsInOrder) {
    std::vector<Qvo8u> source(64 * 64, 7), target(64 * 64, 77);
    const Qvo8u* const s = source.data() + 64 * 20 + 20;
    Qvo8u* const d = target.data() + 64 * 20 + 20;
    const Fault nulls{qvoStatusNullPtr, {0, 2}};
    // All sizes from -1 to 33 but those listed.
    const auto othersThan = [](std::initializer_list<int> allowed) {
        std::vector<int> others;
        for (int v = 33; v >= -1; --v)
            if (std::find(allowed.begin(), allowed.end(), v) == allowed.end()) others.push_back(v);
        return others;
    };
    for (const bool wide : {false, true}) {  // 16x4, 4x16 and 8x2, 2x8 are refused as well
        expectStatuses(target, qvoiInterpolateLuma_H264_8u_C1R, {s, 64, d, 64, 2, 2, wide ? 16 : 4, wide ? 16 : 4},
                       {nulls,
                        {qvoStatusStep, {1, 3}, {wide ? 15 : 3, -64}},
                        {qvoStatusBadArg, {4, 5}, {-1, 4, 8}},
                        {qvoStatusSize, {6}, othersThan({4, 8, 16})},
                        {qvoStatusSize, {7}, othersThan({4, 8, 16})},
                        {qvoStatusSize, {6, 7}, {wide ? 4 : 16}}});
        expectStatuses(target, qvoiInterpolateChroma_H264_8u_C1R, {s, 64, d, 64, 2, 2, wide ? 8 : 2, wide ? 8 : 2},
                       {nulls,
                        {qvoStatusStep, {1, 3}, {7, -64}},
                        {qvoStatusBadArg, {4, 5}, {-1, 8}},
                        {qvoStatusSize, {6}, othersThan({2, 4, 8})},
                        {qvoStatusSize, {7}, othersThan({2, 4, 8})},
                        {qvoStatusSize, {6, 7}, {wide ? 2 : 8}}});
    }
    expectStatuses(target, qvoiWeightedAverage_H264_8u_C1IR, {s, d, 64, 1, 1, Qvo8u{1}, 0, 4, 4},
                   {{qvoStatusNullPtr, {0, 1}},
                    {qvoStatusStep, {2}, {3, -64}},
                    {qvoStatusBadArg, {7}, othersThan({2, 4, 8, 16})},
                    {qvoStatusBadArg, {8}, othersThan({2, 4, 8, 16})}});
}

}  // namespace
