// The MPEG-4 decoder on streams written bit by bit: what no encoder at hand makes.
#include "mpeg4/decoder.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/bit_writer.h"
#include "support/decoded.h"

namespace {

constexpr int columns = 3;  // macroblocks
constexpr int rows = 2;
constexpr int count = columns * rows;
constexpr int resolution = 10;  // ticks per second

// The fields of a layer's header, as bits in the order of the syntax; each test changes the one it is about.
struct Layer {
    std::string_view version = "0";  // is_object_layer_identifier and what it brings
    std::string_view control = "0";  // vol_control_parameters
    std::string_view shape = "00";
    std::string_view interlaced = "0";
    std::string_view overlapped = "1";  // obmc_disable
    std::string_view sprites = "0";
    std::string_view depth = "0";  // not_8_bit
    std::string_view quantisation = "0";
    std::string_view quarterSample = "";
    std::string_view complexity = "1";  // complexity_estimation_disable
    std::string_view packets = "0";     // resync_marker_disable
    std::string_view partitioned = "0";
    std::string_view newer = "";  // newpred_enable, reduced_resolution_vop_enable
    std::string_view scalability = "0";
};

constexpr Layer secondVersion(std::string_view sprites = "00", std::string_view quarterSample = "0",
                              std::string_view newer = "00") {
    return {.version = "1 0010 001", .sprites = sprites, .quarterSample = quarterSample, .newer = newer};
}

constexpr std::string_view dcMarker = "110 1011 0000 0000 0001";

// Writes flat macroblocks: with quantiser 4 the level of an intra DC coefficient is the level of the samples. Every
// macroblock that is not skipped without a bit has a packet of its own, in which intra macroblocks predict from nothing.
class Stream : public BitWriter {
  public:
    explicit Stream(const Layer& layer = {}) : layer_(layer) {
        startCode(0x00);
        startCode(0x20);
        bits("0 00000001", layer.version, "0001", layer.control, layer.shape);  // square samples
        bits("1");
        put(resolution, 16);
        bits("1 0 1");  // no fixed rate
        put(columns * 16, 13);
        bits("1");
        put(rows * 16, 13);
        bits("1");
        bits(layer.interlaced, layer.overlapped, layer.sprites, layer.depth, layer.quantisation, layer.quarterSample,
             layer.complexity, layer.packets, layer.partitioned, layer.newer, layer.scalability);
    }

    void group(unsigned seconds) {
        startCode(0xB3);
        bits("00000 000000 1");
        put(seconds, 6);
        bits("1 0");
    }

    // A VOP's header; type 0 I, 1 P, 2 B. The time counts from the last second that modulo_time_base refers to.
    void vop(unsigned type, int time, bool coded = true, std::string_view complexity = "", int dcThreshold = 0) {
        type_ = type;
        startCode(0xB6);
        put(type, 2);
        for (; time >= resolution; time -= resolution)
            bits("1");
        bits("0 1");
        put(static_cast<unsigned>(time), 4);
        bits(coded ? "1 1" : "1 0");
        if (!coded) return;
        if (type == 1) bits("0");
        bits(complexity);
        put(static_cast<unsigned>(dcThreshold), 3);
        put(4, 5);
        if (type >= 1) put(fcode, 3);
        if (type == 2) put(fcode, 3);
    }

    // Stuffing, a resync marker and the header of a packet.
    void packet(unsigned macroblock, std::string_view extension = "0") {
        bits("0");
        while (used() % 8 != 0)
            bits("1");
        put(1, type_ == 0 ? 17 : 15 + std::max<int>(fcode, 2) + 1);
        put(macroblock, 3);
        put(4, 5);
        bits(extension);
    }

    // An intra macroblock of a packet of its own.
    void intra(int level) {
        bits(type_ == 0 ? "1" : "0 00011", "0 0011");  // no AC prediction, no coded luminance
        dc(level);
    }
    // Its DC differences.
    void dc(int level) {
        static constexpr std::string_view sizes[] = {"011",  "11",    "10",     "010",    "001",
                                                     "0001", "00001", "000001", "0000001"};
        difference(level - 128, sizes);
        bits("011 011 011 11 11");
    }

    // Every macroblock of a VOP in a packet of its own.
    template <class Write>
    void packets(Write macroblock) {
        for (unsigned i = 0; i < count; ++i) {
            if (i > 0) packet(i);
            macroblock(i);
        }
    }

    // An I-VOP with macroblocks of these levels.
    void intraVop(int time, const std::vector<int>& levels, std::string_view complexity = "") {
        vop(0, time, true, complexity);
        packets([&](unsigned i) { intra(levels[i]); });
    }

    // The same with partitioned packets: of this one the marker is damaged, of that one the texture.
    void partitionedVop(const std::vector<int>& levels, unsigned withoutMarker = count,
                        unsigned withoutTexture = count) {
        vop(0, 0);
        packets([&](unsigned i) {
            bits("1");
            dc(levels[i]);
            bits(i == withoutMarker ? "110 1011 0100 0000 0001" : dcMarker);
            bits(i == withoutTexture ? "0 00000 00000" : "0 0011");
        });
    }

    // A VOP of skipped macroblocks, which in a B-VOP are predicted directly.
    void skippedVop(unsigned type, int time) {
        vop(type, time);
        bits("111111");
    }

    static constexpr unsigned fcode = 3;

  private:
    Layer layer_;
    unsigned type_ = 0;
};

Decoded decode(const Stream& stream, std::size_t piece = 1 << 20) {
    return decodeWith(codecs::makeMpeg4Decoder(), stream.bytes(), piece);
}

using Levels = std::vector<int>;

const Levels ramp = {40, 60, 80, 100, 150, 200};
const Levels other = {90, 70, 50, 230, 20, 130};

TEST(Mpeg4Decoder, RefusesToolsByName) {
    const struct {
        Layer layer;
        std::string_view tool;
    } cases[] = {
        {{.shape = "01"}, "arbitrary shape"},
        {{.shape = "11"}, "arbitrary shape"},
        {{.interlaced = "1"}, "interlaced coding"},
        {{.overlapped = "0"}, "overlapped block motion compensation"},
        {{.sprites = "1"}, "sprites"},
        {secondVersion("10"), "global motion compensation"},
        {{.depth = "1 0101 1010"}, "other than 8 bits"},
        {secondVersion("00", "1"), "quarter-sample"},
        {{.partitioned = "11"}, "reversible variable length codes"},
        {secondVersion("00", "0", "10"), "NEWPRED"},
        {secondVersion("00", "0", "01"), "reduced resolution"},
        {{.scalability = "1"}, "scalability"},
        {{.control = "1 10 0 0"}, "4:2:0"},
    };
    for (const auto& [layer, tool] : cases) {
        Stream stream(layer);
        stream.intraVop(0, ramp);
        const std::string refused = decode(stream).refused;
        EXPECT_NE(refused.find(tool), std::string::npos) << tool << ": " << refused;
    }
}

TEST(Mpeg4Decoder, ReadsEveryFormOfLayer) {
    const struct {
        Layer layer;
        std::string_view complexity;
    } cases[] = {
        {{}, ""},
        {secondVersion(), ""},
        // Buffer model: two bit rates, two sizes, two occupancies with their markers.
        {{.control =
              "1 01 0 1 000000000000001 1 000000000000000 1 000000000000001 1 000 00000000001 1  000000000000001 1"},
         ""},
        {{.quantisation = "1 1 00001000 00010001 00000000 0"}, ""},
        // Statistics on blocks of both kinds, DCT lines and VLC bits; an I-VOP brings 8 + 8 + 8 + 4 bits.
        {{.complexity = "0 00 1 0 1111 1 0 0101 1 1"}, "10101010 01010101 11110000 1010"},
    };
    for (const auto& [layer, complexity] : cases) {
        Stream stream(layer);
        stream.intraVop(0, ramp, complexity);
        expectShows(decode(stream), "I", {ramp});
    }
}

TEST(Mpeg4Decoder, ShowsPicturesInOrder) {
    Stream stream;
    stream.intraVop(0, ramp);
    stream.intraVop(4, other);
    stream.skippedVop(2, 2);   // the average of both
    stream.skippedVop(1, 12);  // in the next second
    stream.vop(1, 2, false);   // not coded: shows nothing
    stream.group(60);
    stream.intraVop(3, ramp);
    Levels average;
    for (std::size_t i = 0; i < count; ++i)
        average.push_back((ramp[i] + other[i] + 1) / 2);

    for (const std::size_t piece : {1, 7, 100000})
        expectShows(decode(stream, piece), "IBIPI", {ramp, average, other, other, ramp});
}

TEST(Mpeg4Decoder, LeavesOutPicturesThatCannotBePredicted) {
    // A B-VOP without a past reference, and one that does not lie between its references.
    Stream stream;
    stream.intraVop(4, ramp);
    stream.skippedVop(2, 2);
    stream.skippedVop(1, 8);
    stream.skippedVop(2, 8);
    const Decoded decoded = decode(stream);
    EXPECT_EQ(decoded.types, "IP");
    EXPECT_EQ(decoded.frames.at(0), decoded.frames.at(1));
}

TEST(Mpeg4Decoder, ConcealsLostPackets) {
    Stream stream;
    stream.intraVop(0, ramp);
    stream.vop(1, 1);
    stream.intra(10);
    stream.packet(3);
    stream.bits("1");
    stream.packet(4);
    stream.intra(30);
    expectShows(decode(stream), "IP", {ramp, {10, ramp[1], ramp[2], ramp[3], 30, ramp[5]}}, 3);
}

TEST(Mpeg4Decoder, FindsTheNextPacketBehindDamage) {
    Stream stream;
    stream.vop(0, 0);
    stream.intra(40);
    stream.packet(1);
    stream.bits("0000000001 0000000000");  // no mcbpc
    stream.packet(2);
    stream.intra(60);
    stream.packet(7);  // there is no such macroblock
    stream.intra(10);
    // A header extension: time, type and threshold of the VOP.
    stream.packet(3, "1 0 1 0000 1 00 000");
    stream.intra(70);
    // Another VOP's, as long as one of this.
    stream.packet(4, "1 0 1 0000 1 01 000");
    stream.intra(10);
    stream.packet(5);
    stream.intra(90);
    expectShows(decode(stream), "I", {{40, 128, 60, 70, 128, 90}}, 2);
}

// In a B-VOP macroblocks that the next reference skips have no bits, which matters where a packet ends with some.
TEST(Mpeg4Decoder, SkipsAtTheEndOfPackets) {
    Stream stream;
    stream.intraVop(0, ramp);
    stream.vop(1, 4);
    stream.intra(10);
    stream.packet(1);
    stream.bits("1 1 1");
    stream.packet(4);
    stream.intra(20);
    stream.packet(5);
    stream.bits("1");
    stream.vop(2, 2);
    stream.bits("1");
    stream.packet(4);
    stream.bits("1");
    expectShows(decode(stream), "IBP", {ramp, {25, ramp[1], ramp[2], ramp[3], 85, ramp[5]}});
}

// Vectors may lead beyond the picture; there its edges go on without end.
TEST(Mpeg4Decoder, FollowsVectorsFarBeyondThePicture) {
    // The longest motion code (table B-12), a sign and a residual for fcode 3: 127 half samples either way.
    const std::string_view far = "000000000010 0 10", back = "000000000010 1 10", none = "1";
    const struct {
        std::string_view x;
        std::string_view y;
        std::size_t source;  // the macroblock that the last one then shows
    } cases[] = {{back, none, 3}, {far, none, 5}, {none, back, 2}, {back, back, 0}, {far, far, 5}, {far, back, 2}};
    for (const auto& [x, y, source] : cases) {
        Stream stream;
        stream.intraVop(0, ramp);
        stream.vop(1, 1);
        stream.bits("1 1 1 1 1");
        stream.packet(5);
        stream.bits("0 1 11", x, y);  // one vector, nothing coded
        expectShows(decode(stream), "IP", {ramp, {ramp[0], ramp[1], ramp[2], ramp[3], ramp[4], ramp[source]}});
    }
}

// intra_dc_vlc_thr 7: DC coefficients are the first of the AC coefficients, in partitioned packets too.
TEST(Mpeg4Decoder, ReadsDcAmongTheAcCoefficients) {
    for (const bool partitioned : {false, true}) {
        Stream stream({.partitioned = partitioned ? "10" : "0"});
        stream.vop(0, 0, true, "", 7);
        stream.packets([&](unsigned) {
            stream.bits("1");
            if (partitioned) stream.bits(dcMarker);
            // Block 0 is coded: -28 in the fixed-length escape, as the last coefficient. The others follow it.
            stream.bits("0 00010  0000011 11 1 000000 1 111111100100 1");
        });
        expectShows(decode(stream), "I", {Levels(count, 100)});
    }
}

// What a damaged partition makes of its packet does not reach the next one.
TEST(Mpeg4Decoder, LosesOnlyADamagedPartitionedPacket) {
    Stream stream({.partitioned = "10"});
    stream.partitionedVop(ramp, 2, 4);
    expectShows(decode(stream), "I", {{ramp[0], ramp[1], 128, ramp[3], 128, ramp[5]}}, 2);
}

TEST(Mpeg4Decoder, PredictsMacroblocksWhoseTextureIsLost) {
    Stream stream({.partitioned = "10"});
    stream.partitionedVop(ramp);
    stream.vop(1, 1);
    // One macroblock to the right: motion code 8, residual 3. Its cbpy is none.
    stream.bits("0 1 000001011 0 11 1");
    stream.bits("1 1111 0000 0000 0001 00000000");
    stream.packet(1);
    stream.bits("11111 1 1111 0000 0000 0001");
    expectShows(decode(stream), "IP", {ramp, {ramp[1], ramp[1], ramp[2], ramp[3], ramp[4], ramp[5]}}, 1);
}

TEST(Mpeg4Decoder, LowDelayShowsAtOnce) {
    Stream stream({.control = "1 01 1 0"});
    stream.intraVop(0, ramp);
    stream.startCode(0xB6);
    std::string types;
    const auto decoder = codecs::makeMpeg4Decoder();
    decoder->decode(stream.bytes().data(), stream.bytes().size(),
                    [&](const codecs::FrameView& frame) { types += frame.type; });
    EXPECT_EQ(types, "I");
}

TEST(Mpeg4Decoder, EndsWhereItTurnsIntoWhatIsRefused) {
    Stream good;
    good.intraVop(0, ramp);
    good.vop(1, 1, false);
    for (const auto& [layer, tool] :
         {std::pair(secondVersion("00", "1"), "quarter-sample"), std::pair(Layer{.interlaced = "1"}, "interlaced")}) {
        Stream refused(layer);
        refused.intraVop(2, ramp);
        refused.intraVop(3, ramp);
        expectEndsWhereRefused(codecs::makeMpeg4Decoder, good.bytes(), refused.bytes(), tool, 2);
    }
}

}  // namespace
