// The MPEG-1/2 decoder on streams written bit by bit: what no encoder at hand makes.
#include "mpeg2/decoder.h"

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
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
        bits("01001000");  // Main profile, Main level
        bits("0");         // interlaced
        put(chromaFormat, 2);
        bits("0000000000000000");
        bits("1");
        bits("0000000000000000");
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
        bits("1");
        bits(options.framePredFrameDct ? "1" : "0");
        bits(options.concealmentVectors ? "1" : "0");
        bits("0000");
        bits("010");
    }

    // Starts a slice; rows count from 0.
    void slice(int row) {
        startCode(row + 1);
        bits("00010");  // quantiser_scale_code
        bits("0");
        luma_ = 128;
    }

    void intraMacroblock(int luma) {
        bits("1");
        bits(type_ == 1 ? "1" : "00011");
        if (options_.concealmentVectors) bits("010 0 1 1");  // one half sample, none, marker
        dc(luma - luma_);
        luma_ = luma;
        for (int block = 1; block < 4; ++block)
            dc(0);
        for (int block = 4; block < 6; ++block)
            bits("0010");
    }

    // A macroblock of the given type without coded blocks, with the vectors' codes.
    void predictedMacroblock(std::string_view type, std::string_view vectors) {
        bits("1");
        bits(type);
        bits(vectors);
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
    void dc(int difference) {
        static constexpr std::string_view sizes[] = {"100",  "00",    "01",     "101",    "110",
                                                     "1110", "11110", "111110", "1111110"};
        const int size = std::bit_width(static_cast<unsigned>(std::abs(difference)));
        bits(sizes[size]);
        put(difference > 0 ? difference : difference + (1 << size) - 1, size);
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

// The first and the last sample of a macroblock's first row.
std::pair<int, int> ends(const Decoded& decoded, std::size_t frame, int column) {
    return {decoded.luma(frame, column * 16, 0), decoded.luma(frame, column * 16 + 15, 0)};
}

const std::vector<int> levels = {20, 60, 100, 140, 180, 220};

TEST(Mpeg2Decoder, TakesTheStreamInPiecesOfAnySize) {
    Stream stream(true);
    stream.bits("000000001111000000000000");  // not yet a stream
    stream.sequence();
    stream.intraPicture(levels);
    stream.intraPicture({levels.rbegin(), levels.rend()});
    const Decoded whole = decode(stream);
    ASSERT_EQ(whole.types, "II");
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(whole.level(0, i % columns, i / columns), levels[static_cast<std::size_t>(i)]);
    for (const std::size_t chunk : {1, 2, 3, 7})
        EXPECT_EQ(decode(stream, chunk).frames, whole.frames) << chunk;
    EXPECT_EQ(whole.damage.concealedMacroblocks, 0);
}

TEST(Mpeg2Decoder, PassesOverConcealmentVectors) {
    Stream plain(true), concealing(true);
    plain.sequence();
    plain.intraPicture(levels);
    concealing.sequence();
    concealing.intraPicture(levels, {.concealmentVectors = true});
    const Decoded decoded = decode(concealing);
    EXPECT_EQ(decoded.frames, decode(plain).frames);
    EXPECT_EQ(decoded.damage.concealedMacroblocks, 0);
}

// One vector code, 16 to the right and none down, in both units of MPEG-1.
TEST(Mpeg2Decoder, FullSampleVectorsOfMpeg1) {
    for (const bool fullPel : {false, true}) {
        Stream stream(false);
        stream.sequence();
        stream.intraPicture(levels);
        stream.picture(2, {.fullPel = fullPel});
        for (int row = 0; row < rows; ++row) {
            stream.slice(row);
            stream.predictedMacroblock("001", "0000010110 1 1");
            stream.predictedMacroblock("001", "1 1");
            stream.predictedMacroblock("001",
                                       "1 1");  // beyond the right edge, and moved back to it
        }
        const Decoded decoded = decode(stream);
        ASSERT_EQ(decoded.types, "IP");
        using Ends = std::pair<int, int>;
        EXPECT_EQ(ends(decoded, 1, 0), fullPel ? Ends(60, 60) : Ends(20, 60));
        EXPECT_EQ(ends(decoded, 1, 1), fullPel ? Ends(100, 100) : Ends(60, 100));
        EXPECT_EQ(ends(decoded, 1, 2), Ends(100, 100));
        EXPECT_EQ(decoded.damage.concealedMacroblocks, 0);
    }
}

TEST(Mpeg2Decoder, PairsFieldsAndDoublesALoneOne) {
    const std::vector<int> field = {30, 90, 150};
    for (const bool paired : {true, false}) {
        Stream stream(true);
        stream.sequence();
        stream.intraPicture(field, {.structure = 1, .framePredFrameDct = false});
        if (paired) {
            // The bottom field, predicted from the top field of the same frame.
            stream.picture(2, {.structure = 2, .framePredFrameDct = false});
            stream.slice(0);
            for (int column = 0; column < columns; ++column)
                stream.predictedMacroblock("001", "01 0 1 1");
        }
        const Decoded decoded = decode(stream);
        ASSERT_EQ(decoded.types, "I");
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column)
                EXPECT_EQ(decoded.level(0, column, row), field[static_cast<std::size_t>(column)]);
        }
        EXPECT_EQ(decoded.damage.concealedMacroblocks, paired ? 0 : columns);
    }
}

TEST(Mpeg2Decoder, LeavesOutLeadingPicturesOfAnOpenGroup) {
    for (const bool closed : {false, true}) {
        Stream stream(true);
        stream.sequence();
        stream.group(closed);
        stream.intraPicture(levels);
        stream.picture(3);
        for (int row = 0; row < rows; ++row) {
            stream.slice(row);
            for (int column = 0; column < columns; ++column)
                stream.predictedMacroblock("010",
                                           "1 1");  // backward
        }
        stream.startCode(0xB7);
        const Decoded decoded = decode(stream);
        EXPECT_EQ(decoded.types, closed ? "BI" : "I");
        EXPECT_EQ(decoded.frames.front(), decoded.frames.back());
        EXPECT_EQ(decoded.damage.concealedMacroblocks, 0);
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
    ASSERT_EQ(decoded.types, "IP");
    EXPECT_EQ(decoded.level(0, 1, 0), 60);
    EXPECT_EQ(decoded.level(0, 1, 1), 128);
    EXPECT_EQ(decoded.level(1, 1, 0), 60);
    EXPECT_EQ(decoded.level(1, 1, 1), 200);
    EXPECT_EQ(decoded.damage.concealedMacroblocks, 2 * columns);
    EXPECT_EQ(decoded.damage.damagedPictures, 2);
}

TEST(Mpeg2Decoder, NamesWhatItDoesNotDecode) {
    const auto expectRefusal = [](std::string_view name, bool mpeg2, int width, int height, int format,
                                  std::string_view scalability, int type) {
        Stream stream(mpeg2);
        stream.sequence(width, height, format);
        if (!scalability.empty()) stream.extension(5);
        stream.bits(scalability);
        stream.picture(type);
        stream.slice(0);
        EXPECT_NE(decode(stream).refused.find(name), std::string::npos) << name;
    };
    expectRefusal("4:2:2", true, 48, 32, 2, "", 1);
    expectRefusal("4:4:4", true, 48, 32, 3, "", 1);
    expectRefusal("SNR scalability", true, 48, 32, 1, "10 0000", 1);
    expectRefusal("D pictures", false, 48, 32, 1, "", 4);
    expectRefusal("4095x4095", true, 4095, 4095, 1, "", 1);
}

}  // namespace
