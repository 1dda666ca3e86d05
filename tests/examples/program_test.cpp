// The program around the decoders: its options, what it prints, its exit codes, what it leaves on disk.
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "support.h"

namespace {

namespace fs = std::filesystem;

constexpr int width = 176;
constexpr int height = 144;
constexpr std::size_t frameSize = width * height * 3 / 2;

constexpr int frameCount = 26;  // more than a contact sheet keeps at once

std::string clip() {
    return ffmpeg("-f lavfi -i testsrc2=s=176x144:r=25 -frames:v 26 -c:v mpeg2video -g 6 -bf 1 -q:v 2 -aspect 4:3",
                  ".m2v");
}

// A failure is one line that begins with the program's name and has these words in it; its exit code is 2.
void expectFailure(const Ran& ran, const std::string& words, const std::string& moreWords = "") {
    EXPECT_EQ(ran.code, 2);
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(std::count(ran.err.begin(), ran.err.end(), '\n'), 1) << ran.err;
    EXPECT_TRUE(ran.err.starts_with("qvo: ")) << ran.err;
    EXPECT_NE(ran.err.find(words), std::string::npos) << ran.err;
    EXPECT_NE(ran.err.find(moreWords), std::string::npos) << ran.err;
}

std::size_t filesIn(const std::string& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

TEST(Program, OutputsAgree) {
    const std::string yuv = workPath("a.yuv"), y4m = workPath("a.y4m"), piped = workPath("piped");
    const Ran ran = qvo("decode " + clip() + " --md5 -o " + yuv);
    ASSERT_EQ(ran.code, 0) << ran.err;
    const auto frames = readFile(yuv);
    EXPECT_EQ(frames.size(), frameCount * frameSize);

    // md5sum and ffmpeg as judges of --md5 and of the Y4M file.
    ASSERT_EQ(std::system(("md5sum < " + yuv + " > " + workPath("md5")).c_str()), 0);
    const auto sum = readFile(workPath("md5"));
    EXPECT_EQ(ran.out, std::string(sum.begin(), sum.begin() + 32) + "\n");

    ASSERT_EQ(qvo("decode " + clip() + " -o " + y4m).code, 0);
    const auto bytes = readFile(y4m);
    const std::string header = "YUV4MPEG2 W176 H144 F25:1 Ip A12:11 C420mpeg2\nFRAME\n";
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(header.size())), header);
    EXPECT_EQ(readFile(ffmpeg("-i " + y4m + " -f rawvideo", ".raw")), frames);

    // Standard output, and from standard input.
    ASSERT_EQ(qvo("decode - -o - --format yuv < " + clip()).code, 0);
    EXPECT_EQ(readFile(workPath("stdout")), frames);
    ASSERT_EQ(qvo("decode " + clip() + " -o -").code, 0);
    EXPECT_EQ(readFile(workPath("stdout")), bytes);
}

TEST(Program, StopsAfterFrames) {
    const std::string all = workPath("all.yuv"), some = workPath("some.yuv");
    ASSERT_EQ(qvo("decode " + clip() + " -o " + all).code, 0);
    ASSERT_EQ(qvo("decode " + clip() + " --frames 3 -o " + some).code, 0);
    auto frames = readFile(all);
    frames.resize(3 * frameSize);
    EXPECT_EQ(readFile(some), frames);
    ASSERT_EQ(qvo("decode " + clip() + " --frames 100 -o " + some).code, 0);
    EXPECT_EQ(fs::file_size(some), frameCount * frameSize);
}

TEST(Program, WritesPictures) {
    const std::string folder = workPath("png/of/frames"), sheet = workPath("sheet.png"), yuv = workPath("a.yuv");
    const Ran ran = qvo("decode " + clip() + " --png " + folder + " --sheet " + sheet + " -o " + yuv);
    ASSERT_EQ(ran.code, 0) << ran.err;
    EXPECT_EQ(filesIn(folder), std::size_t{frameCount});
    // The way back through ffmpeg's own conversion loses little but the sharpness of the colours.
    const std::string back = ffmpeg("-i " + folder + "/frame%05d.png -f rawvideo -pix_fmt yuv420p", ".back.yuv");
    const Video pictures(back, width, height), frames(yuv, width, height);
    ASSERT_EQ(pictures.frames(), frameCount);
    for (int i = 0; i < frameCount; ++i)
        EXPECT_GT(pictures.psnr(frames, i), 30) << "frame " << i;
    // Four columns and three rows of 176x132, with gaps.
    const auto png = readFile(sheet);
    ASSERT_GT(png.size(), 24u);
    EXPECT_EQ(png[18] << 8 | png[19], 4 * 182 + 6);
    EXPECT_EQ(png[22] << 8 | png[23], 3 * (132 + 6) + 6);
}

TEST(Program, TellsAboutTheStream) {
    const Ran ran = qvo("info " + clip());
    ASSERT_EQ(ran.code, 0) << ran.err;
    for (const char* words : {"elementary stream", "MPEG-2 video", "176x144", "display 4:3", "25.000 frames/s"})
        EXPECT_NE(ran.out.find(words), std::string::npos) << words << " in " << ran.out;
    const Ran stats = qvo("decode --stats " + clip());
    for (const char* words : {"26 of 176x144", "frames/s", "parsing", "prediction"})
        EXPECT_NE(stats.err.find(words), std::string::npos) << words << " in " << stats.err;
}

TEST(Program, Compares) {
    // Frames of one macroblock: equal; then one luminance sample that differs by 16, which is 10 log10(255^2 * 384 /
    // 256) = 49.89 dB.
    std::vector<std::uint8_t> a(2 * 384, 100);
    auto b = a;
    b[384 + 5] = 116;
    writeFile(workPath("a.yuv"), a);
    writeFile(workPath("b.yuv"), b);
    const std::string both = workPath("a.yuv") + " " + workPath("b.yuv");
    const Ran ran = qvo("compare --size 16x16 " + both);
    EXPECT_EQ(ran.code, 0) << ran.err;
    EXPECT_EQ(ran.out, "frame 0  inf dB\nframe 1  49.89 dB\nframes 2  min 49.89 dB (frame 1)  mean 52.90 dB\n");
    EXPECT_EQ(qvo("compare --size 16x16 --floor 49 " + both).code, 0);
    EXPECT_EQ(qvo("compare --size 16x16 --floor 50 " + both).code, 1);
    expectFailure(qvo("compare " + both), "size");

    a.resize(384);
    writeFile(workPath("a.yuv"), a);
    EXPECT_EQ(qvo("compare --size 16x16 " + both).code, 1);
}

TEST(Program, RefusesUnusableInput) {
    const std::string text = workPath("text.m2v");
    std::ofstream(text) << "This is no video, whatever its name says.\n";
    expectFailure(qvo("decode " + text), text, "not a video stream");
    expectFailure(qvo("info " + text), text);
    expectFailure(qvo("decode " + workPath("missing")), "No such file");
    expectFailure(qvo("decode " + workPath("")), "directory");
    const std::string empty = workPath("empty");
    std::ofstream{empty};
    expectFailure(qvo("decode " + empty), empty, "empty");
    // Sound, and video of another kind.
    const std::string sound = ffmpeg("-f lavfi -i sine=d=0.2 -c:a pcm_s16le", ".wav");
    expectFailure(qvo("decode " + sound), sound, QVO_CONTAINERS ? "no video" : "container");
    const std::string mjpeg = ffmpeg("-f lavfi -i testsrc2=s=64x64:d=0.2 -c:v mjpeg", ".avi");
    expectFailure(qvo("decode " + mjpeg), mjpeg, QVO_CONTAINERS ? "mjpeg" : "container");
    // Nothing behind the headers.
    const std::string headers = workPath("headers.m2v");
    auto bytes = readFile(clip());
    bytes.resize(22);
    writeFile(headers, bytes);
    expectFailure(qvo("decode " + headers), headers);

    expectFailure(qvo("decode --codec nonsense " + clip()), "nonsense");
    expectFailure(qvo("decode --frames 0 " + clip()), "frames");
    expectFailure(qvo("decode"), "FILE");
    EXPECT_EQ(qvo("decode --codec mpeg1 " + clip()).code, 0);
}

TEST(Program, KeepsOutputsWhole) {
    const std::string out = workPath("out.yuv");
    std::ofstream(out) << "precious";
    const std::string broken = workPath("broken.m2v");
    auto bytes = readFile(clip());
    bytes.resize(22);
    writeFile(broken, bytes);
    fs::remove(workPath("stdout"));
    const std::size_t before = filesIn(workPath(""));
    expectFailure(qvo("decode " + broken + " -o " + out), broken);
    const auto kept = readFile(out);
    EXPECT_EQ(std::string(kept.begin(), kept.end()), "precious");
    EXPECT_LE(filesIn(workPath("")), before + 2) << "only what the program printed was added";

    // Through a link, whose target is replaced; the permissions are those of any new file.
    const std::string link = workPath("link.yuv");
    fs::remove(link);
    fs::create_symlink("out.yuv", link);
    ASSERT_EQ(qvo("decode " + clip() + " -o " + link).code, 0);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(fs::file_size(out), frameCount * frameSize);

    expectFailure(qvo("decode " + clip() + " -o " + workPath("missing/out.yuv")), "missing/out.yuv", "No such file");
    expectFailure(qvo("decode " + clip() + " -o " + workPath("out.avi")), "out.avi");
    expectFailure(qvo("decode " + clip() + " -o " + clip() + " --format yuv"), clip(), "input itself");
    expectFailure(qvo("decode " + clip() + " --png " + out), out);
    expectFailure(qvo("decode " + clip() + " --sheet " + workPath("missing/s.png")), "s.png");
    expectFailure(qvo("decode " + clip() + " --format yuv -o /dev/full"), "/dev/full", "No space");
    EXPECT_EQ(qvo("decode " + clip() + " --format yuv -o /dev/null").code, 0);
}

// DV's 4:1:1 as it is, and converted.
TEST(Program, HandlesQuarterChrominance) {
    const std::string quarter = workPath("411.y4m"), half = workPath("420.y4m"), bare = workPath("420.yuv");
    const std::string stream =
        ffmpeg("-f lavfi -i mandelbrot=s=720x480:r=30000/1001 -frames:v 3 -c:v dvvideo -pix_fmt yuv411p", ".dv");
    const auto header = [](const std::string& path) {
        const auto bytes = readFile(path);
        return std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), '\n'));
    };
    ASSERT_EQ(qvo("decode " + stream + " -o " + quarter + " --sheet " + workPath("sheet.png")).code, 0);
    EXPECT_EQ(header(quarter), "YUV4MPEG2 W720 H480 F30000:1001 Ib A8:9 C411");
    ASSERT_EQ(qvo("decode --420 " + stream + " -o " + half).code, 0);
    EXPECT_EQ(header(half), "YUV4MPEG2 W720 H480 F30000:1001 Ib A8:9 C420mpeg2");

    // A bare file has the format of the other; two formats cannot be compared.
    EXPECT_EQ(qvo("compare --floor 54 " + quarter + " " + referenceDecode(stream, "yuv411p")).code, 0);
    expectFailure(qvo("compare " + quarter + " " + half), "420.y4m", "chrominance");

    ASSERT_EQ(qvo("decode --420 " + stream + " -o " + bare).code, 0);
    const Video ours(bare, 720, 480), theirs(referenceDecode(stream), 720, 480);
    ASSERT_EQ(ours.frames(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_GT(ours.psnr(theirs, i), 38);
}

std::string pictures() {
    return ffmpeg("-f lavfi -i testsrc2=s=64x48:r=25 -frames:v 5 -pix_fmt yuv420p", ".y4m");
}

TEST(Program, EncodesFromAnywhere) {
    const std::string out = workPath("a.264"), recon = workPath("recon.y4m");
    const Ran ran = qvo("encode " + pictures() + " -c h264 -q 20 --frames 4 --stats --recon " + recon + " -o " + out);
    ASSERT_EQ(ran.code, 0) << ran.err;
    const std::string bits = "bits: " + std::to_string(8 * fs::file_size(out)) + "\n";
    for (const char* words : {"frames: 4\n", bits.c_str(), "kbit/s: ", "PSNR Y: ", "frames/s: ", "motion search: "})
        EXPECT_NE(ran.err.find(words), std::string::npos) << words << " in " << ran.err;
    ASSERT_EQ(qvo("decode " + out + " -o -").code, 0);
    EXPECT_EQ(readFile(workPath("stdout")), readFile(recon));

    // The same stream through pipes, and from what others decode.
    ASSERT_EQ(qvo("encode - -c h264 -q 20 --frames 4 -o - < " + pictures()).code, 0);
    EXPECT_EQ(readFile(workPath("stdout")), readFile(out));
    if (!QVO_CONTAINERS) return;
    const std::string lossless = ffmpeg("-i " + pictures() + " -c:v ffv1", ".mkv"), again = workPath("again.264");
    ASSERT_EQ(qvo("encode " + lossless + " -c h264 -q 20 --frames 4 -o " + again).code, 0);
    EXPECT_EQ(readFile(again), readFile(out));
}

TEST(Program, RefusesToEncode) {
    const std::string out = workPath("out.264"), usual = " -c h264 -q 20 -o " + out;
    std::ofstream(out) << "precious";
    fs::remove(workPath("stdout"));
    const std::size_t before = filesIn(workPath(""));
    const auto refuses = [](const std::string& arguments, const std::string& words) {
        SCOPED_TRACE(arguments);
        expectFailure(qvo("encode " + arguments), words);
    };
    refuses(workPath("missing") + usual, "No such file");
    const std::string text = workPath("text");
    std::ofstream(text) << "no pictures";
    refuses(text + usual, text);
    std::ofstream(text) << "YUV4MPEG2 W64 H48 F25:1 C422\nFRAME\n";
    refuses(text + usual, "4:2:0");
    std::ofstream(text) << "YUV4MPEG2 W64 F25:1\nFRAME\n";
    refuses(text + usual, "picture size");
    std::ofstream(text) << "YUV4MPEG2 W999999 H999999 F25:1\nFRAME\n";
    refuses(text + usual, "too large");
    std::ofstream(text) << "YUV4MPEG2 W64 H48 F25:1\nFRAME\nand no more";
    refuses(text + usual, "no whole picture");
    const std::string rgb = ffmpeg("-f lavfi -i testsrc2=s=64x48:d=0.1 -pix_fmt rgb24 -c:v ffv1", ".mkv");
    refuses(rgb + usual, QVO_CONTAINERS ? "not 8-bit 4:2:0" : "libavformat");

    const std::string with = pictures() + " -o " + out;
    refuses(with + " -c h264", "-q or -b");
    refuses(with + " -c h264 -q 20 -b 100", "-q");
    refuses(with + " -c h264 -q 52", "between 1 and 51");
    refuses(with + " -c h264 -q 20 -B 2", "B pictures");
    refuses(with + " -c h264 -q 0", "-q");
    refuses(with + " -c h264 -b 0", "-b");
    refuses(with + " -c nonsense -q 20", "nonsense");
    refuses(with + " -q 20", "codec");
    refuses(pictures() + " -c h264 -q 20", "-o");
    refuses(pictures() + " -c h264 -q 20 -o " + pictures(), "input itself");
    refuses(with + " -c h264 -q 20 --recon " + out, "reconstruction");
    refuses(with + " -c h264 -q 20 --recon " + workPath("missing/r.y4m"), "r.y4m");
    refuses(pictures() + " -c h264 -q 20 -o " + workPath("missing/a.264"), "a.264");
    refuses(pictures() + " -c h264 -q 20 -o /dev/full", "No space");

    const auto kept = readFile(out);
    EXPECT_EQ(std::string(kept.begin(), kept.end()), "precious");
    EXPECT_LE(filesIn(workPath("")), before + 3) << "only the text and what the program printed were added";
}

}  // namespace
