#include "h264/cavlc_writer.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "h264/tables.h"

namespace codecs::h264 {

namespace {

struct Code {
    std::uint16_t value = 0;
    std::uint8_t length = 0;
};

Code parse(const char* text) {
    Code code;
    for (; *text; ++text, ++code.length)
        code.value = static_cast<std::uint16_t>(2 * code.value + (*text - '0'));
    return code;
}

template <class From, class To>
void parseAll(const From& from, To& to) {
    for (std::size_t i = 0; i < from.size(); ++i)
        for (std::size_t j = 0; j < from[i].size(); ++j)
            if (from[i][j]) to[i][j] = parse(from[i][j]);
}

struct Codes {
    std::array<std::array<std::array<Code, 4>, 17>, 4> tokens = {};  // nC 0..1, 2..3, 4..7, 8 and more
    std::array<std::array<Code, 4>, 5> chromaDcTokens = {};
    std::array<std::array<Code, 16>, 15> totalZeros = {};
    std::array<std::array<Code, 4>, 3> chromaDcTotalZeros = {};
    std::array<std::array<Code, 15>, 7> runs = {};
    std::array<Qvo32s, 16> scan = {};

    Codes() {
        for (std::size_t i = 0; i < coeffTokenCodes.size(); ++i)
            parseAll(coeffTokenCodes[i], tokens[i]);
        for (std::size_t total = 0; total <= 16; ++total)
            for (std::size_t ones = 0; ones <= std::min<std::size_t>(total, 3); ++ones)
                tokens[3][total][ones] = {static_cast<std::uint16_t>(total ? (total - 1) << 2 | ones : 3), 6};
        parseAll(chromaDcCoeffTokenCodes, chromaDcTokens);
        parseAll(totalZerosCodes, totalZeros);
        parseAll(chromaDcTotalZerosCodes, chromaDcTotalZeros);
        parseAll(runBeforeCodes, runs);
        std::copy(zigzag.begin(), zigzag.end(), scan.begin());
    }
};

const Codes codes;

// A block as the library splits it.
struct Elements {
    Qvo8u ones = 0;
    Qvo8u signs = 0;
    Qvo8u count = 0;
    Qvo8u zeros = 0;
    std::array<Qvo16s, 16> levels;
    std::array<Qvo8u, 16> runs;
};

template <class Sink>
void put(Sink& sink, Code code) {
    sink.put(code.value, code.length);
}

// level_prefix and level_suffix (9.2.2.1).
template <class Sink>
void putLevelCode(Sink& sink, int code, int suffixLength) {
    const int escape = suffixLength == 0 ? 30 : 15 << suffixLength;  // the first code of prefix 15
    if (code >= escape) {
        sink.put(1, 16);
        sink.put(static_cast<std::uint32_t>(code - escape), 12);
    } else if (suffixLength > 0) {
        sink.put(1, (code >> suffixLength) + 1);
        sink.put(static_cast<std::uint32_t>(code & ((1 << suffixLength) - 1)), suffixLength);
    } else if (code >= 14) {
        sink.put(1, 15);
        sink.put(static_cast<std::uint32_t>(code - 14), 4);
    } else {
        sink.put(1, code + 1);
    }
}

template <class Sink>
void putLevels(Sink& sink, const Elements& elements) {
    sink.put(elements.signs, elements.ones);
    int suffixLength = elements.count > 10 && elements.ones < 3 ? 1 : 0;
    for (int i = 0; i < elements.count - elements.ones; ++i) {
        const int level = elements.levels[static_cast<std::size_t>(i)];
        int code = level > 0 ? 2 * level - 2 : -2 * level - 1;
        if (i == 0 && elements.ones < 3) code -= 2;
        putLevelCode(sink, code, suffixLength);
        if (suffixLength == 0) suffixLength = 1;
        if (std::abs(level) > 3 << (suffixLength - 1) && suffixLength < 6) ++suffixLength;
    }
}

template <class Sink>
void putRuns(Sink& sink, const Elements& elements) {
    int left = elements.zeros;
    for (std::size_t i = 0; i + 1 < elements.count && left > 0; ++i) {
        const std::size_t run = elements.runs[i];
        put(sink, codes.runs[static_cast<std::size_t>(std::min(left, 7) - 1)][run]);
        left -= static_cast<int>(run);
    }
}

}  // namespace

template <class Sink>
int putBlock(Sink& sink, int nC, int first, const Qvo16s* block) {
    Elements elements;
    qvoiEncodeCoeffsCAVLC_H264_16s(block, static_cast<Qvo8u>(first), codes.scan.data(), 15, &elements.ones,
                                   &elements.signs, &elements.count, &elements.zeros, elements.levels.data(),
                                   elements.runs.data());
    constexpr std::array<std::uint8_t, 9> tables = {0, 0, 1, 1, 2, 2, 2, 2, 3};
    const auto table = tables[static_cast<std::size_t>(std::min(nC, 8))];
    put(sink, codes.tokens[table][elements.count][elements.ones]);
    if (elements.count == 0) return 0;
    putLevels(sink, elements);
    if (elements.count < 16 - first)
        put(sink, codes.totalZeros[static_cast<std::size_t>(elements.count - 1)][elements.zeros]);
    putRuns(sink, elements);
    return elements.count;
}

template <class Sink>
int putChromaDc(Sink& sink, const Qvo16s* block) {
    Elements elements;
    qvoiEncodeChromaDcCoeffsCAVLC_H264_16s(block, &elements.ones, &elements.signs, &elements.count, &elements.zeros,
                                           elements.levels.data(), elements.runs.data());
    put(sink, codes.chromaDcTokens[elements.count][elements.ones]);
    if (elements.count == 0) return 0;
    putLevels(sink, elements);
    if (elements.count < 4)
        put(sink, codes.chromaDcTotalZeros[static_cast<std::size_t>(elements.count - 1)][elements.zeros]);
    putRuns(sink, elements);
    return elements.count;
}

template int putBlock(BitWriter&, int, int, const Qvo16s*);
template int putBlock(BitCounter&, int, int, const Qvo16s*);
template int putChromaDc(BitWriter&, const Qvo16s*);
template int putChromaDc(BitCounter&, const Qvo16s*);

}  // namespace codecs::h264
