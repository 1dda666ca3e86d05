// Follows the headers, keeps the reference frames and hands out pictures in display order.
#include "mpeg4/decoder.h"

#include <algorithm>
#include <array>
#include <optional>

#include "common/byte_bits.h"
#include "common/reference_frames.h"
#include "common/refusal.h"
#include "common/start_codes.h"
#include "h263/decoder.h"
#include "mpeg4/frame.h"
#include "mpeg4/headers.h"
#include "mpeg4/vop.h"

namespace codecs {

namespace mpeg4 {

namespace {

// Beyond every level of the standard, yet small enough that a damaged header cannot ask for gigabytes.

constexpr Qvo8u grey = 128;

class Mpeg4Decoder final : public Decoder {
  public:
    void decode(const std::uint8_t* data, std::size_t size, const Sink& sink) override {
        if (shortHeaders_) {
            passOn([&](Decoder& decoder) { decoder.decode(data, size, sink); });
            return;
        }
        clock_.enter(Stage::parse);
        sink_ = &sink;
        units_.add(data, size, takeUnit_);
        clock_.enter(Stage::output);
        if (layer_ || !hasShortHeader(units_.pending())) return;
        shortHeaders_ = makeH263Decoder();
        decode(units_.pending().data(), units_.pending().size(), sink);
    }

    void finish(const Sink& sink) override {
        if (shortHeaders_) {
            passOn([&](Decoder& decoder) { decoder.finish(sink); });
            return;
        }
        clock_.enter(Stage::parse);
        sink_ = &sink;
        units_.finish(takeUnit_);
        showPending();
        refusal_.finish();
        clock_.enter(Stage::output);
    }

    bool hasInfo() const override { return shortHeaders_ ? shortHeaders_->hasInfo() : hasInfo_; }
    const StreamInfo& info() const override { return shortHeaders_ ? shortHeaders_->info() : info_; }

  private:
    template <class Call>
    void passOn(Call call);
    static bool hasShortHeader(const std::vector<std::uint8_t>& bytes);
    void takeUnit(int code, const std::uint8_t* payload, std::size_t size);
    void refuse(const UnsupportedStream& reason);
    void takeLayer(BitReader bits);
    void activateLayer();
    void takeVop(BitReader bits);
    bool takeTime(const VopHeader& header);
    bool findReferences(VopType type);
    void conceal(const Frame* source);
    void completeFrame();
    void showPending();
    void show(const Frame& frame);

    std::unique_ptr<Decoder> shortHeaders_;  // once they have been found, decodes all

    StartCodeCutter units_;
    const StartCodeCutter::TakeUnit takeUnit_ = [this](int code, const std::uint8_t* payload, std::size_t size) {
        takeUnit(code, payload, size);
    };
    ByteBuffer bytes_;
    const Sink* sink_ = nullptr;

    int profile_ = 0;
    int verid_ = 1;  // of the visual object
    std::optional<Layer> layer_;
    Layer activeLayer_;
    bool layerChanged_ = false;
    bool layerRefused_ = false;
    Refusal refusal_;
    bool hasInfo_ = false;
    StreamInfo info_;

    // Times in seconds, then in ticks: modulo_time_base counts from the last reference, in B-VOPs from the one before.
    std::int64_t seconds_ = 0;
    std::int64_t secondsBefore_ = 0;
    std::int64_t referenceTime_ = 0;
    std::int64_t referenceDistance_ = 0;

    VopContext vop_;
    VopDecoder vops_{clock_};

    ReferenceFrames<Frame> frames_;
    Frame* current_ = nullptr;  // under construction
};

// ---- short headers ----------------------------------------------------------------------------------------------

// Whether pictures with short headers begin here, perhaps behind the start code of a video object: with 22 bits that are
// no start code (6.2.5.4).
bool Mpeg4Decoder::hasShortHeader(const std::vector<std::uint8_t>& bytes) {
    constexpr std::size_t codeBytes = 4;
    const bool hasCode = bytes.size() >= codeBytes && bytes[0] == 0 && bytes[1] == 0 && bytes[2] == 1 &&
                         bytes[3] <= codeLastVideoObject;
    const std::size_t at = hasCode ? codeBytes : 0;
    return bytes.size() >= at + 3 && bytes[at] == 0 && bytes[at + 1] == 0 && (bytes[at + 2] & 0xFC) == 0x80;
}

// Such a stream is H.263.
template <class Call>
void Mpeg4Decoder::passOn(Call call) {
    shortHeaders_->clock() = clock_;
    call(*shortHeaders_);
    clock_ = shortHeaders_->clock();
    damage_ = shortHeaders_->damage();
}

// ---- headers ----------------------------------------------------------------------------------------------------

void Mpeg4Decoder::takeUnit(int code, const std::uint8_t* payload, std::size_t size) {
    try {
        if (code >= codeFirstLayer && code <= codeLastLayer) {
            takeLayer(bytes_.load(payload, size));
        } else if (code == codeSequence) {
            if (size > 0) profile_ = payload[0];
        } else if (code == codeSequenceEnd) {
            showPending();
        } else if (code == codeVisualObject) {
            BitReader bits = bytes_.load(payload, size);
            verid_ = readVisualObject(bits);
        } else if (code == codeGroup) {
            BitReader bits = bytes_.load(payload, size);
            seconds_ = readGroup(bits);
        } else if (code == codeVop) {
            takeVop(bytes_.load(payload, size));
        }
    } catch (const Damage&) {
        // A header that cannot be read is as good as lost.
    } catch (const UnsupportedStream& reason) {
        if (!hasInfo_ || size <= Refusal::longestHeader) refuse(reason);
    }
}

void Mpeg4Decoder::refuse(const UnsupportedStream& reason) {
    if (!hasInfo_) throw reason;
    layerRefused_ = true;
    if (!refusal_.add(reason)) return;
    showPending();
    throw reason;
}

void Mpeg4Decoder::takeLayer(BitReader bits) {
    const Layer layer = readLayer(bits, verid_);
    const bool plausible = layer.width > 0 && layer.height > 0 && layer.width * layer.height <= largestArea;
    if (!plausible) {
        const std::string size = std::to_string(layer.width) + "x" + std::to_string(layer.height);
        throw UnsupportedStream("video of " + size + " samples is not supported");
    }
    layer_ = layer;
    layerChanged_ = true;
    layerRefused_ = false;
}

// Takes over the layer's header when its first VOP comes.
void Mpeg4Decoder::activateLayer() {
    layerChanged_ = false;
    const bool sameFrames = hasInfo_ && layer_->macroblockWidth() == activeLayer_.macroblockWidth() &&
                            layer_->macroblockHeight() == activeLayer_.macroblockHeight();
    if (!sameFrames) {
        showPending();
        frames_.allocate(layer_->macroblockWidth(), layer_->macroblockHeight());
    }
    activeLayer_ = *layer_;
    info_ = describe(activeLayer_, profile_);
    hasInfo_ = true;
}

// ---- VOPs -------------------------------------------------------------------------------------------------------

void Mpeg4Decoder::takeVop(BitReader bits) {
    if (!layer_) return;
    if (layerRefused_) {
        refusal_.leaveOut();
        return;
    }
    damage_.damagedPictures += refusal_.lift();
    if (layerChanged_) activateLayer();
    const VopHeader header = readVop(bits, activeLayer_);
    const bool inTime = takeTime(header);
    // A VOP that is not coded repeats the one before, and stands in AVI files for one that came in the packet before.
    if (!header.coded) return;
    if (!inTime) {
        ++damage_.damagedPictures;
        return;
    }
    if (!findReferences(header.type)) return;

    current_ = frames_.spare();
    current_->displayWidth = activeLayer_.width;
    current_->displayHeight = activeLayer_.height;
    current_->type = "IPB"[static_cast<std::size_t>(header.type)];
    vop_.layer = &activeLayer_;
    vop_.header = header;
    vop_.target = current_;
    vops_.decode(vop_, bits);
    conceal(header.type == VopType::bidirectional ? frames_.older() : frames_.newer());
    completeFrame();
}

// Follows the time (6.3.5). False for a B-VOP that does not lie between its references.
bool Mpeg4Decoder::takeTime(const VopHeader& header) {
    const std::int64_t resolution = activeLayer_.timeResolution;
    if (header.type != VopType::bidirectional) {
        secondsBefore_ = seconds_;
        seconds_ += header.seconds;
        const std::int64_t time = seconds_ * resolution + header.ticks;
        referenceDistance_ = time - referenceTime_;
        referenceTime_ = time;
        return true;
    }
    const std::int64_t time = (secondsBefore_ + header.seconds) * resolution + header.ticks;
    const std::int64_t distance = referenceDistance_ - (referenceTime_ - time);
    constexpr std::int64_t longest = 1 << 19;  // keeps the products with vectors within 32 bits
    if (distance <= 0 || distance >= referenceDistance_ || referenceDistance_ > longest) return false;
    vop_.timeToVop = static_cast<int>(distance);
    vop_.timeToBackward = static_cast<int>(referenceDistance_);
    return true;
}

// False if the VOP lacks them and is left out.
bool Mpeg4Decoder::findReferences(VopType type) {
    if (type == VopType::bidirectional) {
        if (!frames_.older()) return false;
        vop_.forward = frames_.older();
        vop_.backward = frames_.newer();
        return true;
    }
    // A stream that has lost its first picture starts from grey.
    if (type == VopType::predicted && !frames_.newer()) {
        frames_.substitute(frames_.spare());
        frames_.newer()->fill(grey);
    }
    vop_.forward = frames_.newer();
    vop_.backward = nullptr;
    return true;
}

// Counts the macroblocks that were not decoded and fills those that nothing is known of from a reference, or with grey
// where there is none.
void Mpeg4Decoder::conceal(const Frame* source) {
    const auto& states = vops_.states();
    const auto decoded = std::count(states.begin(), states.end(), MacroblockState::decoded);
    const auto lost = static_cast<std::int64_t>(states.size()) - decoded;
    if (lost == 0) return;
    damage_.concealedMacroblocks += lost;
    ++damage_.damagedPictures;
    const int width = current_->macroblockWidth();
    for (int address = 0; address < static_cast<int>(states.size()); ++address) {
        if (states[static_cast<std::size_t>(address)] != MacroblockState::missing) continue;
        const Place place = {current_, address % width, address / width};
        if (source) {
            copy(place, *source);
            continue;
        }
        qvoiPadMBGray_MPEG4_8u(grey, place.luma(), place.chroma(1), place.chroma(2), nullptr, current_->step(0),
                               current_->step(1));
    }
}

// ---- output -----------------------------------------------------------------------------------------------------

// Shows what is due now that the current frame is complete.
void Mpeg4Decoder::completeFrame() {
    Frame* const frame = current_;
    current_ = nullptr;
    if (vop_.header.type == VopType::bidirectional) {
        show(*frame);
        return;
    }
    clock_.enter(Stage::prediction);
    frame->extend();
    clock_.enter(Stage::parse);
    showPending();
    frames_.push(frame);
    if (activeLayer_.lowDelay) showPending();
}

void Mpeg4Decoder::showPending() {
    if (const Frame* const frame = frames_.takeWaiting()) show(*frame);
}

void Mpeg4Decoder::show(const Frame& frame) {
    const Stage before = clock_.enter(Stage::output);
    FrameView picture;
    for (std::size_t plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        picture.planes[plane] = {frame.at(plane, 0, 0), frame.step(plane), (frame.displayWidth + shift) >> shift,
                                 (frame.displayHeight + shift) >> shift};
    }
    picture.type = frame.type;
    picture.quantisers = {frame.quantisers.data(), frame.macroblockWidth()};
    (*sink_)(picture);
    clock_.enter(before);
}

}  // namespace

}  // namespace mpeg4

std::unique_ptr<Decoder> makeMpeg4Decoder() {
    return std::make_unique<mpeg4::Mpeg4Decoder>();
}

}  // namespace codecs
