// Containers through libavformat, which only takes them apart: decoding is ours.
#include <algorithm>
#include <memory>
#include <utility>

#include "commands.h"
#include "failure.h"
#include "libav_io.h"
#include "source.h"

namespace qvo {

namespace {

constexpr int maxFailures = 100;  // to find a packet again behind damage

class Container : public Source {
  public:
    explicit Container(std::unique_ptr<Input> input)
        : Source(std::move(input)), io_(openLibavIo(*input_)), packet_(av_packet_alloc()) {}

    // Opens the container and reads up to the first packet of video; says what is missing, or nothing.
    std::string open() {
        AVFormatContext* format = avformat_alloc_context();
        format->pb = io_.get();
        // Packets as they are stored: the decoders find pictures themselves, and need no times.
        format->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
        if (avformat_open_input(&format, nullptr, nullptr, nullptr) < 0)
            return "not a video stream or a container that qvo knows";
        format_.reset(format);
        if (!readVideo()) return "no video in it";
        const AVCodecParameters& parameters = *stream_->codecpar;
        // H.264 is stored with lengths in place of start codes; its headers come with the packets then.
        constexpr std::uint8_t lengthsVersion = 1;
        if (parameters.codec_id == AV_CODEC_ID_H264 && parameters.extradata_size > 0 &&
            parameters.extradata[0] == lengthsVersion) {
            if (!openStartCodes()) return "its H.264 headers are damaged";
            filterHeld();
            return {};
        }
        // Headers kept apart from the pictures come first.
        if (parameters.extradata_size > 0)
            headers_ = {parameters.extradata, static_cast<std::size_t>(parameters.extradata_size)};
        return {};
    }

    std::unique_ptr<Input> takeInput() {
        format_.reset();
        return std::move(input_);
    }

    std::span<const std::uint8_t> next() override {
        if (!headers_.empty()) return std::exchange(headers_, {});
        if (!held_ && !readVideo()) return {};
        held_ = false;
        return {packet_->data, static_cast<std::size_t>(packet_->size)};
    }
    std::string format() const override { return format_->iformat->long_name; }
    std::string codecName() const override { return avcodec_get_name(stream_->codecpar->codec_id); }

  private:
    bool isVideo(const AVStream& stream) const {
        return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
               !(stream.disposition & AV_DISPOSITION_ATTACHED_PIC);
    }

    bool openStartCodes() {
        AVBSFContext* filter = nullptr;
        if (av_bsf_alloc(av_bsf_get_by_name("h264_mp4toannexb"), &filter) < 0) return false;
        startCodes_.reset(filter);
        return avcodec_parameters_copy(filter->par_in, stream_->codecpar) >= 0 && av_bsf_init(filter) >= 0;
    }

    // Puts start codes into the packet at hand. One that is too damaged for that stays as it is.
    void filterHeld() {
        const LibavPtr<AVPacket> original(av_packet_clone(packet_.get()));
        if (av_bsf_send_packet(startCodes_.get(), packet_.get()) < 0 ||
            av_bsf_receive_packet(startCodes_.get(), packet_.get()) < 0) {
            av_packet_unref(packet_.get());
            av_packet_move_ref(packet_.get(), original.get());
        }
    }

    // Whether a packet of video may still come: some containers name their streams only as they appear.
    bool mayHaveVideo() const {
        const std::span streams(format_->streams, format_->nb_streams);
        return (format_->ctx_flags & AVFMTCTX_NOHEADER) ||
               std::any_of(streams.begin(), streams.end(), [&](const AVStream* s) { return isVideo(*s); });
    }

    // The next packet of the first video stream that appears, kept for next().
    bool readVideo() {
        if (!mayHaveVideo()) return false;
        for (int failures = 0;;) {
            av_packet_unref(packet_.get());
            const int status = av_read_frame(format_.get(), packet_.get());
            if (interrupted()) throw Interrupted();
            if (status == AVERROR_EOF || (status < 0 && ++failures > maxFailures)) return false;
            if (status < 0) continue;
            AVStream* stream = format_->streams[packet_->stream_index];
            if (!stream_ && isVideo(*stream)) stream_ = stream;
            if (stream == stream_ && packet_->size > 0) break;
        }
        held_ = true;
        if (startCodes_) filterHeld();
        return true;
    }

    LibavPtr<AVIOContext> io_;
    LibavPtr<AVFormatContext> format_;  // before io_ in destruction, which it uses
    LibavPtr<AVPacket> packet_;
    LibavPtr<AVBSFContext> startCodes_;  // where packets have none
    AVStream* stream_ = nullptr;
    std::span<const std::uint8_t> headers_;
    bool held_ = false;  // packet_ has not been handed out yet
};

}  // namespace

std::unique_ptr<Source> openContainer(std::unique_ptr<Input>& input, std::string& reason) {
    av_log_set_level(AV_LOG_QUIET);
    auto container = std::make_unique<Container>(std::move(input));
    std::string missing = container->open();
    if (missing.empty()) return container;
    reason = std::move(missing);
    input = container->takeInput();
    input->seek(0);
    return nullptr;
}

}  // namespace qvo
