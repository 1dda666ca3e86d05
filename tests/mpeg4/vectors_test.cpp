#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <vector>

#include "qvovc.h"
#include "support/guarded.h"
#include "support/random.h"

static bool operator==(QvoMotionVector a, QvoMotionVector b) {
    return a.dx == b.dx && a.dy == b.dy;
}
static std::ostream& operator<<(std::ostream& out, QvoMotionVector v) {
    return out << '(' << v.dx << ", " << v.dy << ')';
}

namespace {

using Vectors = std::array<QvoMotionVector, 4>;

struct Flags {
    alignas(4) Qvo8u at[4] = {1, 1, 1, 1};
};

QvoMotionVector mv(int dx, int dy) {
    return {static_cast<Qvo16s>(dx), static_cast<Qvo16s>(dy)};
}

QvoMotionVector randomVector(Random& random, int low, int high) {
    const int dx = random.range(low, high);
    return mv(dx, random.range(low, high));
}

// ISO/IEC 14496-2 Table B-12, magnitudes 0 to 32, without the sign.
const char* const table[] = {
    "1",           "01",          "001",         "0001",         "000011",      "0000101",     "0000100",
    "0000011",     "000001011",   "000001010",   "000001001",    "0000010001",  "0000010000",  "0000001111",
    "0000001110",  "0000001101",  "0000001100",  "0000001011",   "0000001010",  "0000001001",  "0000001000",
    "0000000111",  "0000000110",  "0000000101",  "0000000100",   "00000000111", "00000000110", "00000000101",
    "00000000100", "00000000011", "00000000010", "000000000011", "000000000010"};

std::string component(int motionCode, int residual, int fcode) {
    if (motionCode == 0) return table[0];
    std::string bits = table[std::abs(motionCode)];
    bits += motionCode < 0 ? '1' : '0';
    for (int i = fcode - 2; i >= 0; --i)
        bits += (residual >> i & 1) ? '1' : '0';
    return bits;
}

// ISO/IEC 14496-2, 7.6.3.
int vectorOf(int predictor, int motionCode, int residual, int fcode) {
    const int f = 1 << (fcode - 1);
    const int low = -32 * f, high = 32 * f - 1, range = 64 * f;
    int difference = motionCode;
    if (f != 1 && motionCode != 0) {
        difference = (std::abs(motionCode) - 1) * f + residual + 1;
        if (motionCode < 0) difference = -difference;
    }
    const int sum = predictor + difference;
    return sum < low ? sum + range : sum > high ? sum - range : sum;
}

// The bits that code a difference, which is taken modulo the range.
std::string differential(int difference, int fcode) {
    const int f = 1 << (fcode - 1);
    if (difference < -32 * f) difference += 64 * f;
    if (difference > 32 * f - 1) difference -= 64 * f;
    const int a = std::abs(difference);
    const int code = (a + f - 1) / f;
    return component(difference < 0 ? -code : code, (a - 1) & (f - 1), fcode);
}

std::string differential(QvoMotionVector vector, QvoMotionVector predictor, int fcode) {
    return differential(vector.dx - predictor.dx, fcode) + differential(vector.dy - predictor.dy, fcode);
}

// A stream that starts at a bit offset and ends at an unreadable page, some bytes from the first of its last code.
struct Stream {
    const int size;
    const int start;
    Guarded<Qvo8u> bytes;
    Qvo8u* position = bytes.data();
    Qvo32s offset = start;

    Stream(const std::string& bits, int firstBit, std::size_t lastCode, std::size_t readable = 4)
        : size(static_cast<int>(bits.size())),
          start(firstBit),
          bytes((static_cast<std::size_t>(firstBit) + lastCode) / 8 + readable) {
        for (std::size_t i = 0, at = static_cast<std::size_t>(start); i < bits.size(); ++i, ++at)
            if (bits[i] == '1') bytes[at / 8] = static_cast<Qvo8u>(bytes[at / 8] | 128 >> at % 8);
    }
    int consumed() { return static_cast<int>(position - bytes.data()) * 8 + offset - start; }
};

TEST(MotionCode, EveryCodeAndResidualAtEveryOffset) {
    Random random;
    for (int fcode = 1; fcode <= 7; ++fcode)
        for (int code = -32; code <= 32; ++code)
            for (int residual = 0; residual < (code == 0 ? 1 : 1 << (fcode - 1)); ++residual) {
                const int otherCode = random.range(-32, 32);
                const int otherResidual = otherCode == 0 ? 0 : random.range(0, (1 << (fcode - 1)) - 1);
                const std::string x = component(code, residual, fcode);
                const std::string y = component(otherCode, otherResidual, fcode);
                const QvoMotionVector predictor = randomVector(random, -(16 << fcode), (16 << fcode) - 1);
                Stream stream(x + y, (code + residual) & 7, x.size());
                QvoMotionVector vector = predictor;
                ASSERT_EQ(qvoStatusOk,
                          qvoiDecodeMV_BVOP_Forward_MPEG4(&stream.position, &stream.offset, &vector, fcode));
                ASSERT_EQ(stream.size, stream.consumed());
                ASSERT_EQ(mv(vectorOf(predictor.dx, code, residual, fcode),
                             vectorOf(predictor.dy, otherCode, otherResidual, fcode)),
                          vector);
            }
}

TEST(MotionCode, InvalidCodesLeaveThePositionAndTheVector) {
    const QvoMotionVector predictor = mv(5, -7);
    for (const char* bad : {"000000000000", "000000000001"})
        for (const std::string before : {"", "1", "0000000011110"})
            for (int start = 0; start < 8; ++start) {
                Stream stream(before + bad, start, before.size(), before.empty() ? 3 : 4);
                QvoMotionVector vector = predictor;
                ASSERT_EQ(qvoStatusMvVlc,
                          qvoiDecodeMV_BVOP_Backward_MPEG4(&stream.position, &stream.offset, &vector, 1));
                ASSERT_EQ(0, stream.consumed());
                ASSERT_EQ(predictor, vector);
            }

    // The forward vector of a pair stays decoded.
    const std::string good = differential(mv(3, -4), mv(0, 0), 2);
    Stream stream(good + "000000000000", 3, good.size());
    QvoMotionVector forward = predictor, backward = predictor;
    EXPECT_EQ(qvoStatusMvVlc,
              qvoiDecodeMV_BVOP_Interpolate_MPEG4(&stream.position, &stream.offset, &forward, &backward, 2, 1));
    EXPECT_EQ(static_cast<int>(good.size()), stream.consumed());
    EXPECT_EQ(mv(8, -11), forward);
    EXPECT_EQ(predictor, backward);
}

TEST(MotionCode, SumsWrapIntoTheRangeOfFcode) {
    const auto decode = [](int predictor, int difference, int fcode) {
        const std::string bits = differential(difference, fcode) + "1";
        Stream stream(bits, 0, bits.size() - 1);
        QvoMotionVector forward = mv(0, 0), backward = mv(predictor, 0);
        const std::string zero = "11";
        Stream both(zero + bits, 5, zero.size() + bits.size() - 1);
        EXPECT_EQ(qvoStatusOk,
                  qvoiDecodeMV_BVOP_Interpolate_MPEG4(&both.position, &both.offset, &forward, &backward, 1, fcode));
        return backward.dx;
    };
    EXPECT_EQ(-32, decode(31, 1, 1));
    EXPECT_EQ(127, decode(-128, -1, 3));
    EXPECT_EQ(-128, decode(-127, -1, 3));
    // A predictor beyond the range is brought back by one range only, and sums are taken in 16 bits.
    EXPECT_EQ(200 + 31 - 64, decode(200, 31, 1));
    EXPECT_EQ(-32768 + 64, decode(32767, 1, 1));
}

// ---- prediction ----

// The 8x8 blocks that a macroblock is predicted from, at their places around its block 0, if they count.
using Blocks = std::map<std::pair<int, int>, QvoMotionVector>;

std::array<QvoMotionVector, 3> candidatesOf(const Blocks& blocks, int block, std::vector<QvoMotionVector>& present) {
    static const std::pair<int, int> places[4][3] = {
        {{-1, 0}, {0, -1}, {2, -1}}, {{0, 0}, {1, -1}, {2, -1}}, {{-1, 1}, {0, 0}, {1, 0}}, {{0, 1}, {0, 0}, {1, 0}}};
    std::array<QvoMotionVector, 3> candidates = {};
    present.clear();
    for (int i = 0; i < 3; ++i) {
        const auto found = blocks.find(places[block][i]);
        if (found == blocks.end()) continue;
        candidates[static_cast<std::size_t>(i)] = found->second;
        present.push_back(found->second);
    }
    return candidates;
}

QvoMotionVector predictorOf(const Blocks& blocks, int block) {
    std::vector<QvoMotionVector> present;
    const auto candidates = candidatesOf(blocks, block, present);
    if (present.size() == 1) return present[0];
    std::array<Qvo16s, 3> x, y;
    for (std::size_t i = 0; i < 3; ++i) {
        x[i] = candidates[i].dx;
        y[i] = candidates[i].dy;
    }
    std::sort(x.begin(), x.end());
    std::sort(y.begin(), y.end());
    return {x[1], y[1]};
}

// A macroblock and its three neighbours with pseudo-random vectors and flags.
struct Scene {
    Vectors left, above, aboveRight, current;
    Flags leftFlags, aboveFlags, aboveRightFlags, currentFlags;

    Scene(Random& random, int range) {
        for (Vectors* vectors : {&left, &above, &aboveRight, &current})
            for (auto& vector : *vectors)
                vector = randomVector(random, -range, range - 1);
        for (Flags* flags : {&leftFlags, &aboveFlags, &aboveRightFlags})
            // One flag is enough, and any bit of the word counts.
            for (int i = 0, only = random.range(-2, 3); i < 4; ++i)
                flags->at[i] = i == only ? 0x80 : 0;
        for (auto& flag : currentFlags.at)
            flag = random.chance(75) ? 255 : 0;
    }

    static bool any(const Flags& flags) {
        return std::any_of(flags.at, flags.at + 4, [](Qvo8u flag) { return flag != 0; });
    }

    // What block `block` is predicted from, if the macroblocks of null pointers do not exist.
    Blocks blocks(bool hasLeft = true, bool hasAbove = true, bool hasAboveRight = true) const {
        Blocks all;
        for (int i = 0; i < 4; ++i) {
            const std::size_t at = static_cast<std::size_t>(i);
            const int x = i % 2, y = i / 2;
            if (hasLeft && any(leftFlags)) all[{x - 2, y}] = left[at];
            if (hasAbove && any(aboveFlags)) all[{x, y - 2}] = above[at];
            if (hasAboveRight && any(aboveRightFlags)) all[{x + 2, y - 2}] = aboveRight[at];
            if (currentFlags.at[i]) all[{x, y}] = current[at];
        }
        return all;
    }
};

TEST(FindMVpred, MatchesTheNeighbourhoodForEveryBlockAndAvailability) {
    Random random;
    for (int round = 0; round < 4000; ++round) {
        const Scene scene(random, 64);
        const bool hasLeft = random.chance(80), hasAbove = random.chance(80), hasAboveRight = random.chance(80);
        const Blocks blocks = scene.blocks(hasLeft, hasAbove, hasAboveRight);
        for (int block = 0; block < 4; ++block) {
            std::vector<QvoMotionVector> present;
            QvoMotionVector predictor, predictorAlone;
            std::array<QvoMotionVector, 3> candidates;
            const auto find = [&](QvoMotionVector* pred, QvoMotionVector* all) {
                return qvoiFindMVpred_MPEG4(scene.current.data(), hasLeft ? scene.left.data() : nullptr,
                                            hasAbove ? scene.above.data() : nullptr,
                                            hasAboveRight ? scene.aboveRight.data() : nullptr, scene.leftFlags.at,
                                            scene.aboveFlags.at, scene.aboveRightFlags.at, scene.currentFlags.at,
                                            pred, all, block);
            };
            ASSERT_EQ(qvoStatusOk, find(&predictor, candidates.data()));
            ASSERT_EQ(qvoStatusOk, find(&predictorAlone, nullptr));
            ASSERT_EQ(candidatesOf(blocks, block, present), candidates);
            ASSERT_EQ(predictorOf(blocks, block), predictor);
            ASSERT_EQ(predictor, predictorAlone);
        }
    }
}

// ---- P-VOP macroblocks ----

QvoStatus decodePVOP(Stream& stream, const Scene& scene, Vectors& current, int fcode, int mbType) {
    return qvoiDecodePadMV_PVOP_MPEG4(&stream.position, &stream.offset, scene.left.data(), scene.above.data(),
                                      scene.aboveRight.data(), current.data(), scene.leftFlags.at,
                                      scene.aboveFlags.at, scene.aboveRightFlags.at, scene.currentFlags.at, fcode,
                                      mbType);
}

TEST(DecodePadMV, ReadsBackWhatAnEncoderWrites) {
    Random random;
    for (int round = 0; round < 4000; ++round) {
        const int fcode = random.range(1, 7);
        const Scene scene(random, 16 << fcode);
        const int mbType = random.range(0, 5);
        const bool four = mbType == 2 || mbType == 5;
        std::string bits;
        std::size_t last = 0;
        for (int block = 0; block < 4; ++block) {
            if (four ? !scene.currentFlags.at[block] : block > 0) continue;
            const QvoMotionVector vector = scene.current[static_cast<std::size_t>(block)];
            const QvoMotionVector predictor = predictorOf(scene.blocks(), block);
            last = bits.size() + differential(vector.dx - predictor.dx, fcode).size();
            bits += differential(vector, predictor, fcode);
        }
        Vectors expected = scene.current;
        if (four)
            ASSERT_EQ(qvoStatusOk, qvoiPadMV_MPEG4(expected.data(), scene.currentFlags.at));
        else
            expected.fill(scene.current[0]);

        // Blocks that are not decoded start from what they hold.
        Vectors decoded = scene.current;
        for (int block = 0; block < 4; ++block)
            if (!four || scene.currentFlags.at[block]) decoded[static_cast<std::size_t>(block)] = mv(999, -999);
        Stream stream(bits, random.range(0, 7), last);
        ASSERT_EQ(qvoStatusOk, decodePVOP(stream, scene, decoded, fcode, mbType));
        ASSERT_EQ(stream.size, stream.consumed());
        ASSERT_EQ(expected, decoded) << "type " << mbType;
    }
}

TEST(DecodePadMV, ABadCodeLeavesThePredictorAndFillsNothing) {
    Random random(3);
    Scene scene(random, 32);
    scene.leftFlags = scene.aboveFlags = scene.aboveRightFlags = scene.currentFlags = Flags();
    scene.currentFlags.at[0] = 0;
    const std::string first = differential(scene.current[1], predictorOf(scene.blocks(), 1), 1);
    const Vectors before = {mv(1, 1), mv(2, 2), mv(3, 3), mv(4, 4)};

    Stream four(first + "1" + "000000000001", 6, first.size() + 1);
    Vectors vectors = before;
    EXPECT_EQ(qvoStatusMvVlc, decodePVOP(four, scene, vectors, 1, qvoMbInter4V));
    EXPECT_EQ(static_cast<int>(first.size()), four.consumed());
    EXPECT_EQ((Vectors{before[0], scene.current[1], predictorOf(scene.blocks(), 2), before[3]}), vectors);

    Stream one("000000000001", 2, 0, 3);
    vectors = before;
    EXPECT_EQ(qvoStatusMvVlc, decodePVOP(one, scene, vectors, 1, 0));
    EXPECT_EQ(0, one.consumed());
    EXPECT_EQ((Vectors{predictorOf(scene.blocks(), 0), before[1], before[2], before[3]}), vectors);
}

TEST(PadMV, EachTransparentBlockTakesTheNearestVector) {
    const Vectors vectors = {mv(0, 10), mv(1, 11), mv(2, 12), mv(3, 13)};
    // The blocks whose vectors end up in blocks 0 to 3, by the flags in binary, block 0 first.
    const std::map<std::string, std::string> expected = {
        {"1111", "0123"},
        {"0111", "1123"},
        {"1011", "0023"},
        {"1101", "0133"},
        {"1110", "0122"},
        {"0011", "2323"},
        {"0101", "1133"},
        {"0110", "1122"},
        {"1001", "0033"},
        {"1010", "0022"},
        {"1100", "0101"},
        {"1000", "0000"},
        {"0100", "1111"},
        {"0010", "2222"},
        {"0001", "3333"},
        // Without any, each takes its last choice, which may be filled already: 3, then 2, then that 2, then 3.
        {"0000", "3223"}};
    ASSERT_EQ(16u, expected.size());
    for (const auto& [flags, sources] : expected) {
        Vectors filled = vectors;
        Flags words;
        for (std::size_t i = 0; i < 4; ++i)
            words.at[i] = flags[i] == '1' ? 0x10 : 0;
        ASSERT_EQ(qvoStatusOk, qvoiPadMV_MPEG4(filled.data(), words.at));
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_EQ(vectors[static_cast<std::size_t>(sources[i] - '0')], filled[i]) << flags << " block " << i;
    }
}

// ---- B-VOP direct mode ----

TEST(DirectMode, FollowsTheDefinition) {
    Random random;
    for (int round = 0; round < 4000; ++round) {
        const int trd = random.range(1, 30), trb = random.range(1, round % 4 ? trd : 200);
        Vectors colocated, forward, backward, skipForward, skipBackward;
        for (auto& vector : colocated)
            vector = randomVector(random, -2048, 2047);
        Flags flags;
        const bool opaque = random.chance(80);
        for (int i = 0; i < 4; ++i)
            flags.at[i] = opaque && i == round % 4;
        const QvoMotionVector delta =
            mv(random.chance(30) ? 0 : random.range(-32, 32), random.chance(30) ? 0 : random.range(-32, 32));
        const std::string x = component(delta.dx, 0, 1), y = component(delta.dy, 0, 1);
        Stream stream(x + y, round % 8, x.size());
        ASSERT_EQ(qvoStatusOk, qvoiDecodeMV_BVOP_Direct_MPEG4(&stream.position, &stream.offset, colocated.data(),
                                                              forward.data(), backward.data(), flags.at, trb, trd));
        ASSERT_EQ(stream.size, stream.consumed());
        ASSERT_EQ(qvoStatusOk, qvoiDecodeMV_BVOP_DirectSkip_MPEG4(colocated.data(), skipForward.data(),
                                                                  skipBackward.data(), flags.at, trb, trd));
        const auto scaled = [&](int factor, int vector) { return static_cast<int>(double(factor) * vector / trd); };
        const auto expectForward = [&](int vector, int mvd) { return opaque ? scaled(trb, vector) + mvd : mvd; };
        const auto expectBackward = [&](int vector, int mvd) {
            if (!opaque) return mvd;
            return mvd != 0 ? expectForward(vector, mvd) - vector : scaled(trb - trd, vector);
        };
        for (std::size_t i = 0; i < 4; ++i) {
            const QvoMotionVector v = colocated[i];
            ASSERT_EQ(mv(expectForward(v.dx, delta.dx), expectForward(v.dy, delta.dy)), forward[i]);
            ASSERT_EQ(mv(expectBackward(v.dx, delta.dx), expectBackward(v.dy, delta.dy)), backward[i]);
            ASSERT_EQ(mv(expectForward(v.dx, 0), expectForward(v.dy, 0)), skipForward[i]);
            ASSERT_EQ(mv(expectBackward(v.dx, 0), expectBackward(v.dy, 0)), skipBackward[i]);
        }
    }
}

TEST(DirectMode, BothDivisionsTruncateAndABadCodeWritesNothing) {
    const Vectors colocated = {mv(3, -3), mv(1, -1), mv(0, 2), mv(5, 7)};
    Vectors forward, backward;
    const Flags flags;
    ASSERT_EQ(qvoStatusOk,
              qvoiDecodeMV_BVOP_DirectSkip_MPEG4(colocated.data(), forward.data(), backward.data(), flags.at, 1, 2));
    EXPECT_EQ((Vectors{mv(1, -1), mv(0, 0), mv(0, 1), mv(2, 3)}), forward);
    EXPECT_EQ((Vectors{mv(-1, 1), mv(0, 0), mv(0, -1), mv(-2, -3)}), backward);

    Stream stream("1000000000001", 4, 1);
    const Vectors before = forward;
    EXPECT_EQ(qvoStatusMvVlc, qvoiDecodeMV_BVOP_Direct_MPEG4(&stream.position, &stream.offset, colocated.data(),
                                                             forward.data(), backward.data(), flags.at, 1, 2));
    EXPECT_EQ(0, stream.consumed());
    EXPECT_EQ(before, forward);
}

// ---- limits and chrominance ----

TEST(LimitMVToRect, KeepsTheBlockInside) {
    Random random;
    for (int round = 0; round < 2000; ++round) {
        const int size = random.chance(50) ? 8 : 16;
        const int rectX = random.range(-40, 40), rectY = random.range(-40, 40);
        const int width = random.range(2 * size, 200), height = random.range(2 * size, 200);
        const int x = random.range(-60, 250), y = random.range(-60, 250);
        QvoMotionVector vector = randomVector(random, -600, 600);
        const QvoMotionVector expected =
            mv(std::clamp<int>(vector.dx, 2 * (rectX - x), 2 * (rectX + width - size - x)),
               std::clamp<int>(vector.dy, 2 * (rectY - y), 2 * (rectY + height - size - y)));
        ASSERT_EQ(qvoStatusOk, qvoiLimitMVToRect_MPEG4(&vector, &vector, rectX, rectY, width, height, x, y, size));
        ASSERT_EQ(expected, vector);
    }
}

TEST(ChromaMV, OneVector) {
    static const int fraction[] = {0, 1, 1, 1};  // of quarter samples in half samples
    for (int v = -32768; v <= 32767; ++v) {
        const int a = std::abs(v), chroma = 2 * (a / 4) + fraction[a % 4];
        const QvoMotionVector luma = mv(v, -(v + 1));
        QvoMotionVector result;
        ASSERT_EQ(qvoStatusOk, qvoiComputeChromaMV_MPEG4(&luma, &result));
        ASSERT_EQ(v < 0 ? -chroma : chroma, result.dx);
        if (v < 32767) {
            const QvoMotionVector next = mv(v + 1, 0);
            QvoMotionVector other;
            qvoiComputeChromaMV_MPEG4(&next, &other);
            ASSERT_EQ(-other.dx, result.dy);
        }
    }
}

TEST(ChromaMV, SumsOfOneToFourVectors) {
    // A remainder from the first figure on rounds to one half sample, from the second on to two.
    static const int limits[5][2] = {{1, 4}, {1, 4}, {2, 7}, {3, 10}, {3, 14}};
    Random random;
    for (int round = 0; round < 20000; ++round) {
        Vectors vectors;
        for (auto& vector : vectors)
            vector = randomVector(random, -70, 70);
        Flags flags;
        int count = 0, sumX = 0, sumY = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            flags.at[i] = round >> i & 1 ? 2 : 0;
            if (!flags.at[i]) continue;
            ++count;
            sumX += vectors[i].dx;
            sumY += vectors[i].dy;
        }
        const auto chroma = [&](int sum) {
            const int unit = 4 * std::max(count, 1), rest = std::abs(sum) % unit;
            const int a = 2 * (std::abs(sum) / unit) + (rest >= limits[count][0]) + (rest >= limits[count][1]);
            return sum < 0 ? -a : a;
        };
        QvoMotionVector result;
        ASSERT_EQ(qvoStatusOk, qvoiComputeChroma4MV_MPEG4(vectors.data(), &result, flags.at));
        ASSERT_EQ(mv(chroma(sumX), chroma(sumY)), result) << count << " vectors";
    }
}

// ---- statuses ----

// Arguments that are all valid; each check spoils some and calls an operation again.
struct Arguments {
    Qvo8u bytes[8] = {0xFF, 0xFF, 0xFF, 0xFF};
    Qvo8u* stream = bytes;
    Qvo32s offset = 0;
    Qvo8u** ppStream = &stream;
    Qvo32s* pOffset = &offset;
    Vectors vectors[4] = {};
    const QvoMotionVector* left = vectors[0].data();
    const QvoMotionVector* above = vectors[1].data();
    const QvoMotionVector* aboveRight = vectors[2].data();
    QvoMotionVector* out = vectors[3].data();
    QvoMotionVector other[4] = {};
    QvoMotionVector* out2 = other;
    alignas(4) Qvo8u flagBytes[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    const Qvo8u* flags[4] = {flagBytes, flagBytes, flagBytes, flagBytes};
    int fcode = 1, fcode2 = 1, trb = 1, trd = 1, width = 32, height = 32, size = 16, block = 0;

    Arguments() = default;
    Arguments(const Arguments&) = delete;

    QvoStatus pvop() {
        return qvoiDecodePadMV_PVOP_MPEG4(ppStream, pOffset, left, above, aboveRight, out, flags[0], flags[1],
                                          flags[2], flags[3], fcode, 0);
    }
    QvoStatus forward() { return qvoiDecodeMV_BVOP_Forward_MPEG4(ppStream, pOffset, out, fcode); }
    QvoStatus backward() { return qvoiDecodeMV_BVOP_Backward_MPEG4(ppStream, pOffset, out, fcode); }
    QvoStatus interpolate() {
        return qvoiDecodeMV_BVOP_Interpolate_MPEG4(ppStream, pOffset, out, out2, fcode, fcode2);
    }
    QvoStatus direct() {
        return qvoiDecodeMV_BVOP_Direct_MPEG4(ppStream, pOffset, left, out, out2, flags[0], trb, trd);
    }
    QvoStatus skip() { return qvoiDecodeMV_BVOP_DirectSkip_MPEG4(left, out, out2, flags[0], trb, trd); }
    QvoStatus pad() { return qvoiPadMV_MPEG4(out, flags[0]); }
    QvoStatus find() {
        return qvoiFindMVpred_MPEG4(left, above, aboveRight, nullptr, flags[0], flags[1], flags[2], flags[3], out,
                                    nullptr, block);
    }
    QvoStatus limit() { return qvoiLimitMVToRect_MPEG4(left, out, 0, 0, width, height, 0, 0, size); }
    QvoStatus chroma() { return qvoiComputeChromaMV_MPEG4(left, out); }
    QvoStatus chroma4() { return qvoiComputeChroma4MV_MPEG4(left, out, flags[0]); }
};

using Call = QvoStatus (Arguments::*)();
using Fault = void (*)(Arguments&);

// Each fault alone gives the status, and so it does together with every fault of a later group.
struct FaultGroup {
    QvoStatus status;
    std::vector<Fault> faults;
};

void expectStatuses(const char* name, Call call, const std::vector<FaultGroup>& groups) {
    {
        Arguments valid;
        EXPECT_EQ(qvoStatusOk, (valid.*call)()) << name;
    }
    for (std::size_t group = 0; group < groups.size(); ++group)
        for (std::size_t i = 0; i < groups[group].faults.size(); ++i) {
            Arguments spoilt;
            for (QvoMotionVector* v : {spoilt.vectors[3].data(), spoilt.other})
                std::fill_n(v, 4, mv(77, -77));
            for (std::size_t later = groups.size(); --later > group;)
                for (const Fault fault : groups[later].faults)
                    fault(spoilt);
            groups[group].faults[i](spoilt);
            EXPECT_EQ(groups[group].status, (spoilt.*call)()) << name << ": fault " << i << " of " << group;
            for (int k = 0; k < 4; ++k) {
                EXPECT_EQ(mv(77, -77), spoilt.vectors[3][static_cast<std::size_t>(k)]) << name;
                EXPECT_EQ(mv(77, -77), spoilt.other[k]) << name;
            }
            EXPECT_TRUE(spoilt.stream == nullptr || spoilt.stream == spoilt.bytes) << name;
        }
}

TEST(Vectors, StatusesInTheirOrder) {
    const Fault noStream = [](Arguments& a) { a.ppStream = nullptr; };
    const Fault noByte = [](Arguments& a) { a.stream = nullptr; };
    const Fault noOffset = [](Arguments& a) { a.pOffset = nullptr; };
    const Fault noLeft = [](Arguments& a) { a.left = nullptr; };
    const Fault noAbove = [](Arguments& a) { a.above = nullptr; };
    const Fault noAboveRight = [](Arguments& a) { a.aboveRight = nullptr; };
    const Fault noOut = [](Arguments& a) { a.out = nullptr; };
    const Fault noOut2 = [](Arguments& a) { a.out2 = nullptr; };
    const std::vector<Fault> noFlags = {
        [](Arguments& a) { a.flags[0] = nullptr; }, [](Arguments& a) { a.flags[1] = nullptr; },
        [](Arguments& a) { a.flags[2] = nullptr; }, [](Arguments& a) { a.flags[3] = nullptr; }};
    const std::vector<Fault> oddFlags = {
        [](Arguments& a) { a.flags[0] = a.flagBytes + 1; }, [](Arguments& a) { a.flags[1] = a.flagBytes + 2; },
        [](Arguments& a) { a.flags[2] = a.flagBytes + 3; }, [](Arguments& a) { a.flags[3] = a.flagBytes + 2; }};
    const FaultGroup offset = {qvoStatusBitOffset,
                               {[](Arguments& a) { a.offset = -1; }, [](Arguments& a) { a.offset = 8; }}};
    const FaultGroup oddFlag = {qvoStatusMisaligned, {oddFlags[0]}};
    const FaultGroup fcode = {qvoStatusFcodeRange,
                              {[](Arguments& a) { a.fcode = 0; }, [](Arguments& a) { a.fcode = 8; }}};
    const FaultGroup distance = {qvoStatusMbCount,
                                 {[](Arguments& a) { a.trb = 0; }, [](Arguments& a) { a.trd = -1; }}};

    expectStatuses("P-VOP", &Arguments::pvop,
                   {{qvoStatusNullPtr,
                     {noStream, noByte, noOffset, noLeft, noAbove, noAboveRight, noOut, noFlags[0], noFlags[1],
                      noFlags[2], noFlags[3]}},
                    offset,
                    {qvoStatusMisaligned, oddFlags},
                    fcode});
    for (const Call call : {&Arguments::forward, &Arguments::backward})
        expectStatuses("forward, backward", call,
                       {{qvoStatusNullPtr, {noStream, noByte, noOffset, noOut}}, offset, fcode});
    expectStatuses("interpolate", &Arguments::interpolate,
                   {{qvoStatusNullPtr, {noStream, noByte, noOffset, noOut, noOut2}},
                    offset,
                    fcode,
                    {qvoStatusFcodeRange, {[](Arguments& a) { a.fcode2 = 0; }, [](Arguments& a) { a.fcode2 = 8; }}}});
    expectStatuses("direct", &Arguments::direct,
                   {{qvoStatusNullPtr, {noStream, noByte, noOffset, noLeft, noOut, noOut2, noFlags[0]}},
                    offset,
                    oddFlag,
                    distance});
    expectStatuses("skip", &Arguments::skip,
                   {{qvoStatusNullPtr, {noLeft, noOut, noOut2, noFlags[0]}}, oddFlag, distance});
    expectStatuses("pad", &Arguments::pad, {{qvoStatusNullPtr, {noOut, noFlags[0]}}, oddFlag});
    std::vector<Fault> findFaults = {noLeft, noOut, [](Arguments& a) { a.block = -1; },
                                     [](Arguments& a) { a.block = 4; }};
    findFaults.insert(findFaults.end(), noFlags.begin(), noFlags.end());
    findFaults.insert(findFaults.end(), oddFlags.begin(), oddFlags.end());
    expectStatuses("find", &Arguments::find, {{qvoStatusBadArg, findFaults}});
    expectStatuses("limit", &Arguments::limit,
                   {{qvoStatusNullPtr, {noLeft, noOut}},
                    {qvoStatusBlockSize, {[](Arguments& a) { a.size = 4; }, [](Arguments& a) { a.size = 12; }}},
                    {qvoStatusSize, {[](Arguments& a) { a.width = 31; }, [](Arguments& a) { a.height = 31; }}}});
    expectStatuses("chroma", &Arguments::chroma, {{qvoStatusNullPtr, {noLeft, noOut}}});
    expectStatuses("chroma4", &Arguments::chroma4, {{qvoStatusNullPtr, {noLeft, noOut, noFlags[0]}}, oddFlag});
}

}  // namespace
