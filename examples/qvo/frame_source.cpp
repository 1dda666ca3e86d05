#include "frame_source.h"

#include <vector>

#include "failure.h"
#include "video_reader.h"

namespace qvo {

namespace {

class Y4mFrames : public FrameSource {
  public:
    explicit Y4mFrames(std::unique_ptr<Input> input) : FrameSource(std::move(input)), reader_(*input_) {
        info_ = reader_.info();
        if (reader_.chroma() != Chroma()) throw Failure(input_->path(), "not 8-bit 4:2:0");
        picture_.resize(pictureBytes(info_.width, info_.height));
    }

    bool read(codecs::FrameView& frame) override {
        if (!reader_.read(picture_)) return false;
        frame = viewPicture(picture_.data(), info_.width, info_.height);
        frame.interlaced = info_.interlaced;
        frame.topFieldFirst = reader_.topFieldFirst();
        return true;
    }

  private:
    VideoReader reader_;
    std::vector<std::uint8_t> picture_;
};

}  // namespace

std::unique_ptr<FrameSource> openFrames(const std::string& path) {
    auto input = std::make_unique<Input>(path);
    if (VideoReader::isY4m(*input)) return std::make_unique<Y4mFrames>(std::move(input));
#ifdef QVO_CONTAINERS
    return openDecoded(std::move(input));
#else
    throw Failure(path, "not a Y4M file, and this qvo was built without libavformat");
#endif
}

}  // namespace qvo
