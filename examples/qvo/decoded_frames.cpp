// Pictures to be encoded, out of whatever libavformat and libavcodec can read.
extern "C" {
#include <libavutil/pixdesc.h>
}

#include "failure.h"
#include "frame_source.h"
#include "libav_io.h"

namespace qvo {

namespace {

class DecodedFrames : public FrameSource {
  public:
    explicit DecodedFrames(std::unique_ptr<Input> input)
        : FrameSource(std::move(input)),
          io_(openLibavIo(*input_)),
          packet_(av_packet_alloc()),
          frame_(av_frame_alloc()) {
        av_log_set_level(AV_LOG_QUIET);
        openFormat();
        openCodec();
        if (!decode()) throw Failure(input_->path(), "no picture in it could be decoded");
        held_ = true;
        describe();
    }

    bool read(codecs::FrameView& view) override {
        if (!held_ && !decode()) return false;
        held_ = false;
        checkFormat();
        view = {};
        for (std::size_t i = 0; i < view.planes.size(); ++i) {
            const bool chroma = i > 0;
            view.planes[i] = {frame_->data[i], frame_->linesize[i], chroma ? (frame_->width + 1) / 2 : frame_->width,
                              chroma ? (frame_->height + 1) / 2 : frame_->height};
        }
        view.interlaced = frame_->interlaced_frame;
        view.topFieldFirst = !frame_->interlaced_frame || frame_->top_field_first;
        return true;
    }

  private:
    [[noreturn]] void fail(const std::string& reason) const { throw Failure(input_->path(), reason); }

    void openFormat() {
        AVFormatContext* format = avformat_alloc_context();
        format->pb = io_.get();
        if (avformat_open_input(&format, nullptr, nullptr, nullptr) < 0)
            fail("neither Y4M nor a video that libavformat knows");
        format_.reset(format);
        avformat_find_stream_info(format, nullptr);
    }

    void openCodec() {
        const AVCodec* codec = nullptr;
        const int index = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
        if (index < 0) fail("no video in it");
        stream_ = format_->streams[index];
        codec_.reset(avcodec_alloc_context3(codec));
        if (avcodec_parameters_to_context(codec_.get(), stream_->codecpar) < 0 ||
            avcodec_open2(codec_.get(), codec, nullptr) < 0)
            fail("its video cannot be decoded");
    }

    void describe() {
        info_.width = frame_->width;
        info_.height = frame_->height;
        info_.interlaced = frame_->interlaced_frame;
        const AVRational rate = av_guess_frame_rate(format_.get(), stream_, nullptr);
        if (rate.num > 0 && rate.den > 0) {
            info_.rateNumerator = rate.num;
            info_.rateDenominator = rate.den;
        }
        const AVRational aspect = av_guess_sample_aspect_ratio(format_.get(), stream_, frame_.get());
        if (aspect.num > 0 && aspect.den > 0) {
            info_.aspectNumerator = aspect.num;
            info_.aspectDenominator = aspect.den;
        }
    }

    void checkFormat() const {
        const auto format = static_cast<AVPixelFormat>(frame_->format);
        if (format != AV_PIX_FMT_YUV420P && format != AV_PIX_FMT_YUVJ420P) {
            const char* name = av_get_pix_fmt_name(format);
            fail(std::string("its pictures are ") + (name ? name : "unknown") + ", not 8-bit 4:2:0");
        }
        if (frame_->width != info_.width || frame_->height != info_.height)
            fail("the picture size changes on the way");
    }

    // The next picture into frame_; false at the end. What is damaged is libavcodec's to conceal.
    bool decode() {
        for (;;) {
            const int status = avcodec_receive_frame(codec_.get(), frame_.get());
            if (status >= 0) return true;
            if (status != AVERROR(EAGAIN)) return false;
            sendPacket();
        }
    }

    // Hands the codec the next packet of its stream, or the end.
    void sendPacket() {
        do {
            av_packet_unref(packet_.get());
            if (av_read_frame(format_.get(), packet_.get()) < 0) {
                avcodec_send_packet(codec_.get(), nullptr);
                return;
            }
        } while (packet_->stream_index != stream_->index);
        avcodec_send_packet(codec_.get(), packet_.get());
    }

    LibavPtr<AVIOContext> io_;
    LibavPtr<AVFormatContext> format_;  // before io_ in destruction, which it uses
    LibavPtr<AVCodecContext> codec_;
    LibavPtr<AVPacket> packet_;
    LibavPtr<AVFrame> frame_;
    AVStream* stream_ = nullptr;
    bool held_ = false;  // frame_ has not been handed out yet
};

}  // namespace

std::unique_ptr<FrameSource> openDecoded(std::unique_ptr<Input> input) {
    return std::make_unique<DecodedFrames>(std::move(input));
}

}  // namespace qvo
