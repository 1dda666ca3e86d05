// Follows the headers, keeps the reference frames and hands out pictures in display order.
#include "mpeg2/decoder.h"

#include <algorithm>
#include <array>
#include <optional>

#include "common/reference_frames.h"
#include "common/refusal.h"
#include "common/start_codes.h"
#include "mpeg2/bits.h"
#include "mpeg2/frame.h"
#include "mpeg2/headers.h"
#include "mpeg2/slice.h"

namespace codecs {

namespace mpeg2 {

namespace {

// Beyond every level of the standards, yet small enough that a damaged header cannot ask for gigabytes.
constexpr int maxSide = 8192;

constexpr Qvo8u grey = 128;

ReferenceViews viewsOf(const Frame& frame) {
    return {frame.frame(), {frame.field(0), frame.field(1)}};
}

class Mpeg2Decoder final : public Decoder {
  public:
    void decode(const std::uint8_t* data, std::size_t size, const Sink& sink) override {
        clock_.enter(Stage::parse);
        sink_ = &sink;
        units_.add(data, size, takeUnit_);
        clock_.enter(Stage::output);
    }

    void finish(const Sink& sink) override {
        clock_.enter(Stage::parse);
        sink_ = &sink;
        units_.finish(takeUnit_);
        finishPicture();
        completeFrame();
        showPending();
        refusal_.finish();
        clock_.enter(Stage::output);
    }

    bool hasInfo() const override { return hasInfo_; }
    const StreamInfo& info() const override { return info_; }

  private:
    void takeUnit(int code, const std::uint8_t* payload, std::size_t size);
    void refuse(const UnsupportedStream& reason);
    void takeSequence(BitReader bits);
    void takeExtension(BitReader bits);
    void takePicture(BitReader bits);
    void takeSlice(int code, const std::uint8_t* payload, std::size_t size);

    void activateSequence();
    bool beginPicture();
    void finishPicture();
    void conceal();
    void completeFrame();
    void showPending();
    void show(const Frame& frame);

    StartCodeCutter units_;
    const StartCodeCutter::TakeUnit takeUnit_ = [this](int code, const std::uint8_t* payload, std::size_t size) {
        takeUnit(code, payload, size);
    };
    WordBuffer words_;
    const Sink* sink_ = nullptr;

    std::optional<SequenceHeader> sequence_;
    SequenceHeader activeSequence_;
    Matrices matrices_;
    bool sequenceChanged_ = false;
    bool sequenceRefused_ = false;
    Refusal refusal_;
    bool closedGroup_ = false;
    bool synchronised_ = false;  // a group header or an intra picture has come
    bool hasInfo_ = false;
    StreamInfo info_;

    enum class State { idle, header, slices };
    State state_ = State::idle;
    PictureHeader header_;  // of the picture whose slices are due
    PictureContext picture_;
    SliceDecoder slices_{clock_};

    ReferenceFrames<Frame> frames_;
    Frame* current_ = nullptr;  // under construction
    bool currentIsReference_ = false;
    int firstField_ = -1;  // parity of the field that still waits for the other one
};

// ---- units ------------------------------------------------------------------------------------------------------

void Mpeg2Decoder::takeUnit(int code, const std::uint8_t* payload, std::size_t size) {
    if (code >= codeFirstSlice && code <= codeLastSlice) {
        takeSlice(code, payload, size);
        return;
    }
    // Headers are short; the rest is stuffing.
    constexpr std::size_t longestHeader = 256;
    const BitReader bits = words_.load(payload, std::min(size, longestHeader));
    try {
        switch (code) {
            case codePicture:
                takePicture(bits);
                break;
            case codeSequence:
                takeSequence(bits);
                break;
            case codeExtension:
                takeExtension(bits);
                break;
            case codeGroup: {
                finishPicture();
                BitReader reader = bits;
                closedGroup_ = readGroupHeader(reader).closed;
                synchronised_ = true;
                break;
            }
            case codeSequenceEnd:
                finishPicture();
                completeFrame();
                showPending();
                break;
            default:
                break;
        }
    } catch (const Damage&) {
        // A header that cannot be read is as good as lost.
    }
}

// ---- headers ----------------------------------------------------------------------------------------------------

void Mpeg2Decoder::refuse(const UnsupportedStream& reason) {
    if (!hasInfo_) throw reason;
    if (!refusal_.add(reason)) return;
    completeFrame();
    showPending();
    throw reason;
}

void Mpeg2Decoder::takeSequence(BitReader bits) {
    finishPicture();
    Matrices matrices;
    const SequenceHeader sequence = readSequenceHeader(bits, matrices);
    sequence_ = sequence;
    matrices_ = matrices;
    sequenceChanged_ = true;
    sequenceRefused_ = false;
}

void Mpeg2Decoder::takeExtension(BitReader bits) {
    const auto id = static_cast<ExtensionId>(bits.get(4));
    if (!sequence_) return;
    try {
        switch (id) {
            case ExtensionId::sequence:
                if (sequenceChanged_ && !sequence_->mpeg2) readSequenceExtension(bits, *sequence_);
                break;
            case ExtensionId::sequenceDisplay:
                if (sequenceChanged_) readSequenceDisplayExtension(bits, *sequence_);
                break;
            case ExtensionId::sequenceScalable:
                if (sequenceChanged_) refuseScalability(bits);
                break;
            case ExtensionId::quantMatrix:
                readQuantMatrixExtension(bits, matrices_);
                break;
            case ExtensionId::pictureCoding:
                if (state_ == State::header) readPictureCodingExtension(bits, header_);
                break;
            default:
                break;
        }
    } catch (const UnsupportedStream& reason) {
        sequenceRefused_ = true;
        refuse(reason);
    }
}

void Mpeg2Decoder::takePicture(BitReader bits) {
    finishPicture();
    if (!sequence_) return;
    if (sequenceChanged_ && !sequenceRefused_) activateSequence();
    if (sequenceRefused_) {
        refusal_.leaveOut();
        return;
    }
    header_ = readPictureHeader(bits);
    if (header_.type == PictureType::dcOnly) {
        if (activeSequence_.mpeg2) throw Damage{};
        const UnsupportedStream reason("MPEG-1 video of D pictures is not supported");
        if (!frames_.newer()) throw reason;
        refusal_.leaveOut();
        refuse(reason);
        return;
    }
    damage_.damagedPictures += refusal_.lift();
    state_ = State::header;
}

// Takes over the sequence header and the extensions behind it when its first picture comes.
void Mpeg2Decoder::activateSequence() {
    sequenceChanged_ = false;
    const int width = sequence_->width;
    const int height = sequence_->height;
    const bool plausible =
        width > 0 && height > 0 && width <= maxSide && height <= maxSide && width * height <= largestArea;
    if (!plausible) {
        const std::string size = std::to_string(width) + "x" + std::to_string(height);
        sequenceRefused_ = true;
        refuse(UnsupportedStream("video of " + size + " samples is not supported"));
        return;
    }
    const bool sameFrames = hasInfo_ && sequence_->macroblockWidth() == activeSequence_.macroblockWidth() &&
                            sequence_->macroblockHeight() == activeSequence_.macroblockHeight();
    if (!sameFrames) {
        completeFrame();
        showPending();
        frames_.allocate(sequence_->macroblockWidth(), sequence_->macroblockHeight());
    }
    activeSequence_ = *sequence_;
    info_ = describe(activeSequence_);
    hasInfo_ = true;
}

// ---- pictures ---------------------------------------------------------------------------------------------------

// Prepares for the slices of header_. False if the picture cannot be decoded and is left out.
bool Mpeg2Decoder::beginPicture() {
    const PictureHeader& header = header_;
    const bool isReference = header.type != PictureType::bidirectional;
    if (activeSequence_.mpeg2 != header.hasCodingExtension) return false;
    if (header.isField() && activeSequence_.progressive) return false;

    const bool secondField = header.isField() && firstField_ == 1 - header.parity() &&
                             isReference == currentIsReference_ &&
                             !(header.type == PictureType::intra && current_->type == 'P');
    if (!secondField) {
        completeFrame();
        if (header.type == PictureType::intra) synchronised_ = true;
        // Pictures before the first random access point are left out; so are B pictures that lead an open group and
        // miss the group before it.
        if (!synchronised_) return false;
        if (header.type == PictureType::bidirectional && !frames_.older() && !closedGroup_) return false;
        // A stream that is refreshed bit by bit, or has lost its first picture, starts from grey.
        if (header.type != PictureType::intra && !frames_.newer()) {
            frames_.substitute(frames_.spare());
            frames_.newer()->fill(grey);
        }
        current_ = frames_.spare();
        currentIsReference_ = isReference;
        current_->displayWidth = activeSequence_.width;
        current_->displayHeight = activeSequence_.height;
        current_->type = "?IPB"[static_cast<std::size_t>(header.type)];
        current_->progressive = header.progressiveFrame;
        current_->topFieldFirst = header.isField() ? header.parity() == 0 : header.topFieldFirst;
    }

    picture_.mpeg2 = activeSequence_.mpeg2;
    picture_.header = header;
    picture_.matrices = matrices_;
    picture_.tall = activeSequence_.mpeg2 && activeSequence_.height > 2800;
    picture_.macroblockWidth = activeSequence_.macroblockWidth();
    picture_.macroblockHeight = activeSequence_.macroblockHeight() / (header.isField() ? 2 : 1);
    picture_.target = header.isField() ? current_->field(header.parity()) : current_->frame();
    picture_.targetFields = {current_->field(0), current_->field(1)};
    picture_.decoded.assign(static_cast<std::size_t>(picture_.macroblockWidth * picture_.macroblockHeight), 0);

    // Intra pictures have references too: what is missing is repeated from there. The frame itself, as long as nothing
    // else is there, is grey or holds its first field.
    const Frame* const newest = frames_.newer() ? frames_.newer() : current_;
    picture_.references = {viewsOf(isReference || !frames_.older() ? *newest : *frames_.older()), viewsOf(*newest)};
    if (secondField && isReference) {
        const int opposite = 1 - header.parity();
        picture_.references[0].fields[static_cast<std::size_t>(opposite)] = current_->field(opposite);
        if (!frames_.newer())
            picture_.references[0].fields[static_cast<std::size_t>(header.parity())] = current_->field(opposite);
    }
    firstField_ = header.isField() && !secondField ? header.parity() : -1;
    return true;
}

void Mpeg2Decoder::takeSlice(int code, const std::uint8_t* payload, std::size_t size) {
    if (state_ == State::header) {
        if (!beginPicture())
            state_ = State::idle;
        else
            state_ = State::slices;
    }
    if (state_ != State::slices) return;
    slices_.decode(picture_, code - codeFirstSlice, words_.load(payload, size));
}

void Mpeg2Decoder::finishPicture() {
    if (state_ == State::slices) {
        conceal();
        if (firstField_ < 0) completeFrame();
    }
    state_ = State::idle;
}

// Fills the macroblocks that no slice gave from the forward reference, or with grey where there is none.
void Mpeg2Decoder::conceal() {
    const auto missing = std::count(picture_.decoded.begin(), picture_.decoded.end(), 0);
    if (missing == 0) return;
    damage_.concealedMacroblocks += missing;
    ++damage_.damagedPictures;
    const View& target = picture_.target;
    const ReferenceViews& references = picture_.references[0];
    const bool isField = picture_.header.isField();
    const View& source =
        isField ? references.fields[static_cast<std::size_t>(picture_.header.parity())] : references.frame;
    const bool isGrey = source.planes[0] == target.planes[0];
    for (int address = 0; address < static_cast<int>(picture_.decoded.size()); ++address) {
        if (picture_.decoded[static_cast<std::size_t>(address)]) continue;
        const int x = address % picture_.macroblockWidth * 16;
        const int y = address / picture_.macroblockWidth * 16;
        if (!isGrey) {
            predict(target, x, y, 16, {&source, {}}, Residual::none());
            continue;
        }
        for (std::size_t plane = 0; plane < 3; ++plane) {
            const int divisor = plane == 0 ? 1 : 2;
            Qvo8u* const out = target.planes[plane] + std::ptrdiff_t{y / divisor} * target.steps[plane] + x / divisor;
            qvoiSet_8u_C1R(grey, out, target.steps[plane], 16 / divisor, 16 / divisor);
        }
    }
}

// ---- output -----------------------------------------------------------------------------------------------------

// Ends the frame under construction, if there is one, and shows what is due.
void Mpeg2Decoder::completeFrame() {
    if (!current_) return;
    if (firstField_ >= 0) {
        current_->doubleField(firstField_);
        damage_.concealedMacroblocks += picture_.macroblockWidth * picture_.macroblockHeight;
        ++damage_.damagedPictures;
        firstField_ = -1;
    }
    Frame* const frame = current_;
    current_ = nullptr;
    if (!currentIsReference_) {
        show(*frame);
        return;
    }
    showPending();
    frames_.push(frame);
    if (activeSequence_.lowDelay) showPending();
}

void Mpeg2Decoder::showPending() {
    if (const Frame* const frame = frames_.takeWaiting()) show(*frame);
}

void Mpeg2Decoder::show(const Frame& frame) {
    const Stage before = clock_.enter(Stage::output);
    (*sink_)(frame.shown());
    clock_.enter(before);
}

}  // namespace

}  // namespace mpeg2

std::unique_ptr<Decoder> makeMpeg2Decoder() {
    return std::make_unique<mpeg2::Mpeg2Decoder>();
}

}  // namespace codecs
