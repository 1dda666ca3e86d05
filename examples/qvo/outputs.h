// What becomes of decoded frames: a video file, a checksum, pictures.
#ifndef QVOVC_QVO_OUTPUTS_H
#define QVOVC_QVO_OUTPUTS_H

#include <nettle/md5.h>

#include <cstdint>
#include <string>
#include <vector>

#include "common/decoder.h"
#include "output_file.h"
#include "pictures.h"

namespace qvo {

class Output {
  public:
    virtual ~Output() = default;
    // Frames come in display order, all with the planes' sizes of the first.
    virtual void frame(const codecs::FrameView& frame, const codecs::StreamInfo& info) = 0;
    // After the last frame: writes what is left. Files get their names with commit() only, when all outputs have finished.
    virtual void finish() = 0;
    virtual void commit() {}
};

enum class VideoFormat { y4m, yuv };

// Planar frames, with (Y4M) or without headers.
class VideoFile : public Output {
  public:
    VideoFile(const std::string& path, VideoFormat format) : file_(path), format_(format) {}
    void frame(const codecs::FrameView& frame, const codecs::StreamInfo& info) override;
    void finish() override { file_.close(); }
    void commit() override { file_.commit(); }

  private:
    OutputFile file_;
    VideoFormat format_;
    bool begun_ = false;
};

// Prints the MD5 of all planar frames, as `md5sum` would of a .yuv file of them.
class Checksum : public Output {
  public:
    explicit Checksum(std::FILE* to) : to_(to) { md5_init(&state_); }
    void frame(const codecs::FrameView& frame, const codecs::StreamInfo& info) override;
    void finish() override;

  private:
    std::FILE* to_;
    md5_ctx state_;
};

// One PNG per frame: DIR/frame00000.png and so on. Makes the folder where it is missing.
class PngFolder : public Output {
  public:
    PngFolder(const std::string& folder, const std::string& input);
    void frame(const codecs::FrameView& frame, const codecs::StreamInfo& info) override;
    void finish() override {}

  private:
    std::string folder_;
    std::string input_;  // is not overwritten
    int count_ = 0;
};

// A contact sheet: up to twelve small frames in one PNG, evenly spaced over the whole video.
class ContactSheet : public Output {
  public:
    explicit ContactSheet(const std::string& path) : file_(path) {}
    void frame(const codecs::FrameView& frame, const codecs::StreamInfo& info) override;
    void finish() override;
    void commit() override { file_.commit(); }

  private:
    OutputFile file_;
    std::vector<RgbPicture> pictures_;  // every interval_-th frame so far
    int interval_ = 1;
    int count_ = 0;
};

}  // namespace qvo

#endif
