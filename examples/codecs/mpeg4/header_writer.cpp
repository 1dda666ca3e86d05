#include "mpeg4/header_writer.h"

#include <bit>

namespace codecs::mpeg4 {

namespace {

constexpr std::uint32_t extendedAspect = 15;

void putMarker(BitWriter& bits) {
    bits.put(1, 1);
}

void putStartCode(BitWriter& bits, int code) {
    bits.put(1, 24);
    bits.put(static_cast<std::uint32_t>(code), 8);
}

void putInt(BitWriter& bits, int value, int count) {
    bits.put(static_cast<std::uint32_t>(value), count);
}

bool isSimple(const Layer& layer) {
    return layer.lowDelay && !layer.useMatrices;
}

void putAspect(BitWriter& bits, const Layer& layer) {
    const int numerator = layer.aspectNumerator, denominator = layer.aspectDenominator;
    if (numerator <= 0 || denominator <= 0 || numerator > 255 || denominator > 255 || numerator == denominator) {
        bits.put(1, 4);  // square
        return;
    }
    bits.put(extendedAspect, 4);
    putInt(bits, numerator, 8);
    putInt(bits, denominator, 8);
}

}  // namespace

void stuff(BitWriter& bits) {
    const int count = 8 - *bits.offset();
    bits.put((1U << (count - 1)) - 1, count);
}

void writeLayer(BitWriter& bits, const Layer& layer, int profile) {
    putStartCode(bits, codeSequence);
    putInt(bits, profile, 8);

    putStartCode(bits, codeVisualObject);
    bits.put(0, 1);  // is_visual_object_identifier
    bits.put(1, 4);  // video
    bits.put(0, 1);  // video_signal_type
    stuff(bits);

    putStartCode(bits, 0);  // video_object
    putStartCode(bits, codeFirstLayer);
    bits.put(0, 1);                         // random_accessible_vol
    bits.put(isSimple(layer) ? 1 : 17, 8);  // Simple or Advanced Simple object
    bits.put(0, 1);                         // is_object_layer_identifier
    putAspect(bits, layer);
    bits.put(1, 1);  // vol_control_parameters
    bits.put(1, 2);  // 4:2:0
    putInt(bits, layer.lowDelay, 1);
    bits.put(0, 1);  // vbv_parameters
    bits.put(0, 2);  // rectangular
    putMarker(bits);
    putInt(bits, layer.timeResolution, 16);
    putMarker(bits);
    // There is no room for a second or more.
    const bool fixedRate = layer.fixedIncrement > 0 && layer.fixedIncrement < layer.timeResolution;
    putInt(bits, fixedRate, 1);
    if (fixedRate) putInt(bits, layer.fixedIncrement, layer.timeBits);
    putMarker(bits);
    putInt(bits, layer.width, 13);
    putMarker(bits);
    putInt(bits, layer.height, 13);
    putMarker(bits);
    bits.put(0, 1);  // interlaced
    bits.put(1, 1);  // obmc_disable
    bits.put(0, 1);  // sprite_enable
    bits.put(0, 1);  // not_8_bit
    putInt(bits, layer.useMatrices, 1);
    if (layer.useMatrices) bits.put(0, 2);  // load_intra_quant_mat, load_nonintra_quant_mat
    bits.put(1, 1);                         // complexity_estimation_disable
    putInt(bits, !layer.resyncMarkers, 1);
    bits.put(0, 1);  // data_partitioned
    bits.put(0, 1);  // scalability
    stuff(bits);
}

void writeVop(BitWriter& bits, const Layer& layer, const VopHeader& vop) {
    putStartCode(bits, codeVop);
    putInt(bits, static_cast<int>(vop.type), 2);
    for (int i = 0; i < vop.seconds; ++i)
        bits.put(1, 1);
    bits.put(0, 1);
    putMarker(bits);
    putInt(bits, vop.ticks, layer.timeBits);
    putMarker(bits);
    bits.put(1, 1);  // vop_coded
    if (vop.type == VopType::predicted) putInt(bits, vop.rounding, 1);
    bits.put(0, 3);  // intra_dc_vlc_thr: DC coefficients always have codes of their own
    putInt(bits, vop.quantiser, 5);
    if (vop.type != VopType::intra) putInt(bits, vop.fcodeForward, 3);
    if (vop.type == VopType::bidirectional) putInt(bits, vop.fcodeBackward, 3);
}

void writePacket(BitWriter& bits, const Layer& layer, const VopHeader& vop, const PacketHeader& packet) {
    stuff(bits);
    bits.put(1, vop.resyncZeros() + 1);
    const int macroblocks = layer.macroblockWidth() * layer.macroblockHeight();
    putInt(bits, packet.macroblock,
           std::max(1, static_cast<int>(std::bit_width(static_cast<unsigned>(macroblocks - 1)))));
    putInt(bits, packet.quantiser, 5);
    bits.put(0, 1);  // header_extension_code
}

int chooseProfile(const Layer& layer, long bitRate) {
    struct Level {
        int indication;
        int macroblocks;
        int macroblocksPerSecond;
        long bitRate;
    };
    constexpr Level simple[] = {{1, 99, 1485, 64000},      {2, 396, 5940, 128000},    {3, 396, 11880, 384000},
                                {4, 1200, 36000, 4000000}, {5, 1620, 40500, 8000000}, {6, 3600, 108000, 12000000}};
    constexpr Level advancedSimple[] = {{0xF0, 99, 2970, 128000},
                                        {0xF2, 396, 5940, 384000},
                                        {0xF3, 396, 11880, 768000},
                                        {0xF4, 792, 23760, 3000000},
                                        {0xF5, 1620, 48600, 8000000}};
    const int macroblocks = layer.macroblockWidth() * layer.macroblockHeight();
    const std::int64_t perSecond =
        layer.fixedIncrement > 0 ? std::int64_t{macroblocks} * layer.timeResolution / layer.fixedIncrement : 0;
    const auto choose = [&](const auto& levels) {
        for (const Level& level : levels)
            if (macroblocks <= level.macroblocks && perSecond <= level.macroblocksPerSecond &&
                bitRate <= level.bitRate)
                return level.indication;
        return std::end(levels)[-1].indication;
    };
    return isSimple(layer) ? choose(simple) : choose(advancedSimple);
}

}  // namespace codecs::mpeg4
