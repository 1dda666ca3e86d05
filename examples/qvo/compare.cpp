// qvo compare: how far two decoded videos differ.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string_view>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "input.h"

namespace qvo {

namespace {

struct Size {
    int width = 0;
    int height = 0;
    bool known() const { return width > 0 && height > 0; }
    bool operator==(const Size&) const = default;
};

// A number at the beginning of the text, which then begins behind it; 0 where there is none.
int takeNumber(std::string_view& text) {
    int value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
    return value;
}

// WIDTHxHEIGHT
Size parseSize(std::string_view text) {
    Size size;
    size.width = takeNumber(text);
    if (!text.starts_with('x')) return {};
    text.remove_prefix(1);
    size.height = takeNumber(text);
    return text.empty() ? size : Size{};
}

// The frames of a planar 4:2:0 file, with (Y4M) or without headers.
class VideoReader {
  public:
    explicit VideoReader(const std::string& path) : input_(path) {
        constexpr std::string_view signature = "YUV4MPEG2";
        const auto head = input_.head();
        isY4m_ = std::string_view(reinterpret_cast<const char*>(head.data()), head.size()).starts_with(signature);
        if (isY4m_) readHeader();
    }

    Size size() const { return size_; }

    // False at the end; a last frame that is cut short is not one.
    bool read(std::vector<std::uint8_t>& frame) {
        if (isY4m_ && !readLine().starts_with("FRAME")) return false;
        for (std::size_t filled = 0; filled < frame.size();) {
            const std::size_t count = input_.read(frame.data() + filled, frame.size() - filled);
            if (count == 0) return false;
            filled += count;
        }
        return true;
    }

  private:
    std::string readLine() {
        std::string line;
        std::uint8_t c;
        while (input_.read(&c, 1) == 1 && c != '\n' && line.size() < 1024)
            line += static_cast<char>(c);
        return line;
    }

    void readHeader() {
        const std::string line = readLine();
        std::string_view rest = line;
        while (!rest.empty()) {
            const std::string_view word = rest.substr(0, rest.find(' '));
            rest.remove_prefix(std::min(word.size() + 1, rest.size()));
            if (word.empty()) continue;
            std::string_view value = word.substr(1);
            if (word[0] == 'W') size_.width = takeNumber(value);
            if (word[0] == 'H') size_.height = takeNumber(value);
            if (word[0] == 'C' && (!value.starts_with("420") || value.starts_with("420p1")))
                throw Failure(input_.path(), "not 8-bit 4:2:0");
        }
        if (!size_.known()) throw Failure(input_.path(), "a Y4M header without a picture size");
    }

    Input input_;
    bool isY4m_;
    Size size_;
};

Size commonSize(const CompareOptions& options, const VideoReader& a, const VideoReader& b) {
    Size size = parseSize(options.size);
    if (!options.size.empty() && !size.known()) throw Failure(options.size, "not a size such as 720x576");
    for (const VideoReader* reader : {&a, &b}) {
        if (!reader->size().known()) continue;
        if (size.known() && size != reader->size()) throw Failure(options.second, "the picture sizes differ");
        size = reader->size();
    }
    if (!size.known()) throw Failure(options.first, "the picture size is not known; give --size WIDTHxHEIGHT");
    return size;
}

std::size_t frameBytes(Size size) {
    const auto width = static_cast<std::size_t>(size.width);
    const auto height = static_cast<std::size_t>(size.height);
    return width * height + (width + 1) / 2 * ((height + 1) / 2) * 2;
}

double squaredError(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const int difference = a[i] - b[i];
        sum += static_cast<unsigned>(difference * difference);
    }
    return static_cast<double>(sum);
}

double psnr(double error, double samples) {
    return error > 0 ? 10 * std::log10(255.0 * 255.0 * samples / error) : std::numeric_limits<double>::infinity();
}

}  // namespace

int compare(const CompareOptions& options) {
    VideoReader a(options.first);
    VideoReader b(options.second);
    std::vector<std::uint8_t> frameA(frameBytes(commonSize(options, a, b)));
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
