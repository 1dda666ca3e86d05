// A byte stream and a reader of its position, in the form in which the library's MPEG-4 and H.263 operations take them.
#ifndef QVOVC_EXAMPLES_BYTE_BITS_H
#define QVOVC_EXAMPLES_BYTE_BITS_H

#include <qvovc.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace codecs {

// Thrown where the stream breaks the syntax; a packet or header ends there.
struct Damage {};

// Reads bytes from their start. The library's operations move the same position through byte() and offset(). Nothing
// checks the end while reading: the bytes come from a ByteBuffer.
class BitReader {
  public:
    BitReader() = default;
    BitReader(Qvo8u* data, std::size_t size) : byte_(data), end_(data + size) {}

    // The next count bits (1..32), without moving on.
    Qvo32u peek(int count) const {
        const Qvo32u four = Qvo32u{byte_[0]} << 24 | Qvo32u{byte_[1]} << 16 | Qvo32u{byte_[2]} << 8 | byte_[3];
        const std::uint64_t five = std::uint64_t{four} << 8 | byte_[4];
        return static_cast<Qvo32u>((five << (24 + offset_)) >> (64 - count));
    }
    void skip(int count) {
        offset_ += count;
        byte_ += offset_ >> 3;
        offset_ &= 7;
    }
    Qvo32u get(int count) {
        const Qvo32u value = peek(count);
        skip(count);
        return value;
    }
    int getInt(int count) { return static_cast<int>(get(count)); }
    bool flag() {
        const bool value = *byte_ & (0x80 >> offset_);
        skip(1);
        return value;
    }

    // Moves on to the next whole byte, or back to the start of a byte found by looking at the bytes.
    void moveTo(Qvo8u* byte) {
        byte_ = byte;
        offset_ = 0;
    }

    // More has been read than there is.
    bool pastEnd() const { return byte_ > end_ || (byte_ == end_ && offset_ > 0); }
    bool atEnd() const { return byte_ >= end_; }
    Qvo8u* end() const { return end_; }

    Qvo8u** byte() { return &byte_; }
    Qvo32s* offset() { return &offset_; }

  private:
    Qvo8u* byte_ = nullptr;
    Qvo8u* end_ = nullptr;
    Qvo32s offset_ = 0;
};

// A copy of some bytes of the stream with zeros behind them. No syntax element of MPEG-4 or H.263 goes on for long over
// zeros: codes become invalid, lists end. The zeros outlast the longest header and one macroblock.
class ByteBuffer {
  public:
    BitReader load(const std::uint8_t* data, std::size_t size) {
        bytes_.assign(data, data + size);
        bytes_.resize(size + slack);
        return BitReader(bytes_.data(), size);
    }

  private:
    static constexpr std::size_t slack = 512;

    std::vector<Qvo8u> bytes_;
};

}  // namespace codecs

#endif
