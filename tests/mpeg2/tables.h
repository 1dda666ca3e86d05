// The DC size and DCT coefficient codes of ISO/IEC 13818-2 (Tables B.12 to B.15), the default intra matrix and the two
// scans, and the code lists made from them.
#ifndef QVOVC_TESTS_MPEG2_TABLES_H
#define QVOVC_TESTS_MPEG2_TABLES_H

#include <string>
#include <vector>

#include "qvovc.h"
#include "support/codes.h"

namespace mpeg2 {

// A coefficient code without its sign bit.
struct PairCode {
    std::string bits;
    int run;
    int level;
};

// Tables B.12 and B.13: the codes of the DC sizes from 0 up, of luminance and chrominance.
inline const std::vector<std::string> tableB12 = {"100",   "00",     "01",      "101",      "110",       "1110",
                                                  "11110", "111110", "1111110", "11111110", "111111110", "111111111"};
inline const std::vector<std::string> tableB13 = {"00",       "01",        "10",         "110",
                                                  "1110",     "11110",     "111110",     "1111110",
                                                  "11111110", "111111110", "1111111110", "1111111111"};

// A table's codes: the end of block, the escape, and those of a text.
inline std::vector<PairCode> pairTable(const char* endOfBlock, const std::string& text) {
    std::vector<PairCode> table = {{endOfBlock, qvoRunEndOfBlock, 0}, {"000001", qvoRunEscape, 0}};
    forEachCode(text, [&](const std::string& bits, int run, int level) { table.push_back({bits, run, level}); });
    return table;
}

// Table B.14, DCT coefficients table zero: the codes of coefficients that are not a block's first.
inline const std::vector<PairCode> tableB14 = pairTable(
    "10",
    "11 0100 00101 0000110 00100110 00100001 0000001010 000000011101 000000011000 000000010011 000000010000 "
    "0000000011010 0000000011001 0000000011000 0000000010111 00000000011111 00000000011110 00000000011101 "
    "00000000011100 00000000011011 00000000011010 00000000011001 00000000011000 00000000010111 00000000010110 "
    "00000000010101 00000000010100 00000000010011 00000000010010 00000000010001 00000000010000 000000000011000 "
    "000000000010111 000000000010110 000000000010101 000000000010100 000000000010011 000000000010010 "
    "000000000010001 000000000010000 / 011 000110 00100101 0000001100 000000011011 0000000010110 0000000010101 "
    "000000000011111 000000000011110 000000000011101 000000000011100 000000000011011 000000000011010 "
    "000000000011001 0000000000010011 0000000000010010 0000000000010001 0000000000010000 / 0101 0000100 "
    "0000001011 000000010100 0000000010100 / 00111 00100100 000000011100 0000000010011 / 00110 0000001111 "
    "000000010010 / 000111 0000001001 0000000010010 / 000101 000000011110 0000000000010100 / 000100 000000010101 "
    "/ 0000111 000000010001 / 0000101 0000000010001 / 00100111 0000000010000 / 00100011 0000000000011010 / "
    "00100010 0000000000011001 / 00100000 0000000000011000 / 0000001110 0000000000010111 / 0000001101 "
    "0000000000010110 / 0000001000 0000000000010101 / 000000011111 / 000000011010 / 000000011001 / 000000010111 / "
    "000000010110 / 0000000011111 / 0000000011110 / 0000000011101 / 0000000011100 / 0000000011011 / "
    "0000000000011111 / 0000000000011110 / 0000000000011101 / 0000000000011100 / 0000000000011011");

// Table B.15, DCT coefficients table one.
inline const std::vector<PairCode> tableB15 = pairTable(
    "0110",
    "10 110 0111 11100 11101 000101 000100 1111011 1111100 00100011 00100010 11111010 11111011 11111110 11111111 "
    "00000000011111 00000000011110 00000000011101 00000000011100 00000000011011 00000000011010 00000000011001 "
    "00000000011000 00000000010111 00000000010110 00000000010101 00000000010100 00000000010011 00000000010010 "
    "00000000010001 00000000010000 000000000011000 000000000010111 000000000010110 000000000010101 "
    "000000000010100 000000000010011 000000000010010 000000000010001 000000000010000 / 010 00110 1111001 00100111 "
    "00100000 0000000010110 0000000010101 000000000011111 000000000011110 000000000011101 000000000011100 "
    "000000000011011 000000000011010 000000000011001 0000000000010011 0000000000010010 0000000000010001 "
    "0000000000010000 / 00101 0000111 11111100 0000001100 0000000010100 / 00111 00100110 000000011100 "
    "0000000010011 / 000110 11111101 000000010010 / 000111 000000100 0000000010010 / 0000110 000000011110 "
    "0000000000010100 / 0000100 000000010101 / 0000101 000000010001 / 1111000 0000000010001 / 1111010 "
    "0000000010000 / 00100001 0000000000011010 / 00100101 0000000000011001 / 00100100 0000000000011000 / "
    "000000101 0000000000010111 / 000000111 0000000000010110 / 0000001101 0000000000010101 / 000000011111 / "
    "000000011010 / 000000011001 / 000000010111 / 000000010110 / 0000000011111 / 0000000011110 / 0000000011101 / "
    "0000000011100 / 0000000011011 / 0000000000011111 / 0000000000011110 / 0000000000011101 / 0000000000011100 / "
    "0000000000011011");

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
    std::size_t left = codes.size();
    for (std::size_t length = 1; left > 0; ++length) {
        const std::size_t count = list.size();
        list.push_back(0);
        for (const ListCode& code : codes) {
            if (code.bits.size() != length) continue;
            ++list[count];
            list.push_back(static_cast<Qvo32s>(std::stoul(code.bits, nullptr, 2)));
            list.insert(list.end(), code.words.begin(), code.words.end());
        }
        left -= static_cast<std::size_t>(list[count]);
    }
    list.push_back(-1);
    return list;
}

// The codes of a DC size table.
inline std::vector<ListCode> sizeCodes(const std::vector<std::string>& table) {
    std::vector<ListCode> codes;
    for (const std::string& bits : table)
        codes.push_back({bits, {static_cast<Qvo32s>(codes.size())}});
    return codes;
}

// The codes of a coefficient table with their sign bits.
inline std::vector<ListCode> pairCodes(const std::vector<PairCode>& table) {
    std::vector<ListCode> codes;
    for (const PairCode& c : table) {
        codes.push_back({c.level == 0 ? c.bits : c.bits + "0", {c.run, c.level}});
        if (c.level != 0) codes.push_back({c.bits + "1", {c.run, -c.level}});
    }
    return codes;
}

inline std::vector<Qvo32s> sizeList(const std::vector<std::string>& table,
                                    const std::vector<Qvo32s>& widths = {5, 5}) {
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

// The same of a writer.
class EncodeTable {
  public:
    explicit EncodeTable(const std::vector<PairCode>& pairs) : EncodeTable(pairList(pairs)) {}
    explicit EncodeTable(const std::vector<Qvo32s>& list) { qvoiCreateRLEncodeTable(list.data(), &table_); }
    EncodeTable(const EncodeTable&) = delete;
    EncodeTable& operator=(const EncodeTable&) = delete;
    ~EncodeTable() { qvoiFreeRLEncodeTable(&table_); }

    operator const QvoRLEncodeTable*() const { return table_; }

  private:
    QvoRLEncodeTable* table_ = nullptr;
};

// Appends bits, given as text or as numbers, to a word stream.
class BitWriter {
  public:
    BitWriter& put(const std::string& bits) {
        text_ += bits;
        return *this;
    }
    BitWriter& put(unsigned value, int length) { return put(binary(value, length)); }
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
