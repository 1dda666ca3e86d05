// The H.264 decoder on streams written bit by bit: what no encoder at hand makes.
#include "h264/decoder.h"

#include <algorithm>
#include <bit>
#include <concepts>
#include <cstdint>
#include <string>
#include <vector>

#include "support/bit_writer.h"
#include "support/decoded.h"

namespace {

constexpr int columns = 2;  // macroblocks
constexpr int rows = 2;

// A NAL unit written bit by bit.
class Unit {
  public:
    Unit(int reference, int type) : header_(static_cast<std::uint8_t>(reference << 5 | type)) {}

    Unit& put(std::integral auto value, int count) {
        bits_.put(value, count);
        return *this;
    }
    Unit& ue(std::integral auto value) {
        const int length = std::bit_width(static_cast<unsigned>(value) + 1) - 1;
        return put(0, length).put(value + 1, length + 1);
    }
    Unit& se(int value) { return ue(value > 0 ? 2 * value - 1 : -2 * value); }
    Unit& align() {
        bits_.align();
        return *this;
    }

    // With start code, stop bit and emulation prevention.
    std::vector<std::uint8_t> bytes() {
        put(1, 1).align();
        std::vector<std::uint8_t> out = {0, 0, 1, header_};
        int zeros = 0;
        for (const std::uint8_t byte : bits_.bytes()) {
            if (zeros >= 2 && byte <= 3) {
                out.push_back(3);
                zeros = 0;
            }
            out.push_back(byte);
            zeros = byte == 0 ? zeros + 1 : 0;
        }
        return out;
    }

  private:
    std::uint8_t header_;
    BitWriter bits_;
};

struct Options {
    int orderType = 2;
    int references = 2;
    bool framesOnly = true;
    bool gapsAllowed = false;
    bool cabac = false;
    int sliceGroups = 1;
    bool transform8x8 = false;
    bool redundant = false;
};

struct PictureOptions {
    int reference = 1;
    bool idr = false;
    int frameNum = 0;
    int order = -1;                              // type 0: the low bits, -1 for the next even number; type 1: delta
    std::vector<std::pair<int, int>> list = {};  // list modification
    std::vector<std::vector<int>> marking = {};  // adaptive marking
    bool longTerm = false;                       // of an IDR picture
    int redundant = 0;
};

// Flat pictures: coded without compression, or skipped, which repeats the first reference of the list.
class Stream {
  public:
    explicit Stream(const Options& options = {}) : options_(options) {
        Unit sequence(3, 7);
        sequence.put(66, 8).put(0xC0, 8).put(10, 8).ue(0);
        sequence.ue(0).ue(options.orderType);
        if (options.orderType == 0) sequence.ue(0);
        // A cycle of two references, 4 and 6 apart; others are 1 before their place.
        if (options.orderType == 1) sequence.put(0, 1).se(-1).se(0).ue(2).se(4).se(6);
        sequence.ue(options.references).put(options.gapsAllowed, 1);
        sequence.ue(columns - 1).ue(rows - 1).put(options.framesOnly, 1);
        if (!options.framesOnly) sequence.put(0, 1);
        add(sequence.put(1, 1).put(0, 2));

        Unit picture(3, 8);
        picture.ue(0).ue(0).put(options.cabac, 1).put(0, 1).ue(options.sliceGroups - 1);
        if (options.sliceGroups > 1) picture.ue(0).ue(0).ue(0);
        picture.ue(0).ue(0).put(0, 3).se(0).se(0).se(0).put(0, 2).put(options.redundant, 1);
        if (options.transform8x8) picture.put(1, 1).put(0, 1).se(0);
        add(picture);
    }

    void flat(std::uint8_t value, const PictureOptions& picture) {
        add(flatSlice(value, picture, 0, columns * rows));
    }

    // A slice of uncompressed macroblocks.
    Unit flatSlice(std::uint8_t value, const PictureOptions& picture, int first, int count) {
        Unit slice = header(picture, 7, first);
        for (int i = 0; i < count; ++i) {
            slice.ue(25).align();
            for (int sample = 0; sample < 384; ++sample)
                slice.put(value, 8);
        }
        return slice;
    }

    void skipped(const PictureOptions& picture) { add(header(picture, 5, 0).ue(columns * rows)); }

    void add(Unit unit) {
        const auto bytes = unit.bytes();
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }

    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

  private:
    Unit header(const PictureOptions& picture, unsigned type, int first) {
        Unit slice(picture.reference, picture.idr ? 5 : 1);
        slice.ue(first).ue(type).ue(0).put(picture.frameNum, 4);
        if (picture.idr) slice.ue(0);
        if (options_.orderType == 0) slice.put(nextOrder(picture), 4);
        if (options_.orderType == 1) slice.se(std::min(picture.order + 1, 0));
        if (options_.redundant) slice.ue(picture.redundant);
        if (type == 5) {
            slice.put(0, 1).put(!picture.list.empty(), 1);
            for (const auto& [operation, value] : picture.list)
                slice.ue(operation).ue(value);
            if (!picture.list.empty()) slice.ue(3);
        }
        if (picture.reference && picture.idr) slice.put(0, 1).put(picture.longTerm, 1);
        if (picture.reference && !picture.idr) {
            slice.put(!picture.marking.empty(), 1);
            for (const auto& command : picture.marking)
                for (const int value : command)
                    slice.ue(value);
            if (!picture.marking.empty()) slice.ue(0);
        }
        return slice.se(0);
    }

    int nextOrder(const PictureOptions& picture) {
        if (picture.order >= 0) return picture.order;
        if (picture.idr) order_ = 0;
        const int order = order_ & 15;
        const bool startsAgain = picture.marking == std::vector<std::vector<int>>{{5}};
        order_ = startsAgain ? 2 : order_ + 2;
        return order;
    }

    Options options_;
    int order_ = 0;
    std::vector<std::uint8_t> bytes_;
};

Decoded decode(const Stream& stream) {
    return decodeWith(codecs::makeH264Decoder(), stream.bytes(), 1);
}

// Expects flat frames of these values, in order of display.
void expectValues(const Stream& stream, const std::vector<int>& values, int concealed = 0) {
    const Decoded decoded = decode(stream);
    ASSERT_EQ(decoded.frames.size(), values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto& frame = decoded.frames[i];
        EXPECT_EQ(std::count(frame.begin(), frame.end(), values[i]), std::ssize(frame)) << i << ": " << int(frame[0]);
    }
    EXPECT_EQ(decoded.damage.concealedMacroblocks, concealed);
    EXPECT_EQ(decoded.damage.damagedPictures, concealed > 0);
}

TEST(H264Decoder, RefusesByName) {
    const auto refusal = [](const Options& options) {
        Stream stream(options);
        stream.flat(50, {.idr = true});
        return decode(stream).refused;
    };
    EXPECT_EQ(refusal({}), "");
    EXPECT_EQ(refusal({.framesOnly = false}), "interlaced coding is not supported");
    EXPECT_EQ(refusal({.cabac = true}), "CABAC is not supported");
    EXPECT_EQ(refusal({.sliceGroups = 2}), "flexible macroblock ordering is not supported");
    EXPECT_EQ(refusal({.transform8x8 = true}), "the 8x8 transform is not supported");

    Stream partitioned;
    partitioned.add(Unit(1, 2).ue(0).ue(7).ue(0));
    EXPECT_EQ(decode(partitioned).refused, "data partitioning is not supported");
    Stream switching;
    switching.add(Unit(1, 1).ue(0).ue(8).ue(0).put(0, 16));
    EXPECT_EQ(decode(switching).refused, "SP and SI slices are not supported");
}

TEST(H264Decoder, EndsWhereItTurnsIntoWhatIsRefused) {
    const auto pictures = [](const Options& options) {
        Stream stream(options);
        stream.flat(50, {.idr = true});
        stream.flat(60, {.frameNum = 1});
        return stream;
    };
    const auto good = pictures({.orderType = 0}).bytes();
    const auto expectEnds = [&](const std::vector<std::uint8_t>& refused, const std::string& tool, int lost) {
        expectEndsWhereRefused(codecs::makeH264Decoder, good, refused, tool, lost);
    };
    expectEnds(pictures({.cabac = true}).bytes(), "CABAC", 2);
    expectEnds(pictures({.transform8x8 = true}).bytes(), "8x8 transform", 2);
    expectEnds(pictures({.framesOnly = false}).bytes(), "interlaced coding", 2);

    // Slices say it themselves.
    for (const int type : {1, 2}) {
        Stream turned = pictures({.orderType = 0});
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(decode(turned).refused, "");
            turned.add(Unit(1, type).ue(0).ue(8).ue(0).put(0, 16));
        }
        const Decoded decoded = decode(turned);
        EXPECT_EQ(decoded.refused,
                  type == 1 ? "SP and SI slices are not supported" : "data partitioning is not supported");
        EXPECT_EQ(decoded.frames.size(), 2U);
    }
}

TEST(H264Decoder, UncompressedSamplesWithEmulationPrevention) {
    for (const int value : {0, 1, 3, 255}) {
        Stream stream;
        stream.flat(static_cast<std::uint8_t>(value), {.idr = true});
        stream.skipped({.frameNum = 1});
        expectValues(stream, {value, value});
    }
}

TEST(H264Decoder, OrderOfDisplay) {
    // Type 0, over the end of the 4 low bits.
    Stream lsb({.orderType = 0, .references = 1});
    lsb.flat(10, {.idr = true, .order = 0});
    lsb.flat(40, {.frameNum = 1, .order = 6});
    lsb.flat(20, {.reference = 0, .frameNum = 2, .order = 2});
    lsb.flat(30, {.reference = 0, .frameNum = 2, .order = 4});
    lsb.flat(60, {.frameNum = 2, .order = 12});
    lsb.flat(50, {.reference = 0, .frameNum = 3, .order = 8});
    lsb.flat(80, {.frameNum = 3, .order = 2});
    lsb.flat(70, {.reference = 0, .frameNum = 4, .order = 14});
    expectValues(lsb, {10, 20, 30, 40, 50, 60, 70, 80});

    // Type 1: 0, 4, 9 (10 less 1), 10.
    Stream cycle({.orderType = 1});
    cycle.flat(10, {.idr = true});
    cycle.flat(20, {.frameNum = 1});
    cycle.flat(40, {.frameNum = 2});
    cycle.flat(30, {.reference = 0, .frameNum = 3, .order = -6});  // 13 less 5
    expectValues(cycle, {10, 20, 30, 40});
}

TEST(H264Decoder, SlidingWindowAndListModification) {
    Stream stream({.orderType = 0, .references = 2});
    stream.flat(10, {.idr = true});
    stream.flat(20, {.frameNum = 1});
    stream.skipped({.reference = 0, .frameNum = 2});                    // the newest
    stream.skipped({.reference = 0, .frameNum = 2, .list = {{0, 1}}});  // two before
    stream.flat(30, {.frameNum = 2});                                   // pushes out the first
    stream.skipped({.reference = 0, .frameNum = 3, .list = {{0, 1}}});
    stream.skipped({.reference = 0, .frameNum = 3, .list = {{0, 1}, {1, 0}}});
    expectValues(stream, {10, 20, 20, 10, 30, 20, 20});
}

TEST(H264Decoder, AdaptiveMarking) {
    Stream stream({.orderType = 0, .references = 3});
    stream.flat(10, {.idr = true, .longTerm = true});  // long-term 0
    stream.flat(20, {.frameNum = 1});
    stream.skipped({.reference = 0, .frameNum = 2, .list = {{2, 0}}});
    stream.flat(30, {.frameNum = 2, .marking = {{4, 2}, {3, 0, 1}}});  // 20 becomes long-term 1
    stream.skipped({.reference = 0, .frameNum = 3, .list = {{2, 1}}});
    stream.flat(40, {.frameNum = 3, .marking = {{2, 0}}});          // 10 is forgotten
    stream.flat(50, {.frameNum = 4, .marking = {{1, 0}, {6, 0}}});  // 40 too; itself long-term 0
    stream.skipped({.reference = 0, .frameNum = 5});                // 30, short-term
    stream.skipped({.reference = 0, .frameNum = 5, .list = {{2, 0}}});
    stream.flat(60, {.frameNum = 5, .marking = {{5}}});  // all are forgotten
    stream.skipped({.frameNum = 1});
    expectValues(stream, {10, 20, 10, 30, 20, 40, 50, 30, 50, 60, 60});
}

TEST(H264Decoder, GapsOfFrameNumbers) {
    for (const bool allowed : {true, false}) {
        Stream stream({.orderType = 0, .references = 3, .gapsAllowed = allowed});
        stream.flat(10, {.idr = true});
        stream.flat(20, {.frameNum = 1});
        // 2 is missing; 1 and 0 are still there, two and three before.
        stream.skipped({.reference = 0, .frameNum = 3, .list = {{0, 1}}});
        stream.skipped({.reference = 0, .frameNum = 3, .list = {{0, 2}}});
        stream.flat(30, {.frameNum = 3});
        stream.skipped({.reference = 0, .frameNum = 4});
        // It counts as lost unless it may have been left out.
        expectValues(stream, {10, 20, 20, 10, 30, 30}, allowed ? 0 : columns * rows);
    }
}

TEST(H264Decoder, SlicesOfOnePicture) {
    Stream stream({.redundant = true});
    const PictureOptions idr = {.idr = true};
    stream.add(stream.flatSlice(70, idr, 0, 2));
    PictureOptions redundant = idr;
    redundant.redundant = 1;
    stream.add(stream.flatSlice(99, redundant, 0, 4));
    stream.add(stream.flatSlice(70, idr, 2, 2));
    expectValues(stream, {70});

    // A lost slice is repeated from the picture before.
    PictureOptions next = {.frameNum = 1};
    stream.add(stream.flatSlice(70, next, 3, 1));
    expectValues(stream, {70, 70}, 3);
}

TEST(H264Decoder, StartsAtRandomAccessPoints) {
    Stream stream;
    stream.skipped({.frameNum = 3});
    stream.flat(80, {.frameNum = 4});
    stream.skipped({.frameNum = 5});
    expectValues(stream, {80, 80});

    // From a recovery point on the missing references are grey.
    Stream recovery;
    recovery.add(Unit(0, 6).put(6, 8).put(1, 8).put(0xFF, 8));
    recovery.skipped({.frameNum = 3});
    expectValues(recovery, {128});
}

}  // namespace
