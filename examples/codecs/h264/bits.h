// The raw bytes of a NAL unit's payload and a reader of its syntax elements.
#ifndef QVOVC_EXAMPLES_H264_BITS_H
#define QVOVC_EXAMPLES_H264_BITS_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace codecs::h264 {

// Thrown where the stream breaks the syntax; a slice or parameter set ends there.
struct Damage {};

// Reads a payload from its start. Reading on behind its end gives zeros, over which every list and code soon ends with
// Damage.
class BitReader {
  public:
    BitReader() = default;
    // `end` is the position of the stop bit; the data has slack bytes of zeros behind it.
    BitReader(const std::uint8_t* data, std::size_t end) : data_(data), end_(end) {}

    // The next count bits (1..32), without moving on.
    std::uint32_t peek(int count) const {
        const std::uint8_t* const p = data_ + (position_ >> 3);
        const std::uint64_t eight = std::uint64_t{p[0]} << 56 | std::uint64_t{p[1]} << 48 |
                                    std::uint64_t{p[2]} << 40 | std::uint64_t{p[3]} << 32 |
                                    std::uint64_t{p[4]} << 24 | std::uint64_t{p[5]} << 16 | std::uint64_t{p[6]} << 8 |
                                    std::uint64_t{p[7]};
        return static_cast<std::uint32_t>(eight << (position_ & 7) >> (64 - count));
    }
    void skip(int count) { position_ += static_cast<std::size_t>(count); }
    std::uint32_t get(int count) {
        const std::uint32_t value = peek(count);
        skip(count);
        return value;
    }
    int getInt(int count) { return static_cast<int>(get(count)); }
    bool flag() { return get(1) != 0; }

    // ue(v), se(v) and te(v) of clause 9.1.
    std::uint32_t ue() {
        const std::uint32_t next = peek(32);
        const int zeros = std::countl_zero(next);
        if (zeros > 15) return longUe(zeros);
        skip(2 * zeros + 1);
        return (next >> (31 - 2 * zeros)) - 1;
    }
    int se() {
        const std::uint32_t code = ue();
        const int magnitude = static_cast<int>((code >> 1) + (code & 1));
        return code & 1 ? magnitude : -magnitude;
    }
    // se(v) within -limit..limit.
    int seUpTo(int limit) {
        const int value = se();
        if (value < -limit || value > limit) throw Damage{};
        return value;
    }
    int te(int last) { return last == 1 ? static_cast<int>(!flag()) : ueUpTo(last); }
    // ue(v) that must not exceed `last`.
    int ueUpTo(int last) {
        const std::uint32_t value = ue();
        if (value > static_cast<std::uint32_t>(last)) throw Damage{};
        return static_cast<int>(value);
    }

    bool hasMore() const { return position_ < end_; }
    bool pastEnd() const { return position_ > end_; }
    void align() { position_ = (position_ + 7) & ~std::size_t{7}; }
    // Takes count whole bytes at an aligned position.
    const std::uint8_t* bytes(std::size_t count) {
        if (position_ + 8 * count > end_) throw Damage{};
        const std::uint8_t* const from = data_ + position_ / 8;
        position_ += 8 * count;
        return from;
    }

  private:
    std::uint32_t longUe(int zeros) {
        // No element is longer.
        if (zeros > 31 || !hasMore()) throw Damage{};
        skip(zeros);
        return get(zeros + 1) - 1;
    }

    const std::uint8_t* data_ = nullptr;
    std::size_t position_ = 0;
    std::size_t end_ = 0;
};

// A NAL unit's payload without the emulation prevention bytes (clause 7.4.1).
class Payload {
  public:
    BitReader load(const std::uint8_t* data, std::size_t size);

  private:
    // No macroblock goes on for longer over zeros.
    static constexpr std::size_t slack = 256;

    std::vector<std::uint8_t> bytes_;
};

}  // namespace codecs::h264

#endif
