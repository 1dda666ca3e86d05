// The H.263 decoder on streams written bit by bit: what no encoder at hand makes.
#include "h263/decoder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mpeg4/decoder.h"
#include "support/bit_writer.h"

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
        while (used() % 8 != 0)
            put(0, 1);
        put(0x20, 22);
        put(0, 8);       // temporal reference
        bits("10 000");  // markers, split screen, document camera, freeze release
    }
    void picture(const Baseline& header) {
        begin();
        bits("001");
        bits(header.type);
        bits(header.annexes);
        put(header.quantiser, 5);
        bits(header.multipoint);
        bits("1 10101010 0");  // supplemental information
    }
    void picture(const Extended& header) {
        begin();
        bits("111");
        bits(header.update);
        if (header.update == "001") {
            bits(header.format);
            bits(header.clock);
            bits(header.annexes);
            bits("1000");
        }
        bits(header.type);
        bits(header.modes);
        bits("001");
        bits(header.multipoint);
        bits(header.behind);
        put(header.quantiser, 5);
        bits("0");
        bits(header.firstSlice);
    }
    // Behind zeros that do not end with a byte.
    void group(int number, int quantiser = 8) {
        put(1, 17 + static_cast<int>(used() % 7));
        put(number, 5);
        put(0, 2);
        put(quantiser, 5);
    }
    // Of an I or a P picture.
    void intra(int level, bool inPPicture = false) {
        bits(inPPicture ? "0 00011 0011" : "1 0011");
        for (int block = 0; block < 6; ++block)
            put(block < 4 ? level : 255, 8);
    }
    void skip(int count) {
        for (int i = 0; i < count; ++i)
            bits("1");
    }
};

struct Picture {
    int width, height;
    char type;
    Bytes luma;
    int at(int x, int y) const { return luma[static_cast<std::size_t>(y * width + x)]; }
    // The level of a macroblock that is flat; -1 where it is not.
    int level(int mbX, int mbY) const {
        for (int i = 0; i < 256; ++i)
            if (at(16 * mbX + i % 16, 16 * mbY + i / 16) != at(16 * mbX, 16 * mbY)) return -1;
        return at(16 * mbX, 16 * mbY);
    }
};

struct Decoded {
    std::vector<Picture> pictures;
    codecs::DamageReport damage;
    codecs::StreamInfo info;
};

Decoded decode(const Bytes& stream, std::size_t piece = 1000000,
               std::unique_ptr<codecs::Decoder> decoder = codecs::makeH263Decoder()) {
    Decoded result;
    const auto sink = [&](const codecs::FrameView& frame) {
        const codecs::PlaneView& plane = frame.planes[0];
        Picture picture = {plane.width, plane.height, frame.type, {}};
        for (int y = 0; y < plane.height; ++y)
            picture.luma.insert(picture.luma.end(), plane.data + y * plane.step,
                                plane.data + y * plane.step + plane.width);
        result.pictures.push_back(picture);
    };
    for (std::size_t at = 0; at < stream.size(); at += piece)
        decoder->decode(stream.data() + at, std::min(piece, stream.size() - at), sink);
    decoder->finish(sink);
    result.damage = decoder->damage();
    if (decoder->hasInfo()) result.info = decoder->info();
    return result;
}

int levelOf(int mbX, int mbY) {
    return 41 + 4 * (columns * mbY + mbX);
}

void writeRamp(Stream& stream) {
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns; ++x)
            stream.intra(levelOf(x, y));
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
    stream.intra(200, true);
    stream.skip(columns * rows - 5);
    const Decoded decoded = decode(stream.bytes());
    ASSERT_EQ(decoded.pictures.size(), 2u);
    EXPECT_EQ(decoded.damage.concealedMacroblocks, 0);
    EXPECT_EQ(decoded.pictures[0].type, 'I');
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns; ++x)
            EXPECT_EQ(decoded.pictures[0].level(x, y), levelOf(x, y));
    const Picture& p = decoded.pictures[1];
    EXPECT_EQ(p.type, 'P');
    EXPECT_EQ(p.level(0, 0), levelOf(0, 0));
    EXPECT_EQ(p.level(1, 0), levelOf(0, 0));
    EXPECT_EQ(p.at(2 * 16, 0), levelOf(2, 0) + 3);
    EXPECT_EQ(p.at(2 * 16 + 8, 0), levelOf(2, 0));
    EXPECT_EQ(p.level(3, 0), levelOf(3, 0));
    EXPECT_EQ(p.level(4, 0), 200);
    EXPECT_EQ(p.level(7, 5), levelOf(7, 5));

    // Cut anywhere, and as MPEG-4 video with short headers.
    for (const std::size_t piece : {1, 7}) {
        Bytes video = {0, 0, 1, 0};
        video.insert(video.end(), stream.bytes().begin(), stream.bytes().end());
        for (const Decoded& other : {decode(stream.bytes(), piece), decode(video, piece, codecs::makeMpeg4Decoder()),
                                     decode(stream.bytes(), piece, codecs::makeMpeg4Decoder())}) {
            ASSERT_EQ(other.pictures.size(), 2u);
            EXPECT_EQ(other.pictures[1].luma, p.luma);
            EXPECT_EQ(other.info.width, 128);
        }
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
        const Decoded decoded = decode(stream.bytes());
        ASSERT_EQ(decoded.pictures.size(), 2u);
        EXPECT_EQ(decoded.damage.concealedMacroblocks, 0);
        EXPECT_EQ(decoded.pictures[1].at(14, 3), 101);
        EXPECT_EQ(decoded.pictures[1].at(15, 3), down ? 102 : 103);
        EXPECT_EQ(decoded.pictures[1].at(15, 15), 103);  // (101 + 3 * 104 + 2 or 1) / 4
        EXPECT_EQ(decoded.info.profile, "Annex D");
    }
}

// What a group's header restores, and what is concealed.
TEST(H263Decoder, GroupsOfBlocks) {
    Stream stream;
    stream.picture(Baseline{});
    for (int y = 0; y < rows; ++y) {
        if (y >= 2) stream.group(y);
        for (int x = 0; x < columns; ++x)
            stream.intra(levelOf(x, y));
    }
    stream.picture(Baseline{.type = "1"});
    stream.skip(columns + 3);
    stream.bits("0 0000000000000");  // no code
    stream.group(3, 5);
    // A vector is not predicted across the header: 0 above, 16 to the left as a difference from 0.
    stream.bits("0 1 11 1 1  0 1 1011 0000000000101 1  01110");  // and 2 * 5 + 5 = 15, a flat 2
    stream.skip(columns - 2);
    stream.skip(2 * columns);
    stream.group(31);
    const Decoded decoded = decode(stream.bytes());
    ASSERT_EQ(decoded.pictures.size(), 2u);
    EXPECT_EQ(decoded.damage.damagedPictures, 1);
    EXPECT_EQ(decoded.damage.concealedMacroblocks, 2 * columns - 3);
    const Picture& p = decoded.pictures[1];
    EXPECT_EQ(p.level(2, 2), levelOf(2, 2));
    EXPECT_EQ(p.at(16, 48), levelOf(0, 3) + 2);
    EXPECT_EQ(p.at(24, 48), levelOf(0, 3));
    EXPECT_EQ(p.level(7, 5), levelOf(7, 5));
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
    const Decoded decoded = decode(stream.bytes());
    ASSERT_EQ(decoded.pictures.size(), 1u);
    EXPECT_EQ(decoded.damage.concealedMacroblocks, 0);
    for (int i = 0; i < columns * rows; ++i)
        EXPECT_EQ(decoded.pictures[0].level(i % columns, i / columns), i < 3 ? 148 : 128) << i;
    EXPECT_EQ(decoded.info.profile, "Annexes I, K");
}

TEST(H263Decoder, ReadsSizesAspectsAndClocks) {
    const auto info = [](const Extended& header) {
        Stream stream;
        stream.picture(header);
        return decode(stream.bytes()).info;
    };
    const codecs::StreamInfo qcif = info({.format = "010"});
    EXPECT_EQ(qcif.width, 176);
    EXPECT_EQ(qcif.height, 144);
    EXPECT_EQ(qcif.aspectNumerator, 12);
    EXPECT_EQ(qcif.rateNumerator, 30000);
    // 1:1, 4 * (42 + 1) x 4 * 33; 1.8 MHz / 1000 / 72 = 25, with two more bits of time.
    const codecs::StreamInfo custom =
        info({.format = "110", .clock = "1", .behind = "0001 000101010 1 000100001 0 1001000 00"});
    EXPECT_EQ(custom.width, 172);
    EXPECT_EQ(custom.height, 132);
    EXPECT_EQ(custom.aspectNumerator, 1);
    EXPECT_EQ(custom.aspectDenominator, 1);
    EXPECT_EQ(custom.rateNumerator, 25);
    EXPECT_EQ(custom.rateDenominator, 1);
    const codecs::StreamInfo wide = info({.format = "110", .behind = "1111 000000000 1 000000001 01000000 00001011"});
    EXPECT_EQ(wide.width, 4);
    EXPECT_EQ(wide.height, 4);
    EXPECT_EQ(wide.aspectNumerator, 64);
    EXPECT_EQ(wide.aspectDenominator, 11);
    EXPECT_EQ(info({.format = "110", .behind = "0001 000101010 1 000000000"}).width, 0) << "no height";
    EXPECT_EQ(info({.update = "000"}).width, 0) << "nothing to keep";
}

template <class Header>
std::string refusal(const Header& header) {
    Stream stream;
    stream.picture(header);
    try {
        decode(stream.bytes());
    } catch (const codecs::UnsupportedStream& unsupported) {
        return unsupported.what();
    }
    return "";
}

TEST(H263Decoder, RefusesOtherAnnexesByName) {
    const auto expect = [](const auto& header, const std::string& annex) {
        EXPECT_NE(refusal(header).find("(Annex " + annex + ")"), std::string::npos)
            << annex << ": " << refusal(header);
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

// Later on it is damage, as is a size that changes in a P picture.
TEST(H263Decoder, DamagedHeadersCostAPicture) {
    Stream stream;
    stream.picture(Baseline{});
    writeRamp(stream);
    stream.picture(Baseline{.type = "1", .annexes = "0001"});
    stream.picture(Extended{.format = "010", .type = "001"});
    stream.picture(Baseline{.type = "1"});
    stream.skip(columns * rows);
    const Decoded decoded = decode(stream.bytes());
    ASSERT_EQ(decoded.pictures.size(), 2u);
    EXPECT_EQ(decoded.damage.damagedPictures, 2);
    EXPECT_EQ(decoded.pictures[0].luma, decoded.pictures[1].luma);
}

}  // namespace
