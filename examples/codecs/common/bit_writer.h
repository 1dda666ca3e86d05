// Writing bits into bytes, from the most significant bit on, at a position in the form in which the library's MPEG-4 and
// H.263 operations take it.
#ifndef QVOVC_EXAMPLES_BIT_WRITER_H
#define QVOVC_EXAMPLES_BIT_WRITER_H

#include <qvovc.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace codecs {

class BitWriter {
  public:
    BitWriter() : bytes_(slack) { clear(); }

    // Begins anew.
    void clear() {
        bytes_[0] = 0;
        byte_ = bytes_.data();
        offset_ = 0;
    }

    // Makes room for that many bytes more. Nothing checks the end while writing.
    void reserve(std::size_t count) {
        const auto used = static_cast<std::size_t>(byte_ - bytes_.data());
        if (bytes_.size() >= used + count + slack) return;
        bytes_.resize(2 * (used + count) + slack);
        byte_ = bytes_.data() + used;
    }

    // Writes the lowest count bits (0..32) of the value; those above must be 0.
    void put(std::uint32_t value, int count) {
        const std::uint64_t begun = std::uint64_t{*byte_} >> (8 - offset_) << (8 - offset_);
        std::uint64_t eight = begun << 56;
        if (count > 0) eight |= std::uint64_t{value} << (64 - offset_ - count);
        for (int i = 0; i < 8; ++i)
            byte_[i] = static_cast<Qvo8u>(eight >> (56 - 8 * i));
        offset_ += count;
        byte_ += offset_ >> 3;
        offset_ &= 7;
    }

    // The library's operations move the same position.
    Qvo8u** byte() { return &byte_; }
    Qvo32s* offset() { return &offset_; }

    bool aligned() const { return offset_ == 0; }
    std::size_t bits() const {
        return 8 * static_cast<std::size_t>(byte_ - bytes_.data()) + static_cast<std::size_t>(offset_);
    }
    // What has been written; zeros fill the last byte.
    const std::uint8_t* data() const { return bytes_.data(); }
    std::size_t size() const { return (bits() + 7) / 8; }

  private:
    static constexpr std::size_t slack = 16;  // put stores eight bytes, the library's operations four

    std::vector<Qvo8u> bytes_;
    Qvo8u* byte_ = nullptr;
    Qvo32s offset_ = 0;
};

// Counts bits instead of writing them.
class BitCounter {
  public:
    void put(std::uint32_t, int count) { bits_ += count; }
    int bits() const { return bits_; }

  private:
    int bits_ = 0;
};

}  // namespace codecs

#endif
