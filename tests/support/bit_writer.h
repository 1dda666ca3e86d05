// Writes streams bit by bit, most significant bit first.
#ifndef QVOVC_TESTS_BIT_WRITER_H
#define QVOVC_TESTS_BIT_WRITER_H

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>
#include <vector>

class BitWriter {
  public:
    // The low `count` bits of a value.
    void put(std::integral auto value, int count) {
        for (int i = count - 1; i >= 0; --i) {
            if (used_ % 8 == 0) bytes_.push_back(0);
            const unsigned bit = static_cast<unsigned>(value) >> i & 1U;
            bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | bit << (7 - used_ % 8));
            ++used_;
        }
    }
    // The digits of codes; anything else, such as spaces, is passed over.
    void bits(std::convertible_to<std::string_view> auto... texts) {
        for (const std::string_view text : {std::string_view(texts)...})
            for (const char bit : text)
                if (bit == '0' || bit == '1') put(bit - '0', 1);
    }
    // A DC difference of MPEG: the code of its size, then as many bits.
    void difference(int value, std::span<const std::string_view> sizes) {
        const int size = std::bit_width(static_cast<unsigned>(std::abs(value)));
        bits(sizes[static_cast<std::size_t>(size)]);
        put(value > 0 ? value : value + (1 << size) - 1, size);
    }
    // Fills up the byte with zeros.
    void align() {
        while (used_ % 8 != 0)
            put(0, 1);
    }
    // 00 00 01 and the code, from the next byte on.
    void startCode(std::integral auto code) {
        align();
        put(1, 24);
        put(code, 8);
    }
    std::size_t used() const { return used_; }
    const std::vector<std::uint8_t>& bytes() const { return bytes_; }

  private:
    std::vector<std::uint8_t> bytes_;
    std::size_t used_ = 0;
};

#endif
