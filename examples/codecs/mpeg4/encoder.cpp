#include "mpeg4/encoder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>
#include <optional>
#include <span>
#include <vector>

#include "common/rate_control.h"
#include "mpeg4/header_writer.h"
#include "mpeg4/vop_encoder.h"

namespace codecs {

namespace mpeg4 {

namespace {

constexpr int largestQuantiser = 31;
constexpr int largestSide = 8191;
constexpr int mostBPictures = 16;
constexpr int mostSeconds = 3600;  // from picture to picture
constexpr int usualKeyInterval = 250;
constexpr std::size_t headerBytes = 256;  // more than all headers of a VOP take, but for the seconds

// Nothing depends on B-VOPs, so that they are coded more coarsely.
constexpr double bStepFactor = 1.25;

double stepOf(int quantiser) {
    return 2.0 * quantiser;
}

PictureType pictureTypeOf(VopType type) {
    return type == VopType::intra       ? PictureType::intra
           : type == VopType::predicted ? PictureType::predicted
                                        : PictureType::bidirectional;
}

EncoderSettings checked(EncoderSettings settings) {
    if (settings.quantiser > largestQuantiser) throw UnsupportedSettings("its quantiser lies between 1 and 31");
    if (std::max(settings.width, settings.height) > largestSide)
        throw UnsupportedSettings("pictures are at most 8191 samples wide and high");
    if (settings.width * settings.height > largestArea) throw UnsupportedSettings("its pictures are too large");
    if (settings.bPictures > mostBPictures) throw UnsupportedSettings("there are at most 16 B pictures in a row");
    // Every second takes a bit.
    if (settings.rateDenominator / settings.rateNumerator > mostSeconds)
        throw UnsupportedSettings("there has to be a picture at least every hour");
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
    layer.aspectNumerator = settings.aspectNumerator;
    layer.aspectDenominator = settings.aspectDenominator;
    layer.lowDelay = settings.bPictures == 0;
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
    void finish() override { encodeWaiting(); }

  private:
    // What waits for a reference behind it.
    struct Waiting {
        PaddedPicture picture;
        std::int64_t time = 0;  // in ticks
    };

    void encodeWaiting();
    CodedPicture encodeReference(const Waiting& waiting, VopType type,
                                 std::span<const PaddedPicture* const> between = {});
    CodedPicture encodeBidirectional(const Waiting& waiting);
    CodedPicture encodeVop(VopHeader vop, const VopPictures& pictures, std::int64_t time, std::int64_t timeBefore);
    int chooseQuantiser(VopType type) const;
    void chooseFcode();

    EncoderSettings settings_;
    Layer layer_;
    std::optional<RateControl> rate_;
    std::vector<Waiting> waiting_;
    std::size_t waitingCount_ = 0;
    std::vector<Frame> frames_;  // references and a B-VOP
    Frame* older_;
    Frame* newer_;
    VopEncoder vops_;
    BitWriter bits_;

    std::int64_t count_ = 0;
    std::int64_t olderTime_ = 0;
    std::int64_t newerTime_ = 0;
    int rounding_ = 0;  // of the P-VOP before
    int fcode_ = 1;
};

Mpeg4Encoder::Mpeg4Encoder(const EncoderSettings& settings, ByteSink bytes, PictureSink pictures)
    : Encoder(std::move(bytes), std::move(pictures)),
      settings_(checked(settings)),
      layer_(layerFor(settings)),
      vops_(clock_, layer_, settings_) {
    const int width = layer_.macroblockWidth(), height = layer_.macroblockHeight();
    for (int i = 0; i <= settings_.bPictures; ++i)
        waiting_.push_back({PaddedPicture(width, height)});
    for (int i = 0; i < (settings_.bPictures > 0 ? 3 : 2); ++i)
        frames_.emplace_back(width, height);
    older_ = &frames_[0];
    newer_ = &frames_[1];
    if (settings_.bitRate > 0)
        rate_.emplace(settings_, stepOf(1), stepOf(largestQuantiser), std::array<double, 3>{1, 1, bStepFactor});
}

// A key picture closes the group before it: whatever waits is coded first.
void Mpeg4Encoder::encode(const FrameView& picture) {
    const bool key = count_ % settings_.keyInterval == 0;
    if (key) encodeWaiting();
    Waiting& waiting = waiting_[waitingCount_++];
    waiting.picture.load(picture);
    waiting.time = count_++ * layer_.fixedIncrement;
    if (key) {
        pictures_(encodeReference(waiting, VopType::intra));
        waitingCount_ = 0;
    } else if (waitingCount_ == waiting_.size()) {
        encodeWaiting();
    }
    clock_.enter(EncodeStage::other);
}

// The last picture that waits becomes a P-VOP, the others B-VOPs before it.
void Mpeg4Encoder::encodeWaiting() {
    if (waitingCount_ == 0) return;
    const std::size_t last = waitingCount_ - 1;
    std::vector<const PaddedPicture*> between;
    for (std::size_t i = 0; i < last; ++i)
        between.push_back(&waiting_[i].picture);
    const CodedPicture reference = encodeReference(waiting_[last], VopType::predicted, between);
    for (std::size_t i = 0; i < last; ++i)
        pictures_(encodeBidirectional(waiting_[i]));
    pictures_(reference);
    waitingCount_ = 0;
}

CodedPicture Mpeg4Encoder::encodeReference(const Waiting& waiting, VopType type,
                                           std::span<const PaddedPicture* const> between) {
    std::swap(older_, newer_);
    olderTime_ = newerTime_;
    newerTime_ = waiting.time;
    VopHeader vop;
    vop.type = type;
    // Rounding up and down in turn keeps errors of prediction from adding up.
    rounding_ = type == VopType::intra ? 0 : 1 - rounding_;
    vop.rounding = rounding_;
    vop.fcodeForward = fcode_;
    VopPictures pictures;
    pictures.source = &waiting.picture;
    pictures.target = newer_;
    pictures.forward = older_;
    pictures.between = between;
    const CodedPicture coded = encodeVop(vop, pictures, waiting.time, olderTime_);
    if (type == VopType::predicted) chooseFcode();
    clock_.enter(EncodeStage::filter);
    newer_->extend();
    return coded;
}

CodedPicture Mpeg4Encoder::encodeBidirectional(const Waiting& waiting) {
    VopHeader vop;
    vop.type = VopType::bidirectional;
    vop.fcodeForward = vop.fcodeBackward = fcode_;
    VopPictures pictures;
    pictures.source = &waiting.picture;
    pictures.target = &frames_[2];
    pictures.forward = older_;
    pictures.backward = newer_;
    pictures.timeToVop = static_cast<int>(waiting.time - olderTime_);
    pictures.timeToBackward = static_cast<int>(newerTime_ - olderTime_);
    return encodeVop(vop, pictures, waiting.time, olderTime_);
}

// modulo_time_base counts the seconds from the reference before, in order of display.
CodedPicture Mpeg4Encoder::encodeVop(VopHeader vop, const VopPictures& pictures, std::int64_t time,
                                     std::int64_t timeBefore) {
    const int resolution = layer_.timeResolution;
    vop.seconds = static_cast<int>(time / resolution - timeBefore / resolution);
    vop.ticks = static_cast<int>(time % resolution);
    vop.quantiser = chooseQuantiser(vop.type);
    bits_.clear();
    bits_.reserve(headerBytes + static_cast<std::size_t>(vop.seconds) / 8);
    if (vop.type == VopType::intra) writeLayer(bits_, layer_, chooseProfile(layer_, settings_.bitRate));
    writeVop(bits_, layer_, vop);
    vops_.encode(vop, pictures, bits_);
    bytes_(bits_.data(), bits_.size());

    CodedPicture coded;
    coded.bits = static_cast<std::int64_t>(8 * bits_.size());
    coded.quantiser = vop.quantiser;
    if (rate_) rate_->update(pictureTypeOf(vop.type), stepOf(vop.quantiser), coded.bits);
    coded.reconstruction.type = "IPB"[static_cast<int>(vop.type)];
    for (std::size_t i = 0; i < 3; ++i) {
        const int divisor = i == 0 ? 1 : 2;
        coded.reconstruction.planes[i] = {pictures.target->at(i, 0, 0), pictures.target->step(i),
                                          (layer_.width + divisor - 1) / divisor,
                                          (layer_.height + divisor - 1) / divisor};
    }
    return coded;
}

int Mpeg4Encoder::chooseQuantiser(VopType type) const {
    double step = stepOf(settings_.quantiser);
    if (rate_) {
        step = rate_->step(pictureTypeOf(type));
    } else if (type == VopType::bidirectional) {
        step *= bStepFactor;
    }
    return std::clamp(static_cast<int>(std::lround(step / stepOf(1))), 1, largestQuantiser);
}

// The next VOP's vectors may reach twice as far as those of this one.
void Mpeg4Encoder::chooseFcode() {
    fcode_ = 1;
    while (fcode_ < 7 && 2 * vops_.longestVector() > 16 << fcode_)
        ++fcode_;
}

}  // namespace

}  // namespace mpeg4

std::unique_ptr<Encoder> makeMpeg4Encoder(const EncoderSettings& settings, Encoder::ByteSink bytes,
                                          Encoder::PictureSink pictures) {
    return std::make_unique<mpeg4::Mpeg4Encoder>(settings, std::move(bytes), std::move(pictures));
}

}  // namespace codecs
