// The H.263 decoder on streams written bit by bit: what no encoder at hand makes.
#include "h263/decoder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mpeg4/decoder.h"
#include "support/bit_writer.h"
#include "support/decoded.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// Pictures of 128x96 samples, of flat macroblocks: the level of INTRADC is the level of the samples.
constexpr int columns = 8;
constexpr int rows = 6;

// The fields of a picture header, as bits; each test changes the one it is about.
struct Baseline {
    std::string_view type = "0";        // I
    std::string_view annexes = "0000";  // D, E, F, G
    std::string_view multipoint = "0";
    int quantiser = 8;
};
struct Extended {
    std::string_view update = "001";
    std::string_view format = "001";
    std::string_view clock = "0";
    std::string_view annexes = "0000000000";  // D, E, F, I, J, K, N, R, S, T
    std::string_view type = "000";            // I
    std::string_view modes = "000";           // P, Q, rounding type
    std::string_view multipoint = "0";
    std::string_view behind = "";  // CPFMT, EPAR, CPCFC, ETR, UUI, SSS
    std::string_view firstSlice = "";
    int quantiser = 8;
};

class Stream : public BitWriter {
  public:
    void begin() {
        align();
        put(0x20, 22);
        put(0, 8);       // temporal reference
        bits("10 000");  // markers, split screen, document camera, freeze release
    }
    void picture(const Baseline& header) {
        begin();
        bits("001", header.type, header.annexes);
        put(header.quantiser, 5);
        bits(header.multipoint, "1 10101010 0");  // supplemental information
    }
    void picture(const Extended& header) {
        begin();
        bits("111", header.update);
        if (header.update == "001") bits(header.format, header.clock, header.annexes, "1000");
        bits(header.type, header.modes, "001", header.multipoint, header.behind);
        put(header.quantiser, 5);
        bits("0", header.firstSlice);
    }
    // Behind zeros that do not end with a byte.
    void group(int number, int quantiser = 8) {
        put(1, 17 + static_cast<int>(used() % 7));
        put(number, 5);
        put(0, 2);
        put(quantiser, 5);
    }
    // In P pictures another type stands before the pattern.
    void intra(int level, std::string_view type = "1") {
        bits(type, "0011");
        for (int block = 0; block < 6; ++block)
            put(block < 4 ? level : 255, 8);
    }
    void skip(int count) {
        for (int i = 0; i < count; ++i)
            bits("1");
    }
};

Decoded decode(const Stream& stream) {
    return decodeWith(codecs::makeH263Decoder(), stream.bytes());
}

// The levels of an I picture's macroblocks.
const std::vector<int> ramp = [] {
    std::vector<int> levels;
    for (int i = 0; i < columns * rows; ++i)
        levels.push_back(41 + 4 * i);
    return levels;
}();

void writeRamp(Stream& stream) {
    for (const int level : ramp)
        stream.intra(level);
}

TEST(H263Decoder, MacroblocksOfEveryType) {
    Stream stream;
    stream.picture(Baseline{});
    writeRamp(stream);
    stream.picture(Baseline{.type = "1"});
    stream.skip(1);
    // Four vectors with DQUANT: 16 samples to the left, then three times no difference; the quantiser becomes 9.
    stream.bits("0 00000000010 11 10 0000000000101 1  1 1 1 1 1 1");
    // Stuffing with its COD, then a vector that is 32 half samples to the left of that, which is none, and a coded block
    // with the level 1 of its DC coefficient: 2 * 9 + 9 = 27, a flat 3.
    stream.bits("0 000000001  0 1 1011 0000000000101 1 01110");
    // DQUANT again, to 7; type 1 with coded Cb only: luminance stays. The vector of the macroblock to the left is 0.
    stream.bits("0 0000110 11 01 1 1 01110");
    stream.intra(200, "0 00011");
    stream.skip(columns * rows - 5);
    const Decoded decoded = decode(stream);
    std::vector<int> levels = ramp;
    levels[1] = ramp[0];
    levels[2] = -1;
    levels[4] = 200;
    expectShows(decoded, "IP", {ramp, levels});
    EXPECT_EQ(decoded.luma(1, 2 * 16, 0), ramp[2] + 3);
    EXPECT_EQ(decoded.luma(1, 2 * 16 + 8, 0), ramp[2]);

    // Cut anywhere, and as MPEG-4 video with short headers.
    Bytes video = {0, 0, 1, 0};
    video.insert(video.end(), stream.bytes().begin(), stream.bytes().end());
    for (const std::size_t piece : {1, 7}) {
        EXPECT_EQ(decodeWith(codecs::makeH263Decoder(), stream.bytes(), piece).frames, decoded.frames);
        EXPECT_EQ(decodeWith(codecs::makeMpeg4Decoder(), stream.bytes(), piece).frames, decoded.frames);
        EXPECT_EQ(decodeWith(codecs::makeMpeg4Decoder(), video, piece).frames, decoded.frames);
    }
}

TEST(H263Decoder, RoundingTypeAndReversibleVectors) {
    for (const bool down : {false, true}) {
        Stream stream;
        stream.picture(Extended{.annexes = "1000000000", .behind = "1"});
        stream.intra(101);
        for (int i = 1; i < columns * rows; ++i)
            stream.intra(104);
        // The format is that of the picture before. Half a sample to the right and down: six zeros and a one.
        stream.picture(Extended{.update = "000", .type = "001", .modes = down ? "001" : "000"});
        stream.bits("0 1 11 000 000 1");
        stream.skip(columns * rows - 1);
        const Decoded decoded = decode(stream);
        ASSERT_EQ(decoded.types, "IP");
        EXPECT_EQ(decoded.damage.concealedMacroblocks, 0);
        EXPECT_EQ(decoded.luma(1, 14, 3), 101);
        EXPECT_EQ(decoded.luma(1, 15, 3), down ? 102 : 103);
        EXPECT_EQ(decoded.luma(1, 15, 15), 103);  // (101 + 3 * 104 + 2 or 1) / 4
        EXPECT_EQ(decoded.info.profile, "Annex D");
    }
}

// What a group's header restores, and what is concealed.
TEST(H263Decoder, GroupsOfBlocks) {
    Stream stream;
    stream.picture(Baseline{});
    for (int i = 0; i < columns * rows; ++i) {
        if (i >= 2 * columns && i % columns == 0) stream.group(i / columns);
        stream.intra(ramp[static_cast<std::size_t>(i)]);
    }
    stream.picture(Baseline{.type = "1"});
    stream.skip(columns + 3);
    stream.bits("0 0000000000000");  // no code
    stream.group(3, 5);
    // A vector is not predicted across the header: 0 above, 16 to the left as a difference from 0.
    stream.bits("0 1 11 1 1  0 1 1011 0000000000101 1  01110");  // and 2 * 5 + 5 = 15, a flat 2
    stream.skip(3 * columns - 2);
    stream.group(31);
    const Decoded decoded = decode(stream);
    std::vector<int> levels = ramp;
    levels[3 * columns + 1] = -1;
    expectShows(decoded, "IP", {ramp, levels}, 2 * columns - 3);
    EXPECT_EQ(decoded.damage.damagedPictures, 1);
    EXPECT_EQ(decoded.luma(1, 16, 48), ramp[3 * columns] + 2);
    EXPECT_EQ(decoded.luma(1, 24, 48), ramp[3 * columns]);
}

TEST(H263Decoder, SlicesInAnyOrderAndAdvancedIntra) {
    Stream stream;
    stream.picture(Extended{.annexes = "0001010000", .behind = "01", .firstSlice = "1 000011 1"});
    // Predicted from both sides. The first block of macroblock 0 has the level 10, 1024 + 2 * 8 * 10 made odd: samples of
    // 148. What is not coded follows it, within its slice.
    const auto uncoded = [&](int count) {
        for (int i = 0; i < count; ++i)
            stream.bits("1 0 0011");
    };
    const auto slice = [&](int address) {
        stream.put(1, 17);
        stream.bits("1");
        stream.put(address, 6);
        stream.put(8, 5);
        stream.bits("1 00");
    };
    uncoded(20 - 3);
    slice(20);
    uncoded(columns * rows - 20);
    slice(0);
    stream.bits("1 0 00010 000001011111 0");
    uncoded(2);
    const Decoded decoded = decode(stream);
    std::vector<int> levels(columns * rows, 128);
    std::fill_n(levels.begin(), 3, 148);
    expectShows(decoded, "I", {levels});
    EXPECT_EQ(decoded.info.profile, "Annexes I, K");
}

TEST(H263Decoder, ReadsSizesAspectsAndClocks) {
    const auto info = [](const Extended& header) {
        Stream stream;
        stream.picture(header);
        const codecs::StreamInfo read = decode(stream).info;
        return std::to_string(read.width) + "x" + std::to_string(read.height) + ", " +
               std::to_string(read.aspectNumerator) + ":" + std::to_string(read.aspectDenominator) + ", " +
               std::to_string(read.rateNumerator) + "/" + std::to_string(read.rateDenominator);
    };
    EXPECT_EQ(info({.format = "010"}), "176x144, 12:11, 30000/1001");
    // 1:1, 4 * (42 + 1) x 4 * 33; 1.8 MHz / 1000 / 72 = 25, with two more bits of time.
    EXPECT_EQ(info({.format = "110", .clock = "1", .behind = "0001 000101010 1 000100001 0 1001000 00"}),
              "172x132, 1:1, 25/1");
    EXPECT_EQ(info({.format = "110", .behind = "1111 000000000 1 000000001 01000000 00001011"}),
              "4x4, 64:11, 30000/1001");
    const std::string none = "0x0, 0:0, 25/1";
    EXPECT_EQ(info({.format = "110", .behind = "0001 000101010 1 000000000"}), none) << "no height";
    EXPECT_EQ(info({.update = "000"}), none) << "nothing to keep";
}

TEST(H263Decoder, RefusesOtherAnnexesByName) {
    const auto expect = [](const auto& header, const std::string& annex) {
        Stream stream;
        stream.picture(header);
        const std::string refused = decode(stream).refused;
        EXPECT_NE(refused.find("(Annex " + annex + ")"), std::string::npos) << annex << ": " << refused;
    };
    expect(Baseline{.annexes = "0100"}, "E");
    expect(Baseline{.annexes = "0001"}, "G");
    expect(Baseline{.multipoint = "1"}, "C");
    expect(Extended{.annexes = "0100000000"}, "E");
    expect(Extended{.annexes = "0000001000"}, "N");
    expect(Extended{.annexes = "0000000100"}, "R");
    expect(Extended{.annexes = "0000000010"}, "S");
    expect(Extended{.annexes = "0000010000", .behind = "10"}, "K");
    expect(Extended{.type = "010"}, "M");
    expect(Extended{.type = "011"}, "O");
    expect(Extended{.modes = "100"}, "P");
    expect(Extended{.modes = "010"}, "Q");
    expect(Extended{.multipoint = "1"}, "C");
}

// Later on one such header is damage, as is a size that changes in a P picture; two are a mode.
TEST(H263Decoder, DamagedHeadersCostAPicture) {
    Stream stream;
    stream.picture(Baseline{});
    writeRamp(stream);
    stream.picture(Baseline{.type = "1", .annexes = "0001"});
    stream.picture(Extended{.format = "010", .type = "001"});
    stream.picture(Baseline{.type = "1"});
    stream.skip(columns * rows);
    const Decoded decoded = decode(stream);
    ASSERT_EQ(decoded.types, "IP");
    EXPECT_EQ(decoded.frames[0], decoded.frames[1]);
    EXPECT_EQ(decoded.damage.damagedPictures, 2);
    for (int i = 0; i < 2; ++i)
        stream.picture(Baseline{.type = "1", .annexes = "0001"});
    EXPECT_NE(decode(stream).refused.find("(Annex G)"), std::string::npos);
}

}  // namespace
