// The video buffering verifier: the buffer of a decoder that gets the stream at its bit rate (13818-2, annex C).
#ifndef QVOVC_EXAMPLES_MPEG2_VBV_H
#define QVOVC_EXAMPLES_MPEG2_VBV_H

#include <algorithm>

namespace codecs::mpeg2 {

// Of streams without vbv_delay: the buffer is full when the first picture is taken out, and does not overflow, since
// the stream waits while it is full.
class Vbv {
  public:
    // In bits; perPicture: what comes in while a picture is shown.
    Vbv(double size, double perPicture) : size_(size), perPicture_(perPicture), fullness_(size), lowest_(size) {}

    // The largest picture that can be taken out next.
    double available() const { return fullness_; }

    void take(double bits) {
        lowest_ = std::min(lowest_, fullness_ - bits);
        fullness_ = std::min(size_, fullness_ - bits + perPicture_);
    }

    double size() const { return size_; }
    // The least that was left in the buffer.
    double lowest() const { return lowest_; }

  private:
    double size_;
    double perPicture_;
    double fullness_;
    double lowest_;
};

}  // namespace codecs::mpeg2

#endif
