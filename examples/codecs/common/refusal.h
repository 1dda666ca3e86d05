// Tells a stream that turns into something a decoder cannot decode from damage that looks like it.
#ifndef QVOVC_EXAMPLES_REFUSAL_H
#define QVOVC_EXAMPLES_REFUSAL_H

#include <string>
#include <utility>

#include "common/decoder.h"

namespace codecs {

// Once pictures have been decoded, one header that is refused may be damaged; the pictures that need it are left out.
// Refused for the same reason again before a picture could be decoded, or at the end of the stream, it is the stream's.
class Refusal {
  public:
    // No header is longer; what is refused in more bytes is none.
    static constexpr std::size_t longestHeader = 256;

    // True where it is the stream's.
    bool add(const UnsupportedStream& header) {
        if (header.what() == reason_) return true;
        reason_ = header.what();
        return false;
    }

    // Of a picture that needs the header.
    void leaveOut() { ++leftOut_; }

    // For a picture that can be decoded: how many before it damage has cost.
    int lift() {
        reason_.clear();
        return std::exchange(leftOut_, 0);
    }

    // At the end of the stream, when all pictures have been shown.
    void finish() const {
        if (leftOut_ > 0) throw UnsupportedStream(reason_);
    }

  private:
    std::string reason_;
    int leftOut_ = 0;
};

}  // namespace codecs

#endif
