// qvo compare: how far two decoded videos differ.
#include <cstdio>
#include <limits>
#include <string_view>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "video_reader.h"

namespace qvo {

namespace {

struct Size {
    int width = 0;
    int height = 0;
    bool known() const { return width > 0 && height > 0; }
    bool tooLarge() const { return width > largestSide || height > largestSide; }
    bool operator==(const Size&) const = default;
};

// WIDTHxHEIGHT
Size parseSize(std::string_view text) {
    Size size;
    size.width = takeNumber(text);
    if (!text.starts_with('x')) return {};
    text.remove_prefix(1);
    size.height = takeNumber(text);
    return text.empty() ? size : Size{};
}

Size commonSize(const CompareOptions& options, const VideoReader& a, const VideoReader& b) {
    Size size = parseSize(options.size);
    if (!options.size.empty() && !size.known()) throw Failure(options.size, "not a size such as 720x576");
    if (size.tooLarge()) throw Failure(options.size, "too large a size");
    for (const VideoReader* reader : {&a, &b}) {
        const Size own = {reader->info().width, reader->info().height};
        if (!own.known()) continue;
        if (size.known() && size != own) throw Failure(options.second, "the picture sizes differ");
        size = own;
    }
    if (!size.known()) throw Failure(options.first, "the picture size is not known; give --size WIDTHxHEIGHT");
    return size;
}

// A file without a header has the chrominance format of the other.
Chroma commonChroma(const CompareOptions& options, const VideoReader& a, const VideoReader& b) {
    const bool bothKnown = a.info().width > 0 && b.info().width > 0;
    if (bothKnown && a.chroma() != b.chroma()) throw Failure(options.second, "the chrominance formats differ");
    return a.info().width > 0 ? a.chroma() : b.chroma();
}

double squaredError(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const int difference = a[i] - b[i];
        sum += static_cast<unsigned>(difference * difference);
    }
    return static_cast<double>(sum);
}

}  // namespace

int compare(const CompareOptions& options) {
    Input inputA(options.first);
    Input inputB(options.second);
    VideoReader a(inputA);
    VideoReader b(inputB);
    const Size size = commonSize(options, a, b);
    std::vector<std::uint8_t> frameA(pictureBytes(size.width, size.height, commonChroma(options, a, b)));
    std::vector<std::uint8_t> frameB(frameA.size());
    const auto samples = static_cast<double>(frameA.size());

    int frames = 0;
    int below = 0;
    int worstFrame = 0;
    double worst = std::numeric_limits<double>::infinity();
    double errors = 0;
    bool moreA, moreB;
    for (;; ++frames) {
        if (interrupted()) throw Interrupted();
        moreA = a.read(frameA);
        moreB = b.read(frameB);
        if (!moreA || !moreB) break;
        const double error = squaredError(frameA, frameB);
        const double value = psnr(error, samples);
        errors += error;
        if (!options.quiet) std::printf("frame %d  %.2f dB\n", frames, value);
        if (options.floor && value < *options.floor) ++below;
        if (value < worst) {
            worst = value;
            worstFrame = frames;
        }
    }
    if (frames == 0) throw Failure(moreA ? options.second : options.first, "no whole frame in it");

    // The mean is that of the squared errors, so that equal frames have a place in it.
    std::printf("frames %d  min %.2f dB (frame %d)  mean %.2f dB\n", frames, worst, worstFrame,
                psnr(errors, samples * frames));
    if (below > 0) std::printf("%d frames below %.2f dB\n", below, *options.floor);
    if (moreA != moreB) std::printf("%s has more frames\n", (moreA ? options.first : options.second).c_str());
    return below > 0 || moreA != moreB ? exitDifferent : exitDone;
}

}  // namespace qvo
