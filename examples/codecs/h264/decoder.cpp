// Cuts the stream into NAL units, follows the headers, puts slices together to pictures and hands these out in display
// order.
#include "h264/decoder.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "common/refusal.h"
#include "common/start_codes.h"
#include "h264/bits.h"
#include "h264/deblock.h"
#include "h264/frame.h"
#include "h264/headers.h"
#include "h264/macroblock.h"
#include "h264/references.h"
#include "h264/slice.h"

namespace codecs {

namespace h264 {

namespace {

constexpr Qvo8u grey = 128;

constexpr int recoveryPoint = 6;  // SEI payload type

class H264Decoder final : public Decoder {
  public:
    void decode(const std::uint8_t* data, std::size_t size, const Sink& sink) override {
        clock_.enter(Stage::parse);
        sink_ = &sink;
        cutter_.add(data, size, takeUnit_);
        clock_.enter(Stage::output);
    }

    void finish(const Sink& sink) override {
        clock_.enter(Stage::parse);
        sink_ = &sink;
        cutter_.finish(takeUnit_);
        finishPicture();
        buffer_.flush(show_);
        refusal_.finish();
        clock_.enter(Stage::output);
    }

    bool hasInfo() const override { return hasInfo_; }
    const StreamInfo& info() const override { return info_; }

  private:
    void takeUnit(int header, const std::uint8_t* payload, std::size_t size);
    template <class Parameters>
    void keep(const Parameters& parameters, std::optional<Parameters>& kept, std::size_t size);
    void refuse(const UnsupportedStream& reason);
    [[noreturn]] void stop(const UnsupportedStream& reason);
    bool isRefused(RefusedTool& parameters);
    void takeSei(BitReader bits);
    void takeSlice(int type, int nalReference, BitReader bits);

    bool isNewPicture(const SliceHeader& header) const;
    void checkOrder(const SliceHeader& header);
    bool activate(const SequenceParameters& sequence, bool idr);
    bool beginPicture(const SliceHeader& header, const SequenceParameters& sequence);
    void fillGap(int frameNum);
    void decodeSlice(const SliceHeader& header, const PictureParameters& parameters, BitReader bits);
    void finishPicture();
    void conceal();
    void show(const Picture& picture);

    PicturePtr newPicture();
    PicturePtr greyPicture();
    int maxFrameNum() const { return 1 << sequence_.frameNumBits; }

    StartCodeCutter cutter_;
    const StartCodeCutter::TakeUnit takeUnit_ = [this](int header, const std::uint8_t* payload, std::size_t size) {
        takeUnit(header, payload, size);
    };
    const PictureBuffer::Show show_ = [this](const Picture& picture) { show(picture); };
    Payload payload_;
    const Sink* sink_ = nullptr;

    std::array<std::optional<SequenceParameters>, 32> sequences_;
    std::array<std::optional<PictureParameters>, 256> pictures_;
    SequenceParameters sequence_;  // the active one
    Refusal refusal_;
    bool hasInfo_ = false;
    StreamInfo info_;

    bool synchronised_ = false;  // an intra picture or a recovery point has come
    bool decoding_ = false;      // a picture is under construction
    SliceHeader header_;         // of its last slice
    SliceContext slice_;
    PictureContext context_;
    SliceDecoder slices_{clock_};

    OrderCounter orders_;
    PictureBuffer buffer_;
    std::vector<std::shared_ptr<Frame>> frames_;  // for reuse, where nothing else holds them
    std::int32_t nextId_ = 0;
    int previousFrameNum_ = 0;  // of the last reference
};

// ---- NAL units --------------------------------------------------------------------------------------------------

void H264Decoder::takeUnit(int header, const std::uint8_t* payload, std::size_t size) {
    const int nalReference = header >> 5 & 3;
    const int type = header & 31;
    if (type >= nalPartitionA && type <= nalPartitionC) {
        // Partition A begins a slice.
        if (type == nalPartitionA || !hasInfo_) refuse(UnsupportedStream("data partitioning is not supported"));
        return;
    }
    try {
        switch (type) {
            case nalSlice:
            case nalIdrSlice:
                takeSlice(type, nalReference, payload_.load(payload, size));
                break;
            case nalSei:
                finishPicture();
                takeSei(payload_.load(payload, size));
                break;
            case nalSequenceParameters: {
                finishPicture();
                const SequenceParameters sequence = readSequenceParameters(payload_.load(payload, size));
                keep(sequence, sequences_[static_cast<std::size_t>(sequence.id)], size);
                break;
            }
            case nalPictureParameters: {
                finishPicture();
                const PictureParameters picture = readPictureParameters(payload_.load(payload, size));
                keep(picture, pictures_[static_cast<std::size_t>(picture.id)], size);
                break;
            }
            case nalEndOfSequence:
            case nalEndOfStream:
                finishPicture();
                break;
            default:
                break;
        }
    } catch (const Damage&) {
        // A header that cannot be read is as good as lost.
    }
}

// Parameters replace those of the same number.
template <class Parameters>
void H264Decoder::keep(const Parameters& parameters, std::optional<Parameters>& kept, std::size_t size) {
    const bool mayBeDamaged =
        !parameters.refused.empty() && hasInfo_ && kept && (kept->refused.empty() || kept->mayBeDamaged);
    if (mayBeDamaged && size > Refusal::longestHeader) return;
    kept = parameters;
    kept->mayBeDamaged = mayBeDamaged;
}

void H264Decoder::refuse(const UnsupportedStream& reason) {
    if (!hasInfo_) throw reason;
    if (refusal_.add(reason)) stop(reason);
}

void H264Decoder::stop(const UnsupportedStream& reason) {
    finishPicture();
    buffer_.flush(show_);
    throw reason;
}

// Whether slices that refer to these parameters have to be left out.
bool H264Decoder::isRefused(RefusedTool& parameters) {
    if (parameters.refused.empty()) return false;
    const UnsupportedStream reason(parameters.refused);
    if (!parameters.mayBeDamaged) stop(reason);
    if (!std::exchange(parameters.counted, true)) refuse(reason);
    return true;
}

void H264Decoder::takeSei(BitReader bits) {
    const auto number = [&bits] {
        int value = 0, byte = 255;
        while (byte == 255 && bits.hasMore())
            value += byte = bits.getInt(8);
        return value;
    };
    while (bits.hasMore()) {
        const int type = number();
        if (type == recoveryPoint) synchronised_ = true;
        for (int size = number(); size > 0 && bits.hasMore(); --size)
            bits.skip(8);
    }
}

void H264Decoder::takeSlice(int type, int nalReference, BitReader bits) {
    auto& parameters = pictures_[static_cast<std::size_t>(readPictureParametersId(bits))];
    if (!parameters) return;
    auto& sequence = sequences_[static_cast<std::size_t>(parameters->sequence)];
    if (!sequence) return;
    if (isRefused(*sequence) || isRefused(*parameters)) {
        // Of every picture the slice with the first macroblock.
        if (bits.flag()) refusal_.leaveOut();
        return;
    }

    SliceHeader header;
    try {
        readSliceHeader(bits, type, nalReference, *sequence, *parameters, header);
    } catch (const UnsupportedStream& reason) {
        refuse(reason);
        return;
    }
    if (header.redundantCount > 0) return;
    damage_.damagedPictures += refusal_.lift();
    if (!decoding_ || isNewPicture(header)) {
        finishPicture();
        if (!beginPicture(header, *sequence)) return;
    } else {
        checkOrder(header);
    }
    header_ = header;
    decodeSlice(header, *parameters, bits);
}

// ---- pictures ---------------------------------------------------------------------------------------------------

// Whether a slice begins another picture than the last one's (7.4.1.2.4).
bool H264Decoder::isNewPicture(const SliceHeader& header) const {
    const SliceHeader& last = header_;
    return header.frameNum != last.frameNum || header.pictureParameters != last.pictureParameters ||
           (header.nalReference == 0) != (last.nalReference == 0) || header.idr != last.idr ||
           header.idrId != last.idrId || header.orderLsb != last.orderLsb ||
           header.deltaOrderBottom != last.deltaOrderBottom || header.deltaOrder != last.deltaOrder;
}

// Slices come from top to bottom but in two profiles. What has been decoded of a picture in another order is not shown.
void H264Decoder::checkOrder(const SliceHeader& header) {
    const bool mayBeArbitrary =
        (sequence_.profile == 66 && !(sequence_.constraints & 0x40)) || sequence_.profile == 88;
    if (!mayBeArbitrary || header.firstMacroblock >= header_.firstMacroblock || damage_.damagedPictures > 0) return;
    decoding_ = false;
    stop(UnsupportedStream("arbitrary slice order is not supported"));
}

// Takes over the sequence parameters of the next picture. False where they cannot hold for it.
bool H264Decoder::activate(const SequenceParameters& sequence, bool idr) {
    const bool sameFrames = hasInfo_ && sequence.macroblockWidth == sequence_.macroblockWidth &&
                            sequence.macroblockHeight == sequence_.macroblockHeight;
    const bool sameBuffer = sameFrames && sequence.bufferSize() == sequence_.bufferSize() &&
                            sequence.referenceFrames == sequence_.referenceFrames;
    if (!sameBuffer) {
        if (hasInfo_ && !idr) return false;
        buffer_.flush(show_);
        buffer_.configure(sequence.bufferSize(), sequence.referenceFrames);
    }
    if (!sameFrames) {
        frames_.clear();
        context_.macroblockWidth = sequence.macroblockWidth;
        context_.macroblockHeight = sequence.macroblockHeight;
        context_.macroblocks.assign(static_cast<std::size_t>(context_.macroblockCount()), {});
    }
    sequence_ = sequence;
    context_.sequence = &sequence_;
    info_ = describe(sequence_);
    hasInfo_ = true;
    return true;
}

PicturePtr H264Decoder::newPicture() {
    const auto unused =
        std::find_if(frames_.begin(), frames_.end(), [](const auto& f) { return f.use_count() == 1; });
    auto picture = std::make_shared<Picture>();
    if (unused != frames_.end()) {
        picture->frame = *unused;
    } else {
        picture->frame = std::make_shared<Frame>(context_.macroblockWidth, context_.macroblockHeight);
        frames_.push_back(picture->frame);
    }
    picture->id = nextId_;
    // Far more pictures than any buffer holds.
    nextId_ = (nextId_ + 1) & 0xFFFFFF;
    return picture;
}

// Stands in for references of a stream that begins without them.
PicturePtr H264Decoder::greyPicture() {
    PicturePtr picture = newPicture();
    picture->frame->fill(grey);
    picture->frame->clearMotion();
    picture->exists = false;
    return picture;
}

// Prepares for the slices of a picture. False if it cannot be decoded and is left out.
bool H264Decoder::beginPicture(const SliceHeader& header, const SequenceParameters& sequence) {
    // Pictures before the first random access point are left out.
    if (header.idr || header.type == SliceType::i) synchronised_ = true;
    if (!synchronised_) return false;
    if (!activate(sequence, header.idr)) return false;
    if (!header.idr) fillGap(header.frameNum);

    context_.picture = newPicture();
    Picture& picture = *context_.picture;
    picture.frame->clearMotion();
    picture.type = 'I';
    picture.frameNum = header.frameNum;
    picture.reference = header.nalReference != 0;
    picture.order = orders_.next(sequence_, header);
    picture.cropLeft = sequence_.cropLeft;
    picture.cropTop = sequence_.cropTop;
    picture.width = sequence_.width();
    picture.height = sequence_.height();
    for (Macroblock& macroblock : context_.macroblocks)
        macroblock.slice = notDecoded;
    context_.filters.clear();
    context_.bidirectional = false;
    decoding_ = true;
    return true;
}

// References left out on purpose or lost (8.2.5.2). They look like the one before them, should a slice use them.
void H264Decoder::fillGap(int frameNum) {
    const Picture* const newest = buffer_.newest();
    if (!newest || frameNum == previousFrameNum_) return;
    const std::shared_ptr<Frame> frame = newest->frame;
    const int mask = maxFrameNum() - 1;
    const int missing = (frameNum - previousFrameNum_ - 1) & mask;
    // Older ones would have left the buffer again.
    for (int i = std::min(missing, std::max(sequence_.referenceFrames, 1)); i > 0; --i) {
        auto picture = std::make_shared<Picture>();
        picture->frame = frame;
        picture->id = nextId_;
        nextId_ = (nextId_ + 1) & 0xFFFFFF;
        picture->exists = false;
        picture->frameNum = (frameNum - i) & mask;
        buffer_.addMissing(picture, maxFrameNum(), show_);
    }
    if (missing == 0) return;
    previousFrameNum_ = (frameNum - 1) & mask;
    if (sequence_.gapsAllowed) return;
    // A number that runs backwards is rather damaged itself.
    const int lost = missing <= maxFrameNum() / 2 ? missing : 1;
    damage_.damagedPictures += lost;
    damage_.concealedMacroblocks += std::int64_t{lost} * context_.macroblockCount();
}

void H264Decoder::decodeSlice(const SliceHeader& header, const PictureParameters& parameters, BitReader bits) {
    slice_.header = header;
    slice_.parameters = &parameters;
    buffer_.makeLists(header, *context_.picture, maxFrameNum(), slice_.references);
    for (std::size_t list = 0; list < 2; ++list) {
        ReferenceList& references = slice_.references[list];
        if (references.empty() && header.referenceCounts[list] > 0)
            references.assign(static_cast<std::size_t>(header.referenceCounts[list]), greyPicture());
    }
    Picture& picture = *context_.picture;
    if (header.type == SliceType::b) {
        context_.bidirectional = true;
        picture.type = 'B';
    } else if (header.type == SliceType::p && picture.type == 'I') {
        picture.type = 'P';
    }
    const auto number = static_cast<int>(context_.filters.size());
    context_.filters.push_back(
        {header.deblocking, header.alphaOffset, header.betaOffset, parameters.chromaQpOffsets});
    slices_.decode(context_, slice_, number, bits);
}

void H264Decoder::finishPicture() {
    if (!decoding_) return;
    decoding_ = false;
    conceal();
    clock_.enter(Stage::filter);
    deblock(context_);
    const PicturePtr picture = std::move(context_.picture);
    if (picture->reference) picture->frame->extendBorders();
    clock_.enter(Stage::parse);
    const int order = picture->order;
    const bool resetAll = buffer_.add(picture, header_, maxFrameNum(), show_);
    orders_.completed(header_, order, resetAll);
    if (picture->reference) previousFrameNum_ = picture->frameNum;
}

// Fills the macroblocks that no slice gave from the reference decoded last, or with grey where there is none.
void H264Decoder::conceal() {
    const auto isMissing = [](const Macroblock& macroblock) { return macroblock.slice == notDecoded; };
    const auto missing = std::count_if(context_.macroblocks.begin(), context_.macroblocks.end(), isMissing);
    if (missing == 0) return;
    damage_.concealedMacroblocks += missing;
    ++damage_.damagedPictures;
    const Picture* const newest = buffer_.newest();
    Frame& frame = *context_.picture->frame;
    for (int address = 0; address < context_.macroblockCount(); ++address) {
        if (!isMissing(context_.macroblocks[static_cast<std::size_t>(address)])) continue;
        const int x = address % context_.macroblockWidth, y = address / context_.macroblockWidth;
        frame.clearMotion(x, y);
        for (std::size_t i = 0; i < 3; ++i) {
            const Plane& plane = frame.plane(i);
            const int size = i == 0 ? 16 : 8;
            const std::ptrdiff_t at = std::ptrdiff_t{size * y} * plane.step + size * x;
            Qvo8u* const to = plane.samples + at;
            if (newest) {
                const Qvo8u* const from = newest->frame->plane(i).samples + at;
                const auto copy = i == 0 ? qvoiCopyBlock_16x16_8u : qvoiCopyBlock_8x8_8u;
                copy(from, plane.step, to, plane.step);
            } else {
                qvoiSet_8u_C1R(grey, to, plane.step, size, size);
            }
        }
    }
}

void H264Decoder::show(const Picture& picture) {
    const Stage before = clock_.enter(Stage::output);
    FrameView view;
    for (std::size_t i = 0; i < 3; ++i) {
        const int divisor = i == 0 ? 1 : 2;
        const Plane& plane = picture.frame->plane(i);
        view.planes[i] = {
            plane.samples + std::ptrdiff_t{picture.cropTop / divisor} * plane.step + picture.cropLeft / divisor,
            plane.step, picture.width / divisor, picture.height / divisor};
    }
    view.type = picture.type;
    (*sink_)(view);
    clock_.enter(before);
}

}  // namespace

}  // namespace h264

std::unique_ptr<Decoder> makeH264Decoder() {
    return std::make_unique<h264::H264Decoder>();
}

}  // namespace codecs
