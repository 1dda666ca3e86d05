#include "h263/encoder.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "common/rate_control.h"
#include "h263/picture_encoder.h"
#include "h263/tables.h"

namespace codecs {

namespace h263 {

namespace {

using mpeg4::Frame;

constexpr int largestQuantiser = 31;
constexpr int usualKeyInterval = 250;
constexpr std::size_t headerBytes = 16;

// The clock that temporal references count (5.1.2).
constexpr double clockRate = 30000.0 / 1001;
constexpr int largestRate = 30;
constexpr double mostTicks = 255;  // between two pictures

int sourceFormatOf(const EncoderSettings& settings) {
    for (std::size_t i = 1; i < standardSizes.size(); ++i)
        if (standardSizes[i].width == settings.width && standardSizes[i].height == settings.height)
            return static_cast<int>(i);
    throw UnsupportedSettings("pictures are of 128x96, 176x144, 352x288, 704x576 or 1408x1152 samples");
}

EncoderSettings checked(EncoderSettings settings) {
    sourceFormatOf(settings);
    if (settings.quantiser > largestQuantiser) throw UnsupportedSettings("its quantiser lies between 1 and 31");
    if (settings.bPictures > 0) throw UnsupportedSettings("there are no B pictures in baseline H.263");
    if (settings.matrixQuantiser) throw UnsupportedSettings("there are no matrices in H.263");
    if (settings.rateNumerator > largestRate * settings.rateDenominator)
        throw UnsupportedSettings("there are at most 30 pictures per second");
    if (settings.rateNumerator * mostTicks < clockRate * settings.rateDenominator)
        throw UnsupportedSettings("there has to be a picture at least every 8.5 seconds");
    if (settings.keyInterval == 0) settings.keyInterval = usualKeyInterval;
    return settings;
}

class H263Encoder final : public Encoder {
  public:
    H263Encoder(const EncoderSettings& settings, ByteSink bytes, PictureSink pictures);

    void encode(const FrameView& picture) override;
    void finish() override {}
    std::vector<std::string> figures() const override {
        return {"refreshed macroblocks: " + std::to_string(pictureEncoder_.refreshed())};
    }

  private:
    void nextHeader();
    void show(std::int64_t bits);

    EncoderSettings settings_;
    std::optional<RateControl> rate_;
    PaddedPicture source_;
    Frame target_;
    Frame reference_;
    PictureEncoder pictureEncoder_;
    BitWriter bits_;
    CodedHeader header_;
    std::int64_t count_ = 0;
};

H263Encoder::H263Encoder(const EncoderSettings& settings, ByteSink bytes, PictureSink pictures)
    : Encoder(std::move(bytes), std::move(pictures)),
      settings_(checked(settings)),
      source_(settings_.width / 16, settings_.height / 16),
      target_(settings_.width / 16, settings_.height / 16),
      reference_(settings_.width / 16, settings_.height / 16),
      pictureEncoder_(clock_, settings_.width, settings_.height, static_cast<std::size_t>(settings_.packetBits)) {
    header_.sourceFormat = sourceFormatOf(settings_);
    // A step is twice the quantiser.
    if (settings_.bitRate > 0) rate_.emplace(settings_, 2, 2 * largestQuantiser, std::array<double, 3>{1, 1, 1});
}

void H263Encoder::nextHeader() {
    const bool key = count_ % settings_.keyInterval == 0;
    // It differs between pictures whose types differ, and only then (5.2.5).
    if (count_ > 0 && key != header_.intra) header_.groupFrameId = (header_.groupFrameId + 1) & 3;
    header_.intra = key;
    const double seconds = static_cast<double>(count_) * settings_.rateDenominator / settings_.rateNumerator;
    const int tick = static_cast<int>(std::llround(seconds * clockRate));
    // At 30 pictures a second, a little more than the clock counts, the time of some would be that of the one before.
    header_.temporalReference = count_ == 0 ? 0 : std::max(header_.temporalReference + 1, tick);
    header_.quantiser = settings_.quantiser;
    if (rate_) {
        const double step = rate_->step(key ? PictureType::intra : PictureType::predicted);
        header_.quantiser = std::clamp(static_cast<int>(std::lround(step / 2)), 1, largestQuantiser);
    }
}

void H263Encoder::encode(const FrameView& picture) {
    source_.load(picture);
    nextHeader();
    bits_.clear();
    bits_.reserve(headerBytes);
    writePictureHeader(bits_, header_);
    pictureEncoder_.encode(header_, source_, reference_, target_, bits_);
    bytes_(bits_.data(), bits_.size());
    const auto bits = static_cast<std::int64_t>(8 * bits_.size());
    if (rate_)
        rate_->update(header_.intra ? PictureType::intra : PictureType::predicted, 2 * header_.quantiser, bits);

    clock_.enter(EncodeStage::filter);
    target_.extend();
    show(bits);
    std::swap(target_, reference_);
    ++count_;
    clock_.enter(EncodeStage::other);
}

void H263Encoder::show(std::int64_t bits) {
    CodedPicture coded;
    coded.bits = bits;
    coded.quantiser = header_.quantiser;
    coded.reconstruction.type = header_.intra ? 'I' : 'P';
    for (std::size_t i = 0; i < 3; ++i) {
        const int divisor = i == 0 ? 1 : 2;
        coded.reconstruction.planes[i] = {target_.at(i, 0, 0), target_.step(i), settings_.width / divisor,
                                          settings_.height / divisor};
    }
    pictures_(coded);
}

}  // namespace

}  // namespace h263

std::unique_ptr<Encoder> makeH263Encoder(const EncoderSettings& settings, Encoder::ByteSink bytes,
                                         Encoder::PictureSink pictures) {
    return std::make_unique<h263::H263Encoder>(settings, std::move(bytes), std::move(pictures));
}

}  // namespace codecs
