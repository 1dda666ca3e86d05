// Clips that ffmpeg makes on the spot: picture types, sizes and coding tools of each codec, and containers.
#include <cstdlib>
#include <string>

#include "support.h"

namespace {

struct Clip {
    const char* name;
    const char* source;  // lavfi source or graph, without its size
    int width;
    int height;
    int frames;
    const char* options;
    const char* extension = ".m2v";
    double floor = 46;
};

void PrintTo(const Clip& clip, std::ostream* to) {
    *to << clip.name;
}

std::string makeClip(const Clip& clip) {
    const std::string size = std::to_string(clip.width) + "x" + std::to_string(clip.height);
    std::string source = clip.source;
    source.replace(source.find("SIZE"), 4, size);
    return ffmpeg("-f lavfi -i " + source + " -frames:v " + std::to_string(clip.frames) + " -pix_fmt yuv420p -r 25 " +
                      clip.options,
                  clip.extension);
}

void decodeLikeFfmpeg(const Clip& clip) {
    const bool quarter = std::string(clip.options).find("yuv411p") != std::string::npos;
    expectLikeReference(makeClip(clip), clip.width, clip.height, clip.frames, clip.floor,
                        quarter ? "yuv411p" : "yuv420p");
}

class Clips : public testing::TestWithParam<Clip> {};

TEST_P(Clips, DecodeLikeFfmpeg) {
    decodeLikeFfmpeg(GetParam());
}

class Containers : public testing::TestWithParam<Clip> {};

TEST_P(Containers, DecodeLikeFfmpeg) {
    if (!QVO_CONTAINERS) GTEST_SKIP() << "qvo was built without libavformat";
    decodeLikeFfmpeg(GetParam());
}

constexpr const char* pattern = "testsrc2=s=SIZE:r=25";
constexpr const char* patternAndSound = "testsrc2=s=SIZE:r=25 -f lavfi -i sine=d=0.3";
constexpr const char* fractal = "mandelbrot=s=SIZE:r=25:start_scale=1";
constexpr const char* noise = "color=gray:s=SIZE:r=25,noise=alls=90:allf=t";
// Moves farther from frame to frame than the shortest vector codes reach.
constexpr const char* fast = "testsrc2=s=SIZE:r=25,scroll=h=0.13:v=-0.09";
// Two fields of different times in every frame.
constexpr const char* fields = "testsrc2=s=SIZE:r=50,scroll=h=0.02:v=0.01,interlace";

#define MATRICES                                                                                                 \
    "-intra_matrix 8,17,18,19,20,21,22,23,17,18,19,20,21,22,23,24,18,19,20,21,22,23,24,25,19,20,21,22,23,24,25," \
    "26,20,21,22,23,24,25,26,28,21,22,23,24,25,26,28,30,22,23,24,25,26,28,30,32,23,24,25,26,28,30,32,60 "        \
    "-inter_matrix 20,17,18,19,20,21,22,23,17,18,19,20,21,22,23,24,18,19,20,21,22,23,24,25,19,20,21,22,23,24,"   \
    "26,27,20,21,22,23,25,26,27,28,21,22,23,24,26,27,28,30,22,23,24,26,27,28,30,31,23,24,25,27,28,30,31,90 "

INSTANTIATE_TEST_SUITE_P(
    Mpeg1, Clips,
    testing::Values(Clip{"I", pattern, 176, 144, 4, "-c:v mpeg1video -g 1 -q:v 3", ".m1v", 52},
                    Clip{"Noise", noise, 96, 80, 4, "-c:v mpeg1video -g 1 -q:v 1 -qmin 1", ".m1v", 52},
                    Clip{"IP", fast, 352, 288, 8, "-c:v mpeg1video -g 8 -bf 0 -q:v 4", ".m1v"},
                    Clip{"IPB1", fractal, 320, 240, 9, "-c:v mpeg1video -g 6 -bf 1 -q:v 2", ".m1v"},
                    Clip{"IPB3", fast, 352, 288, 13, "-c:v mpeg1video -g 12 -bf 3 -b:v 1M", ".m1v"},
                    Clip{"OddSize", fractal, 171, 133, 8, "-c:v mpeg1video -g 6 -bf 2 -q:v 3", ".m1v"},
                    Clip{"Matrices", fractal, 176, 144, 8, "-c:v mpeg1video -g 6 -bf 1 -q:v 4 " MATRICES, ".m1v"}),
    [](const auto& clip) { return std::string(clip.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Mpeg2, Clips,
    testing::Values(
        Clip{"I", pattern, 176, 144, 4, "-c:v mpeg2video -g 1 -q:v 3", ".m2v", 52},
        Clip{"Noise", noise, 96, 80, 4, "-c:v mpeg2video -g 1 -q:v 1 -qmin 1", ".m2v", 52},
        Clip{"IP", fast, 352, 288, 8, "-c:v mpeg2video -g 8 -bf 0 -q:v 4"},
        Clip{"IPB2", fast, 352, 288, 13, "-c:v mpeg2video -g 12 -bf 2 -b:v 1M"},
        Clip{"IPB3", fractal, 320, 240, 13, "-c:v mpeg2video -g 12 -bf 3 -q:v 2"},
        Clip{"OddSize", fractal, 171, 133, 8, "-c:v mpeg2video -g 6 -bf 2 -q:v 3"},
        Clip{"Matrices", fractal, 176, 144, 8, "-c:v mpeg2video -g 6 -bf 1 -q:v 4 " MATRICES},
        Clip{"Interlaced", fields, 352, 288, 9, "-c:v mpeg2video -flags +ildct+ilme -top 1 -g 9 -bf 2 -q:v 3"},
        Clip{"InterlacedBottomFirst", fields, 350, 270, 7,
             "-c:v mpeg2video -flags +ildct+ilme -top 0 -g 6 -bf 1 -alternate_scan 1 -q:v 5"},
        Clip{"AlternateScan", fractal, 176, 144, 8, "-c:v mpeg2video -g 6 -bf 1 -alternate_scan 1 -q:v 2"},
        Clip{"IntraVlc", pattern, 176, 144, 8, "-c:v mpeg2video -g 4 -bf 1 -intra_vlc 1 -q:v 2"},
        Clip{"NonLinearScale", fast, 352, 288, 8,
             "-c:v mpeg2video -g 6 -bf 1 -non_linear_quant 1 -qmax 28 -b:v 600k"},
        Clip{"Dc9", fractal, 176, 144, 6, "-c:v mpeg2video -g 3 -bf 0 -dc 9 -q:v 3"},
        Clip{"Dc10", fractal, 176, 144, 6, "-c:v mpeg2video -g 3 -bf 0 -dc 10 -q:v 3"},
        Clip{"AllTools", fields, 360, 250, 10,
             "-c:v mpeg2video -flags +ildct+ilme -g 9 -bf 2 -dc 10 -intra_vlc 1 -alternate_scan 1 "
             "-non_linear_quant 1 -qmax 28 -q:v 3 " MATRICES}),
    [](const auto& clip) { return std::string(clip.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Mpeg, Containers,
    testing::Values(Clip{"ProgramStream", patternAndSound, 176, 144, 8, "-c:v mpeg2video -f dvd", ".mpg"},
                    Clip{"SystemStream", pattern, 176, 144, 8, "-c:v mpeg1video -f mpeg", ".mpg"},
                    Clip{"TransportStream", patternAndSound, 176, 144, 8, "-c:v mpeg2video -bf 2 -f mpegts", ".ts"},
                    Clip{"Matroska", patternAndSound, 176, 144, 8, "-c:v mpeg2video -bf 2", ".mkv"},
                    Clip{"Avi", pattern, 176, 144, 8, "-c:v mpeg2video", ".avi"},
                    Clip{"Mp4", pattern, 176, 144, 8, "-c:v mpeg1video -bf 1", ".mp4"}),
    [](const auto& clip) { return std::string(clip.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Mpeg4, Clips,
    testing::Values(
        Clip{"I", pattern, 176, 144, 4, "-c:v mpeg4 -f m4v -g 1 -q:v 3", ".m4v", 52},
        Clip{"Noise", noise, 96, 80, 4, "-c:v mpeg4 -f m4v -q:v 1 -qmin 1", ".m4v", 52},
        Clip{"Coarse", fast, 352, 288, 12, "-c:v mpeg4 -f m4v -bf 2 -q:v 31", ".m4v", 48},
        Clip{"IP", fast, 352, 288, 12, "-c:v mpeg4 -f m4v -q:v 4", ".m4v", 48},
        Clip{"IPB", fast, 352, 288, 13, "-c:v mpeg4 -f m4v -g 6 -bf 2 -b:v 1M", ".m4v", 48},
        Clip{"FourVectors", fast, 352, 288, 13, "-c:v mpeg4 -f m4v -flags +mv4+aic -mbd rd -b:v 400k", ".m4v", 48},
        Clip{"FourVectorsIPB", fractal, 320, 240, 13, "-c:v mpeg4 -f m4v -bf 3 -flags +mv4 -mbd rd -q:v 3", ".m4v",
             48},
        Clip{"SmallPackets", fast, 352, 288, 13, "-c:v mpeg4 -f m4v -g 5 -bf 2 -ps 300 -b:v 800k", ".m4v", 48},
        Clip{"Partitioned", fast, 352, 288, 12, "-c:v mpeg4 -f m4v -data_partitioning 1 -ps 400 -b:v 800k", ".m4v",
             48},
        Clip{"PartitionedIPB", fractal, 320, 240, 13,
             "-c:v mpeg4 -f m4v -data_partitioning 1 -bf 2 -flags +mv4 -mbd rd -ps 1000 -q:v 3", ".m4v", 48},
        Clip{"MpegQuant", fractal, 176, 144, 13, "-c:v mpeg4 -f m4v -mpeg_quant 1 -bf 2 -q:v 3", ".m4v", 48},
        Clip{"Matrices", fractal, 176, 144, 8, "-c:v mpeg4 -f m4v -mpeg_quant 1 -g 6 -bf 1 -q:v 4 " MATRICES, ".m4v",
             48},
        Clip{"OddSize", fast, 170, 132, 13, "-c:v mpeg4 -f m4v -bf 2 -flags +mv4 -mbd rd -q:v 3", ".m4v", 48},
        Clip{"VeryOddSize", fractal, 171, 133, 8, "-c:v mpeg4 -f m4v -bf 2 -q:v 3", ".m4v", 48}),
    [](const auto& clip) { return std::string(clip.param.name); });

INSTANTIATE_TEST_SUITE_P(Mpeg4, Containers,
                         testing::Values(Clip{"Avi", fast, 176, 144, 13, "-c:v mpeg4 -bf 2 -q:v 4", ".avi", 48},
                                         Clip{"Mp4", pattern, 176, 144, 13, "-c:v mpeg4 -bf 2 -q:v 4", ".mp4", 48},
                                         Clip{"Matroska", pattern, 176, 144, 13, "-c:v mpeg4 -bf 1 -q:v 4", ".mkv",
                                              48}),
                         [](const auto& clip) { return std::string(clip.param.name); });

bool hasXvid() {
    return std::system(FFMPEG_PROGRAM " -v error -h encoder=libxvid | grep -q '^Encoder libxvid'") == 0;
}

// Xvid's encoder, with B pictures packed into the AVI file's packets and placeholders behind them, holds back the last
// frames, so that their number is ffmpeg's.
class XvidClips : public testing::TestWithParam<Clip> {};

TEST_P(XvidClips, DecodeLikeFfmpeg) {
    if (!QVO_CONTAINERS) GTEST_SKIP() << "qvo was built without libavformat";
    if (!hasXvid()) GTEST_SKIP() << "ffmpeg comes without libxvid";
    Clip clip = GetParam();
    const std::string file = makeClip(clip);
    clip.frames = Video(referenceDecode(file), clip.width, clip.height).frames();
    ASSERT_GT(clip.frames, 10);
    expectLikeReference(file, clip.width, clip.height, clip.frames, clip.floor);
}

INSTANTIATE_TEST_SUITE_P(
    Mpeg4, XvidClips,
    testing::Values(Clip{"IP", fast, 176, 144, 13, "-c:v libxvid -bf 0 -q:v 4 -f m4v", ".m4v", 48},
                    Clip{"Packed", fast, 352, 288, 13, "-c:v libxvid -bf 2 -flags +mv4 -q:v 4", ".avi", 48},
                    Clip{"PackedMatrices", fractal, 334, 250, 15, "-c:v libxvid -mpeg_quant 1 -bf 2 -q:v 4", ".avi",
                         48}),
    [](const auto& clip) { return std::string(clip.param.name); });

#define MAKE_H263 "-f h263 -c:v h263 "
#define MAKE_H263P "-f h263 -c:v h263p -threads 1 "

INSTANTIATE_TEST_SUITE_P(H263Baseline, Clips,
                         testing::Values(Clip{"SubQcif", noise, 128, 96, 6, MAKE_H263 "-q:v 1 -qmin 1", ".263", 48},
                                         Clip{"Coarse", fast, 176, 144, 12, MAKE_H263 "-q:v 31", ".263", 48},
                                         Clip{"Cif", fast, 352, 288, 12, MAKE_H263 "-q:v 4", ".263", 48},
                                         Clip{"FourVectors", fractal, 352, 288, 12,
                                              MAKE_H263 "-flags +mv4 -mbd rd -trellis 2 -b:v 400k", ".263", 48},
                                         Clip{"Groups", fast, 704, 576, 6, MAKE_H263 "-ps 300 -q:v 8", ".263", 48},
                                         Clip{"LargeGroups", pattern, 1408, 1152, 4, MAKE_H263 "-ps 300 -q:v 8",
                                              ".263", 48}),
                         [](const auto& clip) { return std::string(clip.param.name); });

INSTANTIATE_TEST_SUITE_P(
    H263Annexes, Clips,
    testing::Values(
        Clip{"D", fast, 352, 288, 12, MAKE_H263P "-umv 1 -me_range 200 -q:v 4", ".263", 48},
        Clip{"I", fractal, 352, 288, 12, MAKE_H263P "-flags +aic -g 3 -b:v 600k", ".263", 48},
        Clip{"IFine", noise, 96, 80, 6, MAKE_H263P "-flags +aic -g 3 -q:v 1 -qmin 1", ".263", 46},
        Clip{"J", fast, 352, 288, 12, MAKE_H263P "-flags +loop+mv4 -q:v 12", ".263", 48},
        Clip{"K", fast, 352, 288, 12, MAKE_H263P "-structured_slices 1 -ps 300 -q:v 6", ".263", 48},
        Clip{"KLarge", pattern, 1280, 720, 4, MAKE_H263P "-structured_slices 1 -ps 500 -q:v 6", ".263", 48},
        Clip{"All", fast, 352, 288, 12,
             "-f h263 -c:v h263p -threads 2 -umv 1 -flags +aic+loop+mv4 -structured_slices 1 -ps 400 -b:v 500k",
             ".263", 48},
        Clip{"CustomSize", fractal, 172, 132, 12, MAKE_H263P "-umv 1 -flags +aic+loop+mv4 -q:v 3", ".263", 48},
        Clip{"CustomGroups", fast, 1004, 412, 6, MAKE_H263P "-flags +aic -ps 300 -q:v 6", ".263", 48}),
    [](const auto& clip) { return std::string(clip.param.name); });

INSTANTIATE_TEST_SUITE_P(H263, Containers,
                         testing::Values(Clip{"Avi", fast, 176, 144, 13, "-c:v h263 -q:v 4", ".avi", 48},
                                         Clip{"3gp", pattern, 176, 144, 13, "-c:v h263 -q:v 4", ".3gp", 48},
                                         Clip{"Matroska", pattern, 352, 288, 13, "-c:v h263p -flags +aic -q:v 4",
                                              ".mkv", 48}),
                         [](const auto& clip) { return std::string(clip.param.name); });

// With overlapped blocks ffmpeg's decoder takes the vectors of the macroblock to the right from a forecast that is not
// always right, and drifts from its encoder. What comes closer to the source is right.
TEST(OverlappedH263, DecodesAtLeastAsWellAsFfmpeg) {
    for (const char* encoder :
         {MAKE_H263 "-flags +mv4 -q:v 4 -g 100 -obmc 1", MAKE_H263P "-q:v 4 -g 100 -umv 1 -obmc 1"}) {
        const std::string source = ffmpeg(
            "-f lavfi -i testsrc2=s=352x288:r=25,scroll=h=0.013:v=-0.009 -frames:v 30 "
            "-pix_fmt yuv420p -f rawvideo",
            ".yuv");
        const std::string clip =
            ffmpeg("-f rawvideo -s 352x288 -r 25 -pix_fmt yuv420p -i " + source + " " + encoder, ".263");
        ASSERT_EQ(qvo("decode " + clip + " -o " + workPath("ours.yuv")).err, "");
        const Video original(source, 352, 288), ours(workPath("ours.yuv"), 352, 288);
        const Video theirs(referenceDecode(clip), 352, 288);
        ASSERT_EQ(ours.frames(), 30);
        for (int i = 0; i < 30; ++i) {
            EXPECT_GT(ours.psnr(original, i), 41) << "frame " << i;
            EXPECT_GT(ours.psnr(original, i), theirs.psnr(original, i) - 0.01) << "frame " << i;
        }
    }
}

constexpr const char* fading = "testsrc2=s=SIZE:r=25,fade=in:0:20";

#define BASELINE "-c:v libx264 -profile:v baseline -x264-params "
// CAVLC streams of a profile with B slices and weights.
#define CAVLC "-c:v libx264 -profile:v main -x264-params cabac=0:8x8dct=0:b-adapt=0:scenecut=0:"

INSTANTIATE_TEST_SUITE_P(
    H264, Clips,
    testing::Values(
        Clip{"I", pattern, 176, 144, 4, BASELINE "keyint=1:qp=20", ".264", exact},
        Clip{"Noise", noise, 96, 80, 6, BASELINE "qp=1", ".264", exact},
        Clip{"Coarse", fractal, 352, 288, 10, BASELINE "qp=48:chroma-qp-offset=-9", ".264", exact},
        Clip{"IP", fast, 352, 288, 13, BASELINE "keyint=8", ".264", exact},
        Clip{"Partitions", fast, 352, 288, 20, BASELINE "partitions=all:ref=8:subme=9:me=umh:qp=18", ".264", exact},
        Clip{"Slices", fast, 352, 288, 12, BASELINE "slices=5:ref=4", ".264", exact},
        Clip{"SmallSlices", fractal, 352, 288, 10, BASELINE "slice-max-size=400:ref=3", ".264", exact},
        Clip{"DeblockingOffsets", fractal, 352, 288, 10, BASELINE "deblock=-3,4:qp=38", ".264", exact},
        Clip{"NoDeblocking", fractal, 352, 288, 10, BASELINE "no-deblock=1:qp=38", ".264", exact},
        Clip{"ConstrainedIntra", fast, 352, 288, 12, BASELINE "constrained-intra=1:ref=2:qp=30", ".264", exact},
        Clip{"IntraRefresh", fast, 352, 288, 24, BASELINE "intra-refresh=1:keyint=12", ".264", exact},
        Clip{"Cropped", fast, 170, 134, 12, BASELINE "keyint=8", ".264", exact},
        Clip{"Spatial", fractal, 352, 288, 20, CAVLC "bframes=3:weightb=0:direct=spatial:weightp=0:b-pyramid=none",
             ".264", exact},
        Clip{"SpatialPyramid", fast, 350, 270, 20,
             CAVLC "bframes=3:weightb=0:direct=spatial:weightp=0:b-pyramid=normal:partitions=all:ref=4", ".264",
             exact},
        Clip{"Temporal", fractal, 352, 288, 20,
             CAVLC "bframes=3:weightb=0:direct=temporal:weightp=0:b-pyramid=none:partitions=all:ref=2:slices=3",
             ".264", exact},
        Clip{"TemporalPyramid", fast, 352, 288, 20,
             CAVLC "bframes=3:weightb=1:direct=temporal:weightp=0:b-pyramid=normal:partitions=all:ref=4", ".264",
             exact},
        Clip{"WeightedP", fading, 352, 288, 24, CAVLC "bframes=0:weightp=2:ref=3", ".264", exact},
        Clip{"WeightedPB", fading, 352, 288, 24,
             CAVLC "bframes=3:weightp=2:weightb=1:direct=auto:ref=3:partitions=all:open-gop=1:keyint=8", ".264",
             exact}),
    [](const auto& clip) { return std::string(clip.param.name); });

INSTANTIATE_TEST_SUITE_P(H264, Containers,
                         testing::Values(Clip{"Mp4", patternAndSound, 176, 144, 8, CAVLC "bframes=2", ".mp4", exact},
                                         Clip{"Matroska", pattern, 176, 144, 8, BASELINE "slices=3", ".mkv", exact},
                                         Clip{"TransportStream", patternAndSound, 176, 144, 8, BASELINE "keyint=4",
                                              ".ts", exact}),
                         [](const auto& clip) { return std::string(clip.param.name); });

#define DV525 "-c:v dvvideo -pix_fmt yuv411p -r 30000/1001 "
#define DV625 "-c:v dvvideo "
// Blocks choose the 2-4-8 mode where the fields differ.
#define FIELDS "-flags +ildct+ilme"

INSTANTIATE_TEST_SUITE_P(Dv, Clips,
                         testing::Values(Clip{"525", pattern, 720, 480, 4, DV525, ".dv", 54},
                                         Clip{"525Fields", fields, 720, 480, 4, DV525 FIELDS, ".dv", 54},
                                         Clip{"525Noise", noise, 720, 480, 2, DV525, ".dv", 54},
                                         Clip{"625", fractal, 720, 576, 4, DV625, ".dv", 54},
                                         Clip{"625Fields", fields, 720, 576, 4, DV625 FIELDS, ".dv", 54},
                                         Clip{"625Noise", noise, 720, 576, 2, DV625 FIELDS, ".dv", 54},
                                         Clip{"625Quarter", fast, 720, 576, 3, "-c:v dvvideo -pix_fmt yuv411p", ".dv",
                                              54}),
                         [](const auto& clip) { return std::string(clip.param.name); });

INSTANTIATE_TEST_SUITE_P(Dv, Containers,
                         testing::Values(Clip{"Avi", patternAndSound, 720, 576, 3, DV625 "-ar 48000 -ac 2", ".avi",
                                              54},
                                         Clip{"QuickTime", pattern, 720, 480, 3, DV525, ".mov", 54},
                                         Clip{"Matroska", pattern, 720, 576, 3, DV625, ".mkv", 54}),
                         [](const auto& clip) { return std::string(clip.param.name); });

}  // namespace
