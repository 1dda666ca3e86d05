#include "video_reader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "failure.h"

namespace qvo {

int takeNumber(std::string_view& text) {
    int value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
    return value;
}

std::size_t pictureBytes(int width, int height, Chroma chroma) {
    const auto w = static_cast<std::size_t>(width), h = static_cast<std::size_t>(height);
    const auto across = static_cast<std::size_t>(chroma.across), down = static_cast<std::size_t>(chroma.down);
    return w * h + (w + across - 1) / across * ((h + down - 1) / down) * 2;
}

codecs::FrameView viewPicture(const std::uint8_t* samples, int width, int height) {
    codecs::FrameView view = {};
    for (std::size_t i = 0; i < 3; ++i) {
        codecs::PlaneView& plane = view.planes[i];
        plane.width = i == 0 ? width : (width + 1) / 2;
        plane.height = i == 0 ? height : (height + 1) / 2;
        plane.step = plane.width;
        plane.data = samples;
        samples += plane.step * plane.height;
    }
    return view;
}

double psnr(double squaredError, double samples) {
    return squaredError > 0 ? 10 * std::log10(255.0 * 255.0 * samples / squaredError)
                            : std::numeric_limits<double>::infinity();
}

bool VideoReader::isY4m(const Input& input) {
    const auto head = input.head();
    return std::string_view(reinterpret_cast<const char*>(head.data()), head.size()).starts_with("YUV4MPEG2");
}

VideoReader::VideoReader(Input& input) : input_(input), isY4m_(isY4m(input)) {
    if (isY4m_) readHeader();
}

bool VideoReader::read(std::vector<std::uint8_t>& picture) {
    if (isY4m_) {
        const std::string line = readLine();
        if (std::string_view("FRAME").starts_with(line) && line != "FRAME") return false;  // the end, or cut short
        if (!line.starts_with("FRAME")) throw Failure(input_.path(), "a picture that does not begin with FRAME");
    }
    for (std::size_t filled = 0; filled < picture.size();) {
        const std::size_t count = input_.read(picture.data() + filled, picture.size() - filled);
        if (count == 0) return false;
        filled += count;
    }
    return true;
}

std::string VideoReader::readLine() {
    std::string line;
    std::uint8_t c;
    while (input_.read(&c, 1) == 1 && c != '\n' && line.size() < 1024)
        line += static_cast<char>(c);
    return line;
}

// 4:2:0 has several names, by the place of its samples.
void VideoReader::readChroma(std::string_view name) {
    if (name == "420" || name == "420jpeg" || name == "420mpeg2" || name == "420paldv") {
        chroma_ = {2, 2};
    } else if (name == "411") {
        chroma_ = {4, 1};
    } else if (name == "422") {
        chroma_ = {2, 1};
    } else if (name == "444") {
        chroma_ = {1, 1};
    } else {
        throw Failure(input_.path(), "not 8-bit 4:2:0, 4:1:1, 4:2:2 or 4:4:4");
    }
}

// Words of one letter and a value: W352 H288 F25:1 Ip A12:11 C420mpeg2.
void VideoReader::readHeader() {
    const std::string line = readLine();
    std::string_view rest = line;
    const auto takeRatio = [](std::string_view text, int& numerator, int& denominator) {
        const int first = takeNumber(text);
        if (!text.starts_with(':')) return;
        text.remove_prefix(1);
        const int second = takeNumber(text);
        if (first <= 0 || second <= 0) return;
        numerator = first;
        denominator = second;
    };
    while (!rest.empty()) {
        const std::string_view word = rest.substr(0, rest.find(' '));
        rest.remove_prefix(std::min(word.size() + 1, rest.size()));
        if (word.empty()) continue;
        std::string_view value = word.substr(1);
        switch (word[0]) {
            case 'W':
                info_.width = takeNumber(value);
                break;
            case 'H':
                info_.height = takeNumber(value);
                break;
            case 'F':
                takeRatio(value, info_.rateNumerator, info_.rateDenominator);
                break;
            case 'A':
                takeRatio(value, info_.aspectNumerator, info_.aspectDenominator);
                break;
            case 'I':
                info_.interlaced = value == "t" || value == "b";
                topFieldFirst_ = value != "b";
                break;
            case 'C':
                readChroma(value);
                break;
            default:
                break;
        }
    }
    if (info_.width <= 0 || info_.height <= 0) throw Failure(input_.path(), "a Y4M header without a picture size");
    if (std::max(info_.width, info_.height) > largestSide) throw Failure(input_.path(), "its pictures are too large");
}

}  // namespace qvo
