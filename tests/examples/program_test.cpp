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

// The arguments lead to exit code 2 and one line that begins with the program's name and has these words in it.
void refuses(const std::string& arguments, const std::string& words, const std::string& moreWords = "") {
    SCOPED_TRACE(arguments);
    const Ran ran = qvo(arguments);
    EXPECT_EQ(ran.code, 2);
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(std::count(ran.err.begin(), ran.err.end(), '\n'), 1) << ran.err;
    EXPECT_TRUE(ran.err.starts_with("qvo: ")) << ran.err;
    EXPECT_NE(ran.err.find(words), std::string::npos) << ran.err;
    EXPECT_NE(ran.err.find(moreWords), std::string::npos) << ran.err;
}

void expectWords(const std::string& text, const std::vector<std::string>& words) {
    for (const std::string& word : words)
        EXPECT_NE(text.find(word), std::string::npos) << word << " in " << text;
}

// Nothing but the beginning of the clip's headers.
std::string headersOnly() {
    auto bytes = readFile(clip());
    bytes.resize(22);
    writeFile(workPath("headers.m2v"), bytes);
    return workPath("headers.m2v");
}

std::size_t filesIn(const std::string& folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

TEST(Program, OutputsAgree) {
    const std::string yuv = workPath("a.yuv"), y4m = workPath("a.y4m");
    const Ran ran = qvo("decode " + clip() + " --md5 -o " + yuv);
    ASSERT_EQ(ran.code, 0) << ran.err;
    auto frames = readFile(yuv);
    EXPECT_EQ(frames.size(), frameCount * frameSize);

    // md5sum and ffmpeg as judges of --md5 and of the Y4M file.
    ASSERT_EQ(std::system(("md5sum < " + yuv + " > " + workPath("md5")).c_str()), 0);
    EXPECT_EQ(ran.out, readText(workPath("md5")).substr(0, 32) + "\n");

    ASSERT_EQ(qvo("decode " + clip() + " -o " + y4m).code, 0);
    EXPECT_TRUE(readText(y4m).starts_with("YUV4MPEG2 W176 H144 F25:1 Ip A12:11 C420mpeg2\nFRAME\n"));
    EXPECT_EQ(readFile(ffmpeg("-i " + y4m + " -f rawvideo", ".raw")), frames);

    // Standard output, and from standard input.
    ASSERT_EQ(qvo("decode - -o - --format yuv < " + clip()).code, 0);
    EXPECT_EQ(readFile(workPath("stdout")), frames);
    ASSERT_EQ(qvo("decode " + clip() + " -o -").code, 0);
    EXPECT_EQ(readFile(workPath("stdout")), readFile(y4m));

    ASSERT_EQ(qvo("decode " + clip() + " --frames 100 -o " + yuv).code, 0);
    EXPECT_EQ(readFile(yuv), frames);
    ASSERT_EQ(qvo("decode " + clip() + " --frames 3 -o " + yuv).code, 0);
    frames.resize(3 * frameSize);
    EXPECT_EQ(readFile(yuv), frames);
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
    expectWords(ran.out, {"elementary stream", "MPEG-2 video", "176x144", "display 4:3", "25.000 frames/s"});
    expectWords(qvo("decode --stats " + clip()).err, {"26 of 176x144", "frames/s", "parsing", "prediction"});
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
    refuses("compare " + both, "size");
    refuses("compare --size 70000x16 " + both, "70000x16");

    a.resize(384);
    writeFile(workPath("a.yuv"), a);
    EXPECT_EQ(qvo("compare --size 16x16 " + both).code, 1);
}

TEST(Program, RefusesUnusableInput) {
    const std::string text = workPath("text.m2v");
    std::ofstream(text) << "This is no video, whatever its name says.\n";
    refuses("decode " + text, text, "not a video stream");
    refuses("info " + text, text);
    refuses("decode " + workPath("missing"), "No such file");
    refuses("decode " + workPath(""), "directory");
    const std::string empty = workPath("empty");
    std::ofstream{empty};
    refuses("decode " + empty, empty, "empty");
    // Sound, and video of another kind.
    const std::string sound = ffmpeg("-f lavfi -i sine=d=0.2 -c:a pcm_s16le", ".wav");
    refuses("decode " + sound, sound, QVO_CONTAINERS ? "no video" : "container");
    const std::string mjpeg = ffmpeg("-f lavfi -i testsrc2=s=64x64:d=0.2 -c:v mjpeg", ".avi");
    refuses("decode " + mjpeg, mjpeg, QVO_CONTAINERS ? "mjpeg" : "container");
    refuses("decode " + headersOnly(), headersOnly());
    refuses("decode --codec nonsense " + clip(), "nonsense");
    refuses("decode --frames 0 " + clip(), "frames");
    refuses("decode", "FILE");
    EXPECT_EQ(qvo("decode --codec mpeg1 " + clip()).code, 0);
}

TEST(Program, KeepsOutputsWhole) {
    const std::string out = workPath("out.yuv");
    std::ofstream(out) << "precious";
    const std::string broken = headersOnly();
    fs::remove(workPath("stdout"));
    const std::size_t before = filesIn(workPath(""));
    refuses("decode " + broken + " -o " + out, broken);
    EXPECT_EQ(readText(out), "precious");
    EXPECT_LE(filesIn(workPath("")), before + 2) << "only what the program printed was added";

    // Through a link, whose target is replaced; the permissions are those of any new file.
    const std::string link = workPath("link.yuv");
    fs::remove(link);
    fs::create_symlink("out.yuv", link);
    ASSERT_EQ(qvo("decode " + clip() + " -o " + link).code, 0);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(fs::file_size(out), frameCount * frameSize);

    refuses("decode " + clip() + " -o " + workPath("missing/out.yuv"), "missing/out.yuv", "No such file");
    refuses("decode " + clip() + " -o " + workPath("out.avi"), "out.avi");
    refuses("decode " + clip() + " -o " + clip() + " --format yuv", clip(), "input itself");
    refuses("decode " + clip() + " --png " + out, out);
    // None of several outputs replaces the input, another one, or anything before all are complete.
    const std::string frame = workPath("frame00001.png"), kept = workPath("kept.yuv");
    fs::copy_file(clip(), frame, fs::copy_options::overwrite_existing);
    refuses("decode " + frame + " --sheet " + frame, "input itself");
    refuses("decode " + frame + " --png " + workPath(""), "input itself");
    refuses("decode " + clip() + " -o " + kept + " --sheet " + kept, "two outputs");
    std::ofstream(kept) << "precious";
    refuses("decode " + clip() + " -o " + kept + " --sheet /dev/full", "/dev/full");
    EXPECT_EQ(readText(kept), "precious");
    EXPECT_EQ(readFile(frame), readFile(clip()));
    EXPECT_NE(std::system((QVO_PROGRAM " decode --md5 " + clip() + " >/dev/full 2>&1").c_str()), 0);
    refuses("decode " + clip() + " --sheet " + workPath("missing/s.png"), "s.png");
    refuses("decode " + clip() + " --format yuv -o /dev/full", "/dev/full", "No space");
    EXPECT_EQ(qvo("decode " + clip() + " --format yuv -o /dev/null").code, 0);
}

// DV's 4:1:1 as it is, and converted.
TEST(Program, HandlesQuarterChrominance) {
    const std::string quarter = workPath("411.y4m"), half = workPath("420.y4m"), bare = workPath("420.yuv");
    const std::string stream =
        ffmpeg("-f lavfi -i mandelbrot=s=720x480:r=30000/1001 -frames:v 3 -c:v dvvideo -pix_fmt yuv411p", ".dv");
    ASSERT_EQ(qvo("decode " + stream + " -o " + quarter + " --sheet " + workPath("sheet.png")).code, 0);
    EXPECT_TRUE(readText(quarter).starts_with("YUV4MPEG2 W720 H480 F30000:1001 Ib A8:9 C411\n"));
    ASSERT_EQ(qvo("decode --420 " + stream + " -o " + half).code, 0);
    EXPECT_TRUE(readText(half).starts_with("YUV4MPEG2 W720 H480 F30000:1001 Ib A8:9 C420mpeg2\n"));

    // A bare file has the format of the other; two formats cannot be compared.
    EXPECT_EQ(qvo("compare --floor 54 " + quarter + " " + referenceDecode(stream, "yuv411p")).code, 0);
    refuses("compare " + quarter + " " + half, "420.y4m", "chrominance");

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
    expectWords(ran.err, {"frames: 4\n", "bits: " + std::to_string(8 * fs::file_size(out)) + "\n",
                          "kbit/s: ", "PSNR Y: ", "frames/s: ", "motion search: "});
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
    const std::string text = workPath("text");
    refuses("encode " + workPath("missing") + usual, "No such file");
    const struct {
        const char* content;
        const char* words;
    } files[] = {{"no pictures", "text"},
                 {"YUV4MPEG2 W64 H48 F25:1 C422\nFRAME\n", "4:2:0"},
                 {"YUV4MPEG2 W64 H48 F25:1 C420p9\nFRAME\n", "8-bit"},
                 {"YUV4MPEG2 W64 H48 F25:1\nGAME\n", "FRAME"},
                 {"YUV4MPEG2 W64 F25:1\nFRAME\n", "picture size"},
                 {"YUV4MPEG2 W999999 H999999 F25:1\nFRAME\n", "too large"},
                 {"YUV4MPEG2 W64 H48 F25:1\nFRAME\nand no more", "no whole picture"}};
    for (const auto& [content, words] : files) {
        std::ofstream(text) << content;
        refuses("encode " + text + usual, words);
    }
    const std::string rgb = ffmpeg("-f lavfi -i testsrc2=s=64x48:d=0.1 -pix_fmt rgb24 -c:v ffv1", ".mkv");
    refuses("encode " + rgb + usual, QVO_CONTAINERS ? "not 8-bit 4:2:0" : "libavformat");

    const std::pair<std::string, std::string> options[] = {
        {" -c h264 -o " + out, "-q or -b"},
        {" -b 100" + usual, "-q"},
        {" -c h264 -q 52 -o " + out, "between 1 and 51"},
        {" -B 2" + usual, "B pictures"},
        {" -c h264 -q 0 -o " + out, "-q"},
        {" -c h264 -b 0 -o " + out, "-b"},
        {" -c nonsense -q 20 -o " + out, "nonsense"},
        {" -q 20 -o " + out, "codec"},
        {" -c h264 -q 20", "-o"},
        {" -c h264 -q 20 -o " + pictures(), "input itself"},
        {usual + " --recon " + out, "two outputs"},
        {" -c h264 -q 20 -o ''", "needs a name"},
        {" -c h264 -b nan -o " + out, "bit rates"},
        {usual + " --recon /dev/full", "No space"},
        {usual + " --recon " + workPath("missing/r.y4m"), "r.y4m"},
        {" -c h264 -q 20 -o " + workPath("missing/a.264"), "a.264"},
        {" -c h264 -q 20 -o /dev/full", "No space"},
    };
    for (const auto& [arguments, words] : options)
        refuses("encode " + pictures() + arguments, words);

    EXPECT_EQ(readText(out), "precious");
    EXPECT_LE(filesIn(workPath("")), before + 3) << "only the text and what the program printed were added";
}

}  // namespace
