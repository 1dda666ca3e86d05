#include "outputs.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>

#include "failure.h"

namespace qvo {

namespace {

constexpr int sheetColumns = 4;
constexpr int sheetRows = 3;
constexpr int sheetPictures = sheetColumns * sheetRows;
constexpr int sheetPictureWidth = 240;
constexpr int sheetGap = 6;
constexpr std::uint8_t sheetBackground = 32;

template <class Take>
void forEachRow(const codecs::FrameView& frame, Take take) {
    for (const codecs::PlaneView& plane : frame.planes)
        for (int y = 0; y < plane.height; ++y)
            take(plane.data + y * plane.step, static_cast<std::size_t>(plane.width));
}

// The colour space of a Y4M header: by the chrominance planes' sizes and, for 4:2:0, the place of their samples.
std::string y4mColours(const codecs::FrameView& frame, const codecs::StreamInfo& info) {
    const auto& [luma, cb, cr] = frame.planes;
    const int across = (luma.width + cb.width - 1) / cb.width;
    const bool halfHeight = cb.height < luma.height;
    if (across == 4) return "411";
    if (!halfHeight) return across == 1 ? "444" : "422";
    if (info.codec == "DV" && info.profile.ends_with("4:2:0")) return "420paldv";
    const bool centred = info.codec.starts_with("MPEG-1") || info.codec.starts_with("H.263");
    return centred ? "420jpeg" : "420mpeg2";
}

std::string y4mHeader(const codecs::FrameView& frame, const codecs::StreamInfo& info) {
    std::array<char, 160> text;
    const char scan = !info.interlaced ? 'p' : frame.topFieldFirst ? 't' : 'b';
    std::snprintf(text.data(), text.size(), "YUV4MPEG2 W%d H%d F%d:%d I%c A%d:%d C%s\n", frame.planes[0].width,
                  frame.planes[0].height, info.rateNumerator, info.rateDenominator, scan, info.aspectNumerator,
                  info.aspectDenominator, y4mColours(frame, info).c_str());
    return text.data();
}

}  // namespace

void VideoFile::frame(const codecs::FrameView& frame, const codecs::StreamInfo& info) {
    if (format_ == VideoFormat::y4m) {
        const std::string header = (begun_ ? "" : y4mHeader(frame, info)) + "FRAME\n";
        file_.write(header.data(), header.size());
    }
    begun_ = true;
    forEachRow(frame, [&](const std::uint8_t* row, std::size_t size) { file_.write(row, size); });
}

void Checksum::frame(const codecs::FrameView& frame, const codecs::StreamInfo&) {
    forEachRow(frame, [&](const std::uint8_t* row, std::size_t size) { md5_update(&state_, size, row); });
}

void Checksum::finish() {
    std::array<std::uint8_t, MD5_DIGEST_SIZE> digest;
    md5_digest(&state_, digest.size(), digest.data());
    for (const std::uint8_t byte : digest)
        std::fprintf(to_, "%02x", byte);
    std::fputc('\n', to_);
}

PngFolder::PngFolder(const std::string& folder, const std::string& input) : folder_(folder), input_(input) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw Failure(folder, error.message());
}

void PngFolder::frame(const codecs::FrameView& frame, const codecs::StreamInfo&) {
    std::array<char, 32> name;
    std::snprintf(name.data(), name.size(), "/frame%05d.png", count_++);
    const std::string path = folder_ + name.data();
    checkOutputs(input_, {path});
    OutputFile file(path);
    writePng(file, toRgb(frame));
    file.commit();
}

void ContactSheet::frame(const codecs::FrameView& frame, const codecs::StreamInfo& info) {
    if (count_++ % interval_ != 0) return;
    const RgbPicture picture = toRgb(frame);
    const int width = std::min(sheetPictureWidth, picture.width);
    // Samples that are not square are made so, as far as the picture has the lines for it.
    const double aspect = info.aspectNumerator > 0 && info.aspectDenominator > 0
                              ? static_cast<double>(info.aspectNumerator) / info.aspectDenominator
                              : 1;
    const double height = width * static_cast<double>(picture.height) / (picture.width * aspect);
    pictures_.push_back(shrink(picture, width, std::clamp(static_cast<int>(height + 0.5), 1, picture.height)));
    if (pictures_.size() < 2 * sheetPictures) return;
    // The video is longer than its frames so far: keep every second of them.
    for (std::size_t i = 1; i < sheetPictures; ++i)
        pictures_[i] = std::move(pictures_[2 * i]);
    pictures_.erase(pictures_.begin() + sheetPictures, pictures_.end());
    interval_ *= 2;
}

void ContactSheet::finish() {
    const int shown = std::min(static_cast<int>(pictures_.size()), sheetPictures);
    const int columns = std::min(shown, sheetColumns);
    const int rows = (shown + sheetColumns - 1) / sheetColumns;
    const int stepX = pictures_[0].width + sheetGap;
    const int stepY = pictures_[0].height + sheetGap;
    RgbPicture sheet(columns * stepX + sheetGap, rows * stepY + sheetGap, sheetBackground);
    for (int i = 0; i < shown; ++i) {
        const auto from = static_cast<std::size_t>(i) * pictures_.size() / static_cast<std::size_t>(shown);
        paste(sheet, pictures_[from], sheetGap + i % sheetColumns * stepX, sheetGap + i / sheetColumns * stepY);
    }
    writePng(file_, sheet);
    file_.close();
}

}  // namespace qvo
