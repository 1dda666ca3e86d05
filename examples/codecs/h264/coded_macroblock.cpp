#include "h264/coded_macroblock.h"

#include "h264/tables.h"

namespace codecs::h264 {

namespace {

constexpr std::uint32_t firstIntraType = 5;  // in P slices (table 7-13)
constexpr std::uint32_t typeIntra4x4 = 0;    // mb_type of I slices (table 7-11)
constexpr std::uint32_t typePcm = 25;

// codeNum by coded_block_pattern.
struct PatternCodes {
    std::array<std::array<std::uint8_t, 48>, 2> codes = {};
    PatternCodes() {
        for (std::size_t table = 0; table < codes.size(); ++table)
            for (std::size_t code = 0; code < 48; ++code)
                codes[table][codedBlockPatterns[table][code]] = static_cast<std::uint8_t>(code);
    }
};
const PatternCodes patternCodes;

std::uint32_t intra16x16Type(const CodedMacroblock& macroblock) {
    const int type = 1 + macroblock.mode16x16 + 4 * (macroblock.pattern >> 4) + (macroblock.pattern & 15 ? 12 : 0);
    return static_cast<std::uint32_t>(type);
}

template <class Sink>
void putPrediction(Sink& sink, const CodedMacroblock& macroblock) {
    if (macroblock.kind == Kind::inter) {
        if (macroblock.shape == Shape::quarters) sink.put(0b1111, 4);  // sub_mb_type 0 of all quarters
        for (std::size_t i = 0; i < macroblock.partitions(); ++i) {
            putSe(sink, macroblock.differences[i].x);
            putSe(sink, macroblock.differences[i].y);
        }
        return;
    }
    if (macroblock.kind == Kind::intra4x4) {
        for (const int place : rasterOrder) {
            const int code = macroblock.modeCodes[static_cast<std::size_t>(place)];
            if (code < 0) {
                sink.put(1, 1);
            } else {
                sink.put(static_cast<std::uint32_t>(code), 4);
            }
        }
    }
    putUe(sink, static_cast<std::uint32_t>(macroblock.chromaMode));
}

template <class Sink>
void putResidual(Sink& sink, const CodedMacroblock& macroblock, const Neighbours& neighbours) {
    LevelCounts counts;
    counts.load(neighbours);
    const bool dcApart = macroblock.kind == Kind::intra16x16;
    if (dcApart) putBlock(sink, counts.predictLuma(0, 0), 0, macroblock.lumaDc.data());
    for (std::size_t i = 0; i < 16; ++i) {
        const int place = rasterOrder[i], x = place & 3, y = place >> 2;
        int count = 0;
        if (macroblock.pattern & 1 << (i / 4))
            count = putBlock(sink, counts.predictLuma(x, y), dcApart,
                             macroblock.levels[static_cast<std::size_t>(place)].data());
        counts.setLuma(x, y, count);
    }
    if (macroblock.pattern >> 4 == 0) return;
    for (const auto& dc : macroblock.chromaDc)
        putChromaDc(sink, dc.data());
    if (macroblock.pattern >> 4 == 1) return;
    for (std::size_t plane = 0; plane < 2; ++plane) {
        for (std::size_t i = 0; i < 4; ++i) {
            const int x = i & 1, y = static_cast<int>(i >> 1);
            const int count =
                putBlock(sink, counts.predictChroma(plane, x, y), 1, macroblock.levels[16 + 4 * plane + i].data());
            counts.setChroma(plane, x, y, count);
        }
    }
}

// The samples themselves, at the next whole byte.
void putPcm(BitWriter& bits, const CodedMacroblock& macroblock) {
    while (!bits.aligned())
        bits.put(0, 1);
    const auto putAll = [&](const auto& samples) {
        for (const Qvo8u sample : samples)
            bits.put(sample, 8);
    };
    putAll(macroblock.luma);
    for (const auto& plane : macroblock.chroma)
        putAll(plane);
}

void putPcm(BitCounter& bits, const CodedMacroblock&) {
    bits.put(0, 384 * 8);
}

}  // namespace

template <class Sink>
void putMacroblock(Sink& sink, const CodedMacroblock& macroblock, bool intraSlice, const Neighbours& neighbours) {
    const std::uint32_t firstIntra = intraSlice ? 0 : firstIntraType;
    switch (macroblock.kind) {
        case Kind::inter:
            putUe(sink, static_cast<std::uint32_t>(macroblock.shape));
            break;
        case Kind::intra4x4:
            putUe(sink, firstIntra + typeIntra4x4);
            break;
        case Kind::intra16x16:
            putUe(sink, firstIntra + intra16x16Type(macroblock));
            break;
        case Kind::pcm: {
            putUe(sink, firstIntra + typePcm);
            putPcm(sink, macroblock);
            return;
        }
    }
    putPrediction(sink, macroblock);
    if (macroblock.kind != Kind::intra16x16) {
        const auto& codes = patternCodes.codes[macroblock.kind == Kind::inter ? 1 : 0];
        putUe(sink, codes[static_cast<std::size_t>(macroblock.pattern)]);
        if (macroblock.pattern == 0) return;
    }
    putSe(sink, 0);  // mb_qp_delta
    putResidual(sink, macroblock, neighbours);
}

template void putMacroblock(BitWriter&, const CodedMacroblock&, bool, const Neighbours&);
template void putMacroblock(BitCounter&, const CodedMacroblock&, bool, const Neighbours&);

}  // namespace codecs::h264
