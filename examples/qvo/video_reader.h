// Planar 4:2:0 pictures of 8 bits from a file, with (Y4M) or without headers.
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

// Bytes of one picture.
std::size_t pictureBytes(int width, int height);

// The three planes of a picture in one piece.
codecs::FrameView viewPicture(const std::uint8_t* samples, int width, int height);

// 10 log10(255^2 samples / error); infinite without any error.
double psnr(double squaredError, double samples);

class VideoReader {
  public:
    static bool isY4m(const Input& input);

    // Takes a file at its beginning. Throws Failure where its header is none of 8-bit 4:2:0.
    explicit VideoReader(Input& input);

    // Width and height are 0 where the file does not say them.
    const codecs::StreamInfo& info() const { return info_; }
    bool topFieldFirst() const { return topFieldFirst_; }

    // Fills the picture; false at the end. A last picture that is cut short is not one.
    bool read(std::vector<std::uint8_t>& picture);

  private:
    std::string readLine();
    void readHeader();

    Input& input_;
    bool isY4m_;
    bool topFieldFirst_ = true;
    codecs::StreamInfo info_;
};

}  // namespace qvo

#endif
