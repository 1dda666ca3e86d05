// Motion-vector encoding against the decoder, with the memory it stores to.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>

#include "mpeg4/written.h"
#include "support/random.h"
#include "support/statuses.h"

namespace {

using Vectors = std::array<QvoMotionVector, 4>;

struct alignas(4) Flags {
    Qvo8u at[4];
};

QvoMotionVector mv(int dx, int dy) {
    return {static_cast<Qvo16s>(dx), static_cast<Qvo16s>(dy)};
}

// A macroblock and its neighbours left, above and above to the right. Neighbours without vectors have flags all the same.
struct Scene {
    Vectors current = {}, neighbours[3] = {};
    Flags flags = {{1, 1, 1, 1}}, neighbourFlags[3] = {{{1, 1, 1, 1}}, {{1, 1, 1, 1}}, {{1, 1, 1, 1}}};
    bool exists[3] = {true, true, true};

    const QvoMotionVector* vectors(int i) const { return exists[i] ? neighbours[i].data() : nullptr; }

    QvoStatus encode(Qvo8u** p, Qvo32s* o, int fcode, int mbType) const {
        return qvoiEncodeMV_MPEG4_8u16s(p, o, current.data(), vectors(0), vectors(1), vectors(2), flags.at,
                                        neighbourFlags[0].at, neighbourFlags[1].at, neighbourFlags[2].at, fcode,
                                        mbType);
    }
    // The decoder wants vectors of all neighbours.
    QvoStatus decode(Qvo8u** p, Qvo32s* o, Vectors& result, int fcode, int mbType) const {
        Flags f[3];
        for (int i = 0; i < 3; ++i)
            f[i] = exists[i] ? neighbourFlags[i] : Flags{};
        return qvoiDecodePadMV_PVOP_MPEG4(p, o, neighbours[0].data(), neighbours[1].data(), neighbours[2].data(),
                                          result.data(), f[0].at, f[1].at, f[2].at, flags.at, fcode, mbType);
    }
};

// The single vector of a macroblock without neighbours is its own difference.
std::string bitsOf(QvoMotionVector difference, int fcode) {
    Scene scene;
    scene.current[0] = difference;
    for (bool& exists : scene.exists)
        exists = false;
    Qvo8u bytes[16] = {};
    Qvo8u* position = bytes;
    Qvo32s offset = 0;
    EXPECT_EQ(qvoStatusOk, scene.encode(&position, &offset, fcode, 0));
    std::string bits;
    for (int bit = 0; bit < 8 * (position - bytes) + offset; ++bit)
        bits += (bytes[bit / 8] >> (7 - bit % 8) & 1) != 0 ? '1' : '0';
    return bits;
}

TEST(VectorWriter, SpeltOut) {
    EXPECT_EQ("11", bitsOf(mv(0, 0), 1));
    EXPECT_EQ("11", bitsOf(mv(0, 0), 5));
    EXPECT_EQ("010011", bitsOf(mv(1, -1), 1));
    EXPECT_EQ("00000000001010000000000101", bitsOf(mv(32, -32), 1));  // both are -32
    EXPECT_EQ("0010000110", bitsOf(mv(3, -3), 2));
    EXPECT_EQ("0000000000100000000000001011", bitsOf(mv(63, -64), 2));
    EXPECT_EQ(13u + 6 + 1, bitsOf(mv(-2048, 0), 7).size());

    // From a predictor of -8 to 32: 40 - 64.
    Scene scene;
    scene.current[0] = mv(32, 0);
    for (Vectors& neighbour : scene.neighbours)
        neighbour.fill(mv(-8, 0));
    expectWritten(bitsOf(mv(-24, 0), 1), 4, Stores::words,
                  [&](Qvo8u** p, Qvo32s* o) { return scene.encode(p, o, 1, 0); });
}

TEST(VectorWriter, EveryDifferenceReadsBack) {
    for (int fcode = 1; fcode <= 7; ++fcode) {
        const int limit = 16 << fcode;
        for (int d = -limit; d <= limit; ++d) {
            const std::string x = bitsOf(mv(d, 0), fcode);
            Scene scene;
            scene.current[0] = mv(d, -d);
            for (bool& exists : scene.exists)
                exists = false;
            const std::string bits = bitsOf(scene.current[0], fcode);
            ASSERT_EQ(x.substr(0, x.size() - 1), bits.substr(0, x.size() - 1));
            expectWritten(bits, d & 7, Stores::words,
                          [&](Qvo8u** p, Qvo32s* o) { return scene.encode(p, o, fcode, 1); });
            Guarded<Qvo8u> memory(16);
            Qvo8u *end = memory.data(), *position = end;
            Qvo32s endOffset = 0, offset = 0;
            ASSERT_EQ(qvoStatusOk, scene.encode(&end, &endOffset, fcode, 1));
            Vectors decoded;
            ASSERT_EQ(qvoStatusOk, scene.decode(&position, &offset, decoded, fcode, 1));
            ASSERT_EQ(end, position);
            ASSERT_EQ(endOffset, offset);
            ASSERT_EQ(d == limit ? -d : d, decoded[0].dx);
            ASSERT_EQ(-d == limit ? d : -d, decoded[0].dy);
        }
    }
}

TEST(VectorWriter, MacroblocksReadBack) {
    Random random;
    for (int i = 0; i < 20000; ++i) {
        const int fcode = random.range(1, 7), mbType = random.range(0, 5), limit = (16 << fcode) - 1;
        const bool four = mbType == qvoMbInter4V || mbType == qvoMbInter4VQ;
        const int range = random.chance(50) ? limit : std::min(limit, 20);
        const auto vector = [&] { return mv(random.range(-range, range), random.range(-range, range)); };
        Scene scene;
        for (QvoMotionVector& v : scene.current)
            v = vector();
        for (Vectors& neighbour : scene.neighbours)
            for (QvoMotionVector& v : neighbour)
                v = vector();
        for (bool& exists : scene.exists)
            exists = random.chance(75);
        for (Flags* flags : {&scene.flags, &scene.neighbourFlags[0], &scene.neighbourFlags[2]})
            for (Qvo8u& flag : flags->at)
                flag = random.chance(70) ? static_cast<Qvo8u>(random.range(1, 255)) : 0;
        if (std::count(scene.flags.at, scene.flags.at + (four ? 4 : 1), 0) == (four ? 4 : 1)) {
            expectWritten("", i % 8, Stores::bytes,
                          [&](Qvo8u** p, Qvo32s* o) { return scene.encode(p, o, fcode, mbType); });
            continue;
        }

        std::array<Qvo8u, 32> bytes;
        bytes.fill(255);
        Qvo8u *end = bytes.data(), *position = end;
        Qvo32s endOffset = i % 8, offset = endOffset;
        ASSERT_EQ(qvoStatusOk, scene.encode(&end, &endOffset, fcode, mbType));
        ASSERT_EQ(255 << (8 - offset) & 255, bytes[0] & 255 << (8 - offset) & 255);
        if (endOffset != 0) {
            ASSERT_EQ(0, *end & 255 >> endOffset);
        }
        Vectors decoded = {};
        ASSERT_EQ(qvoStatusOk, scene.decode(&position, &offset, decoded, fcode, mbType));
        ASSERT_EQ(end, position);
        ASSERT_EQ(endOffset, offset);
        for (std::size_t block = 0; block < (four ? 4 : 1); ++block)
            if (scene.flags.at[block] != 0) {
                ASSERT_EQ(scene.current[block].dx, decoded[block].dx) << block;
                ASSERT_EQ(scene.current[block].dy, decoded[block].dy) << block;
            }
    }
}

TEST(VectorWriter, VectorsThatAreNotCheckedStillGetCodes) {
    Random random;
    for (int i = 0; i < 5000; ++i) {
        Scene scene;
        for (std::size_t block = 1; block < 4; ++block)
            scene.current[block] = mv(random.range(-32768, 32767), random.range(-32768, 32767));
        const int fcode = random.range(1, 7), mask = (32 << fcode) - 1;
        std::array<Qvo8u, 40> bytes = {};
        Qvo8u *end = bytes.data(), *position = end;
        Qvo32s endOffset = 0, offset = 0;
        ASSERT_EQ(qvoStatusOk, scene.encode(&end, &endOffset, fcode, qvoMbInter4V));
        Vectors decoded;
        ASSERT_EQ(qvoStatusOk, scene.decode(&position, &offset, decoded, fcode, qvoMbInter4V));
        // The first of the three has a predictor within the range; the same vector comes out modulo the range.
        ASSERT_EQ(0, (scene.current[1].dx - decoded[1].dx) & mask);
        ASSERT_EQ(0, (scene.current[1].dy - decoded[1].dy) & mask);
    }
}

TEST(VectorWriter, ExportedSteps) {
    for (int fcode = 1; fcode <= 7; ++fcode)
        for (int d = -(64 << (fcode - 1)); d <= 64 << (fcode - 1); ++d) {
            // ISO/IEC 14496-2, 7.6.3, the other way round.
            Qvo32s code, residual;
            ASSERT_EQ(qvoStatusOk, _qvoiscaleMV(&code, &residual, static_cast<Qvo16s>(d), fcode));
            const int f = 1 << (fcode - 1), range = 64 * f;
            ASSERT_TRUE(std::abs(code) <= 32 && residual >= 0 && residual < f);
            const int size = code == 0 ? 0 : (std::abs(code) - 1) * f + residual + 1;
            ASSERT_EQ(0, ((code < 0 ? -size : size) - d) % range) << d;
            ASSERT_TRUE(size < 32 * f || code < 0);
        }
    const QvoMotionVector difference = mv(40, 0);
    expectWritten("000000010011", 7, Stores::words,
                  [&](Qvo8u** p, Qvo32s* o) { return _qvoiSendDiffMV_F1_MPEG4(p, o, &difference); });
    EXPECT_EQ(2, _qvoMVDTAB2[33][0]);
    EXPECT_EQ(3, _qvoMVDTAB2[33][1]);
}

TEST(VectorWriter, RefusesEveryFaultAlike) {
    const auto expectFault = [](const std::function<void(Scene&)>& spoil, int fcode) {
        Scene scene;
        spoil(scene);
        // Faults count for a macroblock that has nothing to write as well.
        for (const Qvo8u flag : {Qvo8u{0}, Qvo8u{1}}) {
            scene.flags.at[0] = flag;
            expectRefused(qvoStatusBadArg, [&](Qvo8u** p, Qvo32s* o) { return scene.encode(p, o, fcode, 0); });
        }
    };
    for (int fcode = 1; fcode <= 7; ++fcode)
        for (const int sign : {-1, 1}) {
            const int bad = sign * ((16 << fcode) + 1);
            expectFault([&](Scene& s) { s.current[0].dx = static_cast<Qvo16s>(bad); }, fcode);
            expectFault([&](Scene& s) { s.current[0].dy = static_cast<Qvo16s>(bad); }, fcode);
            for (int neighbour = 0; neighbour < 3; ++neighbour)
                for (std::size_t block = 0; block < 4; ++block) {
                    expectFault([&](Scene& s) { s.neighbours[neighbour][block].dx = static_cast<Qvo16s>(bad); },
                                fcode);
                    expectFault(
                        [&](Scene& s) {
                            s.neighbours[neighbour][block].dy = static_cast<Qvo16s>(bad);
                            s.neighbourFlags[neighbour] = {};
                        },
                        fcode);
                }
        }
    struct Memory {
        std::array<Qvo8u, 64> bytes = {};
        Qvo8u* position = nullptr;
        Qvo32s offset = 3;
        bool operator==(const Memory&) const = default;
    } m;
    m.position = m.bytes.data();
    const Scene good;
    const Qvo8u* const f = good.flags.at;
    const QvoStatus bad = qvoStatusBadArg;
    expectStatuses(
        m, qvoiEncodeMV_MPEG4_8u16s,
        {&m.position, &m.offset, good.current.data(), nullptr, nullptr, nullptr, f, f, f, f, 1, 0},
        {{bad, {0}, {0, 1}}, {bad, {1}, {0, -1, 8}}, {bad, {2}}, {bad, {6, 7, 8, 9}, {0, 2}}, {bad, {10}, {0, 8}}});
}

}  // namespace
