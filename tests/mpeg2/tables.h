// The DC size and DCT coefficient codes of ISO/IEC 13818-2 (Tables B.12 to B.15), the default intra matrix and the two
// scans, and the code lists made from them.
#ifndef QVOVC_TESTS_MPEG2_TABLES_H
#define QVOVC_TESTS_MPEG2_TABLES_H

#include <algorithm>
#include <string>
#include <vector>

#include "qvovc.h"

namespace mpeg2 {

struct SizeCode {
    const char* bits;
    int size;
};

// A coefficient code without its sign bit.
struct PairCode {
    const char* bits;
    int run;
    int level;
};

// Table B.12, luminance.
inline const std::vector<SizeCode> tableB12 = {
    {"100", 0},   {"00", 1},     {"01", 2},      {"101", 3},      {"110", 4},        {"1110", 5},
    {"11110", 6}, {"111110", 7}, {"1111110", 8}, {"11111110", 9}, {"111111110", 10}, {"111111111", 11},
};

// Table B.13, chrominance.
inline const std::vector<SizeCode> tableB13 = {
    {"00", 0},     {"01", 1},      {"10", 2},       {"110", 3},       {"1110", 4},        {"11110", 5},
    {"111110", 6}, {"1111110", 7}, {"11111110", 8}, {"111111110", 9}, {"1111111110", 10}, {"1111111111", 11},
};

// What Tables B.14 and B.15 have in common.
#define QVOVC_PAIRS_OF_BOTH_TABLES                                                                                   \
    {"000001", qvoRunEscape, 0}, {"000000011100", 3, 3}, {"000000010010", 4, 3}, {"000000011110", 6, 2},             \
        {"000000010101", 7, 2}, {"000000010001", 8, 2}, {"000000011111", 17, 1}, {"000000011010", 18, 1},            \
        {"000000011001", 19, 1}, {"000000010111", 20, 1}, {"000000010110", 21, 1}, {"0000000010110", 1, 6},          \
        {"0000000010101", 1, 7}, {"0000000010100", 2, 5}, {"0000000010011", 3, 4}, {"0000000010010", 5, 3},          \
        {"0000000010001", 9, 2}, {"0000000010000", 10, 2}, {"0000000011111", 22, 1}, {"0000000011110", 23, 1},       \
        {"0000000011101", 24, 1}, {"0000000011100", 25, 1}, {"0000000011011", 26, 1}, {"00000000011111", 0, 16},     \
        {"00000000011110", 0, 17}, {"00000000011101", 0, 18}, {"00000000011100", 0, 19}, {"00000000011011", 0, 20},  \
        {"00000000011010", 0, 21}, {"00000000011001", 0, 22}, {"00000000011000", 0, 23}, {"00000000010111", 0, 24},  \
        {"00000000010110", 0, 25}, {"00000000010101", 0, 26}, {"00000000010100", 0, 27}, {"00000000010011", 0, 28},  \
        {"00000000010010", 0, 29}, {"00000000010001", 0, 30}, {"00000000010000", 0, 31}, {"000000000011000", 0, 32}, \
        {"000000000010111", 0, 33}, {"000000000010110", 0, 34}, {"000000000010101", 0, 35},                          \
        {"000000000010100", 0, 36}, {"000000000010011", 0, 37}, {"000000000010010", 0, 38},                          \
        {"000000000010001", 0, 39}, {"000000000010000", 0, 40}, {"000000000011111", 1, 8},                           \
        {"000000000011110", 1, 9}, {"000000000011101", 1, 10}, {"000000000011100", 1, 11},                           \
        {"000000000011011", 1, 12}, {"000000000011010", 1, 13}, {"000000000011001", 1, 14},                          \
        {"0000000000010011", 1, 15}, {"0000000000010010", 1, 16}, {"0000000000010001", 1, 17},                       \
        {"0000000000010000", 1, 18}, {"0000000000010100", 6, 3}, {"0000000000011010", 11, 2},                        \
        {"0000000000011001", 12, 2}, {"0000000000011000", 13, 2}, {"0000000000010111", 14, 2},                       \
        {"0000000000010110", 15, 2}, {"0000000000010101", 16, 2}, {"0000000000011111", 27, 1},                       \
        {"0000000000011110", 28, 1}, {"0000000000011101", 29, 1}, {"0000000000011100", 30, 1}, {                     \
        "0000000000011011", 31, 1                                                                                    \
    }

// Table B.14, DCT coefficients table zero: the codes of coefficients that are not a block's first.
inline const std::vector<PairCode> tableB14 = {
    {"10", qvoRunEndOfBlock, 0},
    QVOVC_PAIRS_OF_BOTH_TABLES,
    {"11", 0, 1},
    {"011", 1, 1},
    {"0100", 0, 2},
    {"0101", 2, 1},
    {"00101", 0, 3},
    {"00111", 3, 1},
    {"00110", 4, 1},
    {"000110", 1, 2},
    {"000111", 5, 1},
    {"000101", 6, 1},
    {"000100", 7, 1},
    {"0000110", 0, 4},
    {"0000100", 2, 2},
    {"0000111", 8, 1},
    {"0000101", 9, 1},
    {"00100110", 0, 5},
    {"00100001", 0, 6},
    {"00100101", 1, 3},
    {"00100100", 3, 2},
    {"00100111", 10, 1},
    {"00100011", 11, 1},
    {"00100010", 12, 1},
    {"00100000", 13, 1},
    {"0000001010", 0, 7},
    {"0000001100", 1, 4},
    {"0000001011", 2, 3},
    {"0000001111", 4, 2},
    {"0000001001", 5, 2},
    {"0000001110", 14, 1},
    {"0000001101", 15, 1},
    {"0000001000", 16, 1},
    {"000000011101", 0, 8},
    {"000000011000", 0, 9},
    {"000000010011", 0, 10},
    {"000000010000", 0, 11},
    {"000000011011", 1, 5},
    {"000000010100", 2, 4},
    {"0000000011010", 0, 12},
    {"0000000011001", 0, 13},
    {"0000000011000", 0, 14},
    {"0000000010111", 0, 15},
};

// Table B.15, DCT coefficients table one.
inline const std::vector<PairCode> tableB15 = {
    {"0110", qvoRunEndOfBlock, 0},
    QVOVC_PAIRS_OF_BOTH_TABLES,
    {"10", 0, 1},
    {"010", 1, 1},
    {"110", 0, 2},
    {"00101", 2, 1},
    {"0111", 0, 3},
    {"00111", 3, 1},
    {"000110", 4, 1},
    {"00110", 1, 2},
    {"000111", 5, 1},
    {"0000110", 6, 1},
    {"0000100", 7, 1},
    {"11100", 0, 4},
    {"0000111", 2, 2},
    {"0000101", 8, 1},
    {"1111000", 9, 1},
    {"11101", 0, 5},
    {"000101", 0, 6},
    {"1111001", 1, 3},
    {"00100110", 3, 2},
    {"1111010", 10, 1},
    {"00100001", 11, 1},
    {"00100101", 12, 1},
    {"00100100", 13, 1},
    {"000100", 0, 7},
    {"00100111", 1, 4},
    {"11111100", 2, 3},
    {"11111101", 4, 2},
    {"000000100", 5, 2},
    {"000000101", 14, 1},
    {"000000111", 15, 1},
    {"0000001101", 16, 1},
    {"1111011", 0, 8},
    {"1111100", 0, 9},
    {"00100011", 0, 10},
    {"00100010", 0, 11},
    {"00100000", 1, 5},
    {"0000001100", 2, 4},
    {"11111010", 0, 12},
    {"11111011", 0, 13},
    {"11111110", 0, 14},
    {"11111111", 0, 15},
};
#undef QVOVC_PAIRS_OF_BOTH_TABLES

// 6.3.11: the default matrix of intra blocks, in raster order.
inline const Qvo16s intraMatrix[64] = {
    8,  16, 19, 22, 26, 27, 29, 34, 16, 16, 22, 24, 27, 29, 34, 37, 19, 22, 26, 27, 29, 34,
    34, 38, 22, 22, 26, 27, 29, 34, 37, 40, 22, 26, 27, 29, 32, 35, 40, 48, 26, 27, 29, 32,
    35, 40, 48, 58, 26, 27, 29, 34, 38, 46, 56, 69, 27, 29, 35, 38, 46, 56, 69, 83,
};

// Figure 7-2: zigzag scan, as block positions.
inline const Qvo32s zigzag[64] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63,
};

// Figure 7-3: alternate scan.
inline const Qvo32s alternateScan[64] = {
    0,  8,  16, 24, 1,  9,  2,  10, 17, 25, 32, 40, 48, 56, 57, 49, 41, 33, 26, 18, 3,  11,
    4,  12, 19, 27, 34, 42, 50, 58, 35, 43, 51, 59, 20, 28, 5,  13, 6,  14, 21, 29, 36, 44,
    52, 60, 37, 45, 53, 61, 22, 30, 7,  15, 23, 31, 38, 46, 54, 62, 39, 47, 55, 63,
};

// One code with its list entry's further words.
struct ListCode {
    std::string bits;
    std::vector<Qvo32s> words;
};

inline std::vector<Qvo32s> codeList(const std::vector<ListCode>& codes, const std::vector<Qvo32s>& widths) {
    std::vector<Qvo32s> list{-1, static_cast<Qvo32s>(widths.size())};
    list.insert(list.end(), widths.begin(), widths.end());
    std::size_t longest = 0;
    for (const ListCode& code : codes)
        longest = std::max(longest, code.bits.size());
    for (std::size_t length = 1; length <= longest; ++length) {
        const std::size_t count = list.size();
        list.push_back(0);
        for (const ListCode& code : codes) {
            if (code.bits.size() != length) continue;
            ++list[count];
            list.push_back(static_cast<Qvo32s>(std::stoul(code.bits, nullptr, 2)));
            list.insert(list.end(), code.words.begin(), code.words.end());
        }
    }
    list.push_back(-1);
    return list;
}

// The codes of a DC size table.
inline std::vector<ListCode> sizeCodes(const std::vector<SizeCode>& table) {
    std::vector<ListCode> codes;
    for (const SizeCode& c : table)
        codes.push_back({c.bits, {c.size}});
    return codes;
}

// The codes of a coefficient table with their sign bits.
inline std::vector<ListCode> pairCodes(const std::vector<PairCode>& table) {
    std::vector<ListCode> codes;
    for (const PairCode& c : table) {
        const std::string bits = c.bits;
        if (c.level == 0) {
            codes.push_back({bits, {c.run, 0}});
        } else {
            codes.push_back({bits + "0", {c.run, c.level}});
            codes.push_back({bits + "1", {c.run, -c.level}});
        }
    }
    return codes;
}

inline std::vector<Qvo32s> sizeList(const std::vector<SizeCode>& table, const std::vector<Qvo32s>& widths = {5, 5}) {
    return codeList(sizeCodes(table), widths);
}

inline std::vector<Qvo32s> pairList(const std::vector<PairCode>& table, const std::vector<Qvo32s>& widths = {8, 9}) {
    return codeList(pairCodes(table), widths);
}

// A decoding table that releases itself.
class Table {
  public:
    static Table plain(const std::vector<Qvo32s>& list) {
        Table t;
        qvoiVCHuffmanInitAlloc_32s(list.data(), &t.table_);
        return t;
    }
    static Table runLevel(const std::vector<Qvo32s>& list) {
        Table t;
        qvoiVCHuffmanInitAllocRL_32s(list.data(), &t.table_);
        return t;
    }
    Table(Table&& other) noexcept : table_(other.table_) { other.table_ = nullptr; }
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    ~Table() { qvoiVCHuffmanFree_32s(&table_); }

    operator const QvoVlcTable*() const { return table_; }

  private:
    Table() = default;
    QvoVlcTable* table_ = nullptr;
};

// Appends bits, given as text or as numbers, to a word stream.
class BitWriter {
  public:
    BitWriter& put(const std::string& bits) {
        text_ += bits;
        return *this;
    }
    BitWriter& put(unsigned value, int length) {
        for (int i = length - 1; i >= 0; --i)
            text_ += (value >> i & 1) ? '1' : '0';
        return *this;
    }
    // The words with one word of slack behind them.
    std::vector<Qvo32u> words() const {
        std::vector<Qvo32u> all((text_.size() + 31) / 32);
        for (std::size_t i = 0; i < text_.size(); ++i) {
            if (text_[i] == '1') all[i / 32] |= 1u << (31 - i % 32);
        }
        all.push_back(0x5A5A5A5A);
        return all;
    }
    std::size_t size() const { return text_.size(); }
    const std::string& text() const { return text_; }

  private:
    std::string text_;
};

// A word-stream reading position.
struct Position {
    Qvo32u* word;
    Qvo32s offset = 31;

    std::size_t bitsFrom(const Qvo32u* start) const {
        return static_cast<std::size_t>(word - start) * 32 + static_cast<std::size_t>(31 - offset);
    }
};

}  // namespace mpeg2

#endif
