#include <gtest/gtest.h>

#include <numeric>

#include "mpeg2/reference.h"
#include "support/guarded.h"
#include "support/random.h"
#include "support/statuses.h"

using namespace mpeg2;

namespace {

constexpr Qvo32s invalid = 61681;
constexpr Qvo32s emptyEntry = 0xF0F101;

// A random prefix code for runs and levels: a binary tree some of whose leaves carry no code.
void growCode(Random& random, const std::string& prefix, std::size_t longest, std::vector<ListCode>& codes) {
    const bool split = prefix.size() < 2 || (prefix.size() < longest && random.chance(58));
    if (split) {
        growCode(random, prefix + "0", longest, codes);
        growCode(random, prefix + "1", longest, codes);
    } else if (random.chance(90)) {
        codes.push_back({prefix, {random.range(0, 255)}});  // the run, and the level
        codes.back().words.push_back(random.range(-30000, 30000));
    }
}

}  // namespace

// The typed tables, which the other tests rest on: prefix-free, with no more unused codes than the standard's, and of
// each run with the same levels in both tables.
TEST(CodeTables, MatchTheStandardsShape) {
    const auto space = [](const std::vector<ListCode>& codes) {
        std::vector<std::string> texts;
        for (const ListCode& code : codes)
            texts.push_back(code.bits);
        return codeSpace(texts);
    };
    EXPECT_EQ(1, space(sizeCodes(tableB12)));
    EXPECT_EQ(1, space(sizeCodes(tableB13)));
    EXPECT_EQ(1 - 1.0 / 4096, space(pairCodes(tableB14)));
    EXPECT_EQ(1 - 9.0 / 4096, space(pairCodes(tableB15)));
    const std::vector<int> highest = {40, 18, 5, 4, 3, 3, 3, 2, 2, 2, 2, 2, 2, 2, 2, 2,
                                      2,  1,  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    for (const auto* table : {&tableB14, &tableB15}) {
        std::vector<int> levels(32);
        for (const PairCode& c : *table)
            if (c.level > 0) levels.at(static_cast<std::size_t>(c.run)) = c.level;
        EXPECT_EQ(highest, levels);
    }
}

TEST(VlcTable, WordsOfATable) {
    // Widths 2, 3 and 1. Codes 0, 100 and 1010 (both below 10), 111111 (two levels below 11), and 1100000, which is
    // longer than all levels together: it makes the levels that it goes through but gets no entry.
    const Qvo32s list[] = {99, 3, 2, 3, 1, 1, 0, 5, 0, 1, 4, -6, 1, 10, 7, 0, 1, 63, 8, 1, 96, 9, -1};
    std::vector<Qvo32s> expected(16384, emptyEntry);
    const auto leaf = [](Qvo32s value, Qvo32s unused) { return value * 256 + unused; };
    const auto pointer = [](Qvo32s header) { return header * 256 + 128; };
    expected[0] = 2;
    expected[1] = expected[2] = leaf(5, 1);  // 0.
    expected[3] = pointer(5);                // 10
    expected[4] = pointer(14);               // 11
    expected[5] = 3;
    expected[6] = expected[7] = expected[8] = expected[9] = leaf(-6, 2);  // 10 0..
    expected[10] = expected[11] = leaf(7, 1);                             // 10 10.
    expected[14] = 3;
    expected[15 + 7] = pointer(23);  // 11 111
    expected[23] = 1;
    expected[24 + 1] = leaf(8, 0);   // 11 111 1
    expected[15 + 0] = pointer(26);  // 11 000
    expected[26] = 1;
    QvoVlcTable* table = nullptr;
    ASSERT_EQ(qvoStatusOk, qvoiVCHuffmanInitAlloc_32s(list, &table));
    EXPECT_EQ(expected, std::vector<Qvo32s>(table, table + expected.size()));
    qvoiVCHuffmanFree_32s(&table);

    // Of the run only the low 8 bits count; the level is signed.
    const Qvo32s runLevels[] = {0, 1, 2, 1, 0, 0x105, -300, 1, 2, 254, 0, -1};
    expected.assign(262144, emptyEntry);
    expected[0] = 2;
    expected[1] = expected[2] = -300 * 65536 + 5 * 256 + 1;
    expected[3] = 254 * 256;
    ASSERT_EQ(qvoStatusOk, qvoiVCHuffmanInitAllocRL_32s(runLevels, &table));
    EXPECT_EQ(expected, std::vector<Qvo32s>(table, table + expected.size()));
    qvoiVCHuffmanFree_32s(&table);
}

// Random codes over random bits, beside a reader that goes bit by bit. The stream ends at an unreadable page: no word
// may be touched of which no bit is looked at.
TEST(VlcTable, DecodesLikeABitByBitReader) {
    Random random(31);
    int failures = 0;
    for (int round = 0; round < 60; ++round) {
        std::vector<Qvo32s> widths;
        for (int level = random.range(1, 3); level > 0; --level)
            widths.push_back(random.range(1, 6));
        std::vector<ListCode> codes;
        growCode(random, "", 14, codes);
        const bool runLevel = random.chance(50);
        if (!runLevel)
            for (ListCode& code : codes)
                code.words.erase(code.words.begin());
        const SlowTable slow(codes, widths);
        const std::vector<Qvo32s> list = codeList(codes, widths);
        const Table table = runLevel ? Table::runLevel(list) : Table::plain(list);

        Guarded<Qvo32u> words(40);
        for (Qvo32u& word : words)
            word = random.next();
        const std::vector<Qvo32u> copy(words.begin(), words.end());
        const Qvo32s depth = std::accumulate(widths.begin(), widths.end(), 0);
        BitReader reader(copy, static_cast<std::size_t>(random.range(0, 31)));
        Position position{words.data(), 31 - static_cast<Qvo32s>(reader.position())};
        while (reader.position() + static_cast<std::size_t>(depth) <= 40 * 32) {
            const std::vector<Qvo32s>* expected = slow.read(reader, 0);
            Qvo32s value = -1;
            const QvoStatus status = qvoiVCHuffmanDecodeOne_1u32s(&position.word, &position.offset, &value, table);
            ASSERT_EQ(expected ? qvoStatusOk : qvoStatusVlcError, status);
            ASSERT_EQ(
                !expected ? invalid : expected->back() * (runLevel ? 256 : 1) + (runLevel ? expected->front() : 0),
                value);
            ASSERT_EQ(reader.position(), position.bitsFrom(words.data()));
            failures += expected == nullptr;
        }
    }
    EXPECT_GT(failures, 100);
}

TEST(VlcTable, Statuses) {
    const Qvo32s empty[] = {0, 1, 4, -1};
    for (const auto build : {qvoiVCHuffmanInitAlloc_32s, qvoiVCHuffmanInitAllocRL_32s}) {
        QvoVlcTable* table = nullptr;
        EXPECT_EQ(qvoStatusNullPtr, build(nullptr, &table));
        EXPECT_EQ(nullptr, table);
        EXPECT_EQ(qvoStatusNullPtr, build(empty, nullptr));
        ASSERT_EQ(qvoStatusOk, build(empty, &table));
        EXPECT_EQ(emptyEntry, table[1]);
        EXPECT_EQ(qvoStatusNullPtr, qvoiVCHuffmanFree_32s(nullptr));
        for (int time = 0; time < 2; ++time) {  // there may be none
            EXPECT_EQ(qvoStatusOk, qvoiVCHuffmanFree_32s(&table));
            EXPECT_EQ(nullptr, table);
        }
    }
    struct Memory {
        Qvo32u word = 0;
        Qvo32u* position = nullptr;
        Qvo32s offset = 31, value = 7;
        bool operator==(const Memory&) const = default;
    } m;
    m.position = &m.word;
    const Table table = Table::plain(sizeList(tableB12));
    expectStatuses(m, qvoiVCHuffmanDecodeOne_1u32s, {&m.position, &m.offset, &m.value, table},
                   {{qvoStatusNullPtr, {0}, {0, 1}}, {qvoStatusNullPtr, {3}}});
}
