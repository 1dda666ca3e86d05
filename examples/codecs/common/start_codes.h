// Cuts a stream of bytes at its start codes, 00 00 01 and one byte that says what follows.
#ifndef QVOVC_EXAMPLES_START_CODES_H
#define QVOVC_EXAMPLES_START_CODES_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace codecs {

class StartCodeCutter {
  public:
    // Takes what lies between two start codes: the byte that ends the first one and the bytes behind it.
    using TakeUnit = std::function<void(int code, const std::uint8_t* payload, std::size_t size)>;

    // Takes the next bytes of the stream, cut anywhere, and hands out the units that they complete. A unit that grows
    // beyond maxUnit is handed out as it is.
    void add(const std::uint8_t* data, std::size_t size, const TakeUnit& take);

    // Ends the stream: hands out its last unit.
    void finish(const TakeUnit& take);

    // The bytes that are not handed out yet: a start code and what came behind it, or, before the first start code,
    // anything.
    const std::vector<std::uint8_t>& pending() const { return buffer_; }

    // No picture, or slice of one, is larger; what goes on without a start code is not video.
    static constexpr std::size_t maxUnit = std::size_t{1} << 23;

  private:
    std::vector<std::uint8_t> buffer_;
    std::size_t scanned_ = 0;  // up to here there is no start code but the first
};

}  // namespace codecs

#endif
