// The H.263 encoder: its groups of blocks, and the rules of streams that a decoder does not notice.
#include "h263/encoder.h"

#include <set>

#include "codecs/encoding.h"
#include "common/byte_bits.h"
#include "h263/decoder.h"
#include "h263/tables.h"

namespace {

using namespace encoding;
using codecs::h263::standardSizes;

Encoded encodeH263(const EncoderSettings& settings, Content content, int count) {
    return encode(codecs::makeH263Encoder, settings, content, count);
}

// Groups of blocks of one, two and four rows.
TEST(H263Encoder, LargePicturesAndGroups) {
    for (std::size_t format = 3; format < 6; ++format) {
        EncoderSettings settings = {
            .width = standardSizes[format].width, .height = standardSizes[format].height, .quantiser = 12};
        std::vector<std::size_t> sizes;
        for (const int packetBits : {0, 1, 20000}) {
            settings.packetBits = packetBits;
            const Encoded encoded = encodeH263(settings, Content::racing, 2);
            expectDecodes(codecs::makeH263Decoder, encoded);
            sizes.push_back(encoded.stream.size());
        }
        EXPECT_LT(sizes[0], sizes[2]);
        EXPECT_LT(sizes[2], sizes[1]);
    }
}

// A reader of its own, which looks at the syntax only.
class Reader {
  public:
    Reader(const Encoded& encoded, std::size_t format)
        : bytes_(encoded.stream),
          types_(encoded.types),
          format_(format),
          columns_(standardSizes[format].width / 16),
          rows_(standardSizes[format].height / 16),
          counts_(static_cast<std::size_t>(columns_ * rows_)),
          vectors_(counts_.size()) {
        const std::size_t size = bytes_.size();
        bytes_.resize(size + 8);
        bits_ = codecs::BitReader(bytes_.data(), size);
        while (!bits_.atEnd() && !testing::Test::HasFailure())
            readPicture();
    }

    std::vector<int> times;                // temporal references
    std::vector<std::set<int>> frameIds;   // GFID, by picture
    std::vector<std::vector<int>> groups;  // numbers of the groups with a header, by picture
    int most = 0;                          // times that coefficients were sent for a macroblock not intra meanwhile
    int refreshed = 0;                     // intra macroblocks of P pictures
    bool outside = false;                  // a vector led outside the picture

  private:
    // Zeros up to the next byte.
    void align() {
        if (*bits_.offset() == 0) return;
        EXPECT_EQ(0U, bits_.get(8 - *bits_.offset()));
    }

    void readPicture() {
        intraPicture_ = types_.at(times.size()) == 'I';
        EXPECT_EQ(1U << 5, bits_.get(22));
        times.push_back(bits_.getInt(8));
        EXPECT_EQ(2U << 3, bits_.get(5));
        EXPECT_EQ(format_, bits_.get(3));
        EXPECT_EQ(intraPicture_ ? 0U : 1U << 4, bits_.get(5));
        const int quantiser = bits_.getInt(5);
        EXPECT_EQ(0U, bits_.get(2));
        frameIds.emplace_back();
        groups.emplace_back();
        int groupRow = 0;  // the first row behind the last header
        for (int y = 0; y < rows_; ++y) {
            codecs::BitReader ahead = bits_;
            if (*ahead.offset() != 0) ahead.skip(8 - *ahead.offset());
            if (y > 0 && ahead.peek(17) == 1) {
                align();
                bits_.skip(17);
                groups.back().push_back(bits_.getInt(5));
                frameIds.back().insert(bits_.getInt(2));
                EXPECT_EQ(quantiser, bits_.getInt(5));
                groupRow = y;
            }
            for (int x = 0; x < columns_; ++x)
                readMacroblock(x, y, groupRow);
        }
        align();
    }

    void readMacroblock(int x, int y, int groupRow) {
        const auto at = static_cast<std::size_t>(y * columns_ + x);
        vectors_[at] = {};
        if (!intraPicture_ && bits_.flag()) return;
        Qvo8u mcbpc, cbpy;
        ASSERT_EQ(qvoStatusOk, (intraPicture_ ? qvoiDecodeMCBPCIntra_H263 : qvoiDecodeMCBPCInter_H263)(
                                   bits_.byte(), bits_.offset(), &mcbpc));
        const bool intra = (mcbpc & 15) == 3;
        ASSERT_TRUE(intra || (mcbpc & 15) == 0);
        ASSERT_EQ(qvoStatusOk, qvoiDecodeCBPY_H263(bits_.byte(), bits_.offset(), &cbpy));
        const int pattern = (intra ? cbpy ^ 15 : cbpy) << 2 | mcbpc >> 4;
        if (!intra) {
            const auto* const here = &vectors_[at];
            const auto* const left = x > 0 ? here[-1].data() : nullptr;
            const auto* const above = y > groupRow ? here[-columns_].data() : nullptr;
            const auto* const right = above != nullptr && x + 1 < columns_ ? here[1 - columns_].data() : nullptr;
            ASSERT_EQ(qvoStatusOk, qvoiDecodeMV_H263(bits_.byte(), bits_.offset(), left, above, right,
                                                     vectors_[at].data(), qvoMVBaseline, 0));
            const QvoMotionVector v = vectors_[at][0];
            outside |= 32 * x + v.dx < 0 || 32 * y + v.dy < 0 || 32 * x + v.dx > 32 * (columns_ - 1) ||
                       32 * y + v.dy > 32 * (rows_ - 1);
        }
        for (int block = 0; block < 6; ++block) {
            Qvo16s levels[64];
            Qvo32s count;
            if ((pattern & 0x20 >> block) != 0) {
                ASSERT_EQ(qvoStatusOk, (intra ? qvoiDecodeVLC_Intra_H263_1u16s : qvoiDecodeVLC_Inter_H263_1u16s)(
                                           bits_.byte(), bits_.offset(), levels, &count, 0));
            } else if (intra) {
                ASSERT_EQ(qvoStatusOk, qvoiDecodeVLC_IntraDC_H263_1u16s(bits_.byte(), bits_.offset(), levels));
            }
        }
        counts_[at] = intra ? 0 : counts_[at] + (pattern != 0);
        most = std::max(most, counts_[at]);
        refreshed += intra && !intraPicture_;
    }

    std::vector<std::uint8_t> bytes_;
    std::string types_;
    std::size_t format_;
    int columns_, rows_;
    std::vector<int> counts_;
    std::vector<std::array<QvoMotionVector, 4>> vectors_;
    codecs::BitReader bits_;
    bool intraPicture_ = false;
};

// A macroblock that keeps getting coefficients is intra once in 132 times, and not all of them at once.
TEST(H263Encoder, RefreshesMacroblocks) {
    const Encoded encoded =
        encodeH263({.width = 128, .height = 96, .quantiser = 2, .keyInterval = 1000}, Content::moving, 270);
    const Reader read(encoded, 1);
    EXPECT_LE(read.most, 131);
    EXPECT_GT(read.most, 100);
    EXPECT_GE(read.refreshed, 48);
    EXPECT_EQ(encoded.types, "I" + std::string(269, 'P'));
    expectDecodes(codecs::makeH263Decoder, encoded);
}

TEST(H263Encoder, Headers) {
    EncoderSettings settings = {.width = 128, .height = 96, .quantiser = 9, .keyInterval = 3, .packetBits = 1};
    const Reader read(encodeH263(settings, Content::racing, 9), 1);
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_EQ(read.groups[i], (std::vector<int>{1, 2, 3, 4, 5}));
        ASSERT_EQ(read.frameIds[i].size(), 1U);
        // It changes with the type of the pictures, IPPIPPIPP, and only then.
        EXPECT_EQ(read.frameIds[i] == read.frameIds[i > 0 ? i - 1 : 1], i % 3 == 2);
    }
    // 25 pictures a second, on a clock of 29.97.
    EXPECT_EQ(read.times, (std::vector<int>{0, 1, 2, 4, 5, 6, 7, 8, 10}));
    EXPECT_FALSE(read.outside);

    // At 30 a second no two pictures have the same time.
    settings.rateNumerator = 30;
    settings.packetBits = 0;
    const Reader fast(encodeH263(settings, Content::still, 600), 1);
    for (std::size_t i = 1; i < 600; ++i)
        ASSERT_EQ(fast.times[i], (fast.times[i - 1] + 1) & 255);
    EXPECT_TRUE(fast.groups[0].empty());
}

}  // namespace
