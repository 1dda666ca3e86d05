// Padding of arbitrarily shaped objects against ISO/IEC 14496-2, 7.6.1, taken sample by sample.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "qvovc.h"
#include "support/plane.h"
#include "support/statuses.h"

namespace {

std::size_t index(int i) {
    return static_cast<std::size_t>(i);
}

// ---- repetitive padding ----

// The value between the nearest known samples before and behind position i of a line; -1 if there is none.
int between(int i, int length, const std::function<int(int)>& known) {
    int before = -1, behind = -1;
    for (int k = i; k >= 0 && before < 0; --k)
        before = known(k);
    for (int k = i; k < length && behind < 0; ++k)
        behind = known(k);
    if (before < 0) return behind;
    return behind < 0 ? before : (before + behind + 1) / 2;
}

// A block of n x n samples, of which the transparent ones are -1, padded as ISO/IEC 14496-2, 7.6.1.1 and 7.6.1.2 define
// it. All of it remains -1 if all is transparent.
std::vector<int> paddedBlock(int n, const std::vector<int>& samples) {
    std::vector<int> rows(samples.size()), block(samples.size());
    for (int i = 0; i < n * n; ++i)
        rows[index(i)] = between(i % n, n, [&](int k) { return samples[index(i - i % n + k)]; });
    for (int i = 0; i < n * n; ++i)
        block[index(i)] = between(i / n, n, [&](int k) { return rows[index(i % n + n * k)]; });
    return block;
}

// Bytes of a shape: mostly runs of 0 and 255, rarely values between, which change nothing. Returns what is opaque.
std::vector<bool> fillShape(Guarded<Qvo8u>& shape, int size, Random& random) {
    std::vector<bool> opaque;
    const int density = random.range(0, 3), strange = random.chance(30) ? 10 : 0;
    bool next = false;
    for (int y = 0; y < size; ++y) {
        const bool empty = random.chance(30);
        bool run = false;
        for (int x = 0; x < size; ++x) {
            if (random.chance(30)) next = random.range(0, 3) <= density - (density == 3 ? 0 : 1);
            next = next && !empty;
            const bool between = random.chance(strange);
            shape[opaque.size()] = static_cast<Qvo8u>(between ? random.range(1, 254) : next ? 255 : 0);
            if (!between) run = next;
            opaque.push_back(run);
        }
    }
    return opaque;
}

TEST(PadCurrent, BothSizes) {
    Random random;
    int transparent = 0;
    for (int round = 0; round < 6000; ++round) {
        const int size = round % 2 ? 16 : 8;
        Plane<Qvo8u> texture(size, size, size + random.range(0, 5), Guard::after);
        texture.fill(random, 0, 255);
        Guarded<Qvo8u> shape(index(size * size));
        const std::vector<bool> opaque = fillShape(shape, size, random);
        std::vector<int> samples;
        for (int i = 0; i < size * size; ++i)
            samples.push_back(opaque[index(i)] ? texture.at(i % size, i / size) : -1);
        const std::vector<int> padded = paddedBlock(size, samples);
        const auto expected = padded[0] < 0
                                  ? texture.contents()
                                  : texture.contentsWith([&](int x, int y) { return padded[index(size * y + x)]; });
        transparent += padded[0] < 0;
        const auto pad = size == 16 ? qvoiPadCurrent_16x16_MPEG4_8u_I : qvoiPadCurrent_8x8_MPEG4_8u_I;
        ASSERT_EQ(padded[0] < 0 ? qvoStatusTransparent : qvoStatusOk,
                  pad(texture.origin(), texture.step(), shape.data()));
        ASSERT_EQ(expected, texture.contents()) << "round " << round;
    }
    EXPECT_GT(transparent, 20);
    EXPECT_LT(transparent, 4000);
}

// ---- pictures ----

// Luminance, two chrominance planes and alpha, of 3x3 macroblocks, and what is expected of them.
struct Picture {
    int lumaStep, chromaStep;
    Plane<Qvo8u> planes[4], expected[4];

    explicit Picture(Random& random) : Picture(48 + 4 * random.range(0, 3), 24 + 4 * random.range(0, 3)) {
        for (int p = 0; p < 4; ++p) {
            planes[p].fill(random, 0, 255);
            expected[p].restore(planes[p].contents());
        }
    }
    Qvo8u* block(int p, int mbX, int mbY) { return &planes[p].at(size(p) * mbX, size(p) * mbY); }
    static int size(int p) { return p == 1 || p == 2 ? 8 : 16; }

    // Expects value(plane, x, y) of a macroblock's samples.
    void expect(int mbX, int mbY, bool withAlpha, const std::function<int(int, int, int)>& value) {
        for (int p = 0; p < (withAlpha ? 4 : 3); ++p)
            for (int y = size(p) * mbY; y < size(p) * (mbY + 1); ++y)
                for (int x = size(p) * mbX; x < size(p) * (mbX + 1); ++x)
                    expected[p].at(x, y) = static_cast<Qvo8u>(value(p, x, y));
    }
    bool matches() {
        return std::equal(planes, planes + 4, expected,
                          [](auto& a, auto& b) { return a.contents() == b.contents(); });
    }

  private:
    Picture(int l, int c)
        : lumaStep(l),
          chromaStep(c),
          planes{{48, 48, l, Guard::after},
                 {24, 24, c, Guard::after},
                 {24, 24, c, Guard::after},
                 {48, 48, l, Guard::after}},
          expected{{48, 48, l, Guard::after},
                   {24, 24, c, Guard::after},
                   {24, 24, c, Guard::after},
                   {48, 48, l, Guard::after}} {}
};

TEST(ExtendedPadding, RepeatsColumnsRowsAndValues) {
    Random random;
    for (int round = 0; round < 50; ++round) {
        Picture p(random);
        const bool alpha = round % 2;
        // A column of macroblock (0, 0) to its right, a row of it downwards, and a gray one in the corner.
        const int line = random.range(0, 15), gray = random.range(0, 255);
        const int from[4] = {line, line / 2, line / 2, line};
        p.expect(1, 0, alpha, [&](int plane, int, int y) { return p.expected[plane].at(from[plane], y); });
        p.expect(0, 1, alpha, [&](int plane, int x, int) { return p.expected[plane].at(x, from[plane]); });
        p.expect(1, 1, alpha, [&](int, int, int) { return gray; });
        for (const bool vertical : {false, true}) {
            const auto source = [&](int plane) {
                return vertical ? &p.planes[plane].at(0, from[plane]) : &p.planes[plane].at(from[plane], 0);
            };
            const auto target = [&](int plane) { return p.block(plane, !vertical, vertical); };
            ASSERT_EQ(qvoStatusOk, (vertical ? qvoiPadMBVertical_MPEG4_8u : qvoiPadMBHorizontal_MPEG4_8u)(
                                       source(0), source(1), source(2), alpha ? source(3) : nullptr, target(0),
                                       target(1), target(2), target(3), p.lumaStep, p.chromaStep));
        }
        ASSERT_EQ(qvoStatusOk, qvoiPadMBGray_MPEG4_8u(static_cast<Qvo8u>(gray), p.block(0, 1, 1), p.block(1, 1, 1),
                                                      p.block(2, 1, 1), alpha ? p.block(3, 1, 1) : nullptr,
                                                      p.lumaStep, p.chromaStep));
        ASSERT_TRUE(p.matches());
    }
}

// The shape of a macroblock, 16 rows of 16 bits with at least one opaque sample.
struct BinaryShape {
    int step;
    Guarded<Qvo8u> bits;

    explicit BinaryShape(Random& random) : step(random.range(2, 5)), bits(index(15 * step + 2)) {
        const int density = random.chance(30) ? 1 : 50;
        for (int i = 0; i < 256; ++i)
            if (random.chance(density)) set(i % 16, i / 16);
        set(random.range(0, 15), random.range(0, 15));
    }
    Qvo8u& byteOf(int x, int y) { return bits[index(step * y + x / 8)]; }
    void set(int x, int y) { byteOf(x, y) = static_cast<Qvo8u>(byteOf(x, y) | 128 >> x % 8); }
    bool opaque(int x, int y) { return byteOf(x, y) << x % 8 & 128; }
    // Chrominance is opaque where any of four samples of the luminance is.
    bool opaqueChroma(int x, int y) {
        return opaque(2 * x, 2 * y) || opaque(2 * x + 1, 2 * y) || opaque(2 * x, 2 * y + 1) ||
               opaque(2 * x + 1, 2 * y + 1);
    }
};

std::array<std::vector<int>, 4> paddedMacroblock(Picture& p, int mbX, int mbY, BinaryShape& shape) {
    std::array<std::vector<int>, 4> blocks;
    for (int plane = 0; plane < 4; ++plane) {
        const int n = p.size(plane);
        std::vector<int> samples;
        for (int i = 0; i < n * n; ++i) {
            const bool opaque = n == 16 ? shape.opaque(i % n, i / n) : shape.opaqueChroma(i % n, i / n);
            samples.push_back(opaque ? p.block(plane, mbX, mbY)[p.planes[plane].step() * (i / n) + i % n] : -1);
        }
        blocks[index(plane)] = paddedBlock(n, samples);
    }
    return blocks;
}

// A macroblock anywhere in the picture, of any kind and with any neighbours.
TEST(MacroblockPadding, PadsTheMacroblockAndThoseThatWaited) {
    Random random;
    for (int round = 0; round < 6000; ++round) {
        Picture p(random);
        BinaryShape shape(random);
        enum { transparent, partial, opaque };
        const int x = random.range(0, 2), y = random.range(0, 2), kind = random.range(0, 2);
        const bool alpha = random.chance(50);
        const Qvo32s flags[2] = {random.range(-1, 1), random.chance(50) ? 256 : 0};
        Guarded<Qvo8u> padded(index(x + 1));
        for (Qvo8u& mark : padded)
            mark = static_cast<Qvo8u>(random.chance(50) ? 0 : random.range(1, 255));
        std::vector<Qvo8u> marks(padded.begin(), padded.end());
        const bool left = x > 0 && flags[0] != 0, above = y > 0 && flags[1] != 0;
        const bool leftWaits = x > 0 && !left && marks[index(x - 1)] == 0;
        const bool aboveWaits = y > 0 && !above && marks[index(x)] == 0;

        // Columns and rows as they are, or as they will be, in the macroblock and around it.
        const auto column = [&](int atX) {
            return [&p, x, atX](int plane, int, int j) { return p.expected[plane].at(p.size(plane) * x + atX, j); };
        };
        const auto row = [&](int atY) {
            return [&p, y, atY](int plane, int i, int) { return p.expected[plane].at(i, p.size(plane) * y + atY); };
        };
        const auto gray = [](int, int, int) { return 99; };
        Qvo8u *const pY = p.block(0, x, y), *const pCb = p.block(1, x, y), *const pCr = p.block(2, x, y);
        Qvo8u* const pA = alpha ? p.block(3, x, y) : nullptr;
        if (kind == transparent) {
            if (left)
                p.expect(x, y, alpha, column(-1));
            else if (above)
                p.expect(x, y, alpha, row(-1));
            else if (x == 2 && y == 2)
                p.expect(x, y, alpha, gray);
            if (leftWaits && y == 2) p.expect(x - 1, y, alpha, gray);
            if (aboveWaits) p.expect(x, y - 1, alpha, gray);
            marks[index(x)] = left || above;
            ASSERT_EQ(qvoStatusOk, qvoiPadMBTransparent_MPEG4_8u_P4R(flags, pY, pCb, pCr, pA, padded.data(), 99, x, y,
                                                                     3, 3, p.lumaStep, p.chromaStep));
        } else {
            const auto blocks = paddedMacroblock(p, x, y, shape);
            if (kind == partial)
                p.expect(x, y, alpha, [&](int plane, int i, int j) {
                    const int n = p.size(plane);
                    return blocks[index(plane)][index(j % n * n + i % n)];
                });
            if (leftWaits) p.expect(x - 1, y, alpha, column(0));
            if (aboveWaits) p.expect(x, y - 1, alpha, row(0));
            if (leftWaits) marks[index(x - 1)] = 1;
            if (aboveWaits) marks[index(x)] = 1;
            ASSERT_EQ(qvoStatusOk,
                      kind == partial
                          ? qvoiPadMBPartial_MPEG4_8u_P4R(shape.bits.data(), flags, pY, pCb, pCr, pA, padded.data(),
                                                          x, y, p.lumaStep, p.chromaStep, shape.step)
                          : qvoiPadMBOpaque_MPEG4_8u_P4R(flags, pY, pCb, pCr, pA, padded.data(), x, y, p.lumaStep,
                                                         p.chromaStep));
        }
        ASSERT_TRUE(p.matches()) << "round " << round << " kind " << kind;
        ASSERT_TRUE(std::equal(marks.begin(), marks.end(), padded.begin())) << "round " << round;
    }
}

// Macroblock (1, 1) of 2x2 with all arguments valid, then each spoilt.
TEST(Padding, StatusesInTheirOrder) {
    struct Memory {
        alignas(4) std::array<std::array<Qvo8u, 32 * 32>, 4> planes = {};
        std::array<Qvo8u, 2> padded = {};
        bool operator==(const Memory&) const = default;
    } m;
    alignas(4) std::array<Qvo8u, 256> shape, none = {};
    shape.fill(255);
    const Qvo32s flags[2] = {0, 0};
    const Qvo8u* const source = m.planes[0].data();
    Qvo8u *const y = &m.planes[0][16 * 32 + 16], *const cb = &m.planes[1][8 * 16 + 8];
    Qvo8u *const cr = &m.planes[2][8 * 16 + 8], *const a = &m.planes[3][16 * 32 + 16];
    const auto nulls = [](std::vector<std::size_t> arguments) { return Fault{qvoStatusNullPtr, arguments}; };
    const auto steps = [](std::vector<std::size_t> arguments) { return Fault{qvoStatusStep, arguments, {0, -32}}; };
    const auto bad = [](std::vector<std::size_t> arguments, std::vector<int> values) {
        return Fault{qvoStatusBadArg, arguments, values};
    };

    for (const auto operation : {qvoiPadCurrent_16x16_MPEG4_8u_I, qvoiPadCurrent_8x8_MPEG4_8u_I}) {
        expectStatuses(m, operation, {y, 32, shape.data()}, {nulls({0, 2}), steps({1})});
        EXPECT_EQ(qvoStatusTransparent, operation(y, 32, none.data()));
    }
    // Alpha is optional, and its source tells whether there is any.
    for (const auto operation : {qvoiPadMBHorizontal_MPEG4_8u, qvoiPadMBVertical_MPEG4_8u}) {
        expectStatuses(m, operation, {source, source, source, source, y, cb, cr, a, 32, 16},
                       {nulls({0, 1, 2, 4, 5, 6, 7}), steps({8, 9})});
        expectStatuses(m, operation, {source, source, source, nullptr, y, cb, cr, nullptr, 32, 16}, {});
    }
    expectStatuses(m, qvoiPadMBGray_MPEG4_8u, {Qvo8u{9}, y, cb, cr, a, 32, 16}, {nulls({1, 2, 3}), steps({5, 6})});
    expectStatuses(m, qvoiPadMBOpaque_MPEG4_8u_P4R, {flags, y, cb, cr, a, m.padded.data(), 1, 1, 32, 16},
                   {nulls({0, 1, 2, 3, 5}), bad({1, 2, 3, 4}, {1, 2, 3}), bad({6, 7}, {-1}), bad({8}, {12, 34}),
                    bad({9}, {4, 17})});
    expectStatuses(m, qvoiPadMBTransparent_MPEG4_8u_P4R,
                   {flags, y, cb, cr, a, m.padded.data(), Qvo8u{9}, 1, 1, 2, 2, 32, 16},
                   {nulls({0, 1, 2, 3, 5}), bad({1, 2, 3, 4}, {1, 2, 3}), bad({7, 8}, {-1, 2}), bad({9, 10}, {1, 0}),
                    bad({11}, {12, 34}), bad({12}, {4, 17})});
    expectStatuses(m, qvoiPadMBPartial_MPEG4_8u_P4R,
                   {shape.data(), flags, y, cb, cr, a, m.padded.data(), 1, 1, 32, 16, 2},
                   {nulls({0, 1, 2, 3, 4, 6}), bad({2, 3, 4, 5}, {1, 2, 3}), bad({7, 8}, {-1}), bad({9}, {12, 34}),
                    bad({10}, {4, 17}), bad({11}, {1})});
    const Memory before = m;
    EXPECT_EQ(qvoStatusFailed,
              qvoiPadMBPartial_MPEG4_8u_P4R(none.data(), flags, y, cb, cr, a, m.padded.data(), 1, 1, 32, 16, 2));
    EXPECT_TRUE(m == before);
}

}  // namespace
