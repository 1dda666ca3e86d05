// Where the pictures to be encoded come from: Y4M, or anything that libavcodec decodes.
#ifndef QVOVC_QVO_FRAME_SOURCE_H
#define QVOVC_QVO_FRAME_SOURCE_H

#include <memory>
#include <string>

#include "common/decoder.h"
#include "input.h"

namespace qvo {

class FrameSource {
  public:
    explicit FrameSource(std::unique_ptr<Input> input) : input_(std::move(input)) {}
    virtual ~FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    // Size, rates and aspect; all pictures have this size.
    const codecs::StreamInfo& info() const { return info_; }

    // The next picture in display order, valid until the next call; false at the end.
    virtual bool read(codecs::FrameView& frame) = 0;

    double progress() const { return input_->progress(); }

  protected:
    std::unique_ptr<Input> input_;
    codecs::StreamInfo info_;
};

// Throws Failure where there are no pictures of 8-bit 4:2:0 in the file.
std::unique_ptr<FrameSource> openFrames(const std::string& path);

// What libavformat and libavcodec find in a file.
std::unique_ptr<FrameSource> openDecoded(std::unique_ptr<Input> input);

}  // namespace qvo

#endif
