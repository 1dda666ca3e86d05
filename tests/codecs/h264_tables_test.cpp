// The CAVLC codes of H.264: every code can be told from the others, and no bits but the known ones are left over.
#include "h264/tables.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace codecs::h264;

template <class Row>
std::vector<std::string> present(const Row& row, std::size_t count) {
    std::vector<std::string> codes;
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_NE(row[i], nullptr);
        if (row[i]) codes.emplace_back(row[i]);
    }
    // Behind them there is nothing.
    for (std::size_t i = count; i < row.size(); ++i)
        EXPECT_EQ(row[i], nullptr);
    return codes;
}

// The codes are prefix-free; `unused` is the part of all 16-bit words that begins with none of them.
void expectCodes(const std::vector<std::string>& codes, int unused) {
    int used = 0;
    for (std::size_t i = 0; i < codes.size(); ++i) {
        used += 1 << (16 - codes[i].size());
        for (std::size_t j = 0; j < codes.size(); ++j)
            EXPECT_FALSE(i != j && codes[j].starts_with(codes[i])) << codes[i] << " " << codes[j];
    }
    EXPECT_EQ((1 << 16) - used, unused);
}

template <class Table>
std::vector<std::string> tokens(const Table& table) {
    std::vector<std::string> codes;
    for (std::size_t total = 0; total < table.size(); ++total)
        for (const std::string& code : present(table[total], std::min<std::size_t>(total, 3) + 1))
            codes.push_back(code);
    return codes;
}

TEST(H264Tables, CoeffTokens) {
    expectCodes(tokens(coeffTokenCodes[0]), 2);
    expectCodes(tokens(coeffTokenCodes[1]), 8);
    expectCodes(tokens(coeffTokenCodes[2]), 64);
    expectCodes(tokens(chromaDcCoeffTokenCodes), 0);
}

TEST(H264Tables, ZerosAndRuns) {
    for (std::size_t i = 0; i < totalZerosCodes.size(); ++i)
        expectCodes(present(totalZerosCodes[i], 16 - i), i == 0 ? 128 : 0);
    for (std::size_t i = 0; i < chromaDcTotalZerosCodes.size(); ++i)
        expectCodes(present(chromaDcTotalZerosCodes[i], 4 - i), 0);
    for (std::size_t i = 0; i < runBeforeCodes.size(); ++i)
        expectCodes(present(runBeforeCodes[i], i < 6 ? i + 2 : 15), i < 6 ? 0 : 32);
}

TEST(H264Tables, Permutations) {
    for (const auto& patterns : codedBlockPatterns) {
        std::uint64_t seen = 0;
        for (const int pattern : patterns)
            seen |= std::uint64_t{1} << pattern;
        EXPECT_EQ(seen, (std::uint64_t{1} << 48) - 1);
    }
    unsigned seen = 0;
    for (const int place : zigzag)
        seen |= 1U << place;
    EXPECT_EQ(seen, 0xFFFFU);
}

}  // namespace
