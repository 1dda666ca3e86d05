#include "h264/encoder.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

#include "common/rate_control.h"
#include "h264/deblock.h"
#include "h264/header_writer.h"
#include "h264/macroblock_encoder.h"

namespace codecs {

namespace h264 {

namespace {

constexpr int baselineProfile = 66;
constexpr int constrained = 0xC0;  // constraint_set0_flag and constraint_set1_flag
constexpr int followingOrder = 2;  // pic_order_cnt_type: output in the order of coding
constexpr int frameNumBits = 8;
constexpr int referenceIdc = 3;  // nal_ref_idc of everything: all pictures are references
constexpr int largestQp = 51;
constexpr std::size_t headerBytes = 256;  // more than any header has
constexpr int usualKeyInterval = 250;

// All others depend on the intra picture, so that it is coded more finely.
constexpr int intraQpOffset = -2;
constexpr double intraStepFactor = 0.7937;  // the same as a factor of the step

// The step doubles every 6 (8.5.9).
double stepOf(int qp) {
    return 0.625 * std::exp2(qp / 6.0);
}
int qpOf(double step) {
    return std::clamp(static_cast<int>(std::lround(6 * std::log2(step / 0.625))), 1, largestQp);
}

EncoderSettings checked(EncoderSettings settings) {
    if (settings.quantiser > largestQp) throw UnsupportedSettings("its quantiser lies between 1 and 51");
    const int width = (settings.width + 15) / 16, height = (settings.height + 15) / 16;
    if (std::max(width, height) > maxSide || width * height > largestArea / 256)
        throw UnsupportedSettings("its pictures are too large");
    if (settings.bPictures > 0) throw UnsupportedSettings("there are no B pictures in Constrained Baseline");
    if (settings.packetBits > 0) throw UnsupportedSettings("its pictures are one slice each; there are no packets");
    if (settings.matrixQuantiser) throw UnsupportedSettings("there are no matrices in Constrained Baseline");
    if (settings.keyInterval == 0) settings.keyInterval = usualKeyInterval;
    return settings;
}

SequenceParameters sequenceFor(const EncoderSettings& settings, int level) {
    SequenceParameters sequence;
    sequence.profile = baselineProfile;
    sequence.constraints = constrained;
    sequence.level = level;
    sequence.frameNumBits = frameNumBits;
    sequence.orderType = followingOrder;
    sequence.referenceFrames = 1;
    sequence.maxBuffering = 1;
    sequence.macroblockWidth = (settings.width + 15) / 16;
    sequence.macroblockHeight = (settings.height + 15) / 16;
    sequence.direct8x8Inference = true;
    // Cropping counts pairs of samples; of an odd picture one more is kept.
    sequence.cropRight = (16 * sequence.macroblockWidth - settings.width) & ~1;
    sequence.cropBottom = (16 * sequence.macroblockHeight - settings.height) & ~1;
    sequence.rateNumerator = settings.rateNumerator;
    sequence.rateDenominator = settings.rateDenominator;
    const int divisor = std::max(std::gcd(settings.aspectNumerator, settings.aspectDenominator), 1);
    const int aspectNumerator = settings.aspectNumerator / divisor;
    const int aspectDenominator = settings.aspectDenominator / divisor;
    if (std::max(aspectNumerator, aspectDenominator) <= 0xFFFF && std::min(aspectNumerator, aspectDenominator) > 0) {
        sequence.aspectNumerator = aspectNumerator;
        sequence.aspectDenominator = aspectDenominator;
    }
    return sequence;
}

class H264Encoder final : public Encoder {
  public:
    H264Encoder(const EncoderSettings& settings, ByteSink bytes, PictureSink pictures);

    void encode(const FrameView& picture) override;
    void finish() override {}

  private:
    SliceHeader nextHeader();
    int chooseQp(bool intra) const;
    void beginUnit() {
        payload_.clear();
        payload_.reserve(headerBytes);
    }
    void writeParameters();
    void show(const SliceHeader& header, std::int64_t bits);

    EncoderSettings settings_;
    Level level_;
    SequenceParameters sequence_;
    PictureParameters parameters_;
    std::optional<RateControl> rate_;

    PaddedPicture source_;
    PictureContext context_;
    SliceContext slice_;
    PicturePtr reference_;
    HalfSamples halves_;
    MacroblockEncoder macroblocks_;

    BitWriter payload_;
    std::vector<std::uint8_t> stream_;  // of the picture at hand
    int sinceKey_ = 0;                  // pictures since the last IDR picture, this one included
    int count_ = 0;
    int keys_ = 0;
};

H264Encoder::H264Encoder(const EncoderSettings& settings, ByteSink bytes, PictureSink pictures)
    : Encoder(std::move(bytes), std::move(pictures)),
      settings_(checked(settings)),
      level_(chooseLevel((settings.width + 15) / 16, (settings.height + 15) / 16, settings)),
      sequence_(sequenceFor(settings, level_.number)),
      source_(sequence_.macroblockWidth, sequence_.macroblockHeight),
      halves_(Frame(sequence_.macroblockWidth, sequence_.macroblockHeight)),
      macroblocks_(clock_, level_.maxVectorY) {
    parameters_.deblockingControl = true;
    if (settings_.bitRate > 0)
        rate_.emplace(settings_, stepOf(1), stepOf(largestQp), std::array<double, 3>{intraStepFactor, 1, 1});
    context_.sequence = &sequence_;
    context_.macroblockWidth = sequence_.macroblockWidth;
    context_.macroblockHeight = sequence_.macroblockHeight;
    context_.macroblocks.resize(static_cast<std::size_t>(context_.macroblockCount()));
    context_.filters.resize(1);
    slice_.parameters = &parameters_;
    for (PicturePtr* picture : {&context_.picture, &reference_}) {
        *picture = std::make_shared<Picture>();
        (*picture)->frame = std::make_shared<Frame>(sequence_.macroblockWidth, sequence_.macroblockHeight);
    }
}

int H264Encoder::chooseQp(bool intra) const {
    if (rate_) return qpOf(rate_->step(intra ? PictureType::intra : PictureType::predicted));
    return std::max(settings_.quantiser + (intra ? intraQpOffset : 0), 1);
}

SliceHeader H264Encoder::nextHeader() {
    if (count_ == 0 || sinceKey_ >= settings_.keyInterval) sinceKey_ = 0;
    SliceHeader header;
    header.nalReference = referenceIdc;
    header.idr = sinceKey_ == 0;
    header.type = header.idr ? SliceType::i : SliceType::p;
    header.frameNum = sinceKey_ & ((1 << frameNumBits) - 1);
    // Those of IDR pictures that follow each other must differ.
    if (header.idr) header.idrId = keys_++ & 1;
    header.qp = chooseQp(header.idr);
    ++sinceKey_;
    return header;
}

void H264Encoder::writeParameters() {
    beginUnit();
    writeSequenceParameters(payload_, sequence_);
    appendUnit(stream_, referenceIdc, nalSequenceParameters, payload_);
    beginUnit();
    writePictureParameters(payload_, parameters_);
    appendUnit(stream_, referenceIdc, nalPictureParameters, payload_);
}

void H264Encoder::encode(const FrameView& picture) {
    source_.load(picture);
    std::swap(context_.picture, reference_);
    slice_.header = nextHeader();
    const SliceHeader& header = slice_.header;
    context_.picture->id = count_++;
    for (Macroblock& macroblock : context_.macroblocks)
        macroblock.slice = notDecoded;
    slice_.references[0].clear();
    stream_.clear();
    if (header.idr) {
        writeParameters();
    } else {
        clock_.enter(EncodeStage::search);
        halves_.load(*reference_->frame);
        slice_.references[0].push_back(reference_);
    }

    beginUnit();
    writeSliceHeader(payload_, sequence_, parameters_, header);
    macroblocks_.encode(context_, slice_, source_, header.idr ? nullptr : &halves_, payload_);
    clock_.enter(EncodeStage::writing);
    appendUnit(stream_, header.nalReference, header.idr ? nalIdrSlice : nalSlice, payload_);
    bytes_(stream_.data(), stream_.size());
    const auto bits = static_cast<std::int64_t>(8 * stream_.size());
    if (rate_) rate_->update(header.idr ? PictureType::intra : PictureType::predicted, stepOf(header.qp), bits);

    clock_.enter(EncodeStage::filter);
    deblock(context_);
    context_.picture->frame->extendBorders();
    show(header, bits);
    clock_.enter(EncodeStage::other);
}

void H264Encoder::show(const SliceHeader& header, std::int64_t bits) {
    CodedPicture coded;
    coded.bits = bits;
    coded.quantiser = header.qp;
    coded.reconstruction.type = header.idr ? 'I' : 'P';
    for (std::size_t i = 0; i < 3; ++i) {
        const Plane& plane = context_.picture->frame->plane(i);
        const int divisor = i == 0 ? 1 : 2;
        coded.reconstruction.planes[i] = {plane.samples, plane.step, sequence_.width() / divisor,
                                          sequence_.height() / divisor};
    }
    pictures_(coded);
}

}  // namespace

}  // namespace h264

std::unique_ptr<Encoder> makeH264Encoder(const EncoderSettings& settings, Encoder::ByteSink bytes,
                                         Encoder::PictureSink pictures) {
    return std::make_unique<h264::H264Encoder>(settings, std::move(bytes), std::move(pictures));
}

}  // namespace codecs
