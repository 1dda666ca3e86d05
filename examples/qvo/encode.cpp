// qvo encode: runs an encoder over pictures.
#include <array>
#include <chrono>
#include <cstdio>
#include <deque>
#include <memory>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "frame_source.h"
#include "outputs.h"
#include "progress.h"
#include "video_reader.h"

namespace qvo {

namespace {

using codecs::EncodeStage;
using codecs::FrameView;
using codecs::PlaneView;

double squaredError(const PlaneView& a, const PlaneView& b) {
    std::int64_t sum = 0;
    for (int y = 0; y < a.height; ++y) {
        const std::uint8_t* const rowA = a.data + y * a.step;
        const std::uint8_t* const rowB = b.data + y * b.step;
        for (int x = 0; x < a.width; ++x)
            sum += (rowA[x] - rowB[x]) * (rowA[x] - rowB[x]);
    }
    return static_cast<double>(sum);
}

// Compares reconstructions with the pictures they were made from.
class Quality {
  public:
    void add(const FrameView& source) {
        std::vector<std::uint8_t> copy;
        for (const PlaneView& plane : source.planes)
            for (int y = 0; y < plane.height; ++y)
                copy.insert(copy.end(), plane.data + y * plane.step, plane.data + y * plane.step + plane.width);
        waiting_.push_back(std::move(copy));
        width_ = source.planes[0].width;
        height_ = source.planes[0].height;
    }
    void judge(const FrameView& reconstruction) {
        const FrameView source = viewPicture(waiting_.front().data(), width_, height_);
        for (std::size_t i = 0; i < errors_.size(); ++i) {
            // A codec may round the size up.
            const PlaneView& plane = source.planes[i];
            errors_[i] += squaredError(plane, reconstruction.planes[i]);
            samples_[i] += static_cast<double>(plane.width) * plane.height;
        }
        waiting_.pop_front();
    }
    // That of the mean squared error of all pictures.
    double psnrOf(std::size_t plane) const { return psnr(errors_[plane], samples_[plane]); }

  private:
    std::deque<std::vector<std::uint8_t>> waiting_;  // pictures without a reconstruction yet
    int width_ = 0;
    int height_ = 0;
    std::array<double, 3> errors_ = {};
    std::array<double, 3> samples_ = {};
};

class Encoding {
  public:
    explicit Encoding(const EncodeOptions& options) : options_(options) {
        checkOutputs(options.input, {options.output, options.recon});
        source_ = openFrames(options.input);
        info_ = source_->info();
        info_.codec = options.codec->format;
        makeEncoder();
        stream_ = std::make_unique<OutputFile>(options.output);
        if (!options.recon.empty()) recon_ = std::make_unique<VideoFile>(options.recon, VideoFormat::y4m);
        if (options.stats) encoder_->clock().enable();
    }

    int run() {
        try {
            encodeAll();
        } catch (const codecs::UnsupportedSettings& unsupported) {
            refuse(unsupported);
        }
        progress_.clear();
        stream_->close();
        if (recon_) recon_->finish();
        stream_->commit();
        if (recon_) recon_->commit();
        if (options_.stats) tellStats();
        return exitDone;
    }

  private:
    void encodeAll() {
        FrameView frame;
        while (!enough() && source_->read(frame)) {
            if (interrupted()) throw Interrupted();
            if (options_.stats) quality_.add(frame);
            ++frames_;
            encoder_->encode(frame);
            progress_.show(source_->progress(), frames_);
        }
        if (frames_ == 0) throw Failure(options_.input, "no whole picture in it");
        encoder_->finish();
    }

    bool enough() const { return options_.frames > 0 && frames_ >= options_.frames; }

    void makeEncoder() {
        codecs::EncoderSettings settings = options_.settings;
        settings.width = info_.width;
        settings.height = info_.height;
        settings.rateNumerator = info_.rateNumerator;
        settings.rateDenominator = info_.rateDenominator;
        settings.aspectNumerator = info_.aspectNumerator;
        settings.aspectDenominator = info_.aspectDenominator;
        const auto bytes = [this](const std::uint8_t* data, std::size_t size) {
            stream_->write(data, size);
            bytes_ += static_cast<double>(size);
        };
        try {
            encoder_ =
                options_.codec->make(settings, bytes, [this](const codecs::CodedPicture& picture) { take(picture); });
        } catch (const codecs::UnsupportedSettings& unsupported) {
            refuse(unsupported);
        }
    }

    [[noreturn]] void refuse(const codecs::UnsupportedSettings& unsupported) const {
        throw Failure(options_.input, "as " + std::string(options_.codec->name) + ": " + unsupported.what());
    }

    void take(const codecs::CodedPicture& picture) {
        const EncodeStage before = encoder_->clock().enter(EncodeStage::other);
        if (recon_) recon_->frame(picture.reconstruction, info_);
        if (options_.stats) quality_.judge(picture.reconstruction);
        quantisers_ += picture.quantiser;
        encoder_->clock().enter(before);
    }

    void tellStats() {
        codecs::EncodeClock& clock = encoder_->clock();
        clock.enter(EncodeStage::other);  // counts what has passed since the last mark
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
        const double bits = 8 * bytes_;
        const double duration = static_cast<double>(frames_) * info_.rateDenominator / info_.rateNumerator;
        std::fprintf(stderr, "frames: %d\nbits: %.0f\nkbit/s: %.2f\n", frames_, bits, bits / duration / 1000);
        std::fprintf(stderr, "mean quantiser: %.2f\n", quantisers_ / frames_);
        constexpr std::array<char, 3> names = {'Y', 'U', 'V'};
        for (std::size_t i = 0; i < names.size(); ++i)
            std::fprintf(stderr, "PSNR %c: %.3f\n", names[i], quality_.psnrOf(i));
        std::fprintf(stderr, "seconds: %.3f\nframes/s: %.1f\n", seconds, frames_ / seconds);
        for (const std::string& figure : encoder_->figures())
            std::fprintf(stderr, "%s\n", figure.c_str());
        for (std::size_t i = 0; i < codecs::encodeStageNames.size(); ++i) {
            const double part = clock.seconds(static_cast<EncodeStage>(i));
            std::fprintf(stderr, "%s: %.3f s, %.1f %%\n", codecs::encodeStageNames[i].data(), part,
                         100 * part / seconds);
        }
    }

    const EncodeOptions& options_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    std::unique_ptr<FrameSource> source_;
    codecs::StreamInfo info_;
    std::unique_ptr<codecs::Encoder> encoder_;
    std::unique_ptr<OutputFile> stream_;
    std::unique_ptr<VideoFile> recon_;
    Quality quality_;
    Progress progress_;
    int frames_ = 0;
    double bytes_ = 0;
    double quantisers_ = 0;
};

}  // namespace

int encode(const EncodeOptions& options) {
    return Encoding(options).run();
}

}  // namespace qvo
