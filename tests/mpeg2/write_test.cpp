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

struct EncodeTable {
    explicit EncodeTable(const std::vector<PairCode>& pairs) {
        EXPECT_EQ(qvoStatusOk, qvoiCreateRLEncodeTable(pairList(pairs).data(), &table));
    }
    ~EncodeTable() { qvoiFreeRLEncodeTable(&table); }
    EncodeTable(const EncodeTable&) = delete;
    EncodeTable& operator=(const EncodeTable&) = delete;

    QvoRLEncodeTable* table = nullptr;
};

// The bits that the standard gives to a run-level pair.
std::string pairBits(const std::vector<PairCode>& pairs, int run, int level) {
    for (const PairCode& c : pairs) {
        if (c.run == run && c.level == std::abs(level)) return c.bits + std::string(level < 0 ? "1" : "0");
    }
    BitWriter escape;
    escape.put("000001").put(static_cast<unsigned>(run), 6).put(static_cast<unsigned>(level), 12);
    return escape.text();
}

std::string dcBits(const std::vector<SizeCode>& sizes, int difference) {
    int size = 0;
    while (std::abs(difference) >> size)
        ++size;
    for (const SizeCode& c : sizes) {
        if (c.size != size) continue;
        const int bits = difference < 0 ? difference + (1 << size) - 1 : difference;
        return c.bits + BitWriter().put(static_cast<unsigned>(bits), size).text();
    }
    return "";
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

// Writes blocks one behind the other into memory full of other bits, and at the end the last partial word.
struct Stream {
    Guarded<Qvo32u> words{300};
    Qvo32u* word = words.data();
    Qvo32u bitsLeft = 32;

    Stream() { std::fill(words.begin(), words.end(), 0xA5A5A5A5u); }

    std::size_t size() { return static_cast<std::size_t>(word - words.data()) * 32 + 32 - bitsLeft; }
    void finish() {
        if (bitsLeft < 32) *word <<= bitsLeft;
    }
};

// The written bits are those expected, and nothing behind them is touched.
void expectBits(Stream& stream, const std::string& expected) {
    ASSERT_EQ(expected.size(), stream.size());
    std::vector<Qvo32u> words = BitWriter().put(expected).words();
    words.pop_back();
    stream.finish();
    ASSERT_TRUE(std::equal(words.begin(), words.end(), stream.words.begin()));
    const auto untouched = [](Qvo32u word) { return word == 0xA5A5A5A5u; };
    ASSERT_TRUE(std::all_of(stream.words.begin() + words.size(), stream.words.end(), untouched));
}

constexpr Qvo16s prediction0 = 100;

}  // namespace

// Random blocks of all densities through both writers: the bits are those of the standard's tables, and the block
// reconstruction reads the same levels.
TEST(PutBlock, WritesWhatTheReconstructionReads) {
    Random random(77);
    for (int round = 0; round < 600; ++round) {
        const bool intra = round % 2 == 0;
        const std::vector<PairCode>& pairs = intra && random.chance(50) ? tableB15 : tableB14;
        const std::vector<SizeCode>& sizes = random.chance(50) ? tableB12 : tableB13;
        const Qvo32s* scan = random.chance(50) ? zigzag : alternateScan;
        const EncodeTable encode(pairs);
        const std::vector<Qvo32s> dcList = sizeList(sizes);

        Stream stream;
        const std::string lead(static_cast<std::size_t>(random.range(0, 31)), '1');
        for (std::size_t i = 0; i < lead.size(); ++i)
            qvoiPutBitsLeftMost(&stream.word, &stream.bitsLeft, 1, 1);
        std::string expected = lead;
        std::vector<std::vector<Qvo16s>> blocks;
        Qvo16s prediction = prediction0;
        for (int b = 0; b < 4; ++b) {
            std::vector<Qvo16s> levels(64);
            const int density = random.range(2, 95);
            const int highest = random.chance(30) ? 2047 : random.range(1, 45);
            for (Qvo16s& level : levels) {
                if (random.chance(density)) level = static_cast<Qvo16s>(random.range(-highest, highest));
            }
            if (intra) {
                levels[0] = static_cast<Qvo16s>(random.range(0, 2047));
                expected += dcBits(sizes, levels[0] - prediction);
                ASSERT_EQ(qvoStatusOk,
                          qvoiPutIntraBlock(&stream.word, &stream.bitsLeft, levels.data(), &prediction, dcList.data(),
                                            encode.table, scan, countLevels(levels.data(), 1)));
                ASSERT_EQ(levels[0], prediction);
            } else {
                if (countLevels(levels.data(), 0) == 0) levels[17] = 1;
                ASSERT_EQ(qvoStatusOk, qvoiPutNonIntraBlock(&stream.word, &stream.bitsLeft, levels.data(),
                                                            encode.table, scan, countLevels(levels.data(), 0)));
            }
            expected += blockBits(pairs, scan, levels.data(), intra);
            blocks.push_back(levels);
        }
        expectBits(stream, expected);

        const Table ac = Table::runLevel(pairList(pairs));
        const Table dc = Table::plain(dcList);
        Position position{stream.words.data(), 31 - static_cast<Qvo32s>(lead.size())};
        prediction = prediction0;
        for (std::vector<Qvo16s>& levels : blocks) {
            Qvo16s read[64];
            Qvo16s flat[64];
            std::fill_n(flat, 64, Qvo16s{16});
            Qvo32s last;
            // A weight of 16 with scale 1, or non-intra 2 * level + sign over 2, gives the levels themselves.
            ASSERT_EQ(qvoStatusOk,
                      intra ? qvoiReconstructDCTBlockIntra_MPEG2_32s(&position.word, &position.offset, dc, ac, scan,
                                                                     1, flat, &prediction, 0, read, &last)
                            : qvoiReconstructDCTBlock_MPEG2_32s(&position.word, &position.offset, ac, ac, scan, 1,
                                                                nullptr, read, &last));
            read[63] = levels[63];  // subject to mismatch control; the bits themselves are compared above
            ASSERT_TRUE(std::equal(levels.begin(), levels.end(), read));
        }
        ASSERT_EQ(stream.size(), position.bitsFrom(stream.words.data()));
    }
}

// Every pair that has a code, and its neighbours that have none, in every form.
TEST(PutBlock, EveryPair) {
    for (const std::vector<PairCode>* pairs : {&tableB14, &tableB15}) {
        const EncodeTable encode(*pairs);
        const std::vector<Qvo32s> dcList = sizeList(tableB12);
        for (int run = 0; run < 63; ++run) {
            for (int level = -42; level <= 42; ++level) {
                if (level == 0) continue;
                Qvo16s levels[64] = {};
                levels[zigzag[run + 1]] = static_cast<Qvo16s>(level);
                Stream intra;
                Qvo16s prediction = 0;
                ASSERT_EQ(qvoStatusOk, qvoiPutIntraBlock(&intra.word, &intra.bitsLeft, levels, &prediction,
                                                         dcList.data(), encode.table, zigzag, 1));
                expectBits(intra, "100" + pairBits(*pairs, run, level) + pairs->front().bits);
                if (pairs == &tableB15) continue;
                levels[0] = -1;
                Stream nonIntra;
                ASSERT_EQ(qvoStatusOk,
                          qvoiPutNonIntraBlock(&nonIntra.word, &nonIntra.bitsLeft, levels, encode.table, zigzag, 2));
                expectBits(nonIntra, "11" + pairBits(*pairs, run, level) + pairs->front().bits);
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
        Qvo16s prediction = prediction0;
        bool operator==(const Memory&) const = default;
    } m;
    m.word = m.words.data();
    const Memory before = m;
    Qvo16s levels[64] = {100, 3};
    expectStatuses(m, qvoiPutIntraBlock, {&m.word, &m.bitsLeft, levels, &m.prediction, dc, encode.table, zigzag, 1},
                   {{qvoStatusNullPtr, {0}, {0, 1}}, {qvoStatusNullPtr, {1, 2, 3, 4, 5, 6}}});
    expectStatuses(m, qvoiPutNonIntraBlock, {&m.word, &m.bitsLeft, levels, encode.table, zigzag, 2},
                   {{qvoStatusNullPtr, {0}, {0, 1}}, {qvoStatusNullPtr, {1, 2, 3, 4}}, {qvoStatusBadArg, {5}}});

    const auto expect = [&](QvoStatus status, bool intra, std::vector<Qvo16s> first, Qvo32u count) {
        Qvo16s block[64] = {};
        std::copy(first.begin(), first.end(), block);
        EXPECT_EQ(status, intra ? qvoiPutIntraBlock(&m.word, &m.bitsLeft, block, &m.prediction, dc, encode.table,
                                                    zigzag, count)
                                : qvoiPutNonIntraBlock(&m.word, &m.bitsLeft, block, encode.table, zigzag, count));
        EXPECT_EQ(status != qvoStatusOk, m == before) << first[0];
        m = before;
    };
    for (const int level : {2048, -2048, 32767, -32768}) {
        std::vector<Qvo16s> block(64);
        for (const std::size_t at : {1u, 63u}) {
            block = {100, 3};
            block.resize(64);
            block[at] = static_cast<Qvo16s>(level);
            expect(qvoStatusBadArg, true, block, at == 1 ? 1 : 2);
            expect(qvoStatusBadArg, false, block, at == 1 ? 2 : 3);
        }
    }
    expect(qvoStatusBadArg, true, {2148, 3}, 1);  // a difference of 2048 has 12 bits
    expect(qvoStatusBadArg, false, {2148, 3}, 2);
    expect(qvoStatusBadArg, false, {0, 0}, 2);  // more levels announced than there are
    expect(qvoStatusOk, true, {2147, 2047, -2047}, 2);
    expect(qvoStatusOk, false, {-2047, 2047}, 2);
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
    QvoRLEncodeTable* table = nullptr;
    ASSERT_EQ(qvoStatusOk, qvoiCreateRLEncodeTable(codeList(codes, {8}).data(), &table));
    Qvo16s levels[64] = {2, 128, -128};
    Stream stream;
    EXPECT_EQ(qvoStatusOk, qvoiPutNonIntraBlock(&stream.word, &stream.bitsLeft, levels, table, alternateScan, 3));
    expectBits(stream, pairBits({}, 0, 2) + pairBits({}, 3, 128) + pairBits({}, 1, -128) + "10");
    levels[1] = 0;
    levels[2] = 0;
    levels[8] = -128;
    Stream second;
    EXPECT_EQ(qvoStatusOk, qvoiPutNonIntraBlock(&second.word, &second.bitsLeft, levels, table, alternateScan, 2));
    expectBits(second, pairBits({}, 0, 2) + "111" + "10");
    qvoiFreeRLEncodeTable(&table);
}
