// Where the bytes of the video come from: an elementary stream as it is, or the video track of a container.
#ifndef QVOVC_QVO_SOURCE_H
#define QVOVC_QVO_SOURCE_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "input.h"
#include "registry.h"

namespace qvo {

class Source {
  public:
    explicit Source(std::unique_ptr<Input> input) : input_(std::move(input)) {}
    virtual ~Source() = default;

    // The next bytes of the elementary stream, valid until the next call; none at the end.
    virtual std::span<const std::uint8_t> next() = 0;

    // "elementary stream" or the container's name.
    virtual std::string format() const = 0;

    // What the container calls the codec; empty where there is no container.
    virtual std::string codecName() const { return {}; }

    // The part of the file that has been read, 0 to 1; negative where the file has no size.
    double progress() const { return input_->progress(); }

  protected:
    std::unique_ptr<Input> input_;
};

struct Opened {
    std::unique_ptr<Source> source;
    const Codec* codec;
};

// Opens a file and finds out by its content what decodes it; `codec`, where not null, says so instead. Throws Failure
// where nothing does.
Opened openSource(const std::string& path, const Codec* codec);

// The video track of a container, or null where libavformat finds no container with video (then the input is back
// at its beginning, and `reason` says what is missing).
std::unique_ptr<Source> openContainer(std::unique_ptr<Input>& input, std::string& reason);

}  // namespace qvo

#endif
