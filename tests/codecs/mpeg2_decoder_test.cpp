// The MPEG-1/2 decoder on streams written bit by bit: what no encoder at hand makes.
#include "mpeg2/decoder.h"

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

struct PictureOptions {
    int structure = 3;
    bool concealmentVectors = false;
    bool fullPel = false;
    bool framePredFrameDct = true;
};

// Writes flat macroblocks: every block has its DC only.
class Stream : public BitWriter {
  public:
    explicit Stream(bool mpeg2) : mpeg2_(mpeg2) {}

    void sequence(int width = 16 * columns, int height = 16 * rows, int chromaFormat = 1) {
        startCode(0xB3);
        put(width, 12);
        put(height, 12);
        bits("00010011");  // square samples, 25 pictures per second
        put(0x3FFFF, 18);  // bit rate
        bits("1");
        put(0, 10 + 1 + 2);  // buffer size, constrained, no matrices
        if (!mpeg2_) return;
        extension(1);
        bits("01001000 0");  // Main profile, Main level; interlaced
        put(chromaFormat, 2);
        bits("0000000000000000 1 0000000000000000");
    }

    void group(bool closed) {
        startCode(0xB8);
        put(1 << 12, 25);
        bits(closed ? "10" : "00");
    }

    void picture(int type, PictureOptions options = {}) {
        type_ = type;
        options_ = options;
        startCode(0x00);
        put(0, 10);
        put(type, 3);
        put(0xFFFF, 16);
        const std::string_view vectorCodes = options.fullPel ? "1010" : "0010";  // f_code 2
        for (int direction = 1; direction < type && direction < 3; ++direction)
            bits(vectorCodes);
        bits("0");
        if (!mpeg2_) return;
        extension(8);
        bits("0010001000100010");  // all f_codes 2
        put(0, 2);
        put(options.structure, 2);
        bits("1", options.framePredFrameDct ? "1" : "0", options.concealmentVectors ? "1" : "0", "0000 010");
    }

    // Starts a slice; rows count from 0.
    void slice(int row) {
        startCode(row + 1);
        bits("00010 0");  // quantiser_scale_code
        luma_ = 128;
    }

    void intraMacroblock(int luma) {
        bits(type_ == 1 ? "1 1" : "1 00011");
        if (options_.concealmentVectors) bits("010 0 1 1");  // one half sample, none, marker
        dc(luma - luma_);
        luma_ = luma;
        for (int block = 1; block < 4; ++block)
            dc(0);
        bits("0010 0010");
    }

    // Slices of macroblocks of the same bits.
    void slices(int count, std::string_view macroblock) {
        for (int row = 0; row < count; ++row) {
            slice(row);
            for (int column = 0; column < columns; ++column)
                bits(macroblock);
        }
    }

    // An intra picture with macroblocks of these levels.
    void intraPicture(const std::vector<int>& levels, PictureOptions options = {}) {
        picture(1, options);
        for (std::size_t i = 0; i < levels.size(); ++i) {
            if (i % columns == 0) slice(static_cast<int>(i) / columns);
            intraMacroblock(levels[i]);
        }
    }

    void extension(int id) {
        startCode(0xB5);
        put(id, 4);
    }

  private:
    // A luminance DC difference (ISO/IEC 13818-2, table B.12) and the end of the block.
    void dc(int value) {
        static constexpr std::string_view sizes[] = {"100",  "00",    "01",     "101",    "110",
                                                     "1110", "11110", "111110", "1111110"};
        difference(value, sizes);
        bits("10");
    }

    bool mpeg2_;
    int type_ = 1;
    PictureOptions options_;
    int luma_ = 128;
};

Decoded decode(const Stream& stream, std::size_t piece = 1 << 20) {
    return decodeWith(codecs::makeMpeg2Decoder(), stream.bytes(), piece);
}

const std::vector<int> levels = {20, 60, 100, 140, 180, 220};

TEST(Mpeg2Decoder, TakesTheStreamInPiecesOfAnySize) {
    Stream stream(true);
    stream.bits("000000001111000000000000");  // not yet a stream
    stream.sequence();
    stream.intraPicture(levels);
    stream.intraPicture({levels.rbegin(), levels.rend()});
    const Decoded whole = decode(stream);
    expectShows(whole, "II", {levels, {levels.rbegin(), levels.rend()}});
    for (const std::size_t chunk : {1, 2, 3, 7})
        EXPECT_EQ(decode(stream, chunk).frames, whole.frames) << chunk;
}

TEST(Mpeg2Decoder, PassesOverConcealmentVectors) {
    Stream stream(true);
    stream.sequence();
    stream.intraPicture(levels, {.concealmentVectors = true});
    expectShows(decode(stream), "I", {levels});
}

// One vector code, 8 or 16 samples to the right, in both units of MPEG-1. Beyond the edge the vector is moved back to it.
TEST(Mpeg2Decoder, FullSampleVectorsOfMpeg1) {
    for (const bool fullPel : {false, true}) {
        Stream stream(false);
        stream.sequence();
        stream.intraPicture(levels);
        stream.picture(2, {.fullPel = fullPel});
        for (int row = 0; row < rows; ++row) {
            stream.slice(row);
            stream.bits("1 001 0000010110 1 1  1 001 1 1  1 001 1 1");
        }
        const Decoded decoded = decode(stream);
        ASSERT_EQ(decoded.types, "IP");
        for (int x = 0; x < 16 * columns; ++x) {
            const int from = std::min(x + (fullPel ? 16 : 8), 16 * columns - 16 + x % 16);
            EXPECT_EQ(decoded.luma(1, x, 0), decoded.luma(0, from, 0));
        }
        EXPECT_EQ(decoded.damage.concealedMacroblocks, 0);
    }
}

TEST(Mpeg2Decoder, PairsFieldsAndDoublesALoneOne) {
    for (const bool paired : {true, false}) {
        Stream stream(true);
        stream.sequence();
        stream.intraPicture({30, 90, 150}, {.structure = 1, .framePredFrameDct = false});
        if (paired) {
            // The bottom field, predicted from the top field of the same frame.
            stream.picture(2, {.structure = 2, .framePredFrameDct = false});
            stream.slices(1, "1 001 01 0 1 1");
        }
        expectShows(decode(stream), "I", {{30, 90, 150, 30, 90, 150}}, paired ? 0 : columns);
    }
}

TEST(Mpeg2Decoder, LeavesOutLeadingPicturesOfAnOpenGroup) {
    for (const bool closed : {false, true}) {
        Stream stream(true);
        stream.sequence();
        stream.group(closed);
        stream.intraPicture(levels);
        stream.picture(3);
        stream.slices(rows, "1 010 1 1");  // backward
        stream.startCode(0xB7);
        expectShows(decode(stream), closed ? "BI" : "I", {levels});
    }
}

TEST(Mpeg2Decoder, RepeatsWhatIsMissing) {
    Stream stream(true);
    stream.sequence();
    stream.intraPicture({levels.begin(), levels.begin() + columns});  // no second row: grey
    stream.picture(2);
    stream.slice(1);
    for (int column = 0; column < columns; ++column)
        stream.intraMacroblock(200);
    const Decoded decoded = decode(stream);
    expectShows(decoded, "IP", {{20, 60, 100, 128, 128, 128}, {20, 60, 100, 200, 200, 200}}, 2 * columns);
    EXPECT_EQ(decoded.damage.damagedPictures, 2);
}

TEST(Mpeg2Decoder, NamesWhatItDoesNotDecode) {
    const struct {
        std::string_view name;
        bool mpeg2 = true;
        int size = 48;
        int chromaFormat = 1;
        std::string_view scalability = "";
        int type = 1;
    } cases[] = {{.name = "4:2:2", .chromaFormat = 2},
                 {.name = "4:4:4", .chromaFormat = 3},
                 {.name = "SNR scalability", .scalability = "10 0000"},
                 {.name = "D pictures", .mpeg2 = false, .type = 4},
                 {.name = "4095x4095", .size = 4095}};
    for (const auto& c : cases) {
        Stream stream(c.mpeg2);
        stream.sequence(c.size, c.size, c.chromaFormat);
        if (!c.scalability.empty()) stream.extension(5);
        stream.bits(c.scalability);
        stream.picture(c.type);
        stream.slice(0);
        EXPECT_NE(decode(stream).refused.find(c.name), std::string::npos) << c.name;
    }
}

TEST(Mpeg2Decoder, EndsWhereItTurnsIntoWhatIsRefused) {
    for (const bool mpeg2 : {true, false}) {
        Stream good(mpeg2), refused(mpeg2);
        good.sequence();
        good.intraPicture(levels);
        good.intraPicture(levels);
        refused.sequence(16 * columns, 16 * rows, 2);
        for (int i = 0; i < (mpeg2 ? 2 : 1); ++i) {
            refused.picture(mpeg2 ? 1 : 4);
            refused.slice(0);
        }
        expectEndsWhereRefused(codecs::makeMpeg2Decoder, good.bytes(), refused.bytes(),
                               mpeg2 ? "4:2:2" : "D pictures", mpeg2 ? 2 : 1);
    }
}

}  // namespace
