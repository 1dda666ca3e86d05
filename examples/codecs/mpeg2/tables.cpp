#include "mpeg2/tables.h"

#include <algorithm>
#include <initializer_list>
#include <new>
#include <span>
#include <string_view>
#include <vector>

namespace codecs::mpeg2 {

namespace {

// A code as the standard prints it.
struct Code {
    std::string_view bits;
    Qvo32s value;
};

struct RunLevelCode {
    std::string_view bits;  // without the sign bit
    Qvo32s run;
    Qvo32s level;  // 0: the code has no sign bit
};

// clang-format off
constexpr Code addressIncrementCodes[] = {
    {"1", 1}, {"011", 2}, {"010", 3}, {"0011", 4}, {"0010", 5}, {"00011", 6}, {"00010", 7},
    {"0000111", 8}, {"0000110", 9}, {"00001011", 10}, {"00001010", 11}, {"00001001", 12}, {"00001000", 13},
    {"00000111", 14}, {"00000110", 15}, {"0000010111", 16}, {"0000010110", 17}, {"0000010101", 18},
    {"0000010100", 19}, {"0000010011", 20}, {"0000010010", 21}, {"00000100011", 22}, {"00000100010", 23},
    {"00000100001", 24}, {"00000100000", 25}, {"00000011111", 26}, {"00000011110", 27}, {"00000011101", 28},
    {"00000011100", 29}, {"00000011011", 30}, {"00000011010", 31}, {"00000011001", 32}, {"00000011000", 33},
    {"00000001000", addressEscape}, {"00000001111", addressStuffing},
};

constexpr Code intraTypeCodes[] = {{"1", mbIntra}, {"01", mbIntra | mbQuant}};

constexpr Code predictedTypeCodes[] = {
    {"1", mbForward | mbPattern}, {"01", mbPattern}, {"001", mbForward}, {"00011", mbIntra},
    {"00010", mbForward | mbPattern | mbQuant}, {"00001", mbPattern | mbQuant}, {"000001", mbIntra | mbQuant},
};

constexpr Code bidirectionalTypeCodes[] = {
    {"10", mbForward | mbBackward}, {"11", mbForward | mbBackward | mbPattern},
    {"010", mbBackward}, {"011", mbBackward | mbPattern}, {"0010", mbForward}, {"0011", mbForward | mbPattern},
    {"00011", mbIntra}, {"00010", mbForward | mbBackward | mbPattern | mbQuant},
    {"000011", mbForward | mbPattern | mbQuant}, {"000010", mbBackward | mbPattern | mbQuant},
    {"000001", mbIntra | mbQuant},
};

constexpr Code codedBlockPatternCodes[] = {
    {"111", 60}, {"1101", 4}, {"1100", 8}, {"1011", 16}, {"1010", 32},
    {"10011", 12}, {"10010", 48}, {"10001", 20}, {"10000", 40}, {"01111", 28}, {"01110", 44}, {"01101", 52},
    {"01100", 56}, {"01011", 1}, {"01010", 61}, {"01001", 2}, {"01000", 62},
    {"001111", 24}, {"001110", 36}, {"001101", 3}, {"001100", 63},
    {"0010111", 5}, {"0010110", 9}, {"0010101", 17}, {"0010100", 33}, {"0010011", 6}, {"0010010", 10},
    {"0010001", 18}, {"0010000", 34},
    {"00011111", 7}, {"00011110", 11}, {"00011101", 19}, {"00011100", 35}, {"00011011", 13}, {"00011010", 49},
    {"00011001", 21}, {"00011000", 41}, {"00010111", 14}, {"00010110", 50}, {"00010101", 22}, {"00010100", 42},
    {"00010011", 15}, {"00010010", 51}, {"00010001", 23}, {"00010000", 43}, {"00001111", 25}, {"00001110", 37},
    {"00001101", 26}, {"00001100", 38}, {"00001011", 29}, {"00001010", 45}, {"00001001", 53}, {"00001000", 57},
    {"00000111", 30}, {"00000110", 46}, {"00000101", 54}, {"00000100", 58},
    {"000000111", 31}, {"000000110", 47}, {"000000101", 55}, {"000000100", 59}, {"000000011", 27},
    {"000000010", 39},
};

constexpr Code motionCodes[] = {
    {"1", 0}, {"010", 1}, {"011", -1}, {"0010", 2}, {"0011", -2}, {"00010", 3}, {"00011", -3},
    {"0000110", 4}, {"0000111", -4}, {"00001010", 5}, {"00001011", -5}, {"00001000", 6}, {"00001001", -6},
    {"00000110", 7}, {"00000111", -7}, {"0000010110", 8}, {"0000010111", -8}, {"0000010100", 9},
    {"0000010101", -9}, {"0000010010", 10}, {"0000010011", -10}, {"00000100010", 11}, {"00000100011", -11},
    {"00000100000", 12}, {"00000100001", -12}, {"00000011110", 13}, {"00000011111", -13}, {"00000011100", 14},
    {"00000011101", -14}, {"00000011010", 15}, {"00000011011", -15}, {"00000011000", 16}, {"00000011001", -16},
};

constexpr Code dmvectorCodes[] = {{"0", 0}, {"10", 1}, {"11", -1}};

constexpr Code luminanceDcSizeCodes[] = {
    {"00", 1}, {"01", 2}, {"100", 0}, {"101", 3}, {"110", 4}, {"1110", 5}, {"11110", 6}, {"111110", 7},
    {"1111110", 8}, {"11111110", 9}, {"111111110", 10}, {"111111111", 11},
};

constexpr Code chrominanceDcSizeCodes[] = {
    {"00", 0}, {"01", 1}, {"10", 2}, {"110", 3}, {"1110", 4}, {"11110", 5}, {"111110", 6}, {"1111110", 7},
    {"11111110", 8}, {"111111110", 9}, {"1111111110", 10}, {"1111111111", 11},
};

// What tables B.14 and B.15 have in common: the escape and the long codes.
constexpr RunLevelCode commonCoefficientCodes[] = {
    {"000001", runEscape, 0},
    {"000000011100", 3, 3}, {"000000010010", 4, 3}, {"000000011110", 6, 2}, {"000000010101", 7, 2},
    {"000000010001", 8, 2}, {"000000011111", 17, 1}, {"000000011010", 18, 1}, {"000000011001", 19, 1},
    {"000000010111", 20, 1}, {"000000010110", 21, 1},
    {"0000000010110", 1, 6}, {"0000000010101", 1, 7}, {"0000000010100", 2, 5}, {"0000000010011", 3, 4},
    {"0000000010010", 5, 3}, {"0000000010001", 9, 2}, {"0000000010000", 10, 2}, {"0000000011111", 22, 1},
    {"0000000011110", 23, 1}, {"0000000011101", 24, 1}, {"0000000011100", 25, 1}, {"0000000011011", 26, 1},
    {"00000000011111", 0, 16}, {"00000000011110", 0, 17}, {"00000000011101", 0, 18}, {"00000000011100", 0, 19},
    {"00000000011011", 0, 20}, {"00000000011010", 0, 21}, {"00000000011001", 0, 22}, {"00000000011000", 0, 23},
    {"00000000010111", 0, 24}, {"00000000010110", 0, 25}, {"00000000010101", 0, 26}, {"00000000010100", 0, 27},
    {"00000000010011", 0, 28}, {"00000000010010", 0, 29}, {"00000000010001", 0, 30}, {"00000000010000", 0, 31},
    {"000000000011000", 0, 32}, {"000000000010111", 0, 33}, {"000000000010110", 0, 34},
    {"000000000010101", 0, 35}, {"000000000010100", 0, 36}, {"000000000010011", 0, 37},
    {"000000000010010", 0, 38}, {"000000000010001", 0, 39}, {"000000000010000", 0, 40},
    {"000000000011111", 1, 8}, {"000000000011110", 1, 9}, {"000000000011101", 1, 10}, {"000000000011100", 1, 11},
    {"000000000011011", 1, 12}, {"000000000011010", 1, 13}, {"000000000011001", 1, 14},
    {"0000000000010011", 1, 15}, {"0000000000010010", 1, 16}, {"0000000000010001", 1, 17},
    {"0000000000010000", 1, 18}, {"0000000000010100", 6, 3}, {"0000000000011010", 11, 2},
    {"0000000000011001", 12, 2}, {"0000000000011000", 13, 2}, {"0000000000010111", 14, 2},
    {"0000000000010110", 15, 2}, {"0000000000010101", 16, 2}, {"0000000000011111", 27, 1},
    {"0000000000011110", 28, 1}, {"0000000000011101", 29, 1}, {"0000000000011100", 30, 1},
    {"0000000000011011", 31, 1},
};

// Table B.14. The code 1s of a first coefficient is left to the library's non-intra forms; all other codes serve
// first and following coefficients alike.
constexpr RunLevelCode tableZeroCodes[] = {
    {"10", runEndOfBlock, 0},
    {"11", 0, 1}, {"011", 1, 1}, {"0100", 0, 2}, {"0101", 2, 1}, {"00101", 0, 3}, {"00111", 3, 1},
    {"00110", 4, 1}, {"000110", 1, 2}, {"000111", 5, 1}, {"000101", 6, 1}, {"000100", 7, 1}, {"0000110", 0, 4},
    {"0000100", 2, 2}, {"0000111", 8, 1}, {"0000101", 9, 1}, {"00100110", 0, 5}, {"00100001", 0, 6},
    {"00100101", 1, 3}, {"00100100", 3, 2}, {"00100111", 10, 1}, {"00100011", 11, 1}, {"00100010", 12, 1},
    {"00100000", 13, 1}, {"0000001010", 0, 7}, {"0000001100", 1, 4}, {"0000001011", 2, 3}, {"0000001111", 4, 2},
    {"0000001001", 5, 2}, {"0000001110", 14, 1}, {"0000001101", 15, 1}, {"0000001000", 16, 1},
    {"000000011101", 0, 8}, {"000000011000", 0, 9}, {"000000010011", 0, 10}, {"000000010000", 0, 11},
    {"000000011011", 1, 5}, {"000000010100", 2, 4}, {"0000000011010", 0, 12}, {"0000000011001", 0, 13},
    {"0000000011000", 0, 14}, {"0000000010111", 0, 15},
};

// Table B.15.
constexpr RunLevelCode tableOneCodes[] = {
    {"0110", runEndOfBlock, 0},
    {"10", 0, 1}, {"010", 1, 1}, {"110", 0, 2}, {"00101", 2, 1}, {"0111", 0, 3}, {"00111", 3, 1},
    {"000110", 4, 1}, {"00110", 1, 2}, {"000111", 5, 1}, {"0000110", 6, 1}, {"0000100", 7, 1}, {"11100", 0, 4},
    {"0000111", 2, 2}, {"0000101", 8, 1}, {"1111000", 9, 1}, {"11101", 0, 5}, {"000101", 0, 6},
    {"1111001", 1, 3}, {"00100110", 3, 2}, {"1111010", 10, 1}, {"00100001", 11, 1}, {"00100101", 12, 1},
    {"00100100", 13, 1}, {"000100", 0, 7}, {"00100111", 1, 4}, {"11111100", 2, 3}, {"11111101", 4, 2},
    {"000000100", 5, 2}, {"000000101", 14, 1}, {"000000111", 15, 1}, {"0000001101", 16, 1}, {"1111011", 0, 8},
    {"1111100", 0, 9}, {"00100011", 0, 10}, {"00100010", 0, 11}, {"00100000", 1, 5}, {"0000001100", 2, 4},
    {"11111010", 0, 12}, {"11111011", 0, 13}, {"11111110", 0, 14}, {"11111111", 0, 15},
};
// clang-format on

Qvo32s number(std::string_view bits) {
    Qvo32s code = 0;
    for (const char bit : bits)
        code = code * 2 + (bit - '0');
    return code;
}

// A code list in the form the library's builders read: the level widths, then for each code length the number of
// codes and the codes, each followed by its values.
class CodeList {
  public:
    explicit CodeList(std::initializer_list<Qvo32s> widths) : list_{0, static_cast<Qvo32s>(widths.size())} {
        list_.insert(list_.end(), widths);
    }

    void add(std::size_t length, std::initializer_list<Qvo32s> entry) {
        if (byLength_.size() <= length) byLength_.resize(length + 1);
        byLength_[length].emplace_back(entry);
    }

    std::vector<Qvo32s> finish() {
        for (std::size_t length = 1; length < byLength_.size(); ++length) {
            list_.push_back(static_cast<Qvo32s>(byLength_[length].size()));
            for (const auto& entry : byLength_[length])
                list_.insert(list_.end(), entry.begin(), entry.end());
        }
        list_.push_back(-1);
        return std::move(list_);
    }

  private:
    std::vector<Qvo32s> list_;
    std::vector<std::vector<std::vector<Qvo32s>>> byLength_;
};

std::vector<Qvo32s> plainList(std::span<const Code> codes, std::initializer_list<Qvo32s> widths) {
    CodeList list(widths);
    for (const Code& code : codes)
        list.add(code.bits.size(), {number(code.bits), code.value});
    return list.finish();
}

std::vector<Qvo32s> runLevelList(std::span<const RunLevelCode> own) {
    // Eleven bits hold every code up to ten bits with its sign, so that few codes need the second level.
    CodeList list({11, 6});
    for (const auto codes : {own, std::span<const RunLevelCode>(commonCoefficientCodes)}) {
        for (const RunLevelCode& code : codes) {
            const Qvo32s bits = number(code.bits);
            if (code.level == 0) {
                list.add(code.bits.size(), {bits, code.run, 0});
            } else {
                list.add(code.bits.size() + 1, {2 * bits, code.run, code.level});
                list.add(code.bits.size() + 1, {2 * bits + 1, code.run, -code.level});
            }
        }
    }
    return list.finish();
}

VlcTable buildPlain(std::span<const Code> codes, std::initializer_list<Qvo32s> widths) {
    QvoVlcTable* table = nullptr;
    if (qvoiVCHuffmanInitAlloc_32s(plainList(codes, widths).data(), &table) != qvoStatusOk) throw std::bad_alloc();
    return VlcTable(table);
}

VlcTable buildRunLevel(std::span<const RunLevelCode> own) {
    QvoVlcTable* table = nullptr;
    if (qvoiVCHuffmanInitAllocRL_32s(runLevelList(own).data(), &table) != qvoStatusOk) throw std::bad_alloc();
    return VlcTable(table);
}

EncodeTable buildEncodeTable(std::span<const RunLevelCode> own) {
    QvoRLEncodeTable* table = nullptr;
    if (qvoiCreateRLEncodeTable(runLevelList(own).data(), &table) != qvoStatusOk) throw std::bad_alloc();
    return EncodeTable(table);
}

// The codes by value, the lowest value first.
template <std::size_t N>
std::array<CodeBits, N> byValue(std::span<const Code> codes, Qvo32s lowest = 0) {
    std::array<CodeBits, N> result;
    for (const Code& code : codes)
        result[static_cast<std::size_t>(code.value - lowest)] = {number(code.bits),
                                                                 static_cast<Qvo32u>(code.bits.size())};
    return result;
}

CoefficientLengths coefficientLengths(std::span<const RunLevelCode> own) {
    constexpr std::uint8_t escapeLength = 6 + 6 + 12;
    CoefficientLengths lengths{};
    for (auto& levels : lengths.byRunAndLevel)
        levels.fill(escapeLength);
    for (const auto codes : {own, std::span<const RunLevelCode>(commonCoefficientCodes)}) {
        for (const RunLevelCode& code : codes) {
            const auto length = static_cast<std::uint8_t>(code.bits.size());
            if (code.run == runEndOfBlock) lengths.endOfBlock = length;
            if (code.level == 0) continue;
            lengths.byRunAndLevel[static_cast<std::size_t>(code.run)][static_cast<std::size_t>(code.level)] =
                static_cast<std::uint8_t>(length + 1);
        }
    }
    return lengths;
}

constexpr Scan transpose(const Scan& scan) {
    Scan result{};
    for (std::size_t i = 0; i < 64; ++i)
        result[i] = (scan[i] % 8) * 8 + scan[i] / 8;
    return result;
}

constexpr std::array<Qvo16s, 32> linearScale() {
    std::array<Qvo16s, 32> scale{};
    for (std::size_t i = 0; i < 32; ++i)
        scale[i] = static_cast<Qvo16s>(2 * i);
    return scale;
}

}  // namespace

CodeTables::CodeTables()
    : addressIncrement(buildPlain(addressIncrementCodes, {5, 6})),
      macroblockTypes{nullptr, buildPlain(intraTypeCodes, {2}), buildPlain(predictedTypeCodes, {6}),
                      buildPlain(bidirectionalTypeCodes, {6})},
      codedBlockPattern(buildPlain(codedBlockPatternCodes, {9})),
      motionCode(buildPlain(motionCodes, {5, 6})),
      dmvector(buildPlain(dmvectorCodes, {2})),
      dcSize{buildPlain(luminanceDcSizeCodes, {5, 4}), buildPlain(chrominanceDcSizeCodes, {5, 5})},
      coefficients{buildRunLevel(tableZeroCodes), buildRunLevel(tableOneCodes)} {}

const CodeTables& codeTables() {
    static const CodeTables tables;
    return tables;
}

WriteTables::WriteTables()
    : addressIncrement(byValue<36>(addressIncrementCodes)),
      macroblockTypes{
          {{}, byValue<32>(intraTypeCodes), byValue<32>(predictedTypeCodes), byValue<32>(bidirectionalTypeCodes)}},
      codedBlockPattern(byValue<64>(codedBlockPatternCodes)),
      motionCode(byValue<33>(motionCodes, -16)),
      dcSizeLists{plainList(luminanceDcSizeCodes, {9}), plainList(chrominanceDcSizeCodes, {10})},
      dcSize{{byValue<12>(luminanceDcSizeCodes), byValue<12>(chrominanceDcSizeCodes)}},
      coefficients{buildEncodeTable(tableZeroCodes), buildEncodeTable(tableOneCodes)},
      lengths{coefficientLengths(tableZeroCodes), coefficientLengths(tableOneCodes)} {}

const WriteTables& writeTables() {
    static const WriteTables tables;
    return tables;
}

constexpr std::array<Scan, 2> scans = {
    Scan{0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
         41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
         30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63},
    Scan{0,  8,  16, 24, 1,  9,  2,  10, 17, 25, 32, 40, 48, 56, 57, 49, 41, 33, 26, 18, 3,  11,
         4,  12, 19, 27, 34, 42, 50, 58, 35, 43, 51, 59, 20, 28, 5,  13, 6,  14, 21, 29, 36, 44,
         52, 60, 37, 45, 53, 61, 22, 30, 7,  15, 23, 31, 38, 46, 54, 62, 39, 47, 55, 63}};

constexpr std::array<Scan, 2> transposedScans = {transpose(scans[0]), transpose(scans[1])};

constexpr Matrix defaultIntraMatrix = {8,  16, 19, 22, 26, 27, 29, 34, 16, 16, 22, 24, 27, 29, 34, 37,
                                       19, 22, 26, 27, 29, 34, 34, 38, 22, 22, 26, 27, 29, 34, 37, 40,
                                       22, 26, 27, 29, 32, 35, 40, 48, 26, 27, 29, 32, 35, 40, 48, 58,
                                       26, 27, 29, 34, 38, 46, 56, 69, 27, 29, 35, 38, 46, 56, 69, 83};

constexpr Matrix defaultNonIntraMatrix = [] {
    Matrix flat{};
    flat.fill(16);
    return flat;
}();

constexpr std::array<std::array<Qvo16s, 32>, 2> quantiserScales = {
    linearScale(), std::array<Qvo16s, 32>{0,  1,  2,  3,  4,  5,  6,  7,  8,  10, 12, 14, 16, 18, 20,  22,
                                          24, 28, 32, 36, 40, 44, 48, 52, 56, 64, 72, 80, 88, 96, 104, 112}};

}  // namespace codecs::mpeg2
