// Motion vectors: decoding and encoding against one another's bits, prediction from a map of the neighbourhood, the rest
// from definitions.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <string>
#include <vector>

#include "mpeg4/bit_stream.h"
#include "mpeg4/motion_codes.h"
#include "mpeg4/written.h"
#include "support/random.h"
#include "support/statuses.h"

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

std::string component(int motionCode, int residual, int fcode) {
    if (motionCode == 0) return motionCodes[0];
    std::string bits = motionCodes[std::abs(motionCode)];
    bits += motionCode < 0 ? '1' : '0';
    for (int i = fcode - 2; i >= 0; --i)
        bits += (residual >> i & 1) ? '1' : '0';
    return bits;
}

// ISO/IEC 14496-2, 7.6.3.
int vectorOf(int predictor, int motionCode, int residual, int fcode) {
    const int f = 1 << (fcode - 1), low = -32 * f, high = 32 * f - 1, range = 64 * f;
    int difference = motionCode;
    if (f != 1 && motionCode != 0) {
        difference = (std::abs(motionCode) - 1) * f + residual + 1;
        if (motionCode < 0) difference = -difference;
    }
    const int sum = static_cast<Qvo16s>(predictor + difference);
    return sum < low ? sum + range : sum > high ? sum - range : sum;
}

// The bits that code a difference, which is taken modulo the range.
std::string differential(int difference, int fcode) {
    const int f = 1 << (fcode - 1);
    while (difference < -32 * f)
        difference += 64 * f;
    while (difference > 32 * f - 1)
        difference -= 64 * f;
    const int a = std::abs(difference);
    const int code = (a + f - 1) / f;
    return component(difference < 0 ? -code : code, (a - 1) & (f - 1), fcode);
}

std::string differential(QvoMotionVector vector, QvoMotionVector predictor, int fcode) {
    return differential(vector.dx - predictor.dx, fcode) + differential(vector.dy - predictor.dy, fcode);
}

// A stream that ends with the fourth byte from the one in which its last code begins, `lastCode` bits from the start.
struct CodeStream : Stream {
    CodeStream(const std::string& bits, int firstBit, std::size_t lastCode, int readable = 4)
        : Stream(bits, firstBit,
                 (firstBit + static_cast<int>(lastCode)) / 8 + readable -
                     (firstBit + static_cast<int>(bits.size()) + 7) / 8) {}
};

// Predictors lie within the range of fcode or anywhere in 16 bits.
TEST(MotionCode, EveryCodeAndResidualAtEveryOffset) {
    Random random;
    for (int fcode = 1; fcode <= 7; ++fcode)
        for (int code = -32; code <= 32; ++code)
            for (int residual = 0; residual < (code == 0 ? 1 : 1 << (fcode - 1)); ++residual) {
                const int otherCode = random.range(-32, 32);
                const int otherResidual = otherCode == 0 ? 0 : random.range(0, (1 << (fcode - 1)) - 1);
                const std::string x = component(code, residual, fcode);
                const std::string y = component(otherCode, otherResidual, fcode);
                const int limit = random.chance(80) ? 16 << fcode : 32768;
                const QvoMotionVector predictor = randomVector(random, -limit, limit - 1);
                QvoMotionVector vector = predictor, zero = mv(0, 0);
                const int offset = (code + residual) & 7;
                QvoStatus status;
                if (residual % 3 == 2) {  // behind a forward vector of two zeros
                    CodeStream s("11" + x + y, offset, 2 + x.size());
                    status = qvoiDecodeMV_BVOP_Interpolate_MPEG4(&s.position, &s.bitOffset, &zero, &vector, 1, fcode);
                    ASSERT_EQ(2 + std::ssize(x + y), s.bitsUsed());
                } else {
                    CodeStream s(x + y, offset, x.size());
                    status = (residual % 3 ? qvoiDecodeMV_BVOP_Forward_MPEG4 : qvoiDecodeMV_BVOP_Backward_MPEG4)(
                        &s.position, &s.bitOffset, &vector, fcode);
                    ASSERT_EQ(std::ssize(x + y), s.bitsUsed());
                }
                ASSERT_EQ(qvoStatusOk, status);
                ASSERT_EQ(mv(vectorOf(predictor.dx, code, residual, fcode),
                             vectorOf(predictor.dy, otherCode, otherResidual, fcode)),
                          vector);
            }
}

// In the first or the second component. The forward vector of a pair stays decoded.
TEST(MotionCode, InvalidCodesLeaveThePositionAndTheVector) {
    const QvoMotionVector predictor = mv(5, -7);
    const Vectors colocated = {};
    const Flags flags;
    const std::string good = differential(mv(3, -4), mv(0, 0), 2);
    for (const char* bad : {"000000000000", "000000000001"})
        for (const std::string before : {"", "1", "0000000011110"})
            for (int start = 0; start < 8; ++start) {
                CodeStream stream(before + bad, start, before.size(), before.empty() ? 3 : 4);
                Vectors forward = {predictor}, backward = {predictor};
                for (const auto decode : {qvoiDecodeMV_BVOP_Forward_MPEG4, qvoiDecodeMV_BVOP_Backward_MPEG4})
                    ASSERT_EQ(qvoStatusMvVlc, decode(&stream.position, &stream.bitOffset, forward.data(), 1));
                ASSERT_EQ(qvoStatusMvVlc,
                          qvoiDecodeMV_BVOP_Direct_MPEG4(&stream.position, &stream.bitOffset, colocated.data(),
                                                         forward.data(), backward.data(), flags.at, 1, 2));
                ASSERT_EQ(0, stream.bitsUsed());
                ASSERT_TRUE(forward == Vectors{predictor} && backward == Vectors{predictor});

                CodeStream pair(good + before + bad, start, good.size() + before.size());
                ASSERT_EQ(qvoStatusMvVlc, qvoiDecodeMV_BVOP_Interpolate_MPEG4(&pair.position, &pair.bitOffset,
                                                                              forward.data(), backward.data(), 2, 1));
                ASSERT_EQ(std::ssize(good), pair.bitsUsed());
                ASSERT_TRUE(forward == Vectors{mv(8, -11)} && backward == Vectors{predictor});
            }
}

// ---- prediction ----

// The 8x8 blocks that a macroblock is predicted from, at their places around its block 0, if they count.
using Blocks = std::map<std::pair<int, int>, QvoMotionVector>;

const std::pair<int, int> places[4][3] = {
    {{-1, 0}, {0, -1}, {2, -1}}, {{0, 0}, {1, -1}, {2, -1}}, {{-1, 1}, {0, 0}, {1, 0}}, {{0, 1}, {0, 0}, {1, 0}}};

std::array<QvoMotionVector, 3> candidatesOf(const Blocks& blocks, int block) {
    std::array<QvoMotionVector, 3> candidates = {};
    for (std::size_t i = 0; i < 3; ++i)
        if (const auto found = blocks.find(places[block][i]); found != blocks.end()) candidates[i] = found->second;
    return candidates;
}

QvoMotionVector predictorOf(const Blocks& blocks, int block) {
    std::vector<QvoMotionVector> present;
    for (const auto& place : places[block])
        if (blocks.count(place) != 0) present.push_back(blocks.at(place));
    if (present.size() == 1) return present[0];
    auto candidates = candidatesOf(blocks, block);
    const auto median = [&](Qvo16s QvoMotionVector::*part) {
        std::sort(candidates.begin(), candidates.end(), [&](auto a, auto b) { return a.*part < b.*part; });
        return candidates[1].*part;
    };
    const Qvo16s dx = median(&QvoMotionVector::dx);
    return {dx, median(&QvoMotionVector::dy)};
}

// A macroblock and its neighbours to the left, above and above to the right, with pseudo-random vectors and flags.
// Those that do not exist may have flags all the same.
struct Scene {
    Vectors neighbours[3], current;
    Flags neighbourFlags[3], currentFlags;
    bool exists[3];

    Scene(Random& random, int range) {
        const auto fill = [&](Vectors& vectors) {
            for (QvoMotionVector& vector : vectors)
                vector = randomVector(random, -range, range - 1);
        };
        fill(current);
        for (int n = 0; n < 3; ++n) {
            fill(neighbours[n]);
            exists[n] = random.chance(80);
            // One flag is enough, and any bit of the word counts.
            for (int i = 0, only = random.range(-2, 3); i < 4; ++i)
                neighbourFlags[n].at[i] = i == only ? 0x80 : 0;
        }
        for (auto& flag : currentFlags.at)
            flag = random.chance(75) ? 255 : 0;
    }

    const QvoMotionVector* vectors(int n) const { return exists[n] ? neighbours[n].data() : nullptr; }

    // What the macroblock's vectors are predicted from.
    Blocks blocks() const {
        Blocks all;
        for (int i = 0; i < 4; ++i) {
            const std::size_t at = static_cast<std::size_t>(i);
            const int x = i % 2, y = i / 2;
            const std::pair<int, int> neighbourPlaces[] = {{x - 2, y}, {x, y - 2}, {x + 2, y - 2}};
            for (int n = 0; n < 3; ++n)
                if (exists[n] && std::count(neighbourFlags[n].at, neighbourFlags[n].at + 4, 0) < 4)
                    all[neighbourPlaces[n]] = neighbours[n][at];
            if (currentFlags.at[i]) all[{x, y}] = current[at];
        }
        return all;
    }

    QvoStatus predict(QvoMotionVector* predictor, QvoMotionVector* candidates, int block) const {
        return qvoiFindMVpred_MPEG4(current.data(), vectors(0), vectors(1), vectors(2), neighbourFlags[0].at,
                                    neighbourFlags[1].at, neighbourFlags[2].at, currentFlags.at, predictor,
                                    candidates, block);
    }
    // The decoder wants vectors of all neighbours.
    QvoStatus decode(Stream& stream, Vectors& vectors, int fcode, int mbType) const {
        Flags flags[3];
        for (int n = 0; n < 3; ++n)
            flags[n] = exists[n] ? neighbourFlags[n] : Flags{{0, 0, 0, 0}};
        return qvoiDecodePadMV_PVOP_MPEG4(&stream.position, &stream.bitOffset, neighbours[0].data(),
                                          neighbours[1].data(), neighbours[2].data(), vectors.data(), flags[0].at,
                                          flags[1].at, flags[2].at, currentFlags.at, fcode, mbType);
    }
    QvoStatus encode(Qvo8u** p, Qvo32s* o, int fcode, int mbType) const {
        return qvoiEncodeMV_MPEG4_8u16s(p, o, current.data(), vectors(0), vectors(1), vectors(2), currentFlags.at,
                                        neighbourFlags[0].at, neighbourFlags[1].at, neighbourFlags[2].at, fcode,
                                        mbType);
    }
};

TEST(FindMVpred, MatchesTheNeighbourhoodForEveryBlockAndAvailability) {
    Random random;
    for (int round = 0; round < 4000; ++round) {
        const Scene scene(random, 64);
        for (int block = 0; block < 4; ++block) {
            QvoMotionVector predictor, predictorAlone;
            std::array<QvoMotionVector, 3> candidates;
            ASSERT_EQ(qvoStatusOk, scene.predict(&predictor, candidates.data(), block));
            ASSERT_EQ(qvoStatusOk, scene.predict(&predictorAlone, nullptr, block));
            ASSERT_EQ(candidatesOf(scene.blocks(), block), candidates);
            ASSERT_EQ(predictorOf(scene.blocks(), block), predictor);
            ASSERT_EQ(predictor, predictorAlone);
        }
    }
}

// ---- P-VOP macroblocks ----

bool hasFourVectors(int mbType) {
    return mbType == qvoMbInter4V || mbType == qvoMbInter4VQ;
}

// The bits of a macroblock's vectors.
struct Coded {
    std::string bits;
    std::vector<std::size_t> blocks;  // that have a vector
    std::vector<std::size_t> begins;  // of the codes, two for each vector

    Coded(const Scene& scene, int fcode, bool four) {
        const Blocks from = scene.blocks();
        for (std::size_t block = 0; block < (four ? 4 : 1); ++block) {
            const QvoMotionVector vector = scene.current[block],
                                  predictor = predictorOf(from, static_cast<int>(block));
            if (four && !scene.currentFlags.at[block]) continue;
            blocks.push_back(block);
            for (const int difference : {vector.dx - predictor.dx, vector.dy - predictor.dy}) {
                begins.push_back(bits.size());
                bits += differential(difference, fcode);
            }
        }
    }
};

// One macroblock in five has a bad code: its vector keeps the predictor, and nothing is filled.
TEST(DecodePadMV, ReadsMacroblocks) {
    Random random;
    for (int round = 0; round < 8000; ++round) {
        const int fcode = random.range(1, 7), mbType = random.range(0, 5);
        const bool four = hasFourVectors(mbType);
        const Scene scene(random, 16 << fcode);
        Coded coded(scene, fcode, four);
        // Blocks that are not decoded start from what they hold.
        Vectors decoded = scene.current, expected = decoded;
        for (const std::size_t block : coded.blocks)
            decoded[block] = mv(999, -999);
        QvoStatus status = qvoStatusOk;
        std::size_t last = coded.begins.empty() ? 0 : coded.begins.back(), used = coded.bits.size();
        if (random.chance(20) && !coded.blocks.empty()) {
            status = qvoStatusMvVlc;
            const auto broken = static_cast<std::size_t>(random.range(0, static_cast<int>(coded.begins.size()) - 1));
            last = coded.begins[broken];
            used = coded.begins[broken - broken % 2];
            coded.bits.replace(last, std::string::npos, "000000000001");
            for (std::size_t i = broken / 2; i < coded.blocks.size(); ++i)
                expected[coded.blocks[i]] = decoded[coded.blocks[i]];
            const std::size_t block = coded.blocks[broken / 2];
            expected[block] = predictorOf(scene.blocks(), static_cast<int>(block));
        } else if (four) {
            ASSERT_EQ(qvoStatusOk, qvoiPadMV_MPEG4(expected.data(), scene.currentFlags.at));
        } else {
            expected.fill(scene.current[0]);
        }
        CodeStream stream(coded.bits, random.range(0, 7), last);
        ASSERT_EQ(status, scene.decode(stream, decoded, fcode, mbType));
        ASSERT_EQ(static_cast<int>(used), stream.bitsUsed());
        ASSERT_EQ(expected, decoded) << "type " << mbType;
    }
}

TEST(PadMV, EachTransparentBlockTakesTheNearestVector) {
    // The blocks whose vectors end up in blocks 0 to 3, by the flags, that of block 0 in the lowest bit. Without any,
    // each block takes its last choice, which may be filled already.
    const char* const expected[16] = {"3223", "0000", "1111", "0101", "2222", "0022", "1122", "0122",
                                      "3333", "0033", "1133", "0133", "2323", "0023", "1123", "0123"};
    const Vectors vectors = {mv(0, 10), mv(1, 11), mv(2, 12), mv(3, 13)};
    for (int flags = 0; flags < 16; ++flags) {
        Vectors filled = vectors;
        Flags words;
        for (int i = 0; i < 4; ++i)
            words.at[i] = static_cast<Qvo8u>((flags >> i & 1) << 4);
        ASSERT_EQ(qvoStatusOk, qvoiPadMV_MPEG4(filled.data(), words.at));
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_EQ(vectors[static_cast<std::size_t>(expected[flags][i] - '0')], filled[i]) << flags << ' ' << i;
    }
}

// ---- writing ----

// The macroblock's first vector and all of the neighbours' must lie within the range, its upper end included, whatever
// the flags are; the others may lie anywhere.
TEST(EncodeMV, WritesMacroblocks) {
    Random random;
    for (int round = 0; round < 8000; ++round) {
        const int fcode = random.range(1, 7), mbType = random.range(0, 5), limit = 16 << fcode;
        Scene scene(random, random.chance(50) ? limit : 16);
        for (std::size_t block = 1; block < 4; ++block)
            if (random.chance(10)) scene.current[block] = randomVector(random, -32768, 32767);
        const int n = random.range(0, 3);
        QvoMotionVector& checked =
            n == 3 ? scene.current[0] : scene.neighbours[n][static_cast<std::size_t>(random.range(0, 3))];
        if (random.chance(20))
            (random.chance(50) ? checked.dx : checked.dy) = mv(random.chance(50) ? limit : -limit, 0).dx;

        const bool four = hasFourVectors(mbType), hasVectors = four || scene.currentFlags.at[0];
        const Coded coded(scene, fcode, four);
        // Each vector stores groups of four bytes from the one that it begins in.
        const std::string bits = hasVectors ? coded.bits : "";
        expectWritten(
            bits, random.range(0, 7), bits.empty() ? Stores::bytes : Stores::words,
            [&](Qvo8u** p, Qvo32s* o) { return scene.encode(p, o, fcode, mbType); },
            bits.empty() ? 0 : coded.begins[coded.begins.size() - 2]);
        if (HasFatalFailure()) FAIL() << "fcode " << fcode << " type " << mbType;

        if (n < 3 && !scene.exists[n]) continue;
        (random.chance(50) ? checked.dx : checked.dy) = mv(random.chance(50) ? limit + 1 : -limit - 1, 0).dx;
        std::array<Qvo8u, 40> bytes = {};
        Qvo8u* position = bytes.data();
        Qvo32s offset = 3;
        ASSERT_EQ(qvoStatusBadArg, scene.encode(&position, &offset, fcode, mbType));
        ASSERT_TRUE(position == bytes.data() && offset == 3 && bytes == decltype(bytes){});
    }
}

TEST(EncodeMV, EveryDifference) {
    for (int fcode = 1; fcode <= 7; ++fcode) {
        const int f = 1 << (fcode - 1);
        for (int d = -96 * f; d <= 96 * f; ++d) {
            const QvoMotionVector difference = mv(d, -d);
            expectWritten(differential(difference, mv(0, 0), fcode), d & 7, Stores::words, [&](Qvo8u** p, Qvo32s* o) {
                return fcode == 1 ? _qvoiSendDiffMV_F1_MPEG4(p, o, &difference)
                                  : _qvoiSendDiffMV_Fn_MPEG4(p, o, &difference, fcode);
            });
            if (HasFatalFailure()) FAIL() << "fcode " << fcode << ' ' << d;

            const int wrappedOnce = d < -32 * f ? d + 64 * f : d > 32 * f - 1 ? d - 64 * f : d;
            Qvo32s code, residual;
            ASSERT_EQ(qvoStatusOk, _qvoiscaleMV(&code, &residual, difference.dx, fcode));
            const int size = code == 0 ? 0 : (std::abs(code) - 1) * f + residual + 1;
            ASSERT_EQ(wrappedOnce, code < 0 ? -size : size) << "fcode " << fcode;
            ASSERT_TRUE(residual >= 0 && residual < f);
        }
    }
}

// ---- B-VOP direct mode ----

TEST(DirectMode, FollowsTheDefinition) {
    Random random;
    for (int round = 0; round < 4000; ++round) {
        const int trd = random.range(1, 30), trb = random.range(1, round % 4 ? trd : 200);
        Vectors colocated, forward, backward;
        for (auto& vector : colocated)
            vector = randomVector(random, -2048, 2047);
        Flags flags;
        const bool opaque = random.chance(80);
        for (int i = 0; i < 4; ++i)
            flags.at[i] = opaque && i == round % 4;

        const auto scaled = [&](int factor, int vector) { return static_cast<int>(double(factor) * vector / trd); };
        const auto expect = [&](QvoMotionVector delta) {
            const auto ahead = [&](int vector, int mvd) { return opaque ? scaled(trb, vector) + mvd : mvd; };
            const auto back = [&](int vector, int mvd) {
                if (!opaque) return mvd;
                return mvd != 0 ? ahead(vector, mvd) - vector : scaled(trb - trd, vector);
            };
            for (std::size_t i = 0; i < 4; ++i) {
                const QvoMotionVector v = colocated[i];
                ASSERT_EQ(mv(ahead(v.dx, delta.dx), ahead(v.dy, delta.dy)), forward[i]);
                ASSERT_EQ(mv(back(v.dx, delta.dx), back(v.dy, delta.dy)), backward[i]);
            }
        };
        const QvoMotionVector delta =
            mv(random.chance(30) ? 0 : random.range(-32, 32), random.chance(30) ? 0 : random.range(-32, 32));
        const std::string x = component(delta.dx, 0, 1), y = component(delta.dy, 0, 1);
        CodeStream stream(x + y, round % 8, x.size());
        ASSERT_EQ(qvoStatusOk, qvoiDecodeMV_BVOP_Direct_MPEG4(&stream.position, &stream.bitOffset, colocated.data(),
                                                              forward.data(), backward.data(), flags.at, trb, trd));
        ASSERT_EQ(std::ssize(x + y), stream.bitsUsed());
        expect(delta);
        ASSERT_EQ(qvoStatusOk, qvoiDecodeMV_BVOP_DirectSkip_MPEG4(colocated.data(), forward.data(), backward.data(),
                                                                  flags.at, trb, trd));
        expect(mv(0, 0));
        if (HasFatalFailure()) return;
    }
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

TEST(ChromaMV, SumsOfOneToFourVectors) {
    // A remainder from the first figure on rounds to one half sample, from the second on to two.
    static const int limits[5][2] = {{1, 4}, {1, 4}, {2, 7}, {3, 10}, {3, 14}};
    Random random;
    for (int round = 0; round < 40000; ++round) {
        const int range = round % 3 ? 70 : 32767;
        Vectors vectors;
        for (auto& vector : vectors)
            vector = randomVector(random, -range - 1, range);
        Flags flags;
        int count = 0, sumX = 0, sumY = 0;
        for (std::size_t i = 0; i < 4; ++i) {
            flags.at[i] = round >> i & 1 ? 2 : 0;
            if (!flags.at[i]) continue;
            ++count;
            sumX += vectors[i].dx;
            sumY += vectors[i].dy;
        }
        const auto chroma = [&](int sum, int n) {
            const int unit = 4 * std::max(n, 1), rest = std::abs(sum) % unit;
            const int a = 2 * (std::abs(sum) / unit) + (rest >= limits[n][0]) + (rest >= limits[n][1]);
            return sum < 0 ? -a : a;
        };
        QvoMotionVector result;
        ASSERT_EQ(qvoStatusOk, qvoiComputeChroma4MV_MPEG4(vectors.data(), &result, flags.at));
        ASSERT_EQ(mv(chroma(sumX, count), chroma(sumY, count)), result) << count << " vectors";
        ASSERT_EQ(qvoStatusOk, qvoiComputeChromaMV_MPEG4(&vectors[0], &result));
        ASSERT_EQ(mv(chroma(vectors[0].dx, 1), chroma(vectors[0].dy, 1)), result);
    }
}

TEST(Vectors, StatusesInTheirOrder) {
    Stream stream(std::string(64, '1'));
    struct Memory {
        Qvo8u* position;
        Qvo32s bitOffset = 0;
        Vectors out = {}, other = {};
        bool operator==(const Memory&) const = default;
    } m = {stream.position};
    Qvo8u** const pp = &m.position;
    Qvo32s* const offset = &m.bitOffset;
    const Vectors in = {};
    const Flags flags;
    const QvoMotionVector* const v = in.data();
    QvoMotionVector *const out = m.out.data(), *const other = m.other.data();
    const Qvo8u* const f = flags.at;
    const Fault noByte{qvoStatusNullPtr, {0}, {0, 1}}, badOffset{qvoStatusBitOffset, {1}, {-1, 8}};
    const auto nulls = [](std::vector<std::size_t> arguments) { return Fault{qvoStatusNullPtr, arguments}; };
    const auto odd = [](std::vector<std::size_t> arguments) {
        return Fault{qvoStatusMisaligned, arguments, {1, 2, 3}};
    };
    const auto fcode = [](std::vector<std::size_t> arguments) {
        return Fault{qvoStatusFcodeRange, arguments, {0, 8}};
    };
    const auto distances = [](std::size_t first) { return Fault{qvoStatusMbCount, {first, first + 1}, {0, -1}}; };

    expectStatuses(m, qvoiDecodePadMV_PVOP_MPEG4, {pp, offset, v, v, v, out, f, f, f, f, 1, 0},
                   {noByte, nulls({1, 2, 3, 4, 5, 6, 7, 8, 9}), badOffset, odd({6, 7, 8, 9}), fcode({10})});
    for (const auto operation : {qvoiDecodeMV_BVOP_Forward_MPEG4, qvoiDecodeMV_BVOP_Backward_MPEG4})
        expectStatuses(m, operation, {pp, offset, out, 1}, {noByte, nulls({1, 2}), badOffset, fcode({3})});
    expectStatuses(m, qvoiDecodeMV_BVOP_Interpolate_MPEG4, {pp, offset, out, other, 1, 1},
                   {noByte, nulls({1, 2, 3}), badOffset, fcode({4, 5})});
    expectStatuses(m, qvoiDecodeMV_BVOP_Direct_MPEG4, {pp, offset, v, out, other, f, 1, 1},
                   {noByte, nulls({1, 2, 3, 4, 5}), badOffset, odd({5}), distances(6)});
    expectStatuses(m, qvoiDecodeMV_BVOP_DirectSkip_MPEG4, {v, out, other, f, 1, 1},
                   {nulls({0, 1, 2, 3}), odd({3}), distances(4)});
    expectStatuses(m, qvoiPadMV_MPEG4, {out, f}, {nulls({0, 1}), odd({1})});
    expectStatuses(m, qvoiFindMVpred_MPEG4, {v, v, nullptr, v, f, f, f, f, out, nullptr, 0},
                   {{qvoStatusBadArg, {0, 4, 5, 6, 7, 8}},
                    {qvoStatusBadArg, {4, 5, 6, 7}, {1, 2, 3}},
                    {qvoStatusBadArg, {10}, {-1, 4}}});
    const QvoStatus bad = qvoStatusBadArg;
    expectStatuses(
        m, qvoiEncodeMV_MPEG4_8u16s, {pp, offset, v, nullptr, nullptr, nullptr, f, f, f, f, 1, 0},
        {{bad, {0}, {0, 1}}, {bad, {1}, {0, -1, 8}}, {bad, {2}}, {bad, {6, 7, 8, 9}, {0, 2}}, {bad, {10}, {0, 8}}});
    expectStatuses(m, qvoiLimitMVToRect_MPEG4, {v, out, 0, 0, 32, 32, 0, 0, 16},
                   {nulls({0, 1}), {qvoStatusBlockSize, {8}, {4, 12}}, {qvoStatusSize, {4, 5}, {31}}});
    expectStatuses(m, qvoiComputeChromaMV_MPEG4, {v, out}, {nulls({0, 1})});
    expectStatuses(m, qvoiComputeChroma4MV_MPEG4, {v, out, f}, {nulls({0, 1, 2}), odd({2})});
}

}  // namespace
