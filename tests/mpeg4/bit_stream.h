#ifndef QVOVC_TESTS_MPEG4_BIT_STREAM_H
#define QVOVC_TESTS_MPEG4_BIT_STREAM_H

#include <string>

#include "qvovc.h"
#include "support/guarded.h"

// A bit stream that begins `offset` bits into its first byte, behind ones, and ends at an unreadable page, `slack` bytes
// behind the one with the last bit.
class Stream {
  public:
    explicit Stream(const std::string& bits, int offset = 0, int slack = 4)
        : bytes_(static_cast<std::size_t>((static_cast<int>(bits.size()) + offset + 7) / 8 + slack)), start_(offset) {
        const std::string all = std::string(static_cast<std::size_t>(offset), '1') + bits;
        for (std::size_t i = 0; i < all.size(); ++i)
            if (all[i] == '1') bytes_[i / 8] = static_cast<Qvo8u>(bytes_[i / 8] | 128 >> i % 8);
    }
    int bitsUsed() { return static_cast<int>(8 * (position - bytes_.data())) + bitOffset - start_; }

  private:
    Guarded<Qvo8u> bytes_;
    int start_;

  public:
    Qvo8u* position = bytes_.data();
    Qvo32s bitOffset = start_;
};

#endif
