// What the example decoders have in common: bytes of an elementary stream go in, pictures come out in display order.
#ifndef QVOVC_EXAMPLES_DECODER_H
#define QVOVC_EXAMPLES_DECODER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "common/picture.h"
#include "common/stage_clock.h"

namespace codecs {

// What a stream is, known once its headers are decoded.
struct StreamInfo {
    std::string codec;    // "MPEG-2 video"
    std::string profile;  // profile and level in words, empty where the stream does not say
    int width = 0;        // of the displayed picture
    int height = 0;
    int rateNumerator = 25;  // frames per second
    int rateDenominator = 1;
    int aspectNumerator = 0;  // of one sample; 0 where unknown
    int aspectDenominator = 0;
    bool interlaced = false;
    long bitRate = 0;  // bits per second, 0 where the stream does not say
};

// What happened to damaged input.
struct DamageReport {
    std::int64_t concealedMacroblocks = 0;
    std::int64_t damagedPictures = 0;
};

// The stages of decoding that --stats tells apart.
enum class Stage { parse, residual, prediction, filter, output, count };
constexpr std::array<std::string_view, static_cast<std::size_t>(Stage::count)> stageNames = {
    "parsing", "residual", "prediction", "filters", "output"};

using DecodeClock = StageClock<Stage>;

// The stream is not what the decoder can decode; what() is one clear line without the file's name.
struct UnsupportedStream : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Decoder {
  public:
    using Sink = std::function<void(const FrameView&)>;

    virtual ~Decoder() = default;

    // Takes the next bytes of the stream, cut anywhere, and hands every picture that is ready to the sink. Damage is
    // concealed and counted, never thrown; a tool the decoder does not have throws UnsupportedStream.
    virtual void decode(const std::uint8_t* data, std::size_t size, const Sink& sink) = 0;

    // Ends the stream: decodes what is still buffered and hands out the remaining pictures.
    virtual void finish(const Sink& sink) = 0;

    // True once info() is known.
    virtual bool hasInfo() const = 0;
    virtual const StreamInfo& info() const = 0;

    const DamageReport& damage() const { return damage_; }
    DecodeClock& clock() { return clock_; }

  protected:
    DamageReport damage_;
    DecodeClock clock_;
};

}  // namespace codecs

#endif
