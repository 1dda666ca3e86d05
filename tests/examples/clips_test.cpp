// Clips that ffmpeg makes on the spot: picture types, sizes and coding tools of each codec, and containers.
#include <cstdlib>
#include <string>

#include "support.h"

namespace {

struct Format {
    const char* options;
    const char* extension;
    double floor;
    bool container = false;
};

struct Size {
    int width;
    int height;
};

struct Clip {
    const char* name;
    Format format;
    const char* source;  // lavfi source or graph, with SIZE for its size
    Size size;
    int frames;  // 0: as many as ffmpeg makes of it
    const char* options;
    double floor = 0;  // 0: the format's
};

void PrintTo(const Clip& clip, std::ostream* to) {
    *to << clip.name;
}

class Clips : public testing::TestWithParam<Clip> {};

TEST_P(Clips, DecodeLikeFfmpeg) {
    const auto& [name, format, graph, size, frames, moreOptions, floor] = GetParam();
    if (format.container && !QVO_CONTAINERS) GTEST_SKIP() << "qvo was built without libavformat";
    const std::string options = std::string(format.options) + moreOptions;
    if (options.find("libxvid") != std::string::npos &&
        std::system(FFMPEG_PROGRAM " -v error -h encoder=libxvid | grep -q '^Encoder libxvid'") != 0)
        GTEST_SKIP() << "ffmpeg comes without libxvid";
    std::string source = graph;
    source.replace(source.find("SIZE"), 4, std::to_string(size.width) + "x" + std::to_string(size.height));
    const std::string limit = frames > 0 ? std::to_string(frames) : "15";
    const std::string file = ffmpeg(
        "-f lavfi -i " + source + " -frames:v " + limit + " -pix_fmt yuv420p -r 25 " + options, format.extension);
    const bool quarter = options.find("yuv411p") != std::string::npos;
    expectLikeReference(file, size.width, size.height, frames, floor > 0 ? floor : format.floor,
                        quarter ? "yuv411p" : "yuv420p");
}

constexpr Size qcif = {176, 144}, cif = {352, 288}, sif = {320, 240}, uneven = {350, 270}, odd = {171, 133},
               lines525 = {720, 480}, lines625 = {720, 576};

constexpr const char* pattern = "testsrc2=s=SIZE:r=25";
constexpr const char* patternAndSound = "testsrc2=s=SIZE:r=25 -f lavfi -i sine=d=0.3";
constexpr const char* fractal = "mandelbrot=s=SIZE:r=25:start_scale=1";
constexpr const char* noise = "color=gray:s=SIZE:r=25,noise=alls=90:allf=t";
// Moves farther from frame to frame than the shortest vector codes reach.
constexpr const char* fast = "testsrc2=s=SIZE:r=25,scroll=h=0.13:v=-0.09";
// Two fields of different times in every frame.
constexpr const char* fields = "testsrc2=s=SIZE:r=50,scroll=h=0.02:v=0.01,interlace";
constexpr const char* fading = "testsrc2=s=SIZE:r=25,fade=in:0:20";

#define MATRICES                                                                                                 \
    "-intra_matrix 8,17,18,19,20,21,22,23,17,18,19,20,21,22,23,24,18,19,20,21,22,23,24,25,19,20,21,22,23,24,25," \
    "26,20,21,22,23,24,25,26,28,21,22,23,24,25,26,28,30,22,23,24,25,26,28,30,32,23,24,25,26,28,30,32,60 "        \
    "-inter_matrix 20,17,18,19,20,21,22,23,17,18,19,20,21,22,23,24,18,19,20,21,22,23,24,25,19,20,21,22,23,24,"   \
    "26,27,20,21,22,23,25,26,27,28,21,22,23,24,26,27,28,30,22,23,24,26,27,28,30,31,23,24,25,27,28,30,31,90 "

// Their options end where others can follow.
constexpr Format mpeg1 = {"-c:v mpeg1video ", ".m1v", 46};
constexpr Format mpeg2 = {"-c:v mpeg2video ", ".m2v", 46};
constexpr Format mpeg4 = {"-c:v mpeg4 -f m4v ", ".m4v", 48};
constexpr Format h263 = {"-f h263 -c:v h263 ", ".263", 48};
constexpr Format h263p = {"-f h263 -c:v h263p -threads 1 ", ".263", 48};
constexpr Format h264 = {"-c:v libx264 -profile:v baseline -x264-params ", ".264", exact};
// CAVLC streams of a profile with B slices and weights.
#define CAVLC "-c:v libx264 -profile:v main -x264-params cabac=0:8x8dct=0:b-adapt=0:scenecut=0:"
constexpr Format h264Main = {CAVLC, ".264", exact};
constexpr Format dv525 = {"-c:v dvvideo -pix_fmt yuv411p -r 30000/1001 ", ".dv", 54};
constexpr Format dv625 = {"-c:v dvvideo ", ".dv", 54};
// Xvid's encoder packs B pictures into the AVI file's packets with placeholders behind them, and holds back the last
// frames.
constexpr Format xvid = {"-c:v libxvid ", ".avi", 48, true};

constexpr Clip clips[] = {
    {"Mpeg1Noise", mpeg1, noise, {96, 80}, 4, "-g 1 -q:v 1 -qmin 1", 52},
    {"Mpeg1IPB3", mpeg1, fast, cif, 13, "-g 12 -bf 3 -b:v 1M"},
    {"Mpeg1OddSize", mpeg1, fractal, odd, 8, "-g 6 -bf 2 -q:v 3"},
    {"Mpeg1Matrices", mpeg1, fractal, qcif, 8, "-g 6 -bf 1 -q:v 4 " MATRICES},

    {"Mpeg2Noise", mpeg2, noise, {96, 80}, 4, "-g 1 -q:v 1 -qmin 1", 52},
    {"Mpeg2IPB2", mpeg2, fast, cif, 13, "-g 12 -bf 2 -b:v 1M"},
    {"Mpeg2OddSize", mpeg2, fractal, odd, 8, "-g 6 -bf 2 -q:v 3"},
    {"Mpeg2Interlaced", mpeg2, fields, cif, 9, "-flags +ildct+ilme -top 1 -g 9 -bf 2 -q:v 3"},
    {"Mpeg2BottomFirst", mpeg2, fields, uneven, 7, "-flags +ildct+ilme -top 0 -g 6 -bf 1 -alternate_scan 1 -q:v 5"},
    {"Mpeg2IntraVlc", mpeg2, pattern, qcif, 8, "-g 4 -bf 1 -intra_vlc 1 -dc 9 -q:v 2"},
    {"Mpeg2NonLinearScale", mpeg2, fast, cif, 8, "-g 6 -bf 1 -non_linear_quant 1 -qmax 28 -b:v 600k"},
    {"Mpeg2AllTools", mpeg2, fields, uneven, 10,
     MATRICES
     "-flags +ildct+ilme -g 9 -bf 2 -dc 10 -intra_vlc 1 -alternate_scan 1 -non_linear_quant 1 -qmax 28 -q:v 3"},

    {"Mpeg4Noise", mpeg4, noise, {96, 80}, 4, "-q:v 1 -qmin 1", 52},
    {"Mpeg4Coarse", mpeg4, fast, cif, 12, "-bf 2 -q:v 31"},
    {"Mpeg4IPB", mpeg4, fast, cif, 13, "-g 6 -bf 2 -b:v 1M"},
    {"Mpeg4FourVectors", mpeg4, fast, cif, 13, "-flags +mv4+aic -mbd rd -b:v 400k"},
    {"Mpeg4FourVectorsIPB", mpeg4, fractal, sif, 13, "-bf 3 -flags +mv4 -mbd rd -q:v 3"},
    {"Mpeg4SmallPackets", mpeg4, fast, cif, 13, "-g 5 -bf 2 -ps 300 -b:v 800k"},
    {"Mpeg4Partitioned", mpeg4, fast, cif, 12, "-data_partitioning 1 -ps 400 -b:v 800k"},
    {"Mpeg4PartitionedIPB", mpeg4, fractal, sif, 13,
     "-data_partitioning 1 -bf 2 -flags +mv4 -mbd rd -ps 1000 -q:v 3"},
    {"Mpeg4MpegQuant", mpeg4, fractal, qcif, 13, "-mpeg_quant 1 -bf 2 -q:v 3"},
    {"Mpeg4Matrices", mpeg4, fractal, qcif, 8, "-mpeg_quant 1 -g 6 -bf 1 -q:v 4 " MATRICES},
    {"Mpeg4OddSize", mpeg4, fractal, odd, 13, "-bf 2 -flags +mv4 -mbd rd -q:v 3"},
    {"XvidPacked", xvid, fast, cif, 0, "-bf 2 -flags +mv4 -q:v 4"},
    {"XvidMatrices", xvid, fractal, uneven, 0, "-mpeg_quant 1 -bf 2 -q:v 4"},

    {"H263SubQcif", h263, noise, {128, 96}, 6, "-q:v 1 -qmin 1"},
    {"H263Coarse", h263, fast, qcif, 12, "-q:v 31"},
    {"H263FourVectors", h263, fractal, cif, 12, "-flags +mv4 -mbd rd -trellis 2 -b:v 400k"},
    {"H263Groups", h263, fast, {704, 576}, 6, "-ps 300 -q:v 8"},
    {"H263LargeGroups", h263, pattern, {1408, 1152}, 4, "-ps 300 -q:v 8"},
    {"H263AnnexD", h263p, fast, cif, 12, "-umv 1 -me_range 200 -q:v 4"},
    {"H263AnnexI", h263p, fractal, cif, 12, "-flags +aic -g 3 -b:v 600k"},
    {"H263AnnexIFine", h263p, noise, {96, 80}, 6, "-flags +aic -g 3 -q:v 1 -qmin 1", 46},
    {"H263AnnexJ", h263p, fast, cif, 12, "-flags +loop+mv4 -q:v 12"},
    {"H263AnnexK", h263p, fast, cif, 12, "-structured_slices 1 -ps 300 -q:v 6"},
    {"H263AnnexK4cif", h263p, pattern, {704, 576}, 4, "-structured_slices 1 -ps 500 -q:v 5"},
    {"H263AnnexKLarge", h263p, pattern, {1280, 720}, 4, "-structured_slices 1 -ps 500 -q:v 6"},
    {"H263Annexes", h263p, fast, cif, 12,
     "-threads 2 -umv 1 -flags +aic+loop+mv4 -structured_slices 1 -ps 400 -b:v 500k"},
    {"H263CustomSize", h263p, fractal, {172, 132}, 12, "-umv 1 -flags +aic+loop+mv4 -q:v 3"},
    {"H263CustomGroups", h263p, fast, {1004, 412}, 6, "-flags +aic -ps 300 -q:v 6"},

    {"H264Noise", h264, noise, {96, 80}, 6, "qp=1"},
    {"H264Coarse", h264, fractal, cif, 10, "qp=48:chroma-qp-offset=-9"},
    {"H264IP", h264, fast, cif, 13, "keyint=8"},
    {"H264Partitions", h264, fast, cif, 20, "partitions=all:ref=8:subme=9:me=umh:qp=18"},
    {"H264Slices", h264, fast, cif, 12, "slices=5:ref=4"},
    {"H264SmallSlices", h264, fractal, cif, 10, "slice-max-size=400:ref=3"},
    {"H264DeblockingOffsets", h264, fractal, cif, 10, "deblock=-3,4:qp=38"},
    {"H264NoDeblocking", h264, fractal, cif, 10, "no-deblock=1:qp=38"},
    {"H264ConstrainedIntra", h264, fast, cif, 12, "constrained-intra=1:ref=2:qp=30"},
    {"H264IntraRefresh", h264, fast, cif, 24, "intra-refresh=1:keyint=12"},
    {"H264Cropped", h264, fast, {170, 134}, 12, "keyint=8"},
    {"H264Spatial", h264Main, fractal, cif, 20, "bframes=3:weightb=0:direct=spatial:weightp=0:b-pyramid=none"},
    {"H264SpatialPyramid", h264Main, fast, uneven, 20,
     "bframes=3:weightb=0:direct=spatial:weightp=0:b-pyramid=normal:partitions=all:ref=4"},
    {"H264Temporal", h264Main, fractal, cif, 20,
     "bframes=3:weightb=0:direct=temporal:weightp=0:b-pyramid=none:partitions=all:ref=2:slices=3"},
    {"H264TemporalPyramid", h264Main, fast, cif, 20,
     "bframes=3:weightb=1:direct=temporal:weightp=0:b-pyramid=normal:partitions=all:ref=4"},
    {"H264WeightedP", h264Main, fading, cif, 24, "bframes=0:weightp=2:ref=3"},
    {"H264WeightedPB", h264Main, fading, cif, 24,
     "bframes=3:weightp=2:weightb=1:direct=auto:ref=3:partitions=all:open-gop=1:keyint=8"},

    // Blocks choose the 2-4-8 mode where the fields differ.
    {"Dv525", dv525, pattern, lines525, 4, ""},
    {"Dv525Fields", dv525, fields, lines525, 4, "-flags +ildct+ilme"},
    {"Dv625", dv625, fractal, lines625, 4, ""},
    {"Dv625Fields", dv625, fields, lines625, 4, "-flags +ildct+ilme"},
    {"Dv625Noise", dv625, noise, lines625, 2, "-flags +ildct+ilme"},
    {"Dv625Quarter", dv625, fast, lines625, 3, "-pix_fmt yuv411p"},

    {"ProgramStream", {"-c:v mpeg2video -f dvd", ".mpg", 46, true}, patternAndSound, qcif, 8, ""},
    {"SystemStream", {"-c:v mpeg1video -f mpeg", ".mpg", 46, true}, pattern, qcif, 8, ""},
    {"TransportStream", {"-c:v mpeg2video -bf 2 -f mpegts", ".ts", 46, true}, patternAndSound, qcif, 8, ""},
    {"Mpeg2Matroska", {"-c:v mpeg2video -bf 2", ".mkv", 46, true}, patternAndSound, qcif, 8, ""},
    {"Mpeg2Avi", {"-c:v mpeg2video", ".avi", 46, true}, pattern, qcif, 8, ""},
    {"Mpeg1Mp4", {"-c:v mpeg1video -bf 1", ".mp4", 46, true}, pattern, qcif, 8, ""},
    {"Mpeg4Avi", {"-c:v mpeg4 -bf 2 -q:v 4", ".avi", 48, true}, fast, qcif, 13, ""},
    {"Mpeg4Mp4", {"-c:v mpeg4 -bf 2 -q:v 4", ".mp4", 48, true}, pattern, qcif, 13, ""},
    {"Mpeg4Matroska", {"-c:v mpeg4 -bf 1 -q:v 4", ".mkv", 48, true}, pattern, qcif, 13, ""},
    {"H263Avi", {"-c:v h263 -q:v 4", ".avi", 48, true}, fast, qcif, 13, ""},
    {"H2633gp", {"-c:v h263 -q:v 4", ".3gp", 48, true}, pattern, qcif, 13, ""},
    {"H263Matroska", {"-c:v h263p -flags +aic -q:v 4", ".mkv", 48, true}, pattern, cif, 13, ""},
    {"H264Mp4", {CAVLC "bframes=2", ".mp4", exact, true}, patternAndSound, qcif, 8, ""},
    {"H264Matroska",
     {"-c:v libx264 -profile:v baseline -x264-params slices=3", ".mkv", exact, true},
     pattern,
     qcif,
     8,
     ""},
    {"H264TransportStream",
     {"-c:v libx264 -profile:v baseline -x264-params keyint=4", ".ts", exact, true},
     patternAndSound,
     qcif,
     8,
     ""},
    {"DvAvi", {"-c:v dvvideo -ar 48000 -ac 2", ".avi", 54, true}, patternAndSound, lines625, 3, ""},
    {"DvQuickTime", {"-c:v dvvideo -pix_fmt yuv411p -r 30000/1001", ".mov", 54, true}, pattern, lines525, 3, ""},
    {"DvMatroska", {"-c:v dvvideo", ".mkv", 54, true}, pattern, lines625, 3, ""},
};

INSTANTIATE_TEST_SUITE_P(All, Clips, testing::ValuesIn(clips),
                         [](const auto& clip) { return std::string(clip.param.name); });

// With overlapped blocks ffmpeg's decoder takes the vectors of the macroblock to the right from a forecast that is not
// always right, and drifts from its encoder. What comes closer to the source is right.
TEST(OverlappedH263, DecodesAtLeastAsWellAsFfmpeg) {
    for (const char* encoder : {"-c:v h263 -f h263 -flags +mv4 -q:v 4 -g 100 -obmc 1",
                                "-c:v h263p -threads 1 -f h263 -q:v 4 -g 100 -umv 1 -obmc 1"}) {
        const std::string source = ffmpeg(
            "-f lavfi -i testsrc2=s=352x288:r=25,scroll=h=0.013:v=-0.009 -frames:v 30 -pix_fmt yuv420p -f rawvideo",
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

}  // namespace
