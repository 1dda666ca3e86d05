// Padding of arbitrarily shaped objects against ISO/IEC 14496-2, 7.6.1, taken sample by sample.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <vector>

#include "qvovc.h"
#include "support/guarded.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

std::size_t index(int i) {
    return static_cast<std::size_t>(i);
}

// ---- repetitive padding ----

// A square of samples with their opacity, padded sample by sample as ISO/IEC 14496-2, 7.6.1.1 and 7.6.1.2 define it.
struct Block {
    int size;
    std::vector<int> sample;
    std::vector<bool> opaque;

    explicit Block(int n) : size(n), sample(index(n * n)), opaque(index(n * n)) {}
    std::size_t at(int x, int y) const { return index(size * y + x); }

    // The value between the nearest known samples before and behind position i of a line; -1 if there is none.
    static int between(int i, int length, const std::function<int(int)>& known) {
        int before = -1, behind = -1;
        for (int k = i; k >= 0 && before < 0; --k)
            before = known(k);
        for (int k = i; k < length && behind < 0; ++k)
            behind = known(k);
        if (before < 0) return behind;
        return behind < 0 ? before : (before + behind + 1) / 2;
    }

    bool pad() {
        std::vector<int> rows(sample.size());
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x)
                rows[at(x, y)] = between(x, size, [&](int k) { return opaque[at(k, y)] ? sample[at(k, y)] : -1; });
        if (*std::max_element(rows.begin(), rows.end()) < 0) return false;
        for (int y = 0; y < size; ++y)
            for (int x = 0; x < size; ++x)
                sample[at(x, y)] = between(y, size, [&](int k) { return rows[at(x, k)]; });
        return true;
    }
};

// Bytes of a shape: mostly runs of 0 and 255, rarely values between, which change nothing.
void fillShape(Guarded<Qvo8u>& shape, int size, Block& block, Random& random) {
    const int density = random.range(0, 3), between = random.chance(30) ? 10 : 0;
    bool opaque = false;
    for (int y = 0; y < size; ++y) {
        const bool empty = random.chance(30);
        bool run = false;
        for (int x = 0; x < size; ++x) {
            if (random.chance(30)) opaque = !empty && random.range(0, 3) <= density - (density == 3 ? 0 : 1);
            if (empty) opaque = false;
            const bool odd = random.chance(between);
            shape[block.at(x, y)] = static_cast<Qvo8u>(odd ? random.range(1, 254) : opaque ? 255 : 0);
            if (!odd) run = opaque;
            block.opaque[block.at(x, y)] = run;
        }
    }
}

TEST(PadCurrent, BothSizes) {
    Random random;
    int transparent = 0;
    for (int round = 0; round < 6000; ++round) {
        const int size = round % 2 ? 16 : 8;
        const auto pad = round % 2 ? qvoiPadCurrent_16x16_MPEG4_8u_I : qvoiPadCurrent_8x8_MPEG4_8u_I;
        Block block(size);
        const int step = size + random.range(0, 5);
        Guarded<Qvo8u> shape(index(size * size)), texture(index(step * (size - 1) + size));
        fillShape(shape, size, block, random);
        random.fill(texture, 0, 255);
        std::vector<Qvo8u> expected(texture.begin(), texture.end());
        const auto inTexture = [&](int i) { return index(step * (i / size) + i % size); };
        for (int i = 0; i < size * size; ++i)
            block.sample[index(i)] = texture[inTexture(i)];
        const bool padded = block.pad();
        for (int i = 0; i < size * size && padded; ++i)
            expected[inTexture(i)] = static_cast<Qvo8u>(block.sample[index(i)]);
        transparent += !padded;
        ASSERT_EQ(padded ? qvoStatusOk : qvoStatusTransparent, pad(texture.data(), step, shape.data()));
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), texture.begin())) << "round " << round;
    }
    EXPECT_GT(transparent, 20);
    EXPECT_LT(transparent, 4000);
}

// ---- pictures ----

// A plane in memory that ends with its last sample, and what is expected of it.
struct Plane {
    int step;
    Guarded<Qvo8u> memory;
    std::vector<Qvo8u> expected;

    Plane(int width, int height, int rowStep, Random& random)
        : step(rowStep), memory(index(rowStep * (height - 1) + width)) {
        random.fill(memory, 0, 255);
        expected.assign(memory.begin(), memory.end());
    }
    Qvo8u* block(int x, int y, int size) { return memory.data() + size * (step * y + x); }
    Qvo8u& expect(int x, int y) { return expected[index(step * y + x)]; }
    bool matches() { return std::equal(expected.begin(), expected.end(), memory.begin()); }
};

// Luminance, two chrominance planes and alpha, of columns x rows macroblocks.
struct Picture {
    int columns, rows;
    int lumaStep, chromaStep;
    Plane y, cb, cr, alpha;

    Picture(int c, int r, Random& random)
        : columns(c),
          rows(r),
          lumaStep(16 * c + 4 * random.range(0, 3)),
          chromaStep(8 * c + 4 * random.range(0, 3)),
          y(16 * c, 16 * r, lumaStep, random),
          cb(8 * c, 8 * r, chromaStep, random),
          cr(8 * c, 8 * r, chromaStep, random),
          alpha(16 * c, 16 * r, lumaStep, random) {}

    // Calls f for each plane that takes part, with the size of its blocks.
    void forPlanes(bool withAlpha, const std::function<void(Plane&, int)>& f) {
        f(y, 16);
        f(cb, 8);
        f(cr, 8);
        if (withAlpha) f(alpha, 16);
    }
    bool matches() { return y.matches() && cb.matches() && cr.matches() && alpha.matches(); }
};

TEST(ExtendedPadding, RepeatsColumnsRowsAndValues) {
    Random random;
    for (int round = 0; round < 50; ++round) {
        Picture p(2, 2, random);
        const bool withAlpha = round % 2;
        // From macroblock (0, 0) to its right and downwards, and a gray one in the corner.
        const auto source = [&](Plane& plane, int x, int y) { return plane.memory.data() + plane.step * y + x; };
        const int column = random.range(0, 15), row = random.range(0, 15), gray = random.range(0, 255);
        p.forPlanes(withAlpha, [&](Plane& plane, int n) {
            for (int y = 0; y < n; ++y)
                for (int x = 0; x < n; ++x) {
                    plane.expect(n + x, y) = plane.expect(column * n / 16, y);
                    plane.expect(x, n + y) = plane.expect(x, row * n / 16);
                    plane.expect(n + x, n + y) = static_cast<Qvo8u>(gray);
                }
        });
        ASSERT_EQ(qvoStatusOk,
                  qvoiPadMBHorizontal_MPEG4_8u(
                      source(p.y, column, 0), source(p.cb, column / 2, 0), source(p.cr, column / 2, 0),
                      withAlpha ? source(p.alpha, column, 0) : nullptr, p.y.block(1, 0, 16), p.cb.block(1, 0, 8),
                      p.cr.block(1, 0, 8), p.alpha.block(1, 0, 16), p.lumaStep, p.chromaStep));
        ASSERT_EQ(qvoStatusOk,
                  qvoiPadMBVertical_MPEG4_8u(source(p.y, 0, row), source(p.cb, 0, row / 2), source(p.cr, 0, row / 2),
                                             withAlpha ? source(p.alpha, 0, row) : nullptr, p.y.block(0, 1, 16),
                                             p.cb.block(0, 1, 8), p.cr.block(0, 1, 8), p.alpha.block(0, 1, 16),
                                             p.lumaStep, p.chromaStep));
        ASSERT_EQ(qvoStatusOk,
                  qvoiPadMBGray_MPEG4_8u(static_cast<Qvo8u>(gray), p.y.block(1, 1, 16), p.cb.block(1, 1, 8),
                                         p.cr.block(1, 1, 8), withAlpha ? p.alpha.block(1, 1, 16) : nullptr,
                                         p.lumaStep, p.chromaStep));
        ASSERT_TRUE(p.matches());
    }
}

enum Kind { allTransparent, boundary, allOpaque };

// The shape of a whole picture.
struct Shape {
    int columns, rows;
    std::vector<Kind> kinds;
    std::vector<bool> opaque;  // of each luminance sample

    Shape(int c, int r, Random& random) : columns(c), rows(r), kinds(index(c * r)), opaque(index(256 * c * r)) {
        const int transparent = random.range(20, 100);
        for (int i = 0; i < c * r; ++i) {
            Kind& kind = kinds[index(i)];
            kind = random.chance(transparent) ? allTransparent : random.chance(50) ? allOpaque : boundary;
            const int x = 16 * (i % c), y = 16 * (i / c), density = random.chance(30) ? 1 : 50;
            for (int k = 0; k < 256; ++k)
                opaque[at(x + k % 16, y + k / 16)] =
                    kind == allOpaque || (kind == boundary && random.chance(density));
            if (kind == boundary) opaque[at(x + random.range(0, 15), y + random.range(0, 15))] = true;
        }
    }
    std::size_t at(int x, int y) const { return index(16 * columns * y + x); }
    Kind kind(int x, int y) const {
        return x < 0 || y < 0 || x >= columns || y >= rows ? allTransparent : kinds[index(columns * y + x)];
    }
};

// What padding makes of a plane whose samples are `scale` (1 or 2) samples of the shape apart: repetitive padding of
// the macroblocks with opaque samples; then each transparent one takes the adjoining line of its left, upper, right
// or lower neighbour, the first that has opaque samples, or is gray (ISO/IEC 14496-2, 7.6.1.3).
void padPlane(Plane& plane, const Shape& shape, int scale, Qvo8u gray) {
    const int n = 16 / scale;
    for (int i = 0; i < shape.columns * shape.rows; ++i) {
        const int left = n * (i % shape.columns), top = n * (i / shape.columns);
        if (shape.kinds[index(i)] != boundary) continue;
        Block block(n);
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x) {
                block.sample[block.at(x, y)] = plane.expect(left + x, top + y);
                bool any = false;
                for (int k = 0; k < scale * scale; ++k)
                    any =
                        any || shape.opaque[shape.at(scale * (left + x) + k % scale, scale * (top + y) + k / scale)];
                block.opaque[block.at(x, y)] = any;
            }
        ASSERT_TRUE(block.pad());
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x)
                plane.expect(left + x, top + y) = static_cast<Qvo8u>(block.sample[block.at(x, y)]);
    }
    for (int i = 0; i < shape.columns * shape.rows; ++i) {
        const int mbX = i % shape.columns, mbY = i / shape.columns, left = n * mbX, top = n * mbY;
        if (shape.kinds[index(i)] != allTransparent) continue;
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x)
                plane.expect(left + x, top + y) = shape.kind(mbX - 1, mbY)   ? plane.expect(left - 1, top + y)
                                                  : shape.kind(mbX, mbY - 1) ? plane.expect(left + x, top - 1)
                                                  : shape.kind(mbX + 1, mbY) ? plane.expect(left + n, top + y)
                                                  : shape.kind(mbX, mbY + 1) ? plane.expect(left + x, top + n)
                                                                             : gray;
    }
}

TEST(MacroblockPadding, PadsWholePicturesInRasterOrder) {
    Random random;
    for (int round = 0; round < 400; ++round) {
        const int columns = random.range(1, 5), rows = random.range(1, 4);
        Picture p(columns, rows, random);
        const Shape shape(columns, rows, random);
        const bool withAlpha = round % 2;
        const Qvo8u gray = static_cast<Qvo8u>(random.range(0, 255));
        p.forPlanes(withAlpha, [&](Plane& plane, int n) { padPlane(plane, shape, 16 / n, gray); });

        Guarded<Qvo8u> padded(index(columns));
        random.fill(padded, 0, 255);  // nothing is taken from the row above the first
        const int shapeStep = random.range(2, 5);
        Guarded<Qvo8u> bits(index(15 * shapeStep + 2));
        for (int y = 0; y < rows; ++y)
            for (int x = 0; x < columns; ++x) {
                const Qvo32s flags[2] = {x > 0 ? -shape.kind(x - 1, y) : round % 3,
                                         y > 0 ? 256 * shape.kind(x, y - 1) : round % 5};
                Qvo8u *const pY = p.y.block(x, y, 16), *const pCb = p.cb.block(x, y, 8);
                Qvo8u *const pCr = p.cr.block(x, y, 8), *const pA = withAlpha ? p.alpha.block(x, y, 16) : nullptr;
                const Kind kind = shape.kind(x, y);
                // Besides itself a macroblock marks the neighbours that it fills.
                std::vector<Qvo8u> marks(padded.begin(), padded.end());
                const auto mark = [&](bool fills, int column) {
                    if (fills && marks[index(column)] == 0) marks[index(column)] = 1;
                };
                if (kind != allTransparent) {
                    if (x > 0) mark(!shape.kind(x - 1, y), x - 1);
                    if (y > 0) mark(!shape.kind(x, y - 1), x);
                } else {
                    marks[index(x)] = shape.kind(x - 1, y) || shape.kind(x, y - 1);
                }
                QvoStatus status;
                if (kind == allTransparent) {
                    status = qvoiPadMBTransparent_MPEG4_8u_P4R(flags, pY, pCb, pCr, pA, padded.data(), gray, x, y,
                                                               columns, rows, p.lumaStep, p.chromaStep);
                } else if (kind == boundary) {
                    for (int k = 0; k < 16; ++k) {
                        Qvo8u* const row = &bits[index(k * shapeStep)];
                        row[0] = row[1] = 0;
                        for (int i = 0; i < 16; ++i)
                            if (shape.opaque[shape.at(16 * x + i, 16 * y + k)])
                                row[i / 8] = static_cast<Qvo8u>(row[i / 8] | 128 >> i % 8);
                    }
                    status = qvoiPadMBPartial_MPEG4_8u_P4R(bits.data(), flags, pY, pCb, pCr, pA, padded.data(), x, y,
                                                           p.lumaStep, p.chromaStep, shapeStep);
                } else {
                    status = qvoiPadMBOpaque_MPEG4_8u_P4R(flags, pY, pCb, pCr, pA, padded.data(), x, y, p.lumaStep,
                                                          p.chromaStep);
                }
                ASSERT_EQ(qvoStatusOk, status);
                ASSERT_TRUE(std::equal(marks.begin(), marks.end(), padded.begin())) << "round " << round;
            }
        ASSERT_TRUE(p.matches()) << "round " << round;
    }
}

// Of a whole picture one sees what is left at the end; this is what one call writes on the way.
TEST(MacroblockPadding, ATransparentMacroblockTouchesNoMoreThanItMust) {
    Random random;
    for (int state = 0; state < 64; ++state) {
        const bool left = state & 1, above = state & 2, leftPadded = state & 4, abovePadded = state & 8;
        const int x = state & 16 ? 2 : 1, y = state & 32 ? 2 : 1;
        const Qvo32s flags[2] = {left, above};
        Qvo8u padded[3] = {55, 66, 77};
        padded[x - 1] = leftPadded;
        padded[x] = abovePadded;
        std::array<int, 3> marks = {padded[0], padded[1], padded[2]};
        marks[index(x)] = left || above;

        Picture p(3, 3, random);
        p.forPlanes(true, [&](Plane& plane, int n) {
            const auto fill = [&](int mbX, int mbY, const std::function<int(int, int)>& value) {
                for (int j = n * mbY; j < n * mbY + n; ++j)
                    for (int i = n * mbX; i < n * mbX + n; ++i)
                        plane.expect(i, j) = static_cast<Qvo8u>(value(i, j));
            };
            const auto gray = [](int, int) { return 99; };
            if (left)
                fill(x, y, [&](int, int j) { return plane.expect(n * x - 1, j); });
            else if (above)
                fill(x, y, [&](int i, int) { return plane.expect(i, n * y - 1); });
            else if (x == 2 && y == 2)
                fill(x, y, gray);
            if (!above && !abovePadded) fill(x, y - 1, gray);
            if (!left && !leftPadded && y == 2) fill(x - 1, y, gray);
        });
        ASSERT_EQ(qvoStatusOk, qvoiPadMBTransparent_MPEG4_8u_P4R(flags, p.y.block(x, y, 16), p.cb.block(x, y, 8),
                                                                 p.cr.block(x, y, 8), p.alpha.block(x, y, 16), padded,
                                                                 99, x, y, 3, 3, p.lumaStep, p.chromaStep));
        EXPECT_TRUE(p.matches()) << "state " << state;
        EXPECT_EQ(marks, (std::array<int, 3>{padded[0], padded[1], padded[2]})) << "state " << state;
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
    for (Qvo8u* const alpha : {a, static_cast<Qvo8u*>(nullptr)}) {
        expectStatuses(m, qvoiPadMBGray_MPEG4_8u, {Qvo8u{9}, y, cb, cr, alpha, 32, 16},
                       {nulls({1, 2, 3}), steps({5, 6})});
        std::vector<std::size_t> blocks = {1, 2, 3};
        if (alpha != nullptr) blocks.push_back(4);
        expectStatuses(m, qvoiPadMBOpaque_MPEG4_8u_P4R, {flags, y, cb, cr, alpha, m.padded.data(), 1, 1, 32, 16},
                       {nulls({0, 1, 2, 3, 5}), bad(blocks, {1, 2, 3}), bad({6, 7}, {-1}), bad({8}, {12, 34}),
                        bad({9}, {4, 17})});
        expectStatuses(m, qvoiPadMBTransparent_MPEG4_8u_P4R,
                       {flags, y, cb, cr, alpha, m.padded.data(), Qvo8u{9}, 1, 1, 2, 2, 32, 16},
                       {nulls({0, 1, 2, 3, 5}), bad(blocks, {1, 2, 3}), bad({7, 8}, {-1, 2}), bad({9, 10}, {1, 0}),
                        bad({11}, {12, 34}), bad({12}, {4, 17})});
        for (std::size_t& block : blocks)
            ++block;
        expectStatuses(m, qvoiPadMBPartial_MPEG4_8u_P4R,
                       {shape.data(), flags, y, cb, cr, alpha, m.padded.data(), 1, 1, 32, 16, 2},
                       {nulls({0, 1, 2, 3, 4, 6}), bad(blocks, {1, 2, 3}), bad({7, 8}, {-1}), bad({9}, {12, 34}),
                        bad({10}, {4, 17}), bad({11}, {1})});
    }
    const Memory before = m;
    EXPECT_EQ(qvoStatusFailed,
              qvoiPadMBPartial_MPEG4_8u_P4R(none.data(), flags, y, cb, cr, a, m.padded.data(), 1, 1, 32, 16, 2));
    EXPECT_TRUE(m == before);
}

}  // namespace
