// Planar pictures of 8 bits from a file, with (Y4M) or without headers.
#ifndef QVOVC_QVO_VIDEO_READER_H
#define QVOVC_QVO_VIDEO_READER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/decoder.h"
#include "input.h"

namespace qvo {

// A number at the beginning of the text, which then begins behind it; 0 where there is none.
int takeNumber(std::string_view& text);

constexpr int largestSide = 16384;  // of pictures; more than any codec has

// How many luminance samples, across and down, a chrominance sample stands for.
struct Chroma {
    int across = 2;
    int down = 2;
    bool operator==(const Chroma&) const = default;
};

// Bytes of one picture.
std::size_t pictureBytes(int width, int height, Chroma chroma = {});

// The three planes of a 4:2:0 picture in one piece.
codecs::FrameView viewPicture(const std::uint8_t* samples, int width, int height);

// 10 log10(255^2 samples / error); infinite without any error.
double psnr(double squaredError, double samples);

class VideoReader {
  public:
    static bool isY4m(const Input& input);

    // Takes a file at its beginning. Throws Failure where its header is not one of 8-bit pictures in three planes.
    explicit VideoReader(Input& input);

    // Width and height are 0 where the file does not say them.
    const codecs::StreamInfo& info() const { return info_; }
    // 4:2:0 where the file does not say it.
    Chroma chroma() const { return chroma_; }
    bool topFieldFirst() const { return topFieldFirst_; }

    // Fills the picture; false at the end. A last picture that is cut short is not one.
    bool read(std::vector<std::uint8_t>& picture);

  private:
    std::string readLine();
    void readHeader();
    void readChroma(std::string_view name);

    Input& input_;
    bool isY4m_;
    Chroma chroma_;
    bool topFieldFirst_ = true;
    codecs::StreamInfo info_;
};

}  // namespace qvo

#endif
