// Damaged streams: decoding goes on, says how much it concealed, and harms no more of the video than it has to.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "support.h"
#include "support/random.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int width = 176;
constexpr int height = 144;
constexpr int frames = 24;

// The first GOP's headers stay whole in every test.
constexpr std::size_t headers = 200;

// The first four bytes of a picture, of which the bits of a mask matter.
struct PictureStart {
    std::uint32_t bytes;
    std::uint32_t mask = 0xFFFFFFFF;
};

constexpr PictureStart mpegPicture = {0x00000100};              // ISO/IEC 13818-2, 6.2.3
constexpr PictureStart vop = {0x000001B6};                      // ISO/IEC 14496-2, 6.2.5
constexpr PictureStart h263Picture = {0x00008000, 0xFFFFFC00};  // ITU-T H.263, 5.1.1
constexpr PictureStart h264Slice = {0x00000101, 0xFFFFFF1B};    // nal_unit_type 1 or 5; one slice per picture

struct Case {
    const char* name;
    PictureStart start;
    const char* extension;
    const char* options;
    bool hasB = true;
};

void PrintTo(const Case& c, std::ostream* to) {
    *to << c.name;
}

std::vector<std::size_t> findPictures(const Bytes& stream, const PictureStart& start) {
    std::vector<std::size_t> pictures;
    std::uint32_t last = 0xFFFFFFFF;
    for (std::size_t i = 0; i < stream.size(); ++i) {
        last = last << 8 | stream[i];
        if ((last & start.mask) == start.bytes) pictures.push_back(i - 3);
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

class Damage : public testing::TestWithParam<Case> {
  protected:
    void SetUp() override {
        const std::string clip =
            ffmpeg(std::string("-f lavfi -i testsrc2=s=176x144:r=25,scroll=h=0.01 -frames:v 24 -g 12 -q:v 3 ") +
                       (GetParam().hasB ? "-bf 2 " : "-bf 0 ") + GetParam().options,
                   GetParam().extension);
        stream_ = readFile(clip);
        pictures_ = findPictures(stream_, GetParam().start);
        ASSERT_EQ(pictures_.size(), std::size_t{frames});
        pictures_.push_back(stream_.size());
        ASSERT_EQ(qvo("decode " + clip + " -o " + workPath("clean.yuv")).code, 0);
        ASSERT_EQ(clean().frames(), frames);
    }

    Video clean() const { return {workPath("clean.yuv"), width, height}; }
    Video damaged() const { return {workPath("damaged.yuv"), width, height}; }
    std::size_t middleOf(std::size_t picture) const { return (pictures_[picture] + pictures_[picture + 1]) / 2; }

    // Decodes and expects that many concealed macroblocks.
    void decode(const Bytes& bytes, int fewest, int most = width * height) {
        writeFile(workPath("damaged.bin"), bytes);
        const Ran ran = qvo("decode " + workPath("damaged.bin") + " -o " + workPath("damaged.yuv"));
        ASSERT_EQ(ran.code, 0) << ran.err;
        EXPECT_GE(concealed(ran), fewest) << ran.err;
        EXPECT_LE(concealed(ran), most) << ran.err;
    }

    Bytes stream_;
    std::vector<std::size_t> pictures_;  // where they begin, and the end
};

// In a B picture, the third in the stream, or the last one where there is none.
TEST_P(Damage, InOnePictureStaysThereIfNoneIsPredictedFromIt) {
    const std::size_t middle = middleOf(GetParam().hasB ? 2 : frames - 1);
    std::fill_n(stream_.begin() + static_cast<std::ptrdiff_t>(middle), 12, std::uint8_t{0});
    decode(stream_, 1, width / 16 * height / 16);
    const Video before = clean(), after = damaged();
    ASSERT_EQ(after.frames(), frames);
    int changed = 0;
    for (int i = 0; i < frames; ++i)
        changed += after.psnr(before, i) < exact;
    EXPECT_EQ(changed, 1);
}

TEST_P(Damage, CutShort) {
    stream_.resize(middleOf(frames / 2));
    decode(stream_, 1);
    const Video before = clean(), after = damaged();
    EXPECT_EQ(after.frames(), frames / 2 + 1);
    // All but the cut picture and what it may stand between in display order.
    for (int i = 0; i + 4 < after.frames(); ++i)
        EXPECT_EQ(after.psnr(before, i), exact) << "frame " << i;
}

TEST_P(Damage, GoesOn) {
    const Bytes clean = stream_;
    Random random(7);
    const auto somewhere = [&] { return random.range(headers, static_cast<int>(stream_.size()) - 100); };
    // From within the first GOP on, the decoder finds the next sequence header.
    stream_.erase(stream_.begin(), stream_.begin() + static_cast<std::ptrdiff_t>(headers));
    decode(stream_, 0);
    EXPECT_GE(damaged().frames(), frames / 2);

    // Frames may be lost or gained where a picture's start is hit.
    const auto expectGoesOn = [&] {
        decode(stream_, 1);
        EXPECT_GE(damaged().frames(), frames / 2);
        EXPECT_LE(damaged().frames(), frames + 4);
        stream_ = clean;
    };
    stream_ = clean;
    for (const int flips : {8, 200}) {
        for (int i = 0; i < flips; ++i)
            stream_[static_cast<std::size_t>(somewhere())] ^= static_cast<std::uint8_t>(1 << random.range(0, 7));
        expectGoesOn();
    }
    for (int i = 0; i < 20; ++i) {
        const auto at = stream_.begin() + somewhere();
        stream_.erase(at, at + random.range(1, 50));
    }
    expectGoesOn();

    // Nothing but noise behind the headers.
    for (std::size_t i = headers; i < stream_.size(); ++i)
        stream_[i] = static_cast<std::uint8_t>(random.next());
    writeFile(workPath("noise.bin"), stream_);
    const Ran ran = qvo("decode " + workPath("noise.bin"));
    EXPECT_TRUE(ran.code == 0 || ran.code == 2) << ran.code << ran.err;
}

// frame_num tells that references are missing.
TEST(LostPictures, AreCountedInH264) {
    const Bytes stream =
        readFile(ffmpeg("-f lavfi -i testsrc2=s=176x144:r=25 -frames:v 24 -c:v libx264 -profile:v "
                        "baseline -x264-params scenecut=0:slices=1",
                        ".264"));
    const auto pictures = findPictures(stream, h264Slice);
    ASSERT_EQ(pictures.size(), std::size_t{frames});
    Bytes cut(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(pictures[10]));
    cut.insert(cut.end(), stream.begin() + static_cast<std::ptrdiff_t>(pictures[13]), stream.end());
    writeFile(workPath("cut.264"), cut);
    const Ran ran = qvo("decode " + workPath("cut.264") + " --md5");
    EXPECT_EQ(ran.code, 0);
    EXPECT_NE(ran.err.find("damaged: 297 macroblocks concealed in 3 pictures"), std::string::npos) << ran.err;
}

constexpr Case cases[] = {
    {"H263", h263Picture, ".263", "-c:v h263 -f h263", false},
    {"H263Groups", h263Picture, ".263", "-c:v h263 -ps 200 -f h263", false},
    {"H263Overlapped", h263Picture, ".263", "-c:v h263 -obmc 1 -flags +mv4 -ps 200 -f h263", false},
    {"H263Slices", h263Picture, ".263",
     "-c:v h263p -umv 1 -flags +aic+loop+mv4 -structured_slices 1 -ps 200 -threads 2 -f h263", false},
    {"H264", h264Slice, ".264",
     "-c:v libx264 -profile:v main -x264-params cabac=0:8x8dct=0:b-adapt=0:b-pyramid=none:scenecut=0:slices=1"},
    {"Mpeg1", mpegPicture, ".m1v", "-c:v mpeg1video"},
    {"Mpeg2", mpegPicture, ".m2v", "-c:v mpeg2video"},
    {"Mpeg2Interlaced", mpegPicture, ".m2v", "-c:v mpeg2video -flags +ildct+ilme -intra_vlc 1 -alternate_scan 1"},
    {"Mpeg4", vop, ".m4v", "-c:v mpeg4 -f m4v -flags +mv4 -mbd rd"},
    {"Mpeg4Packets", vop, ".m4v", "-c:v mpeg4 -f m4v -ps 300"},
    {"Mpeg4Partitioned", vop, ".m4v", "-c:v mpeg4 -f m4v -data_partitioning 1 -ps 500"},
};

INSTANTIATE_TEST_SUITE_P(All, Damage, testing::ValuesIn(cases),
                         [](const auto& kind) { return std::string(kind.param.name); });

// DV has nothing but whole pictures of its own, in blocks with a place and a number.
TEST(DvDamage, StaysInItsFrame) {
    constexpr int dvFrames = 5;
    for (const bool lines625 : {true, false}) {
        const std::string clip =
            ffmpeg(std::string("-f lavfi -i testsrc2=") +
                       (lines625 ? "s=720x576:r=25 -pix_fmt yuv420p" : "s=720x480:r=30000/1001 -pix_fmt yuv411p") +
                       " -frames:v 5 -c:v dvvideo",
                   ".dv");
        const Bytes clean = readFile(clip);
        const std::ptrdiff_t frameBytes = std::ssize(clean) / dvFrames;
        ASSERT_EQ(qvo("decode " + clip + " -o " + workPath("clean.yuv")).code, 0);

        // Harms the third frame from this byte on; all others are as they were.
        const auto harm = [&](std::ptrdiff_t byte, auto change) {
            Bytes bytes = clean;
            change(bytes, bytes.begin() + 2 * frameBytes + byte);
            writeFile(workPath("damaged.dv"), bytes);
            const Ran ran = qvo("decode " + workPath("damaged.dv") + " -o " + workPath("damaged.yuv"));
            ASSERT_EQ(ran.code, 0) << ran.err;
            EXPECT_GT(concealed(ran), 0) << ran.err;
            const int lines = lines625 ? 576 : 480;
            const Video before(workPath("clean.yuv"), 720, lines), after(workPath("damaged.yuv"), 720, lines);
            for (int i = 0; i < after.frames(); ++i)
                EXPECT_GT(after.psnr(before, i), i == 2 ? 20 : exact - 1) << "frame " << i;
            EXPECT_EQ(after.frames(), std::ssize(bytes) > 3 * frameBytes ? dvFrames : 3);
        };
        Random random(5);
        harm(30000, [&](Bytes&, auto at) { std::generate_n(at, 20000, [&] { return random.range(0, 255); }); });
        harm(20001, [](Bytes& bytes, auto at) { bytes.erase(at, at + 39999); });
        harm(70001, [](Bytes& bytes, auto at) { bytes.erase(at, bytes.end()); });
        harm(0, [&](Bytes&, auto frame) {
            for (int i = 0; i < 100; ++i)
                frame[random.range(0, 119999)] ^= static_cast<std::uint8_t>(1 << random.range(0, 7));
        });
    }
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// A stream of one encoder's making that goes on with what is not supported.
TEST(Turning, EndsThere) {
    const std::string source = "-f lavfi -i testsrc2=s=176x144:r=25 -frames:v 8 ";
    const std::string dv = "-f lavfi -i testsrc2=s=720x576:r=25 -frames:v 8 -c:v dvvideo ";
    const std::string x264 = "-c:v libx264 -profile:v ";
    const struct {
        std::string good, refused, extension, tool;
    } turns[] = {
        {source + "-c:v mpeg4 -bf 2 -f m4v", source + "-c:v mpeg4 -bf 2 -flags +qpel -f m4v", ".m4v",
         "quarter-sample"},
        {source + "-c:v mpeg2video -bf 2", source + "-c:v mpeg2video -bf 2 -pix_fmt yuv422p", ".m2v", "4:2:2"},
        {source + x264 + "baseline", source + x264 + "main", ".264", "CABAC"},
        {source + x264 + "baseline", source + x264 + "high -coder vlc", ".264", "8x8 transform"},
        {dv + "-pix_fmt yuv420p", dv + "-pix_fmt yuv422p", ".dv", "50 Mbit/s"},
    };
    for (const auto& turn : turns) {
        writeFile(workPath("turns"),
                  readFile(ffmpeg(turn.good, turn.extension)) + readFile(ffmpeg(turn.refused, turn.extension)));
        const Ran ran = qvo("decode " + workPath("turns") + " --md5");
        EXPECT_EQ(ran.code, 2);
        EXPECT_NE(ran.err.find("turns: stopped after 8 frames: "), std::string::npos) << ran.err;
        EXPECT_NE(ran.err.find(turn.tool), std::string::npos) << ran.err;
        EXPECT_EQ(ran.err.find('\n'), ran.err.size() - 1) << ran.err;
    }
}

TEST(Turning, DvOfTheOtherSystemIsPlacedInThePicture) {
    const std::string grey = "-f lavfi -i color=c=0x4060a0:r=25:s=";
    const Bytes lines625 = readFile(ffmpeg(grey + "720x576 -frames:v 2 -pix_fmt yuv420p -c:v dvvideo", ".dv"));
    const Bytes lines525 =
        readFile(ffmpeg(grey + "720x480 -r 30000/1001 -frames:v 2 -pix_fmt yuv411p -c:v dvvideo", ".dv"));
    writeFile(workPath("turns.dv"), lines525 + lines625);
    writeFile(workPath("same.dv"), lines525 + lines525);
    const Ran ran = qvo("decode " + workPath("turns.dv") + " -o " + workPath("turns.yuv"));
    EXPECT_EQ(ran.code, 0);
    EXPECT_NE(ran.err.find("the picture size changes"), std::string::npos) << ran.err;
    ASSERT_EQ(qvo("decode " + workPath("same.dv") + " -o " + workPath("same.yuv")).code, 0);
    const Video turned(workPath("turns.yuv"), 720, 480), same(workPath("same.yuv"), 720, 480);
    ASSERT_EQ(turned.frames(), 4);
    for (int i = 0; i < 4; ++i)
        EXPECT_GT(turned.psnr(same, i), 40) << i;
}

}  // namespace
