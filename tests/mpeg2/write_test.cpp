#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "mpeg2/tables.h"
#include "support/guarded.h"
#include "support/random.h"
#include "support/statuses.h"

using namespace mpeg2;

namespace {

// The bits that the standard gives to a run-level pair.
std::string pairBits(const std::vector<PairCode>& pairs, int run, int level) {
    for (const PairCode& c : pairs)
        if (c.run == run && c.level == std::abs(level)) return c.bits + (level < 0 ? "1" : "0");
    return "000001" + binary(run, 6) + binary(level, 12);
}

std::string dcBits(const std::vector<std::string>& sizes, int difference) {
    int size = 0;
    while (std::abs(difference) >> size != 0)
        ++size;
    return sizes[static_cast<std::size_t>(size)] + binary(difference < 0 ? difference - 1 : difference, size);
}

// The bits of a whole block, from its definition.
std::string blockBits(const std::vector<PairCode>& pairs, const Qvo32s* scan, const Qvo16s* levels, bool intra) {
    std::string bits;
    int run = 0;
    for (int i = intra; i < 64; ++i) {
        const int level = levels[scan[i]];
        if (level == 0) {
            ++run;
        } else if (!intra && i == 0 && std::abs(level) == 1) {
            bits += level > 0 ? "10" : "11";
        } else {
            bits += pairBits(pairs, run, level);
            run = 0;
        }
    }
    return bits + pairs.front().bits;
}

Qvo32u countLevels(const Qvo16s* levels, int first) {
    return static_cast<Qvo32u>(64 - first - std::count(levels + first, levels + 64, 0));
}

// Memory full of other bits, into which blocks are written one behind the other.
struct Stream {
    Guarded<Qvo32u> words{300};
    Qvo32u* word = words.data();
    Qvo32u bitsLeft = 32;

    Stream() { std::fill(words.begin(), words.end(), 0xA5A5A5A5u); }
};

// The written bits are those expected, and nothing behind the last partial word is touched.
void expectBits(Stream& stream, const std::string& expected) {
    ASSERT_EQ(expected.size(),
              static_cast<std::size_t>(stream.word - stream.words.data()) * 32 + 32 - stream.bitsLeft);
    std::vector<Qvo32u> words = BitWriter().put(expected).words();
    words.pop_back();
    words.resize(stream.words.size(), 0xA5A5A5A5u);
    if (stream.bitsLeft < 32) *stream.word <<= stream.bitsLeft;
    ASSERT_TRUE(std::equal(words.begin(), words.end(), stream.words.begin()));
}

}  // namespace

// Random blocks of all densities, at any position.
TEST(PutBlock, WritesTheBitsOfTheStandardsTables) {
    Random random(77);
    for (int round = 0; round < 600; ++round) {
        const bool intra = round % 2 == 0;
        const std::vector<PairCode>& pairs = intra && random.chance(50) ? tableB15 : tableB14;
        const std::vector<std::string>& sizes = random.chance(50) ? tableB12 : tableB13;
        const Qvo32s* scan = random.chance(50) ? zigzag : alternateScan;
        const EncodeTable encode(pairs);
        const std::vector<Qvo32s> dcList = sizeList(sizes);

        Stream stream;
        std::string expected(static_cast<std::size_t>(random.range(0, 31)), '1');
        for (std::size_t i = 0; i < expected.size(); ++i)
            qvoiPutBitsLeftMost(&stream.word, &stream.bitsLeft, 1, 1);
        Qvo16s prediction = 100;
        for (int b = 0; b < 4; ++b) {
            Qvo16s levels[64] = {};
            const int density = random.range(2, 95);
            const int highest = random.chance(30) ? 2047 : random.range(1, 45);
            for (Qvo16s& level : levels)
                if (random.chance(density)) level = static_cast<Qvo16s>(random.range(-highest, highest));
            if (intra) {
                levels[0] = static_cast<Qvo16s>(random.range(0, 2047));
                expected += dcBits(sizes, levels[0] - prediction);
                ASSERT_EQ(qvoStatusOk, qvoiPutIntraBlock(&stream.word, &stream.bitsLeft, levels, &prediction,
                                                         dcList.data(), encode, scan, countLevels(levels, 1)));
                ASSERT_EQ(levels[0], prediction);
            } else {
                if (countLevels(levels, 0) == 0) levels[17] = 1;
                ASSERT_EQ(qvoStatusOk, qvoiPutNonIntraBlock(&stream.word, &stream.bitsLeft, levels, encode, scan,
                                                            countLevels(levels, 0)));
            }
            expected += blockBits(pairs, scan, levels, intra);
        }
        expectBits(stream, expected);
    }
}

// Every pair that has a code, and its neighbours that have none.
TEST(PutBlock, EveryPair) {
    const std::vector<Qvo32s> dcList = sizeList(tableB12);
    for (const std::vector<PairCode>* pairs : {&tableB14, &tableB15}) {
        const EncodeTable encode(*pairs);
        for (int run = 0; run < 63; ++run) {
            for (int level = -42; level <= 42; ++level) {
                if (level == 0) continue;
                Qvo16s levels[64] = {}, prediction = 0;
                levels[zigzag[run + 1]] = static_cast<Qvo16s>(level);
                Stream stream;
                ASSERT_EQ(qvoStatusOk, qvoiPutIntraBlock(&stream.word, &stream.bitsLeft, levels, &prediction,
                                                         dcList.data(), encode, zigzag, 1));
                expectBits(stream, "100" + pairBits(*pairs, run, level) + pairs->front().bits);
            }
        }
    }
}

TEST(PutBlock, Statuses) {
    const EncodeTable encode(tableB14);
    const std::vector<Qvo32s> dcList = sizeList(tableB12);
    const Qvo32s* const dc = dcList.data();
    struct Memory {
        std::array<Qvo32u, 8> words = {3, 0xA5A5A5A5u};
        Qvo32u* word = nullptr;
        Qvo32u bitsLeft = 30;
        Qvo16s prediction = 100;
        bool operator==(const Memory&) const = default;
    } m;
    m.word = m.words.data();
    const Memory before = m;
    Qvo16s levels[64] = {100, 3};
    expectStatuses(m, qvoiPutIntraBlock, {&m.word, &m.bitsLeft, levels, &m.prediction, dc, encode, zigzag, 1},
                   {{qvoStatusNullPtr, {0}, {0, 1}}, {qvoStatusNullPtr, {1, 2, 3, 4, 5, 6}}});
    expectStatuses(m, qvoiPutNonIntraBlock, {&m.word, &m.bitsLeft, levels, encode, zigzag, 2},
                   {{qvoStatusNullPtr, {0}, {0, 1}}, {qvoStatusNullPtr, {1, 2, 3, 4}}, {qvoStatusBadArg, {5}}});

    for (const bool intra : {true, false}) {
        const auto expect = [&](QvoStatus status, int first, int second, int last) {
            levels[0] = static_cast<Qvo16s>(first);
            levels[1] = static_cast<Qvo16s>(second);
            levels[63] = static_cast<Qvo16s>(last);
            EXPECT_EQ(status,
                      intra ? qvoiPutIntraBlock(&m.word, &m.bitsLeft, levels, &m.prediction, dc, encode, zigzag, 2)
                            : qvoiPutNonIntraBlock(&m.word, &m.bitsLeft, levels, encode, zigzag, 2));
            EXPECT_EQ(status != qvoStatusOk, m == before) << first << ' ' << second << ' ' << last;
            m = before;
        };
        for (const int level : {2048, -2048, 32767, -32768}) {
            expect(qvoStatusBadArg, 100, level, 0);
            expect(qvoStatusBadArg, 100, 3, level);
        }
        expect(qvoStatusBadArg, 2148, 3, 0);  // a difference of 2048 has 12 bits
        expect(qvoStatusOk, intra ? 2147 : -2047, 2047, -2047);
        if (!intra) expect(qvoStatusBadArg, 0, 0, 0);
    }
}

TEST(RLEncodeTable, Statuses) {
    const std::vector<Qvo32s> list = pairList(tableB14);
    QvoRLEncodeTable* table = nullptr;
    EXPECT_EQ(qvoStatusNullPtr, qvoiCreateRLEncodeTable(nullptr, &table));
    EXPECT_EQ(qvoStatusNullPtr, qvoiCreateRLEncodeTable(list.data(), nullptr));
    for (const Qvo32s missing : {qvoRunEndOfBlock, qvoRunEscape}) {
        std::vector<PairCode> pairs = tableB14;
        pairs.erase(std::find_if(pairs.begin(), pairs.end(), [&](const PairCode& c) { return c.run == missing; }));
        EXPECT_EQ(qvoStatusBadArg, qvoiCreateRLEncodeTable(pairList(pairs).data(), &table));
    }
    EXPECT_EQ(nullptr, table);
    ASSERT_EQ(qvoStatusOk, qvoiCreateRLEncodeTable(list.data(), &table));
    EXPECT_EQ(qvoStatusOk, qvoiFreeRLEncodeTable(&table));
    EXPECT_EQ(nullptr, table);
    EXPECT_EQ(qvoStatusOk, qvoiFreeRLEncodeTable(&table));
    EXPECT_EQ(qvoStatusNullPtr, qvoiFreeRLEncodeTable(nullptr));
}

// Codes that the reconstruction could not read back are written as escapes.
TEST(RLEncodeTable, UnreadableCodes) {
    const std::vector<ListCode> codes = {{"10", {qvoRunEndOfBlock, 0}},
                                         {"000001", {qvoRunEscape, 0}},
                                         {"01", {0, 128}},
                                         {"110", {64, 5}},
                                         {"111", {0, -128}},
                                         {"001", {3, 0}}};
    const EncodeTable table(codeList(codes, {8}));
    const Qvo16s levels[64] = {2, -128, 0, 0, 0, 0, 0, 0, 128};
    Stream stream;
    EXPECT_EQ(qvoStatusOk, qvoiPutNonIntraBlock(&stream.word, &stream.bitsLeft, levels, table, zigzag, 3));
    expectBits(stream, pairBits({}, 0, 2) + "111" + pairBits({}, 0, 128) + "10");
}
