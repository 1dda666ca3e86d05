#include "mpeg4/headers.h"

#include <algorithm>
#include <bit>

namespace codecs::mpeg4 {

const Matrix defaultIntraMatrix = {
    8,  17, 18, 19, 21, 23, 25, 27, 17, 18, 19, 21, 23, 25, 27, 28, 20, 21, 22, 23, 24, 26,
    28, 30, 21, 22, 23, 24, 26, 28, 30, 32, 22, 23, 24, 26, 28, 30, 32, 35, 23, 24, 26, 28,
    30, 32, 35, 38, 25, 26, 28, 30, 32, 35, 38, 41, 27, 28, 30, 32, 35, 38, 41, 45,
};
const Matrix defaultInterMatrix = {
    16, 17, 18, 19, 20, 21, 22, 23, 17, 18, 19, 20, 21, 22, 23, 24, 18, 19, 20, 21, 22, 23,
    24, 25, 19, 20, 21, 22, 23, 24, 26, 27, 20, 21, 22, 23, 25, 26, 27, 28, 21, 22, 23, 24,
    26, 27, 28, 30, 22, 23, 24, 26, 27, 28, 30, 31, 23, 24, 25, 27, 28, 30, 31, 33,
};

namespace {

// Table 6-14; index 15 is written out in the header.
struct Ratio {
    int numerator;
    int denominator;
};
constexpr std::array<Ratio, 6> aspects = {{{0, 0}, {1, 1}, {12, 11}, {10, 11}, {16, 11}, {40, 33}}};

// Table 6-25: from these quantisers on the intra DC coefficients have AC codes.
constexpr std::array<int, 8> dcThresholds = {32, 13, 15, 17, 19, 21, 23, 0};

void skipMarker(BitReader& bits) {
    bits.skip(1);
}

// Of a header that is cut short nothing can be said.
[[noreturn]] void refuse(const BitReader& bits, const char* tool) {
    if (bits.pastEnd()) throw Damage{};
    throw UnsupportedStream(std::string("MPEG-4 video with ") + tool + " is not supported");
}

int bitWidth(int value) {
    return std::max(1, static_cast<int>(std::bit_width(static_cast<unsigned>(value))));
}

// Weights in zigzag order; a 0 repeats the one before it to the end.
Matrix readMatrix(BitReader& bits) {
    Matrix matrix;
    Qvo8u last = 0;
    for (std::size_t i = 0; i < 64; ++i) {
        const auto weight = static_cast<Qvo8u>(bits.get(8));
        if (weight == 0) {
            if (last == 0) throw Damage{};
            for (; i < 64; ++i)
                matrix[ZigzagC[i]] = last;
            break;
        }
        last = weight;
        matrix[ZigzagC[i]] = weight;
    }
    return matrix;
}

void readControlParameters(BitReader& bits, Layer& layer) {
    constexpr Qvo32u chroma420 = 1;
    if (bits.get(2) != chroma420) refuse(bits, "chroma other than 4:2:0");
    layer.lowDelay = bits.flag();
    if (!bits.flag()) return;
    const Qvo32u high = bits.get(15);
    skipMarker(bits);
    const Qvo32u low = bits.get(15);
    layer.bitRate = static_cast<long>(high << 15 | low) * 400;
    // Buffer size in 15, 1 and 3 bits, occupancy in 11, 1 and 15 bits, with markers around.
    bits.skip(1 + 15 + 1 + 3 + 11 + 1 + 15 + 1);
}

int flags(BitReader& bits, int count) {
    return std::popcount(bits.get(count));
}

// define_vop_complexity_estimation_header() (6.2.3.1): which statistics VOP headers carry, of eight bits each, but
// four for vlc_bits.
ComplexityBits readComplexity(BitReader& bits) {
    ComplexityBits length;
    const int method = bits.getInt(2);
    if (method > 1) throw Damage{};
    if (!bits.flag()) length.all += 8 * flags(bits, 6);  // shape
    if (!bits.flag()) {                                  // texture: blocks
        length.all += 8 * flags(bits, 1);
        length.inter += 8 * flags(bits, 2);
        length.all += 8 * flags(bits, 1);
    }
    skipMarker(bits);
    if (!bits.flag()) {  // texture: coefficients
        length.all += 8 * flags(bits, 3);
        length.all += 4 * flags(bits, 1);
    }
    if (!bits.flag()) {  // motion compensation
        length.inter += 8 * flags(bits, 2);
        length.bidirectional += 8 * flags(bits, 1);
        length.inter += 8 * flags(bits, 3);
    }
    skipMarker(bits);
    if (method == 1 && !bits.flag()) {
        length.all += 8 * flags(bits, 1);
        length.inter += 8 * flags(bits, 1);
    }
    return length;
}

void readAspect(BitReader& bits, Layer& layer) {
    constexpr Qvo32u extended = 15;
    const Qvo32u code = bits.get(4);
    if (code == extended) {
        layer.aspectNumerator = bits.getInt(8);
        layer.aspectDenominator = bits.getInt(8);
    } else if (code < aspects.size()) {
        layer.aspectNumerator = aspects[code].numerator;
        layer.aspectDenominator = aspects[code].denominator;
    }
}

void readTiming(BitReader& bits, Layer& layer) {
    layer.timeResolution = bits.getInt(16);
    if (layer.timeResolution == 0) throw Damage{};
    layer.timeBits = bitWidth(layer.timeResolution - 1);
    skipMarker(bits);
    if (bits.flag()) layer.fixedIncrement = bits.getInt(layer.timeBits);
}

int readSeconds(BitReader& bits) {
    int seconds = 0;
    while (bits.flag())
        ++seconds;
    return seconds;
}

// Where the distance of VOPs is not fixed it is guessed from the ticks: few ticks a second count pictures, some numbers
// belong to the rates of 525-line video.
void describeRate(const Layer& layer, StreamInfo& info) {
    constexpr int fastest = 120;
    const int ticks = layer.timeResolution;
    if (layer.fixedIncrement > 0) {
        info.rateNumerator = ticks;
        info.rateDenominator = layer.fixedIncrement;
    } else if (ticks <= fastest) {
        info.rateNumerator = ticks;
    } else if (ticks == 24000 || ticks == 30000 || ticks == 60000) {
        info.rateNumerator = ticks;
        info.rateDenominator = 1001;
    }
}

}  // namespace

int VopHeader::resyncZeros() const {
    switch (type) {
        case VopType::predicted:
            return 15 + fcodeForward;
        case VopType::bidirectional:
            return 15 + std::max({fcodeForward, fcodeBackward, 2});
        default:
            return 16;
    }
}

int readVisualObject(BitReader& bits) {
    int verid = 1;
    if (bits.flag()) {
        verid = bits.getInt(4);
        bits.skip(3);  // priority
    }
    constexpr Qvo32u video = 1;
    if (bits.get(4) != video) refuse(bits, "a visual object that is not video");
    return verid;
}

Layer readLayer(BitReader& bits, int verid) {
    Layer layer;
    bits.skip(1);  // random_accessible_vol
    constexpr Qvo32u fineGranularity = 18;
    if (bits.get(8) == fineGranularity) refuse(bits, "scalability");
    if (bits.flag()) {
        verid = bits.getInt(4);
        bits.skip(3);  // priority
    }
    readAspect(bits, layer);
    if (bits.flag()) readControlParameters(bits, layer);
    if (bits.get(2) != 0) refuse(bits, "arbitrary shape");
    skipMarker(bits);
    readTiming(bits, layer);
    skipMarker(bits);
    layer.width = bits.getInt(13);
    skipMarker(bits);
    layer.height = bits.getInt(13);
    skipMarker(bits);
    if (bits.flag()) refuse(bits, "interlaced coding");
    if (!bits.flag()) refuse(bits, "overlapped block motion compensation");
    const Qvo32u sprites = bits.get(verid == 1 ? 1 : 2);
    if (sprites == 2) refuse(bits, "global motion compensation");
    if (sprites != 0) refuse(bits, "sprites");
    if (bits.flag()) refuse(bits, "samples of other than 8 bits");
    layer.useMatrices = bits.flag();
    if (layer.useMatrices) {
        layer.intraMatrix = bits.flag() ? readMatrix(bits) : defaultIntraMatrix;
        layer.interMatrix = bits.flag() ? readMatrix(bits) : defaultInterMatrix;
    }
    if (verid != 1 && bits.flag()) refuse(bits, "quarter-sample motion compensation");
    if (!bits.flag()) layer.complexity = readComplexity(bits);
    layer.resyncMarkers = !bits.flag();
    layer.partitioned = bits.flag();
    if (layer.partitioned && bits.flag()) refuse(bits, "reversible variable length codes");
    if (verid != 1) {
        if (bits.flag()) refuse(bits, "NEWPRED");
        if (bits.flag()) refuse(bits, "reduced resolution VOPs");
    }
    if (bits.flag()) refuse(bits, "scalability");
    if (bits.pastEnd()) throw Damage{};
    return layer;
}

int readGroup(BitReader& bits) {
    const int hours = bits.getInt(5);
    const int minutes = bits.getInt(6);
    skipMarker(bits);
    const int seconds = bits.getInt(6);
    return (hours * 60 + minutes) * 60 + seconds;
}

VopHeader readVop(BitReader& bits, const Layer& layer) {
    VopHeader vop;
    vop.type = static_cast<VopType>(bits.get(2));
    if (vop.type == VopType::sprite) throw Damage{};
    vop.seconds = readSeconds(bits);
    skipMarker(bits);
    vop.ticks = bits.getInt(layer.timeBits);
    skipMarker(bits);
    vop.coded = bits.flag();
    if (bits.pastEnd()) throw Damage{};
    if (!vop.coded) return vop;

    const bool inter = vop.type != VopType::intra;
    if (vop.type == VopType::predicted) vop.rounding = bits.getInt(1);
    bits.skip(layer.complexity.all);
    if (inter) bits.skip(layer.complexity.inter);
    if (vop.type == VopType::bidirectional) bits.skip(layer.complexity.bidirectional);
    vop.dcThreshold = dcThresholds[bits.get(3)];
    vop.quantiser = bits.getInt(5);
    if (inter) vop.fcodeForward = bits.getInt(3);
    if (vop.type == VopType::bidirectional) vop.fcodeBackward = bits.getInt(3);
    if (vop.quantiser == 0 || vop.fcodeForward == 0 || vop.fcodeBackward == 0) throw Damage{};
    if (bits.pastEnd()) throw Damage{};
    return vop;
}

PacketHeader readPacket(BitReader& bits, const Layer& layer, const VopHeader& vop, int macroblocks) {
    PacketHeader packet;
    packet.macroblock = bits.getInt(bitWidth(macroblocks - 1));
    packet.quantiser = bits.getInt(5);
    if (packet.macroblock >= macroblocks || packet.quantiser == 0) throw Damage{};
    if (!bits.flag()) return packet;
    // header_extension_code: the VOP header once more, which a packet of this VOP has to agree with.
    readSeconds(bits);
    skipMarker(bits);
    bits.skip(layer.timeBits);
    skipMarker(bits);
    if (static_cast<VopType>(bits.get(2)) != vop.type) throw Damage{};
    if (dcThresholds[bits.get(3)] != vop.dcThreshold) throw Damage{};
    if (vop.type != VopType::intra && bits.getInt(3) != vop.fcodeForward) throw Damage{};
    if (vop.type == VopType::bidirectional && bits.getInt(3) != vop.fcodeBackward) throw Damage{};
    return packet;
}

std::string profileName(int indication) {
    const int level = indication & 15;
    switch (indication >> 4) {
        case 0x0:
            if (level == 8) return "Simple, level 0";
            if (level == 9) return "Simple, level 0b";
            return level >= 1 && level <= 6 ? "Simple, level " + std::to_string(level) : "";
        case 0x9:
            return level >= 1 && level <= 4 ? "Advanced Real Time Simple, level " + std::to_string(level) : "";
        case 0xF:
            if (level == 7) return "Advanced Simple, level 3b";
            return level <= 5 ? "Advanced Simple, level " + std::to_string(level) : "";
        default:
            return "";
    }
}

StreamInfo describe(const Layer& layer, int profile) {
    StreamInfo info;
    info.codec = "MPEG-4 video";
    info.profile = profileName(profile);
    info.width = layer.width;
    info.height = layer.height;
    describeRate(layer, info);
    info.aspectNumerator = layer.aspectNumerator;
    info.aspectDenominator = layer.aspectDenominator;
    info.bitRate = layer.bitRate;
    return info;
}

}  // namespace codecs::mpeg4
