// The post-filters of qvo decode: what they bring against the video that was encoded.
#include <cmath>
#include <string>

#include "support.h"

namespace {

constexpr int frames = 8;

// PSNR over all frames.
double mean(const Video& video, const Video& source) {
    double error = 0;
    for (int i = 0; i < frames; ++i)
        error += std::pow(10, -video.psnr(source, i) / 10) / frames;
    return -10 * std::log10(error);
}

TEST(PostFilter, BringsPicturesNearerToTheirSource) {
    // A whole number of macroblocks, and a size that ends within a block.
    for (const auto& pair : {std::pair(176, 144), std::pair(170, 130)}) {
        const int width = pair.first, height = pair.second;
        const std::string size = std::to_string(width) + "x" + std::to_string(height);
        const std::string input =
            "-f lavfi -i testsrc2=s=" + size + ":r=25,scroll=h=0.01 -frames:v 8 -pix_fmt yuv420p ";
        const std::string clip = ffmpeg(input + "-c:v mpeg4 -bf 1 -q:v 12 -f m4v", ".m4v");
        const Video source(ffmpeg(input + "-f rawvideo", ".yuv"), width, height);
        const auto gain = [&](const std::string& options) {
            const Ran ran = qvo("decode " + clip + " " + options + " -o " + workPath("filtered.yuv"));
            EXPECT_EQ(ran.code, 0) << ran.err;
            const Video filtered(workPath("filtered.yuv"), width, height);
            EXPECT_EQ(filtered.frames(), frames);
            return mean(filtered, source) - mean({referenceDecode(clip), width, height}, source);
        };
        EXPECT_NEAR(gain(""), 0, 0.02);
        EXPECT_GT(gain("--deblock"), 0.1);
        EXPECT_GT(gain("--dering"), 0.1);
        EXPECT_GT(gain("--deblock --dering"), 0.2);
    }
}

TEST(PostFilter, IsForCodecsThatSayTheirQuantisers) {
    const std::string clip = ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25 -frames:v 3 -c:v mpeg2video", ".m2v");
    const Ran ran = qvo("decode " + clip + " --deblock -o " + workPath("filtered.yuv"));
    EXPECT_EQ(ran.code, 2);
    EXPECT_NE(ran.err.find("MPEG-4"), std::string::npos) << ran.err;
}

}  // namespace
