// H.263 blocks as strings of bits: the codes of Table I.2 as the standard prints them, a writer of events in every form
// and a reader that goes bit by bit. Table 16 is that of MPEG-4's inter blocks.
#ifndef QVOVC_TESTS_H263_TEXTURE_CODES_H
#define QVOVC_TESTS_H263_TEXTURE_CODES_H

#include <cstdlib>
#include <string>
#include <tuple>

#include "mpeg4/texture_codes.h"
#include "support/random.h"

namespace h263 {

using texture::Codes;
using texture::Event;
using texture::Levels;

inline const Codes& annexICodes() {
    static const Codes codes(
        "10 110 1110 01100 01101 010000 010001 010010 0010110 00011011 000100000 000100001 000011010 000011011 "
        "000011100 000011101 000011110 000011111 00000100011 00000100010 000001010111 000001010110 000001010101 "
        "000001010100 000001010011 / 1111 010100 0010100 00011110 0000001111 00000100001 000001010000 / 01011 "
        "0010101 0000001110 0000001001 / 010101 00011101 0000001101 000001010001 / 010011 000100011 00000000111 "
        "/ 0010111 000100010 000001010010 / 00011100 0000001100 / 00011111 0000001011 / 000100101 0000001010 / "
        "000100100 00000000110 / 0000100001 / 0000100000 / 0000001000 / 00000100000 | 0111 001100 0010000 "
        "00010011 000010001 000010010 0000000100 00000100111 00000100110 000001011111 / 001111 000010011 "
        "0000000101 00000100101 / 001110 000010100 00000100100 / 001101 0000000110 000001011110 / 0010001 "
        "0000000111 / 0010011 000001011101 / 0010010 000001011100 / 00010100 000001011011 / 00010101 / 00011010 "
        "/ 00011001 / 00011000 / 00010111 / 00010110 / 000011001 / 000010101 / 000010110 / 000011000 / 000010111 "
        "/ 00000000100 / 00000000101 / 000001011000 / 000001011001 / 000001011010");
    return codes;
}

inline std::string escape(Event e) {
    std::string text = texture::escapeCode + binary(e.last, 1) + binary(e.run, 6);
    if (std::abs(e.level) < 128) return text + binary(e.level, 8);
    return text + "10000000" + binary(e.level & 31, 5) + binary(e.level >> 5, 6);
}

inline std::string write(const Codes& codes, Event e) {
    const auto code = codes.codeOf.find({e.last, e.run, std::abs(e.level)});
    return code == codes.codeOf.end() ? escape(e) : code->second + (e.level < 0 ? '1' : '0');
}

// An event that is the last or not, with a run of `longest` at most: mostly a short and small one.
inline Event randomEvent(Random& random, int last, int longest, int levels = 127) {
    const int run = random.range(0, random.chance(85) && longest > 3 ? 3 : longest);
    const int level = random.range(1, random.chance(90) ? 6 : levels);
    return {last, run, random.chance(50) ? level : -level};
}

// The bits of a block of `count` events.
inline std::string randomBlock(const Codes& codes, Random& random, int count, int start, int levels = 127) {
    std::string bits;
    int left = 64 - start - count;
    for (int i = 1; i <= count; ++i) {
        const Event e = randomEvent(random, i == count, left, levels);
        left -= e.run;
        bits += write(codes, e);
    }
    return bits;
}

// Reads events from bits[at] into levels in the order of the scan. After an error `at` is where the failing one begins.
inline QvoStatus read(const Codes& codes, const std::string& bits, std::size_t& at, int start, bool extended,
                      Levels& levels) {
    const auto number = [&](std::size_t from, std::size_t length) {
        return static_cast<int>(std::stoul(bits.substr(from, length), nullptr, 2));
    };
    const auto field = [&](std::size_t from, std::size_t length) {  // with sign
        const int value = number(from, length);
        return value >> (length - 1) != 0 ? value - (1 << length) : value;
    };
    for (int position = start - 1, last = 0; last == 0;) {
        std::size_t length = 2;
        while (length <= 12 && codes.eventOf.count(bits.substr(at, length)) == 0)
            ++length;
        int run = 0, level = 0;
        if (length <= 12) {
            std::tie(last, run, level) = codes.eventOf.at(bits.substr(at, length));
            if (bits[at + length++] == '1') level = -level;
        } else if (bits.compare(at, 7, texture::escapeCode) == 0) {
            last = number(at + 7, 1);
            run = number(at + 8, 6);
            level = field(at + 14, 8);
            length = 22;
            if (level == -128) {
                level = extended ? field(at + 27, 6) * 32 + number(at + 22, 5) : 0;
                length = 33;
            }
        }
        if (level == 0) return qvoStatusVlcError;
        position += run + 1;
        if (position > 63) return qvoStatusScanOverrun;
        levels[static_cast<std::size_t>(position)] = static_cast<Qvo16s>(level);
        at += length;
    }
    return qvoStatusOk;
}

}  // namespace h263

#endif
