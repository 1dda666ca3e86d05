// qvo decode: runs a decoder over a source and hands its frames to the outputs.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <vector>

#include "chroma.h"
#include "commands.h"
#include "failure.h"
#include "mpeg4/postfilter.h"
#include "progress.h"
#include "source.h"

namespace qvo {

namespace {

using codecs::FrameView;
using codecs::PlaneView;

VideoFormat formatOf(const DecodeOptions& options) {
    if (options.format) return *options.format;
    const std::string extension = std::filesystem::path(options.output).extension().string();
    if (options.output == "-" || extension == ".y4m") return VideoFormat::y4m;
    if (extension == ".yuv") return VideoFormat::yuv;
    throw Failure(options.output, "the name should end in .y4m or .yuv, or --format say which it is");
}

std::vector<std::unique_ptr<Output>> makeOutputs(const DecodeOptions& options) {
    std::vector<std::unique_ptr<Output>> outputs;
    checkOutputs(options.input, {options.output, options.sheet});
    if (!options.output.empty()) outputs.push_back(std::make_unique<VideoFile>(options.output, formatOf(options)));
    if (!options.pngFolder.empty()) outputs.push_back(std::make_unique<PngFolder>(options.pngFolder, options.input));
    if (!options.sheet.empty()) outputs.push_back(std::make_unique<ContactSheet>(options.sheet));
    // Standard output belongs to the video where that goes there.
    if (options.md5) outputs.push_back(std::make_unique<Checksum>(options.output == "-" ? stderr : stdout));
    return outputs;
}

// Gives all frames the planes' sizes of the first: none of the outputs can change its size on the way. A frame of
// another size is cropped or extended by its last samples at the right and at the bottom; chrominance of another format
// has its nearest samples taken.
class Fitter {
  public:
    FrameView fit(const FrameView& frame) {
        FrameView fitted = frame;
        for (std::size_t i = 0; i < fitted.planes.size(); ++i) {
            PlaneView& plane = fitted.planes[i];
            Plane& first = planes_[i];
            if (!known_) {
                first.width = plane.width;
                first.height = plane.height;
            } else if (plane.width != first.width || plane.height != first.height) {
                resized_ = true;
                plane = resize(plane, frame.planes[0], first, planes_[0]);
            }
        }
        known_ = true;
        return fitted;
    }
    bool resized() const { return resized_; }

  private:
    struct Plane {
        int width;
        int height;
        std::vector<std::uint8_t> samples;
    };

    // How many samples of luminance stand over one of a plane.
    static int subsampling(int luma, int plane) { return (luma + plane - 1) / plane; }

    static PlaneView resize(const PlaneView& from, const PlaneView& fromLuma, Plane& to, const Plane& toLuma) {
        const int toAcross = subsampling(toLuma.width, to.width), toDown = subsampling(toLuma.height, to.height);
        const int fromAcross = subsampling(fromLuma.width, from.width);
        const int fromDown = subsampling(fromLuma.height, from.height);
        to.samples.clear();
        for (int y = 0; y < to.height; ++y) {
            const std::uint8_t* row = from.data + std::min(y * toDown / fromDown, from.height - 1) * from.step;
            for (int x = 0; x < to.width; ++x)
                to.samples.push_back(row[std::min(x * toAcross / fromAcross, from.width - 1)]);
        }
        return {to.samples.data(), to.width, to.width, to.height};
    }

    bool known_ = false;
    bool resized_ = false;
    std::array<Plane, 3> planes_;
};

class Decoding {
  public:
    explicit Decoding(const DecodeOptions& options)
        : options_(options),
          opened_(openSource(options.input, options.codec)),
          outputs_(makeOutputs(options)),
          decoder_(opened_.codec->make()),
          postFilter_(options.deblock, options.dering) {
        if (options.stats) decoder_->clock().enable();
    }

    int run() {
        std::string stopped;
        try {
            decodeAll();
        } catch (const codecs::UnsupportedStream& unsupported) {
            if (frames_ == 0) throw Failure(options_.input, unsupported.what());
            stopped = unsupported.what();
        }
        progress_.clear();
        if (frames_ == 0) throw Failure(options_.input, "no picture in it could be decoded");
        for (auto& output : outputs_)
            output->finish();
        for (auto& output : outputs_)
            output->commit();
        tellDamage();
        if (options_.stats) tellStats();
        if (stopped.empty()) return exitDone;
        std::fprintf(stderr, "qvo: %s: stopped after %d frames: %s\n", options_.input.c_str(), frames_,
                     stopped.c_str());
        return exitFailed;
    }

  private:
    bool enough() const { return options_.frames > 0 && frames_ >= options_.frames; }

    void decodeAll() {
        const codecs::Decoder::Sink sink = [this](const FrameView& frame) { take(frame); };
        while (!enough()) {
            const auto bytes = opened_.source->next();
            if (bytes.empty()) break;
            decoder_->decode(bytes.data(), bytes.size(), sink);
        }
        if (!enough()) decoder_->finish(sink);
    }

    void take(const FrameView& frame) {
        if (interrupted()) throw Interrupted();
        if (enough()) return;
        const codecs::Stage before = decoder_->clock().enter(codecs::Stage::filter);
        const FrameView filtered = filter(frame);
        decoder_->clock().enter(codecs::Stage::output);
        const FrameView fitted = fitter_.fit(options_.to420 ? converter_.convert(filtered) : filtered);
        for (auto& output : outputs_)
            output->frame(fitted, decoder_->info());
        ++frames_;
        progress_.show(opened_.source->progress(), frames_);
        decoder_->clock().enter(before);
    }

    FrameView filter(const FrameView& frame) {
        if (!options_.deblock && !options_.dering) return frame;
        if (!frame.quantisers.data)
            throw Failure(options_.input, "--deblock and --dering are for MPEG-4 and H.263 video, and this is " +
                                              decoder_->info().codec);
        return postFilter_.apply(frame);
    }

    void tellDamage() {
        const char* path = options_.input.c_str();
        const auto& damage = decoder_->damage();
        if (damage.concealedMacroblocks > 0 || damage.damagedPictures > 0)
            std::fprintf(stderr, "qvo: %s: damaged: %lld macroblocks concealed in %lld pictures\n", path,
                         static_cast<long long>(damage.concealedMacroblocks),
                         static_cast<long long>(damage.damagedPictures));
        if (fitter_.resized())
            std::fprintf(stderr, "qvo: %s: the picture size changes on the way; all frames got that of the first\n",
                         path);
    }

    void tellStats() {
        codecs::DecodeClock& clock = decoder_->clock();
        clock.enter(codecs::Stage::parse);  // counts what has passed since the last mark
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
        std::fprintf(stderr, "frames      %d of %dx%d\n", frames_, decoder_->info().width, decoder_->info().height);
        std::fprintf(stderr, "time        %.3f s, %.1f frames/s\n", seconds, frames_ / seconds);
        for (std::size_t i = 0; i < codecs::stageNames.size(); ++i) {
            const double part = clock.seconds(static_cast<codecs::Stage>(i));
            std::fprintf(stderr, "%-12s%.3f s, %.1f %%\n", codecs::stageNames[i].data(), part, 100 * part / seconds);
        }
    }

    const DecodeOptions& options_;
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
    Opened opened_;
    std::vector<std::unique_ptr<Output>> outputs_;
    std::unique_ptr<codecs::Decoder> decoder_;
    codecs::mpeg4::PostFilter postFilter_;
    To420 converter_;
    Fitter fitter_;
    Progress progress_;
    int frames_ = 0;
};

}  // namespace

int decode(const DecodeOptions& options) {
    return Decoding(options).run();
}

}  // namespace qvo
