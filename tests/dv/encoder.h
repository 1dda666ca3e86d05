// Writes video segments of DV (SMPTE 314M, 5.4 and 5.5), slowly and in plain sight.
#ifndef QVOVC_TESTS_DV_ENCODER_H
#define QVOVC_TESTS_DV_ENCODER_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "qvovc.h"
#include "support/codes.h"
#include "support/random.h"

namespace dv {

struct Code {
    std::string bits;  // without the sign
    int run;
    int amplitude;
};

// SMPTE 314M, table of codewords: those of the runs of zeros alone, then of the amplitudes from 1 up; '/' leads to the
// next run.
inline const std::vector<Code> codes = [] {
    std::vector<Code> all = {{"11111001110", 0, 0},  {"11111001111", 1, 0},  {"111110101100", 2, 0},
                             {"111110101101", 3, 0}, {"111110101110", 4, 0}, {"111110101111", 5, 0}};
    forEachCode(
        "00 010 1000 1001 10110 10111 110010 110011 1101101 1101110 1101111 11101010 11101011 11101100 11101101 "
        "11101110 11101111 111101011 111101100 111101101 111101110 111101111 / 0111 10101 1101011 1101100 "
        "11100111 11101000 11101001 111101010 1111100100 1111100101 1111100110 11111010011 11111010100 "
        "11111010101 111110111101 111110111110 111110111111 / 10100 1101010 11100110 111101000 111101001 "
        "1111100011 111110111000 111110111001 111110111010 111110111011 111110111100 / 110000 11100100 111100110 "
        "1111100001 1111100010 11111010010 111110110111 / 110001 11100101 111100111 11111010001 111110110110 / "
        "1101000 111100100 1111100000 / 1101001 111100101 11111010000 / 11100000 111110110000 111110110100 / "
        "11100001 111110110001 111110110101 / 11100010 111110110010 / 11100011 111110110011 / 111100000 / "
        "111100001 / 111100010 / 111100011",
        [&](const std::string& code, int run, int amplitude) {
            all.push_back({code, run, amplitude});
        });
    return all;
}();
inline const char* const endOfBlock = "0110";

// The code of so many zeros and a level; a level of 0 is one more zero.
inline std::string codeOf(int run, int level) {
    const int amplitude = std::abs(level);
    const std::string sign = level == 0 ? "" : level < 0 ? "1" : "0";
    for (const Code& code : codes) {
        if (code.run == run && code.amplitude == amplitude) return code.bits + sign;
    }
    if (amplitude == 0) return "1111110" + binary(run, 6);
    const std::string escape = "1111111" + binary(amplitude, 8) + sign;
    return run == 0 ? escape : codeOf(run - 1, 0) + escape;
}

// The scan of 2-4-8 blocks as the standard's figure draws them: a row of sums and one of differences in turn.
inline constexpr int interleavedScan[64] = {0,  8,  1, 9,  16, 24, 2,  10, 17, 25, 32, 40, 48, 56, 33, 41,
                                            18, 26, 3, 11, 4,  12, 19, 27, 34, 42, 49, 57, 50, 58, 35, 43,
                                            20, 28, 5, 13, 6,  14, 21, 29, 36, 44, 51, 59, 52, 60, 37, 45,
                                            22, 30, 7, 15, 23, 31, 38, 46, 53, 61, 54, 62, 39, 47, 55, 63};

// Raster position by scan position, as the library has it: along the diagonals, or the sums above the differences.
inline std::array<std::size_t, 64> scanOf(int dctMode) {
    std::array<std::size_t, 64> scan{};
    std::size_t position = 0;
    for (int sum = 0; sum < 15; ++sum) {
        for (int i = 0; i < 8; ++i) {
            const int row = sum % 2 == 0 ? 7 - i : i;
            if (sum - row >= 0 && sum - row < 8) scan[position++] = static_cast<std::size_t>(8 * row + sum - row);
        }
    }
    if (dctMode == 0) return scan;
    for (std::size_t i = 0; i < 64; ++i) {
        const int row = interleavedScan[i] / 8;
        scan[i] = static_cast<std::size_t>(8 * (row / 2 + row % 2 * 4) + interleavedScan[i] % 8);
    }
    return scan;
}

// A table for as long as it is needed.
class Table {
  public:
    Table() {
        if (qvoiHuffmanInitAlloc_DV_32u(&table_) != qvoStatusOk) std::abort();
    }
    ~Table() { qvoiHuffmanFree_DV_32u(&table_); }
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    operator const QvoDVHuffmanTable*() const { return table_; }

  private:
    QvoDVHuffmanTable* table_ = nullptr;
};

struct Block {
    int dc = 0;
    int dctMode = 0;
    int classNumber = 0;
    std::array<int, 64> levels = {};  // in scan order; the first is not used

    // The codes behind the DC coefficient, DCT mode and class, each on its own.
    std::vector<std::string> acCodes() const {
        std::vector<std::string> all;
        int run = 0;
        for (std::size_t i = 1; i < 64; ++i) {
            if (levels[i] == 0) {
                ++run;
                continue;
            }
            all.push_back(codeOf(run, levels[i]));
            run = 0;
        }
        all.push_back(endOfBlock);
        return all;
    }
};

struct Segment {
    std::array<int, 5> quantisers = {};
    std::array<int, 5> errorStatuses = {};
    std::array<Block, 30> blocks;
};

constexpr int areaBits(int block) {
    return block % 6 < 4 ? 112 : 80;
}

// How the codes of a segment came to lie.
struct Layout {
    std::vector<std::uint8_t> bytes;
    std::array<int, 30> bitsPlaced = {};  // of each block's AC codes
    std::array<int, 30> pass = {};        // in which of the three each block ended; 0: in none
};

// Free places are filled with random bits.
inline Layout encode(const Segment& segment, Random& random) {
    std::string bits;
    for (int i = 0; i < 400 * 8; ++i)
        bits += random.chance(50) ? '1' : '0';
    std::array<std::string, 30> left;
    std::array<std::vector<std::size_t>, 30> freePlaces;
    Layout layout;
    const auto place = [&](std::size_t block, std::vector<std::size_t>& places) {
        const std::size_t count = std::min(left[block].size(), places.size());
        for (std::size_t i = 0; i < count; ++i)
            bits[places[i]] = left[block][i];
        left[block].erase(0, count);
        places.erase(places.begin(), places.begin() + static_cast<std::ptrdiff_t>(count));
        layout.bitsPlaced[block] += static_cast<int>(count);
    };
    const auto endPass = [&](int pass) {
        for (std::size_t block = 0; block < 30; ++block) {
            if (left[block].empty() && layout.pass[block] == 0) layout.pass[block] = pass;
        }
    };

    std::size_t at = 0;
    for (std::size_t block = 0; block < 30; ++block) {
        if (block % 6 == 0) {
            at = block / 6 * 640 + 24;
            bits.replace(at, 8,
                         binary(segment.errorStatuses[block / 6], 4) + binary(segment.quantisers[block / 6], 4));
            at += 8;
        }
        const Block& source = segment.blocks[block];
        bits.replace(at, 12, binary(source.dc, 9) + binary(source.dctMode, 1) + binary(source.classNumber, 2));
        const auto area = static_cast<std::size_t>(areaBits(static_cast<int>(block)));
        for (std::size_t i = 12; i < area; ++i)
            freePlaces[block].push_back(at + i);
        at += area;
        for (const std::string& code : source.acCodes())
            left[block] += code;
        place(block, freePlaces[block]);
    }
    endPass(1);
    for (std::size_t block = 0; block < 30; ++block) {
        for (std::size_t other = block / 6 * 6; other < block / 6 * 6 + 6; ++other)
            place(block, freePlaces[other]);
    }
    endPass(2);
    for (std::size_t block = 0; block < 30; ++block) {
        for (auto& places : freePlaces)
            place(block, places);
    }
    endPass(3);
    layout.bytes.resize(400);
    for (std::size_t i = 0; i < bits.size(); ++i)
        layout.bytes[i / 8] = static_cast<std::uint8_t>(layout.bytes[i / 8] << 1 | (bits[i] - '0'));
    return layout;
}

// Random blocks of very different lengths, about `fill` bits in all.
inline Segment randomSegment(Random& random, int fill) {
    Segment segment;
    random.fill(segment.quantisers, 0, 15);
    random.fill(segment.errorStatuses, 0, 15);
    int used = 30 * 16;
    std::array<bool, 30> empty;
    for (bool& e : empty)
        e = random.chance(40);
    for (Block& block : segment.blocks) {
        block.dc = random.range(-256, 255);
        block.dctMode = random.range(0, 1);
        block.classNumber = random.range(0, 3);
    }
    while (used < fill) {
        const auto at = static_cast<std::size_t>(random.range(0, 29));
        if (empty[at] && random.chance(95)) continue;
        Block& block = segment.blocks[at];
        const int before = static_cast<int>(block.acCodes().size());
        const auto position = static_cast<std::size_t>(random.range(1, random.chance(80) ? 20 : 63));
        const int largest = random.chance(90) ? 4 : 255;
        block.levels[position] = random.range(-largest, largest);
        used += (static_cast<int>(block.acCodes().size()) - before) * 7;
    }
    return segment;
}

}  // namespace dv

#endif
