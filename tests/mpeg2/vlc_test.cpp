#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "mpeg2/reference.h"
#include "support/guarded.h"
#include "support/random.h"
#include "support/statuses.h"

using namespace mpeg2;

namespace {

constexpr Qvo32s invalid = 61681;
constexpr Qvo32s emptyEntry = 0xF0F101;

// A random prefix code: a binary tree some of whose leaves carry no code.
void growCode(Random& random, const std::string& prefix, std::size_t longest, std::vector<ListCode>& codes) {
    const bool split = prefix.size() < 2 || (prefix.size() < longest && random.chance(58));
    if (split) {
        growCode(random, prefix + "0", longest, codes);
        growCode(random, prefix + "1", longest, codes);
    } else if (random.chance(90)) {
        codes.push_back({prefix, {random.range(-30000, 30000)}});
    }
}

double kraftSum(const std::vector<ListCode>& codes) {
    double sum = 0;
    for (const ListCode& code : codes)
        sum += std::ldexp(1.0, -static_cast<int>(code.bits.size()));
    return sum;
}

bool isPrefixFree(const std::vector<ListCode>& codes) {
    for (const ListCode& a : codes) {
        for (const ListCode& b : codes) {
            if (&a != &b && b.bits.compare(0, a.bits.size(), a.bits) == 0) return false;
        }
    }
    return true;
}

}  // namespace

// The typed tables, which the other tests rest on: complete sets of sizes and pairs, prefix-free, and with no more
// unused codes than the standard's.
TEST(CodeTables, MatchTheStandardsShape) {
    for (const auto* table : {&tableB12, &tableB13}) {
        EXPECT_TRUE(isPrefixFree(sizeCodes(*table)));
        EXPECT_EQ(1.0, kraftSum(sizeCodes(*table)));
    }
    EXPECT_TRUE(isPrefixFree(pairCodes(tableB14)));
    EXPECT_TRUE(isPrefixFree(pairCodes(tableB15)));
    EXPECT_EQ(1.0 - 1.0 / 4096, kraftSum(pairCodes(tableB14)));
    EXPECT_EQ(1.0 - 9.0 / 4096, kraftSum(pairCodes(tableB15)));

    // The highest level of each run has to be the same in both tables, and all below it have to be there.
    const int highest[32] = {40, 18, 5, 4, 3, 3, 3, 2, 2, 2, 2, 2, 2, 2, 2, 2,
                             2,  1,  1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    for (const auto* table : {&tableB14, &tableB15}) {
        std::map<std::pair<int, int>, int> seen;
        for (const PairCode& c : *table)
            ++seen[{c.run, c.level}];
        EXPECT_EQ(table->size(), seen.size());
        EXPECT_EQ(static_cast<std::size_t>(std::accumulate(highest, highest + 32, 2)), seen.size());
        for (int run = 0; run < 32; ++run) {
            for (int level = 1; level <= highest[run]; ++level)
                EXPECT_EQ(1, (seen[{run, level}]));
        }
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
        const SlowTable slow(codes, widths);
        const Table table = Table::plain(codeList(codes, widths));

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
            ASSERT_EQ(expected ? expected->front() : invalid, value);
            ASSERT_EQ(reader.position(), position.bitsFrom(words.data()));
            failures += expected == nullptr;
        }
    }
    EXPECT_GT(failures, 100);
}

TEST(VlcTable, CoefficientCodesOfTheStandard) {
    for (const auto* pairs : {&tableB14, &tableB15}) {
        const std::vector<ListCode> codes = pairCodes(*pairs);
        for (const std::vector<Qvo32s>& widths : {std::vector<Qvo32s>{17}, {8, 9}, {5, 4, 8}, {1, 1, 15}}) {
            const Table table = Table::runLevel(codeList(codes, widths));
            BitWriter writer;
            for (const ListCode& code : codes)
                writer.put(code.bits);
            std::vector<Qvo32u> words = writer.words();
            Position position{words.data()};
            for (const ListCode& code : codes) {
                Qvo32s value;
                ASSERT_EQ(qvoStatusOk, qvoiVCHuffmanDecodeOne_1u32s(&position.word, &position.offset, &value, table));
                ASSERT_EQ(code.words[1] * 256 + code.words[0], value);
            }
            ASSERT_EQ(writer.size(), position.bitsFrom(words.data()));
        }
    }
}

TEST(VlcTable, Statuses) {
    const Qvo32s empty[] = {0, 1, 4, -1};
    for (const auto build : {qvoiVCHuffmanInitAlloc_32s, qvoiVCHuffmanInitAllocRL_32s}) {
        QvoVlcTable* table = nullptr;
        EXPECT_EQ(qvoStatusNullPtr, build(nullptr, &table));
        EXPECT_EQ(nullptr, table);
        EXPECT_EQ(qvoStatusNullPtr, build(empty, nullptr));
        ASSERT_EQ(qvoStatusOk, build(empty, &table));
        // A list without codes: every lookup fails.
        Qvo32u word[2] = {0x80000000, 0};
        Qvo32u* position = word;
        Qvo32s offset = 31, value = 7;
        EXPECT_EQ(qvoStatusVlcError, qvoiVCHuffmanDecodeOne_1u32s(&position, &offset, &value, table));
        EXPECT_EQ(invalid, value);
        EXPECT_EQ(27, offset);
        EXPECT_EQ(qvoStatusNullPtr, qvoiVCHuffmanFree_32s(nullptr));
        EXPECT_EQ(qvoStatusOk, qvoiVCHuffmanFree_32s(&table));
        EXPECT_EQ(nullptr, table);
        EXPECT_EQ(qvoStatusOk, qvoiVCHuffmanFree_32s(&table));
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
