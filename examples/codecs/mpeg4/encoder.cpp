#include "mpeg4/encoder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>
#include <optional>

#include "common/rate_control.h"
#include "mpeg4/header_writer.h"
#include "mpeg4/vop_encoder.h"

namespace codecs {

namespace mpeg4 {

namespace {

constexpr int largestQuantiser = 31;
constexpr int largestSide = 8191;
constexpr int usualKeyInterval = 250;
constexpr std::size_t headerBytes = 256;  // more than all headers of a VOP take, but for the seconds

EncoderSettings checked(EncoderSettings settings) {
    if (settings.quantiser > largestQuantiser) throw UnsupportedSettings("its quantiser lies between 1 and 31");
    if (settings.bPictures > 0) throw UnsupportedSettings("there are no B-VOPs in Simple Profile");
    if (std::max(settings.width, settings.height) > largestSide)
        throw UnsupportedSettings("pictures are at most 8191 samples wide and high");
    if (settings.keyInterval == 0) settings.keyInterval = usualKeyInterval;
    return settings;
}

// Ticks are parts of a second, a picture lasts fixedIncrement of them; both have 16 bits.
Layer layerFor(const EncoderSettings& settings) {
    Layer layer;
    layer.width = settings.width;
    layer.height = settings.height;
    const int divisor = std::gcd(settings.rateNumerator, settings.rateDenominator);
    layer.timeResolution = settings.rateNumerator / divisor;
    layer.fixedIncrement = settings.rateDenominator / divisor;
    if (layer.timeResolution > 0xFFFF) {
        const double rate = static_cast<double>(layer.timeResolution) / layer.fixedIncrement;
        layer.timeResolution = 0xFFFF;
        layer.fixedIncrement = std::max(1, static_cast<int>(std::lround(0xFFFF / rate)));
    }
    layer.timeBits = std::max(1, static_cast<int>(std::bit_width(static_cast<unsigned>(layer.timeResolution - 1))));
    // Less than a picture a second: the distance has no room in the header.
    if (layer.fixedIncrement >= layer.timeResolution && layer.fixedIncrement > 1)
        throw UnsupportedSettings("there has to be more than one picture per second");
    layer.aspectNumerator = settings.aspectNumerator;
    layer.aspectDenominator = settings.aspectDenominator;
    layer.lowDelay = true;
    layer.useMatrices = settings.matrixQuantiser;
    layer.intraMatrix = defaultIntraMatrix;
    layer.interMatrix = defaultInterMatrix;
    layer.resyncMarkers = settings.packetBits > 0;
    return layer;
}

class Mpeg4Encoder final : public Encoder {
  public:
    Mpeg4Encoder(const EncoderSettings& settings, ByteSink bytes, PictureSink pictures);

    void encode(const FrameView& picture) override;
    void finish() override {}

  private:
    VopHeader nextHeader();
    void chooseFcode();
    void show(const VopHeader& vop, std::int64_t bits);

    EncoderSettings settings_;
    Layer layer_;
    std::optional<RateControl> rate_;
    PaddedPicture source_;
    Frame target_;
    Frame reference_;
    VopEncoder vops_;
    BitWriter bits_;

    std::int64_t count_ = 0;
    std::int64_t seconds_ = 0;  // of the VOP before
    int rounding_ = 0;          // of the VOP before
    int fcode_ = 1;
};

Mpeg4Encoder::Mpeg4Encoder(const EncoderSettings& settings, ByteSink bytes, PictureSink pictures)
    : Encoder(std::move(bytes), std::move(pictures)),
      settings_(checked(settings)),
      layer_(layerFor(settings)),
      source_(layer_.macroblockWidth(), layer_.macroblockHeight()),
      target_(layer_.macroblockWidth(), layer_.macroblockHeight()),
      reference_(layer_.macroblockWidth(), layer_.macroblockHeight()),
      vops_(clock_, layer_, settings_) {
    // A step is twice the quantiser.
    if (settings_.bitRate > 0) rate_.emplace(settings_, 2, 2 * largestQuantiser, std::array<double, 3>{1, 1, 1});
}

VopHeader Mpeg4Encoder::nextHeader() {
    const bool key = count_ % settings_.keyInterval == 0;
    VopHeader vop;
    vop.type = key ? VopType::intra : VopType::predicted;
    const std::int64_t time = count_ * layer_.fixedIncrement;
    const std::int64_t seconds = time / layer_.timeResolution;
    vop.seconds = static_cast<int>(seconds - seconds_);
    vop.ticks = static_cast<int>(time % layer_.timeResolution);
    seconds_ = seconds;
    // Rounding up and down in turn keeps errors of prediction from adding up.
    rounding_ = key ? 0 : 1 - rounding_;
    vop.rounding = rounding_;
    vop.quantiser = settings_.quantiser;
    if (rate_) {
        const double step = rate_->step(key ? PictureType::intra : PictureType::predicted);
        vop.quantiser = std::clamp(static_cast<int>(std::lround(step / 2)), 1, largestQuantiser);
    }
    vop.fcodeForward = fcode_;
    return vop;
}

// The next VOP's vectors may reach twice as far as those of this one.
void Mpeg4Encoder::chooseFcode() {
    fcode_ = 1;
    while (fcode_ < 7 && 2 * vops_.longestVector() > 16 << fcode_)
        ++fcode_;
}

void Mpeg4Encoder::encode(const FrameView& picture) {
    source_.load(picture);
    const VopHeader vop = nextHeader();
    const bool key = vop.type == VopType::intra;
    bits_.clear();
    bits_.reserve(headerBytes);
    if (key) writeLayer(bits_, layer_, chooseProfile(layer_, settings_.bitRate));
    writeVop(bits_, layer_, vop);
    vops_.encode(vop, source_, reference_, target_, bits_);
    if (!key) chooseFcode();
    bytes_(bits_.data(), bits_.size());
    const auto bits = static_cast<std::int64_t>(8 * bits_.size());
    if (rate_) rate_->update(key ? PictureType::intra : PictureType::predicted, 2 * vop.quantiser, bits);

    clock_.enter(EncodeStage::filter);
    target_.extend();
    show(vop, bits);
    std::swap(target_, reference_);
    ++count_;
    clock_.enter(EncodeStage::other);
}

void Mpeg4Encoder::show(const VopHeader& vop, std::int64_t bits) {
    CodedPicture coded;
    coded.bits = bits;
    coded.quantiser = vop.quantiser;
    coded.reconstruction.type = vop.type == VopType::intra ? 'I' : 'P';
    for (std::size_t i = 0; i < 3; ++i) {
        const int divisor = i == 0 ? 1 : 2;
        coded.reconstruction.planes[i] = {target_.at(i, 0, 0), target_.step(i),
                                          (layer_.width + divisor - 1) / divisor,
                                          (layer_.height + divisor - 1) / divisor};
    }
    pictures_(coded);
}

}  // namespace

}  // namespace mpeg4

std::unique_ptr<Encoder> makeMpeg4Encoder(const EncoderSettings& settings, Encoder::ByteSink bytes,
                                          Encoder::PictureSink pictures) {
    return std::make_unique<mpeg4::Mpeg4Encoder>(settings, std::move(bytes), std::move(pictures));
}

}  // namespace codecs
