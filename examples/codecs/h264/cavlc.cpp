#include "h264/cavlc.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "h264/tables.h"

namespace codecs::h264 {

namespace {

// An entry of a look-up table; length 0 where no code begins like this.
struct Entry {
    std::uint8_t length = 0;
    std::uint8_t value = 0;
};

// Writes an entry wherever the table's index, `bits` bits of the stream, begins with the code.
template <std::size_t size>
void enter(std::array<Entry, size>& table, int bits, const char* code, std::size_t value) {
    const std::size_t length = std::strlen(code);
    std::size_t first = 0;
    for (std::size_t i = 0; i < length; ++i)
        first = 2 * first + static_cast<std::size_t>(code[i] - '0');
    const std::size_t rest = static_cast<std::size_t>(bits) - length;
    const Entry entry = {static_cast<std::uint8_t>(length), static_cast<std::uint8_t>(value)};
    std::fill_n(table.begin() + static_cast<std::ptrdiff_t>(first << rest), std::size_t{1} << rest, entry);
}

// The codes of coeff_token go on for at most three bits behind their first 1, so that the number of zeros before it
// and those three bits are index enough.
constexpr int tokenZeros = 15;
using TokenTable = std::array<Entry, (tokenZeros + 1) * 8>;

void enterToken(TokenTable& table, const char* code, std::size_t value) {
    const char* const one = std::strchr(code, '1');
    const auto zeros = static_cast<std::size_t>(one - code);
    std::array<Entry, 8> tails;
    enter(tails, 3, one + 1, value);
    for (std::size_t i = 0; i < tails.size(); ++i) {
        if (tails[i].length == 0 && one[1] != '\0') continue;
        table[8 * zeros + i] = {static_cast<std::uint8_t>(std::strlen(code)), static_cast<std::uint8_t>(value)};
    }
}

constexpr int totalZerosBits = 9;
constexpr int chromaDcTokenBits = 8;

struct LookUp {
    std::array<TokenTable, 3> tokens = {};
    std::array<Entry, 1 << chromaDcTokenBits> chromaDcTokens = {};
    std::array<std::array<Entry, 1 << totalZerosBits>, 15> totalZeros = {};
    std::array<std::array<Entry, 8>, 3> chromaDcTotalZeros = {};
    std::array<std::array<Entry, 8>, 7> runs = {};

    // Values of tokens are total_coeff << 2 | trailing_ones.
    LookUp() {
        for (std::size_t table = 0; table < tokens.size(); ++table)
            for (std::size_t total = 0; total <= 16; ++total)
                for (std::size_t ones = 0; ones <= std::min<std::size_t>(total, 3); ++ones)
                    enterToken(tokens[table], coeffTokenCodes[table][total][ones], total << 2 | ones);
        for (std::size_t total = 0; total <= 4; ++total)
            for (std::size_t ones = 0; ones <= std::min<std::size_t>(total, 3); ++ones)
                enter(chromaDcTokens, chromaDcTokenBits, chromaDcCoeffTokenCodes[total][ones], total << 2 | ones);
        for (std::size_t i = 0; i < totalZeros.size(); ++i)
            for (std::size_t zeros = 0; zeros <= 15 - i; ++zeros)
                enter(totalZeros[i], totalZerosBits, totalZerosCodes[i][zeros], zeros);
        for (std::size_t i = 0; i < chromaDcTotalZeros.size(); ++i)
            for (std::size_t zeros = 0; zeros <= 3 - i; ++zeros)
                enter(chromaDcTotalZeros[i], 3, chromaDcTotalZerosCodes[i][zeros], zeros);
        // Runs above 6 have longer codes, see readRun.
        for (std::size_t i = 0; i < runs.size(); ++i)
            for (std::size_t run = 0; run <= std::min<std::size_t>(i + 1, 6); ++run)
                enter(runs[i], 3, runBeforeCodes[i][run], run);
    }
};

const LookUp lookUp;

int take(BitReader& bits, Entry entry) {
    if (entry.length == 0) throw Damage{};
    bits.skip(entry.length);
    return entry.value;
}

int readToken(BitReader& bits, int nC) {
    if (nC >= 8) {
        const int code = bits.getInt(6);
        if (code == 3) return 0;
        const int total = (code >> 2) + 1, ones = code & 3;
        if (ones > total) throw Damage{};
        return total << 2 | ones;
    }
    constexpr std::array<std::uint8_t, 8> tables = {0, 0, 1, 1, 2, 2, 2, 2};
    const std::uint32_t next = bits.peek(19);
    const int zeros = std::countl_zero(next) - 13;
    if (zeros > tokenZeros) throw Damage{};
    const std::uint32_t tail = next >> (15 - zeros) & 7;
    const TokenTable& table = lookUp.tokens[tables[static_cast<std::size_t>(nC)]];
    return take(bits, table[static_cast<std::size_t>(8 * zeros) + tail]);
}

// Codes of table 9-10 for more than 6 zeros left: three bits for runs up to 6, then as many zeros as the run less 4,
// and a one.
int readRun(BitReader& bits, int zerosLeft) {
    const auto table = static_cast<std::size_t>(std::min(zerosLeft, 7) - 1);
    const Entry entry = lookUp.runs[table][bits.peek(3)];
    if (entry.length > 0) {
        bits.skip(entry.length);
        return entry.value;
    }
    const int zeros = std::countl_zero(bits.peek(32));
    bits.skip(zeros + 1);
    return zeros + 4;
}

// level_prefix and level_suffix (9.2.2.1); no profile at hand has prefixes above 15.
int readLevelCode(BitReader& bits, int suffixLength) {
    const int prefix = std::countl_zero(bits.peek(32));
    if (prefix > 15) throw Damage{};
    bits.skip(prefix + 1);
    if (prefix < 14) return (prefix << suffixLength) + (suffixLength > 0 ? bits.getInt(suffixLength) : 0);
    if (prefix == 14) {
        const int length = suffixLength == 0 ? 4 : suffixLength;
        return (14 << suffixLength) + bits.getInt(length);
    }
    return (15 << suffixLength) + bits.getInt(12) + (suffixLength == 0 ? 15 : 0);
}

// The non-zero levels, the one at the highest frequency first (9.2.2).
void readLevels(BitReader& bits, int total, int ones, Qvo16s* levels) {
    for (int i = 0; i < ones; ++i)
        levels[i] = bits.flag() ? Qvo16s{-1} : Qvo16s{1};
    int suffixLength = total > 10 && ones < 3 ? 1 : 0;
    for (int i = ones; i < total; ++i) {
        int code = readLevelCode(bits, suffixLength);
        if (i == ones && ones < 3) code += 2;
        const int level = code & 1 ? (-code - 1) >> 1 : (code + 2) >> 1;
        levels[i] = static_cast<Qvo16s>(level);
        if (suffixLength == 0) suffixLength = 1;
        if (std::abs(level) > 3 << (suffixLength - 1) && suffixLength < 6) ++suffixLength;
    }
}

// Places the levels, the last of them `zeros` positions behind the first.
template <class Place>
void spread(BitReader& bits, const Qvo16s* levels, int total, int zeros, Place place) {
    int position = zeros + total - 1;
    for (int i = 0; i < total; ++i) {
        place(position, levels[i]);
        if (zeros > 0 && i + 1 < total) {
            const int run = readRun(bits, zeros);
            if (run > zeros) throw Damage{};
            zeros -= run;
            position -= run;
        }
        --position;
    }
}

}  // namespace

Levels readBlock(BitReader& bits, int nC, int first, Qvo16s* block) {
    const int token = readToken(bits, nC);
    const int total = token >> 2;
    if (total == 0) return {};
    const int most = 16 - first;
    if (total > most) throw Damage{};
    std::array<Qvo16s, 16> levels;
    readLevels(bits, total, token & 3, levels.data());
    int zeros = 0;
    if (total < most) {
        const auto& table = lookUp.totalZeros[static_cast<std::size_t>(total - 1)];
        zeros = take(bits, table[bits.peek(totalZerosBits)]);
        if (total + zeros > most) throw Damage{};
    }
    const std::uint8_t* const scan = zigzag.data() + first;
    spread(bits, levels.data(), total, zeros, [&](int position, Qvo16s level) { block[scan[position]] = level; });
    return {total, first + zeros + total > 1};
}

Levels readChromaDc(BitReader& bits, Qvo16s* block) {
    const int token = take(bits, lookUp.chromaDcTokens[bits.peek(chromaDcTokenBits)]);
    const int total = token >> 2;
    if (total == 0) return {};
    std::array<Qvo16s, 4> levels;
    readLevels(bits, total, token & 3, levels.data());
    int zeros = 0;
    if (total < 4) zeros = take(bits, lookUp.chromaDcTotalZeros[static_cast<std::size_t>(total - 1)][bits.peek(3)]);
    spread(bits, levels.data(), total, zeros, [&](int position, Qvo16s level) { block[position] = level; });
    return {total, zeros + total > 1};
}

}  // namespace codecs::h264
