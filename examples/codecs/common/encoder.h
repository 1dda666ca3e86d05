// What the example encoders have in common: pictures go in in display order, bytes of an elementary stream come out.
#ifndef QVOVC_EXAMPLES_ENCODER_H
#define QVOVC_EXAMPLES_ENCODER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/picture.h"
#include "common/stage_clock.h"

namespace codecs {

struct EncoderSettings {
    int width = 0;  // of the pictures, 4:2:0
    int height = 0;
    int rateNumerator = 25;  // frames per second
    int rateDenominator = 1;
    int aspectNumerator = 0;  // of one sample; 0 where unknown
    int aspectDenominator = 0;
    int quantiser = 0;    // constant; 0: by bitRate
    long bitRate = 0;     // bits per second; 0: constant quantiser
    int keyInterval = 0;  // pictures from one intra picture to the next; 0: the codec's usual interval
    int bPictures = 0;    // B pictures between two others, where the codec has them
    int packetBits = 0;   // about how long packets are that decode on their own, where the codec has them; 0: none
    bool fourVectors = true;       // macroblocks may have four vectors (MPEG-4)
    bool matrixQuantiser = false;  // quantise by the matrices of MPEG, not by the method of H.263 (MPEG-4)
};

// The settings ask for something the codec cannot do; what() is one clear line.
struct UnsupportedSettings : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// One coded picture.
struct CodedPicture {
    FrameView reconstruction;  // what a decoder will show
    std::int64_t bits = 0;
    double quantiser = 0;  // mean over the macroblocks
};

// The stages of encoding that --stats tells apart.
enum class EncodeStage { other, search, decision, transform, writing, filter, count };
constexpr std::array<std::string_view, static_cast<std::size_t>(EncodeStage::count)> encodeStageNames = {
    "other", "motion search", "mode decision", "transform and quantiser", "writing", "filter"};

using EncodeClock = StageClock<EncodeStage>;

class Encoder {
  public:
    using ByteSink = std::function<void(const std::uint8_t* data, std::size_t size)>;
    using PictureSink = std::function<void(const CodedPicture&)>;

    // Bytes come in the order of the stream, pictures in display order.
    Encoder(ByteSink bytes, PictureSink pictures) : bytes_(std::move(bytes)), pictures_(std::move(pictures)) {}
    virtual ~Encoder() = default;
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    // Takes the next picture in display order; it is copied where it is needed later.
    virtual void encode(const FrameView& picture) = 0;
    // Ends the stream: encodes what is still held back.
    virtual void finish() = 0;

    // What else there is to say of the stream once it has ended, each "name: value".
    virtual std::vector<std::string> figures() const { return {}; }

    EncodeClock& clock() { return clock_; }

  protected:
    ByteSink bytes_;
    PictureSink pictures_;
    EncodeClock clock_;
};

}  // namespace codecs

#endif
