// The H.263 encoder: what our decoder makes of its streams is the reconstruction, and the streams keep the rules that a
// decoder does not notice.
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

EncoderSettings subQcif(int quantiser) {
    EncoderSettings settings = sized(128, 96);
    settings.quantiser = quantiser;
    return settings;
}

TEST(H263Encoder, DecoderShowsTheReconstruction) {
    struct Case {
        std::size_t format;
        Content content;
    };
    for (const auto& [format, content] :
         {Case{1, Content::moving}, Case{1, Content::rushing}, Case{1, Content::noise}, Case{2, Content::blinking},
          Case{2, Content::moving}}) {
        for (const int quantiser : {1, 2, 7, 8, 13, 31}) {
            SCOPED_TRACE(testing::Message() << "format " << format << " q " << quantiser);
            const int width = standardSizes[format].width, height = standardSizes[format].height;
            EncoderSettings settings = sized(width, height);
            settings.quantiser = quantiser;
            settings.keyInterval = 5;
            settings.packetBits = quantiser % 2 * 800;
            const Encoded encoded = encodeH263(settings, content, 7);
            EXPECT_EQ(encoded.types, "IPPPPIP");
            expectDecodes(codecs::makeH263Decoder, encoded);
            // Finer quantisers cannot express large coefficients, for want of levels above 127.
            const int judged = quantiser < 7 ? 0 : 7;
            for (int i = 0; i < judged; ++i)
                EXPECT_LT(
                    meanError(encoded.pictures[static_cast<std::size_t>(i)], picture(content, width, height, i)),
                    0.5 + 4.0 * quantiser * quantiser / 3);
        }
    }
}

// Groups of blocks of one, two and four rows.
TEST(H263Encoder, LargePicturesAndGroups) {
    for (std::size_t format = 3; format < 6; ++format) {
        EncoderSettings settings = sized(standardSizes[format].width, standardSizes[format].height);
        settings.quantiser = 12;
        std::vector<std::size_t> sizes;
        for (const int packetBits : {0, 1, 20000}) {
            settings.packetBits = packetBits;
            const Encoded encoded = encodeH263(settings, Content::rushing, 2);
            expectDecodes(codecs::makeH263Decoder, encoded);
            sizes.push_back(encoded.stream.size());
        }
        EXPECT_LT(sizes[0], sizes[2]);
        EXPECT_LT(sizes[2], sizes[1]);
    }
}

// ---- a reader of its own, which looks at the syntax only ----

struct Read {
    std::vector<int> times;                // temporal references
    std::vector<bool> intra;               // of the pictures
    std::vector<std::set<int>> frameIds;   // GFID, by picture
    std::vector<std::vector<int>> groups;  // numbers of the groups with a header, by picture
    int most = 0;                          // times that coefficients were sent for a macroblock not intra meanwhile
    int refreshed = 0;                     // intra macroblocks of P pictures
    bool outside = false;                  // a vector led outside the picture
};

class Reader {
  public:
    Reader(const Encoded& encoded, std::size_t format)
        : bytes_(encoded.stream),
          format_(format),
          columns_(standardSizes[format].width / 16),
          rows_(standardSizes[format].height / 16),
          counts_(static_cast<std::size_t>(columns_ * rows_)),
          vectors_(counts_.size()) {
        const std::size_t size = bytes_.size();
        bytes_.resize(size + 8);
        bits_ = codecs::BitReader(bytes_.data(), size);
        while (!bits_.atEnd())
            readPicture();
    }
    Read result;

  private:
    void expectBits(Qvo32u value, int count) { ASSERT_EQ(value, bits_.get(count)); }

    void readPicture() {
        EXPECT_EQ(0, *bits_.offset());
        ASSERT_NO_FATAL_FAILURE(expectBits(1 << 5, 22));
        result.times.push_back(bits_.getInt(8));
        ASSERT_NO_FATAL_FAILURE(expectBits(2 << 3, 5));
        EXPECT_EQ(format_, bits_.get(3));
        intraPicture_ = !bits_.flag();
        result.intra.push_back(intraPicture_);
        ASSERT_NO_FATAL_FAILURE(expectBits(0, 4));
        const int quantiser = bits_.getInt(5);
        ASSERT_NO_FATAL_FAILURE(expectBits(0, 2));
        result.frameIds.emplace_back();
        result.groups.emplace_back();
        int groupRow = 0;  // the first row behind the last header
        for (int y = 0; y < rows_; ++y) {
            codecs::BitReader ahead = bits_;
            if (*ahead.offset() != 0) ahead.skip(8 - *ahead.offset());
            if (y > 0 && ahead.peek(17) == 1) {
                bits_ = ahead;
                bits_.skip(17);
                result.groups.back().push_back(bits_.getInt(5));
                result.frameIds.back().insert(bits_.getInt(2));
                EXPECT_EQ(quantiser, bits_.getInt(5));
                groupRow = y;
            }
            for (int x = 0; x < columns_; ++x)
                ASSERT_NO_FATAL_FAILURE(readMacroblock(x, y, groupRow)) << x << ' ' << y;
        }
        if (*bits_.offset() != 0) {
            EXPECT_EQ(0U, bits_.peek(8 - *bits_.offset()));
            bits_.skip(8 - *bits_.offset());
        }
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
            const auto* const left = x > 0 ? vectors_[at - 1].data() : nullptr;
            const auto* const above =
                y > groupRow ? vectors_[at - static_cast<std::size_t>(columns_)].data() : nullptr;
            const bool hasRight = above != nullptr && x + 1 < columns_;
            const auto* const right =
                hasRight ? vectors_[at - static_cast<std::size_t>(columns_) + 1].data() : nullptr;
            ASSERT_EQ(qvoStatusOk, qvoiDecodeMV_H263(bits_.byte(), bits_.offset(), left, above, right,
                                                     vectors_[at].data(), qvoMVBaseline, 0));
            const QvoMotionVector v = vectors_[at][0];
            result.outside |= 32 * x + v.dx < 0 || 32 * y + v.dy < 0 || 32 * x + v.dx > 32 * (columns_ - 1) ||
                              32 * y + v.dy > 32 * (rows_ - 1);
        }
        for (int block = 0; block < 6; ++block) {
            const bool coded = (pattern & 0x20 >> block) != 0;
            Qvo16s levels[64];
            Qvo32s count;
            if (coded) {
                ASSERT_EQ(qvoStatusOk, (intra ? qvoiDecodeVLC_Intra_H263_1u16s : qvoiDecodeVLC_Inter_H263_1u16s)(
                                           bits_.byte(), bits_.offset(), levels, &count, 0));
            } else if (intra) {
                ASSERT_EQ(qvoStatusOk, qvoiDecodeVLC_IntraDC_H263_1u16s(bits_.byte(), bits_.offset(), levels));
            }
        }
        counts_[at] = intra ? 0 : counts_[at] + (pattern != 0);
        result.most = std::max(result.most, counts_[at]);
        result.refreshed += intra && !intraPicture_;
    }

    std::vector<std::uint8_t> bytes_;
    std::size_t format_;
    int columns_, rows_;
    std::vector<int> counts_;
    std::vector<std::array<QvoMotionVector, 4>> vectors_;
    codecs::BitReader bits_;
    bool intraPicture_ = false;
};

// A macroblock that keeps getting coefficients is intra once in 132 times, and not all of them at once.
TEST(H263Encoder, RefreshesMacroblocks) {
    EncoderSettings settings = subQcif(2);
    settings.keyInterval = 1000;
    const Encoded encoded = encodeH263(settings, Content::moving, 270);
    const Read read = Reader(encoded, 1).result;
    EXPECT_LE(read.most, 131);
    EXPECT_GT(read.most, 100);
    EXPECT_GE(read.refreshed, 48);
    for (std::size_t i = 1; i < encoded.pictures.size(); ++i)
        EXPECT_FALSE(read.intra[i]);
    expectDecodes(codecs::makeH263Decoder, encoded);
}

TEST(H263Encoder, Headers) {
    EncoderSettings settings = subQcif(9);
    settings.keyInterval = 3;
    settings.packetBits = 1;
    const Read read = Reader(encodeH263(settings, Content::rushing, 9), 1).result;
    EXPECT_EQ(read.intra, (std::vector<bool>{true, false, false, true, false, false, true, false, false}));
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_EQ(read.groups[i], (std::vector<int>{1, 2, 3, 4, 5}));
        ASSERT_EQ(read.frameIds[i].size(), 1U);
        // It changes with the type of the pictures, and only then.
        if (i > 0) {
            EXPECT_EQ(read.frameIds[i] == read.frameIds[i - 1], read.intra[i] == read.intra[i - 1]);
        }
    }
    // 25 pictures a second, on a clock of 29.97.
    EXPECT_EQ(read.times, (std::vector<int>{0, 1, 2, 4, 5, 6, 7, 8, 10}));
    EXPECT_FALSE(read.outside);

    // At 30 a second no two pictures have the same time.
    settings.rateNumerator = 30;
    settings.packetBits = 0;
    const Read fast = Reader(encodeH263(settings, Content::moving, 600), 1).result;
    for (std::size_t i = 1; i < 600; ++i)
        ASSERT_EQ(fast.times[i], (fast.times[i - 1] + 1) & 255);
    EXPECT_TRUE(fast.groups[0].empty());
}

TEST(H263Encoder, KeepsTheBitRate) {
    for (const long rate : {60'000L, 400'000L}) {
        EncoderSettings settings = sized(176, 144);
        settings.bitRate = rate;
        constexpr int count = 75;
        const Encoded encoded = encodeH263(settings, Content::moving, count);
        const double bits = 8.0 * static_cast<double>(encoded.stream.size()) * 25 / count;
        EXPECT_NEAR(bits, static_cast<double>(rate), 0.1 * static_cast<double>(rate));
        expectDecodes(codecs::makeH263Decoder, encoded);
    }
}

TEST(H263Encoder, RefusesWhatItCannotDo) {
    const auto refuses = [](auto change) {
        EncoderSettings settings = subQcif(9);
        change(settings);
        EXPECT_THROW(codecs::makeH263Encoder(settings, {}, {}), codecs::UnsupportedSettings);
    };
    refuses([](EncoderSettings& s) { s.width = 144; });
    refuses([](EncoderSettings& s) { s.quantiser = 32; });
    refuses([](EncoderSettings& s) { s.bPictures = 1; });
    refuses([](EncoderSettings& s) { s.matrixQuantiser = true; });
    refuses([](EncoderSettings& s) { s.rateNumerator = 31; });
    refuses([](EncoderSettings& s) { s.rateNumerator = 1, s.rateDenominator = 9; });
}

}  // namespace
