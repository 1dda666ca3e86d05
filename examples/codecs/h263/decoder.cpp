// Cuts the stream into pictures, keeps the reference and hands out pictures as they come.
#include "h263/decoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "common/byte_bits.h"
#include "common/refusal.h"
#include "h263/headers.h"
#include "h263/picture.h"
#include "mpeg4/frame.h"

namespace codecs {

namespace h263 {

namespace {

constexpr Qvo8u grey = 128;

// A picture start code, 22 bits from the start of a byte.
bool isPictureStart(const std::uint8_t* p) {
    return p[0] == 0 && p[1] == 0 && (p[2] & 0xFC) == 0x80;
}
constexpr std::size_t startBytes = 3;
constexpr int startBits = 22;

// No picture is larger; what goes on without a start code is not video.
constexpr std::size_t maxPicture = std::size_t{1} << 22;

class H263Decoder final : public Decoder {
  public:
    void decode(const std::uint8_t* data, std::size_t size, const Sink& sink) override {
        clock_.enter(Stage::parse);
        sink_ = &sink;
        buffer_.insert(buffer_.end(), data, data + size);
        takePictures(false);
        clock_.enter(Stage::output);
    }

    void finish(const Sink& sink) override {
        clock_.enter(Stage::parse);
        sink_ = &sink;
        takePictures(true);
        refusal_.finish();
        clock_.enter(Stage::output);
    }

    bool hasInfo() const override { return hasInfo_; }
    const StreamInfo& info() const override { return info_; }

  private:
    void takePictures(bool atEnd);
    std::size_t findStart(std::size_t from) const;
    void takePicture(const std::uint8_t* data, std::size_t size);
    bool activate(const PictureHeader& header);
    void decodePicture(const PictureHeader& header, BitReader bits);
    void conceal();
    void show();

    std::vector<std::uint8_t> buffer_;  // from the start code of the picture at hand on
    std::size_t scanned_ = 0;           // up to here there is no start code but that one
    ByteBuffer bytes_;
    const Sink* sink_ = nullptr;

    Format format_;
    bool hasInfo_ = false;
    Refusal refusal_;
    StreamInfo info_;

    PictureContext picture_;
    PictureDecoder pictures_{clock_};

    std::array<std::unique_ptr<Frame>, 2> frames_;
    Frame* current_ = nullptr;    // under construction
    Frame* reference_ = nullptr;  // the last picture
};

// ---- cutting ----------------------------------------------------------------------------------------------------

std::size_t H263Decoder::findStart(std::size_t from) const {
    for (std::size_t at = from; at + startBytes <= buffer_.size(); ++at) {
        const void* const zero = std::memchr(buffer_.data() + at, 0, buffer_.size() - startBytes + 1 - at);
        if (!zero) break;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(zero) - buffer_.data());
        if (isPictureStart(buffer_.data() + at)) return at;
    }
    return buffer_.size();
}

// Decodes the pictures that are complete: up to the next start code, or to the end of the stream.
void H263Decoder::takePictures(bool atEnd) {
    std::size_t start = 0;
    for (;;) {
        const std::size_t next = findStart(std::max(scanned_, start));
        const bool complete = next < buffer_.size() || atEnd || next - start > maxPicture;
        if (!complete) break;
        // Before the first start code there may be anything.
        if (next - start >= startBytes && isPictureStart(buffer_.data() + start))
            takePicture(buffer_.data() + start, next - start);
        start = next;
        scanned_ = next + 1;
        if (next == buffer_.size()) break;
    }
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(start));
    // A start code may lie across the end.
    scanned_ = std::max(buffer_.size(), startBytes) - startBytes + 1;
}

// ---- pictures ---------------------------------------------------------------------------------------------------

void H263Decoder::takePicture(const std::uint8_t* data, std::size_t size) {
    try {
        BitReader bits = bytes_.load(data, size);
        bits.skip(startBits);
        const PictureHeader header = readPicture(bits, format_);
        if (activate(header)) decodePicture(header, bits);
        damage_.damagedPictures += refusal_.lift();
    } catch (const Damage&) {
        // A picture whose header cannot be read is as good as lost.
        ++damage_.damagedPictures;
    } catch (const UnsupportedStream& mode) {
        if (!hasInfo_ || refusal_.add(mode)) throw;
        refusal_.leaveOut();
    }
}

// Takes over the format of a picture. Its size may change with an intra picture only; false where it is damage.
bool H263Decoder::activate(const PictureHeader& header) {
    const bool sameSize = header.format.width == format_.width && header.format.height == format_.height;
    if (hasInfo_ && !sameSize && !header.intra) {
        ++damage_.damagedPictures;
        return false;
    }
    format_ = header.format;
    if (hasInfo_ && sameSize) return true;
    reference_ = nullptr;
    for (auto& frame : frames_) {
        frame.reset();
        frame = std::make_unique<Frame>(format_.macroblockWidth(), format_.macroblockHeight());
    }
    info_ = describe(format_);
    hasInfo_ = true;
    return true;
}

void H263Decoder::decodePicture(const PictureHeader& header, BitReader bits) {
    current_ = reference_ == frames_[0].get() ? frames_[1].get() : frames_[0].get();
    if (!header.intra && !reference_) {
        // A stream that has lost its first picture starts from grey.
        reference_ = frames_[1].get();
        reference_->fill(grey);
    }
    current_->type = header.intra ? 'I' : 'P';
    picture_ = {header, current_, reference_};
    pictures_.decode(picture_, bits);
    conceal();
    pictures_.filter();
    show();
    clock_.enter(Stage::prediction);
    current_->extend();
    clock_.enter(Stage::parse);
    reference_ = current_;
}

// Counts the macroblocks that were not decoded and fills them from the reference, or with grey where there is none.
void H263Decoder::conceal() {
    const auto& states = pictures_.states();
    const auto lost = std::count(states.begin(), states.end(), MacroblockState::missing);
    if (lost == 0) return;
    damage_.concealedMacroblocks += lost;
    ++damage_.damagedPictures;
    const int width = current_->macroblockWidth();
    for (int address = 0; address < static_cast<int>(states.size()); ++address) {
        if (states[static_cast<std::size_t>(address)] != MacroblockState::missing) continue;
        const Place place = {current_, address % width, address / width};
        if (reference_)
            mpeg4::copy(place, *reference_);
        else
            qvoiPadMBGray_MPEG4_8u(grey, place.luma(), place.chroma(1), place.chroma(2), nullptr, current_->step(0),
                                   current_->step(1));
    }
}

void H263Decoder::show() {
    const Stage before = clock_.enter(Stage::output);
    FrameView view;
    for (std::size_t plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        view.planes[plane] = {current_->at(plane, 0, 0), current_->step(plane), (format_.width + shift) >> shift,
                              (format_.height + shift) >> shift};
    }
    view.type = current_->type;
    view.quantisers = {current_->quantisers.data(), current_->macroblockWidth()};
    (*sink_)(view);
    clock_.enter(before);
}

}  // namespace

}  // namespace h263

std::unique_ptr<Decoder> makeH263Decoder() {
    return std::make_unique<h263::H263Decoder>();
}

}  // namespace codecs
