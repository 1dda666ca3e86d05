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

struct Encoding {
    const char* name;
    const char* codec;
    const char* options;
    const char* extension;  // by which ffmpeg knows the stream
    double floor;           // dB, of every frame that ffmpeg decodes against the reconstruction
    const char* source = texture;
    int width = 352;
    int height = 288;
    int frames = 26;
};

void PrintTo(const Encoding& encoding, std::ostream* to) {
    *to << encoding.name;
}

class Encode : public testing::TestWithParam<Encoding> {};

TEST_P(Encode, PlaysEverywhere) {
    const Encoding& encoding = GetParam();
    std::string source = encoding.source;
    source.replace(source.find("SIZE"), 4, std::to_string(encoding.width) + "x" + std::to_string(encoding.height));
    const std::string frames = std::to_string(encoding.frames);
    const std::string input = ffmpeg("-f lavfi -i " + source + " -frames:v " + frames + " -pix_fmt yuv420p", ".y4m");
    const std::string stream = workPath("stream") + encoding.extension, recon = workPath("recon.y4m");
    const Ran encoded = qvo("encode " + input + " -c " + encoding.codec + " " + encoding.options + " -o " + stream +
                            " --recon " + recon);
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
    const Ran compared = qvo("compare " + recon + " " + theirs + " --floor " + std::to_string(encoding.floor));
    EXPECT_EQ(compared.code, 0) << compared.out;
    EXPECT_NE(compared.out.find("frames " + frames + " "), std::string::npos) << compared.out;
    std::filesystem::remove_all(std::filesystem::path(stream).parent_path());
}

INSTANTIATE_TEST_SUITE_P(Mpeg2, Encode,
                         testing::Values(Encoding{"IPB", "mpeg2", "-q 5 -B 2 --key-interval 12", ".m2v", 40},
                                         Encoding{"IP", "mpeg2", "-q 2 -B 0 --key-interval 12", ".m2v", 40},
                                         Encoding{"Coarse", "mpeg2", "-q 31 -B 3 --key-interval 12", ".m2v", 40},
                                         Encoding{"BitRate", "mpeg2", "-b 900 -B 1 --key-interval 12", ".m2v", 40},
                                         Encoding{"OddSize", "mpeg2", "-q 3 -B 2 --key-interval 12", ".m2v", 40,
                                                  fractal, 171, 133}),
                         [](const auto& encoding) { return std::string(encoding.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Mpeg4, Encode,
    testing::Values(Encoding{"Usual", "mpeg4", "-q 5 --key-interval 30", ".m4v", 50},
                    Encoding{"Fine", "mpeg4", "-q 1 --key-interval 30 --one-vector", ".m4v", 50},
                    Encoding{"Coarse", "mpeg4", "-q 31 --key-interval 30 --packet-bits 2000", ".m4v", 50},
                    Encoding{"Matrix", "mpeg4", "-q 4 --key-interval 30 --matrix", ".m4v", 50},
                    Encoding{"MatrixPackets", "mpeg4", "-q 12 --key-interval 30 --matrix --packet-bits 500", ".m4v",
                             50},
                    Encoding{"BitRate", "mpeg4", "-b 700 --key-interval 30", ".m4v", 50},
                    Encoding{"Bidirectional", "mpeg4", "-q 4 --key-interval 30 -B 2", ".m4v", 50},
                    Encoding{"BidirectionalPackets", "mpeg4",
                             "-q 9 --key-interval 30 -B 1 --matrix --packet-bits 900", ".m4v", 50},
                    Encoding{"OddSize", "mpeg4", "-q 3 --key-interval 30", ".m4v", 50, fractal, 171, 133}),
    [](const auto& encoding) { return std::string(encoding.param.name); });

INSTANTIATE_TEST_SUITE_P(H264, Encode,
                         testing::Values(Encoding{"Usual", "h264", "-q 26 --key-interval 12", ".264", exact},
                                         Encoding{"Finest", "h264", "-q 1", ".264", exact, texture, 96, 64},
                                         Encoding{"Coarsest", "h264", "-q 51", ".264", exact},
                                         Encoding{"BitRate", "h264", "-b 300", ".264", exact},
                                         Encoding{"OddSize", "h264", "-q 20", ".264", exact, fractal, 171, 133}),
                         [](const auto& encoding) { return std::string(encoding.param.name); });

// H.263 counts time on one clock only, and its samples have one shape.
constexpr const char* telephone =
    "testsrc2=s=SIZE:r=30000/1001,scroll=h=0.02:v=0.01,noise=alls=6:allf=t,setsar=12/11";

INSTANTIATE_TEST_SUITE_P(
    H263, Encode,
    testing::Values(Encoding{"Usual", "h263", "-q 5 --key-interval 30", ".h263", 50, telephone},
                    Encoding{"Fine", "h263", "-q 1 --key-interval 30", ".h263", 50, telephone, 176, 144},
                    Encoding{"Coarse", "h263", "-q 31 --key-interval 30 --packet-bits 1000", ".h263", 50, telephone},
                    Encoding{"Groups", "h263", "-q 9 --key-interval 7 --packet-bits 1", ".h263", 50, telephone, 704,
                             576, 9},
                    Encoding{"BitRate", "h263", "-b 200 --key-interval 30", ".h263", 50, telephone, 128, 96, 60}),
    [](const auto& encoding) { return std::string(encoding.param.name); });

// At no less quality the stream may be larger than ffmpeg's by no more than a factor.
struct Contest {
    const char* name;
    const char* codec;
    const char* options;  // with which our stream is a little better
    const char* extension;
    const char* theirs;  // ffmpeg's options
    double factor;
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
    const std::string ours = workPath("ours") + contest.extension, theirs = workPath("theirs") + contest.extension;
    ASSERT_EQ(qvo("encode " + input + " -c " + contest.codec + " " + contest.options + " -o " + ours).code, 0);
    ASSERT_EQ(runFfmpeg("-i " + input + " " + contest.theirs + " " + theirs).code, 0);

    const Video source(planar, 352, 288);
    EXPECT_GE(meanPsnr(ours, source), meanPsnr(theirs, source));
    EXPECT_LE(static_cast<double>(std::filesystem::file_size(ours)),
              contest.factor * static_cast<double>(std::filesystem::file_size(theirs)));
    std::filesystem::remove_all(std::filesystem::path(ours).parent_path());
}

INSTANTIATE_TEST_SUITE_P(Mpeg2, EncodedSize,
                         testing::Values(Contest{"Fine", "mpeg2", "-q 2 -B 2 --key-interval 12", ".m2v",
                                                 "-c:v mpeg2video -g 12 -bf 2 -q:v 3", 1.25},
                                         Contest{"Coarse", "mpeg2", "-q 12 -B 0 --key-interval 12", ".m2v",
                                                 "-c:v mpeg2video -g 12 -bf 0 -q:v 16", 1.25}),
                         [](const auto& contest) { return std::string(contest.param.name); });

INSTANTIATE_TEST_SUITE_P(H264, EncodedSize,
                         testing::Values(Contest{"Fine", "h264", "-q 27", ".264",
                                                 "-c:v libx264 -profile:v baseline -preset veryfast -crf 20", 0.85},
                                         Contest{"Coarse", "h264", "-q 38", ".264",
                                                 "-c:v libx264 -profile:v baseline -preset veryfast -crf 32", 1.0}),
                         [](const auto& contest) { return std::string(contest.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Mpeg4, EncodedSize,
    testing::Values(Contest{"Fine", "mpeg4", "-q 7 --key-interval 30", ".m4v", "-c:v mpeg4 -g 30 -q:v 8", 1.25},
                    Contest{"Coarse", "mpeg4", "-q 14 --key-interval 30", ".m4v", "-c:v mpeg4 -g 30 -q:v 15", 1.25}),
    [](const auto& contest) { return std::string(contest.param.name); });

INSTANTIATE_TEST_SUITE_P(H263, EncodedSize,
                         testing::Values(Contest{"Fine", "h263", "-q 5 --key-interval 30", ".h263",
                                                 "-c:v h263 -g 30 -q:v 6 -f h263", 1.25},
                                         Contest{"Coarse", "h263", "-q 14 --key-interval 30", ".h263",
                                                 "-c:v h263 -g 30 -q:v 15 -f h263", 1.25}),
                         [](const auto& contest) { return std::string(contest.param.name); });

}  // namespace
