// Damaged streams: decoding goes on, says how much it concealed, and harms no more of the video than it has to.
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "support.h"
#include "support/random.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int width = 176;
constexpr int height = 144;
constexpr int frames = 24;

// One file per codec; the first GOP's headers stay whole in every test.
constexpr std::size_t headers = 200;

std::string cleanClip(const std::string& codecOptions, const std::string& extension) {
    return ffmpeg("-f lavfi -i testsrc2=s=176x144:r=25,scroll=h=0.01 -frames:v 24 -g 12 -bf 2 -q:v 3 " + codecOptions,
                  extension);
}

// Where each picture begins, with its coding type: 1 I, 2 P, 3 B.
struct PictureStart {
    std::size_t at;
    int type;
};

// Pictures of MPEG-1/2 (ISO/IEC 13818-2, 6.2.3) and VOPs of MPEG-4 (ISO/IEC 14496-2, 6.2.5).
constexpr int pictureCode = 0x00;
constexpr int vopCode = 0xB6;
// Stands for the pictures of H.263, which begin with 22 bits (ITU-T H.263, 5.1.1): their type is in PTYPE.
constexpr int h263Pictures = -2;
// Stands for the slices of H.264 (ITU-T H.264, 7.3.1), of which the clips have one per picture.
constexpr int sliceUnits = -1;

// The coding type of a slice whose picture is all of that type and begins with it: behind the bit of
// first_mb_in_slice, slice_type is 00110 for P, 00111 for B and 0001000 for I.
int sliceType(int firstByte) {
    const int code = firstByte >> 2 & 31;
    return code == 6 ? 2 : code == 7 ? 3 : 1;
}

std::vector<PictureStart> findPictures(const Bytes& stream, int code) {
    std::vector<PictureStart> pictures;
    for (std::size_t i = 0; i + 6 < stream.size(); ++i) {
        if (stream[i] != 0 || stream[i + 1] != 0) continue;
        if (code == h263Pictures) {
            if ((stream[i + 2] & 0xFC) == 0x80) pictures.push_back({i, 1 + (stream[i + 4] >> 1 & 1)});
            continue;
        }
        if (stream[i + 2] != 1) continue;
        if (code == sliceUnits) {
            const int unit = stream[i + 3] & 31;
            if (unit == 1 || unit == 5) pictures.push_back({i, sliceType(stream[i + 4])});
            continue;
        }
        if (stream[i + 3] != code) continue;
        pictures.push_back({i, code == vopCode ? 1 + (stream[i + 4] >> 6) : stream[i + 5] >> 3 & 7});
    }
    return pictures;
}

// The number of macroblocks the summary names; 0 where there is no such line or more than it.
int concealed(const Ran& ran) {
    const std::size_t at = ran.err.find("damaged: ");
    int count = 0;
    if (at == std::string::npos || ran.err.find('\n') != ran.err.size() - 1) return 0;
    if (std::sscanf(ran.err.c_str() + at, "damaged: %d macroblocks concealed", &count) != 1) return 0;
    return count;
}

struct Case {
    const char* name;
    const char* options;
    const char* extension;
    int code = pictureCode;
};

void PrintTo(const Case& c, std::ostream* to) {
    *to << c.name;
}

class Damage : public testing::TestWithParam<Case> {
  protected:
    void SetUp() override {
        const std::string clip = cleanClip(GetParam().options, GetParam().extension);
        stream_ = readFile(clip);
        ASSERT_EQ(qvo("decode " + clip + " -o " + workPath("clean.yuv")).code, 0);
        ASSERT_EQ(clean().frames(), frames);
    }

    Video clean() const { return {workPath("clean.yuv"), width, height}; }
    Video damaged() const { return {workPath("damaged.yuv"), width, height}; }

    Ran decode(const Bytes& bytes) {
        writeFile(workPath("damaged.bin"), bytes);
        return qvo("decode " + workPath("damaged.bin") + " -o " + workPath("damaged.yuv"));
    }

    // Decodes and expects the summary; frames may be lost or gained where a picture's start was hit.
    void expectGoesOn(const Bytes& bytes, int fewest) {
        const Ran ran = decode(bytes);
        ASSERT_EQ(ran.code, 0) << ran.err;
        EXPECT_GT(concealed(ran), 0) << ran.err;
        EXPECT_GE(damaged().frames(), fewest);
        EXPECT_LE(damaged().frames(), frames + 4);
    }

    Bytes stream_;
};

// In a B picture, or the last one where there is none.
TEST_P(Damage, InOnePictureStaysThereIfNoneIsPredictedFromIt) {
    auto pictures = findPictures(stream_, GetParam().code);
    pictures.push_back({stream_.size(), 0});
    std::size_t b = 0;
    while (b + 2 < pictures.size() && pictures[b].type != 3)
        ++b;
    const std::size_t middle = (pictures[b].at + pictures[b + 1].at) / 2;
    for (std::size_t i = middle; i < middle + 12; ++i)
        stream_[i] = 0;

    const Ran ran = decode(stream_);
    ASSERT_EQ(ran.code, 0) << ran.err;
    EXPECT_GT(concealed(ran), 0) << ran.err;
    EXPECT_LE(concealed(ran), width / 16 * height / 16);
    const Video before = clean(), after = damaged();
    ASSERT_EQ(after.frames(), frames);
    int changed = 0;
    for (int i = 0; i < frames; ++i)
        changed += !after.sameFrame(before, i);
    EXPECT_EQ(changed, 1);
}

TEST_P(Damage, CutShort) {
    const auto pictures = findPictures(stream_, GetParam().code);
    const std::size_t last = pictures.size() / 2;
    stream_.resize((pictures[last].at + pictures[last + 1].at) / 2);

    const Ran ran = decode(stream_);
    ASSERT_EQ(ran.code, 0) << ran.err;
    EXPECT_GT(concealed(ran), 0) << ran.err;
    const Video before = clean(), after = damaged();
    EXPECT_EQ(after.frames(), static_cast<int>(last) + 1);
    // All but the cut picture and what it may stand between in display order.
    for (int i = 0; i + 4 < after.frames(); ++i)
        EXPECT_TRUE(after.sameFrame(before, i)) << "frame " << i;
}

TEST_P(Damage, CutAtTheBeginning) {
    // From within the first GOP: the decoder finds the next sequence header.
    stream_.erase(stream_.begin(), stream_.begin() + static_cast<std::ptrdiff_t>(headers));
    const Ran ran = decode(stream_);
    ASSERT_EQ(ran.code, 0) << ran.err;
    EXPECT_GE(damaged().frames(), frames / 2);
}

TEST_P(Damage, FlippedBits) {
    for (const int flips : {8, 200}) {
        Random random(static_cast<std::uint64_t>(flips));
        Bytes bytes = stream_;
        for (int i = 0; i < flips; ++i) {
            const auto at = static_cast<std::size_t>(random.range(headers, static_cast<int>(bytes.size()) - 1));
            bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ 1 << random.range(0, 7));
        }
        SCOPED_TRACE(flips);
        expectGoesOn(bytes, frames / 2);
    }
}

TEST_P(Damage, DroppedBytes) {
    Random random(7);
    for (int i = 0; i < 20; ++i) {
        const auto at = random.range(headers, static_cast<int>(stream_.size()) - 100);
        stream_.erase(stream_.begin() + at, stream_.begin() + at + random.range(1, 50));
    }
    expectGoesOn(stream_, frames / 2);
}

TEST_P(Damage, NoiseAfterTheHeaders) {
    Random random(3);
    for (std::size_t i = headers; i < stream_.size(); ++i)
        stream_[i] = static_cast<std::uint8_t>(random.next());
    const Ran ran = decode(stream_);
    EXPECT_TRUE(ran.code == 0 || ran.code == 2) << ran.code << ran.err;
}

INSTANTIATE_TEST_SUITE_P(
    H263, Damage,
    testing::Values(
        Case{"Baseline", "-c:v h263 -bf 0 -f h263", ".263", h263Pictures},
        Case{"Groups", "-c:v h263 -bf 0 -ps 200 -f h263", ".263", h263Pictures},
        Case{"Overlapped", "-c:v h263 -bf 0 -obmc 1 -flags +mv4 -ps 200 -f h263", ".263", h263Pictures},
        Case{"Slices", "-c:v h263p -bf 0 -umv 1 -flags +aic+loop+mv4 -structured_slices 1 -ps 200 -threads 2 -f h263",
             ".263", h263Pictures}),
    [](const auto& kind) { return std::string(kind.param.name); });

INSTANTIATE_TEST_SUITE_P(H264, Damage,
                         testing::Values(Case{"Cavlc",
                                              "-c:v libx264 -profile:v main -x264-params "
                                              "cabac=0:8x8dct=0:b-adapt=0:b-pyramid=none:scenecut=0:slices=1",
                                              ".264", sliceUnits}),
                         [](const auto& kind) { return std::string(kind.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Mpeg, Damage,
    testing::Values(Case{"Mpeg1", "-c:v mpeg1video", ".m1v"}, Case{"Mpeg2", "-c:v mpeg2video", ".m2v"},
                    Case{"Mpeg2Interlaced", "-c:v mpeg2video -flags +ildct+ilme -intra_vlc 1 -alternate_scan 1",
                         ".m2v"},
                    Case{"Mpeg4", "-c:v mpeg4 -f m4v -flags +mv4 -mbd rd", ".m4v", vopCode},
                    Case{"Mpeg4Packets", "-c:v mpeg4 -f m4v -ps 300", ".m4v", vopCode},
                    Case{"Mpeg4Partitioned", "-c:v mpeg4 -f m4v -data_partitioning 1 -ps 500", ".m4v", vopCode}),
    [](const auto& kind) { return std::string(kind.param.name); });

// DV has nothing but whole pictures of its own, in blocks with a place and a number.
class DvDamage : public testing::TestWithParam<const char*> {
  protected:
    static constexpr int dvFrames = 5;

    void SetUp() override {
        const std::string clip =
            ffmpeg(std::string("-f lavfi -i testsrc2=") + GetParam() + " -frames:v 5 -c:v dvvideo", ".dv");
        stream_ = readFile(clip);
        frameBytes_ = stream_.size() / dvFrames;
        height_ = frameBytes_ == 144000 ? 576 : 480;
        ASSERT_EQ(qvo("decode " + clip + " -o " + workPath("clean.yuv")).code, 0);
    }

    // Decodes and expects the summary; all frames but one are as they were.
    void expectHarmed(const Bytes& bytes, int harmed) {
        writeFile(workPath("damaged.dv"), bytes);
        const Ran ran = qvo("decode " + workPath("damaged.dv") + " -o " + workPath("damaged.yuv"));
        ASSERT_EQ(ran.code, 0) << ran.err;
        EXPECT_GT(concealed(ran), 0) << ran.err;
        const Video before(workPath("clean.yuv"), 720, height_), after(workPath("damaged.yuv"), 720, height_);
        ASSERT_EQ(after.frames(), dvFrames);
        for (int i = 0; i < dvFrames; ++i) {
            if (i == harmed) {
                EXPECT_GT(after.psnr(before, i), 20) << "frame " << i;
            } else {
                EXPECT_TRUE(after.sameFrame(before, i)) << "frame " << i;
            }
        }
    }

    auto at(int frame, std::size_t byte) {
        return stream_.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(frame) * frameBytes_ + byte);
    }

    Bytes stream_;
    std::size_t frameBytes_ = 0;
    int height_ = 0;
};

TEST_P(DvDamage, StaysInItsFrame) {
    Random random(5);
    const Bytes clean = stream_;
    for (auto byte = at(2, 30000); byte != at(2, 50000); ++byte)
        *byte = static_cast<std::uint8_t>(random.next());
    expectHarmed(stream_, 2);

    stream_ = clean;
    stream_.erase(at(3, 20001), at(3, 60000));
    expectHarmed(stream_, 3);

    stream_ = clean;
    for (int i = 0; i < 100; ++i)
        *at(2, static_cast<std::size_t>(random.range(0, 119999))) ^=
            static_cast<std::uint8_t>(1 << random.range(0, 7));
    expectHarmed(stream_, 2);

    stream_ = clean;
    stream_.erase(at(4, 70001), stream_.end());
    expectHarmed(stream_, 4);
}

INSTANTIATE_TEST_SUITE_P(All, DvDamage,
                         testing::Values("s=720x576:r=25 -pix_fmt yuv420p",
                                         "s=720x480:r=30000/1001 -pix_fmt yuv411p"),
                         [](const auto& clip) { return clip.index == 0 ? "Lines625" : "Lines525"; });

}  // namespace
