// Running qvo and ffmpeg, and judging what they decode.
#ifndef QVOVC_TESTS_EXAMPLES_SUPPORT_H
#define QVOVC_TESTS_EXAMPLES_SUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

// What a program did: its exit code and what it printed.
struct Ran {
    int code;
    std::string out;
    std::string err;
};

// Runs qvo with these arguments, as in a shell.
Ran qvo(const std::string& arguments);

// The PSNR of equal frames.
constexpr double exact = 999;

// A path in this test's own folder.
std::string workPath(const std::string& name);

std::vector<std::uint8_t> readFile(const std::string& path);
std::string readText(const std::string& path);
void writeFile(const std::string& path, const std::vector<std::uint8_t>& bytes);

// The path of what ffmpeg writes to a file of this extension with these arguments. Kept for the next run of the same
// command, so never change the file.
std::string ffmpeg(const std::string& arguments, const std::string& extension);

// Runs ffmpeg with these arguments, every time anew. It prints warnings and errors.
Ran runFfmpeg(const std::string& arguments);

// ffmpeg's decode of a stream as planar frames.
std::string referenceDecode(const std::string& stream, const std::string& pixelFormat = "yuv420p");

// Planar frames of one size in one piece, 4:2:0 or, which has as many samples, 4:1:1 of a width divisible by 4.
class Video {
  public:
    Video(const std::string& path, int width, int height);

    // Whole frames.
    int frames() const { return static_cast<int>(bytes_.size() / frameSize_); }
    // Pooled over the three planes; a large number for equal frames.
    double psnr(const Video& other, int frame) const;

  private:
    std::vector<std::uint8_t> bytes_;
    std::size_t frameSize_;
};

// Decodes a stream with qvo and expects that many frames, or for 0 as many as ffmpeg decodes, each at or above the floor against ffmpeg's decode.
void expectLikeReference(const std::string& stream, int width, int height, int frames, double floor,
                         const std::string& pixelFormat = "yuv420p");

#endif
