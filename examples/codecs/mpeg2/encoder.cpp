// Orders pictures into groups, writes the layers above the slice and holds the bit rate.
#include "mpeg2/encoder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/padded_picture.h"
#include "common/rate_control.h"
#include "common/reference_frames.h"
#include "mpeg2/frame.h"
#include "mpeg2/header_writer.h"
#include "mpeg2/picture_coder.h"
#include "mpeg2/vbv.h"

namespace codecs {

namespace mpeg2 {

namespace {

constexpr int usualKeyInterval = 12;
constexpr int maxBPictures = 7;
constexpr int coarsestQuantiser = 31;
constexpr double reserve = 0.25;          // of the buffer, which other pictures leave to the next intra picture
constexpr double coarsestStep = 31 * 32;  // little more than DCs is left then
constexpr int bufferUnit = 16384;         // of vbv_buffer_size

// How much coarser than P pictures I and B pictures are quantised: what is predicted from should be better than what is
// not. Measured.
constexpr std::array<double, 3> typeFactors = {0.8, 1.0, 1.5};

// Table B.15 has shorter codes for intra blocks with many coefficients, but a longer end of block. Measured.
constexpr int coarsestOfTableOne = 12;

// Levels of the Main profile (13818-2, 8.3 and tables 8-10 to 8-13).
struct Level {
    int profileAndLevel;
    int width;
    int height;
    double pictureRate;
    double sampleRate;
    long bitRate;
    long bufferSize;  // bits
};
constexpr std::array<Level, 3> levels = {{
    {0x48, 720, 576, 30, 10368000, 15000000, 1835008},
    {0x46, 1440, 1152, 60, 47001600, 60000000, 7340032},
    {0x44, 1920, 1152, 60, 62668800, 80000000, 9781248},
}};

const Level& levelOf(const EncoderSettings& settings) {
    const double rate = static_cast<double>(settings.rateNumerator) / settings.rateDenominator;
    for (const Level& level : levels) {
        if (settings.width <= level.width && settings.height <= level.height && rate <= level.pictureRate &&
            settings.width * settings.height * rate <= level.sampleRate && settings.bitRate <= level.bitRate)
            return level;
    }
    throw UnsupportedSettings("the Main profile has no level for pictures of this size at this rate");
}

// What may be left open, filled in.
EncoderSettings completed(const EncoderSettings& settings) {
    EncoderSettings result = settings;
    if (result.keyInterval == 0) result.keyInterval = usualKeyInterval;
    if (result.width < 1 || result.height < 1) throw UnsupportedSettings("pictures need at least one sample");
    if (result.quantiser == 0 && result.bitRate <= 0) throw UnsupportedSettings("neither quantiser nor bit rate");
    if (result.quantiser < 0 || result.quantiser > coarsestQuantiser)
        throw UnsupportedSettings("quantisers are 1 to 31");
    if (result.bPictures < 0 || result.bPictures > maxBPictures)
        throw UnsupportedSettings("there can be 0 to " + std::to_string(maxBPictures) + " B pictures in a row");
    if (result.keyInterval < 1 || result.keyInterval > 1000)
        throw UnsupportedSettings("intra pictures come after 1 to 1000 pictures");
    return result;
}

SequenceHeader sequenceOf(const EncoderSettings& settings) {
    const Level& level = levelOf(settings);
    SequenceHeader sequence;
    sequence.mpeg2 = true;
    sequence.width = settings.width;
    sequence.height = settings.height;
    sequence.profileAndLevel = level.profileAndLevel;
    if (!setFrameRate(sequence, settings.rateNumerator, settings.rateDenominator))
        throw UnsupportedSettings("MPEG-2 has no code for " + std::to_string(settings.rateNumerator) + "/" +
                                  std::to_string(settings.rateDenominator) + " pictures per second");
    setSampleAspect(sequence, settings.aspectNumerator, settings.aspectDenominator);
    // A buffer of one second, or what the level allows.
    const long rate = settings.bitRate > 0 ? settings.bitRate : level.bitRate;
    sequence.bitRate = (rate + 399) / 400;
    sequence.bufferSize =
        static_cast<int>(std::clamp((rate + bufferUnit - 1) / bufferUnit, 1L, level.bufferSize / bufferUnit));
    return sequence;
}

codecs::PictureType rateType(PictureType type) {
    return static_cast<codecs::PictureType>(static_cast<int>(type) - 1);
}

// Steps go on where quantisers end: from there on bits weigh more than usual against errors.
int quantiserOf(double step) {
    return static_cast<int>(std::lround(std::min<double>(step, coarsestQuantiser)));
}

double thriftOf(double step) {
    const double excess = std::max(step / coarsestQuantiser, 1.0);
    return excess * excess;
}

class Mpeg2Encoder final : public Encoder {
  public:
    Mpeg2Encoder(const EncoderSettings& settings, ByteSink bytes, PictureSink pictures);

    void encode(const FrameView& picture) override;
    void finish() override;
    std::vector<std::string> figures() const override;

  private:
    struct Coded {
        std::int64_t bits;
        int quantiser;
    };

    void codeWaiting();
    Coded codePicture(PictureType type, const PaddedPicture& source, long number, Frame& target);
    double chooseStep(PictureType type) const;
    void hand(const Frame& frame, const Coded& coded);

    const EncoderSettings settings_;
    const SequenceHeader sequence_;
    const int wholeRate_;  // pictures per second, rounded up
    PictureCoder coder_;
    WordWriter out_;
    std::optional<RateControl> rate_;
    std::optional<Vbv> vbv_;

    // Pictures not coded yet, in display order: B pictures and the one they wait for.
    std::vector<PaddedPicture> waiting_;
    std::size_t waitingCount_ = 0;
    std::size_t awaited_ = 1;  // how many there must be
    long first_ = 0;           // number of the first of them
    long groupFirst_ = 0;      // number of the first picture of the group at hand

    ReferenceFrames<Frame> frames_;
};

Mpeg2Encoder::Mpeg2Encoder(const EncoderSettings& settings, ByteSink bytes, PictureSink pictures)
    : Encoder(std::move(bytes), std::move(pictures)),
      settings_(completed(settings)),
      sequence_(sequenceOf(settings_)),
      wholeRate_((settings_.rateNumerator + settings_.rateDenominator - 1) / settings_.rateDenominator),
      coder_(sequence_.macroblockWidth(), sequence_.macroblockHeight(), clock_) {
    waiting_.reserve(static_cast<std::size_t>(settings_.bPictures + 1));
    for (int i = 0; i <= settings_.bPictures; ++i)
        waiting_.emplace_back(sequence_.macroblockWidth(), sequence_.macroblockHeight());
    frames_.allocate(sequence_.macroblockWidth(), sequence_.macroblockHeight());
    if (settings_.quantiser > 0) return;
    const double perPicture =
        static_cast<double>(settings_.bitRate) * settings_.rateDenominator / settings_.rateNumerator;
    rate_.emplace(settings_, 1, coarsestStep, typeFactors);
    vbv_.emplace(static_cast<double>(sequence_.bufferSize) * bufferUnit, perPicture);
}

// ---- order ------------------------------------------------------------------------------------------------------

void Mpeg2Encoder::encode(const FrameView& picture) {
    waiting_[waitingCount_++].load(picture);
    if (waitingCount_ == awaited_) codeWaiting();
}

void Mpeg2Encoder::finish() {
    // Nothing can wait any longer: the last picture takes the place of the one that was awaited.
    if (waitingCount_ > 0) codeWaiting();
    out_.clear();
    out_.startCode(codeSequenceEnd);
    const auto& bytes = out_.bytes();
    bytes_(bytes.data(), bytes.size());
}

std::vector<std::string> Mpeg2Encoder::figures() const {
    if (!vbv_) return {};
    return {"VBV buffer: " + std::to_string(std::lround(vbv_->size())) + " bits",
            "VBV lowest: " + std::to_string(std::lround(vbv_->lowest())) + " bits"};
}

// Codes the last picture that waits, then the B pictures before it, and hands them on in display order.
void Mpeg2Encoder::codeWaiting() {
    const std::size_t last = waitingCount_ - 1;
    const long number = first_ + static_cast<long>(last);
    const bool key = number % settings_.keyInterval == 0;
    // The group begins with the B pictures that come before its intra picture in display order.
    if (key) groupFirst_ = first_;

    Frame* const anchor = frames_.spare();
    const Coded coded =
        codePicture(key ? PictureType::intra : PictureType::predicted, waiting_[last], number, *anchor);
    frames_.push(anchor);
    for (std::size_t i = 0; i < last; ++i) {
        Frame* const frame = frames_.spare();
        hand(*frame, codePicture(PictureType::bidirectional, waiting_[i], first_ + static_cast<long>(i), *frame));
    }
    hand(*anchor, coded);

    waitingCount_ = 0;
    first_ = number + 1;
    const long untilKey = settings_.keyInterval - number % settings_.keyInterval;
    awaited_ = static_cast<std::size_t>(std::min<long>(settings_.bPictures + 1, untilKey));
}

void Mpeg2Encoder::hand(const Frame& frame, const Coded& coded) {
    CodedPicture picture;
    picture.reconstruction = frame.shown();
    picture.bits = coded.bits;
    picture.quantiser = coded.quantiser;
    pictures_(picture);
}

// ---- one picture ------------------------------------------------------------------------------------------------

Mpeg2Encoder::Coded Mpeg2Encoder::codePicture(PictureType type, const PaddedPicture& source, long number,
                                              Frame& target) {
    target.type = "?IPB"[static_cast<std::size_t>(type)];
    target.displayWidth = settings_.width;
    target.displayHeight = settings_.height;
    PictureHeader header;
    header.type = type;
    header.topFieldFirst = false;
    const bool bidirectional = type == PictureType::bidirectional;
    const View* const newest = frames_.newer() ? &frames_.newer()->frame() : nullptr;
    double step = chooseStep(type);
    header.intraVlcFormat = step <= coarsestOfTableOne;
    coder_.start(source, header, {bidirectional ? &frames_.older()->frame() : newest, newest}, quantiserOf(step));
    for (;;) {
        out_.clear();
        out_.reserve(256);
        if (type == PictureType::intra) {
            writeSequenceHeader(out_, sequence_);
            writeGroupHeader(out_, {groupFirst_ == number}, groupFirst_, wholeRate_);
        }
        writePictureHeader(out_, header, number - groupFirst_);
        coder_.code(quantiserOf(step), thriftOf(step), out_, target.frame());
        if (!vbv_) break;
        // The buffer must not run empty, and an intra picture should find some of it filled.
        const double bits = 8.0 * static_cast<double>(out_.bytes().size());
        const double allowed = vbv_->available() - (type == PictureType::intra ? 0 : reserve * vbv_->size());
        if (bits <= allowed) break;
        if (step == coarsestStep) {
            if (bits <= vbv_->available()) break;
            throw UnsupportedSettings("a picture does not fit the decoder's buffer at this bit rate");
        }
        step = std::min(std::max(step * bits / std::max(allowed, 1.0), step + 1), coarsestStep);
    }
    const auto& bytes = out_.bytes();
    const std::int64_t bits = static_cast<std::int64_t>(bytes.size()) * 8;
    bytes_(bytes.data(), bytes.size());
    if (rate_) rate_->update(rateType(type), step, bits);
    if (vbv_) vbv_->take(static_cast<double>(bits));
    return {bits, quantiserOf(step)};
}

double Mpeg2Encoder::chooseStep(PictureType type) const {
    if (rate_) return rate_->step(rateType(type));
    // The finest quantiser is the finest for all types.
    const double factor = typeFactors[static_cast<std::size_t>(type) - 1];
    return quantiserOf(1 + (settings_.quantiser - 1) * factor);
}

}  // namespace

}  // namespace mpeg2

std::unique_ptr<Encoder> makeMpeg2Encoder(const EncoderSettings& settings, Encoder::ByteSink bytes,
                                          Encoder::PictureSink pictures) {
    return std::make_unique<mpeg2::Mpeg2Encoder>(settings, std::move(bytes), std::move(pictures));
}

}  // namespace codecs
