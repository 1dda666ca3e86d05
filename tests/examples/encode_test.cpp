// qvo encode: every codec's streams decode exactly to the reconstruction, play elsewhere, and are no larger than they
// should be.
#include <algorithm>
#include <filesystem>
#include <string>

#include "support.h"

namespace {

// What moves smoothly, with noise on it.
constexpr const char* texture = "testsrc2=s=SIZE:r=25,scroll=h=0.02:v=0.01,noise=alls=6:allf=t";
constexpr const char* fractal = "mandelbrot=s=SIZE:r=25:start_scale=1";
// H.263 counts time on one clock only, and its samples have one shape.
constexpr const char* telephone =
    "testsrc2=s=SIZE:r=30000/1001,scroll=h=0.02:v=0.01,noise=alls=6:allf=t,setsar=12/11";

struct Codec {
    const char* name;
    const char* extension;  // by which ffmpeg knows the stream
    double floor;           // dB, of every frame that ffmpeg decodes against the reconstruction
};

constexpr Codec mpeg2 = {"mpeg2", ".m2v", 40}, mpeg4 = {"mpeg4", ".m4v", 50};
constexpr Codec h263 = {"h263", ".h263", 50}, h264 = {"h264", ".264", exact};

struct Size {
    int width;
    int height;
};

constexpr Size cif = {352, 288}, qcif = {176, 144}, odd = {171, 133};

struct Encoding {
    const char* name;
    Codec codec;
    const char* options;
    const char* source = texture;
    Size size = cif;
    int frames = 26;
};

void PrintTo(const Encoding& encoding, std::ostream* to) {
    *to << encoding.name;
}

class Encode : public testing::TestWithParam<Encoding> {};

TEST_P(Encode, PlaysEverywhere) {
    const Encoding& encoding = GetParam();
    std::string source = encoding.source;
    source.replace(source.find("SIZE"), 4,
                   std::to_string(encoding.size.width) + "x" + std::to_string(encoding.size.height));
    const std::string frames = std::to_string(encoding.frames);
    const std::string input = ffmpeg("-f lavfi -i " + source + " -frames:v " + frames + " -pix_fmt yuv420p", ".y4m");
    const std::string stream = workPath("stream") + encoding.codec.extension, recon = workPath("recon.y4m");
    const Ran encoded = qvo("encode " + input + " -c " + encoding.codec.name + " " + encoding.options + " -o " +
                            stream + " --recon " + recon);
    ASSERT_EQ(encoded.code, 0) << encoded.err;
    EXPECT_EQ(encoded.err, "");

    const std::string ours = workPath("ours.y4m");
    const Ran decoded = qvo("decode " + stream + " -o " + ours);
    EXPECT_EQ(decoded.code, 0);
    EXPECT_EQ(decoded.err, "");
    EXPECT_EQ(readFile(ours), readFile(recon));

    const std::string theirs = workPath("theirs.y4m");
    const Ran judged = runFfmpeg("-i " + stream + " -pix_fmt yuv420p -fps_mode passthrough " + theirs);
    EXPECT_EQ(judged.code, 0);
    EXPECT_EQ(judged.err, "");
    const Ran compared = qvo("compare " + recon + " " + theirs + " --floor " + std::to_string(encoding.codec.floor));
    EXPECT_EQ(compared.code, 0) << compared.out;
    EXPECT_NE(compared.out.find("frames " + frames + " "), std::string::npos) << compared.out;
    std::filesystem::remove_all(std::filesystem::path(stream).parent_path());
}

constexpr Encoding encodings[] = {
    {"Mpeg2IPB", mpeg2, "-q 5 -B 2 --key-interval 12"},
    {"Mpeg2Fine", mpeg2, "-q 2 -B 0 --key-interval 12"},
    {"Mpeg2Coarse", mpeg2, "-q 31 -B 3 --key-interval 12"},
    {"Mpeg2BitRate", mpeg2, "-b 900 -B 1 --key-interval 12"},
    {"Mpeg2OddSize", mpeg2, "-q 3 -B 2 --key-interval 12", fractal, odd},
    {"Mpeg4Usual", mpeg4, "-q 5 --key-interval 30"},
    {"Mpeg4Fine", mpeg4, "-q 1 --key-interval 30 --one-vector"},
    {"Mpeg4Coarse", mpeg4, "-q 31 --key-interval 30 --packet-bits 2000"},
    {"Mpeg4Matrix", mpeg4, "-q 4 --key-interval 30 --matrix"},
    {"Mpeg4MatrixPackets", mpeg4, "-q 12 --key-interval 30 --matrix --packet-bits 500"},
    {"Mpeg4BitRate", mpeg4, "-b 700 --key-interval 30"},
    {"Mpeg4Bidirectional", mpeg4, "-q 4 --key-interval 30 -B 2"},
    {"Mpeg4BidirectionalPackets", mpeg4, "-q 9 --key-interval 30 -B 1 --matrix --packet-bits 900"},
    {"Mpeg4OddSize", mpeg4, "-q 3 --key-interval 30", fractal, odd},
    {"H263Usual", h263, "-q 5 --key-interval 30", telephone},
    {"H263Fine", h263, "-q 1 --key-interval 30", telephone, qcif},
    {"H263Coarse", h263, "-q 31 --key-interval 30 --packet-bits 1000", telephone},
    {"H263Groups", h263, "-q 9 --key-interval 7 --packet-bits 1", telephone, {704, 576}, 9},
    {"H263BitRate", h263, "-b 200 --key-interval 30", telephone, {128, 96}, 60},
    {"H264Usual", h264, "-q 26 --key-interval 12"},
    {"H264Finest", h264, "-q 1", texture, {96, 64}},
    {"H264Coarsest", h264, "-q 51"},
    {"H264BitRate", h264, "-b 300"},
    {"H264OddSize", h264, "-q 20", fractal, odd},
};

INSTANTIATE_TEST_SUITE_P(All, Encode, testing::ValuesIn(encodings),
                         [](const auto& encoding) { return std::string(encoding.param.name); });

// At no less quality the stream may be larger than ffmpeg's by no more than a factor.
struct Contest {
    const char* name;
    Codec codec;
    const char* options;  // with which our stream is a little better
    const char* theirs;   // ffmpeg's options
    double factor = 1.25;
};

void PrintTo(const Contest& contest, std::ostream* to) {
    *to << contest.name;
}

class EncodedSize : public testing::TestWithParam<Contest> {};

double meanPsnr(const std::string& stream, const Video& source) {
    constexpr int width = 352, height = 288;
    const std::string decoded = workPath("decoded.yuv");
    EXPECT_EQ(runFfmpeg("-i " + stream + " -f rawvideo -pix_fmt yuv420p -fps_mode passthrough " + decoded).err, "");
    const Video video(decoded, width, height);
    EXPECT_EQ(video.frames(), source.frames());
    double sum = 0;
    for (int i = 0; i < std::min(video.frames(), source.frames()); ++i)
        sum += video.psnr(source, i);
    return sum / source.frames();
}

TEST_P(EncodedSize, IsNoLargerThanItShouldBe) {
    const Contest& contest = GetParam();
    const std::string original = STREAMS_FOLDER "/h264_CI1_FT_B.264";
    if (!std::filesystem::exists(original)) GTEST_SKIP() << "no streams beside the checkout";
    const std::string input = workPath("source.y4m"), planar = workPath("source.yuv");
    ASSERT_EQ(qvo("decode " + original + " --frames 100 -o " + input).code, 0);
    ASSERT_EQ(qvo("decode " + original + " --frames 100 -o " + planar).code, 0);
    const std::string ours = workPath("ours") + contest.codec.extension;
    const std::string theirs = workPath("theirs") + contest.codec.extension;
    ASSERT_EQ(qvo("encode " + input + " -c " + contest.codec.name + " " + contest.options + " -o " + ours).code, 0);
    ASSERT_EQ(runFfmpeg("-i " + input + " " + contest.theirs + " " + theirs).code, 0);

    const Video source(planar, 352, 288);
    EXPECT_GE(meanPsnr(ours, source), meanPsnr(theirs, source));
    EXPECT_LE(static_cast<double>(std::filesystem::file_size(ours)),
              contest.factor * static_cast<double>(std::filesystem::file_size(theirs)));
    std::filesystem::remove_all(std::filesystem::path(ours).parent_path());
}

constexpr Contest contests[] = {
    {"Mpeg2Fine", mpeg2, "-q 2 -B 2 --key-interval 12", "-c:v mpeg2video -g 12 -bf 2 -q:v 3"},
    {"Mpeg2Coarse", mpeg2, "-q 12 -B 0 --key-interval 12", "-c:v mpeg2video -g 12 -bf 0 -q:v 16"},
    {"Mpeg4Fine", mpeg4, "-q 7 --key-interval 30", "-c:v mpeg4 -g 30 -q:v 8"},
    {"Mpeg4Coarse", mpeg4, "-q 14 --key-interval 30", "-c:v mpeg4 -g 30 -q:v 15"},
    {"H263Fine", h263, "-q 5 --key-interval 30", "-c:v h263 -g 30 -q:v 6 -f h263"},
    {"H263Coarse", h263, "-q 14 --key-interval 30", "-c:v h263 -g 30 -q:v 15 -f h263"},
    {"H264Fine", h264, "-q 27", "-c:v libx264 -profile:v baseline -preset veryfast -crf 20", 0.85},
    {"H264Coarse", h264, "-q 38", "-c:v libx264 -profile:v baseline -preset veryfast -crf 32", 1.0},
};

INSTANTIATE_TEST_SUITE_P(All, EncodedSize, testing::ValuesIn(contests),
                         [](const auto& contest) { return std::string(contest.param.name); });

}  // namespace
